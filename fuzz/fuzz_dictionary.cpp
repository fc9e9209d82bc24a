// Arbitrary bytes read as a dictionary ("params.xml"), as a defaults table
// and as a protection list; whatever loads is then looked up and written
// again, so the writer sees every text the reader can produce.
#include <cstddef>
#include <cstdint>

#include "tarvex/dictionary/paramdefs.h"
#include "tarvex/dictionary/paramsdefault.h"
#include "tarvex/dictionary/paramsprotection.h"
#include "tarvex/element/paramsowner.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size > (1u << 20)) return 0;
    const int length = static_cast<int>(size);

    CParamDefs defs;
    defs.LoadFromMemory(data, length);
    for (int64_t i = 0; i < defs.GetCount(); ++i) {
        CParamDef* def = defs.GetParam(i);
        defs.GetParamBySubStr(def->GetName());
        def->IsParamReadOnly();
        def->UpdateDefaultValueComment();
        defs.GetMeasurements().GetMeasureUnit(def->GetMeasureUnitSysName());
    }
    {
        CXMLOutStream out;
        if (CCharStream* memory = out.Create(COutStream::eEncodingUTF8)) {
            out.BeginTable(u"PARAMETERS");
            for (int64_t i = 0; i < defs.GetCount(); ++i) defs.GetParam(i)->Save(out);
            defs.GetMeasurements().Save(out);
            out.Close();
            delete memory;
        }
    }

    CParamsDefault defaults;
    defaults.LoadFromMemory(data, length);
    CParamsOwner owner;
    defaults.Apply(owner);
    owner.ReplaceParameters(defaults);

    CParamsProtectionList protection;
    protection.LoadFromMemory(data, length);
    CParamsOwner target;
    for (int action = 0; action <= 3; ++action) target.CopyParamsFrom(owner, protection, action);
    return 0;
}
