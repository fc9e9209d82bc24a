// CTXVector2d and CTXPoint2d: plane vectors and points in double precision.
//
// Both are polymorphic (they derive from CTarvexObject), and a point is a
// vector by inheritance. Point equality is within tarvex::kPointTol per
// coordinate.
#pragma once

#include <cmath>

#include "tarvex/core/object.h"
#include "tarvex/geometry/tolerances.h"

class CTXMatrix2d;
class CTXPoint2d;

class CTXVector2d : public CTarvexObject {
public:
    CTXVector2d() : x(0.0), y(0.0) {}
    CTXVector2d(double ax, double ay) : x(ax), y(ay) {}
    CTXVector2d(const CTXVector2d&) = default;
    CTXVector2d& operator=(const CTXVector2d&) = default;

    CTXVector2d& set(double ax, double ay) {
        x = ax;
        y = ay;
        return *this;
    }

    double length() const { return std::sqrt(x * x + y * y); }
    double angle() const { return std::atan2(y, x); }

    // Per coordinate, unlike the 3d form, which looks at the squared length.
    bool isZeroLength() const {
        return std::fabs(x) < tarvex::kPointTol && std::fabs(y) < tarvex::kPointTol;
    }
    bool isEqualTo(const CTXVector2d& other, double tol = tarvex::kPointTol) const {
        return std::fabs(x - other.x) < tol && std::fabs(y - other.y) < tol;
    }

    // Only a length of exactly 0 or exactly 1 is left as it is.
    CTXVector2d& normalize() {
        const double len = length();
        if (len != 0.0 && len != 1.0) {
            x /= len;
            y /= len;
        }
        return *this;
    }

    CTXPoint2d asPoint() const;

    // Applies the whole matrix, translation included, and normalises the
    // result.
    CTXVector2d& transformBy(const CTXMatrix2d& m);

    CTXVector2d operator+(const CTXVector2d& v) const { return {x + v.x, y + v.y}; }
    CTXVector2d operator-(const CTXVector2d& v) const { return {x - v.x, y - v.y}; }
    CTXVector2d operator-() const { return {-x, -y}; }
    CTXVector2d operator*(double f) const { return {x * f, y * f}; }
    CTXVector2d& operator+=(const CTXVector2d& v) {
        x += v.x;
        y += v.y;
        return *this;
    }
    CTXVector2d& operator-=(const CTXVector2d& v) {
        x -= v.x;
        y -= v.y;
        return *this;
    }
    CTXVector2d& operator*=(double f) {
        x *= f;
        y *= f;
        return *this;
    }
    CTXVector2d& operator/=(double f) {
        x /= f;
        y /= f;
        return *this;
    }

    double x;
    double y;

protected:
    // The affine map of a row vector, without normalising.
    void doTransform(const CTXMatrix2d& m);
};

class CTXPoint2d : public CTXVector2d {
public:
    CTXPoint2d() = default;
    CTXPoint2d(double ax, double ay) : CTXVector2d(ax, ay) {}
    CTXPoint2d(const CTXPoint2d&) = default;
    explicit CTXPoint2d(const CTXVector2d& v) : CTXVector2d(v) {}
    CTXPoint2d& operator=(const CTXPoint2d&) = default;

    CTXVector2d asVector() const { return {x, y}; }

    double distanceTo(const CTXPoint2d& p) const { return std::hypot(p.x - x, p.y - y); }

    // Distance to the nearest point of the segment a-b (a when a == b).
    double distanceToSegment(const CTXPoint2d& a, const CTXPoint2d& b) const;

    // Positive to the right of the direction from a to b. a == b gives a
    // division by zero.
    double signedDistanceToLine(const CTXPoint2d& a, const CTXPoint2d& b) const;

    // The same affine map as for a vector, but never normalised.
    CTXPoint2d& transformBy(const CTXMatrix2d& m) {
        doTransform(m);
        return *this;
    }

    CTXVector2d operator-(const CTXPoint2d& p) const { return {x - p.x, y - p.y}; }
    CTXPoint2d operator+(const CTXVector2d& v) const { return {x + v.x, y + v.y}; }
    CTXPoint2d operator-(const CTXVector2d& v) const { return {x - v.x, y - v.y}; }
    CTXPoint2d operator*(double f) const { return {x * f, y * f}; }
    CTXPoint2d& operator+=(const CTXVector2d& v) {
        x += v.x;
        y += v.y;
        return *this;
    }
    CTXPoint2d& operator-=(const CTXVector2d& v) {
        x -= v.x;
        y -= v.y;
        return *this;
    }
    CTXPoint2d& operator*=(double f) {
        x *= f;
        y *= f;
        return *this;
    }

    // Equal when both differences are below the tolerance; different when one
    // exceeds it. A difference of exactly kPointTol is neither.
    bool operator==(const CTXPoint2d& p) const {
        return std::fabs(x - p.x) < tarvex::kPointTol && std::fabs(y - p.y) < tarvex::kPointTol;
    }
    bool operator!=(const CTXPoint2d& p) const {
        return std::fabs(x - p.x) > tarvex::kPointTol || std::fabs(y - p.y) > tarvex::kPointTol;
    }
};

inline CTXPoint2d CTXVector2d::asPoint() const {
    return {x, y};
}
