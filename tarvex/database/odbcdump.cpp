#include "tarvex/database/odbcdump.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <bit>
#include <cerrno>
#include <climits>
#include <cstring>
#include <memory>
#include <new>
#include <string>

#include "tarvex/core/exceptions.h"
#include "tarvex/database/odbcexception.h"
#include "tarvex/platform/codepage.h"
#include "tarvex/platform/wide.h"
#include "tarvex/streams/zip/ziphelper.h"

// Values are copied to the file in memory order, which is the file's order
// only on a little-endian machine.
static_assert(std::endian::native == std::endian::little);
static_assert(sizeof(_GUID) == 16 && sizeof(tagTIMESTAMP_STRUCT) == 16);

namespace {

constexpr std::int64_t kNullData = -1; // SQL_NULL_DATA
constexpr std::int64_t kNts = -3;      // SQL_NTS
constexpr std::int64_t kDataAtExec = -100;
constexpr std::size_t kHeaderSize = 10;

[[noreturn]] void ThrowBadFormat() {
    throw CODBCException(u"Неверный формат файла");
}

// Writes the packed target beside itself and renames it into place.
void WriteTarget(const CString& target, const unsigned char* data, std::size_t size) {
    const std::string native = tarvex::ToUtf8(target.View());
    std::string temporary = native + ".XXXXXX";
    const int fd = ::mkstemp(temporary.data());
    if (fd < 0) CODBCDumpFile::ThrowFileError(errno, target);
    const mode_t mask = ::umask(0);
    ::umask(mask);
    ::fchmod(fd, 0666 & ~mask);
    while (size > 0) {
        const ssize_t n = ::write(fd, data, size);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) {
            const int error = n < 0 ? errno : ENOSPC;
            ::close(fd);
            ::unlink(temporary.c_str());
            CODBCDumpFile::ThrowFileError(error, target);
        }
        data += n;
        size -= std::size_t(n);
    }
    if (::close(fd) != 0 || ::rename(temporary.c_str(), native.c_str()) != 0) {
        const int error = errno;
        ::unlink(temporary.c_str());
        CODBCDumpFile::ThrowFileError(error, target);
    }
}

} // namespace

// ---- writer

CODBCDumpWriter::~CODBCDumpWriter() {
    try {
        Close();
    } catch (...) {
        // A destructor cannot report; the temporary file stays for the caller.
    }
}

void CODBCDumpWriter::Open(const char16_t* target) {
    Close();
    path = target;
    CString temporary(path);
    temporary += u".tmp";
    file.CreateExclusive(temporary);
    isOpen = true;
}

void CODBCDumpWriter::WriteHeader(short version, std::uint64_t count) {
    unsigned char header[kHeaderSize];
    std::memcpy(header, &version, 2);
    std::memcpy(header + 2, &count, 8);
    file.Write(header, kHeaderSize);
}

void CODBCDumpWriter::RewriteHeader(short version, std::uint64_t count) {
    const std::uint64_t end = file.GetSize();
    file.Seek(0);
    WriteHeader(version, count);
    file.Seek(end);
}

void CODBCDumpWriter::WriteFlagged(const void* value, std::size_t size, std::int64_t indicator) {
    unsigned char record[1 + 16];
    record[0] = indicator == kNullData ? 0 : 1;
    if (record[0] == 0) {
        file.Write(record, 1);
        return;
    }
    std::memcpy(record + 1, value, size);
    file.Write(record, 1 + size);
}

void CODBCDumpWriter::FieldIO(short, const double& value, std::int64_t indicator) {
    WriteFlagged(&value, sizeof value, indicator);
}

void CODBCDumpWriter::FieldIO(short, const int& value, std::int64_t indicator) {
    WriteFlagged(&value, 4, indicator);
}

void CODBCDumpWriter::FieldIO(short, const _GUID& value, std::int64_t indicator) {
    WriteFlagged(&value, 16, indicator);
}

void CODBCDumpWriter::FieldIO(short, const tagTIMESTAMP_STRUCT& value, std::int64_t indicator) {
    WriteFlagged(&value, 16, indicator);
}

void CODBCDumpWriter::FieldIO(short, const char16_t* text, std::int64_t indicator, int) {
    std::int64_t count = indicator == kNts && text ? std::int64_t(wcslen(text)) : indicator;
    if (!text || count < 0) count = -1;
    // The count field has 32 bits; a longer text is the caller's error.
    KV_CHECK(count <= INT32_MAX);
    const std::int32_t stored = std::int32_t(count);
    file.Write(&stored, 4);
    if (stored > 0) file.Write(text, std::size_t(stored) * 2);
}

void CODBCDumpWriter::FieldIO(short, const _tagOdbcBlobField& field) {
    const unsigned char flag = field.indicator == kNullData ? 0 : 1;
    file.Write(&flag, 1);
    if (flag == 0) return;
    KV_CHECK(field.length <= 0 || field.data != nullptr);
    file.Write(&field.length, 8);
    if (field.length > 0) file.Write(field.data, std::size_t(field.length));
}

void CODBCDumpWriter::FieldIO(short column, const _tagOdbcTextField& field) {
    FieldIO(column, static_cast<const _tagOdbcBlobField&>(field));
}

void CODBCDumpWriter::Close() {
    if (!isOpen) return;
    isOpen = false;
    file.Close();
    if (!Pack()) throw CODBCException(u"Ошибка при упаковке файла");
}

bool CODBCDumpWriter::Pack() {
    CString temporary(path);
    temporary += u".tmp";
    CODBCDumpFile source;
    source.OpenRead(temporary);
    // Raw deflate takes a 32-bit size: a larger dump cannot be packed, and
    // must not be cut silently.
    const std::uint64_t size = source.GetSize();
    if (size > UINT_MAX) return false;
    std::unique_ptr<unsigned char[]> content(new (std::nothrow) unsigned char[size ? size : 1]);
    if (!content) return false;
    if (source.Read(content.get(), std::size_t(size)) != size) return false;
    source.Close();

    TArrayTemplate<unsigned char> packed;
    if (!CKVZipHelper::MakeRawDeflate(content.get(), unsigned(size), packed, true)) {
        CString message;
        message.Format(u"Ошибка создания zip архива: \"%s\"", path.GetString());
        throw CKVException(message, CKVException::FormatCodePos("CODBCDumpWriter::Pack", 2437));
    }
    content.reset();
    WriteTarget(path, packed.GetData(), std::size_t(packed.GetLength()));
    ::unlink(tarvex::ToUtf8(temporary.View()).c_str());
    return true;
}

// ---- reader

CODBCDumpReader::~CODBCDumpReader() {
    try {
        Close();
    } catch (...) {
    }
}

void CODBCDumpReader::Open(const char16_t* path) {
    Close();
    file.OpenRead(path);
    isOpen = true;
}

void CODBCDumpReader::Read(void* data, unsigned int size) {
    if (file.Read(data, size) != size) ThrowBadFormat();
}

void CODBCDumpReader::ReadHeader(short& version, std::uint64_t& count) {
    unsigned char header[kHeaderSize];
    Read(header, kHeaderSize);
    std::memcpy(&version, header, 2);
    std::memcpy(&count, header + 2, 8);
}

bool CODBCDumpReader::ReadFlag() {
    unsigned char flag = 0;
    Read(&flag, 1);
    // Anything but 0 counts as a value.
    return flag != 0;
}

void CODBCDumpReader::FieldIO(short, double& value, std::int64_t& indicator) {
    if (!ReadFlag()) {
        indicator = kNullData;
        return;
    }
    indicator = 0;
    Read(&value, 8);
}

void CODBCDumpReader::FieldIO(short, int& value, std::int64_t& indicator) {
    if (!ReadFlag()) {
        indicator = kNullData;
        return;
    }
    indicator = 0;
    Read(&value, 4);
}

void CODBCDumpReader::FieldIO(short, _GUID& value, std::int64_t& indicator) {
    if (!ReadFlag()) {
        indicator = kNullData;
        return;
    }
    indicator = 0;
    Read(&value, 16);
}

void CODBCDumpReader::FieldIO(short, tagTIMESTAMP_STRUCT& value, std::int64_t& indicator) {
    if (!ReadFlag()) {
        indicator = kNullData;
        return;
    }
    indicator = 0;
    Read(&value, 16);
    value.fraction = 0;
}

void CODBCDumpReader::FieldIO(short, char16_t* text, std::int64_t& indicator, int maxLength) {
    KV_CHECK_NOT_NULL(text);
    std::int32_t count = 0;
    Read(&count, 4);
    if (count < 0) {
        indicator = kNullData;
        text[0] = 0;
        return;
    }
    if (maxLength >= 1 && count >= maxLength) throw CODBCException(u"Недостаточная длина буфера.");
    if (count == 0) {
        text[0] = 0;
        indicator = 0;
        return;
    }
    if (std::uint64_t(count) * 2 > file.GetRemaining()) ThrowBadFormat();
    Read(text, unsigned(count) * 2);
    text[count] = 0;
    indicator = kNts;
}

std::int64_t CODBCDumpReader::ReadBlobLength(_tagOdbcBlobField& field) {
    Read(&field.length, 8);
    const std::int64_t length = field.length;
    if (length <= 0) {
        field.data = nullptr;
        field.indicator = kDataAtExec - length;
        return 0;
    }
    // Checked before anything is allocated: a forged length must not cost
    // memory.
    if (std::uint64_t(length) > file.GetRemaining()) ThrowBadFormat();
    if (length > std::int64_t(UINT32_MAX)) KV_THROW(u"Ошибка размещения буфера");
    return length;
}

void CODBCDumpReader::FieldIO(short, _tagOdbcBlobField& field) {
    if (!ReadFlag()) {
        field.indicator = kNullData;
        return;
    }
    const std::int64_t length = ReadBlobLength(field);
    if (length == 0) return;
    KV_CHECK_NOT_NULL(blobBuffers);
    auto* buffer = new CTXByteBuffer;
    blobBuffers->Add(buffer);
    buffer->Reset(std::uint32_t(length));
    Read(buffer->AsVector(), unsigned(length));
    field.data = buffer->AsVector();
    field.indicator = kDataAtExec - length;
}

void CODBCDumpReader::FieldIO(short, _tagOdbcTextField& field) {
    if (!ReadFlag()) {
        field.indicator = kNullData;
        return;
    }
    const std::int64_t length = ReadBlobLength(field);
    if (length == 0) return;
    field.buffer.Reset(std::uint32_t(length));
    field.data = nullptr;
    Read(field.buffer.AsVector(), unsigned(length));
    field.data = field.buffer.AsVector();
    field.indicator = kDataAtExec - length;
}

void CODBCDumpReader::Close() {
    if (!isOpen) return;
    isOpen = false;
    file.Close();
}
