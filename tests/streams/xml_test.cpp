// The XML pull reader, the schema reader and the writer. Every document the
// writer produces is also checked by xmllint as an independent oracle.
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "tarvex/platform/bstr.h"
#include "tarvex/streams/xml/xmlinstream.h"
#include "tarvex/streams/xml/xmloutstream.h"
#include "tarvex/streams/xml/xmlschema.h"

namespace {

using S = CXMLInStream;

constexpr char kDecl[] = "<?xml version=\"1.0\"?>";

struct Reader {
    CXMLFileInStream in;
    CString name;
    CXMLAttrs attrs;
    bool Open(const std::string& bytes) { return in.Open(bytes.data(), int(bytes.size())) == 1; }
    S::eReadStatus Tag() { return in.ReadTag(name, attrs); }
    CString Attr(const char16_t* key) {
        CString value;
        attrs.GetAttr(key, value);
        return value;
    }
};

// True when xmllint finds the bytes well-formed.
bool WellFormed(const std::string& bytes) {
    auto path = std::filesystem::temp_directory_path() /
                ("tarvex_xmllint_" + std::to_string(getpid()) + ".xml");
    std::ofstream(path, std::ios::binary) << bytes;
    int code = std::system(("xmllint --noout " + path.string() + " 2>/dev/null").c_str());
    std::filesystem::remove(path);
    return code == 0;
}

std::string Utf8Of(CCharStream* stream) {
    return std::string(static_cast<const char*>(stream->GetBuffer()), stream->GetByteLength());
}

// ------------------------------------------------------------------ reader --

TEST(XmlReader, DeclarationAndSignature) {
    Reader r;
    EXPECT_FALSE(r.Open("<a/>"));
    EXPECT_FALSE(r.Open("<?xml version='1.0'?><a/>"));
    EXPECT_FALSE(r.Open("\xEF\xBB<?xml version=\"1.0\"?><a/>"));
    EXPECT_FALSE(r.Open("\xFF\xFE<\0?\0"));
    EXPECT_FALSE(r.Open("<?xmlx version=\"1.0\"?><a/>"));
    ASSERT_TRUE(r.Open("\xEF\xBB\xBF \r\n<?XML version=\"1.0\"?><a/>"));
    EXPECT_EQ(r.Tag(), S::eReadEmpty);
    EXPECT_EQ(r.name, CString(u"a"));
    EXPECT_EQ(r.Tag(), S::eReadError); // nothing more
}

TEST(XmlReader, EncodingIsChosenBySearchNotAtPositionZero) {
    struct Case {
        const char* encoding;
        const char* bytes;
        const char16_t* expected;
    } cases[] = {
        {"windows-1251", "\xC4\xE0", u"Да"},
        {"cp1251", "\xC4\xE0", u"Да"},
        {"UTF-8", "\xD0\x94\xD0\xB0", u"Да"},
        {"ansi", "\xD0\x94\xD0\xB0", u"Да"}, // a match at 0 does not count
        {"1251", "\xD0\x94\xD0\xB0", u"Да"},
        {"", "\xD0\x94\xD0\xB0", u"Да"},
    };
    // One stream reads them all in turn: nothing of a declaration carries
    // over to the next document.
    Reader r;
    for (const auto& c : cases) {
        std::string doc = std::string("<?xml version=\"1.0\" encoding=\"") + c.encoding +
                          "\"?><a v=\"" + c.bytes + "\"/>";
        ASSERT_TRUE(r.Open(doc)) << c.encoding;
        EXPECT_EQ(r.Tag(), S::eReadEmpty);
        EXPECT_EQ(r.Attr(u"v"), CString(c.expected)) << c.encoding;
    }
    ASSERT_TRUE(r.Open("<?xml version=\"1.0\" encoding=\"windows-1251\"?><a/>"));
    ASSERT_TRUE(r.Open("<?xml version=\"1.0\"?><a v=\"\xD0\x94\xD0\xB0\"/>"));
    EXPECT_EQ(r.Tag(), S::eReadEmpty);
    EXPECT_EQ(r.Attr(u"v"), CString(u"Да"));
    // Text given as bytes through OpenXML(char*) stays ANSI whatever it declares.
    CXMLFileInStream in;
    std::string doc = "<?xml version=\"1.0\" encoding=\"UTF-8\"?><a v=\"\xC4\xE0\"/>";
    ASSERT_EQ(in.OpenXML(doc.c_str(), int(doc.size())), 1);
    CString name;
    CXMLAttrs attrs;
    in.ReadTag(name, attrs);
    EXPECT_EQ(attrs.GetAttr(u"v")->GetValue(), CString(u"Да"));
}

TEST(XmlReader, EntitiesAndTheUnknownEntityJump) {
    Reader r;
    ASSERT_TRUE(r.Open(std::string(kDecl) +
                       "<a v=\"&#x41;&apos;&#65;&lt;&amp;&gt;&quot;&#x42a;&#x;&#xZ1;\"/>"));
    EXPECT_EQ(r.Tag(), S::eReadEmpty);
    EXPECT_EQ(r.Attr(u"v"), CString(u"A?;?;<&>\"\x042A?;?;"));

    // The jump to the next ';' crosses the closing quote and swallows the
    // next attribute's name.
    ASSERT_TRUE(r.Open(std::string(kDecl) + "<a b=\"x&y\" c=\"1;\"/>"));
    EXPECT_EQ(r.Tag(), S::eReadEmpty);
    EXPECT_EQ(r.attrs.GetCount(), 1);
    EXPECT_EQ(r.Attr(u"b"), CString(u"x?;"));

    // No ';' at all: the value runs to the end and the tag fails.
    ASSERT_TRUE(r.Open(std::string(kDecl) + "<a b=\"x&y\"/>"));
    EXPECT_EQ(r.Tag(), S::eReadError);
}

TEST(XmlReader, TagAndAttributeSyntax) {
    const char* bad[] = {"<a b='1'/>", "<a data-x=\"1\"/>", "<a b=\"x<y\"/>", "<a b=\"1\"",
                         "<a b \"1\"/>"};
    for (const char* doc : bad) {
        Reader r;
        ASSERT_TRUE(r.Open(std::string(kDecl) + doc));
        EXPECT_EQ(r.Tag(), S::eReadError) << doc;
    }
    Reader r;
    ASSERT_TRUE(r.Open(std::string(kDecl) + "<a-b/>"));
    EXPECT_NE(r.Tag(), S::eReadEmpty); // '-' ends the name: not a tag named a-b
    EXPECT_EQ(r.name, CString(u"a"));

    ASSERT_TRUE(
        r.Open(std::string(kDecl) + "<!-- c --> < x:y_1 b=\"x>y\" >< /x:y_1><a></a ></ a>"));
    EXPECT_EQ(r.Tag(), S::eReadOpen);
    EXPECT_EQ(r.name, CString(u"x:y_1"));
    EXPECT_EQ(r.Attr(u"b"), CString(u"x>y"));
    EXPECT_EQ(r.Tag(), S::eReadClose);
    EXPECT_EQ(r.Tag(), S::eReadOpen);
    // A closing tag with a blank goes through the attribute parser: "open".
    EXPECT_EQ(r.Tag(), S::eReadOpen);
    EXPECT_EQ(r.name, CString(u"a"));
    // '/' must be followed by the name at once.
    EXPECT_EQ(r.Tag(), S::eReadError);
}

TEST(XmlReader, AttributesStayWhenATagHasNone) {
    Reader r;
    ASSERT_TRUE(r.Open(std::string(kDecl) + "<a n=\"1\" m=\"2\" n=\"3\"><b><c/></b></a>"));
    EXPECT_EQ(r.Tag(), S::eReadOpen);
    // A repeated name replaces the value and keeps its place.
    ASSERT_EQ(r.attrs.GetCount(), 2);
    EXPECT_EQ(r.attrs.GetAttr(std::int64_t(0))->GetName(), CString(u"n"));
    EXPECT_EQ(r.attrs.GetAttr(std::int64_t(0))->GetValue(), CString(u"3"));
    EXPECT_EQ(r.attrs.GetAttr(std::int64_t(2)), nullptr);
    EXPECT_EQ(r.Tag(), S::eReadOpen);
    EXPECT_EQ(r.name, CString(u"b"));
    EXPECT_EQ(r.attrs.GetCount(), 2); // not touched by a tag without attributes
    EXPECT_EQ(r.Tag(), S::eReadEmpty);
    EXPECT_EQ(r.attrs.GetCount(), 2);
}

TEST(XmlReader, ValuesCDataAndWhiteSpace) {
    CXMLFileInStream in;
    CString name, value;
    CXMLAttrs attrs;
    std::string doc = std::string(kDecl) +
                      "<x>text<![CDATA[d<t&amp;]]></x><y>  a \r\n b </y><z><![CDATA[a]]>b</z>";
    ASSERT_EQ(in.Open(doc.data(), int(doc.size())), 1);
    EXPECT_EQ(in.ReadTag(name, attrs), S::eReadOpen);
    EXPECT_EQ(in.ReadParameter(value, u"x"), S::eReadClose);
    EXPECT_EQ(value, CString(u"d<t&amp;")); // earlier text dropped, no entities
    EXPECT_EQ(in.ReadTag(name, attrs), S::eReadOpen);
    EXPECT_EQ(in.ReadParameter(value, u"Y"), S::eReadError); // names are case-sensitive

    ASSERT_EQ(in.Open(doc.data(), int(doc.size())), 1);
    in.ReadTag(name, attrs);
    in.ReadParameter(value, u"x");
    in.ReadTag(name, attrs);
    EXPECT_EQ(in.ReadParameter(value, u"y"), S::eReadClose);
    EXPECT_EQ(value, CString(u"  a \r\n b "));
    in.ReadTag(name, attrs);
    EXPECT_EQ(in.ReadParameter(value, u"z"), S::eReadError); // text after CDATA

    std::string zero = std::string(kDecl) + "<x><![CDATA[a" + std::string(1, '\0') + "]]></x>";
    ASSERT_EQ(in.Open(zero.data(), int(zero.size())), 1);
    in.ReadTag(name, attrs);
    EXPECT_EQ(in.ReadParameter(value, u"x"), S::eReadError);
}

TEST(XmlReader, Utf8SequencesBecomeOneUnit) {
    CXMLFileInStream in;
    CString value;
    std::string doc = std::string(kDecl) + "<a>\xF0\x9F\x98\x80|\xE2\x82\xAC|\xC3<</a>";
    ASSERT_EQ(in.Open(doc.data(), int(doc.size())), 1);
    CString name;
    CXMLAttrs attrs;
    in.ReadTag(name, attrs);
    // Beyond the basic plane: one replacement unit. Continuation bytes are
    // not checked, so "\xC3<" swallows the '<'.
    EXPECT_EQ(in.ReadValue(value, '<'), S::eReadOpen);
    EXPECT_EQ(value.View().substr(0, 4), std::u16string_view(u"\xFFFD|€|"));
    EXPECT_EQ(value.GetLength(), 5); // the fifth unit holds the swallowed '<'
    EXPECT_EQ(in.ReadTag(name, attrs), S::eReadClose);

    std::string cut = std::string(kDecl) + "<a>x\xE2\x82";
    ASSERT_EQ(in.Open(cut.data(), int(cut.size())), 1);
    in.ReadTag(name, attrs);
    EXPECT_EQ(in.ReadValue(value, '<'), S::eReadError);
    EXPECT_EQ(value, CString(u"x"));
}

TEST(XmlReader, SkipStepsOneByteAfterEveryTag) {
    CXMLFileInStream in;
    CString name, value;
    CXMLAttrs attrs;
    std::string doc =
        std::string(kDecl) + "<r><Foo> <Foo/> <Bar>x</Bar>\n<Foo></Foo> </Foo> <Next>v</Next></r>";
    ASSERT_EQ(in.Open(doc.data(), int(doc.size())), 1);
    in.ReadTag(name, attrs);
    ASSERT_EQ(in.ReadTag(name, attrs), S::eReadOpen);
    // The empty <Foo/> counts as an opening, so it takes two closings.
    EXPECT_EQ(in.Skip(u"Foo"), S::eReadError);
    // The cursor stays within the data after a skip that ran off the end.
    EXPECT_EQ(in.ReadTag(name, attrs), S::eReadError);
    EXPECT_EQ(in.ReadParameter(value, u"r"), S::eReadError);

    std::string ok = std::string(kDecl) + "<r><Foo> <Bar>x</Bar> </Foo> <Next>v</Next></r>";
    ASSERT_EQ(in.Open(ok.data(), int(ok.size())), 1);
    in.ReadTag(name, attrs);
    in.ReadTag(name, attrs);
    EXPECT_EQ(in.Skip(u"Foo"), S::eReadClose);
    EXPECT_EQ(in.ReadTag(name, attrs), S::eReadOpen);
    EXPECT_EQ(name, CString(u"Next"));

    // Written without blanks, the closing tag that follows another tag is
    // stepped over.
    std::string tight = std::string(kDecl) + "<r><Foo><Bar/></Foo><Next>v</Next></r>";
    ASSERT_EQ(in.Open(tight.data(), int(tight.size())), 1);
    in.ReadTag(name, attrs);
    in.ReadTag(name, attrs);
    EXPECT_EQ(in.Skip(u"Foo"), S::eReadError);
}

TEST(XmlReader, OpeningForms) {
    CXMLFileInStream in;
    EXPECT_EQ(in.OpenXML(u"<?xml version=\"1.0\"?><a v=\"Да\"/>", -1), 1);
    CString name;
    CXMLAttrs attrs;
    EXPECT_EQ(in.ReadTag(name, attrs), S::eReadEmpty);
    EXPECT_EQ(attrs.GetAttr(u"v")->GetValue(), CString(u"Да"));

    VARIANT text;
    VariantInit(&text);
    text.vt = VT_BSTR;
    text.bstrVal = SysAllocString(u"<?xml version=\"1.0\"?><b/>");
    EXPECT_EQ(in.OpenXML(text), 1);
    VARIANT number;
    VariantInit(&number);
    number.vt = VT_I4;
    EXPECT_EQ(in.OpenXML(number), 0);
    EXPECT_EQ(in.Open(u"/nonexistent/file.xml"), 0);
    EXPECT_EQ(in.ReadTag(name, attrs), S::eReadError);

    // The DOM form loads a BSTR as a path, and no file has this name.
    CXMLDOMInStream dom;
    EXPECT_EQ(dom.OpenXML(text), 0);
    SysFreeString(text.bstrVal);
    EXPECT_ANY_THROW(dom.Open("x", 1));
}

TEST(XmlAttrs, TypedValuesAndLookup) {
    CXMLAttrs attrs;
    attrs.AddAttr(u"i", 42);
    attrs.AddAttr(u"l", std::int64_t(-5000000000));
    attrs.AddAttr(u"b", true);
    attrs.AddAttr(u"d", 0.1);
    attrs.AddAttr(u"t", u"true");
    attrs.AddAttr(u"B", u"x");
    int i = 0;
    std::int64_t l = 0;
    bool b = false;
    double d = 0;
    EXPECT_TRUE(attrs.GetAttr(u"i", i));
    EXPECT_EQ(i, 42);
    EXPECT_TRUE(attrs.GetAttr(u"l", l));
    EXPECT_EQ(l, -5000000000);
    EXPECT_TRUE(attrs.GetAttr(u"b", b));
    EXPECT_TRUE(b);
    EXPECT_EQ(attrs.GetAttr(u"d")->GetValue(), CString(u"0.1"));
    EXPECT_TRUE(attrs.GetAttr(u"d", d));
    EXPECT_EQ(d, 0.1);
    EXPECT_TRUE(attrs.GetAttr(u"t", b));
    EXPECT_FALSE(b); // "true" is not an integer
    EXPECT_EQ(attrs.GetAttr(u"B")->GetValue(), CString(u"x"));
    EXPECT_EQ(attrs.GetAttr(u"b")->GetValue(), CString(u"1")); // case-sensitive
    EXPECT_FALSE(attrs.GetAttr(u"missing", i));
    attrs.Flush();
    EXPECT_EQ(attrs.GetCount(), 0);
    EXPECT_EQ(attrs.GetAttr(u"i"), nullptr);
}

// ------------------------------------------------------------------ writer --

TEST(XmlWriter, ExactBytesOfEveryForm) {
    CXMLOutStream out;
    CCharStream* stream = out.Create(COutStream::eEncodingUTF8);
    ASSERT_NE(stream, nullptr);
    EXPECT_EQ(out.Create(COutStream::eEncodingUTF8), nullptr);
    CXMLAttrs attrs;
    attrs.AddAttr(u"a", u"x\"y<'");
    out.BeginTable(u"T", &attrs);
    out.WriteParameter(u"p", u"", 0);
    out.WriteParameter(u"q", u"", 1, &attrs);
    out.WriteParameter(u"s", u"say \"hi\" & <go>");
    out.EmptyItem(u"e");
    out.WriteParameter(u"d", 1234567.0);
    out.WriteParameter(u"n", std::int32_t(-7));
    out.WriteDateParameter(u"t", COleDateTime(2024, 2, 29, 13, 5, 9), 1);
    out.WriteDateParameter(u"old", COleDateTime(1899, 12, 31, 0, 0, 0), 1);
    out.WriteDateParameter(u"old", COleDateTime(1899, 12, 31, 0, 0, 0), 0);
    out.WriteCDATAParameter(u"c", u"a<b]]>", -1, 1);
    out.WriteCDATAParameter(u"c", u"", -1, 1);
    out.WriteCDATAbase64Parameter(u"b", "Man", 3, 1);
    out.BeginTable(u"Inner");
    out.Close();
    std::string bytes = Utf8Of(stream);
    EXPECT_EQ(bytes, "<?xml version=\"1.0\" ?><T a=\"x&quot;y&lt;'\"><p></p>"
                     "<s>say \"hi\" &amp; &lt;go&gt;</s><e /><d>1.23457e+06</d><n>-7</n>"
                     "<t>2024-02-29T13:05:09</t><old>1899-12-31T00:00:00</old>"
                     "<c><![CDATA[a<b]]>]]></c><b><![CDATA[TWFu]]></b><Inner></Inner></T>");
    delete stream; // the caller's after Close
}

TEST(XmlWriter, EncodingsAndTheUnmatchedEndTable) {
    for (auto encoding : {COutStream::eEncodingAnsi, COutStream::eEncodingUnicode}) {
        CXMLOutStream out;
        CCharStream* stream = out.Create(encoding);
        out.WriteParameter(u"v", u"Да");
        out.EndTable();
        out.Close();
        std::string bytes(static_cast<const char*>(stream->GetBuffer()), stream->GetByteLength());
        if (encoding == COutStream::eEncodingAnsi) {
            EXPECT_EQ(bytes, "<?xml version=\"1.0\" ?><v>\xC4\xE0</v></>");
        } else {
            EXPECT_EQ(
                std::u16string(reinterpret_cast<const char16_t*>(bytes.data()), bytes.size() / 2),
                u"<?xml version=\"1.0\" ?><v>Да</v></>");
        }
        delete stream;
    }
}

TEST(XmlWriter, FileRoundTripThroughTheReaderAndXmllint) {
    auto path = std::filesystem::temp_directory_path() /
                ("tarvex_writer_" + std::to_string(getpid()) + ".xml");
    std::string narrow = path.string();
    CString wide(std::u16string(narrow.begin(), narrow.end()));
    const char16_t* nasty = u"q\"<>&' \r\n\t Ёж €";
    {
        CXMLOutStream out;
        ASSERT_EQ(out.Create(wide), 1);
        EXPECT_EQ(out.Create(wide), 0);
        CXMLAttrs attrs;
        attrs.AddAttr(u"name", nasty);
        out.BeginTable(u"Root", &attrs);
        out.WriteParameter(u"Text", nasty);
        out.EmptyItem(u"Item", &attrs);
        out.Close(); // the file is in place
    }
    std::ifstream file(path, std::ios::binary);
    std::string bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    EXPECT_TRUE(WellFormed(bytes));

    CXMLFileInStream in;
    ASSERT_EQ(in.Open(wide), 1);
    CString name, value;
    CXMLAttrs attrs;
    EXPECT_EQ(in.ReadTag(name, attrs), S::eReadOpen);
    EXPECT_EQ(attrs.GetAttr(u"name")->GetValue(), CString(nasty));
    EXPECT_EQ(in.ReadTag(name, attrs), S::eReadOpen);
    EXPECT_EQ(in.ReadParameter(value, u"Text"), S::eReadClose);
    EXPECT_EQ(value, CString(nasty));
    EXPECT_EQ(in.ReadTag(name, attrs), S::eReadEmpty);
    EXPECT_EQ(in.ReadTag(name, attrs), S::eReadClose);
    std::filesystem::remove(path);
    EXPECT_EQ(CXMLOutStream().Create(u"/nonexistent-folder/x.xml"), 0);
}

TEST(XmlWriter, ManyShapesAreWellFormedToXmllint) {
    const char16_t* texts[] = {u"", u"plain", u"<&>\"'", u"]]>", u"Кириллица", u"\t\r\n "};
    CXMLOutStream out;
    CCharStream* stream = out.Create(COutStream::eEncodingUTF8);
    out.BeginTable(u"Doc");
    int k = 0;
    for (const char16_t* text : texts) {
        CXMLAttrs attrs;
        attrs.AddAttr(u"v", text);
        attrs.AddAttr(u"k", k++);
        out.BeginTable(u"Group", &attrs);
        out.WriteParameter(u"P", text, 0, &attrs);
        out.WriteCDATAParameter(u"C", text, -1, 0);
        out.EmptyItem(u"E", &attrs);
        out.WriteParameter(u"D", 3.25);
    }
    out.Close(); // closes the six groups and the document
    std::string bytes = Utf8Of(stream);
    delete stream;
    // "]]>" inside CDATA is written unsplit, which no XML parser accepts: the
    // oracle is run on the document without that one section.
    std::string cut = "<C><![CDATA[]]>]]></C>";
    auto at = bytes.find(cut);
    ASSERT_NE(at, std::string::npos);
    bytes.erase(at, cut.size());
    EXPECT_TRUE(WellFormed(bytes)) << bytes;
}

// ------------------------------------------------------------------ schema --

class TestSchema : public CXMLSchema {
public:
    TestSchema() {
        static const tagXMLTypedef kTable[] = {
            {u"Item", 0}, {u"Value", 1}, {u"Item", 2},  {u"Skipped", 7}, {u"Root", 0},
            {u"Name", 1}, {u"Item", 2},  {u"Items", 2}, {u"Items", 0},   {u"Item", 2},
            {u"Root", 0}, {u"Extra", 1}, // a type opened twice: ids restart
        };
        InitSchema(kTable, int(sizeof kTable / sizeof kTable[0]));
        SetRootType(u"Root");
    }
};

struct Collected {
    std::vector<std::u16string> seen;
};

int Collect(void* context, CXMLSchemaInStream& stream, int id, const char16_t* name,
            const char16_t* value, CXMLAttrs&) {
    auto* collected = static_cast<Collected*>(context);
    collected->seen.push_back(std::u16string(name) + u"#" + std::u16string(1, char16_t(u'0' + id)) +
                              u"=" + value);
    if (stream.GetTagStatus() == CXMLInStream::eReadOpen && std::u16string(name) != u"Name" &&
        std::u16string(name) != u"Value" && std::u16string(name) != u"Extra")
        return stream.ReadXML(Collect, context);
    return 1;
}

TEST(XmlSchema, TableBuildsTypesAndIds) {
    TestSchema schema;
    const CXMLSchemaType* root = schema.GetRootType();
    ASSERT_NE(root, nullptr);
    EXPECT_EQ(root->GetName(), CString(u"Root"));
    EXPECT_EQ(root->GetMemberId(u"Name"), 1);
    EXPECT_EQ(root->GetMemberId(u"Items"), 3);
    EXPECT_EQ(root->GetMemberId(u"Extra"), 1);
    EXPECT_EQ(root->GetMemberId(u"name"), 0);
    const CXMLSchemaType* item = schema.FindType(u"Item");
    ASSERT_NE(item, nullptr);
    EXPECT_EQ(item->FindMember(u"Item")->GetMemberType(), item);
    EXPECT_EQ(item->FindMember(u"Skipped"), nullptr);
    EXPECT_EQ(schema.SetRootType(u"Nope"), nullptr);
    EXPECT_EQ(schema.GetRootType(), root);
}

TEST(XmlSchema, ReadsKnownTagsAndDropsTheRest) {
    TestSchema schema;
    CXMLSchemaInStream in(schema);
    std::string doc = std::string(kDecl) +
                      "<Root a=\"1\"><Name>n</Name><Unknown><Item><Value>x</Value></Item> "
                      "</Unknown> <Item><Value>v</Value><Item/><Deep><x/> </Deep> </Item>"
                      "<Items><Item><Value/></Item></Items><Value>not here</Value> "
                      "<Name/></Root>";
    CXMLAttrs attrs;
    ASSERT_EQ(in.Open(doc.data(), int(doc.size()), attrs), 1);
    EXPECT_EQ(attrs.GetAttr(u"a")->GetValue(), CString(u"1"));
    Collected collected;
    EXPECT_EQ(in.ReadXML(Collect, &collected), 1);
    std::vector<std::u16string> expected = {u"Name#1=n", u"Item#2=", u"Value#1=v", u"Item#2=",
                                            u"Items#3=", u"Item#1=", u"Value#1=",  u"Name#1="};
    EXPECT_EQ(collected.seen, expected);
    EXPECT_TRUE(in.IsEof());
}

TEST(XmlSchema, RootFormsAndMismatches) {
    TestSchema schema;
    CXMLSchemaInStream in(schema);
    CXMLAttrs attrs;
    std::string empty = std::string(kDecl) + "<Root/>";
    ASSERT_EQ(in.Open(empty.data(), int(empty.size()), attrs), 1);
    EXPECT_EQ(in.ReadXML(Collect, nullptr), 1); // no content: at once
    std::u16string wide(empty.begin(), empty.end());
    EXPECT_EQ(in.OpenXML(wide.c_str(), int(wide.size())), 0);
    EXPECT_EQ(in.OpenXML(empty.c_str(), int(empty.size())), 0);

    std::string other = std::string(kDecl) + "<Item></Item>";
    EXPECT_EQ(in.Open(other.data(), int(other.size()), attrs), 0);

    std::string wrong = std::string(kDecl) + "<Root><Item></Items></Root>";
    ASSERT_EQ(in.Open(wrong.data(), int(wrong.size()), attrs), 1);
    CString name, value;
    int id = 0;
    EXPECT_EQ(in.Read(name, value, id, attrs), CXMLSchemaInStream::eResultObject);
    EXPECT_EQ(in.Read(name, value, id, attrs), CXMLSchemaInStream::eResultError);

    std::string objects = std::string(kDecl) + "<Root><Other> </Other><Items></Items></Root>";
    ASSERT_EQ(in.Open(objects.data(), int(objects.size()), attrs), 1);
    EXPECT_EQ(in.ReadObject(u"Items", attrs), CXMLSchemaInStream::eResultError);
    EXPECT_EQ(in.ReadObject(u"Items", attrs), CXMLSchemaInStream::eResultObject);
    EXPECT_EQ(in.Read(name, value, id, attrs), CXMLSchemaInStream::eResultEnd);
    EXPECT_EQ(in.Read(name, value, id, attrs), CXMLSchemaInStream::eResultEnd);
    EXPECT_TRUE(in.IsEof());

    VARIANT number;
    VariantInit(&number);
    number.vt = VT_I4;
    EXPECT_EQ(in.Open(number, nullptr), 0);
    VARIANT unknown;
    VariantInit(&unknown);
    unknown.vt = VT_UNKNOWN;
    EXPECT_EQ(in.Open(unknown, nullptr), 0); // no DOM yet
}

TEST(XmlSchema, DeepNestingFailsCleanly) {
    TestSchema schema;
    CXMLSchemaInStream in(schema);
    std::string doc = std::string(kDecl) + "<Root>";
    for (int i = 0; i < 200000; ++i) doc += "<Item>";
    CXMLAttrs attrs;
    ASSERT_EQ(in.Open(doc.data(), int(doc.size()), attrs), 1);
    Collected collected;
    EXPECT_EQ(in.ReadXML(Collect, &collected), 0);
}

} // namespace
