#include "tarvex/core/settingsfiles.h"

#include <string>
#include <unordered_map>

#include "tarvex/core/paths.h"
#include "tarvex/core/paths_internal.h"

using namespace tarvex::paths;

CSettingsFileEntry::CSettingsFileEntry(const char16_t* path,
                                       const TArrayTemplate<CString>& pathParts)
    : m_strPath(path) {
    // Added one by one: assignment would take the source's growth settings.
    for (const CString& part : pathParts) m_aPathParts.Add(part);
}

namespace {

// The files of `folder` matching `mask`, then (with `recursive`) those of its
// subfolders, each folder in name order. `parts` are the folders between the
// root of the walk and `folder`.
void Collect(const CString& folder, TArrayTemplate<CString>& parts, const char16_t* mask,
             bool recursive, CIndirectArray<CSettingsFileEntry>& entries) {
    const std::vector<FolderEntry> listing = ListFolder(Narrow(folder));
    for (const FolderEntry& item : listing) {
        if (item.isFolder) continue;
        const CString name = Widen(item.name);
        if (!MatchMask(name, mask)) continue;
        CString path = folder;
        AppendPart(path, name);
        entries.Add(new CSettingsFileEntry(path, parts));
    }
    if (!recursive) return;
    for (const FolderEntry& item : listing) {
        if (!item.isFolder || item.isLink) continue;
        const CString name = Widen(item.name);
        CString path = folder;
        AppendPart(path, name);
        parts.Add(name);
        Collect(path, parts, mask, true, entries);
        parts.DeleteLast();
    }
}

// Name and path parts in one text; '/' cannot occur inside either.
std::u16string MergeKey(const CSettingsFileEntry& entry) {
    std::u16string key;
    for (const CString& part : entry.m_aPathParts) {
        key += part.View();
        key += u'/';
    }
    key += entry.GetFileName().View();
    return key;
}

} // namespace

CString CSettingsFileEntry::GetFolderPath() const {
    const int last = LastSeparator(m_strPath);
    return last < 0 ? CString() : m_strPath.Left(last);
}

CString CSettingsFileEntry::GetFileName() const {
    return m_strPath.Mid(LastSeparator(m_strPath) + 1);
}

CString CSettingsFileEntry::GetFileTitle() const {
    const CString name = GetFileName();
    const int point = name.ReverseFind(u'.');
    return point < 0 ? name : name.Left(point);
}

bool CSettingsFileEntry::IsPathEqual(const TArrayTemplate<CString>& parts) const {
    if (parts.GetLength() != m_aPathParts.GetLength()) return false;
    for (int64_t i = 0; i < parts.GetLength(); ++i)
        if (parts[i] != m_aPathParts[i]) return false;
    return true;
}

int64_t GetSettingsFiles(const char16_t* subFolder, const char16_t* mask,
                         CIndirectArray<CSettingsFileEntry>& entries, bool recursive) {
    try {
        if (!mask) mask = u"*.*";
        // The subfolder's own folders are path parts too: parts count from
        // the root, not from the folder listed.
        TArrayTemplate<CString> parts(1, 10, -8);
        CString relative;
        AppendPart(relative, subFolder);
        int start = 0;
        for (CString part = relative.Tokenize(u"/", start); start >= 0;
             part = relative.Tokenize(u"/", start))
            parts.Add(part);

        const int64_t first = entries.GetLength();
        char16_t buffer[kRootCapacity + kMaxPath];
        if (GetTemplateSettingsPath(buffer, subFolder, kRootCapacity + kMaxPath))
            Collect(buffer, parts, mask, recursive, entries);
        const int64_t templatesEnd = entries.GetLength();

        EnsureSettingsInit();
        CString userFolder = State().settingsRoot;
        if (userFolder.IsEmpty()) return templatesEnd - first;
        AppendPart(userFolder, subFolder);
        CIndirectArray<CSettingsFileEntry> userEntries(0, 16, true, -8);
        Collect(userFolder, parts, mask, recursive, userEntries);

        std::unordered_map<std::u16string, int64_t> templates;
        for (int64_t i = first; i < templatesEnd; ++i) templates.emplace(MergeKey(*entries[i]), i);
        for (int64_t i = 0; i < userEntries.GetLength(); ++i) {
            CSettingsFileEntry* entry = userEntries[i];
            const auto found = templates.find(MergeKey(*entry));
            if (found == templates.end()) {
                entries.Add(entry);
            } else {
                // Replaced in place and deleted here whatever the array's
                // ownership: the caller never saw the template's entry.
                CSettingsFileEntry* replaced = entries[found->second];
                entries[found->second] = entry;
                delete replaced;
            }
            userEntries[i] = nullptr;
        }
        return entries.GetLength() - first;
    } catch (...) {
        return 0;
    }
}
