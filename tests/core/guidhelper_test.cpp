#include <gtest/gtest.h>

#include "tarvex/core/guidhelper.h"

namespace {

constexpr _GUID kSample = {0x1A2B3C4D, 0x5E6F, 0x0A0B, {0xC0, 0xD1, 0xE2, 0xF3, 4, 5, 6, 7}};

// Differs from others only in Data4: b3 is the top byte of the compared
// int32, `tail` fills the four bytes that are never compared.
_GUID G(std::uint8_t b0, std::uint8_t b3, std::uint8_t tail = 0) {
    return {1, 2, 3, {b0, 0, 0, b3, tail, tail, tail, tail}};
}

} // namespace

TEST(CGUIDHelper, TextRoundTrip) {
    EXPECT_EQ(CString(u"1A2B3C4D-5E6F-0A0B-C0D1-E2F304050607"), CGUIDHelper::GuidToString(kSample));
    for (const char16_t* text :
         {u"1A2B3C4D-5E6F-0A0B-C0D1-E2F304050607", u"{1A2B3C4D-5E6F-0A0B-C0D1-E2F304050607}",
          u"{1a2b3c4d-5e6f-0a0b-c0d1-e2f304050607 trailing"}) {
        _GUID guid = GUID_NULL;
        EXPECT_TRUE(CGUIDHelper::TryStringToGuid(text, guid)) << CString(text);
        EXPECT_EQ(kSample, guid) << CString(text);
    }
    const _GUID shortFields = {1, 2, 3, {4, 5, 6, 7, 8, 9, 0xA, 0xB}};
    EXPECT_EQ(shortFields, CGUIDHelper::StringToGuid(u"1-2-3-0405-060708090A0B"));
}

TEST(CGUIDHelper, MalformedTextIsRefusedAndLeavesTheGuid) {
    for (const char16_t* text :
         {static_cast<const char16_t*>(nullptr), u"", u"{", u"1A2B3C4D-5E6F-0A0B-C0D1-E2F3040506",
          u"1A2B3C4D5E6F-0A0B-C0D1-E2F304050607",
          u"123456789-5E6F-0A0B-C0D1-E2F304050607", // nine digits in the first field
          u"{{1A2B3C4D-5E6F-0A0B-C0D1-E2F304050607"}) {
        _GUID guid = kSample;
        EXPECT_FALSE(CGUIDHelper::TryStringToGuid(text, guid)) << CString(text);
        EXPECT_EQ(kSample, guid) << CString(text);
        EXPECT_EQ(GUID_NULL, CGUIDHelper::StringToGuid(text)) << CString(text);
    }
}

TEST(CGUIDHelper, CompareOrder) {
    const _GUID low = {0x00000001, 0xFFFF, 0xFFFF, {0x7F, 0x7F, 0x7F, 0x7F}};
    const _GUID high = {0x80000000, 0, 0, {}};
    EXPECT_EQ(-1, CGUIDHelper::CompareGUIDS(low, high)); // Data1 unsigned
    EXPECT_EQ(1, CGUIDHelper::CompareGUIDS(high, low));
    EXPECT_EQ(1, CGUIDHelper::CompareGUIDS({1, 0x8000, 0, {}}, {1, 1, 0xFFFF, {}}));
    // Byte 11 is the sign of a little-endian int32; byte 8 its lowest byte.
    EXPECT_EQ(-1, CGUIDHelper::CompareGUIDS(G(0, 0x80), G(0, 0)));
    EXPECT_EQ(-1, CGUIDHelper::CompareGUIDS(G(0xFF, 0), G(0, 1)));
    EXPECT_EQ(0, CGUIDHelper::CompareGUIDS(G(1, 4, 0x00), G(1, 4, 0xFF)));
}

TEST(CGUIDHelper, CreatedGuidsAreNew) {
    RPC_STATUS status = -1;
    const _GUID a = CGUIDHelper::CreateGUID(&status);
    EXPECT_EQ(RPC_S_OK, status);
    EXPECT_NE(a, CGUIDHelper::CreateGUID());
    const CString text = CGUIDHelper::CreateStrGUID();
    EXPECT_EQ(text, CGUIDHelper::GuidToString(CGUIDHelper::StringToGuid(text)));
    EXPECT_NE(GUID_NULL, CGUIDHelper::StringToGuid(text));
}

TEST(CGUIDUniqueCollection, OneGuidPerKeyInOrder) {
    CGUIDUniqueCollection set(true, 4, 4);
    EXPECT_FALSE(set.Add(GUID_NULL));
    EXPECT_TRUE(set.Add(G(0, 5)));
    EXPECT_TRUE(set.Add(G(0, 0x80))); // negative: sorts first
    EXPECT_TRUE(set.Add(G(0, 1)));
    EXPECT_FALSE(set.Add(G(0, 5, 0xAA))); // same key: only ignored bytes differ
    ASSERT_EQ(3, set.GetLength());
    EXPECT_EQ(G(0, 0x80), set[0]);
    EXPECT_EQ(G(0, 5), set.Last());

    set.Remove(G(0, 9)); // missing: ignored
    set.Remove(G(0, 1, 0x77));
    EXPECT_FALSE(set.Has(G(0, 1)));
    EXPECT_EQ(2, set.GetLength());

    CGUIDUniqueCollection withNull(false, 0, 16);
    EXPECT_TRUE(withNull.Add(GUID_NULL));
    EXPECT_FALSE(withNull.Add(GUID_NULL));
}

TEST(CGUIDUniqueCollection, AddRangeFollowsAdd) {
    const _GUID items[] = {G(0, 3), G(0, 1), GUID_NULL, G(0, 3, 1), G(0, 7), G(0, 2)};
    CGUIDUniqueCollection fromPointer;
    fromPointer.AddRange(items, 6);
    ASSERT_EQ(4, fromPointer.GetLength());
    for (int64_t i = 1; i < 4; ++i)
        EXPECT_LT(CGUIDHelper::CompareGUIDS(fromPointer[i - 1], fromPointer[i]), 0);

    TArrayTemplate<_GUID> array;
    for (const _GUID& g : items) array.Add(g);
    CGUIDUniqueCollection fromArray;
    fromArray.AddRange(array);
    EXPECT_TRUE(fromArray == fromPointer);
}
