#include "tarvex/formula/elementvariables.h"

#include "tarvex/core/exceptions.h"
#include "tarvex/element/element.h"
#include "tarvex/platform/wide.h"

namespace {

constexpr const char16_t* kStdVarKeys[] = {
    nullptr, u"@NAME", u"@DESCRIPTION", u"@GRIP", u"@TYPE", u"@LEVEL", u"@ROWID", u"@ELEMENTID",
};

} // namespace

const char16_t* StdVarKey(EStdVar var) {
    return var >= esvName && var <= esvElementId ? kStdVarKeys[var] : nullptr;
}

int StdVarOfKey(const CString& key) {
    if (key.GetLength() < 5 || key[0] != u'@') return 0;
    for (int i = esvName; i <= esvElementId; ++i)
        if (key == kStdVarKeys[i]) return i;
    return 0;
}

qrksVariablesContainer::~qrksVariablesContainer() {
    Flush();
}

void qrksVariablesContainer::Flush() {
    for (std::int64_t i = 0; i < m_nSlots; ++i) VariantClear(&m_pVarsVector[i]);
    delete[] m_pVarsVector;
    m_pVarsVector = nullptr;
    m_nSlots = 0;
    m_pDirectValues = nullptr;
    m_nDirectCount = 0;
    CVariablesContainer::Flush();
}

void qrksVariablesContainer::InitVarsVector() {
    for (std::int64_t i = 0; i < m_nSlots; ++i) VariantClear(&m_pVarsVector[i]);
    const std::int64_t count = GetVarsCount();
    if (count != m_nSlots) {
        delete[] m_pVarsVector;
        m_pVarsVector = count ? new VARIANT[count] : nullptr;
        m_nSlots = count;
    }
    for (std::int64_t i = 0; i < m_nSlots; ++i) VariantInit(&m_pVarsVector[i]);
    // The evaluator may read plain numbers straight from the slots.
    m_pDirectValues = m_pVarsVector;
    m_nDirectCount = m_nSlots;
}

int qrksVariablesContainer::GetVarValue(std::int64_t index, VARIANT& out) {
    if (index < 0 || index >= GetVarsCount()) return 0;
    KV_CHECK_NOT_NULL(m_pVarsVector);
    if (index >= m_nSlots) return 0;
    VariantCopy(&out, &m_pVarsVector[index]);
    return 1;
}

void qrksVariablesContainer::ClearSlot(std::int64_t index) {
    if (std::uint64_t(index) < std::uint64_t(m_nSlots)) VariantClear(&m_pVarsVector[index]);
}

void qrksVariablesContainer::SetVarValue(std::int64_t index, int value) {
    if (std::uint64_t(index) >= std::uint64_t(m_nSlots)) return;
    VARIANT& slot = m_pVarsVector[index];
    VariantClear(&slot);
    slot.vt = VT_I4;
    slot.lVal = value;
}

void qrksVariablesContainer::SetVarValue(std::int64_t index, double value) {
    if (std::uint64_t(index) >= std::uint64_t(m_nSlots)) return;
    VARIANT& slot = m_pVarsVector[index];
    VariantClear(&slot);
    slot.vt = VT_R8;
    slot.dblVal = value;
}

void qrksVariablesContainer::SetVarValue(std::int64_t index, const char16_t* value) {
    if (std::uint64_t(index) >= std::uint64_t(m_nSlots)) return;
    VARIANT& slot = m_pVarsVector[index];
    VariantClear(&slot);
    slot.vt = VT_BSTR;
    slot.bstrVal = CString(value).AllocSysString();
}

void qrksVariablesContainer::SetVarValue(std::int64_t index, const VARIANT& value) {
    if (std::uint64_t(index) >= std::uint64_t(m_nSlots)) return;
    VARIANT& slot = m_pVarsVector[index];
    VariantClear(&slot);
    VariantCopy(&slot, &value);
}

CString qrksVariablesContainer::GetVarNameOriginal(std::int64_t index) const {
    if (index < 0 || index >= m_List.GetLength()) return CString();
    return m_List[index]->m_strName;
}

void qrksVariablesContainer::StoreText(std::int64_t index, const CString& text) {
    switch (GetVarType(index)) {
    case VT_I4:
        SetVarValue(index, _wtoi(text.GetString()));
        break;
    case VT_R8:
        SetVarValue(index, _wtof(text.GetString()));
        break;
    default:
        SetVarValue(index, text.GetString());
        break;
    }
}

void qrksVariablesContainer::SetVarValues(const CElement* element, StdVarMap* map,
                                          std::int64_t start) {
    if (start == 0) InitVarsVector();
    if (map) map->clear();
    if (!element) return;
    // Resolving reads only, but the walker hands out mutable elements.
    auto* mutableElement = const_cast<CElement*>(element);
    ChildIndexCache siblings;
    CString text;
    for (std::int64_t i = start < 0 ? 0 : start; i < m_List.GetLength(); ++i) {
        const CString& key = m_List[i]->m_strKey;
        switch (StdVarOfKey(key)) {
        case esvName:
            SetVarValue(i, element->GetName());
            continue;
        case esvLevel:
            SetVarValue(i, element->GetLevel());
            continue;
        case esvElementId:
            SetVarValue(i, static_cast<int>(element->GetId()));
            continue;
        case esvDescription:
        case esvGrip:
        case esvType:
        case esvRowId:
            // Filled per run by the host.
            if (map) (*map)[StdVarOfKey(key)] = i;
            continue;
        default:
            break;
        }
        if (key.GetLength() > 0 && key[0] == u'@') {
            ResolveStructuralKey(mutableElement, key.GetString(), text, nullptr, &siblings);
        } else {
            text.Empty();
            for (const CElement* e = element; e; e = e->GetParent()) {
                if (const CParam* param = e->GetParameter(key.GetString())) {
                    text = param->m_strValue;
                    break;
                }
            }
        }
        StoreText(i, text);
    }
}

void qrksVariablesContainer::SetVarValues(const CParamsOwner* owner, StdVarMap* map,
                                          std::int64_t start, MissingCallback callback,
                                          void* data) {
    if (start == 0) InitVarsVector();
    if (map) map->clear();
    for (std::int64_t i = start < 0 ? 0 : start; i < m_List.GetLength(); ++i) {
        const CString& key = m_List[i]->m_strKey;
        if (const int var = StdVarOfKey(key)) {
            if (map) (*map)[var] = i;
            continue;
        }
        const CParam* param = owner ? owner->GetParameter(key.GetString()) : nullptr;
        if (param) {
            StoreText(i, param->m_strValue);
        } else if (!(callback && std::uint64_t(i) < std::uint64_t(m_nSlots) &&
                     callback(m_List[i]->m_strName.GetString(), m_pVarsVector[i], data))) {
            ClearSlot(i);
        }
    }
}
