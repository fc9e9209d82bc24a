// The variables of a formula bound to elements: one value slot per variable,
// filled from an element (or from a plain parameter owner) before a run.
//
// A variable's key is what the formula names: a parameter ("A"), a system
// value ("@NAME", "@LEVEL" ...), or a structural query ("@P\"X\"A").
#pragma once

#include <cstdint>
#include <unordered_map>

#include "tarvex/formula/structquery.h"
#include "tarvex/formula/variables.h"

class CElement;
class CParamsOwner;

// The system values by number.
enum EStdVar : int {
    esvName = 1,
    esvDescription = 2,
    esvGrip = 3,
    esvType = 4,
    esvLevel = 5,
    esvRowId = 6,
    esvElementId = 7,
};

// The key of a system value ("@NAME" ...), or null for a bad number.
const char16_t* StdVarKey(EStdVar var);
// The system value a key names, or 0 (keys are upper case).
int StdVarOfKey(const CString& key);

using StdVarMap = std::unordered_map<int, std::int64_t>;

class qrksVariablesContainer : public CVariablesContainer {
public:
    // Called for a name that a plain owner lacks: may fill `slot` and answer
    // true; false leaves the slot empty.
    using MissingCallback = bool (*)(const char16_t* name, VARIANT& slot, void* data);

    qrksVariablesContainer() = default;
    qrksVariablesContainer(const qrksVariablesContainer&) = delete;
    qrksVariablesContainer& operator=(const qrksVariablesContainer&) = delete;
    ~qrksVariablesContainer() override;

    // 0 for an index out of range; CKVException before InitVarsVector.
    int GetVarValue(std::int64_t index, VARIANT& out) override;
    void Flush() override;

    // One empty slot for each variable.
    void InitVarsVector();
    void SetVarValue(std::int64_t index, int value);
    void SetVarValue(std::int64_t index, double value);
    void SetVarValue(std::int64_t index, const char16_t* value);
    void SetVarValue(std::int64_t index, const VARIANT& value);
    // The name as first written (GetVarName gives the upper-case key).
    CString GetVarNameOriginal(std::int64_t index) const;
    const VARIANT* GetSlot(std::int64_t index) const {
        return std::uint64_t(index) < std::uint64_t(m_nSlots) ? m_pVarsVector + index : nullptr;
    }

    // Fills the slots from `start` by each key: system values from the
    // element, queries through the structural resolver, plain names from the
    // element and then its ancestors. Missing values read as "" (0 when
    // typed). The map, if given, gets the slots of the per-run system
    // values (description, grip, type, row id).
    void SetVarValues(const CElement* element, StdVarMap* map, std::int64_t start);
    // Fills the slots from a plain owner by name; the map, if given, gets
    // every system value's slot. A missing name goes to `callback`.
    void SetVarValues(const CParamsOwner* owner, StdVarMap* map, std::int64_t start,
                      MissingCallback callback, void* data);

    // Stores a parameter's text by the variable's type: a number for
    // VT_I4 and VT_R8, the text for anything else.
    void StoreText(std::int64_t index, const CString& text);

private:
    void ClearSlot(std::int64_t index);

    VARIANT* m_pVarsVector = nullptr;
    std::int64_t m_nSlots = 0;
};
