// Case mapping by the library's own table of simple Unicode mappings for the
// Basic Multilingual Plane, the same on every machine and in every locale.
#pragma once

#include "tarvex/platform/types.h"

// Suffixed: overloading towupper by argument type would make a host's own
// towupper(int) calls ambiguous.
char16_t towupper16(char16_t ch) noexcept;
char16_t towlower16(char16_t ch) noexcept;

// In-place mapping of `length` code units.
void TxUpperInPlace(char16_t* text, size_t length) noexcept;
void TxLowerInPlace(char16_t* text, size_t length) noexcept;

// Case-blind comparison: both sides folded to lower case, then compared by
// code unit. A null pointer reads as empty. _wcsicmp returns the difference of
// the first differing folded units; lstrcmpiW returns -1, 0 or 1.
int _wcsicmp(const char16_t* a, const char16_t* b) noexcept;
int _wcsnicmp(const char16_t* a, const char16_t* b, size_t count) noexcept;
int lstrcmpiW(const char16_t* a, const char16_t* b) noexcept;
