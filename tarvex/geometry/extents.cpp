#include "tarvex/geometry/extents.h"

#include <algorithm>
#include <utility>

using tarvex::kExtentsTol;

bool CTXExtents2d::intersects(const CTXExtents2d& other) const {
    return other.min.x - kExtentsTol <= max.x && min.x <= other.max.x + kExtentsTol &&
           other.min.y - kExtentsTol <= max.y && min.y <= other.max.y + kExtentsTol;
}

bool CTXExtents2d::intersects(const CTXLineSeg2d& segment) const {
    CTXPoint2d lo = segment.start(), hi = segment.end();
    if (lo.y > hi.y) std::swap(lo, hi);

    // The stretch of the segment above the box's x range.
    const double x0 = std::max(std::min(lo.x, hi.x), min.x);
    const double x1 = std::min(std::max(lo.x, hi.x), max.x);
    if (x0 > x1) return false;

    // Its y range: from the slope, or the whole segment when it is too
    // steep for one.
    double y0 = lo.y, y1 = hi.y;
    const double dx = hi.x - lo.x;
    if (std::fabs(dx) > kExtentsTol) {
        const double slope = (hi.y - lo.y) / dx;
        y0 = lo.y + (x0 - lo.x) * slope;
        y1 = lo.y + (x1 - lo.x) * slope;
        if (y0 > y1) std::swap(y0, y1);
    }
    return y0 <= max.y && y1 >= min.y;
}
