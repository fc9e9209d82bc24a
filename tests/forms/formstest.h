// Shared helpers of the forms tests: a scratch folder per test and file
// access by narrow paths.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "tarvex/platform/codepage.h"

inline CString W(const std::string& text) {
    return tarvex::FromUtf8(text);
}
inline std::string N(const CString& text) {
    return tarvex::ToUtf8(text.View());
}

inline void WriteFile(const std::string& path, const std::string& bytes) {
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::ofstream(path, std::ios::binary) << bytes;
}

inline std::string ReadFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

class ScratchTest : public ::testing::Test {
protected:
    void SetUp() override {
        char pattern[] = "/tmp/tarvex-forms-XXXXXX";
        tmp = mkdtemp(pattern);
    }
    void TearDown() override { std::filesystem::remove_all(tmp); }

    std::string tmp;
};
