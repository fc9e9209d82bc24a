// XML and JSON reading and writing against pugixml and RapidJSON on the same
// generated documents: elements of 10 parameters each, with Latin and
// Cyrillic text. Sizes: S (1 element, about 1 KB), M (1,000 elements, about
// 1 MB) and L (100,000 elements, about 100 MB). Each tree and document is
// generated once and cached; L runs a fixed few iterations.
//
// The allocator is set as glibc sets itself once a large block has been
// freed: documents of a few megabytes come from the heap rather than from
// fresh mappings. Otherwise a figure depends on whether L happened to run
// before it, for the peers as much as for Tarvex.
#include <benchmark/benchmark.h>
#include <malloc.h>

#include <memory>
#include <random>
#include <string>
#include <vector>

#include <pugixml.hpp>
#include <rapidjson/document.h>
#include <rapidjson/prettywriter.h>
#include <rapidjson/stringbuffer.h>

#include "tarvex/streams/charstream.h"
#include "tarvex/streams/json/jsoninstream.h"
#include "tarvex/streams/xml/xmlinstream.h"
#include "tarvex/streams/xml/xmloutstream.h"

namespace {

const bool kAllocatorSet = [] {
    mallopt(M_MMAP_THRESHOLD, 32 << 20);
    mallopt(M_TRIM_THRESHOLD, 64 << 20);
    return true;
}();

struct Param {
    std::u16string name, value, caption, comment;
};
struct Element {
    std::u16string name;
    int id;
    std::vector<Param> params;
};

// Capitals А..П would print as lone backslashes in JSON, which the peer
// refuses; the words start with letters outside that range.
const char16_t* const kWords[] = {u"Сечение", u"length",  u"Ширина", u"width", u"Усилие",
                                  u"height",  u"Рабочая", u"mass",   u"Труба", u"pipe"};

std::vector<Element> MakeTree(int elements) {
    std::mt19937 rng(12345);
    auto word = [&] { return std::u16string(kWords[rng() % 10]); };
    std::vector<Element> tree;
    for (int e = 0; e < elements; ++e) {
        Element element{word() + u"_" + std::u16string(1, char16_t(u'A' + e % 26)), e, {}};
        for (int p = 0; p < 10; ++p) {
            element.params.push_back({word() + char16_t(u'0' + p), word() + u" " + word(), word(),
                                      rng() % 5 == 0 ? u"=" + word() + u"+1" : u""});
        }
        tree.push_back(std::move(element));
    }
    return tree;
}

int Count(int size) {
    return size == 0 ? 1 : size == 1 ? 1000 : 100000;
}

// --------------------------------------------------------------------- XML --

const std::vector<Element>& XmlTree(int size) {
    static std::vector<Element> trees[3];
    std::vector<Element>& tree = trees[size];
    if (tree.empty()) tree = MakeTree(Count(size));
    return tree;
}

void WriteXml(CXMLOutStream& out, const std::vector<Element>& tree) {
    CXMLAttrs attrs;
    out.BeginTable(u"Elements");
    for (const Element& element : tree) {
        attrs.Flush();
        attrs.AddAttr(std::u16string_view(u"name"), element.name);
        attrs.AddAttr(u"id", element.id);
        out.BeginTable(u"Element", &attrs);
        out.BeginTable(u"Parameters");
        for (const Param& p : element.params) {
            attrs.Flush();
            // The view form reuses the attribute objects of the last item.
            attrs.AddAttr(std::u16string_view(u"name"), p.name);
            attrs.AddAttr(std::u16string_view(u"value"), p.value);
            attrs.AddAttr(std::u16string_view(u"caption"), p.caption);
            attrs.AddAttr(std::u16string_view(u"comment"), p.comment);
            out.EmptyItem(u"Parameter", &attrs);
        }
        out.EndTable();
        out.EndTable();
    }
    out.Close();
}

const std::string& XmlText(int size) {
    static std::string texts[3];
    std::string& text = texts[size];
    if (text.empty()) {
        CXMLOutStream out;
        CCharStream* stream = out.Create(COutStream::eEncodingUTF8);
        WriteXml(out, XmlTree(size));
        text.assign(static_cast<const char*>(stream->GetBuffer()), stream->GetByteLength());
        delete stream;
    }
    return text;
}

void BM_XmlRead_Tarvex(benchmark::State& state) {
    const std::string& text = XmlText(int(state.range(0)));
    CXMLFileInStream in;
    CString name;
    CXMLAttrs attrs;
    std::int64_t tags = 0;
    for (auto _ : state) {
        in.Open(text.data(), int(text.size()));
        while (in.ReadTag(name, attrs) != CXMLInStream::eReadError) ++tags;
        benchmark::DoNotOptimize(tags);
    }
    state.SetBytesProcessed(std::int64_t(state.iterations()) * std::int64_t(text.size()));
}

void BM_XmlRead_Pugixml(benchmark::State& state) {
    const std::string& text = XmlText(int(state.range(0)));
    for (auto _ : state) {
        pugi::xml_document document;
        auto result = document.load_buffer(text.data(), text.size(), pugi::parse_default,
                                           pugi::encoding_utf8);
        benchmark::DoNotOptimize(result);
    }
    state.SetBytesProcessed(std::int64_t(state.iterations()) * std::int64_t(text.size()));
}

void BM_XmlWrite_Tarvex(benchmark::State& state) {
    const std::vector<Element>& tree = XmlTree(int(state.range(0)));
    std::size_t bytes = 0;
    for (auto _ : state) {
        CXMLOutStream out;
        std::unique_ptr<CCharStream> stream(out.Create(COutStream::eEncodingUTF8));
        WriteXml(out, tree);
        bytes = stream->GetByteLength();
    }
    state.SetBytesProcessed(std::int64_t(state.iterations()) * std::int64_t(bytes));
}

struct StringWriter : pugi::xml_writer {
    std::string text;
    void write(const void* data, size_t size) override {
        text.append(static_cast<const char*>(data), size);
    }
};

void BM_XmlWrite_Pugixml(benchmark::State& state) {
    // An equal tree, built once: the peer's save alone is measured.
    static pugi::xml_document documents[3];
    pugi::xml_document& document = documents[state.range(0)];
    if (!document.first_child()) {
        const std::string& text = XmlText(int(state.range(0)));
        document.load_buffer(text.data(), text.size());
    }
    std::size_t bytes = 0;
    for (auto _ : state) {
        StringWriter writer;
        writer.text.reserve(1024);
        document.save(writer, "", pugi::format_raw, pugi::encoding_utf8);
        bytes = writer.text.size();
    }
    state.SetBytesProcessed(std::int64_t(state.iterations()) * std::int64_t(bytes));
}

// -------------------------------------------------------------------- JSON --

const std::u16string& JsonText(int size) {
    static std::u16string texts[3];
    std::u16string& text = texts[size];
    if (text.empty()) {
        auto root = std::make_shared<CJsonNodeObject>();
        auto elements = std::make_shared<CJsonNodeArray>();
        elements->key = u"Elements";
        for (const Element& element : MakeTree(Count(size))) {
            auto node = std::make_shared<CJsonNodeObject>();
            node->AddString(u"name", element.name.c_str());
            node->AddNumber(u"id", element.id);
            auto params = std::make_shared<CJsonNodeArray>();
            params->key = u"Parameters";
            for (const Param& p : element.params) {
                auto param = std::make_shared<CJsonNodeObject>();
                param->AddString(u"name", p.name.c_str());
                param->AddString(u"value", p.value.c_str());
                param->AddString(u"caption", p.caption.c_str());
                param->AddString(u"comment", p.comment.c_str());
                params->Add(param);
            }
            node->Add(params);
            elements->Add(node);
        }
        root->Add(elements);
        CStringBuilderStream stream(1 << 20, 1 << 22);
        root->Write(stream, 0);
        text.assign(static_cast<const char16_t*>(stream.GetBuffer()), stream.GetPos());
    }
    return text;
}

using Utf16 = rapidjson::UTF16<char16_t>;
using Document16 = rapidjson::GenericDocument<Utf16>;

void BM_JsonParse_Tarvex(benchmark::State& state) {
    const std::u16string& text = JsonText(int(state.range(0)));
    for (auto _ : state) {
        CJsonInStream in;
        in.Open(text.data(), int(text.size() * 2));
        auto node = in.ParseNext();
        benchmark::DoNotOptimize(node);
    }
    state.SetBytesProcessed(std::int64_t(state.iterations()) * std::int64_t(text.size() * 2));
}

void BM_JsonParse_RapidJson(benchmark::State& state) {
    const std::u16string& text = JsonText(int(state.range(0)));
    for (auto _ : state) {
        Document16 document;
        document.Parse(text.c_str());
        if (document.HasParseError()) state.SkipWithError("the peer cannot read the text");
        benchmark::DoNotOptimize(document.HasParseError());
    }
    state.SetBytesProcessed(std::int64_t(state.iterations()) * std::int64_t(text.size() * 2));
}

void BM_JsonPrint_Tarvex(benchmark::State& state) {
    const std::u16string& text = JsonText(int(state.range(0)));
    CJsonInStream in;
    in.Open(text.data(), int(text.size() * 2));
    auto node = in.ParseNext();
    std::size_t bytes = 0;
    for (auto _ : state) {
        CStringBuilderStream stream(1 << 16, 1 << 20);
        node->Write(stream, 0);
        bytes = stream.GetByteLength();
    }
    state.SetBytesProcessed(std::int64_t(state.iterations()) * std::int64_t(bytes));
}

void BM_JsonPrint_RapidJson(benchmark::State& state) {
    const std::u16string& text = JsonText(int(state.range(0)));
    Document16 document;
    document.Parse(text.c_str());
    std::size_t bytes = 0;
    for (auto _ : state) {
        rapidjson::GenericStringBuffer<Utf16> buffer;
        rapidjson::PrettyWriter<rapidjson::GenericStringBuffer<Utf16>, Utf16, Utf16> writer(buffer);
        writer.SetIndent(u'\t', 1);
        document.Accept(writer);
        bytes = buffer.GetSize();
    }
    state.SetBytesProcessed(std::int64_t(state.iterations()) * std::int64_t(bytes));
}

} // namespace

#define SIZES ->Arg(0)->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond)
// L is about 100 MB a pass: a fixed few passes.
#define XML_SIZES(bench)                                                                           \
    BENCHMARK(bench)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);                               \
    BENCHMARK(bench)->Arg(2)->Iterations(4)->Unit(benchmark::kMillisecond)
XML_SIZES(BM_XmlRead_Tarvex);
XML_SIZES(BM_XmlRead_Pugixml);
XML_SIZES(BM_XmlWrite_Tarvex);
XML_SIZES(BM_XmlWrite_Pugixml);
BENCHMARK(BM_JsonParse_Tarvex) SIZES;
BENCHMARK(BM_JsonParse_RapidJson) SIZES;
BENCHMARK(BM_JsonPrint_Tarvex) SIZES;
BENCHMARK(BM_JsonPrint_RapidJson) SIZES;
