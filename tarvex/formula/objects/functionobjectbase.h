// The root of the formula language's own automation objects.
//
// Their lifetime belongs to whoever holds them as C++ objects (a function's
// variable list, a process-wide instance), not to the reference count: the
// count is kept for callers who watch it, and Release never deletes (a
// derived class that lives on the heap may say otherwise).
#pragma once

#include <atomic>
#include <cstddef>

#include "tarvex/core/object.h"
#include "tarvex/platform/cstring.h"
#include "tarvex/platform/variant.h"

namespace TXFunctionObjects {

class CFunctionObjectBase : public CTarvexObject, public IDispatch {
public:
    // No interface is handed out: the language recognises its objects by
    // their C++ type, never through QueryInterface. The answer is S_FALSE,
    // a success, so callers must test the pointer.
    HRESULT QueryInterface(REFIID, void** object) override {
        if (object) *object = nullptr;
        return 1;
    }
    // Both answer the count before the change. Atomic only so that two
    // threads evaluating different trees do not race on a shared instance.
    ULONG AddRef() override { return m_nRefCount.fetch_add(1, std::memory_order_relaxed); }
    ULONG Release() override {
        ULONG old = m_nRefCount.load(std::memory_order_relaxed);
        while (old > 0 &&
               !m_nRefCount.compare_exchange_weak(old, old - 1, std::memory_order_acq_rel)) {
        }
        return old;
    }

    HRESULT GetTypeInfoCount(UINT* count) override {
        if (count) *count = 0;
        return S_OK;
    }
    HRESULT GetTypeInfo(UINT, LCID, ITypeInfo** info) override {
        if (info) *info = nullptr;
        return E_FAIL;
    }
    // An unknown name is DISPID -1 and still a success: the failure comes
    // at Invoke.
    HRESULT GetIDsOfNames(REFIID, LPOLESTR* names, UINT count, LCID, DISPID* ids) override;

    ULONG GetRefCount() const { return m_nRefCount.load(std::memory_order_relaxed); }

    // The name the language's messages use for the object's kind; null
    // lets the C++ type name stand in.
    virtual const char16_t* GetClassName() const { return nullptr; }

    // The kind of a value for messages: a local variable by name and the
    // kind of its value, an object by its class, anything else by its type.
    static void VariantTypeToString(const VARIANT& value, CString& out);
    static void VarTypeToString(VARTYPE type, CString& out);
    // The class name of any object: ours by GetClassName, others by their
    // C++ type.
    static CString ClassNameOf(IDispatch* object);

    struct CMember {
        const char16_t* name;
        DISPID id;
    };

protected:
    // The member table of the object, names compared without case.
    virtual const CMember* GetMembers(std::size_t& count) const {
        count = 0;
        return nullptr;
    }
    // Argument `i` in the order of the text (Invoke receives them last
    // first); null past the end.
    static VARIANT* Arg(DISPPARAMS* params, UINT i) {
        if (!params || i >= params->cArgs) return nullptr;
        return &params->rgvarg[params->cArgs - 1 - i];
    }
    static UINT ArgCount(const DISPPARAMS* params) { return params ? params->cArgs : 0; }
    static double RealArg(DISPPARAMS* params, UINT i);
    static HRESULT SetReal(VARIANT* result, double value);
    // Hands `object` out in `result` with a new reference.
    static HRESULT SetObject(VARIANT* result, IDispatch* object);

    std::atomic<ULONG> m_nRefCount{0};
};

} // namespace TXFunctionObjects
