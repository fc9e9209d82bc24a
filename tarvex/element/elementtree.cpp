// CElement: the shape of the tree. Children are moved between arrays with
// the owning flag cleared around the removal, so a moved element survives.
#include <algorithm>
#include <utility>

#include "tarvex/core/exceptions.h"
#include "tarvex/element/element.h"
#include "tarvex/element/elementwalk_internal.h"

void CElement::SetName(const char16_t* name) {
    if (name == m_pszName) return;
    // Copy before freeing: `name` may point into the old text.
    char16_t* copy = CopyName(name);
    delete[] m_pszName;
    m_pszName = copy;
}

int CElement::GetLevel() const {
    int level = 0;
    for (const CElement* element = m_pParent; element; element = element->m_pParent) ++level;
    return level;
}

void CElement::SetRoot(CElement* root) {
    ForEachPreOrder([root](CElement* element) {
        element->m_pRoot = root;
        if (root->m_nMaxElementId < element->m_nId) root->m_nMaxElementId = element->m_nId;
        return true;
    });
}

void CElement::SetParent(CElement* parent) {
    m_pParent = parent;
    SetRoot(parent ? parent->m_pRoot : this);
}

void CElement::AddChild(CElement* element) {
    m_arrChildren.Add(element);
    element->SetParent(this);
}

void CElement::AddChildFirst(CElement* element) {
    m_arrChildren.InsertAt(0, element);
    element->SetParent(this);
}

void CElement::RemoveChild(CElement* element) {
    const int64_t index = m_arrChildren.Find(static_cast<const CElement*>(element));
    if (index >= 0) m_arrChildren.Delete(index);
}

void CElement::Delete() {
    if (m_pParent) m_pParent->RemoveChild(this);
}

bool CElement::DeleteChild(const char16_t* name) {
    int64_t index = -1;
    if (!GetChild(name, 0, index)) return false;
    m_arrChildren.Delete(index);
    return true;
}

bool CElement::DeleteChild(CElement* child) {
    const int64_t index = m_arrChildren.Find(static_cast<const CElement*>(child));
    if (index < 0) return false;
    m_arrChildren.Delete(index);
    return true;
}

void CElement::DeleteFromHierarchy() {
    CElement* parent = m_pParent;
    if (!parent) return;
    // Appended after the last sibling, not put in this element's place.
    for (CElement* child : m_arrChildren) parent->AddChild(child);
    WithoutOwnership([this] { m_arrChildren.Flush(); });
    parent->RemoveChild(this); // destroys this element: nothing may follow
}

void CElement::ChangeParent(CElement* newParent, bool first) {
    KV_CHECK_NOT_NULL(newParent);
    if (newParent->m_pRoot != m_pRoot) {
        const char16_t* rootName = newParent->m_pRoot->m_pszName;
        CString message;
        message.Format(u"Невозможно переместить элемент %s в другое дерево %s. Поддерживается "
                       u"только перемещение в рамках одного дерева.",
                       m_pszName ? m_pszName : u"", rootName ? rootName : u"");
        throw CKVException(message, CKVException::FormatCodePos("CElement::ChangeParent", 966));
    }
    if (CElement* parent = m_pParent)
        parent->WithoutOwnership([parent, this] { parent->RemoveChild(this); });
    if (first)
        newParent->AddChildFirst(this);
    else
        newParent->AddChild(this);
}

void CElement::SetFirstChild() {
    if (!m_pParent) return;
    ChildArray& siblings = m_pParent->m_arrChildren;
    const int64_t index = siblings.Find(static_cast<const CElement*>(this));
    if (index <= 0) return;
    std::rotate(siblings.begin(), siblings.begin() + index, siblings.begin() + index + 1);
}

void CElement::SetLastChild() {
    if (!m_pParent) return;
    ChildArray& siblings = m_pParent->m_arrChildren;
    const int64_t index = siblings.Find(static_cast<const CElement*>(this));
    if (index < 0) return;
    std::rotate(siblings.begin() + index, siblings.begin() + index + 1, siblings.end());
}

bool CElement::SwapPtr(CElement* a, CElement* b) {
    if (!a || !b) return false;
    const int64_t first = m_arrChildren.Find(static_cast<const CElement*>(a));
    const int64_t second = m_arrChildren.Find(static_cast<const CElement*>(b));
    if (first < 0 || second < 0) return false;
    std::swap(m_arrChildren[first], m_arrChildren[second]);
    return true;
}

bool CElement::HasChild(const CElement* element) const {
    // Up from the element rather than down the subtree: same answer, since
    // parent links are kept with every move, at the cost of the depth only.
    if (!element) return false;
    for (const CElement* ancestor = element->m_pParent; ancestor; ancestor = ancestor->m_pParent)
        if (ancestor == this) return true;
    return false;
}

int64_t CElement::GetChildIndex(const CElement* element) const {
    return m_arrChildren.Find(element);
}

int CElement::cbCompareByName(const CElement* a, const CElement* b) {
    const char16_t* x = a->m_pszName ? a->m_pszName : u"";
    const char16_t* y = b->m_pszName ? b->m_pszName : u"";
    for (;; ++x, ++y) {
        if (*x != *y) return *x < *y ? -1 : 1;
        if (*x == 0) return 0;
    }
}

void CElement::SortChildren() {
    const int64_t count = GetChildCount();
    if (count < 2) return;
    CCustomSortedIndirectArrayT<CElement, CElement::cbCompareByName> sorted(
        count, m_arrChildren.GetDelta(), false, m_arrChildren.GetMaximumDelta());
    for (CElement* child : m_arrChildren) sorted.Add(child);
    // The same objects go back into the same slots, so ownership never
    // changes hands.
    std::copy(sorted.begin(), sorted.end(), m_arrChildren.begin());
}
