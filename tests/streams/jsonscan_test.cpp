// The JSON reader's and printer's block scans against one unit at a time,
// with the stop at every place around the 8-unit blocks, and what rests on
// them: escapes across block edges, lone surrogates, number printing, and
// the large room the reader maps for big texts.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "tarvex/streams/charstream.h"
#include "tarvex/streams/json/jsoninstream.h"
#include "tarvex/streams/json/jsonroom_internal.h"
#include "tarvex/streams/json/jsonscan_internal.h"

namespace tj = tarvex::json_internal;

namespace {

// A terminated text with the padding the reader keeps after it.
std::vector<char16_t> Padded(const std::u16string& text) {
    std::vector<char16_t> units(text.begin(), text.end());
    units.resize(text.size() + 1 + tj::kScanPadding, 0);
    return units;
}

std::shared_ptr<CJsonNode> Parse(const std::u16string& text) {
    CJsonInStream in;
    if (!in.Open(text.data(), int(text.size() * 2))) return nullptr;
    return in.ParseNext();
}

std::u16string Print(const CJsonNode& node) {
    CStringBuilderStream stream;
    node.Write(stream, 0);
    return std::u16string(static_cast<const char16_t*>(stream.GetBuffer()), stream.GetPos());
}

TEST(JsonScan, StopsAtTheFirstStopWhereverItFalls) {
    for (char16_t stop : {u'"', u'\\', char16_t(0)}) {
        for (std::size_t at = 0; at < 20; ++at) {
            // Units that differ from a stop only in their high or low byte.
            std::u16string text(at, u'a');
            for (std::size_t i = 0; i < at; i += 3) text[i] = i % 2 ? u'\u2222' : u'\u5c00';
            text.push_back(stop);
            text += u"bb\"";
            auto units = Padded(text);
            EXPECT_EQ(tj::FindStringStop(units.data()) - units.data(), std::ptrdiff_t(at))
                << int(stop) << " at " << at;
        }
    }
}

TEST(JsonScan, SkipsUnitsUpTo32AndStopsAtTheTerminator) {
    for (std::size_t run = 0; run < 20; ++run) {
        std::u16string space;
        for (std::size_t i = 0; i < run; ++i) space.push_back(char16_t(1 + (i * 7) % 32));
        for (char16_t after : {u'!', u'\u0100', u'\u2000', char16_t(0)}) {
            auto units = Padded(space + after + u"  ");
            EXPECT_EQ(tj::SkipSpace(units.data()) - units.data(), std::ptrdiff_t(run))
                << run << " before " << int(after);
        }
    }
}

TEST(JsonScan, PlainPrefixMatchesTheUnitRuleAndStaysInItsRange) {
    const char16_t specials[] = {0, 8, 31, u'"', u'\\', u'\u0410', u'\u041F', u'\u2014', u'\uFF1F'};
    const char16_t plains[] = {32, u'A', u'\u0420', u'\u2020', char16_t(0xD834), u'\uFF20'};
    for (std::size_t length = 0; length <= 20; ++length) {
        for (char16_t special : specials) {
            for (std::size_t at = 0; at <= length; ++at) {
                std::u16string text;
                for (std::size_t i = 0; i < length; ++i) text.push_back(plains[i % 6]);
                if (at < length) text[at] = special;
                // The unit after the range must not count, whatever it is.
                text.push_back(u'A');
                EXPECT_EQ(tj::PlainPrefix(text.data(), length), at)
                    << int(special) << " at " << at << " of " << length;
            }
        }
    }
}

TEST(JsonScan, EscapesAcrossBlockEdgesReadAndPrintAsBefore) {
    for (std::size_t at = 0; at < 18; ++at) {
        for (const char16_t* escape : {u"\\n", u"\\\"", u"\\u0041", u"\\q", u"\\\\"}) {
            std::u16string body(at, u'x');
            body += escape;
            body += u"yyyyyyyyy";
            std::u16string key = body.substr(0, at) + escape;
            auto root = Parse(u"{\"" + key + u"\" : \"" + body + u"\"}");
            ASSERT_NE(root, nullptr) << at;
            const CJsonNode& item = *root->AsCompound()->children.at(0);
            std::u16string expected(at, u'x');
            const std::u16string e(escape);
            expected += e == u"\\n"       ? u"\n"
                        : e == u"\\\""    ? u"\""
                        : e == u"\\u0041" ? u"A"
                        : e == u"\\q"     ? u""
                                          : u"\\";
            EXPECT_EQ(item.key, expected) << at;
            EXPECT_EQ(static_cast<const CJsonNodeString&>(item).value, expected + u"yyyyyyyyy");
        }
    }
    // A string cut by the end of the text fails wherever the end falls.
    for (std::size_t at = 0; at < 18; ++at)
        EXPECT_EQ(Parse(u"[\"" + std::u16string(at, u'z')), nullptr) << at;
}

TEST(JsonScan, LoneSurrogatesPassThroughBothWays) {
    const std::u16string text = u"a\xD8A0"
                                u"bcdefgh\xDCA0"
                                u"ijklmnop\xDBFF";
    CJsonNodeObject object;
    object.AddString(u"\xDFFF", text.c_str());
    const std::u16string printed = Print(object);
    EXPECT_EQ(printed, u"{\r\n\t\"\xDFFF\" : \"" + text + u"\"\r\n}");
    auto back = Parse(printed);
    ASSERT_NE(back, nullptr);
    EXPECT_EQ(static_cast<const CJsonNodeString&>(*back->AsCompound()->children[0]).value, text);
    EXPECT_EQ(back->AsCompound()->children[0]->key, u"\xDFFF");
}

TEST(JsonScan, NumbersPrintAsTheFormatWouldWithOrWithoutIt) {
    for (double value : {0.0, -0.0, 1.0, -1.0, 7.0, 10.0, -123456.0, 999999999999999.0,
                         -999999999999999.0, 1e15, -1e15, 1e16, 0.1, -2.5, 4294967296.0,
                         2147483647.0, -2147483648.0, 1e300, 123456789012.5}) {
        CJsonNodeNumber number(value);
        char expected[64];
        std::snprintf(expected, sizeof expected, "%.15g", value);
        std::u16string wide(expected, expected + std::strlen(expected));
        EXPECT_EQ(Print(number), wide) << expected;
    }
}

TEST(JsonScan, TheTextEndsAfterItsLastByteWhateverTheRoomHeldBefore) {
    CJsonInStream in;
    // Leave non-zero units in the heap for the next texts' room.
    const std::u16string filler(4096, u'7');
    ASSERT_TRUE(in.Open(filler.data(), int(filler.size() * 2)));
    in.Close();
    const std::u16string text = u"[7,8] ";
    // An odd count takes the low byte of the last unit: ']' stays whole.
    ASSERT_TRUE(in.Open(text.data(), 9));
    auto node = in.ParseNext();
    ASSERT_NE(node, nullptr);
    EXPECT_EQ(node->AsCompound()->children.size(), 2u);
    EXPECT_EQ(in.ParseNext(), nullptr);
    // Cut inside the last item: the array has no end.
    ASSERT_TRUE(in.Open(text.data(), 7));
    EXPECT_EQ(in.ParseNext(), nullptr);
    ASSERT_TRUE(in.Open(text.data(), 0));
    EXPECT_EQ(in.ParseNext(), nullptr);
}

TEST(JsonScan, LargeRoomIsZeroedWritableAndGivenBack) {
    for (std::size_t bytes : {std::size_t(100), std::size_t(5) << 20, (std::size_t(9) << 20) + 3}) {
        auto* room = static_cast<unsigned char*>(tj::AllocateRoom(bytes, true));
        ASSERT_NE(room, nullptr);
        EXPECT_EQ(room[0], 0);
        EXPECT_EQ(room[bytes / 2], 0);
        EXPECT_EQ(room[bytes - 1], 0);
        std::memset(room, 0x5A, bytes);
        tj::FreeRoom(room, bytes);
    }
    // Pages kept for reuse come back writable, as the arena takes them.
    for (int round = 0; round < 6; ++round) {
        auto* page = static_cast<unsigned char*>(tj::AllocateRoom(tj::kMappedRoom, false));
        ASSERT_NE(page, nullptr);
        std::memset(page, round, tj::kMappedRoom);
        tj::FreeRoom(page, tj::kMappedRoom);
    }
    // A larger mapping given back is kept and handed out again, shrunk to a
    // smaller length; zeroed room never comes from what was kept.
    for (std::size_t bytes : {(std::size_t(9) << 20) + 3, std::size_t(5) << 20}) {
        auto* room = static_cast<unsigned char*>(tj::AllocateRoom(bytes, false));
        ASSERT_NE(room, nullptr);
        std::memset(room, 0x33, bytes);
        tj::FreeRoom(room, bytes);
        auto* zeroed = static_cast<unsigned char*>(tj::AllocateRoom(bytes, true));
        ASSERT_NE(zeroed, nullptr);
        EXPECT_EQ(zeroed[0], 0);
        EXPECT_EQ(zeroed[bytes - 1], 0);
        tj::FreeRoom(zeroed, bytes);
    }
    // A text above that size reads through the mapped copy.
    std::u16string big = u"[\"";
    big.append(std::size_t(3) << 20, u'w');
    big += u"\", 1]";
    auto root = Parse(big);
    ASSERT_NE(root, nullptr);
    EXPECT_EQ(static_cast<const CJsonNodeString&>(*root->AsCompound()->children[0]).value.size(),
              std::size_t(3) << 20);
}

} // namespace
