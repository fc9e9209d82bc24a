#include "tarvex/platform/environment.h"

#include <cstdlib>
#include <cstring>

#include "tarvex/platform/codepage.h"
#include "tarvex/platform/wide.h"

DWORD GetEnvironmentVariableW(LPCWSTR name, LPWSTR buffer, DWORD size) noexcept {
    if (!name || !*name) return 0;
    try {
        const char* raw = std::getenv(tarvex::ToUtf8(name).c_str());
        if (!raw) return 0;
        CString value = tarvex::FromUtf8(raw);
        DWORD length = static_cast<DWORD>(value.GetLength());
        if (!buffer || size <= length) return length + 1;
        std::memcpy(buffer, value.GetString(), (length + 1) * sizeof(char16_t));
        return length;
    } catch (...) {
        return 0;
    }
}

BOOL SetEnvironmentVariableW(LPCWSTR name, LPCWSTR value) noexcept {
    if (!name || !*name) return FALSE;
    try {
        std::string narrowName = tarvex::ToUtf8(name);
        if (narrowName.find('=') != std::string::npos) return FALSE;
        int rc = value ? setenv(narrowName.c_str(), tarvex::ToUtf8(value).c_str(), 1)
                       : unsetenv(narrowName.c_str());
        return rc == 0 ? TRUE : FALSE;
    } catch (...) {
        return FALSE;
    }
}
