// An IElement that is not the library's: every operation does nothing. The
// wrappers must refuse it where they need their own element behind the
// interface.
#pragma once

#include "tarvex/plugin/txdatainterfaces.h"

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wunused-parameter"

class ForeignElement final : public TarvexData::IElement {
public:
    using IParam = TarvexData::IParam;
    using IParamsOwner = TarvexData::IParamsOwner;
    using IElement = TarvexData::IElement;

    HRESULT QueryInterface(REFIID, void**) override { return static_cast<HRESULT>(0x80004001u); }
    ULONG AddRef() override { return 1; }
    ULONG Release() override { return 1; }

    void SetParameter(const char16_t* name, const CKV3DoubleVector& value, const char16_t* comment,
                      const char16_t* valueComment) override {}
    void SetParameter(const char16_t* name, const _GUID& value, const char16_t* comment,
                      const char16_t* valueComment) override {}
    void SetParameter(const char16_t* name, int value, const char16_t* comment,
                      const char16_t* valueComment) override {}
    void SetParameter(const char16_t* name, double value, const char16_t* comment,
                      const char16_t* valueComment) override {}
    void SetParameter(const char16_t* name, double value, int digits, const char16_t* comment,
                      const char16_t* valueComment) override {}
    void SetParameter(const char16_t* name, const char16_t* value, const char16_t* comment,
                      const char16_t* valueComment) override {}
    void AddParameter(const char16_t* name, const char16_t* value, const char16_t* comment,
                      const char16_t* valueComment, IParam** pResParam) override {}
    void AddParamCopy(const IParam* pParam, bool checkExisting) override {}
    void ApplyParameter(const IParam* pParam) override {}
    void ApplyParameters(const IParamsOwner* pOwner) override {}
    CKV3DoubleVector GetParameterValue(const char16_t* name,
                                       const CKV3DoubleVector& def) const override {
        return {};
    }
    int GetParameterValue(const char16_t* name, int def) const override { return {}; }
    double GetParameterValue(const char16_t* name, double def) const override { return {}; }
    const char16_t* GetParameterValue(const char16_t* name, const char16_t* def) const override {
        return {};
    }
    bool GetValue(const char16_t* name, _GUID& value) const override { return {}; }
    bool GetValue(const char16_t* name, CKV3DoubleVector& value) const override { return {}; }
    bool GetValue(const char16_t* name, double& value) const override { return {}; }
    bool GetValue(const char16_t* name, bool& value) const override { return {}; }
    bool GetValue(const char16_t* name, int& value) const override { return {}; }
    bool GetValue(const char16_t* name, char16_t** pStrDest) const override { return {}; }
    bool GetParameter(std::int64_t index, IParam** pResParam) override { return {}; }
    bool GetParameter(const char16_t* name, IParam** pResParam) override { return {}; }
    std::int64_t GetParamsCount() const override { return {}; }
    void RemoveParameter(std::int64_t index) override {}
    bool RemoveParameter(const char16_t* name) override { return {}; }
    void DeleteAllParams() override {}
    void Clone(IParamsOwner** pResOwner) const override {}
    void CopyParamsFrom(const IParamsOwner* pOwner) override {}
    void MergeParamsFrom(const IParamsOwner* pOwner, bool copyEmpty, bool keepExisting) override {}
    bool IsEqualParameters(const IParamsOwner* pOwner) const override { return {}; }
    void FormatUID(const _GUID& guid, char16_t** pStrDest) const override {}
    const char16_t* GetName() const override { return {}; }
    void SetName(const char16_t* name) override {}
    std::int64_t GetId() const override { return {}; }
    int GetLevel() const override { return {}; }
    std::int32_t GetModelUID() const override { return {}; }
    void SetModelUID(std::int32_t modelUID) override {}
    std::int64_t GetChildCount() const override { return {}; }
    bool GetChild(const char16_t* name, IElement** pResElement) const override { return {}; }
    bool GetChild(std::int64_t index, IElement** pResElement) const override { return {}; }
    bool GetChildNoCase(const char16_t* name, IElement** pResElement) const override { return {}; }
    std::int64_t GetChildIndex(IElement* pElement) const override { return {}; }
    bool GetElementById(std::int64_t id, IElement** pResElement) const override { return {}; }
    bool GetChildById(int id, IElement** pResElement) const override { return {}; }
    bool HasChild(IElement* pElement) const override { return {}; }
    void AddChild(const char16_t* name, IElement** pResElement) override {}
    void InsertChild(std::int64_t index, const char16_t* name, IElement** pResElement) override {}
    void AddChildCopy(const IElement* pElement, IElement** pResElement) override {}
    std::int64_t GetMaxElementId() const override { return {}; }
    bool GetParent(IElement** pResElement) const override { return {}; }
    bool GetRoot(IElement** pResElement) const override { return {}; }
    bool DeleteChild(IElement* pElement) override { return {}; }
    void DeleteAllChildren() override {}
    void Delete() override {}
    std::int32_t GetTag(std::int64_t index) const override { return {}; }
    void SetTag(std::int64_t index, std::int32_t value) override {}
    void SetTagsCount(std::int32_t count) override {}
    std::int32_t GetTagsCount() const override { return {}; }
    const std::int32_t* GetTags() const override { return {}; }
    void Clone(IElement** pResElement) const override {}
    void CopyFrom(const IElement* pElement) override {}
    void Merge(const IElement* pElement, bool copyEmpty, bool keepExisting,
               bool takeName) override {}
    void CopyChildrenFrom(const IElement* pElement) override {}
    void CalculateParameters() override {}
    double GetParameterValueEx(const char16_t* name, double def) override { return {}; }
    int GetParameterValueEx(const char16_t* name, int def) override { return {}; }
    bool GetParameterValueEx(const char16_t* name, char16_t** pStrDest, const char16_t* def,
                             bool calculate) override {
        return {};
    }
    bool ReadFromXML(const char16_t* text) override { return {}; }
    bool ReadFromFile(const char16_t* path) override { return {}; }
    bool WriteToXML(char16_t** pStrDest) const override { return {}; }
    bool WriteToFile(const char16_t* path) const override { return {}; }
    bool FindElementByParameterValue(const char16_t* name, const char16_t* value, bool noCase,
                                     IElement** pResElement) override {
        return {};
    }
};

#pragma GCC diagnostic pop
