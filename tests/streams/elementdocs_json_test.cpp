// Element documents in JSON: the printer's fixed layout, what the reader
// does with values of the wrong type, round trips (python's json.tool as an
// outside judge of the syntax) and agreement with the XML form.
#include <gtest/gtest.h>

#include <string>

#include "tarvex/streams/charstream.h"
#include "tarvex/streams/elementdocs/elementjson.h"
#include "tarvex/streams/elementdocs/elementxml.h"
#include "tests/streams/elementdocs_support.h"

namespace {

using namespace elementdocs_test;

std::u16string ToJson(const CElement& element) {
    CStringBuilderStream stream;
    CElementJsonOutStream writer(stream);
    EXPECT_TRUE(writer.Write(element));
    return std::u16string(static_cast<const char16_t*>(stream.GetBuffer()), stream.GetPos());
}

bool FromJson(const std::u16string& text, CElement& element) {
    CJsonInStream stream;
    if (!stream.Open(text.data(), static_cast<int>(text.size() * 2))) return false;
    CElementJsonInStream reader(stream);
    return reader.Read(element);
}

TEST(ElementJson, PrintsTheFixedLayout) {
    CElement root(u"R");
    root.AddParameter(new CParam(u"A", u"1", u"c", u"=B+1"));
    root.SetTag(0, 7);
    root.AddChild(u"C");
    const std::u16string expected = u"{\r\n"
                                    u"\t\"name\" : \"R\",\r\n"
                                    u"\t\"id\" : 0,\r\n"
                                    u"\t\"uid\" : -1,\r\n"
                                    u"\t\"Parameters\" : [\r\n"
                                    u"\t\t{\r\n"
                                    u"\t\t\t\"name\" : \"A\",\r\n"
                                    u"\t\t\t\"value\" : \"1\",\r\n"
                                    u"\t\t\t\"caption\" : \"c\",\r\n"
                                    u"\t\t\t\"comment\" : \"=B+1\"\r\n"
                                    u"\t\t}\r\n"
                                    u"\t],\r\n"
                                    u"\t\"Tags\" : [\r\n"
                                    u"\t\t7\r\n"
                                    u"\t],\r\n"
                                    u"\t\"Elements\" : [\r\n"
                                    u"\t\t{\r\n"
                                    u"\t\t\t\"name\" : \"C\",\r\n"
                                    u"\t\t\t\"id\" : 1,\r\n"
                                    u"\t\t\t\"uid\" : -1\r\n"
                                    u"\t\t}\r\n"
                                    u"\t]\r\n"
                                    u"}";
    EXPECT_EQ(Utf8(ToJson(root).c_str()), Utf8(expected.c_str()));
}

TEST(ElementJson, RoundTripKeepsEverythingAndPassesJsonTool) {
    CElement root(u"plant <&> 'x'");
    root.SetModelUID(INT32_MAX);
    root.SetTag(0, INT32_MIN);
    root.SetTag(1, INT32_MAX);
    CElement* line = root.AddChild(u"line");
    line->SetId(INT32_MIN);
    line->AddParameter(new CParam(u"Length", u"42.5", u"m", u""));
    line->AddParameter(new CParam(u"Head", u"51", u"", u"=parent(\"line\").Length*1.2"));
    line->AddChild(u"pump")->SetTag(3, -1);
    root.AddChild(u"support");
    const std::u16string text = ToJson(root);

    CElement copy(u"old");
    copy.AddChild(u"gone");
    ASSERT_TRUE(FromJson(text, copy));
    ExpectSameTree(root, copy);
    EXPECT_EQ(Utf8(ToJson(copy).c_str()), Utf8(text.c_str()));

    TempDir dir;
    const std::string path = dir.Path("tree.json");
    WriteBytes(path, Utf8(text.c_str()));
    EXPECT_EQ(RunStatus("python3 -m json.tool '" + path + "' > /dev/null 2>&1"), 0);
}

TEST(ElementJson, ValuesOfTheWrongType) {
    CElement element;
    // Id and uid: truncated numbers held to 32 bits; anything else is 0. A
    // name that is not a string is empty; parameter numbers become text.
    ASSERT_TRUE(FromJson(u"{\"name\":5,\"id\":1.9,\"uid\":\"7\",\"Parameters\":["
                         u"{\"name\":\"n\",\"value\":0.5,\"caption\":true,\"comment\":null},"
                         u"{\"name\":\"N\",\"value\":\"dup\"},{\"name\":\"\"},{\"value\":1}]}",
                         element));
    EXPECT_STREQ16(element.GetName(), u"");
    EXPECT_EQ(element.GetId(), 1);
    EXPECT_EQ(element.GetModelUID(), 0);
    ASSERT_EQ(element.GetParamsCount(), 1);
    EXPECT_STREQ16(element.GetParameterValue(u"n", u"?"), u"0.5");
    EXPECT_STREQ16(element.GetParameterComment(u"n", u"?"), u"");

    ASSERT_TRUE(FromJson(u"{\"id\":1e300,\"uid\":-1e300}", element));
    EXPECT_EQ(element.GetId(), INT32_MAX);
    EXPECT_EQ(element.GetModelUID(), INT32_MIN);
    ASSERT_TRUE(FromJson(u"{\"id\":-2147483648,\"uid\":2147483647}", element));
    EXPECT_EQ(element.GetId(), INT32_MIN);
    EXPECT_EQ(element.GetModelUID(), INT32_MAX);

    // A tag that is a string fails the read; no tag is taken.
    element.SetTag(0, 42);
    EXPECT_FALSE(FromJson(u"{\"name\":\"t\",\"Tags\":[1,\"2\"]}", element));
    ASSERT_EQ(element.GetTagsCount(), 0);
    EXPECT_FALSE(FromJson(u"{\"Parameters\":{}}", element));
    EXPECT_FALSE(FromJson(u"{\"Tags\":3}", element));
    EXPECT_FALSE(FromJson(u"{\"Parameters\":[1]}", element));
    EXPECT_FALSE(FromJson(u"[{\"name\":\"x\"}]", element));
    EXPECT_FALSE(FromJson(u"", element));

    // A bad child ends the read; those before it stay, the bad one goes.
    EXPECT_FALSE(FromJson(u"{\"Elements\":[{\"name\":\"a\"},{\"name\":\"b\",\"Tags\":[null]},"
                          u"{\"name\":\"c\"}]}",
                          element));
    ASSERT_EQ(element.GetChildCount(), 1);
    EXPECT_STREQ16(element.GetChild(int64_t{0})->GetName(), u"a");
}

TEST(ElementJson, SampleMatchesTheXmlSample) {
    const std::string json = ExamplePath("plant.json");
    const std::string xml = ExamplePath("plant.xml");
    ASSERT_FALSE(json.empty());
    // The JSON reader takes UTF-16 as it stands in memory, with no mark.
    CJsonInStream stream;
    ASSERT_TRUE(stream.Open(tarvex::FromUtf8(json)));
    CElementJsonInStream reader(stream);
    CElement fromJson;
    ASSERT_TRUE(reader.Read(fromJson));
    CElement fromXml;
    ASSERT_TRUE(fromXml.ReadFromFile(tarvex::FromUtf8(xml)));
    ExpectSameTree(fromXml, fromJson);
}

TEST(ElementJson, DeepNestingFailsCleanly) {
    std::u16string text;
    for (int i = 0; i < 200000; ++i) text += u"{\"Elements\":[";
    CElement element;
    EXPECT_FALSE(FromJson(text, element));
}

} // namespace
