#include "tarvex/forms/translator.h"

#include <cerrno>
#include <fcntl.h>
#include <string>
#include <unistd.h>

#include "tarvex/dictionary/dictionaryfiles.h"
#include "tarvex/platform/codepage.h"
#include "tarvex/platform/resources.h"
#include "tarvex/streams/xml/xmlinstream.h"

namespace {

LANGID& LanguageId() {
    static LANGID id = GetUserDefaultLangID();
    return id;
}

// Reads the whole file into `bytes`; 0 or -errno.
int ReadFile(const char16_t* path, std::string& bytes) {
    const std::string narrow = tarvex::ToUtf8(CString(path).View());
    const int fd = ::open(narrow.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) return -errno;
    char chunk[65536];
    for (;;) {
        const ssize_t got = ::read(fd, chunk, sizeof chunk);
        if (got < 0) {
            const int error = errno;
            ::close(fd);
            return -error;
        }
        if (got == 0) break;
        bytes.append(chunk, static_cast<size_t>(got));
    }
    ::close(fd);
    return 0;
}

} // namespace

void SetLangID(LANGID id) {
    LanguageId() = id;
}
LANGID GetLangID() {
    return LanguageId();
}

int LoadStringLang(HMODULE, LANGID language, UINT id, char16_t* buffer, int size) {
    const CString text = tarvex::LoadResourceString(id, language);
    if (text.IsEmpty()) return 0;
    if (buffer == nullptr || size <= 0) return text.GetLength();
    const int length = text.GetLength() < size - 1 ? text.GetLength() : size - 1;
    std::char_traits<char16_t>::copy(buffer, text.GetString(), size_t(length));
    buffer[length] = 0;
    return length;
}

int GetStringLang(CString& out, HMODULE module, UINT id) {
    const int length = LoadStringLang(module, GetLangID(), id, nullptr, 0);
    if (length == 0) return 0;
    char16_t* buffer = out.GetBufferSetLength(length);
    LoadStringLang(module, GetLangID(), id, buffer, length + 1);
    out.ReleaseBuffer(length);
    return 1;
}

CString GetStringLang(HMODULE module, UINT id) {
    CString text;
    if (!GetStringLang(text, module, id)) text.Empty();
    return text;
}

void* LoadResourceLang(HMODULE, const char16_t*, const char16_t*, LANGID) {
    return nullptr;
}
void* LoadIconLang(HMODULE, UINT, UINT, bool) {
    return nullptr;
}

// -------------------------------------------------------- CLanguageTranslator --

CLanguageTranslator::CLanguageTranslator(const char16_t* configurationFile,
                                         const char16_t* localisationFile)
    : configurationFile(configurationFile), localisationFile(localisationFile) {
    RegisterReactor(this);
}

CLanguageTranslator::~CLanguageTranslator() {
    UnregisterReactor(this);
}

void CLanguageTranslator::OnLoadComplete() {
    LoadFromConfig(configurationFile, localisationFile);
}

int CLanguageTranslator::LoadFromConfig(const char16_t* configurationName,
                                        const char16_t* localisationName) {
    const CString configuration = DictionaryFiles::FindFile(u"", configurationName);
    if (configuration.IsEmpty()) return 1;
    const CString localisation = DictionaryFiles::FindFile(u"", localisationName);
    if (localisation.IsEmpty()) return 1;

    CXMLDOMInStream document;
    if (!document.Open(configuration)) return 1;
    CString language;
    // The document element holds the code; anything beside it means the
    // file is not a language choice.
    if (document.ReadParameter(language, nullptr) != CXMLInStream::eReadClose) return 1;
    language.Trim();
    if (language.IsEmpty()) return 1;
    return LoadLocalizationFile(localisation, language);
}

int CLanguageTranslator::LoadLocalizationFile(const char16_t* fileName, const char16_t* language) {
    if (entries.GetLength() > 0)
        throw CString(u"Can't load another translation file! Need to reload the application");
    std::string bytes;
    const int error = ReadFile(fileName, bytes);
    if (error != 0) return error;

    // The first two bytes are the byte order mark; an odd last byte is no
    // character.
    std::u16string text;
    if (bytes.size() > 2) {
        const size_t units = (bytes.size() - 2) / 2;
        text.resize(units);
        for (size_t i = 0; i < units; ++i) {
            const auto lo = static_cast<unsigned char>(bytes[2 + 2 * i]);
            const auto hi = static_cast<unsigned char>(bytes[3 + 2 * i]);
            text[i] = static_cast<char16_t>(lo | hi << 8);
        }
    }
    ParseText(text.data(), text.size(), CString(language));
    loadedFile = fileName;
    loadedLanguage = language;
    return 0;
}

void CLanguageTranslator::ParseText(const char16_t* text, size_t length, const CString& language) {
    CString key;
    size_t start = 0;
    while (start < length) {
        size_t end = start;
        while (end < length && text[end] != u'\n') ++end;
        // Texts are handed out as terminated strings: a line ends at a NUL.
        size_t stop = start;
        while (stop < end && text[stop] != 0) ++stop;
        CString line(text + start, int(stop - start));
        start = end + 1;
        line.Trim();
        const int size = line.GetLength();
        if (size == 0) continue;
        if (line[0] == u'[') {
            key = size >= 2 ? line.Mid(1, size - 2) : CString();
            continue;
        }
        const int sign = line.Find(u'=');
        if (size < 3 || sign < 2) continue;
        if (line.Left(sign).Compare(language) != 0) continue;
        CString translation = line.Mid(sign + 1);
        translation.Replace(u"\\t", u"\t");
        translation.Replace(u"\\r", u"\r");
        translation.Replace(u"\\n", u"\n");
        entries.Add(new Entry(key, translation));
    }
}

const char16_t* CLanguageTranslator::GetLocalizedString(const char16_t* key, const char16_t* def) {
    if (entries.GetLength() == 0) return def;
    search.m_Key = key;
    const int64_t index = entries.Find(search);
    return index >= 0 ? entries[index]->m_Value.GetString() : def;
}
