#include "tarvex/platform/syserror.h"

#include <cerrno>
#include <cstring>

#include "tarvex/platform/codepage.h"
#include "tarvex/platform/hresult.h"

DWORD GetLastError() noexcept {
    return static_cast<DWORD>(errno);
}

void SetLastError(DWORD code) noexcept {
    errno = static_cast<int>(code);
}

namespace {

struct KnownCode {
    HRESULT code;
    const char16_t* text;
};

// The codes the library itself returns, with the system's texts for them.
constexpr KnownCode kKnownCodes[] = {
    {E_NOTIMPL, u"Not implemented\r\n"},
    {E_NOINTERFACE, u"No such interface supported\r\n"},
    {E_POINTER, u"Invalid pointer\r\n"},
    {E_ABORT, u"Operation aborted\r\n"},
    {E_FAIL, u"Unspecified error\r\n"},
    {E_UNEXPECTED, u"Catastrophic failure\r\n"},
    {E_ACCESSDENIED, u"Access is denied.\r\n"},
    {E_HANDLE, u"The handle is invalid.\r\n"},
    {E_OUTOFMEMORY, u"Not enough memory resources are available to complete this operation.\r\n"},
    {E_INVALIDARG, u"The parameter is incorrect.\r\n"},
    {DISP_E_UNKNOWNINTERFACE, u"Unknown interface.\r\n"},
    {DISP_E_MEMBERNOTFOUND, u"Member not found.\r\n"},
    {DISP_E_PARAMNOTFOUND, u"Parameter not found.\r\n"},
    {DISP_E_TYPEMISMATCH, u"Type mismatch.\r\n"},
    {DISP_E_UNKNOWNNAME, u"Unknown name.\r\n"},
    {DISP_E_NONAMEDARGS, u"No named arguments.\r\n"},
    {DISP_E_BADVARTYPE, u"Bad variable type.\r\n"},
    {DISP_E_EXCEPTION, u"Exception occurred.\r\n"},
    {DISP_E_OVERFLOW, u"Out of present range.\r\n"},
    {DISP_E_BADINDEX, u"Invalid index.\r\n"},
    {DISP_E_BADPARAMCOUNT, u"Invalid number of parameters.\r\n"},
    {DISP_E_PARAMNOTOPTIONAL, u"Parameter not optional.\r\n"},
    {DISP_E_DIVBYZERO, u"Division by zero.\r\n"},
    {TYPE_E_ELEMENTNOTFOUND, u"Element not found.\r\n"},
    {REGDB_E_CLASSNOTREG, u"Class not registered\r\n"},
    {CO_E_CLASSSTRING, u"Invalid class string\r\n"},
};

} // namespace

DWORD FormatMessageW(DWORD flags, const void*, DWORD messageId, DWORD, char16_t* buffer, DWORD size,
                     va_list*) noexcept {
    if (!(flags & FORMAT_MESSAGE_FROM_SYSTEM) || !buffer || size == 0) return 0;
    CString text;
    try {
        text = tarvex::SystemMessage(messageId);
    } catch (...) {
        return 0;
    }
    DWORD n = static_cast<DWORD>(text.GetLength());
    if (n == 0 || n >= size) return 0;
    std::memcpy(buffer, text.GetString(), (n + 1) * sizeof(char16_t));
    return n;
}

namespace tarvex {

CString SystemMessage(DWORD code) {
    for (const KnownCode& known : kKnownCodes)
        if (static_cast<DWORD>(known.code) == code) return CString(known.text);
    if (code > 0xFFFF) return CString();
    char buffer[256];
    // The GNU strerror_r returns the text, which may or may not be `buffer`.
    const char* text = strerror_r(static_cast<int>(code), buffer, sizeof buffer);
    if (!text || std::strncmp(text, "Unknown error", 13) == 0) return CString();
    return FromUtf8(text);
}

} // namespace tarvex
