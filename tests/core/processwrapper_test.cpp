#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <sys/file.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include "tarvex/core/processwrapper.h"
#include "tarvex/platform/codepage.h"

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

std::string ReadAll(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream bytes;
    bytes << in.rdbuf();
    return bytes.str();
}

void WriteAll(const fs::path& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
}

CString Wide(const fs::path& path) {
    return tarvex::FromUtf8(path.string());
}

template <class Predicate>
bool Eventually(Predicate predicate) {
    for (int i = 0; i < 200; ++i) {
        if (predicate()) return true;
        std::this_thread::sleep_for(10ms);
    }
    return false;
}

class ProcessTest : public ::testing::Test {
protected:
    void SetUp() override {
        char pattern[] = "/tmp/tarvex-process-XXXXXX";
        ASSERT_NE(nullptr, mkdtemp(pattern));
        m_dir = fs::canonical(pattern);
        m_input = m_dir / "input.txt";
        m_output = m_dir / "output.txt";
        WriteAll(m_input, "");
    }
    void TearDown() override { fs::remove_all(m_dir); }

    // Runs with the input and output files and gives the output.
    std::string Run(const char16_t* application, const char16_t* arguments,
                    const char16_t* folder = nullptr) {
        CProcessWrapper wrapper;
        wrapper.SetInputFile(Wide(m_input));
        wrapper.SetOutputFile(Wide(m_output));
        EXPECT_EQ(0u, wrapper.Execute(application, arguments, folder))
            << wrapper.GetLastErrorText();
        return ReadAll(m_output);
    }

    fs::path m_dir, m_input, m_output;
};

TEST_F(ProcessTest, FeedsTheInputFileAndReplacesTheOutputFile) {
    std::string data;
    for (int i = 0; i < 10000; ++i) data += static_cast<char>(i * 7);
    WriteAll(m_input, data);
    WriteAll(m_output, std::string(20000, 'x'));

    CProcessWrapper wrapper;
    wrapper.SetInputFile(Wide(m_input));
    wrapper.SetOutputFile(Wide(m_output));
    ASSERT_EQ(0u, wrapper.Execute(u"/bin/cat", u"", nullptr)) << wrapper.GetLastErrorText();
    EXPECT_EQ(data, ReadAll(m_output));
    EXPECT_TRUE(wrapper.GetLastErrorText().IsEmpty());

    // The same wrapper runs again, its files free once more.
    WriteAll(m_input, "again\n");
    ASSERT_EQ(0u, wrapper.Execute(u"/bin/cat", nullptr, nullptr));
    EXPECT_EQ("again\n", ReadAll(m_output));
}

TEST_F(ProcessTest, CommandLineSplitsLikeAWindowsCommandLine) {
    EXPECT_EQ(
        "[a b][c\"d][][e\\\\f][g\\\"h][i\"j]",
        Run(u"/bin/sh", uR"(-c "printf '[%s]' \"$@\"" sh "a b" c\"d "" e\\f "g\\\"h" "i""j")"));
    // A leading blank of the arguments is not doubled, and a program without
    // a folder is looked for along PATH.
    EXPECT_EQ("x", Run(u"printf", u" x"));

    // A quoted program may have blanks in its path.
    fs::create_directories(m_dir / "my tools");
    const fs::path script = m_dir / "my tools" / "run.sh";
    WriteAll(script, "#!/bin/sh\necho \"ran $1\"\n");
    fs::permissions(script, fs::perms::owner_all);
    EXPECT_EQ("ran ok\n", Run(Wide("\"" + script.string() + "\""), u"ok"));
}

TEST_F(ProcessTest, RunsInTheGivenFolderAndCollectsStandardError) {
    EXPECT_EQ(m_dir.string() + "\n", Run(u"/bin/pwd", nullptr, Wide(m_dir)));
    EXPECT_EQ("out\nerr\n", Run(u"/bin/sh", u"-c \"echo out; echo err >&2\""));

    // A relative program is found from our folder, not from the child's.
    fs::create_directories(m_dir / "tools");
    fs::create_directories(m_dir / "work");
    WriteAll(m_dir / "tools" / "where.sh", "#!/bin/sh\npwd\n");
    fs::permissions(m_dir / "tools" / "where.sh", fs::perms::owner_all);
    const fs::path saved = fs::current_path();
    fs::current_path(m_dir);
    std::string output = Run(u"tools/where.sh", nullptr, Wide(m_dir / "work"));
    fs::current_path(saved);
    EXPECT_EQ((m_dir / "work").string() + "\n", output);
}

TEST_F(ProcessTest, FailuresReturnTheSystemCodeAndText) {
    CProcessWrapper wrapper;
    wrapper.SetInputFile(Wide(m_dir / "missing.txt"));
    wrapper.SetOutputFile(Wide(m_output));
    EXPECT_EQ(DWORD(ENOENT), wrapper.Execute(u"/bin/cat", nullptr, nullptr));
    EXPECT_EQ(CString(u"CreateFile failed with error 2: No such file or directory"),
              wrapper.GetLastErrorText());
    EXPECT_FALSE(fs::exists(m_output)); // the input is opened first

    wrapper.SetInputFile(Wide(m_input));
    EXPECT_EQ(DWORD(ENOENT), wrapper.Execute(u"/no/such/program", nullptr, nullptr));
    EXPECT_EQ(CString(u"CreateProcess failed with error 2: No such file or directory"),
              wrapper.GetLastErrorText());
    EXPECT_EQ(DWORD(EINVAL), wrapper.Execute(u"", nullptr, nullptr));

    // The input and output files are not shared with anyone else.
    WriteAll(m_output, "kept");
    int held = open(m_output.c_str(), O_RDONLY);
    ASSERT_EQ(0, flock(held, LOCK_EX | LOCK_NB));
    EXPECT_EQ(DWORD(EWOULDBLOCK), wrapper.Execute(u"/bin/cat", nullptr, nullptr));
    EXPECT_EQ(0, wrapper.GetLastErrorText().Find(u"CreateFile failed with error 11: "));
    EXPECT_EQ("kept", ReadAll(m_output));
    close(held);
    EXPECT_EQ(0u, wrapper.Execute(u"/bin/cat", nullptr, nullptr));
    EXPECT_TRUE(wrapper.GetLastErrorText().IsEmpty());
}

TEST_F(ProcessTest, WithoutOutputFileTheChildWritesToOurStandardOutput) {
    const fs::path captured = m_dir / "stdout.txt";
    std::fflush(stdout);
    int saved = dup(STDOUT_FILENO);
    int file = open(captured.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    dup2(file, STDOUT_FILENO);
    close(file);

    CProcessWrapper wrapper;
    wrapper.SetInputFile(Wide(m_input));
    DWORD result = wrapper.Execute(u"/bin/sh", u"-c \"echo to-stdout\"", nullptr);

    dup2(saved, STDOUT_FILENO);
    close(saved);
    EXPECT_EQ(0u, result);
    EXPECT_EQ("to-stdout\n", ReadAll(captured));
}

TEST_F(ProcessTest, ChildThatStopsReadingDoesNotKillTheCaller) {
    WriteAll(m_input, std::string(1 << 20, 'z'));
    EXPECT_EQ("", Run(u"/bin/true", nullptr));
}

TEST_F(ProcessTest, WaitTimesOutAndTheChildIsReapedLater) {
    CProcessWrapper wrapper;
    wrapper.SetInputFile(Wide(m_input));
    wrapper.SetOutputFile(Wide(m_output));
    wrapper.SetWaitTimeout(200);
    // The child lets go of the output pipe at once, so only the wait is left.
    auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(0u, wrapper.Execute(u"/bin/sh", u"-c \"exec sleep 5 >/dev/null 2>&1\"", nullptr));
    auto elapsed = std::chrono::steady_clock::now() - start;
    EXPECT_GE(elapsed, 190ms);
    EXPECT_LT(elapsed, 2s);

    const pid_t pid = static_cast<pid_t>(wrapper.GetProcessId());
    ASSERT_GT(pid, 0);
    EXPECT_EQ(0, kill(pid, 0)); // left running
    kill(pid, SIGKILL);
    const std::string stat = "/proc/" + std::to_string(pid) + "/stat";
    ASSERT_TRUE(Eventually([&] { return ReadAll(stat).find(") Z ") != std::string::npos; }));
    { CProcessWrapper another; }
    EXPECT_EQ(-1, waitpid(pid, nullptr, WNOHANG));
    EXPECT_EQ(ECHILD, errno);
}

TEST_F(ProcessTest, CreateProcessStartsWithoutPipesAndReportsTheMissingOne) {
    const fs::path flag = m_dir / "flag";
    CProcessWrapper wrapper;
    const CString arguments = tarvex::FromUtf8("-c \"echo started > '" + flag.string() + "'\"");
    EXPECT_EQ(DWORD(EBADF), wrapper.CreateProcessW(u"/bin/sh", arguments, nullptr));
    EXPECT_EQ(CString(u"StdInWr CloseHandle failed with error 9: Bad file descriptor"),
              wrapper.GetLastErrorText());
    EXPECT_TRUE(Eventually([&] { return ReadAll(flag) == "started\n"; }));
}

} // namespace
