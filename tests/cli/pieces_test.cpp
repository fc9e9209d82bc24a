// The host's own pieces: format sniffing, option parsing, element paths.

#include <gtest/gtest.h>

#include "cliargs.h"
#include "clierror.h"
#include "document.h"
#include "elementpath.h"

using namespace tarvex::cli;
using namespace std::string_literals;

namespace {

TEST(SniffFormat, TellsXmlFromJsonWhateverTheEncoding) {
    EXPECT_EQ(SniffFormat("<?xml version=\"1.0\"?><Element/>"), DocumentFormat::Xml);
    EXPECT_EQ(SniffFormat(" \r\n\t{\"name\":\"x\"}"), DocumentFormat::Json);
    EXPECT_EQ(SniffFormat("\xEF\xBB\xBF  <Element/>"), DocumentFormat::Xml);
    // UTF-16 with and without a mark, both byte orders.
    EXPECT_EQ(SniffFormat("\xFF\xFE{\0"s), DocumentFormat::Json);
    EXPECT_EQ(SniffFormat("\xFE\xFF\0<"s), DocumentFormat::Xml);
    EXPECT_EQ(SniffFormat("\n\0 \0{\0\"\0"s), DocumentFormat::Json);
    EXPECT_EQ(SniffFormat("\0<\0?"s), DocumentFormat::Xml);
    // A UTF-16 head cut in the middle of a character still decides on what
    // it has.
    EXPECT_EQ(SniffFormat("\xFF\xFE \0<"s), std::nullopt);

    EXPECT_EQ(SniffFormat(""), std::nullopt);
    EXPECT_EQ(SniffFormat("   \n"), std::nullopt);
    EXPECT_EQ(SniffFormat("name = value"), std::nullopt);
    EXPECT_EQ(SniffFormat("[{\"name\":1}]"), std::nullopt);
    EXPECT_EQ(SniffFormat("\xEF\xBB"), std::nullopt);
}

TEST(SniffFormat, ExtensionsNameAFormatOnlyAtTheEnd) {
    EXPECT_EQ(FormatOfExtension("out.JSON"), DocumentFormat::Json);
    EXPECT_EQ(FormatOfExtension("dir/plant.xml"), DocumentFormat::Xml);
    EXPECT_EQ(FormatOfExtension("dir.json/plant"), std::nullopt);
    EXPECT_EQ(FormatOfExtension("plant.xml.bak"), std::nullopt);
    EXPECT_EQ(FormatOfExtension("plant"), std::nullopt);
}

Arguments Parse(std::vector<std::string> words) {
    std::vector<char*> argv;
    for (std::string& word : words) argv.push_back(word.data());
    return Arguments(static_cast<int>(argv.size()), argv.data(),
                     {{"output", 'o', true}, {"changed", 0, false}, {"format", 0, true}});
}

std::string UsageMessage(std::vector<std::string> words) {
    try {
        Parse(std::move(words));
    } catch (const UsageError& error) {
        return error.message;
    }
    return "(accepted)";
}

TEST(Arguments, OptionsAndOperandsInAnyOrder) {
    Arguments args = Parse({"a.xml", "-o", "out.json", "--changed", "b.xml"});
    EXPECT_EQ(args.Operands(), (std::vector<std::string>{"a.xml", "b.xml"}));
    EXPECT_EQ(args.Value("output"), "out.json");
    EXPECT_TRUE(args.Has("changed"));
    EXPECT_FALSE(args.Has("format"));
    EXPECT_EQ(args.Value("format", "xml"), "xml");

    EXPECT_EQ(Parse({"--output=x=y"}).Value("output"), "x=y");
    EXPECT_EQ(Parse({"-oout"}).Value("output"), "out");
    EXPECT_EQ(Parse({"--output", "--changed"}).Value("output"), "--changed");
    // After "--" everything is an operand, and "-" always is one.
    EXPECT_EQ(Parse({"--", "--changed", "-"}).Operands(),
              (std::vector<std::string>{"--changed", "-"}));
}

TEST(Arguments, RefusesWhatItDoesNotKnow) {
    EXPECT_EQ(UsageMessage({"--bogus"}), "unknown option '--bogus'");
    EXPECT_EQ(UsageMessage({"-x"}), "unknown option '-x'");
    EXPECT_EQ(UsageMessage({"-cx"}), "unknown option '-cx'");
    EXPECT_EQ(UsageMessage({"a", "--output"}), "option '--output' needs a value");
    EXPECT_EQ(UsageMessage({"--changed=yes"}), "option '--changed' takes no value");

    Arguments args = Parse({"--format", "yaml", "a", "b", "c"});
    EXPECT_NO_THROW(args.ExpectOperands(1, 3));
    try {
        args.ExpectOperands(1, 2);
        ADD_FAILURE();
    } catch (const UsageError& error) {
        EXPECT_EQ(error.message, "unexpected operand 'c'");
    }
    try {
        args.Choice("format", {"xml", "json"}, "xml");
        ADD_FAILURE();
    } catch (const UsageError& error) {
        EXPECT_EQ(error.message, "invalid value 'yaml' for --format (one of: xml, json)");
    }
}

class ElementPaths : public testing::Test {
protected:
    ElementPaths() {
        line = root.AddChild(u"Линия");
        first = line->AddChild(u"Опора");
        line->AddChild(u"Насос");
        second = line->AddChild(u"Опора");
        dotted = root.AddChild(u"v1.2");
        dotted->SetParameter(u"x.y", u"1");
        dotted->SetParameter(u"y", u"2");
        first->SetParameter(u"H", u"3");
    }

    CElement root{u"Станция"};
    CElement* line;
    CElement* first;
    CElement* second;
    CElement* dotted;
};

TEST_F(ElementPaths, NamesAndRanksRoundTrip) {
    EXPECT_EQ(ElementPath(root), "Станция");
    EXPECT_EQ(ElementPath(*first), "Станция/Линия/Опора");
    EXPECT_EQ(ElementPath(*second), "Станция/Линия/Опора[2]");
    for (const CElement* element : {&root, line, first, second, dotted})
        EXPECT_EQ(FindElement(root, ElementPath(*element)), element) << ElementPath(*element);

    EXPECT_EQ(FindElement(root, ""), &root);
    EXPECT_EQ(FindElement(root, "/"), &root);
    EXPECT_EQ(FindElement(root, "/Станция/Линия/"), line);
    EXPECT_EQ(FindElement(root, "Станция/Линия/Опора[1]"), first);
    EXPECT_EQ(FindElement(root, "Станция/Линия/Опора[3]"), nullptr);
    EXPECT_EQ(FindElement(root, "Станция/Линия/Опора[0]"), nullptr);
    EXPECT_EQ(FindElement(root, "Линия"), nullptr); // the root's name comes first
    EXPECT_EQ(FindElement(root, "Станция/линия"), nullptr);
}

TEST_F(ElementPaths, ParametersSplitAtTheDotThatNamesOne) {
    EXPECT_EQ(FindParameter(root, "Станция/Линия/Опора.H").param, first->GetParameter(u"H"));
    EXPECT_EQ(FindParameter(root, "Станция/Линия/Опора.h").param, first->GetParameter(u"H"));
    EXPECT_EQ(FindParameter(root, "Станция/Линия/Опора[2].H").param, nullptr);
    // The element "v1.2" holds "x.y": the first dot is no split that works.
    ParameterRef ref = FindParameter(root, "Станция/v1.2.x.y");
    EXPECT_EQ(ref.element, dotted);
    EXPECT_EQ(ref.param, dotted->GetParameter(u"x.y"));
    EXPECT_EQ(FindParameter(root, "Станция/v1.2.y").param, dotted->GetParameter(u"y"));
    EXPECT_EQ(FindParameter(root, "Станция/v1.2").param, nullptr);
    EXPECT_EQ(ParameterPath(*dotted, *dotted->GetParameter(u"x.y")), "Станция/v1.2.x.y");
}

} // namespace

#include "jsonwriter.h"
#include "tarvex/tarvex.h"

namespace {

std::u16string LibraryJson(const CElement& root) {
    CStringBuilderStream stream;
    stream.setEncoding(COutStream::eEncodingUnicode);
    CElementJsonOutStream writer(stream);
    EXPECT_TRUE(writer.Write(root));
    return {static_cast<const char16_t*>(stream.GetBuffer()), stream.GetPos()};
}

std::u16string HostJson(const CElement& root) {
    CStringBuilderStream stream;
    stream.setEncoding(COutStream::eEncodingUnicode);
    EXPECT_TRUE(WriteElementJson(root, stream));
    return {static_cast<const char16_t*>(stream.GetBuffer()), stream.GetPos()};
}

TEST(ElementJson, PrintsAsTheLibraryDoesWhereNothingIsLost) {
    CElement root(u"plant \"a\\b\"");
    root.SetTag(1, -7);
    root.SetParameter(u"mass", u"12.5\t<kg>", u"tab, quote\" and slash/", u"=a*2");
    CElement* line = root.AddChild(u"line");
    line->AddChild(u"empty");
    line->SetParameter(u"dn", u"150");
    EXPECT_EQ(HostJson(root), LibraryJson(root));
}

TEST(ElementJson, KeepsWhatTheLibraryPrinterCuts) {
    CElement root(u"Масса\u0001Ё");
    root.SetParameter(u"ПАРАМ", u"А\u0002\u000b", nullptr, u"=Н");
    std::u16string text = HostJson(root);
    EXPECT_NE(text.find(u"\"\\u041cасса\\u0001\\u0401\""), std::u16string::npos);

    CJsonInStream stream;
    ASSERT_TRUE(stream.Open(text.data(), static_cast<int>(text.size() * 2)));
    CElementJsonInStream reader(stream);
    CElement back;
    ASSERT_TRUE(reader.Read(back));
    EXPECT_TRUE(back.IsEqualTo(root));
    EXPECT_EQ(std::u16string_view(back.GetName()), root.GetName());
    EXPECT_EQ(back.GetParameter(u"ПАРАМ")->getValueComment().View(), u"=Н");
}

} // namespace

#include "progress.h"

namespace {

// The ticker thread starts, follows steps and stops without a terminal;
// nothing is shown for steps shorter than a second.
TEST(Progress, StartsAndStopsCleanly) {
    testing::internal::CaptureStderr();
    {
        Progress progress(true);
        progress.Step("reading");
        progress.Step("writing");
        progress.Done();
        progress.Step("again");
    }
    { Progress disabled(false); }
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

} // namespace
