// Sorted arrays: building by Add (in order and shuffled) and lookups by
// Search, for 64-bit keys stored by value and for small objects held by
// pointer, the way parameter owners hold their parameters.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <numeric>
#include <random>
#include <vector>

#include "tarvex/core/containers.h"

namespace {

struct Key : CTarvexObject {
    explicit Key(int64_t v = 0) : value(v) {}
    bool operator==(const Key& o) const { return value == o.value; }
    bool operator<(const Key& o) const { return value < o.value; }
    int64_t value;
};

// The growth setting of a parameter owner.
constexpr int64_t kPhysicalLength = 8;
constexpr int64_t kDelta = 32;
constexpr int64_t kMaximumDelta = 4096;

std::vector<int64_t> Ascending(int64_t n) {
    std::vector<int64_t> keys(static_cast<size_t>(n));
    std::iota(keys.begin(), keys.end(), int64_t{0});
    return keys;
}

std::vector<int64_t> Shuffled(int64_t n) {
    std::vector<int64_t> keys = Ascending(n);
    std::shuffle(keys.begin(), keys.end(), std::mt19937_64(42));
    return keys;
}

void AddValues(benchmark::State& state, const std::vector<int64_t>& keys) {
    for (auto _ : state) {
        CSortedArray<int64_t> a(kPhysicalLength, kDelta, kMaximumDelta);
        for (int64_t k : keys) a.Add(k);
        benchmark::DoNotOptimize(a.GetData());
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(keys.size()));
}

// The objects live outside the timed loop; the array borrows them, so only
// the array's own work is measured.
void AddPointers(benchmark::State& state, const std::vector<int64_t>& keys) {
    std::vector<Key> objects(keys.begin(), keys.end());
    for (auto _ : state) {
        CSortedIndirectArray<Key> a(kPhysicalLength, kDelta, false, kMaximumDelta);
        for (Key& k : objects) a.Add(&k);
        benchmark::DoNotOptimize(a.GetData());
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(keys.size()));
}

void BM_SortedAddAscending(benchmark::State& state) {
    AddValues(state, Ascending(state.range(0)));
}
void BM_SortedAddRandom(benchmark::State& state) {
    AddValues(state, Shuffled(state.range(0)));
}
void BM_SortedIndirectAddAscending(benchmark::State& state) {
    AddPointers(state, Ascending(state.range(0)));
}
void BM_SortedIndirectAddRandom(benchmark::State& state) {
    AddPointers(state, Shuffled(state.range(0)));
}

// Every lookup hits; keys are visited in shuffled order so that successive
// searches do not share a path through the array.
void BM_SortedSearch(benchmark::State& state) {
    const int64_t n = state.range(0);
    CSortedArray<int64_t> a(kPhysicalLength, kDelta, kMaximumDelta);
    for (int64_t k : Ascending(n)) a.Add(k);
    const std::vector<int64_t> probes = Shuffled(n);
    size_t i = 0;
    for (auto _ : state) {
        int64_t position;
        benchmark::DoNotOptimize(a.Search(probes[i], position));
        if (++i == probes.size()) i = 0;
    }
    state.SetItemsProcessed(state.iterations());
}

void BM_SortedIndirectSearch(benchmark::State& state) {
    const int64_t n = state.range(0);
    std::vector<Key> objects;
    for (int64_t k : Ascending(n)) objects.emplace_back(k);
    CSortedIndirectArray<Key> a(kPhysicalLength, kDelta, false, kMaximumDelta);
    for (Key& k : objects) a.Add(&k);
    std::vector<Key> probes;
    for (int64_t k : Shuffled(n)) probes.emplace_back(k);
    size_t i = 0;
    for (auto _ : state) {
        int64_t position;
        benchmark::DoNotOptimize(a.Search(probes[i], position));
        if (++i == probes.size()) i = 0;
    }
    state.SetItemsProcessed(state.iterations());
}

} // namespace

BENCHMARK(BM_SortedAddAscending)->RangeMultiplier(10)->Range(1000, 1000000);
BENCHMARK(BM_SortedIndirectAddAscending)->RangeMultiplier(10)->Range(1000, 1000000);
// Shuffled Add shifts half the array per item on average, so it is quadratic:
// the million-item run takes tens of seconds for its single iteration.
BENCHMARK(BM_SortedAddRandom)
    ->RangeMultiplier(10)
    ->Range(1000, 1000000)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SortedIndirectAddRandom)
    ->RangeMultiplier(10)
    ->Range(1000, 1000000)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SortedSearch)->RangeMultiplier(10)->Range(1000, 1000000);
BENCHMARK(BM_SortedIndirectSearch)->RangeMultiplier(10)->Range(1000, 1000000);
