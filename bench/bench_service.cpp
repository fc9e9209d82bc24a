// Upload and download of one large file through the loopback test server,
// by the service client and by the curl command on the same bytes in the
// same run. The size is 100 MB unless TARVEX_BENCH_MB says otherwise. curl
// uploads the base64 text that the client sends, without waiting for
// "100 Continue", as the client does not either.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "tarvex/platform/codepage.h"
#include "tarvex/service/projectserviceapi.h"
#include "tarvex/streams/base64.h"
#include "tarvex/streams/bytebuffer.h"
#include "tests/service/testserver.h"

namespace fs = std::filesystem;
using testing_service::Reply;
using testing_service::TestServer;

namespace {

std::uint64_t FileSize() {
    const char* mb = std::getenv("TARVEX_BENCH_MB");
    return (mb ? std::strtoull(mb, nullptr, 10) : 100) * 1000 * 1000;
}

// One folder with the file and its base64 text for the whole run.
struct Fixture {
    fs::path dir;
    fs::path file;
    fs::path text;
    Fixture() {
        char pattern[] = "/tmp/tarvex-bench-XXXXXX";
        dir = ::mkdtemp(pattern);
        file = dir / "payload.bin";
        text = dir / "payload.b64";
        std::string bytes(FileSize(), '\0');
        for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = testing_service::GeneratedByte(i);
        std::ofstream(file, std::ios::binary) << bytes;
        std::string encoded(CFastBase64::chromium_base64_encode_length(bytes.size()), '\0');
        encoded.resize(
            CFastBase64::chromium_base64_encode(encoded.data(), bytes.data(), bytes.size()));
        std::ofstream(text, std::ios::binary) << encoded;
    }
    ~Fixture() { fs::remove_all(dir); }
};

Fixture& Files() {
    static Fixture fixture;
    return fixture;
}

CString Wide(const std::string& text) {
    return tarvex::FromUtf8(text);
}

void Curl(const std::string& arguments) {
    const std::string command = "curl -s --noproxy '*' " + arguments + " >/dev/null";
    if (std::system(command.c_str()) != 0) std::abort();
}

void BM_UploadFile_Client(benchmark::State& state) {
    TestServer server;
    server.SetBodyLimit(4096);
    CProjectServiceApi client;
    client.OpenConnection(server.Url16().c_str(), u"", u"", nullptr, nullptr);
    const std::uint64_t parts =
        (fs::file_size(Files().text)) / CProjectServiceApi::kUploadPartChars + 1;
    for (auto _ : state) {
        server.Push(200, "{\"file\":\"created\",\"file_hash\":1}");
        for (std::uint64_t p = 0; p <= parts; ++p) server.Push(200, "");
        if (client.UploadFile(Wide(Files().file.string()), 0) != 1) state.SkipWithError("upload");
    }
    state.SetBytesProcessed(state.iterations() * FileSize());
}

void BM_UploadFile_CurlCommand(benchmark::State& state) {
    TestServer server;
    server.SetBodyLimit(4096);
    for (auto _ : state) {
        server.Push(200, "");
        Curl("-H 'Expect:' --data-binary @" + Files().text.string() + " " +
             server.Url("/files/upload"));
    }
    state.SetBytesProcessed(state.iterations() * FileSize());
}

void BM_DownloadFile_ClientToPath(benchmark::State& state) {
    TestServer server;
    CProjectServiceApi client;
    client.OpenConnection(server.Url16().c_str(), u"", u"", nullptr, nullptr);
    const fs::path out = Files().dir / "download.bin";
    Reply reply;
    reply.generatedSize = FileSize();
    for (auto _ : state) {
        server.Push(reply);
        if (!client.DownloadFile(1, Wide(out.string()))) state.SkipWithError("download");
    }
    state.SetBytesProcessed(state.iterations() * FileSize());
}

void BM_DownloadFile_ClientToBuffer(benchmark::State& state) {
    TestServer server;
    CProjectServiceApi client;
    client.OpenConnection(server.Url16().c_str(), u"", u"", nullptr, nullptr);
    Reply reply;
    reply.generatedSize = FileSize();
    for (auto _ : state) {
        server.Push(reply);
        CTXByteBuffer buffer;
        if (!client.DownloadFile(1, buffer)) state.SkipWithError("download");
        benchmark::DoNotOptimize(buffer.AsVector());
    }
    state.SetBytesProcessed(state.iterations() * FileSize());
}

void BM_DownloadFile_CurlCommand(benchmark::State& state) {
    TestServer server;
    const fs::path out = Files().dir / "download-curl.bin";
    Reply reply;
    reply.generatedSize = FileSize();
    for (auto _ : state) {
        server.Push(reply);
        Curl("-d '{\"file_hash\":1}' -o " + out.string() + " " + server.Url("/files/download"));
    }
    state.SetBytesProcessed(state.iterations() * FileSize());
}

} // namespace

BENCHMARK(BM_UploadFile_Client)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);
BENCHMARK(BM_UploadFile_CurlCommand)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);
BENCHMARK(BM_DownloadFile_ClientToPath)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Iterations(3);
BENCHMARK(BM_DownloadFile_ClientToBuffer)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Iterations(3);
BENCHMARK(BM_DownloadFile_CurlCommand)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);
