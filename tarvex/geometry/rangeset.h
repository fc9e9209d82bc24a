// CSet and CRangeSet: sets of real intervals, for clipping lines and routes.
//
// CSet keeps open intervals ("a bound itself is not in") without overlaps,
// drops pieces of no length and merges bounds closer than kSetMergeTol in
// its boolean operations. CRangeSet is the older, plainer form: an array of
// pairs from which intervals are cut, keeping pieces of zero length.
#pragma once

#include <set>
#include <utility>

#include "tarvex/core/arraytemplate.h"

class CSet {
public:
    using Interval = std::pair<double, double>;

    enum bool_op { bo_difference = 0, bo_union = 1, bo_intersection = 2 };

    CSet() = default;
    CSet(double a, double b) { set(a, b); }

    // Replaces the contents by the interval between a and b, in either order,
    // unless it is no longer than kSetMinLength (NaN bounds fail that too).
    void set(double a, double b);
    // "a-b": split at the first '-', each side read by _wtof. A null text
    // reads as empty, which gives the interval (0, 0) and so an empty set.
    void set(const char16_t* text);

    void empty() { m_Intervals.clear(); }
    bool isEmpty() const { return m_Intervals.empty(); }

    bool isIn(double x) const;
    // Also gives the bounds of the interval that holds x.
    bool isIn(double x, double& a, double& b) const;

    // The merging sweep over the bounds of both sets; see rangeset.cpp.
    void bool_operation(const CSet& other, bool_op op);

    CSet& operator+=(const CSet& other) {
        bool_operation(other, bo_union);
        return *this;
    }
    CSet& operator-=(const CSet& other) {
        bool_operation(other, bo_difference);
        return *this;
    }
    CSet& operator*=(const CSet& other) {
        bool_operation(other, bo_intersection);
        return *this;
    }
    CSet operator+(const CSet& other) const { return CSet(*this) += other; }
    CSet operator-(const CSet& other) const { return CSet(*this) -= other; }
    CSet operator*(const CSet& other) const { return CSet(*this) *= other; }

    bool operator==(const CSet& other) const { return m_Intervals == other.m_Intervals; }

    // Ascending, each with its lower bound first.
    const std::set<Interval>& GetIntervals() const { return m_Intervals; }

private:
    std::set<Interval> m_Intervals;
};

class CRangeSet : public TArrayTemplate<std::pair<double, double>> {
public:
    CRangeSet() : TArrayTemplate(1, 2, -8) {}
    CRangeSet(double a, double b);

    // Cuts the interval between a and b (in either order) out of every pair.
    // What remains of a pair may have zero length and is kept.
    void SubstractRangeSet(double a, double b);

    TArrayTemplate<std::pair<double, double>>& getSubSets() { return *this; }
    const TArrayTemplate<std::pair<double, double>>& getSubSets() const { return *this; }
};

namespace tarvex {

// CSet::set keeps an interval only if it is longer than this: the float 1e-8.
inline constexpr double kSetMinLength = static_cast<double>(1e-8f);
// The boolean sweep treats bounds closer than this as one.
inline constexpr double kSetMergeTol = 1e-5;

} // namespace tarvex
