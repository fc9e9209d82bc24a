// The reader's and the printer's scans over UTF-16 text, eight units at a
// time where SSE2 is there, one at a time elsewhere.
//
// The reader's scans run to a stop and never to a length: they may read up
// to kScanPadding - 1 units past the terminator, so the reader keeps that
// many readable units after it. The printer's scan is bounded by a length
// and reads nothing outside it.
#pragma once
#include <cstddef>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace tarvex::json_internal {

inline constexpr std::size_t kScanPadding = 8;

// Whether the printer must escape (or, in the fixed form, cut) the unit: its
// low byte is below 32, or it is '"' or '\'.
inline bool NeedsEscape(char16_t ch) {
    return (ch & 0xFF) < 32 || ch == u'"' || ch == u'\\';
}

#if defined(__SSE2__)

namespace scan_detail {

inline __m128i Load(const char16_t* at) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(at));
}

// Index of the first unit whose lane is set in a 16-bit compare result.
inline std::size_t FirstLane(unsigned int mask) {
    return static_cast<std::size_t>(__builtin_ctz(mask)) / 2;
}

} // namespace scan_detail

// The first unit at or after `at` that is '"', '\' or the terminator.
inline const char16_t* FindStringStop(const char16_t* at) {
    using namespace scan_detail;
    const __m128i quote = _mm_set1_epi16(u'"');
    const __m128i backslash = _mm_set1_epi16(u'\\');
    const __m128i zero = _mm_setzero_si128();
    for (;; at += 8) {
        const __m128i units = Load(at);
        const __m128i stops = _mm_or_si128(
            _mm_or_si128(_mm_cmpeq_epi16(units, quote), _mm_cmpeq_epi16(units, backslash)),
            _mm_cmpeq_epi16(units, zero));
        if (unsigned int mask = static_cast<unsigned int>(_mm_movemask_epi8(stops)))
            return at + FirstLane(mask);
    }
}

// The first unit at or after `at` that is above 32 or the terminator.
inline const char16_t* SkipSpace(const char16_t* at) {
    using namespace scan_detail;
    // Between tokens there is mostly nothing or one space: those cost no
    // vector work. (The unit after a space is there: at worst the
    // terminator.)
    if (*at > 32 || *at == 0) return at;
    if (at[1] > 32) return at + 1;
    ++at;
    const __m128i space = _mm_set1_epi16(32);
    const __m128i zero = _mm_setzero_si128();
    for (;; at += 8) {
        const __m128i units = Load(at);
        // Saturating subtraction: zero exactly for the units up to 32.
        const __m128i low = _mm_cmpeq_epi16(_mm_subs_epu16(units, space), zero);
        const __m128i skipped = _mm_andnot_si128(_mm_cmpeq_epi16(units, zero), low);
        const unsigned int mask = static_cast<unsigned int>(_mm_movemask_epi8(skipped));
        if (mask != 0xFFFF) return at + FirstLane(~mask & 0xFFFF);
    }
}

// How many units from `text` on, up to `length`, the printer copies as they
// stand.
inline std::size_t PlainPrefix(const char16_t* text, std::size_t length) {
    using namespace scan_detail;
    const __m128i lowByte = _mm_set1_epi16(0xFF);
    const __m128i control = _mm_set1_epi16(32);
    const __m128i quote = _mm_set1_epi16(u'"');
    const __m128i backslash = _mm_set1_epi16(u'\\');
    std::size_t at = 0;
    for (; at + 8 <= length; at += 8) {
        const __m128i units = Load(text + at);
        const __m128i escaped = _mm_or_si128(
            _mm_cmplt_epi16(_mm_and_si128(units, lowByte), control),
            _mm_or_si128(_mm_cmpeq_epi16(units, quote), _mm_cmpeq_epi16(units, backslash)));
        if (unsigned int mask = static_cast<unsigned int>(_mm_movemask_epi8(escaped)))
            return at + FirstLane(mask);
    }
    while (at < length && !NeedsEscape(text[at])) ++at;
    return at;
}

#else

inline const char16_t* FindStringStop(const char16_t* at) {
    while (*at != 0 && *at != u'"' && *at != u'\\') ++at;
    return at;
}

inline const char16_t* SkipSpace(const char16_t* at) {
    while (*at != 0 && *at <= 32) ++at;
    return at;
}

inline std::size_t PlainPrefix(const char16_t* text, std::size_t length) {
    std::size_t at = 0;
    while (at < length && !NeedsEscape(text[at])) ++at;
    return at;
}

#endif

} // namespace tarvex::json_internal
