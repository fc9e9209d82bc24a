#include <gtest/gtest.h>

#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>
#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tarvex/core/exceptions.h"
#include "tarvex/core/hostui.h"
#include "tarvex/core/log.h"
#include "tarvex/core/paths.h"
#include "tarvex/platform/errorinfo.h"

namespace {

namespace fs = std::filesystem;
using Calls = std::vector<std::u16string>;
using Texts = std::vector<std::string>;

Calls g_calls, g_debug;
void Record(const char16_t* text) {
    g_calls.emplace_back(text);
}
void RecordDebug(const char16_t* text) {
    g_debug.emplace_back(text);
}

std::string ReadAll(const fs::path& path) {
    std::stringstream bytes;
    bytes << std::ifstream(path, std::ios::binary).rdbuf();
    return bytes.str();
}

// "dd.mm.yyyy hh:mm:ss"
bool IsTimeStamp(const std::string& text) {
    static const std::regex shape(R"(\d\d\.\d\d\.\d{4} \d\d:\d\d:\d\d)");
    return std::regex_match(text, shape);
}

constexpr std::string_view kRule = "==========================================\r\n";

// The texts of a log's lines, headers skipped, each line's "time> " checked
// and removed. An empty line is a component message's second line end.
Texts LineTexts(const std::string& content) {
    Texts texts;
    for (size_t at = 0, end; at < content.size(); at = end + 2) {
        end = content.find("\r\n", at);
        if (end == std::string::npos) {
            ADD_FAILURE() << "unterminated line";
            break;
        }
        std::string line = content.substr(at, end - at);
        if (line.empty()) {
            texts.emplace_back();
        } else if (line != kRule.substr(0, 42) && line != "Tarvex log started." &&
                   !IsTimeStamp(line)) {
            EXPECT_TRUE(IsTimeStamp(line.substr(0, 19)) && line.compare(19, 2, "> ") == 0) << line;
            texts.push_back(line.substr(21));
        }
    }
    return texts;
}

class LogTest : public ::testing::Test {
protected:
    void SetUp() override {
        char pattern[] = "/tmp/tarvex-log-XXXXXX";
        ASSERT_NE(nullptr, mkdtemp(pattern));
        m_root = pattern;
        for (const char* name : {"HOME", "XDG_DATA_HOME"})
            if (const char* value = std::getenv(name)) m_saved.emplace_back(name, value);
        setenv("HOME", m_root.c_str(), 1);
        setenv("XDG_DATA_HOME", (m_root / "data").c_str(), 1);
        ResetSettingsPath();
        CTXLog::SetLoggingMode(0);
        CTXLog::CloseFile();
        g_calls.clear();
        g_debug.clear();
    }

    void TearDown() override {
        CTXLog::SetLoggingMode(0);
        CTXLog::CloseFile();
        CTXLog::SetGlobalOutputCallback(nullptr);
        tarvex::SetDebugOutputCallback(nullptr);
        tarvex::SetMessageBoxCallback(nullptr);
        unsetenv("HOME");
        unsetenv("XDG_DATA_HOME");
        for (const auto& [name, value] : m_saved) setenv(name.c_str(), value.c_str(), 1);
        ResetSettingsPath();
        fs::remove_all(m_root);
    }

    fs::path LogFile(int number) const {
        return m_root / "data/Velmark/Tarvex/LOG" / ("Tarvex" + std::to_string(number) + ".log");
    }
    Texts Lines(int number = 1) const { return LineTexts(ReadAll(LogFile(number))); }

    fs::path m_root;
    std::vector<std::pair<std::string, std::string>> m_saved;
};

TEST_F(LogTest, ModeZeroWritesNothingAndCreatesNoFolder) {
    CTXLog::SetGlobalOutputCallback(Record);
    CTXLog::Line(u"line");
    CTXLog::Error("narrow");
    CTXLog::Error(u"place", u"error");
    CTXLog::CommandWillStart(u"cmd");
    { CTXScopeLog scope(u"scope"); }
    CKVErrorHelper::LogMessage(u"message", u"tag");
    EXPECT_FALSE(fs::exists(m_root / "data"));
    EXPECT_TRUE(g_calls.empty());

    // PrintLine ignores the mode and never touches the file.
    CTXLog::PrintLine(u"printed");
    EXPECT_EQ(Calls{u"printed"}, g_calls);
    EXPECT_FALSE(fs::exists(m_root / "data"));
}

TEST_F(LogTest, HeaderAndLineAreExactBytes) {
    CTXLog::SetLoggingMode(1);
    CTXLog::Line(u"Привет, мир");
    const std::string content = ReadAll(LogFile(1));
    std::string_view rest = content;
    ASSERT_TRUE(rest.starts_with(std::string(kRule) + "Tarvex log started.\r\n")) << content;
    rest.remove_prefix(kRule.size() + 21);
    EXPECT_TRUE(IsTimeStamp(std::string(rest.substr(0, 19))));
    rest.remove_prefix(19);
    ASSERT_TRUE(rest.starts_with("\r\n" + std::string(kRule))) << content;
    rest.remove_prefix(2 + kRule.size());
    EXPECT_TRUE(IsTimeStamp(std::string(rest.substr(0, 19))));
    EXPECT_EQ("> \xCF\xF0\xE8\xE2\xE5\xF2, \xEC\xE8\xF0\r\n", rest.substr(19));
}

TEST_F(LogTest, LineFormsOfEveryEntry) {
    CTXLog::SetLoggingMode(1);
    CTXLog::Error(u"bad");
    CTXLog::Error(u"Place", u"bad");
    CTXLog::Error(u"", u"no place");
    CTXLog::Error("узкий");
    CTXLog::FormatLine(u"%d-%s", 5, CString(u"x"));
    CTXLog::FormatError(u"%s!", CString(u"y"));
    CTXLog::CommandWillStart(u"B");
    CTXLog::CommandEnded(u"B");
    CTXLog::CommandFailed(u"B");
    CTXLog::CommandCancelled(u"B");
    {
        CTXScopeLog scope(u"Scope");
        CTXLog::Line(u"");
    }
    CTXLog::Line(u"日本");
    CKVException::LogErrorMsgFmt(u"%s %d", CString(u"fmt"), 7);
    EXPECT_EQ((Texts{"=E \"bad\"", "=E \"bad\" at Place", "=E \"no place\"",
                     "=E \"\xF3\xE7\xEA\xE8\xE9\"", "5-x", "=E \"y!\"", "=COMMAND STARTED: B",
                     "=COMMAND ENDED: B", "=!COMMAND FAILED: B", "=COMMAND CANCELLED: B",
                     "+++Scope", "", "---Scope", "??", "=E \"fmt 7\""}),
              Lines());
}

TEST_F(LogTest, CallbackReceivesWhatTheModeAllows) {
    CTXLog::SetGlobalOutputCallback(Record);
    CTXLog::SetLoggingMode(1);
    CTXLog::Line(u"l1");
    CTXLog::Error(u"e1");
    EXPECT_TRUE(g_calls.empty());

    CTXLog::SetLoggingMode(2);
    CTXLog::Line(u"l2");
    CTXLog::Error(u"e2");
    EXPECT_EQ(Calls{u"=E \"e2\""}, g_calls);

    g_calls.clear();
    CTXLog::SetLoggingMode(3);
    CTXLog::Line(u"l3");
    CTXLog::Error(u"Here", u"e3");
    EXPECT_EQ((Calls{u"l3", u"=E \"e3\" at Here"}), g_calls);

    EXPECT_EQ((Texts{"l1", "=E \"e1\"", "l2", "=E \"e2\"", "l3", "=E \"e3\" at Here"}), Lines());
}

TEST_F(LogTest, CloseFileAppendsANewHeaderToTheSameFile) {
    CTXLog::SetLoggingMode(1);
    CTXLog::Line(u"first");
    CTXLog::CloseFile();
    CTXLog::CloseFile();
    CTXLog::Line(u"second");
    const std::string content = ReadAll(LogFile(1));
    size_t first = content.find("> first\r\n");
    size_t header = content.find("Tarvex log started.", first);
    EXPECT_NE(std::string::npos, header);
    EXPECT_LT(header, content.find("> second\r\n"));
    EXPECT_FALSE(fs::exists(LogFile(2)));
}

// Other processes' logs are stood in for by locks on descriptions of our
// own, which conflict just as another process's would.
TEST_F(LogTest, NumbersHeldElsewhereAreSkipped) {
    fs::create_directories(LogFile(1).parent_path());
    std::vector<int> held(20, -1);
    auto hold = [&](int number) {
        held[number] = open(LogFile(number).c_str(), O_WRONLY | O_CREAT, 0666);
        ASSERT_EQ(0, flock(held[number], LOCK_EX | LOCK_NB));
    };
    for (int number = 1; number <= 3; ++number) hold(number);
    CTXLog::SetLoggingMode(1);
    CTXLog::Line(u"fourth");
    EXPECT_EQ(Texts{"fourth"}, Lines(4));

    // With all nineteen held the line is lost; the next line tries again.
    CTXLog::CloseFile();
    for (int number = 4; number <= 19; ++number) hold(number);
    CTXLog::Line(u"lost");
    close(held[7]);
    CTXLog::Line(u"found");
    EXPECT_EQ(Texts{"found"}, Lines(7));
    EXPECT_EQ(Texts{"fourth"}, Lines(4));
    for (int fd : held)
        if (fd >= 0) close(fd);
}

TEST_F(LogTest, SecondProcessWritesToTheNextNumber) {
    CTXLog::SetLoggingMode(1);
    CTXLog::Line(u"parent");
    pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        // The inherited descriptor shares our lock; dropping it makes the
        // child open a log of its own.
        CTXLog::CloseFile();
        CTXLog::Line(u"child");
        _exit(0);
    }
    int status = 0;
    ASSERT_EQ(child, waitpid(child, &status, 0));
    ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    CTXLog::Line(u"parent again");
    EXPECT_EQ((Texts{"parent", "parent again"}), Lines(1));
    EXPECT_EQ(Texts{"child"}, Lines(2));
}

TEST_F(LogTest, ErrorHelperTextsAndComponentMessages) {
    CString text;
    CKVErrorHelper::GetLastErrorMessage(HRESULT(0x80040902), text);
    EXPECT_EQ(CString(u"Could not find any compatible Direct3D devices. Error code 0x80040902."),
              text);
    CKVErrorHelper::GetLastErrorMessage(E_FAIL, text);
    EXPECT_EQ(CString(u"Unspecified error. Error code 0x80004005."), text);
    CKVErrorHelper::GetLastErrorMessage(HRESULT(0x8004ABCD), text);
    EXPECT_EQ(CString(u"Error code 0x8004abcd."), text);
    // An error object's description wins over the system text, not over the
    // fixed texts; it is taken either way.
    for (HRESULT code : {E_FAIL, HRESULT(0x80040909)}) {
        ICreateErrorInfo* create = nullptr;
        IErrorInfo* info = nullptr;
        ASSERT_EQ(S_OK, CreateErrorInfo(&create));
        create->SetDescription(const_cast<char16_t*>(u"From the object"));
        create->QueryInterface(IID_IErrorInfo, reinterpret_cast<void**>(&info));
        SetErrorInfo(0, info);
        info->Release();
        create->Release();
        CKVErrorHelper::GetLastErrorMessage(code, text);
    }
    EXPECT_EQ(CString(u"Incorrect version of Direct3D and/or D3DX. Error code 0x80040909."), text);
    CKVErrorHelper::GetLastErrorMessage(E_FAIL, text);
    EXPECT_EQ(CString(u"Unspecified error. Error code 0x80004005."), text);

    CTXLog::SetLoggingMode(1);
    CKVErrorHelper::LogErrorMessage(u"Prefix: ", u"detail", u"Place");
    CKVErrorHelper::LogErrorMessage(u"direct", nullptr);
    CKVErrorHelper::LogErrorMessage(HRESULT(0x80040905), u"Render", u"Draw");
    CKVErrorHelper::LogMessage(u"hello", u"Tag");
    CKVErrorHelper::LogMessageFmt(u"%d items", nullptr, 3);
    Texts texts = Lines();
    ASSERT_EQ(7u, texts.size());
    EXPECT_EQ("=E \"Prefix: detail\" at Place", texts[0]);
    EXPECT_EQ("=E \"direct\"", texts[1]);
    EXPECT_EQ("=E \"Draw {Failed creating the Direct3D device. Error code 0x80040905.}\" at Render",
              texts[2]);
    // A component message has a time stamp of its own and ends in a blank
    // and a line end, so an empty line follows it.
    EXPECT_TRUE(texts[3][0] == '[' && IsTimeStamp(texts[3].substr(1, 19))) << texts[3];
    EXPECT_EQ("][RDXComponent.Tag] hello ", texts[3].substr(20));
    EXPECT_EQ("][RDXComponent] 3 items ", texts[5].substr(20));
    EXPECT_EQ("", texts[4] + texts[6]);
}

int RecordBox(const char16_t* text, const char16_t* caption, UINT type) {
    g_calls = {text, caption, std::u16string(1, char16_t(type))};
    return IDNO;
}

TEST_F(LogTest, DebugOutputAndMessageBoxGoWhereTheHostSays) {
    CTXLog::SetLoggingMode(1);
    CKVException::LogErrorMsg(u"unheard");
    tarvex::SetDebugOutputCallback(RecordDebug);
    CKVException::LogErrorMsg(u"heard");
    EXPECT_EQ(Calls{u"heard"}, g_debug);

    // Without a host a box is logged and printed, and answers OK.
    testing::internal::CaptureStderr();
    EXPECT_EQ(IDOK, MessageBoxW(nullptr, u"Файл не найден", u"Tarvex", MB_YESNO));
    EXPECT_EQ("Tarvex: Файл не найден\n", testing::internal::GetCapturedStderr());

    tarvex::SetMessageBoxCallback(RecordBox);
    EXPECT_EQ(IDNO, MessageBoxW(nullptr, u"Sure?", nullptr, MB_YESNO | MB_ICONQUESTION));
    EXPECT_EQ((Calls{u"Sure?", u"", std::u16string(1, char16_t(MB_YESNO | MB_ICONQUESTION))}),
              g_calls);

    EXPECT_EQ((Texts{"=E \"unheard\"", "=E \"heard\"",
                     "Tarvex: \xD4\xE0\xE9\xEB \xED\xE5 \xED\xE0\xE9\xE4\xE5\xED"}),
              Lines());
}

} // namespace
