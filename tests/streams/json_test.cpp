// The JSON tree: parsing, the fixed printed layout and its lossy quoting.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include "tarvex/streams/charstream.h"
#include "tarvex/streams/json/jsoninstream.h"

namespace {

std::shared_ptr<CJsonNode> Parse(const std::u16string& text, bool* more = nullptr) {
    CJsonInStream in;
    if (!in.Open(text.data(), int(text.size() * 2))) return nullptr;
    auto node = in.ParseNext();
    if (more != nullptr) *more = in.ParseNext() != nullptr;
    return node;
}

std::u16string Print(const CJsonNode& node) {
    CStringBuilderStream stream;
    node.Write(stream, 0);
    return std::u16string(static_cast<const char16_t*>(stream.GetBuffer()), stream.GetPos());
}

const CJsonNodeCompound& Compound(const std::shared_ptr<CJsonNode>& node) {
    return *node->AsCompound();
}

TEST(JsonParse, ScalarsWordsAndNumbers) {
    EXPECT_EQ(Parse(u""), nullptr);
    EXPECT_EQ(Parse(u"   "), nullptr);
    EXPECT_EQ(Parse(u"null")->GetType(), CJsonNode::eNull);
    EXPECT_EQ(Parse(u" true")->GetType(), CJsonNode::eTrue);
    EXPECT_EQ(Parse(u"false")->GetType(), CJsonNode::eFalse);
    bool more = false;
    EXPECT_EQ(Parse(u"nullable", &more)->GetType(), CJsonNode::eNull); // the word wins
    EXPECT_FALSE(more);                                                // "able" is not JSON
    auto number = [](const std::u16string& text) {
        auto node = Parse(text);
        return node && node->GetType() == CJsonNode::eNumber
                   ? static_cast<CJsonNodeNumber&>(*node).value
                   : -12345.0;
    };
    EXPECT_EQ(number(u"-2.5e3"), -2500);
    EXPECT_EQ(number(u"-"), 0); // a lone minus is 0
    EXPECT_EQ(number(u"0x10"), 16);
    EXPECT_EQ(Parse(u"+1"), nullptr);
    EXPECT_EQ(Parse(u".5"), nullptr);
    EXPECT_EQ(Parse(u"nul"), nullptr);

    // The lone minus moves nothing: the next value is the same one again.
    CJsonInStream in;
    std::u16string minus = u"-";
    ASSERT_TRUE(in.Open(minus.data(), 2));
    EXPECT_NE(in.ParseNext(), nullptr);
    EXPECT_NE(in.ParseNext(), nullptr);
}

TEST(JsonParse, StringsAndEscapes) {
    auto text = [](const std::u16string& json) {
        auto node = Parse(json);
        return node && node->GetType() == CJsonNode::eString
                   ? static_cast<CJsonNodeString&>(*node).value
                   : u"<null>";
    };
    EXPECT_EQ(text(u"\"\\u0041\\u042f\""), u"AЯ");
    EXPECT_EQ(text(u"\"a\\\"\\/\\\\\\b\\f\\n\\r\\tz\""), u"a\"/\\\b\f\n\r\tz");
    EXPECT_EQ(text(u"\"a\\qb\""), u"ab"); // unknown escape: both dropped
    EXPECT_EQ(text(u"\"\\u00G1\""), u"<null>");
    EXPECT_EQ(text(u"\"\\u00\""), u"<null>");
    EXPECT_EQ(text(u"\"open"), u"<null>");
    EXPECT_EQ(text(u"\"a\\"), u"<null>");
    std::u16string withNul = u"\"a";
    withNul.push_back(0);
    withNul += u"b\"";
    EXPECT_EQ(text(withNul), u"<null>");
}

TEST(JsonParse, CompoundsKeepOrderDuplicatesAndPartialResults) {
    auto object = Parse(u"{ \"a\" : 1 , \"a\":2, \"b\":[true,{}, []] }");
    ASSERT_NE(object, nullptr);
    ASSERT_EQ(object->GetType(), CJsonNode::eObject);
    const auto& items = Compound(object).children;
    ASSERT_EQ(items.size(), 3u);
    EXPECT_EQ(items[0]->key, u"a");
    EXPECT_EQ(static_cast<CJsonNodeNumber&>(*items[1]).value, 2);
    EXPECT_EQ(items[2]->GetType(), CJsonNode::eArray);
    EXPECT_EQ(Compound(items[2]).children.size(), 3u);

    for (const char16_t* bad :
         {u"[1,2,]", u"{\"a\":1,}", u"{a:1}", u"{\"a\" 1}", u"[1 2]", u"[", u"{\"a\":}"})
        EXPECT_EQ(Parse(bad), nullptr) << std::string(bad, bad + std::u16string(bad).size());

    // The caller's pointer keeps the partial array.
    struct Probe : CJsonInStream {
        bool Run(const std::u16string& text, std::shared_ptr<CJsonNode>& node) {
            Open(text.data(), int(text.size() * 2));
            return ParseValue(node);
        }
    } probe;
    std::shared_ptr<CJsonNode> partial;
    EXPECT_FALSE(probe.Run(u"[1,2,]", partial));
    ASSERT_NE(partial, nullptr);
    EXPECT_EQ(Compound(partial).children.size(), 2u);
}

TEST(JsonParse, SignaturesAndTheByteCountQuirk) {
    CJsonInStream in;
    const unsigned char badMark[] = {0xEF, 0x00, 0x7B, 0x00};
    EXPECT_EQ(in.Open(badMark, 4), 0);
    // A UTF-8 mark is accepted but the cursor stays on it: nothing parses.
    const unsigned char mark[] = {0xEF, 0xBB, 0xBF, 0x00, 0x31, 0x00};
    ASSERT_EQ(in.Open(mark, 6), 1);
    EXPECT_EQ(in.ParseNext(), nullptr);
    std::u16string bom = u"\xFEFF[1]";
    ASSERT_EQ(in.Open(bom.data(), int(bom.size() * 2)), 1);
    EXPECT_EQ(in.ParseNext(), nullptr);
    // The length counts bytes; half of them are the text, the rest zero.
    std::u16string text = u"[1]";
    ASSERT_EQ(in.Open(text.data(), int(text.size())), 1); // 3 bytes: "[" and half of "1"
    EXPECT_EQ(in.ParseNext(), nullptr);
    EXPECT_EQ(in.Open(u"/nonexistent/file.json"), 0);

    auto path = std::filesystem::temp_directory_path() /
                ("tarvex_json_" + std::to_string(getpid()) + ".json");
    std::u16string file = u" {\"k\":\"Д\"}";
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(file.data()), std::streamsize(file.size() * 2));
    std::string narrow = path.string();
    ASSERT_EQ(in.Open(std::u16string(narrow.begin(), narrow.end()).c_str()), 1);
    auto node = in.ParseNext();
    ASSERT_NE(node, nullptr);
    EXPECT_EQ(static_cast<CJsonNodeString&>(*Compound(node).children[0]).value, u"Д");
    std::filesystem::remove(path);
}

TEST(JsonPrint, FixedLayout) {
    CJsonNodeObject object;
    object.AddString(u"s1", u"a");
    object.AddString(u"s2", u"b");
    EXPECT_EQ(Print(object), u"{\r\n\t\"s1\" : \"a\",\r\n\t\"s2\" : \"b\"\r\n}");

    auto root = Parse(u"{\"n\":[1,0.1,-2.5e-7,null,true,false,[],{}],\"o\":{\"x\":1e300}}");
    ASSERT_NE(root, nullptr);
    EXPECT_EQ(Print(*root), u"{\r\n"
                            u"\t\"n\" : [\r\n"
                            u"\t\t1,\r\n\t\t0.1,\r\n\t\t-2.5e-07,\r\n\t\tnull,\r\n\t\ttrue,\r\n"
                            u"\t\tfalse,\r\n\t\t[\r\n\t\t],\r\n\t\t{\r\n\t\t}\r\n"
                            u"\t],\r\n"
                            u"\t\"o\" : {\r\n\t\t\"x\" : 1e+300\r\n\t}\r\n"
                            u"}");
    CJsonNodeArray empty;
    EXPECT_EQ(Print(empty), u"[\r\n]");
    CJsonNodeNumber one(1);
    one.key = u"k";
    EXPECT_EQ(Print(one), u"\"k\" : 1");
    // Printing again reads back to the same text.
    EXPECT_EQ(Print(*Parse(Print(*root))), Print(*root));
}

TEST(JsonPrint, QuotingByTheLowByteLosesLetters) {
    std::u16string quoted;
    const std::u16string text = u"\t\b\n\f\r\x01\"\\Длина\x0408x–";
    JsonQuote(quoted, text.data(), text.size());
    // Д (U+0414) and U+0408 and – (U+2013) have low bytes below 32: a lone
    // backslash each, as do control characters without a short form.
    EXPECT_EQ(quoted, u"\"\\t\\b\\n\\f\\r\\\\\"\\\\\\лина\\x\\\"");
    CJsonNodeString node(u"Длина");
    auto back = Parse(Print(node));
    ASSERT_NE(back, nullptr);
    EXPECT_EQ(static_cast<CJsonNodeString&>(*back).value, u"ина");

    // The exact form keeps every unit and still reads back whole.
    quoted.clear();
    JsonQuote(quoted, text.data(), text.size(), true);
    EXPECT_EQ(quoted, u"\"\\t\\b\\n\\f\\r\\u0001\\\"\\\\\\u0414лина\\u0408x\\u2013\"");
    CJsonNodeObject list;
    list.AddString(u"Длина", text.c_str());
    CStringBuilderStream stream;
    stream.setEncoding(COutStream::eEncodingUnicode);
    list.WriteExact(stream);
    auto exact = Parse({static_cast<const char16_t*>(stream.GetBuffer()), stream.GetPos()});
    ASSERT_NE(exact, nullptr);
    const CJsonNode& item = *exact->AsCompound()->children.at(0);
    EXPECT_EQ(item.key, u"Длина");
    EXPECT_EQ(static_cast<const CJsonNodeString&>(item).value, text);
}

TEST(JsonTree, DeepNestingFailsAndDeepTreesDieWithoutRecursion) {
    std::u16string deep(1000000, u'[');
    EXPECT_EQ(Parse(deep), nullptr);
    std::u16string objects;
    for (int i = 0; i < 200000; ++i) objects += u"{\"a\":";
    EXPECT_EQ(Parse(objects), nullptr);

    // Built by hand, far deeper than any parse: destroyed by a loop.
    auto build = [](int depth) {
        auto root = std::make_shared<CJsonNodeArray>();
        CJsonNodeCompound* at = root.get();
        for (int i = 0; i < depth; ++i) {
            auto child = std::make_shared<CJsonNodeArray>();
            CJsonNodeCompound* next = child.get();
            at->Add(std::move(child));
            at = next;
        }
        return root;
    };
    auto root = build(1000000);
    // Printing is a loop too (the indentation, growing with depth, keeps
    // this one shallower).
    auto printed = build(3000);
    CStringBuilderStream stream(1 << 20, 1 << 22);
    printed->Write(stream, 0);
    std::u16string text(static_cast<const char16_t*>(stream.GetBuffer()), stream.GetPos());
    EXPECT_EQ(text.substr(0, 7), u"[\r\n\t[\r\n");
    EXPECT_EQ(text.back(), u']');
    root.reset();
}

} // namespace
