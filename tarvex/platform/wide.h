// The C library's wide-character routines for char16_t text.
//
// The string routines overload the wchar_t originals by pointer type, so code
// reads as it would with 16-bit wchar_t. Routines whose arguments would make
// an overload ambiguous for a host's own calls, or whose address the standard
// library takes, carry the suffix 16 instead. Numbers are read in the C locale
// (a point, never a comma) whatever locale the host process has set.
#pragma once

#include "tarvex/platform/types.h"

size_t wcslen(const char16_t* s) noexcept;
int wcscmp(const char16_t* a, const char16_t* b) noexcept;
int wcsncmp(const char16_t* a, const char16_t* b, size_t n) noexcept;
const char16_t* wcschr(const char16_t* s, char16_t ch) noexcept;
char16_t* wcschr(char16_t* s, char16_t ch) noexcept;
const char16_t* wcsrchr(const char16_t* s, char16_t ch) noexcept;
const char16_t* wcsstr(const char16_t* s, const char16_t* sub) noexcept;
char16_t* wcscpy(char16_t* dst, const char16_t* src) noexcept;
char16_t* wcsncpy(char16_t* dst, const char16_t* src, size_t n) noexcept;
char16_t* wcscat(char16_t* dst, const char16_t* src) noexcept;

// Character classes of the C locale, widened: digits and spaces are ASCII
// only; iswalpha also accepts the letters that have a case mapping.
bool iswspace16(char16_t ch) noexcept;
bool iswdigit16(char16_t ch) noexcept;
bool iswxdigit16(char16_t ch) noexcept;
bool iswalpha16(char16_t ch) noexcept;
bool iswalnum16(char16_t ch) noexcept;

// Integer reading: leading white space, an optional sign, then digits.
// _wtoi and _wtol saturate at the 32-bit limits; _wtoi64 at the 64-bit ones.
int _wtoi(const char16_t* s) noexcept;
std::int32_t _wtol(const char16_t* s) noexcept;
std::int64_t _wtoi64(const char16_t* s) noexcept;
std::int32_t wcstol16(const char16_t* s, char16_t** end, int base) noexcept;
std::uint32_t wcstoul16(const char16_t* s, char16_t** end, int base) noexcept;
std::int64_t _wcstoi64(const char16_t* s, char16_t** end, int base) noexcept;

// Floating reading: the longest valid prefix, as strtod in the C locale; 0
// when there is none. A comma ends the number.
double wcstod16(const char16_t* s, char16_t** end) noexcept;
double _wtof(const char16_t* s) noexcept;
