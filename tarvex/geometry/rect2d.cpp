#include "tarvex/geometry/rect2d.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <utility>

namespace {

// Truncation towards zero; saturating keeps an absurd scale from being
// undefined behaviour.
LONG TruncateToPixel(double v) {
    if (std::isnan(v)) return 0;
    constexpr double lo = std::numeric_limits<LONG>::min(), hi = std::numeric_limits<LONG>::max();
    return static_cast<LONG>(std::clamp(std::trunc(v), lo, hi));
}

void WorldToPixel(double x, double y, const _tagCoordSys& cs, LONG& px, LONG& py) {
    if (cs.sinA != 0.0 || cs.cosA < 0.0) {
        const double rx = x * cs.cosA - y * cs.sinA;
        const double ry = x * cs.sinA + y * cs.cosA;
        x = rx;
        y = ry;
    }
    px = TruncateToPixel((x * cs.scaleX + cs.originX) * cs.pixelX);
    py = TruncateToPixel((cs.originY - y * cs.scaleY) * cs.pixelY);
}

// The scale factors are not applied, and y uses the raw pixel x: this is the
// conversion hosts have always got, not the inverse of WorldToPixel.
void PixelToWorld(LONG px, LONG py, const _tagCoordSys& cs, double& x, double& y) {
    const double d = cs.cosA * cs.cosA - cs.sinA * cs.sinA;
    if (d == 0.0) return;
    const double u = px / cs.pixelX - cs.originX;
    const double w = cs.originY - py / cs.pixelY;
    x = (cs.cosA * u - cs.sinA * w) / d;
    y = cs.cosA == 0.0 ? u / cs.sinA : (w - px * cs.sinA) / cs.cosA;
}

} // namespace

void CRect2d::SetRect(const CRect& rect, const _tagCoordSys& cs) {
    PixelToWorld(rect.left, rect.bottom, cs, left, bottom);
    PixelToWorld(rect.right, rect.top, cs, right, top);
    Normalize();
}

void CRect2d::GetRect(CRect& rect, const _tagCoordSys& cs) const {
    WorldToPixel(left, top, cs, rect.left, rect.top);
    WorldToPixel(right, bottom, cs, rect.right, rect.bottom);
}

void CRect2d::Normalize() {
    if (left > right) std::swap(left, right);
    if (bottom > top) std::swap(bottom, top);
}

void CRect2d::Unite(const CRect2d& r) {
    left = std::min(left, r.left);
    right = std::max(right, r.right);
    bottom = std::min(bottom, r.bottom);
    top = std::max(top, r.top);
}
