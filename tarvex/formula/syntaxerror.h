// CSyntaxError: the one exception of the formula language.
#pragma once

#include "tarvex/core/exceptions.h"

class CSyntaxError : public CKVException {
public:
    // The bare text; line and position 0.
    explicit CSyntaxError(const char16_t* text);
    // Message `id`, with " (extra)" appended when `extra` is not empty.
    explicit CSyntaxError(unsigned id, const char16_t* extra = nullptr);
    // "Ошибка в выражении: ..." with the line and position of the fault.
    CSyntaxError(const char16_t* text, int line, int position);
    CSyntaxError(unsigned id, int line, int position);

    // Moving hands the error on without logging it a second time.
    CSyntaxError(CSyntaxError&&) noexcept = default;
    CSyntaxError& operator=(CSyntaxError&&) noexcept = default;
    CSyntaxError(const CSyntaxError&) = default;
    CSyntaxError& operator=(const CSyntaxError&) = default;

    int GetLine() const { return m_nLine; }
    int GetPosition() const { return m_nPosition; }
    // The message without the line and position frame.
    const CString& GetText() const { return m_strText; }

private:
    void Frame();

    int m_nLine = 0;
    int m_nPosition = 0;
    CString m_strText;
};
