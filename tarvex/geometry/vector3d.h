// CTXVector3d and CTXPoint3d: space vectors and points in double precision.
//
// Neither is polymorphic: they are plain triples, stored by the million in
// grids and parameter values. Equality and order are within
// tarvex::kPointTol per coordinate; the text form is "{x; y; z}".
#pragma once

#include <cmath>

#include "tarvex/geometry/tolerances.h"
#include "tarvex/geometry/vector2d.h"
#include "tarvex/platform/cstring.h"

class CTXMatrix3d;
class CTXPoint3d;

class CTXVector3d {
public:
    constexpr CTXVector3d() : x(0.0), y(0.0), z(0.0) {}
    constexpr CTXVector3d(double ax, double ay, double az) : x(ax), y(ay), z(az) {}
    explicit CTXVector3d(const double* xyz) : x(xyz[0]), y(xyz[1]), z(xyz[2]) {}

    static const CTXVector3d kZero;
    static const CTXVector3d kXAxis;
    static const CTXVector3d kYAxis;
    static const CTXVector3d kZAxis;

    CTXVector3d& set(double ax, double ay, double az) {
        x = ax;
        y = ay;
        z = az;
        return *this;
    }

    double lengthSqr() const { return x * x + y * y + z * z; }
    double length() const { return std::sqrt(lengthSqr()); }
    double dotProduct(const CTXVector3d& v) const { return x * v.x + y * v.y + z * v.z; }
    CTXVector3d crossProduct(const CTXVector3d& v) const {
        return {y * v.z - z * v.y, z * v.x - x * v.z, x * v.y - y * v.x};
    }

    // Leaves lengths within kNormTol of 0 or of 1 as they are.
    CTXVector3d& normalize() {
        const double len = length();
        if (len > tarvex::kNormTol && std::fabs(len - 1.0) > tarvex::kNormTol) {
            x /= len;
            y /= len;
            z /= len;
        }
        return *this;
    }
    CTXVector3d normal() const { return CTXVector3d(*this).normalize(); }

    // A unit vector perpendicular to this one, built from the Z axis unless
    // this vector is nearly along Z (see kArbitraryAxis).
    CTXVector3d perpVector() const;

    // By the squared length: a vector of length 0.009 is zero here, though a
    // CTXVector2d of that length is not.
    bool isZeroLength() const { return lengthSqr() < tarvex::kZeroLenSqr; }
    bool isEqualTo(const CTXVector3d& v, double tol = tarvex::kPointTol) const {
        return std::fabs(x - v.x) < tol && std::fabs(y - v.y) < tol && std::fabs(z - v.z) < tol;
    }
    // The cross product is not normalised, so long vectors must be more
    // nearly parallel to pass than short ones.
    bool isParallelTo(const CTXVector3d& v) const {
        return crossProduct(v).lengthSqr() < tarvex::kZeroLenSqr;
    }
    // Compares the unit vectors; a zero vector divides into NaN and is
    // codirectional with nothing.
    bool isCodirectionalTo(const CTXVector3d& v) const;

    // 0 when either vector is shorter than kAngleLen. The cosine is not
    // clamped, so rounding may yield NaN for (anti)parallel vectors.
    double angleTo(const CTXVector3d& v) const;
    // In [0, 2pi): the angle, or 2pi minus it when (this x v) points against
    // the reference.
    double angleTo(const CTXVector3d& v, const CTXVector3d& reference) const;
    // The arc sine of the normalised dot product: the angle to the plane
    // whose normal is v.
    double slope(const CTXVector3d& v) const;

    // The rotation part only; the translation is dropped and nothing is
    // normalised.
    CTXVector3d& transformBy(const CTXMatrix3d& m);

    // "{0.0; 0.0; 0.0}", the three unit axes likewise, or "%.16g" fields.
    CString ToString() const;
    // The text must be "{x; y; z}"; a comma is read as a decimal point.
    // result is written only on success.
    static bool TryParse(const char16_t* text, CTXVector3d& result);

    CTXVector3d operator+(const CTXVector3d& v) const { return {x + v.x, y + v.y, z + v.z}; }
    CTXVector3d operator-(const CTXVector3d& v) const { return {x - v.x, y - v.y, z - v.z}; }
    CTXVector3d operator-() const { return {-x, -y, -z}; }
    CTXVector3d operator*(double f) const { return {x * f, y * f, z * f}; }
    CTXVector3d operator/(double f) const { return {x / f, y / f, z / f}; }
    CTXVector3d& operator+=(const CTXVector3d& v) {
        x += v.x;
        y += v.y;
        z += v.z;
        return *this;
    }
    CTXVector3d& operator-=(const CTXVector3d& v) {
        x -= v.x;
        y -= v.y;
        z -= v.z;
        return *this;
    }
    CTXVector3d& operator*=(double f) {
        x *= f;
        y *= f;
        z *= f;
        return *this;
    }
    CTXVector3d& operator/=(double f) {
        x /= f;
        y /= f;
        z /= f;
        return *this;
    }

    bool operator==(const CTXVector3d& v) const { return isEqualTo(v); }
    // Lexicographic; coordinates within kPointTol of each other are tied.
    bool operator<(const CTXVector3d& v) const;

    double x;
    double y;
    double z;
};

inline CTXVector3d operator*(double f, const CTXVector3d& v) {
    return v * f;
}

class CTXPoint3d {
public:
    constexpr CTXPoint3d() : x(0.0), y(0.0), z(0.0) {}
    constexpr CTXPoint3d(double ax, double ay, double az) : x(ax), y(ay), z(az) {}
    explicit CTXPoint3d(const double* xyz) : x(xyz[0]), y(xyz[1]), z(xyz[2]) {}
    explicit CTXPoint3d(const CTXPoint2d& p) : x(p.x), y(p.y), z(0.0) {}
    constexpr CTXPoint3d(const CTXPoint3d&) = default;
    constexpr CTXPoint3d& operator=(const CTXPoint3d&) = default;
    ~CTXPoint3d() = default;

    static const CTXPoint3d kOrigin;

    CTXPoint3d& set(double ax, double ay, double az) {
        x = ax;
        y = ay;
        z = az;
        return *this;
    }

    CTXVector3d asVector() const { return {x, y, z}; }
    double distanceTo(const CTXPoint3d& p) const { return (p - *this).length(); }

    // Each coordinate c becomes (c - centre) * factor + centre.
    CTXPoint3d& scaleBy(double factor, const CTXPoint3d& centre = kOrigin);
    // By CTXMatrix3d::setToRotation; a null axis leaves the point alone.
    CTXPoint3d& rotateBy(double angle, const CTXVector3d& axis, const CTXPoint3d& point = kOrigin);
    // The whole affine map, translation included.
    CTXPoint3d& transformBy(const CTXMatrix3d& m);

    // As CTXVector3d::ToString, but with 10 significant digits.
    CString ToString() const { return ToString(x, y, z); }
    static CString ToString(double x, double y, double z);
    static bool TryParse(const char16_t* text, CTXPoint3d& result);

    CTXVector3d operator-(const CTXPoint3d& p) const { return {x - p.x, y - p.y, z - p.z}; }
    CTXPoint3d operator+(const CTXVector3d& v) const { return {x + v.x, y + v.y, z + v.z}; }
    CTXPoint3d operator-(const CTXVector3d& v) const { return {x - v.x, y - v.y, z - v.z}; }
    CTXPoint3d operator*(double f) const { return {x * f, y * f, z * f}; }
    CTXPoint3d& operator+=(const CTXVector3d& v) {
        x += v.x;
        y += v.y;
        z += v.z;
        return *this;
    }
    CTXPoint3d& operator-=(const CTXVector3d& v) {
        x -= v.x;
        y -= v.y;
        z -= v.z;
        return *this;
    }
    CTXPoint3d& operator*=(double f) {
        x *= f;
        y *= f;
        z *= f;
        return *this;
    }

    bool isEqualTo(const CTXPoint3d& p, double tol = tarvex::kPointTol) const {
        return std::fabs(x - p.x) < tol && std::fabs(y - p.y) < tol && std::fabs(z - p.z) < tol;
    }
    // Equal when every difference is below the tolerance; different when one
    // exceeds it. A difference of exactly kPointTol is neither.
    bool operator==(const CTXPoint3d& p) const { return isEqualTo(p); }
    bool operator!=(const CTXPoint3d& p) const {
        return std::fabs(x - p.x) > tarvex::kPointTol || std::fabs(y - p.y) > tarvex::kPointTol ||
               std::fabs(z - p.z) > tarvex::kPointTol;
    }
    bool operator<(const CTXPoint3d& p) const;

    double x;
    double y;
    double z;
};

// Constant-initialised, so usable from any other static initialiser.
inline constexpr CTXVector3d CTXVector3d::kZero{0.0, 0.0, 0.0};
inline constexpr CTXVector3d CTXVector3d::kXAxis{1.0, 0.0, 0.0};
inline constexpr CTXVector3d CTXVector3d::kYAxis{0.0, 1.0, 0.0};
inline constexpr CTXVector3d CTXVector3d::kZAxis{0.0, 0.0, 1.0};
inline constexpr CTXPoint3d CTXPoint3d::kOrigin{0.0, 0.0, 0.0};
