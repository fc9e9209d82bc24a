#include "tarvex/core/exceptions.h"

#include <string_view>

#include "tarvex/platform/bstr.h"
#include "tarvex/platform/codepage.h"
#include "tarvex/platform/errorinfo.h"
#include "tarvex/platform/syserror.h"

namespace {

// "void A::B<T>::f(int) const [with T = int]" gives "A::B<T>::f".
std::string_view QualifiedName(std::string_view signature) {
    if (size_t with = signature.find(" [with "); with != std::string_view::npos)
        signature = signature.substr(0, with);
    size_t close = signature.rfind(')');
    if (close == std::string_view::npos) return signature;
    int depth = 0;
    size_t open = close;
    for (;; --open) {
        if (signature[open] == ')')
            ++depth;
        else if (signature[open] == '(' && --depth == 0)
            break;
        if (open == 0) return signature;
    }
    size_t end = open;
    size_t start = end;
    // An operator's symbols would unbalance the angle brackets: step over them.
    std::string_view head = signature.substr(0, end);
    if (size_t op = head.rfind("operator");
        op != std::string_view::npos && head.find_first_of(" ", op) == std::string_view::npos)
        start = op;
    depth = 0;
    while (start > 0) {
        char ch = signature[start - 1];
        if (ch == '>')
            ++depth;
        else if (ch == '<' && depth > 0)
            --depth;
        else if (ch == ' ' && depth == 0)
            break;
        --start;
    }
    return signature.substr(start, end - start);
}

// System texts end in line breaks; the message wants the bare text.
CString TrimControlTail(const char16_t* text, int length) {
    while (length > 0 && text[length - 1] < 32) --length;
    return CString(text, length);
}

CString SystemText(DWORD code) {
    char16_t buffer[254] = {};
    DWORD n = FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
                             code, 0, buffer, 254, nullptr);
    return TrimControlTail(buffer, static_cast<int>(n));
}

} // namespace

CKVException::CKVException(const char16_t* message, const char16_t* codePos)
    : m_strMessage(message), m_strCodePos(codePos) {}

CString CKVException::FormatCodePos(const char* function, int line) {
    CString result = tarvex::FromUtf8(QualifiedName(function ? function : ""));
    result.AppendFormat(u" (Line %d)", line);
    return result;
}

CKVComException::CKVComException(HRESULT code, const char16_t* message, const char16_t* codePos)
    : CKVException(message, codePos), m_nErrorCode(code) {
    RetrieveErrorMessage();
}

void CKVComException::RetrieveErrorMessage() {
    CString description;
    IErrorInfo* errorInfo = nullptr;
    if (GetErrorInfo(0, &errorInfo) == S_OK && errorInfo) {
        BSTR text = nullptr;
        if (SUCCEEDED(errorInfo->GetDescription(&text)) && text)
            description = CString(text, static_cast<int>(SysStringLen(text)));
        SysFreeString(text);
        errorInfo->Release();
    } else {
        description = SystemText(static_cast<DWORD>(m_nErrorCode));
        if (!description.IsEmpty()) description += u". ";
        description.AppendFormat(u"Error code 0x%x.", m_nErrorCode);
    }
    m_strMessage.AppendFormat(u" (%s)", description);
}

CKVSysException::CKVSysException(const char16_t* message, const char16_t* codePos)
    : m_nErrorCode(static_cast<std::int32_t>(GetLastError())) {
    // The members are assigned after the code is taken: copying the texts
    // may allocate, and an allocation may change the last error.
    m_strMessage = message;
    m_strCodePos = codePos;
    RetrieveErrorMessage();
}

void CKVSysException::RetrieveErrorMessage() {
    CString text = SystemText(static_cast<DWORD>(m_nErrorCode));
    if (text.IsEmpty())
        m_strMessage.AppendFormat(u"\nКод ошибки 0x%X", m_nErrorCode);
    else
        m_strMessage.AppendFormat(u"\nКод ошибки 0x%X (%s)", m_nErrorCode, text);
}
