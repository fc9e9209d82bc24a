#include "tarvex/plugin/paramdefsimpl.h"

#include "tarvex/plugin/paramdefimpl.h"
#include "tarvex/plugin/plugin_internal.h"

namespace TarvexData {

namespace {

constexpr const char* kImpl = "CIParamDefsImpl";

// A definition held by the dictionary, handed out without ownership.
bool HandOutDef(CParamDef* def, IParamDef** result) {
    *result = nullptr;
    if (def == nullptr) return false;
    *result = detail::HandOut<IParamDef>(new CIParamDefImpl(def, false));
    return true;
}

} // namespace

CIParamDefsImpl::CIParamDefsImpl(CParamDefs* defs, bool owns) : m_bOwns(owns), m_pDefs(defs) {}

CIParamDefsImpl::~CIParamDefsImpl() {
    if (m_bOwns) delete m_pDefs;
}

std::int64_t CIParamDefsImpl::GetCount() {
    return m_pDefs->GetCount();
}

bool CIParamDefsImpl::GetParam(const char16_t* name, IParamDef** pResDef) {
    TX_CHECK_ARG(kImpl, pResDef);
    return HandOutDef(m_pDefs->GetParam(name), pResDef);
}

bool CIParamDefsImpl::GetParam(std::int64_t index, IParamDef** pResDef) {
    TX_CHECK_ARG(kImpl, pResDef);
    return HandOutDef(m_pDefs->GetParam(index), pResDef);
}

std::int64_t CIParamDefsImpl::GetParamIndex(const char16_t* name) {
    return m_pDefs->GetParamIndex(name);
}

void CIParamDefsImpl::AddParam(const char16_t* name, const char16_t* comment, IParamDef** pResDef) {
    TX_CHECK_ARG(kImpl, pResDef);
    HandOutDef(m_pDefs->AddParam(name, comment), pResDef);
}

void CIParamDefsImpl::AddParamCopy(IParamDef* pDef, bool checkExisting, IParamDef** pResDef) {
    const CIParamDefImpl* source = TX_DOWNCAST(
        CIParamDefImpl, kImpl, u"CIParamDefsImpl::AddParamCopy", u"CIParamDefImpl", pDef);
    TX_CHECK_ARG(kImpl, pResDef);
    HandOutDef(m_pDefs->AddParamCopy(*source->GetDef(), checkExisting), pResDef);
}

void CIParamDefsImpl::AddParamsCopy(const IParamDefs* pDefs) {
    const CIParamDefsImpl* source = TX_DOWNCAST(
        CIParamDefsImpl, kImpl, u"CIParamDefsImpl::AddParamsCopy", u"CIParamDefsImpl", pDefs);
    if (source->m_pDefs == m_pDefs) return; // a dictionary already holds itself
    m_pDefs->AddParamsCopy(*source->m_pDefs);
}

bool CIParamDefsImpl::RemoveParam(const char16_t* name) {
    return m_pDefs->RemoveParam(name);
}

void CIParamDefsImpl::Clear() {
    m_pDefs->Clear();
}

int CIParamDefsImpl::LoadFromFile(const char16_t* path) {
    return m_pDefs->LoadFile(path);
}

int CIParamDefsImpl::SaveToFile(const char16_t* path) {
    return m_pDefs->SaveFile(path);
}

bool CIParamDefsImpl::HasParam(const char16_t* name) {
    return m_pDefs->GetParam(name) != nullptr;
}

bool CIParamDefsImpl::UpdateDbParameter(IParamDef* pDef) {
    // The refusal names the dictionary's class, as hosts have always seen it.
    const CIParamDefImpl* def = TX_DOWNCAST(
        CIParamDefImpl, kImpl, u"CIParamDefsImpl::UpdateDbParameter", u"CIParamDefsImpl", pDef);
    return m_pDefs->UpdateDbParameter(*def->GetDef());
}

bool CIParamDefsImpl::DeleteDBParameter(int index) {
    const CParamDef* def = m_pDefs->GetParam(static_cast<std::int64_t>(index));
    return def != nullptr && m_pDefs->DbDeleteParam(def->GetName());
}

bool CIParamDefsImpl::SaveToDb() {
    return m_pDefs->DbExport();
}

} // namespace TarvexData
