#include <gtest/gtest.h>

#include <vector>

#include "tarvex/geometry/deixmatrix.h"

namespace {

std::vector<int> Path(const CDeixMatrix& m, int vertex, int& result) {
    TArrayTemplate<int> path;
    path.Add(99); // replaced, not appended to
    result = m.GetPath(vertex, path);
    return {path.begin(), path.end()};
}

} // namespace

TEST(DeixMatrix, ShortestPathGoesRoundTheLongSide) {
    CDeixMatrix m(4);
    m.SetSegment(0, 1, 1);
    m.SetSegment(1, 2, 1);
    m.SetSegment(0, 2, 5);
    EXPECT_EQ(m.GetSegmentLen(2, 0), 5u);
    m.Markup(0);
    EXPECT_EQ(m.GetPathLength(2), 2);
    EXPECT_EQ(m.GetPathLen(2), 3u);
    int result = -1;
    EXPECT_EQ(Path(m, 2, result), (std::vector<int>{2, 1, 0}));
    EXPECT_EQ(result, 1);

    TArrayTemplate<int> path;
    m.GetPath(2, path);
    EXPECT_EQ(m.GetPathLength(path), 2u);
    EXPECT_EQ(m.GetPathLength(TArrayTemplate<int>()), 0u);

    EXPECT_EQ(Path(m, 0, result), (std::vector<int>{0}));
    EXPECT_EQ(result, 1);
    EXPECT_EQ(m.GetPathLen(0), 1u);

    // Vertex 3 has no segment at all.
    EXPECT_EQ(Path(m, 3, result), (std::vector<int>{3}));
    EXPECT_EQ(result, 0);
    EXPECT_EQ(m.GetPathLength(3), -1);
    EXPECT_EQ(m.GetPathLen(3), CDeixMatrix::kNone);

    m.RemoveSegment(1, 2);
    m.Markup(0);
    EXPECT_EQ(m.GetPathLength(2), 5);
    EXPECT_EQ(Path(m, 2, result), (std::vector<int>{2, 0}));
}

TEST(DeixMatrix, UnreachablePairWrapsButHasNoPath) {
    CDeixMatrix m(6);
    m.SetSegment(0, 1, 1);
    m.SetSegment(1, 2, 1);
    m.SetSegment(4, 5, 7);
    m.Markup(0);
    // Vertex 5 (last of the unknown ones) is picked with the unknown distance,
    // and 4 gets 7 added to it, which wraps to 6.
    EXPECT_EQ(m.GetPathLength(5), -1);
    EXPECT_EQ(m.GetPathLength(4), 6);
    int result = -1;
    EXPECT_EQ(Path(m, 4, result), (std::vector<int>{4}));
    EXPECT_EQ(result, 0);
    EXPECT_EQ(m.GetPathLen(4), CDeixMatrix::kNone);
}

TEST(DeixMatrix, ZeroLengthSegmentDoesNotLoopTheWalk) {
    CDeixMatrix m(3);
    m.SetSegment(0, 1, 5);
    m.SetSegment(1, 2, 0);
    m.Markup(0);
    EXPECT_EQ(m.GetPathLength(1), 5);
    EXPECT_EQ(m.GetPathLength(2), 5);
    // From 1 the last predecessor that fits is 2, from 2 it is 1: the walk
    // stops at the vertex count and fails.
    int result = -1;
    EXPECT_EQ(Path(m, 2, result), (std::vector<int>{2, 1, 2}));
    EXPECT_EQ(result, 0);
    EXPECT_EQ(m.GetPathLen(2), CDeixMatrix::kNone);
}

TEST(DeixMatrix, TiesPickTheLastCandidateAndMarkupClearsTheDiagonal) {
    CDeixMatrix m(4);
    m.SetSegment(0, 1, 1);
    m.SetSegment(0, 2, 1);
    m.SetSegment(1, 3, 1);
    m.SetSegment(2, 3, 1);
    m.SetSegment(3, 3, 0);
    m.Markup(0);
    EXPECT_EQ(m.GetSegmentLen(3, 3), CDeixMatrix::kNone);
    EXPECT_EQ(m.GetPathLength(3), 2);
    int result = -1;
    EXPECT_EQ(Path(m, 3, result), (std::vector<int>{3, 2, 0}));
    EXPECT_EQ(result, 1);

    CDeixMatrix empty(-3);
    EXPECT_EQ(empty.GetCount(), 0);
}
