#include <gtest/gtest.h>

#include "tarvex/element/accolor.h"

namespace {

CString Formatted(const CAcColor& color) {
    CString text;
    color.Format(text);
    return text;
}

} // namespace

TEST(AcColor, ParsesRgbWithOrWithoutQuotesAndFormatsWithoutBlanks) {
    for (const char16_t* text :
         {u"RGB(1, 2, 3)", u"\"RGB(1, 2, 3)\"", u"  rgb ( 1,2 3 ) ", u"\" Rgb(1,,2,3)\""}) {
        CAcColor color;
        ASSERT_TRUE(color.Parse(text)) << CString(text);
        EXPECT_FALSE(color.IsIndex());
        EXPECT_EQ(1, color.AcR());
        EXPECT_EQ(2, color.AcG());
        EXPECT_EQ(3, color.AcB());
        EXPECT_EQ(CString(u"\"RGB(1,2,3)\""), Formatted(color));
    }
}

TEST(AcColor, IndexesAndFailures) {
    CAcColor color(u"-1");
    EXPECT_TRUE(color.IsIndex());
    EXPECT_EQ(-1, color.AcIndex());
    EXPECT_EQ(CString(u"-1"), Formatted(color));
    EXPECT_TRUE(color.Parse(u"\"7\""));
    EXPECT_TRUE(color.IsIndexEq(7));
    EXPECT_TRUE(color.IsIndexNotEq(8));

    for (const char16_t* bad : std::initializer_list<const char16_t*>{
             u"rgb(1,2)", u"red", u"", u"\"\"", u"  ", u"RGB 1,2,3", nullptr}) {
        CAcColor failed(u"5");
        EXPECT_FALSE(failed.Parse(bad));
        EXPECT_TRUE(failed.IsIndexEq(0)); // a failure leaves index 0
    }
    EXPECT_TRUE(CAcColor(static_cast<const char16_t*>(nullptr)).IsIndexEq(0));
}

TEST(AcColor, OversizedRedAndGreenSpillButBlueIsMasked) {
    CAcColor color(u"RGB(256,0,511)");
    EXPECT_EQ(0x00FF0100u, color.AcRgb());
    EXPECT_EQ(0, color.AcR());
    EXPECT_EQ(1, color.AcG());
    EXPECT_EQ(255, color.AcB());
}

TEST(AcColor, PendingBufferIsParsedAtTheNextRead) {
    CAcColor color(7);
    CString& buffer = color.StringBuffer();
    EXPECT_EQ(CString(u"7"), buffer);
    buffer = u"RGB(10,20,30)";
    EXPECT_FALSE(color.IsIndex());
    EXPECT_EQ(20, color.AcG());

    color.StringBuffer() = u"12";
    color.SetAcRgb(0x010203); // a setter cancels the pending text
    EXPECT_EQ(0x010203u, color.AcRgb());
    color.StringBuffer() = u"12";
    color.ResetBuffer();
    EXPECT_FALSE(color.IsIndex());
}

TEST(AcColor, OrderPutsRgbBeforeIndexes) {
    CAcColor rgbHigh(0xFFFFFFu), rgbLow(1u), index(0);
    EXPECT_LT(rgbHigh, index);
    EXPECT_LT(rgbLow, rgbHigh);
    EXPECT_FALSE(index < rgbLow);
    EXPECT_FALSE(CAcColor(5) == CAcColor(5u));
    EXPECT_TRUE(CAcColor(u"RGB(1,0,0)") == CAcColor(1u));
}
