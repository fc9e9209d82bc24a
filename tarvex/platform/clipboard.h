// The text clipboard: the host's, when it provides one, otherwise a text
// kept inside the process.
#pragma once

#include "tarvex/platform/cstring.h"

namespace tarvex {

using ClipboardSetCallback = bool (*)(const char16_t* text);
using ClipboardGetCallback = bool (*)(CString& out);

// Both null returns to the in-process clipboard.
void SetClipboardCallbacks(ClipboardSetCallback set, ClipboardGetCallback get) noexcept;

bool SetClipboardText(const char16_t* text);
bool GetClipboardText(CString& out);

} // namespace tarvex
