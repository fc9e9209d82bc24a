#include <gtest/gtest.h>

#include <cmath>

#include "tarvex/core/numbertext.h"

using tarvex::DblToString;

TEST(DblToString, PlainValues) {
    EXPECT_EQ(CString(u"1.5"), DblToString(1.5));
    EXPECT_EQ(CString(u"-1.5"), DblToString(-1.5));
    EXPECT_EQ(CString(u"0.1"), DblToString(0.1));
    EXPECT_EQ(CString(u"12"), DblToString(12.0));
    EXPECT_EQ(CString(u"-0.25"), DblToString(-0.25));
    EXPECT_EQ(CString(u"0.333333333333"), DblToString(1.0 / 3));
    EXPECT_EQ(CString(u"0.666666666667"), DblToString(2.0 / 3));
    EXPECT_EQ(CString(u"1200.05"), DblToString(1200.05));
    CString out;
    DblToString(out, 3.14159265358979);
    EXPECT_EQ(CString(u"3.14159265359"), out);
}

TEST(DblToString, ZeroOfEitherSignIsZero) {
    EXPECT_EQ(CString(u"0"), DblToString(0.0));
    EXPECT_EQ(CString(u"0"), DblToString(-0.0));
}

TEST(DblToString, RoundsUpThroughNines) {
    EXPECT_EQ(CString(u"1"), DblToString(0.9999999999995));
    EXPECT_EQ(CString(u"100"), DblToString(99.99999999999951));
    EXPECT_EQ(CString(u"-100"), DblToString(-99.99999999999951));
    EXPECT_EQ(CString(u"0.99999999999"), DblToString(0.99999999999));
    EXPECT_EQ(CString(u"20"), DblToString(19.9999999999999));
    EXPECT_EQ(CString(u"1.3"), DblToString(1.2999999999999998));
}

TEST(DblToString, TinyValues) {
    EXPECT_EQ(CString(u"0.000000000001"), DblToString(1e-12));
    EXPECT_EQ(CString(u"0.000000000001"), DblToString(5e-13)); // a lone digit of 5 rounds up
    EXPECT_EQ(CString(u"0"), DblToString(4e-13));
    EXPECT_EQ(CString(u"0"), DblToString(1e-300));
    // The sign survives a value that rounds away on the text.
    EXPECT_EQ(CString(u"-0"), DblToString(-1e-20));
    EXPECT_EQ(CString(u"-0.000000000001"), DblToString(-1e-12));
}

TEST(DblToString, HugeValuesNeverUseAnExponent) {
    EXPECT_EQ(CString(u"100000000000000000000"), DblToString(1e20));
    EXPECT_EQ(CString(u"123456789012345680"), DblToString(123456789012345678.0));
    CString huge = DblToString(-1e300);
    EXPECT_EQ(302, huge.GetLength());
    EXPECT_EQ(-1, huge.Find(u'e'));
    EXPECT_EQ(u'-', huge[0]);
    EXPECT_EQ(u'1', huge[1]);
}

TEST(DblToString, DigitCount) {
    EXPECT_EQ(CString(u"2.35"), DblToString(2.345, 2)); // rounded twice, on purpose
    EXPECT_EQ(CString(u"1"), DblToString(0.5, 0));
    EXPECT_EQ(CString(u"0"), DblToString(0.4, 0));
    EXPECT_EQ(CString(u"0.333333333333"), DblToString(1.0 / 3, -5));
    EXPECT_EQ(CString(u"0.3333333333333333"), DblToString(1.0 / 3, 100).Left(18));
}
