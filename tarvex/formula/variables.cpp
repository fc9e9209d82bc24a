#include "tarvex/formula/variables.h"

#include "tarvex/formula/syntaxerror.h"
#include "tarvex/platform/casemap.h"

unsigned short CVariablesContainerBase::GetVarType(const char16_t* name) {
    const std::int64_t index = GetVarIndex(name);
    if (index == -1) return VT_NULL;
    if (index == -2) return VT_EMPTY;
    return GetVarType(index);
}

// ---------------------------------------------------------------------------

CVariablesContainer::CVariablesContainer() : m_Sorted(8, 8, false), m_List(8, 8, true) {}

void CVariablesContainer::Flush() {
    m_Sorted.Clear();
    m_List.Clear();
}

std::int64_t CVariablesContainer::FindKey(const CString& key) const {
    CVarInfo probe;
    probe.m_strKey = key;
    const std::int64_t at = m_Sorted.Find(probe);
    return at < 0 ? -1 : m_Sorted[at]->m_nIndex;
}

std::int64_t CVariablesContainer::GetVarIndex(const char16_t* name) {
    CString key(name);
    key.MakeUpper();
    return FindKey(key);
}

std::int64_t CVariablesContainer::CreateVarIndex(const char16_t* name, unsigned short type,
                                                 bool strict) {
    CString key(name);
    key.MakeUpper();
    const std::int64_t found = FindKey(key);
    if (found >= 0) {
        if (strict && m_List[found]->m_nType != type) {
            CString text;
            text.Format(u"Переопределение типа параметра \"%s\" недопустимо.", name ? name : u"");
            throw CSyntaxError(text.GetString());
        }
        return found;
    }
    auto* info = new CVarInfo;
    info->m_strKey = key;
    info->m_strName = name;
    info->m_nIndex = m_List.GetLength();
    info->m_nType = type;
    m_List.Add(info);
    m_Sorted.Add(info);
    return info->m_nIndex;
}

CString CVariablesContainer::GetVarName(std::int64_t index) {
    return m_List[index]->m_strKey;
}

unsigned short CVariablesContainer::GetVarType(std::int64_t index) {
    if (index < 0 || index >= m_List.GetLength()) return VT_NULL;
    return m_List[index]->m_nType;
}

bool CVariablesContainer::RenameVar(const char16_t* oldName, const char16_t* newName) {
    if (GetVarIndex(newName) >= 0) return false;
    CString oldKey(oldName);
    oldKey.MakeUpper();
    CVarInfo probe;
    probe.m_strKey = oldKey;
    const std::int64_t at = m_Sorted.Find(probe);
    if (at < 0) return false;
    CVarInfo* info = m_Sorted[at];
    m_Sorted.Delete(at);
    info->m_strKey = newName;
    info->m_strName = newName;
    m_Sorted.Add(info);
    return true;
}

// ---------------------------------------------------------------------------

CValueVariablesContainer::~CValueVariablesContainer() {
    for (VARIANT& v : m_Values) VariantClear(&v);
}

void CValueVariablesContainer::Flush() {
    for (VARIANT& v : m_Values) VariantClear(&v);
    m_Values.clear();
    m_pDirectValues = nullptr;
    m_nDirectCount = 0;
    CVariablesContainer::Flush();
}

std::int64_t CValueVariablesContainer::CreateVarIndex(const char16_t* name, unsigned short type,
                                                      bool strict) {
    const std::int64_t index = CVariablesContainer::CreateVarIndex(name, type, strict);
    while (std::int64_t(m_Values.size()) <= index) {
        VARIANT empty;
        VariantInit(&empty);
        m_Values.push_back(empty);
    }
    m_pDirectValues = m_Values.data();
    m_nDirectCount = std::int64_t(m_Values.size());
    return index;
}

int CValueVariablesContainer::GetVarValue(std::int64_t index, VARIANT& out) {
    if (index < 0 || index >= std::int64_t(m_Values.size())) return 0;
    const VARIANT& value = m_Values[size_t(index)];
    if (value.vt == VT_EMPTY) return 0;
    // Plain numbers are the common case: no call, no type switch.
    if (value.vt == VT_R8 || value.vt == VT_I4 || value.vt == VT_BOOL) {
        out = value;
        return 1;
    }
    return SUCCEEDED(VariantCopy(&out, &value)) ? 1 : 0;
}

std::int64_t CValueVariablesContainer::SetValue(const char16_t* name, const VARIANT& value) {
    const std::int64_t index = CreateVarIndex(name, value.vt, false);
    SetValue(index, value);
    return index;
}

void CValueVariablesContainer::SetValue(std::int64_t index, const VARIANT& value) {
    if (index < 0 || index >= std::int64_t(m_Values.size())) return;
    VariantCopy(&m_Values[size_t(index)], &value);
}

void CValueVariablesContainer::SetRealSlot(std::int64_t index, double value) {
    if (index < 0 || index >= std::int64_t(m_Values.size())) return;
    VARIANT& slot = m_Values[size_t(index)];
    if (slot.vt != VT_R8) {
        VariantClear(&slot);
        slot.vt = VT_R8;
    }
    slot.dblVal = value;
}

// ---------------------------------------------------------------------------

CTXFunctionVariable::CTXFunctionVariable(const char16_t* name) : m_strName(name) {
    VariantInit(&m_Value);
}

CTXFunctionVariable::CTXFunctionVariable(const CTXFunctionVariable& other)
    : CFunctionObjectBase(), m_strName(other.m_strName) {
    VariantInit(&m_Value);
    VariantCopy(&m_Value, &other.m_Value);
}

CTXFunctionVariable::~CTXFunctionVariable() {
    VariantClear(&m_Value);
}

void CTXFunctionVariable::GetValue(VARIANT& out) const {
    VariantCopy(&out, &m_Value);
}

void CTXFunctionVariable::SetValue(const VARIANT& value) {
    if (&value == &m_Value) return;
    VariantClear(&m_Value);
    VariantCopy(&m_Value, &value);
}

void CTXFunctionVariable::ResetValue() {
    VariantClear(&m_Value);
}

void CTXFunctionVariable::GetValueCheck(VARIANT& out) const {
    if (m_Value.vt == VT_EMPTY) {
        CString text;
        text.Format(u"Использование неинициализированной переменной \"%s\"", m_strName.GetString());
        throw CSyntaxError(text.GetString());
    }
    VariantCopy(&out, &m_Value);
}

namespace {

HRESULT ValueMemberOnly(LPOLESTR* names, UINT count, DISPID* ids) {
    HRESULT hr = S_OK;
    for (UINT i = 0; i < count; ++i) {
        if (names && names[i] && _wcsicmp(names[i], u"value") == 0) {
            if (ids) ids[i] = 0;
        } else {
            if (ids) ids[i] = DISPID_UNKNOWN;
            hr = E_FAIL;
        }
    }
    return hr;
}

} // namespace

HRESULT CTXFunctionVariable::GetIDsOfNames(REFIID, LPOLESTR* names, UINT count, LCID, DISPID* ids) {
    return ValueMemberOnly(names, count, ids);
}

HRESULT CTXFunctionVariable::Invoke(DISPID id, REFIID, LCID, WORD, DISPPARAMS*, VARIANT* result,
                                    EXCEPINFO*, UINT*) {
    if (id != 0) return E_FAIL;
    if (result) {
        VariantClear(result);
        GetValueCheck(*result);
    }
    return S_OK;
}

HRESULT CTXElementContext::GetIDsOfNames(REFIID, LPOLESTR* names, UINT count, LCID, DISPID* ids) {
    return ValueMemberOnly(names, count, ids);
}
