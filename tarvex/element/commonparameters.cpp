#include "tarvex/element/commonparameters.h"

#include "tarvex/core/formulamessages.h"

namespace {

CString Lower(const CString& name) {
    CString key(name);
    key.MakeLower();
    return key;
}

} // namespace

void CCommonParameters::AddParameters(const CParamsOwner& owner) {
    if (!m_bLoaded) {
        m_bLoaded = true;
        m_Params = owner;
        for (int64_t i = 0; i < m_Params.GetParamsCount(); ++i) {
            const CParam* param = m_Params.GetParameter(i);
            const unsigned flags = param->IsCalculated() ? kReadOnly : 0;
            m_Flags.Add(new FlagRecord(Lower(param->m_strName), flags));
        }
        return;
    }
    const CString differ = tarvex::FormulaMessage(121);
    for (int64_t i = m_Params.GetParamsCount() - 1; i >= 0; --i) {
        CParam* param = m_Params.GetParameter(i);
        const CParam* theirs = owner.GetParameter(param->m_strName.GetString());
        if (theirs) {
            if (param->m_strValue != theirs->m_strValue) param->m_strValue = differ;
            if (param->m_strValueComment != theirs->m_strValueComment)
                param->m_strValueComment = differ;
            continue;
        }
        m_Params.RemoveParameter(i);
        if (i < m_Flags.GetLength()) m_Flags.Delete(i);
    }
}

void CCommonParameters::UpdateParameters(bool erase) {
    if (erase)
        for (int64_t i = m_Flags.GetLength() - 1; i >= 0; --i) {
            const CString& name = m_Flags[i]->m_Key;
            if (!m_Params.GetParameter(name.GetString()))
                m_Params.SetParameter(name.GetString(), u"", kParamMarkerErased, u"");
        }
    for (int64_t i = m_Params.GetParamsCount() - 1; i >= 0; --i) {
        CParam* param = m_Params.GetParameter(i);
        if (param->m_strValue.IsEmpty() && param->m_strComment == kParamMarkerErased) continue;
        const int64_t at = m_Flags.Find(Lower(param->m_strName));
        if (at < 0) continue;
        const unsigned flags = m_Flags[at]->m_Value;
        if (flags == 0 || flags == kReadOnly) {
            m_Params.RemoveParameter(i);
        } else if (!(flags & kReadOnly)) {
            if (flags == kValueModified)
                param->m_strComment = kParamMarkerValueSet;
            else if (flags == kCommentModified)
                param->m_strComment = kParamMarkerCommentSet;
        }
    }
}

unsigned CCommonParameters::GetParamFlags(const char16_t* name) const {
    const int64_t at = m_Flags.Find(Lower(CString(name)));
    return at < 0 ? 0 : m_Flags[at]->m_Value;
}

void CCommonParameters::SetParamFlags(const char16_t* name, unsigned bits) {
    const int64_t at = m_Flags.Find(Lower(CString(name)));
    if (at >= 0) m_Flags[at]->m_Value |= bits;
}

// ---------------------------------------------------------------------------

CElementBackup::CElementBackup(const CElement* element) {
    if (element) m_Element.CopyFrom(element);
}

void CElementBackup::ProtectParam(const char16_t* name) {
    CString upper(name);
    upper.MakeUpper();
    if (m_Protected.Find(upper) < 0) m_Protected.Add(new CString(upper));
}

void CElementBackup::RemoveALLParams() {
    RemoveALLParamsExcept(CIndirectArray<CString>());
}

void CElementBackup::RemoveALLParamsExcept(const CIndirectArray<CString>& names) {
    for (int64_t i = m_Element.GetParamsCount() - 1; i >= 0; --i) {
        const CString& upper = m_Element.GetParameter(i)->UpperName();
        if (m_Protected.Find(upper) >= 0) continue;
        bool kept = false;
        for (const CString* name : names) {
            CString key(*name);
            key.MakeUpper();
            if (key == upper) {
                kept = true;
                break;
            }
        }
        if (!kept) m_Element.RemoveParameter(i);
    }
}
