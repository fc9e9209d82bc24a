#include "tarvex/streams/zip/ziphelper.h"

#include <dirent.h>
#include <fcntl.h>
#include <ftw.h>
#include <minizip/unzip.h>
#include <minizip/zip.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "tarvex/core/exceptions.h"
#include "tarvex/platform/codepage.h"

std::int32_t CKVZipHelper::m_nLastZipResult = 0;

namespace {

constexpr uLong kUtf8NameFlag = 0x800; // general-purpose bit 11
constexpr uLong kDosDirectory = 0x10;
// Made by Unix, zip 2.0: unzip then reads the mode bits below and takes the
// names as they are, not as a DOS code page.
constexpr uLong kMadeByUnix = (3 << 8) | 20;
constexpr uLong kUnixFileMode = 0100644ul << 16;
constexpr uLong kUnixFolderMode = 0040755ul << 16;
constexpr unsigned kChunk = 256 * 1024;
// Deflate cannot expand more than about 1032 to 1; a declared size beyond
// that is not believed when reserving memory.
constexpr std::uint64_t kMaxInflateRatio = 1032;
constexpr std::uint64_t kMaxReservation = 64u << 20;

std::string NativePath(const char16_t* path) {
    return tarvex::ToUtf8(std::u16string_view(path ? path : u""));
}

[[noreturn]] void Fail(const CString& message, const char* function, int line) {
    throw CKVException(message, CKVException::FormatCodePos(function, line));
}

template <class... Args>
[[noreturn]] void FailFmt(const char* function, int line, const char16_t* format,
                          const Args&... args) {
    CString message;
    message.Format(format, args...);
    Fail(message, function, line);
}

zip_fileinfo EntryInfo(std::time_t when, bool folder) {
    zip_fileinfo info{};
    std::tm local{};
    localtime_r(&when, &local);
    info.tmz_date.tm_sec = uInt(local.tm_sec);
    info.tmz_date.tm_min = uInt(local.tm_min);
    info.tmz_date.tm_hour = uInt(local.tm_hour);
    info.tmz_date.tm_mday = uInt(local.tm_mday);
    info.tmz_date.tm_mon = uInt(local.tm_mon);
    // Zip dates cannot say anything before 1980.
    info.tmz_date.tm_year = uInt(std::max(local.tm_year + 1900, 1980));
    info.external_fa = folder ? kUnixFolderMode | kDosDirectory : kUnixFileMode;
    return info;
}

int OpenEntry(zipFile archive, const std::string& name, const zip_fileinfo& info,
              std::uint64_t size) {
    const int zip64 = size >= 0xFFFFFFFFull ? 1 : 0;
    return zipOpenNewFileInZip4_64(archive, name.c_str(), &info, nullptr, 0, nullptr, 0, nullptr,
                                   Z_DEFLATED, Z_DEFAULT_COMPRESSION, 0, -MAX_WBITS, 8,
                                   Z_DEFAULT_STRATEGY, nullptr, 0, kMadeByUnix, kUtf8NameFlag,
                                   zip64);
}

// Writes in pieces: minizip counts one write in 32 bits.
int WriteEntry(zipFile archive, const unsigned char* data, std::uint64_t size) {
    while (size > 0) {
        const unsigned piece = unsigned(std::min<std::uint64_t>(size, 1u << 30));
        const int rc = zipWriteInFileInZip(archive, data, piece);
        if (rc != ZIP_OK) return rc;
        data += piece;
        size -= piece;
    }
    return ZIP_OK;
}

std::string ArchiveName(const CString& name) {
    CString slashed(name);
    slashed.Replace(u'\\', u'/');
    return tarvex::ToUtf8(slashed.View());
}

// An archive being written beside its target; the target is replaced only
// when the archive is complete, and a failed write leaves no half archive.
class CArchiveOut {
public:
    explicit CArchiveOut(const char16_t* path) : m_target(NativePath(path)) {
        m_temporary = m_target + ".XXXXXX";
        const int fd = ::mkstemp(m_temporary.data());
        if (fd < 0) {
            m_temporary.clear();
            return;
        }
        const mode_t mask = ::umask(0);
        ::umask(mask);
        ::fchmod(fd, 0666 & ~mask);
        ::close(fd);
        m_archive = zipOpen64(m_temporary.c_str(), APPEND_STATUS_CREATE);
    }
    ~CArchiveOut() {
        if (m_archive) zipClose(m_archive, nullptr);
        if (!m_temporary.empty()) ::unlink(m_temporary.c_str());
    }
    CArchiveOut(const CArchiveOut&) = delete;
    CArchiveOut& operator=(const CArchiveOut&) = delete;

    zipFile Handle() const { return m_archive; }

    bool Commit() {
        const int rc = zipClose(m_archive, nullptr);
        m_archive = nullptr;
        if (rc != ZIP_OK || ::rename(m_temporary.c_str(), m_target.c_str()) != 0) return false;
        m_temporary.clear();
        return true;
    }

private:
    std::string m_target;
    std::string m_temporary;
    zipFile m_archive = nullptr;
};

class CArchiveIn {
public:
    explicit CArchiveIn(const char16_t* path) : m_archive(unzOpen64(NativePath(path).c_str())) {}
    ~CArchiveIn() {
        if (m_archive) unzClose(m_archive);
    }
    CArchiveIn(const CArchiveIn&) = delete;
    CArchiveIn& operator=(const CArchiveIn&) = delete;

    unzFile Handle() const { return m_archive; }

private:
    unzFile m_archive;
};

// Info-ZIP's Unicode path field (0x7075): the UTF-8 name, valid while the
// CRC it carries matches the name in the header.
bool UnicodePathField(const unsigned char* extra, std::size_t size, const std::string& rawName,
                      std::string& utf8) {
    std::size_t at = 0;
    while (at + 4 <= size) {
        const unsigned id = extra[at] | unsigned(extra[at + 1]) << 8;
        const std::size_t length = extra[at + 2] | std::size_t(extra[at + 3]) << 8;
        at += 4;
        if (length > size - at) return false;
        if (id == 0x7075 && length >= 5 && extra[at] == 1) {
            const uLong crc = extra[at + 1] | uLong(extra[at + 2]) << 8 |
                              uLong(extra[at + 3]) << 16 | uLong(extra[at + 4]) << 24;
            const uLong actual =
                crc32(0, reinterpret_cast<const Bytef*>(rawName.data()), uInt(rawName.size()));
            if (crc != actual) return false;
            utf8.assign(reinterpret_cast<const char*>(extra + at + 5), length - 5);
            return true;
        }
        at += length;
    }
    return false;
}

bool IsUtf8(const std::string& bytes) {
    std::size_t i = 0;
    while (i < bytes.size()) {
        const unsigned char lead = static_cast<unsigned char>(bytes[i]);
        const std::size_t length = lead < 0x80         ? 1
                                   : (lead >> 5) == 6  ? 2
                                   : (lead >> 4) == 14 ? 3
                                   : (lead >> 3) == 30 ? 4
                                                       : 0;
        if (length == 0 || length > bytes.size() - i) return false;
        for (std::size_t k = 1; k < length; ++k)
            if ((static_cast<unsigned char>(bytes[i + k]) >> 6) != 2) return false;
        i += length;
    }
    return true;
}

struct SEntry {
    CString name;
    unz_file_info64 info{};
};

// Info-ZIP on Unix stores names in the system's encoding, UTF-8 today,
// without the flag; archives from DOS and Windows tools use code page 866.
bool MadeOnUnix(const unz_file_info64& info) {
    return (info.version >> 8) == 3;
}

// Reads the current entry's header; the answer is the minizip code.
int ReadEntryHeader(unzFile archive, std::vector<char>& nameBuffer,
                    std::vector<unsigned char>& extraBuffer, SEntry& entry) {
    const int rc =
        unzGetCurrentFileInfo64(archive, &entry.info, nameBuffer.data(), uLong(nameBuffer.size()),
                                extraBuffer.data(), uLong(extraBuffer.size()), nullptr, 0);
    if (rc != UNZ_OK) return rc;
    const std::string raw(nameBuffer.data(),
                          std::min<std::size_t>(entry.info.size_filename, nameBuffer.size() - 1));
    std::string utf8;
    if (UnicodePathField(extraBuffer.data(),
                         std::min<std::size_t>(entry.info.size_file_extra, extraBuffer.size()), raw,
                         utf8))
        entry.name = tarvex::FromUtf8(utf8);
    else if ((entry.info.flag & kUtf8NameFlag) || (MadeOnUnix(entry.info) && IsUtf8(raw)))
        entry.name = tarvex::FromUtf8(raw);
    else
        entry.name = tarvex::DecodeCodePage(CP_DOS_866, raw);
    return UNZ_OK;
}

// Header fields hold at most 65535 bytes; one more keeps the terminator.
struct SHeaderBuffers {
    std::vector<char> name = std::vector<char>(65536);
    std::vector<unsigned char> extra = std::vector<unsigned char>(65536);
};

// Splits an entry name into the folder steps below the extraction root.
// Refuses anything that could leave it: an absolute name, a drive, "..".
bool SafeSteps(const CString& name, std::vector<std::string>& steps, bool& folder) {
    CString path(name);
    path.Replace(u'\\', u'/');
    steps.clear();
    if (path.IsEmpty() || path[0] == u'/') return false;
    if (path.GetLength() >= 2 && path[1] == u':') return false;
    folder = path[path.GetLength() - 1] == u'/';
    int start = 0;
    while (start <= path.GetLength()) {
        int end = path.Find(u'/', start);
        if (end < 0) end = path.GetLength();
        const CString step = path.Mid(start, end - start);
        start = end + 1;
        if (step.IsEmpty() || step.Compare(u".") == 0) continue;
        if (step.Compare(u"..") == 0) return false;
        steps.push_back(tarvex::ToUtf8(step.View()));
    }
    return !steps.empty();
}

// Opens (making it when missing) the folder `step` below `parent`, refusing
// to pass through a symbolic link.
int OpenFolderStep(int parent, const std::string& step) {
    int fd = ::openat(parent, step.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (fd < 0 && errno == ENOENT) {
        if (::mkdirat(parent, step.c_str(), 0777) != 0 && errno != EEXIST) return -1;
        fd = ::openat(parent, step.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    }
    return fd;
}

class CFd {
public:
    explicit CFd(int fd = -1) : m_fd(fd) {}
    ~CFd() {
        if (m_fd >= 0) ::close(m_fd);
    }
    CFd(const CFd&) = delete;
    CFd& operator=(const CFd&) = delete;
    void Reset(int fd) {
        if (m_fd >= 0) ::close(m_fd);
        m_fd = fd;
    }
    int Get() const { return m_fd; }

private:
    int m_fd;
};

bool WriteAll(int fd, const unsigned char* data, std::size_t size) {
    while (size > 0) {
        const ssize_t n = ::write(fd, data, size);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        data += n;
        size -= std::size_t(n);
    }
    return true;
}

// Extracts the current entry below `root`; false on any failure.
bool ExtractEntryToFolder(unzFile archive, int root, const SEntry& entry,
                          std::vector<unsigned char>& chunk) {
    std::vector<std::string> steps;
    bool folder = false;
    if (!SafeSteps(entry.name, steps, folder)) return false;
    CFd parent(::dup(root));
    const std::size_t folders = folder ? steps.size() : steps.size() - 1;
    for (std::size_t i = 0; i < folders; ++i) {
        const int next = OpenFolderStep(parent.Get(), steps[i]);
        if (next < 0) return false;
        parent.Reset(next);
    }
    if (folder) return true;

    // A file already there is replaced, not written into: it may be a hard
    // link to something outside the folder.
    if (::unlinkat(parent.Get(), steps.back().c_str(), 0) != 0 && errno != ENOENT) return false;
    CFd file(::openat(parent.Get(), steps.back().c_str(),
                      O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666));
    if (file.Get() < 0) return false;
    if (unzOpenCurrentFile(archive) != UNZ_OK) return false;
    bool ok = true;
    for (;;) {
        const int n = unzReadCurrentFile(archive, chunk.data(), unsigned(chunk.size()));
        if (n == 0) break;
        if (n < 0 || !WriteAll(file.Get(), chunk.data(), std::size_t(n))) {
            ok = false;
            break;
        }
    }
    // Closing checks the CRC of what was read.
    const int closed = unzCloseCurrentFile(archive);
    return ok && closed == UNZ_OK;
}

struct SFolderItem {
    std::string relative; // below the archived folder, '/' between steps
    bool folder;
};

// The items of one folder in name order, links and special files left out.
std::vector<SFolderItem> ListFolder(int root, const std::string& relative) {
    std::vector<SFolderItem> items;
    const int fd = relative.empty() ? ::dup(root)
                                    : ::openat(root, relative.c_str(),
                                               O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (fd < 0) return items;
    DIR* dir = ::fdopendir(fd);
    if (!dir) {
        ::close(fd);
        return items;
    }
    ::rewinddir(dir);
    while (dirent* item = ::readdir(dir)) {
        if (std::strcmp(item->d_name, ".") == 0 || std::strcmp(item->d_name, "..") == 0) continue;
        struct stat st {};
        if (::fstatat(::dirfd(dir), item->d_name, &st, AT_SYMLINK_NOFOLLOW) != 0) continue;
        if (!S_ISDIR(st.st_mode) && !S_ISREG(st.st_mode)) continue;
        std::string path =
            relative.empty() ? std::string(item->d_name) : relative + "/" + item->d_name;
        items.push_back({std::move(path), S_ISDIR(st.st_mode)});
    }
    ::closedir(dir);
    std::sort(items.begin(), items.end(),
              [](const SFolderItem& a, const SFolderItem& b) { return a.relative < b.relative; });
    return items;
}

void AddFolderItem(zipFile archive, int root, const SFolderItem& item,
                   std::vector<unsigned char>& chunk) {
    struct stat st {};
    if (::fstatat(root, item.relative.c_str(), &st, AT_SYMLINK_NOFOLLOW) != 0) return;
    if (item.folder) {
        const zip_fileinfo info = EntryInfo(st.st_mtime, true);
        if (OpenEntry(archive, item.relative + "/", info, 0) == ZIP_OK) zipCloseFileInZip(archive);
        return;
    }
    CFd file(::openat(root, item.relative.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
    if (file.Get() < 0) return;
    const zip_fileinfo info = EntryInfo(st.st_mtime, false);
    if (OpenEntry(archive, item.relative, info, std::uint64_t(st.st_size)) != ZIP_OK) return;
    for (;;) {
        const ssize_t n = ::read(file.Get(), chunk.data(), chunk.size());
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0 || WriteEntry(archive, chunk.data(), std::uint64_t(n)) != ZIP_OK) break;
    }
    zipCloseFileInZip(archive);
}

int RemoveItem(const char* path, const struct stat*, int, FTW*) {
    ::remove(path); // a link is removed itself; nftw never follows it here
    return 0;
}

} // namespace

bool CKVZipHelper::MakeZipFolder(const char16_t* folder, const char16_t* zipPath,
                                 bool deleteFolder) {
    CArchiveOut out(zipPath);
    if (!out.Handle())
        FailFmt("CKVZipHelper::MakeZipFolder", __LINE__, u"Ошибка создания zip архива: \"%s\"",
                zipPath ? zipPath : u"");
    const std::string root = NativePath(folder);
    CFd rootFd(::open(root.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (rootFd.Get() >= 0) {
        std::vector<unsigned char> chunk(kChunk);
        // Depth first in name order: a folder's entry comes before its content.
        std::vector<SFolderItem> pending = ListFolder(rootFd.Get(), "");
        std::reverse(pending.begin(), pending.end());
        while (!pending.empty()) {
            SFolderItem item = std::move(pending.back());
            pending.pop_back();
            AddFolderItem(out.Handle(), rootFd.Get(), item, chunk);
            if (!item.folder) continue;
            std::vector<SFolderItem> inner = ListFolder(rootFd.Get(), item.relative);
            pending.insert(pending.end(), std::make_move_iterator(inner.rbegin()),
                           std::make_move_iterator(inner.rend()));
        }
    }
    if (!out.Commit())
        FailFmt("CKVZipHelper::MakeZipFolder", __LINE__, u"Ошибка создания zip архива: \"%s\"",
                zipPath ? zipPath : u"");
    if (deleteFolder && rootFd.Get() >= 0) {
        rootFd.Reset(-1);
        ::nftw(root.c_str(), RemoveItem, 32, FTW_DEPTH | FTW_PHYS);
    }
    return true;
}

bool CKVZipHelper::ExtractZipToFolder(const char16_t* zipPath, const char16_t* folder) {
    const std::string target = NativePath(folder);
    if (::mkdir(target.c_str(), 0777) != 0 && errno != EEXIST)
        Fail(u"Не удалось создать каталог для распаковки", "CKVZipHelper::ExtractZipToFolder",
             __LINE__);
    CFd root(::open(target.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (root.Get() < 0)
        Fail(u"Не удалось создать каталог для распаковки", "CKVZipHelper::ExtractZipToFolder",
             __LINE__);

    const char16_t* shownPath = zipPath ? zipPath : u"";
    CArchiveIn in(zipPath);
    unz_global_info64 global{};
    if (!in.Handle() || (m_nLastZipResult = unzGetGlobalInfo64(in.Handle(), &global)) != UNZ_OK)
        FailFmt("CKVZipHelper::ExtractZipToFolder", __LINE__, u"Ошибка открытия архива: \"%s\"",
                shownPath);
    SHeaderBuffers headers;
    std::vector<unsigned char> chunk(kChunk);
    for (ZPOS64_T i = 0; i < global.number_entry; ++i) {
        m_nLastZipResult = i == 0 ? unzGoToFirstFile(in.Handle()) : unzGoToNextFile(in.Handle());
        SEntry entry;
        if (m_nLastZipResult == UNZ_OK)
            m_nLastZipResult = ReadEntryHeader(in.Handle(), headers.name, headers.extra, entry);
        if (m_nLastZipResult != UNZ_OK)
            FailFmt("CKVZipHelper::ExtractZipToFolder", __LINE__,
                    u"Ошибка получения записи архива: \"%s\"", shownPath);
        if (!ExtractEntryToFolder(in.Handle(), root.Get(), entry, chunk))
            FailFmt("CKVZipHelper::ExtractZipToFolder", __LINE__,
                    u"Не удалось разархивировать запись архива: \"%s\"", entry.name.GetString());
    }
    return true;
}

bool CKVZipHelper::MakeZip(const CIndirectArray<CZipRec>& records, const char16_t* zipPath) {
    CArchiveOut out(zipPath);
    if (!out.Handle())
        FailFmt("CKVZipHelper::MakeZip", __LINE__, u"Ошибка создания zip архива: \"%s\"",
                zipPath ? zipPath : u"");
    const zip_fileinfo info = EntryInfo(std::time(nullptr), false);
    for (const CZipRec* record : records) {
        if (!record) continue;
        const std::uint64_t size = std::uint64_t(record->data.GetLength());
        m_nLastZipResult = OpenEntry(out.Handle(), ArchiveName(record->name), info, size);
        if (m_nLastZipResult == ZIP_OK) {
            m_nLastZipResult = WriteEntry(out.Handle(), record->data.GetData(), size);
            const int closed = zipCloseFileInZip(out.Handle());
            if (m_nLastZipResult == ZIP_OK) m_nLastZipResult = closed;
        }
        if (m_nLastZipResult != ZIP_OK)
            FailFmt("CKVZipHelper::MakeZip", __LINE__,
                    u"Ошибка добавления файла \"%s\" в zip архив (%d). Size=%d",
                    record->name.GetString(), m_nLastZipResult, int(size));
    }
    if (!out.Commit())
        FailFmt("CKVZipHelper::MakeZip", __LINE__, u"Ошибка создания zip архива: \"%s\"",
                zipPath ? zipPath : u"");
    return true;
}

bool CKVZipHelper::MakeZip(const char16_t* name, const TArrayTemplate<unsigned char>& data,
                           const char16_t* zipPath) {
    CIndirectArray<CZipRec> records;
    CZipRec* record = new CZipRec(name);
    records.Add(record);
    record->data = data;
    return MakeZip(records, zipPath);
}

bool CKVZipHelper::ExtractZip(const char16_t* zipPath, CIndirectArray<CZipRec>& records) {
    const char16_t* shownPath = zipPath ? zipPath : u"";
    CArchiveIn in(zipPath);
    if (!in.Handle())
        FailFmt("CKVZipHelper::ExtractZip", __LINE__, u"Ошибка открытия zip архива: \"%s\"",
                shownPath);
    unz_global_info64 global{};
    m_nLastZipResult = unzGetGlobalInfo64(in.Handle(), &global);
    if (m_nLastZipResult != UNZ_OK)
        FailFmt("CKVZipHelper::ExtractZip", __LINE__, u"Ошибка открытия zip архива: \"%s\" (%d)",
                shownPath, m_nLastZipResult);

    SHeaderBuffers headers;
    for (ZPOS64_T i = 0; i < global.number_entry; ++i) {
        m_nLastZipResult = i == 0 ? unzGoToFirstFile(in.Handle()) : unzGoToNextFile(in.Handle());
        SEntry entry;
        if (m_nLastZipResult == UNZ_OK)
            m_nLastZipResult = ReadEntryHeader(in.Handle(), headers.name, headers.extra, entry);
        if (m_nLastZipResult == UNZ_OK) m_nLastZipResult = unzOpenCurrentFile(in.Handle());
        if (m_nLastZipResult != UNZ_OK)
            FailFmt("CKVZipHelper::ExtractZip", __LINE__,
                    u"Ошибка получения записи zip архива: \"%s\" (%d)", shownPath,
                    m_nLastZipResult);

        CZipRec* record = new CZipRec(entry.name);
        records.Add(record);
        // Memory follows the bytes that arrive; the declared size is trusted
        // only as far as the compressed size could make it true.
        const std::uint64_t declared = entry.info.uncompressed_size;
        const std::uint64_t compressed =
            std::min<std::uint64_t>(entry.info.compressed_size, kMaxReservation);
        record->data.Resize(std::int64_t(
            std::min({declared, compressed * kMaxInflateRatio + kChunk, kMaxReservation})));
        std::int64_t have = 0;
        int rc = 0;
        do {
            record->data.Grow(have + kChunk);
            rc = unzReadCurrentFile(in.Handle(), record->data.GetData() + have, kChunk);
            if (rc > 0) have += rc;
        } while (rc > 0);
        record->data.Grow(have);
        // Closing checks the CRC; minizip never gives more than the declared size.
        const int closed = unzCloseCurrentFile(in.Handle());
        if (rc < 0)
            FailFmt("CKVZipHelper::ExtractZip", __LINE__,
                    u"Ошибка получения записи zip архива: \"%s\" (%d)", shownPath,
                    m_nLastZipResult = rc);
        if (std::uint64_t(have) != declared)
            FailFmt("CKVZipHelper::ExtractZip", __LINE__,
                    u"Ошибка разархивирования файла %s: не верный размер записи",
                    record->name.GetString());
        if (closed != UNZ_OK)
            FailFmt("CKVZipHelper::ExtractZip", __LINE__,
                    u"Ошибка получения записи zip архива: \"%s\" (%d)", shownPath,
                    m_nLastZipResult = closed);
    }
    return true;
}

bool CKVZipHelper::MakeRawDeflate(void* data, unsigned int size, TArrayTemplate<unsigned char>& out,
                                  bool allowGrowth) {
    out.Clear();
    if (size == 0) return true;
    KV_CHECK_NOT_NULL(data);

    z_stream stream{};
    if (deflateInit2(&stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, -MAX_WBITS, 8,
                     Z_DEFAULT_STRATEGY) != Z_OK)
        throw CKVException(u"CreateZip Error",
                           CKVException::FormatCodePos("CKVZipHelper::MakeRawDeflate", 743));
    std::int64_t capacity = std::int64_t(size * 1.2);
    // With growth allowed the stream must fit at once, however small the
    // input or however incompressible.
    if (allowGrowth) capacity = std::max<std::int64_t>(capacity, deflateBound(&stream, size));
    try {
        out.Grow(capacity);
    } catch (const std::bad_alloc&) {
        deflateEnd(&stream);
        throw CKVException(u"CreateZip Error",
                           CKVException::FormatCodePos("CKVZipHelper::MakeRawDeflate", 743));
    }

    stream.next_in = static_cast<Bytef*>(data);
    stream.avail_in = size;
    int rc = Z_OK;
    while (rc == Z_OK) {
        const std::int64_t produced = std::int64_t(stream.total_out);
        if (produced >= capacity) break;
        stream.next_out = out.GetData() + produced;
        stream.avail_out = uInt(std::min<std::int64_t>(capacity - produced, UINT_MAX));
        rc = deflate(&stream, Z_FINISH);
    }
    const std::int64_t produced = std::int64_t(stream.total_out);
    deflateEnd(&stream);
    if (rc != Z_OK && rc != Z_STREAM_END && rc != Z_BUF_ERROR) {
        out.Clear();
        throw CKVException(u"DeflateAdd Error",
                           CKVException::FormatCodePos("CKVZipHelper::MakeRawDeflate", 747));
    }
    // Without Z_STREAM_END the stream did not fit into size * 1.2 bytes.
    if (rc != Z_STREAM_END || (produced > std::int64_t(size) && !allowGrowth)) {
        out.Clear();
        out.TrimExcess();
        return false;
    }
    out.Grow(produced);
    out.TrimExcess();
    return true;
}

bool CKVZipHelper::MakeRawDeflate(TArrayTemplate<unsigned char>& data,
                                  TArrayTemplate<unsigned char>& out, bool allowGrowth) {
    KV_CHECK(data.GetLength() <= std::int64_t(UINT_MAX));
    if (&data == &out) {
        TArrayTemplate<unsigned char> copy(data);
        return MakeRawDeflate(copy.GetData(), unsigned(copy.GetLength()), out, allowGrowth);
    }
    return MakeRawDeflate(data.GetData(), unsigned(data.GetLength()), out, allowGrowth);
}

bool CKVZipHelper::ExtractRawDeflate(void* data, unsigned int size,
                                     TArrayTemplate<unsigned char>& out) {
    out.Clear();
    if (size == 0) return true;
    KV_CHECK_NOT_NULL(data);

    z_stream stream{};
    if (inflateInit2(&stream, -MAX_WBITS) != Z_OK) return false;
    stream.next_in = static_cast<Bytef*>(data);
    stream.avail_in = size;
    // Blocks of four times the input; the array grows its storage by
    // doubling beneath them, so a stream that expands a thousand times is
    // not copied a thousand times.
    const std::int64_t block = std::int64_t(size) * 4;
    std::int64_t produced = 0;
    bool ok = true;
    try {
        for (;;) {
            const uInt offered = uInt(std::min<std::int64_t>(block, UINT_MAX));
            out.Grow(produced + offered);
            stream.next_out = out.GetData() + produced;
            stream.avail_out = offered;
            const int rc = inflate(&stream, Z_NO_FLUSH);
            produced += offered - stream.avail_out;
            if (rc == Z_MEM_ERROR || rc == Z_DATA_ERROR || rc == Z_NEED_DICT ||
                rc == Z_STREAM_ERROR) {
                ok = false;
                break;
            }
            if (rc == Z_STREAM_END || stream.avail_out != 0) break;
        }
    } catch (const std::bad_alloc&) {
        ok = false;
    }
    inflateEnd(&stream);
    out.Grow(produced);
    out.TrimExcess();
    return ok;
}

bool CKVZipHelper::ExtractRawDeflate(TArrayTemplate<unsigned char>& data,
                                     TArrayTemplate<unsigned char>& out) {
    KV_CHECK(data.GetLength() <= std::int64_t(UINT_MAX));
    if (&data == &out) {
        TArrayTemplate<unsigned char> copy(data);
        return ExtractRawDeflate(copy.GetData(), unsigned(copy.GetLength()), out);
    }
    return ExtractRawDeflate(data.GetData(), unsigned(data.GetLength()), out);
}
