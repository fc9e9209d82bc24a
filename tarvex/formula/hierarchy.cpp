#include "tarvex/formula/hierarchy.h"

#include <algorithm>

#include "tarvex/core/formulamessages.h"

HRESULT CFunctionHierarchyProvider::CHierarchyObject::Invoke(DISPID id, REFIID, LCID, WORD,
                                                             DISPPARAMS* params, VARIANT* result,
                                                             EXCEPINFO*, UINT*) {
    if (id != 1) return E_FAIL;
    if (ArgCount(params) != 0) return E_INVALIDARG;
    IDispatch* element = GetElement();
    if (result) {
        VariantClear(result);
        result->vt = VT_DISPATCH;
        result->pdispVal = element; // GetElement's reference
    } else if (element) {
        element->Release();
    }
    return S_OK;
}

const TXFunctionObjects::CFunctionObjectBase::CMember*
CFunctionHierarchyProvider::CHierarchyObject::GetMembers(std::size_t& count) const {
    static const CMember kMembers[] = {{u"Element", 1}};
    count = 1;
    return kMembers;
}

CFunctionHierarchyCache::~CFunctionHierarchyCache() {
    Flush();
}

void CFunctionHierarchyCache::Flush() {
    if (m_Entries.empty() && m_strError.IsEmpty()) return; // every count flushes: most have nothing
    for (CEntry& entry : m_Entries) entry.object->Release();
    m_Entries.clear();
    m_strError.Empty();
}

bool CFunctionHierarchyCache::GetHierarchy(const char16_t* name, IDispatch* context,
                                           IDispatch** result) {
    if (!m_pProvider || !result) {
        m_strError = tarvex::FormulaMessage(161);
        return false;
    }
    *result = nullptr;
    CString key(name);
    key.MakeUpper();
    auto at = std::lower_bound(m_Entries.begin(), m_Entries.end(), key,
                               [](const CEntry& e, const CString& k) { return e.key < k; });
    if (at != m_Entries.end() && at->key == key) {
        at->object->AddRef();
        *result = at->object;
        return true;
    }
    IDispatch* object = nullptr;
    CString error;
    if (!m_pProvider->GetHierarchy(name, context, &object, error) || !object) {
        if (object) object->Release();
        // The provider's reason, then the name it was asked for.
        m_strError = error;
        if (!m_strError.IsEmpty()) m_strError += u" ";
        m_strError.AppendFormat(u"(%s)", name ? name : u"");
        return false;
    }
    m_Entries.insert(at, CEntry{key, object}); // the provider's reference
    object->AddRef();
    *result = object;
    return true;
}
