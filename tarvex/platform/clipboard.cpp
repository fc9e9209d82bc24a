#include "tarvex/platform/clipboard.h"

#include <mutex>

namespace tarvex {

namespace {

std::mutex g_mutex;
ClipboardSetCallback g_set = nullptr;
ClipboardGetCallback g_get = nullptr;

CString& Stored() {
    static CString text;
    return text;
}

} // namespace

void SetClipboardCallbacks(ClipboardSetCallback set, ClipboardGetCallback get) noexcept {
    std::lock_guard<std::mutex> lock(g_mutex);
    g_set = set;
    g_get = get;
}

bool SetClipboardText(const char16_t* text) {
    ClipboardSetCallback set;
    {
        std::lock_guard<std::mutex> lock(g_mutex);
        set = g_set;
        if (!set) {
            Stored() = text;
            return true;
        }
    }
    return set(text ? text : u"");
}

bool GetClipboardText(CString& out) {
    ClipboardGetCallback get;
    {
        std::lock_guard<std::mutex> lock(g_mutex);
        get = g_get;
        if (!get) {
            out = Stored();
            return true;
        }
    }
    return get(out);
}

} // namespace tarvex
