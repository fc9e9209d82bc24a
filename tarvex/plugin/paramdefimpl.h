// CIParamDefImpl: IParamDef over a CParamDef.
#pragma once

#include "tarvex/dictionary/paramdef.h"
#include "tarvex/plugin/iunknownimpl.h"

namespace TarvexData {

class CIParamDefImpl final : public IParamDef, public TXDataIUnknownImplBase {
public:
    // With `owns`, the definition is deleted with the wrapper.
    CIParamDefImpl(CParamDef* def, bool owns);
    ~CIParamDefImpl() override;

    TX_FORWARD_IUNKNOWN_TO_BASE

    const char16_t* GetName() const override;
    void SetName(const char16_t* name) override;
    bool MakeCorrectName() override;
    const char16_t* GetComment() const override;
    void SetComment(const char16_t* comment) override;
    EType GetType() const override;
    void SetType(EType type) override;
    bool IsNumber() const override;
    bool IsParamReadOnly() const override;
    bool IsInReadOnlyCategory() const override;
    bool GetReadOnlyFlag() const override;
    void SetReadOnlyFlag(bool readOnly) override;
    bool IsCalculated() const override;
    bool IsHidden() const override;
    std::int32_t GetPrescision() const override;
    void SetPrescision(std::int32_t size) override;
    std::int32_t GetDependency() const override;
    void SetDependency(std::int32_t dependency) override;
    bool IsEqual(const IParamDef* pDef) const override;
    void Clone(IParamDef** pResDef) const override;
    const char16_t* GetDefaultValue() const override;
    int GetDefaultValueInt() const override;
    double GetDefaultValueDbl() const override;
    void SetDefaultValue(tagVARIANT& value) override;
    void SetDefaultValue(double value) override;
    void SetDefaultValue(int value) override;
    void SetDefaultValue(const char16_t* value) override;
    const char16_t* GetDefaultValueComment() const override;
    void SetDefaultValueComment(const char16_t* comment) override;
    bool UpdateDefaultValueComment() override;
    void AddCategory(const char16_t* name, unsigned int order) override;
    void AddCategory(const char16_t* name) override;
    std::int64_t GetCategoriesCount() const override;
    const char16_t* GetCategory(std::int64_t index) const override;
    std::int64_t FindCategory(const char16_t* name) const override;
    bool HasCategory(const char16_t* name) const override;
    void RemoveCategory(std::int64_t index) override;
    void RemoveAllCategories() override;
    void AddValue(const char16_t* data, const char16_t* comment) override;
    std::int64_t GetValuesCount() const override;
    const char16_t* GetValue(std::int64_t index) const override;
    const char16_t* GetValueComment(std::int64_t index) const override;
    std::int64_t FindValueIndex(const char16_t* data) const override;
    bool DeleteValue(const char16_t* data) override;
    void DeleteValue(std::int64_t index) override;
    void DeleteAllValues() override;

    CParamDef* GetDef() const { return m_pDef; }

private:
    bool m_bOwns;
    CParamDef* m_pDef;
};

} // namespace TarvexData
