#include "tarvex/dictionary/parammeasure.h"

#include "tarvex/dictionary/paramsxml_internal.h"
#include "tarvex/platform/wide.h"

// ---------------------------------------------------------------------------
// CParamMeasureUnit

int CParamMeasureUnit::Save(CXMLOutStreamBase& stream) const {
    CXMLAttrs attrs;
    CString number;
    number.Format(u"%f", coefficient);
    attrs.AddAttr(u"SysName", sysName.GetString());
    attrs.AddAttr(u"LongName", longName.GetString());
    attrs.AddAttr(u"ShortName", shortName.GetString());
    attrs.AddAttr(CString(u"Coefficient"), number);
    attrs.AddAttr(u"Comment", comment.GetString());
    attrs.AddAttr(u"ToBaseFunction", toBaseFunction.GetString());
    attrs.AddAttr(u"FromBaseFunction", fromBaseFunction.GetString());
    return stream.EmptyItem(u"MEASURE_UNIT", &attrs);
}

CParamMeasureUnit* CParamMeasureUnit::FromAttrs(const CXMLAttrs& attrs, CParamMeasurement* owner) {
    CString sys, longName, shortName, coefficient, comment, toBase, fromBase;
    attrs.GetAttr(u"SysName", sys);
    attrs.GetAttr(u"LongName", longName);
    attrs.GetAttr(u"ShortName", shortName);
    attrs.GetAttr(u"Coefficient", coefficient);
    attrs.GetAttr(u"Comment", comment);
    attrs.GetAttr(u"ToBaseFunction", toBase);
    attrs.GetAttr(u"FromBaseFunction", fromBase);
    return new CParamMeasureUnit(sys, longName, shortName, _wtof(coefficient), comment, toBase,
                                 fromBase, owner);
}

// ---------------------------------------------------------------------------
// CParamMeasurement

void CParamMeasurement::AddUnit(CParamMeasureUnit* unit) {
    if (unit == nullptr) return;
    unit->SetOwner(this);
    units.Add(unit);
}

int CParamMeasurement::OnXMLTag(CXMLSchemaInStream&, int id, const char16_t*, const char16_t*,
                                CXMLAttrs& attrs) {
    if (id == ParamsXml::kMeasurementUnit) AddUnit(CParamMeasureUnit::FromAttrs(attrs, this));
    return 1;
}

int CParamMeasurement::Save(CXMLOutStreamBase& stream) const {
    CXMLAttrs attrs;
    attrs.AddAttr(u"SysName", sysName.GetString());
    attrs.AddAttr(u"Caption", caption.GetString());
    if (!stream.BeginTable(u"MEASUREMENT", &attrs)) return 0;
    for (const CParamMeasureUnit* unit : units)
        if (!unit->Save(stream)) return 0;
    return stream.EndTable();
}

// ---------------------------------------------------------------------------
// CParamMeasurements

std::uint64_t CParamMeasurements::HashName(const char16_t* name) {
    if (name == nullptr) return 0;
    std::uint64_t hash = 0xcbf29ce484222325ull;
    for (; *name != 0; ++name) {
        hash = (hash ^ (*name & 0xffu)) * 0x100000001b3ull;
        hash = (hash ^ (*name >> 8)) * 0x100000001b3ull;
    }
    return hash;
}

void CParamMeasurements::AddMeasurement(CParamMeasurement* measurement) {
    if (measurement != nullptr) measurements.Add(measurement);
}

void CParamMeasurements::Clear() {
    index.Flush();
    measurements.Flush();
}

void CParamMeasurements::SortMeasureUnits() {
    index.Flush();
    for (const CParamMeasurement* measurement : measurements)
        for (int64_t i = 0, n = measurement->GetUnitsCount(); i < n; ++i) {
            CParamMeasureUnit* unit = measurement->GetUnit(i);
            index.Add(new CHashMeasureUnit(unit, HashName(unit->GetSysName())));
        }
}

CParamMeasureUnit* CParamMeasurements::GetMeasureUnit(const char16_t* sysName) {
    if (index.GetLength() == 0) SortMeasureUnits();
    const std::uint64_t hash = HashName(sysName);
    // A plain binary search on the hash: no temporary entry, no allocation.
    int64_t low = 0, high = index.GetLength() - 1;
    while (low <= high) {
        const int64_t middle = low + (high - low) / 2;
        const std::uint64_t at = index[middle]->hash;
        if (at == hash) return index[middle]->unit;
        if (at < hash)
            low = middle + 1;
        else
            high = middle - 1;
    }
    return nullptr;
}

int CParamMeasurements::OnXMLTag(CXMLSchemaInStream& stream, int id, const char16_t*,
                                 const char16_t*, CXMLAttrs& attrs) {
    if (id != ParamsXml::kMeasurementsMeasurement) return 1;
    CString sys, caption;
    attrs.GetAttr(u"SysName", sys);
    attrs.GetAttr(u"Caption", caption);
    auto* measurement = new CParamMeasurement(sys, caption);
    measurements.Add(measurement);
    // An empty tag arrives as a value: a measurement with no units.
    if (stream.GetTagStatus() != CXMLInStream::eReadOpen) return 1;
    return measurement->LoadFromXMLStream(stream);
}

int CParamMeasurements::Load(CXMLSchemaInStream& stream) {
    index.Flush();
    measurements.Flush();
    const int result = LoadFromXMLStream(stream);
    SortMeasureUnits();
    return result;
}

int CParamMeasurements::Save(CXMLOutStreamBase& stream) const {
    if (!stream.BeginTable(u"MEASUREMENTS")) return 0;
    for (const CParamMeasurement* measurement : measurements)
        if (!measurement->Save(stream)) return 0;
    return stream.EndTable();
}
