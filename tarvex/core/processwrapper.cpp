#include "tarvex/core/processwrapper.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <ctime>
#include <fcntl.h>
#include <mutex>
#include <spawn.h>
#include <string>
#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include "tarvex/platform/codepage.h"
#include "tarvex/platform/syserror.h"

extern char** environ;

namespace {

constexpr size_t kBlockSize = 4096;

// ---- Children left running when their wait timed out ----

struct Abandoned {
    std::mutex mutex;
    std::vector<pid_t> pids;
};

Abandoned& AbandonedChildren() {
    static Abandoned children;
    return children;
}

void Abandon(pid_t pid) {
    Abandoned& children = AbandonedChildren();
    std::lock_guard<std::mutex> lock(children.mutex);
    children.pids.push_back(pid);
}

// Reaps those that have ended since. A pid the host has reaped itself (its
// own SIGCHLD handler, or SIGCHLD ignored) gives ECHILD and is dropped too.
void ReapAbandoned() {
    Abandoned& children = AbandonedChildren();
    std::lock_guard<std::mutex> lock(children.mutex);
    std::erase_if(children.pids, [](pid_t pid) {
        pid_t result;
        do result = ::waitpid(pid, nullptr, WNOHANG);
        while (result < 0 && errno == EINTR);
        return result != 0;
    });
}

// ---- Command line ----

bool IsBlank(char16_t ch) {
    return ch == u' ' || ch == u'\t';
}

// Splits by the Windows C runtime's rules; see the class comment.
std::vector<std::string> SplitCommandLine(std::u16string_view line) {
    std::vector<std::string> words;
    size_t i = 0;
    while (i < line.size() && IsBlank(line[i])) ++i;
    if (i == line.size()) return words;

    // The program: quotes group and are dropped, backslashes are literal.
    std::u16string word;
    bool quoted = false;
    for (; i < line.size(); ++i) {
        if (line[i] == u'"')
            quoted = !quoted;
        else if (!quoted && IsBlank(line[i]))
            break;
        else
            word += line[i];
    }
    words.push_back(tarvex::ToUtf8(word));

    for (;;) {
        while (i < line.size() && IsBlank(line[i])) ++i;
        if (i == line.size()) break;
        word.clear();
        quoted = false;
        while (i < line.size() && (quoted || !IsBlank(line[i]))) {
            size_t slashes = 0;
            while (i < line.size() && line[i] == u'\\') ++slashes, ++i;
            if (i < line.size() && line[i] == u'"') {
                word.append(slashes / 2, u'\\');
                if (slashes % 2 == 1) {
                    word += u'"';
                    ++i;
                } else if (quoted && i + 1 < line.size() && line[i + 1] == u'"') {
                    word += u'"';
                    i += 2;
                } else {
                    quoted = !quoted;
                    ++i;
                }
            } else if (slashes > 0) {
                word.append(slashes, u'\\');
            } else {
                word += line[i++];
            }
        }
        words.push_back(tarvex::ToUtf8(word));
    }
    return words;
}

// ---- Descriptors ----

std::string Narrow(const CString& text) {
    return tarvex::ToUtf8(text.View());
}

// Closes and marks closed; the result is close's, so closing a descriptor
// that is already closed fails with EBADF as closing a null handle does.
int CloseHandle(int& fd) {
    int old = fd;
    fd = -1;
    return ::close(old);
}

// The child's ends are moved onto 0, 1 and 2 in the child. Keeping every
// pipe end above those numbers (when the caller has closed one of its own
// standard streams) means no move can overwrite another end first.
int AboveStandardStreams(int fd) {
    if (fd > STDERR_FILENO) return fd;
    int moved = ::fcntl(fd, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    int saved = errno;
    ::close(fd);
    errno = saved;
    return moved;
}

// A pipe whose ends no child inherits unless it is handed over explicitly.
bool CreatePipe(int& readEnd, int& writeEnd) {
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0) return false;
    readEnd = AboveStandardStreams(ends[0]);
    if (readEnd < 0) {
        int saved = errno;
        ::close(ends[1]);
        errno = saved;
        return false;
    }
    writeEnd = AboveStandardStreams(ends[1]);
    return writeEnd >= 0;
}

// Opens with no sharing: an exclusive lock for as long as the file is open,
// and failure when someone else holds one.
int OpenUnshared(const CString& name, int flags) {
    int fd = ::open(Narrow(name).c_str(), flags | O_CLOEXEC, 0666);
    if (fd < 0) return -1;
    if (::flock(fd, LOCK_EX | LOCK_NB) != 0) {
        int saved = errno;
        ::close(fd);
        errno = saved;
        return -1;
    }
    return fd;
}

ssize_t ReadSome(int fd, char* buffer, size_t size) {
    ssize_t n;
    do n = ::read(fd, buffer, size);
    while (n < 0 && errno == EINTR);
    return n;
}

bool WriteAll(int fd, const char* data, size_t size) {
    while (size > 0) {
        ssize_t n = ::write(fd, data, size);
        if (n < 0) {
            if (errno == EINTR) continue;
            return false;
        }
        data += n;
        size -= static_cast<size_t>(n);
    }
    return true;
}

// Copies `from` to `to` in blocks until the data ends or either side fails.
void Pump(int from, int to) {
    char buffer[kBlockSize];
    for (;;) {
        ssize_t n = ReadSome(from, buffer, sizeof buffer);
        if (n <= 0 || !WriteAll(to, buffer, static_cast<size_t>(n))) return;
    }
}

// A child that goes away early must give the writer EPIPE, not kill the
// host with SIGPIPE: the signal is blocked for the thread while the data
// moves, and one that this raised is taken off again before unblocking.
class SigPipeGuard {
public:
    SigPipeGuard() {
        sigemptyset(&m_pipe);
        sigaddset(&m_pipe, SIGPIPE);
        sigset_t pending;
        sigpending(&pending);
        m_bWasPending = sigismember(&pending, SIGPIPE) == 1;
        pthread_sigmask(SIG_BLOCK, &m_pipe, &m_saved);
    }
    SigPipeGuard(const SigPipeGuard&) = delete;
    SigPipeGuard& operator=(const SigPipeGuard&) = delete;
    ~SigPipeGuard() {
        int saved = errno;
        sigset_t pending;
        sigpending(&pending);
        if (!m_bWasPending && sigismember(&pending, SIGPIPE) == 1) {
            timespec zero{};
            sigtimedwait(&m_pipe, nullptr, &zero);
        }
        pthread_sigmask(SIG_SETMASK, &m_saved, nullptr);
        errno = saved;
    }

private:
    sigset_t m_pipe;
    sigset_t m_saved;
    bool m_bWasPending;
};

timespec Now() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now;
}

long long MillisecondsSince(const timespec& start) {
    timespec now = Now();
    return (now.tv_sec - start.tv_sec) * 1000LL + (now.tv_nsec - start.tv_nsec) / 1000000;
}

} // namespace

CProcessWrapper::~CProcessWrapper() {
    CleanUp();
    ReapAbandoned();
}

DWORD CProcessWrapper::Execute(const char16_t* application, const char16_t* arguments,
                               const char16_t* folder) {
    ReapAbandoned();
    m_strLastError.Empty();

    if (!CreatePipe(m_hChildStd_OUT_Rd, m_hChildStd_OUT_Wr))
        return ErrorExit(u"StdoutRd CreatePipe");
    if (!CreatePipe(m_hChildStd_IN_Rd, m_hChildStd_IN_Wr)) return ErrorExit(u"Stdin CreatePipe");

    if (!m_strInputFile.IsEmpty()) {
        m_hInputFile = OpenUnshared(m_strInputFile, O_RDONLY);
        if (m_hInputFile < 0) return ErrorExit(u"CreateFile");
    }
    if (!m_strOutputFile.IsEmpty()) {
        // Emptied only once the lock is ours, so a file in use elsewhere is
        // left as it is.
        m_hOutputFile = OpenUnshared(m_strOutputFile, O_WRONLY | O_CREAT);
        if (m_hOutputFile < 0 || ::ftruncate(m_hOutputFile, 0) != 0)
            return ErrorExit(u"CreateFile");
    }

    if (DWORD code = StartChild(application, arguments, folder, true)) return code;
    // The child holds its own copy; without ours, writing to a child that
    // has gone fails instead of blocking.
    CloseHandle(m_hChildStd_IN_Rd);

    SigPipeGuard guard;
    if (DWORD code = WriteToPipe()) return code;
    if (DWORD code = ReadFromPipe()) return code;
    // The output has ended; closing our end now also frees a child that
    // kept writing after a failed write to the output file.
    CloseHandle(m_hChildStd_OUT_Rd);
    WaitForChild();
    CleanUp();
    return 0;
}

DWORD CProcessWrapper::CreateProcessW(const char16_t* application, const char16_t* arguments,
                                      const char16_t* folder) {
    ReapAbandoned();
    m_strLastError.Empty();
    if (DWORD code = StartChild(application, arguments, folder, false)) return code;
    SigPipeGuard guard;
    if (DWORD code = WriteToPipe()) return code;
    if (DWORD code = ReadFromPipe()) return code;
    CleanUp();
    return 0;
}

DWORD CProcessWrapper::StartChild(const char16_t* application, const char16_t* arguments,
                                  const char16_t* folder, bool redirect) {
    CString commandLine(application);
    if (arguments && *arguments) {
        if (*arguments != u' ') commandLine += u' ';
        commandLine += arguments;
    }
    std::vector<std::string> words = SplitCommandLine(commandLine.View());
    if (words.empty() || words[0].empty()) {
        SetLastError(EINVAL);
        return ErrorExit(u"CreateProcess");
    }
    std::vector<char*> argv;
    for (std::string& word : words) argv.push_back(word.data());
    argv.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    if (redirect) {
        posix_spawn_file_actions_adddup2(&actions, m_hChildStd_IN_Rd, STDIN_FILENO);
        posix_spawn_file_actions_adddup2(&actions, m_hChildStd_OUT_Wr, STDOUT_FILENO);
        posix_spawn_file_actions_adddup2(&actions, m_hChildStd_OUT_Wr, STDERR_FILENO);
    }
    std::string directory = folder ? tarvex::ToUtf8(folder) : std::string();
    if (!directory.empty()) posix_spawn_file_actions_addchdir_np(&actions, directory.c_str());

    // The child starts as a fresh program would: nothing blocked, and SIGPIPE
    // in its default action even when the host ignores it.
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    sigset_t none;
    sigemptyset(&none);
    sigset_t pipe;
    sigemptyset(&pipe);
    sigaddset(&pipe, SIGPIPE);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setsigdefault(&attributes, &pipe);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);

    // A relative program path means the caller's folder, not the child's.
    std::string program = words[0];
    if (!directory.empty() && program[0] != '/' && program.find('/') != std::string::npos) {
        char current[PATH_MAX];
        if (::getcwd(current, sizeof current)) program = std::string(current) + '/' + program;
    }

    pid_t pid = 0;
    int result = posix_spawnp(&pid, program.c_str(), &actions, &attributes, argv.data(), environ);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    if (result != 0) {
        SetLastError(static_cast<DWORD>(result));
        return ErrorExit(u"CreateProcess");
    }
    m_hProcess = pid;
    m_dwProcessId = static_cast<DWORD>(pid);
    m_dwThreadId = static_cast<DWORD>(pid);
    return 0;
}

DWORD CProcessWrapper::WriteToPipe() {
    // Without a pipe there is no one to feed, and the caller's own input is
    // left unread.
    if (m_hChildStd_IN_Wr >= 0)
        Pump(m_hInputFile >= 0 ? m_hInputFile : STDIN_FILENO, m_hChildStd_IN_Wr);
    if (CloseHandle(m_hChildStd_IN_Wr) != 0) return ErrorExit(u"StdInWr CloseHandle");
    return 0;
}

DWORD CProcessWrapper::ReadFromPipe() {
    if (CloseHandle(m_hChildStd_OUT_Wr) != 0) return ErrorExit(u"StdOutWr CloseHandle");
    int target = m_hOutputFile;
    if (target < 0) {
        // What the caller has printed so far comes before the child's output.
        std::fflush(stdout);
        target = STDOUT_FILENO;
    }
    Pump(m_hChildStd_OUT_Rd, target);
    return 0;
}

void CProcessWrapper::WaitForChild() {
    if (m_hProcess <= 0) return;
    const timespec start = Now();
    long long pause = 1; // milliseconds, doubling up to 50
    for (;;) {
        pid_t result = ::waitpid(m_hProcess, nullptr, m_dwWaitTime == kInfinite ? 0 : WNOHANG);
        if (result < 0 && errno == EINTR) continue;
        if (result != 0) { // reaped, or reaped by someone else
            m_hProcess = 0;
            return;
        }
        long long left = static_cast<long long>(m_dwWaitTime) - MillisecondsSince(start);
        if (left <= 0) return; // still running: CloseProcessHandle hands it on
        long long step = std::min(pause, left);
        timespec sleep{static_cast<time_t>(step / 1000), static_cast<long>(step % 1000) * 1000000};
        nanosleep(&sleep, nullptr);
        pause = std::min(pause * 2, 50LL);
    }
}

void CProcessWrapper::CloseProcessHandle() {
    if (m_hProcess <= 0) return;
    pid_t result;
    do result = ::waitpid(m_hProcess, nullptr, WNOHANG);
    while (result < 0 && errno == EINTR);
    if (result == 0) Abandon(m_hProcess);
    m_hProcess = 0;
}

void CProcessWrapper::CleanUp() {
    CloseProcessHandle();
    for (int* fd : {&m_hChildStd_IN_Rd, &m_hChildStd_IN_Wr, &m_hChildStd_OUT_Rd,
                    &m_hChildStd_OUT_Wr, &m_hOutputFile, &m_hInputFile})
        if (*fd >= 0) CloseHandle(*fd);
}

DWORD CProcessWrapper::ErrorExit(const char16_t* text) {
    const DWORD code = GetLastError();
    CString system = tarvex::SystemMessage(code);
    int length = system.GetLength();
    while (length > 0 && system[length - 1] < 32) --length;
    m_strLastError.Format(u"%s failed with error %d: %s", text, static_cast<int>(code),
                          system.Left(length));
    CleanUp();
    return code;
}
