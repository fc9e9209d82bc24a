#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <map>
#include <random>
#include <vector>

#include "tarvex/geometry/domain.h"
#include "tarvex/geometry/rangeset.h"

namespace {

std::vector<CSet::Interval> Intervals(const CSet& s) {
    return {s.GetIntervals().begin(), s.GetIntervals().end()};
}
using Pairs = std::vector<CSet::Interval>;

Pairs Pieces(const CRangeSet& r) {
    return {r.begin(), r.end()};
}

} // namespace

TEST(Set, IntervalsAreOpenOrderedAndNeverEmpty) {
    const CSet s(1, 2);
    EXPECT_TRUE(s.isIn(1.5));
    EXPECT_FALSE(s.isIn(1));
    EXPECT_FALSE(s.isIn(2));
    EXPECT_FALSE(s.isIn(std::numeric_limits<double>::quiet_NaN()));
    double a = 0, b = 0;
    EXPECT_TRUE(s.isIn(1.25, a, b));
    EXPECT_EQ(a, 1);
    EXPECT_EQ(b, 2);

    EXPECT_EQ(CSet(2, 1), CSet(1, 2));
    EXPECT_TRUE(CSet(1, 1).isEmpty());
    EXPECT_TRUE(CSet(1, 1 + 9e-9).isEmpty()); // not above the float 1e-8
    EXPECT_FALSE(CSet(1, 1 + 2e-8).isEmpty());
    EXPECT_TRUE(CSet(std::nan(""), 1).isEmpty());

    CSet t;
    t.set(u"3.5-1.5");
    EXPECT_EQ(Intervals(t), (Pairs{{1.5, 3.5}}));
    t.set(u"-2"); // the sign is the separator: (0, 2)
    EXPECT_EQ(Intervals(t), (Pairs{{0, 2}}));
    t.set(nullptr);
    EXPECT_TRUE(t.isEmpty());
}

TEST(Set, UnionMergesTouchingAndNearlyTouchingBounds) {
    EXPECT_EQ(Intervals(CSet(1, 2) + CSet(2, 3)), (Pairs{{1, 3}}));
    EXPECT_EQ(Intervals(CSet(1, 2) + CSet(2.000001, 3)), (Pairs{{1, 3}}));
    EXPECT_EQ(Intervals(CSet(1, 2) + CSet(2.0001, 3)), (Pairs{{1, 2}, {2.0001, 3}}));
    CSet u = CSet(0, 1) + CSet(5, 6);
    u += CSet(0.5, 5.5);
    EXPECT_EQ(Intervals(u), (Pairs{{0, 6}}));
}

TEST(Set, DifferenceAndIntersection) {
    EXPECT_EQ(Intervals(CSet(1, 3) - CSet(2, 4)), (Pairs{{1, 2}}));
    EXPECT_EQ(Intervals(CSet(0, 10) - CSet(2, 4)), (Pairs{{0, 2}, {4, 10}}));
    EXPECT_TRUE((CSet(2, 3) - CSet(1, 4)).isEmpty());
    EXPECT_TRUE((CSet(1, 2) * CSet(3, 4)).isEmpty());
    // The other set's bound is inserted first and survives the merge.
    EXPECT_EQ(Intervals(CSet(1, 2) * CSet(1.000001, 3)), (Pairs{{1.000001, 2}}));
    EXPECT_EQ(Intervals(CSet(1.000001, 3) * CSet(1, 2)), (Pairs{{1, 2}}));
    // Nearly equal bounds on both ends leave nothing of a difference.
    EXPECT_TRUE((CSet(1, 2) - CSet(0.999999, 2.000001)).isEmpty());
}

TEST(Set, MergeProbeTakesTheLowerOfTwoQualifyingKeys) {
    // Bounds 0.8e-5 either side of 5 stay apart (1.6e-5); a later 5 is within
    // reach of both and must join the lower one, or the union splits.
    const CSet gapped = CSet(0, 5 - 0.8e-5) + CSet(5 + 0.8e-5, 10);
    EXPECT_EQ(Intervals(gapped), (Pairs{{0, 5 - 0.8e-5}, {5 + 0.8e-5, 10}}));
    EXPECT_EQ(Intervals(CSet(5, 7) + gapped), (Pairs{{0, 10}}));
}

TEST(Set, InfiniteBoundsAreHandled) {
    const double inf = std::numeric_limits<double>::infinity();
    CSet all(-inf, inf);
    EXPECT_TRUE(all.isIn(0));
    EXPECT_EQ(Intervals(all - CSet(0, 1)), (Pairs{{-inf, 0}, {1, inf}}));
    EXPECT_TRUE(CSet(inf, inf).isEmpty());
}

TEST(RangeSet, CuttingKeepsZeroLengthPieces) {
    CRangeSet r(3, 1);
    EXPECT_EQ(Pieces(r), (Pairs{{1, 3}}));
    r.SubstractRangeSet(2, 1);
    EXPECT_EQ(Pieces(r), (Pairs{{1, 1}, {2, 3}}));

    CRangeSet s(0, 10);
    s.SubstractRangeSet(4, 6);
    EXPECT_EQ(Pieces(s), (Pairs{{0, 4}, {6, 10}}));
    s.SubstractRangeSet(-1, 2); // the left end
    EXPECT_EQ(Pieces(s), (Pairs{{2, 4}, {6, 10}}));
    s.SubstractRangeSet(8, 20); // the right end
    EXPECT_EQ(Pieces(s), (Pairs{{2, 4}, {6, 8}}));
    s.SubstractRangeSet(1, 5); // covers a pair whole
    EXPECT_EQ(Pieces(s), (Pairs{{6, 8}}));
    s.SubstractRangeSet(8, 9); // touching only
    EXPECT_EQ(Pieces(s), (Pairs{{6, 8}}));
    EXPECT_EQ(&s.getSubSets(), &s);
}

TEST(Domain, OnlyThisToleranceDecides) {
    const CTXDomain unit;
    EXPECT_EQ(unit.length(), 1);
    EXPECT_FALSE(unit.is_zero_domain());
    EXPECT_TRUE(CTXDomain(0, 1, 1.5).is_zero_domain());

    const CTXDomain d(0, 10, 0.1);
    EXPECT_FALSE(d.intersects(CTXDomain(-5, 0.05, 0))); // ends within tolerance of the start
    EXPECT_TRUE(d.intersects(CTXDomain(-5, 0.2, 0)));
    EXPECT_FALSE(d.intersects(CTXDomain(9.95, 20, 0)));
    EXPECT_TRUE(CTXDomain(-5, 0.05, 0).intersects(d)); // that domain's tolerance is 0

    CTXDomain result(100, 200, 7);
    EXPECT_TRUE(d.intersect(CTXDomain(20, 5, 0), result));
    EXPECT_EQ(result.get_start(), 5);
    EXPECT_EQ(result.get_end(), 10);
    EXPECT_EQ(result.get_tolerance(), 7);
    EXPECT_TRUE(d.absorbs(CTXDomain(-0.05, 10.05, 0)));
    EXPECT_FALSE(d.absorbs(CTXDomain(-0.2, 5, 0)));

    TArrayTemplate<CTXDomain> pieces;
    EXPECT_TRUE(CTXDomain(2, 4, 0.1).subtract(CTXDomain(0, 10, 0.5), pieces));
    ASSERT_EQ(pieces.GetLength(), 2);
    EXPECT_EQ(pieces[0].get_end(), 2);
    EXPECT_EQ(pieces[0].get_tolerance(), 0.1);
    EXPECT_EQ(pieces[1].get_start(), 4);
    EXPECT_EQ(pieces[1].get_end(), 10);
    EXPECT_TRUE(CTXDomain(2, 4, 0.1).subtract(CTXDomain(2.05, 3.95, 0), pieces));
    EXPECT_FALSE(CTXDomain(2, 4, 0.1).subtract(CTXDomain(0, 10, 20), pieces)); // zero by its own
    EXPECT_EQ(pieces.GetLength(), 2);
}

namespace {

// The sweep as a plain ordered map with a neighbour probe per bound: slow,
// but obviously right. The library's merge walk must agree with it.
Pairs ReferenceOperation(const CSet& self, const CSet& other, CSet::bool_op op) {
    std::map<double, int> counts;
    auto add = [&counts](double x, int weight) {
        auto above = counts.lower_bound(x);
        if (above != counts.begin() && std::fabs(std::prev(above)->first - x) < 1e-5)
            std::prev(above)->second += weight;
        else if (above != counts.end() && std::fabs(above->first - x) < 1e-5)
            above->second += weight;
        else
            counts.emplace(x, weight);
    };
    const int sign = op == CSet::bo_difference ? -1 : 1;
    for (const auto& [a, b] : other.GetIntervals()) add(a, sign), add(b, -sign);
    for (const auto& [a, b] : self.GetIntervals()) add(a, 1), add(b, -1);
    Pairs result;
    int sum = 0;
    bool open = false;
    double lower = 0;
    for (const auto& [x, weight] : counts) {
        sum += weight;
        if (!open) {
            open = sum == (op == CSet::bo_intersection ? 2 : 1);
            lower = x;
        } else if (op == CSet::bo_union ? sum == 0 : sum <= (op == CSet::bo_intersection)) {
            open = false;
            if (x - lower > tarvex::kSetMinLength) result.emplace_back(lower, x);
        }
    }
    return result;
}

// Bounds on a lattice of 4e-6, so that many fall within the merge distance.
CSet RandomSet(std::mt19937& rng) {
    std::uniform_int_distribution<int> at(0, 40), length(1, 6);
    CSet s;
    for (int i = 0; i < 6; ++i) {
        const double a = at(rng) * 4e-6;
        s += CSet(a, a + length(rng) * 4e-6);
    }
    return s;
}

} // namespace

TEST(Set, MergeWalkAgreesWithAPlainOrderedMap) {
    std::mt19937 rng(12345);
    for (int round = 0; round < 2000; ++round) {
        const CSet a = RandomSet(rng), b = RandomSet(rng);
        for (auto op : {CSet::bo_difference, CSet::bo_union, CSet::bo_intersection}) {
            CSet result = a;
            result.bool_operation(b, op);
            ASSERT_EQ(Intervals(result), ReferenceOperation(a, b, op))
                << "round " << round << " op " << op;
        }
    }
}
