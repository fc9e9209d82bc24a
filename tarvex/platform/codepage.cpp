#include "tarvex/platform/codepage.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstring>
#include <stdexcept>
#include <type_traits>

namespace {

// Upper halves of the single-byte pages; bytes 0x00-0x7F are ASCII in both.
using ByteTable = std::array<char16_t, 128>;

// Windows-1251. Its one unassigned byte, 0x98, passes through as U+0098, so
// any byte string survives decoding and encoding again unchanged.
constexpr ByteTable k1251 = {
    0x0402, 0x0403, 0x201A, 0x0453, 0x201E, 0x2026, 0x2020, 0x2021, // 80
    0x20AC, 0x2030, 0x0409, 0x2039, 0x040A, 0x040C, 0x040B, 0x040F, // 88
    0x0452, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014, // 90
    0x0098, 0x2122, 0x0459, 0x203A, 0x045A, 0x045C, 0x045B, 0x045F, // 98
    0x00A0, 0x040E, 0x045E, 0x0408, 0x00A4, 0x0490, 0x00A6, 0x00A7, // A0
    0x0401, 0x00A9, 0x0404, 0x00AB, 0x00AC, 0x00AD, 0x00AE, 0x0407, // A8
    0x00B0, 0x00B1, 0x0406, 0x0456, 0x0491, 0x00B5, 0x00B6, 0x00B7, // B0
    0x0451, 0x2116, 0x0454, 0x00BB, 0x0458, 0x0405, 0x0455, 0x0457, // B8
    0x0410, 0x0411, 0x0412, 0x0413, 0x0414, 0x0415, 0x0416, 0x0417, // C0
    0x0418, 0x0419, 0x041A, 0x041B, 0x041C, 0x041D, 0x041E, 0x041F, // C8
    0x0420, 0x0421, 0x0422, 0x0423, 0x0424, 0x0425, 0x0426, 0x0427, // D0
    0x0428, 0x0429, 0x042A, 0x042B, 0x042C, 0x042D, 0x042E, 0x042F, // D8
    0x0430, 0x0431, 0x0432, 0x0433, 0x0434, 0x0435, 0x0436, 0x0437, // E0
    0x0438, 0x0439, 0x043A, 0x043B, 0x043C, 0x043D, 0x043E, 0x043F, // E8
    0x0440, 0x0441, 0x0442, 0x0443, 0x0444, 0x0445, 0x0446, 0x0447, // F0
    0x0448, 0x0449, 0x044A, 0x044B, 0x044C, 0x044D, 0x044E, 0x044F, // F8
};

// DOS 866: the Cyrillic letters around the box-drawing block.
constexpr ByteTable k866 = {
    0x0410, 0x0411, 0x0412, 0x0413, 0x0414, 0x0415, 0x0416, 0x0417, // 80
    0x0418, 0x0419, 0x041A, 0x041B, 0x041C, 0x041D, 0x041E, 0x041F, // 88
    0x0420, 0x0421, 0x0422, 0x0423, 0x0424, 0x0425, 0x0426, 0x0427, // 90
    0x0428, 0x0429, 0x042A, 0x042B, 0x042C, 0x042D, 0x042E, 0x042F, // 98
    0x0430, 0x0431, 0x0432, 0x0433, 0x0434, 0x0435, 0x0436, 0x0437, // A0
    0x0438, 0x0439, 0x043A, 0x043B, 0x043C, 0x043D, 0x043E, 0x043F, // A8
    0x2591, 0x2592, 0x2593, 0x2502, 0x2524, 0x2561, 0x2562, 0x2556, // B0
    0x2555, 0x2563, 0x2551, 0x2557, 0x255D, 0x255C, 0x255B, 0x2510, // B8
    0x2514, 0x2534, 0x252C, 0x251C, 0x2500, 0x253C, 0x255E, 0x255F, // C0
    0x255A, 0x2554, 0x2569, 0x2566, 0x2560, 0x2550, 0x256C, 0x2567, // C8
    0x2568, 0x2564, 0x2565, 0x2559, 0x2558, 0x2552, 0x2553, 0x256B, // D0
    0x256A, 0x2518, 0x250C, 0x2588, 0x2584, 0x258C, 0x2590, 0x2580, // D8
    0x0440, 0x0441, 0x0442, 0x0443, 0x0444, 0x0445, 0x0446, 0x0447, // E0
    0x0448, 0x0449, 0x044A, 0x044B, 0x044C, 0x044D, 0x044E, 0x044F, // E8
    0x0401, 0x0451, 0x0404, 0x0454, 0x0407, 0x0457, 0x040E, 0x045E, // F0
    0x00B0, 0x2219, 0x00B7, 0x221A, 0x2116, 0x00A4, 0x25A0, 0x00A0, // F8
};

struct ReverseEntry {
    char16_t ch;
    std::uint8_t byte;
};

// Nearly all non-ASCII text these pages carry is Cyrillic (U+0400-U+045F), so
// that range is indexed directly; the few dozen other characters are found by
// binary search. Both are built from the forward table at compile time.
struct SingleBytePage {
    ByteTable toWide;
    std::array<std::uint8_t, 0x60> cyrillic; // 0 where the page lacks the letter
    std::array<ReverseEntry, 128> sorted;
};

constexpr SingleBytePage MakePage(const ByteTable& toWide) {
    SingleBytePage page{toWide, {}, {}};
    for (int i = 0; i < 128; ++i) {
        const char16_t ch = toWide[i];
        const auto byte = std::uint8_t(0x80 + i);
        page.sorted[i] = {ch, byte};
        if (ch >= 0x400 && ch < 0x460) page.cyrillic[ch - 0x400] = byte;
    }
    std::sort(page.sorted.begin(), page.sorted.end(),
              [](const ReverseEntry& a, const ReverseEntry& b) { return a.ch < b.ch; });
    return page;
}

// A byte pair mapped to one character would make the reverse lookup ambiguous.
constexpr bool IsOneToOne(const SingleBytePage& page) {
    for (size_t i = 0; i < page.sorted.size(); ++i) {
        if (page.sorted[i].ch < 0x80) return false;
        if (i > 0 && page.sorted[i - 1].ch == page.sorted[i].ch) return false;
    }
    return true;
}

constexpr SingleBytePage kPage1251 = MakePage(k1251);
constexpr SingleBytePage kPage866 = MakePage(k866);
static_assert(IsOneToOne(kPage1251) && IsOneToOne(kPage866));

// The byte for `ch`, or -1 when the page lacks it.
inline int ToByte(const SingleBytePage& page, char16_t ch) noexcept {
    if (ch < 0x80) return ch;
    if (unsigned(ch - 0x400) < 0x60u) {
        const int byte = page.cyrillic[ch - 0x400];
        return byte != 0 ? byte : -1;
    }
    const auto it = std::lower_bound(page.sorted.begin(), page.sorted.end(), ch,
                                     [](const ReverseEntry& e, char16_t c) { return e.ch < c; });
    return it != page.sorted.end() && it->ch == ch ? it->byte : -1;
}

struct Codec {
    bool known;
    const SingleBytePage* singleByte; // null for UTF-8
};

Codec Resolve(UINT codePage) noexcept {
    switch (codePage) {
    case CP_UTF8:
        return {true, nullptr};
    case CP_ACP:
    case CP_WINDOWS_1251:
        return {true, &kPage1251};
    case CP_OEMCP:
    case CP_DOS_866:
        return {true, &kPage866};
    default:
        return {false, nullptr};
    }
}

inline bool IsHighSurrogate(char32_t u) noexcept {
    return u - 0xD800 < 0x400;
}
inline bool IsLowSurrogate(char32_t u) noexcept {
    return u - 0xDC00 < 0x400;
}

constexpr char16_t kReplacement = 0xFFFD;

// The decoders and encoders count without writing when Write is false, so
// the buffer calls can answer size queries and check the room first.

template <bool Write>
size_t DecodeSingleByte(const SingleBytePage& page, const unsigned char* s, size_t n,
                        char16_t* out) noexcept {
    if constexpr (Write)
        for (size_t i = 0; i < n; ++i) out[i] = s[i] < 0x80 ? s[i] : page.toWide[s[i] - 0x80];
    return n;
}

// Each maximal ill-formed subsequence (a lead byte with the valid
// continuations that follow it, or a stray byte) becomes one U+FFFD, as the
// Unicode standard recommends. Overlong forms, encoded surrogates and values
// above U+10FFFF are ill-formed.
template <bool Write>
size_t DecodeUtf8(const unsigned char* s, size_t n, char16_t* out) noexcept {
    size_t count = 0;
    auto put = [&](char16_t unit) {
        if constexpr (Write) out[count] = unit;
        ++count;
    };
    size_t i = 0;
    while (i < n) {
        // Runs of ASCII go eight bytes at a time.
        for (std::uint64_t word; i + 8 <= n; i += 8) {
            std::memcpy(&word, s + i, 8);
            if (word & 0x8080808080808080ULL) break;
            if constexpr (Write)
                for (size_t k = 0; k < 8; ++k) out[count + k] = s[i + k];
            count += 8;
        }
        if (i >= n) break;

        const unsigned lead = s[i++];
        if (lead < 0x80) {
            put(char16_t(lead));
            continue;
        }
        int trail;
        char32_t cp;
        unsigned low = 0x80, high = 0xBF; // allowed range of the next byte
        if (lead >= 0xC2 && lead <= 0xDF) {
            trail = 1;
            cp = lead & 0x1F;
        } else if (lead >= 0xE0 && lead <= 0xEF) {
            trail = 2;
            cp = lead & 0x0F;
            if (lead == 0xE0) low = 0xA0;  // overlong
            if (lead == 0xED) high = 0x9F; // surrogates
        } else if (lead >= 0xF0 && lead <= 0xF4) {
            trail = 3;
            cp = lead & 0x07;
            if (lead == 0xF0) low = 0x90;  // overlong
            if (lead == 0xF4) high = 0x8F; // above U+10FFFF
        } else {
            put(kReplacement);
            continue;
        }
        for (; trail > 0; --trail, ++i) {
            if (i >= n || s[i] < low || s[i] > high) break;
            cp = cp << 6 | (s[i] & 0x3F);
            low = 0x80;
            high = 0xBF;
        }
        if (trail > 0) {
            put(kReplacement); // the offending byte starts over as a lead
        } else if (cp >= 0x10000) {
            cp -= 0x10000;
            put(char16_t(0xD800 + (cp >> 10)));
            put(char16_t(0xDC00 + (cp & 0x3FF)));
        } else {
            put(char16_t(cp));
        }
    }
    return count;
}

// A surrogate pair is one character: it gets one default char.
template <bool Write>
size_t EncodeSingleByte(const SingleBytePage& page, const char16_t* s, size_t n, char* out,
                        char defaultChar, bool& usedDefault) noexcept {
    size_t count = 0;
    for (size_t i = 0; i < n; ++i) {
        int byte = ToByte(page, s[i]);
        if (byte < 0) {
            if (IsHighSurrogate(s[i]) && i + 1 < n && IsLowSurrogate(s[i + 1])) ++i;
            byte = static_cast<unsigned char>(defaultChar);
            usedDefault = true;
        }
        if constexpr (Write) out[count] = char(byte);
        ++count;
    }
    return count;
}

// A lone surrogate has no UTF-8 form and is written as U+FFFD.
template <bool Write>
size_t EncodeUtf8(const char16_t* s, size_t n, char* out, bool& replaced) noexcept {
    size_t count = 0;
    auto put = [&](char32_t byte) {
        if constexpr (Write) out[count] = char(byte);
        ++count;
    };
    for (size_t i = 0; i < n; ++i) {
        char32_t cp = s[i];
        if (cp < 0x80) {
            put(cp);
            continue;
        }
        if (cp < 0x800) {
            put(0xC0 | cp >> 6);
            put(0x80 | (cp & 0x3F));
            continue;
        }
        if (IsHighSurrogate(cp) && i + 1 < n && IsLowSurrogate(s[i + 1])) {
            cp = 0x10000 + ((cp - 0xD800) << 10) + (s[++i] - 0xDC00);
            put(0xF0 | cp >> 18);
            put(0x80 | (cp >> 12 & 0x3F));
            put(0x80 | (cp >> 6 & 0x3F));
            put(0x80 | (cp & 0x3F));
            continue;
        }
        if (IsHighSurrogate(cp) || IsLowSurrogate(cp)) {
            cp = kReplacement;
            replaced = true;
        }
        put(0xE0 | cp >> 12);
        put(0x80 | (cp >> 6 & 0x3F));
        put(0x80 | (cp & 0x3F));
    }
    return count;
}

// GetLastError reads errno.
inline int Fail(int error) noexcept {
    errno = error;
    return 0;
}

} // namespace

// The flags are accepted and ignored: invalid input is always replaced, never
// an error.
int MultiByteToWideChar(UINT codePage, DWORD /*flags*/, const char* source, int sourceLength,
                        char16_t* target, int targetSize) noexcept {
    const Codec codec = Resolve(codePage);
    if (!codec.known || !source || sourceLength == 0 || sourceLength < -1 || targetSize < 0 ||
        (targetSize > 0 && !target))
        return Fail(EINVAL);
    const size_t n = sourceLength < 0 ? std::strlen(source) + 1 : size_t(sourceLength);
    const auto* bytes = reinterpret_cast<const unsigned char*>(source);
    const size_t room = size_t(targetSize);

    auto decode = [&](auto write, char16_t* out) -> size_t {
        constexpr bool Write = decltype(write)::value;
        return codec.singleByte ? DecodeSingleByte<Write>(*codec.singleByte, bytes, n, out)
                                : DecodeUtf8<Write>(bytes, n, out);
    };
    // No byte gives more than one unit, so with room for n units there is
    // nothing to count first.
    if (room >= n) return int(decode(std::true_type{}, target));
    const size_t needed = decode(std::false_type{}, nullptr);
    if (needed > INT_MAX) return Fail(ERANGE);
    if (room == 0) return int(needed);
    if (needed > room) return Fail(ENOBUFS);
    return int(decode(std::true_type{}, target));
}

// For UTF-8 the default char does not apply (a lone surrogate becomes U+FFFD),
// but *usedDefault still tells whether one was replaced.
int WideCharToMultiByte(UINT codePage, DWORD /*flags*/, const char16_t* source, int sourceLength,
                        char* target, int targetSize, const char* defaultChar,
                        BOOL* usedDefault) noexcept {
    const Codec codec = Resolve(codePage);
    if (!codec.known || !source || sourceLength == 0 || sourceLength < -1 || targetSize < 0 ||
        (targetSize > 0 && !target))
        return Fail(EINVAL);
    const size_t n =
        sourceLength < 0 ? std::char_traits<char16_t>::length(source) + 1 : size_t(sourceLength);
    const size_t room = size_t(targetSize);
    const char fallback = defaultChar ? *defaultChar : '?';
    bool replaced = false;

    auto encode = [&](auto write, char* out) -> size_t {
        constexpr bool Write = decltype(write)::value;
        return codec.singleByte
                   ? EncodeSingleByte<Write>(*codec.singleByte, source, n, out, fallback, replaced)
                   : EncodeUtf8<Write>(source, n, out, replaced);
    };
    // A unit needs at most one byte of a single-byte page and three of UTF-8;
    // with that much room the output is written at once.
    const size_t bound = codec.singleByte ? n : 3 * n;
    size_t needed;
    if (room >= bound) {
        needed = encode(std::true_type{}, target);
    } else {
        needed = encode(std::false_type{}, nullptr);
        if (needed > INT_MAX) return Fail(ERANGE);
        if (room != 0) {
            if (needed > room) return Fail(ENOBUFS);
            encode(std::true_type{}, target);
        }
    }
    if (usedDefault) *usedDefault = replaced ? TRUE : FALSE;
    return int(needed);
}

namespace tarvex {

CString DecodeCodePage(UINT codePage, std::string_view bytes) {
    CString text;
    const Codec codec = Resolve(codePage);
    if (!codec.known || bytes.empty()) return text;
    const auto* s = reinterpret_cast<const unsigned char*>(bytes.data());
    const size_t n = bytes.size();
    const size_t length = codec.singleByte ? n : DecodeUtf8<false>(s, n, nullptr);
    if (length > INT_MAX) throw std::length_error("DecodeCodePage: text too long");
    char16_t* out = text.GetBufferSetLength(int(length));
    if (codec.singleByte)
        DecodeSingleByte<true>(*codec.singleByte, s, n, out);
    else
        DecodeUtf8<true>(s, n, out);
    text.ReleaseBuffer(int(length));
    return text;
}

std::string EncodeCodePage(UINT codePage, std::u16string_view text) {
    std::string bytes;
    const Codec codec = Resolve(codePage);
    if (!codec.known || text.empty()) return bytes;
    bool replaced = false;
    if (codec.singleByte) {
        bytes.resize(text.size());
        bytes.resize(EncodeSingleByte<true>(*codec.singleByte, text.data(), text.size(),
                                            bytes.data(), '?', replaced));
    } else {
        bytes.resize(EncodeUtf8<false>(text.data(), text.size(), nullptr, replaced));
        EncodeUtf8<true>(text.data(), text.size(), bytes.data(), replaced);
    }
    return bytes;
}

} // namespace tarvex
