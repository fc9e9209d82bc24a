#include "tarvex/geometry/rangeset.h"

#include <cmath>
#include <vector>

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

// Boundary coordinates with their running weights, in ascending order.
// Coordinates closer than kSetMergeTol share the key of whichever came first.
// Keys are exact (a tolerant comparator would not be a strict weak order) and
// stay at least kSetMergeTol apart, so only the two neighbours of a new
// coordinate can qualify; when both do, the lower one takes it.
//
// The other set's bounds come first and this set's second, each pass in
// ascending order (the intervals of a CSet never overlap). So a pass is a
// merge of two sorted runs: linear, with no search and no tree.
using Boundary = std::pair<double, int>;

void AddFirstPass(std::vector<Boundary>& keys, double x, int weight) {
    if (!keys.empty() && std::fabs(keys.back().first - x) < kSetMergeTol)
        keys.back().second += weight;
    else
        keys.emplace_back(x, weight);
}

// Walks the first pass's keys along with this set's ascending bounds. For
// each bound, `merged.back()` is its neighbour below and `first[next]` its
// neighbour above.
class CSecondPass {
public:
    CSecondPass(const std::vector<Boundary>& first, std::size_t bounds) : m_First(first) {
        m_Merged.reserve(first.size() + bounds);
    }

    void Add(double x, int weight) {
        while (m_Next < m_First.size() && m_First[m_Next].first < x)
            m_Merged.push_back(m_First[m_Next++]);
        if (m_Merged.empty() || std::fabs(m_Merged.back().first - x) >= kSetMergeTol) {
            if (m_Next < m_First.size() && std::fabs(m_First[m_Next].first - x) < kSetMergeTol)
                m_Merged.push_back(m_First[m_Next++]);
            else
                m_Merged.emplace_back(x, 0);
        }
        m_Merged.back().second += weight;
    }

    const std::vector<Boundary>& Finish() {
        m_Merged.insert(m_Merged.end(), m_First.begin() + static_cast<std::ptrdiff_t>(m_Next),
                        m_First.end());
        return m_Merged;
    }

private:
    const std::vector<Boundary>& m_First;
    std::size_t m_Next = 0;
    std::vector<Boundary> m_Merged;
};

} // namespace

void CSet::bool_operation(const CSet& other, bool_op op) {
    // The other set's bounds go in first, so on a merge its coordinates are
    // the ones that survive.
    const int sign = op == bo_difference ? -1 : 1;
    std::vector<Boundary> first;
    first.reserve(2 * other.m_Intervals.size());
    for (const Interval& i : other.m_Intervals) {
        AddFirstPass(first, i.first, sign);
        AddFirstPass(first, i.second, -sign);
    }
    CSecondPass second(first, 2 * m_Intervals.size());
    for (const Interval& i : m_Intervals) {
        second.Add(i.first, 1);
        second.Add(i.second, -1);
    }
    const std::vector<Boundary>& bounds = second.Finish();

    m_Intervals.clear();
    const int threshold = op == bo_intersection ? 2 : 1;
    int sum = 0;
    bool open = false;
    double lower = 0.0;
    for (const auto& [x, weight] : bounds) {
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
