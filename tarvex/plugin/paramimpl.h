// CIParamImpl: IParam over a CParam.
#pragma once

#include "tarvex/element/param.h"
#include "tarvex/plugin/iunknownimpl.h"

namespace TarvexData {

class CIParamImpl final : public IParam, public TXDataIUnknownImplBase {
public:
    // With `owns`, the parameter is deleted with the wrapper.
    CIParamImpl(CParam* param, bool owns);
    ~CIParamImpl() override;

    TX_FORWARD_IUNKNOWN_TO_BASE

    const char16_t* GetName() const override;
    const char16_t* GetComment() const override;
    void GetValue(char16_t** pStrDest) const override;
    const char16_t* GetValueComment() const override;
    void SetName(const char16_t* name) override;
    void SetComment(const char16_t* comment) override;
    void SetValue(const char16_t* value) override;
    void SetValueComment(const char16_t* valueComment) override;
    void AssignValue(const IParam* pParam) override;
    void AssignValueComment(const IParam* pParam) override;
    void AssignValueAndComment(const IParam* pParam) override;
    void Clone(IParam** pResParam) const override;
    bool Compare(const IParam* pParam) const override;
    const char16_t* GetUpperName() const override;

    CParam* GetParam() const { return m_pParam; }

    // The parameter behind any IParam: the wrapped one for ours, otherwise a
    // copy read through the interface into `scratch`.
    static const CParam& Resolve(const IParam* param, CParam& scratch);

private:
    bool m_bOwns;
    CParam* m_pParam;
};

} // namespace TarvexData
