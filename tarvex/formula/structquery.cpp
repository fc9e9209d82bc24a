#include "tarvex/formula/structquery.h"

#include "tarvex/core/stackroom.h"
#include "tarvex/element/element.h"
#include "tarvex/platform/casemap.h"

namespace {

// Splits "@X<filter>rest": reads the filter after the letter into `name`
// and `count`; `rest` points after it. False for a malformed filter.
bool ReadFilter(const char16_t* text, CString& name, int& count, const char16_t*& rest) {
    int position = 0;
    if (!CElement::GetStructFilter(text, position, name, count)) return false;
    rest = text + position;
    return true;
}

void ClearOut(VARIANT& out) {
    VariantClear(&out);
}

} // namespace

bool CStructQuery::NameMatches(const CString& filter, const char16_t* name) {
    return filter.IsEmpty() || _wcsicmp(filter.GetString(), name ? name : u"") == 0;
}

void* CStructQuery::QueryRest(const char16_t* rest, VARIANT& out, bool& isComment) {
    if (rest[0] == u'@') return QuerySystemParameter(rest, out, isComment);
    return GetParameterValue(rest, out, false);
}

void* CStructQuery::QueryParameter(const char16_t* text, VARIANT& out, bool& isComment) {
    if (!text) text = u"";
    if (text[0] == u'@') return QuerySystemParameter(text, out, isComment);
    isComment = false;
    return GetParameterValue(text, out, false);
}

void* CStructQuery::QuerySystemParameter(const char16_t* text, VARIANT& out, bool& isComment) {
    isComment = false;
    // A formula may chain any number of steps; past the stack's room the
    // query finds nothing rather than overflow.
    if (!tarvex::HasStackRoom()) return Fail();
    // Steps chain through QueryRest; C and R are taken here in a loop so that
    // a long run of them cannot deepen the stack.
    for (;;) {
        if (!text || text[0] != u'@') return Fail();
        const char16_t letter = text[1];
        const char16_t* rest = letter ? text + 2 : text + 1;
        switch (letter) {
        case u'?':
            isComment = true;
            return GetParameterValue(rest, out, true);
        case u'A':
            return QueryNextSiblingParameter(rest, out, isComment);
        case u'B':
            return QueryPrevSiblingParameter(rest, out, isComment);
        case u'F':
            return QueryFirstChildParameter(rest, 0, out, isComment);
        case u'L':
            return QueryLastChildParameter(rest, GetChildrenCount() - 1, out, isComment);
        case u'P':
            return QueryParentParameter(rest, out, isComment);
        case u'C':
        case u'R':
            if (letter == u'C')
                SetCurrentContext();
            else
                SetRootContext();
            if (!IsValidContext()) return Fail();
            if (rest[0] == u'@') {
                text = rest;
                continue;
            }
            return GetParameterValue(rest, out, false);
        default:
            if (text[1]) return GetSysParamValue(text + 1, out);
            ClearOut(out);
            return nullptr;
        }
    }
}

// The steps below recurse into QueryRest once per step of the text; the
// text is a variable key the compiler built (or a caller's path), and each
// step consumes at least two characters, so the depth is that of the text,
// never that of the tree.

void* CStructQuery::QueryParentParameter(const char16_t* text, VARIANT& out, bool& isComment) {
    if (!IsValidContext() || !HasParent()) return Fail();
    CString name;
    int count = 0;
    const char16_t* rest = nullptr;
    if (!ReadFilter(text, name, count, rest)) return Fail();
    std::int64_t left = count;
    SetParentContext();
    if (NameMatches(name, GetName())) --left;
    while (left >= 0) {
        if (!IsValidContext()) break;
        SetParentContext();
        if (IsValidContext() && NameMatches(name, GetName())) --left;
    }
    if (!IsValidContext()) return Fail();
    return QueryRest(rest, out, isComment);
}

void* CStructQuery::QueryFirstChildParameter(const char16_t* text, std::int64_t from, VARIANT& out,
                                             bool& isComment) {
    if (!IsValidContext()) return Fail();
    const std::int64_t children = GetChildrenCount();
    if (children <= 0) return Fail();
    CString name;
    int count = 0;
    const char16_t* rest = nullptr;
    if (!ReadFilter(text, name, count, rest)) return Fail();
    if (from < 0 || from >= children) return Fail();
    std::int64_t found = -1;
    if (name.IsEmpty()) {
        // Every child counts: no walk needed.
        if (from + count < children) found = from + count;
    } else {
        std::int64_t left = count;
        for (std::int64_t i = from; i < children; ++i) {
            if (NameMatches(name, GetChildName(i)) && left-- == 0) {
                found = i;
                break;
            }
        }
    }
    if (found < 0) return Fail();
    SetChildContext(found);
    if (!IsValidContext()) return Fail();
    return QueryRest(rest, out, isComment);
}

void* CStructQuery::QueryLastChildParameter(const char16_t* text, std::int64_t from, VARIANT& out,
                                            bool& isComment) {
    if (!IsValidContext() || from < 0) return Fail();
    const std::int64_t children = GetChildrenCount();
    CString name;
    int count = 0;
    const char16_t* rest = nullptr;
    if (!ReadFilter(text, name, count, rest)) return Fail();
    if (from >= children) from = children - 1;
    std::int64_t found = -1;
    if (name.IsEmpty()) {
        if (from - count >= 0) found = from - count;
    } else {
        std::int64_t left = count;
        for (std::int64_t i = from; i >= 0; --i) {
            if (NameMatches(name, GetChildName(i)) && left-- == 0) {
                found = i;
                break;
            }
        }
    }
    if (found < 0) return Fail();
    SetChildContext(found);
    if (!IsValidContext()) return Fail();
    return QueryRest(rest, out, isComment);
}

void* CStructQuery::QueryPrevSiblingParameter(const char16_t* text, VARIANT& out, bool& isComment) {
    if (!IsValidContext() || !HasParent()) return Fail();
    const std::int64_t index = GetMyChildIndex();
    SetParentContext();
    return QueryLastChildParameter(text, index - 1, out, isComment);
}

void* CStructQuery::QueryNextSiblingParameter(const char16_t* text, VARIANT& out, bool& isComment) {
    if (!IsValidContext() || !HasParent()) return Fail();
    const std::int64_t index = GetMyChildIndex();
    SetParentContext();
    if (index < 0) return Fail();
    return QueryFirstChildParameter(text, index + 1, out, isComment);
}

CString CStructQuery::ExtractParamName(const char16_t* text, bool keepComment) {
    if (!text) return CString();
    const char16_t* p = text;
    bool sawStep = false;
    while (p[0] == u'@') {
        if (!p[1]) return CString(text); // a bare '@' at the end
        if (keepComment && p[1] == u'?') return CString(p);
        sawStep = true;
        p += 2;
        CString name;
        int count = 0;
        const char16_t* rest = nullptr;
        if (!ReadFilter(p, name, count, rest)) return CString(text);
        p = rest;
    }
    return sawStep ? CString(p) : CString(text);
}

// ---------------------------------------------------------------------------

void CElementStructQuery::SetRootContext() {
    if (m_pElement) SetElement(m_pElement->GetRoot());
}

bool CElementStructQuery::HasParent() {
    return m_pElement && m_pElement->GetParent();
}

void CElementStructQuery::SetParentContext() {
    SetElement(m_pElement ? m_pElement->GetParent() : nullptr);
}

const char16_t* CElementStructQuery::GetName() {
    return m_pElement ? m_pElement->GetName() : u"";
}

std::int64_t CElementStructQuery::GetChildrenCount() {
    return m_pElement ? m_pElement->GetChildCount() : 0;
}

const char16_t* CElementStructQuery::GetChildName(std::int64_t index) {
    const CElement* child = m_pElement ? m_pElement->GetChild(index) : nullptr;
    return child ? child->GetName() : u"";
}

void CElementStructQuery::SetChildContext(std::int64_t index) {
    CElement* child = m_pElement ? m_pElement->GetChild(index) : nullptr;
    SetElement(child);
    if (child) m_nMyIndex = index;
}

std::int64_t CElementStructQuery::GetMyChildIndex() {
    if (m_nMyIndex != -2) return m_nMyIndex;
    const CElement* parent = m_pElement ? m_pElement->GetParent() : nullptr;
    if (!parent) return m_nMyIndex = -1;
    if (m_pCache) {
        const auto hit = m_pCache->find(m_pElement);
        if (hit != m_pCache->end()) return m_nMyIndex = hit->second;
    }
    m_nMyIndex = parent->GetChildIndex(m_pElement);
    if (m_pCache) m_pCache->emplace(m_pElement, m_nMyIndex);
    return m_nMyIndex;
}

void* CElementStructQuery::GetParameterValue(const char16_t* name, VARIANT& out, bool comment) {
    VariantClear(&out);
    CParam* param = m_pElement ? m_pElement->GetParameter(name) : nullptr;
    if (!param) return nullptr;
    out.vt = VT_BSTR;
    out.bstrVal = (comment ? param->m_strComment : param->m_strValue).AllocSysString();
    return param;
}

void* CElementStructQuery::GetSysParamValue(const char16_t* name, VARIANT& out) {
    VariantClear(&out);
    if (m_pElement && _wcsicmp(name, u"@NAME") == 0) {
        out.vt = VT_BSTR;
        out.bstrVal = CString(m_pElement->GetName()).AllocSysString();
    }
    return nullptr;
}

// ---------------------------------------------------------------------------

CParam* ResolveStructuralKey(CElement* element, const char16_t* key, CString& text,
                             CElement** owner, ChildIndexCache* cache) {
    text.Empty();
    CElementStructQuery query(element, cache);
    VARIANT value;
    VariantInit(&value);
    bool isComment = false;
    auto* param = static_cast<CParam*>(query.QuerySystemParameter(key, value, isComment));
    if (param && !isComment) {
        text = param->m_strValue;
    } else if (value.vt == VT_BSTR && value.bstrVal) {
        text = CString(value.bstrVal);
    }
    VariantClear(&value);
    if (owner) *owner = query.WalkFailed() ? nullptr : query.GetElement();
    return param;
}
