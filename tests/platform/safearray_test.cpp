#include "tarvex/platform/safearray.h"

#include <gtest/gtest.h>

#include "countingdispatch.h"
#include "tarvex/platform/olevariant.h"

namespace {

using tarvex_test::CountingDispatch;
using tarvex_test::Text;

TEST(SafeArrayTest, VectorHasItsBoundsAndRefusesIndexesOutsideThem) {
    SAFEARRAY* psa = SafeArrayCreateVector(VT_R8, 5, 3);
    ASSERT_NE(psa, nullptr);
    EXPECT_EQ(SafeArrayGetDim(psa), 1u);
    EXPECT_EQ(SafeArrayGetElemsize(psa), 8u);
    VARTYPE vt = VT_EMPTY;
    ASSERT_EQ(SafeArrayGetVartype(psa, &vt), S_OK);
    EXPECT_EQ(vt, VT_R8);
    LONG lower = 0, upper = 0;
    ASSERT_EQ(SafeArrayGetLBound(psa, 1, &lower), S_OK);
    ASSERT_EQ(SafeArrayGetUBound(psa, 1, &upper), S_OK);
    EXPECT_EQ(lower, 5);
    EXPECT_EQ(upper, 7);
    EXPECT_EQ(SafeArrayGetLBound(psa, 2, &lower), DISP_E_BADINDEX);
    EXPECT_EQ(SafeArrayGetUBound(psa, 0, &upper), DISP_E_BADINDEX);

    for (LONG i = 5; i <= 7; ++i) {
        double value = i * 1.5;
        ASSERT_EQ(SafeArrayPutElement(psa, &i, &value), S_OK);
    }
    LONG index = 6;
    double value = 0;
    ASSERT_EQ(SafeArrayGetElement(psa, &index, &value), S_OK);
    EXPECT_EQ(value, 9.0);
    EXPECT_EQ(static_cast<double*>(psa->pvData)[0], 7.5); // the lower bound is element 0

    for (LONG bad : {4, 8, -1}) {
        value = 42;
        EXPECT_EQ(SafeArrayGetElement(psa, &bad, &value), DISP_E_BADINDEX);
        EXPECT_EQ(SafeArrayPutElement(psa, &bad, &value), DISP_E_BADINDEX);
    }
    EXPECT_EQ(SafeArrayGetElement(nullptr, &index, &value), E_INVALIDARG);
    EXPECT_EQ(SafeArrayGetElement(psa, nullptr, &value), E_INVALIDARG);
    EXPECT_EQ(SafeArrayDestroy(psa), S_OK);
    EXPECT_EQ(SafeArrayDestroy(nullptr), S_OK);
}

TEST(SafeArrayTest, UnsupportedElementTypesGiveNoArray) {
    EXPECT_EQ(SafeArrayCreateVector(VT_EMPTY, 0, 1), nullptr);
    EXPECT_EQ(SafeArrayCreateVector(VT_NULL, 0, 1), nullptr);
    EXPECT_EQ(SafeArrayCreateVector(VT_R8 | VT_BYREF, 0, 1), nullptr);
    EXPECT_EQ(SafeArrayCreate(VT_R8, 0, nullptr), nullptr);
}

// ASan's leak check makes these fail if an element's string is not freed.
TEST(SafeArrayTest, VariantArrayOwnsItsElements) {
    SAFEARRAY* psa = SafeArrayCreateVector(VT_VARIANT, 0, 2);
    ASSERT_NE(psa, nullptr);
    LONG i = 0;
    {
        COleVariant text(u"first");
        ASSERT_EQ(SafeArrayPutElement(psa, &i, &text), S_OK);
        text = u"changed after the put";
    }
    i = 1;
    COleVariant number(LONG(5));
    ASSERT_EQ(SafeArrayPutElement(psa, &i, &number), S_OK);
    i = 0;
    COleVariant replacement(u"second");
    ASSERT_EQ(SafeArrayPutElement(psa, &i, &replacement), S_OK); // frees "first"

    VARIANT got;
    ASSERT_EQ(SafeArrayGetElement(psa, &i, &got), S_OK);
    EXPECT_EQ(got.vt, VT_BSTR);
    EXPECT_EQ(Text(got.bstrVal), u"second");
    EXPECT_NE(got.bstrVal, static_cast<VARIANT*>(psa->pvData)[0].bstrVal);
    VariantClear(&got);
    EXPECT_EQ(SafeArrayDestroy(psa), S_OK);
}

TEST(SafeArrayTest, BstrElementsAreCopiedInAndOut) {
    SAFEARRAY* psa = SafeArrayCreateVector(VT_BSTR, 0, 1);
    LONG i = 0;
    BSTR text = SysAllocStringLen(u"a\0b", 3);
    ASSERT_EQ(SafeArrayPutElement(psa, &i, text), S_OK);
    SysFreeString(text);
    BSTR got = nullptr;
    ASSERT_EQ(SafeArrayGetElement(psa, &i, &got), S_OK);
    EXPECT_EQ(Text(got), std::u16string(u"a\0b", 3));
    SysFreeString(got);
    EXPECT_EQ(SafeArrayDestroy(psa), S_OK);
}

TEST(SafeArrayTest, ObjectElementsHoldReferences) {
    CountingDispatch object;
    SAFEARRAY* psa = SafeArrayCreateVector(VT_DISPATCH, 0, 2);
    LONG i = 0;
    ASSERT_EQ(SafeArrayPutElement(psa, &i, static_cast<IDispatch*>(&object)), S_OK);
    i = 1;
    ASSERT_EQ(SafeArrayPutElement(psa, &i, static_cast<IDispatch*>(&object)), S_OK);
    EXPECT_EQ(object.refs, 3u);
    IDispatch* got = nullptr;
    ASSERT_EQ(SafeArrayGetElement(psa, &i, &got), S_OK);
    EXPECT_EQ(got, &object);
    EXPECT_EQ(object.refs, 4u);
    got->Release();
    ASSERT_EQ(SafeArrayPutElement(psa, &i, nullptr), S_OK);
    EXPECT_EQ(object.refs, 2u);

    SAFEARRAY* copy = nullptr;
    ASSERT_EQ(SafeArrayCopy(psa, &copy), S_OK);
    EXPECT_EQ(object.refs, 3u);
    EXPECT_EQ(SafeArrayDestroy(copy), S_OK);
    EXPECT_EQ(SafeArrayDestroy(psa), S_OK);
    EXPECT_EQ(object.refs, 1u);
}

TEST(SafeArrayTest, LockedArrayCannotBeDestroyedOrResized) {
    COleVariant holder;
    holder.vt = VT_ARRAY | VT_I4;
    holder.parray = SafeArrayCreateVector(VT_I4, 0, 4);
    SAFEARRAY* psa = holder.parray;
    void* data = nullptr;
    ASSERT_EQ(SafeArrayAccessData(psa, &data), S_OK);
    EXPECT_EQ(data, psa->pvData);
    EXPECT_EQ(SafeArrayDestroy(psa), DISP_E_ARRAYISLOCKED);
    EXPECT_EQ(VariantClear(&holder), DISP_E_ARRAYISLOCKED);
    EXPECT_EQ(holder.vt, VT_ARRAY | VT_I4);
    SAFEARRAYBOUND bound = {8, 0};
    EXPECT_EQ(SafeArrayRedim(psa, &bound), DISP_E_ARRAYISLOCKED);
    EXPECT_EQ(SafeArrayUnaccessData(psa), S_OK);
    EXPECT_EQ(SafeArrayUnlock(psa), E_UNEXPECTED);
}

TEST(SafeArrayTest, CopyIsDeep) {
    SAFEARRAY* psa = SafeArrayCreateVector(VT_BSTR, 1, 2);
    LONG i = 2;
    BSTR text = SysAllocString(u"kept");
    SafeArrayPutElement(psa, &i, text);
    SysFreeString(text);
    SAFEARRAY* copy = nullptr;
    ASSERT_EQ(SafeArrayCopy(psa, &copy), S_OK);
    ASSERT_EQ(SafeArrayDestroy(psa), S_OK);
    LONG lower = 0;
    SafeArrayGetLBound(copy, 1, &lower);
    EXPECT_EQ(lower, 1);
    BSTR got = nullptr;
    ASSERT_EQ(SafeArrayGetElement(copy, &i, &got), S_OK);
    EXPECT_EQ(Text(got), u"kept");
    SysFreeString(got);
    SafeArrayDestroy(copy);

    ASSERT_EQ(SafeArrayCopy(nullptr, &copy), S_OK);
    EXPECT_EQ(copy, nullptr);
}

TEST(SafeArrayTest, RedimKeepsElementsAndFreesThoseCutOff) {
    SAFEARRAY* psa = SafeArrayCreateVector(VT_BSTR, 0, 3);
    for (LONG i = 0; i < 3; ++i) {
        BSTR text = SysAllocString(i == 0 ? u"zero" : u"more");
        SafeArrayPutElement(psa, &i, text);
        SysFreeString(text);
    }
    SAFEARRAYBOUND smaller = {1, 0};
    ASSERT_EQ(SafeArrayRedim(psa, &smaller), S_OK);
    SAFEARRAYBOUND larger = {4, 0};
    ASSERT_EQ(SafeArrayRedim(psa, &larger), S_OK);
    LONG upper = 0;
    SafeArrayGetUBound(psa, 1, &upper);
    EXPECT_EQ(upper, 3);
    BSTR* data = static_cast<BSTR*>(psa->pvData);
    EXPECT_EQ(Text(data[0]), u"zero");
    for (int i = 1; i < 4; ++i) EXPECT_EQ(data[i], nullptr);
    SafeArrayDestroy(psa);
}

TEST(SafeArrayTest, MultiDimensionalLayoutHasTheFirstIndexFastest) {
    SAFEARRAYBOUND bounds[2] = {{2, 1}, {3, 0}}; // (1 to 2, 0 to 2)
    SAFEARRAY* psa = SafeArrayCreate(VT_I4, 2, bounds);
    ASSERT_NE(psa, nullptr);
    LONG bound;
    SafeArrayGetLBound(psa, 1, &bound);
    EXPECT_EQ(bound, 1);
    SafeArrayGetUBound(psa, 1, &bound);
    EXPECT_EQ(bound, 2);
    SafeArrayGetUBound(psa, 2, &bound);
    EXPECT_EQ(bound, 2);
    EXPECT_EQ(psa->rgsabound[0].cElements, 3u); // stored in reverse order

    for (LONG i = 1; i <= 2; ++i)
        for (LONG j = 0; j <= 2; ++j) {
            LONG index[2] = {i, j};
            LONG value = i * 10 + j;
            ASSERT_EQ(SafeArrayPutElement(psa, index, &value), S_OK);
        }
    const LONG* data = static_cast<const LONG*>(psa->pvData);
    const LONG expected[6] = {10, 20, 11, 21, 12, 22};
    for (int k = 0; k < 6; ++k) EXPECT_EQ(data[k], expected[k]) << k;
    LONG outside[2] = {1, 3};
    LONG value;
    EXPECT_EQ(SafeArrayGetElement(psa, outside, &value), DISP_E_BADINDEX);
    SafeArrayDestroy(psa);
}

TEST(SafeArrayTest, VariantCopyDuplicatesTheArray) {
    COleVariant vector;
    vector.vt = VT_ARRAY | VT_R8;
    vector.parray = SafeArrayCreateVector(VT_R8, 0, 3);
    static_cast<double*>(vector.parray->pvData)[2] = 4.5;
    COleVariant copy(vector);
    ASSERT_NE(copy.parray, vector.parray);
    EXPECT_EQ(static_cast<double*>(copy.parray->pvData)[2], 4.5);
    EXPECT_TRUE(copy == vector);
    static_cast<double*>(copy.parray->pvData)[2] = 1;
    EXPECT_FALSE(copy == vector);
}

} // namespace
