// A dictionary of 20,000 definitions: loading "params.xml" (against pugixml
// parsing the same file into a DOM and walking it), lookup by name (hit and
// miss, Latin and Cyrillic, case-blind) and unit lookup by system name. The
// counter allocs_per_op counts heap allocations inside the timed loop, which
// lookups must not make.
#include <benchmark/benchmark.h>

#include <pugixml.hpp>

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <string>
#include <vector>

#include "tarvex/dictionary/paramdefs.h"
#include "tarvex/platform/codepage.h"

namespace {

std::atomic<long> allocations{0};

constexpr int kCount = 20000;

CString Name(int i, bool cyrillic) {
    CString name(cyrillic ? u"Длина_" : u"Length_");
    name.AppendFormat(u"%d", i);
    return name;
}

struct Fixture {
    Fixture() {
        for (int i = 0; i < kCount; ++i) {
            CParamDef* def = defs.AddParam(Name(i, i % 2 != 0), u"описание параметра");
            def->SetDefaultValue(u"1");
            def->AddValue(u"1", u"one");
            def->AddCategory(u"Общие", 1, 1, false, false);
        }
        auto* length = new CParamMeasurement(u"LENGTH", u"Длина");
        for (int i = 0; i < 200; ++i) {
            CString unit(u"unit_");
            unit.AppendFormat(u"%d", i);
            length->AddUnit(new CParamMeasureUnit(unit, u"", u"", 1, u"", u"", u"", nullptr));
        }
        defs.GetMeasurements().AddMeasurement(length);
        path = "/tmp/tarvex-bench-params-" + std::to_string(getpid()) + ".xml";
        defs.SaveFile(tarvex::FromUtf8(path));
    }
    ~Fixture() { std::remove(path.c_str()); }

    CParamDefs defs;
    std::string path;
};

Fixture& Shared() {
    static Fixture fixture;
    return fixture;
}

void BM_LoadParamsXml(benchmark::State& state) {
    const CString path = tarvex::FromUtf8(Shared().path);
    for (auto _ : state) {
        CParamDefs defs;
        benchmark::DoNotOptimize(defs.LoadFile(path));
    }
    state.SetItemsProcessed(state.iterations() * kCount);
}
BENCHMARK(BM_LoadParamsXml)->Unit(benchmark::kMillisecond);

void BM_LoadParamsXml_Pugixml(benchmark::State& state) {
    for (auto _ : state) {
        pugi::xml_document document;
        document.load_file(Shared().path.c_str());
        long names = 0;
        for (pugi::xml_node param : document.child("PARAMETERS").children("PARAMETER"))
            names += param.child("NAME").text().get()[0] != 0;
        benchmark::DoNotOptimize(names);
    }
    state.SetItemsProcessed(state.iterations() * kCount);
}
BENCHMARK(BM_LoadParamsXml_Pugixml)->Unit(benchmark::kMillisecond);

void Lookup(benchmark::State& state, bool cyrillic, bool hit) {
    CParamDefs& defs = Shared().defs;
    std::vector<CString> names;
    for (int i = 0; i < 1024; ++i) {
        // Cyrillic names are the odd ones; queries are upper-cased, so every
        // hit folds case.
        const int index = hit ? (i * 38 + (cyrillic ? 1 : 0)) % kCount : kCount + i;
        CString name = Name(index, cyrillic);
        name.MakeUpper();
        names.push_back(name);
    }
    size_t i = 0;
    long found = 0;
    const long before = allocations.load();
    for (auto _ : state) {
        found += defs.GetParam(names[i++ & 1023].GetString()) != nullptr;
    }
    state.counters["allocs_per_op"] =
        double(allocations.load() - before) / double(std::max<int64_t>(1, state.iterations()));
    state.counters["hit_ratio"] = double(found) / double(std::max<int64_t>(1, state.iterations()));
}

void BM_GetParam_LatinHit(benchmark::State& state) {
    Lookup(state, false, true);
}
void BM_GetParam_LatinMiss(benchmark::State& state) {
    Lookup(state, false, false);
}
void BM_GetParam_CyrillicHit(benchmark::State& state) {
    Lookup(state, true, true);
}
void BM_GetParam_CyrillicMiss(benchmark::State& state) {
    Lookup(state, true, false);
}
BENCHMARK(BM_GetParam_LatinHit);
BENCHMARK(BM_GetParam_LatinMiss);
BENCHMARK(BM_GetParam_CyrillicHit);
BENCHMARK(BM_GetParam_CyrillicMiss);

void BM_GetMeasureUnit(benchmark::State& state) {
    CParamMeasurements& units = Shared().defs.GetMeasurements();
    std::vector<CString> names;
    for (int i = 0; i < 256; ++i) {
        CString unit(u"unit_");
        unit.AppendFormat(u"%d", i);
        names.push_back(unit);
    }
    units.GetMeasureUnit(u"unit_0"); // the index is built outside the loop
    size_t i = 0;
    long found = 0;
    const long before = allocations.load();
    for (auto _ : state) found += units.GetMeasureUnit(names[i++ & 255].GetString()) != nullptr;
    state.counters["allocs_per_op"] =
        double(allocations.load() - before) / double(std::max<int64_t>(1, state.iterations()));
    state.counters["hit_ratio"] = double(found) / double(std::max<int64_t>(1, state.iterations()));
}
BENCHMARK(BM_GetMeasureUnit);

} // namespace

void* operator new(std::size_t size) {
    allocations.fetch_add(1, std::memory_order_relaxed);
    if (void* p = std::malloc(size ? size : 1)) return p;
    throw std::bad_alloc();
}
void operator delete(void* p) noexcept {
    std::free(p);
}
void operator delete(void* p, std::size_t) noexcept {
    std::free(p);
}
