#include "tarvex/database/odbcdumpfile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "tarvex/database/odbcexception.h"
#include "tarvex/platform/codepage.h"
#include "tarvex/platform/syserror.h"

namespace {

constexpr std::size_t kBufferSize = 64 * 1024;
constexpr int kMaxFileText = 511;

std::string Native(const CString& path) {
    return tarvex::ToUtf8(path.View());
}

} // namespace

CODBCDumpFile::~CODBCDumpFile() {
    Drop();
}

void CODBCDumpFile::ThrowFileError(int error, const CString& path) {
    CString text;
    text.Format(u"%s: \"%s\"", tarvex::SystemMessage(DWORD(error)).GetString(), path.GetString());
    if (text.GetLength() > kMaxFileText) text = text.Left(kMaxFileText);
    throw CODBCException(text);
}

void CODBCDumpFile::CreateExclusive(const char16_t* path) {
    Drop();
    m_strPath = path;
    // Locked before it is emptied: another writer's file is never cut.
    const int fd = ::open(Native(m_strPath).c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
    if (fd < 0) ThrowFileError(errno, m_strPath);
    if (::flock(fd, LOCK_EX | LOCK_NB) != 0 || ::ftruncate(fd, 0) != 0) {
        const int error = errno;
        ::close(fd);
        ThrowFileError(error, m_strPath);
    }
    m_fd = fd;
    m_pBuffer.reset(new unsigned char[kBufferSize]);
}

void CODBCDumpFile::OpenRead(const char16_t* path) {
    Drop();
    m_strPath = path;
    const int fd = ::open(Native(m_strPath).c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) ThrowFileError(errno, m_strPath);
    struct stat st {};
    if (::fstat(fd, &st) != 0 || S_ISDIR(st.st_mode)) {
        const int error = S_ISDIR(st.st_mode) ? EISDIR : errno;
        ::close(fd);
        ThrowFileError(error, m_strPath);
    }
    m_fd = fd;
    m_nSize = std::uint64_t(st.st_size);
    m_pBuffer.reset(new unsigned char[kBufferSize]);
}

void CODBCDumpFile::Write(const void* data, std::size_t size) {
    const auto* bytes = static_cast<const unsigned char*>(data);
    m_nPosition += size;
    m_nSize = std::max(m_nSize, m_nPosition);
    if (m_nUsed + size <= kBufferSize) {
        std::memcpy(m_pBuffer.get() + m_nUsed, bytes, size);
        m_nUsed += size;
        return;
    }
    Flush();
    if (size < kBufferSize) {
        std::memcpy(m_pBuffer.get(), bytes, size);
        m_nUsed = size;
        return;
    }
    while (size > 0) {
        const ssize_t n = ::write(m_fd, bytes, size);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) ThrowFileError(n < 0 ? errno : ENOSPC, m_strPath);
        bytes += n;
        size -= std::size_t(n);
    }
}

std::size_t CODBCDumpFile::Read(void* data, std::size_t size) {
    auto* bytes = static_cast<unsigned char*>(data);
    std::size_t done = 0;
    while (done < size) {
        if (m_nTaken == m_nFill) {
            // A large read skips the buffer.
            if (size - done >= kBufferSize) {
                const ssize_t n = ::read(m_fd, bytes + done, size - done);
                if (n < 0 && errno == EINTR) continue;
                if (n < 0) ThrowFileError(errno, m_strPath);
                if (n == 0) break;
                done += std::size_t(n);
                continue;
            }
            const ssize_t n = ::read(m_fd, m_pBuffer.get(), kBufferSize);
            if (n < 0 && errno == EINTR) continue;
            if (n < 0) ThrowFileError(errno, m_strPath);
            if (n == 0) break;
            m_nFill = std::size_t(n);
            m_nTaken = 0;
        }
        const std::size_t piece = std::min(size - done, m_nFill - m_nTaken);
        std::memcpy(bytes + done, m_pBuffer.get() + m_nTaken, piece);
        m_nTaken += piece;
        done += piece;
    }
    m_nPosition += done;
    return done;
}

void CODBCDumpFile::Seek(std::uint64_t position) {
    Flush();
    if (::lseek(m_fd, off_t(position), SEEK_SET) < 0) ThrowFileError(errno, m_strPath);
    m_nPosition = position;
}

void CODBCDumpFile::Flush() {
    const unsigned char* bytes = m_pBuffer.get();
    std::size_t left = m_nUsed;
    m_nUsed = 0;
    while (left > 0) {
        const ssize_t n = ::write(m_fd, bytes, left);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) ThrowFileError(n < 0 ? errno : ENOSPC, m_strPath);
        bytes += n;
        left -= std::size_t(n);
    }
}

void CODBCDumpFile::Close() {
    if (m_fd < 0) return;
    try {
        Flush();
    } catch (...) {
        Drop();
        throw;
    }
    const int rc = ::close(m_fd);
    m_fd = -1;
    const int error = errno;
    Drop();
    if (rc != 0) ThrowFileError(error, m_strPath);
}

void CODBCDumpFile::Drop() noexcept {
    if (m_fd >= 0) ::close(m_fd);
    m_fd = -1;
    m_pBuffer.reset();
    m_nUsed = m_nFill = m_nTaken = 0;
    m_nPosition = m_nSize = 0;
}
