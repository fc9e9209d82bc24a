#include "tarvex/platform/bstr.h"

#include <cstring>
#include <string>

#include <gtest/gtest.h>

namespace {

std::uint32_t Prefix(BSTR text) {
    std::uint32_t bytes;
    std::memcpy(&bytes, reinterpret_cast<const char*>(text) - 4, 4);
    return bytes;
}

TEST(BstrTest, PrefixHoldsByteLengthAndTextIsTerminated) {
    BSTR s = SysAllocString(u"abc");
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(Prefix(s), 6u);
    EXPECT_EQ(SysStringLen(s), 3u);
    EXPECT_EQ(SysStringByteLen(s), 6u);
    EXPECT_EQ(s[3], 0);
    SysFreeString(s);
}

TEST(BstrTest, EmbeddedNullsArePartOfTheLength) {
    BSTR s = SysAllocStringLen(u"a\0b", 3);
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(SysStringLen(s), 3u);
    EXPECT_EQ(std::u16string(s, 3), std::u16string(u"a\0b", 3));
    EXPECT_EQ(s[3], 0);
    SysFreeString(s);
}

TEST(BstrTest, NullSourceGivesZeroFilledStringOfTheLength) {
    BSTR s = SysAllocStringLen(nullptr, 5);
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(SysStringLen(s), 5u);
    for (int i = 0; i <= 5; ++i) EXPECT_EQ(s[i], 0) << i;
    SysFreeString(s);
}

TEST(BstrTest, OddByteLengthKeepsBytesAndRoundsCharactersDown) {
    BSTR s = SysAllocStringByteLen("xyz", 3);
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(SysStringByteLen(s), 3u);
    EXPECT_EQ(SysStringLen(s), 1u);
    const char* bytes = reinterpret_cast<const char*>(s);
    EXPECT_EQ(std::string(bytes, 3), "xyz");
    EXPECT_EQ(bytes[3], 0);
    EXPECT_EQ(bytes[4], 0);
    SysFreeString(s);
}

TEST(BstrTest, NullMeansEmpty) {
    EXPECT_EQ(SysAllocString(nullptr), nullptr);
    EXPECT_EQ(SysStringLen(nullptr), 0u);
    EXPECT_EQ(SysStringByteLen(nullptr), 0u);
    SysFreeString(nullptr);
    BSTR empty = SysAllocString(u"");
    ASSERT_NE(empty, nullptr);
    EXPECT_EQ(SysStringLen(empty), 0u);
    SysFreeString(empty);
}

TEST(BstrTest, ReAllocMayCopyFromTheStringItReplaces) {
    BSTR s = SysAllocString(u"hello world");
    ASSERT_TRUE(SysReAllocString(&s, s + 6));
    EXPECT_EQ(std::u16string(s, SysStringLen(s)), u"world");
    ASSERT_TRUE(SysReAllocStringLen(&s, s + 1, 3));
    EXPECT_EQ(std::u16string(s, SysStringLen(s)), u"orl");
    ASSERT_TRUE(SysReAllocString(&s, nullptr));
    EXPECT_EQ(s, nullptr);
    EXPECT_FALSE(SysReAllocString(nullptr, u"x"));
    EXPECT_FALSE(SysReAllocStringLen(nullptr, u"x", 1));
}

TEST(BstrTest, ReAllocLenWithoutSourceKeepsTheOldText) {
    BSTR s = SysAllocString(u"abcdef");
    ASSERT_TRUE(SysReAllocStringLen(&s, nullptr, 3));
    EXPECT_EQ(std::u16string(s, SysStringLen(s)), u"abc");
    ASSERT_TRUE(SysReAllocStringLen(&s, nullptr, 5));
    EXPECT_EQ(std::u16string(s, SysStringLen(s)), std::u16string(u"abc\0\0", 5));
    EXPECT_EQ(s[5], 0);
    SysFreeString(s);

    BSTR fresh = nullptr;
    ASSERT_TRUE(SysReAllocStringLen(&fresh, u"xy", 2));
    EXPECT_EQ(std::u16string(fresh, SysStringLen(fresh)), u"xy");
    SysFreeString(fresh);
}

} // namespace
