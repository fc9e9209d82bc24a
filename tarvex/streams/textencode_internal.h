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

// The ASCII characters that take an entity, as bits by code: '&', '<' and
// '>' always, '"' only on request.
inline constexpr unsigned long long kEntityBits = (1ull << '&') | (1ull << '<') | (1ull << '>');
inline constexpr unsigned long long kEntityBitsWithQuote = kEntityBits | (1ull << '"');

inline bool NeedsEntity(char16_t ch, bool quotes) {
    return ch < 64 && (((quotes ? kEntityBitsWithQuote : kEntityBits) >> ch) & 1) != 0;
}

#if defined(__SSE2__)
// Lanes of eight units that cannot be copied as one byte each: 0x80 and
// above, the escaped characters when `escape` is set, NUL when `nul` is.
// All ones in such a lane.
inline __m128i SpecialVector(__m128i units, bool escape, bool quotes, bool nul) {
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
    return bad;
}
#endif

// SpecialVector of the eight units at `text` as a mask of two bits a lane.
inline int SpecialLanes(const char16_t* text, bool escape, bool quotes, bool nul) {
#if defined(__SSE2__)
    const __m128i units = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text));
    return _mm_movemask_epi8(SpecialVector(units, escape, quotes, nul));
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

// Units known to be ASCII needing no entity, or two-byte characters, with
// no test per unit that could mispredict. Writes one byte past the end.
inline char* PutNarrow(char* p, const char16_t* text, std::size_t count) {
    for (std::size_t k = 0; k < count; ++k) {
        const unsigned ch = text[k];
        const unsigned wide = ch >= 0x80 ? 1u : 0u;
        p[0] = static_cast<char>(wide != 0 ? 0xC0 | (ch >> 6) : ch);
        p[1] = static_cast<char>(0x80 | (ch & 0x3F));
        p += 1 + wide;
    }
    return p;
}

// What eight units ask for, two mask bits a lane: `hard` for the one-unit
// step (an entity, a NUL that ends the text, three bytes), `wide` for two
// bytes or more.
struct LaneKinds {
    int hard;
    int wide;
};

#if defined(__SSE2__)
inline LaneKinds KindsOfVector(__m128i units, bool escape, bool quotes, bool nul) {
    const __m128i zero = _mm_setzero_si128();
    const __m128i narrow = _mm_cmpeq_epi16(_mm_and_si128(units, _mm_set1_epi16(-128)), zero);
    const __m128i small = _mm_cmpeq_epi16(_mm_and_si128(units, _mm_set1_epi16(-2048)), zero);
    // Entities and NUL are ASCII lanes by themselves.
    __m128i stop = zero;
    if (escape) {
        stop = _mm_cmpeq_epi16(units, _mm_set1_epi16('&'));
        stop = _mm_or_si128(stop, _mm_cmpeq_epi16(units, _mm_set1_epi16('<')));
        stop = _mm_or_si128(stop, _mm_cmpeq_epi16(units, _mm_set1_epi16('>')));
        if (quotes) stop = _mm_or_si128(stop, _mm_cmpeq_epi16(units, _mm_set1_epi16('"')));
    }
    if (nul) stop = _mm_or_si128(stop, _mm_cmpeq_epi16(units, zero));
    return {(~_mm_movemask_epi8(small) & 0xFFFF) | _mm_movemask_epi8(stop),
            ~_mm_movemask_epi8(narrow) & 0xFFFF};
}

// The bytes of eight ASCII units as one number, the first in the low byte.
inline unsigned long long PackedBytes(__m128i units) {
    return static_cast<unsigned long long>(_mm_cvtsi128_si64(_mm_packus_epi16(units, units)));
}
#endif

// One unit that needs more than a copy, or a run of two-byte units: answers
// the units consumed, or 0 at a NUL that ends the text.
[[gnu::always_inline]] inline std::size_t EncodeUtf8Step(char*& p, const char16_t* text,
                                                         std::size_t count, bool escape,
                                                         bool quotes, bool nul) {
    char16_t ch = text[0];
    if (ch < 0x80) {
        if (ch == 0 && nul) return 0;
        if (escape && NeedsEntity(ch, quotes)) {
            unsigned int entityLength = 0;
            const char* entity = Entity(ch, true, entityLength);
            std::memcpy(p, entity, entityLength);
            p += entityLength;
        } else {
            *p++ = static_cast<char>(ch);
        }
        return 1;
    }
    if (ch >= 0x800) {
        p += Utf8Unit(ch, p);
        return 1;
    }
    // Two-byte characters (Cyrillic) in a loop of their own.
    std::size_t i = 0;
    while (ch >= 0x80 && ch < 0x800) {
        p[0] = static_cast<char>(0xC0 | (ch >> 6));
        p[1] = static_cast<char>(0x80 | (ch & 0x3F));
        p += 2;
        if (++i == count) break;
        ch = text[i];
    }
    return i;
}

// The units one at a time from `i`; answers where the text ended.
[[gnu::always_inline]] inline std::size_t EncodeUtf8Units(char*& p, const char16_t* text,
                                                          std::size_t i, std::size_t count,
                                                          bool escape, bool quotes, bool nul) {
    while (i < count) {
        const std::size_t used = EncodeUtf8Step(p, text + i, count - i, escape, quotes, nul);
        if (used == 0) break;
        i += used;
    }
    return i;
}

// Texts of four to seven units, as two overlapping halves of four: the
// attribute names and the short words of most tags.
[[gnu::always_inline]] inline bool EncodeUtf8Short(char*& p, const char16_t* text,
                                                   std::size_t count, bool escape, bool quotes,
                                                   bool nul) {
#if defined(__SSE2__)
    const __m128i halves =
        _mm_unpacklo_epi64(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(text)),
                           _mm_loadl_epi64(reinterpret_cast<const __m128i*>(text + count - 4)));
    const LaneKinds kinds = KindsOfVector(halves, escape, quotes, nul);
    if (kinds.hard != 0) return false;
    if (kinds.wide == 0) {
        const unsigned long long bytes = PackedBytes(halves);
        const auto low = static_cast<unsigned>(bytes);
        const auto high = static_cast<unsigned>(bytes >> 32);
        std::memcpy(p, &low, 4);
        std::memcpy(p + count - 4, &high, 4);
        p += count;
        return true;
    }
    if (kinds.wide == 0xFFFF) {
        const __m128i lead = _mm_or_si128(_mm_srli_epi16(halves, 6), _mm_set1_epi16(0xC0));
        const __m128i trail =
            _mm_or_si128(_mm_and_si128(halves, _mm_set1_epi16(0x3F)), _mm_set1_epi16(0x80));
        const __m128i pairs = _mm_or_si128(lead, _mm_slli_epi16(trail, 8));
        _mm_storel_epi64(reinterpret_cast<__m128i*>(p), pairs);
        _mm_storel_epi64(reinterpret_cast<__m128i*>(p + 2 * count - 8),
                         _mm_unpackhi_epi64(pairs, pairs));
        p += 2 * count;
        return true;
    }
    p = PutNarrow(p, text, count);
    return true;
#else
    (void)p, (void)text, (void)count, (void)escape, (void)quotes, (void)nul;
    return false;
#endif
}

// Room EncodeUtf8 needs for `count` units: six bytes a unit ("&quot;"),
// and the bytes a block store may write past the last one.
inline constexpr std::size_t Utf8Room(std::size_t count) {
    return count * 6 + 16;
}

// UTF-8 of `count` units, stopping early at a NUL when `nul` is set. Blocks
// of eight are stored whole and the cursor moves over their plain leading
// units, so a short ASCII run between Cyrillic words also goes in one step.
// The last units of a text go through the last eight of it, read again, so
// a tail costs a block and not a unit each. `out` has Utf8Room(count).
[[gnu::always_inline]] inline std::size_t
EncodeUtf8(char* out, const char16_t* text, std::size_t count, bool escape, bool quotes, bool nul) {
    char* p = out;
    if (count < 8) {
        if (count < 4 || !EncodeUtf8Short(p, text, count, escape, quotes, nul))
            EncodeUtf8Units(p, text, 0, count, escape, quotes, nul);
        return static_cast<std::size_t>(p - out);
    }
    std::size_t i = 0;
    while (count - i >= 8) {
        const int mask = SpecialLanes(text + i, escape, quotes, nul);
        StoreBytes(text + i, p);
        const std::size_t plain = mask == 0 ? 8 : static_cast<std::size_t>(__builtin_ctz(mask)) / 2;
        p += plain;
        i += plain;
        if (plain != 0) continue;
#if defined(__SSE2__)
        // Two-byte characters (Cyrillic) at the front of the block: all
        // eight converted in one store, the cursor moved over them.
        const __m128i units = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text + i));
        const __m128i zero = _mm_setzero_si128();
        const __m128i wide = _mm_cmpeq_epi16(_mm_and_si128(units, _mm_set1_epi16(-128)), zero);
        const __m128i small = _mm_cmpeq_epi16(_mm_and_si128(units, _mm_set1_epi16(-2048)), zero);
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
        const std::size_t used = EncodeUtf8Step(p, text + i, count - i, escape, quotes, nul);
        if (used == 0) return static_cast<std::size_t>(p - out);
        i += used;
    }
    if (i < count) {
#if defined(__SSE2__)
        // The last eight units, of which the first `done` are written.
        const __m128i last = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text + count - 8));
        const std::size_t done = 8 - (count - i);
        const LaneKinds kinds = KindsOfVector(last, escape, quotes, nul);
        if ((kinds.hard >> (2 * done)) != 0) {
            EncodeUtf8Units(p, text, i, count, escape, quotes, nul);
        } else if ((kinds.wide >> (2 * done)) == 0) {
            const unsigned long long bytes = PackedBytes(last) >> (8 * done);
            std::memcpy(p, &bytes, 8);
            p += count - i;
        } else {
            p = PutNarrow(p, text + i, count - i);
        }
#else
        EncodeUtf8Units(p, text, i, count, escape, quotes, nul);
#endif
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
