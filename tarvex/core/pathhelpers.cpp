// File system helpers of paths.h, and the text helpers the path files share.
#include <algorithm>
#include <cerrno>
#include <dirent.h>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

#include "tarvex/core/paths.h"
#include "tarvex/core/paths_internal.h"
#include "tarvex/platform/casemap.h"
#include "tarvex/platform/codepage.h"
#include "tarvex/platform/wide.h"

namespace fs = std::filesystem;

namespace tarvex::paths {

bool IsSeparator(char16_t ch) {
    return ch == u'/' || ch == u'\\';
}

int LastSeparator(const CString& path) {
    for (int i = path.GetLength() - 1; i >= 0; --i)
        if (IsSeparator(path[i])) return i;
    return -1;
}

void AppendPart(CString& path, const char16_t* part) {
    if (!part) return;
    CString clean(part);
    clean.Replace(u'\\', u'/');
    clean.Trim(u'/');
    if (clean.IsEmpty()) return;
    if (!path.IsEmpty() && !IsSeparator(path[path.GetLength() - 1])) path += u'/';
    path += clean;
}

int CopyOut(const CString& path, char16_t* out, DWORD size) {
    if (!out || size == 0) return 0;
    if (path.IsEmpty() || DWORD(path.GetLength()) >= size) {
        out[0] = 0;
        return 0;
    }
    wcscpy(out, path.GetString());
    return path.GetLength();
}

std::string Narrow(const char16_t* text) {
    return text ? tarvex::ToUtf8(std::u16string_view(text)) : std::string();
}

CString Widen(const std::string& text) {
    return tarvex::FromUtf8(text);
}

std::vector<FolderEntry> ListFolder(const std::string& folder) {
    std::vector<FolderEntry> entries;
    DIR* dir = opendir(folder.c_str());
    if (!dir) return entries;
    while (const dirent* item = readdir(dir)) {
        std::string name = item->d_name;
        if (name == "." || name == "..") continue;
        FolderEntry entry{name};
        const std::string full = folder + '/' + name;
        struct stat info {};
        if (lstat(full.c_str(), &info) != 0) continue;
        if (S_ISLNK(info.st_mode)) {
            entry.isLink = true;
            if (stat(full.c_str(), &info) != 0) continue; // dangling
        }
        entry.isFolder = S_ISDIR(info.st_mode);
        entries.push_back(std::move(entry));
    }
    closedir(dir);
    std::sort(entries.begin(), entries.end(),
              [](const FolderEntry& a, const FolderEntry& b) { return a.name < b.name; });
    return entries;
}

namespace {

bool MatchFrom(const char16_t* name, const char16_t* mask, size_t maskLength) {
    const char16_t* end = mask + maskLength;
    const char16_t* star = nullptr;
    const char16_t* resume = nullptr;
    while (*name) {
        if (mask < end && *mask == u'*') {
            star = mask++;
            resume = name;
        } else if (mask < end && (*mask == u'?' || towlower16(*mask) == towlower16(*name))) {
            ++mask;
            ++name;
        } else if (star) {
            mask = star + 1;
            name = ++resume;
        } else {
            return false;
        }
    }
    while (mask < end && *mask == u'*') ++mask;
    return mask == end;
}

} // namespace

bool MatchMask(const char16_t* name, const char16_t* mask) {
    if (!mask || !*mask) return true;
    const size_t length = wcslen(mask);
    if (MatchFrom(name, mask, length)) return true;
    return length >= 2 && mask[length - 2] == u'.' && mask[length - 1] == u'*' &&
           MatchFrom(name, mask, length - 2);
}

} // namespace tarvex::paths

using namespace tarvex::paths;

namespace {

bool IsEmptyText(const char16_t* text) {
    return !text || !*text;
}

bool StatPath(const char16_t* path, struct stat& info) {
    return !IsEmptyText(path) && stat(Narrow(path).c_str(), &info) == 0;
}

// The first file in `folder` matching `mask`, and with `recursive` in its
// subfolders after it; links to folders are not followed.
bool FindFile(const std::string& folder, const char16_t* mask, bool recursive, CString& out) {
    const std::vector<FolderEntry> entries = ListFolder(folder);
    for (const FolderEntry& entry : entries) {
        if (entry.isFolder || !MatchMask(Widen(entry.name), mask)) continue;
        out = Widen(folder + '/' + entry.name);
        return true;
    }
    if (!recursive) return false;
    for (const FolderEntry& entry : entries)
        if (entry.isFolder && !entry.isLink && FindFile(folder + '/' + entry.name, mask, true, out))
            return true;
    return false;
}

std::string TrimmedFolder(const char16_t* folder) {
    std::string text = Narrow(folder);
    while (text.size() > 1 && text.back() == '/') text.pop_back();
    return text;
}

} // namespace

CString GetHostName() {
    char name[256] = {};
    if (gethostname(name, sizeof name - 1) != 0) return CString();
    return Widen(name);
}

bool CheckFileExists(const char16_t* path) {
    struct stat info {};
    return StatPath(path, info) && !S_ISDIR(info.st_mode);
}

bool CheckPathExists(const char16_t* path) {
    if (IsEmptyText(path)) return false;
    DIR* dir = opendir(Narrow(path).c_str());
    if (!dir) return false;
    closedir(dir);
    return true;
}

bool CheckIsDirectoryWritable(const char16_t* path) {
    if (IsEmptyText(path)) return false;
    std::string name = TrimmedFolder(path) + "/tmpXXXXXX";
    const int fd = mkstemp(name.data());
    if (fd < 0) return false;
    close(fd);
    unlink(name.c_str());
    return true;
}

BOOL DeletePath(const char16_t* path) {
    if (IsEmptyText(path)) return FALSE;
    try {
        std::error_code error;
        const auto removed = fs::remove_all(fs::path(Narrow(path)), error);
        return !error && removed > 0 && removed != static_cast<std::uintmax_t>(-1);
    } catch (...) {
        return FALSE;
    }
}

BOOL DeleteFileByPath(const char16_t* path) {
    if (IsEmptyText(path)) return FALSE;
    const std::string name = Narrow(path);
    struct stat info {};
    if (lstat(name.c_str(), &info) != 0 || S_ISDIR(info.st_mode)) return FALSE;
    return unlink(name.c_str()) == 0;
}

BOOL CleanDirectory(const char16_t* path) {
    if (!CheckPathExists(path)) return FALSE;
    try {
        const std::string folder = TrimmedFolder(path);
        BOOL clean = TRUE;
        for (const FolderEntry& entry : ListFolder(folder)) {
            std::error_code error;
            fs::remove_all(fs::path(folder + '/' + entry.name), error);
            if (error) clean = FALSE;
        }
        return clean;
    } catch (...) {
        return FALSE;
    }
}

BOOL CreatePath(const char16_t* path, const void* /*security*/) {
    if (IsEmptyText(path)) return FALSE;
    try {
        std::string target = TrimmedFolder(path);
        struct stat info {};
        if (stat(target.c_str(), &info) == 0) return S_ISDIR(info.st_mode);
        // Walk back to the nearest folder that exists, then make the rest
        // going forward.
        std::vector<size_t> missing{target.size()};
        for (size_t cut = target.rfind('/'); cut != std::string::npos && cut > 0;
             cut = target.rfind('/', cut - 1)) {
            if (stat(target.substr(0, cut).c_str(), &info) == 0) {
                if (!S_ISDIR(info.st_mode)) return FALSE;
                break;
            }
            missing.push_back(cut);
        }
        for (auto it = missing.rbegin(); it != missing.rend(); ++it) {
            const std::string folder = target.substr(0, *it);
            if (mkdir(folder.c_str(), 0777) != 0 && errno != EEXIST) return FALSE;
        }
        return stat(target.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
    } catch (...) {
        return FALSE;
    }
}

bool FindFileInFolder(const char16_t* folder, const char16_t* name, CString& out) {
    if (IsEmptyText(folder) || IsEmptyText(name)) return false;
    try {
        return FindFile(TrimmedFolder(folder), name, false, out);
    } catch (...) {
        return false;
    }
}

bool FindFileInFolderRecourcive(const char16_t* folder, const char16_t* name, CString& out) {
    if (IsEmptyText(folder) || IsEmptyText(name)) return false;
    try {
        return FindFile(TrimmedFolder(folder), name, true, out);
    } catch (...) {
        return false;
    }
}

bool CheckCOMRegistration(const GUID& /*guid*/, const char16_t* /*version*/,
                          const char16_t* /*module*/) {
    return false;
}

bool FindInstalledLumedraws(CSortedArray<CString>& /*list*/) {
    return false;
}

bool FindInstalledAutoCADs(CSortedArray<CString>& /*list*/) {
    return false;
}
