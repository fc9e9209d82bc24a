// The root of the formula language's own automation objects.
//
// Their lifetime belongs to whoever holds them as C++ objects (a function's
// variable list, a singleton), not to the reference count: the count is kept
// for callers who watch it, and Release never deletes.
#pragma once

#include "tarvex/core/object.h"
#include "tarvex/platform/variant.h"

namespace TXFunctionObjects {

class CFunctionObjectBase : public CTarvexObject, public IDispatch {
public:
    // No interface is handed out: the language recognises its objects by
    // their C++ type, never through QueryInterface.
    HRESULT QueryInterface(REFIID, void** object) override {
        if (object) *object = nullptr;
        return 1;
    }
    // Both answer the count before the change.
    ULONG AddRef() override { return m_nRefCount++; }
    ULONG Release() override { return m_nRefCount > 0 ? m_nRefCount-- : 0; }

    HRESULT GetTypeInfoCount(UINT* count) override {
        if (count) *count = 0;
        return S_OK;
    }
    HRESULT GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }

    ULONG GetRefCount() const { return m_nRefCount; }

protected:
    ULONG m_nRefCount = 0;
};

} // namespace TXFunctionObjects
