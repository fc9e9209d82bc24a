// CElement: construction, copying, ids, tags and parameters along the tree.
#include "tarvex/element/element.h"

#include <algorithm>
#include <cstring>
#include <unordered_set>
#include <vector>

#include "tarvex/element/elementwalk_internal.h"

#include "tarvex/platform/casemap.h"
#include "tarvex/platform/wide.h"

namespace {

// Growth of a child array: most elements have a handful of children.
constexpr int64_t kChildrenPhysicalLength = 4;
constexpr int64_t kChildrenDelta = 16;
constexpr int64_t kChildrenMaximumDelta = -8;

bool IsBlank(const CString& text) {
    for (int i = 0; i < text.GetLength(); ++i)
        if (!iswspace16(text[i])) return false;
    return true;
}

} // namespace

// ---------------------------------------------------------------------------
// Construction and copying

char16_t* CElement::CopyName(const char16_t* name) {
    const size_t length = name ? wcslen(name) : 0;
    char16_t* copy = new char16_t[length + 1];
    if (length) std::memcpy(copy, name, length * sizeof(char16_t));
    copy[length] = 0;
    return copy;
}

CElement::CElement(const char16_t* name, CElement* parent)
    : m_pParent(parent), m_pszName(CopyName(name)), m_nId(0), m_nModelUID(-1), m_pTags(nullptr),
      m_nTagsCount(0),
      m_arrChildren(kChildrenPhysicalLength, kChildrenDelta, true, kChildrenMaximumDelta),
      m_pRoot(parent ? parent->m_pRoot : this), m_nMaxElementId(0) {
    if (!parent) return;
    m_nId = GetNextElementId();
    parent->m_arrChildren.Add(this);
}

CElement::CElement(const char16_t* name, CElement* parent, int64_t id, int32_t modelUID)
    : m_pParent(parent), m_pszName(CopyName(name)), m_nId(id), m_nModelUID(modelUID),
      m_pTags(nullptr), m_nTagsCount(0),
      m_arrChildren(kChildrenPhysicalLength, kChildrenDelta, true, kChildrenMaximumDelta),
      m_pRoot(parent ? parent->m_pRoot : this), m_nMaxElementId(0) {
    if (m_pRoot->m_nMaxElementId < id) m_pRoot->m_nMaxElementId = id;
    if (parent) parent->m_arrChildren.Add(this);
}

CElement::CElement(const CElement& source)
    : CParamsOwner(source), m_pParent(nullptr), m_pszName(CopyName(source.m_pszName)),
      m_nId(source.m_nId), m_nModelUID(source.m_nModelUID), m_pTags(nullptr), m_nTagsCount(0),
      m_arrChildren(kChildrenPhysicalLength, kChildrenDelta, true, kChildrenMaximumDelta),
      m_pRoot(this),
      m_nMaxElementId(source.m_pRoot ? source.m_pRoot->m_nMaxElementId : source.m_nId) {
    SetTagsCount(source.m_nTagsCount);
    if (m_nTagsCount) std::copy_n(source.m_pTags, m_nTagsCount, m_pTags);
    ExactCopyChildrenFrom(source);
}

CElement::~CElement() {
    delete[] m_pszName;
    delete[] m_pTags;
    if (!m_arrChildren.GetOwnership() || m_arrChildren.IsEmpty()) return;
    // Each descendant is emptied before it is deleted, so no destructor
    // reaches below itself: a chain of any depth goes without recursion.
    std::vector<CElement*> doomed(m_arrChildren.begin(), m_arrChildren.end());
    WithoutOwnership([this] { m_arrChildren.Flush(); });
    while (!doomed.empty()) {
        CElement* element = doomed.back();
        doomed.pop_back();
        if (element == nullptr) continue;
        if (element->m_arrChildren.GetOwnership()) {
            doomed.insert(doomed.end(), element->m_arrChildren.begin(),
                          element->m_arrChildren.end());
            element->WithoutOwnership([element] { element->m_arrChildren.Flush(); });
        }
        delete element;
    }
    // The parameters go with the base.
}

CElement& CElement::operator=(const CElement& source) {
    CopyFrom(&source);
    return *this;
}

void CElement::CopyFrom(const CElement* source) {
    if (!source || source == this || !source->m_pRoot) return;
    if (HasChild(source) || source->HasChild(this)) {
        // A source below would be destroyed with the children, and one above
        // would be copied into itself: go through a copy.
        const CElement copy(*source);
        CopyFrom(&copy);
        return;
    }
    m_pRoot = this;
    m_nMaxElementId = source->m_pRoot->m_nMaxElementId;
    DeleteAllChildren();
    SetName(source->m_pszName);
    m_nId = source->m_nId;
    m_nModelUID = source->m_nModelUID;
    SetTagsCount(source->m_nTagsCount);
    if (m_nTagsCount) std::copy_n(source->m_pTags, m_nTagsCount, m_pTags);
    CopyParamsFrom(*source);
    ExactCopyChildrenFrom(*source);
}

void CElement::ExactCopyChildrenFrom(const CElement& source) {
    ForEachPaired(
        source,
        [](CElement* parent, const CElement* from, int64_t) {
            CElement* child = new CElement(from->m_pszName, parent, from->m_nId, from->m_nModelUID);
            child->SetTagsCount(from->m_nTagsCount);
            if (from->m_nTagsCount) std::copy_n(from->m_pTags, from->m_nTagsCount, child->m_pTags);
            child->CopyParamsFrom(*from);
            return child;
        },
        [](CElement* copy, const CElement* from) {
            if (from->GetChildCount())
                copy->m_arrChildren.Resize(copy->m_arrChildren.GetLength() + from->GetChildCount());
            return true;
        });
}

// ---------------------------------------------------------------------------
// Ids

CElement* CElement::AddChild(const char16_t* name) {
    return new CElement(name, this);
}

CElement* CElement::AddChild(const char16_t* name, int64_t id, int32_t modelUID) {
    return new CElement(name, this, id, modelUID);
}

CElement* CElement::InsertChild(int64_t index, const char16_t* name) {
    if (index < 0 || index >= GetChildCount()) return AddChild(name);
    CElement* child = new CElement(name, nullptr, GetNextElementId(), -1);
    child->m_pParent = this;
    child->m_pRoot = m_pRoot;
    child->m_nMaxElementId = 0;
    m_arrChildren.InsertAt(index, child);
    return child;
}

int64_t CElement::GetNextElementId() {
    return ++m_pRoot->m_nMaxElementId;
}

int64_t CElement::GetMaxElementId(int64_t floor) const {
    ForEachPreOrder([&floor](const CElement* element) {
        floor = std::max(floor, element->m_nId);
        return true;
    });
    return floor;
}

void CElement::SetNewElementIds(int64_t& next) {
    ForEachPreOrder([&next](CElement* element) {
        element->m_nId = next++;
        return true;
    });
}

void CElement::ReplaceElementIds(const IdMap& map) {
    ForEachPreOrder([&map](CElement* element) {
        const int64_t index = map.Find(element->m_nId);
        if (index >= 0) element->m_nId = map[index].m_Value;
        return true;
    });
}

bool CElement::ValidateElementIds() {
    // A hash set, not a sorted array: insertion into the middle of a sorted
    // array is quadratic on a tree of a million elements.
    std::unordered_set<int64_t> seen;
    ElementList collisions;
    ForEachPreOrder([&](CElement* element) {
        if (!seen.insert(element->m_nId).second) collisions.Add(element);
        return true;
    });
    for (CElement* element : collisions) element->m_nId = GetNextElementId();
    return collisions.IsEmpty();
}

void CElement::GetIdsMap(IdsMap& map) const {
    ForEachPreOrder([&map](const CElement* element) {
        map[element->m_nId] = element;
        return true;
    });
}

// ---------------------------------------------------------------------------
// Tags

int32_t CElement::GetTag(int64_t index) const {
    if (!m_pTags || index < 0 || index >= m_nTagsCount) return 0;
    return m_pTags[index];
}

void CElement::SetTag(int64_t index, int32_t value) {
    if (index < 0) return;
    if (index >= m_nTagsCount) SetTagsCount(static_cast<int32_t>(index + 1));
    m_pTags[index] = value;
}

void CElement::SetTagsCount(int32_t count) {
    if (count == m_nTagsCount) return;
    if (count <= 0) {
        delete[] m_pTags;
        m_pTags = nullptr;
        m_nTagsCount = 0;
        return;
    }
    // New slots are zeroed rather than left undefined: readers may see them.
    int32_t* tags = new int32_t[static_cast<size_t>(count)]();
    if (m_pTags) std::copy_n(m_pTags, std::min(count, m_nTagsCount), tags);
    delete[] m_pTags;
    m_pTags = tags;
    m_nTagsCount = count;
}

void CElement::GrowTags(int32_t count) {
    if (count > m_nTagsCount) SetTagsCount(count);
}

// ---------------------------------------------------------------------------
// Parameters along the tree

void CElement::ApplyParameter(const CParam* param) {
    if (param && _wcsicmp(param->m_strName, u"@NAME") == 0) {
        SetName(param->m_strValue);
        return;
    }
    CParamsOwner::ApplyParameter(param);
}

void CElement::ReplaceParameters(const CParamsDefault& defaults) {
    ForEachPreOrder([&defaults](CElement* element) {
        element->CParamsOwner::ReplaceParameters(defaults);
        return true;
    });
}

void CElement::ApplyParametersRecursive(const CElement& source) {
    ForEachPaired(
        source,
        [](CElement* parent, const CElement* from, int64_t) {
            return parent->GetChild(from->m_pszName);
        },
        [](CElement* target, const CElement* from) {
            target->ApplyParameters(*from);
            return true;
        });
}

void CElement::InheritParametersFrom(const CElement* source) {
    for (const CElement* element = source; element; element = element->m_pParent) {
        const ParamArray& params = element->GetParams();
        for (int64_t i = 0; i < params.GetLength(); ++i) AddParamCopy(params[i], true);
    }
}

CParam* CElement::QueryParameter(const char16_t* name, CString& errorText, CElement*& owner) {
    if (name && name[0] == u'@') {
        // Structural paths are resolved by the formula layer's queries.
        owner = nullptr;
        return nullptr;
    }
    owner = this;
    errorText.Empty();
    return GetParameter(name);
}

CParam* CElement::QueryParameterInherited(const char16_t* name, CString& errorText,
                                          bool skipEmpty) {
    if (name && name[0] == u'@') return nullptr; // structural: see QueryParameter
    errorText.Empty();
    for (CElement* element = this; element; element = element->m_pParent) {
        CParam* param = element->GetParameter(name);
        if (param && !(skipEmpty && IsBlank(param->m_strValue))) return param;
    }
    return nullptr;
}

CElement* CElement::StructQueryChild(const char16_t*) {
    return nullptr; // structural paths are resolved by the formula layer's queries
}
