// Arbitrary bytes as a localisation file, read for two languages; the table
// must come out sorted and every key must be found again.
#include <cstdlib>

#include "fuzz/fuzz_forms_internal.h"
#include "tarvex/forms/translator.h"

namespace {

void Check(const CString& path, const char16_t* language) {
    CLanguageTranslator translator(u"", u"");
    if (translator.LoadLocalizationFile(path, language) != 0) return;
    for (int64_t i = 1; i < translator.GetCount(); ++i)
        if (translator.GetEntry(i)->m_Key < translator.GetEntry(i - 1)->m_Key) std::abort();
    const char16_t* def = u"";
    for (int64_t i = 0; i < translator.GetCount(); ++i)
        if (translator.GetLocalizedString(translator.GetEntry(i)->m_Key, def) == def) std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size > (1u << 16)) return 0;
    const CString path = FuzzFiles::Write("loc.txt", data, size);
    Check(path, u"ru");
    Check(path, u"en");
    return 0;
}
