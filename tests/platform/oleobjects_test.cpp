#include <atomic>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "countingdispatch.h"
#include "tarvex/platform/classregistry.h"
#include "tarvex/platform/errorinfo.h"
#include "tarvex/platform/guid.h"
#include "tarvex/platform/olevariant.h"

namespace {

using tarvex_test::CountingDispatch;
using tarvex_test::Text;

std::u16string GuidText(REFGUID guid) {
    char16_t buffer[39];
    EXPECT_EQ(StringFromGUID2(guid, buffer, 39), 39);
    return buffer;
}

TEST(GuidTest, TextFormIsBracedUpperCaseHex) {
    EXPECT_EQ(GuidText(IID_IDispatch), u"{00020400-0000-0000-C000-000000000046}");
    EXPECT_EQ(GuidText(IID_IErrorInfo), u"{1CF2B120-547D-101B-8E65-08002B2BD119}");
    char16_t small[38];
    EXPECT_EQ(StringFromGUID2(IID_IUnknown, small, 38), 0);
}

TEST(GuidTest, ParsesEitherCaseAndRejectsBadText) {
    CLSID clsid;
    ASSERT_EQ(CLSIDFromString(u"{1cf2b120-547d-101b-8e65-08002b2bd119}", &clsid), S_OK);
    EXPECT_EQ(clsid, IID_IErrorInfo);
    const GUID odd = {0xFEDCBA98, 0x7654, 0x3210, {0x0F, 0x1E, 0x2D, 0x3C, 0x4B, 0x5A, 0x69, 0x78}};
    ASSERT_EQ(CLSIDFromString(GuidText(odd).c_str(), &clsid), S_OK);
    EXPECT_EQ(clsid, odd);

    const char16_t* bad[] = {u"",
                             u"{1CF2B120-547D-101B-8E65-08002B2BD119",
                             u"{1CF2B120-547D-101B-8E65-08002B2BD119}x",
                             u"{1CF2B120-547D-101B-8E65-08002B2BD11G}",
                             u"{1CF2B120-547D-101B8E65-08002B2BD1191}",
                             u"{1CF2B120-547D-101B-8E65-08002B2BD1}"};
    for (const char16_t* text : bad) {
        clsid = IID_IDispatch;
        EXPECT_EQ(CLSIDFromString(text, &clsid), CO_E_CLASSSTRING) << std::string(text, text + 5);
        EXPECT_EQ(clsid, GUID_NULL);
    }
}

// An IErrorInfo that counts its references, to see the thread slot release it.
class CountingErrorInfo : public IErrorInfo {
public:
    HRESULT QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
    ULONG AddRef() override { return ++refs; }
    ULONG Release() override { return --refs; }
    HRESULT GetGUID(GUID*) override { return E_NOTIMPL; }
    HRESULT GetSource(BSTR*) override { return E_NOTIMPL; }
    HRESULT GetDescription(BSTR*) override { return E_NOTIMPL; }
    HRESULT GetHelpFile(BSTR*) override { return E_NOTIMPL; }
    HRESULT GetHelpContext(DWORD*) override { return E_NOTIMPL; }
    std::atomic<ULONG> refs{1};
};

TEST(ErrorInfoTest, GetErrorInfoHandsOverTheObjectOnce) {
    CComPtr<ICreateErrorInfo> create;
    ASSERT_EQ(CreateErrorInfo(&create), S_OK);
    create->SetDescription(const_cast<LPOLESTR>(u"Division by zero"));
    create->SetSource(const_cast<LPOLESTR>(u"formula"));
    CComPtr<IErrorInfo> info;
    ASSERT_EQ(create.QueryInterface(IID_IErrorInfo, &info), S_OK);
    ASSERT_EQ(SetErrorInfo(0, info), S_OK);
    info.Release();

    IErrorInfo* taken = nullptr;
    ASSERT_EQ(GetErrorInfo(0, &taken), S_OK);
    ASSERT_NE(taken, nullptr);
    BSTR text = nullptr;
    ASSERT_EQ(taken->GetDescription(&text), S_OK);
    EXPECT_EQ(Text(text), u"Division by zero");
    SysFreeString(text);
    BSTR helpFile = reinterpret_cast<BSTR>(1);
    ASSERT_EQ(taken->GetHelpFile(&helpFile), S_OK);
    EXPECT_EQ(helpFile, nullptr);
    taken->Release();

    EXPECT_EQ(GetErrorInfo(0, &taken), S_FALSE);
    EXPECT_EQ(taken, nullptr);
}

TEST(ErrorInfoTest, SetReplacesAndReleasesThePreviousObject) {
    CountingErrorInfo first, second;
    SetErrorInfo(0, &first);
    EXPECT_EQ(first.refs, 2u);
    SetErrorInfo(0, &second);
    EXPECT_EQ(first.refs, 1u);
    EXPECT_EQ(second.refs, 2u);
    SetErrorInfo(0, nullptr);
    EXPECT_EQ(second.refs, 1u);
}

TEST(ErrorInfoTest, EachThreadHasItsOwnSlotReleasedAtExit) {
    CountingErrorInfo info;
    HRESULT seenByThread = E_FAIL;
    std::thread worker([&] {
        IErrorInfo* none = nullptr;
        seenByThread = GetErrorInfo(0, &none);
        SetErrorInfo(0, &info); // left in the slot on purpose
    });
    worker.join();
    EXPECT_EQ(seenByThread, S_FALSE);
    EXPECT_EQ(info.refs, 1u);
    IErrorInfo* mine = nullptr;
    EXPECT_EQ(GetErrorInfo(0, &mine), S_FALSE);
}

// A factory that makes CountingDispatch objects it owns.
class TestFactory : public IClassFactory {
public:
    HRESULT QueryInterface(REFIID riid, void** object) override {
        if (riid == IID_IUnknown || riid == IID_IClassFactory) {
            *object = this;
            AddRef();
            return S_OK;
        }
        *object = nullptr;
        return E_NOINTERFACE;
    }
    ULONG AddRef() override { return ++refs; }
    ULONG Release() override { return --refs; }
    HRESULT CreateInstance(IUnknown* outer, REFIID riid, void** object) override {
        if (outer) return CLASS_E_NOAGGREGATION;
        return product.QueryInterface(riid, object);
    }
    HRESULT LockServer(BOOL) override { return S_OK; }

    ULONG refs = 1;
    CountingDispatch product;
};

constexpr CLSID kTestClass = {
    0x6B1E3D2A, 0x0C4F, 0x4E7A, {0x9A, 0x11, 0x52, 0x3C, 0x7D, 0x80, 0x01, 0x02}};
constexpr CLSID kOtherClass = {
    0x6B1E3D2A, 0x0C4F, 0x4E7A, {0x9A, 0x11, 0x52, 0x3C, 0x7D, 0x80, 0x01, 0x03}};

TEST(ClassRegistryTest, CreatesRegisteredClassesByProgIdOrClsid) {
    TestFactory factory;
    ASSERT_EQ(CoRegisterClassObjectFactory(kTestClass, u"Tarvex.TestObject.1", &factory), S_OK);
    EXPECT_EQ(factory.refs, 2u);

    CLSID clsid = GUID_NULL;
    ASSERT_EQ(CLSIDFromProgID(u"tarvex.TESTOBJECT.1", &clsid), S_OK);
    EXPECT_EQ(clsid, kTestClass);
    ASSERT_EQ(CLSIDFromString(u"Tarvex.TestObject.1", &clsid), S_OK);
    EXPECT_EQ(clsid, kTestClass);

    IDispatch* object = nullptr;
    ASSERT_EQ(CoCreateInstance(clsid, nullptr, CLSCTX_ALL, IID_IDispatch,
                               reinterpret_cast<void**>(&object)),
              S_OK);
    EXPECT_EQ(object, &factory.product);
    object->Release();
    EXPECT_EQ(factory.refs, 2u); // the call's own reference to the factory is gone

    IClassFactory* got = nullptr;
    ASSERT_EQ(CoGetClassObject(kTestClass, CLSCTX_ALL, nullptr, IID_IClassFactory,
                               reinterpret_cast<void**>(&got)),
              S_OK);
    EXPECT_EQ(got, &factory);
    got->Release();

    ASSERT_EQ(CoRevokeClassObjectFactory(kTestClass), S_OK);
    EXPECT_EQ(factory.refs, 1u);
    EXPECT_EQ(CoRevokeClassObjectFactory(kTestClass), REGDB_E_CLASSNOTREG);
    EXPECT_EQ(CLSIDFromProgID(u"Tarvex.TestObject.1", &clsid), CO_E_CLASSSTRING);
}

TEST(ClassRegistryTest, UnknownClassesAreReported) {
    void* object = reinterpret_cast<void*>(1);
    EXPECT_EQ(CoCreateInstance(kOtherClass, nullptr, CLSCTX_ALL, IID_IUnknown, &object),
              REGDB_E_CLASSNOTREG);
    EXPECT_EQ(object, nullptr);
    CLSID clsid = kOtherClass;
    EXPECT_EQ(CLSIDFromProgID(u"No.Such.Class", &clsid), CO_E_CLASSSTRING);
    EXPECT_EQ(CLSIDFromString(u"No.Such.Class", &clsid), CO_E_CLASSSTRING);
    EXPECT_EQ(CoCreateInstance(kOtherClass, nullptr, CLSCTX_ALL, IID_IUnknown, nullptr), E_POINTER);
}

TEST(ClassRegistryTest, RegisteringAgainReplacesFactoryAndProgId) {
    TestFactory first, second;
    ASSERT_EQ(CoRegisterClassObjectFactory(kTestClass, u"Tarvex.Old", &first), S_OK);
    ASSERT_EQ(CoRegisterClassObjectFactory(kTestClass, u"Tarvex.New", &second), S_OK);
    EXPECT_EQ(first.refs, 1u);
    CLSID clsid;
    EXPECT_EQ(CLSIDFromProgID(u"Tarvex.Old", &clsid), CO_E_CLASSSTRING);
    EXPECT_EQ(CLSIDFromProgID(u"Tarvex.New", &clsid), S_OK);

    // A ProgID taken over by another class stays with it when the first goes.
    TestFactory other;
    ASSERT_EQ(CoRegisterClassObjectFactory(kOtherClass, u"Tarvex.New", &other), S_OK);
    ASSERT_EQ(CoRevokeClassObjectFactory(kTestClass), S_OK);
    ASSERT_EQ(CLSIDFromProgID(u"Tarvex.New", &clsid), S_OK);
    EXPECT_EQ(clsid, kOtherClass);
    ASSERT_EQ(CoRevokeClassObjectFactory(kOtherClass), S_OK);
    EXPECT_EQ(second.refs, 1u);
    EXPECT_EQ(other.refs, 1u);
}

TEST(DispatchValueTest, ObjectsConvertThroughTheirValueProperty) {
    CountingDispatch object;
    object.SetValue(COleVariant(LONG(42)));
    COleVariant holder;
    holder.vt = VT_DISPATCH;
    holder.pdispVal = &object;
    object.AddRef();

    COleVariant out;
    ASSERT_EQ(VariantChangeType(&out, &holder, 0, VT_BSTR), S_OK);
    EXPECT_EQ(Text(out.bstrVal), u"42");
    EXPECT_EQ(object.lastId, DISPID_VALUE);
    EXPECT_EQ(object.lastFlags, DISPATCH_PROPERTYGET);
    EXPECT_EQ(object.lastArgs, 0u);
    ASSERT_EQ(VariantChangeType(&out, &holder, 0, VT_R8), S_OK);
    EXPECT_EQ(out.dblVal, 42.0);
    EXPECT_EQ(object.refs, 2u);

    // In place, the object's reference held by the variant is given up.
    COleVariant inPlace(holder);
    EXPECT_EQ(object.refs, 3u);
    ASSERT_EQ(inPlace.ChangeType(VT_I2), S_OK);
    EXPECT_EQ(inPlace.iVal, 42);
    EXPECT_EQ(object.refs, 2u);

    const int invokes = object.invokes;
    EXPECT_EQ(VariantChangeType(&out, &holder, VARIANT_NOVALUEPROP, VT_I4), DISP_E_TYPEMISMATCH);
    EXPECT_EQ(object.invokes, invokes);
}

TEST(DispatchValueTest, ObjectsWithoutAPlainValueDoNotConvert) {
    CountingDispatch object;
    COleVariant holder;
    holder.vt = VT_DISPATCH;
    holder.pdispVal = &object;
    object.AddRef();
    COleVariant out(LONG(3));
    EXPECT_EQ(VariantChangeType(&out, &holder, 0, VT_I4), DISP_E_TYPEMISMATCH);
    EXPECT_EQ(out.lVal, 3);

    // A value that is an object again is not followed, so a cycle ends.
    object.SetValue(holder);
    EXPECT_EQ(VariantChangeType(&out, &holder, 0, VT_I4), DISP_E_TYPEMISMATCH);
    EXPECT_EQ(object.refs, 3u); // the holder and the stored value
    object.hasValue = false;
    VariantClear(&object.value);

    COleVariant null;
    null.vt = VT_DISPATCH;
    EXPECT_EQ(VariantChangeType(&out, &null, 0, VT_I4), DISP_E_TYPEMISMATCH);
}

TEST(DispatchValueTest, UnknownAndDispatchConvertIntoEachOther) {
    CountingDispatch object;
    COleVariant unknown;
    unknown.vt = VT_UNKNOWN;
    unknown.punkVal = &object;
    object.AddRef();
    object.SetValue(COleVariant(u"7"));

    COleVariant out;
    ASSERT_EQ(VariantChangeType(&out, &unknown, 0, VT_DISPATCH), S_OK);
    EXPECT_EQ(out.pdispVal, &object);
    EXPECT_EQ(object.refs, 3u);
    ASSERT_EQ(VariantChangeType(&out, &unknown, 0, VT_I4), S_OK); // through IDispatch
    EXPECT_EQ(out.lVal, 7);
    EXPECT_EQ(object.refs, 2u);

    object.dispatchable = false;
    EXPECT_EQ(VariantChangeType(&out, &unknown, 0, VT_DISPATCH), DISP_E_TYPEMISMATCH);
    EXPECT_EQ(VariantChangeType(&out, &unknown, 0, VT_I4), DISP_E_TYPEMISMATCH);
    EXPECT_EQ(object.refs, 2u);
}

TEST(CComPtrTest, CountsReferencesThroughCopiesAndAssignments) {
    CountingDispatch a, b;
    {
        CComPtr<IDispatch> p(&a);
        EXPECT_EQ(a.refs, 2u);
        CComPtr<IDispatch> q = p;
        EXPECT_EQ(a.refs, 3u);
        q = &b;
        EXPECT_EQ(a.refs, 2u);
        EXPECT_EQ(b.refs, 2u);
        q = q; // self-assignment keeps the reference
        EXPECT_EQ(b.refs, 2u);
        CComPtr<IDispatch> moved(std::move(q));
        EXPECT_EQ(b.refs, 2u);
        IDispatch* raw = moved.Detach();
        EXPECT_EQ(b.refs, 2u);
        moved.Attach(raw);
        EXPECT_EQ(b.refs, 2u);
    }
    EXPECT_EQ(a.refs, 1u);
    EXPECT_EQ(b.refs, 1u);
}

} // namespace
