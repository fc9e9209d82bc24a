// Internal to the files behind paths.h: the process-wide path state and the
// small text helpers they all use.
#pragma once

#include <string>
#include <vector>

#include "tarvex/core/containers.h"
#include "tarvex/platform/cstring.h"

namespace tarvex::paths {

// Longest program or settings root, and the team settings file name's
// buffer, including the terminator.
constexpr int kRootCapacity = 320;
constexpr int kTeamFileCapacity = 260;
constexpr DWORD kMaxPath = 260;

struct PathState {
    CString programRoot; // ends in '/' when set
    CString settingsRoot;
    CString teamSettingsFile{u"settings.ini"};
    bool useTemplates = false;
    bool masterHost = false;
    CString mainKey;
    CString company{u"Velmark"};
    CString product{u"Tarvex"};
    CSortedIndirectArray<CString> serviceKeys;
    CString helpFile;
    WORD helpValue = 0;
    CString modulePath; // set by tests; empty means ask the loader
};

// Built on first use, so callers in other static initialisers find it ready.
PathState& State();

// Runs the settings initialisation unless it has run; after a failure it
// runs once more, which then settles on the user's folders.
void EnsureSettingsInit();

bool IsSeparator(char16_t ch);
// The index of the last '/' or '\', or -1.
int LastSeparator(const CString& path);
// Appends `part` after one separator. '\' in the part becomes '/', and
// separators at its ends are dropped; a null or empty part appends nothing.
void AppendPart(CString& path, const char16_t* part);
// Copies `path` to `out` when it fits; returns its length, else 0 with `out`
// emptied. An empty path gives 0.
int CopyOut(const CString& path, char16_t* out, DWORD size);

std::string Narrow(const char16_t* text);
CString Widen(const std::string& text);

// The entries of a folder in name order, without "." and "..". A link to a
// folder counts as a folder but is marked, so tree walks can skip it and
// never loop.
struct FolderEntry {
    std::string name;
    bool isFolder = false;
    bool isLink = false;
};
std::vector<FolderEntry> ListFolder(const std::string& folder);

// Case-blind wildcard match ('*', '?'); a mask ending in ".*" also matches
// names without an extension, so "*.*" matches everything.
bool MatchMask(const char16_t* name, const char16_t* mask);

} // namespace tarvex::paths
