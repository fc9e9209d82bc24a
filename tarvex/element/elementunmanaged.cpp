#include "tarvex/element/elementunmanaged.h"

#include <utility>

CElementUnmanaged::CElementUnmanaged(const char16_t* name, CElementUnmanaged* parent)
    : m_strName(name), m_pParent(parent), m_arrParams(1, 10, false, -8),
      m_arrChildren(10, 10, true, -8) {}

CElementUnmanaged::CElementUnmanaged(const CElementUnmanaged& other)
    : m_strName(other.m_strName), m_pParent(other.m_pParent), m_arrParams(1, 10, false, -8),
      m_arrChildren(10, 10, true, -8) {
    CopyContentFrom(other);
}

CElementUnmanaged::CElementUnmanaged(CElementUnmanaged&& other)
    : CElementUnmanaged(static_cast<const CElementUnmanaged&>(other)) {}

CElementUnmanaged& CElementUnmanaged::operator=(const CElementUnmanaged& other) {
    if (this == &other) return *this;
    m_strName = other.m_strName;
    m_pParent = other.m_pParent;
    CopyContentFrom(other);
    return *this;
}

CElementUnmanaged& CElementUnmanaged::operator=(CElementUnmanaged&& other) {
    return *this = static_cast<const CElementUnmanaged&>(other);
}

void CElementUnmanaged::CopyContentFrom(const CElementUnmanaged& other) {
    // Copies first and drops the old content after, so `other` may even live
    // inside this tree. Old parameters are deleted only if this object made
    // them; a caller's are just forgotten.
    ParamArray params(1, 10, true, -8);
    for (const CParamUnmanaged* param : other.m_arrParams)
        if (param) params.Add(new CParamUnmanaged(*param));
    ChildArray children(10, 10, true, -8);
    for (const CElementUnmanaged* child : other.m_arrChildren) {
        if (!child) continue;
        CElementUnmanaged* copy = new CElementUnmanaged(*child);
        copy->m_pParent = this;
        children.Add(copy);
    }
    m_arrParams = std::move(params);
    m_arrChildren = std::move(children);
}
