// CKVPluginInterfaces: the factory a plug-in starts from.
#pragma once

#include "tarvex/plugin/txdatainterfaces.h"

namespace TarvexData {

class CKVPluginInterfaces final : public IFactoryInterface {
public:
    // The one instance, made at first use and kept until unload.
    static CKVPluginInterfaces& GetInst();

    HRESULT GetApiVersion(int* major, int* minor) override;
    HRESULT CreateParam(IParam** result, const char16_t* name, const char16_t* value,
                        const char16_t* comment, const char16_t* valueComment) override;
    HRESULT CreateElement(IElement** result, const char16_t* name) override;
    HRESULT CreateParamDef(IParamDef** result, const char16_t* name, const char16_t* comment,
                           int type, bool readOnly, int size, int dependency) override;
    HRESULT CreateParamDefs(IParamDefs** result) override;
    HRESULT GetGlobalParamDefs(IParamDefs** result) override;
    HRESULT GetMainAppKey(char16_t** result) override;
    ~CKVPluginInterfaces() override = default;

private:
    CKVPluginInterfaces() = default;
};

} // namespace TarvexData
