#include "tarvex/platform/module.h"

#include <climits>
#include <cstring>
#include <dlfcn.h>
#include <unistd.h>

#include "tarvex/platform/codepage.h"

DWORD GetModuleFileNameW(HMODULE module, LPWSTR buffer, DWORD size) noexcept {
    if (!buffer || size == 0) return 0;
    try {
        std::string path;
        if (!module) {
            char exe[PATH_MAX];
            ssize_t n = readlink("/proc/self/exe", exe, sizeof exe - 1);
            if (n <= 0) return 0;
            path.assign(exe, size_t(n));
        } else {
            Dl_info info{};
            if (!dladdr(module, &info) || !info.dli_fname) return 0;
            path = info.dli_fname;
            // A module loaded by a relative name reports it as given.
            if (!path.empty() && path[0] != '/') {
                char resolved[PATH_MAX];
                if (realpath(path.c_str(), resolved)) path = resolved;
            }
        }
        CString wide = tarvex::FromUtf8(path);
        DWORD length = static_cast<DWORD>(wide.GetLength());
        if (length >= size) length = size - 1;
        std::memcpy(buffer, wide.GetString(), length * sizeof(char16_t));
        buffer[length] = 0;
        return length;
    } catch (...) {
        return 0;
    }
}

namespace tarvex {

HMODULE GetLibraryModule() noexcept {
    return reinterpret_cast<HMODULE>(reinterpret_cast<void*>(&GetLibraryModule));
}

} // namespace tarvex
