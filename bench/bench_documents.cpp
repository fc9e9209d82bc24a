// Element documents against pugixml on the same bytes: reading a document
// into a full element tree, and writing the tree as a document. The plain
// pugixml parse and save are the reference; pugixml parse plus a walk that
// builds the same CElement tree is the comparable job for reading.
#include <benchmark/benchmark.h>

#include <sys/resource.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <random>
#include <string>

#include <pugixml.hpp>

#include "tarvex/platform/codepage.h"
#include "tarvex/streams/elementdocs/elementxml.h"

namespace {

double PeakRssMegabytes() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_maxrss) / 1024.0;
}

// Groups of 100 elements under one root, ten parameters each: names from a
// small pool, some Cyrillic text, and a formula in every fifth value comment.
std::unique_ptr<CElement> MakeTree(int elements) {
    const char16_t* names[] = {u"Name",  u"Code",     u"Length",  u"Width", u"Height",
                               u"Angle", u"Material", u"Диаметр", u"Масса", u"Тип"};
    std::mt19937 rng(12345);
    auto root = std::make_unique<CElement>(u"Установка");
    CElement* group = nullptr;
    for (int i = 0; i < elements; ++i) {
        if (i % 100 == 0) group = root->AddChild(u"Группа");
        CElement* e = group->AddChild(i % 3 == 0 ? u"Труба" : u"Element");
        e->SetTag(0, i);
        for (int p = 0; p < 10; ++p) {
            CString value;
            value.Format(u"%d", static_cast<int>(rng() % 100000));
            const char16_t* comment = p % 3 == 0 ? u"Описание параметра" : u"";
            const char16_t* formula = p % 5 == 4 ? u"=parent(\"Группа\").Length*2" : u"";
            e->SetParameter(names[p], value.GetString(), comment, formula);
        }
    }
    return root;
}

struct Document {
    std::string path;
    std::string bytes;
    std::unique_ptr<CElement> tree;
};

const Document& GetDocument(int elements) {
    static std::map<int, Document> cache;
    Document& doc = cache[elements];
    if (doc.tree) return doc;
    doc.tree = MakeTree(elements);
    doc.path = "/tmp/tarvex_bench_documents_" + std::to_string(getpid()) + "_" +
               std::to_string(elements) + ".xml";
    doc.tree->WriteToFile(tarvex::FromUtf8(doc.path));
    std::ifstream in(doc.path, std::ios::binary);
    doc.bytes.assign(std::istreambuf_iterator<char>(in), {});
    std::remove(doc.path.c_str());
    return doc;
}

void Report(benchmark::State& state, const Document& doc, double before) {
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * doc.bytes.size()));
    state.counters["doc_MB"] = static_cast<double>(doc.bytes.size()) / (1024.0 * 1024.0);
    state.counters["peak_rss_MB"] = PeakRssMegabytes();
    state.counters["rss_growth_MB"] = PeakRssMegabytes() - before;
}

void BM_TarvexReadTree(benchmark::State& state) {
    const Document& doc = GetDocument(static_cast<int>(state.range(0)));
    const double before = PeakRssMegabytes();
    static const CCElementXMLSchema schema;
    for (auto _ : state) {
        CXMLSchemaInStream in(schema);
        CXMLAttrs attrs;
        CElement root;
        if (!in.Open(doc.bytes.data(), static_cast<int>(doc.bytes.size()), attrs))
            state.SkipWithError("open");
        CElementXMLInStream reader(&in);
        if (!reader.ReadElement(root, attrs, false)) state.SkipWithError("read");
        benchmark::DoNotOptimize(root.GetChildCount());
    }
    Report(state, doc, before);
}

void BM_PugiParse(benchmark::State& state) {
    const Document& doc = GetDocument(static_cast<int>(state.range(0)));
    const double before = PeakRssMegabytes();
    for (auto _ : state) {
        pugi::xml_document xml;
        if (!xml.load_buffer(doc.bytes.data(), doc.bytes.size())) state.SkipWithError("parse");
        benchmark::DoNotOptimize(xml.first_child());
    }
    Report(state, doc, before);
}

void Build(const pugi::xml_node& node, CElement& element) {
    element.SetName(tarvex::FromUtf8(node.attribute("name").value()));
    element.SetId(node.attribute("id").as_int());
    element.SetModelUID(node.attribute("uid").as_int(-1));
    for (pugi::xml_node p : node.child("Parameters").children("Parameter"))
        element.AddParameter(tarvex::FromUtf8(p.attribute("name").value()),
                             tarvex::FromUtf8(p.attribute("value").value()),
                             tarvex::FromUtf8(p.attribute("caption").value()),
                             tarvex::FromUtf8(p.attribute("comment").value()));
    int index = 0;
    for (pugi::xml_node t : node.child("Tags").children("Tag"))
        element.SetTag(index++, t.attribute("value").as_int());
    for (pugi::xml_node c : node.child("Elements").children("Element"))
        Build(c, *element.AddChild(u""));
}

void BM_PugiParseAndBuildTree(benchmark::State& state) {
    const Document& doc = GetDocument(static_cast<int>(state.range(0)));
    const double before = PeakRssMegabytes();
    for (auto _ : state) {
        pugi::xml_document xml;
        if (!xml.load_buffer(doc.bytes.data(), doc.bytes.size())) state.SkipWithError("parse");
        CElement root;
        Build(xml.child("Element"), root);
        benchmark::DoNotOptimize(root.GetChildCount());
    }
    Report(state, doc, before);
}

void BM_TarvexWriteFile(benchmark::State& state) {
    const Document& doc = GetDocument(static_cast<int>(state.range(0)));
    const double before = PeakRssMegabytes();
    const std::string path = doc.path + ".out";
    for (auto _ : state)
        if (!doc.tree->WriteToFile(tarvex::FromUtf8(path))) state.SkipWithError("write");
    std::remove(path.c_str());
    Report(state, doc, before);
}

void BM_PugiSaveFile(benchmark::State& state) {
    const Document& doc = GetDocument(static_cast<int>(state.range(0)));
    const double before = PeakRssMegabytes();
    pugi::xml_document xml;
    xml.load_buffer(doc.bytes.data(), doc.bytes.size());
    const std::string path = doc.path + ".pugi";
    for (auto _ : state)
        if (!xml.save_file(path.c_str(), "", pugi::format_raw | pugi::format_no_declaration))
            state.SkipWithError("save");
    std::remove(path.c_str());
    Report(state, doc, before);
}

void BM_TarvexWriteMemory(benchmark::State& state) {
    const Document& doc = GetDocument(static_cast<int>(state.range(0)));
    const double before = PeakRssMegabytes();
    for (auto _ : state) {
        CString text;
        if (!doc.tree->WriteToXML(text)) state.SkipWithError("write");
        benchmark::DoNotOptimize(text.GetLength());
    }
    Report(state, doc, before);
}

#define DOCUMENT_SIZES ->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond)->Iterations(2)
BENCHMARK(BM_TarvexReadTree) DOCUMENT_SIZES;
BENCHMARK(BM_PugiParse) DOCUMENT_SIZES;
BENCHMARK(BM_PugiParseAndBuildTree) DOCUMENT_SIZES;
BENCHMARK(BM_TarvexWriteFile) DOCUMENT_SIZES;
BENCHMARK(BM_PugiSaveFile) DOCUMENT_SIZES;
BENCHMARK(BM_TarvexWriteMemory) DOCUMENT_SIZES;

} // namespace

BENCHMARK_MAIN();
