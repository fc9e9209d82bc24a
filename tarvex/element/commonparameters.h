// What several selected parameter owners have in common, for one editing
// form, and a snapshot of an element that keeps chosen parameters.
#pragma once

#include <cstdint>

#include "tarvex/core/containers.h"
#include "tarvex/element/element.h"

class CCommonParameters : public CTarvexObject {
public:
    // Bits of a flag word.
    static constexpr unsigned kValueModified = 1;
    static constexpr unsigned kCommentModified = 2;
    static constexpr unsigned kReadOnly = 4;

    // The first owner is copied whole, formulas marked read-only; each
    // later one turns a differing value or value comment into "*разные*"
    // and drops what it lacks.
    void AddParameters(const CParamsOwner& owner);
    // Leaves only what was changed, marked for ApplyParameters; with
    // `erase`, a flagged name no longer in the set is sent as erased.
    void UpdateParameters(bool erase);

    bool IsLoaded() const { return m_bLoaded; }
    bool IsParameterReadOnly(const char16_t* name) const {
        return (GetParamFlags(name) & kReadOnly) != 0;
    }
    unsigned GetParamFlags(const char16_t* name) const;
    // Ors `bits` into the word of an existing record; unknown names are ignored.
    void SetParamFlags(const char16_t* name, unsigned bits);
    void SetValueModified(const char16_t* name) { SetParamFlags(name, kValueModified); }
    void SetCommentModified(const char16_t* name) { SetParamFlags(name, kCommentModified); }

    CParamsOwner& GetParameters() { return m_Params; }

private:
    using FlagRecord = CIndexRecord<CString, unsigned>;

    bool m_bLoaded = false;
    CParamsOwner m_Params;
    // By lower-cased name; removed in step with m_Params, whose order is by
    // upper case, so names that sort differently in the two cases meet the
    // wrong record. Kept so: forms depend on it.
    CSortedIndirectArray<FlagRecord> m_Flags;
};

class CElementBackup : public CTarvexObject {
public:
    // A full copy of `element`, or an empty snapshot for null.
    explicit CElementBackup(const CElement* element = nullptr);

    CElement& GetElement() { return m_Element; }
    // Deletes the snapshot's first child of exactly that name.
    void RemoveChild(const char16_t* name) { m_Element.DeleteChild(name); }
    void ProtectParam(const char16_t* name);
    void RemoveALLParams();
    // Strips the snapshot's own parameters except those named here or
    // protected; names match without regard to case.
    void RemoveALLParamsExcept(const CIndirectArray<CString>& names);

private:
    CElement m_Element;
    CSortedIndirectArray<CString> m_Protected{4, 4, true, -8};
};
