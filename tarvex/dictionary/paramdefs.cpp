#include "tarvex/dictionary/paramdefs.h"

#include <atomic>
#include <mutex>

#include "tarvex/core/exceptions.h"
#include "tarvex/dictionary/paramsxml_internal.h"
#include "tarvex/dictionary/dictionaryfiles.h"
#include "tarvex/element/param.h"
#include "tarvex/platform/casemap.h"
#include "tarvex/platform/wide.h"

namespace {
constexpr const char16_t* kDefaultFileName = u"params.xml";
}

CParamDefs::CParamDefs()
    : fileName(kDefaultFileName), parameters(32, 128, true, -8), notFound(32, 32, true, -8) {}

// ---------------------------------------------------------------------------
// Lookup

int64_t CParamDefs::Search(const char16_t* name, int64_t& position) const {
    // The same fold as CParamDef's operators, without a temporary definition.
    return TarvexDetail::SortedSearch(
        parameters.GetData(), parameters.GetLength(), position,
        [name](const CParamDef* def) { return _wcsicmp(name, def->GetName()); });
}

CParamDef* CParamDefs::GetParam(const char16_t* name) {
    int64_t position;
    const int64_t index = Search(name, position);
    if (index >= 0) return parameters[index];
    return lazy ? TryGetParamDefFromDB(name) : nullptr;
}

CParamDef* CParamDefs::GetParam(int64_t index) {
    if (index < 0) return nullptr;
    AssertLoadComplete();
    return index < parameters.GetLength() ? parameters[index] : nullptr;
}

CParamDef* CParamDefs::GetParamBySubStr(const char16_t* prefix) {
    AssertLoadComplete();
    if (prefix == nullptr) prefix = u"";
    const size_t length = wcslen(prefix);
    int64_t position;
    int64_t hit = TarvexDetail::SortedSearch(parameters.GetData(), parameters.GetLength(), position,
                                             [prefix, length](const CParamDef* def) {
                                                 return _wcsnicmp(prefix, def->GetName(), length);
                                             });
    if (hit < 0) return nullptr;
    const char16_t* left = parameters[hit]->GetName();
    while (hit > 0 && wcsncmp(parameters[hit - 1]->GetName(), left, length) == 0) --hit;
    return parameters[hit];
}

int64_t CParamDefs::GetParamIndex(const char16_t* name) {
    AssertLoadComplete();
    int64_t position;
    return Search(name, position);
}

int64_t CParamDefs::GetCount() {
    AssertLoadComplete();
    return parameters.GetLength();
}

// ---------------------------------------------------------------------------
// Editing

CParamDef* CParamDefs::AddParam(const char16_t* name, const char16_t* comment) {
    int64_t position;
    const int64_t index = Search(name, position);
    if (index >= 0) return parameters[index];
    auto* def = new CParamDef(name, comment, ParamDefTypeList, false, -1, 0, -1, 1);
    parameters.InsertAt(position, def);
    return def;
}

CParamDef* CParamDefs::AddParamCopy(const CParamDef& def, bool checkExisting) {
    if (checkExisting) {
        int64_t position;
        const int64_t index = Search(def.GetName(), position);
        if (index >= 0) return parameters[index];
    }
    auto* copy = new CParamDef(def);
    parameters.Add(copy);
    if (IsConnected() && editParameters) dbLink->UpdateParamDef(*copy);
    return copy;
}

void CParamDefs::AddParamsCopy(CParamDefs& other) {
    for (int64_t i = 0, n = other.GetCount(); i < n; ++i) {
        const CParamDef* def = other.parameters[i];
        int64_t position;
        if (Search(def->GetName(), position) >= 0) continue;
        auto* copy = new CParamDef(*def);
        parameters.InsertAt(position, copy);
        if (IsConnected() && editParameters) dbLink->UpdateParamDef(*copy);
    }
}

bool CParamDefs::RemoveParam(const char16_t* name) {
    int64_t position;
    const int64_t index = Search(name, position);
    if (index < 0) return false;
    parameters.Delete(index);
    return true;
}

bool CParamDefs::AddValue(const char16_t* paramName, const char16_t* data, const char16_t* comment,
                          bool unique) {
    CParamDef* def = GetParam(paramName);
    if (def == nullptr) return false;
    def->AddValue(data, comment, unique);
    return true;
}

void CParamDefs::Clear() {
    parameters.Flush();
    measurements.Clear();
}

void CParamDefs::DbClear() {
    Clear();
    if (IsConnected()) dbLink->ClearParamDefs();
}

void CParamDefs::GetParamData(const CParam& param, CParamDef& def) {
    if (const CParamDef* known = GetParam(param.getName())) {
        def.CopyFrom(*known);
    } else {
        def.SetName(param.getName());
        def.SetComment(param.getComment());
    }
    def.SetDefaultValue(param.getstrValue().GetString());
    def.SetDefaultValueComment(param.getValueComment());
}

bool CParamDefs::MakeCorrectIdentifier(CString& text, const char16_t* forbidden) {
    bool changed = false;
    for (int i = 0; i < text.GetLength(); ++i) {
        const char16_t ch = text[i];
        if (ch < 32 || (forbidden != nullptr && wcschr(forbidden, ch) != nullptr)) {
            text.SetAt(i, u'_');
            changed = true;
        }
    }
    return changed;
}

bool CParamDefs::MakeCorrectParamName(CString& text) {
    return MakeCorrectIdentifier(text, u"'\"@$&*()[]{}.,:;?/\\<>| ");
}

bool CParamDefs::MakeCorrectFileName(CString& text) {
    return MakeCorrectIdentifier(text, u"\\/:*?\"<>|");
}

// ---------------------------------------------------------------------------
// The database

void CParamDefs::AssertLoadComplete() {
    if (lazy && IsConnected()) {
        lazy = false;
        DoLoadFromDatabase();
    }
}

void CParamDefs::DoLoadFromDatabase() {
    Clear();
    dbLink->GetEditFlags(editParameters, editCategories);
    if (!lazy) {
        dbLink->LoadParamDefs(*this);
        loaded = true;
    }
}

CParamDef* CParamDefs::TryGetParamDefFromDB(const char16_t* name) {
    if (!IsConnected()) return nullptr;
    CString upper(name);
    upper.MakeUpper();
    if (notFound.Find(upper) >= 0) return nullptr;
    CParamDef* def = dbLink->LoadParamDef(name);
    if (def == nullptr) {
        notFound.Add(new CString(upper));
        return nullptr;
    }
    parameters.Add(def);
    return def;
}

bool CParamDefs::UpdateParam(const CParamDef& def) {
    return IsConnected() && dbLink->UpdateParamDef(def);
}

bool CParamDefs::DbDeleteParam(const char16_t* name) {
    return IsConnected() && dbLink->DeleteParamDef(name);
}

bool CParamDefs::DeleteParam(const char16_t* name) {
    const bool removed = RemoveParam(name);
    return DbDeleteParam(name) || removed;
}

bool CParamDefs::IsParamInDatabase(const char16_t* name) {
    return IsConnected() && dbLink->IsParamInDatabase(name);
}

bool CParamDefs::UpdateCategories() {
    return IsConnected() && dbLink->UpdateCategories(*this);
}

bool CParamDefs::UpdateCategory(const char16_t* paramName, const CParamCategory& category) {
    return IsConnected() && dbLink->UpdateCategory(paramName, category);
}

bool CParamDefs::AddDbParamCategory(const char16_t* paramName, const CParamCategory& category) {
    return IsConnected() && dbLink->AddParamCategory(paramName, category);
}

bool CParamDefs::CleanDbParamValues(const char16_t* paramName) {
    return IsConnected() && dbLink->CleanParamValues(paramName);
}

bool CParamDefs::AddDbParamValue(const char16_t* paramName, const char16_t* data,
                                 const char16_t* comment) {
    return IsConnected() && dbLink->AddParamValue(paramName, data, comment);
}

bool CParamDefs::DbExport() {
    return IsConnected() && dbLink->ExportParamDefs(*this);
}

// ---------------------------------------------------------------------------
// Loading and saving

int CParamDefs::OnXMLTag(CXMLSchemaInStream& stream, int id, const char16_t*, const char16_t*,
                         CXMLAttrs& attrs) {
    const bool entered = stream.GetTagStatus() == CXMLInStream::eReadOpen;
    if (id == ParamsXml::kRootParameter) {
        auto* def = new CParamDef(u"", u"", ParamDefTypeList, false, -1, 0, -1, 1);
        def->ReadAttrs(attrs);
        if (entered && !def->LoadFromXMLStream(stream)) {
            // A definition that fails to load stops the load.
            delete def;
            return 0;
        }
        parameters.Add(def);
    } else if (id == ParamsXml::kRootMeasurements && entered) {
        return measurements.Load(stream);
    }
    return 1;
}

int CParamDefs::LoadFile(const char16_t* path) {
    CXMLSchemaInStream stream(ParamsXml::DictionarySchema());
    CXMLAttrs attrs;
    return stream.Open(path, attrs) ? LoadOpened(stream) : 0;
}

int CParamDefs::LoadFromMemory(const void* data, int length) {
    CXMLSchemaInStream stream(ParamsXml::DictionarySchema());
    CXMLAttrs attrs;
    return stream.Open(data, length, attrs) ? LoadOpened(stream) : 0;
}

int CParamDefs::LoadOpened(CXMLSchemaInStream& stream) {
    Clear();
    const int result = LoadFromXMLStream(stream);
    measurements.SortMeasureUnits();
    return result;
}

CString CParamDefs::FindFile(const char16_t* name) const {
    return DictionaryFiles::FindFile(u"", name);
}

int CParamDefs::Load() {
    const CString path = FindFile(fileName.IsEmpty() ? kDefaultFileName : fileName.GetString());
    return path.IsEmpty() ? 0 : LoadFile(path);
}

bool CParamDefs::Refresh(const char16_t* name, bool force, bool lazyLoad) {
    if (name == nullptr || *name == 0)
        name = fileName.IsEmpty() ? kDefaultFileName : fileName.GetString();
    if (loaded && !force) return true;
    notFound.Flush();
    if (lazyLoad && !force) return true;
    loaded = false;
    lazy = lazyLoad;
    if (IsConnected()) {
        DoLoadFromDatabase();
        return true;
    }
    const CString path = FindFile(name);
    if (path.IsEmpty()) return false;
    const int result = LoadFile(path);
    lazy = false;
    loaded = result != 0;
    return loaded;
}

int CParamDefs::SaveFile(const char16_t* path) {
    try {
        CXMLOutStream stream;
        if (!stream.Create(path)) return 0;
        int ok = stream.BeginTable(u"PARAMETERS");
        for (int64_t i = 0; ok && i < parameters.GetLength(); ++i) ok = parameters[i]->Save(stream);
        if (ok) ok = measurements.Save(stream);
        if (ok) ok = stream.EndTable();
        // The file stream drops its temporary file when it is destroyed by
        // unwinding, so a half-written document never replaces the old one.
        if (!ok) throw CKVException(u"", u"");
        return stream.Close();
    } catch (const CKVException&) {
        return 0;
    }
}

int CParamDefs::Save() {
    const CString path = DictionaryFiles::SettingsPath(
        u"", fileName.IsEmpty() ? kDefaultFileName : fileName.GetString());
    return path.IsEmpty() ? 0 : SaveFile(path);
}

// ---------------------------------------------------------------------------
// The process-wide instance and its bridge

namespace {

std::mutex& GlobalLock() {
    static std::mutex lock;
    return lock;
}

std::atomic<GetGlobalParamDefsBridge::Callback>& BridgeCallback() {
    static std::atomic<GetGlobalParamDefsBridge::Callback> callback{nullptr};
    return callback;
}

CParamDefs& GlobalInstance() {
    // Built once, on first use, under the language's guarantee for statics.
    static CParamDefs instance;
    return instance;
}

} // namespace

void GetGlobalParamDefsBridge::SetCb(Callback callback) {
    BridgeCallback().store(callback);
}

bool GetGlobalParamDefsBridge::HasCallBack() {
    return BridgeCallback().load() != nullptr;
}

bool GetGlobalParamDefsBridge::Invoke(CParamDefs*& out, bool refresh) {
    const Callback callback = BridgeCallback().load();
    if (callback == nullptr) return false;
    callback(out, refresh);
    return true;
}

void GetGlobalParamDefs(CParamDefs*& out, bool refresh) {
    out = &GlobalInstance();
    if (GetGlobalParamDefsBridge::Invoke(out, refresh)) return;
    if (refresh) {
        std::lock_guard<std::mutex> guard(GlobalLock());
        out->Refresh(u"", true, true);
    }
}
