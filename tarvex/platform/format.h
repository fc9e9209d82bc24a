// The printf-style formatter behind CString::Format, for code that builds
// text into an existing string.
//
// Conversions: d i u x X o c s S f F e E g G a A p %, with flags, width,
// precision and `*`. Sizes: hh h l ll I64 I32 I z j t L. `%s` and `%ls` take
// const char16_t*, `%S` and `%hs` take UTF-8 const char*; `%ld` reads 32 bits.
#pragma once

#include <cstdarg>

#include "tarvex/platform/cstring.h"

namespace tarvex {

void AppendFormatted(CString& out, const char16_t* format, va_list args);

} // namespace tarvex
