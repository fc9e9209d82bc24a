// Runs every file of a fuzz target's corpus through LLVMFuzzerTestOneInput,
// without libFuzzer, so ordinary and sanitizer builds replay what fuzzing
// once found. Arguments are files or folders; folders are read recursively.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
extern "C" __attribute__((weak)) int LLVMFuzzerInitialize(int* argc, char*** argv);

namespace {

bool Replay(const std::filesystem::path& file) {
    std::ifstream in(file, std::ios::binary);
    if (!in) {
        std::fprintf(stderr, "cannot read %s\n", file.c_str());
        return false;
    }
    std::vector<char> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    // A copy of exactly the file's size, so that reading past the end is seen
    // by AddressSanitizer as it would be under libFuzzer.
    std::vector<std::uint8_t> input(bytes.begin(), bytes.end());
    LLVMFuzzerTestOneInput(input.empty() ? nullptr : input.data(), input.size());
    return true;
}

} // namespace

int main(int argc, char** argv) {
    if (LLVMFuzzerInitialize) LLVMFuzzerInitialize(&argc, &argv);
    std::vector<std::filesystem::path> files;
    for (int i = 1; i < argc; ++i) {
        std::filesystem::path arg(argv[i]);
        if (std::filesystem::is_directory(arg)) {
            for (const auto& entry : std::filesystem::recursive_directory_iterator(arg))
                if (entry.is_regular_file()) files.push_back(entry.path());
        } else {
            files.push_back(arg);
        }
    }
    std::sort(files.begin(), files.end());
    if (files.empty()) {
        std::fprintf(stderr, "no corpus files given\n");
        return 1;
    }
    std::size_t failed = 0;
    for (const auto& file : files) failed += Replay(file) ? 0 : 1;
    std::printf("replayed %zu inputs\n", files.size() - failed);
    return failed == 0 ? 0 : 1;
}
