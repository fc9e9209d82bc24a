// Texts by language: the process's language id with string resources looked
// up in it, and CLanguageTranslator, a table of translations loaded from a
// localisation file once the host has finished loading.
//
// A localisation file is UTF-16LE after a two-byte mark, in blocks:
//   [key]
//   ru=текст
//   en=text
// Only the lines of the configured language enter the table; "\t", "\r"
// and "\n" in them become the control characters.
#pragma once
#include <cstdint>

#include "tarvex/core/indexrecord.h"
#include "tarvex/core/reactor.h"
#include "tarvex/core/sortedarray.h"
#include "tarvex/platform/cstring.h"
#include "tarvex/platform/module.h"
#include "tarvex/platform/types.h"

void SetLangID(LANGID id);
LANGID GetLangID();

// The string `id` of `module`'s table in `language` (0: the user's), falling
// back to English, copied into `buffer` (truncated to size - 1 and
// terminated). Its length, or 0 when absent. All modules share the process's
// one table here.
int LoadStringLang(HMODULE module, LANGID language, UINT id, char16_t* buffer, int size);
// The same in the language of SetLangID. 1 or 0.
int GetStringLang(CString& out, HMODULE module, UINT id);
CString GetStringLang(HMODULE module, UINT id);
// There are no binary resources in this build: both answer null.
void* LoadResourceLang(HMODULE module, const char16_t* name, const char16_t* type, LANGID language);
void* LoadIconLang(HMODULE module, UINT id, UINT flags, bool shared);

class CLanguageTranslator : public CTXRuntimeStateReactor {
public:
    using Entry = CIndexRecord<CString, CString>;

    // Registers itself as a reactor; the destructor unregisters.
    CLanguageTranslator(const char16_t* configurationFile, const char16_t* localisationFile);
    CLanguageTranslator(const CLanguageTranslator&) = delete;
    CLanguageTranslator& operator=(const CLanguageTranslator&) = delete;
    ~CLanguageTranslator() override;

    void OnLoadComplete() override;
    void OnStartUnload() override {}

    // 0 on success; 1 when a file is missing or the configuration names no
    // language; otherwise LoadLocalizationFile's answer.
    int LoadFromConfig(const char16_t* configurationFile, const char16_t* localisationFile);
    // 0, or -errno when the file cannot be read. Throws CString when the
    // table already holds entries: one translation per process life.
    int LoadLocalizationFile(const char16_t* fileName, const char16_t* language);
    // The translation, or `def` itself on a miss. Not for concurrent callers.
    const char16_t* GetLocalizedString(const char16_t* key, const char16_t* def);

    int64_t GetCount() const { return entries.GetLength(); }
    const Entry* GetEntry(int64_t index) const { return entries[index]; }
    const CString& GetLoadedFile() const { return loadedFile; }
    const CString& GetLoadedLanguage() const { return loadedLanguage; }

private:
    void ParseText(const char16_t* text, size_t length, const CString& language);

    CSortedIndirectArray<Entry> entries{200, 200, true, -8};
    Entry search;
    CString loadedFile;
    CString loadedLanguage;
    CString configurationFile;
    CString localisationFile;
};
