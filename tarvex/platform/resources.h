// String resources: compiled-in tables by id and language, and the user's
// language taken from the environment.
#pragma once

#include "tarvex/platform/cstring.h"

constexpr LANGID kLangEnglish = 1033;
constexpr LANGID kLangRussian = 1049;

// Russian for LC_ALL, LC_MESSAGES or LANG (the first set) beginning with
// "ru", otherwise English.
LANGID GetUserDefaultLangID() noexcept;

namespace tarvex {

struct ResourceString {
    UINT id;
    LANGID language;
    const char16_t* text;
};

// A subsystem adds its table once, at static initialisation or before use;
// the table must outlive the process's use of it.
void RegisterResourceStrings(const ResourceString* table, size_t count);

// The string of `id` in `language` (the user's when 0), falling back to
// English; empty when there is none.
CString LoadResourceString(UINT id, LANGID language = 0);

} // namespace tarvex
