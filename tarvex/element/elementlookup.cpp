// CElement: lookups, walks and comparison. All are linear: trees that need
// fast access by id build GetIdsMap once. Walks below the children are loops
// (elementwalk_internal.h), so any depth is safe.
#include <algorithm>
#include <climits>

#include "tarvex/element/element.h"
#include "tarvex/element/elementwalk_internal.h"
#include "tarvex/platform/casemap.h"
#include "tarvex/platform/wide.h"

namespace {

// Element names are null only while a reader fills them; null reads as empty.
bool SameName(const char16_t* a, const char16_t* b) {
    return wcscmp(a ? a : u"", b ? b : u"") == 0;
}

} // namespace

// ---------------------------------------------------------------------------
// Lookups

CElement* CElement::GetChild(int64_t index) const {
    if (index < 0 || index >= GetChildCount()) return nullptr;
    return m_arrChildren[index];
}

CElement* CElement::GetChild(const char16_t* name) const {
    for (CElement* child : m_arrChildren)
        if (SameName(child->m_pszName, name)) return child;
    return nullptr;
}

CElement* CElement::GetChild(const char16_t* name, int64_t start, int64_t& index) const {
    for (int64_t i = start < 0 ? 0 : start; i < GetChildCount(); ++i) {
        if (SameName(m_arrChildren[i]->m_pszName, name)) {
            index = i;
            return m_arrChildren[i];
        }
    }
    return nullptr;
}

CElement* CElement::GetChildNoCase(const char16_t* name) const {
    for (CElement* child : m_arrChildren)
        if (_wcsicmp(child->m_pszName, name) == 0) return child;
    return nullptr;
}

CElement* CElement::QueryChild(const char16_t* name) const {
    // Each element in pre-order looks among its own children first.
    CElement* found = nullptr;
    ForEachPreOrder([&](const CElement* element) { return !(found = element->GetChild(name)); });
    return found;
}

CElement* CElement::GetElementByName(const char16_t* name) const {
    CElement* found = nullptr;
    ForEachPreOrder([&](CElement* element) {
        if (_wcsicmp(element->m_pszName, name) != 0) return true;
        found = element;
        return false;
    });
    return found;
}

CElement* CElement::GetChildById(int64_t id) const {
    for (CElement* child : m_arrChildren)
        if (child->m_nId == id) return child;
    return nullptr;
}

CElement* CElement::GetChildByModelId(int32_t modelUID) const {
    for (CElement* child : m_arrChildren)
        if (child->m_nModelUID == modelUID) return child;
    return nullptr;
}

CElement* CElement::GetChildByIdRecursive(int64_t id) const {
    CElement* found = nullptr;
    ForEachPreOrder([&](CElement* element) {
        if (element == this || element->m_nId != id) return true;
        found = element;
        return false;
    });
    return found;
}

CElement* CElement::GetChildByModelIdRecursive(int32_t modelUID) const {
    CElement* found = nullptr;
    ForEachPreOrder([&](CElement* element) {
        if (element == this || element->m_nModelUID != modelUID) return true;
        found = element;
        return false;
    });
    return found;
}

CElement* CElement::GetElementById(int64_t id) const {
    if (m_nId == id) return const_cast<CElement*>(this);
    return GetChildByIdRecursive(id);
}

// ---------------------------------------------------------------------------
// Walks

bool CElement::Iterate(ElementCallback fn, void* data) {
    return ForEachPreOrder([&](CElement* element) { return fn(element, data); });
}

CElement* CElement::FindElementByFilter(ElementCallback fn, void* data) {
    CElement* found = nullptr;
    ForEachPreOrder([&](CElement* element) {
        if (!fn(element, data)) return true;
        found = element;
        return false;
    });
    return found;
}

void CElement::FindElementsByFilter(ElementCallback fn, ElementList& out, void* data) {
    ForEachPreOrder([&](CElement* element) {
        if (fn(element, data)) out.Add(element);
        return true;
    });
}

bool CElement::cbFilterElementByParameter(CElement* element, void* data) {
    const CParamFilter& filter = *static_cast<const CParamFilter*>(data);
    const CParam* param = element->GetParameter(filter.name);
    if (!param) return false;
    if (!filter.value) return true;
    return (filter.noCase ? param->m_strValue.CompareNoCase(filter.value)
                          : param->m_strValue.Compare(filter.value)) == 0;
}

CElement* CElement::FindElementByParameterValue(const char16_t* name, const char16_t* value,
                                                bool noCase) {
    CParamFilter filter{name, value ? value : u"", noCase};
    return FindElementByFilter(cbFilterElementByParameter, &filter);
}

const CElement* CElement::FindElementByParameterValueC(const char16_t* name, const char16_t* value,
                                                       bool noCase) const {
    // The filter only reads.
    return const_cast<CElement*>(this)->FindElementByParameterValue(name, value, noCase);
}

void CElement::FindElementsByParameterValue(const char16_t* name, const char16_t* value,
                                            bool noCase, ElementList& out) {
    CParamFilter filter{name, value ? value : u"", noCase};
    FindElementsByFilter(cbFilterElementByParameter, out, &filter);
}

void CElement::FindElementsByParameterName(const char16_t* name, ElementList& out) {
    CParamFilter filter{name, nullptr, false};
    FindElementsByFilter(cbFilterElementByParameter, out, &filter);
}

// ---------------------------------------------------------------------------
// Paths and comparison

bool CElement::GetStructFilter(const char16_t* text, int& position, CString& name, int& index) {
    name.Empty();
    index = 0;
    if (!text) return true;
    if (text[position] == u'"') {
        const int start = ++position;
        while (text[position] && text[position] != u'"') ++position;
        if (!text[position]) return false;
        name = CString(text + start, position - start);
        ++position;
    }
    if (text[position] == u'(') {
        ++position;
        int64_t value = 0;
        for (; text[position] != u')'; ++position) {
            const char16_t ch = text[position];
            if (ch < u'0' || ch > u'9') return false; // the end of the text too
            value = std::min<int64_t>(value * 10 + (ch - u'0'), INT_MAX);
        }
        ++position;
        index = static_cast<int>(value);
    }
    return true;
}

bool CElement::IsEqualTo(const CElement& other, const NameList* ignored) const {
    // The walk only reads: it pairs children by position.
    return const_cast<CElement*>(this)->ForEachPaired(
        other,
        [](CElement* mine, const CElement*, int64_t index) { return mine->m_arrChildren[index]; },
        [ignored](const CElement* mine, const CElement* theirs) {
            return mine->GetChildCount() == theirs->GetChildCount() &&
                   SameName(mine->m_pszName, theirs->m_pszName) &&
                   mine->IsEqualParameters(*theirs, ignored);
        });
}
