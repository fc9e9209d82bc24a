// CParamDef: what a parameter means (type code, unit, allowed values, place
// in categories), keyed by the parameter's name without regard to case.
//
// Definitions describe and never constrain: a parameter with no definition
// is legal everywhere. Type codes with behaviour here are listed in
// EParamDefType; every other code is carried unchanged.
#pragma once

#include <cstdint>

#include "tarvex/core/containers.h"
#include "tarvex/platform/cstring.h"
#include "tarvex/streams/xml/xmloutstream.h"
#include "tarvex/streams/xml/xmlschema.h"

enum EParamDefType : std::int32_t {
    ParamDefTypeUntyped = 1,     // a file's parameter with no "type"
    ParamDefTypeList = 5,        // new definitions: a list of values
    ParamDefTypeFixed = 16,      // always read-only
    ParamDefTypeFreeComment = 28 // UpdateDefaultValueComment leaves it alone
};

// One category a definition stands in. Ordered by name without regard to
// case (folding to lower case).
class CParamCategory : public CTarvexObject {
public:
    enum : std::uint32_t { FlagHidden = 1, FlagReadOnly = 2 };

    CParamCategory(const char16_t* name, std::uint32_t paramOrder = 0x7fffffff,
                   std::uint32_t categoryOrder = 0x7fffffff, std::uint32_t flags = 0)
        : name(name), paramOrder(paramOrder), categoryOrder(categoryOrder), flags(flags) {}

    int Compare(const CParamCategory& other) const;
    bool operator==(const CParamCategory& other) const { return Compare(other) == 0; }
    bool operator!=(const CParamCategory& other) const { return Compare(other) != 0; }
    bool operator<(const CParamCategory& other) const { return Compare(other) < 0; }
    bool operator>(const CParamCategory& other) const { return Compare(other) > 0; }

    CString name;
    std::uint32_t paramOrder;
    std::uint32_t categoryOrder;
    std::uint32_t flags;
};

class CParamDef : public CXMLStreamableObject {
public:
    // One allowed value; equal and ordered by the data, ordinal.
    class CParamValueVariant : public CXMLStreamableObject {
    public:
        CParamValueVariant(const char16_t* data = nullptr, const char16_t* comment = nullptr)
            : data(data), comment(comment) {}
        bool operator==(const CParamValueVariant& other) const { return data == other.data; }
        bool operator<(const CParamValueVariant& other) const { return data < other.data; }
        bool IsSameValue(const CParamValueVariant& other) const {
            return data == other.data && comment == other.comment;
        }
        // data " - " comment.
        void GetDesc(CString& out) const;
        int OnXMLTag(CXMLSchemaInStream& stream, int id, const char16_t* name,
                     const char16_t* value, CXMLAttrs& attrs) override;

        CString data;
        CString comment;
    };

    CParamDef(const char16_t* name = nullptr, const char16_t* comment = nullptr,
              std::int32_t type = ParamDefTypeList, bool readOnly = false, std::int32_t size = -1,
              std::int32_t dependency = 0, std::int32_t accuracy = -1, std::int32_t valueType = 1);
    CParamDef(const CParamDef& other);
    CParamDef& operator=(const CParamDef&) = delete;
    ~CParamDef() override = default;

    int OnXMLTag(CXMLSchemaInStream& stream, int id, const char16_t* name, const char16_t* value,
                 CXMLAttrs& attrs) override;
    virtual std::int32_t GetType() const { return type; }
    // The flag, type 16, a read-only category, or a formula as default comment.
    virtual bool IsParamReadOnly() const;

    // --- Identity. Equality and order by name without regard to case.
    const CString& GetName() const { return name; }
    void SetName(const char16_t* text) { name = text; }
    bool Is(const char16_t* text) const { return name.CompareNoCase(text) == 0; }
    bool operator==(const CParamDef& other) const { return name.CompareNoCase(other.name) == 0; }
    bool operator<(const CParamDef& other) const { return name.CompareNoCase(other.name) < 0; }
    // Every field but the name (and so every unit name too) is compared by
    // IsEqual except the unit names and the orders and flags of categories.
    bool IsEqual(const CParamDef& other) const;
    // All but the name.
    void CopyFrom(const CParamDef& other);
    // name " - " comment.
    void GetDesc(CString& out) const;
    bool MakeCorrectName();

    // --- Plain fields.
    const CString& GetComment() const { return comment; }
    void SetComment(const char16_t* text) { comment = text; }
    void SetType(std::int32_t code) { type = code; }
    bool IsNumber() const;
    bool GetReadOnlyFlag() const { return readOnly; }
    void SetReadOnlyFlag(bool flag) { readOnly = flag; }
    std::int32_t GetSize() const { return size; }
    void SetSize(std::int32_t value) { size = value; }
    std::int32_t GetDependency() const { return dependency; }
    void SetDependency(std::int32_t value) { dependency = value; }
    std::int32_t GetAccuracy() const { return accuracy; }
    void SetAccuracy(std::int32_t value) { accuracy = value; }
    std::int32_t GetValueType() const { return valueType; }
    void SetValueType(std::int32_t value) { valueType = value; }
    const CString& GetMeasureUnitBaseSysName() const { return unitBaseSysName; }
    void SetMeasureUnitBaseSysName(const char16_t* text) { unitBaseSysName = text; }
    const CString& GetMeasureUnitSysName() const { return unitSysName; }
    void SetMeasureUnitSysName(const char16_t* text) { unitSysName = text; }

    // --- The default value.
    const CString& GetDefaultValue() const { return defaultValue; }
    void SetDefaultValue(const char16_t* text) { defaultValue = text; }
    void SetDefaultValue(int value);
    // Twelve decimals.
    void SetDefaultValue(double value);
    // The variant's text form; a variant with none leaves an empty default.
    void SetDefaultValue(const tagVARIANT& value);
    int GetDefaultValueInt() const;
    double GetDefaultValueDbl() const;
    const CString& GetDefaultValueComment() const { return defaultComment; }
    void SetDefaultValueComment(const char16_t* text) { defaultComment = text; }
    // The comment of the value equal to the default becomes the default
    // comment, unless the type is 28 or the comment (trimmed) starts with '^'
    // or '='. True when it changed.
    bool UpdateDefaultValueComment();

    // --- Allowed values, in the order added.
    // With `unique`, a value already there takes the new comment instead.
    void AddValue(const char16_t* data, const char16_t* comment, bool unique = false);
    CParamValueVariant* FindValue(const char16_t* data) const;
    int64_t FindValueIndex(const char16_t* data) const;
    const CString& GetValue(int64_t index) const { return values[index]->data; }
    const CString& GetValueComment(int64_t index) const { return values[index]->comment; }
    void GetValueDesc(int64_t index, CString& out) const { values[index]->GetDesc(out); }
    int64_t GetValuesCount() const { return values.GetLength(); }
    bool HasValueComments() const;
    bool DeleteValue(const char16_t* data);
    void DeleteValue(int64_t index) { values.Delete(index); }
    void DeleteAllValues() { values.Flush(); }
    // Index of the value equal to the default, or -1.
    int64_t GetSelectedValueId() const;
    int64_t GetSelectedValueIdNoCase() const;

    // --- Categories.
    bool IsHidden() const;
    bool IsInReadOnlyCategory() const;
    // False for the read-only flag or a read-only category only.
    bool CanEditComment() const;
    // Skips a name already there.
    void AddCategory(const char16_t* categoryName, std::uint32_t paramOrder,
                     std::uint32_t categoryOrder, bool readOnly, bool hidden);
    // Takes ownership; a category of a name already there is deleted.
    bool AddCategory(CParamCategory* category);
    bool HasCategory(const char16_t* categoryName) const { return FindCategory(categoryName) >= 0; }
    int64_t FindCategory(const char16_t* categoryName) const;
    void RemoveCategory(int64_t index) { categories.Delete(index); }
    void RemoveAllCategories() { categories.Flush(); }
    int64_t GetCategoriesCount() const { return categories.GetLength(); }
    CParamCategory* GetCategory(int64_t index) const { return categories[index]; }
    std::uint32_t GetCategoryOrder(int64_t index) const { return categories[index]->paramOrder; }
    void SetCategoryOrder(int64_t index, std::uint32_t order) {
        categories[index]->paramOrder = order;
    }
    std::uint32_t GetCategoryDefOrder(int64_t index) const {
        return categories[index]->categoryOrder;
    }
    void SetCategoryDefOrder(int64_t index, std::uint32_t order) {
        categories[index]->categoryOrder = order;
    }
    // By name; 0x7fffffff / false when the category is missing.
    std::uint32_t GetCategoryOrder(const char16_t* categoryName) const;
    bool SetCategoryOrder(const char16_t* categoryName, std::uint32_t order);
    std::uint32_t GetCategoryDefOrder(const char16_t* categoryName) const;
    bool SetCategoryDefOrder(const char16_t* categoryName, std::uint32_t order);

    // --- Text helpers.
    // The formula test of parameter values: an '=' after characters 1 to 32.
    static bool IsCalculated(const char16_t* text);
    // What follows the first '='; empty when there is none.
    static CString GetFormulaPart(const char16_t* text);

    // --- File form.
    // Takes the attributes of a "PARAMETER" element; missing ones keep
    // their file defaults (type 1, size -1, accuracy -1, not read-only).
    void ReadAttrs(const CXMLAttrs& attrs);
    int Save(CXMLOutStreamBase& stream) const;

private:
    static int OnCategoryTag(void* context, CXMLSchemaInStream& stream, int id,
                             const char16_t* name, const char16_t* value, CXMLAttrs& attrs);
    static int OnValueTag(void* context, CXMLSchemaInStream& stream, int id, const char16_t* name,
                          const char16_t* value, CXMLAttrs& attrs);

    CString name;
    CString comment;
    CString defaultValue;
    CString defaultComment;
    std::int32_t type;
    bool readOnly;
    std::int32_t size;
    std::int32_t dependency;
    std::int32_t accuracy;
    std::int32_t valueType;
    CString unitBaseSysName;
    CString unitSysName;
    CSortedIndirectArray<CParamCategory> categories;
    CIndirectArray<CParamValueVariant> values;
};
