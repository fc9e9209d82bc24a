#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "tarvex/core/hostui.h"
#include "tarvex/core/paths.h"
#include "tarvex/core/reactor.h"
#include "tarvex/platform/codepage.h"

namespace {

namespace fs = std::filesystem;

std::vector<std::string> g_events;

class Probe : public CTXRuntimeStateReactor {
public:
    Probe(std::string name, bool agree = true) : m_name(std::move(name)), m_agree(agree) {}
    void OnLoadComplete() override { g_events.push_back(m_name + ":load"); }
    void OnStartUnload() override { g_events.push_back(m_name + ":unload"); }
    bool OnModulesLoaded() override {
        g_events.push_back(m_name + ":modules");
        return m_agree;
    }

    static int64_t Count() { return m_reactors.GetLength(); }

private:
    std::string m_name;
    bool m_agree;
};

// Unregisters on destruction, so a failed expectation leaves no dangling
// reactor behind for later tests.
struct Registered {
    explicit Registered(CTXRuntimeStateReactor* reactor) : m_reactor(reactor) {
        CTXRuntimeStateReactor::RegisterReactor(reactor);
    }
    ~Registered() { CTXRuntimeStateReactor::UnregisterReactor(m_reactor); }
    CTXRuntimeStateReactor* m_reactor;
};

class ReactorTest : public ::testing::Test {
protected:
    void SetUp() override {
        g_events.clear();
        m_baseline = Probe::Count();
    }
    void TearDown() override { EXPECT_EQ(m_baseline, Probe::Count()); }
    int64_t m_baseline = 0;
};

TEST_F(ReactorTest, FiresInOrderOfRegistrationAndIgnoresStrangers) {
    Probe a("a"), b("b"), stranger("stranger");
    CTXRuntimeStateReactor defaults; // agrees and does nothing
    Registered ra(&a), rd(&defaults), rb(&b);
    CTXRuntimeStateReactor::RegisterReactor(nullptr);
    CTXRuntimeStateReactor::UnregisterReactor(&stranger);
    CTXRuntimeStateReactor::UnregisterReactor(nullptr);
    EXPECT_EQ(m_baseline + 3, Probe::Count());

    CTXRuntimeStateReactor::FireLoadComplete();
    CTXRuntimeStateReactor::FireStartUnload();
    EXPECT_TRUE(CTXRuntimeStateReactor::FireModulesLoaded());
    EXPECT_EQ((std::vector<std::string>{"a:load", "b:load", "a:unload", "b:unload", "a:modules",
                                        "b:modules"}),
              g_events);
}

TEST_F(ReactorTest, ModulesLoadedStopsAtTheFirstRefusal) {
    EXPECT_TRUE(CTXRuntimeStateReactor::FireModulesLoaded());

    Probe a("a"), no("no", false), c("c");
    Registered ra(&a), rno(&no), rc(&c);
    EXPECT_FALSE(CTXRuntimeStateReactor::FireModulesLoaded());
    EXPECT_EQ((std::vector<std::string>{"a:modules", "no:modules"}), g_events);

    g_events.clear();
    CTXRuntimeStateReactor::UnregisterReactor(&no);
    EXPECT_TRUE(CTXRuntimeStateReactor::FireModulesLoaded());
    EXPECT_EQ((std::vector<std::string>{"a:modules", "c:modules"}), g_events);
}

int RecordBox(const char16_t* text, const char16_t* caption, UINT type) {
    g_events.push_back("box");
    EXPECT_EQ(std::u16string(u"Внимание!\nПрограмма работает в режиме ГЛАВНОГО РАБОЧЕГО МЕСТА.\n\n"
                             u"Это значит, что все сделанные Вами изменения настроек попадут в "
                             u"сетевые настройки для всей рабочей группы."),
              text);
    EXPECT_EQ(std::u16string(u"Tarvex"), caption);
    EXPECT_EQ(MB_ICONEXCLAMATION, type & 0xF0);
    return IDOK;
}

void WriteLine(const fs::path& path, const std::string& line) {
    fs::create_directories(path.parent_path());
    std::ofstream(path) << line << "\n";
}

// A team folder whose MasterHost.ini names this computer makes this machine
// the master host: loading is then announced with a warning first.
TEST_F(ReactorTest, MasterHostIsWarnedBeforeReactorsHearOfTheLoad) {
    char pattern[] = "/tmp/tarvex-reactor-XXXXXX";
    ASSERT_NE(nullptr, mkdtemp(pattern));
    const fs::path root = pattern;
    std::vector<std::pair<std::string, std::string>> saved;
    for (const char* name : {"HOME", "XDG_DATA_HOME"})
        if (const char* value = std::getenv(name)) saved.emplace_back(name, value);
    setenv("HOME", root.c_str(), 1);
    setenv("XDG_DATA_HOME", (root / "data").c_str(), 1);

    const fs::path team = root / "team";
    fs::create_directories(team / "Settings");
    WriteLine(team / "Control" / "MasterHost.ini", tarvex::ToUtf8(GetHostName().View()));
    WriteLine(root / "install" / "settings.ini", team.string());
    tarvex::SetModulePathForTesting(
        CString(tarvex::FromUtf8((root / "install" / "bin" / "libtarvex.so").string())));
    tarvex::SetMessageBoxCallback(RecordBox);
    ResetSettingsPath();
    EXPECT_EQ(0, InitSettingsPath());
    EXPECT_TRUE(IsMasterHost());

    Probe a("a");
    Registered ra(&a);
    g_events.clear();
    CTXRuntimeStateReactor::FireLoadComplete();
    EXPECT_EQ((std::vector<std::string>{"box", "a:load"}), g_events);

    // Once no longer master, the warning is not shown.
    ResetSettingsPath();
    g_events.clear();
    CTXRuntimeStateReactor::FireLoadComplete();
    EXPECT_EQ(std::vector<std::string>{"a:load"}, g_events);

    tarvex::SetMessageBoxCallback(nullptr);
    tarvex::SetModulePathForTesting(nullptr);
    unsetenv("HOME");
    unsetenv("XDG_DATA_HOME");
    for (const auto& [name, value] : saved) setenv(name.c_str(), value.c_str(), 1);
    ResetSettingsPath();
    fs::remove_all(root);
}

} // namespace
