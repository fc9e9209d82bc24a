#include "tarvex/platform/casemap.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(CaseMap, CyrillicPairsIncludingYo) {
    // А..Я <-> а..я, and Ѐ..Џ <-> ѐ..џ, where Ё/ё sit.
    for (char16_t up = 0x0400; up <= 0x042F; ++up) {
        const char16_t low = up < 0x0410 ? char16_t(up + 0x50) : char16_t(up + 0x20);
        EXPECT_EQ(towlower16(up), low) << std::hex << unsigned(up);
        EXPECT_EQ(towupper16(low), up) << std::hex << unsigned(low);
        EXPECT_EQ(towupper16(up), up);
        EXPECT_EQ(towlower16(low), low);
    }
    EXPECT_EQ(towupper16(u'ґ'), u'Ґ'); // U+0491, outside the basic block
}

TEST(CaseMap, LatinAndGreek) {
    EXPECT_EQ(towupper16(u'a'), u'A');
    EXPECT_EQ(towlower16(u'Z'), u'z');
    EXPECT_EQ(towupper16(u'é'), u'É');
    EXPECT_EQ(towupper16(u'ÿ'), u'Ÿ'); // U+00FF maps out of Latin-1, to U+0178
    EXPECT_EQ(towlower16(u'Ÿ'), u'ÿ');
    EXPECT_EQ(towupper16(u'ą'), u'Ą');
    EXPECT_EQ(towupper16(u'ı'), u'I');
    EXPECT_EQ(towupper16(u'µ'), u'Μ'); // micro sign to Greek capital mu

    EXPECT_EQ(towupper16(u'σ'), u'Σ');
    EXPECT_EQ(towupper16(u'ς'), u'Σ');
    EXPECT_EQ(towlower16(u'Σ'), u'σ');
}

TEST(CaseMap, UnmappedAndMultiCharacterMappingsStay) {
    EXPECT_EQ(towupper16(u'ß'), u'ß'); // full mapping is "SS"
    EXPECT_EQ(towupper16(u'ŉ'), u'ŉ'); // full mapping is two characters
    EXPECT_EQ(towlower16(u'İ'), u'İ'); // full mapping is i + combining dot
    for (char16_t ch : {u'0', u'@', u'[', u'`', u'{', u'\x7F', u'\xD800', u'\xDFFF', u'\xFFFF'}) {
        EXPECT_EQ(towupper16(ch), ch);
        EXPECT_EQ(towlower16(ch), ch);
    }
}

TEST(CaseMap, InPlaceAgreesWithSingleCharacterMapping) {
    // Every ASCII unit plus neighbours of the fast path's ranges, at every
    // offset and length, so both the word-wise and the unit-wise loops run.
    std::u16string source;
    for (char16_t ch = 0; ch < 0x80; ++ch) source += ch;
    source += u"ЁёЯяßΣς\xD800\xFF21\xFF41";
    for (size_t offset = 0; offset < 8; ++offset) {
        for (size_t length = 0; offset + length <= source.size(); length += 3) {
            std::u16string upper = source, lower = source;
            TxUpperInPlace(upper.data() + offset, length);
            TxLowerInPlace(lower.data() + offset, length);
            for (size_t i = 0; i < source.size(); ++i) {
                const bool inside = i >= offset && i < offset + length;
                ASSERT_EQ(upper[i], inside ? towupper16(source[i]) : source[i]) << offset << "+" << i;
                ASSERT_EQ(lower[i], inside ? towlower16(source[i]) : source[i]) << offset << "+" << i;
            }
        }
    }
}

TEST(CaseCompare, FoldsBothSidesToLowerCase) {
    EXPECT_EQ(_wcsicmp(u"ПРИВЕТ", u"привет"), 0);
    EXPECT_EQ(_wcsicmp(u"Ёлка", u"ёЛКА"), 0);
    EXPECT_EQ(_wcsicmp(u"ΣΟΦΙΑ", u"σοφια"), 0);
    EXPECT_NE(_wcsicmp(u"STRASSE", u"straße"), 0);
}

TEST(CaseCompare, OrdersByFoldedCodeUnits) {
    EXPECT_EQ(_wcsicmp(u"a", u"C"), -2); // difference of the folded units
    EXPECT_LT(_wcsicmp(u"_", u"A"), 0);  // '_' sits between the cases: lower folding puts it first
    EXPECT_GT(_wcsicmp(u"Ё", u"я"), 0);  // U+0451 after U+044F, not alphabetical
    EXPECT_LT(_wcsicmp(u"abc", u"ABCD"), 0);
    EXPECT_GT(_wcsicmp(u"ABCD", u"abc"), 0);

    EXPECT_EQ(lstrcmpiW(u"a", u"Z"), -1);
    EXPECT_EQ(lstrcmpiW(u"Я", u"а"), 1);
    EXPECT_EQ(lstrcmpiW(u"Key", u"kEY"), 0);
}

TEST(CaseCompare, LimitedCountAndNullPointers) {
    EXPECT_EQ(_wcsnicmp(u"ПАРАМЕТР1", u"параметр2", 8), 0);
    EXPECT_NE(_wcsnicmp(u"ПАРАМЕТР1", u"параметр2", 9), 0);
    EXPECT_EQ(_wcsnicmp(u"ab", u"AB", 100), 0); // stops at the terminator
    EXPECT_EQ(_wcsnicmp(u"a", u"b", 0), 0);

    EXPECT_EQ(_wcsicmp(nullptr, nullptr), 0);
    EXPECT_EQ(_wcsicmp(nullptr, u""), 0);
    EXPECT_LT(_wcsicmp(nullptr, u"a"), 0);
    EXPECT_EQ(lstrcmpiW(u"a", nullptr), 1);
    EXPECT_EQ(_wcsnicmp(u"", nullptr, 5), 0);
}

} // namespace
