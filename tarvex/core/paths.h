// Where the library's files live: the installation, the per-user data
// folder, and settings that may come from a team folder on the network.
//
// Paths are built into caller-supplied buffers, conventionally of 260
// characters. A function that builds a path returns its length (non-zero on
// success) and gives 0, with an empty buffer, when the path would reach the
// buffer's size or cannot be had. Folders are separated by '/'. Names and
// subfolders passed in may use '\' as well; it is read as a separator.
//
// The settings paths are worked out once, on the first call that needs them,
// and kept process-wide without a lock: make the first call before other
// threads start. ResetSettingsPath makes the next call work them out again.
//
// The program root is the top of the installation: the folder above a "bin"
// segment of the library's path (any case), else the parent of the library's
// folder. A file of the team settings name ("settings.ini") in the program
// root names a team folder on its first line; the team folder then serves as
// the program root, and its settings are read in preference to the user's.
// When the team's "Control/MasterHost.ini" names this computer, this machine
// is the master host and works on the team's settings directly.
#pragma once

#include "tarvex/core/containers.h"
#include "tarvex/core/settingsfiles.h"
#include "tarvex/platform/cstring.h"
#include "tarvex/platform/guid.h"

// ---- Installation ----

// The program root with a trailing '/', from the library's own path. Empty,
// with result 0, when the library's folder has fewer than 6 characters.
int GetProgramInstallRootDir(char16_t* out, DWORD size);
// The library's folder, without a trailing separator.
int GetModuleDir(char16_t* out, DWORD size);

// Program root "Support", then the main key when it is set.
int GetSupportDir(char16_t* out, DWORD size);
// The support folder with `name`; existence is not checked.
int GetSupportFilePath(char16_t* out, DWORD size, const char16_t* name);
// Program root "Settings", then the main key when it is set: the templates.
int GetCommonTemplateSettingsPath(char16_t* out, DWORD size);
int GetTemplateSettingsPath(char16_t* out, const char16_t* subFolder, DWORD size);
// A template file; 0 unless it exists and is not a folder.
int GetTemplateSettingsFilePath(char16_t* out, DWORD size, const char16_t* subFolder,
                                const char16_t* name);
// Program root, `folder`, the main key when it is set, `subFolder` when given.
int GetProgramSubdir(char16_t* out, DWORD size, const char16_t* folder, const char16_t* subFolder);

// ---- Per-user folders (each is created when missing) ----

// $XDG_DATA_HOME (default ~/.local/share), then the company folder, the
// product folder, and the main key when it is set.
int GetUserDataDir(char16_t* out, DWORD size);
// The user data folder's "LOG" and "TEMP"; `length` receives the result too.
int GetLogDir(char16_t* out, DWORD size, DWORD& length);
int GetTempDir(char16_t* out, DWORD size, DWORD& length);
// Creates an empty file of a unique name, `prefix` and six characters, in
// the TEMP folder, and gives its path.
int GetTempFile(char16_t* out, DWORD size, const char16_t* prefix);
// $XDG_DOCUMENTS_DIR (default ~/Documents), then the product folder.
int GetDocumentsDir(char16_t* out, DWORD size, DWORD& length);
// Brings the user's "SUPPORT" folder up to date with the installation's
// support folder, and then with the team's when that differs. Non-zero on
// success.
int InitSupportDir();

// ---- Settings ----

// The settings root with `subFolder`, created when missing.
int GetSettingsPath(char16_t* out, const char16_t* subFolder, DWORD size);
// The settings root itself.
int GetCommonSettingsPath(char16_t* out, DWORD size);

// A settings file by the one rule of precedence. For reading, a team's
// template file wins over the user's; otherwise the file must exist in the
// settings folder (created when missing). For writing, the settings folder's
// path is the answer, never a template, and existence is not tested.
int GetSettingsFilePath(char16_t* out, DWORD size, const char16_t* subFolder, const char16_t* name,
                        bool forWrite);
int GetCommonSettingsFilePath(char16_t* out, DWORD size, const char16_t* name, bool forWrite);

// Settings initialisation result codes; 0 is success.
constexpr int kSettingsTeamFolderMissing = -1;     // the team folder has vanished
constexpr int kSettingsMasterSettingsMissing = -2; // master host: no team "Settings" folder
constexpr int kSettingsMasterFolderMissing = -3;   // master host: the team folder has vanished

// Works out the program and settings roots unless both are known. On a
// negative result the team settings file name is cleared, so the next call
// falls back to the user's own folders, and `out` (when not null, 260
// characters) receives the program root that failed, for the caller's message.
int InitSettingsPath(char16_t* out = nullptr);
// Replaces the team settings file name (null or empty: no team file) and
// works the settings paths out afresh with it. Returns InitSettingsPath's code.
int SetTeamSettingsIni(const char16_t* fileName, char16_t* out);
// Forgets the roots and both flags; the next path call works them out again.
void ResetSettingsPath();
// Whether this computer is the team's master host. Only the flag: it does
// not start the initialisation.
bool IsMasterHost();
// Whether templates take precedence over the user's settings (a team member
// that is not the master). Starts the initialisation when needed.
bool UseSettingsTemplates();

// ---- Application identity ----

// Sets the main application key and adds it to the service keys. A key set
// after the settings paths are known takes effect at ResetSettingsPath.
void AppServiceSetApp(const char16_t* key);
void SetMainAppKey(const char16_t* key);
CString AppServiceGetApp();
CString GetMainAppKey();
// The set of service keys; exact comparison.
void AppServiceAddKey(const char16_t* key);
bool AppHasServiceKey(const char16_t* key);
// Replaces the company and product folders ("Velmark", "Tarvex" until set);
// a null argument keeps the current value.
void AppServiceSetProduct(const char16_t* company, const char16_t* product);
// The help file's name and the 16-bit value kept with it (`value` may be null).
CString GetHelpFileName(WORD* value = nullptr);
void SetHelpFileName(const char16_t* name, WORD value);

namespace tarvexData {

// Tests of the main application key against the keys of host applications.
// Which hosts exist is deployment data, so the key is the caller's.
class AppManager {
public:
    // Whether the main key equals `hostKey` without regard to case; false for
    // an empty `hostKey`.
    static bool IsHost(const char16_t* hostKey);
};

} // namespace tarvexData

// ---- File system helpers ----

CString GetHostName();
// An existing file that is not a folder.
bool CheckFileExists(const char16_t* path);
// An existing folder whose entries can be listed.
bool CheckPathExists(const char16_t* path);
// Makes and removes a temporary file "tmp..." in the folder.
bool CheckIsDirectoryWritable(const char16_t* path);
// Removes a file, or a folder with everything in it.
BOOL DeletePath(const char16_t* path);
// Removes a file (not a folder).
BOOL DeleteFileByPath(const char16_t* path);
// Removes everything inside the folder and keeps the folder.
BOOL CleanDirectory(const char16_t* path);
// Makes the folder and every missing parent. `security` is accepted for
// the familiar signature and ignored. Non-zero also when it already exists.
BOOL CreatePath(const char16_t* path, const void* security = nullptr);
// The first file (in name order) of the folder matching `name`, which may
// hold wildcards; case-blind. `out` receives its full path.
bool FindFileInFolder(const char16_t* folder, const char16_t* name, CString& out);
// The same through the folder and then its subfolders, depth first.
bool FindFileInFolderRecourcive(const char16_t* folder, const char16_t* name, CString& out);

// Type library registrations and installed host programs live in a registry
// this platform does not have: these return false and leave `list` alone.
bool CheckCOMRegistration(const GUID& guid, const char16_t* version, const char16_t* module);
bool FindInstalledLumedraws(CSortedArray<CString>& list);
bool FindInstalledAutoCADs(CSortedArray<CString>& list);

namespace tarvex {

// Makes the path functions take `path` as the library's own file instead of
// the one the loader reports; null or empty restores the real one. For tests
// that lay out installation trees; call ResetSettingsPath afterwards.
void SetModulePathForTesting(const char16_t* path);

} // namespace tarvex
