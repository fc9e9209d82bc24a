// Where the dictionary's files (and other per-user catalogue files that follow
// its rule) lie: the settings root, with the installation's template as a
// fallback when templates do not already take precedence.
#pragma once

#include "tarvex/platform/cstring.h"

namespace DictionaryFiles {

// `subFolder` and `name` under the settings root (the folder is created).
// Empty when the path cannot be made or reaches `limit` characters.
CString SettingsPath(const char16_t* subFolder, const char16_t* name, int limit = 260);

// The file to read: the team's template when templates take precedence; the
// user's file; otherwise, only when templates do NOT take precedence, the
// installation's template. Empty when there is none.
CString FindFile(const char16_t* subFolder, const char16_t* name);

} // namespace DictionaryFiles
