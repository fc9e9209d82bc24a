#include "tarvex/geometry/rangeset.h"

#include <cmath>
#include <iterator>
#include <map>

#include "tarvex/platform/cstring.h"
#include "tarvex/platform/wide.h"

using tarvex::kSetMergeTol;
using tarvex::kSetMinLength;

void CSet::set(double a, double b) {
    m_Intervals.clear();
    if (a > b) std::swap(a, b);
    if (b - a > kSetMinLength) m_Intervals.emplace(a, b);
}

void CSet::set(const char16_t* text) {
    const CString whole(text ? text : u"");
    const int dash = whole.Find(u'-');
    if (dash < 0) {
        set(_wtof(whole), 0.0);
        return;
    }
    set(_wtof(whole.Left(dash)), _wtof(whole.Mid(dash + 1)));
}

bool CSet::isIn(double x) const {
    double a, b;
    return isIn(x, a, b);
}

bool CSet::isIn(double x, double& a, double& b) const {
    // The intervals do not overlap, so only the last one starting below x
    // can hold it.
    auto it = m_Intervals.lower_bound(Interval(x, -HUGE_VAL));
    if (it == m_Intervals.begin()) return false;
    --it;
    if (!(it->first < x && x < it->second)) return false;
    a = it->first;
    b = it->second;
    return true;
}

namespace {

// Boundary coordinates with their running weights. Coordinates closer than
// kSetMergeTol share the key of whichever came first. The map itself is exact:
// a tolerant comparator would not be a strict weak order. Keys stay at least
// kSetMergeTol apart, so only the two neighbours of a new coordinate can
// qualify; when both do, the lower one takes it.
class CBoundaryMap {
public:
    void Add(double x, int weight) {
        auto above = m_Counts.lower_bound(x);
        if (above != m_Counts.begin()) {
            auto below = std::prev(above);
            if (std::fabs(below->first - x) < kSetMergeTol) {
                below->second += weight;
                return;
            }
        }
        if (above != m_Counts.end() && std::fabs(above->first - x) < kSetMergeTol) {
            above->second += weight;
            return;
        }
        m_Counts.emplace_hint(above, x, weight);
    }

    const std::map<double, int>& Counts() const { return m_Counts; }

private:
    std::map<double, int> m_Counts;
};

} // namespace

void CSet::bool_operation(const CSet& other, bool_op op) {
    CBoundaryMap bounds;
    // The other set's bounds go in first, so on a merge its coordinates are
    // the ones that survive.
    const int sign = op == bo_difference ? -1 : 1;
    for (const Interval& i : other.m_Intervals) {
        bounds.Add(i.first, sign);
        bounds.Add(i.second, -sign);
    }
    for (const Interval& i : m_Intervals) {
        bounds.Add(i.first, 1);
        bounds.Add(i.second, -1);
    }

    m_Intervals.clear();
    const int threshold = op == bo_intersection ? 2 : 1;
    int sum = 0;
    bool open = false;
    double lower = 0.0;
    for (const auto& [x, weight] : bounds.Counts()) {
        sum += weight;
        if (!open) {
            if (sum == threshold) {
                open = true;
                lower = x;
            }
            continue;
        }
        const bool closes = op == bo_union ? sum == 0 : op == bo_difference ? sum <= 0 : sum <= 1;
        if (closes) {
            open = false;
            if (x - lower > kSetMinLength) m_Intervals.emplace_hint(m_Intervals.end(), lower, x);
        }
    }
}

CRangeSet::CRangeSet(double a, double b) : CRangeSet() {
    if (a > b) std::swap(a, b);
    Add({a, b});
}

void CRangeSet::SubstractRangeSet(double a, double b) {
    if (a > b) std::swap(a, b);
    CRangeSet result;
    result.PrepareToAdd(GetLength() + 1);
    for (const auto& [s, e] : *this) {
        if (s >= b || a >= e) {
            result.Add({s, e});
        } else if (a >= s && e >= b) {
            result.Add({s, a});
            result.Add({b, e});
        } else if (b >= s && e >= b) {
            result.Add({b, e});
        } else if (a >= s && e >= a) {
            result.Add({s, a});
        }
        // Otherwise the cut covers the pair and nothing of it remains.
    }
    TArrayTemplate::operator=(std::move(result));
}
