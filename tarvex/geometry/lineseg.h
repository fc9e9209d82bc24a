// CTXLineSeg2d and CTXLineSeg3d: straight segments from start to end.
//
// A point's parameter is 0 at the start and 1 at the end, unclamped between
// and beyond. isOn measures the distance from the line by the unnormalised
// cross product, so the band it accepts narrows as the segment grows.
#pragma once

#include "tarvex/core/object.h"
#include "tarvex/geometry/vector2d.h"
#include "tarvex/geometry/vector3d.h"

class CTXLineSeg2d : public CTarvexObject {
public:
    CTXLineSeg2d() = default;
    CTXLineSeg2d(const CTXPoint2d& start, const CTXPoint2d& end) : m_start(start), m_end(end) {}
    // Takes x and y of each point.
    CTXLineSeg2d(const CTXPoint3d& start, const CTXPoint3d& end)
        : m_start(start.x, start.y), m_end(end.x, end.y) {}

    const CTXPoint2d& start() const { return m_start; }
    CTXPoint2d& start() { return m_start; }
    const CTXPoint2d& end() const { return m_end; }
    CTXPoint2d& end() { return m_end; }

    double paramOf(const CTXPoint2d& point) const;
    // param, when not null, receives the parameter of a point on the segment
    // (and 0 for a degenerate segment).
    bool isOn(const CTXPoint2d& point, double* param = nullptr) const;

private:
    CTXPoint2d m_start;
    CTXPoint2d m_end;
};

class CTXLineSeg3d : public CTarvexObject {
public:
    CTXLineSeg3d() = default;
    CTXLineSeg3d(const CTXPoint3d& s, const CTXPoint3d& e) : start(s), end(e) {}

    double paramOf(const CTXPoint3d& point) const;
    bool isOn(const CTXPoint3d& point, double* param = nullptr) const;

    CTXPoint3d start;
    CTXPoint3d end;
};
