// The two ways the library reaches the user and the debugger: a message box
// and debugger output. Both go to callbacks that a host may set. Without a
// host's callback a message box writes its caption and text to the log and
// to standard error and answers IDOK; debugger output is dropped.
#pragma once

#include "tarvex/platform/types.h"

using HWND = void*;

// Buttons.
constexpr UINT MB_OK = 0x00000000;
constexpr UINT MB_OKCANCEL = 0x00000001;
constexpr UINT MB_ABORTRETRYIGNORE = 0x00000002;
constexpr UINT MB_YESNOCANCEL = 0x00000003;
constexpr UINT MB_YESNO = 0x00000004;
constexpr UINT MB_RETRYCANCEL = 0x00000005;
// Icons.
constexpr UINT MB_ICONHAND = 0x00000010;
constexpr UINT MB_ICONERROR = MB_ICONHAND;
constexpr UINT MB_ICONSTOP = MB_ICONHAND;
constexpr UINT MB_ICONQUESTION = 0x00000020;
constexpr UINT MB_ICONEXCLAMATION = 0x00000030;
constexpr UINT MB_ICONWARNING = MB_ICONEXCLAMATION;
constexpr UINT MB_ICONASTERISK = 0x00000040;
constexpr UINT MB_ICONINFORMATION = MB_ICONASTERISK;

// Answers.
constexpr int IDOK = 1;
constexpr int IDCANCEL = 2;
constexpr int IDABORT = 3;
constexpr int IDRETRY = 4;
constexpr int IDIGNORE = 5;
constexpr int IDYES = 6;
constexpr int IDNO = 7;

// The host's answer, or IDOK when no host shows message boxes: a caller that
// asks a question therefore never sees IDYES unless someone gave it. `owner`
// is handed to no one.
int MessageBoxW(HWND owner, LPCWSTR text, LPCWSTR caption, UINT type);
void OutputDebugStringW(LPCWSTR text);

namespace tarvex {

using MessageBoxCallback = int (*)(const char16_t* text, const char16_t* caption, UINT type);
using DebugOutputCallback = void (*)(const char16_t* text);

// Null restores the default. Texts passed to the callbacks are never null.
void SetMessageBoxCallback(MessageBoxCallback callback) noexcept;
void SetDebugOutputCallback(DebugOutputCallback callback) noexcept;

} // namespace tarvex
