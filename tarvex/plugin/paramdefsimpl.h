// CIParamDefsImpl: IParamDefs over a CParamDefs dictionary.
#pragma once

#include "tarvex/dictionary/paramdefs.h"
#include "tarvex/plugin/iunknownimpl.h"

namespace TarvexData {

class CIParamDefsImpl final : public IParamDefs, public TXDataIUnknownImplBase {
public:
    // With `owns`, the dictionary is deleted with the wrapper.
    CIParamDefsImpl(CParamDefs* defs, bool owns);
    ~CIParamDefsImpl() override;

    TX_FORWARD_IUNKNOWN_TO_BASE

    std::int64_t GetCount() override;
    bool GetParam(const char16_t* name, IParamDef** pResDef) override;
    bool GetParam(std::int64_t index, IParamDef** pResDef) override;
    std::int64_t GetParamIndex(const char16_t* name) override;
    void AddParam(const char16_t* name, const char16_t* comment, IParamDef** pResDef) override;
    void AddParamCopy(IParamDef* pDef, bool checkExisting, IParamDef** pResDef) override;
    void AddParamsCopy(const IParamDefs* pDefs) override;
    bool RemoveParam(const char16_t* name) override;
    void Clear() override;
    int LoadFromFile(const char16_t* path) override;
    int SaveToFile(const char16_t* path) override;
    bool HasParam(const char16_t* name) override;
    bool UpdateDbParameter(IParamDef* pDef) override;
    bool DeleteDBParameter(int index) override;
    bool SaveToDb() override;

    CParamDefs* GetDefs() const { return m_pDefs; }

private:
    bool m_bOwns;
    CParamDefs* m_pDefs;
};

} // namespace TarvexData
