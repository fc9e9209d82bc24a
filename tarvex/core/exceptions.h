// The library's one failure channel: exceptions thrown by value, carrying a
// message and the code position "Function (Line N)" where they were raised.
#pragma once

#include "tarvex/core/object.h"
#include "tarvex/platform/cstring.h"
#include "tarvex/platform/hresult.h"

class CKVException : public CTarvexObject {
public:
    CKVException() = default;
    CKVException(const char16_t* message, const char16_t* codePos);
    ~CKVException() override = default;

    virtual CString GetMessageW() const { return m_strMessage; }
    virtual CString GetCodePos() const { return m_strCodePos; }
    virtual void SetMessage(const char16_t* text) { m_strMessage = text; }

    // "%s (Line %d)" of a function's qualified name. `function` may be a
    // plain qualified name or a compiler's full signature, whose return type
    // and parameter list are dropped.
    static CString FormatCodePos(const char* function, int line);

    // Sends the text to the debugger output and then to the log as an error.
    static void LogErrorMsg(const char16_t* text);
    // Formats as CString::Format does, then as LogErrorMsg.
    template <class... Args>
    static void LogErrorMsgFmt(const char16_t* format, const Args&... args) {
        CString text;
        text.Format(format, args...);
        LogErrorMsg(text);
    }

protected:
    CString m_strMessage;
    CString m_strCodePos;
};

// A COM failure: the message gains " (description)" from the thread's error
// object or, failing that, from the system text of the code.
class CKVComException : public CKVException {
public:
    CKVComException(HRESULT code, const char16_t* message, const char16_t* codePos);

    HRESULT GetErrorCode() const { return m_nErrorCode; }

protected:
    void RetrieveErrorMessage();

    std::int32_t m_nErrorCode;
};

// An operating-system failure: takes the last error at construction, before
// anything else can change it, and appends its code and system text.
class CKVSysException : public CKVException {
public:
    CKVSysException(const char16_t* message, const char16_t* codePos);

    std::int32_t GetErrorCode() const { return m_nErrorCode; }

protected:
    void RetrieveErrorMessage();

    std::int32_t m_nErrorCode;
};

// Code position of the enclosing function.
#define KV_CODE_POS() CKVException::FormatCodePos(__PRETTY_FUNCTION__, __LINE__)

#define KV_THROW(message) throw CKVException((message), KV_CODE_POS())

// The checked expressions. A failed check throws CKVException whose message
// names the expression as written in the source.
#define KV_CHECK_NOT_NULL(expression)                                                              \
    do {                                                                                           \
        if ((expression) == nullptr)                                                               \
            throw CKVException(u"Expression \"" #expression "\" can''t be NULL", KV_CODE_POS());   \
    } while (0)

#define KV_CHECK(expression)                                                                       \
    do {                                                                                           \
        if (!(expression))                                                                         \
            throw CKVException(u"Expression \"" #expression "\" can''t be false", KV_CODE_POS());  \
    } while (0)

#define KV_CHECK_NOT(expression)                                                                   \
    do {                                                                                           \
        if (expression)                                                                            \
            throw CKVException(u"Expression \"" #expression "\" can''t be true", KV_CODE_POS());   \
    } while (0)
