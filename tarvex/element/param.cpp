#include "tarvex/element/param.h"

#include "tarvex/platform/wide.h"

CParam::CParam(const char16_t* name, const char16_t* value, const char16_t* comment,
               const char16_t* valueComment)
    : m_strName(name), m_strUpperName(m_strName), m_strComment(comment),
      m_strValueComment(valueComment), m_strValue(value) {
    m_strUpperName.MakeUpper();
}

void CParam::setName(const char16_t* name) {
    m_strName = name;
    m_strUpperName.Empty();
}

const CString& CParam::UpperName() const {
    if (m_strUpperName.IsEmpty() && !m_strName.IsEmpty()) {
        m_strUpperName = m_strName;
        m_strUpperName.MakeUpper();
    }
    return m_strUpperName;
}

bool CParam::IsErased() const {
    return m_strValue.IsEmpty() && m_strComment == kParamMarkerErased;
}

bool CParam::IsCalculated() const {
    int position;
    return IsFormulaText(m_strValueComment, position);
}

bool CParam::IsFormulaText(const char16_t* text, int& position) {
    position = 0;
    if (!text) return false;
    while (text[position] >= 1 && text[position] <= 32) ++position;
    if (text[position] != u'=') return false;
    ++position;
    return true;
}

CParamUnmanaged::CParamUnmanaged(const char16_t* name, const char16_t* value,
                                 const char16_t* comment, const char16_t* valueComment)
    : m_strName(name), m_strValue(value), m_strValueComment(valueComment), m_strComment(comment) {}
