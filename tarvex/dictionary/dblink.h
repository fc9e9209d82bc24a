// CDBLink: the host's bridge from the dictionary and the defaults tables to a
// project database.
//
// The library never talks to the database itself: a host that keeps its
// dictionary there derives from this class and hands an instance to
// CParamDefs or CParamsDefault. Every operation but IsConnected has a body
// that does nothing, so a link implements only what its database holds.
#pragma once

#include "tarvex/core/object.h"

class CParamCategory;
class CParamDef;
class CParamDefs;
class CParamsDefault;

class CElement;

class CDBLink : public CTarvexObject {
public:
    ~CDBLink() override = default;

    virtual bool IsConnected() const = 0;

    // --- The dictionary.
    // Whether parameters and categories may be edited in the database.
    virtual void GetEditFlags(bool& editParameters, bool& editCategories) const {
        editParameters = true;
        editCategories = true;
    }
    // Fills `defs` with every parameter and measurement. True on success.
    virtual bool LoadParamDefs(CParamDefs&) { return false; }
    // One definition by name, newly allocated (the caller owns it), or null.
    virtual CParamDef* LoadParamDef(const char16_t*) { return nullptr; }
    // Writes (inserts or updates) one definition.
    virtual bool UpdateParamDef(const CParamDef&) { return false; }
    virtual bool DeleteParamDef(const char16_t*) { return false; }
    virtual bool IsParamInDatabase(const char16_t*) { return false; }
    virtual bool ClearParamDefs() { return false; }
    virtual bool UpdateCategories(const CParamDefs&) { return false; }
    virtual bool UpdateCategory(const char16_t*, const CParamCategory&) { return false; }
    virtual bool AddParamCategory(const char16_t*, const CParamCategory&) { return false; }
    virtual bool CleanParamValues(const char16_t*) { return false; }
    virtual bool AddParamValue(const char16_t*, const char16_t*, const char16_t*) { return false; }
    // Writes the whole dictionary.
    virtual bool ExportParamDefs(const CParamDefs&) { return false; }

    // --- Tables of default values, named by `name` (the server string).
    virtual bool LoadDefaults(CParamsDefault&, const char16_t*) { return false; }
    virtual bool UpdateDefault(const char16_t*, const char16_t*, const char16_t*, const char16_t*) {
        return false;
    }
    virtual bool RemoveDefault(const char16_t*, const char16_t*) { return false; }
    virtual bool SaveDefaults(const CParamsDefault&, const char16_t*) { return false; }

    // --- Library objects, for hierarchical reference lists.
    // The dictionary that goes with this link, or null. Not owned.
    virtual CParamDefs* GetParamDefs() { return nullptr; }
    // The element tree of the library object `guid`, or null. The link keeps
    // it; a caller copies what it needs before asking again.
    virtual const CElement* GetObjectElement(const char16_t*) { return nullptr; }
};
