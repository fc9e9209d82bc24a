// The folders of the installation and of the user, the settings file rule,
// and the application identity.
#include "tarvex/core/paths.h"

#include <cstdlib>
#include <filesystem>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tarvex/core/paths_internal.h"
#include "tarvex/platform/casemap.h"
#include "tarvex/platform/module.h"

using namespace tarvex::paths;

namespace tarvex::paths {

PathState& State() {
    static PathState state;
    return state;
}

} // namespace tarvex::paths

namespace {

CString ModuleFilePath() {
    const PathState& state = State();
    if (!state.modulePath.IsEmpty()) return state.modulePath;
    char16_t buffer[4096];
    const DWORD length = GetModuleFileNameW(tarvex::GetLibraryModule(), buffer, 4096);
    return CString(buffer, int(length));
}

bool IsBinSegment(const CString& folder, int at) {
    return IsSeparator(folder[at]) && towupper16(folder[at + 1]) == u'B' &&
           towupper16(folder[at + 2]) == u'I' && towupper16(folder[at + 3]) == u'N' &&
           IsSeparator(folder[at + 4]);
}

// The program root, "Settings" and the main key: where the templates lie.
CString TemplateRoot() {
    EnsureSettingsInit();
    const PathState& state = State();
    if (state.programRoot.IsEmpty()) return CString();
    CString path = state.programRoot;
    AppendPart(path, u"Settings");
    AppendPart(path, state.mainKey);
    return path;
}

// A template settings file that exists and is not a folder, or empty.
CString TemplateFile(const char16_t* subFolder, const char16_t* name) {
    CString path = TemplateRoot();
    if (path.IsEmpty()) return path;
    AppendPart(path, subFolder);
    AppendPart(path, name);
    return CheckFileExists(path) ? path : CString();
}

std::string HomeFolder() {
    if (const char* home = std::getenv("HOME"); home && *home) return home;
    passwd entry{};
    passwd* found = nullptr;
    char buffer[4096];
    if (getpwuid_r(getuid(), &entry, buffer, sizeof buffer, &found) == 0 && found && found->pw_dir)
        return found->pw_dir;
    return std::string();
}

// An absolute path from the variable, else the home folder with `fallback`.
CString UserFolder(const char* variable, const char* fallback) {
    if (const char* value = std::getenv(variable); value && value[0] == '/') return Widen(value);
    const std::string home = HomeFolder();
    if (home.empty()) return CString();
    return Widen(home + fallback);
}

// A folder of the user data folder, created.
int UserDataSubdir(const char16_t* name, char16_t* out, DWORD size, DWORD& length) {
    length = 0;
    char16_t base[kMaxPath];
    if (!GetUserDataDir(base, kMaxPath)) return CopyOut(CString(), out, size);
    CString path(base);
    AppendPart(path, name);
    if (!CreatePath(path)) return CopyOut(CString(), out, size);
    length = DWORD(CopyOut(path, out, size));
    return int(length);
}

bool IsOlder(const struct stat& a, const struct stat& b) {
    if (a.st_mtim.tv_sec != b.st_mtim.tv_sec) return a.st_mtim.tv_sec < b.st_mtim.tv_sec;
    return a.st_mtim.tv_nsec < b.st_mtim.tv_nsec;
}

// Whether some file of `source` is missing from `copy` or was written later
// than its copy. Subfolders are not compared.
bool IsFolderNewer(const std::string& source, const std::string& copy) {
    for (const FolderEntry& entry : ListFolder(source)) {
        if (entry.isFolder) continue;
        struct stat from {};
        struct stat to {};
        if (stat((source + '/' + entry.name).c_str(), &from) != 0) continue;
        if (stat((copy + '/' + entry.name).c_str(), &to) != 0 || IsOlder(to, from)) return true;
    }
    return false;
}

// Copies the files (not the subfolders) of `source` into `target`, keeping
// their times so that later comparisons see the installation's dates.
bool CopyFolderFiles(const std::string& source, const std::string& target) {
    namespace fs = std::filesystem;
    bool copied = true;
    for (const FolderEntry& entry : ListFolder(source)) {
        if (entry.isFolder) continue;
        const fs::path from = source + '/' + entry.name;
        const fs::path to = target + '/' + entry.name;
        std::error_code error;
        fs::copy_file(from, to, fs::copy_options::overwrite_existing, error);
        if (!error) {
            const auto written = fs::last_write_time(from, error);
            if (!error) fs::last_write_time(to, written, error);
        }
        if (error) copied = false;
    }
    return copied;
}

} // namespace

// ---- Installation ----

int GetProgramInstallRootDir(char16_t* out, DWORD size) {
    try {
        const CString path = ModuleFilePath();
        const int last = LastSeparator(path);
        if (last + 1 < 6) return CopyOut(CString(), out, size);
        const CString folder = path.Left(last + 1);
        for (int at = folder.GetLength() - 5; at >= 0; --at)
            if (IsBinSegment(folder, at)) return CopyOut(folder.Left(at + 1), out, size);
        const int parent = LastSeparator(folder.Left(last));
        return CopyOut(parent < 0 ? CString() : folder.Left(parent + 1), out, size);
    } catch (...) {
        return CopyOut(CString(), out, size);
    }
}

int GetModuleDir(char16_t* out, DWORD size) {
    try {
        const CString path = ModuleFilePath();
        const int last = LastSeparator(path);
        return CopyOut(last < 0 ? CString() : path.Left(last), out, size);
    } catch (...) {
        return CopyOut(CString(), out, size);
    }
}

int GetProgramSubdir(char16_t* out, DWORD size, const char16_t* folder, const char16_t* subFolder) {
    try {
        EnsureSettingsInit();
        const PathState& state = State();
        if (state.programRoot.IsEmpty()) return CopyOut(CString(), out, size);
        CString path = state.programRoot;
        AppendPart(path, folder);
        AppendPart(path, state.mainKey);
        AppendPart(path, subFolder);
        return CopyOut(path, out, size);
    } catch (...) {
        return CopyOut(CString(), out, size);
    }
}

int GetSupportDir(char16_t* out, DWORD size) {
    return GetProgramSubdir(out, size, u"Support", nullptr);
}

int GetSupportFilePath(char16_t* out, DWORD size, const char16_t* name) {
    try {
        char16_t folder[kRootCapacity + kMaxPath];
        if (!GetSupportDir(folder, kRootCapacity + kMaxPath)) return CopyOut(CString(), out, size);
        CString path(folder);
        AppendPart(path, name);
        return CopyOut(path, out, size);
    } catch (...) {
        return CopyOut(CString(), out, size);
    }
}

int GetCommonTemplateSettingsPath(char16_t* out, DWORD size) {
    return GetTemplateSettingsPath(out, nullptr, size);
}

int GetTemplateSettingsPath(char16_t* out, const char16_t* subFolder, DWORD size) {
    try {
        CString path = TemplateRoot();
        if (path.IsEmpty()) return CopyOut(path, out, size);
        AppendPart(path, subFolder);
        return CopyOut(path, out, size);
    } catch (...) {
        return CopyOut(CString(), out, size);
    }
}

int GetTemplateSettingsFilePath(char16_t* out, DWORD size, const char16_t* subFolder,
                                const char16_t* name) {
    try {
        return CopyOut(TemplateFile(subFolder, name), out, size);
    } catch (...) {
        return CopyOut(CString(), out, size);
    }
}

// ---- Per-user folders ----

int GetUserDataDir(char16_t* out, DWORD size) {
    try {
        CString path = UserFolder("XDG_DATA_HOME", "/.local/share");
        if (path.IsEmpty()) return CopyOut(path, out, size);
        const PathState& state = State();
        AppendPart(path, state.company);
        AppendPart(path, state.product);
        AppendPart(path, state.mainKey);
        if (!out || DWORD(path.GetLength()) >= size || !CreatePath(path))
            return CopyOut(CString(), out, size);
        return CopyOut(path, out, size);
    } catch (...) {
        return CopyOut(CString(), out, size);
    }
}

int GetLogDir(char16_t* out, DWORD size, DWORD& length) {
    try {
        return UserDataSubdir(u"LOG", out, size, length);
    } catch (...) {
        length = 0;
        return CopyOut(CString(), out, size);
    }
}

int GetTempDir(char16_t* out, DWORD size, DWORD& length) {
    try {
        return UserDataSubdir(u"TEMP", out, size, length);
    } catch (...) {
        length = 0;
        return CopyOut(CString(), out, size);
    }
}

int GetTempFile(char16_t* out, DWORD size, const char16_t* prefix) {
    try {
        char16_t folder[kMaxPath];
        DWORD length = 0;
        if (!GetTempDir(folder, kMaxPath, length)) return CopyOut(CString(), out, size);
        CString path(folder);
        path += u'/';
        if (prefix) {
            CString name(prefix);
            name.Replace(u'\\', u'_');
            name.Replace(u'/', u'_');
            path += name;
        }
        path += u"XXXXXX";
        if (!out || DWORD(path.GetLength()) >= size) return CopyOut(CString(), out, size);
        std::string name = Narrow(path);
        const int fd = mkstemp(name.data());
        if (fd < 0) return CopyOut(CString(), out, size);
        close(fd);
        return CopyOut(Widen(name), out, size);
    } catch (...) {
        return CopyOut(CString(), out, size);
    }
}

int GetDocumentsDir(char16_t* out, DWORD size, DWORD& length) {
    length = 0;
    try {
        CString path = UserFolder("XDG_DOCUMENTS_DIR", "/Documents");
        if (path.IsEmpty()) return CopyOut(path, out, size);
        AppendPart(path, State().product);
        if (!out || DWORD(path.GetLength()) >= size || !CreatePath(path))
            return CopyOut(CString(), out, size);
        length = DWORD(CopyOut(path, out, size));
        return int(length);
    } catch (...) {
        return CopyOut(CString(), out, size);
    }
}

int InitSupportDir() {
    try {
        char16_t buffer[kRootCapacity + kMaxPath];
        const DWORD capacity = kRootCapacity + kMaxPath;
        DWORD length = 0;
        if (!UserDataSubdir(u"SUPPORT", buffer, capacity, length)) return 0;
        const CString userCopy(buffer);
        const std::string copy = Narrow(userCopy);

        // The installation's own support folder, whatever the team setting.
        CString installed;
        if (GetProgramInstallRootDir(buffer, capacity)) {
            installed = buffer;
            AppendPart(installed, u"Support");
            AppendPart(installed, State().mainKey);
        }
        bool copied = true;
        if (!installed.IsEmpty() && CheckPathExists(installed)) {
            const std::string source = Narrow(installed);
            if (IsFolderNewer(source, copy)) {
                CleanDirectory(userCopy);
                copied = CopyFolderFiles(source, copy);
            }
        }
        // A team's support files come on top of the installation's.
        if (GetSupportDir(buffer, capacity) && installed != buffer && CheckPathExists(buffer))
            copied = CopyFolderFiles(Narrow(buffer), copy) && copied;
        return copied ? 1 : 0;
    } catch (...) {
        return 0;
    }
}

// ---- Settings ----

int GetSettingsPath(char16_t* out, const char16_t* subFolder, DWORD size) {
    try {
        EnsureSettingsInit();
        CString path = State().settingsRoot;
        if (path.IsEmpty()) return CopyOut(path, out, size);
        AppendPart(path, subFolder);
        if (!out || DWORD(path.GetLength()) >= size || !CreatePath(path))
            return CopyOut(CString(), out, size);
        return CopyOut(path, out, size);
    } catch (...) {
        return CopyOut(CString(), out, size);
    }
}

int GetCommonSettingsPath(char16_t* out, DWORD size) {
    return GetSettingsPath(out, nullptr, size);
}

int GetSettingsFilePath(char16_t* out, DWORD size, const char16_t* subFolder, const char16_t* name,
                        bool forWrite) {
    try {
        EnsureSettingsInit();
        const bool templates = State().useTemplates;
        if (!forWrite && templates) {
            const CString found = TemplateFile(subFolder, name);
            if (!found.IsEmpty()) return CopyOut(found, out, size);
        }
        char16_t folder[kRootCapacity + kMaxPath];
        if (!GetSettingsPath(folder, subFolder, kRootCapacity + kMaxPath))
            return CopyOut(CString(), out, size);
        CString path(folder);
        AppendPart(path, name);
        if (forWrite || CheckFileExists(path)) return CopyOut(path, out, size);
        return CopyOut(templates ? TemplateFile(subFolder, name) : CString(), out, size);
    } catch (...) {
        return CopyOut(CString(), out, size);
    }
}

int GetCommonSettingsFilePath(char16_t* out, DWORD size, const char16_t* name, bool forWrite) {
    return GetSettingsFilePath(out, size, nullptr, name, forWrite);
}

// ---- Application identity ----

void AppServiceSetApp(const char16_t* key) {
    PathState& state = State();
    state.mainKey = key;
    AppServiceAddKey(key);
}

void SetMainAppKey(const char16_t* key) {
    AppServiceSetApp(key);
}

CString AppServiceGetApp() {
    return State().mainKey;
}

CString GetMainAppKey() {
    return State().mainKey;
}

void AppServiceAddKey(const char16_t* key) {
    if (!key || !*key || AppHasServiceKey(key)) return;
    State().serviceKeys.Add(new CString(key));
}

bool AppHasServiceKey(const char16_t* key) {
    if (!key) return false;
    return State().serviceKeys.Find(CString(key)) >= 0;
}

void AppServiceSetProduct(const char16_t* company, const char16_t* product) {
    PathState& state = State();
    if (company) state.company = company;
    if (product) state.product = product;
}

CString GetHelpFileName(WORD* value) {
    const PathState& state = State();
    if (value) *value = state.helpValue;
    return state.helpFile;
}

void SetHelpFileName(const char16_t* name, WORD value) {
    PathState& state = State();
    state.helpFile = name;
    state.helpValue = value;
}

namespace tarvexData {

bool AppManager::IsHost(const char16_t* hostKey) {
    return hostKey && *hostKey && State().mainKey.CompareNoCase(hostKey) == 0;
}

} // namespace tarvexData

namespace tarvex {

void SetModulePathForTesting(const char16_t* path) {
    State().modulePath = path;
}

} // namespace tarvex
