// Raw deflate and inflate of 100 MB of element XML against zlib's own
// compress2/uncompress on the same bytes, and dump files written (with
// packing) and read (with unpacking) in MB/s of unpacked content.
#include <benchmark/benchmark.h>
#include <stdlib.h>
#include <unistd.h>
#include <zlib.h>

#include <cstdio>
#include <filesystem>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "tarvex/database/odbcdump.h"
#include "tarvex/platform/codepage.h"
#include "tarvex/streams/zip/ziphelper.h"

namespace {

const std::string& ElementXml() {
    static const std::string xml = [] {
        std::mt19937 rng(42);
        std::string text =
            "<?xml version=\"1.0\" ?><Element name=\"Root\" id=\"0\" uid=\"-1\"><Elements>";
        const char* words[] = {"Сечение", "length", "Ширина", "width", "Усилие", "height", "Труба"};
        for (int id = 1; text.size() < (100u << 20); ++id) {
            text += "<Element name=\"Узел " + std::to_string(id) + "\" id=\"" + std::to_string(id) +
                    "\" uid=\"-1\"><Parameters>";
            for (int p = 0; p < 10; ++p)
                text += std::string("<Parameter name=\"") + words[rng() % 7] + std::to_string(p) +
                        "\" value=\"" + std::to_string(rng() % 100000) +
                        "\" caption=\"\" comment=\"" + (p % 3 == 0 ? "=A+1" : "") + "\" />";
            text += "</Parameters></Element>";
        }
        return text + "</Elements></Element>";
    }();
    return xml;
}

void BM_RawDeflate(benchmark::State& state) {
    const std::string& xml = ElementXml();
    TArrayTemplate<unsigned char> out;
    for (auto _ : state)
        CKVZipHelper::MakeRawDeflate(const_cast<char*>(xml.data()), unsigned(xml.size()), out,
                                     true);
    state.SetBytesProcessed(std::int64_t(state.iterations()) * std::int64_t(xml.size()));
    state.counters["ratio"] = double(xml.size()) / double(out.GetLength());
}
BENCHMARK(BM_RawDeflate)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_ZlibCompress2(benchmark::State& state) {
    const std::string& xml = ElementXml();
    const uLong bound = compressBound(uLong(xml.size()));
    uLongf length = 0;
    for (auto _ : state) {
        std::unique_ptr<Bytef[]> out(new Bytef[bound]);
        length = bound;
        compress2(out.get(), &length, reinterpret_cast<const Bytef*>(xml.data()), uLong(xml.size()),
                  Z_DEFAULT_COMPRESSION);
    }
    state.SetBytesProcessed(std::int64_t(state.iterations()) * std::int64_t(xml.size()));
    state.counters["ratio"] = double(xml.size()) / double(length);
}
BENCHMARK(BM_ZlibCompress2)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_RawInflate(benchmark::State& state) {
    const std::string& xml = ElementXml();
    TArrayTemplate<unsigned char> packed, out;
    CKVZipHelper::MakeRawDeflate(const_cast<char*>(xml.data()), unsigned(xml.size()), packed, true);
    for (auto _ : state) {
        out = TArrayTemplate<unsigned char>();
        CKVZipHelper::ExtractRawDeflate(packed, out);
    }
    state.SetBytesProcessed(std::int64_t(state.iterations()) * std::int64_t(xml.size()));
}
BENCHMARK(BM_RawInflate)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_ZlibUncompress(benchmark::State& state) {
    const std::string& xml = ElementXml();
    std::vector<Bytef> packed(compressBound(uLong(xml.size())));
    uLongf length = uLongf(packed.size());
    compress2(packed.data(), &length, reinterpret_cast<const Bytef*>(xml.data()), uLong(xml.size()),
              Z_DEFAULT_COMPRESSION);
    for (auto _ : state) {
        // The peer is told the size; the helper has to find it out.
        std::unique_ptr<Bytef[]> out(new Bytef[xml.size()]);
        uLongf produced = uLongf(xml.size());
        uncompress(out.get(), &produced, packed.data(), length);
    }
    state.SetBytesProcessed(std::int64_t(state.iterations()) * std::int64_t(xml.size()));
}
BENCHMARK(BM_ZlibUncompress)->Unit(benchmark::kMillisecond)->UseRealTime();

// Records of int, double, 20-character text, timestamp and GUID, about 70
// bytes each unpacked.
constexpr int kRecords = 300000;

struct ScratchFolder {
    ScratchFolder() {
        std::string pattern =
            (std::filesystem::temp_directory_path() / "tarvex_bench_zip_XXXXXX").string();
        if (::mkdtemp(pattern.data())) path = pattern;
    }
    ~ScratchFolder() { std::filesystem::remove_all(path); }
    std::string path;
};

std::string ScratchFile(const char* name) {
    static const ScratchFolder folder;
    return folder.path + "/" + name;
}

void WriteDump(const CString& path) {
    const _GUID guid = {0x12345678, 0x9abc, 0xdef0, {1, 2, 3, 4, 5, 6, 7, 8}};
    tagTIMESTAMP_STRUCT stamp = {2024, 5, 17, 10, 20, 30, 0};
    CODBCDumpWriter writer;
    writer.Open(path);
    writer.WriteHeader(1, 0);
    for (int i = 0; i < kRecords; ++i) {
        writer.FieldIO(1, i, 0);
        writer.FieldIO(2, i * 0.25, 0);
        writer.FieldIO(3, u"Насос центробежный №", -3, 0);
        stamp.second = std::uint16_t(i % 60);
        writer.FieldIO(4, stamp, 0);
        writer.FieldIO(5, guid, i % 5 == 0 ? -1 : 16);
    }
    writer.RewriteHeader(1, kRecords);
    writer.Close();
}

void BM_DumpWriteAndPack(benchmark::State& state) {
    const CString path = tarvex::FromUtf8(ScratchFile("w.dump"));
    std::uint64_t unpacked = 0;
    for (auto _ : state) {
        WriteDump(path);
        unpacked = 10 + std::uint64_t(kRecords) * (5 + 9 + 44 + 17 + 17) - (kRecords / 5) * 16;
    }
    state.SetBytesProcessed(std::int64_t(state.iterations() * unpacked));
}
BENCHMARK(BM_DumpWriteAndPack)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_DumpUnpackAndRead(benchmark::State& state) {
    const std::string packedPath = ScratchFile("r.dump"), plainPath = ScratchFile("r.plain");
    WriteDump(tarvex::FromUtf8(packedPath));
    std::string packed;
    {
        FILE* file = std::fopen(packedPath.c_str(), "rb");
        char buffer[65536];
        while (std::size_t n = std::fread(buffer, 1, sizeof buffer, file)) packed.append(buffer, n);
        std::fclose(file);
    }
    std::int64_t unpacked = 0;
    for (auto _ : state) {
        TArrayTemplate<unsigned char> plain;
        CKVZipHelper::ExtractRawDeflate(packed.data(), unsigned(packed.size()), plain);
        FILE* file = std::fopen(plainPath.c_str(), "wb");
        std::fwrite(plain.GetData(), 1, std::size_t(plain.GetLength()), file);
        std::fclose(file);
        unpacked = plain.GetLength();

        CODBCDumpReader reader;
        reader.Open(tarvex::FromUtf8(plainPath));
        short version;
        std::uint64_t count;
        reader.ReadHeader(version, count);
        int n;
        double d;
        char16_t text[32];
        tagTIMESTAMP_STRUCT stamp;
        _GUID guid;
        std::int64_t ind;
        for (std::uint64_t i = 0; i < count; ++i) {
            reader.FieldIO(1, n, ind);
            reader.FieldIO(2, d, ind);
            reader.FieldIO(3, text, ind, 32);
            reader.FieldIO(4, stamp, ind);
            reader.FieldIO(5, guid, ind);
        }
        benchmark::DoNotOptimize(n);
    }
    state.SetBytesProcessed(state.iterations() * unpacked);
}
BENCHMARK(BM_DumpUnpackAndRead)->Unit(benchmark::kMillisecond)->UseRealTime();

} // namespace
