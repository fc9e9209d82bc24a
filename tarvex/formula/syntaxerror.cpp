#include "tarvex/formula/syntaxerror.h"

#include "tarvex/core/formulamessages.h"

CSyntaxError::CSyntaxError(const char16_t* text) : m_strText(text) {
    m_strMessage = m_strText;
    LogErrorMsg(m_strMessage);
}

CSyntaxError::CSyntaxError(unsigned id, const char16_t* extra)
    : m_strText(tarvex::FormulaMessage(id)) {
    m_strMessage = m_strText;
    if (extra && *extra) m_strMessage.AppendFormat(u" (%s)", extra);
    LogErrorMsg(m_strMessage);
}

CSyntaxError::CSyntaxError(const char16_t* text, int line, int position)
    : m_nLine(line), m_nPosition(position), m_strText(text) {
    Frame();
}

CSyntaxError::CSyntaxError(unsigned id, int line, int position)
    : m_nLine(line), m_nPosition(position), m_strText(tarvex::FormulaMessage(id)) {
    Frame();
}

void CSyntaxError::Frame() {
    m_strMessage.Format(u"Ошибка в выражении: \"%s\" (строка %d, позиция %d)",
                        m_strText.GetString(), m_nLine, m_nPosition);
    LogErrorMsg(m_strMessage);
}
