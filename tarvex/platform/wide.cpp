#include "tarvex/platform/wide.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <limits>
#include <locale.h>
#include <string>
#include <type_traits>

#include "tarvex/platform/casemap.h"

size_t wcslen(const char16_t* s) noexcept {
    const char16_t* p = s;
    while (*p) ++p;
    return size_t(p - s);
}

int wcscmp(const char16_t* a, const char16_t* b) noexcept {
    for (;; ++a, ++b) {
        if (*a != *b) return *a < *b ? -1 : 1;
        if (!*a) return 0;
    }
}

int wcsncmp(const char16_t* a, const char16_t* b, size_t n) noexcept {
    for (; n; --n, ++a, ++b) {
        if (*a != *b) return *a < *b ? -1 : 1;
        if (!*a) return 0;
    }
    return 0;
}

const char16_t* wcschr(const char16_t* s, char16_t ch) noexcept {
    for (;; ++s) {
        if (*s == ch) return s;
        if (!*s) return nullptr;
    }
}

char16_t* wcschr(char16_t* s, char16_t ch) noexcept {
    return const_cast<char16_t*>(wcschr(static_cast<const char16_t*>(s), ch));
}

const char16_t* wcsrchr(const char16_t* s, char16_t ch) noexcept {
    const char16_t* found = nullptr;
    for (;; ++s) {
        if (*s == ch) found = s;
        if (!*s) return found;
    }
}

const char16_t* wcsstr(const char16_t* s, const char16_t* sub) noexcept {
    if (!*sub) return s;
    for (; *s; ++s) {
        const char16_t* a = s;
        const char16_t* b = sub;
        while (*a && *a == *b) ++a, ++b;
        if (!*b) return s;
    }
    return nullptr;
}

char16_t* wcscpy(char16_t* dst, const char16_t* src) noexcept {
    char16_t* d = dst;
    while ((*d++ = *src++)) {
    }
    return dst;
}

char16_t* wcsncpy(char16_t* dst, const char16_t* src, size_t n) noexcept {
    size_t i = 0;
    for (; i < n && src[i]; ++i) dst[i] = src[i];
    for (; i < n; ++i) dst[i] = 0;
    return dst;
}

char16_t* wcscat(char16_t* dst, const char16_t* src) noexcept {
    wcscpy(dst + wcslen(dst), src);
    return dst;
}

bool iswspace16(char16_t ch) noexcept {
    return ch == u' ' || (ch >= 9 && ch <= 13);
}
bool iswdigit16(char16_t ch) noexcept {
    return ch >= u'0' && ch <= u'9';
}
bool iswxdigit16(char16_t ch) noexcept {
    return iswdigit16(ch) || (ch >= u'a' && ch <= u'f') || (ch >= u'A' && ch <= u'F');
}
bool iswalpha16(char16_t ch) noexcept {
    if (ch < 128) return (ch | 0x20) >= u'a' && (ch | 0x20) <= u'z';
    return towupper16(ch) != ch || towlower16(ch) != ch;
}
bool iswalnum16(char16_t ch) noexcept {
    return iswdigit16(ch) || iswalpha16(ch);
}

// ---------------------------------------------------------------------------
// Integers

namespace {

int DigitValue(char16_t ch) noexcept {
    if (ch >= u'0' && ch <= u'9') return ch - u'0';
    if (ch >= u'a' && ch <= u'z') return ch - u'a' + 10;
    if (ch >= u'A' && ch <= u'Z') return ch - u'A' + 10;
    return 99;
}

// Reads an optionally signed integer the way strtoull does and reports the
// magnitude, whether it overflowed 64 bits, and where it ended.
struct Parsed {
    std::uint64_t magnitude = 0;
    bool negative = false;
    bool overflow = false;
    bool any = false;
    const char16_t* end = nullptr;
};

Parsed ParseInteger(const char16_t* s, int base) noexcept {
    Parsed r;
    r.end = s;
    if (!s || base < 0 || base == 1 || base > 36) return r;
    const char16_t* p = s;
    while (iswspace16(*p)) ++p;
    if (*p == u'+' || *p == u'-') r.negative = *p++ == u'-';
    if ((base == 0 || base == 16) && p[0] == u'0' && (p[1] == u'x' || p[1] == u'X') &&
        DigitValue(p[2]) < 16) {
        p += 2;
        base = 16;
    } else if (base == 0) {
        base = p[0] == u'0' ? 8 : 10;
    }
    for (int d; (d = DigitValue(*p)) < base; ++p) {
        r.any = true;
        if (r.magnitude > (UINT64_MAX - std::uint64_t(d)) / std::uint64_t(base))
            r.overflow = true;
        else
            r.magnitude = r.magnitude * std::uint64_t(base) + std::uint64_t(d);
    }
    if (r.any) r.end = p;
    return r;
}

template <class T>
T Saturate(const Parsed& r) noexcept {
    using U = std::make_unsigned_t<T>;
    constexpr std::uint64_t maxPositive = std::uint64_t(std::numeric_limits<T>::max());
    if (r.negative) {
        if (r.overflow || r.magnitude > maxPositive + 1) {
            errno = ERANGE;
            return std::numeric_limits<T>::min();
        }
        return static_cast<T>(U(0) - U(r.magnitude));
    }
    if (r.overflow || r.magnitude > maxPositive) {
        errno = ERANGE;
        return std::numeric_limits<T>::max();
    }
    return static_cast<T>(r.magnitude);
}

void SetEnd(char16_t** end, const char16_t* s, const Parsed& r) noexcept {
    if (end) *end = const_cast<char16_t*>(r.any ? r.end : s);
}

} // namespace

int _wtoi(const char16_t* s) noexcept {
    return Saturate<std::int32_t>(ParseInteger(s, 10));
}
std::int32_t _wtol(const char16_t* s) noexcept {
    return Saturate<std::int32_t>(ParseInteger(s, 10));
}
std::int64_t _wtoi64(const char16_t* s) noexcept {
    return Saturate<std::int64_t>(ParseInteger(s, 10));
}

std::int32_t wcstol16(const char16_t* s, char16_t** end, int base) noexcept {
    Parsed r = ParseInteger(s, base);
    SetEnd(end, s, r);
    return Saturate<std::int32_t>(r);
}

std::int64_t _wcstoi64(const char16_t* s, char16_t** end, int base) noexcept {
    Parsed r = ParseInteger(s, base);
    SetEnd(end, s, r);
    return Saturate<std::int64_t>(r);
}

std::uint32_t wcstoul16(const char16_t* s, char16_t** end, int base) noexcept {
    Parsed r = ParseInteger(s, base);
    SetEnd(end, s, r);
    if (r.overflow || r.magnitude > UINT32_MAX) {
        errno = ERANGE;
        return UINT32_MAX;
    }
    std::uint32_t v = std::uint32_t(r.magnitude);
    return r.negative ? 0u - v : v;
}

// ---------------------------------------------------------------------------
// Floating point

namespace {

locale_t CLocale() noexcept {
    static locale_t c = newlocale(LC_ALL_MASK, "C", locale_t(0));
    return c;
}

// Characters that can take part in a number strtod accepts: digits, signs,
// the point, exponents, hex digits and the words inf, infinity and nan.
bool MayBeNumeric(char16_t ch) noexcept {
    return ch < 128 && ch != u',' &&
           ((ch >= u'0' && ch <= u'9') || ((ch | 0x20) >= u'a' && (ch | 0x20) <= u'z') ||
            ch == u'.' || ch == u'+' || ch == u'-');
}

} // namespace

double wcstod16(const char16_t* s, char16_t** end) noexcept {
    if (end) *end = const_cast<char16_t*>(s);
    if (!s) return 0.0;
    const char16_t* p = s;
    while (iswspace16(*p)) ++p;
    size_t n = 0;
    while (MayBeNumeric(p[n])) ++n;
    if (n == 0) return 0.0;

    char small[64];
    std::string large;
    char* narrow = small;
    if (n >= sizeof small) {
        large.resize(n + 1);
        narrow = large.data();
    }
    for (size_t i = 0; i < n; ++i) narrow[i] = char(p[i]);
    narrow[n] = 0;

    char* stop = narrow;
    double value = strtod_l(narrow, &stop, CLocale());
    if (stop != narrow && end) *end = const_cast<char16_t*>(p + (stop - narrow));
    return value;
}

double _wtof(const char16_t* s) noexcept {
    return wcstod16(s, nullptr);
}
