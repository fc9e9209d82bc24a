#include "tarvex/geometry/domain.h"

#include <algorithm>
#include <cmath>
#include <utility>

CTXDomain::CTXDomain(double a, double b, double tolerance)
    : m_dStart(a), m_dEnd(b), m_dTolerance(tolerance) {
    if (m_dStart > m_dEnd) std::swap(m_dStart, m_dEnd);
}

bool CTXDomain::is_zero_domain() const {
    return m_dTolerance > std::fabs(length());
}

// `other` ends before this start, up to the tolerance.
bool CTXDomain::liesBefore(const CTXDomain& other) const {
    return m_dTolerance > other.m_dStart - m_dStart && m_dTolerance > other.m_dEnd - m_dStart;
}

// `other` begins after this end, up to the tolerance.
bool CTXDomain::liesAfter(const CTXDomain& other) const {
    return m_dTolerance > m_dEnd - other.m_dStart && m_dTolerance > m_dEnd - other.m_dEnd;
}

bool CTXDomain::intersects(const CTXDomain& other) const {
    return !liesBefore(other) && !liesAfter(other);
}

bool CTXDomain::intersect(const CTXDomain& other, CTXDomain& result) const {
    if (!intersects(other)) return false;
    result.m_dStart = std::max(m_dStart, other.m_dStart);
    result.m_dEnd = std::min(m_dEnd, other.m_dEnd);
    return true;
}

bool CTXDomain::absorbs(const CTXDomain& other) const {
    return m_dTolerance > m_dStart - other.m_dStart && m_dTolerance > other.m_dEnd - m_dEnd;
}

bool CTXDomain::subtract(const CTXDomain& other, TArrayTemplate<CTXDomain>& pieces) const {
    if (other.is_zero_domain() || !intersects(other)) return false;
    if (m_dStart - other.m_dStart > m_dTolerance)
        pieces.Add(CTXDomain(other.m_dStart, m_dStart, m_dTolerance));
    if (other.m_dEnd - m_dEnd > m_dTolerance)
        pieces.Add(CTXDomain(other.m_dEnd, m_dEnd, m_dTolerance));
    return true;
}
