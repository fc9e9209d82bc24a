// CParamDefs: the dictionary of parameter definitions, loaded from
// "params.xml" or, through a host's CDBLink, from a project database, either
// whole or lazily one name at a time.
//
// The dictionary's case-blind order folds to lower case, while a parameter
// owner's folds to upper case: "A_" sorts before "AB" here and after it in
// an owner, so the two orders are never mixed.
#pragma once

#include <cstdint>

#include "tarvex/core/containers.h"
#include "tarvex/dictionary/dblink.h"
#include "tarvex/dictionary/paramdef.h"
#include "tarvex/dictionary/parammeasure.h"

class CParam;

class CParamDefs : public CXMLStreamableObject {
public:
    CParamDefs();
    CParamDefs(const CParamDefs&) = delete;
    CParamDefs& operator=(const CParamDefs&) = delete;
    ~CParamDefs() override = default;

    int OnXMLTag(CXMLSchemaInStream& stream, int id, const char16_t* name, const char16_t* value,
                 CXMLAttrs& attrs) override;

    // --- Lookup. By name without regard to case; under the lazy state a
    // miss asks the link once per name.
    CParamDef* GetParam(const char16_t* name);
    CParamDef* GetParam(const CParamDef& def) { return GetParam(def.GetName()); }
    // Null outside the range. Completes a lazy load first.
    CParamDef* GetParam(int64_t index);
    // The first definition whose name starts with `prefix` (case-blind),
    // walking back over neighbours whose left part is exactly the hit's.
    CParamDef* GetParamBySubStr(const char16_t* prefix);
    int64_t GetParamIndex(const char16_t* name);
    int64_t GetCount();

    // --- Editing.
    CParamDef* AddParam(const char16_t* name, const char16_t* comment);
    CParamDef* AddParamCopy(const CParamDef& def, bool checkExisting);
    void AddParamsCopy(CParamDefs& other);
    bool RemoveParam(const char16_t* name);
    bool AddValue(const char16_t* paramName, const char16_t* data, const char16_t* comment,
                  bool unique = false);
    void Clear();
    void DbClear();
    // `def` takes the definition of the parameter's name (all but its own
    // name) or else the parameter's name and comment; then its default is the
    // parameter's value and its default comment the value comment.
    void GetParamData(const CParam& param, CParamDef& def);

    CParamMeasurements& GetMeasurements() { return measurements; }

    // --- Loading and saving.
    // A null or empty name means the stored file name.
    bool Refresh(const char16_t* name, bool force, bool lazy);
    int Load();
    int LoadFile(const char16_t* path);
    // A document held in memory, as LoadFile.
    int LoadFromMemory(const void* data, int length);
    int Save();
    int SaveFile(const char16_t* path);
    void SetFileName(const char16_t* name) { fileName = name; }
    const CString& GetFileName() const { return fileName; }
    bool IsLoaded() const { return loaded; }
    bool IsLazy() const { return lazy; }

    // --- The database link (not owned).
    void SetDBLink(CDBLink* link) { dbLink = link; }
    CDBLink* GetDBLink() const { return dbLink; }
    void Disconnect() { dbLink = nullptr; }
    bool IsConnected() const { return dbLink != nullptr && dbLink->IsConnected(); }
    // Turns a lazy state into a full load when the link is connected.
    void AssertLoadComplete();
    // Each forwards to the link when it is connected and is false otherwise.
    bool UpdateParam(const CParamDef& def);
    bool UpdateDbParameter(const CParamDef& def) { return UpdateParam(def); }
    bool DbDeleteParam(const char16_t* name);
    // Removes the definition here and from the database.
    bool DeleteParam(const char16_t* name);
    bool IsParamInDatabase(const char16_t* name);
    bool UpdateCategories();
    bool UpdateCategory(const char16_t* paramName, const CParamCategory& category);
    bool AddDbParamCategory(const char16_t* paramName, const CParamCategory& category);
    bool CleanDbParamValues(const char16_t* paramName);
    bool AddDbParamValue(const char16_t* paramName, const char16_t* data, const char16_t* comment);
    bool DbExport();

    void InheritPermissions(const CParamDefs& other) {
        editParameters = other.editParameters;
        editCategories = other.editCategories;
    }
    void SetEditParameters(bool flag) { editParameters = flag; }
    void SetEditCategories(bool flag) { editCategories = flag; }
    bool CanEditParameters() const { return editParameters; }
    bool CanEditCategories() const { return editCategories; }

    // Each character below 32 or in `forbidden` becomes '_'. True when
    // anything changed.
    static bool MakeCorrectIdentifier(CString& text, const char16_t* forbidden);
    static bool MakeCorrectParamName(CString& text);
    static bool MakeCorrectFileName(CString& text);

private:
    // Index of the name, or -1; `position` gets the insertion index.
    int64_t Search(const char16_t* name, int64_t& position) const;
    // Where Load finds the file; empty when there is none.
    CString FindFile(const char16_t* name) const;
    void DoLoadFromDatabase();
    int LoadOpened(CXMLSchemaInStream& stream);
    CParamDef* TryGetParamDefFromDB(const char16_t* name);

    CDBLink* dbLink = nullptr;
    bool loaded = false;
    bool lazy = false;
    bool editParameters = true;
    bool editCategories = true;
    CString fileName;
    CSortedIndirectArray<CParamDef> parameters;
    CParamMeasurements measurements;
    // Upper-cased names the link did not know, ordinal.
    CSortedIndirectArray<CString> notFound;
};

// The process-wide dictionary. A callback set through the bridge may hand
// out another instance; without one, `refresh` reloads it.
void GetGlobalParamDefs(CParamDefs*& out, bool refresh);

struct GetGlobalParamDefsBridge {
    using Callback = void (*)(CParamDefs*& out, bool refresh);
    static void SetCb(Callback callback);
    static bool HasCallBack();
    // Calls the callback; false when none is set.
    static bool Invoke(CParamDefs*& out, bool refresh);
};
