// CParamsDefault: a named table of default values (value and value comment
// per parameter name), kept in its own file, in settings or in a project
// database, and applied to parameter owners. Read as old name -> new name,
// it is also the renaming table of CParamsOwner::ReplaceParameters.
#pragma once

#include <cstdint>

#include "tarvex/core/containers.h"
#include "tarvex/dictionary/dblink.h"
#include "tarvex/platform/cstring.h"
#include "tarvex/streams/xml/xmlschema.h"

class CParamsOwner;
class CParamDefs;

class CParamsDefault : public CXMLStreamableObject {
public:
    // One entry; ordered and equal by name without regard to case. The
    // comment goes into a parameter's value comment.
    class CDefaultValue : public CXMLStreamableObject {
    public:
        CDefaultValue(const char16_t* name = nullptr, const char16_t* value = nullptr,
                      const char16_t* comment = nullptr)
            : name(name), value(value), comment(comment) {}
        bool operator==(const CDefaultValue& other) const {
            return name.CompareNoCase(other.name) == 0;
        }
        bool operator<(const CDefaultValue& other) const {
            return name.CompareNoCase(other.name) < 0;
        }
        int OnXMLTag(CXMLSchemaInStream& stream, int id, const char16_t* tag, const char16_t* text,
                     CXMLAttrs& attrs) override;

        CString name;
        CString value;
        CString comment;
    };

    CParamsDefault() : values(32, 64, true, -8) {}
    CParamsDefault(const CParamsDefault&) = delete;
    CParamsDefault& operator=(const CParamsDefault&) = delete;

    int OnXMLTag(CXMLSchemaInStream& stream, int id, const char16_t* tag, const char16_t* text,
                 CXMLAttrs& attrs) override;

    // --- The table.
    // DoSetDefaultValue, then the database when connected.
    void SetValue(const char16_t* name, const char16_t* value, const char16_t* comment);
    void DoSetDefaultValue(const char16_t* name, const char16_t* value, const char16_t* comment);
    // Tells a connected database in any case, found or not.
    void RemoveValue(const char16_t* name);
    void Add(const CParamsDefault& other);
    void Flush() { values.Flush(); }
    int64_t GetCount() const { return values.GetLength(); }
    int64_t GetParamIndex(const char16_t* name) const;
    bool HasDefaultValue(const char16_t* name) const { return GetParamIndex(name) >= 0; }
    const CString& GetParamName(int64_t index) const { return values[index]->name; }
    bool GetDefaultValue(int64_t index, CString& name, CString& value, CString& comment) const;
    // On a miss both outputs are emptied and the answer is false.
    bool GetParamValue(const char16_t* name, CString& value, CString& comment) const;

    // --- Owners and the dictionary.
    // The owner's parameters are replaced by the table's.
    void CopyInto(CParamsOwner& owner) const;
    // Sets each entry in the owner (empty comment); other parameters stay.
    void Apply(CParamsOwner& owner) const;
    void CopyFrom(const CParamsOwner& owner);
    void CopyFrom(CParamDefs& defs);
    void SetFromParamDefs(CParamDefs& defs);

    // --- The database link (not owned).
    void SetConnection(CDBLink* link, const char16_t* server = nullptr,
                       const char16_t* database = nullptr, std::int32_t connectionValue = 0,
                       const char16_t* user = nullptr, const char16_t* password = nullptr);
    void Disconnect() { dbLink = nullptr; }
    bool IsConnected() const { return dbLink != nullptr && dbLink->IsConnected(); }
    CDBLink* GetDBLink() const { return dbLink; }
    // Throws CKVException without a connection.
    void LoadFromDatabase();
    bool LoadFromDatabase(CDBLink* link, const char16_t* name);
    void DbUpdateParam(const char16_t* name, const char16_t* value, const char16_t* comment);
    void DbRemoveParam(const char16_t* name);
    bool SaveToDatabase(CDBLink* link, const char16_t* name) const;

    // --- Files.
    // The database of the global dictionary first, then the files.
    int Initialize(const char16_t* fileName, const char16_t* server, const char16_t* database,
                   std::int32_t connectionValue, const char16_t* user, const char16_t* password,
                   void* bitmap1, void* bitmap2, const char16_t* subFolder);
    int Save();
    int LoadFromFile(const char16_t* path);
    int LoadFromMemory(const void* data, int length);
    int SaveToFile(const char16_t* path) const;
    int LoadFromSettingsFile(const char16_t* name);
    int SaveToSettingsFile(const char16_t* name) const;

private:
    int64_t Search(const char16_t* name, int64_t& position) const;

    CSortedIndirectArray<CDefaultValue> values;
    CString server;
    CString database;
    std::int32_t connectionValue = 0;
    CString user;
    CString password;
    void* bitmaps[2] = {nullptr, nullptr};
    CString fileName;
    CString subFolder;
    CDBLink* dbLink = nullptr;
};
