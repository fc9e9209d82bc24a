#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

#include "tarvex/geometry/geometry.h"

namespace {

constexpr double kPi = std::numbers::pi;

void ExpectNear(const CTXPoint3d& expected, const CTXPoint3d& actual, double tol = 1e-12) {
    EXPECT_NEAR(expected.x, actual.x, tol);
    EXPECT_NEAR(expected.y, actual.y, tol);
    EXPECT_NEAR(expected.z, actual.z, tol);
}

CTXPoint3d Apply(const CTXMatrix3d& m, CTXPoint3d p) {
    return p.transformBy(m);
}

CTXPoint2d Apply(const CTXMatrix2d& m, CTXPoint2d p) {
    return p.transformBy(m);
}

void ExpectIdentity(const CTXMatrix3d& m) {
    for (int r = 0; r < 4; ++r)
        for (int c = 0; c < 4; ++c) EXPECT_EQ(r == c ? 1.0 : 0.0, m(r, c)) << r << "," << c;
}

CTXMatrix3d Rotation(double angle, const CTXVector3d& axis,
                     const CTXPoint3d& point = CTXPoint3d::kOrigin) {
    CTXMatrix3d m;
    return m.setToRotation(angle, axis, point);
}

} // namespace

TEST(Matrix3d, DiagonalConstructorSetsM22ToOne) {
    const CTXMatrix3d two(2.0);
    EXPECT_EQ(2.0, two(1, 1));
    EXPECT_EQ(1.0, two(2, 2));
    EXPECT_EQ(2.0, two(3, 3));
    EXPECT_EQ(4.0, two.det()); // of the upper 3 by 3 block only
    ExpectIdentity(CTXMatrix3d());
}

TEST(Matrix3d, ColumnVectorsAndProductOrder) {
    const CTXMatrix3d t = CTXMatrix3d::translation(CTXVector3d(10, 0, 0));
    const CTXMatrix3d r = Rotation(kPi / 2, CTXVector3d::kZAxis);
    EXPECT_EQ(10.0, t(0, 3)); // translation is the fourth column
    EXPECT_EQ(1.0, r(1, 0));  // m10 = sin
    EXPECT_EQ(-1.0, r(0, 1));

    ExpectNear(CTXPoint3d(10, 1, 0), Apply(t * r, CTXPoint3d(1, 0, 0))); // r first
    ExpectNear(CTXPoint3d(0, 11, 0), Apply(r * t, CTXPoint3d(1, 0, 0))); // t first
    CTXMatrix3d m = t;
    m.setToProduct(r, m); // aliasing an operand
    ExpectNear(CTXPoint3d(0, 11, 0), Apply(m, CTXPoint3d(1, 0, 0)));
}

TEST(Matrix3dRotation, NullAxisGivesIdentity) {
    ExpectIdentity(Rotation(1.0, CTXVector3d(0.0099, 0, 0), CTXPoint3d(5, 5, 5)));
    // Just above the squared-length threshold the axis counts.
    ExpectNear(CTXPoint3d(0, 0, 1),
               Apply(Rotation(kPi / 2, CTXVector3d(0.0101, 0, 0)), CTXPoint3d(0, 1, 0)));
}

TEST(Matrix3dRotation, AboutZThroughAPoint) {
    const CTXPoint3d centre(1, 1, 0);
    ExpectNear(CTXPoint3d(1, 2, 5),
               Apply(Rotation(kPi / 2, CTXVector3d::kZAxis, centre), CTXPoint3d(2, 1, 5)));
    // (0, 0, 2) is not the Z test's case, but the general path agrees.
    const CTXMatrix3d plain = Rotation(0.7, CTXVector3d::kZAxis, centre);
    const CTXMatrix3d general = Rotation(0.7, CTXVector3d(0, 0, 2), centre);
    for (int r = 0; r < 4; ++r)
        for (int c = 0; c < 4; ++c) EXPECT_NEAR(plain(r, c), general(r, c), 1e-15);
    // Within kPointTol of (0, 0, 1) the axis is Z exactly: its tilt is ignored.
    ExpectNear(CTXPoint3d(0, 0, 10),
               Apply(Rotation(kPi, CTXVector3d(5e-9, 0, 1)), CTXPoint3d(0, 0, 10)));
    // About -Z the sense reverses.
    ExpectNear(CTXPoint3d(0, -1, 0),
               Apply(Rotation(kPi / 2, -CTXVector3d::kZAxis), CTXPoint3d(1, 0, 0)));
}

TEST(Matrix3dRotation, AboutOtherAxesMatchesHandComputation) {
    // Right-handed about X: [1 0 0; 0 c -s; 0 s c], the axis length playing no part.
    const double a = 0.3, c = std::cos(a), s = std::sin(a);
    const CTXMatrix3d x = Rotation(a, CTXVector3d(2, 0, 0));
    const double expected[3][3] = {{1, 0, 0}, {0, c, -s}, {0, s, c}};
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) EXPECT_NEAR(expected[i][j], x(i, j), 1e-15);

    // Through a point off the axis: the point's offset turns, the point stays.
    ExpectNear(
        CTXPoint3d(0, 1, 2),
        Apply(Rotation(kPi / 2, CTXVector3d::kXAxis, CTXPoint3d(0, 1, 1)), CTXPoint3d(0, 2, 1)));
    // A third of a turn about (1, 1, 1) cycles the axes.
    const CTXMatrix3d diag = Rotation(2 * kPi / 3, CTXVector3d(1, 1, 1));
    ExpectNear(CTXPoint3d(0, 1, 0), Apply(diag, CTXPoint3d(1, 0, 0)));
}

TEST(Matrix3dInverse, BottomRowDiffersBetweenInverseAndInvert) {
    CTXMatrix3d m(2.0);
    m.setTranslation(CTXVector3d(4, 6, 8));
    const CTXMatrix3d copy = m.inverse();
    EXPECT_EQ(0.5, copy(0, 0));
    EXPECT_EQ(-8.0, copy(2, 3));
    EXPECT_EQ(2.0, copy(3, 3)); // carried over from this
    CTXMatrix3d inPlace = m;
    inPlace.invert();
    EXPECT_EQ(1.0, inPlace(3, 3)); // through a temporary with 0 0 0 1

    CTXMatrix3d result(0.0);
    result.entry[3][0] = 7;
    result.entry[3][3] = 9;
    EXPECT_TRUE(m.inverse(result, 0.5));
    EXPECT_EQ(7.0, result(3, 0)); // bottom row left alone
    EXPECT_EQ(9.0, result(3, 3));
}

TEST(Matrix3dInverse, GeneralAffineAndSingular) {
    CTXMatrix3d m;
    const double rows[3][4] = {{2, 1, 0, 3}, {0, 1, 4, -1}, {1, 0, 1, 2}};
    for (int r = 0; r < 3; ++r)
        for (int c = 0; c < 4; ++c) m.entry[r][c] = rows[r][c];
    EXPECT_DOUBLE_EQ(6.0, m.det());
    const CTXPoint3d p(0.5, -7, 3);
    ExpectNear(p, Apply(m.inverse(), Apply(m, p)));

    CTXMatrix3d singular(0.0), out;
    EXPECT_TRUE(singular.inverse(out)); // no singularity test
    EXPECT_FALSE(std::isfinite(out(0, 0)));
}

TEST(Matrix3d, CoordinateSystems) {
    const CTXPoint3d origin(1, 2, 3);
    const CTXVector3d x(0, 1, 0), y(-1, 0, 0), z(0, 0, 1);
    CTXMatrix3d m;
    m.setCoordSystem(origin, x, y, z);
    EXPECT_EQ(-1.0, m(0, 1)); // axes are columns
    ExpectNear(CTXPoint3d(1, 3, 3), Apply(m, CTXPoint3d(1, 0, 0)));

    // From a frame at (1, 0, 0) to one at (0, 0, 5) turned by a quarter.
    const CTXMatrix3d align =
        CTXMatrix3d::alignCoordSys(CTXPoint3d(1, 0, 0), CTXVector3d::kXAxis, CTXVector3d::kYAxis,
                                   CTXVector3d::kZAxis, CTXPoint3d(0, 0, 5), x, y, z);
    ExpectNear(CTXPoint3d(0, 1, 5), Apply(align, CTXPoint3d(2, 0, 0)));

    // Plane to world: orthonormal, right-handed, normal as the third column.
    const CTXMatrix3d plane = CTXMatrix3d::planeToWorld(CTXVector3d(1, 1, 1));
    EXPECT_NEAR(1.0, plane.det(), 1e-15);
    EXPECT_NEAR(1 / std::sqrt(3.0), plane(0, 2), 1e-15);
    ExpectIdentity(CTXMatrix3d::planeToWorld(CTXVector3d(0, 0, 3)));
}

TEST(Matrix2d, RowVectorsProductOrderAndCentres) {
    const CTXMatrix2d r = CTXMatrix2d::rotation(kPi / 2);
    EXPECT_NEAR(1.0, r(0, 1), 1e-16); // m01 = sin
    EXPECT_NEAR(-1.0, r(1, 0), 1e-16);
    const CTXMatrix2d t = CTXMatrix2d::translation(CTXVector2d(1, 0));
    EXPECT_EQ(1.0, t(2, 0)); // translation is the third row

    const CTXPoint2d origin(0, 0);
    EXPECT_TRUE(Apply(r * t, origin).isEqualTo(CTXPoint2d(1, 0), 1e-15)); // r first
    CTXMatrix2d m = t;
    m *= r;
    EXPECT_TRUE(Apply(m, origin).isEqualTo(CTXPoint2d(0, 1), 1e-15)); // t first

    // Multiplying a vector leaves the translation out.
    const CTXVector2d v = m * CTXVector2d(1, 0);
    EXPECT_NEAR(0.0, v.x, 1e-15);
    EXPECT_NEAR(1.0, v.y, 1e-15);

    const CTXPoint2d centre(1, 1);
    EXPECT_TRUE(Apply(CTXMatrix2d::rotation(kPi / 2, centre), CTXPoint2d(2, 1))
                    .isEqualTo(CTXPoint2d(1, 2), 1e-15));
    EXPECT_EQ(CTXPoint2d(3, 5), Apply(CTXMatrix2d::scaling(2, centre), CTXPoint2d(2, 3)));
}
