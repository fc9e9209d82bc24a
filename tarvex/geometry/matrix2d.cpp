#include "tarvex/geometry/matrix2d.h"

#include <cmath>

CTXMatrix2d::CTXMatrix2d(double d) : entry{{d, 0.0, 0.0}, {0.0, d, 0.0}, {0.0, 0.0, 1.0}} {}

CTXMatrix2d CTXMatrix2d::rotation(double a) {
    CTXMatrix2d m;
    const double c = std::cos(a), s = std::sin(a);
    m.entry[0][0] = c;
    m.entry[0][1] = s;
    m.entry[1][0] = -s;
    m.entry[1][1] = c;
    return m;
}

// Row vectors apply the leftmost factor first: move the centre to the
// origin, transform, move it back.
CTXMatrix2d CTXMatrix2d::rotation(double a, const CTXPoint2d& centre) {
    return translation(-centre.asVector()) * rotation(a) * translation(centre.asVector());
}

CTXMatrix2d CTXMatrix2d::scaling(double s) {
    CTXMatrix2d m(s);
    return m;
}

CTXMatrix2d CTXMatrix2d::scaling(double s, const CTXPoint2d& centre) {
    return translation(-centre.asVector()) * scaling(s) * translation(centre.asVector());
}

CTXMatrix2d CTXMatrix2d::translation(const CTXVector2d& v) {
    CTXMatrix2d m;
    m.entry[2][0] = v.x;
    m.entry[2][1] = v.y;
    return m;
}

CTXMatrix2d CTXMatrix2d::operator*(const CTXMatrix2d& b) const {
    CTXMatrix2d r(0.0);
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) {
            double sum = 0.0;
            for (int k = 0; k < 3; ++k) sum += entry[i][k] * b.entry[k][j];
            r.entry[i][j] = sum;
        }
    return r;
}
