#include "tarvex/geometry/vector2d.h"

#include "tarvex/geometry/matrix2d.h"

void CTXVector2d::doTransform(const CTXMatrix2d& m) {
    const double tx = x * m.entry[0][0] + y * m.entry[1][0] + m.entry[2][0];
    const double ty = x * m.entry[0][1] + y * m.entry[1][1] + m.entry[2][1];
    x = tx;
    y = ty;
}

CTXVector2d& CTXVector2d::transformBy(const CTXMatrix2d& m) {
    doTransform(m);
    return normalize();
}

double CTXPoint2d::distanceToSegment(const CTXPoint2d& a, const CTXPoint2d& b) const {
    const CTXVector2d d = b - a;
    const double t = (x - a.x) * d.x + (y - a.y) * d.y;
    if (t <= 0.0) return distanceTo(a);
    const double lenSqr = d.x * d.x + d.y * d.y;
    if (t >= lenSqr) return distanceTo(b);
    return distanceTo(a + d * (t / lenSqr));
}

double CTXPoint2d::signedDistanceToLine(const CTXPoint2d& a, const CTXPoint2d& b) const {
    const double dx = b.x - a.x, dy = b.y - a.y;
    return ((x - a.x) * dy - (y - a.y) * dx) / std::sqrt(dx * dx + dy * dy);
}
