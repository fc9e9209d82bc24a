#include "tarvex/core/numeric.h"

#include <cmath>
#include <cstdint>
#include <limits>

int iround(double x) {
    const double shifted = x >= 0 ? x + 0.5 : x - 0.5;
    // Truncation of an out-of-range double is undefined in C++; keep the
    // value the x86 conversion produced for it.
    if (!(shifted > -2147483649.0 && shifted < 2147483648.0))
        return std::numeric_limits<std::int32_t>::min();
    return static_cast<int>(shifted);
}

double tx_round(double x) {
    const double magnitude = std::floor(std::fabs(x) + 0.5);
    return x < 0 ? -magnitude : magnitude;
}

double npow(double x, int n) {
    std::uint32_t remaining = n < 0 ? 0u - static_cast<std::uint32_t>(n) : std::uint32_t(n);
    double product = 1;
    while (remaining > 0) {
        product *= x;
        --remaining;
        // Once the magnitude can no longer change, only the sign does: one
        // flip per remaining multiplication by a negative x. This spares
        // billions of steps for huge n without changing the result.
        const double magnitude = std::fabs(product);
        if (magnitude == 0 || std::isinf(magnitude) || std::isnan(product) || std::fabs(x) == 1) {
            if (std::signbit(x) && (remaining & 1u) != 0) product = -product;
            break;
        }
    }
    return n < 0 ? 1 / product : product;
}

int getWordFormCode(int n) {
    const int r = n % 100;
    const int d = r % 10;
    if ((r >= 10 && r <= 19) || d == 0 || d >= 5) return 3;
    return d < 2 ? 1 : 2;
}
