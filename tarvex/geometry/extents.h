// CTXExtents2d and CTXExtents3d: axis-aligned bounding boxes.
//
// Their empty states differ on purpose. A default CTXExtents2d is the real
// box (-100, -100)-(100, 100) and has no empty state; a default CTXExtents3d
// is empty, marked by min.x > max.x, and takes its first point whole.
#pragma once

#include <cmath>

#include "tarvex/core/object.h"
#include "tarvex/geometry/lineseg.h"
#include "tarvex/geometry/vector2d.h"
#include "tarvex/geometry/vector3d.h"

class CTXExtents2d {
public:
    CTXExtents2d() : min(-100.0, -100.0), max(100.0, 100.0) {}
    // Taken as given, not sorted.
    CTXExtents2d(const CTXPoint2d& minPoint, const CTXPoint2d& maxPoint)
        : min(minPoint), max(maxPoint) {}
    CTXExtents2d(const CTXPoint3d& minPoint, const CTXPoint3d& maxPoint)
        : min(minPoint.x, minPoint.y), max(maxPoint.x, maxPoint.y) {}

    void add(const CTXExtents2d& other) {
        if (min.x >= other.min.x) min.x = other.min.x;
        if (min.y >= other.min.y) min.y = other.min.y;
        if (other.max.x > max.x) max.x = other.max.x;
        if (other.max.y > max.y) max.y = other.max.y;
    }

    // Inclusive and exact.
    bool contains(const CTXPoint2d& p) const {
        return p.x >= min.x && p.x <= max.x && p.y >= min.y && p.y <= max.y;
    }
    bool contains(const CTXExtents2d& other) const {
        return contains(other.min) && contains(other.max);
    }

    // other widened by kExtentsTol on every side, then an inclusive overlap.
    bool intersects(const CTXExtents2d& other) const;
    // Whether the segment crosses or touches the box, with no tolerance.
    bool intersects(const CTXLineSeg2d& segment) const;

    bool is_zero(double tol = tarvex::kPointTol) const { return min.distanceTo(max) < tol; }
    bool fits_size(const CTXExtents2d& other) const {
        return width() <= other.width() && height() <= other.height();
    }

    const CTXPoint2d& pt_min() const { return min; }
    const CTXPoint2d& pt_max() const { return max; }
    CTXPoint2d pt_mid() const { return {(min.x + max.x) / 2.0, (min.y + max.y) / 2.0}; }
    double width() const { return std::fabs(max.x - min.x); }
    double height() const { return std::fabs(max.y - min.y); }

    CTXPoint2d min;
    CTXPoint2d max;
};

class CTXExtents3d : public CTarvexObject {
public:
    CTXExtents3d() : min(1.0, 0.0, 0.0), max(0.0, 0.0, 0.0) {}

    // The first point sets both corners. After that a coordinate below min
    // lowers min, and only otherwise may one above max raise max.
    void addPoint(const CTXPoint3d& p) {
        if (min.x > max.x) {
            min = max = p;
            return;
        }
        Widen(min.x, max.x, p.x);
        Widen(min.y, max.y, p.y);
        Widen(min.z, max.z, p.z);
    }

    const CTXPoint3d& minPoint() const { return min; }
    const CTXPoint3d& maxPoint() const { return max; }

    CTXPoint3d min;
    CTXPoint3d max;

private:
    static void Widen(double& lo, double& hi, double v) {
        if (v < lo)
            lo = v;
        else if (v > hi)
            hi = v;
    }
};
