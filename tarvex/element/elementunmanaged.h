// CElementUnmanaged: an element tree as plain records, for handing trees
// across an interface. No virtual table, no root class, no ids.
#pragma once

#include "tarvex/core/containers.h"
#include "tarvex/element/param.h"
#include "tarvex/platform/cstring.h"

class CElementUnmanaged {
public:
    using ParamArray = CIndirectArray<CParamUnmanaged>;
    using ChildArray = CIndirectArray<CElementUnmanaged>;

    // `parent` is recorded only: the new object is not added to its children.
    explicit CElementUnmanaged(const char16_t* name = nullptr, CElementUnmanaged* parent = nullptr);
    // Copies are deep, moves too. Parameters pushed by a caller stay the
    // caller's, but the parameters a copy makes belong to the copy. Copied
    // children record their new parent; the top copy records the source's.
    CElementUnmanaged(const CElementUnmanaged& other);
    CElementUnmanaged(CElementUnmanaged&& other);
    CElementUnmanaged& operator=(const CElementUnmanaged& other);
    CElementUnmanaged& operator=(CElementUnmanaged&& other);
    ~CElementUnmanaged();

    const CString& GetName() const { return m_strName; }
    void SetName(const char16_t* name) { m_strName = name; }
    CElementUnmanaged* GetParent() const { return m_pParent; }

    ParamArray& GetParams() { return m_arrParams; }
    const ParamArray& GetParams() const { return m_arrParams; }
    ChildArray& GetChildren() { return m_arrChildren; }
    const ChildArray& GetChildren() const { return m_arrChildren; }

    // Not owned (unless this object is a copy, see above).
    void PushParam(CParamUnmanaged* param) { m_arrParams.Add(param); }
    // Owned from now on.
    void PushChild(CElementUnmanaged* child) { m_arrChildren.Add(child); }

private:
    void CopyContentFrom(const CElementUnmanaged& other);
    // Owned copies of `other`'s parameters, appended.
    void CopyParamsFrom(const CElementUnmanaged& other);

    CString m_strName;
    CElementUnmanaged* m_pParent;
    ParamArray m_arrParams;
    ChildArray m_arrChildren;
};
