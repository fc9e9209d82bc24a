// The settings initialisation: whether a team folder is in use, whether this
// computer is its master host, and where settings are read and written.
#include <fstream>
#include <iterator>
#include <string>

#include "tarvex/core/paths.h"
#include "tarvex/core/paths_internal.h"
#include "tarvex/core/reactor.h"
#include "tarvex/platform/codepage.h"
#include "tarvex/platform/wide.h"

using namespace tarvex::paths;

namespace {

bool IsValidUtf8(const std::string& bytes) {
    int pending = 0; // continuation bytes still owed
    for (const char byte : bytes) {
        const unsigned char c = static_cast<unsigned char>(byte);
        if (pending > 0) {
            if ((c & 0xC0) != 0x80) return false;
            --pending;
        } else if (c >= 0x80) {
            if ((c & 0xE0) == 0xC0)
                pending = 1;
            else if ((c & 0xF0) == 0xE0)
                pending = 2;
            else if ((c & 0xF8) == 0xF0)
                pending = 3;
            else
                return false;
        }
    }
    return pending == 0;
}

// The first line of a small text file, trimmed; empty when it cannot be read.
// Such files are written by hand on either platform, so UTF-16 and UTF-8
// (with or without a byte order mark) are read, and anything else as the
// ANSI code page.
CString ReadFirstLine(const CString& path) {
    std::ifstream file(Narrow(path), std::ios::binary);
    if (!file) return CString();
    std::string bytes;
    bytes.resize(8192);
    file.read(bytes.data(), std::streamsize(bytes.size()));
    bytes.resize(size_t(file.gcount()));

    CString text;
    if (bytes.size() >= 2 && bytes[0] == '\xFF' && bytes[1] == '\xFE') {
        std::u16string wide;
        for (size_t i = 2; i + 1 < bytes.size(); i += 2)
            wide += char16_t(static_cast<unsigned char>(bytes[i]) |
                             static_cast<unsigned char>(bytes[i + 1]) << 8);
        text = CString(std::u16string_view(wide));
    } else {
        if (bytes.compare(0, 3, "\xEF\xBB\xBF") == 0) bytes.erase(0, 3);
        const size_t end = bytes.find_first_of("\r\n");
        if (end != std::string::npos) bytes.resize(end);
        text = IsValidUtf8(bytes) ? tarvex::FromUtf8(bytes)
                                  : tarvex::DecodeCodePage(CP_WINDOWS_1251, bytes);
    }
    const int end = text.FindOneOf(u"\r\n");
    if (end >= 0) text = text.Left(end);
    return text.Trim();
}

// Clears the roots, the flags and the team settings file name after a
// failure, so the next initialisation settles on the user's own folders.
int Fail(int code, char16_t* out) {
    PathState& state = State();
    if (out) {
        wcsncpy(out, state.programRoot.GetString(), kMaxPath - 1);
        out[kMaxPath - 1] = 0;
    }
    state.programRoot.Empty();
    state.settingsRoot.Empty();
    state.teamSettingsFile.Empty();
    state.masterHost = false;
    state.useTemplates = false;
    return code;
}

bool IsUsableRoot(const CString& path) {
    return path.GetLength() < kRootCapacity && CheckPathExists(path);
}

} // namespace

namespace tarvex::paths {

void EnsureSettingsInit() {
    if (InitSettingsPath(nullptr) < 0) InitSettingsPath(nullptr);
}

} // namespace tarvex::paths

int InitSettingsPath(char16_t* out) {
    PathState& state = State();
    if (!state.programRoot.IsEmpty() && !state.settingsRoot.IsEmpty()) return 0;
    bool fireMasterWarning = false;
    try {
        char16_t buffer[kRootCapacity];
        GetProgramInstallRootDir(buffer, kRootCapacity);
        state.programRoot = buffer;
        state.useTemplates = false;
        state.masterHost = false;

        CString teamFolder;
        if (!state.teamSettingsFile.IsEmpty() && !state.programRoot.IsEmpty()) {
            CString teamFile = state.programRoot;
            AppendPart(teamFile, state.teamSettingsFile);
            teamFolder = ReadFirstLine(teamFile);
            while (teamFolder.GetLength() > 1 &&
                   IsSeparator(teamFolder[teamFolder.GetLength() - 1]))
                teamFolder = teamFolder.Left(teamFolder.GetLength() - 1);
        }

        if (!teamFolder.IsEmpty()) {
            CString hostFile = teamFolder;
            AppendPart(hostFile, u"Control/MasterHost.ini");
            const CString host = ReadFirstLine(hostFile);
            state.masterHost = !host.IsEmpty() && host.CompareNoCase(GetHostName()) == 0;

            state.programRoot = teamFolder;
            if (!IsSeparator(teamFolder[teamFolder.GetLength() - 1])) state.programRoot += u'/';
            if (state.masterHost) {
                // The master works on the team's files directly.
                if (!IsUsableRoot(state.programRoot))
                    return Fail(kSettingsMasterFolderMissing, out);
                CString settings = state.programRoot;
                AppendPart(settings, u"Settings");
                AppendPart(settings, state.mainKey);
                if (!IsUsableRoot(settings)) return Fail(kSettingsMasterSettingsMissing, out);
                state.settingsRoot = settings;
                fireMasterWarning = true;
            } else {
                if (!IsUsableRoot(state.programRoot)) return Fail(kSettingsTeamFolderMissing, out);
                state.useTemplates = true;
            }
        }

        if (!state.masterHost && GetUserDataDir(buffer, kRootCapacity)) state.settingsRoot = buffer;
    } catch (...) {
        // Out of memory: leave the roots unknown so a later call tries again.
        state.programRoot.Empty();
        state.settingsRoot.Empty();
        return 0;
    }
    // Fired once the roots are in place, so that reactors may use them.
    if (fireMasterWarning) {
        try {
            CTXRuntimeStateReactor::FireLoadComplete();
        } catch (...) {
        }
    }
    return 0;
}

int SetTeamSettingsIni(const char16_t* fileName, char16_t* out) {
    PathState& state = State();
    state.teamSettingsFile = CString(fileName).Left(kTeamFileCapacity - 1);
    ResetSettingsPath();
    return InitSettingsPath(out);
}

void ResetSettingsPath() {
    PathState& state = State();
    state.masterHost = false;
    state.useTemplates = false;
    state.programRoot.Empty();
    state.settingsRoot.Empty();
}

bool IsMasterHost() {
    return State().masterHost;
}

bool UseSettingsTemplates() {
    EnsureSettingsInit();
    return State().useTemplates;
}
