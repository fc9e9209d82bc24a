// BSTR: the Automation string. The pointer addresses the characters; the 32-bit
// length in bytes sits just before them and a null character just after, so a
// BSTR reads as a C string yet may hold embedded nulls. A null BSTR means the
// empty string to every call here.
#pragma once

#include "tarvex/platform/types.h"

using BSTR = OLECHAR*;

// Copies up to the terminating null. A null source gives a null BSTR.
BSTR SysAllocString(const OLECHAR* text) noexcept;

// Copies exactly `length` characters, nulls included. A null source gives a
// zero-filled string of that length.
BSTR SysAllocStringLen(const OLECHAR* text, UINT length) noexcept;

// A string of `length` bytes (an odd count is allowed), copied from `bytes`
// or zero-filled when that is null.
BSTR SysAllocStringByteLen(const char* bytes, UINT length) noexcept;

// Replace *target with a copy of `text` and free the old string. The source
// may lie inside *target. They return FALSE, and leave *target alone, when out
// of memory or when `target` is null.
INT SysReAllocString(BSTR* target, const OLECHAR* text) noexcept;
// With a null `text`, the old characters are kept up to the new length and the
// rest is zero-filled.
INT SysReAllocStringLen(BSTR* target, const OLECHAR* text, UINT length) noexcept;

UINT SysStringLen(BSTR text) noexcept;     // characters; 0 for null
UINT SysStringByteLen(BSTR text) noexcept; // bytes; 0 for null
void SysFreeString(BSTR text) noexcept;    // null is allowed
