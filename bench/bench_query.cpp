// Formulas bound to elements: compiling against an element, and evaluating
// with structural references (each run fills the values from the tree and
// computes), on a tree of realistic shape: a few levels, tens of siblings.
#include <benchmark/benchmark.h>

#include <memory>

#include "tarvex/element/element.h"
#include "tarvex/formula/compiledfunction.h"

namespace {

const char16_t* const kFormulas[] = {
    u"A * 2 + B",                                             // plain parameters
    u"parent.A + child(2).#B * level",                        // one step each
    u"parent(\"Plant\").A & \"/\" & previous(\"n\").A",       // named searches
    u"root.name & \"-\" & parent.parent.name & \"-\" & name", // system values
};

struct Plant {
    std::unique_ptr<CElement> root{new CElement(u"Plant")};
    CElement* target = nullptr;

    Plant() {
        root->SetParameter(u"A", u"1");
        for (int i = 0; i < 20; ++i) {
            CElement* unit = root->AddChild(i % 2 ? u"unit" : u"n");
            unit->SetParameter(u"A", i);
            for (int j = 0; j < 50; ++j) {
                CElement* pipe = unit->AddChild(j % 3 ? u"pipe" : u"n");
                pipe->SetParameter(u"A", j);
                pipe->SetParameter(u"B", j * 0.5);
                for (int k = 0; k < 3; ++k) pipe->AddChild(u"part")->SetParameter(u"B", k);
            }
        }
        target = root->GetChild(int64_t(10))->GetChild(int64_t(40));
    }
};

void BM_CompileAgainstElement(benchmark::State& state) {
    Plant plant;
    const char16_t* text = kFormulas[state.range(0)];
    for (auto _ : state) {
        CCompiledFunction function;
        benchmark::DoNotOptimize(function.Initialize(text, plant.target));
    }
}
BENCHMARK(BM_CompileAgainstElement)->DenseRange(0, 3);

void BM_EvaluateWithStructuralReferences(benchmark::State& state) {
    Plant plant;
    CCompiledFunction function;
    function.Initialize(kFormulas[state.range(0)], plant.target);
    CString out;
    for (auto _ : state) {
        function.SetParameters(plant.target);
        benchmark::DoNotOptimize(function.CountStr(out));
    }
}
BENCHMARK(BM_EvaluateWithStructuralReferences)->DenseRange(0, 3);

// The same formula over every pipe of the plant: one compile, a fill and a
// count per element, as a whole-tree calculation would do it.
void BM_EvaluateOverTree(benchmark::State& state) {
    Plant plant;
    CCompiledFunction function;
    function.Initialize(kFormulas[1], plant.target);
    CString out;
    for (auto _ : state) {
        for (int64_t i = 0; i < plant.root->GetChildCount(); ++i) {
            CElement* unit = plant.root->GetChild(i);
            for (int64_t j = 0; j < unit->GetChildCount(); ++j) {
                function.SetParameters(unit->GetChild(j));
                benchmark::DoNotOptimize(function.CountStr(out));
            }
        }
    }
    state.SetItemsProcessed(state.iterations() * 1000);
}
BENCHMARK(BM_EvaluateOverTree);

} // namespace
