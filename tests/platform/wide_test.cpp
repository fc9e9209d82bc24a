#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "tarvex/platform/wide.h"
#include "tests/support/comma_locale.h"

TEST(WideNumbers, IntegersReadTheValidPrefix) {
    EXPECT_EQ(12, _wtoi(u"12abc"));
    EXPECT_EQ(-5, _wtoi(u"  \t-5"));
    EXPECT_EQ(7, _wtoi(u"+7"));
    EXPECT_EQ(1, _wtoi(u"1,5"));
    EXPECT_EQ(0, _wtoi(u"abc"));
    EXPECT_EQ(0, _wtoi(u"- 5"));
    EXPECT_EQ(0, _wtoi(nullptr));
    EXPECT_EQ(0, _wtoi(u"0x1F")); // decimal only
}

TEST(WideNumbers, IntegersSaturateAtTheirWidth) {
    EXPECT_EQ(INT32_MAX, _wtoi(u"2147483648"));
    EXPECT_EQ(INT32_MIN, _wtoi(u"-99999999999999999999999"));
    EXPECT_EQ(INT32_MIN, _wtol(u"-2147483648"));
    EXPECT_EQ(INT64_MAX, _wtoi64(u"9223372036854775808"));
    EXPECT_EQ(INT64_C(-9223372036854775807) - 1, _wtoi64(u"-9223372036854775808"));
}

TEST(WideNumbers, StrtolFormsReportTheEnd) {
    const char16_t* text = u"0x1fZ";
    char16_t* end = nullptr;
    EXPECT_EQ(31, wcstol16(text, &end, 16));
    EXPECT_EQ(text + 4, end);
    EXPECT_EQ(31, wcstol16(text, &end, 0));
    EXPECT_EQ(8, wcstol16(u"010", nullptr, 0));
    EXPECT_EQ(0, wcstol16(u"zz", &end, 10));
    EXPECT_EQ(0, *end == u'z' ? 0 : 1);
    EXPECT_EQ(0xFFFFFFFFu, wcstoul16(u"-1", nullptr, 10));
}

TEST(WideNumbers, FloatingStopsAtACommaWhateverTheLocale) {
    CommaLocale host;
    EXPECT_DOUBLE_EQ(1.0, _wtof(u"1,5"));
    EXPECT_DOUBLE_EQ(1.5, _wtof(u" 1.5"));
    EXPECT_DOUBLE_EQ(-0.25, _wtof(u"-.25mm"));
    EXPECT_DOUBLE_EQ(1500.0, _wtof(u"1.5e3"));
    EXPECT_DOUBLE_EQ(1.0, _wtof(u"1e"));
    EXPECT_DOUBLE_EQ(0.0, _wtof(u"abc"));
    EXPECT_DOUBLE_EQ(0.0, _wtof(nullptr));
    EXPECT_DOUBLE_EQ(2.0, _wtof(u"2Ж"));

    const char16_t* text = u"  3.25;";
    char16_t* end = nullptr;
    EXPECT_DOUBLE_EQ(3.25, wcstod16(text, &end));
    EXPECT_EQ(text + 6, end);
    wcstod16(u"x", &end);
    EXPECT_EQ(u'x', *end);
    EXPECT_TRUE(std::isinf(_wtof(u"inf")));
    std::u16string longNumber(300, u'1');
    EXPECT_GT(_wtof(longNumber.c_str()), 1e298);
}

TEST(WideStrings, Basics) {
    EXPECT_EQ(3u, wcslen(u"абв"));
    EXPECT_LT(wcscmp(u"a", u"b"), 0);
    EXPECT_GT(wcscmp(u"я", u"Я"), 0);
    EXPECT_EQ(0, wcsncmp(u"abc", u"abd", 2));
    const char16_t* s = u"a/b\\c";
    EXPECT_EQ(s + 1, wcschr(s, u'/'));
    EXPECT_EQ(s + 3, wcsrchr(s, u'\\'));
    EXPECT_EQ(s + 2, wcsstr(s, u"b\\"));
    EXPECT_EQ(nullptr, wcsstr(s, u"zz"));
    EXPECT_TRUE(iswalpha16(u'Ж'));
    EXPECT_FALSE(iswalpha16(u'5'));
    EXPECT_TRUE(iswspace16(u'\t'));
}
