#include <string>

#include "tarvex/core/paths.h"
#include "tarvex/forms/translator.h"
#include "tarvex/platform/resources.h"
#include "tests/forms/formstest.h"

namespace {

// UTF-16LE with a byte order mark.
std::string Utf16(const std::u16string& text) {
    std::string bytes("\xFF\xFE", 2);
    for (char16_t ch : text) {
        bytes.push_back(static_cast<char>(ch & 0xFF));
        bytes.push_back(static_cast<char>(ch >> 8));
    }
    return bytes;
}

const std::u16string kFile = u"[B]\r\nru=Бэ\r\nen=Bee\r\n"
                             u"[A]\r\n  ru=А\\nБ\\tВ  \r\nen=A\r\nRU=no\r\na=b\r\n\r\n"
                             u"[]\r\nru=empty key\r\n[\r\nxx=\r\n";

class TranslatorTest : public ScratchTest {
protected:
    std::string Localisation(const std::u16string& text) {
        const std::string path = tmp + "/loc.txt";
        WriteFile(path, Utf16(text));
        return path;
    }
};

TEST_F(TranslatorTest, TakesOnlyTheChosenLanguageSorted) {
    const std::string path = Localisation(kFile);
    CLanguageTranslator ru(u"", u"");
    ASSERT_EQ(ru.LoadLocalizationFile(W(path), u"ru"), 0);
    ASSERT_EQ(ru.GetCount(), 3);
    EXPECT_EQ(ru.GetEntry(0)->m_Key, CString(u""));
    EXPECT_EQ(ru.GetEntry(1)->m_Key, CString(u"A"));
    EXPECT_EQ(ru.GetEntry(2)->m_Key, CString(u"B"));
    EXPECT_EQ(CString(ru.GetLocalizedString(u"A", u"d")), CString(u"А\nБ\tВ"));
    EXPECT_EQ(CString(ru.GetLocalizedString(u"B", u"d")), CString(u"Бэ"));
    EXPECT_EQ(ru.GetLoadedLanguage(), CString(u"ru"));
    EXPECT_EQ(ru.GetLoadedFile(), W(path));
    const char16_t* def = u"default";
    EXPECT_EQ(ru.GetLocalizedString(u"C", def), def);

    CLanguageTranslator en(u"", u"");
    ASSERT_EQ(en.LoadLocalizationFile(W(path), u"en"), 0);
    ASSERT_EQ(en.GetCount(), 2);
    EXPECT_EQ(CString(en.GetLocalizedString(u"A", u"d")), CString(u"A"));
    EXPECT_EQ(CString(en.GetLocalizedString(u"B", u"d")), CString(u"Bee"));

    // "a=b" has its sign too early; "xx=" is long enough, with an empty
    // text, under the empty key of a lone "[".
    CLanguageTranslator other(u"", u"");
    ASSERT_EQ(other.LoadLocalizationFile(W(path), u"a"), 0);
    EXPECT_EQ(other.GetCount(), 0);
    ASSERT_EQ(other.LoadLocalizationFile(W(path), u"xx"), 0);
    ASSERT_EQ(other.GetCount(), 1);
    EXPECT_TRUE(other.GetEntry(0)->m_Key.IsEmpty());
    EXPECT_TRUE(other.GetEntry(0)->m_Value.IsEmpty());
}

TEST_F(TranslatorTest, SecondLoadThrowsOnlyWhenTheTableIsFilled) {
    const std::string path = Localisation(kFile);
    CLanguageTranslator translator(u"", u"");
    const char16_t* def = u"x";
    EXPECT_EQ(translator.GetLocalizedString(u"A", def), def);
    EXPECT_EQ(translator.LoadLocalizationFile(W(path), u"de"), 0);
    EXPECT_EQ(translator.LoadLocalizationFile(W(path), u"ru"), 0);
    try {
        translator.LoadLocalizationFile(W(path), u"en");
        FAIL() << "a second table must be refused";
    } catch (const CString& text) {
        EXPECT_EQ(text, CString(u"Can't load another translation file! Need to reload the "
                                u"application"));
    }
    CLanguageTranslator fresh(u"", u"");
    EXPECT_LT(fresh.LoadLocalizationFile(W(tmp + "/none"), u"ru"), 0);
}

TEST_F(TranslatorTest, OddAndTinyFilesAreHarmless) {
    for (const std::string& bytes : {std::string(), std::string("\xFF"), std::string("\xFF\xFE["),
                                     std::string("\xFF\xFE[\0", 4)}) {
        WriteFile(tmp + "/odd.txt", bytes);
        CLanguageTranslator translator(u"", u"");
        EXPECT_EQ(translator.LoadLocalizationFile(W(tmp + "/odd.txt"), u"ru"), 0);
        EXPECT_EQ(translator.GetCount(), 0);
    }
}

class Counter : public CTXRuntimeStateReactor {
public:
    void OnLoadComplete() override { ++calls; }
    int calls = 0;
};

TEST_F(TranslatorTest, UnregistersWhenDestroyed) {
    Counter after;
    {
        CLanguageTranslator first(u"", u"");
        CLanguageTranslator::RegisterReactor(&after);
    }
    // Firing would reach freed objects if either translator stayed.
    CTXRuntimeStateReactor::FireLoadComplete();
    EXPECT_EQ(after.calls, 1);
    CTXRuntimeStateReactor::UnregisterReactor(&after);
}

// Settings under <tmp>/data; no installation templates.
class TranslatorConfigTest : public TranslatorTest {
protected:
    void SetUp() override {
        TranslatorTest::SetUp();
        const char* data = std::getenv("XDG_DATA_HOME");
        hadData = data != nullptr;
        savedData = data ? data : "";
        setenv("XDG_DATA_HOME", (tmp + "/data").c_str(), 1);
        std::filesystem::create_directories(tmp + "/inst/Bin/lib");
        tarvex::SetModulePathForTesting(W(tmp + "/inst/Bin/lib/libtarvex.so"));
        ResetSettingsPath();
        char16_t folder[1024];
        ASSERT_TRUE(GetSettingsPath(folder, u"", 1024));
        settings = N(folder);
    }
    void TearDown() override {
        tarvex::SetModulePathForTesting(nullptr);
        ResetSettingsPath();
        hadData ? setenv("XDG_DATA_HOME", savedData.c_str(), 1) : unsetenv("XDG_DATA_HOME");
        TranslatorTest::TearDown();
    }
    std::string settings, savedData;
    bool hadData = false;
};

TEST_F(TranslatorConfigTest, LoadCompleteReadsTheLanguageFromTheConfiguration) {
    WriteFile(settings + "/lang.xml", "<?xml version=\"1.0\"?><Language> en </Language>");
    WriteFile(settings + "/loc.txt", Utf16(kFile));
    CLanguageTranslator translator(u"lang.xml", u"loc.txt");
    CTXRuntimeStateReactor::FireLoadComplete();
    EXPECT_EQ(translator.GetLoadedLanguage(), CString(u"en"));
    EXPECT_EQ(CString(translator.GetLocalizedString(u"B", u"d")), CString(u"Bee"));

    CLanguageTranslator missing(u"lang.xml", u"absent.txt");
    EXPECT_EQ(missing.LoadFromConfig(u"lang.xml", u"absent.txt"), 1);
    EXPECT_EQ(missing.LoadFromConfig(u"absent.xml", u"loc.txt"), 1);
    // A configuration that is not one language code loads nothing.
    for (const char* text :
         {"<?xml version=\"1.0\"?><L></L>", "<?xml version=\"1.0\"?><L> </L>", "not xml"}) {
        WriteFile(settings + "/bad.xml", text);
        EXPECT_EQ(missing.LoadFromConfig(u"bad.xml", u"loc.txt"), 1) << text;
        EXPECT_EQ(missing.GetCount(), 0);
    }
}

TEST(LanguageId, StringsFallBackToEnglish) {
    static const tarvex::ResourceString table[] = {
        {64001, kLangEnglish, u"Hello"},
        {64001, kLangRussian, u"Привет"},
        {64002, kLangEnglish, u"Only English"},
    };
    tarvex::RegisterResourceStrings(table, 3);
    const LANGID saved = GetLangID();
    SetLangID(kLangRussian);
    EXPECT_EQ(GetStringLang(nullptr, 64001), CString(u"Привет"));
    EXPECT_EQ(GetStringLang(nullptr, 64002), CString(u"Only English"));
    CString out(u"kept");
    EXPECT_EQ(GetStringLang(out, nullptr, 64999), 0);
    char16_t buffer[4];
    EXPECT_EQ(LoadStringLang(nullptr, kLangEnglish, 64001, buffer, 4), 3);
    EXPECT_EQ(CString(buffer), CString(u"Hel"));
    SetLangID(saved);
}

} // namespace
