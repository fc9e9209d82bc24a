// CRect2d: an axis-aligned world rectangle, with its conversions to and from
// an integer screen rectangle.
#pragma once

#include "tarvex/core/object.h"
#include "tarvex/geometry/vector2d.h"
#include "tarvex/platform/types.h"

// A screen rectangle in pixels, in the platform's field order.
struct CRect {
    LONG left = 0;
    LONG top = 0;
    LONG right = 0;
    LONG bottom = 0;

    CRect() = default;
    CRect(LONG l, LONG t, LONG r, LONG b) : left(l), top(t), right(r), bottom(b) {}
    bool operator==(const CRect&) const = default;
};

// World to screen: scale and offset per axis, optionally rotated by the angle
// whose sine and cosine are given.
struct _tagCoordSys {
    double originX;
    double originY;
    double pixelX;
    double pixelY;
    double scaleX;
    double scaleY;
    double sinA;
    double cosA;
};

class CRect2d : public CTarvexObject {
public:
    CRect2d() : left(0.0), right(0.0), bottom(0.0), top(0.0) {}
    CRect2d(double l, double b, double r, double t) : left(l), right(r), bottom(b), top(t) {}
    CRect2d(const CRect2d&) = default;
    CRect2d& operator=(const CRect2d&) = default;

    void SetRect(double l, double b, double r, double t) {
        left = l;
        bottom = b;
        right = r;
        top = t;
    }
    void GetRect(double& l, double& b, double& r, double& t) const {
        l = left;
        b = bottom;
        r = right;
        t = top;
    }

    // Pixels to world. Deliberately not the inverse of GetRect: the scale
    // factors are not undone. A corner whose rotation has cos^2 = sin^2 keeps
    // its present world value. Normalises at the end.
    void SetRect(const CRect& rect, const _tagCoordSys& cs);
    // World to pixels, truncating: (left, top) gives the first corner,
    // (right, bottom) the second. Values beyond 32 bits saturate, NaN gives 0.
    void GetRect(CRect& rect, const _tagCoordSys& cs) const;

    void InflateRect(double dx, double dy) {
        left -= dx;
        right += dx;
        bottom -= dy;
        top += dy;
    }
    void Move(const CTXVector2d& v) {
        left += v.x;
        right += v.x;
        bottom += v.y;
        top += v.y;
    }
    // Puts left <= right and bottom <= top.
    void Normalize();

    // Inclusive, with tol added on every side.
    bool HasPoint(const CTXPoint2d& p, double tol = 0.0) const {
        return p.x >= left - tol && p.x <= right + tol && p.y >= bottom - tol && p.y <= top + tol;
    }
    // Inclusive: rectangles that share only an edge overlap.
    bool OverlapsWith(const CRect2d& r) const {
        return left <= r.right && r.left <= right && bottom <= r.top && r.bottom <= top;
    }
    // Grows this rectangle to cover r as well.
    void Unite(const CRect2d& r);

    CTXPoint2d GetMinPoint() const { return {left, bottom}; }
    CTXPoint2d GetMaxPoint() const { return {right, top}; }
    CTXPoint2d GetLeftTop() const { return {left, top}; }
    CTXPoint2d GetMidPoint() const { return {(left + right) / 2.0, (bottom + top) / 2.0}; }

    // Exact, without tolerance.
    bool operator==(const CRect2d& r) const {
        return left == r.left && right == r.right && bottom == r.bottom && top == r.top;
    }

    double left;
    double right;
    double bottom;
    double top;
};
