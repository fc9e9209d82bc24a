#include "tarvex/dictionary/dictionaryfiles.h"

#include "tarvex/core/paths.h"

namespace DictionaryFiles {
namespace {

constexpr DWORD kBuffer = 1024;

CString TemplateFile(const char16_t* subFolder, const char16_t* name) {
    char16_t found[kBuffer];
    if (!GetTemplateSettingsFilePath(found, kBuffer, subFolder, name)) return CString();
    return CString(found);
}

} // namespace

CString SettingsPath(const char16_t* subFolder, const char16_t* name, int limit) {
    char16_t folder[kBuffer];
    if (!GetSettingsPath(folder, subFolder, kBuffer)) return CString();
    CString path(folder);
    if (!path.IsEmpty() && path[path.GetLength() - 1] != u'/') path += u'/';
    path += name;
    if (path.GetLength() >= limit) return CString();
    return path;
}

CString FindFile(const char16_t* subFolder, const char16_t* name) {
    if (name == nullptr || *name == 0) return CString();
    // The reverse of the general settings rule: a template is the last
    // resort only on a machine where templates do not win anyway.
    const bool templates = UseSettingsTemplates();
    if (templates) {
        CString found = TemplateFile(subFolder, name);
        if (!found.IsEmpty()) return found;
    }
    CString own = SettingsPath(subFolder, name);
    if (!own.IsEmpty() && CheckFileExists(own)) return own;
    if (!templates) return TemplateFile(subFolder, name);
    return CString();
}

} // namespace DictionaryFiles
