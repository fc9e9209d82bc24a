#include "tarvex/streams/xml/xmlinstream.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string_view>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "tarvex/core/exceptions.h"
#include "tarvex/platform/bstr.h"
#include "tarvex/platform/codepage.h"

namespace {

// The upper half of the ANSI code page, converted once.
struct AnsiTable {
    char16_t high[128];
    AnsiTable() {
        for (int i = 0; i < 128; ++i) {
            char byte = static_cast<char>(0x80 + i);
            high[i] = u'?';
            MultiByteToWideChar(CP_ACP, 0, &byte, 1, &high[i], 1);
        }
    }
};

inline char16_t FromAnsi(unsigned char byte) {
    if (byte < 0x80) return byte;
    static const AnsiTable table;
    return table.high[byte - 0x80];
}

// Bytes loaded past the zero byte that ends the document.
constexpr std::uint64_t kPadding = 16;

// Room a step of value reading needs: a block store writes sixteen units.
constexpr std::size_t kValueSlack = 32;

// Bytes of tag names (ASCII letters, digits, '_' and ':'), and bytes that
// end a token (white space and controls, and & - < = > ?).
struct ByteClasses {
    bool name[256] = {};
    bool tokenEnd[256] = {};
    constexpr ByteClasses() {
        for (int b = 'a'; b <= 'z'; ++b) name[b] = true;
        for (int b = 'A'; b <= 'Z'; ++b) name[b] = true;
        for (int b = '0'; b <= '9'; ++b) name[b] = true;
        name['_'] = name[':'] = true;
        for (int b = 0; b < 33; ++b) tokenEnd[b] = true;
        for (unsigned char b : {'&', '-', '<', '=', '>', '?'}) tokenEnd[b] = true;
    }
};
constexpr ByteClasses kBytes;

inline bool IsNameByte(unsigned char byte) {
    return kBytes.name[byte];
}

inline int HexValue(unsigned char byte) {
    if (byte >= '0' && byte <= '9') return byte - '0';
    if (byte >= 'a' && byte <= 'f') return byte - 'a' + 10;
    if (byte >= 'A' && byte <= 'F') return byte - 'A' + 10;
    return -1;
}

// Names are ASCII in every document of the system; other bytes go through
// the ANSI code page.
// Copies the value read into `target`, reusing its buffer when it is not
// shared. Values are short: copied eight units at a time rather than through
// a call; the value buffer has slack for reads past its end.
inline void AssignValue(CString& target, const char16_t* chars, std::size_t count) {
    const int length = static_cast<int>(count);
    char16_t* out = target.GetBufferSetLength(length);
    std::size_t i = 0;
#if defined(__SSE2__)
    for (; i + 8 <= count; i += 8)
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + i),
                         _mm_loadu_si128(reinterpret_cast<const __m128i*>(chars + i)));
#endif
    for (; i < count; ++i) out[i] = chars[i];
}

// Whether `name` is the widening of ASCII `bytes`. Other bytes never
// match, so such a name is widened again: the same text in the end.
inline bool SameName(std::string_view bytes, const CString& name) {
    if (static_cast<std::size_t>(name.GetLength()) != bytes.size()) return false;
    const char16_t* chars = name.GetString();
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        if (chars[i] != static_cast<unsigned char>(bytes[i]) ||
            static_cast<unsigned char>(bytes[i]) >= 0x80)
            return false;
    }
    return true;
}

inline void Widen(std::string_view bytes, CString& out) {
    // Tags of one name follow each other: an equal name is left as it is.
    if (SameName(bytes, out)) return;
    char16_t* p = out.GetBufferSetLength(static_cast<int>(bytes.size()));
    for (unsigned char byte : bytes) *p++ = FromAnsi(byte);
    out.ReleaseBuffer(static_cast<int>(bytes.size()));
}

bool EqualsNoCase(std::string_view text, const char* word) {
    std::size_t n = std::strlen(word);
    if (text.size() != n) return false;
    for (std::size_t i = 0; i < n; ++i) {
        char c = text[i];
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
        if (c != word[i]) return false;
    }
    return true;
}

} // namespace

CXMLFileInStream::~CXMLFileInStream() {
    std::free(buffer);
}

void CXMLFileInStream::Close() {
    std::free(buffer);
    buffer = nullptr;
    capacity = 0;
    length = 0;
    pos = 0;
}

bool CXMLFileInStream::Allocate(std::uint64_t size) {
    if (size >= UINT32_MAX) return false;
    if (buffer == nullptr) {
        buffer = static_cast<char*>(std::malloc(size + 1 + kPadding));
        if (buffer == nullptr) return false;
        capacity = size;
    }
    std::memset(buffer + size, 0, 1 + kPadding);
    length = static_cast<std::uint32_t>(size);
    pos = 0;
    return true;
}

bool CXMLFileInStream::Load(const char* data, std::uint64_t size) {
    if (!Allocate(size)) return false;
    if (size != 0) std::memcpy(buffer, data, size);
    return true;
}

int CXMLFileInStream::Open(const void* data, int size) {
    // The buffer of the document before serves again when it holds this one
    // without being much larger: streams that read many small documents
    // then allocate once.
    const std::uint64_t bytes = size < 0 ? 0 : static_cast<std::uint64_t>(size);
    if (buffer == nullptr || capacity < bytes || capacity > 4 * bytes + 65536) Close();
    length = 0;
    pos = 0;
    utf8 = true;
    if (data == nullptr || size < 0 || !Load(static_cast<const char*>(data), bytes)) {
        Close();
        return 0;
    }
    if (ReadSignature()) return 1;
    Close();
    return 0;
}

int CXMLFileInStream::Open(const char16_t* path) {
    Close();
    utf8 = true;
    if (path == nullptr) return 0;
    int fd = ::open(tarvex::ToUtf8(std::u16string_view(path)).c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) return 0;
    struct stat info;
    bool ok = ::fstat(fd, &info) == 0 && S_ISREG(info.st_mode);
    if (ok) {
        std::uint64_t size = static_cast<std::uint64_t>(info.st_size);
        ok = Allocate(size);
        std::uint64_t got = 0;
        while (ok && got < size) {
            ssize_t n = ::read(fd, buffer + got, size - got);
            if (n < 0 && errno == EINTR) continue;
            if (n <= 0) break; // the file shrank: keep what was read
            got += static_cast<std::uint64_t>(n);
        }
        if (ok && got < size) {
            std::memset(buffer + got, 0, 1 + kPadding);
            length = static_cast<std::uint32_t>(got);
        }
    }
    ::close(fd);
    if (ok && ReadSignature()) return 1;
    Close();
    return 0;
}

int CXMLFileInStream::OpenXML(const char16_t* text, int size) {
    Close();
    utf8 = true;
    if (text == nullptr) return 0;
    std::u16string_view view = size < 0 ? std::u16string_view(text)
                                        : std::u16string_view(text, static_cast<std::size_t>(size));
    std::string bytes = tarvex::ToUtf8(view);
    if (!Load(bytes.data(), bytes.size())) return 0;
    if (ReadSignature()) return 1;
    Close();
    return 0;
}

int CXMLFileInStream::OpenXML(const char* text, int size) {
    Close();
    utf8 = false;
    if (text == nullptr) return 0;
    std::uint64_t bytes = size < 0 ? std::strlen(text) : static_cast<std::uint64_t>(size);
    if (!Load(text, bytes)) return 0;
    if (ReadSignature()) return 1;
    Close();
    return 0;
}

int CXMLFileInStream::OpenXML(const tagVARIANT& source) {
    if (source.vt != VT_BSTR || source.bstrVal == nullptr) {
        Close();
        return 0;
    }
    if (source.bstrVal[0] == u'<')
        return OpenXML(source.bstrVal, static_cast<int>(SysStringLen(source.bstrVal)));
    return Open(source.bstrVal);
}

bool CXMLFileInStream::At(const char* text, std::uint32_t size) const {
    return pos <= length && length - pos >= size && std::memcmp(buffer + pos, text, size) == 0;
}

void CXMLFileInStream::SkipComment() {
    while (pos < length && length - pos >= 5 && buffer[pos] == '<' && buffer[pos + 1] == '!' &&
           At("<!--", 4)) {
        const char* end =
            static_cast<const char*>(memmem(buffer + pos + 4, length - pos - 4, "-->", 3));
        pos = end != nullptr ? static_cast<std::uint32_t>(end - buffer) + 3 : length;
        SkipBlanks();
    }
}

[[gnu::always_inline]] inline std::string_view CXMLFileInStream::ReadToken() {
    std::uint32_t start = pos;
    while (pos < length && !kBytes.tokenEnd[static_cast<unsigned char>(buffer[pos])]) ++pos;
    return std::string_view(buffer + start, pos - start);
}

bool CXMLFileInStream::ReadSignature() {
    if (length > 0 && static_cast<unsigned char>(buffer[0]) == 0xEF) {
        if (!At("\xEF\xBB\xBF", 3)) return false;
        pos = 3;
    }
    SkipBlanks();
    if (!At("<?", 2)) return false;
    pos += 2;
    SkipBlanks();
    if (!EqualsNoCase(ReadToken(), "xml")) return false;
    if (ParseAttributes(scratchAttrs) == eReadError) return false;
    // A declared 8-bit encoding switches UTF-8 off; nothing switches it on.
    // A match at the very start of the value does not count.
    CString encoding;
    if (scratchAttrs.GetAttr(u"encoding", encoding) && !encoding.IsEmpty()) {
        for (const char16_t* word : {u"1251", u"win", u"ansi"}) {
            if (encoding.Find(word) > 0) utf8 = false;
        }
    }
    // Kept, not flushed: the next document's declaration refills it in place.
    return true;
}

CXMLInStream::eReadStatus CXMLFileInStream::ParseAttributes(CXMLAttrs& attrs) {
    // Tags of one kind follow each other with the same names in the same
    // order. While they do, the attributes of the last tag are refilled in
    // place: a name that matches the one at its place cannot repeat an
    // earlier one, since the last tag's names were all different. From the
    // first difference on, the rest are dropped and names are added as new.
    std::int64_t kept = attrs.GetCount();
    if (kept > CXMLAttrs::kScanned) {
        attrs.Flush();
        kept = 0;
    }
    std::int64_t count = 0;
    const eReadStatus status = ParseAttributeList(attrs, kept, count);
    if (count < kept) attrs.Truncate(count);
    return status;
}

[[gnu::always_inline]] inline CXMLInStream::eReadStatus
CXMLFileInStream::ParseAttributeList(CXMLAttrs& attrs, std::int64_t& kept, std::int64_t& count) {
    for (;;) {
        SkipSpace();
        if (pos >= length) return eReadError;
        char byte = buffer[pos];
        if (byte == '/' || byte == '?') {
            if (pos + 1 < length && buffer[pos + 1] == '>') {
                pos += 2;
                return eReadEmpty;
            }
            return eReadError;
        }
        if (byte == '>') {
            ++pos;
            return eReadOpen;
        }
        const std::string_view token = ReadToken();
        SkipSpace();
        if (pos >= length || buffer[pos] != '=') return eReadError;
        ++pos;
        SkipSpace();
        if (pos >= length || buffer[pos] != '"') return eReadError;
        ++pos;
        if (DecodeValue('"') == eReadError) return eReadError;
        if (count < kept) {
            CXMLAttr* attr = attrs.attrs[count];
            if (SameName(token, attr->name)) {
                AssignValue(attr->value, valueChars.get(), valueLength);
                ++count;
                continue;
            }
            attrs.Truncate(count);
            kept = count;
        }
        // A new name: the spare on top was the attribute at this place in
        // an earlier tag, so it usually has this name already.
        CXMLAttr* attr = attrs.NextSpare();
        Widen(token, attr->name);
        CXMLAttr::Assign(attr->value, Value());
        attrs.AddSpare(attr);
        count = attrs.GetCount();
    }
}

CXMLInStream::eReadStatus CXMLFileInStream::ReadTag(CString& name, CXMLAttrs& attrs) {
    SkipSpace();
    if (pos >= length || buffer[pos] != '<') return eReadError;
    ++pos;
    SkipSpace();
    eReadStatus status = eReadOpen;
    if (pos < length && buffer[pos] == '/') {
        status = eReadClose;
        ++pos;
    }
    std::uint32_t start = pos;
    while (pos < length && IsNameByte(static_cast<unsigned char>(buffer[pos]))) ++pos;
    Widen(std::string_view(buffer + start, pos - start), name);
    if (pos >= length) return eReadError;
    if (buffer[pos] == '>') {
        // The attributes of an earlier tag stay: callers flush when they care.
        ++pos;
        return status;
    }
    if (buffer[pos] == '/' && pos + 1 < length && buffer[pos + 1] == '>') {
        pos += 2;
        return eReadEmpty;
    }
    return ParseAttributes(attrs);
}

bool CXMLFileInStream::IsCDataAppeared() {
    return At("<![CDATA[", 9);
}

char16_t CXMLFileInStream::ReadEntity() {
    static const struct {
        const char* text;
        std::uint32_t size;
        char16_t ch;
    } kEntities[] = {{"&amp;", 5, u'&'}, {"&lt;", 4, u'<'}, {"&gt;", 4, u'>'}, {"&quot;", 6, u'"'}};
    for (const auto& entity : kEntities) {
        if (At(entity.text, entity.size)) {
            pos += entity.size;
            return entity.ch;
        }
    }
    if (At("&#x", 3)) {
        // At least one hex digit and then ';'. The code keeps its low 16 bits,
        // so a long run of digits cannot overflow.
        std::uint32_t at = pos + 3;
        std::uint32_t code = 0;
        int digits = 0;
        for (int value; at < length && (value = HexValue(buffer[at])) >= 0; ++at, ++digits)
            code = ((code << 4) | static_cast<std::uint32_t>(value)) & 0xFFFF;
        if (digits > 0 && at < length && buffer[at] == ';') {
            pos = at + 1;
            return static_cast<char16_t>(code);
        }
    }
    // Any other entity: a '?', and the cursor stops on the next ';' (or the
    // end), which is then read as text.
    const void* semicolon = std::memchr(buffer + pos, ';', length - pos);
    pos = semicolon != nullptr
              ? static_cast<std::uint32_t>(static_cast<const char*>(semicolon) - buffer)
              : length;
    return u'?';
}

bool CXMLFileInStream::ReadUtf8(char16_t& unit) {
    unsigned char lead = static_cast<unsigned char>(buffer[pos]);
    int count = 0;
    while (count < 8 && (lead & (0x80 >> count)) != 0) ++count;
    if (static_cast<std::uint64_t>(pos) + count > length) {
        pos = length;
        return false;
    }
    std::uint32_t code = count < 7 ? lead & (0xFFu >> (count + 1)) : 0;
    for (int k = 1; k < count; ++k)
        code = (code << 6) | (static_cast<unsigned char>(buffer[pos + k]) & 0x3F);
    // A lone continuation byte, a sequence longer than four bytes and any
    // character beyond the basic plane have no single 16-bit form.
    if (count == 1 || count > 4 || code > 0xFFFF) code = 0xFFFD;
    unit = static_cast<char16_t>(code);
    pos += count;
    return true;
}

CXMLInStream::eReadStatus CXMLFileInStream::ReadValue(CString& value, char terminator) {
    eReadStatus status = ReadValueRaw(terminator);
    CXMLAttr::Assign(value, Value());
    return status;
}

char16_t* CXMLFileInStream::GrowValue(std::size_t n) {
    std::size_t capacity = valueCapacity < 64 ? 64 : valueCapacity * 2;
    if (capacity - valueLength < n) capacity = valueLength + n;
    std::unique_ptr<char16_t[]> grown(new char16_t[capacity]);
    if (valueLength != 0)
        std::memcpy(grown.get(), valueChars.get(), valueLength * sizeof(char16_t));
    valueChars = std::move(grown);
    valueCapacity = capacity;
    return valueChars.get() + valueLength;
}

CXMLInStream::eReadStatus CXMLFileInStream::ReadValueRaw(char terminator) {
    return DecodeValue(terminator);
}

// Inlined where attribute values are read, so that the quote is a constant
// there.
[[gnu::always_inline]] inline CXMLInStream::eReadStatus
CXMLFileInStream::DecodeValue(char terminator) {
    valueLength = 0;
    char16_t* out = ValueRoom(kValueSlack);
    // Every step writes at most kValueSlack units before the room is
    // looked at again.
    char16_t* limit = valueChars.get() + valueCapacity - kValueSlack;
    // The block stores may alias anything: the cursor lives in a local and
    // goes back to `pos` around the calls that read it.
    const char* const data = buffer;
    const std::uint32_t end = length;
    std::uint32_t at = pos;
#if defined(__SSE2__)
    // Spread from a register: a byte stored and loaded back wide would stall.
    const __m128i ends =
        _mm_set1_epi32(static_cast<int>(0x01010101u * static_cast<unsigned char>(terminator)));
#endif
    const auto finish = [&](std::uint32_t cursor, char16_t* last, eReadStatus status) {
        pos = cursor;
        valueLength = static_cast<std::size_t>(last - valueChars.get());
        return status;
    };
    for (;;) {
        if (out > limit) {
            valueLength = static_cast<std::size_t>(out - valueChars.get());
            out = GrowValue(kValueSlack);
            limit = valueChars.get() + valueCapacity - kValueSlack;
        }
        if (at >= end) return finish(at, out, eReadOpen); // the end of the data ends the value
#if defined(__SSE2__)
        // Sixteen bytes widened in one store; the cursor moves over the plain
        // ones. The padding after the data makes the load safe, and the
        // run is cut back to the end of the data.
        const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(data + at));
        const __m128i zero = _mm_setzero_si128();
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out), _mm_unpacklo_epi8(bytes, zero));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 8), _mm_unpackhi_epi8(bytes, zero));
        __m128i stop = _mm_or_si128(_mm_cmpeq_epi8(bytes, _mm_set1_epi8('&')),
                                    _mm_cmpeq_epi8(bytes, _mm_set1_epi8('<')));
        stop = _mm_or_si128(stop, _mm_cmpeq_epi8(bytes, ends));
        const int mask = _mm_movemask_epi8(stop) | _mm_movemask_epi8(bytes);
        std::uint32_t run = mask != 0 ? static_cast<std::uint32_t>(__builtin_ctz(mask)) : 16;
        if (run > end - at) run = end - at;
        out += run;
        at += run;
        if (run == 16 || at >= end) continue;
#endif
        const unsigned char byte = static_cast<unsigned char>(data[at]);
        if (byte == static_cast<unsigned char>(terminator) && byte != '<')
            return finish(at + 1, out, eReadClose);
        if (byte == '<') {
            if (terminator != '<') return finish(at, out, eReadError);
            finish(at, out, eReadOpen);
            if (IsCDataAppeared()) {
                pos += 9;
                return ReadCDATA();
            }
            return eReadOpen; // the cursor stays on '<'
        }
        if (byte < 0x80 && byte != '&') {
            *out++ = byte;
            ++at;
        } else if (byte >= 0x80 && utf8 && (byte & 0xE0) == 0xC0 && at + 1 < end) {
#if defined(__SSE2__)
            // Up to eight well-formed pairs at once, taken as 16-bit lanes
            // (lead in the low byte): the lead 110xxxxx, the trail 10xxxxxx.
            const __m128i lanes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(data + at));
            const int formed = _mm_movemask_epi8(
                _mm_cmpeq_epi16(_mm_and_si128(lanes, _mm_set1_epi16(static_cast<short>(0xC0E0))),
                                _mm_set1_epi16(static_cast<short>(0x80C0))));
            std::uint32_t pairs =
                formed == 0xFFFF ? 8
                                 : static_cast<std::uint32_t>(__builtin_ctz(~formed & 0xFFFF)) / 2;
            if (pairs > (end - at) / 2) pairs = (end - at) / 2;
            if (pairs != 0) {
                const __m128i high = _mm_slli_epi16(_mm_and_si128(lanes, _mm_set1_epi16(0x1F)), 6);
                const __m128i low = _mm_and_si128(_mm_srli_epi16(lanes, 8), _mm_set1_epi16(0x3F));
                _mm_storeu_si128(reinterpret_cast<__m128i*>(out), _mm_or_si128(high, low));
                out += pairs;
                at += 2 * pairs;
                continue;
            }
#endif
            // Two-byte sequences (Cyrillic) in a loop of their own.
            const char16_t* const full = limit + kValueSlack - 1;
            do {
                *out++ = static_cast<char16_t>((data[at] & 0x1F) << 6 | (data[at + 1] & 0x3F));
                at += 2;
            } while (at + 1 < end && (data[at] & 0xE0) == 0xC0 && out < full);
        } else if (byte >= 0x80 && !utf8) {
            *out++ = FromAnsi(byte);
            ++at;
        } else {
            pos = at;
            if (byte == '&') {
                *out++ = ReadEntity();
            } else if (!ReadUtf8(*out++)) {
                return finish(pos, out - 1, eReadError);
            }
            at = pos;
        }
    }
}

CXMLInStream::eReadStatus CXMLFileInStream::ReadCDATA() {
    std::uint32_t start = pos;
    const char* end = static_cast<const char*>(memmem(buffer + pos, length - pos, "]]>", 3));
    if (end == nullptr || std::memchr(buffer + start, 0, end - (buffer + start)) != nullptr) {
        pos = length; // what was read before the section stays
        return eReadError;
    }
    std::string_view bytes(buffer + start, static_cast<std::size_t>(end - (buffer + start)));
    valueLength = 0;
    if (utf8) {
        CString text = tarvex::FromUtf8(bytes);
        char16_t* out = ValueRoom(static_cast<std::size_t>(text.GetLength()));
        if (text.GetLength() != 0)
            std::memcpy(out, text.GetString(), text.GetLength() * sizeof(char16_t));
        valueLength = static_cast<std::size_t>(text.GetLength());
    } else {
        char16_t* out = ValueRoom(bytes.size());
        for (char byte : bytes) *out++ = FromAnsi(static_cast<unsigned char>(byte));
        valueLength = bytes.size();
    }
    pos = static_cast<std::uint32_t>(end - buffer) + 3;
    SkipSpace();
    return eReadOpen;
}

CXMLInStream::eReadStatus CXMLFileInStream::ReadParameter(CString& value, const char16_t* tagName) {
    if (ReadValue(value, '<') == eReadError) return eReadError;
    if (ReadTag(scratchName, scratchAttrs) == eReadClose && tagName != nullptr &&
        scratchName.Compare(tagName) == 0)
        return eReadClose;
    return eReadError;
}

CXMLInStream::eReadStatus CXMLFileInStream::Skip(const char16_t* tagName) {
    int depth = 1;
    while (length > 0 && pos < length - 1) {
        if (buffer[pos] == '<') {
            eReadStatus status = ReadTag(scratchName, scratchAttrs);
            if (tagName != nullptr && scratchName.Compare(tagName) == 0) {
                if (status == eReadClose) {
                    if (--depth == 0) return eReadClose;
                } else {
                    ++depth;
                }
            }
        }
        // One byte further after every step, a tag included (but never past
        // the end, where a failed read may have left the cursor).
        if (pos < length) ++pos;
    }
    return eReadError;
}
