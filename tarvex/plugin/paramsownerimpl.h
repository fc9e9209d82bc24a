// CIParamsOwnerImpl: IParamsOwner over a CParamsOwner, and the template that
// gives CIElementImpl the same operations.
#pragma once

#include "tarvex/element/paramsowner.h"
#include "tarvex/plugin/iunknownimpl.h"

namespace TarvexData {

// The IParamsOwner operations over Derived::GetOwner(). Arguments of the same
// kind must be Derived::SameKindImpl; a merge source must be a
// CIParamsOwnerImpl. Clone is left to Derived, which knows what it copies.
template <class Derived, class Interface>
class TParamsOwnerImplT : public Interface, public TXDataIUnknownImplBase {
public:
    TX_FORWARD_IUNKNOWN_TO_BASE

    void SetParameter(const char16_t* name, const CKV3DoubleVector& value, const char16_t* comment,
                      const char16_t* valueComment) override;
    void SetParameter(const char16_t* name, const _GUID& value, const char16_t* comment,
                      const char16_t* valueComment) override;
    void SetParameter(const char16_t* name, int value, const char16_t* comment,
                      const char16_t* valueComment) override;
    void SetParameter(const char16_t* name, double value, const char16_t* comment,
                      const char16_t* valueComment) override;
    void SetParameter(const char16_t* name, double value, int digits, const char16_t* comment,
                      const char16_t* valueComment) override;
    void SetParameter(const char16_t* name, const char16_t* value, const char16_t* comment,
                      const char16_t* valueComment) override;
    void AddParameter(const char16_t* name, const char16_t* value, const char16_t* comment,
                      const char16_t* valueComment, IParam** pResParam) override;
    void AddParamCopy(const IParam* pParam, bool checkExisting) override;
    void ApplyParameter(const IParam* pParam) override;
    void ApplyParameters(const IParamsOwner* pOwner) override;
    CKV3DoubleVector GetParameterValue(const char16_t* name,
                                       const CKV3DoubleVector& def) const override;
    int GetParameterValue(const char16_t* name, int def) const override;
    double GetParameterValue(const char16_t* name, double def) const override;
    const char16_t* GetParameterValue(const char16_t* name, const char16_t* def) const override;
    bool GetValue(const char16_t* name, _GUID& value) const override;
    bool GetValue(const char16_t* name, CKV3DoubleVector& value) const override;
    bool GetValue(const char16_t* name, double& value) const override;
    bool GetValue(const char16_t* name, bool& value) const override;
    bool GetValue(const char16_t* name, int& value) const override;
    bool GetValue(const char16_t* name, char16_t** pStrDest) const override;
    bool GetParameter(std::int64_t index, IParam** pResParam) override;
    bool GetParameter(const char16_t* name, IParam** pResParam) override;
    std::int64_t GetParamsCount() const override;
    void RemoveParameter(std::int64_t index) override;
    bool RemoveParameter(const char16_t* name) override;
    void DeleteAllParams() override;
    void CopyParamsFrom(const IParamsOwner* pOwner) override;
    void MergeParamsFrom(const IParamsOwner* pOwner, bool copyEmpty, bool keepExisting) override;
    bool IsEqualParameters(const IParamsOwner* pOwner) const override;
    void FormatUID(const _GUID& guid, char16_t** pStrDest) const override;

protected:
    TParamsOwnerImplT() = default;

private:
    CParamsOwner& Owner() const { return *static_cast<const Derived*>(this)->GetOwner(); }
};

class CIParamsOwnerImpl final : public TParamsOwnerImplT<CIParamsOwnerImpl, IParamsOwner> {
public:
    using SameKindImpl = CIParamsOwnerImpl;
    static constexpr const char* kImplName = "CIParamsOwnerImpl";
    static constexpr const char16_t* kSameKindName = u"CIParamsOwnerImpl";

    // With `owns`, the owner is deleted with the wrapper.
    CIParamsOwnerImpl(CParamsOwner* owner, bool owns);
    ~CIParamsOwnerImpl() override;

    void Clone(IParamsOwner** pResOwner) const override;

    CParamsOwner* GetOwner() const { return m_pOwner; }

private:
    bool m_bOwns;
    CParamsOwner* m_pOwner;
};

} // namespace TarvexData
