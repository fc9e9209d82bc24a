// Listing of settings files: the user's files merged over the templates that
// ship with the installation or the team folder.
#pragma once

#include "tarvex/core/containers.h"
#include "tarvex/platform/cstring.h"

class CSettingsFileEntry : public CTarvexObject {
public:
    CSettingsFileEntry() = default;
    CSettingsFileEntry(const char16_t* path, const TArrayTemplate<CString>& pathParts);
    ~CSettingsFileEntry() override = default;

    // Up to the last separator ('/' or '\'), or empty when there is none.
    CString GetFolderPath() const;
    // What follows the last separator.
    CString GetFileName() const;
    // The file name without what follows its last point.
    CString GetFileTitle() const;
    // Same number of parts, each equal by code unit.
    bool IsPathEqual(const TArrayTemplate<CString>& parts) const;

    // The file's full path.
    CString m_strPath;
    // The folders between the settings root (or the template root) and the
    // file, outermost first.
    TArrayTemplate<CString> m_aPathParts{1, 10, -8};
};

// Adds to `entries` the settings files under `subFolder` that match `mask`
// (wildcards '*' and '?', case-blind; null means "*.*"): those of the
// template settings folder first, then those of the settings root, each
// folder's files in name order and, with `recursive`, its subfolders after
// them. A settings-root file with the same name and path parts as a template
// file takes that template's place in the list. Entries already in the array
// are left alone. Returns the number of entries added.
int64_t GetSettingsFiles(const char16_t* subFolder, const char16_t* mask,
                         CIndirectArray<CSettingsFileEntry>& entries, bool recursive);
