#include "tarvex/core/hostui.h"

#include <atomic>
#include <cstdio>
#include <string>

#include "tarvex/core/log.h"
#include "tarvex/platform/codepage.h"

namespace {

std::atomic<tarvex::MessageBoxCallback> g_messageBox{nullptr};
std::atomic<tarvex::DebugOutputCallback> g_debugOutput{nullptr};

const char16_t* OrEmpty(const char16_t* text) {
    return text ? text : u"";
}

} // namespace

int MessageBoxW(HWND, LPCWSTR text, LPCWSTR caption, UINT type) {
    text = OrEmpty(text);
    caption = OrEmpty(caption);
    if (tarvex::MessageBoxCallback callback = g_messageBox.load(std::memory_order_acquire))
        return callback(text, caption, type);

    // No one to show it to: keep it where someone may read it later.
    CString message;
    if (*caption)
        message.Format(u"%s: %s", caption, text);
    else
        message = text;
    CTXLog::Line(message);
    std::string bytes = tarvex::ToUtf8(message.View());
    bytes += '\n';
    std::fwrite(bytes.data(), 1, bytes.size(), stderr);
    std::fflush(stderr);
    return IDOK;
}

void OutputDebugStringW(LPCWSTR text) {
    if (tarvex::DebugOutputCallback callback = g_debugOutput.load(std::memory_order_acquire))
        callback(OrEmpty(text));
}

namespace tarvex {

void SetMessageBoxCallback(MessageBoxCallback callback) noexcept {
    g_messageBox.store(callback, std::memory_order_release);
}

void SetDebugOutputCallback(DebugOutputCallback callback) noexcept {
    g_debugOutput.store(callback, std::memory_order_release);
}

} // namespace tarvex
