// Element documents in XML: exact bytes, the reader's deliberate leniency,
// round trips (with xmllint as an outside judge) and atomic saving.
#include <gtest/gtest.h>

#include <pthread.h>
#include <sys/resource.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "tarvex/platform/bstr.h"
#include "tarvex/platform/codepage.h"
#include "tarvex/platform/variant.h"
#include "tarvex/streams/elementdocs/elementxml.h"
#include "tests/streams/elementdocs_support.h"

namespace {

using namespace elementdocs_test;

const char16_t* const kDeclaration = u"<?xml version=\"1.0\" ?>";

CString Xml(const char16_t* body) {
    CString text(kDeclaration);
    text += body;
    return text;
}

TEST(ElementXml, WritesExactBytesAndReadsThemBack) {
    CElement root(u"R");
    root.AddParameter(new CParam(u"A", u"1", u"c", u"=B+1"));
    root.SetTag(0, 7);
    root.AddChild(u"C");
    CString text;
    ASSERT_TRUE(root.WriteToXML(text));
    // caption holds the comment, comment the value comment (the formula).
    const CString expected = Xml(
        u"<Element name=\"R\" id=\"0\" uid=\"-1\"><Parameters><Parameter name=\"A\" value=\"1\" "
        u"caption=\"c\" comment=\"=B+1\" /></Parameters><Tags><Tag value=\"7\" /></Tags>"
        u"<Elements><Element name=\"C\" id=\"1\" uid=\"-1\"></Element></Elements></Element>");
    EXPECT_EQ(text, expected);

    CElement copy;
    ASSERT_TRUE(copy.ReadFromXML(text));
    ExpectSameTree(root, copy);
    CString again;
    ASSERT_TRUE(copy.WriteToXML(again));
    EXPECT_EQ(again, expected);

    // Nothing inside: still an open and a closing tag, no empty groups.
    CElement bare(u"B");
    bare.SetId(-5);
    bare.SetModelUID(INT32_MIN);
    ASSERT_TRUE(bare.WriteToXML(text));
    EXPECT_EQ(text, Xml(u"<Element name=\"B\" id=\"-5\" uid=\"-2147483648\"></Element>"));
}

TEST(ElementXml, EscapesNamesAndValues) {
    CElement root(u"a\"b<c>&");
    root.AddParameter(new CParam(u"p<", u"say \"hi\" <now> & 'then'", u"x&y", u"=\"q\""));
    CString text;
    ASSERT_TRUE(root.WriteToXML(text));
    EXPECT_NE(text.View().find(u"value=\"say &quot;hi&quot; &lt;now&gt; &amp; 'then'\""),
              std::u16string_view::npos);
    CElement copy;
    ASSERT_TRUE(copy.ReadFromXML(text));
    ExpectSameTree(root, copy);
}

TEST(ElementXml, ReaderIsLenientWhereTheWriterIsStrict) {
    CElement element(u"old");
    element.AddParameter(u"keep", u"1");
    EXPECT_FALSE(element.ReadFromXML(CString(u"<Element/>"))); // no declaration
    EXPECT_FALSE(element.ReadFromXML(CString(u"<Element >"))); // unterminated
    EXPECT_FALSE(element.ReadFromXML(CString(u"123456789")));  // too short to parse
    // A root read from text must be an open tag.
    EXPECT_FALSE(element.ReadFromXML(Xml(u"<Element name=\"r\" id=\"1\" uid=\"2\" />")));

    const CString text =
        Xml(u"<Element name=\"r\" id=\"3\" uid=\"4\"><Parameters>"
            u"<Parameter name=\"b\" value=\"first\" /><Parameter name=\"B\" value=\"second\" />"
            u"<Parameter name=\"\" value=\"nameless\" /><Parameter value=\"absent\" />"
            u"<Parameter name=\"a\" value=\"1\" caption=\"c\" /></Parameters><Parameters/>"
            u"<Unknown>\n<Parameter name=\"z\" value=\"dropped\" />\n</Unknown>"
            u"<Tags><Tag value=\"5\" /><TAG value=\"6\" /><Tag /><Tag value=\"x\" /></Tags>"
            u"<Elements><Element name=\"c1\" id=\"9\" uid=\"3\"/>"
            u"<Element name=\"c2\" id=\"2\" uid=\"1\"></Element></Elements></Element>");
    ASSERT_TRUE(element.ReadFromXML(text));
    EXPECT_STREQ16(element.GetName(), u"r");
    EXPECT_EQ(element.GetId(), 3);
    EXPECT_EQ(element.GetModelUID(), 4);
    // First of a name wins; nameless ones are dropped; sorted for lookups.
    ASSERT_EQ(element.GetParamsCount(), 2);
    EXPECT_STREQ16(element.GetParams()[0]->getName(), u"a");
    EXPECT_STREQ16(element.GetParameterValue(u"B", u"?"), u"first");
    EXPECT_STREQ16(element.GetParameterComment(u"a", u"?"), u"c");
    EXPECT_FALSE(element.HasParameter(u"keep"));
    EXPECT_FALSE(element.HasParameter(u"z"));
    // <TAG> is unknown to the grammar; a tag without a value is skipped; a
    // bad value reads as 0.
    ASSERT_EQ(element.GetTagsCount(), 2);
    EXPECT_EQ(element.GetTag(0), 5);
    EXPECT_EQ(element.GetTag(1), 0);
    ASSERT_EQ(element.GetChildCount(), 2);
    EXPECT_STREQ16(element.GetChild(int64_t{0})->GetName(), u"c1");
    EXPECT_EQ(element.GetChild(int64_t{0})->GetRoot(), &element);
    EXPECT_EQ(element.GetChild(int64_t{1})->GetParent(), &element);
    // The counter follows the highest id read, so new ids stay unique.
    EXPECT_GE(element.GetMaxElementIdVal(), 9);
    EXPECT_GT(element.AddChild(u"new")->GetId(), 9);
}

TEST(ElementXml, ReadsFromAVariantHoldingTextOrAPath) {
    CElement root(u"R");
    root.SetParameter(u"a&#x0;", u"1");
    CString text;
    ASSERT_TRUE(root.WriteToXML(text));
    VARIANT source;
    VariantInit(&source);
    source.vt = VT_BSTR;
    source.bstrVal = SysAllocString(text.GetString());
    CElement fromText;
    EXPECT_TRUE(fromText.ReadFromSource(source));
    ExpectSameTree(root, fromText);
    VariantClear(&source);

    TempDir dir;
    const std::string path = dir.Path("v.xml");
    ASSERT_TRUE(root.WriteToFile(tarvex::FromUtf8(path)));
    source.vt = VT_BSTR;
    source.bstrVal = SysAllocString(tarvex::FromUtf8(path).GetString());
    CElement fromPath;
    EXPECT_TRUE(fromPath.ReadFromSource(source));
    ExpectSameTree(root, fromPath);
    VariantClear(&source);

    source.vt = VT_I4;
    source.lVal = 1;
    EXPECT_FALSE(fromPath.ReadFromSource(source));
}

TEST(ElementXml, ParameterNamesEndAtANul) {
    // "&#x0;" decodes to a NUL; a name is what comes before it, so a name
    // starting with one is dropped like an empty one.
    CElement element;
    ASSERT_TRUE(element.ReadFromXML(
        Xml(u"<Element name=\"r\" id=\"0\" uid=\"0\"><Parameters>"
            u"<Parameter name=\"&#x0;x\" value=\"1\" /><Parameter name=\"b&#x0;c\" value=\"2\" />"
            u"</Parameters></Element>")));
    ASSERT_EQ(element.GetParamsCount(), 1);
    EXPECT_EQ(element.GetParams()[0]->getName().GetLength(), 1);
    EXPECT_STREQ16(element.GetParameterValue(u"b", u"?"), u"2");
}

TEST(ElementXml, PartialReadKeepsEarlierChildrenAndDropsTheFailedOne) {
    CElement element;
    const CString text =
        Xml(u"<Element name=\"r\" id=\"0\" uid=\"0\"><Elements>"
            u"<Element name=\"good\" id=\"1\" uid=\"0\"></Element>"
            u"<Element name=\"bad\" id=\"2\" uid=\"0\"><Parameters></Tags></Element>"
            u"</Elements></Element>");
    EXPECT_FALSE(element.ReadFromXML(text));
    ASSERT_EQ(element.GetChildCount(), 1);
    EXPECT_STREQ16(element.GetChild(int64_t{0})->GetName(), u"good");
}

TEST(ElementXml, RepeatedParameterNamesShareOneBuffer) {
    CElement root(u"r");
    for (int i = 0; i < 3; ++i) root.AddChild(u"c")->SetParameter(u"Длина", i);
    CString text;
    ASSERT_TRUE(root.WriteToXML(text));
    CElement copy;
    ASSERT_TRUE(copy.ReadFromXML(text));
    const CParam* first = copy.GetChild(int64_t{0})->GetParams()[0];
    const CParam* third = copy.GetChild(int64_t{2})->GetParams()[0];
    EXPECT_EQ(first->getName().GetString(), third->getName().GetString());
    EXPECT_EQ(first->UpperName().GetString(), third->UpperName().GetString());
}

TEST(ElementXml, ParametersOutOfOrderAreSortedOnRead) {
    CElement element;
    ASSERT_TRUE(element.ReadFromXML(
        Xml(u"<Element name=\"r\" id=\"0\" uid=\"0\"><Parameters><Parameter name=\"z\" />"
            u"<Parameter name=\"b\" /><Parameter name=\"Y\" /><Parameter name=\"a\" />"
            u"</Parameters></Element>")));
    ASSERT_EQ(element.GetParamsCount(), 4);
    const char16_t* order[] = {u"a", u"b", u"Y", u"z"};
    for (int i = 0; i < 4; ++i) EXPECT_STREQ16(element.GetParams()[i]->getName(), order[i]);
    for (const char16_t* name : order) EXPECT_TRUE(element.HasParameter(name)) << Utf8(name);
}

TEST(ElementXml, SampleDocumentRoundTripsByteForByteThroughFiles) {
    const std::string sample = ExamplePath("plant.xml");
    ASSERT_FALSE(sample.empty());
    CElement plant;
    ASSERT_TRUE(plant.ReadFromFile(tarvex::FromUtf8(sample)));
    EXPECT_STREQ16(plant.GetName(), u"Установка_100");
    EXPECT_EQ(plant.GetModelUID(), 4417);
    const CElement* line = plant.GetChild(u"Линия_1");
    ASSERT_NE(line, nullptr);
    const CElement* pump = line->GetChild(u"Насос_P-101");
    ASSERT_NE(pump, nullptr);
    EXPECT_STREQ16(pump->GetParameterValueComment(u"Напор", u""),
                   u"=parent(\"Линия_1\").Длина*1.2");

    TempDir dir;
    const std::string copy = dir.Path("copy.xml");
    ASSERT_TRUE(plant.WriteToFile(tarvex::FromUtf8(copy)));
    EXPECT_EQ(ReadBytes(copy), ReadBytes(sample));
    EXPECT_EQ(RunStatus("xmllint --noout '" + copy + "' 2>&1"), 0);

    // An empty root tag is fine in a file.
    const std::string empty = dir.Path("empty.xml");
    WriteBytes(empty, "<?xml version=\"1.0\" ?><Element name=\"e\" id=\"1\" uid=\"2\" />");
    CElement element;
    ASSERT_TRUE(element.ReadFromFile(tarvex::FromUtf8(empty)));
    EXPECT_STREQ16(element.GetName(), u"e");
    EXPECT_FALSE(element.ReadFromFile(tarvex::FromUtf8(dir.Path("missing.xml"))));
}

TEST(ElementXml, FailedSaveLeavesTheOldFileIntact) {
    TempDir dir;
    const std::string target = dir.Path("doc.xml");
    WriteBytes(target, "old contents");
    CElement big(u"big");
    for (int i = 0; i < 4000; ++i)
        big.AddChild(u"child")->SetParameter(u"Value", u"some text that fills the file");

    // The file size limit makes a write fail half-way through the document.
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit saved{};
    getrlimit(RLIMIT_FSIZE, &saved);
    rlimit limited = saved;
    limited.rlim_cur = 100 * 1024;
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limited), 0);
    const bool saved_ok = big.WriteToFile(tarvex::FromUtf8(target));
    setrlimit(RLIMIT_FSIZE, &saved);
    EXPECT_FALSE(saved_ok);
    EXPECT_EQ(ReadBytes(target), "old contents");
    EXPECT_EQ(dir.Count(), 1) << "the temporary file was left behind";

    EXPECT_FALSE(big.WriteToFile(tarvex::FromUtf8(dir.Path("no/such/dir.xml"))));
    ASSERT_TRUE(big.WriteToFile(tarvex::FromUtf8(target)));
    EXPECT_EQ(dir.Count(), 1);
    CElement back;
    ASSERT_TRUE(back.ReadFromFile(tarvex::FromUtf8(target)));
    ExpectSameTree(big, back);
}

// Runs `body` on a thread with a small stack, so that the depth where the
// stack runs out is reached soon and alike in every build.
template <class Body>
void OnSmallStack(Body body) {
    pthread_attr_t attr;
    pthread_attr_init(&attr);
    pthread_attr_setstacksize(&attr, 512 * 1024);
    pthread_t thread;
    auto run = [](void* data) -> void* {
        (*static_cast<Body*>(data))();
        return nullptr;
    };
    ASSERT_EQ(pthread_create(&thread, &attr, run, &body), 0);
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attr);
}

TEST(ElementXml, DeepNestingFailsCleanly) {
    // A million levels: the reader stops where the stack would run out.
    std::u16string text(kDeclaration);
    const std::u16string level = u"<Element name=\"\" id=\"0\" uid=\"0\"><Elements>";
    text.reserve(text.size() + level.size() * 1000000);
    for (int i = 0; i < 1000000; ++i) text += level;
    const CString document(text.c_str(), static_cast<int>(text.size()));
    bool read = true;
    OnSmallStack([&] {
        CElement element;
        read = element.ReadFromXML(document);
    });
    EXPECT_FALSE(read);

    // A deep tree built in memory is refused by the writer, neither
    // overflowed nor written truncated.
    CElement root(u"r");
    CElement* tip = &root;
    for (int i = 0; i < 20000; ++i) tip = tip->AddChild(u"n");
    bool written = true;
    OnSmallStack([&] {
        CString out;
        written = root.WriteToXML(out);
    });
    EXPECT_FALSE(written);
}

} // namespace
