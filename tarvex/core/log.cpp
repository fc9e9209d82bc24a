#include "tarvex/core/log.h"

#include <cerrno>
#include <cstdio>
#include <ctime>
#include <fcntl.h>
#include <string>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tarvex/core/exceptions.h"
#include "tarvex/core/hostui.h"
#include "tarvex/core/lock.h"
#include "tarvex/core/paths.h"
#include "tarvex/platform/codepage.h"

namespace {

// Constant-initialised, so static initialisers elsewhere in the library may
// log before dynamic initialisation reaches this file.
constinit CTXLog g_log;

std::atomic<CTXLog::OutputCallback> g_outputCallback{nullptr};

constexpr DWORD kPathSize = 260;
constexpr int kLogFileCount = 19;
constexpr char kRule[] = "==========================================\r\n";

CTXLog::OutputCallback Callback() noexcept {
    return g_outputCallback.load(std::memory_order_acquire);
}

// "dd.mm.yyyy hh:mm:ss" in local time.
std::string LocalTimeStamp() {
    std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    char text[64];
    std::snprintf(text, sizeof text, "%.2d.%.2d.%.4d %.2d:%.2d:%.2d", local.tm_mday,
                  local.tm_mon + 1, local.tm_year + 1900, local.tm_hour, local.tm_min,
                  local.tm_sec);
    return text;
}

bool WriteAll(int fd, const std::string& bytes) {
    const char* p = bytes.data();
    size_t left = bytes.size();
    while (left > 0) {
        ssize_t n = ::write(fd, p, left);
        if (n < 0) {
            if (errno == EINTR) continue;
            return false;
        }
        p += n;
        left -= static_cast<size_t>(n);
    }
    return true;
}

// Opens for appending and takes the exclusive lock that keeps other
// processes' logs out of this file; -1 when either fails.
int OpenExclusive(const std::string& path) {
    int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
    if (fd < 0) return -1;
    if (::flock(fd, LOCK_EX | LOCK_NB) != 0) {
        ::close(fd);
        return -1;
    }
    return fd;
}

bool HasText(const char16_t* text) {
    return text != nullptr && *text != 0;
}

} // namespace

CTXLog::~CTXLog() {
    CKVLock lock(m_section);
    Close();
    // Code that logs from later static destructors must not open a new file.
    m_nLoggingMode.store(0);
}

CTXLog& CTXLog::Instance() noexcept {
    return g_log;
}

void CTXLog::SetLoggingMode(std::int32_t mode) {
    CTXLog& log = Instance();
    CKVLock lock(log.m_section);
    log.m_nLoggingMode.store(mode);
}

bool CTXLog::IsEnabled() {
    return Instance().m_nLoggingMode.load() > 0;
}

void CTXLog::SetGlobalOutputCallback(OutputCallback callback) {
    g_outputCallback.store(callback, std::memory_order_release);
}

void CTXLog::Line(const char16_t* text) {
    Instance().WriteLine(text);
}

void CTXLog::Error(const char16_t* text) {
    Error(nullptr, text);
}

void CTXLog::Error(const char* text) {
    if (!IsEnabled()) return;
    Error(nullptr, tarvex::FromUtf8(text ? text : ""));
}

void CTXLog::Error(const char16_t* place, const char16_t* text) {
    CTXLog& log = Instance();
    const std::int32_t mode = log.m_nLoggingMode.load();
    if (mode == 0) return;
    CString line;
    if (HasText(place))
        line.Format(u"=E \"%s\" at %s", text ? text : u"", place);
    else
        line.Format(u"=E \"%s\"", text ? text : u"");
    // At mode 2 only errors reach the callback, and outside the lock, so the
    // callback may itself log.
    if (mode == 2)
        if (OutputCallback callback = Callback()) callback(line);
    log.WriteLine(line);
}

void CTXLog::Command(const char16_t* format, const char16_t* name) {
    if (!IsEnabled()) return;
    CString line;
    line.Format(format, name ? name : u"");
    Line(line);
}

void CTXLog::CommandWillStart(const char16_t* name) {
    Command(u"=COMMAND STARTED: %s", name);
}

void CTXLog::CommandEnded(const char16_t* name) {
    Command(u"=COMMAND ENDED: %s", name);
}

void CTXLog::CommandFailed(const char16_t* name) {
    Command(u"=!COMMAND FAILED: %s", name);
}

void CTXLog::CommandCancelled(const char16_t* name) {
    Command(u"=COMMAND CANCELLED: %s", name);
}

void CTXLog::PrintLine(const char16_t* text) {
    if (OutputCallback callback = Callback()) callback(text ? text : u"");
}

void CTXLog::CloseFile() {
    CTXLog& log = Instance();
    CKVLock lock(log.m_section);
    log.Close();
}

void CTXLog::Close() {
    if (m_hFile < 0) return;
    ::close(m_hFile); // releases the lock on the file as well
    m_hFile = -1;
}

// Called under the lock. A file that cannot be had is no error: the line is
// lost and the next line tries again.
bool CTXLog::AssertOpen() {
    if (m_nLoggingMode.load() == 0) return false;
    if (m_hFile >= 0) return true;

    char16_t folder[kPathSize] = {};
    int length = GetUserDataDir(folder, kPathSize);
    // Without a user data folder there is nowhere sensible to write: the
    // file system root is not one.
    if (length <= 0 || length + 4 >= static_cast<int>(kPathSize)) return false;
    std::string directory = tarvex::ToUtf8(std::u16string_view(folder, size_t(length)));
    directory += "/LOG";
    if (::mkdir(directory.c_str(), 0777) != 0 && errno != EEXIST) return false;

    for (int number = 1; number <= kLogFileCount && m_hFile < 0; ++number)
        m_hFile = OpenExclusive(directory + "/Tarvex" + std::to_string(number) + ".log");
    if (m_hFile < 0) return false;

    ::lseek(m_hFile, 0, SEEK_END);
    std::string header = kRule;
    header += "Tarvex log started.\r\n";
    header += LocalTimeStamp();
    header += "\r\n";
    header += kRule;
    WriteAll(m_hFile, header);
    return true;
}

void CTXLog::WriteLine(const char16_t* text) {
    if (!text) text = u"";
    CKVLock lock(m_section);
    if (!AssertOpen()) return;
    if (m_nLoggingMode.load() >= 3)
        if (OutputCallback callback = Callback()) callback(text);

    std::string line = LocalTimeStamp();
    line += "> ";
    // One conversion into a buffer of as many bytes as the text has
    // characters: code page 1251 is one byte a character, and characters it
    // lacks become '?'.
    const int length = static_cast<int>(std::char_traits<char16_t>::length(text));
    if (length > 0) {
        std::string bytes(size_t(length), '\0');
        int written = WideCharToMultiByte(CP_WINDOWS_1251, 0, text, length, bytes.data(), length,
                                          nullptr, nullptr);
        if (written > 0) line.append(bytes.data(), size_t(written));
    }
    line += "\r\n";
    WriteAll(m_hFile, line);
}

CTXScopeLog::CTXScopeLog(const char16_t* title) : m_strTitle(title) {
    CTXLog::FormatLine(u"+++%s", m_strTitle);
}

CTXScopeLog::~CTXScopeLog() {
    CTXLog::FormatLine(u"---%s", m_strTitle);
}

void CKVException::LogErrorMsg(const char16_t* text) {
    OutputDebugStringW(text);
    CTXLog::Error(text);
}
