// The plug-in interfaces: what a plug-in compiles against instead of the
// library's classes.
//
// This header stands alone: it needs only the standard library, so a plug-in
// builds with this one file. It declares the few Automation basics it uses
// (IUnknown, _GUID, BSTR and its allocation calls) exactly as the library
// defines them, and skips any the library's own headers have already given.
//
// Rules of use:
// - An object comes from the factory (TarvexGetPluginFactory) or from another
//   interface, with one reference that the caller ends by Release.
// - QueryInterface answers E_NOTIMPL for every interface id: keep the
//   pointer you were given.
// - Text outputs are BSTRs owned by the caller, freed by SysFreeString. A
//   BSTR already in the output is reused (reallocated), so pass null or a
//   string you own.
// - Other texts returned are borrowed from the object and change with it.
// - Interfaces handed out for objects inside a tree (a child, a parameter of
//   an element) do not own them: they dangle once the object is deleted.
// - Errors inside an interface call propagate as C++ exceptions; the
//   factory reports by HRESULT.
// - A reference count may be released on any thread; everything else belongs
//   to one thread at a time.
#pragma once

#include <cstdint>

// ---------------------------------------------------------------------------
// Automation basics, identical to the library's own.

using HRESULT = std::int32_t;
using ULONG = std::uint32_t;
using BSTR = char16_t*;

#ifndef GUID_DEFINED
#define GUID_DEFINED
struct _GUID {
    std::uint32_t Data1;
    std::uint16_t Data2;
    std::uint16_t Data3;
    std::uint8_t Data4[8];
};
#endif
using GUID = _GUID;
using IID = GUID;
using REFIID = const IID&;

struct tagVARIANT;

#ifndef TARVEX_IUNKNOWN_DEFINED
#define TARVEX_IUNKNOWN_DEFINED
class IUnknown {
public:
    virtual HRESULT QueryInterface(REFIID riid, void** object) = 0;
    virtual ULONG AddRef() = 0;
    virtual ULONG Release() = 0;

protected:
    ~IUnknown() = default;
};
#endif

// The BSTR calls, exported by the library: a plug-in frees the strings it
// receives with SysFreeString.
char16_t* SysAllocString(const char16_t* text) noexcept;
char16_t* SysAllocStringLen(const char16_t* text, unsigned int length) noexcept;
int SysReAllocString(char16_t** target, const char16_t* text) noexcept;
int SysReAllocStringLen(char16_t** target, const char16_t* text, unsigned int length) noexcept;
unsigned int SysStringLen(char16_t* text) noexcept;
void SysFreeString(char16_t* text) noexcept;

// A point or a vector at the interfaces.
struct CKV3DoubleVector {
    double x;
    double y;
    double z;
};

namespace TarvexData {

class IParam : public IUnknown {
public:
    virtual const char16_t* GetName() const = 0;
    virtual const char16_t* GetComment() const = 0;
    virtual void GetValue(char16_t** pStrDest) const = 0;
    virtual const char16_t* GetValueComment() const = 0;
    virtual void SetName(const char16_t* name) = 0;
    virtual void SetComment(const char16_t* comment) = 0;
    virtual void SetValue(const char16_t* value) = 0;
    virtual void SetValueComment(const char16_t* valueComment) = 0;
    virtual void AssignValue(const IParam* pParam) = 0;
    virtual void AssignValueComment(const IParam* pParam) = 0;
    virtual void AssignValueAndComment(const IParam* pParam) = 0;
    virtual void Clone(IParam** pResParam) const = 0;
    // Same name without regard to case.
    virtual bool Compare(const IParam* pParam) const = 0;
    virtual const char16_t* GetUpperName() const = 0;

protected:
    ~IParam() = default;
};

class IParamsOwner : public IUnknown {
public:
    virtual void SetParameter(const char16_t* name, const CKV3DoubleVector& value,
                              const char16_t* comment = nullptr,
                              const char16_t* valueComment = nullptr) = 0;
    virtual void SetParameter(const char16_t* name, const _GUID& value,
                              const char16_t* comment = nullptr,
                              const char16_t* valueComment = nullptr) = 0;
    virtual void SetParameter(const char16_t* name, int value, const char16_t* comment = nullptr,
                              const char16_t* valueComment = nullptr) = 0;
    virtual void SetParameter(const char16_t* name, double value, const char16_t* comment = nullptr,
                              const char16_t* valueComment = nullptr) = 0;
    virtual void SetParameter(const char16_t* name, double value, int digits,
                              const char16_t* comment = nullptr,
                              const char16_t* valueComment = nullptr) = 0;
    virtual void SetParameter(const char16_t* name, const char16_t* value,
                              const char16_t* comment = nullptr,
                              const char16_t* valueComment = nullptr) = 0;
    // An existing parameter of that name is handed out unchanged.
    virtual void AddParameter(const char16_t* name, const char16_t* value, const char16_t* comment,
                              const char16_t* valueComment, IParam** pResParam) = 0;
    virtual void AddParamCopy(const IParam* pParam, bool checkExisting) = 0;
    virtual void ApplyParameter(const IParam* pParam) = 0;
    virtual void ApplyParameters(const IParamsOwner* pOwner) = 0;
    virtual CKV3DoubleVector GetParameterValue(const char16_t* name,
                                               const CKV3DoubleVector& def) const = 0;
    virtual int GetParameterValue(const char16_t* name, int def) const = 0;
    virtual double GetParameterValue(const char16_t* name, double def) const = 0;
    virtual const char16_t* GetParameterValue(const char16_t* name, const char16_t* def) const = 0;
    // False, with the output untouched, for a missing parameter.
    virtual bool GetValue(const char16_t* name, _GUID& value) const = 0;
    virtual bool GetValue(const char16_t* name, CKV3DoubleVector& value) const = 0;
    virtual bool GetValue(const char16_t* name, double& value) const = 0;
    virtual bool GetValue(const char16_t* name, bool& value) const = 0;
    virtual bool GetValue(const char16_t* name, int& value) const = 0;
    virtual bool GetValue(const char16_t* name, char16_t** pStrDest) const = 0;
    // False, with a null result, when there is no such parameter.
    virtual bool GetParameter(std::int64_t index, IParam** pResParam) = 0;
    virtual bool GetParameter(const char16_t* name, IParam** pResParam) = 0;
    virtual std::int64_t GetParamsCount() const = 0;
    virtual void RemoveParameter(std::int64_t index) = 0;
    virtual bool RemoveParameter(const char16_t* name) = 0;
    virtual void DeleteAllParams() = 0;
    virtual void Clone(IParamsOwner** pResOwner) const = 0;
    virtual void CopyParamsFrom(const IParamsOwner* pOwner) = 0;
    virtual void MergeParamsFrom(const IParamsOwner* pOwner, bool copyEmpty, bool keepExisting) = 0;
    virtual bool IsEqualParameters(const IParamsOwner* pOwner) const = 0;
    virtual void FormatUID(const _GUID& guid, char16_t** pStrDest) const = 0;

protected:
    ~IParamsOwner() = default;
};

class IElement : public IParamsOwner {
public:
    using IParamsOwner::Clone;

    virtual const char16_t* GetName() const = 0;
    virtual void SetName(const char16_t* name) = 0;
    virtual std::int64_t GetId() const = 0;
    virtual int GetLevel() const = 0;
    virtual std::int32_t GetModelUID() const = 0;
    virtual void SetModelUID(std::int32_t modelUID) = 0;
    virtual std::int64_t GetChildCount() const = 0;
    // The lookups give false, with a null result, when nothing is found.
    virtual bool GetChild(const char16_t* name, IElement** pResElement) const = 0;
    virtual bool GetChild(std::int64_t index, IElement** pResElement) const = 0;
    virtual bool GetChildNoCase(const char16_t* name, IElement** pResElement) const = 0;
    // -1 when not a direct child.
    virtual std::int64_t GetChildIndex(IElement* pElement) const = 0;
    virtual bool GetElementById(std::int64_t id, IElement** pResElement) const = 0;
    virtual bool GetChildById(int id, IElement** pResElement) const = 0;
    virtual bool HasChild(IElement* pElement) const = 0;
    virtual void AddChild(const char16_t* name, IElement** pResElement) = 0;
    virtual void InsertChild(std::int64_t index, const char16_t* name, IElement** pResElement) = 0;
    virtual void AddChildCopy(const IElement* pElement, IElement** pResElement) = 0;
    virtual std::int64_t GetMaxElementId() const = 0;
    virtual bool GetParent(IElement** pResElement) const = 0;
    virtual bool GetRoot(IElement** pResElement) const = 0;
    virtual bool DeleteChild(IElement* pElement) = 0;
    virtual void DeleteAllChildren() = 0;
    // Deletes the element from its parent; a root stays.
    virtual void Delete() = 0;
    virtual std::int32_t GetTag(std::int64_t index) const = 0;
    virtual void SetTag(std::int64_t index, std::int32_t value) = 0;
    virtual void SetTagsCount(std::int32_t count) = 0;
    virtual std::int32_t GetTagsCount() const = 0;
    virtual const std::int32_t* GetTags() const = 0;
    virtual void Clone(IElement** pResElement) const = 0;
    virtual void CopyFrom(const IElement* pElement) = 0;
    virtual void Merge(const IElement* pElement, bool copyEmpty, bool keepExisting,
                       bool takeName) = 0;
    virtual void CopyChildrenFrom(const IElement* pElement) = 0;
    // Calculates every formula of the whole tree.
    virtual void CalculateParameters() = 0;
    // The value, calculated when the parameter has a formula; the default when
    // it is missing or its formula fails.
    virtual double GetParameterValueEx(const char16_t* name, double def) = 0;
    virtual int GetParameterValueEx(const char16_t* name, int def) = 0;
    // False when the parameter is missing, and then `pStrDest` gets `def`.
    virtual bool GetParameterValueEx(const char16_t* name, char16_t** pStrDest, const char16_t* def,
                                     bool calculate) = 0;
    virtual bool ReadFromXML(const char16_t* text) = 0;
    virtual bool ReadFromFile(const char16_t* path) = 0;
    virtual bool WriteToXML(char16_t** pStrDest) const = 0;
    virtual bool WriteToFile(const char16_t* path) const = 0;
    virtual bool FindElementByParameterValue(const char16_t* name, const char16_t* value,
                                             bool noCase, IElement** pResElement) = 0;

protected:
    ~IElement() = default;
};

class IParamDef : public IUnknown {
public:
    // The dictionary's type codes; others are carried unchanged.
    enum EType : std::int32_t {
        Untyped = 1,
        List = 5,
        Fixed = 16,
        FreeComment = 28,
    };

    virtual const char16_t* GetName() const = 0;
    virtual void SetName(const char16_t* name) = 0;
    virtual bool MakeCorrectName() = 0;
    virtual const char16_t* GetComment() const = 0;
    virtual void SetComment(const char16_t* comment) = 0;
    virtual EType GetType() const = 0;
    virtual void SetType(EType type) = 0;
    virtual bool IsNumber() const = 0;
    virtual bool IsParamReadOnly() const = 0;
    virtual bool IsInReadOnlyCategory() const = 0;
    virtual bool GetReadOnlyFlag() const = 0;
    virtual void SetReadOnlyFlag(bool readOnly) = 0;
    // Whether the default value comment is a formula.
    virtual bool IsCalculated() const = 0;
    virtual bool IsHidden() const = 0;
    virtual std::int32_t GetPrescision() const = 0;
    virtual void SetPrescision(std::int32_t size) = 0;
    virtual std::int32_t GetDependency() const = 0;
    virtual void SetDependency(std::int32_t dependency) = 0;
    virtual bool IsEqual(const IParamDef* pDef) const = 0;
    virtual void Clone(IParamDef** pResDef) const = 0;
    virtual const char16_t* GetDefaultValue() const = 0;
    virtual int GetDefaultValueInt() const = 0;
    virtual double GetDefaultValueDbl() const = 0;
    virtual void SetDefaultValue(tagVARIANT& value) = 0;
    virtual void SetDefaultValue(double value) = 0;
    virtual void SetDefaultValue(int value) = 0;
    virtual void SetDefaultValue(const char16_t* value) = 0;
    virtual const char16_t* GetDefaultValueComment() const = 0;
    virtual void SetDefaultValueComment(const char16_t* comment) = 0;
    virtual bool UpdateDefaultValueComment() = 0;
    virtual void AddCategory(const char16_t* name, unsigned int order) = 0;
    virtual void AddCategory(const char16_t* name) = 0;
    virtual std::int64_t GetCategoriesCount() const = 0;
    // Null outside the range.
    virtual const char16_t* GetCategory(std::int64_t index) const = 0;
    virtual std::int64_t FindCategory(const char16_t* name) const = 0;
    virtual bool HasCategory(const char16_t* name) const = 0;
    virtual void RemoveCategory(std::int64_t index) = 0;
    virtual void RemoveAllCategories() = 0;
    virtual void AddValue(const char16_t* data, const char16_t* comment) = 0;
    virtual std::int64_t GetValuesCount() const = 0;
    // Null outside the range.
    virtual const char16_t* GetValue(std::int64_t index) const = 0;
    virtual const char16_t* GetValueComment(std::int64_t index) const = 0;
    virtual std::int64_t FindValueIndex(const char16_t* data) const = 0;
    virtual bool DeleteValue(const char16_t* data) = 0;
    virtual void DeleteValue(std::int64_t index) = 0;
    virtual void DeleteAllValues() = 0;

protected:
    ~IParamDef() = default;
};

class IParamDefs : public IUnknown {
public:
    virtual std::int64_t GetCount() = 0;
    // False, with a null result, when there is no such definition.
    virtual bool GetParam(const char16_t* name, IParamDef** pResDef) = 0;
    virtual bool GetParam(std::int64_t index, IParamDef** pResDef) = 0;
    virtual std::int64_t GetParamIndex(const char16_t* name) = 0;
    virtual void AddParam(const char16_t* name, const char16_t* comment, IParamDef** pResDef) = 0;
    virtual void AddParamCopy(IParamDef* pDef, bool checkExisting, IParamDef** pResDef) = 0;
    virtual void AddParamsCopy(const IParamDefs* pDefs) = 0;
    virtual bool RemoveParam(const char16_t* name) = 0;
    virtual void Clear() = 0;
    // Nonzero on success.
    virtual int LoadFromFile(const char16_t* path) = 0;
    virtual int SaveToFile(const char16_t* path) = 0;
    virtual bool HasParam(const char16_t* name) = 0;
    // The database calls answer false without a connected link.
    virtual bool UpdateDbParameter(IParamDef* pDef) = 0;
    // By the definition's index here.
    virtual bool DeleteDBParameter(int index) = 0;
    virtual bool SaveToDb() = 0;

protected:
    ~IParamDefs() = default;
};

// The factory. Not reference-counted: it lives as long as the library.
// Each call returns S_OK with one reference in *result, or E_INVALIDARG for
// a null result, having made nothing.
class IFactoryInterface {
public:
    virtual HRESULT GetApiVersion(int* major, int* minor) = 0;
    virtual HRESULT CreateParam(IParam** result, const char16_t* name, const char16_t* value,
                                const char16_t* comment, const char16_t* valueComment) = 0;
    virtual HRESULT CreateElement(IElement** result, const char16_t* name) = 0;
    virtual HRESULT CreateParamDef(IParamDef** result, const char16_t* name,
                                   const char16_t* comment, int type, bool readOnly, int size,
                                   int dependency) = 0;
    virtual HRESULT CreateParamDefs(IParamDefs** result) = 0;
    // The process-wide dictionary, not owned by the interface.
    virtual HRESULT GetGlobalParamDefs(IParamDefs** result) = 0;
    virtual HRESULT GetMainAppKey(char16_t** result) = 0;
    virtual ~IFactoryInterface() = default;
};

} // namespace TarvexData

// The entry point a plug-in calls to reach the factory.
extern "C" TarvexData::IFactoryInterface* TarvexGetPluginFactory();
