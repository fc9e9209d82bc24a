// Scratch files for the forms fuzz targets, whose readers take paths.
#pragma once
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "tarvex/platform/codepage.h"

namespace FuzzFiles {

// One private folder per process.
// The name lives in a plain array, so the clean-up at exit does not depend
// on the order in which static strings are destroyed.
inline char made[] = "/tmp/tarvex-fuzz-forms-XXXXXX";

inline const std::string& Folder() {
    static const std::string folder = [] {
        if (::mkdtemp(made) == nullptr) std::abort();
        std::atexit([] {
            std::error_code ignored;
            std::filesystem::remove_all(made, ignored);
        });
        return std::string(made);
    }();
    return folder;
}

// Writes the bytes to `name` in the folder and answers its path.
inline CString Write(const char* name, const std::uint8_t* data, std::size_t size) {
    const std::string path = Folder() + "/" + name;
    std::ofstream(path, std::ios::binary | std::ios::trunc)
        .write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
    return tarvex::FromUtf8(path);
}

inline CString Path(const char* name) {
    return tarvex::FromUtf8(Folder() + "/" + name);
}

} // namespace FuzzFiles
