#include "tarvex/plugin/plugininterfaces.h"

#include "tarvex/core/paths.h"
#include "tarvex/plugin/elementimpl.h"
#include "tarvex/plugin/paramdefimpl.h"
#include "tarvex/plugin/paramdefsimpl.h"
#include "tarvex/plugin/paramimpl.h"
#include "tarvex/plugin/plugin_internal.h"

namespace TarvexData {

CKVPluginInterfaces& CKVPluginInterfaces::GetInst() {
    static CKVPluginInterfaces instance;
    return instance;
}

HRESULT CKVPluginInterfaces::GetApiVersion(int* major, int* minor) {
    if (major == nullptr || minor == nullptr) return E_INVALIDARG;
    *major = 1;
    *minor = 9;
    return S_OK;
}

HRESULT CKVPluginInterfaces::CreateParam(IParam** result, const char16_t* name,
                                         const char16_t* value, const char16_t* comment,
                                         const char16_t* valueComment) {
    if (result == nullptr) return E_INVALIDARG;
    *result = detail::HandOutOwning<IParam, CIParamImpl>(
        std::make_unique<CParam>(name, value, comment, valueComment));
    return S_OK;
}

HRESULT CKVPluginInterfaces::CreateElement(IElement** result, const char16_t* name) {
    if (result == nullptr) return E_INVALIDARG;
    *result = detail::HandOutOwning<IElement, CIElementImpl>(std::make_unique<CElement>(name));
    return S_OK;
}

HRESULT CKVPluginInterfaces::CreateParamDef(IParamDef** result, const char16_t* name,
                                            const char16_t* comment, int type, bool readOnly,
                                            int size, int dependency) {
    if (result == nullptr) return E_INVALIDARG;
    *result = detail::HandOutOwning<IParamDef, CIParamDefImpl>(
        std::make_unique<CParamDef>(name, comment, type, readOnly, size, dependency, -1, 1));
    return S_OK;
}

HRESULT CKVPluginInterfaces::CreateParamDefs(IParamDefs** result) {
    if (result == nullptr) return E_INVALIDARG;
    *result = detail::HandOutOwning<IParamDefs, CIParamDefsImpl>(std::make_unique<CParamDefs>());
    return S_OK;
}

HRESULT CKVPluginInterfaces::GetGlobalParamDefs(IParamDefs** result) {
    if (result == nullptr) return E_INVALIDARG;
    CParamDefs* global = nullptr;
    ::GetGlobalParamDefs(global, false);
    *result = detail::HandOut<IParamDefs>(new CIParamDefsImpl(global, false));
    return S_OK;
}

HRESULT CKVPluginInterfaces::GetMainAppKey(char16_t** result) {
    if (result == nullptr) return E_INVALIDARG;
    const CString key = ::GetMainAppKey();
    if (!SysReAllocStringLen(result, key, static_cast<UINT>(key.GetLength()))) return E_OUTOFMEMORY;
    return S_OK;
}

} // namespace TarvexData

extern "C" TarvexData::IFactoryInterface* TarvexGetPluginFactory() {
    return &TarvexData::CKVPluginInterfaces::GetInst();
}
