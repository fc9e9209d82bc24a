// Shared fixtures of the dictionary tests: a private settings tree and
// installation per test, and a database link that counts its calls.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "tarvex/core/exceptions.h"
#include "tarvex/core/paths.h"
#include "tarvex/dictionary/dblink.h"
#include "tarvex/dictionary/paramdefs.h"
#include "tarvex/platform/codepage.h"

inline CString W(const std::string& text) {
    return tarvex::FromUtf8(text);
}
inline std::string N(const char16_t* text) {
    return tarvex::ToUtf8(text ? std::u16string_view(text) : std::u16string_view());
}

inline void WriteFile(const std::string& path, const std::string& bytes) {
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::ofstream(path, std::ios::binary) << bytes;
}

inline std::string ReadFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

// Settings root <tmp>/data/Velmark/Tarvex; templates in <tmp>/inst/Settings.
class DictionaryFilesTest : public ::testing::Test {
protected:
    void SetUp() override {
        char pattern[] = "/tmp/tarvex-dict-XXXXXX";
        tmp = mkdtemp(pattern);
        const char* data = std::getenv("XDG_DATA_HOME");
        savedData = data ? data : "";
        hadData = data != nullptr;
        setenv("XDG_DATA_HOME", (tmp + "/data").c_str(), 1);
        std::filesystem::create_directories(tmp + "/inst/Bin/lib");
        tarvex::SetModulePathForTesting(W(tmp + "/inst/Bin/lib/libtarvex.so"));
        AppServiceSetApp(u"");
        ResetSettingsPath();
        settingsRoot = tmp + "/data/Velmark/Tarvex";
        templates = tmp + "/inst/Settings";
    }
    void TearDown() override {
        tarvex::SetModulePathForTesting(nullptr);
        ResetSettingsPath();
        hadData ? setenv("XDG_DATA_HOME", savedData.c_str(), 1) : unsetenv("XDG_DATA_HOME");
        std::filesystem::remove_all(tmp);
    }

    std::string tmp, settingsRoot, templates, savedData;
    bool hadData = false;
};

// Serves a fixed set of definitions and counts what it is asked.
class CountingLink : public CDBLink {
public:
    bool IsConnected() const override { return connected; }
    void GetEditFlags(bool& parameters, bool& categories) const override {
        parameters = false;
        categories = true;
    }
    bool LoadParamDefs(CParamDefs& defs) override {
        ++loadAll;
        for (const char16_t* name : {u"Length", u"Mass"}) defs.AddParam(name, u"from db");
        return true;
    }
    CParamDef* LoadParamDef(const char16_t* name) override {
        ++loadOne;
        if (CString(name).CompareNoCase(u"Width") == 0) return new CParamDef(name, u"from db");
        return nullptr;
    }
    bool UpdateParamDef(const CParamDef&) override { return ++updates, true; }
    bool LoadDefaults(CParamsDefault& table, const char16_t* name) override;
    bool UpdateDefault(const char16_t*, const char16_t*, const char16_t*,
                       const char16_t*) override {
        return ++updates, true;
    }
    bool RemoveDefault(const char16_t*, const char16_t*) override { return ++removes, true; }

    bool connected = true;
    bool failDefaults = false;
    int loadAll = 0, loadOne = 0, updates = 0, removes = 0;
};
