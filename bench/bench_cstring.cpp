// Baselines for the string every parameter is made of: copy, compare and
// upper-case, for collections of 1e3 to 1e6 short names.
#include <benchmark/benchmark.h>

#include <vector>

#include "tarvex/platform/cstring.h"

namespace {

std::vector<CString> Names(int64_t count, bool cyrillic) {
    std::vector<CString> names;
    names.reserve(size_t(count));
    for (int64_t i = 0; i < count; ++i) {
        CString name;
        name.Format(cyrillic ? u"Параметр_%lld" : u"Parameter_%lld", static_cast<long long>(i));
        names.push_back(name);
    }
    return names;
}

void BM_Copy(benchmark::State& state) {
    std::vector<CString> names = Names(state.range(0), false);
    std::vector<CString> copies(names.size());
    for (auto _ : state) {
        for (size_t i = 0; i < names.size(); ++i) copies[i] = names[i];
        benchmark::DoNotOptimize(copies.data());
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void BM_Compare(benchmark::State& state) {
    std::vector<CString> names = Names(state.range(0), false);
    std::vector<CString> others = Names(state.range(0), false); // equal text, other buffers
    for (auto _ : state) {
        int equal = 0;
        for (size_t i = 0; i < names.size(); ++i) equal += names[i].Compare(others[i]) == 0;
        benchmark::DoNotOptimize(equal);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void BM_CompareNoCase(benchmark::State& state) {
    std::vector<CString> names = Names(state.range(0), true);
    std::vector<CString> upper = names;
    for (CString& s : upper) s.MakeUpper();
    for (auto _ : state) {
        int equal = 0;
        for (size_t i = 0; i < names.size(); ++i) equal += names[i].CompareNoCase(upper[i]) == 0;
        benchmark::DoNotOptimize(equal);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void BM_MakeUpper(benchmark::State& state, bool cyrillic) {
    std::vector<CString> names = Names(state.range(0), cyrillic);
    for (auto _ : state) {
        for (const CString& name : names) {
            CString upper = name; // shares, then separates on the first change
            upper.MakeUpper();
            benchmark::DoNotOptimize(upper.GetString());
        }
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void BM_Format(benchmark::State& state) {
    CString out;
    for (auto _ : state) {
        out.Format(u"%s (Line %d)", u"CElement::ChangeParent", 966);
        benchmark::DoNotOptimize(out.GetString());
    }
}

} // namespace

BENCHMARK(BM_Copy)->RangeMultiplier(10)->Range(1000, 1000000);
BENCHMARK(BM_Compare)->RangeMultiplier(10)->Range(1000, 1000000);
BENCHMARK(BM_CompareNoCase)->RangeMultiplier(10)->Range(1000, 1000000);
BENCHMARK_CAPTURE(BM_MakeUpper, latin, false)->RangeMultiplier(10)->Range(1000, 1000000);
BENCHMARK_CAPTURE(BM_MakeUpper, cyrillic, true)->RangeMultiplier(10)->Range(1000, 1000000);
BENCHMARK(BM_Format);
