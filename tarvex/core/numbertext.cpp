#include "tarvex/core/numbertext.h"

#include <charconv>
#include <cmath>
#include <string>

namespace tarvex {

namespace {

// Enough for the integer digits of the largest double.
constexpr int kMaxIntegerDigits = 310;
// Decimals beyond what any double carries are all zeros.
constexpr int kMaxDigits = 400;

} // namespace

CString DblToString(double value, int digits) {
    if (digits < 0) digits = 12;
    if (digits > kMaxDigits) digits = kMaxDigits;
    if (value == 0.0 || !std::isfinite(value)) {
        if (value == 0.0) return CString(u"0");
        return CString(std::isnan(value) ? u"nan" : value < 0 ? u"-inf" : u"inf");
    }
    const bool negative = std::signbit(value);

    // 1. digits + 1 decimals, exactly rounded; then the decimal position of
    // the first significant digit, leading zeros dropped.
    char small[kMaxIntegerDigits + 64];
    std::string large;
    char* begin = small;
    size_t capacity = sizeof small;
    if (digits + 1 > int(sizeof small) - kMaxIntegerDigits - 2) {
        large.resize(size_t(kMaxIntegerDigits + digits + 4));
        begin = large.data();
        capacity = large.size();
    }
    auto [end, error] = std::to_chars(begin, begin + capacity, std::fabs(value),
                                      std::chars_format::fixed, digits + 1);
    if (error != std::errc()) return CString(u"0");

    char* point = begin;
    while (point < end && *point != '.') ++point;
    int decimalPosition = int(point - begin);
    // Pack the digits without the point.
    char* out = point;
    for (char* p = point + 1; p < end; ++p) *out++ = *p;
    end = out;
    char* first = begin;
    while (first < end && *first == '0') {
        ++first;
        --decimalPosition;
    }
    char* last = end; // one past the last digit

    // 2 and 3. Round once more on the text.
    if (last > first) {
        if (last[-1] < '5') {
            --last;
            while (last > first && last[-1] == '0') --last;
        } else if (last - first == 1) {
            *first = '1';
            ++decimalPosition;
        } else {
            --last;
            while (last - first > 1 && last[-1] == '9') --last;
            if (last[-1] == '9') {
                last[-1] = '1';
                ++decimalPosition;
            } else {
                ++last[-1];
            }
        }
    }

    // 4. Write it out.
    const int count = int(last - first);
    CString result;
    char16_t* text =
        result.GetBuffer(count + (decimalPosition < 0 ? -decimalPosition : decimalPosition) + 4);
    char16_t* w = text;
    if (negative) *w++ = u'-';
    if (decimalPosition < 1) {
        *w++ = u'0';
        if (count > 0) {
            *w++ = u'.';
            for (int i = decimalPosition; i < 0; ++i) *w++ = u'0';
            for (char* p = first; p < last; ++p) *w++ = char16_t(*p);
        }
    } else {
        int i = 0;
        for (; i < decimalPosition; ++i) *w++ = i < count ? char16_t(first[i]) : u'0';
        if (i < count) {
            *w++ = u'.';
            for (; i < count; ++i) *w++ = char16_t(first[i]);
        }
    }
    result.ReleaseBuffer(int(w - text));
    return result;
}

void DblToString(CString& out, double value) {
    out = DblToString(value, 12);
}

} // namespace tarvex
