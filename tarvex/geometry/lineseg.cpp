#include "tarvex/geometry/lineseg.h"

using tarvex::kPointTol;
using tarvex::kZeroLenSqr;

namespace {

// One rule for both dimensions; the 2d cross product is its z term alone.
double Cross2d(const CTXVector2d& a, const CTXVector2d& b) {
    return a.x * b.y - a.y * b.x;
}
double Dot2d(const CTXVector2d& a, const CTXVector2d& b) {
    return a.x * b.x + a.y * b.y;
}

} // namespace

double CTXLineSeg2d::paramOf(const CTXPoint2d& point) const {
    if (point == m_start) return 0.0;
    if (point == m_end) return 1.0;
    const CTXVector2d d = m_end - m_start;
    const double lenSqr = Dot2d(d, d);
    if (lenSqr < kPointTol) return 0.0;
    return Dot2d(point - m_start, d) / lenSqr;
}

bool CTXLineSeg2d::isOn(const CTXPoint2d& point, double* param) const {
    double t = 0.0;
    bool on = true;
    if (point == m_start) {
        t = 0.0;
    } else if (point == m_end) {
        t = 1.0;
    } else if (m_start == m_end) {
        on = point == m_start;
    } else {
        const CTXVector2d d = m_end - m_start, e = point - m_start;
        const double cross = Cross2d(e, d);
        if (cross * cross >= kZeroLenSqr || Dot2d(e, d) < kPointTol ||
            Dot2d(point - m_end, m_start - m_end) < kPointTol)
            return false;
        t = Dot2d(e, d) / Dot2d(d, d);
    }
    if (param != nullptr) *param = t;
    return on;
}

double CTXLineSeg3d::paramOf(const CTXPoint3d& point) const {
    if (point == start) return 0.0;
    if (point == end) return 1.0;
    const CTXVector3d d = end - start;
    const double lenSqr = d.lengthSqr();
    if (lenSqr < kPointTol) return 0.0;
    return (point - start).dotProduct(d) / lenSqr;
}

bool CTXLineSeg3d::isOn(const CTXPoint3d& point, double* param) const {
    double t = 0.0;
    bool on = true;
    if (point == start) {
        t = 0.0;
    } else if (point == end) {
        t = 1.0;
    } else if (start == end) {
        on = point == start;
    } else {
        const CTXVector3d d = end - start, e = point - start;
        if (e.crossProduct(d).lengthSqr() >= kZeroLenSqr || e.dotProduct(d) < kPointTol ||
            (point - end).dotProduct(start - end) < kPointTol)
            return false;
        t = e.dotProduct(d) / d.lengthSqr();
    }
    if (param != nullptr) *param = t;
    return on;
}
