// Shared checks for the element document tests: a full tree comparison
// (the element's own IsEqualTo skips ids, uids, tags and comments) and file
// helpers.
#pragma once
#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "tarvex/element/element.h"
#include "tarvex/platform/codepage.h"

namespace elementdocs_test {

inline std::string Utf8(const char16_t* text) {
    return tarvex::ToUtf8(text != nullptr ? std::u16string_view(text) : std::u16string_view());
}

#define EXPECT_STREQ16(actual, expected) EXPECT_EQ(Utf8(actual), Utf8(expected))

// Names, ids, uids, tags, all four parameter texts and child order.
inline void ExpectSameTree(const CElement& a, const CElement& b) {
    std::vector<std::pair<const CElement*, const CElement*>> pending{{&a, &b}};
    while (!pending.empty()) {
        auto [x, y] = pending.back();
        pending.pop_back();
        ASSERT_EQ(Utf8(x->GetName()), Utf8(y->GetName()));
        const std::string where = Utf8(x->GetName());
        ASSERT_EQ(x->GetId(), y->GetId()) << where;
        ASSERT_EQ(x->GetModelUID(), y->GetModelUID()) << where;
        ASSERT_EQ(x->GetTagsCount(), y->GetTagsCount()) << where;
        for (int32_t i = 0; i < x->GetTagsCount(); ++i) ASSERT_EQ(x->GetTag(i), y->GetTag(i));
        ASSERT_EQ(x->GetParamsCount(), y->GetParamsCount()) << where;
        for (int64_t i = 0; i < x->GetParamsCount(); ++i) {
            const CParam* p = x->GetParams()[i];
            const CParam* q = y->GetParams()[i];
            ASSERT_EQ(p->getName(), q->getName()) << where;
            ASSERT_EQ(p->getstrValue(), q->getstrValue()) << where;
            ASSERT_EQ(p->getComment(), q->getComment()) << where;
            ASSERT_EQ(p->getValueComment(), q->getValueComment()) << where;
        }
        ASSERT_EQ(x->GetChildCount(), y->GetChildCount()) << where;
        for (int64_t i = x->GetChildCount() - 1; i >= 0; --i) {
            ASSERT_EQ(y->GetChild(i)->GetParent(), y);
            ASSERT_EQ(y->GetChild(i)->GetRoot(), y->GetRoot());
            pending.emplace_back(x->GetChild(i), y->GetChild(i));
        }
    }
}

inline std::string ReadBytes(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

inline void WriteBytes(const std::string& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
}

inline int RunStatus(const std::string& command) {
    const int status = std::system(command.c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// The examples folder, found from this file's path or, when the build made
// that path relative, from the working directory upwards.
inline std::string ExamplePath(const char* name) {
    namespace fs = std::filesystem;
    fs::path here = fs::path(__FILE__).parent_path();
    fs::path candidate = here / ".." / ".." / "examples" / name;
    if (fs::exists(candidate)) return candidate.string();
    for (fs::path dir = fs::current_path(); !dir.empty(); dir = dir.parent_path()) {
        if (fs::exists(dir / "examples" / name)) return (dir / "examples" / name).string();
        if (fs::exists(dir / here / ".." / ".." / "examples" / name))
            return (dir / here / ".." / ".." / "examples" / name).string();
        if (dir == dir.parent_path()) break;
    }
    return {};
}

class TempDir {
public:
    TempDir() {
        std::string pattern =
            (std::filesystem::temp_directory_path() / "tarvex_docs_XXXXXX").string();
        path = ::mkdtemp(pattern.data()) != nullptr ? pattern : std::string();
    }
    ~TempDir() { std::filesystem::remove_all(path); }
    std::string Path(const char* name) const { return path + "/" + name; }
    int Count() const {
        int n = 0;
        for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(path)) ++n;
        return n;
    }

private:
    std::string path;
};

} // namespace elementdocs_test
