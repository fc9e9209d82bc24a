#include "tarvex/plugin/paramimpl.h"

#include "tarvex/plugin/plugin_internal.h"

namespace TarvexData {

namespace {
constexpr const char* kImpl = "CIParamImpl";
}

CIParamImpl::CIParamImpl(CParam* param, bool owns) : m_bOwns(owns), m_pParam(param) {}

CIParamImpl::~CIParamImpl() {
    if (m_bOwns) delete m_pParam;
}

const CParam& CIParamImpl::Resolve(const IParam* param, CParam& scratch) {
    if (auto* impl = dynamic_cast<const CIParamImpl*>(param)) return *impl->m_pParam;
    BSTR value = nullptr;
    param->GetValue(&value);
    scratch = CParam(param->GetName(), value, param->GetComment(), param->GetValueComment());
    SysFreeString(value);
    return scratch;
}

const char16_t* CIParamImpl::GetName() const {
    return m_pParam->getName();
}

const char16_t* CIParamImpl::GetComment() const {
    return m_pParam->getComment();
}

void CIParamImpl::GetValue(char16_t** pStrDest) const {
    TX_CHECK_ARG(kImpl, pStrDest);
    detail::StoreBstr(pStrDest, m_pParam->getstrValue());
}

const char16_t* CIParamImpl::GetValueComment() const {
    return m_pParam->getValueComment();
}

void CIParamImpl::SetName(const char16_t* name) {
    m_pParam->setName(name);
}

void CIParamImpl::SetComment(const char16_t* comment) {
    m_pParam->m_strComment = comment;
}

void CIParamImpl::SetValue(const char16_t* value) {
    m_pParam->m_strValue = value;
}

void CIParamImpl::SetValueComment(const char16_t* valueComment) {
    m_pParam->m_strValueComment = valueComment;
}

void CIParamImpl::AssignValue(const IParam* pParam) {
    TX_CHECK_ARG(kImpl, pParam);
    CParam scratch;
    m_pParam->AssignValue(Resolve(pParam, scratch));
}

void CIParamImpl::AssignValueComment(const IParam* pParam) {
    TX_CHECK_ARG(kImpl, pParam);
    CParam scratch;
    m_pParam->AssignValueComment(Resolve(pParam, scratch));
}

void CIParamImpl::AssignValueAndComment(const IParam* pParam) {
    TX_CHECK_ARG(kImpl, pParam);
    CParam scratch;
    m_pParam->AssignValueAndComment(Resolve(pParam, scratch));
}

void CIParamImpl::Clone(IParam** pResParam) const {
    TX_CHECK_ARG(kImpl, pResParam);
    *pResParam = nullptr;
    *pResParam = detail::HandOutOwning<IParam, CIParamImpl>(std::make_unique<CParam>(*m_pParam));
}

bool CIParamImpl::Compare(const IParam* pParam) const {
    const CIParamImpl* other = TX_DOWNCAST(CIParamImpl, kImpl, u"Compare", u"CIParamImpl", pParam);
    return *m_pParam == *other->m_pParam;
}

const char16_t* CIParamImpl::GetUpperName() const {
    return m_pParam->UpperName();
}

} // namespace TarvexData
