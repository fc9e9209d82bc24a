// CTXMatrix2d: a plane affine transform acting on row vectors.
//
// The row-vector convention is the opposite of CTXMatrix3d's, and both are
// fixed: a point maps as p' = p * M, the translation is the third row, and a
// product A * B applies A first.
#pragma once

#include "tarvex/core/object.h"
#include "tarvex/geometry/vector2d.h"

class CTXMatrix2d : public CTarvexObject {
public:
    CTXMatrix2d() : CTXMatrix2d(1.0) {}
    // diag(d, d, 1).
    explicit CTXMatrix2d(double d);
    CTXMatrix2d(const CTXMatrix2d&) = default;
    CTXMatrix2d& operator=(const CTXMatrix2d&) = default;

    // Counter-clockwise by a: m00 = m11 = cos a, m01 = sin a, m10 = -sin a.
    static CTXMatrix2d rotation(double a);
    static CTXMatrix2d rotation(double a, const CTXPoint2d& centre);
    static CTXMatrix2d scaling(double s);
    static CTXMatrix2d scaling(double s, const CTXPoint2d& centre);
    static CTXMatrix2d translation(const CTXVector2d& v);

    double operator()(int row, int column) const { return entry[row][column]; }

    // The linear part only: x' = x m00 + y m10, y' = x m01 + y m11.
    CTXVector2d operator*(const CTXVector2d& v) const {
        return {v.x * entry[0][0] + v.y * entry[1][0], v.x * entry[0][1] + v.y * entry[1][1]};
    }
    CTXMatrix2d operator*(const CTXMatrix2d& m) const;
    CTXMatrix2d& operator*=(const CTXMatrix2d& m) { return *this = *this * m; }

    double entry[3][3];
};
