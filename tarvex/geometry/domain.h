// CTXDomain: one interval of a line parameter with the tolerance that decides
// when two intervals touch. Every test uses this domain's tolerance only,
// never the other's, so a.intersects(b) and b.intersects(a) may differ.
#pragma once

#include "tarvex/core/arraytemplate.h"
#include "tarvex/core/object.h"

class CTXDomain : public CTarvexObject {
public:
    CTXDomain() = default;
    // The bounds in either order.
    CTXDomain(double a, double b, double tolerance);

    double get_start() const { return m_dStart; }
    double get_end() const { return m_dEnd; }
    double get_tolerance() const { return m_dTolerance; }
    double length() const { return m_dEnd - m_dStart; }

    // Shorter than its own tolerance.
    bool is_zero_domain() const;

    bool intersects(const CTXDomain& other) const;
    // As intersects; when true, `result` gets the common part, its tolerance
    // left as it was. On false `result` is not touched.
    bool intersect(const CTXDomain& other, CTXDomain& result) const;
    // Covers `other` up to the tolerance at both ends.
    bool absorbs(const CTXDomain& other) const;
    // Appends to `pieces` what lies of `other` outside this domain, and says
    // whether the two met at all. A zero `other` meets nothing.
    bool subtract(const CTXDomain& other, TArrayTemplate<CTXDomain>& pieces) const;

private:
    bool liesBefore(const CTXDomain& other) const;
    bool liesAfter(const CTXDomain& other) const;

    double m_dStart = 0.0;
    double m_dEnd = 1.0;
    double m_dTolerance = 0.01;
};
