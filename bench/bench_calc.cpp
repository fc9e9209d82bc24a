// Whole-tree calculation on a plant-sized tree (100 zones x 10 lines x 100
// parts, 10 parameters each, 10^5 formulas of mixed kinds), an incremental
// edit against a full run, and the dependency sort on its worst shapes.
// The random trees start from a fixed state; peak RSS is reported as a counter (kilobytes, whole
// process).
#include <benchmark/benchmark.h>
#include <sys/resource.h>

#include <chrono>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "tarvex/element/calc/elementcalcsession.h"
#include "tarvex/element/element.h"
#include "tarvex/formula/compiledfunction.h"

namespace {

double PeakRssKb() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_maxrss);
}

CString Number(long n) {
    const std::string digits = std::to_string(n);
    return CString(std::u16string(digits.begin(), digits.end()).c_str());
}

void Formula(CElement* e, const char16_t* name, const char16_t* text) {
    e->SetParameter(name, u"0", nullptr, text);
}

// `wild` adds the syntax errors, 2-cycles and aggregates; without them the
// tree can be followed incrementally.
std::unique_ptr<CElement> PlantTree(bool wild) {
    std::mt19937 rng(13);
    auto root = std::make_unique<CElement>(u"Plant");
    int part = 0;
    for (int z = 0; z < 100; ++z) {
        CElement* zone = root->AddChild(u"Zone");
        zone->SetParameter(u"K", Number(rng() % 100).GetString());
        for (int l = 0; l < 10; ++l) {
            CElement* line = zone->AddChild(z % 2 ? u"Линия" : u"Line");
            line->SetParameter(u"L", Number(rng() % 100).GetString());
            if (l % 2)
                Formula(line, u"K", u"=#L+1");
            else
                line->SetParameter(u"K", Number(rng() % 100).GetString());
            for (int p = 0; p < 100; ++p, ++part) {
                CElement* e = line->AddChild(p % 3 ? u"Part" : u"Деталь");
                e->SetParameter(u"L", Number(rng() % 100).GetString());
                e->SetParameter(u"W", Number(rng() % 10).GetString());
                e->SetParameter(u"F", Number(rng() % 10).GetString());
                e->SetParameter(u"LIST", u"1;2;3");
                e->SetParameter(u"Ширина", u"4");
                e->SetParameter(u"Код", u"abc");
                const int r = part % 200;
                if (r < 80)
                    Formula(e, u"X", u"=#L*#W+1");
                else if (r < 120)
                    Formula(e, u"X", u"=parent.#K*2+#L");
                else if (r < 140)
                    Formula(e, u"X", u"=parent(\"Zone\").#K");
                else if (r < 160)
                    Formula(e, u"X", u"=parent.child(1).#F+parent.childLast.#F");
                else if (r < 170)
                    Formula(e, u"S", r == 160 ? u"=#L+1" : u"=previous.#S+1");
                else if (r < 180)
                    Formula(e, u"X", wild ? u"=sum(split(LIST, \";\"), item*#W)" : u"=#W*6");
                else if (r < 188)
                    Formula(e, u"X", u"=root.name & \"-\" & name");
                else if (r < 189)
                    Formula(e, u"X", wild ? u"=1+" : u"=1+1");
                else if (r < 190 && wild) {
                    Formula(e, u"X", u"=#Y+1");
                    Formula(e, u"Y", u"=#X+1");
                } else {
                    Formula(e, u"X", u"=#L+#W");
                }
                e->SetParameter(u"Z", u"0");
            }
        }
    }
    return root;
}

void BM_FullCalculate(benchmark::State& state) {
    auto root = PlantTree(true);
    for (auto _ : state) root->CalculateParameters();
    state.counters["peak_rss_kb"] = PeakRssKb();
}
BENCHMARK(BM_FullCalculate)->Unit(benchmark::kMillisecond);

// The three steps of a full run timed apart (the walk also calculates the
// formulas that read no other formula).
void BM_FullCalculatePhases(benchmark::State& state) {
    auto root = PlantTree(true);
    using Clock = std::chrono::steady_clock;
    double walk = 0, sort = 0, run = 0;
    int64_t kept = 0;
    for (auto _ : state) {
        const auto t0 = Clock::now();
        CElement::CalcList list;
        root->PrepareToCalculate(list);
        const auto t1 = Clock::now();
        CElement::TopologicalSort(list);
        const auto t2 = Clock::now();
        for (CParamCalcContext* calc : list) calc->Calculate();
        const auto t3 = Clock::now();
        kept = list.GetLength();
        walk += std::chrono::duration<double, std::milli>(t1 - t0).count();
        sort += std::chrono::duration<double, std::milli>(t2 - t1).count();
        run += std::chrono::duration<double, std::milli>(t3 - t2).count();
    }
    const double n = static_cast<double>(state.iterations());
    state.counters["walk_ms"] = walk / n;
    state.counters["sort_ms"] = sort / n;
    state.counters["dependent_ms"] = run / n;
    state.counters["dependent_formulas"] = static_cast<double>(kept);
    state.counters["peak_rss_kb"] = PeakRssKb();
}
BENCHMARK(BM_FullCalculatePhases)->Unit(benchmark::kMillisecond);

// A chain of 100 formulas fed by one plain parameter, in the plant tree
// without the formulas that force full runs.
struct ChainedPlant {
    std::unique_ptr<CElement> root = PlantTree(false);
    CElement* holder = root->AddChild(u"Chain");
    CParam* source = holder->SetParameter(u"SRC", u"1");
    ChainedPlant() {
        Formula(holder, u"C0", u"=#SRC+1");
        for (int i = 1; i < 100; ++i) {
            const std::u16string name = u"C" + std::u16string(Number(i).GetString());
            const std::u16string text =
                u"=#C" + std::u16string(Number(i - 1).GetString()) + u"*2-1";
            Formula(holder, name.c_str(), text.c_str());
        }
    }
};

void BM_EditChainIncremental(benchmark::State& state) {
    ChainedPlant plant;
    CElementCalcSession session(plant.root.get());
    session.Calculate();
    long value = 1;
    for (auto _ : state) {
        plant.source->m_strValue = Number(++value % 7);
        session.NotifyParamChanged(plant.source);
        if (session.Calculate()) state.SkipWithError("fell back to a full run");
    }
    state.counters["recalculated"] = static_cast<double>(session.GetStats().recalculated);
    state.counters["peak_rss_kb"] = PeakRssKb();
}
BENCHMARK(BM_EditChainIncremental)->Unit(benchmark::kMicrosecond);

void BM_EditChainFull(benchmark::State& state) {
    ChainedPlant plant;
    long value = 1;
    for (auto _ : state) {
        plant.source->m_strValue = Number(++value % 7);
        plant.root->CalculateParameters();
    }
}
BENCHMARK(BM_EditChainFull)->Unit(benchmark::kMillisecond);

// TopologicalSort alone on prepared lists; the list is put back in its
// first order before each sort.
enum Shape { kChain, kTwoCycles, kStar };

void BM_TopologicalSort(benchmark::State& state) {
    const auto shape = static_cast<Shape>(state.range(0));
    CElement root(u"R");
    std::vector<CElement*> holders;
    std::vector<std::unique_ptr<CParamCalcContext>> owned;
    auto add = [&](CElement* e, const std::u16string& name, const std::u16string& text) {
        CParam* p = e->SetParameter(name.c_str(), u"0", nullptr, (u"=" + text).c_str());
        owned.push_back(std::make_unique<CParamCalcContext>(e, p));
        owned.back()->Init(text.c_str());
    };
    auto id = [](int i) { return std::u16string(Number(i).GetString()); };
    if (shape == kChain) {
        // 100 elements of 1000: each reads the previous, across elements.
        CElement* prev = nullptr;
        for (int i = 0; i < 100000; ++i) {
            CElement* e = i % 1000 ? prev : root.AddChild(u"E");
            if (i % 1000 == 0 && i)
                add(e, u"P" + id(i), u"previous.#P" + id(i - 1) + u"+1");
            else
                add(e, u"P" + id(i), i ? u"#P" + id(i - 1) + u"+1" : u"1");
            prev = e;
        }
    } else if (shape == kTwoCycles) {
        for (int i = 0; i < 10000; ++i) {
            CElement* e = root.AddChild(u"E");
            add(e, u"A", u"#B+1");
            add(e, u"B", u"#A+1");
        }
    } else {
        Formula(&root, u"C", u"=1");
        add(&root, u"C", u"#C");
        for (int i = 0; i < 100000; ++i) {
            if (i % 1000 == 0) holders.push_back(root.AddChild(u"E"));
            add(holders.back(), u"S" + id(i), u"parent.#C+1");
        }
    }
    CElement::CalcList list(0, 16, false);
    for (auto& calc : owned) list.Add(calc.get());
    for (auto _ : state) {
        for (size_t i = 0; i < owned.size(); ++i) list[i] = owned[i].get();
        CElement::TopologicalSort(list);
    }
    state.counters["formulas"] = static_cast<double>(owned.size());
}
BENCHMARK(BM_TopologicalSort)
    ->Arg(kChain)
    ->Arg(kTwoCycles)
    ->Arg(kStar)
    ->Unit(benchmark::kMillisecond);

} // namespace
