#include "tarvex/platform/resources.h"

#include <cstdlib>
#include <cstring>
#include <mutex>
#include <vector>

LANGID GetUserDefaultLangID() noexcept {
    for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
        const char* value = std::getenv(name);
        if (value && *value) return std::strncmp(value, "ru", 2) == 0 ? kLangRussian : kLangEnglish;
    }
    return kLangEnglish;
}

namespace tarvex {

namespace {

struct Tables {
    std::mutex mutex;
    std::vector<std::pair<const ResourceString*, size_t>> list;
};

Tables& AllTables() {
    static Tables tables;
    return tables;
}

const char16_t* Lookup(UINT id, LANGID language) {
    Tables& tables = AllTables();
    std::lock_guard<std::mutex> lock(tables.mutex);
    for (auto [table, count] : tables.list)
        for (size_t i = 0; i < count; ++i)
            if (table[i].id == id && table[i].language == language) return table[i].text;
    return nullptr;
}

} // namespace

void RegisterResourceStrings(const ResourceString* table, size_t count) {
    Tables& tables = AllTables();
    std::lock_guard<std::mutex> lock(tables.mutex);
    tables.list.emplace_back(table, count);
}

CString LoadResourceString(UINT id, LANGID language) {
    if (language == 0) language = GetUserDefaultLangID();
    const char16_t* text = Lookup(id, language);
    if (!text && language != kLangEnglish) text = Lookup(id, kLangEnglish);
    return CString(text);
}

} // namespace tarvex
