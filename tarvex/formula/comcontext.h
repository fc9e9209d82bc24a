// CFunction::CComContext: what a host hands to a calculation so that
// formulas using `object` have one. Declared at namespace level so that the
// element model, below the formula language, can pass it along by pointer.
#pragma once

#include "tarvex/core/indirectarray.h"
#include "tarvex/platform/cstring.h"
#include "tarvex/platform/variant.h"

class CElement;
class CFunction;
class CParam;
class CParamsOwner;

// The object comes per element, or is made on demand by a factory for a
// class id. A host derives from it to veto, filter or observe a whole-tree
// calculation; the defaults let everything through.
class CFunctionComContext : public CTarvexObject {
public:
    // Makes the object for `clsid`; non-zero on success, with a reference
    // in `*out` for the caller.
    using Factory = int (*)(IDispatch** out, const _GUID& clsid, void* data);
    // The object for formulas on `element`, with a reference for the
    // caller, or null to fall back on the factory.
    using ElementObject = IDispatch* (*)(CElement* element, void* data);
    // Supplies values for names no element had: adds parameters to
    // `owner` and removes the names it settled from `names`.
    using Fallback = void (*)(CElement* element, void* data, CIndirectArray<CString>& names,
                              CParamsOwner& owner);

    CFunctionComContext() = default;
    CFunctionComContext(const _GUID& clsid, Factory factory, void* data)
        : m_Guid(clsid), m_pFactory(factory), m_pData(data) {}
    ~CFunctionComContext() override = default;

    // Asked before a whole-tree calculation starts; false stops it.
    virtual bool CanCalculate() { return true; }
    // Whether a formula that uses the object may be calculated for
    // `param` of `element`. Asked only while object use is allowed.
    virtual bool AcceptCalculation(CElement* element, const CParam* param);
    // Sent once when a whole-tree calculation has finished.
    virtual void OnCalculationEnd() {}

    bool IsObjectUseAllowed() const { return m_bAllowObjects; }
    void AllowObjectUse(bool allow) { m_bAllowObjects = allow; }

    // Points `function` (and what it inherits to nested functions) at
    // the object for `element`: the element function's answer first,
    // else the factory, which then runs only if a formula asks.
    void Bind(CFunction& function, CElement* element) const;

    _GUID m_Guid{};
    Factory m_pFactory = nullptr;
    ElementObject m_pElementObject = nullptr;
    Fallback m_pFallback = nullptr;
    void* m_pData = nullptr;

private:
    bool m_bAllowObjects = true;
};
