// Conversions among UTF-16, UTF-8 and the two single-byte code pages the
// library meets: 1251 (the ANSI code page) and 866 (the OEM code page).
#pragma once

#include <string>
#include <string_view>

#include "tarvex/platform/cstring.h"

constexpr UINT CP_ACP = 0;
constexpr UINT CP_OEMCP = 1;
constexpr UINT CP_UTF8 = 65001;
constexpr UINT CP_WINDOWS_1251 = 1251;
constexpr UINT CP_DOS_866 = 866;

// The familiar buffer calls. A source length of -1 means null-terminated and
// the null is converted too. A destination size of 0 asks for the size needed.
// Characters a single-byte page lacks become `defaultChar` (or '?'), and
// *usedDefault is set. Invalid UTF-8 decodes to U+FFFD. Returns 0 for an
// unknown code page or a destination too small.
int MultiByteToWideChar(UINT codePage, DWORD flags, const char* source, int sourceLength,
                        char16_t* target, int targetSize) noexcept;
int WideCharToMultiByte(UINT codePage, DWORD flags, const char16_t* source, int sourceLength,
                        char* target, int targetSize, const char* defaultChar,
                        BOOL* usedDefault) noexcept;

namespace tarvex {

CString DecodeCodePage(UINT codePage, std::string_view bytes);
std::string EncodeCodePage(UINT codePage, std::u16string_view text);

inline CString FromUtf8(std::string_view bytes) { return DecodeCodePage(CP_UTF8, bytes); }
inline std::string ToUtf8(std::u16string_view text) { return EncodeCodePage(CP_UTF8, text); }

} // namespace tarvex
