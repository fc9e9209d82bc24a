#include "tarvex/geometry/vector3d.h"

#include <numbers>

#include "tarvex/geometry/matrix3d.h"
#include "tarvex/platform/wide.h"

using tarvex::kPointTol;

namespace {

bool NearZero(double v) {
    return std::fabs(v) < tarvex::kTextZero;
}
bool NearOne(double v) {
    return std::fabs(v - 1.0) < tarvex::kTextZero;
}

// The unit axes and the origin have fixed spellings; anything else prints with
// the given number of significant digits, specks below kTextZero as 0.
CString FormatTriple(double x, double y, double z, int precision) {
    if (NearZero(x) && NearZero(y) && NearZero(z)) return u"{0.0; 0.0; 0.0}";
    if (NearOne(x) && NearZero(y) && NearZero(z)) return u"{1.0; 0.0; 0.0}";
    if (NearZero(x) && NearOne(y) && NearZero(z)) return u"{0.0; 1.0; 0.0}";
    if (NearZero(x) && NearZero(y) && NearOne(z)) return u"{0.0; 0.0; 1.0}";
    auto clean = [](double v) { return NearZero(v) ? 0.0 : v; };
    CString text;
    text.Format(u"{%.*g; %.*g; %.*g}", precision, clean(x), precision, clean(y), precision,
                clean(z));
    return text;
}

// "{x; y; z}" with any number of braces on either side. A comma becomes a
// point, which is why the fields are separated by semicolons. Each field is
// read for what it is worth (0 if nothing); the first may be empty, the other
// two may not, and a fourth is ignored.
bool ParseTriple(const char16_t* text, double (&xyz)[3]) {
    CString s(text);
    s.Replace(u',', u'.');
    s.Trim();
    if (s.IsEmpty() || s[0] != u'{') return false;
    s.TrimLeft(u'{');
    if (s.IsEmpty() || s[s.GetLength() - 1] != u'}') return false;
    s.TrimRight(u'}');

    const int length = s.GetLength();
    int from = 0;
    for (int i = 0; i < 3; ++i) {
        if (from > length) return false; // fewer than three fields
        const int semicolon = s.Find(u';', from);
        const int to = semicolon < 0 ? length : semicolon;
        CString field = s.Mid(from, to - from);
        field.Trim();
        if (i > 0 && field.IsEmpty()) return false;
        xyz[i] = _wtof(field);
        from = to + 1;
    }
    return true;
}

} // namespace

CTXVector3d CTXVector3d::perpVector() const {
    const CTXVector3d n = normal();
    CTXVector3d u;
    if (std::fabs(n.x) < tarvex::kArbitraryAxis && std::fabs(n.y) < tarvex::kArbitraryAxis)
        u.set(n.z, 0.0, -n.x);
    else
        u.set(-n.y, n.x, 0.0);
    return u.normalize();
}

bool CTXVector3d::isCodirectionalTo(const CTXVector3d& v) const {
    const CTXVector3d a = *this / length(), b = v / v.length();
    return std::fabs(a.x - b.x) < kPointTol && std::fabs(a.y - b.y) < kPointTol &&
           std::fabs(a.z - b.z) < kPointTol;
}

double CTXVector3d::angleTo(const CTXVector3d& v) const {
    if (length() < tarvex::kAngleLen || v.length() < tarvex::kAngleLen) return 0.0;
    return std::acos(normal().dotProduct(v.normal()));
}

double CTXVector3d::angleTo(const CTXVector3d& v, const CTXVector3d& reference) const {
    const double a = angleTo(v);
    return crossProduct(v).dotProduct(reference) >= 0.0 ? a : 2.0 * std::numbers::pi - a;
}

double CTXVector3d::slope(const CTXVector3d& v) const {
    if (length() < tarvex::kAngleLen || v.length() < tarvex::kAngleLen) return 0.0;
    return std::asin(normal().dotProduct(v.normal()));
}

CTXVector3d& CTXVector3d::transformBy(const CTXMatrix3d& m) {
    const auto& e = m.entry;
    return set(e[0][0] * x + e[0][1] * y + e[0][2] * z, e[1][0] * x + e[1][1] * y + e[1][2] * z,
               e[2][0] * x + e[2][1] * y + e[2][2] * z);
}

CString CTXVector3d::ToString() const {
    return FormatTriple(x, y, z, 16);
}

bool CTXVector3d::TryParse(const char16_t* text, CTXVector3d& result) {
    double xyz[3];
    if (!ParseTriple(text, xyz)) return false;
    result.set(xyz[0], xyz[1], xyz[2]);
    return true;
}

// A difference of at least kPointTol decides by plain comparison.
bool CTXVector3d::operator<(const CTXVector3d& v) const {
    if (std::fabs(x - v.x) >= kPointTol) return x < v.x;
    if (std::fabs(y - v.y) >= kPointTol) return y < v.y;
    if (std::fabs(z - v.z) >= kPointTol) return z < v.z;
    return false;
}

CTXPoint3d& CTXPoint3d::scaleBy(double factor, const CTXPoint3d& centre) {
    return set((x - centre.x) * factor + centre.x, (y - centre.y) * factor + centre.y,
               (z - centre.z) * factor + centre.z);
}

CTXPoint3d& CTXPoint3d::rotateBy(double angle, const CTXVector3d& axis, const CTXPoint3d& point) {
    CTXMatrix3d m;
    return transformBy(m.setToRotation(angle, axis, point));
}

CTXPoint3d& CTXPoint3d::transformBy(const CTXMatrix3d& m) {
    const auto& e = m.entry;
    return set(e[0][0] * x + e[0][1] * y + e[0][2] * z + e[0][3],
               e[1][0] * x + e[1][1] * y + e[1][2] * z + e[1][3],
               e[2][0] * x + e[2][1] * y + e[2][2] * z + e[2][3]);
}

CString CTXPoint3d::ToString(double x, double y, double z) {
    return FormatTriple(x, y, z, 10);
}

bool CTXPoint3d::TryParse(const char16_t* text, CTXPoint3d& result) {
    double xyz[3];
    if (!ParseTriple(text, xyz)) return false;
    result.set(xyz[0], xyz[1], xyz[2]);
    return true;
}

bool CTXPoint3d::operator<(const CTXPoint3d& p) const {
    return asVector() < p.asVector();
}
