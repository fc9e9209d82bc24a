// UTF-8 and XML entities of 16-bit text, in blocks: shared by the text
// streams and the XML writer, which assembles whole tags with them.
#pragma once
#include <cstddef>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace tarvex::textencode {

// One 16-bit unit alone in UTF-8; a surrogate on its own is not a character
// and becomes U+FFFD, as the code-page layer converts it.
inline unsigned int Utf8Unit(char16_t ch, char* out) {
    if (ch < 0x80) {
        out[0] = static_cast<char>(ch);
        return 1;
    }
    if (ch < 0x800) {
        out[0] = static_cast<char>(0xC0 | (ch >> 6));
        out[1] = static_cast<char>(0x80 | (ch & 0x3F));
        return 2;
    }
    if (ch >= 0xD800 && ch <= 0xDFFF) ch = 0xFFFD;
    out[0] = static_cast<char>(0xE0 | (ch >> 12));
    out[1] = static_cast<char>(0x80 | ((ch >> 6) & 0x3F));
    out[2] = static_cast<char>(0x80 | (ch & 0x3F));
    return 3;
}

inline const char* Entity(char16_t ch, bool cvtQuota, unsigned int& length) {
    switch (ch) {
    case u'&':
        length = 5;
        return "&amp;";
    case u'<':
        length = 4;
        return "&lt;";
    case u'>':
        length = 4;
        return "&gt;";
    case u'"':
        if (!cvtQuota) return nullptr;
        length = 6;
        return "&quot;";
    default:
        return nullptr;
    }
}

// Entity kinds of the ASCII characters below '?': 1 for '&', '<' and '>',
// 2 for '"', which is escaped only on request.
struct EntityKinds {
    unsigned char kind[64] = {};
    constexpr EntityKinds() {
        kind['&'] = kind['<'] = kind['>'] = 1;
        kind['"'] = 2;
    }
};
inline constexpr EntityKinds kEntityKinds;

inline bool NeedsEntity(char16_t ch, bool quotes) {
    if (ch >= 64) return false;
    const unsigned char kind = kEntityKinds.kind[ch];
    return kind == 1 || (kind == 2 && quotes);
}

// Lanes of eight units that cannot be copied as one byte each: 0x80 and
// above, the escaped characters when `escape` is set, NUL when `nul` is.
// Two mask bits a lane.
inline int SpecialLanes(const char16_t* text, bool escape, bool quotes, bool nul) {
#if defined(__SSE2__)
    const __m128i units = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text));
    const __m128i zero = _mm_setzero_si128();
    __m128i bad = _mm_cmpeq_epi16(_mm_and_si128(units, _mm_set1_epi16(-128)), zero);
    bad = _mm_xor_si128(bad, _mm_set1_epi16(-1));
    if (escape) {
        bad = _mm_or_si128(bad, _mm_cmpeq_epi16(units, _mm_set1_epi16('&')));
        bad = _mm_or_si128(bad, _mm_cmpeq_epi16(units, _mm_set1_epi16('<')));
        bad = _mm_or_si128(bad, _mm_cmpeq_epi16(units, _mm_set1_epi16('>')));
        if (quotes) bad = _mm_or_si128(bad, _mm_cmpeq_epi16(units, _mm_set1_epi16('"')));
    }
    if (nul) bad = _mm_or_si128(bad, _mm_cmpeq_epi16(units, zero));
    return _mm_movemask_epi8(bad);
#else
    int mask = 0;
    for (int k = 0; k < 8; ++k) {
        const char16_t ch = text[k];
        if (ch >= 0x80 || (escape && NeedsEntity(ch, quotes)) || (nul && ch == 0))
            mask |= 3 << (2 * k);
    }
    return mask;
#endif
}

// Stores the low bytes of eight units.
inline void StoreBytes(const char16_t* text, char* out) {
#if defined(__SSE2__)
    const __m128i units = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text));
    _mm_storel_epi64(reinterpret_cast<__m128i*>(out),
                     _mm_packus_epi16(_mm_and_si128(units, _mm_set1_epi16(0xFF)), units));
#else
    for (int k = 0; k < 8; ++k) out[k] = static_cast<char>(text[k]);
#endif
}

// UTF-8 of `count` units, stopping early at a NUL when `nul` is set. Blocks
// of eight are stored whole and the cursor moves over their plain leading
// units, so a short ASCII run between Cyrillic words also goes in one step;
// `out` has room for twelve bytes a unit, which covers the block overhang.
[[gnu::always_inline]] inline std::size_t
EncodeUtf8(char* out, const char16_t* text, std::size_t count, bool escape, bool quotes, bool nul) {
    char* p = out;
    std::size_t i = 0;
    while (i < count) {
        if (count - i >= 8) {
            const int mask = SpecialLanes(text + i, escape, quotes, nul);
            StoreBytes(text + i, p);
            const std::size_t plain =
                mask == 0 ? 8 : static_cast<std::size_t>(__builtin_ctz(mask)) / 2;
            p += plain;
            i += plain;
            if (plain != 0) continue;
#if defined(__SSE2__)
            // Two-byte characters (Cyrillic) at the front of the block: all
            // eight converted in one store, the cursor moved over them.
            const __m128i units = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text + i));
            const __m128i zero = _mm_setzero_si128();
            const __m128i wide = _mm_cmpeq_epi16(_mm_and_si128(units, _mm_set1_epi16(-128)), zero);
            const __m128i small =
                _mm_cmpeq_epi16(_mm_and_si128(units, _mm_set1_epi16(-2048)), zero);
            const int two = _mm_movemask_epi8(_mm_andnot_si128(wide, small));
            const std::size_t pairs =
                two == 0xFFFF ? 8 : static_cast<std::size_t>(__builtin_ctz(~two & 0xFFFF)) / 2;
            if (pairs != 0) {
                const __m128i lead = _mm_or_si128(_mm_srli_epi16(units, 6), _mm_set1_epi16(0xC0));
                const __m128i trail =
                    _mm_or_si128(_mm_and_si128(units, _mm_set1_epi16(0x3F)), _mm_set1_epi16(0x80));
                _mm_storeu_si128(reinterpret_cast<__m128i*>(p),
                                 _mm_or_si128(lead, _mm_slli_epi16(trail, 8)));
                p += 2 * pairs;
                i += pairs;
                continue;
            }
#endif
        }
        char16_t ch = text[i];
        if (ch < 0x80) {
            if (ch == 0 && nul) break;
            if (escape && NeedsEntity(ch, quotes)) {
                unsigned int entityLength = 0;
                const char* entity = Entity(ch, true, entityLength);
                std::memcpy(p, entity, entityLength);
                p += entityLength;
            } else {
                *p++ = static_cast<char>(ch);
            }
            ++i;
            continue;
        }
        // Two-byte characters (Cyrillic) in a loop of their own.
        while (ch >= 0x80 && ch < 0x800) {
            p[0] = static_cast<char>(0xC0 | (ch >> 6));
            p[1] = static_cast<char>(0x80 | (ch & 0x3F));
            p += 2;
            if (++i == count) break;
            ch = text[i];
        }
        if (i < count && ch >= 0x800) {
            p += Utf8Unit(ch, p);
            ++i;
        }
    }
    return static_cast<std::size_t>(p - out);
}

// ` name="value"` in UTF-8, each text up to its count or its first NUL; the
// value escapes '"'. The settings are constants in each copy.
[[gnu::always_inline]] inline std::size_t EncodeUtf8Attribute(char* out, const char16_t* name,
                                                              std::size_t nameCount,
                                                              const char16_t* value,
                                                              std::size_t valueCount, bool escape) {
    char* p = out;
    *p++ = ' ';
    p += escape ? EncodeUtf8(p, name, nameCount, true, false, true)
                : EncodeUtf8(p, name, nameCount, false, false, true);
    *p++ = '=';
    *p++ = '"';
    p += escape ? EncodeUtf8(p, value, valueCount, true, true, true)
                : EncodeUtf8(p, value, valueCount, false, false, true);
    *p++ = '"';
    return static_cast<std::size_t>(p - out);
}

} // namespace tarvex::textencode
