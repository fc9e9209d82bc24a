// Whole numbers as decimal text without the formatter: the writers and the
// attribute sets put many of them, and each goes straight into place.
#pragma once
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace tarvex::decimaltext {

// The digits of `value`, as "%lld" writes them, at the end of `digits`.
inline std::u16string_view Decimal(std::int64_t value, char16_t (&digits)[24]) {
    std::size_t n = 0;
    std::uint64_t magnitude = value < 0 ? 0 - static_cast<std::uint64_t>(value) : value;
    do {
        digits[23 - n++] = static_cast<char16_t>(u'0' + magnitude % 10);
        magnitude /= 10;
    } while (magnitude != 0);
    if (value < 0) digits[23 - n++] = u'-';
    return {digits + 24 - n, n};
}

} // namespace tarvex::decimaltext
