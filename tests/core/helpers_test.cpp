#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <iterator>

#include "tarvex/core/helpers.h"
#include "tarvex/core/numeric.h"

TEST(Numeric, Rounding) {
    EXPECT_EQ(3, iround(2.5));
    EXPECT_EQ(-3, iround(-2.5));
    EXPECT_EQ(-2, iround(-2.4999));
    EXPECT_EQ(INT_MAX, iround(2147483647.4));
    EXPECT_EQ(INT_MIN, iround(1e12));
    EXPECT_EQ(-3.0, tx_round(-2.5));
    EXPECT_EQ(2.0, tx_round(2.4));
    EXPECT_EQ(5e20, tx_round(5e20));
}

TEST(Numeric, NpowByRepeatedMultiplication) {
    EXPECT_EQ(1.0, npow(std::nan(""), 0));
    EXPECT_EQ(-27.0, npow(-3.0, 3));
    EXPECT_EQ(0.125, npow(2.0, -3));
    double product = 1;
    for (int i = 0; i < 7; ++i) product *= 1.1;
    EXPECT_EQ(product, npow(1.1, 7)); // bit for bit
    // Huge exponents finish, with the sign of the parity.
    EXPECT_EQ(-1.0, npow(-1.0, INT_MAX));
    EXPECT_EQ(-INFINITY, npow(-10.0, INT_MAX));
    EXPECT_EQ(0.0, npow(10.0, INT_MIN));
}

TEST(Numeric, WordFormCode) {
    for (int n : {1, 21, 101, -1, -5, -11}) EXPECT_EQ(1, getWordFormCode(n)) << n;
    for (int n : {2, 3, 4, 22, 102}) EXPECT_EQ(2, getWordFormCode(n)) << n;
    for (int n : {0, 5, 11, 12, 14, 19, 20, 111, -10}) EXPECT_EQ(3, getWordFormCode(n)) << n;
}

TEST(CKVDataHelper, ComapreDBTimes) {
    // Ascending; each step raises one field and lowers every later one.
    const tagTIMESTAMP_STRUCT times[] = {
        {-5, 9, 9, 9, 9, 9, 9},    {2024, 5, 6, 7, 8, 9, 1}, {2024, 5, 6, 7, 8, 9, 0x80000000u},
        {2024, 5, 6, 7, 8, 10, 0}, {2024, 5, 6, 7, 9, 0, 0}, {2024, 5, 6, 8, 0, 0, 0},
        {2024, 5, 7, 0, 0, 0, 0},  {2024, 6, 1, 0, 0, 0, 0}, {2025, 1, 1, 0, 0, 0, 0}};
    for (size_t i = 1; i < std::size(times); ++i) {
        EXPECT_EQ(-1, CKVDataHelper::ComapreDBTimes(times[i - 1], times[i])) << i;
        EXPECT_EQ(1, CKVDataHelper::ComapreDBTimes(times[i], times[i - 1])) << i;
        EXPECT_EQ(0, CKVDataHelper::ComapreDBTimes(times[i], times[i])) << i;
    }
}

TEST(CKVBoolenValueHolder, RestoresOnScopeExit) {
    bool flag = false;
    {
        CKVBoolenValueHolder outer(&flag, true);
        {
            CKVBoolenValueHolder inner(&flag, false);
            EXPECT_FALSE(flag);
        }
        EXPECT_TRUE(flag);
    }
    EXPECT_FALSE(flag);
}

TEST(CKVEnvVariableHelper, SetGetAndLimits) {
    const char16_t* name = u"TARVEX_HELPERS_TEST_VAR";
    ASSERT_TRUE(CKVEnvVariableHelper::Set(name, u"значение"));
    CString out;
    EXPECT_EQ(8u, CKVEnvVariableHelper::Get(name, out));
    EXPECT_EQ(CString(u"значение"), out);
    ASSERT_TRUE(CKVEnvVariableHelper::Set(name, CString(u'x', 600)));
    EXPECT_EQ(601u, CKVEnvVariableHelper::Get(name, out));
    EXPECT_EQ(CString(), out);
    ASSERT_TRUE(CKVEnvVariableHelper::Set(name, nullptr));
    out = u"kept";
    EXPECT_EQ(0u, CKVEnvVariableHelper::Get(name, out));
    EXPECT_EQ(CString(u"kept"), out);
}

TEST(CKVPlatformHelpers, ModuleRegistryClipboard) {
    const CString folder = CModuleHelper::GetPath(tarvex::GetLibraryModule());
    ASSERT_FALSE(folder.IsEmpty());
    EXPECT_NE(u'/', folder[folder.GetLength() - 1]);

    CString out = u"kept";
    EXPECT_FALSE(CRegistryHelper::GetRegVal(u"\\Software\\Tarvex", u"Path", out));
    EXPECT_EQ(CString(u"kept"), out);

    ASSERT_TRUE(CKVClipboardHelper::SetClipboardText(u"копия"));
    ASSERT_TRUE(CKVClipboardHelper::GetClipboardText(out));
    EXPECT_EQ(CString(u"копия"), out);
}
