#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "tarvex/core/exceptions.h"
#include "tarvex/platform/codepage.h"
#include "tarvex/platform/xmldom.h"
#include "tarvex/streams/xml/xmlinstream.h"
#include "tarvex/streams/xml/xmloutstream.h"

namespace {

struct Step {
    CXMLInStream::eReadStatus status;
    std::u16string name;
};

std::vector<Step> Walk(CXMLInStream& stream) {
    std::vector<Step> steps;
    CString name;
    CXMLAttrs attrs;
    for (int guard = 0; guard < 100; ++guard) {
        const auto status = stream.ReadTag(name, attrs);
        if (status == CXMLInStream::eReadError) break;
        steps.push_back({status, std::u16string(name.View())});
    }
    return steps;
}

TEST(XMLDOMInStream, WalksTagsWithTheStatusesOfTheTextReader) {
    CXMLDOMInStream stream;
    ASSERT_EQ(stream.OpenXML(u"<?xml version=\"1.0\"?><r a=\"1\" b=\"x&amp;y\"><e/>"
                             u"<t>text</t>\n  <o><i/></o></r>",
                             -1),
              1);
    CString name;
    CXMLAttrs attrs;
    ASSERT_EQ(stream.ReadTag(name, attrs), CXMLInStream::eReadOpen);
    EXPECT_EQ(name, CString(u"r"));
    ASSERT_EQ(attrs.GetCount(), 2);
    EXPECT_EQ(attrs.GetAttr(int64_t(0))->GetName(), CString(u"a"));
    EXPECT_EQ(attrs.GetAttr(int64_t(1))->GetValue(), CString(u"x&y"));

    const auto steps = Walk(stream);
    const std::vector<std::pair<CXMLInStream::eReadStatus, std::u16string>> expected = {
        {CXMLInStream::eReadEmpty, u"e"}, {CXMLInStream::eReadOpen, u"t"},
        {CXMLInStream::eReadClose, u"t"}, {CXMLInStream::eReadOpen, u"o"},
        {CXMLInStream::eReadEmpty, u"i"}, {CXMLInStream::eReadClose, u"o"},
        {CXMLInStream::eReadClose, u"r"},
    };
    ASSERT_EQ(steps.size(), expected.size());
    for (size_t i = 0; i < steps.size(); ++i) {
        EXPECT_EQ(steps[i].status, expected[i].first) << i;
        EXPECT_EQ(steps[i].name, expected[i].second) << i;
    }
    EXPECT_EQ(stream.ReadTag(name, attrs), CXMLInStream::eReadError);
}

TEST(XMLDOMInStream, ReadParameterTakesTheTextAndMovesOn) {
    CXMLDOMInStream stream;
    ASSERT_EQ(
        stream.OpenXML("<?xml version=\"1.0\" encoding=\"windows-1251\"?><r>\xCF\xF0</r>", -1), 1);
    CString value;
    EXPECT_EQ(stream.ReadParameter(value, nullptr), CXMLInStream::eReadClose);
    EXPECT_EQ(value, CString(u"Пр"));
    EXPECT_EQ(stream.ReadParameter(value, nullptr), CXMLInStream::eReadError);
}

TEST(XMLDOMInStream, RefusesWhatItMustNotLoad) {
    CXMLDOMInStream stream;
    EXPECT_EQ(stream.OpenXML(u"<a>", -1), 0);
    EXPECT_EQ(stream.OpenXML(u"", 0), 0);
    // No document types: no entities to expand, no external subset to fetch.
    EXPECT_EQ(
        stream.OpenXML(u"<?xml version=\"1.0\"?><!DOCTYPE a [<!ENTITY e \"x\">]><a>&e;</a>", -1),
        0);
    EXPECT_EQ(stream.OpenXML(u"<!DOCTYPE a SYSTEM \"http://127.0.0.1:9/a.dtd\"><a/>", -1), 0);
    EXPECT_EQ(stream.Open(u"/nonexistent/file.xml"), 0);
    tagVARIANT number{};
    number.vt = VT_I4;
    EXPECT_EQ(stream.OpenXML(number), 0);
    CString name;
    CXMLAttrs attrs;
    EXPECT_EQ(stream.ReadTag(name, attrs), CXMLInStream::eReadError);
    EXPECT_THROW(stream.Open("x", 1), CKVException);
}

TEST(XMLDOMOutStream, BuildsADocumentTheTextReaderTakesBack) {
    const std::string dir = std::filesystem::temp_directory_path() / "tarvex-domout";
    std::filesystem::create_directories(dir);
    const CString path = tarvex::FromUtf8(dir + "/doc.xml");
    {
        CXMLDOMOutStream out;
        ASSERT_EQ(out.Create(path), 1);
        CXMLAttrs attrs;
        attrs.AddAttr(u"id", 7);
        ASSERT_EQ(out.BeginTable(u"Root", &attrs), 1);
        EXPECT_EQ(out.WriteParameter(u"Text", u"a<b & \"c\""), 1);
        EXPECT_EQ(out.WriteParameter(u"Skipped", u""), 1);
        EXPECT_EQ(out.WriteParameter(u"Number", std::int32_t(-3)), 1);
        EXPECT_EQ(out.WriteCDATAParameter(u"Data", u"x]]y", 2, 1), 1);
        EXPECT_EQ(out.EmptyItem(u"Empty", &attrs), 1);
        EXPECT_EQ(out.EndTable(), 1);
        EXPECT_EQ(out.EndTable(), 0);
        // A document holds one element.
        EXPECT_EQ(out.EmptyItem(u"Second"), 0);
        EXPECT_EQ(out.Close(), 1);
    }
    CXMLFileInStream in;
    ASSERT_EQ(in.Open(path), 1);
    CString name;
    CString value;
    CXMLAttrs attrs;
    ASSERT_EQ(in.ReadTag(name, attrs), CXMLInStream::eReadOpen);
    EXPECT_EQ(name, CString(u"Root"));
    ASSERT_EQ(in.ReadTag(name, attrs), CXMLInStream::eReadOpen);
    ASSERT_EQ(in.ReadParameter(value, u"Text"), CXMLInStream::eReadClose);
    EXPECT_EQ(value, CString(u"a<b & \"c\""));
    ASSERT_EQ(in.ReadTag(name, attrs), CXMLInStream::eReadOpen);
    EXPECT_EQ(name, CString(u"Number"));
    ASSERT_EQ(in.ReadParameter(value, u"Number"), CXMLInStream::eReadClose);
    EXPECT_EQ(value, CString(u"-3"));
    ASSERT_EQ(in.ReadTag(name, attrs), CXMLInStream::eReadOpen);
    ASSERT_EQ(in.ReadParameter(value, u"Data"), CXMLInStream::eReadClose);
    EXPECT_EQ(value, CString(u"x]"));
    ASSERT_EQ(in.ReadTag(name, attrs), CXMLInStream::eReadEmpty);
    EXPECT_EQ(name, CString(u"Empty"));
    int id = 0;
    EXPECT_TRUE(attrs.GetAttr(u"id", id));
    EXPECT_EQ(id, 7);
    in.Close();
    std::filesystem::remove_all(dir);
}

} // namespace
