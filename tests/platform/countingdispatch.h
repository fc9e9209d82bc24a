// A test double for IDispatch: counts references instead of deleting itself,
// and answers DISPID_VALUE with a value the test sets.
#pragma once

#include <string>

#include "tarvex/platform/variant.h"

namespace tarvex_test {

class CountingDispatch : public IDispatch {
public:
    CountingDispatch() { VariantInit(&value); }
    ~CountingDispatch() { VariantClear(&value); }

    HRESULT QueryInterface(REFIID riid, void** object) override {
        if (riid == IID_IUnknown || (riid == IID_IDispatch && dispatchable)) {
            *object = this;
            AddRef();
            return S_OK;
        }
        *object = nullptr;
        return E_NOINTERFACE;
    }
    ULONG AddRef() override { return ++refs; }
    ULONG Release() override { return --refs; }

    HRESULT GetTypeInfoCount(UINT* count) override {
        *count = 0;
        return S_OK;
    }
    HRESULT GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
    HRESULT GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override {
        return DISP_E_UNKNOWNNAME;
    }
    HRESULT Invoke(DISPID id, REFIID, LCID, WORD flags, DISPPARAMS* params, VARIANT* result,
                   EXCEPINFO*, UINT*) override {
        ++invokes;
        lastId = id;
        lastFlags = flags;
        lastArgs = params ? params->cArgs : ~0u;
        if (id != DISPID_VALUE || !hasValue) return DISP_E_MEMBERNOTFOUND;
        return VariantCopy(result, &value);
    }

    void SetValue(const VARIANT& v) {
        VariantCopy(&value, &v);
        hasValue = true;
    }

    ULONG refs = 1; // the test's own reference
    bool dispatchable = true;
    bool hasValue = false;
    VARIANT value;
    int invokes = 0;
    DISPID lastId = DISPID_UNKNOWN;
    WORD lastFlags = 0;
    UINT lastArgs = 0;
};

inline std::u16string Text(BSTR text) {
    return text ? std::u16string(text, SysStringLen(text)) : std::u16string();
}

} // namespace tarvex_test
