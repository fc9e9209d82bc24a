#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "tarvex/element/element.h"
#include "tarvex/service/cmdbuilderutils.h"
#include "tarvex/service/commandtemplate.h"

namespace {

using Template = std::unique_ptr<CBuildCommandTemplate>;

Template FromText(const std::string& text) {
    return Template(CCmdBuilderUtils::BuildCommandTemplate(text));
}
Template FromBytes(const std::string& bytes) {
    return Template(CCmdBuilderUtils::BuildCommandTemplate(
        reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size()));
}

std::vector<std::uint64_t> Arguments(const CBuildCommandTemplate& t) {
    std::vector<std::uint64_t> values;
    for (const auto* part : t.m_arrArgumentParts) values.push_back(part->m_nValue);
    return values;
}
std::vector<std::uint64_t> Parts(const CBuildCommandTemplate::CFileTemplate& file) {
    std::vector<std::uint64_t> values;
    for (const auto* part : file.m_arrParts) values.push_back(part->m_nValue);
    return values;
}

} // namespace

TEST(CommandTemplate, ReadsHashArgumentsAndFilesSkippingWhatIsNotAnInteger) {
    const Template t = FromText(
        "{\"cmdHash\":-1,\"arguments\":{\"parts\":[3,\"x\",1.5,2147483648,-2,7]},\"other\":0,"
        "\"files\":[{\"hash\":5,\"parts\":[1,null,2]},{\"hash\":4294967296,\"parts\":[9]},"
        "{\"hash\":\"6\",\"parts\":[]},{\"parts\":[1]},{\"hash\":6},{\"hash\":6,\"parts\":{}},"
        "[],{\"hash\":8,\"parts\":[]}]}");
    ASSERT_TRUE(t);
    EXPECT_EQ(UINT64_MAX, t->m_nHash); // negative numbers keep their bits
    EXPECT_EQ((std::vector<std::uint64_t>{3, static_cast<std::uint64_t>(-2), 7}), Arguments(*t));
    ASSERT_EQ(2, t->m_arrFileTemplates.GetLength());
    EXPECT_EQ(5u, t->m_arrFileTemplates[0]->m_nHash);
    EXPECT_EQ((std::vector<std::uint64_t>{1, 2}), Parts(*t->m_arrFileTemplates[0]));
    EXPECT_EQ(8u, t->m_arrFileTemplates[1]->m_nHash);
    EXPECT_TRUE(Parts(*t->m_arrFileTemplates[1]).empty());
}

TEST(CommandTemplate, RequiredMembersDecideBetweenATemplateAndNull) {
    const char* refused[] = {
        "{\"cmdHash\":1,\"arguments\":{\"parts\":[]}}",
        "{\"cmdHash\":2147483648,\"arguments\":{\"parts\":[1]}}",
        "{\"cmdHash\":\"1\",\"arguments\":{\"parts\":[1]}}",
        "{\"cmdHash\":1.0,\"arguments\":{\"parts\":[1]}}",
        "{\"arguments\":{\"parts\":[1]}}",
        "{\"cmdHash\":1}",
        "{\"cmdHash\":1,\"arguments\":[1]}",
        "{\"cmdHash\":1,\"arguments\":{}}",
        "{\"cmdHash\":1,\"arguments\":{\"parts\":{\"0\":1}}}",
        "[{\"cmdHash\":1,\"arguments\":{\"parts\":[1]}}]",
        "{\"cmdHash\":1,\"arguments\":{\"parts\":[1]}",
        "",
    };
    for (const char* text : refused) {
        EXPECT_FALSE(FromText(text)) << text;
        EXPECT_FALSE(FromBytes(text)) << text;
    }
    // Parts that are all skipped still make a template, and so does a
    // "files" that is not an array.
    const Template skipped =
        FromText("{\"cmdHash\":1,\"arguments\":{\"parts\":[\"a\"]},\"files\":{}}");
    ASSERT_TRUE(skipped);
    EXPECT_EQ(0, skipped->m_arrArgumentParts.GetLength());
    EXPECT_EQ(0, skipped->m_arrFileTemplates.GetLength());
    EXPECT_FALSE(CCmdBuilderUtils::BuildCommandTemplate(nullptr, 10));
}

TEST(CommandTemplate, BytesSkipTheMarkAndStopAtTheirSizeWhileTextStopsAtZero) {
    const std::string json = "{\"cmdHash\":4,\"arguments\":{\"parts\":[1]}}";
    EXPECT_TRUE(FromBytes("\xEF\xBB\xBF" + json));
    EXPECT_TRUE(FromBytes("\xBB" + json));
    EXPECT_FALSE(FromBytes("\xBF\xBB" + json));
    EXPECT_FALSE(FromText("\xEF\xBB\xBF" + json));
    EXPECT_FALSE(FromBytes(json + "{"));
    EXPECT_TRUE(FromText(json + std::string(1, '\0') + "garbage"));
    // The size cuts the text short even when more follows in memory.
    EXPECT_FALSE(CCmdBuilderUtils::BuildCommandTemplate(
        reinterpret_cast<const unsigned char*>(json.c_str()), json.size() - 1));
    const std::string deep(100000, '[');
    EXPECT_FALSE(FromText(deep));
    EXPECT_FALSE(FromBytes(deep));
}

TEST(CommandTemplate, CopiesAreDeep) {
    Template t = FromText("{\"cmdHash\":4,\"arguments\":{\"parts\":[1,2]},"
                          "\"files\":[{\"hash\":3,\"parts\":[5]}]}");
    ASSERT_TRUE(t);
    CBuildCommandTemplate copy(*t);
    CBuildCommandTemplate assigned(0);
    assigned = copy;
    t.reset();
    EXPECT_EQ((std::vector<std::uint64_t>{1, 2}), Arguments(copy));
    EXPECT_EQ((std::vector<std::uint64_t>{5}), Parts(*assigned.m_arrFileTemplates[0]));
    CBuildCommandTemplate moved(std::move(assigned));
    EXPECT_EQ(3u, moved.m_arrFileTemplates[0]->m_nHash);
}

TEST(ElementJson, WritesIdNameParametersAndChildrenOnlyWhenThere) {
    CElement root(u"Корень \"1\"");
    EXPECT_EQ("{\"id\":0,\"name\":\"Корень \\\"1\\\"\"}",
              CCmdBuilderUtils::CElementToJsonStringUtf8(root));
    root.SetParameter(u"b", u"line\nnext\\", u"comment", u"=1");
    root.SetParameter(u"A", u"");
    root.AddChild(u"c")->SetParameter(u"X", u"Ω");
    root.AddChild(u"d");
    EXPECT_EQ("{\"id\":0,\"name\":\"Корень \\\"1\\\"\",\"Parameters\":["
              "{\"name\":\"A\",\"value\":\"\"},{\"name\":\"b\",\"value\":\"line\\nnext\\\\\"}],"
              "\"Elements\":[{\"id\":1,\"name\":\"c\",\"Parameters\":[{\"name\":\"X\","
              "\"value\":\"Ω\"}]},{\"id\":2,\"name\":\"d\"}]}",
              CCmdBuilderUtils::CElementToJsonStringUtf8(root));
    // The wide form goes through code page 1251: Cyrillic stays, Ω does not.
    const std::u16string wide = CCmdBuilderUtils::CElementToJsonString(root);
    EXPECT_NE(std::u16string::npos, wide.find(u"\"name\":\"Корень \\\"1\\\"\""));
    EXPECT_NE(std::u16string::npos, wide.find(u"{\"name\":\"X\",\"value\":\"?\"}"));
}

TEST(ElementJson, TreesDeeperThanTheLimitWriteNothing) {
    CElement root(u"r");
    CElement* last = &root;
    for (int level = 1; level < CCmdBuilderUtils::kMaxElementDepth; ++level)
        last = last->AddChild(u"e");
    const std::string fits = CCmdBuilderUtils::CElementToJsonStringUtf8(root);
    std::size_t arrays = 0;
    for (std::size_t at = fits.find("\"Elements\""); at != std::string::npos;
         at = fits.find("\"Elements\"", at + 1))
        ++arrays;
    EXPECT_EQ(static_cast<std::size_t>(CCmdBuilderUtils::kMaxElementDepth - 1), arrays);
    last->AddChild(u"too deep");
    EXPECT_TRUE(CCmdBuilderUtils::CElementToJsonStringUtf8(root).empty());
    EXPECT_TRUE(CCmdBuilderUtils::CElementToJsonString(root).empty());
}
