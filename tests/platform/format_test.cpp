#include <gtest/gtest.h>

#include <cstdint>

#include "tarvex/platform/cstring.h"
#include "tests/support/comma_locale.h"

namespace {

template <class... Args>
CString Fmt(const char16_t* format, const Args&... args) {
    CString s;
    s.Format(format, args...);
    return s;
}

} // namespace

TEST(Format, Integers) {
    EXPECT_EQ(CString(u"42|-42|  42|42  |0042|+42| 42"),
              Fmt(u"%d|%i|%4d|%-4d|%04d|%+d|% d", 42, -42, 42, 42, 42, 42, 42));
    EXPECT_EQ(CString(u"-2147483648"), Fmt(u"%d", INT32_MIN));
    EXPECT_EQ(CString(u"4294967295"), Fmt(u"%u", UINT32_MAX));
    EXPECT_EQ(CString(u"ff|FF|0xff|17|017"), Fmt(u"%x|%X|%#x|%o|%#o", 255, 255, 255, 15, 15));
    EXPECT_EQ(CString(u"-9223372036854775808|12345678901"),
              Fmt(u"%lld|%I64d", INT64_MIN, std::int64_t(12345678901)));
    EXPECT_EQ(CString(u"-7"), Fmt(u"%ld", std::int32_t(-7)));
    EXPECT_EQ(CString(u"00042|   -042"), Fmt(u"%.5d|%7.3d", 42, -42));
    EXPECT_EQ(CString(u"  7"), Fmt(u"%*d", 3, 7));
    EXPECT_EQ(CString(u"8000000A"), Fmt(u"%X", 0x8000000A));
}

TEST(Format, TextAndCharacters) {
    CString name(u"Имя");
    EXPECT_EQ(CString(u"Имя|  ab|ab  |a|Ё|(null)"),
              Fmt(u"%s|%4s|%-4s|%.1s|%c|%s", name, u"ab", u"ab", u"abc", u'Ё',
                  static_cast<const char16_t*>(nullptr)));
    EXPECT_EQ(CString(u"utf-8 Ж"), Fmt(u"%S", "utf-8 Ж"));
    EXPECT_EQ(CString(u"100%"), Fmt(u"%d%%", 100));
    EXPECT_EQ(CString(u"%q"), Fmt(u"%q"));
}

TEST(Format, FloatingUsesAPointWhateverTheLocale) {
    CommaLocale host;
    EXPECT_EQ(CString(u"1.500000|1.50|  2.5|1.5e+10|0.0001|1e-05"),
              Fmt(u"%f|%.2f|%5.1f|%.1e|%g|%g", 1.5, 1.5, 2.5, 1.5e10, 0.0001, 0.00001));
    EXPECT_EQ(CString(u"0.333333333333"), Fmt(u"%.12f", 1.0 / 3));
}

TEST(Format, AppendFormatKeepsTheHead) {
    CString s(u"x=");
    s.AppendFormat(u"%d;", 1);
    s.AppendFormat(u"%s", s);
    EXPECT_EQ(CString(u"x=1;x=1;"), s);
}
