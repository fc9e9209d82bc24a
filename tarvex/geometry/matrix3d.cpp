#include "tarvex/geometry/matrix3d.h"

#include <cmath>

using tarvex::kPointTol;

CTXMatrix3d::CTXMatrix3d(double d) : entry{} {
    entry[0][0] = d;
    entry[1][1] = d;
    entry[3][3] = d;
    entry[2][2] = 1.0;
}

CTXMatrix3d& CTXMatrix3d::setToIdentity() {
    return *this = CTXMatrix3d(1.0);
}

CTXMatrix3d& CTXMatrix3d::setTranslation(const CTXVector3d& v) {
    entry[0][3] = v.x;
    entry[1][3] = v.y;
    entry[2][3] = v.z;
    return *this;
}

CTXMatrix3d& CTXMatrix3d::setToTranslation(const CTXVector3d& v) {
    return setToIdentity().setTranslation(v);
}

CTXMatrix3d CTXMatrix3d::translation(const CTXVector3d& v) {
    CTXMatrix3d m;
    m.setTranslation(v);
    return m;
}

CTXMatrix3d& CTXMatrix3d::setCoordSystem(const CTXPoint3d& origin, const CTXVector3d& xAxis,
                                         const CTXVector3d& yAxis, const CTXVector3d& zAxis) {
    const CTXVector3d* axes[3] = {&xAxis, &yAxis, &zAxis};
    for (int c = 0; c < 3; ++c) {
        entry[0][c] = axes[c]->x;
        entry[1][c] = axes[c]->y;
        entry[2][c] = axes[c]->z;
        entry[3][c] = 0.0;
    }
    entry[0][3] = origin.x;
    entry[1][3] = origin.y;
    entry[2][3] = origin.z;
    entry[3][3] = 1.0;
    return *this;
}

void CTXMatrix3d::getCoordSystem(CTXPoint3d& origin, CTXVector3d& xAxis, CTXVector3d& yAxis,
                                 CTXVector3d& zAxis) const {
    xAxis.set(entry[0][0], entry[1][0], entry[2][0]);
    yAxis.set(entry[0][1], entry[1][1], entry[2][1]);
    zAxis.set(entry[0][2], entry[1][2], entry[2][2]);
    origin.set(entry[0][3], entry[1][3], entry[2][3]);
}

CTXMatrix3d CTXMatrix3d::alignCoordSys(const CTXPoint3d& fromOrigin, const CTXVector3d& fromXAxis,
                                       const CTXVector3d& fromYAxis, const CTXVector3d& fromZAxis,
                                       const CTXPoint3d& toOrigin, const CTXVector3d& toXAxis,
                                       const CTXVector3d& toYAxis, const CTXVector3d& toZAxis) {
    CTXMatrix3d from, to;
    from.setCoordSystem(fromOrigin, fromXAxis, fromYAxis, fromZAxis);
    to.setCoordSystem(toOrigin, toXAxis, toYAxis, toZAxis);
    return to * from.inverse();
}

CTXMatrix3d&
CTXMatrix3d::setToAlignCoordSys(const CTXPoint3d& fromOrigin, const CTXVector3d& fromXAxis,
                                const CTXVector3d& fromYAxis, const CTXVector3d& fromZAxis,
                                const CTXPoint3d& toOrigin, const CTXVector3d& toXAxis,
                                const CTXVector3d& toYAxis, const CTXVector3d& toZAxis) {
    return *this = alignCoordSys(fromOrigin, fromXAxis, fromYAxis, fromZAxis, toOrigin, toXAxis,
                                 toYAxis, toZAxis);
}

CTXMatrix3d CTXMatrix3d::planeToWorld(const CTXVector3d& normal) {
    CTXMatrix3d m;
    m.setToPlaneToWorld(normal);
    return m;
}

CTXMatrix3d& CTXMatrix3d::setToPlaneToWorld(const CTXVector3d& normal) {
    const CTXVector3d n = normal.normal();
    const CTXVector3d u = normal.perpVector();
    const CTXVector3d v = n.crossProduct(u);
    return setCoordSystem(CTXPoint3d::kOrigin, u, v, n);
}

CTXMatrix3d& CTXMatrix3d::setToRotation(double angle, const CTXVector3d& axis,
                                        const CTXPoint3d& point) {
    setToIdentity();
    if (axis.lengthSqr() < tarvex::kZeroLenSqr) return *this;

    CTXMatrix3d rotation;
    const double c = std::cos(angle), s = std::sin(angle);
    rotation.entry[0][0] = c;
    rotation.entry[1][1] = c;
    rotation.entry[1][0] = s;
    rotation.entry[0][1] = -s;

    // The axis is compared unnormalised: (0, 0, 2) takes the general path,
    // which gives the same rotation with more rounding.
    const CTXVector3d shift = point.asVector();
    if (std::fabs(axis.x) < kPointTol && std::fabs(axis.y) < kPointTol &&
        std::fabs(axis.z - 1.0) < kPointTol)
        return *this = translation(shift) * rotation * translation(-shift);

    const CTXMatrix3d toWorld = translation(shift) * planeToWorld(axis);
    return *this = toWorld * rotation * toWorld.inverse();
}

CTXMatrix3d& CTXMatrix3d::setToProduct(const CTXMatrix3d& a, const CTXMatrix3d& b) {
    return *this = a * b;
}

double CTXMatrix3d::det() const {
    const auto& a = entry;
    return a[0][0] * (a[1][1] * a[2][2] - a[1][2] * a[2][1]) -
           a[0][1] * (a[1][0] * a[2][2] - a[1][2] * a[2][0]) +
           a[0][2] * (a[1][0] * a[2][1] - a[1][1] * a[2][0]);
}

CTXMatrix3d& CTXMatrix3d::invert() {
    CTXMatrix3d result; // bottom row 0 0 0 1
    inverse(result);
    return *this = result;
}

CTXMatrix3d CTXMatrix3d::inverse() const {
    CTXMatrix3d result(*this);
    inverse(result);
    return result;
}

// The affine inverse: the adjugate of the 3 by 3 block over its determinant,
// and -A^-1 t for the translation.
bool CTXMatrix3d::inverse(CTXMatrix3d& result, double /*tol*/) const {
    const auto& a = entry;
    const double inv = 1.0 / det();
    double r[3][4];
    r[0][0] = (a[1][1] * a[2][2] - a[1][2] * a[2][1]) * inv;
    r[0][1] = (a[0][2] * a[2][1] - a[0][1] * a[2][2]) * inv;
    r[0][2] = (a[0][1] * a[1][2] - a[0][2] * a[1][1]) * inv;
    r[1][0] = (a[1][2] * a[2][0] - a[1][0] * a[2][2]) * inv;
    r[1][1] = (a[0][0] * a[2][2] - a[0][2] * a[2][0]) * inv;
    r[1][2] = (a[0][2] * a[1][0] - a[0][0] * a[1][2]) * inv;
    r[2][0] = (a[1][0] * a[2][1] - a[1][1] * a[2][0]) * inv;
    r[2][1] = (a[0][1] * a[2][0] - a[0][0] * a[2][1]) * inv;
    r[2][2] = (a[0][0] * a[1][1] - a[0][1] * a[1][0]) * inv;
    for (int i = 0; i < 3; ++i)
        r[i][3] = -(r[i][0] * a[0][3] + r[i][1] * a[1][3] + r[i][2] * a[2][3]);
    // Written only now: result may be this matrix.
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 4; ++j) result.entry[i][j] = r[i][j];
    return true;
}

CTXMatrix3d CTXMatrix3d::operator*(const CTXMatrix3d& b) const {
    CTXMatrix3d r;
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 4; ++j) {
            double sum = 0.0;
            for (int k = 0; k < 4; ++k) sum += entry[i][k] * b.entry[k][j];
            r.entry[i][j] = sum;
        }
    return r;
}
