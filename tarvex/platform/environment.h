// Environment variables as UTF-16 text. The process environment holds UTF-8.
#pragma once

#include "tarvex/platform/types.h"

// The value's length without the terminator when it fits in `size`,
// otherwise the size needed including the terminator; 0 when not set.
DWORD GetEnvironmentVariableW(LPCWSTR name, LPWSTR buffer, DWORD size) noexcept;
// A null value removes the variable.
BOOL SetEnvironmentVariableW(LPCWSTR name, LPCWSTR value) noexcept;
