// CParamsOwner: a set of parameters, unique by name without regard to case,
// kept sorted by upper-cased name.
//
// It is the typed face of the text-only CParam: getters convert on read,
// setters format on write, and the whole-set operations decide which
// parameters and which fields travel from one owner to another. CElement
// derives from it; standalone owners serve as parameter bags (defaults,
// differences, changes to apply).
#pragma once

#include <cstdint>
#include <string>

#include "tarvex/core/containers.h"
#include "tarvex/element/param.h"
#include "tarvex/platform/cstring.h"
#include "tarvex/platform/guid.h"

class CTXVector3d;
class CTXPoint3d;
class CParamsDefault;
class CParamsProtectionList;
class CElementParamsStreamProxy;

// What copying does with a source parameter whose value is empty.
enum eNullParamsPolicy {
    NullParamsSkip = 0,          // skipped
    NullParamsCopy = 1,          // copied like any other
    NullParamsCopyIfPresent = 2, // copied only over a parameter the target has
    NullParamsFillEmpty = 3,     // every parameter, empty or not, fills only a
                                 // missing or empty target value
};

class CParamsOwner : public CTarvexObject {
public:
    using ParamArray = CSortedIndirectArray<CParam>;
    // Records of CompareParameters: (this owner's parameter, the other's).
    using ParamDiffs = CIndirectArray<CIndexRecord<CParam*, CParam*>>;
    // Upper-cased names, sorted, that comparisons skip.
    using NameList = CSortedArray<CString>;

    CParamsOwner();
    // Copies by index: the source is already in order. The array starts with
    // exactly the source's length (8 for an empty source).
    CParamsOwner(const CParamsOwner& source);
    CParamsOwner& operator=(const CParamsOwner& source);
    ~CParamsOwner() override;

    // A changed parameter sent by another owner, by the comment markers of
    // CParam: "*ERASED*" with an empty value removes, "*VALUE_SET*" takes the
    // value only, "*COMMENT_SET*" the value comment only, anything else sets
    // all three fields. A null pointer is ignored.
    virtual void ApplyParameter(const CParam* param);
    // Renames parameters by the defaults table read as old name -> new name
    // (defined with the dictionary).
    virtual void ReplaceParameters(const CParamsDefault& defaults);

    // --- Lookup and iteration. Names match without regard to case.
    CParam* GetParameter(const char16_t* name);
    const CParam* GetParameter(const char16_t* name) const;
    // By index into the sorted array; indexes move on every insertion.
    CParam* GetParameter(int64_t index) { return m_Params[index]; }
    const CParam* GetParameter(int64_t index) const { return m_Params[index]; }
    CParam* GetParameter(int index) { return m_Params[index]; }
    const CParam* GetParameter(int index) const { return m_Params[index]; }
    int64_t GetParamsCount() const { return m_Params.GetLength(); }
    bool HasParameter(const char16_t* name) const { return GetParameter(name) != nullptr; }
    // Index of the parameter, or -1.
    int64_t FindParameter(const char16_t* name) const;

    // --- Getters with a default, returned when the parameter is missing.
    // The text points into the parameter: valid until the parameter changes.
    const char16_t* GetParameterValue(const char16_t* name, const char16_t* def) const;
    CString GetParameterValue(const char16_t* name, const CString& def, bool emptyIsMissing) const;
    double GetParameterValue(const char16_t* name, double def, bool emptyIsMissing = false) const;
    int GetParameterValue(const char16_t* name, int def) const;
    int GetParameterValue(const char16_t* name, int def, bool emptyIsMissing) const;
    // "Да", "Yes" and "true" in any case are true; otherwise the integer
    // reading of the value, so other words read as false.
    bool GetParameterValue(const char16_t* name, bool def) const;
    // The default, overwritten by whatever the parse of the value leaves.
    CTXVector3d GetParameterValue(const char16_t* name, const CTXVector3d& def) const;
    const char16_t* GetParameterValueComment(const char16_t* name, const char16_t* def) const;
    const char16_t* GetParameterComment(const char16_t* name, const char16_t* def) const;

    // --- Getters with an out-argument: false, with `value` untouched, when
    // the parameter is missing.
    bool GetValue(const char16_t* name, CString& value) const;
    bool GetValue(const char16_t* name, int& value) const;
    // Only the integer reading: unlike the GetParameterValue Boolean, the
    // words "Да", "Yes" and "true" read as false here. Callers rely on that.
    bool GetValue(const char16_t* name, bool& value) const;
    bool GetValue(const char16_t* name, double& value) const;
    // These three give the result of the parse (true only if it succeeds).
    bool GetValue(const char16_t* name, CTXPoint3d& value) const;
    bool GetValue(const char16_t* name, CTXVector3d& value) const;
    bool GetValue(const char16_t* name, _GUID& value) const;

    // --- Setters. An existing parameter keeps its name as stored and gets
    // value, comment and value comment (null sets a field empty); a new one
    // goes to its sorted place. Returns the parameter.
    CParam* SetParameter(const char16_t* name, const char16_t* value,
                         const char16_t* comment = nullptr, const char16_t* valueComment = nullptr);
    CParam* SetParameter(const char16_t* name, int value, const char16_t* comment = nullptr,
                         const char16_t* valueComment = nullptr);
    // 12 decimals, no exponent.
    CParam* SetParameter(const char16_t* name, double value, const char16_t* comment = nullptr,
                         const char16_t* valueComment = nullptr);
    CParam* SetParameter(const char16_t* name, double value, int digits,
                         const char16_t* comment = nullptr, const char16_t* valueComment = nullptr);
    CParam* SetParameter(const char16_t* name, const CTXVector3d& value,
                         const char16_t* comment = nullptr, const char16_t* valueComment = nullptr);
    CParam* SetParameter(const char16_t* name, const CTXPoint3d& value,
                         const char16_t* comment = nullptr, const char16_t* valueComment = nullptr);
    // In the braced form of FormatUID.
    CParam* SetParameter(const char16_t* name, const _GUID& value,
                         const char16_t* comment = nullptr, const char16_t* valueComment = nullptr);

    // "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}" in upper-case hexadecimal with
    // its terminating null: 39 characters. False, writing nothing, if `size`
    // is below that.
    static bool FormatUID(const _GUID& guid, char16_t* buffer, int size);

    // --- Additions and removals.
    // An existing parameter is returned unchanged and the new text dropped.
    CParam* AddParameter(const char16_t* name, const char16_t* value,
                         const char16_t* comment = nullptr, const char16_t* valueComment = nullptr);
    // Takes ownership and inserts by sorted Add without looking for the name,
    // so it may create a duplicate: for document readers, which trust their
    // input.
    CParam* AddParameter(CParam* param);
    // Takes ownership. A parameter of that name already here wins and the
    // argument is deleted. Returns the parameter now held under the name.
    CParam* AddNewParameter(CParam* param);
    // With `checkExisting` and the name already here, does nothing and returns
    // the existing parameter; otherwise adds a copy (a duplicate when the
    // check is off) and returns it.
    CParam* AddParamCopy(const CParam* param, bool checkExisting = true);
    // False for a missing name.
    bool RemoveParameter(const char16_t* name);
    void RemoveParameter(int64_t index) { m_Params.Delete(index); }
    void RemoveParameter(int index) { m_Params.Delete(index); }
    void DeleteAllParams() { m_Params.Flush(); }

    // Ties a parameter to a program variable. With `toVariable` and the
    // parameter present, the variable takes the parameter's value; otherwise
    // the parameter is set from the variable, with `comment` and an empty
    // value comment. The string variable is null or comes from new[]: its
    // old text is freed with delete[] and replaced by a new[] copy.
    void Synchronize(const char16_t* name, char16_t*& variable, const char16_t* comment,
                     bool toVariable);
    void Synchronize(const char16_t* name, int32_t& variable, const char16_t* comment,
                     bool toVariable);
    void Synchronize(const char16_t* name, double& variable, const char16_t* comment,
                     bool toVariable);

    // --- Whole-set operations.
    // The exact copy: everything here is dropped and the source's parameters
    // are copied in its order. A no-op on itself.
    void CopyParamsFrom(const CParamsOwner& source);
    // The copy under a protection list (defined with the dictionary): the
    // parameters that `action` (an EParamAction, 0 for none) may replace go,
    // then the source's are set as their protection allows; locked ones are
    // never touched by an action other than 0.
    void CopyParamsFrom(const CParamsOwner& source, const CParamsProtectionList& protectionList,
                        int action);
    // For each source parameter: skipped when empty unless `copyEmpty`; a
    // present parameter takes the source's three fields only when the source
    // value is non-empty (and, with `keepExisting`, only when its own value
    // is empty), so a merge never blanks a value; an absent one is copied.
    void MergeParamsFrom(const CParamsOwner& source, bool copyEmpty, bool keepExisting);
    // SetParameter for each source parameter as `policy` lets it through;
    // `dropValueComment` sets an empty value comment instead of the source's.
    void SetParameters(const CParamsOwner& source, eNullParamsPolicy policy,
                       bool dropValueComment = false);
    // With `existingOnly`, only parameters already here are considered, and
    // NullParamsFillEmpty has no special force.
    void SetParameters(const CParamsOwner& source, bool existingOnly, eNullParamsPolicy policy,
                       bool dropValueComment = false);
    // ApplyParameter, through the virtual call, for each parameter of `source`.
    void ApplyParameters(const CParamsOwner& source);

    // --- Comparison.
    // 0 when equal. Texts that are both numbers (an optional minus, digits,
    // at most one separator '.' or ',') are equal within 1e-5, otherwise
    // ordered by their difference; any other pair compares ordinally, case
    // and all. Null reads as empty.
    static int CompareValues(const char16_t* a, const char16_t* b);
    // Same count, and at each index names equal without regard to case and
    // values equal by CompareValues.
    bool IsEqualParameters(const CParamsOwner& other) const;
    // As above, but parameters whose upper-cased name is in `ignored` are
    // left out of both sides. A null list ignores nothing.
    bool IsEqualParameters(const CParamsOwner& other, const NameList* ignored) const;
    // As the simple IsEqualParameters, with names compared case-sensitively.
    bool CompareParameters(const CParamsOwner& other) const;
    // Adds to `differences` a record for each parameter that differs: first
    // (this one, the other's or null) in this owner's order, then (null, the
    // other's) for those missing here. Equal formula texts count as equal
    // whatever their results. Names present in `ignored` are skipped. True if
    // nothing was added. The records point at the parameters of both owners.
    bool CompareParameters(const CParamsOwner& other, ParamDiffs& differences,
                           const CParamsOwner* ignored = nullptr) const;
    // The first index above `id` whose upper-cased name is not in `ignored`,
    // or -1. Start with -1.
    int64_t GetNextActiveParamId(const NameList* ignored, int64_t id) const;

    // --- Helpers.
    // Whether the text is a formula: an '=' after characters 1 to 32.
    static bool IsCalcComment(const char16_t* text, int& position) {
        return CParam::IsFormulaText(text, position);
    }
    static void toupper(std::u16string& text);

    const ParamArray& GetParams() const { return m_Params; }

protected:
    // Index of the parameter named `name`, or -1; `position` gets the sorted
    // insertion index.
    int64_t SearchName(const char16_t* name, int64_t& position) const;

    ParamArray m_Params;

private:
    friend class CElementParamsStreamProxy;

    CParam* SetParameterText(const char16_t* name, CString&& value, const char16_t* comment,
                             const char16_t* valueComment);
    CParam* InsertAt(int64_t position, CParam* param);
    void CopyAllFrom(const CParamsOwner& source);
};
