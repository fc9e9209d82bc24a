// Fixed-width names the library's interfaces are written in. The design's
// `long` is 32 bits everywhere, so LONG is int32_t, never the host's long.
#pragma once

#include <cstddef>
#include <cstdint>

using WCHAR = char16_t;
using LPWSTR = char16_t*;
using LPCWSTR = const char16_t*;
using OLECHAR = char16_t;
using LPOLESTR = OLECHAR*;
using LPCOLESTR = const OLECHAR*;

using BOOL = int;
using BYTE = std::uint8_t;
using WORD = std::uint16_t;
using DWORD = std::uint32_t;
using SHORT = std::int16_t;
using USHORT = std::uint16_t;
using INT = int;
using UINT = unsigned int;
using LONG = std::int32_t;
using ULONG = std::uint32_t;
using LONGLONG = std::int64_t;
using ULONGLONG = std::uint64_t;
using LCID = std::uint32_t;
using LANGID = std::uint16_t;
using DWORD_PTR = std::uintptr_t;

#ifndef TRUE
#define TRUE 1
#endif
#ifndef FALSE
#define FALSE 0
#endif
