#include <gtest/gtest.h>

#include <cctype>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <unistd.h>
#include <vector>

#include "tarvex/core/paths.h"
#include "tarvex/core/reactor.h"
#include "tarvex/platform/codepage.h"

namespace fs = std::filesystem;

namespace {

CString W(const std::string& text) {
    return tarvex::FromUtf8(text);
}
std::string N(const char16_t* text) {
    return tarvex::ToUtf8(text);
}

void WriteFile(const std::string& path, const std::string& content) {
    fs::create_directories(fs::path(path).parent_path());
    std::ofstream(path, std::ios::binary) << content;
}

std::string ThisHost() {
    char name[256] = {};
    gethostname(name, sizeof name - 1);
    return name;
}

// The same name in another case, so the master-host test sees case-blindness.
std::string OtherCase(std::string text) {
    for (char& c : text)
        c = std::isupper(static_cast<unsigned char>(c)) ? char(std::tolower(c))
                                                        : char(std::toupper(c));
    return text;
}

// Each case gets its own temporary home, data and documents folders and a
// fake installation at <tmp>/inst, with the library in inst/Bin/lib.
class PathsTest : public ::testing::Test {
protected:
    void SetUp() override {
        char pattern[] = "/tmp/tarvex-paths-XXXXXX";
        tmp = mkdtemp(pattern);
        for (const char* name : {"HOME", "XDG_DATA_HOME", "XDG_DOCUMENTS_DIR"}) {
            const char* value = std::getenv(name);
            saved.push_back({name, value ? value : "", value != nullptr});
        }
        setenv("HOME", (tmp + "/home").c_str(), 1);
        setenv("XDG_DATA_HOME", (tmp + "/data").c_str(), 1);
        setenv("XDG_DOCUMENTS_DIR", (tmp + "/docs").c_str(), 1);
        inst = tmp + "/inst/";
        fs::create_directories(inst + "Bin/lib");
        tarvex::SetModulePathForTesting(W(inst + "Bin/lib/libtarvex.so"));
        AppServiceSetApp(u"");
        AppServiceSetProduct(u"Velmark", u"Tarvex");
        userRoot = tmp + "/data/Velmark/Tarvex";
        SetTeamSettingsIni(u"settings.ini", nullptr);
    }

    void TearDown() override {
        tarvex::SetModulePathForTesting(nullptr);
        AppServiceSetApp(u"");
        AppServiceSetProduct(u"Velmark", u"Tarvex");
        SetTeamSettingsIni(u"settings.ini", nullptr);
        ResetSettingsPath();
        for (const Saved& s : saved)
            s.present ? setenv(s.name, s.value.c_str(), 1) : unsetenv(s.name);
        fs::remove_all(tmp);
    }

    // A team folder at <tmp>/team named by inst/settings.ini, whose master
    // host is `master`.
    std::string MakeTeam(const std::string& master) {
        const std::string team = tmp + "/team";
        WriteFile(inst + "settings.ini", "\xEF\xBB\xBF  " + team + "/  \r\nignored\r\n");
        WriteFile(team + "/Control/MasterHost.ini", " " + master + "\n");
        fs::create_directories(team + "/Settings");
        return team;
    }

    std::string SettingsFile(const char16_t* sub, const char16_t* name, bool forWrite) {
        char16_t out[260];
        return GetSettingsFilePath(out, 260, sub, name, forWrite) ? N(out) : std::string("<none>");
    }
    std::string CommonSettings() {
        char16_t out[260];
        return GetCommonSettingsPath(out, 260) ? N(out) : std::string("<none>");
    }

    struct Saved {
        const char* name;
        std::string value;
        bool present;
    };
    std::vector<Saved> saved;
    std::string tmp, inst, userRoot;
};

std::string RootFor(const char* module) {
    tarvex::SetModulePathForTesting(W(module));
    char16_t out[260] = u"x";
    const int length = GetProgramInstallRootDir(out, 260);
    EXPECT_EQ(size_t(length), std::char_traits<char16_t>::length(out));
    return N(out);
}

} // namespace

TEST_F(PathsTest, ProgramRootByBinSegmentOrParent) {
    EXPECT_EQ(RootFor("/opt/x/Bin/lib/libtarvex.so"), "/opt/x/");
    EXPECT_EQ(RootFor("/opt/x/bIN/libtarvex.so"), "/opt/x/");
    EXPECT_EQ(RootFor("/a/bin/b/BIN/c/libtarvex.so"), "/a/bin/b/"); // the last one counts
    EXPECT_EQ(RootFor("/opt/x/lib/libtarvex.so"), "/opt/x/");
    EXPECT_EQ(RootFor("/opt/binary/lib/libtarvex.so"), "/opt/binary/");
    EXPECT_EQ(RootFor("C:\\Prog\\Bin\\tarvex.dll"), "C:\\Prog\\");
    EXPECT_EQ(RootFor("/abc/libtarvex.so"), ""); // "/abc/" is under 6 characters
    EXPECT_EQ(RootFor("/abcd/libtarvex.so"), "/");

    tarvex::SetModulePathForTesting(u"/opt/x/lib/libtarvex.so");
    char16_t out[16];
    EXPECT_EQ(GetModuleDir(out, 16), 10);
    EXPECT_EQ(N(out), "/opt/x/lib");
    EXPECT_EQ(GetModuleDir(out, 10), 0); // the path would reach the buffer's size
    EXPECT_EQ(out[0], 0);
    EXPECT_EQ(GetProgramInstallRootDir(out, 8), 7);
    EXPECT_EQ(GetProgramInstallRootDir(out, 7), 0);
}

TEST_F(PathsTest, NoTeamFileSettingsLiveInUserData) {
    WriteFile(inst + "Settings/tpl.ini", "template");
    EXPECT_EQ(CommonSettings(), userRoot);
    EXPECT_FALSE(IsMasterHost());
    EXPECT_FALSE(UseSettingsTemplates());

    // Reading needs the user's file; templates do not stand in without a team.
    EXPECT_EQ(SettingsFile(nullptr, u"tpl.ini", false), "<none>");
    EXPECT_EQ(SettingsFile(u"Forms", u"a.xml", true), userRoot + "/Forms/a.xml");
    EXPECT_TRUE(fs::is_directory(userRoot + "/Forms"));
    WriteFile(userRoot + "/Forms/a.xml", "");
    EXPECT_EQ(SettingsFile(u"Forms\\", u"\\a.xml", false), userRoot + "/Forms/a.xml");

    char16_t out[260];
    EXPECT_GT(GetTemplateSettingsFilePath(out, 260, nullptr, u"tpl.ini"), 0);
    EXPECT_EQ(N(out), inst + "Settings/tpl.ini");
    EXPECT_EQ(GetTemplateSettingsFilePath(out, 260, nullptr, u"missing.ini"), 0);

    // A main key set later takes effect at the reset.
    AppServiceSetApp(u"Cad");
    EXPECT_EQ(CommonSettings(), userRoot);
    ResetSettingsPath();
    EXPECT_EQ(CommonSettings(), userRoot + "/Cad");
    EXPECT_GT(GetSupportDir(out, 260), 0);
    EXPECT_EQ(N(out), inst + "Support/Cad");
    EXPECT_GT(GetProgramSubdir(out, 260, u"Forms", u"Pumps"), 0);
    EXPECT_EQ(N(out), inst + "Forms/Cad/Pumps");
}

TEST_F(PathsTest, TeamMemberReadsTemplatesWritesToUser) {
    const std::string team = MakeTeam("other-" + ThisHost());
    WriteFile(team + "/Settings/Sub/a.ini", "team");
    WriteFile(userRoot + "/Sub/a.ini", "user");
    WriteFile(userRoot + "/Sub/b.ini", "user");

    char16_t out[260];
    ASSERT_EQ(SetTeamSettingsIni(u"settings.ini", out), 0);
    EXPECT_FALSE(IsMasterHost());
    EXPECT_TRUE(UseSettingsTemplates());
    EXPECT_EQ(CommonSettings(), userRoot);
    EXPECT_GT(GetSupportDir(out, 260), 0);
    EXPECT_EQ(N(out), team + "/Support");

    EXPECT_EQ(SettingsFile(u"Sub", u"a.ini", false), team + "/Settings/Sub/a.ini");
    EXPECT_EQ(SettingsFile(u"Sub", u"a.ini", true), userRoot + "/Sub/a.ini");
    EXPECT_EQ(SettingsFile(u"Sub", u"b.ini", false), userRoot + "/Sub/b.ini");
    EXPECT_EQ(SettingsFile(u"Sub", u"c.ini", false), "<none>");
    // A folder of the name is no template file.
    fs::create_directories(team + "/Settings/Sub/d.ini");
    EXPECT_EQ(SettingsFile(u"Sub", u"d.ini", false), "<none>");
}

namespace {

struct LoadWatcher : CTXRuntimeStateReactor {
    void OnLoadComplete() override {
        ++calls;
        masterSeen = IsMasterHost();
        char16_t out[260];
        if (GetCommonSettingsPath(out, 260)) settingsSeen = N(out);
    }
    int calls = 0;
    bool masterSeen = false;
    std::string settingsSeen;
};

} // namespace

TEST_F(PathsTest, MasterHostWorksOnTeamSettings) {
    const std::string team = MakeTeam(OtherCase(ThisHost()));
    LoadWatcher watcher;
    CTXRuntimeStateReactor::RegisterReactor(&watcher);
    const int code = SetTeamSettingsIni(u"settings.ini", nullptr);
    CTXRuntimeStateReactor::UnregisterReactor(&watcher);

    ASSERT_EQ(code, 0);
    EXPECT_TRUE(IsMasterHost());
    EXPECT_FALSE(UseSettingsTemplates());
    EXPECT_EQ(CommonSettings(), team + "/Settings");
    EXPECT_EQ(SettingsFile(nullptr, u"x.ini", true), team + "/Settings/x.ini");
    // Reactors hear of it once the roots are in place.
    EXPECT_EQ(watcher.calls, 1);
    EXPECT_TRUE(watcher.masterSeen);
    EXPECT_EQ(watcher.settingsSeen, team + "/Settings");
}

TEST_F(PathsTest, VanishedTeamFolderGivesNegativeCodes) {
    // A master host whose team has no settings folder for the main key.
    const std::string team = MakeTeam(ThisHost());
    AppServiceSetApp(u"Cad");
    char16_t out[260] = {};
    EXPECT_EQ(SetTeamSettingsIni(u"settings.ini", out), kSettingsMasterSettingsMissing);
    EXPECT_EQ(N(out), team + "/");
    // The failure drops the team file, so the next call settles on the user.
    EXPECT_FALSE(IsMasterHost());
    EXPECT_EQ(CommonSettings(), userRoot + "/Cad");

    // A member whose team folder is gone.
    WriteFile(inst + "settings.ini", tmp + "/gone\n");
    EXPECT_EQ(SetTeamSettingsIni(u"settings.ini", out), kSettingsTeamFolderMissing);
    EXPECT_EQ(N(out), tmp + "/gone/");
    EXPECT_FALSE(UseSettingsTemplates());

    // Vanishing between runs: the lazy initialisation falls back on its own.
    fs::create_directories(tmp + "/gone");
    ASSERT_EQ(SetTeamSettingsIni(u"settings.ini", nullptr), 0);
    EXPECT_TRUE(UseSettingsTemplates());
    fs::remove_all(tmp + "/gone");
    ResetSettingsPath();
    EXPECT_EQ(CommonSettings(), userRoot + "/Cad");
    EXPECT_FALSE(UseSettingsTemplates());
}

TEST_F(PathsTest, ResetRereadsTeamAndHostFiles) {
    const std::string team = MakeTeam("elsewhere");
    ASSERT_EQ(SetTeamSettingsIni(u"settings.ini", nullptr), 0);
    EXPECT_FALSE(IsMasterHost());

    WriteFile(team + "/Control/MasterHost.ini", ThisHost() + "\r\n");
    EXPECT_FALSE(IsMasterHost()); // worked out once
    ResetSettingsPath();
    EXPECT_EQ(CommonSettings(), team + "/Settings");
    EXPECT_TRUE(IsMasterHost());

    WriteFile(inst + "settings.ini", "   \n");
    ResetSettingsPath();
    EXPECT_EQ(CommonSettings(), userRoot);
    EXPECT_FALSE(IsMasterHost());
    EXPECT_FALSE(UseSettingsTemplates());
}

namespace {

std::vector<std::string> Describe(const CIndirectArray<CSettingsFileEntry>& entries,
                                  const std::string& tmp) {
    std::vector<std::string> result;
    for (const CSettingsFileEntry* e : entries) {
        std::string parts;
        for (const CString& p : e->m_aPathParts) parts += N(p) + ">";
        result.push_back(parts + N(e->m_strPath).substr(tmp.size()));
    }
    return result;
}

} // namespace

TEST_F(PathsTest, SettingsFilesMergeUserOverTemplates) {
    const std::string team = MakeTeam("elsewhere");
    for (const char* f : {"a.xml", "Sub/b.xml", "Sub/c.xml", "x.txt"})
        WriteFile(team + "/Settings/" + f, "");
    for (const char* f : {"a.xml", "Sub/b.xml", "Sub/C.xml", "d.xml", "Sub/Deep/e.xml"})
        WriteFile(userRoot + "/" + f, "");
    ASSERT_EQ(SetTeamSettingsIni(u"settings.ini", nullptr), 0);

    CIndirectArray<CSettingsFileEntry> entries;
    entries.Add(new CSettingsFileEntry(u"/kept", TArrayTemplate<CString>()));
    EXPECT_EQ(GetSettingsFiles(nullptr, u"*.XML", entries, true), 6);
    const std::string u = "/data/Velmark/Tarvex", t = "/team/Settings";
    EXPECT_EQ(Describe(entries, ""),
              (std::vector<std::string>{
                  "/kept", tmp + u + "/a.xml", "Sub>" + tmp + u + "/Sub/b.xml",
                  "Sub>" + tmp + t + "/Sub/c.xml", tmp + u + "/d.xml",
                  "Sub>" + tmp + u + "/Sub/C.xml", "Sub>Deep>" + tmp + u + "/Sub/Deep/e.xml"}));

    CIndirectArray<CSettingsFileEntry> top;
    EXPECT_EQ(GetSettingsFiles(u"", nullptr, top, false), 3);
    EXPECT_EQ(Describe(top, tmp),
              (std::vector<std::string>{u + "/a.xml", t + "/x.txt", u + "/d.xml"}));

    // A subfolder's own name is part of the path parts.
    CIndirectArray<CSettingsFileEntry> sub(0, 16, false, -8); // not owning: merge must not leak
    EXPECT_EQ(GetSettingsFiles(u"Sub", u"b.*", sub, false), 1);
    EXPECT_EQ(Describe(sub, tmp), (std::vector<std::string>{"Sub>" + u + "/Sub/b.xml"}));
    for (CSettingsFileEntry* e : sub) delete e;
}

TEST(SettingsFileEntry, PathPieces) {
    TArrayTemplate<CString> parts;
    parts.Add(u"Forms");
    const CSettingsFileEntry entry(u"C:\\set/Forms\\pump.v2.xml", parts);
    EXPECT_EQ(entry.GetFolderPath(), CString(u"C:\\set/Forms"));
    EXPECT_EQ(entry.GetFileName(), CString(u"pump.v2.xml"));
    EXPECT_EQ(entry.GetFileTitle(), CString(u"pump.v2"));
    EXPECT_EQ(entry.m_aPathParts.GetDelta(), 10);
    const CSettingsFileEntry bare(u"readme", TArrayTemplate<CString>());
    EXPECT_EQ(bare.GetFolderPath(), CString());
    EXPECT_EQ(bare.GetFileTitle(), CString(u"readme"));

    EXPECT_TRUE(entry.IsPathEqual(parts));
    TArrayTemplate<CString> other;
    other.Add(u"forms");
    EXPECT_FALSE(entry.IsPathEqual(other));
    other.Add(u"x");
    EXPECT_FALSE(entry.IsPathEqual(other));
    EXPECT_FALSE(bare.IsPathEqual(parts));
}

TEST_F(PathsTest, UserFoldersAreCreated) {
    char16_t out[260];
    DWORD length = 0;
    AppServiceSetProduct(u"Acme", nullptr);
    AppServiceSetApp(u"Cad");
    const std::string data = tmp + "/data/Acme/Tarvex/Cad";
    EXPECT_EQ(GetUserDataDir(out, 260), int(data.size()));
    EXPECT_TRUE(fs::is_directory(data));
    const int logLength = GetLogDir(out, 260, length);
    EXPECT_EQ(DWORD(logLength), length);
    EXPECT_EQ(N(out), data + "/LOG");
    EXPECT_TRUE(fs::is_directory(data + "/LOG"));
    EXPECT_GT(GetDocumentsDir(out, 260, length), 0);
    EXPECT_EQ(N(out), tmp + "/docs/Tarvex");

    EXPECT_GT(GetTempFile(out, 260, u"rep"), 0);
    const std::string first = N(out);
    EXPECT_EQ(first.rfind(data + "/TEMP/rep", 0), 0u);
    EXPECT_TRUE(fs::is_regular_file(first));
    GetTempFile(out, 260, u"rep");
    EXPECT_NE(N(out), first);

    EXPECT_EQ(GetUserDataDir(out, DWORD(data.size())), 0);
    EXPECT_EQ(out[0], 0);

    unsetenv("XDG_DATA_HOME"); // falls back on the home folder
    EXPECT_GT(GetUserDataDir(out, 260), 0);
    EXPECT_EQ(N(out), tmp + "/home/.local/share/Acme/Tarvex/Cad");
}

TEST_F(PathsTest, SupportFolderFollowsInstallation) {
    const std::string source = inst + "Support/", copy = userRoot + "/SUPPORT/";
    WriteFile(source + "a.txt", "1");
    WriteFile(source + "Nested/skip.txt", "");
    ASSERT_NE(InitSupportDir(), 0);
    EXPECT_TRUE(fs::exists(copy + "a.txt"));
    EXPECT_FALSE(fs::exists(copy + "Nested"));

    // Up to date: the user's own files stay.
    WriteFile(copy + "mine.txt", "");
    ASSERT_NE(InitSupportDir(), 0);
    EXPECT_TRUE(fs::exists(copy + "mine.txt"));

    // A newer installation file cleans the copy and brings it over again.
    fs::last_write_time(source + "a.txt",
                        fs::last_write_time(copy + "a.txt") + std::chrono::hours(1));
    ASSERT_NE(InitSupportDir(), 0);
    EXPECT_FALSE(fs::exists(copy + "mine.txt"));
    EXPECT_TRUE(fs::exists(copy + "a.txt"));

    // A team's support files come on top.
    const std::string team = MakeTeam("elsewhere");
    WriteFile(team + "/Support/t.txt", "");
    SetTeamSettingsIni(u"settings.ini", nullptr);
    ASSERT_NE(InitSupportDir(), 0);
    EXPECT_TRUE(fs::exists(copy + "t.txt"));
    EXPECT_TRUE(fs::exists(copy + "a.txt"));
}

TEST_F(PathsTest, FileHelpers) {
    const CString root = W(tmp + "/h");
    EXPECT_TRUE(CreatePath(root + u"/a/b/c"));
    EXPECT_TRUE(CreatePath(root + u"/a/b/c/")); // existing is success
    WriteFile(tmp + "/h/a/file", "");
    EXPECT_FALSE(CreatePath(root + u"/a/file/d"));
    EXPECT_TRUE(CheckPathExists(root + u"/a"));
    EXPECT_FALSE(CheckPathExists(root + u"/a/file"));
    EXPECT_TRUE(CheckFileExists(root + u"/a/file"));
    EXPECT_FALSE(CheckFileExists(root + u"/a"));
    EXPECT_TRUE(CheckIsDirectoryWritable(root));
    EXPECT_FALSE(CheckIsDirectoryWritable(root + u"/none"));
    EXPECT_EQ(std::distance(fs::directory_iterator(tmp + "/h"), {}), 1);

    WriteFile(tmp + "/h/a/b/Deep.Txt", "");
    WriteFile(tmp + "/h/a/b/c/README", "");
    CString found;
    EXPECT_FALSE(FindFileInFolder(root + u"/a", u"deep.txt", found));
    EXPECT_TRUE(FindFileInFolderRecourcive(root + u"/a", u"deep.txt", found));
    EXPECT_EQ(N(found), tmp + "/h/a/b/Deep.Txt");
    EXPECT_TRUE(FindFileInFolder(root + u"/a/b/c", u"*.*", found)); // no extension matches too
    EXPECT_EQ(N(found), tmp + "/h/a/b/c/README");
    EXPECT_FALSE(FindFileInFolderRecourcive(root, u"*.ini", found));

    EXPECT_FALSE(DeleteFileByPath(root + u"/a/b"));
    EXPECT_TRUE(CleanDirectory(root + u"/a/b"));
    EXPECT_TRUE(fs::is_directory(tmp + "/h/a/b"));
    EXPECT_TRUE(fs::is_empty(tmp + "/h/a/b"));
    EXPECT_TRUE(DeleteFileByPath(root + u"/a/file"));
    EXPECT_TRUE(DeletePath(root + u"/a"));
    EXPECT_FALSE(fs::exists(tmp + "/h/a"));
    EXPECT_FALSE(DeletePath(root + u"/a"));
}

TEST_F(PathsTest, ApplicationIdentity) {
    AppServiceSetApp(u"LumeCad");
    EXPECT_EQ(GetMainAppKey(), CString(u"LumeCad"));
    EXPECT_TRUE(AppHasServiceKey(u"LumeCad"));
    EXPECT_FALSE(AppHasServiceKey(u"lumecad"));
    AppServiceAddKey(u"Viewer");
    EXPECT_TRUE(AppHasServiceKey(u"Viewer"));
    EXPECT_TRUE(tarvexData::AppManager::IsHost(u"LUMECAD"));
    EXPECT_FALSE(tarvexData::AppManager::IsHost(u"Viewer"));
    AppServiceSetApp(u"");
    EXPECT_FALSE(tarvexData::AppManager::IsHost(u""));

    SetHelpFileName(u"tarvex.chm", 42);
    WORD value = 0;
    EXPECT_EQ(GetHelpFileName(&value), CString(u"tarvex.chm"));
    EXPECT_EQ(value, 42);
}
