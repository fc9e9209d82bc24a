// The element model's hot paths: parameter lookup by name (hits and misses,
// against the temporary-CParam lookup it replaces), adding parameters, and
// building a large tree, with the process's peak memory as a counter.
#include <benchmark/benchmark.h>

#include <sys/resource.h>

#include <algorithm>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "tarvex/element/element.h"
#include "tarvex/platform/casemap.h"

namespace {

// Mixed ASCII and Cyrillic names, as in real catalogues.
std::u16string Name(int i) {
    std::u16string digits;
    for (int n = i; n > 0 || digits.empty(); n /= 10) digits.insert(digits.begin(), u'0' + n % 10);
    return (i % 2 ? u"Длина_" : u"Param_") + digits;
}

std::u16string Upper(std::u16string text) {
    std::transform(text.begin(), text.end(), text.begin(), towupper16);
    return text;
}

// The owner holds the names as given; queries are upper-cased, so every
// lookup folds case. Misses differ from a stored name by a last character.
struct Fixture {
    explicit Fixture(int count) {
        for (int i = 0; i < count; ++i) {
            owner.SetParameter(Name(i).c_str(), u"value", u"comment", nullptr);
            hits.push_back(Upper(Name(i)));
            misses.push_back(Upper(Name(i)) + u"X");
        }
        std::shuffle(hits.begin(), hits.end(), std::mt19937(1));
        std::shuffle(misses.begin(), misses.end(), std::mt19937(2));
    }
    CParamsOwner owner;
    std::vector<std::u16string> hits;
    std::vector<std::u16string> misses;
};

void Lookup(benchmark::State& state, bool hit) {
    Fixture fixture(static_cast<int>(state.range(0)));
    const auto& queries = hit ? fixture.hits : fixture.misses;
    size_t next = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(fixture.owner.GetParameter(queries[next].c_str()));
        if (++next == queries.size()) next = 0;
    }
    state.SetItemsProcessed(state.iterations());
}

void BM_LookupHit(benchmark::State& state) {
    Lookup(state, true);
}
void BM_LookupMiss(benchmark::State& state) {
    Lookup(state, false);
}
BENCHMARK(BM_LookupHit)->Arg(10)->Arg(100)->Arg(10000);
BENCHMARK(BM_LookupMiss)->Arg(10)->Arg(100)->Arg(10000);

// The straightforward lookup, for comparison: a temporary CParam per query
// (its name copied and upper-cased), searched by CParam's operators.
void BM_LookupHitTemporaryParam(benchmark::State& state) {
    Fixture fixture(static_cast<int>(state.range(0)));
    const auto& params = fixture.owner.GetParams();
    size_t next = 0;
    for (auto _ : state) {
        const CParam key(fixture.hits[next].c_str(), nullptr, nullptr, nullptr);
        benchmark::DoNotOptimize(params.Find(key));
        if (++next == fixture.hits.size()) next = 0;
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_LookupHitTemporaryParam)->Arg(10)->Arg(100)->Arg(10000);

// Fills a fresh owner with `count` new names in random order; the owner's
// construction and destruction are part of each round.
void BM_SetParameterNew(benchmark::State& state) {
    std::vector<std::u16string> names;
    for (int i = 0; i < state.range(0); ++i) names.push_back(Name(i));
    std::shuffle(names.begin(), names.end(), std::mt19937(3));
    for (auto _ : state) {
        CParamsOwner owner;
        for (const auto& name : names) owner.SetParameter(name.c_str(), u"value");
        benchmark::DoNotOptimize(owner.GetParamsCount());
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_SetParameterNew)->Arg(10)->Arg(100)->Arg(10000);

// Overwrites the value of an existing parameter: no allocation at all.
void BM_SetParameterExisting(benchmark::State& state) {
    Fixture fixture(static_cast<int>(state.range(0)));
    size_t next = 0;
    for (auto _ : state) {
        fixture.owner.SetParameter(fixture.hits[next].c_str(), u"other", u"comment", nullptr);
        if (++next == fixture.hits.size()) next = 0;
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_SetParameterExisting)->Arg(100);

double PeakRssMegabytes() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_maxrss) / 1024.0; // ru_maxrss is in KiB
}

// 1 + 999 + 999 * 1000 = 1,000,000 elements, each with ten parameters:
// integers, numbers and texts, as a model's elements carry.
void BM_BuildTree(benchmark::State& state) {
    const char16_t* names[] = {u"Name",  u"Code",     u"Length",  u"Width", u"Height",
                               u"Angle", u"Material", u"Диаметр", u"Масса", u"Тип"};
    const double before = PeakRssMegabytes();
    int64_t elements = 0;
    for (auto _ : state) {
        auto root = std::make_unique<CElement>(u"root");
        elements = 1;
        for (int i = 0; i < 999; ++i) {
            CElement* group = root->AddChild(u"group");
            ++elements;
            for (int j = 0; j < 1000; ++j) {
                CElement* e = group->AddChild(u"element");
                ++elements;
                const int n = i * 1000 + j;
                e->SetParameter(names[0], u"Труба");
                e->SetParameter(names[1], n);
                e->SetParameter(names[2], n * 0.5);
                e->SetParameter(names[3], 100);
                e->SetParameter(names[4], 12.25);
                e->SetParameter(names[5], n % 360);
                e->SetParameter(names[6], u"Steel");
                e->SetParameter(names[7], 57.0 + j % 10);
                e->SetParameter(names[8], n * 0.001);
                e->SetParameter(names[9], u"A");
            }
        }
        state.PauseTiming();
        state.counters["peak_rss_MB"] = PeakRssMegabytes();
        state.counters["tree_MB"] = PeakRssMegabytes() - before;
        state.counters["bytes_per_element"] =
            (PeakRssMegabytes() - before) * 1024.0 * 1024.0 / static_cast<double>(elements);
        root.reset();
        state.ResumeTiming();
    }
    state.counters["elements"] = static_cast<double>(elements);
}
BENCHMARK(BM_BuildTree)->Iterations(1)->Unit(benchmark::kMillisecond);

} // namespace
