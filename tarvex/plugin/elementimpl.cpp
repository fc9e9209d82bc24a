#include "tarvex/plugin/elementimpl.h"

#include <memory>

#include "tarvex/plugin/plugin_internal.h"

namespace TarvexData {

namespace {

constexpr const char* kImpl = CIElementImpl::kImplName;

// A non-owning wrapper for an element of a tree; false and null for none.
bool HandOutElement(CElement* element, IElement** result) {
    *result = nullptr;
    if (element == nullptr) return false;
    *result = detail::HandOut<IElement>(new CIElementImpl(element, false));
    return true;
}

} // namespace

CIElementImpl::CIElementImpl(CElement* element, bool owns) : m_bOwns(owns), m_pElement(element) {}

CIElementImpl::~CIElementImpl() {
    if (m_bOwns) delete m_pElement;
}

CElement* ConvertToCElement(IElement* element) {
    auto* pElImpl = dynamic_cast<CIElementImpl*>(element);
    if (pElImpl == nullptr) throw CString(u"This method supports only CIElementImpl data type");
    KV_CHECK_NOT_NULL(pElImpl->m_pElement);
    return pElImpl->m_pElement;
}

void CIElementImpl::Clone(IParamsOwner** pResOwner) const {
    TX_CHECK_ARG(kImpl, pResOwner);
    *pResOwner = nullptr;
    *pResOwner =
        detail::HandOutOwning<IElement, CIElementImpl>(std::make_unique<CElement>(*m_pElement));
}

void CIElementImpl::Clone(IElement** pResElement) const {
    TX_CHECK_ARG(kImpl, pResElement);
    *pResElement = nullptr;
    *pResElement =
        detail::HandOutOwning<IElement, CIElementImpl>(std::make_unique<CElement>(*m_pElement));
}

const char16_t* CIElementImpl::GetName() const {
    return m_pElement->GetName();
}

void CIElementImpl::SetName(const char16_t* name) {
    m_pElement->SetName(name);
}

std::int64_t CIElementImpl::GetId() const {
    return m_pElement->GetFullId();
}

int CIElementImpl::GetLevel() const {
    return m_pElement->GetLevel();
}

std::int32_t CIElementImpl::GetModelUID() const {
    return m_pElement->GetModelUID();
}

void CIElementImpl::SetModelUID(std::int32_t modelUID) {
    m_pElement->SetModelUID(modelUID);
}

std::int64_t CIElementImpl::GetChildCount() const {
    return m_pElement->GetChildCount();
}

bool CIElementImpl::GetChild(const char16_t* name, IElement** pResElement) const {
    TX_CHECK_ARG(kImpl, pResElement);
    return HandOutElement(m_pElement->GetChild(name), pResElement);
}

bool CIElementImpl::GetChild(std::int64_t index, IElement** pResElement) const {
    TX_CHECK_ARG(kImpl, pResElement);
    const bool inRange = index >= 0 && index < m_pElement->GetChildCount();
    return HandOutElement(inRange ? m_pElement->GetChild(index) : nullptr, pResElement);
}

bool CIElementImpl::GetChildNoCase(const char16_t* name, IElement** pResElement) const {
    TX_CHECK_ARG(kImpl, pResElement);
    return HandOutElement(m_pElement->GetChildNoCase(name), pResElement);
}

std::int64_t CIElementImpl::GetChildIndex(IElement* pElement) const {
    const CIElementImpl* child =
        TX_DOWNCAST(CIElementImpl, kImpl, u"GetChildIndex", u"CIElementImpl", pElement);
    return m_pElement->GetChildIndex(child->m_pElement);
}

bool CIElementImpl::GetElementById(std::int64_t id, IElement** pResElement) const {
    TX_CHECK_ARG(kImpl, pResElement);
    return HandOutElement(m_pElement->GetElementById(id), pResElement);
}

bool CIElementImpl::GetChildById(int id, IElement** pResElement) const {
    TX_CHECK_ARG(kImpl, pResElement);
    return HandOutElement(m_pElement->GetChildById(id), pResElement);
}

bool CIElementImpl::HasChild(IElement* pElement) const {
    const CIElementImpl* child =
        TX_DOWNCAST(CIElementImpl, kImpl, u"HasChild", u"CIElementImpl", pElement);
    return m_pElement->HasChild(child->m_pElement);
}

void CIElementImpl::AddChild(const char16_t* name, IElement** pResElement) {
    TX_CHECK_ARG(kImpl, pResElement);
    HandOutElement(m_pElement->AddChild(name), pResElement);
}

void CIElementImpl::InsertChild(std::int64_t index, const char16_t* name, IElement** pResElement) {
    TX_CHECK_ARG(kImpl, pResElement);
    HandOutElement(m_pElement->InsertChild(index, name), pResElement);
}

void CIElementImpl::AddChildCopy(const IElement* pElement, IElement** pResElement) {
    const CIElementImpl* source =
        TX_DOWNCAST(CIElementImpl, kImpl, u"AddChildCopy", u"CIElementImpl", pElement);
    TX_CHECK_ARG(kImpl, pResElement);
    HandOutElement(m_pElement->AddChildCopy(source->m_pElement), pResElement);
}

std::int64_t CIElementImpl::GetMaxElementId() const {
    return m_pElement->GetMaxElementIdVal();
}

bool CIElementImpl::GetParent(IElement** pResElement) const {
    TX_CHECK_ARG(kImpl, pResElement);
    return HandOutElement(m_pElement->GetParent(), pResElement);
}

bool CIElementImpl::GetRoot(IElement** pResElement) const {
    TX_CHECK_ARG(kImpl, pResElement);
    return HandOutElement(m_pElement->GetRoot(), pResElement);
}

bool CIElementImpl::DeleteChild(IElement* pElement) {
    const CIElementImpl* child =
        TX_DOWNCAST(CIElementImpl, kImpl, u"DeleteChild", u"CIElementImpl", pElement);
    return m_pElement->DeleteChild(child->m_pElement);
}

void CIElementImpl::DeleteAllChildren() {
    m_pElement->DeleteAllChildren();
}

void CIElementImpl::Delete() {
    m_pElement->Delete();
}

std::int32_t CIElementImpl::GetTag(std::int64_t index) const {
    return m_pElement->GetTag(index);
}

void CIElementImpl::SetTag(std::int64_t index, std::int32_t value) {
    m_pElement->SetTag(index, value);
}

void CIElementImpl::SetTagsCount(std::int32_t count) {
    m_pElement->SetTagsCount(count);
}

std::int32_t CIElementImpl::GetTagsCount() const {
    return m_pElement->GetTagsCount();
}

const std::int32_t* CIElementImpl::GetTags() const {
    return m_pElement->GetTags();
}

void CIElementImpl::CopyFrom(const IElement* pElement) {
    const CIElementImpl* source =
        TX_DOWNCAST(CIElementImpl, kImpl, u"CopyFrom", u"CIElementImpl", pElement);
    m_pElement->CopyFrom(source->m_pElement);
}

void CIElementImpl::Merge(const IElement* pElement, bool copyEmpty, bool keepExisting,
                          bool takeName) {
    const CIElementImpl* source =
        TX_DOWNCAST(CIElementImpl, kImpl, u"Merge", u"CIElementImpl", pElement);
    m_pElement->Merge(source->m_pElement, copyEmpty, keepExisting, takeName);
}

void CIElementImpl::CopyChildrenFrom(const IElement* pElement) {
    const CIElementImpl* source =
        TX_DOWNCAST(CIElementImpl, kImpl, u"CopyChildrenFrom", u"CIElementImpl", pElement);
    m_pElement->CopyChildrenFrom(source->m_pElement);
}

void CIElementImpl::CalculateParameters() {
    m_pElement->CalculateParameters();
}

double CIElementImpl::GetParameterValueEx(const char16_t* name, double def) {
    return m_pElement->GetParameterValueEx(name, def, true);
}

int CIElementImpl::GetParameterValueEx(const char16_t* name, int def) {
    return m_pElement->GetParameterValueEx(name, def, true);
}

bool CIElementImpl::GetParameterValueEx(const char16_t* name, char16_t** pStrDest,
                                        const char16_t* def, bool calculate) {
    TX_CHECK_ARG(kImpl, pStrDest);
    CString value;
    const bool found = m_pElement->GetParameterValueEx(name, value, calculate);
    if (!found) value = def;
    detail::StoreBstr(pStrDest, value);
    return found;
}

bool CIElementImpl::ReadFromXML(const char16_t* text) {
    return m_pElement->ReadFromXML(CString(text));
}

bool CIElementImpl::ReadFromFile(const char16_t* path) {
    return m_pElement->ReadFromFile(path);
}

bool CIElementImpl::WriteToXML(char16_t** pStrDest) const {
    TX_CHECK_ARG(kImpl, pStrDest);
    CString text;
    const bool written = m_pElement->WriteToXML(text);
    detail::StoreBstr(pStrDest, text);
    return written;
}

bool CIElementImpl::WriteToFile(const char16_t* path) const {
    return m_pElement->WriteToFile(path);
}

bool CIElementImpl::FindElementByParameterValue(const char16_t* name, const char16_t* value,
                                                bool noCase, IElement** pResElement) {
    TX_CHECK_ARG(kImpl, pResElement);
    return HandOutElement(m_pElement->FindElementByParameterValue(name, value, noCase),
                          pResElement);
}

} // namespace TarvexData
