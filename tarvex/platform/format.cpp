// The printf-style formatter for char16_t text.
//
// Integers and strings are formatted here; floating values go through the C
// library's snprintf under the "C" locale of this thread only, so a host that
// sets a comma locale never changes how the library prints numbers.

#include <clocale>
#include <cstdio>
#include <locale.h>

#include "tarvex/platform/codepage.h"
#include "tarvex/platform/format.h"
#include "tarvex/platform/wide.h"

namespace {

struct Directive {
    bool left = false, plus = false, space = false, alt = false, zero = false;
    int width = 0;
    int precision = -1;
};

enum class Size { Char, Short, Int, Long64, SizeT, LongDouble };

void Pad(CString& out, int count, char16_t ch) {
    for (int i = 0; i < count; ++i) out.AppendChar(ch);
}

// Writes `body` (with an optional sign or radix prefix) padded to the width.
void Emit(CString& out, const Directive& directive, const char16_t* prefix, int prefixLength,
          const char16_t* body, int bodyLength, int zeros) {
    int total = prefixLength + zeros + bodyLength;
    int pad = directive.width > total ? directive.width - total : 0;
    if (!directive.left && !directive.zero) Pad(out, pad, u' ');
    out.Append(prefix, prefixLength);
    if (!directive.left && directive.zero) Pad(out, pad, u'0');
    Pad(out, zeros, u'0');
    out.Append(body, bodyLength);
    if (directive.left) Pad(out, pad, u' ');
}

void FormatInteger(CString& out, Directive directive, std::uint64_t magnitude, bool negative,
                   char16_t conv) {
    char16_t digits[32];
    int n = 0;
    unsigned base = conv == u'o' ? 8 : (conv == u'x' || conv == u'X') ? 16 : 10;
    const char* alphabet = conv == u'X' ? "0123456789ABCDEF" : "0123456789abcdef";
    for (std::uint64_t v = magnitude; v != 0; v /= base) digits[n++] = char16_t(alphabet[v % base]);
    if (n == 0 && directive.precision != 0) digits[n++] = u'0';
    for (int i = 0; i < n / 2; ++i) std::swap(digits[i], digits[n - 1 - i]);

    char16_t prefix[2];
    int prefixLength = 0;
    if (negative)
        prefix[prefixLength++] = u'-';
    else if ((conv == u'd' || conv == u'i') && directive.plus)
        prefix[prefixLength++] = u'+';
    else if ((conv == u'd' || conv == u'i') && directive.space)
        prefix[prefixLength++] = u' ';
    if (directive.alt && magnitude != 0 && base == 16) {
        prefix[prefixLength++] = u'0';
        prefix[prefixLength++] = conv;
    }
    int zeros = directive.precision > n ? directive.precision - n : 0;
    if (directive.alt && base == 8 && zeros == 0 && (n == 0 || digits[0] != u'0')) zeros = 1;
    if (directive.precision >= 0) directive.zero = false;
    Emit(out, directive, prefix, prefixLength, digits, n, zeros);
}

locale_t CLocale() {
    static locale_t c = newlocale(LC_ALL_MASK, "C", locale_t(0));
    return c;
}

void FormatFloating(CString& out, const Directive& directive, long double value, bool isLong,
                    char16_t conv) {
    char pattern[16];
    char* p = pattern;
    *p++ = '%';
    if (directive.left) *p++ = '-';
    if (directive.plus) *p++ = '+';
    if (directive.space) *p++ = ' ';
    if (directive.alt) *p++ = '#';
    if (directive.zero) *p++ = '0';
    *p++ = '*';
    *p++ = '.';
    *p++ = '*';
    if (isLong) *p++ = 'L';
    *p++ = char(conv);
    *p = 0;

    int precision = directive.precision < 0 ? 6 : directive.precision;
    char small[128];
    locale_t previous = uselocale(CLocale());
    int needed =
        isLong ? std::snprintf(small, sizeof small, pattern, directive.width, precision, value)
               : std::snprintf(small, sizeof small, pattern, directive.width, precision,
                               static_cast<double>(value));
    const char* text = small;
    std::string large;
    if (needed >= int(sizeof small)) {
        large.resize(size_t(needed) + 1);
        if (isLong)
            std::snprintf(large.data(), large.size(), pattern, directive.width, precision, value);
        else
            std::snprintf(large.data(), large.size(), pattern, directive.width, precision,
                          static_cast<double>(value));
        text = large.data();
    }
    uselocale(previous);
    for (int i = 0; i < needed; ++i) out.AppendChar(char16_t(static_cast<unsigned char>(text[i])));
}

void FormatText(CString& out, const Directive& directive, const char16_t* text) {
    if (!text) text = u"(null)";
    int n = 0;
    while ((directive.precision < 0 || n < directive.precision) && text[n]) ++n;
    Directive plain = directive;
    plain.zero = false;
    Emit(out, plain, nullptr, 0, text, n, 0);
}

} // namespace

namespace tarvex {

void AppendFormatted(CString& out, const char16_t* format, va_list args) {
    if (!format) return;
    const char16_t* f = format;
    while (*f) {
        const char16_t* literal = f;
        while (*f && *f != u'%') ++f;
        out.Append(literal, int(f - literal));
        if (!*f) break;
        const char16_t* start = f++;
        if (*f == u'%') {
            out.AppendChar(u'%');
            ++f;
            continue;
        }

        Directive directive;
        for (;; ++f) {
            if (*f == u'-')
                directive.left = true;
            else if (*f == u'+')
                directive.plus = true;
            else if (*f == u' ')
                directive.space = true;
            else if (*f == u'#')
                directive.alt = true;
            else if (*f == u'0')
                directive.zero = true;
            else
                break;
        }
        if (*f == u'*') {
            directive.width = va_arg(args, int);
            if (directive.width < 0) {
                directive.left = true;
                directive.width = -directive.width;
            }
            ++f;
        } else {
            while (*f >= u'0' && *f <= u'9') directive.width = directive.width * 10 + (*f++ - u'0');
        }
        if (*f == u'.') {
            ++f;
            directive.precision = 0;
            if (*f == u'*') {
                directive.precision = va_arg(args, int);
                if (directive.precision < 0) directive.precision = -1;
                ++f;
            } else {
                while (*f >= u'0' && *f <= u'9')
                    directive.precision = directive.precision * 10 + (*f++ - u'0');
            }
        }
        if (directive.left) directive.zero = false;

        // Length modifiers. `l` stays 32 bits: the library's long is 32-bit.
        Size size = Size::Int;
        bool wide = false, narrow = false;
        if (f[0] == u'I' && f[1] == u'6' && f[2] == u'4') {
            size = Size::Long64;
            f += 3;
        } else if (f[0] == u'I' && f[1] == u'3' && f[2] == u'2') {
            f += 3;
        } else if (*f == u'I' || *f == u'z' || *f == u't' || *f == u'j') {
            size = *f == u'j' ? Size::Long64 : Size::SizeT;
            ++f;
        } else if (f[0] == u'h' && f[1] == u'h') {
            size = Size::Char;
            f += 2;
        } else if (*f == u'h') {
            size = Size::Short;
            narrow = true;
            ++f;
        } else if (f[0] == u'l' && f[1] == u'l') {
            size = Size::Long64;
            f += 2;
        } else if (*f == u'l' || *f == u'w') {
            wide = true;
            ++f;
        } else if (*f == u'L') {
            size = Size::LongDouble;
            ++f;
        }

        char16_t conv = *f;
        if (conv) ++f;
        switch (conv) {
        case u'd':
        case u'i': {
            std::int64_t v;
            switch (size) {
            case Size::Char:
                v = static_cast<signed char>(va_arg(args, int));
                break;
            case Size::Short:
                v = static_cast<short>(va_arg(args, int));
                break;
            case Size::Long64:
            case Size::LongDouble:
                v = va_arg(args, long long);
                break;
            case Size::SizeT:
                v = static_cast<std::int64_t>(va_arg(args, std::size_t));
                break;
            default:
                v = va_arg(args, int);
                break;
            }
            std::uint64_t magnitude = v < 0 ? 0 - static_cast<std::uint64_t>(v) : std::uint64_t(v);
            FormatInteger(out, directive, magnitude, v < 0, conv);
            break;
        }
        case u'u':
        case u'x':
        case u'X':
        case u'o': {
            std::uint64_t v;
            switch (size) {
            case Size::Char:
                v = static_cast<unsigned char>(va_arg(args, unsigned));
                break;
            case Size::Short:
                v = static_cast<unsigned short>(va_arg(args, unsigned));
                break;
            case Size::Long64:
            case Size::LongDouble:
                v = va_arg(args, unsigned long long);
                break;
            case Size::SizeT:
                v = va_arg(args, std::size_t);
                break;
            default:
                v = va_arg(args, unsigned);
                break;
            }
            FormatInteger(out, directive, v, false, conv);
            break;
        }
        case u'f':
        case u'F':
        case u'e':
        case u'E':
        case u'g':
        case u'G':
        case u'a':
        case u'A':
            if (size == Size::LongDouble)
                FormatFloating(out, directive, va_arg(args, long double), true, conv);
            else
                FormatFloating(out, directive, va_arg(args, double), false, conv);
            break;
        case u'c':
        case u'C': {
            char16_t ch = static_cast<char16_t>(va_arg(args, int));
            Directive plain = directive;
            plain.zero = false;
            plain.precision = -1;
            Emit(out, plain, nullptr, 0, &ch, 1, 0);
            break;
        }
        case u's':
        case u'S':
            // `%s` and `%ls` take UTF-16 text; `%S` and `%hs` take narrow
            // UTF-8 text, the form that narrow strings have in this library.
            if ((conv == u'S' && !wide) || narrow) {
                const char* text = va_arg(args, const char*);
                CString decoded = text ? FromUtf8(text) : CString(u"(null)");
                FormatText(out, directive, decoded);
            } else {
                FormatText(out, directive, va_arg(args, const char16_t*));
            }
            break;
        case u'p': {
            Directive hex = directive;
            hex.precision = 2 * int(sizeof(void*));
            FormatInteger(out, hex, reinterpret_cast<std::uintptr_t>(va_arg(args, void*)), false,
                          u'X');
            break;
        }
        default:
            // An unknown conversion is copied as it stands.
            out.Append(start, int(f - start));
            break;
        }
    }
}

} // namespace tarvex

void CString::AppendFormatV(const char16_t* format, va_list args) {
    // Format into a fresh string: an argument may point into this one.
    CString result(*this);
    result.Preallocate(GetLength() + 32);
    tarvex::AppendFormatted(result, format, args);
    *this = std::move(result);
}

void CString::FormatV(const char16_t* format, va_list args) {
    CString result;
    tarvex::AppendFormatted(result, format, args);
    *this = std::move(result);
}

void CString::FormatRaw(const char16_t* format, ...) {
    va_list args;
    va_start(args, format);
    FormatV(format, args);
    va_end(args);
}

void CString::AppendFormatRaw(const char16_t* format, ...) {
    va_list args;
    va_start(args, format);
    AppendFormatV(format, args);
    va_end(args);
}
