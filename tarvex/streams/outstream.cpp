#include "tarvex/streams/outstream.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <vector>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "tarvex/core/exceptions.h"
#include "tarvex/core/numbertext.h"
#include "tarvex/platform/codepage.h"
#include "tarvex/streams/base64.h"
#include "tarvex/streams/decimaltext_internal.h"
#include "tarvex/streams/textencode_internal.h"

using tarvex::textencode::EncodeUtf8;
using tarvex::textencode::Entity;
using tarvex::textencode::NeedsEntity;
using tarvex::textencode::Utf8Unit;

namespace {

inline unsigned int AnsiUnit(char16_t ch, char* out) {
    if (ch < 0x80) {
        out[0] = static_cast<char>(ch);
        return 1;
    }
    // А..я sit in one run of code page 1251, from 0xC0.
    if (ch >= 0x410 && ch <= 0x44F) {
        out[0] = static_cast<char>(ch - 0x410 + 0xC0);
        return 1;
    }
    int n = WideCharToMultiByte(CP_ACP, 0, &ch, 1, out, 4, nullptr, nullptr);
    return n > 0 ? static_cast<unsigned int>(n) : 0;
}

inline char16_t WidenAnsi(char ch) {
    if (static_cast<unsigned char>(ch) < 0x80) return static_cast<char16_t>(ch);
    char16_t wide = u'?';
    MultiByteToWideChar(CP_ACP, 0, &ch, 1, &wide, 1);
    return wide;
}

} // namespace

void COutStream::writeSymbol(char16_t& ch, char* scratch, unsigned int& length) const {
    switch (encoding) {
    case eEncodingAnsi:
        length = AnsiUnit(ch, scratch);
        break;
    case eEncodingUnicode:
        std::memcpy(scratch, &ch, 2);
        length = 2;
        break;
    case eEncodingUTF8:
        length = Utf8Unit(ch, scratch);
        break;
    default:
        length = 0;
        break;
    }
}

void COutStream::writeSymbol(char& ch, char* scratch, unsigned int& length) const {
    if (encoding == eEncodingAnsi) {
        scratch[0] = ch;
        length = 1;
        return;
    }
    char16_t wide = WidenAnsi(ch);
    writeSymbol(wide, scratch, length);
}

namespace {

// Stores eight characters as bytes when all are ASCII and none needs an
// entity; false, storing nothing, otherwise.
inline bool AsciiBlock(const char16_t* text, char* out, bool escape, bool quotes) {
#if defined(__SSE2__)
    const __m128i units = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text));
    const __m128i zero = _mm_setzero_si128();
    __m128i bad = _mm_cmpeq_epi16(_mm_and_si128(units, _mm_set1_epi16(-128)), zero);
    bad = _mm_xor_si128(bad, _mm_set1_epi16(-1)); // lanes of 0x80 and above
    if (escape) {
        bad = _mm_or_si128(bad, _mm_cmpeq_epi16(units, _mm_set1_epi16('&')));
        bad = _mm_or_si128(bad, _mm_cmpeq_epi16(units, _mm_set1_epi16('<')));
        bad = _mm_or_si128(bad, _mm_cmpeq_epi16(units, _mm_set1_epi16('>')));
        if (quotes) bad = _mm_or_si128(bad, _mm_cmpeq_epi16(units, _mm_set1_epi16('"')));
    }
    if (_mm_movemask_epi8(bad) != 0) return false;
    _mm_storel_epi64(reinterpret_cast<__m128i*>(out), _mm_packus_epi16(units, units));
    return true;
#else
    for (int k = 0; k < 8; ++k)
        if (text[k] >= 0x80 || (escape && NeedsEntity(text[k], quotes))) return false;
    for (int k = 0; k < 8; ++k) out[k] = static_cast<char>(text[k]);
    return true;
#endif
}

// Characters encoded per step of writeText: the scratch buffer holds the
// worst case of every one of them.
constexpr std::size_t kChunk = 512;

} // namespace

std::size_t COutStream::encode(char* out, const char16_t* text, std::size_t count, bool escape,
                               bool quotes) const {
    char* p = out;
    switch (encoding) {
    case eEncodingUTF8:
        p += EncodeUtf8(p, text, count, escape, quotes, false);
        break;
    case eEncodingAnsi: {
        std::size_t i = 0;
        while (i < count) {
            // Eight plain ASCII characters at a time.
            while (i + 8 <= count && AsciiBlock(text + i, p, escape, quotes)) {
                i += 8;
                p += 8;
            }
            if (i == count) break;
            const char16_t ch = text[i++];
            if (ch >= 0x80) {
                p += AnsiUnit(ch, p);
            } else if (escape && NeedsEntity(ch, quotes)) {
                unsigned int entityLength = 0;
                const char* entity = Entity(ch, true, entityLength);
                std::memcpy(p, entity, entityLength);
                p += entityLength;
            } else {
                *p++ = static_cast<char>(ch);
            }
        }
        break;
    }
    case eEncodingUnicode: {
        std::size_t run = 0; // plain characters not yet copied
        for (std::size_t i = 0; i < count; ++i) {
            const char16_t ch = text[i];
            if (!escape || !NeedsEntity(ch, quotes)) continue;
            std::memcpy(p, text + run, (i - run) * 2);
            p += (i - run) * 2;
            run = i + 1;
            unsigned int entityLength = 0;
            const char* entity = Entity(ch, true, entityLength);
            // Entities are ASCII: two bytes a character here.
            for (unsigned int k = 0; k < entityLength; ++k) {
                *p++ = entity[k];
                *p++ = 0;
            }
        }
        std::memcpy(p, text + run, (count - run) * 2);
        p += (count - run) * 2;
        break;
    }
    default:
        break; // an unknown encoding writes nothing
    }
    return static_cast<std::size_t>(p - out);
}

std::size_t COutStream::encodeAttribute(char* out, const char16_t* name, std::size_t nameCount,
                                        const char16_t* value, std::size_t valueCount) const {
    if (encoding == eEncodingUTF8)
        return tarvex::textencode::EncodeUtf8Attribute(out, name, nameCount, value, valueCount,
                                                       xmlSymbols);
    char* p = out;
    const std::size_t nameLength = std::char_traits<char16_t>::length(name);
    const std::size_t valueLength = std::char_traits<char16_t>::length(value);
    p += encode(p, u" ", 1, false, false);
    p += encode(p, name, nameLength < nameCount ? nameLength : nameCount, xmlSymbols, false);
    p += encode(p, u"=\"", 2, false, false);
    p += encode(p, value, valueLength < valueCount ? valueLength : valueCount, xmlSymbols, true);
    p += encode(p, u"\"", 1, false, false);
    return static_cast<std::size_t>(p - out);
}

void COutStream::writeText(const char16_t* text, std::uint64_t count, bool escape) {
    if (encoding != eEncodingAnsi && encoding != eEncodingUnicode && encoding != eEncodingUTF8)
        return;
    if (encoding == eEncodingUnicode && !escape) {
        // The text is already in the stream's form: handed on as it stands.
        constexpr std::uint64_t kMaxUnits = 1u << 29;
        while (count > 0) {
            const std::uint64_t take = count < kMaxUnits ? count : kMaxUnits;
            writeBytes(text, static_cast<unsigned int>(take * 2));
            text += take;
            count -= take;
        }
        return;
    }
    char scratch[kChunk * kMaxCharBytes];
    while (count > 0) {
        const std::size_t take = count < kChunk ? static_cast<std::size_t>(count) : kChunk;
        const std::size_t used = encode(scratch, text, take, escape, cvtQuota);
        if (used != 0) writeBytes(scratch, static_cast<unsigned int>(used));
        text += take;
        count -= take;
    }
}

void COutStream::write(char ch) {
    if (encoding == eEncodingAnsi) {
        unsigned int entityLength = 0;
        const char* entity =
            xmlSymbols ? Entity(static_cast<unsigned char>(ch), cvtQuota, entityLength) : nullptr;
        if (entity != nullptr)
            writeBytes(entity, entityLength);
        else
            writeBytes(&ch, 1);
        return;
    }
    char16_t wide = WidenAnsi(ch);
    writeText(&wide, 1, xmlSymbols);
}

void COutStream::write(char16_t ch) {
    writeText(&ch, 1, xmlSymbols);
}

void COutStream::write(const char16_t* text) {
    if (text != nullptr) writeText(text, std::char_traits<char16_t>::length(text), xmlSymbols);
}

void COutStream::write(const char16_t* text, std::uint64_t count) {
    if (text != nullptr) writeText(text, count, xmlSymbols);
}

COutStream& COutStream::operator<<(int value) {
    return *this << static_cast<std::int64_t>(value);
}

COutStream& COutStream::operator<<(std::int64_t value) {
    char16_t digits[24];
    const std::u16string_view text = tarvex::decimaltext::Decimal(value, digits);
    writeText(text.data(), text.size(), false);
    return *this;
}

COutStream& COutStream::operator<<(double value) {
    CString text = tarvex::DblToString(value, 12);
    writeText(text, text.GetLength(), xmlSymbols);
    return *this;
}

void COutStream::writeMarkup(const char* ascii, unsigned int length) {
    if (encoding == eEncodingAnsi || encoding == eEncodingUTF8) {
        writeBytes(ascii, length); // ASCII is the same bytes in both
        return;
    }
    char16_t wide[32];
    while (length > 0) {
        unsigned int take = length < 32 ? length : 32;
        for (unsigned int i = 0; i < take; ++i) wide[i] = static_cast<unsigned char>(ascii[i]);
        writeText(wide, take, false);
        ascii += take;
        length -= take;
    }
}

void COutStream::writeCData(const char16_t* text, int length) {
    if (text == nullptr) return;
    std::uint64_t count =
        length < 0 ? std::char_traits<char16_t>::length(text) : static_cast<std::uint64_t>(length);
    writeText(text, count, false);
}

void COutStream::writeCDataBase64(const void* data, std::uint64_t size) {
    if (size == 0) return;
    std::vector<char> code(CFastBase64::chromium_base64_encode_length(size));
    std::size_t length =
        CFastBase64::chromium_base64_encode(code.data(), static_cast<const char*>(data), size);
    switch (encoding) {
    case eEncodingAnsi:
    case eEncodingUTF8:
        for (std::size_t at = 0; at < length; at += 1u << 30)
            writeBytes(code.data() + at,
                       static_cast<unsigned int>(std::min<std::size_t>(length - at, 1u << 30)));
        break;
    case eEncodingUnicode: {
        // The widening is given the size of the data, not of the code.
        std::uint64_t count = size < length ? size : length;
        std::vector<char16_t> wide(count);
        for (std::uint64_t i = 0; i < count; ++i) wide[i] = static_cast<unsigned char>(code[i]);
        writeText(wide.data(), count, false);
        break;
    }
    default:
        break;
    }
}

// ------------------------------------------------------------ file stream --

namespace {

constexpr unsigned int kFileBuffer = 64 * 1024;

[[noreturn]] void ThrowFile(const char16_t* what, const CString& path, const char* function,
                            int line) {
    int error = errno; // formatting may allocate and change it
    CString message;
    message.Format(u"%s \"%s\"", what, path.GetString());
    errno = error;
    throw CKVSysException(message, CKVException::FormatCodePos(function, line));
}

} // namespace

CFileOutStream::CFileOutStream(const char16_t* path, EStreamEncoding encoding)
    : COutStream(encoding), path(path) {
    target = tarvex::ToUtf8(this->path.View());
    temporary = target + ".XXXXXX";
    fd = ::mkstemp(temporary.data());
    if (fd < 0) ThrowFile(u"Не удалось создать файл", this->path, __PRETTY_FUNCTION__, __LINE__);
    ::fcntl(fd, F_SETFD, FD_CLOEXEC);
    ::fchmod(
        fd, 0666 & ~[] {
            mode_t mask = ::umask(0);
            ::umask(mask);
            return mask;
        }());
    buffer = static_cast<char*>(std::malloc(kFileBuffer));
    if (buffer == nullptr) {
        Discard();
        throw -1;
    }
}

CFileOutStream::~CFileOutStream() {
    if (std::uncaught_exceptions() > 0) {
        Discard();
    } else {
        try {
            Close();
        } catch (...) {
            Discard();
        }
    }
    std::free(buffer);
}

void CFileOutStream::Flush() {
    const char* p = buffer;
    unsigned int left = used;
    while (left > 0) {
        ssize_t n = ::write(fd, p, left);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) {
            // Dropped at once: later writes and Close must not put half a
            // document in place of the target.
            int error = errno;
            Discard();
            failed = true;
            errno = error;
            ThrowFile(u"Ошибка записи в файл", path, __PRETTY_FUNCTION__, __LINE__);
        }
        p += n;
        left -= static_cast<unsigned int>(n);
    }
    used = 0;
}

void CFileOutStream::writeBytes(const void* data, unsigned int size) {
    if (fd < 0) return;
    auto* bytes = static_cast<const char*>(data);
    while (size > 0) {
        if (used == kFileBuffer) Flush();
        unsigned int take = kFileBuffer - used < size ? kFileBuffer - used : size;
        std::memcpy(buffer + used, bytes, take);
        used += take;
        bytes += take;
        size -= take;
    }
}

void CFileOutStream::Close() {
    if (fd < 0) {
        if (failed) {
            failed = false;
            ThrowFile(u"Ошибка записи в файл", path, __PRETTY_FUNCTION__, __LINE__);
        }
        return;
    }
    Flush();
    // On the disk before the rename, so a crash leaves the old file or the
    // whole new one.
    int result = ::fsync(fd);
    if (::close(fd) != 0) result = -1;
    fd = -1;
    if (result != 0 || ::rename(temporary.c_str(), target.c_str()) != 0) {
        int error = errno;
        ::unlink(temporary.c_str());
        errno = error;
        ThrowFile(u"Ошибка записи в файл", path, __PRETTY_FUNCTION__, __LINE__);
    }
}

void CFileOutStream::Abandon() noexcept {
    Discard();
    failed = false;
}

void CFileOutStream::Discard() noexcept {
    if (fd < 0) return;
    ::close(fd);
    fd = -1;
    ::unlink(temporary.c_str());
    used = 0;
}
