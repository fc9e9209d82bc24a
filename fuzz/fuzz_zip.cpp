// Arbitrary bytes read as a zip archive, into memory and into a folder. Any
// failure must be a CKVException with the library's texts, and nothing may
// be written outside the extraction folder.
#include <stdlib.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <string>

#include "tarvex/core/exceptions.h"
#include "tarvex/platform/codepage.h"
#include "tarvex/streams/zip/ziphelper.h"

namespace {

struct Scratch {
    Scratch() {
        std::string pattern =
            (std::filesystem::temp_directory_path() / "tarvex_fuzz_zip_XXXXXX").string();
        if (::mkdtemp(pattern.data())) root = pattern;
    }
    ~Scratch() { std::filesystem::remove_all(root); }
    std::string root;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size > (1u << 16)) return 0;
    static Scratch scratch;
    if (scratch.root.empty()) return 0;
    const std::string archive = scratch.root + "/in.zip";
    if (FILE* file = std::fopen(archive.c_str(), "wb")) {
        std::fwrite(data, 1, size, file);
        std::fclose(file);
    }
    const CString path = tarvex::FromUtf8(archive);
    try {
        CIndirectArray<CKVZipHelper::CZipRec> records;
        CKVZipHelper::ExtractZip(path, records);
    } catch (const CKVException&) {
    }
    const std::string folder = scratch.root + "/out/inner";
    std::filesystem::create_directories(scratch.root + "/out");
    try {
        CKVZipHelper::ExtractZipToFolder(path, tarvex::FromUtf8(folder));
    } catch (const CKVException&) {
    }
    // Only the archive and the extraction folder may exist.
    for (const auto& item : std::filesystem::directory_iterator(scratch.root))
        if (item.path() != archive && item.path() != scratch.root + "/out") std::abort();
    for (const auto& item : std::filesystem::directory_iterator(scratch.root + "/out"))
        if (item.path() != folder) std::abort();
    std::filesystem::remove_all(scratch.root + "/out");
    return 0;
}
