// The number-to-text routine behind every typed setter and formula result,
// against the obvious alternative of snprintf("%.12f") and trimming zeros.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdio>
#include <random>
#include <vector>

#include "tarvex/core/numbertext.h"

namespace {

std::vector<double> Values() {
    std::mt19937_64 random(42);
    std::uniform_real_distribution<double> magnitude(-6, 9);
    std::vector<double> values;
    for (int i = 0; i < 4096; ++i) {
        double v = std::pow(10.0, magnitude(random)) * (i % 2 ? -1 : 1);
        values.push_back(i % 4 == 0 ? std::round(v) : v); // some integers too
    }
    return values;
}

void BM_DblToString(benchmark::State& state) {
    std::vector<double> values = Values();
    size_t i = 0;
    for (auto _ : state) {
        CString text = tarvex::DblToString(values[i++ & 4095]);
        benchmark::DoNotOptimize(text.GetString());
    }
}

void BM_SnprintfAndTrim(benchmark::State& state) {
    std::vector<double> values = Values();
    size_t i = 0;
    for (auto _ : state) {
        char buffer[400];
        int n = std::snprintf(buffer, sizeof buffer, "%.12f", values[i++ & 4095]);
        while (n > 1 && buffer[n - 1] == '0') --n;
        if (buffer[n - 1] == '.') --n;
        CString text;
        char16_t* out = text.GetBufferSetLength(n);
        for (int k = 0; k < n; ++k) out[k] = char16_t(buffer[k]);
        benchmark::DoNotOptimize(text.GetString());
    }
}

} // namespace

BENCHMARK(BM_DblToString);
BENCHMARK(BM_SnprintfAndTrim);
