// CODBCDumpFile: the file under the dump writer and reader. Reads and writes
// go through a 64 KiB buffer, so a record of many small fields costs no
// system call per field. Failures throw CODBCException with the system's
// text and the path.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "tarvex/platform/cstring.h"

class CODBCDumpFile {
public:
    CODBCDumpFile() = default;
    ~CODBCDumpFile();
    CODBCDumpFile(const CODBCDumpFile&) = delete;
    CODBCDumpFile& operator=(const CODBCDumpFile&) = delete;

    // Creates or empties the file for reading and writing. The file stays
    // locked against other openers that ask for exclusive use while open.
    void CreateExclusive(const char16_t* path);
    void OpenRead(const char16_t* path);
    bool IsOpen() const { return m_fd >= 0; }

    void Write(const void* data, std::size_t size);
    // Answers the bytes read, fewer only at the end of the file.
    std::size_t Read(void* data, std::size_t size);
    // Moves the write position; the buffered bytes are written first.
    void Seek(std::uint64_t position);

    std::uint64_t GetPosition() const { return m_nPosition; }
    std::uint64_t GetSize() const { return m_nSize; }
    std::uint64_t GetRemaining() const { return m_nSize - m_nPosition; }

    // Writes what is buffered and closes; throws when the write fails.
    void Close();

    // The file layer's failure text: system text and path, at most 511
    // characters.
    [[noreturn]] static void ThrowFileError(int error, const CString& path);

private:
    void Flush();
    void Drop() noexcept;

    int m_fd = -1;
    CString m_strPath;
    std::unique_ptr<unsigned char[]> m_pBuffer;
    std::size_t m_nUsed = 0;  // bytes waiting to be written
    std::size_t m_nFill = 0;  // bytes read ahead
    std::size_t m_nTaken = 0; // of those, already handed out
    std::uint64_t m_nPosition = 0;
    std::uint64_t m_nSize = 0;
};
