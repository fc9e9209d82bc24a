// Named hierarchy objects for the word `hierarchy("name")`.
//
// The host supplies a CFunctionHierarchyProvider that turns a name (and the
// formula's object context) into an automation object. Each function keeps
// a CFunctionHierarchyCache in front of it, emptied at the start of every
// count, so one evaluation asks the provider once per name.
#pragma once

#include <vector>

#include "tarvex/formula/objects/functionobjectbase.h"
#include "tarvex/platform/cstring.h"

class CFunctionHierarchyProvider {
public:
    virtual ~CFunctionHierarchyProvider() = default;

    // The hierarchy named `name` with a reference in `*result`, or false
    // with a reason in `error`.
    virtual bool GetHierarchy(const char16_t* name, IDispatch* context, IDispatch** result,
                              CString& error) = 0;

    // A base for the host's hierarchy objects: the member "Element" (any
    // case, DISPID 1, no arguments) gives the element the object stands for.
    class CHierarchyObject : public TXFunctionObjects::CFunctionObjectBase {
    public:
        HRESULT Invoke(DISPID id, REFIID riid, LCID lcid, WORD flags, DISPPARAMS* params,
                       VARIANT* result, EXCEPINFO* excepInfo, UINT* argErr) override;

    protected:
        // The element as an automation object, with a reference; may be null.
        virtual IDispatch* GetElement() = 0;
        const CMember* GetMembers(std::size_t& count) const override;
    };
};

class CFunctionHierarchyCache {
public:
    CFunctionHierarchyCache() = default;
    CFunctionHierarchyCache(const CFunctionHierarchyCache&) = delete;
    CFunctionHierarchyCache& operator=(const CFunctionHierarchyCache&) = delete;
    virtual ~CFunctionHierarchyCache();

    // From the cache by name (without case), else from the provider; the
    // result has a new reference. False with GetErrorMessage set.
    virtual bool GetHierarchy(const char16_t* name, IDispatch* context, IDispatch** result);

    void SetProvider(CFunctionHierarchyProvider* provider) { m_pProvider = provider; }
    CFunctionHierarchyProvider* GetProvider() const { return m_pProvider; }
    const CString& GetErrorMessage() const { return m_strError; }
    // Forgets the objects and the message.
    void Flush();

private:
    struct CEntry {
        CString key; // upper case
        IDispatch* object;
    };

    CFunctionHierarchyProvider* m_pProvider = nullptr;
    std::vector<CEntry> m_Entries; // sorted by key
    CString m_strError;
};
