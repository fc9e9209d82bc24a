// The COM interfaces the library calls or implements: IUnknown, IDispatch and
// IEnumVARIANT, the dispatch records, and CComPtr.
//
// Interfaces are abstract classes with the slots in the familiar order. Their
// destructors are protected and not virtual: an object is destroyed by its
// own Release, never by deleting an interface pointer.
#pragma once

#include <memory>
#include <utility>

#include "tarvex/platform/guid.h"
#include "tarvex/platform/hresult.h"

using BSTR = OLECHAR*;
struct tagVARIANT;
using VARIANT = tagVARIANT;
using VARIANTARG = tagVARIANT;
struct ITypeInfo; // never defined: type information is not modelled

using DISPID = std::int32_t;
using MEMBERID = DISPID;

constexpr DISPID DISPID_VALUE = 0;
constexpr DISPID DISPID_UNKNOWN = -1;
constexpr DISPID DISPID_PROPERTYPUT = -3;
constexpr DISPID DISPID_NEWENUM = -4;
constexpr DISPID DISPID_EVALUATE = -5;
constexpr DISPID DISPID_CONSTRUCTOR = -6;
constexpr DISPID DISPID_DESTRUCTOR = -7;
constexpr DISPID DISPID_COLLECT = -8;

constexpr WORD DISPATCH_METHOD = 0x1;
constexpr WORD DISPATCH_PROPERTYGET = 0x2;
constexpr WORD DISPATCH_PROPERTYPUT = 0x4;
constexpr WORD DISPATCH_PROPERTYPUTREF = 0x8;

constexpr LCID LOCALE_SYSTEM_DEFAULT = 0x0800;
constexpr LCID LOCALE_USER_DEFAULT = 0x0400;
constexpr LCID LOCALE_NEUTRAL = 0x0000;

// Arguments of Invoke, in reverse order: rgvarg[0] is the last argument.
struct DISPPARAMS {
    VARIANTARG* rgvarg;
    DISPID* rgdispidNamedArgs;
    UINT cArgs;
    UINT cNamedArgs;
};

struct tagEXCEPINFO {
    WORD wCode;
    WORD wReserved;
    BSTR bstrSource;
    BSTR bstrDescription;
    BSTR bstrHelpFile;
    DWORD dwHelpContext;
    void* pvReserved;
    HRESULT (*pfnDeferredFillIn)(tagEXCEPINFO*);
    SCODE scode;
};
using EXCEPINFO = tagEXCEPINFO;
using LPEXCEPINFO = tagEXCEPINFO*;

// Also declared, identically, by the plug-in interface header.
#ifndef TARVEX_IUNKNOWN_DEFINED
#define TARVEX_IUNKNOWN_DEFINED
class IUnknown {
public:
    virtual HRESULT QueryInterface(REFIID riid, void** object) = 0;
    virtual ULONG AddRef() = 0;
    virtual ULONG Release() = 0;

protected:
    ~IUnknown() = default;
};
#endif
using LPUNKNOWN = IUnknown*;

class IDispatch : public IUnknown {
public:
    virtual HRESULT GetTypeInfoCount(UINT* count) = 0;
    virtual HRESULT GetTypeInfo(UINT index, LCID lcid, ITypeInfo** info) = 0;
    virtual HRESULT GetIDsOfNames(REFIID riid, LPOLESTR* names, UINT count, LCID lcid,
                                  DISPID* ids) = 0;
    virtual HRESULT Invoke(DISPID id, REFIID riid, LCID lcid, WORD flags, DISPPARAMS* params,
                           VARIANT* result, EXCEPINFO* excepInfo, UINT* argErr) = 0;

protected:
    ~IDispatch() = default;
};
using LPDISPATCH = IDispatch*;

class IEnumVARIANT : public IUnknown {
public:
    // Next returns S_FALSE when fewer than `count` items were left.
    virtual HRESULT Next(ULONG count, VARIANT* items, ULONG* fetched) = 0;
    virtual HRESULT Skip(ULONG count) = 0;
    virtual HRESULT Reset() = 0;
    virtual HRESULT Clone(IEnumVARIANT** copy) = 0;

protected:
    ~IEnumVARIANT() = default;
};

// An owning interface pointer: AddRef on copy, Release on destruction.
template <class T>
class CComPtr {
public:
    CComPtr() noexcept = default;
    CComPtr(std::nullptr_t) noexcept {}
    CComPtr(T* p) noexcept : p(p) {
        if (p) p->AddRef();
    }
    CComPtr(const CComPtr& other) noexcept : CComPtr(other.p) {}
    CComPtr(CComPtr&& other) noexcept : p(std::exchange(other.p, nullptr)) {}
    ~CComPtr() {
        if (p) p->Release();
    }

    CComPtr& operator=(T* other) noexcept {
        if (other) other->AddRef();
        T* old = std::exchange(p, other);
        if (old) old->Release();
        return *this;
    }
    CComPtr& operator=(const CComPtr& other) noexcept { return *this = other.p; }
    CComPtr& operator=(CComPtr&& other) noexcept {
        if (this != std::addressof(other)) {
            T* old = std::exchange(p, std::exchange(other.p, nullptr));
            if (old) old->Release();
        }
        return *this;
    }
    CComPtr& operator=(std::nullptr_t) noexcept {
        Release();
        return *this;
    }

    operator T*() const noexcept { return p; }
    T* operator->() const noexcept { return p; }
    T& operator*() const noexcept { return *p; }
    // For out-parameters: the pointer must be empty, or its reference would leak.
    T** operator&() noexcept { return &p; }
    bool operator!() const noexcept { return p == nullptr; }

    // Drops the reference held; the familiar name, not IUnknown's.
    void Release() noexcept {
        if (T* old = std::exchange(p, nullptr)) old->Release();
    }
    // Takes over a reference without AddRef.
    void Attach(T* other) noexcept {
        T* old = std::exchange(p, other);
        if (old) old->Release();
    }
    // Gives up the reference without Release.
    T* Detach() noexcept { return std::exchange(p, nullptr); }
    // A new reference for the caller.
    HRESULT CopyTo(T** out) const noexcept {
        if (out == nullptr) return E_POINTER;
        *out = p;
        if (p) p->AddRef();
        return S_OK;
    }
    template <class Q>
    HRESULT QueryInterface(REFIID riid, Q** out) const noexcept {
        if (out == nullptr) return E_POINTER;
        *out = nullptr;
        if (p == nullptr) return E_POINTER;
        return p->QueryInterface(riid, reinterpret_cast<void**>(out));
    }

    T* p = nullptr;
};
