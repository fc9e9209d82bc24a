#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <set>

#include "tarvex/platform/clipboard.h"
#include "tarvex/platform/environment.h"
#include "tarvex/platform/module.h"
#include "tarvex/platform/resources.h"
#include "tarvex/platform/uuid.h"
#include "tarvex/platform/wide.h"

TEST(Environment, RoundTripAndSizes) {
    ASSERT_TRUE(SetEnvironmentVariableW(u"TARVEX_TEST_VAR", u"Значение"));
    char16_t small[4];
    EXPECT_EQ(9u, GetEnvironmentVariableW(u"TARVEX_TEST_VAR", small, 4)); // needed, with the null
    char16_t buffer[32];
    EXPECT_EQ(8u, GetEnvironmentVariableW(u"TARVEX_TEST_VAR", buffer, 32));
    EXPECT_EQ(CString(u"Значение"), CString(buffer));
    ASSERT_TRUE(SetEnvironmentVariableW(u"TARVEX_TEST_VAR", nullptr));
    EXPECT_EQ(0u, GetEnvironmentVariableW(u"TARVEX_TEST_VAR", buffer, 32));
    EXPECT_FALSE(SetEnvironmentVariableW(u"A=B", u"x"));
}

TEST(Module, NamesTheLibraryAndTheExecutable) {
    char16_t path[1024];
    DWORD n = GetModuleFileNameW(tarvex::GetLibraryModule(), path, 1024);
    ASSERT_GT(n, 0u);
    // The library's own file when it is shared, the program's when linked in.
    EXPECT_TRUE(wcsstr(path, u"libtarvex") || wcsstr(path, u"tests_platform")) << CString(path);
    EXPECT_EQ(u'/', path[0]);
    n = GetModuleFileNameW(nullptr, path, 1024);
    EXPECT_NE(nullptr, wcsstr(path, u"tests_platform")) << CString(path);
    EXPECT_EQ(3u, GetModuleFileNameW(nullptr, path, 4)); // truncated, still terminated
    EXPECT_EQ(0, path[3]);
}

TEST(Uuid, RandomVersionFour) {
    std::set<std::pair<uint64_t, uint64_t>> seen;
    for (int i = 0; i < 100; ++i) {
        UUID id;
        ASSERT_EQ(RPC_S_OK, UuidCreate(&id));
        EXPECT_EQ(0x4000, id.Data3 & 0xF000);
        EXPECT_EQ(0x80, id.Data4[0] & 0xC0);
        uint64_t a, b;
        std::memcpy(&a, &id, 8);
        std::memcpy(&b, reinterpret_cast<const char*>(&id) + 8, 8);
        seen.insert({a, b});
    }
    EXPECT_EQ(100u, seen.size());
}

TEST(Resources, FallBackToEnglishAndReadTheLanguageFromTheEnvironment) {
    static const tarvex::ResourceString table[] = {
        {900001, kLangEnglish, u"Invalid"},
        {900001, kLangRussian, u"Неверно"},
        {900002, kLangEnglish, u"English only"},
    };
    tarvex::RegisterResourceStrings(table, 3);
    EXPECT_EQ(CString(u"Неверно"), tarvex::LoadResourceString(900001, kLangRussian));
    EXPECT_EQ(CString(u"English only"), tarvex::LoadResourceString(900002, kLangRussian));
    EXPECT_TRUE(tarvex::LoadResourceString(900003, kLangEnglish).IsEmpty());

    const char* saved = std::getenv("LC_ALL");
    std::string keep = saved ? saved : "";
    setenv("LC_ALL", "ru_RU.UTF-8", 1);
    EXPECT_EQ(kLangRussian, GetUserDefaultLangID());
    setenv("LC_ALL", "de_DE.UTF-8", 1);
    EXPECT_EQ(kLangEnglish, GetUserDefaultLangID());
    if (saved)
        setenv("LC_ALL", keep.c_str(), 1);
    else
        unsetenv("LC_ALL");
}

TEST(Clipboard, InProcessUnlessTheHostProvidesOne) {
    ASSERT_TRUE(tarvex::SetClipboardText(u"текст"));
    CString out;
    ASSERT_TRUE(tarvex::GetClipboardText(out));
    EXPECT_EQ(CString(u"текст"), out);

    static CString hostText;
    tarvex::SetClipboardCallbacks(
        [](const char16_t* t) {
            hostText = t;
            return true;
        },
        [](CString& o) {
            o = u"host";
            return true;
        });
    tarvex::SetClipboardText(u"to host");
    tarvex::GetClipboardText(out);
    EXPECT_EQ(CString(u"to host"), hostText);
    EXPECT_EQ(CString(u"host"), out);
    tarvex::SetClipboardCallbacks(nullptr, nullptr);
    tarvex::GetClipboardText(out);
    EXPECT_EQ(CString(u"текст"), out);
}
