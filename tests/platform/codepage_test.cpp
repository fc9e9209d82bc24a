#include "tarvex/platform/codepage.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

namespace {

using namespace std::string_view_literals;

std::u16string Decode(UINT codePage, std::string_view bytes) {
    return std::u16string(tarvex::DecodeCodePage(codePage, bytes).View());
}

TEST(CodePageUtf8, RoundTripsAllPlanes) {
    const std::u16string text = u"Tag Ёлка 中文 \U0001F600!";
    const std::string bytes = tarvex::ToUtf8(text);
    EXPECT_EQ(bytes,
              "Tag \xD0\x81\xD0\xBB\xD0\xBA\xD0\xB0 \xE4\xB8\xAD\xE6\x96\x87 \xF0\x9F\x98\x80!");
    EXPECT_EQ(Decode(CP_UTF8, bytes), text);
    EXPECT_EQ(Decode(CP_UTF8, "\xF4\x8F\xBF\xBF"), u"\U0010FFFF");
    EXPECT_EQ(Decode(CP_UTF8, "\xEF\xBB\xBFx"), u"\xFEFFx"); // a BOM is text like any other
}

TEST(CodePageUtf8, InvalidSequencesBecomeReplacementCharacters) {
    // One U+FFFD for each maximal ill-formed subsequence.
    struct Case {
        std::string_view bytes;
        std::u16string_view text;
    };
    const Case cases[] = {
        {"a\x80z", u"a\xFFFDz"},                           // stray continuation
        {"\xC3", u"\xFFFD"},                               // truncated at the end
        {"\xE2\x82", u"\xFFFD"},                           // truncated, one subpart
        {"\xE2\x82Z", u"\xFFFDZ"},                         // next byte starts over
        {"\xC0\xAF", u"\xFFFD\xFFFD"},                     // overlong
        {"\xE0\x80\xAF", u"\xFFFD\xFFFD\xFFFD"},           // overlong
        {"\xED\xA0\x80", u"\xFFFD\xFFFD\xFFFD"},           // encoded surrogate
        {"\xF4\x90\x80\x80", u"\xFFFD\xFFFD\xFFFD\xFFFD"}, // above U+10FFFF
        {"\xFF", u"\xFFFD"},
        {"abcdefg\xD0\xAFhijklmnop\xD0", u"abcdefgЯhijklmnop\xFFFD"},
    };
    for (const Case& c : cases) EXPECT_EQ(Decode(CP_UTF8, c.bytes), c.text) << c.bytes;
}

TEST(CodePageUtf8, LoneSurrogatesEncodeAsReplacementCharacter) {
    EXPECT_EQ(tarvex::ToUtf8(u"a\xD83D"), "a\xEF\xBF\xBD");
    EXPECT_EQ(tarvex::ToUtf8(u"\xDE00\xD83Dz"), "\xEF\xBF\xBD\xEF\xBF\xBDz"); // reversed pair

    const char16_t lone[] = u"\xDC00";
    char out[8];
    BOOL usedDefault = FALSE;
    EXPECT_EQ(WideCharToMultiByte(CP_UTF8, 0, lone, 1, out, 8, nullptr, &usedDefault), 3);
    EXPECT_TRUE(usedDefault);
}

TEST(CodePageSingleByte, CyrillicLettersRoundTrip) {
    std::u16string letters = u"Ёё";
    for (char16_t ch = u'А'; ch <= u'я'; ++ch) letters += ch;
    for (UINT page : {CP_WINDOWS_1251, CP_DOS_866, CP_ACP, CP_OEMCP}) {
        const std::string bytes = tarvex::EncodeCodePage(page, letters);
        ASSERT_EQ(bytes.size(), letters.size());
        EXPECT_EQ(bytes.find('?'), std::string::npos) << page;
        EXPECT_EQ(Decode(page, bytes), letters) << page;
    }
    EXPECT_EQ(tarvex::EncodeCodePage(CP_ACP, u"ЁёАяQ"), "\xA8\xB8\xC0\xFFQ");
    EXPECT_EQ(tarvex::EncodeCodePage(CP_OEMCP, u"ЁёАпряQ"), "\xF0\xF1\x80\xAF\xE0\xEFQ");
    EXPECT_EQ(Decode(CP_WINDOWS_1251, "\x80\x88\xB9\xA0"), u"Ђ€№\xA0");
    EXPECT_EQ(Decode(CP_DOS_866, "\xB0\xC5\xDB\xFC\xFF"), u"░┼█№\xA0");
}

TEST(CodePageSingleByte, EveryByteRoundTrips) {
    std::string all;
    for (int b = 1; b < 256; ++b) all += char(b);
    for (UINT page : {CP_WINDOWS_1251, CP_DOS_866}) {
        const std::u16string text = Decode(page, all);
        ASSERT_EQ(text.size(), all.size());
        for (int b = 1; b < 0x80; ++b) EXPECT_EQ(text[b - 1], char16_t(b));
        EXPECT_EQ(text.find(u'\xFFFD'), std::u16string::npos);
        EXPECT_EQ(tarvex::EncodeCodePage(page, text), all) << page;
    }
}

TEST(CodePageSingleByte, UnmappableCharactersUseDefault) {
    EXPECT_EQ(tarvex::EncodeCodePage(CP_DOS_866, u"A€ß"), "A??");
    EXPECT_EQ(tarvex::EncodeCodePage(CP_ACP, u"x\U0001F600y"), "x?y"); // a pair is one character

    const char16_t text[] = u"Є€";
    char out[4] = {};
    BOOL usedDefault = FALSE;
    EXPECT_EQ(WideCharToMultiByte(CP_DOS_866, 0, text, 2, out, 4, "*", &usedDefault), 2);
    EXPECT_EQ(std::string_view(out, 2), "\xF2*");
    EXPECT_TRUE(usedDefault);

    usedDefault = TRUE; // reset by a clean conversion
    EXPECT_EQ(WideCharToMultiByte(CP_DOS_866, 0, text, 1, out, 4, nullptr, &usedDefault), 1);
    EXPECT_FALSE(usedDefault);
}

TEST(CodePageBufferCalls, SizeQueriesAndTerminator) {
    const char utf8[] = "\xD0\xAF-1"; // "Я-1": 4 bytes, 3 units
    EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, utf8, 4, nullptr, 0), 3);
    EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, utf8, -1, nullptr, 0), 4);
    char16_t wide[5] = {u'#', u'#', u'#', u'#', u'#'};
    EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, utf8, -1, wide, 4), 4);
    EXPECT_EQ(std::u16string_view(wide, 5), u"Я-1\0#"sv);

    const char16_t text[] = u"Привет";
    EXPECT_EQ(WideCharToMultiByte(CP_UTF8, 0, text, 6, nullptr, 0, nullptr, nullptr), 12);
    EXPECT_EQ(WideCharToMultiByte(CP_UTF8, 0, text, -1, nullptr, 0, nullptr, nullptr), 13);
    EXPECT_EQ(WideCharToMultiByte(CP_ACP, 0, text, -1, nullptr, 0, nullptr, nullptr), 7);
    char bytes[14];
    bytes[13] = '#';
    EXPECT_EQ(WideCharToMultiByte(CP_UTF8, 0, text, -1, bytes, 13, nullptr, nullptr), 13);
    EXPECT_EQ(std::string_view(bytes, 14), "Привет\0#"sv);
}

TEST(CodePageBufferCalls, TooSmallOrInvalidGivesZero) {
    const char16_t text[] = u"Привет";
    char bytes[16];
    bytes[11] = '#';
    EXPECT_EQ(WideCharToMultiByte(CP_UTF8, 0, text, 6, bytes, 11, nullptr, nullptr), 0);
    EXPECT_EQ(bytes[11], '#');
    EXPECT_EQ(WideCharToMultiByte(CP_ACP, 0, text, -1, bytes, 6, nullptr, nullptr), 0);

    char16_t wide[4];
    EXPECT_EQ(MultiByteToWideChar(CP_OEMCP, 0, "abcd", 4, wide, 3), 0);
    EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, "abcd", -1, wide, 4), 0);
    EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, "abcd", 0, wide, 4), 0);
    EXPECT_EQ(MultiByteToWideChar(CP_UTF8, 0, nullptr, -1, wide, 4), 0);
    EXPECT_EQ(MultiByteToWideChar(1252, 0, "abcd", 4, wide, 4), 0);
    EXPECT_EQ(WideCharToMultiByte(437, 0, text, 1, bytes, 4, nullptr, nullptr), 0);
    EXPECT_TRUE(Decode(1252, "abc").empty());
    EXPECT_TRUE(tarvex::EncodeCodePage(1252, u"abc").empty());
}

} // namespace
