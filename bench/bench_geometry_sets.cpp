// Shortest paths over the dense matrix (Markup is quadratic by design) and
// the boolean sweep of interval sets with 10^5 intervals a side.
#include <benchmark/benchmark.h>

#include <random>

#include "tarvex/geometry/deixmatrix.h"
#include "tarvex/geometry/rangeset.h"

namespace {

// A ring with `extra` random chords per vertex: connected, mostly sparse.
CDeixMatrix Network(int count, int extra) {
    CDeixMatrix graph(count);
    std::mt19937 rng(12345);
    std::uniform_int_distribution<int> vertex(0, count - 1);
    std::uniform_int_distribution<std::uint32_t> length(1, 1000);
    for (int v = 0; v < count; ++v) {
        graph.SetSegment(v, (v + 1) % count, length(rng));
        for (int k = 0; k < extra; ++k) graph.SetSegment(v, vertex(rng), length(rng));
    }
    return graph;
}

void BM_DeixMarkup(benchmark::State& state) {
    CDeixMatrix graph = Network(static_cast<int>(state.range(0)), static_cast<int>(state.range(1)));
    for (auto _ : state) {
        graph.Markup(0);
        benchmark::DoNotOptimize(graph.GetPathLength(graph.GetCount() / 2));
    }
}
BENCHMARK(BM_DeixMarkup)->Args({2000, 2})->Args({2000, 200})->Unit(benchmark::kMillisecond);

void BM_DeixPaths(benchmark::State& state) {
    CDeixMatrix graph = Network(static_cast<int>(state.range(0)), 2);
    graph.Markup(0);
    TArrayTemplate<int> path;
    int vertex = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(graph.GetPath(vertex, path));
        vertex = (vertex + 7) % graph.GetCount();
    }
}
BENCHMARK(BM_DeixPaths)->Arg(2000)->Unit(benchmark::kMicrosecond);

// n intervals of length 0.6 at steps of 1, shifted by `offset`. Built by
// halves, since adding one interval at a time would be quadratic.
CSet Intervals(int first, int count, double offset) {
    if (count == 1) return CSet(first + offset, first + offset + 0.6);
    const int half = count / 2;
    return Intervals(first, half, offset) + Intervals(first + half, count - half, offset);
}

void BM_SetBoolean(benchmark::State& state) {
    const int n = static_cast<int>(state.range(0));
    const auto op = static_cast<CSet::bool_op>(state.range(1));
    const CSet a = Intervals(0, n, 0.0);
    const CSet b = Intervals(0, n, 0.3);
    for (auto _ : state) {
        state.PauseTiming();
        CSet result = a;
        state.ResumeTiming();
        result.bool_operation(b, op);
        benchmark::DoNotOptimize(result.GetIntervals().size());
    }
    state.SetItemsProcessed(state.iterations() * 2 * n);
}
BENCHMARK(BM_SetBoolean)
    ->ArgNames({"n", "op"})
    ->Args({100000, CSet::bo_difference})
    ->Args({100000, CSet::bo_union})
    ->Args({100000, CSet::bo_intersection})
    ->Unit(benchmark::kMillisecond);

} // namespace
