#include "tarvex/element/elementunmanaged.h"

#include <utility>
#include <vector>

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

CElementUnmanaged::~CElementUnmanaged() {
    if (!m_arrChildren.GetOwnership() || m_arrChildren.IsEmpty()) return;
    // Emptied before deletion, so no destructor reaches below itself: deep
    // trees go without recursion.
    std::vector<CElementUnmanaged*> doomed(m_arrChildren.begin(), m_arrChildren.end());
    m_arrChildren.SetOwnership(false);
    m_arrChildren.Flush();
    while (!doomed.empty()) {
        CElementUnmanaged* element = doomed.back();
        doomed.pop_back();
        if (!element) continue;
        ChildArray& children = element->m_arrChildren;
        if (children.GetOwnership()) {
            doomed.insert(doomed.end(), children.begin(), children.end());
            children.SetOwnership(false);
            children.Flush();
        }
        delete element;
    }
}

void CElementUnmanaged::CopyParamsFrom(const CElementUnmanaged& other) {
    for (const CParamUnmanaged* param : other.m_arrParams)
        if (param) m_arrParams.Add(new CParamUnmanaged(*param));
}

void CElementUnmanaged::CopyContentFrom(const CElementUnmanaged& other) {
    // Copies first and drops the old content after, so `other` may even live
    // inside this tree. Old parameters are deleted only if this object made
    // them; a caller's are just forgotten. The copy is a loop over pairs of
    // (copy, original), so deep trees copy without recursion.
    CElementUnmanaged top(nullptr, nullptr);
    top.m_arrParams.SetOwnership(true);
    top.CopyParamsFrom(other);
    std::vector<std::pair<CElementUnmanaged*, const CElementUnmanaged*>> pending{{&top, &other}};
    while (!pending.empty()) {
        auto [copy, original] = pending.back();
        pending.pop_back();
        for (const CElementUnmanaged* child : original->m_arrChildren) {
            if (!child) continue;
            auto* childCopy = new CElementUnmanaged(child->m_strName, copy);
            childCopy->m_arrParams.SetOwnership(true);
            childCopy->CopyParamsFrom(*child);
            copy->m_arrChildren.Add(childCopy);
            pending.emplace_back(childCopy, child);
        }
    }
    for (CElementUnmanaged* child : top.m_arrChildren) child->m_pParent = this;
    m_arrParams = std::move(top.m_arrParams);
    m_arrChildren = std::move(top.m_arrChildren);
}
