// CTXPoint2dArray and CTXPoint3dArray: the point lists of polylines and grids.
#pragma once

#include <cstdint>

#include "tarvex/core/arraytemplate.h"
#include "tarvex/core/indirectarray.h"
#include "tarvex/geometry/vector2d.h"
#include "tarvex/geometry/vector3d.h"

// Points by value, growing in steps of 8.
class CTXPoint2dArray : public TArrayTemplate<CTXPoint2d> {
public:
    CTXPoint2dArray() : TArrayTemplate<CTXPoint2d>(8, 8, -8) {}

    void append(const CTXPoint2d& point) { Add(point); }
    void append(const CTXPoint2dArray& points) { AddRange(points); }
    // The array must not be empty.
    void removeLast() { DeleteLast(); }

    // first and last expect a non-empty array.
    CTXPoint2d& first() { return m_pData[0]; }
    const CTXPoint2d& first() const { return m_pData[0]; }
    CTXPoint2d& last() { return Last(); }
    const CTXPoint2d& last() const { return Last(); }
    int64_t length() const { return GetLength(); }
    bool isEmpty() const { return IsEmpty(); }
};

// Owns its heap points, which are deleted with the array.
class CTXPoint3dArray : public CIndirectArray<CTXPoint3d> {
public:
    CTXPoint3dArray() : CIndirectArray<CTXPoint3d>(1, 32, true, -8) {}
};
