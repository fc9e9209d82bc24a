#include "tarvex/platform/variant.h"

#include <clocale>
#include <cmath>
#include <cstdint>
#include <limits>

#include <gtest/gtest.h>

#include "countingdispatch.h"
#include "tarvex/platform/olevariant.h"
#include "tarvex/platform/safearray.h"

namespace {

using tarvex_test::CountingDispatch;
using tarvex_test::Text;

// Converts and returns the code; `out` receives the result.
HRESULT Change(COleVariant& out, const VARIANT& in, VARTYPE vt, USHORT flags = 0) {
    return VariantChangeType(&out, &in, flags, vt);
}

std::u16string AsText(const VARIANT& in, USHORT flags = 0) {
    COleVariant out;
    HRESULT hr = Change(out, in, VT_BSTR, flags);
    EXPECT_EQ(hr, S_OK);
    return SUCCEEDED(hr) ? Text(out.bstrVal) : u"<failed>";
}

TEST(VariantChangeTypeTest, RealsRoundHalfToEven) {
    struct Case {
        double in;
        LONG out;
    } cases[] = {{2.5, 2},
                 {3.5, 4},
                 {-2.5, -2},
                 {-3.5, -4},
                 {0.5, 0},
                 {1.5, 2},
                 {2.4999, 2},
                 {2.5001, 3},
                 {-0.4, 0},
                 {-0.6, -1},
                 {1e9 + 0.5, 1000000000}};
    for (const Case& c : cases) {
        COleVariant out;
        ASSERT_EQ(Change(out, COleVariant(c.in), VT_I4), S_OK) << c.in;
        EXPECT_EQ(out.vt, VT_I4);
        EXPECT_EQ(out.lVal, c.out) << c.in;
    }
    COleVariant out;
    ASSERT_EQ(Change(out, COleVariant(254.5f), VT_UI1), S_OK);
    EXPECT_EQ(out.bVal, 254);
    ASSERT_EQ(Change(out, COleVariant(u"6.5"), VT_I2), S_OK);
    EXPECT_EQ(out.iVal, 6);
}

TEST(VariantChangeTypeTest, OverflowFailsAndLeavesTheDestinationAlone) {
    COleVariant dest(u"keep");
    BSTR before = dest.bstrVal;
    EXPECT_EQ(Change(dest, COleVariant(40000.0), VT_I2), DISP_E_OVERFLOW);
    EXPECT_EQ(dest.vt, VT_BSTR);
    EXPECT_EQ(dest.bstrVal, before);
    EXPECT_EQ(Text(dest.bstrVal), u"keep");

    EXPECT_EQ(Change(dest, COleVariant(255.5), VT_UI1), DISP_E_OVERFLOW); // rounds to 256
    EXPECT_EQ(Change(dest, COleVariant(2147483647.5), VT_I4), DISP_E_OVERFLOW);
    EXPECT_EQ(Change(dest, COleVariant(LONG(-1)), VT_UI4), DISP_E_OVERFLOW);
    EXPECT_EQ(Change(dest, COleVariant(ULONGLONG(1) << 63), VT_I8), DISP_E_OVERFLOW);
    EXPECT_EQ(Change(dest, COleVariant(std::nan("")), VT_I4), DISP_E_OVERFLOW);
    EXPECT_EQ(Change(dest, COleVariant(1e39), VT_R4), DISP_E_OVERFLOW);
    EXPECT_EQ(Change(dest, COleVariant(3e6), VT_DATE), DISP_E_OVERFLOW);
    EXPECT_EQ(Text(dest.bstrVal), u"keep");

    ASSERT_EQ(Change(dest, COleVariant(2147483647.4), VT_I4), S_OK);
    EXPECT_EQ(dest.lVal, 2147483647);
}

TEST(VariantChangeTypeTest, TextReachesTheLimitsOfEachIntegerExactly) {
    struct Case {
        const char16_t* text;
        VARTYPE vt;
        HRESULT hr;
    } cases[] = {{u"-128", VT_I1, S_OK},
                 {u"-129", VT_I1, DISP_E_OVERFLOW},
                 {u"65535", VT_UI2, S_OK},
                 {u"65536", VT_UI2, DISP_E_OVERFLOW},
                 {u"-0", VT_UI1, S_OK},
                 {u"-1", VT_UI1, DISP_E_OVERFLOW},
                 {u"9223372036854775807", VT_I8, S_OK},
                 {u"9223372036854775808", VT_I8, DISP_E_OVERFLOW},
                 {u"-9223372036854775808", VT_I8, S_OK},
                 {u"18446744073709551615", VT_UI8, S_OK},
                 {u"18446744073709551616", VT_UI8, DISP_E_OVERFLOW}};
    for (const Case& c : cases) {
        COleVariant out;
        EXPECT_EQ(Change(out, COleVariant(c.text), c.vt), c.hr) << std::string(c.text, c.text + 6);
    }
    COleVariant out;
    ASSERT_EQ(Change(out, COleVariant(u"9223372036854775807"), VT_I8), S_OK);
    EXPECT_EQ(out.llVal, std::numeric_limits<std::int64_t>::max());
    ASSERT_EQ(Change(out, COleVariant(u"18446744073709551615"), VT_UI8), S_OK);
    EXPECT_EQ(out.ullVal, std::numeric_limits<std::uint64_t>::max());
}

TEST(VariantChangeTypeTest, TextNumbersTakeBlanksSignPointAndExponent) {
    struct Case {
        const char16_t* text;
        double value;
    } cases[] = {{u" -2.5e1 ", -25}, {u"+.5", 0.5},  {u"5.", 5},  {u"1E3", 1000},
                 {u"\t42\n", 42},    {u"1e-400", 0}, {u"007", 7}, {u"-1.5E-2", -0.015}};
    for (const Case& c : cases) {
        COleVariant out;
        ASSERT_EQ(Change(out, COleVariant(c.text), VT_R8), S_OK);
        EXPECT_DOUBLE_EQ(out.dblVal, c.value);
    }
    COleVariant out;
    EXPECT_EQ(Change(out, COleVariant(u"1e400"), VT_R8), DISP_E_OVERFLOW);
}

// A comma is no decimal separator and no thousands separator here.
TEST(VariantChangeTypeTest, MalformedNumberTextIsATypeMismatch) {
    const char16_t* texts[] = {u"1,5", u"",    u"  ",   u"abc", u"1.2.3", u"1e",
                               u"e5",  u"- 1", u"0x10", u"1 2", u".",     u"+"};
    for (const char16_t* text : texts) {
        COleVariant out(LONG(7));
        EXPECT_EQ(Change(out, COleVariant(text), VT_I4), DISP_E_TYPEMISMATCH);
        EXPECT_EQ(Change(out, COleVariant(text), VT_R8), DISP_E_TYPEMISMATCH);
        EXPECT_EQ(out.lVal, 7);
    }
    // Text ends at an embedded null, as a C string would.
    COleVariant v;
    v.vt = VT_BSTR;
    v.bstrVal = SysAllocStringLen(u"12\0"
                                  u"34",
                                  5);
    COleVariant out;
    ASSERT_EQ(Change(out, v, VT_I4), S_OK);
    EXPECT_EQ(out.lVal, 12);
}

TEST(VariantChangeTypeTest, RealsWriteLikeOle) {
    EXPECT_EQ(AsText(COleVariant(0.1)), u"0.1");
    EXPECT_EQ(AsText(COleVariant(1e20)), u"1E+20");
    EXPECT_EQ(AsText(COleVariant(1.5)), u"1.5");
    EXPECT_EQ(AsText(COleVariant(1.0 / 3)), u"0.333333333333333");
    EXPECT_EQ(AsText(COleVariant(-0.0)), u"0");
    EXPECT_EQ(AsText(COleVariant(123456789012345.0)), u"123456789012345");
    EXPECT_EQ(AsText(COleVariant(1e15)), u"1E+15");
    EXPECT_EQ(AsText(COleVariant(1e-5)), u"1E-05");
    EXPECT_EQ(AsText(COleVariant(-2.75)), u"-2.75");
    EXPECT_EQ(AsText(COleVariant(0.1f)), u"0.1");
    EXPECT_EQ(AsText(COleVariant(1.0f / 3)), u"0.3333333");
    EXPECT_EQ(AsText(COleVariant(LONG(-42))), u"-42");
    EXPECT_EQ(AsText(COleVariant(ULONGLONG(18446744073709551615ull))), u"18446744073709551615");
}

TEST(VariantChangeTypeTest, NumbersIgnoreTheProcessLocale) {
    const char* previous = std::setlocale(LC_NUMERIC, nullptr);
    std::string saved = previous ? previous : "C";
    if (!std::setlocale(LC_NUMERIC, "de_DE.UTF-8") && !std::setlocale(LC_NUMERIC, "ru_RU.UTF-8"))
        GTEST_SKIP() << "no locale with a decimal comma installed";
    std::u16string text = AsText(COleVariant(2.5));
    COleVariant out;
    HRESULT hr = Change(out, COleVariant(u"2.5"), VT_R8);
    std::setlocale(LC_NUMERIC, saved.c_str());
    EXPECT_EQ(text, u"2.5");
    ASSERT_EQ(hr, S_OK);
    EXPECT_EQ(out.dblVal, 2.5);
}

TEST(VariantChangeTypeTest, BoolConversions) {
    COleVariant yes(SHORT(1), VT_BOOL), no(SHORT(0), VT_BOOL), out;
    ASSERT_EQ(Change(out, yes, VT_I4), S_OK);
    EXPECT_EQ(out.lVal, -1);
    ASSERT_EQ(Change(out, yes, VT_R8), S_OK);
    EXPECT_EQ(out.dblVal, -1.0);
    ASSERT_EQ(Change(out, yes, VT_UI1), S_OK);
    EXPECT_EQ(out.bVal, 255);
    ASSERT_EQ(Change(out, COleVariant(0.0001), VT_BOOL), S_OK);
    EXPECT_EQ(out.boolVal, VARIANT_TRUE);
    ASSERT_EQ(Change(out, COleVariant(LONG(0)), VT_BOOL), S_OK);
    EXPECT_EQ(out.boolVal, VARIANT_FALSE);

    EXPECT_EQ(AsText(yes), u"-1");
    EXPECT_EQ(AsText(no), u"0");
    EXPECT_EQ(AsText(yes, VARIANT_ALPHABOOL), u"True");
    EXPECT_EQ(AsText(no, VARIANT_ALPHABOOL), u"False");

    struct Case {
        const char16_t* text;
        VARIANT_BOOL value;
    } cases[] = {{u"TRUE", VARIANT_TRUE}, {u" false ", VARIANT_FALSE}, {u"True", VARIANT_TRUE},
                 {u"2", VARIANT_TRUE},    {u"0", VARIANT_FALSE},       {u"-0.5", VARIANT_TRUE}};
    for (const Case& c : cases) {
        ASSERT_EQ(Change(out, COleVariant(c.text), VT_BOOL), S_OK);
        EXPECT_EQ(out.boolVal, c.value);
    }
    EXPECT_EQ(Change(out, COleVariant(u"yes"), VT_BOOL), DISP_E_TYPEMISMATCH);
}

TEST(VariantChangeTypeTest, EmptyIsZeroAndNullConvertsToNothing) {
    COleVariant empty, null, out;
    null.vt = VT_NULL;
    ASSERT_EQ(Change(out, empty, VT_I4), S_OK);
    EXPECT_EQ(out.lVal, 0);
    ASSERT_EQ(Change(out, empty, VT_BSTR), S_OK);
    ASSERT_NE(out.bstrVal, nullptr);
    EXPECT_EQ(SysStringLen(out.bstrVal), 0u);
    ASSERT_EQ(Change(out, empty, VT_BOOL), S_OK);
    EXPECT_EQ(out.boolVal, VARIANT_FALSE);
    ASSERT_EQ(Change(out, empty, VT_DISPATCH), S_OK);
    EXPECT_EQ(out.pdispVal, nullptr);

    EXPECT_EQ(Change(out, null, VT_I4), DISP_E_TYPEMISMATCH);
    EXPECT_EQ(Change(out, null, VT_BSTR), DISP_E_TYPEMISMATCH);
    EXPECT_EQ(Change(out, null, VT_NULL), S_OK);
    EXPECT_EQ(Change(out, COleVariant(u"x"), VT_EMPTY), S_OK);
    EXPECT_EQ(out.vt, VT_EMPTY);
}

TEST(VariantChangeTypeTest, ConvertsInPlace) {
    COleVariant v(u" 12.5 ");
    ASSERT_EQ(VariantChangeType(&v, &v, 0, VT_R8), S_OK);
    EXPECT_EQ(v.vt, VT_R8);
    EXPECT_EQ(v.dblVal, 12.5);
    ASSERT_EQ(VariantChangeType(&v, &v, 0, VT_BSTR), S_OK);
    EXPECT_EQ(Text(v.bstrVal), u"12.5");
    ASSERT_EQ(VariantChangeType(&v, &v, 0, VT_BSTR), S_OK); // same type: a copy replaces itself
    EXPECT_EQ(Text(v.bstrVal), u"12.5");
    EXPECT_EQ(VariantChangeType(&v, &v, 0, VT_UI1), S_OK);
    EXPECT_EQ(v.bVal, 12);
    v = u"oops";
    EXPECT_EQ(VariantChangeType(&v, &v, 0, VT_I4), DISP_E_TYPEMISMATCH);
    EXPECT_EQ(Text(v.bstrVal), u"oops");
}

TEST(VariantChangeTypeTest, ReadsThroughReferences) {
    double d = 2.5;
    VARIANT ref;
    VariantInit(&ref);
    ref.vt = VT_R8 | VT_BYREF;
    ref.pdblVal = &d;
    COleVariant out;
    ASSERT_EQ(Change(out, ref, VT_I4), S_OK);
    EXPECT_EQ(out.lVal, 2);

    COleVariant inner(u"17");
    ref.vt = VT_VARIANT | VT_BYREF;
    ref.pvarVal = &inner;
    ASSERT_EQ(Change(out, ref, VT_I2), S_OK);
    EXPECT_EQ(out.iVal, 17);
    // In place over a reference: the referenced variant is left alone.
    ASSERT_EQ(VariantChangeType(&ref, &ref, 0, VT_R8), S_OK);
    EXPECT_EQ(ref.dblVal, 17.0);
    EXPECT_EQ(Text(inner.bstrVal), u"17");
}

TEST(VariantChangeTypeTest, ErrorCodesConvertOnlyAmongIntegers) {
    COleVariant code(LONG(0x80004005u), VT_ERROR), out;
    ASSERT_EQ(Change(out, code, VT_I4), S_OK);
    EXPECT_EQ(out.lVal, LONG(0x80004005u));
    EXPECT_EQ(Change(out, code, VT_BSTR), DISP_E_TYPEMISMATCH);
    EXPECT_EQ(Change(out, code, VT_R8), DISP_E_TYPEMISMATCH);
    ASSERT_EQ(Change(out, COleVariant(LONG(5)), VT_ERROR), S_OK);
    EXPECT_EQ(out.scode, 5);
    EXPECT_EQ(Change(out, COleVariant(1.0), VT_ERROR), DISP_E_TYPEMISMATCH);
}

TEST(VariantChangeTypeTest, DatesConvertAsNumbersAndAsText) {
    COleVariant date(43831.5, VT_DATE), out;
    EXPECT_EQ(AsText(date), u"01.01.2020 12:00:00");
    ASSERT_EQ(Change(out, date, VT_R8), S_OK);
    EXPECT_EQ(out.dblVal, 43831.5);
    ASSERT_EQ(Change(out, COleVariant(u"2020-01-01 12:00"), VT_DATE), S_OK);
    EXPECT_EQ(out.date, 43831.5);
    EXPECT_EQ(Change(out, COleVariant(u"01.13.2020"), VT_DATE), DISP_E_TYPEMISMATCH);
    ASSERT_EQ(Change(out, COleVariant(LONG(2)), VT_DATE), S_OK);
    EXPECT_EQ(out.date, 2.0);
}

TEST(VariantChangeTypeTest, ArraysConvertOnlyToTheirOwnType) {
    COleVariant array, out;
    array.vt = VT_ARRAY | VT_R8;
    array.parray = SafeArrayCreateVector(VT_R8, 0, 3);
    EXPECT_EQ(Change(out, array, VT_BSTR), DISP_E_TYPEMISMATCH);
    EXPECT_EQ(Change(out, array, VT_ARRAY | VT_I4), DISP_E_TYPEMISMATCH);
    ASSERT_EQ(Change(out, array, VT_ARRAY | VT_R8), S_OK);
    EXPECT_NE(out.parray, array.parray);
    EXPECT_EQ(out.parray->rgsabound[0].cElements, 3u);
}

TEST(VariantCopyTest, CopiesTextDeeplyWithEmbeddedNulls) {
    COleVariant src, dest(u"old text is freed");
    src.vt = VT_BSTR;
    src.bstrVal = SysAllocStringLen(u"a\0b", 3);
    ASSERT_EQ(VariantCopy(&dest, &src), S_OK);
    EXPECT_NE(dest.bstrVal, src.bstrVal);
    EXPECT_EQ(Text(dest.bstrVal), std::u16string(u"a\0b", 3));
    EXPECT_TRUE(dest == src);
}

TEST(VariantCopyTest, CopyAddRefsAndClearReleases) {
    CountingDispatch object;
    VARIANT v, copy;
    VariantInit(&v);
    VariantInit(&copy);
    v.vt = VT_DISPATCH;
    v.pdispVal = &object;
    object.AddRef();
    ASSERT_EQ(VariantCopy(&copy, &v), S_OK);
    EXPECT_EQ(object.refs, 3u);
    ASSERT_EQ(VariantClear(&copy), S_OK);
    EXPECT_EQ(copy.vt, VT_EMPTY);
    EXPECT_EQ(object.refs, 2u);

    // A reference to an object owns nothing.
    IDispatch* pointer = &object;
    copy.vt = VT_DISPATCH | VT_BYREF;
    copy.ppdispVal = &pointer;
    ASSERT_EQ(VariantClear(&copy), S_OK);
    EXPECT_EQ(object.refs, 2u);

    ASSERT_EQ(VariantClear(&v), S_OK);
    EXPECT_EQ(object.refs, 1u);
}

TEST(VariantCopyTest, CopyIndTakesTheReferencedValue) {
    BSTR text = SysAllocString(u"shared");
    VARIANT ref, copy;
    VariantInit(&ref);
    VariantInit(&copy);
    ref.vt = VT_BSTR | VT_BYREF;
    ref.pbstrVal = &text;
    ASSERT_EQ(VariantCopy(&copy, &ref), S_OK); // the reference itself
    EXPECT_EQ(copy.pbstrVal, &text);
    ASSERT_EQ(VariantCopyInd(&copy, &ref), S_OK);
    EXPECT_EQ(copy.vt, VT_BSTR);
    EXPECT_NE(copy.bstrVal, text);
    EXPECT_EQ(Text(copy.bstrVal), u"shared");
    VariantClear(&copy);
    SysFreeString(text);

    CountingDispatch object;
    VARIANT inner;
    VariantInit(&inner);
    inner.vt = VT_DISPATCH;
    inner.pdispVal = &object;
    ref.vt = VT_VARIANT | VT_BYREF;
    ref.pvarVal = &inner;
    ASSERT_EQ(VariantCopyInd(&ref, &ref), S_OK);
    EXPECT_EQ(ref.vt, VT_DISPATCH);
    EXPECT_EQ(object.refs, 2u);
    VariantClear(&ref);
    EXPECT_EQ(object.refs, 1u);
}

TEST(VariantCopyTest, UnknownTypesAreRefusedUntouched) {
    VARIANT v;
    VariantInit(&v);
    v.vt = 15;
    v.lVal = 9;
    EXPECT_EQ(VariantClear(&v), DISP_E_BADVARTYPE);
    EXPECT_EQ(v.vt, 15);
    VARIANT copy;
    VariantInit(&copy);
    EXPECT_EQ(VariantCopy(&copy, &v), DISP_E_BADVARTYPE);
    v.vt = VT_VARIANT; // only meaningful by reference
    EXPECT_EQ(VariantClear(&v), DISP_E_BADVARTYPE);
}

TEST(COleVariantTest, BoolAndErrorKeepTheirTypesOnAssignment) {
    COleVariant flag(SHORT(5), VT_BOOL);
    EXPECT_EQ(flag.boolVal, VARIANT_TRUE); // -1, not 5
    flag = SHORT(3);
    EXPECT_EQ(flag.vt, VT_BOOL);
    EXPECT_EQ(flag.boolVal, VARIANT_TRUE);
    flag = LONG(0);
    EXPECT_EQ(flag.vt, VT_BOOL);
    EXPECT_EQ(flag.boolVal, VARIANT_FALSE);
    COleVariant code(LONG(1), VT_ERROR);
    code = LONG(7);
    EXPECT_EQ(code.vt, VT_ERROR);
    EXPECT_EQ(code.scode, 7);
    COleVariant text(CString(u"x\0y", 3));
    EXPECT_EQ(Text(text.bstrVal), std::u16string(u"x\0y", 3));
    text = LONG(7);
    EXPECT_EQ(text.vt, VT_I4);
}

TEST(COleVariantTest, OwnershipMovesWithoutLeaksOrDoubleFrees) {
    COleVariant a(u"text");
    a = a.bstrVal; // its own string
    EXPECT_EQ(Text(a.bstrVal), u"text");
    COleVariant b(a);
    EXPECT_NE(b.bstrVal, a.bstrVal);
    EXPECT_TRUE(a == b);
    b = u"other";
    EXPECT_FALSE(a == b);

    VARIANT raw = a.Detach();
    EXPECT_EQ(a.vt, VT_EMPTY);
    COleVariant c;
    c.Attach(raw);
    EXPECT_EQ(raw.vt, VT_EMPTY);
    EXPECT_EQ(Text(c.bstrVal), u"text");
    COleVariant d(std::move(c));
    EXPECT_EQ(c.vt, VT_EMPTY);
    EXPECT_EQ(Text(d.bstrVal), u"text");
}

TEST(COleVariantTest, ChangeTypeReportsFailureAndKeepsTheValue) {
    COleVariant v(u"12");
    EXPECT_EQ(v.ChangeType(VT_I4), S_OK);
    EXPECT_EQ(v.lVal, 12);
    COleVariant bad(u"x12");
    EXPECT_EQ(bad.ChangeType(VT_I4), DISP_E_TYPEMISMATCH);
    EXPECT_EQ(Text(bad.bstrVal), u"x12");
    EXPECT_EQ(bad.ChangeType(VT_R8, &v), S_OK);
    EXPECT_EQ(bad.dblVal, 12.0);
}

} // namespace
