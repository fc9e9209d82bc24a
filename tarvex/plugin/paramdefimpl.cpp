#include "tarvex/plugin/paramdefimpl.h"

#include "tarvex/platform/variant.h"
#include "tarvex/plugin/plugin_internal.h"

namespace TarvexData {

namespace {
constexpr const char* kImpl = "CIParamDefImpl";
}

CIParamDefImpl::CIParamDefImpl(CParamDef* def, bool owns) : m_bOwns(owns), m_pDef(def) {}

CIParamDefImpl::~CIParamDefImpl() {
    if (m_bOwns) delete m_pDef;
}

const char16_t* CIParamDefImpl::GetName() const {
    return m_pDef->GetName();
}

void CIParamDefImpl::SetName(const char16_t* name) {
    m_pDef->SetName(name);
}

bool CIParamDefImpl::MakeCorrectName() {
    return m_pDef->MakeCorrectName();
}

const char16_t* CIParamDefImpl::GetComment() const {
    return m_pDef->GetComment();
}

void CIParamDefImpl::SetComment(const char16_t* comment) {
    m_pDef->SetComment(comment);
}

IParamDef::EType CIParamDefImpl::GetType() const {
    return static_cast<EType>(m_pDef->GetType());
}

void CIParamDefImpl::SetType(EType type) {
    m_pDef->SetType(type);
}

bool CIParamDefImpl::IsNumber() const {
    return m_pDef->IsNumber();
}

bool CIParamDefImpl::IsParamReadOnly() const {
    return m_pDef->IsParamReadOnly();
}

bool CIParamDefImpl::IsInReadOnlyCategory() const {
    return m_pDef->IsInReadOnlyCategory();
}

bool CIParamDefImpl::GetReadOnlyFlag() const {
    return m_pDef->GetReadOnlyFlag();
}

void CIParamDefImpl::SetReadOnlyFlag(bool readOnly) {
    m_pDef->SetReadOnlyFlag(readOnly);
}

bool CIParamDefImpl::IsCalculated() const {
    return CParamDef::IsCalculated(m_pDef->GetDefaultValueComment());
}

bool CIParamDefImpl::IsHidden() const {
    return m_pDef->IsHidden();
}

std::int32_t CIParamDefImpl::GetPrescision() const {
    return m_pDef->GetSize();
}

void CIParamDefImpl::SetPrescision(std::int32_t size) {
    m_pDef->SetSize(size);
}

std::int32_t CIParamDefImpl::GetDependency() const {
    return m_pDef->GetDependency();
}

void CIParamDefImpl::SetDependency(std::int32_t dependency) {
    m_pDef->SetDependency(dependency);
}

bool CIParamDefImpl::IsEqual(const IParamDef* pDef) const {
    const CIParamDefImpl* other =
        TX_DOWNCAST(CIParamDefImpl, kImpl, u"CIParamDefImpl::IsEqual", u"CIParamDefImpl", pDef);
    return m_pDef->IsEqual(*other->m_pDef);
}

void CIParamDefImpl::Clone(IParamDef** pResDef) const {
    TX_CHECK_ARG(kImpl, pResDef);
    *pResDef = nullptr;
    *pResDef =
        detail::HandOutOwning<IParamDef, CIParamDefImpl>(std::make_unique<CParamDef>(*m_pDef));
}

const char16_t* CIParamDefImpl::GetDefaultValue() const {
    return m_pDef->GetDefaultValue();
}

int CIParamDefImpl::GetDefaultValueInt() const {
    return m_pDef->GetDefaultValueInt();
}

double CIParamDefImpl::GetDefaultValueDbl() const {
    return m_pDef->GetDefaultValueDbl();
}

void CIParamDefImpl::SetDefaultValue(tagVARIANT& value) {
    m_pDef->SetDefaultValue(static_cast<const tagVARIANT&>(value));
}

void CIParamDefImpl::SetDefaultValue(double value) {
    m_pDef->SetDefaultValue(value);
}

void CIParamDefImpl::SetDefaultValue(int value) {
    m_pDef->SetDefaultValue(value);
}

void CIParamDefImpl::SetDefaultValue(const char16_t* value) {
    m_pDef->SetDefaultValue(value);
}

const char16_t* CIParamDefImpl::GetDefaultValueComment() const {
    return m_pDef->GetDefaultValueComment();
}

void CIParamDefImpl::SetDefaultValueComment(const char16_t* comment) {
    m_pDef->SetDefaultValueComment(comment);
}

bool CIParamDefImpl::UpdateDefaultValueComment() {
    return m_pDef->UpdateDefaultValueComment();
}

void CIParamDefImpl::AddCategory(const char16_t* name, unsigned int order) {
    m_pDef->AddCategory(name, order, 0x7fffffff, false, false);
}

void CIParamDefImpl::AddCategory(const char16_t* name) {
    m_pDef->AddCategory(name, 0x7fffffff, 0x7fffffff, false, false);
}

std::int64_t CIParamDefImpl::GetCategoriesCount() const {
    return m_pDef->GetCategoriesCount();
}

const char16_t* CIParamDefImpl::GetCategory(std::int64_t index) const {
    if (index < 0 || index >= m_pDef->GetCategoriesCount()) return nullptr;
    return m_pDef->GetCategory(index)->name;
}

std::int64_t CIParamDefImpl::FindCategory(const char16_t* name) const {
    return m_pDef->FindCategory(name);
}

bool CIParamDefImpl::HasCategory(const char16_t* name) const {
    return m_pDef->HasCategory(name);
}

void CIParamDefImpl::RemoveCategory(std::int64_t index) {
    if (index >= 0 && index < m_pDef->GetCategoriesCount()) m_pDef->RemoveCategory(index);
}

void CIParamDefImpl::RemoveAllCategories() {
    m_pDef->RemoveAllCategories();
}

void CIParamDefImpl::AddValue(const char16_t* data, const char16_t* comment) {
    m_pDef->AddValue(data, comment);
}

std::int64_t CIParamDefImpl::GetValuesCount() const {
    return m_pDef->GetValuesCount();
}

const char16_t* CIParamDefImpl::GetValue(std::int64_t index) const {
    if (index < 0 || index >= m_pDef->GetValuesCount()) return nullptr;
    return m_pDef->GetValue(index);
}

const char16_t* CIParamDefImpl::GetValueComment(std::int64_t index) const {
    if (index < 0 || index >= m_pDef->GetValuesCount()) return nullptr;
    return m_pDef->GetValueComment(index);
}

std::int64_t CIParamDefImpl::FindValueIndex(const char16_t* data) const {
    return m_pDef->FindValueIndex(data);
}

bool CIParamDefImpl::DeleteValue(const char16_t* data) {
    return m_pDef->DeleteValue(data);
}

void CIParamDefImpl::DeleteValue(std::int64_t index) {
    if (index >= 0 && index < m_pDef->GetValuesCount()) m_pDef->DeleteValue(index);
}

void CIParamDefImpl::DeleteAllValues() {
    m_pDef->DeleteAllValues();
}

} // namespace TarvexData
