#include "tarvex/geometry/grids/coordinategrid.h"

#include <cmath>

#include "tarvex/geometry/tolerances.h"

CKVCoordinateGrid::CKVCoordinateGrid(const char16_t* name) : m_strName(name) {}

CKVCoordinateGrid::CKVCoordinateGrid(const CKVCoordinateGrid& other) : CTarvexObject(other) {
    *this = other;
}

// Axis assignment copies the back pointer, which here would be the source
// grid; the axes are pointed back at this one so that nothing reads the
// source once it is gone.
CKVCoordinateGrid& CKVCoordinateGrid::operator=(const CKVCoordinateGrid& other) {
    if (this == &other) return *this;
    m_eType = other.m_eType;
    m_strName = other.m_strName;
    m_ptOrigin = other.m_ptOrigin;
    m_vecX = other.m_vecX;
    m_vecY = other.m_vecY;
    m_vecZ = other.m_vecZ;
    SetAxis(m_AxisX, other.m_AxisX);
    SetAxis(m_AxisY, other.m_AxisY);
    SetAxis(m_AxisZ, other.m_AxisZ);
    m_bFullCircle = other.m_bFullCircle;
    m_bYAxisDirection = other.m_bYAxisDirection;
    m_bNotInDB = other.m_bNotInDB;
    m_eMeasurementUnit = other.m_eMeasurementUnit;
    m_dNetScale = other.m_dNetScale;
    return *this;
}

bool CKVCoordinateGrid::SetType(eTypeCoordinateGrid type) {
    m_eType = type;
    if (type == ctgGeodetic) {
        m_AxisX.SetTypeNumbering(tnGeoLatin, nullptr, true);
        m_AxisY.SetTypeNumbering(tnGeoCyrillic, nullptr, true);
    }
    return true;
}

bool CKVCoordinateGrid::SetType(std::int32_t type) {
    return SetType(type == ctgGeodetic || type == ctgConcentric
                       ? static_cast<eTypeCoordinateGrid>(type)
                       : ctgRectangular);
}

double CKVCoordinateGrid::GetMeasureCoefficient() const {
    switch (m_eMeasurementUnit) {
    case mtMeters:
        return 1000.0;
    case mtKilometers:
        return 1000000.0;
    default:
        return 1.0;
    }
}

void CKVCoordinateGrid::set(const char16_t* name, const CTXPoint3d& origin, const CTXVector3d& x,
                            const CTXVector3d& y, const CTXVector3d& z) {
    m_strName = name;
    m_ptOrigin = origin;
    m_vecX = x;
    m_vecY = y;
    m_vecZ = z;
}

void CKVCoordinateGrid::NormalizeDirections() {
    m_vecX.normalize();
    m_vecY.normalize();
    m_vecZ = m_vecX.crossProduct(m_vecY);
    m_vecZ.normalize();
}

void CKVCoordinateGrid::TransformBy(const CTXMatrix3d& m) {
    m_ptOrigin.transformBy(m);
    m_vecX.transformBy(m);
    m_vecY.transformBy(m);
    m_vecZ.transformBy(m);
    NormalizeDirections();
}

bool CKVCoordinateGrid::AreCoordSystemsEqual(const CKVCoordinateGrid& other) const {
    return m_eMeasurementUnit == other.m_eMeasurementUnit &&
           (m_eType == ctgConcentric) == (other.m_eType == ctgConcentric) &&
           m_ptOrigin.distanceTo(other.m_ptOrigin) <= 0.0001 && m_vecX == other.m_vecX &&
           m_vecY == other.m_vecY && m_vecZ == other.m_vecZ;
}

namespace {

bool SameOrigin(const CTXPoint3d& a, const CTXPoint3d& b) {
    return std::fabs(a.x - b.x) < tarvex::kPointTol && std::fabs(a.y - b.y) < tarvex::kPointTol &&
           std::fabs(a.z - b.z) < tarvex::kPointTol;
}

} // namespace

bool CKVCoordinateGrid::operator==(const CKVCoordinateGrid& other) const {
    return m_strName.Compare(other.m_strName) == 0 &&
           m_eMeasurementUnit == other.m_eMeasurementUnit &&
           SameOrigin(m_ptOrigin, other.m_ptOrigin) && m_vecX == other.m_vecX &&
           m_vecY == other.m_vecY && m_vecZ == other.m_vecZ && m_AxisX == other.m_AxisX &&
           m_AxisY == other.m_AxisY && m_AxisZ == other.m_AxisZ;
}

bool CKVCoordinateGrid::operator<(const CKVCoordinateGrid& other) const {
    const int byName = m_strName.Compare(other.m_strName);
    if (byName != 0) return byName < 0;
    if (m_eMeasurementUnit != other.m_eMeasurementUnit)
        return m_eMeasurementUnit < other.m_eMeasurementUnit;
    if (!SameOrigin(m_ptOrigin, other.m_ptOrigin)) return m_ptOrigin < other.m_ptOrigin;
    if (!(m_vecX == other.m_vecX)) return m_vecX < other.m_vecX;
    if (!(m_vecY == other.m_vecY)) return m_vecY < other.m_vecY;
    if (!(m_vecZ == other.m_vecZ)) return m_vecZ < other.m_vecZ;
    if (m_AxisX != other.m_AxisX) return m_AxisX < other.m_AxisX;
    if (m_AxisY != other.m_AxisY) return m_AxisY < other.m_AxisY;
    if (m_AxisZ != other.m_AxisZ) return m_AxisZ < other.m_AxisZ;
    return false;
}

void CKVCoordinateGrid::reset() {
    m_ptOrigin = CTXPoint3d::kOrigin;
    m_vecX = CTXVector3d::kXAxis;
    m_vecY = CTXVector3d::kYAxis;
    m_vecZ = CTXVector3d::kZAxis;
    m_AxisX.flush();
    m_AxisY.flush();
    m_AxisZ.flush();
    m_bNotInDB = false;
}
