// Scratch folders, files and outside tools for the zip tests.
#pragma once

#include <stdlib.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "tarvex/platform/codepage.h"
#include "tarvex/platform/cstring.h"

namespace zip_test {

class ScratchDir {
public:
    ScratchDir() {
        std::string pattern =
            (std::filesystem::temp_directory_path() / "tarvex_zip_XXXXXX").string();
        path = ::mkdtemp(pattern.data()) ? pattern : std::string();
    }
    ~ScratchDir() { std::filesystem::remove_all(path); }
    std::string operator/(const std::string& name) const { return path + "/" + name; }
    std::string path;
};

inline CString Wide(const std::string& utf8) {
    return tarvex::FromUtf8(utf8);
}

inline void WriteBytes(const std::string& path, const std::string& bytes) {
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::ofstream(path, std::ios::binary) << bytes;
}

inline std::string ReadBytes(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// Runs a shell command; answers its exit status and fills `output`.
inline int Shell(const std::string& command, std::string* output = nullptr) {
    // Tools print names by the locale: pin one that shows UTF-8 as it is.
    FILE* pipe = ::popen(("export LC_ALL=C.UTF-8; " + command + " 2>&1").c_str(), "r");
    if (!pipe) return -1;
    std::string text;
    char buffer[4096];
    while (std::size_t n = std::fread(buffer, 1, sizeof buffer, pipe)) text.append(buffer, n);
    const int status = ::pclose(pipe);
    if (output) *output = text;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

} // namespace zip_test
