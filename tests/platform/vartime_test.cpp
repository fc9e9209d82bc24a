#include "tarvex/platform/vartime.h"

#include <cmath>
#include <string>

#include <gtest/gtest.h>

#include "countingdispatch.h"
#include "tarvex/platform/variant.h"

namespace {

using tarvex_test::Text;

SYSTEMTIME Make(int y, int mo, int d, int h = 0, int mi = 0, int s = 0) {
    SYSTEMTIME st{};
    st.wYear = WORD(y);
    st.wMonth = WORD(mo);
    st.wDay = WORD(d);
    st.wHour = WORD(h);
    st.wMinute = WORD(mi);
    st.wSecond = WORD(s);
    return st;
}

std::string Fields(const SYSTEMTIME& st) {
    char buffer[64];
    std::snprintf(buffer, sizeof buffer, "%04u-%02u-%02u %02u:%02u:%02u.%03u dow%u", st.wYear,
                  st.wMonth, st.wDay, st.wHour, st.wMinute, st.wSecond, st.wMilliseconds,
                  st.wDayOfWeek);
    return buffer;
}

std::string FieldsOf(double date) {
    SYSTEMTIME st{};
    return VariantTimeToSystemTime(date, &st) ? Fields(st) : "failed";
}

TEST(VarTimeTest, KnownDaysAndTheNegativeEncoding) {
    EXPECT_EQ(FieldsOf(0.0), "1899-12-30 00:00:00.000 dow6");
    EXPECT_EQ(FieldsOf(1.0), "1899-12-31 00:00:00.000 dow0");
    EXPECT_EQ(FieldsOf(2.5), "1900-01-01 12:00:00.000 dow1");
    EXPECT_EQ(FieldsOf(36526.0), "2000-01-01 00:00:00.000 dow6");
    EXPECT_EQ(FieldsOf(43831.75), "2020-01-01 18:00:00.000 dow3");
    // Before day 0 the fraction still counts forward from the day's midnight.
    EXPECT_EQ(FieldsOf(-1.25), "1899-12-29 06:00:00.000 dow5");
    EXPECT_EQ(FieldsOf(-1.75), "1899-12-29 18:00:00.000 dow5");
    EXPECT_EQ(FieldsOf(-0.25), "1899-12-30 06:00:00.000 dow6");
    EXPECT_EQ(FieldsOf(-657434.0), "0100-01-01 00:00:00.000 dow5");
    EXPECT_EQ(FieldsOf(2958465.0), "9999-12-31 00:00:00.000 dow5");
}

TEST(VarTimeTest, FieldsRoundTripAcrossTheWholeRange) {
    const SYSTEMTIME samples[] = {Make(100, 1, 1),
                                  Make(1600, 2, 29, 23, 59, 59),
                                  Make(1899, 12, 29, 6),
                                  Make(1899, 12, 30, 0, 0, 1),
                                  Make(1900, 3, 1, 12, 30),
                                  Make(1970, 1, 1),
                                  Make(2000, 2, 29, 8, 7, 6),
                                  Make(2024, 12, 31, 23, 59, 59),
                                  Make(9999, 12, 31, 23, 59, 59)};
    for (const SYSTEMTIME& st : samples) {
        double date = 0;
        ASSERT_TRUE(SystemTimeToVariantTime(&st, &date)) << Fields(st);
        SYSTEMTIME back{};
        ASSERT_TRUE(VariantTimeToSystemTime(date, &back)) << date;
        back.wDayOfWeek = 0;
        EXPECT_EQ(Fields(back), Fields(st));
    }
    double date;
    SYSTEMTIME st = Make(1899, 12, 29, 6);
    SystemTimeToVariantTime(&st, &date);
    EXPECT_EQ(date, -1.25);
}

TEST(VarTimeTest, RoundsToTheNearestSecond) {
    const double second = 1.0 / 86400;
    EXPECT_EQ(FieldsOf(0.5 + 0.4 * second), "1899-12-30 12:00:00.000 dow6");
    EXPECT_EQ(FieldsOf(0.5 + 0.6 * second), "1899-12-30 12:00:01.000 dow6");
    EXPECT_EQ(FieldsOf(2.0 - 0.2 * second), "1900-01-01 00:00:00.000 dow1");
    // 29.12.1899 23:59:59.8 rounds forward to the next day, which is day 0.
    EXPECT_EQ(FieldsOf(-1.0 - (1.0 - 0.2 * second)), "1899-12-30 00:00:00.000 dow6");
    EXPECT_EQ(FieldsOf(2958465.0 + 1.0 - 0.2 * second), "failed"); // past 9999
}

TEST(VarTimeTest, InvalidFieldsAndDatesFail) {
    const SYSTEMTIME bad[] = {Make(2020, 13, 1),       Make(2020, 0, 1),
                              Make(2020, 1, 0),        Make(1900, 2, 29),
                              Make(2021, 4, 31),       Make(2020, 1, 1, 24),
                              Make(2020, 1, 1, 0, 60), Make(2020, 1, 1, 0, 0, 60),
                              Make(99, 12, 31),        Make(10000, 1, 1)};
    for (const SYSTEMTIME& st : bad) {
        double date = 123;
        EXPECT_FALSE(SystemTimeToVariantTime(&st, &date)) << Fields(st);
    }
    SYSTEMTIME st{};
    EXPECT_FALSE(VariantTimeToSystemTime(-657435.0, &st));
    EXPECT_FALSE(VariantTimeToSystemTime(2958466.0, &st));
    EXPECT_FALSE(VariantTimeToSystemTime(std::nan(""), &st));

    SYSTEMTIME withMs = Make(2020, 1, 1, 12);
    withMs.wMilliseconds = 999; // ignored, as OLE does
    double date;
    ASSERT_TRUE(SystemTimeToVariantTime(&withMs, &date));
    EXPECT_EQ(date, 43831.5);
}

std::u16string DateText(double date, ULONG flags = 0) {
    BSTR text = nullptr;
    HRESULT hr = VarBstrFromDate(date, 0, flags, &text);
    std::u16string result = hr == S_OK ? Text(text) : u"<failed>";
    SysFreeString(text);
    return result;
}

TEST(DateTextTest, FixedFormatShowsOnlyThePartsThatMatter) {
    EXPECT_EQ(DateText(43831.0), u"01.01.2020");
    EXPECT_EQ(DateText(43831.5), u"01.01.2020 12:00:00");
    EXPECT_EQ(DateText(43831.0 + (9 * 3600 + 5 * 60 + 3) / 86400.0), u"01.01.2020 9:05:03");
    EXPECT_EQ(DateText(0.25), u"6:00:00");
    EXPECT_EQ(DateText(0.0), u"0:00:00");
    EXPECT_EQ(DateText(-1.25), u"29.12.1899 6:00:00");
    EXPECT_EQ(DateText(-657434.0), u"01.01.0100");
    EXPECT_EQ(DateText(43831.5, VAR_DATEVALUEONLY), u"01.01.2020");
    EXPECT_EQ(DateText(43831.5, VAR_TIMEVALUEONLY), u"12:00:00");
    BSTR text = nullptr;
    EXPECT_EQ(VarBstrFromDate(3e6, 0, 0, &text), E_INVALIDARG);
}

TEST(DateTextTest, ParsesTheAcceptedForms) {
    struct Case {
        const char16_t* text;
        double date;
    } cases[] = {{u"01.01.2020", 43831.0},
                 {u"1.1.2020", 43831.0},
                 {u"2020-01-01", 43831.0},
                 {u" 2020-01-02 03:04 ", 43832.0 + (3 * 60 + 4) / 1440.0},
                 {u"2020-01-02T03:04:05", 43832.0 + (3 * 3600 + 4 * 60 + 5) / 86400.0},
                 {u"02.01.2020 3:04:05", 43832.0 + (3 * 3600 + 4 * 60 + 5) / 86400.0},
                 {u"6:00", 0.25},
                 {u"18:00:00", 0.75},
                 {u"29.12.1899 06:00", -1.25}};
    for (const Case& c : cases) {
        DATE date = -1;
        ASSERT_EQ(VarDateFromStr(c.text, 0, 0, &date), S_OK) << std::string(c.text, c.text + 10);
        EXPECT_NEAR(date, c.date, 1e-9);
    }
}

TEST(DateTextTest, RejectsOtherTextAndImpossibleDates) {
    const char16_t* texts[] = {u"",
                               u"13.13.2020",
                               u"30.02.2020",
                               u"2020/01/01",
                               u"01.01.20",
                               u"12:3",
                               u"25:00",
                               u"2020-01-01X",
                               u"2020-01-01T",
                               u"1.1.2020T10:00",
                               u"01.01.2020 10",
                               u"10:00:00 PM",
                               u"0099-01-01",
                               u"2020-1-1-1"};
    for (const char16_t* text : texts) {
        DATE date = 7;
        EXPECT_EQ(VarDateFromStr(text, 0, 0, &date), DISP_E_TYPEMISMATCH)
            << std::string(text, text + 5);
        EXPECT_EQ(date, 7);
    }
}

TEST(DateTextTest, TextRoundTripsToTheSecond) {
    const double dates[] = {43831.0, 43831.123456, -1.25,     -700.9,
                            0.999,   0.3,          2958465.5, -657434.75};
    for (double date : dates) {
        std::u16string text = DateText(date);
        DATE back = 0;
        ASSERT_EQ(VarDateFromStr(text.c_str(), 0, 0, &back), S_OK);
        EXPECT_EQ(FieldsOf(back), FieldsOf(date)) << date;
    }
}

} // namespace
