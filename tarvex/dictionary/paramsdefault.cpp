#include "tarvex/dictionary/paramsdefault.h"

#include "tarvex/core/exceptions.h"
#include "tarvex/core/paths.h"
#include "tarvex/dictionary/paramdefs.h"
#include "tarvex/dictionary/paramsxml_internal.h"
#include "tarvex/dictionary/dictionaryfiles.h"
#include "tarvex/element/paramsowner.h"
#include "tarvex/platform/casemap.h"
#include "tarvex/streams/xml/xmloutstream.h"

namespace {

[[noreturn]] void ThrowNoConnection() {
    throw CKVException(u"Нет соединения с базой данных.", u"");
}

} // namespace

// ---------------------------------------------------------------------------
// The table

int64_t CParamsDefault::Search(const char16_t* name, int64_t& position) const {
    return TarvexDetail::SortedSearch(
        values.GetData(), values.GetLength(), position,
        [name](const CDefaultValue* entry) { return _wcsicmp(name, entry->name); });
}

void CParamsDefault::DoSetDefaultValue(const char16_t* name, const char16_t* value,
                                       const char16_t* comment) {
    int64_t position;
    const int64_t index = Search(name, position);
    if (index >= 0) {
        values[index]->value = value;
        values[index]->comment = comment;
    } else {
        values.InsertAt(position, new CDefaultValue(name, value, comment));
    }
}

void CParamsDefault::SetValue(const char16_t* name, const char16_t* value,
                              const char16_t* comment) {
    DoSetDefaultValue(name, value, comment);
    if (IsConnected()) DbUpdateParam(name, value, comment);
}

void CParamsDefault::RemoveValue(const char16_t* name) {
    int64_t position;
    const int64_t index = Search(name, position);
    if (index >= 0) values.Delete(index);
    if (IsConnected()) DbRemoveParam(name);
}

void CParamsDefault::Add(const CParamsDefault& other) {
    if (&other == this) return;
    for (const CDefaultValue* entry : other.values)
        SetValue(entry->name, entry->value, entry->comment);
}

int64_t CParamsDefault::GetParamIndex(const char16_t* name) const {
    int64_t position;
    return Search(name, position);
}

bool CParamsDefault::GetDefaultValue(int64_t index, CString& name, CString& value,
                                     CString& comment) const {
    if (index < 0 || index >= values.GetLength()) return false;
    name = values[index]->name;
    value = values[index]->value;
    comment = values[index]->comment;
    return true;
}

bool CParamsDefault::GetParamValue(const char16_t* name, CString& value, CString& comment) const {
    const int64_t index = GetParamIndex(name);
    if (index < 0) {
        value.Empty();
        comment.Empty();
        return false;
    }
    value = values[index]->value;
    comment = values[index]->comment;
    return true;
}

// ---------------------------------------------------------------------------
// Owners and the dictionary

void CParamsDefault::CopyInto(CParamsOwner& owner) const {
    owner.DeleteAllParams();
    for (const CDefaultValue* entry : values)
        owner.SetParameter(entry->name, entry->value, u"", entry->comment);
}

void CParamsDefault::Apply(CParamsOwner& owner) const {
    for (const CDefaultValue* entry : values)
        owner.SetParameter(entry->name, entry->value, u"", entry->comment);
}

void CParamsDefault::CopyFrom(const CParamsOwner& owner) {
    values.Flush();
    for (int64_t i = 0; i < owner.GetParamsCount(); ++i) {
        const CParam* param = owner.GetParameter(i);
        values.Add(
            new CDefaultValue(param->getName(), param->getstrValue(), param->getValueComment()));
    }
}

void CParamsDefault::CopyFrom(CParamDefs& defs) {
    values.Flush();
    for (int64_t i = 0, n = defs.GetCount(); i < n; ++i) {
        const CParamDef* def = defs.GetParam(i);
        values.Add(new CDefaultValue(def->GetName(), def->GetDefaultValue(),
                                     def->GetDefaultValueComment()));
    }
}

void CParamsDefault::SetFromParamDefs(CParamDefs& defs) {
    values.Flush();
    for (int64_t i = 0, n = defs.GetCount(); i < n; ++i) {
        const CParamDef* def = defs.GetParam(i);
        DoSetDefaultValue(def->GetName(), def->GetDefaultValue(), def->GetDefaultValueComment());
        if (IsConnected())
            DbUpdateParam(def->GetName(), def->GetDefaultValue(), def->GetDefaultValueComment());
    }
}

// ---------------------------------------------------------------------------
// The database

void CParamsDefault::SetConnection(CDBLink* link, const char16_t* serverName,
                                   const char16_t* databaseName, std::int32_t value,
                                   const char16_t* userName, const char16_t* secret) {
    dbLink = link;
    server = serverName;
    database = databaseName;
    connectionValue = value;
    user = userName;
    password = secret;
}

void CParamsDefault::LoadFromDatabase() {
    if (!IsConnected()) ThrowNoConnection();
    dbLink->LoadDefaults(*this, server);
}

bool CParamsDefault::LoadFromDatabase(CDBLink* link, const char16_t* name) {
    if (link == nullptr || name == nullptr || !link->IsConnected()) return true;
    dbLink = link;
    server = name;
    link->LoadDefaults(*this, name);
    return values.GetLength() > 0;
}

void CParamsDefault::DbUpdateParam(const char16_t* name, const char16_t* value,
                                   const char16_t* comment) {
    if (!IsConnected()) ThrowNoConnection();
    dbLink->UpdateDefault(server, name, value, comment);
}

void CParamsDefault::DbRemoveParam(const char16_t* name) {
    if (!IsConnected()) ThrowNoConnection();
    dbLink->RemoveDefault(server, name);
}

bool CParamsDefault::SaveToDatabase(CDBLink* link, const char16_t* name) const {
    return link != nullptr && link->SaveDefaults(*this, name);
}

// ---------------------------------------------------------------------------
// Files

int CParamsDefault::CDefaultValue::OnXMLTag(CXMLSchemaInStream&, int id, const char16_t*,
                                            const char16_t* text, CXMLAttrs&) {
    if (id == ParamsXml::kDefaultName)
        name = text;
    else if (id == ParamsXml::kDefaultValue)
        value = text;
    else if (id == ParamsXml::kDefaultComment)
        comment = text;
    return 1;
}

int CParamsDefault::OnXMLTag(CXMLSchemaInStream& stream, int id, const char16_t*, const char16_t*,
                             CXMLAttrs&) {
    if (id != ParamsXml::kDefaultsParameter) return 1;
    auto* entry = new CDefaultValue();
    if (stream.GetTagStatus() == CXMLInStream::eReadOpen && !entry->LoadFromXMLStream(stream)) {
        delete entry;
        return 0;
    }
    values.Add(entry);
    return 1;
}

int CParamsDefault::LoadFromFile(const char16_t* path) {
    CXMLSchemaInStream stream(ParamsXml::DefaultsSchema());
    CXMLAttrs attrs;
    if (!stream.Open(path, attrs)) return 0;
    values.Flush();
    return LoadFromXMLStream(stream);
}

int CParamsDefault::LoadFromMemory(const void* data, int length) {
    CXMLSchemaInStream stream(ParamsXml::DefaultsSchema());
    CXMLAttrs attrs;
    if (!stream.Open(data, length, attrs)) return 0;
    values.Flush();
    return LoadFromXMLStream(stream);
}

int CParamsDefault::SaveToFile(const char16_t* path) const {
    try {
        CXMLOutStream stream;
        if (!stream.Create(path)) return 0;
        int ok = stream.BeginTable(u"PARAMETERS");
        for (int64_t i = 0; ok && i < values.GetLength(); ++i) {
            const CDefaultValue* entry = values[i];
            ok = stream.BeginTable(u"PARAMETER") &&
                 stream.WriteParameter(u"NAME", entry->name, 0) &&
                 stream.WriteParameter(u"DEFAULT", entry->value, 0) &&
                 stream.WriteParameter(u"COMMENT", entry->comment, 0) && stream.EndTable();
        }
        if (ok) ok = stream.EndTable();
        // Thrown so that the unwinding drops the temporary file.
        if (!ok) throw CKVException(u"", u"");
        return stream.Close();
    } catch (const CKVException&) {
        return 0;
    }
}

int CParamsDefault::Save() {
    const CString path = DictionaryFiles::SettingsPath(subFolder, fileName, 512);
    return path.IsEmpty() || fileName.IsEmpty() ? 0 : SaveToFile(path);
}

int CParamsDefault::LoadFromSettingsFile(const char16_t* name) {
    char16_t path[260];
    if (!GetSettingsFilePath(path, 260, u"", name, false)) return 0;
    return LoadFromFile(path);
}

int CParamsDefault::SaveToSettingsFile(const char16_t* name) const {
    char16_t path[260];
    if (!GetSettingsFilePath(path, 260, u"", name, true)) return 0;
    return SaveToFile(path);
}

int CParamsDefault::Initialize(const char16_t* file, const char16_t* serverName,
                               const char16_t* databaseName, std::int32_t value,
                               const char16_t* userName, const char16_t* secret, void* bitmap1,
                               void* bitmap2, const char16_t* folder) {
    fileName = file;
    subFolder = folder;
    bitmaps[0] = bitmap1;
    bitmaps[1] = bitmap2;
    CParamDefs* defs = nullptr;
    GetGlobalParamDefs(defs, false);
    if (defs != nullptr && defs->GetDBLink() != nullptr && serverName != nullptr &&
        *serverName != 0) {
        SetConnection(defs->GetDBLink(), serverName, databaseName, value, userName, secret);
        // A database that fails leaves the files to answer.
        try {
            LoadFromDatabase();
        } catch (...) {
        }
        if (values.GetLength() > 0) return 1;
    }
    const CString path = DictionaryFiles::FindFile(subFolder, fileName);
    return path.IsEmpty() ? 0 : LoadFromFile(path);
}

// ---------------------------------------------------------------------------
// Renaming the parameters of an owner.

void CParamsOwner::ReplaceParameters(const CParamsDefault& defaults) {
    if (defaults.GetCount() == 0 || m_Params.GetLength() == 0) return;
    // Detach: the working copy takes the pointers, the owner's array forgets
    // them without deleting.
    TArrayTemplate<CParam*> working(m_Params);
    static_cast<TArrayTemplate<CParam*>&>(m_Params).Clear();
    int64_t next = 0;
    try {
        CString newName, comment;
        for (; next < working.GetLength(); ++next) {
            CParam* param = working[next];
            // Looked up by the old name, so renames never chain.
            if (defaults.GetParamValue(param->getName(), newName, comment) && !newName.IsEmpty()) {
                param->setName(newName);
                const int64_t existing = FindParameter(newName);
                if (existing >= 0) m_Params.Delete(existing);
                m_Params.Add(param);
            } else if (FindParameter(param->getName()) >= 0) {
                // A renamed parameter already holds this name.
                delete param;
            } else {
                m_Params.Add(param);
            }
        }
    } catch (...) {
        for (int64_t i = next; i < working.GetLength(); ++i) delete working[i];
        throw;
    }
}
