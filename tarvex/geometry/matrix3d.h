// CTXMatrix3d: a space affine transform acting on column vectors.
//
// The column-vector convention is the opposite of CTXMatrix2d's, and both are
// fixed: x' = m00 x + m01 y + m02 z + m03 and so on, the translation is the
// fourth column, and a product A * B applies B first. The bottom row is
// assumed to be 0 0 0 1 and is never divided by.
#pragma once

#include "tarvex/core/object.h"
#include "tarvex/geometry/tolerances.h"
#include "tarvex/geometry/vector3d.h"

class CTXMatrix3d : public CTarvexObject {
public:
    CTXMatrix3d() : CTXMatrix3d(1.0) {}
    // diag(d, d, 1, d): m22 is 1 whatever d is, so only d = 1 gives a
    // uniform scale (the identity). Callers depend on this as it stands.
    explicit CTXMatrix3d(double d);
    CTXMatrix3d(const CTXMatrix3d&) = default;
    CTXMatrix3d& operator=(const CTXMatrix3d&) = default;

    double operator()(int row, int column) const { return entry[row][column]; }

    CTXMatrix3d& setToIdentity();

    // Writes the fourth column only; the rest stays.
    CTXMatrix3d& setTranslation(const CTXVector3d& v);
    CTXMatrix3d& setToTranslation(const CTXVector3d& v);
    CTXVector3d translation() const { return {entry[0][3], entry[1][3], entry[2][3]}; }
    static CTXMatrix3d translation(const CTXVector3d& v);

    // The axes become the first three columns, the origin the fourth.
    CTXMatrix3d& setCoordSystem(const CTXPoint3d& origin, const CTXVector3d& xAxis,
                                const CTXVector3d& yAxis, const CTXVector3d& zAxis);
    void getCoordSystem(CTXPoint3d& origin, CTXVector3d& xAxis, CTXVector3d& yAxis,
                        CTXVector3d& zAxis) const;

    // The map from the first coordinate system to the second: T * F^-1.
    static CTXMatrix3d alignCoordSys(const CTXPoint3d& fromOrigin, const CTXVector3d& fromXAxis,
                                     const CTXVector3d& fromYAxis, const CTXVector3d& fromZAxis,
                                     const CTXPoint3d& toOrigin, const CTXVector3d& toXAxis,
                                     const CTXVector3d& toYAxis, const CTXVector3d& toZAxis);
    CTXMatrix3d& setToAlignCoordSys(const CTXPoint3d& fromOrigin, const CTXVector3d& fromXAxis,
                                    const CTXVector3d& fromYAxis, const CTXVector3d& fromZAxis,
                                    const CTXPoint3d& toOrigin, const CTXVector3d& toXAxis,
                                    const CTXVector3d& toYAxis, const CTXVector3d& toZAxis);

    // Columns u, v, n: u = normal.perpVector(), v = n x u, n the unit normal.
    static CTXMatrix3d planeToWorld(const CTXVector3d& normal);
    CTXMatrix3d& setToPlaneToWorld(const CTXVector3d& normal);

    // Right-handed rotation about the axis through point. An axis shorter
    // than sqrt(kZeroLenSqr) gives the identity.
    CTXMatrix3d& setToRotation(double angle, const CTXVector3d& axis,
                               const CTXPoint3d& point = CTXPoint3d::kOrigin);

    CTXMatrix3d& setToProduct(const CTXMatrix3d& a, const CTXMatrix3d& b);

    // Of the upper 3 by 3 block.
    double det() const;

    // Inverts in place; the bottom row becomes 0 0 0 1.
    CTXMatrix3d& invert();
    // A copy of this with its first three rows inverted; the bottom row is
    // this one's.
    CTXMatrix3d inverse() const;
    // Writes the inverse into the first three rows of result and leaves its
    // bottom row. There is no singularity test: tol is unused, the answer is
    // always true, and a singular block yields infinities and NaN.
    bool inverse(CTXMatrix3d& result, double tol = tarvex::kPointTol) const;

    CTXMatrix3d operator*(const CTXMatrix3d& m) const;
    CTXMatrix3d& operator*=(const CTXMatrix3d& m) { return *this = *this * m; }

    double entry[4][4];
};
