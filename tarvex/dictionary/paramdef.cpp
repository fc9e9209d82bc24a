#include "tarvex/dictionary/paramdef.h"

#include "tarvex/core/numbertext.h"
#include "tarvex/dictionary/paramdefs.h"
#include "tarvex/dictionary/paramsxml_internal.h"
#include "tarvex/element/param.h"
#include "tarvex/platform/casemap.h"
#include "tarvex/platform/variant.h"
#include "tarvex/platform/wide.h"

// ---------------------------------------------------------------------------
// CParamCategory and CParamValueVariant

int CParamCategory::Compare(const CParamCategory& other) const {
    return _wcsicmp(name, other.name);
}

void CParamDef::CParamValueVariant::GetDesc(CString& out) const {
    out = data;
    out += u" - ";
    out += comment;
}

int CParamDef::CParamValueVariant::OnXMLTag(CXMLSchemaInStream&, int id, const char16_t*,
                                            const char16_t* value, CXMLAttrs&) {
    if (id == ParamsXml::kValueData)
        data = value;
    else if (id == ParamsXml::kValueComment)
        comment = value;
    return 1;
}

// ---------------------------------------------------------------------------
// CParamDef

CParamDef::CParamDef(const char16_t* name, const char16_t* comment, std::int32_t type,
                     bool readOnly, std::int32_t size, std::int32_t dependency,
                     std::int32_t accuracy, std::int32_t valueType)
    : name(name), comment(comment), type(type), readOnly(readOnly), size(size),
      dependency(dependency), accuracy(accuracy), valueType(valueType), categories(1, 4, true, -8),
      values(4, 4, true, -8) {}

CParamDef::CParamDef(const CParamDef& other) : CParamDef(other.name) {
    CopyFrom(other);
}

void CParamDef::CopyFrom(const CParamDef& other) {
    if (&other == this) return;
    comment = other.comment;
    defaultValue = other.defaultValue;
    defaultComment = other.defaultComment;
    type = other.type;
    readOnly = other.readOnly;
    size = other.size;
    dependency = other.dependency;
    accuracy = other.accuracy;
    valueType = other.valueType;
    unitBaseSysName = other.unitBaseSysName;
    unitSysName = other.unitSysName;
    categories.Flush();
    for (const CParamCategory* category : other.categories)
        categories.Add(new CParamCategory(*category));
    values.Flush();
    for (const CParamValueVariant* value : other.values)
        values.Add(new CParamValueVariant(value->data, value->comment));
}

bool CParamDef::IsEqual(const CParamDef& other) const {
    if (comment != other.comment || defaultValue != other.defaultValue ||
        defaultComment != other.defaultComment || type != other.type ||
        readOnly != other.readOnly || size != other.size ||
        categories.GetLength() != other.categories.GetLength() ||
        values.GetLength() != other.values.GetLength() || dependency != other.dependency ||
        accuracy != other.accuracy || valueType != other.valueType)
        return false;
    for (int64_t i = 0; i < categories.GetLength(); ++i)
        if (*categories[i] != *other.categories[i]) return false;
    for (int64_t i = 0; i < values.GetLength(); ++i)
        if (!values[i]->IsSameValue(*other.values[i])) return false;
    return true;
}

void CParamDef::GetDesc(CString& out) const {
    out = name;
    out += u" - ";
    out += comment;
}

bool CParamDef::MakeCorrectName() {
    return CParamDefs::MakeCorrectParamName(name);
}

bool CParamDef::IsNumber() const {
    switch (type) {
    case 2:
    case 3:
    case 7:
    case 8:
    case 10:
    case 11:
    case 15:
    case 30:
        return true;
    default:
        return false;
    }
}

bool CParamDef::IsParamReadOnly() const {
    return readOnly || type == ParamDefTypeFixed || IsInReadOnlyCategory() ||
           IsCalculated(defaultComment);
}

void CParamDef::SetDefaultValue(int value) {
    defaultValue.Format(u"%d", value);
}

void CParamDef::SetDefaultValue(double value) {
    defaultValue = tarvex::DblToString(value, 12);
}

void CParamDef::SetDefaultValue(const tagVARIANT& value) {
    VARIANT text;
    VariantInit(&text);
    if (SUCCEEDED(VariantChangeType(&text, &value, 0, VT_BSTR)) && text.vt == VT_BSTR)
        defaultValue = text.bstrVal;
    else
        defaultValue.Empty();
    VariantClear(&text);
}

int CParamDef::GetDefaultValueInt() const {
    return _wtoi(defaultValue);
}

double CParamDef::GetDefaultValueDbl() const {
    return _wtof(defaultValue);
}

bool CParamDef::UpdateDefaultValueComment() {
    if (type == ParamDefTypeFreeComment) return false;
    CString trimmed(defaultComment);
    trimmed.Trim();
    if (!trimmed.IsEmpty() && (trimmed[0] == u'^' || trimmed[0] == u'=')) return false;
    const int64_t index = GetSelectedValueId();
    // No value equals the default: nothing to take the comment from.
    if (index < 0) return false;
    if (defaultComment == values[index]->comment) return false;
    defaultComment = values[index]->comment;
    return true;
}

void CParamDef::AddValue(const char16_t* data, const char16_t* valueComment, bool unique) {
    if (unique) {
        if (CParamValueVariant* found = FindValue(data)) {
            found->comment = valueComment;
            return;
        }
    }
    values.Add(new CParamValueVariant(data, valueComment));
}

int64_t CParamDef::FindValueIndex(const char16_t* data) const {
    const CString key(data);
    for (int64_t i = 0; i < values.GetLength(); ++i)
        if (values[i]->data == key) return i;
    return -1;
}

CParamDef::CParamValueVariant* CParamDef::FindValue(const char16_t* data) const {
    const int64_t index = FindValueIndex(data);
    return index >= 0 ? values[index] : nullptr;
}

bool CParamDef::HasValueComments() const {
    for (const CParamValueVariant* value : values)
        if (!value->comment.IsEmpty()) return true;
    return false;
}

bool CParamDef::DeleteValue(const char16_t* data) {
    const int64_t index = FindValueIndex(data);
    if (index < 0) return false;
    values.Delete(index);
    return true;
}

int64_t CParamDef::GetSelectedValueId() const {
    return FindValueIndex(defaultValue);
}

int64_t CParamDef::GetSelectedValueIdNoCase() const {
    for (int64_t i = 0; i < values.GetLength(); ++i)
        if (values[i]->data.CompareNoCase(defaultValue) == 0) return i;
    return -1;
}

bool CParamDef::IsHidden() const {
    for (const CParamCategory* category : categories)
        if (category->flags & CParamCategory::FlagHidden) return true;
    return false;
}

bool CParamDef::IsInReadOnlyCategory() const {
    for (const CParamCategory* category : categories)
        if (category->flags & CParamCategory::FlagReadOnly) return true;
    return false;
}

bool CParamDef::CanEditComment() const {
    return !readOnly && !IsInReadOnlyCategory();
}

void CParamDef::AddCategory(const char16_t* categoryName, std::uint32_t paramOrder,
                            std::uint32_t categoryOrder, bool readOnlyCategory, bool hidden) {
    if (HasCategory(categoryName)) return;
    std::uint32_t flags = 0;
    if (hidden) flags |= CParamCategory::FlagHidden;
    if (readOnlyCategory) flags |= CParamCategory::FlagReadOnly;
    categories.Add(new CParamCategory(categoryName, paramOrder, categoryOrder, flags));
}

bool CParamDef::AddCategory(CParamCategory* category) {
    if (HasCategory(category->name)) {
        delete category;
        return false;
    }
    categories.Add(category);
    return true;
}

int64_t CParamDef::FindCategory(const char16_t* categoryName) const {
    // A binary search by the name itself: no temporary category.
    int64_t low = 0, high = categories.GetLength() - 1;
    while (low <= high) {
        const int64_t middle = low + (high - low) / 2;
        const int order = _wcsicmp(categoryName, categories[middle]->name);
        if (order == 0) return middle;
        if (order > 0)
            low = middle + 1;
        else
            high = middle - 1;
    }
    return -1;
}

std::uint32_t CParamDef::GetCategoryOrder(const char16_t* categoryName) const {
    const int64_t index = FindCategory(categoryName);
    return index >= 0 ? categories[index]->paramOrder : 0x7fffffffu;
}

bool CParamDef::SetCategoryOrder(const char16_t* categoryName, std::uint32_t order) {
    const int64_t index = FindCategory(categoryName);
    if (index < 0) return false;
    categories[index]->paramOrder = order;
    return true;
}

std::uint32_t CParamDef::GetCategoryDefOrder(const char16_t* categoryName) const {
    const int64_t index = FindCategory(categoryName);
    return index >= 0 ? categories[index]->categoryOrder : 0x7fffffffu;
}

bool CParamDef::SetCategoryDefOrder(const char16_t* categoryName, std::uint32_t order) {
    const int64_t index = FindCategory(categoryName);
    if (index < 0) return false;
    categories[index]->categoryOrder = order;
    return true;
}

bool CParamDef::IsCalculated(const char16_t* text) {
    int position = 0;
    return CParam::IsFormulaText(text, position);
}

CString CParamDef::GetFormulaPart(const char16_t* text) {
    if (text == nullptr) return CString();
    for (const char16_t* p = text; *p != 0; ++p)
        if (*p == u'=') return CString(p + 1);
    return CString();
}

// ---------------------------------------------------------------------------
// File form

void CParamDef::ReadAttrs(const CXMLAttrs& attrs) {
    type = ParamDefTypeUntyped;
    size = -1;
    readOnly = false;
    accuracy = -1;
    attrs.GetAttr(u"type", type);
    attrs.GetAttr(u"prescision", size);
    int flag = 0;
    if (attrs.GetAttr(u"readonly", flag)) readOnly = flag != 0;
    attrs.GetAttr(u"accuracy", accuracy);
    attrs.GetAttr(u"valueType", valueType);
    attrs.GetAttr(u"sysNameMeasureUnitBase", unitBaseSysName);
    attrs.GetAttr(u"sysNameMeasureUnit", unitSysName);
}

int CParamDef::OnCategoryTag(void* context, CXMLSchemaInStream&, int id, const char16_t*,
                             const char16_t* value, CXMLAttrs& attrs) {
    if (id != ParamsXml::kCategoriesCategory) return 1;
    auto* category = new CParamCategory(value);
    std::int64_t number = 0;
    if (attrs.GetAttr(u"order", number)) category->paramOrder = std::uint32_t(number);
    if (attrs.GetAttr(u"categoryOrder", number)) category->categoryOrder = std::uint32_t(number);
    if (attrs.GetAttr(u"flags", number)) category->flags = std::uint32_t(number);
    static_cast<CParamDef*>(context)->AddCategory(category);
    return 1;
}

int CParamDef::OnValueTag(void* context, CXMLSchemaInStream& stream, int id, const char16_t*,
                          const char16_t*, CXMLAttrs&) {
    if (id != ParamsXml::kValuesValue) return 1;
    auto* value = new CParamValueVariant();
    static_cast<CParamDef*>(context)->values.Add(value);
    // An empty <VALUE/> arrives as a value: an empty entry.
    if (stream.GetTagStatus() != CXMLInStream::eReadOpen) return 1;
    return value->LoadFromXMLStream(stream);
}

int CParamDef::OnXMLTag(CXMLSchemaInStream& stream, int id, const char16_t*, const char16_t* value,
                        CXMLAttrs&) {
    // An empty <CATEGORIES/> or <VALUES/> arrives as a value, with no content.
    const bool entered = stream.GetTagStatus() == CXMLInStream::eReadOpen;
    switch (id) {
    case ParamsXml::kParamName:
        name = value;
        break;
    case ParamsXml::kParamComment:
        comment = value;
        break;
    case ParamsXml::kParamDefault:
        defaultValue = value;
        break;
    case ParamsXml::kParamDefaultComment:
        defaultComment = value;
        break;
    case ParamsXml::kParamCategories:
        if (entered) return LoadArray(stream, OnCategoryTag);
        break;
    case ParamsXml::kParamValues:
        if (entered) return LoadArray(stream, OnValueTag);
        break;
    default:
        break;
    }
    return 1;
}

int CParamDef::Save(CXMLOutStreamBase& stream) const {
    CXMLAttrs attrs;
    attrs.AddAttr(u"type", int(type));
    attrs.AddAttr(u"prescision", int(size));
    attrs.AddAttr(u"readonly", int(readOnly ? 1 : 0));
    attrs.AddAttr(u"accuracy", int(accuracy));
    attrs.AddAttr(u"valueType", int(valueType));
    attrs.AddAttr(u"sysNameMeasureUnitBase", unitBaseSysName.GetString());
    attrs.AddAttr(u"sysNameMeasureUnit", unitSysName.GetString());
    if (!stream.BeginTable(u"PARAMETER", &attrs)) return 0;
    if (!stream.WriteParameter(u"NAME", name, 0) ||
        !stream.WriteParameter(u"COMMENT", comment, 0) ||
        !stream.WriteParameter(u"DEFAULT", defaultValue, 0) ||
        !stream.WriteParameter(u"DEFAULTCOMMENT", defaultComment, 0))
        return 0;
    if (!stream.BeginTable(u"CATEGORIES")) return 0;
    for (const CParamCategory* category : categories) {
        CXMLAttrs categoryAttrs;
        categoryAttrs.AddAttr(u"order", std::int64_t(category->paramOrder));
        categoryAttrs.AddAttr(u"categoryOrder", std::int64_t(category->categoryOrder));
        categoryAttrs.AddAttr(u"flags", std::int64_t(category->flags));
        if (!stream.WriteParameter(u"CATEGORY", category->name, 0, &categoryAttrs)) return 0;
    }
    if (!stream.EndTable()) return 0;
    // Only list types carry their values in the file.
    if (type == 5 || type == 6 || type == 29) {
        if (!stream.BeginTable(u"VALUES")) return 0;
        for (const CParamValueVariant* value : values) {
            if (!stream.BeginTable(u"VALUE") || !stream.WriteParameter(u"DATA", value->data, 0) ||
                !stream.WriteParameter(u"COMMENT", value->comment, 0) || !stream.EndTable())
                return 0;
        }
        if (!stream.EndTable()) return 0;
    }
    return stream.EndTable();
}
