// Measurement units: physical quantities (length, mass, ...) each with a list
// of units, and a lookup of a unit by its system name through a sorted index
// of 64-bit hashes.
//
// Units are data: the coefficient and the conversion formula texts are kept
// for callers to apply; nothing here converts values.
#pragma once

#include <cstdint>

#include "tarvex/core/containers.h"
#include "tarvex/platform/cstring.h"
#include "tarvex/streams/xml/xmloutstream.h"
#include "tarvex/streams/xml/xmlschema.h"

class CParamMeasurement;

class CParamMeasureUnit : public CTarvexObject {
public:
    CParamMeasureUnit(const char16_t* sysName, const char16_t* longName, const char16_t* shortName,
                      double coefficient, const char16_t* comment, const char16_t* toBaseFunction,
                      const char16_t* fromBaseFunction, CParamMeasurement* owner)
        : sysName(sysName), longName(longName), shortName(shortName), coefficient(coefficient),
          comment(comment), toBaseFunction(toBaseFunction), fromBaseFunction(fromBaseFunction),
          owner(owner) {}

    const CString& GetSysName() const { return sysName; }
    const CString& GetLongName() const { return longName; }
    const CString& GetShortName() const { return shortName; }
    double GetCoefficient() const { return coefficient; }
    const CString& GetComment() const { return comment; }
    const CString& GetToBaseFunction() const { return toBaseFunction; }
    const CString& GetFromBaseFunction() const { return fromBaseFunction; }
    CParamMeasurement* GetOwner() const { return owner; }
    void SetOwner(CParamMeasurement* measurement) { owner = measurement; }

    // One empty "MEASURE_UNIT" element; the coefficient keeps six decimals.
    int Save(CXMLOutStreamBase& stream) const;
    // The unit described by the attributes of a "MEASURE_UNIT" element.
    static CParamMeasureUnit* FromAttrs(const CXMLAttrs& attrs, CParamMeasurement* owner);

private:
    CString sysName;
    CString longName;
    CString shortName;
    double coefficient;
    CString comment;
    CString toBaseFunction;
    CString fromBaseFunction;
    CParamMeasurement* owner; // not owned
};

class CParamMeasurement : public CXMLStreamableObject {
public:
    CParamMeasurement(const char16_t* sysName = nullptr, const char16_t* caption = nullptr)
        : sysName(sysName), caption(caption), units(100, 100, true, -8) {}

    const CString& GetSysName() const { return sysName; }
    const CString& GetCaption() const { return caption; }
    int64_t GetUnitsCount() const { return units.GetLength(); }
    CParamMeasureUnit* GetUnit(int64_t index) const { return units[index]; }
    // Takes ownership and makes this measurement the unit's owner.
    void AddUnit(CParamMeasureUnit* unit);

    int OnXMLTag(CXMLSchemaInStream& stream, int id, const char16_t* name, const char16_t* value,
                 CXMLAttrs& attrs) override;
    int Save(CXMLOutStreamBase& stream) const;

private:
    CString sysName;
    CString caption;
    CIndirectArray<CParamMeasureUnit> units;
};

class CParamMeasurements : public CXMLStreamableObject {
public:
    // One entry of the lookup index; ordered and equal by the hash alone.
    struct CHashMeasureUnit : public CTarvexObject {
        CHashMeasureUnit(CParamMeasureUnit* unit, std::uint64_t hash) : unit(unit), hash(hash) {}
        bool operator==(const CHashMeasureUnit& other) const { return hash == other.hash; }
        bool operator<(const CHashMeasureUnit& other) const { return hash < other.hash; }

        CParamMeasureUnit* unit; // not owned
        std::uint64_t hash;
    };

    CParamMeasurements() : measurements(100, 100, true, -8), index(100, 100, true, -8) {}

    // 64-bit FNV-1a over the UTF-16LE bytes of the name, without the
    // terminator: 0 for null, the offset basis for "".
    static std::uint64_t HashName(const char16_t* name);

    // Appends and takes ownership; null is ignored. The index is left alone,
    // so units added after the first lookup need SortMeasureUnits.
    void AddMeasurement(CParamMeasurement* measurement);
    CParamMeasurement* GetMeasurement(int64_t index) const { return measurements[index]; }
    int64_t GetMeasurementsCount() const { return measurements.GetLength(); }
    void Clear();
    // Rebuilds the index from every unit of every measurement.
    void SortMeasureUnits();
    // By hash only: names are case-sensitive, and names of equal hash find
    // one of their units. Builds the index when it is empty.
    CParamMeasureUnit* GetMeasureUnit(const char16_t* sysName);

    // Reads the content of a "MEASUREMENTS" element the stream has entered.
    int Load(CXMLSchemaInStream& stream);
    int Save(CXMLOutStreamBase& stream) const;
    int OnXMLTag(CXMLSchemaInStream& stream, int id, const char16_t* name, const char16_t* value,
                 CXMLAttrs& attrs) override;

private:
    CIndirectArray<CParamMeasurement> measurements;
    CSortedIndirectArray<CHashMeasureUnit> index;
};
