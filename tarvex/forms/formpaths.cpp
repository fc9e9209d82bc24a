#include "tarvex/forms/formpaths_internal.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tarvex/platform/codepage.h"
#include "tarvex/streams/outstream.h"

namespace FormFiles {

int LastSeparator(const CString& path) {
    for (int i = path.GetLength() - 1; i >= 0; --i)
        if (path[i] == u'/' || path[i] == u'\\') return i;
    return -1;
}

CString Join(const CString& folder, const char16_t* name) {
    CString path(folder);
    if (!path.IsEmpty() && path[path.GetLength() - 1] != u'/' &&
        path[path.GetLength() - 1] != u'\\')
        path += u'/';
    path += name;
    return path;
}

bool ReadAll(const char16_t* path, std::string& bytes) {
    bytes.clear();
    const std::string narrow = tarvex::ToUtf8(CString(path).View());
    const int fd = ::open(narrow.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) return false;
    struct stat info {};
    bool ok = ::fstat(fd, &info) == 0 && S_ISREG(info.st_mode);
    if (ok) {
        bytes.reserve(static_cast<size_t>(info.st_size));
        char chunk[65536];
        for (;;) {
            const ssize_t got = ::read(fd, chunk, sizeof chunk);
            if (got < 0) {
                ok = false;
                break;
            }
            if (got == 0) break;
            bytes.append(chunk, static_cast<size_t>(got));
        }
    }
    ::close(fd);
    return ok;
}

void WriteAll(const char16_t* path, const void* data, std::uint64_t size) {
    CFileOutStream file(path, COutStream::eEncodingAnsi);
    auto* bytes = static_cast<const char*>(data);
    while (size > 0) {
        const unsigned int step = size > (1u << 30) ? (1u << 30) : static_cast<unsigned int>(size);
        file.writeMarkup(bytes, step); // in ANSI, the bytes as they are
        bytes += step;
        size -= step;
    }
    file.Close();
}

} // namespace FormFiles
