#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

#include "tarvex/geometry/geometry.h"
#include "tests/support/comma_locale.h"

using tarvex::kPointTol;
constexpr double kPi = std::numbers::pi;

TEST(PointCompare, ExactlyAtToleranceIsNeitherEqualNorDifferent) {
    const CTXPoint2d p2(0, 0), q2(kPointTol, 0);
    EXPECT_FALSE(p2 == q2);
    EXPECT_FALSE(p2 != q2);
    EXPECT_TRUE(p2 == CTXPoint2d(0, kPointTol / 2));
    EXPECT_TRUE(p2 != CTXPoint2d(0, 2 * kPointTol));

    const CTXPoint3d p3(0, 0, 0), q3(0, 0, kPointTol);
    EXPECT_FALSE(p3 == q3);
    EXPECT_FALSE(p3 != q3);
    EXPECT_TRUE(p3 == CTXPoint3d(kPointTol / 2, -kPointTol / 2, 0));
    EXPECT_TRUE(CTXVector3d(0, 0, 0) == CTXVector3d(0, kPointTol / 2, 0));
    EXPECT_FALSE(CTXVector3d(0, 0, 0) == CTXVector3d(0, kPointTol, 0));

    // Order: lexicographic, coordinates within the tolerance tied.
    const CTXPoint3d a(0, 5, 0);
    EXPECT_TRUE(a < CTXPoint3d(kPointTol, -100, 0));  // a difference of exactly tol decides
    EXPECT_TRUE(CTXPoint3d(kPointTol / 2, 1, 0) < a); // x tied, y decides
    EXPECT_FALSE(a < CTXPoint3d(kPointTol / 2, 5, kPointTol / 2)); // equal: not less
    EXPECT_FALSE(CTXPoint3d(kPointTol / 2, 5, kPointTol / 2) < a);
}

TEST(VectorLength, ZeroLengthAndNormalizeDifferBetween2dAnd3d) {
    EXPECT_TRUE(CTXVector3d(0.009, 0, 0).isZeroLength()); // by squared length
    EXPECT_FALSE(CTXVector3d(0.011, 0, 0).isZeroLength());
    EXPECT_FALSE(CTXVector2d(0.009, 0).isZeroLength()); // per coordinate
    EXPECT_TRUE(CTXVector2d(kPointTol / 2, -kPointTol / 2).isZeroLength());
    EXPECT_FALSE(CTXVector2d(kPointTol, 0).isZeroLength());

    // normalize: 3d leaves lengths within 1e-12 of 0 or 1 alone, 2d only exact ones.
    CTXVector3d nearOne(1 + 5e-13, 0, 0), tiny(5e-13, 0, 0), small(1e-9, 0, 0);
    EXPECT_EQ(1 + 5e-13, nearOne.normalize().x);
    EXPECT_EQ(5e-13, tiny.normalize().x);
    EXPECT_DOUBLE_EQ(1.0, small.normalize().x);
    CTXVector2d v2(1e-20, 0), zero2;
    EXPECT_EQ(1.0, v2.normalize().x);
    EXPECT_EQ(0.0, zero2.normalize().x);
    EXPECT_FALSE(std::isnan(zero2.y));
}

TEST(VectorDirection, ParallelCodirectionalAngles) {
    EXPECT_TRUE(CTXVector3d(1, 0, 0).isParallelTo(CTXVector3d(1, 0.005, 0)));
    EXPECT_FALSE(CTXVector3d(10, 0, 0).isParallelTo(CTXVector3d(10, 0.05, 0)));

    EXPECT_TRUE(CTXVector3d(2, 0, 0).isCodirectionalTo(CTXVector3d(5, 0, 0)));
    EXPECT_FALSE(CTXVector3d(1, 0, 0).isCodirectionalTo(CTXVector3d(-1, 0, 0)));
    EXPECT_FALSE(CTXVector3d::kZero.isCodirectionalTo(CTXVector3d::kZero));

    const CTXVector3d x = CTXVector3d::kXAxis, y(0, 2, 0);
    EXPECT_DOUBLE_EQ(kPi / 2, x.angleTo(y));
    EXPECT_DOUBLE_EQ(kPi / 2, x.angleTo(y, CTXVector3d::kZAxis));
    EXPECT_DOUBLE_EQ(3 * kPi / 2, x.angleTo(y, -CTXVector3d::kZAxis));
    EXPECT_EQ(0.0, x.angleTo(CTXVector3d::kZero));
    EXPECT_EQ(0.0, CTXVector3d(1e-6, 0, 0).angleTo(y));
    EXPECT_DOUBLE_EQ(kPi / 4, CTXVector3d(1, 0, 1).slope(CTXVector3d::kZAxis));
    EXPECT_DOUBLE_EQ(-kPi / 4, CTXVector3d(1, 0, -1).slope(CTXVector3d::kZAxis));
}

TEST(VectorDirection, PerpVectorSwitchesAxisNearZ) {
    // n.x just below 1/64: built from X, tilted against the normal.
    const CTXVector3d nearZ = CTXVector3d(0.0156, 0, 1).perpVector();
    EXPECT_NEAR(1.0, nearZ.length(), 1e-15);
    EXPECT_LT(nearZ.z, -0.015);
    EXPECT_NEAR(0.0, nearZ.dotProduct(CTXVector3d(0.0156, 0, 1)), 1e-15);
    // Just above: (-n.y, n.x, 0) normalised.
    EXPECT_TRUE(CTXVector3d(0.016, 0, 1).perpVector().isEqualTo(CTXVector3d::kYAxis));
    EXPECT_TRUE(CTXVector3d::kZAxis.perpVector().isEqualTo(CTXVector3d::kXAxis));
}

TEST(VectorTransform, TwoDimensionalVectorNormalisesPointDoesNot) {
    const CTXMatrix2d shift = CTXMatrix2d::translation(CTXVector2d(0, 4));
    CTXVector2d v(3, 0);
    v.transformBy(shift); // (3, 4), then normalised
    EXPECT_DOUBLE_EQ(0.6, v.x);
    EXPECT_DOUBLE_EQ(0.8, v.y);
    CTXPoint2d p(3, 0);
    p.transformBy(shift);
    EXPECT_EQ(CTXPoint2d(3, 4), p);

    // 3d: a vector drops the translation, a point keeps it.
    const CTXMatrix3d m = CTXMatrix3d::translation(CTXVector3d(5, 6, 7));
    EXPECT_EQ(CTXVector3d(3, 0, 0), CTXVector3d(3, 0, 0).transformBy(m));
    EXPECT_EQ(CTXPoint3d(8, 6, 7), CTXPoint3d(3, 0, 0).transformBy(m));
}

TEST(PointOps, DistancesScaleAndRotation) {
    const CTXPoint2d a(0, 0), b(4, 0);
    EXPECT_DOUBLE_EQ(3.0, CTXPoint2d(2, 3).distanceToSegment(a, b));
    EXPECT_DOUBLE_EQ(5.0, CTXPoint2d(-3, 4).distanceToSegment(a, b));    // clamped to a
    EXPECT_DOUBLE_EQ(5.0, CTXPoint2d(7, -4).distanceToSegment(a, b));    // clamped to b
    EXPECT_DOUBLE_EQ(2.0, CTXPoint2d(1, -2).signedDistanceToLine(a, b)); // right of a->b
    EXPECT_DOUBLE_EQ(-2.0, CTXPoint2d(1, 2).signedDistanceToLine(a, b));

    CTXPoint3d p(3, 1, -1);
    EXPECT_EQ(CTXPoint3d(5, 1, -3), p.scaleBy(2, CTXPoint3d(1, 1, 1)));
    CTXPoint3d q(2, 0, 0);
    q.rotateBy(kPi / 2, CTXVector3d::kZAxis, CTXPoint3d(1, 0, 0));
    EXPECT_TRUE(q.isEqualTo(CTXPoint3d(1, 1, 0), 1e-15));
    CTXPoint3d r(2, 3, 4);
    EXPECT_EQ(CTXPoint3d(2, 3, 4), r.rotateBy(1.0, CTXVector3d(0.005, 0, 0)));
}

TEST(VectorText, FixedFormsNearUnitAxes) {
    EXPECT_EQ(CString(u"{0.0; 0.0; 0.0}"), CTXVector3d(1e-11, 0, 0).ToString());
    EXPECT_EQ(CString(u"{1.0; 0.0; 0.0}"), CTXVector3d(1, 1e-11, 0).ToString());
    EXPECT_EQ(CString(u"{0.0; 1.0; 0.0}"), CTXVector3d(-1e-11, 1 + 1e-11, 0).ToString());
    EXPECT_EQ(CString(u"{0.0; 0.0; 1.0}"), CTXPoint3d(0, 0, 1).ToString());
    // Other values go through %g, so 2 is "2", not "2.0".
    EXPECT_EQ(CString(u"{2; 0; 0}"), CTXVector3d(2, 0, 0).ToString());
    EXPECT_EQ(CString(u"{1.5; 0; 0.1}"), CTXVector3d(1.5, -1e-11, 0.1).ToString());
    EXPECT_EQ(CString(u"{1; 1e-10; 1e+20}"), CTXVector3d(1, 1e-10, 1e20).ToString());
}

TEST(VectorText, PrecisionIs16ForVectors10ForPoints) {
    EXPECT_EQ(CString(u"{0.3333333333333333; 2; 0}"), CTXVector3d(1.0 / 3, 2, 0).ToString());
    EXPECT_EQ(CString(u"{0.3333333333; 2; 0}"), CTXPoint3d(1.0 / 3, 2, 0).ToString());
    EXPECT_EQ(CString(u"{123456.789; -2.5e-07; 0}"), CTXPoint3d::ToString(123456.789, -2.5e-7, 0));
    CommaLocale comma;
    EXPECT_EQ(CString(u"{1.5; 2.25; 0}"), CTXVector3d(1.5, 2.25, 0).ToString());
}

TEST(VectorText, ParseAcceptsCommasBracesAndEmptyFirstField) {
    CTXVector3d v;
    ASSERT_TRUE(CTXVector3d::TryParse(u"{1,5; 2; 3}", v));
    EXPECT_EQ(CTXVector3d(1.5, 2, 3), v);
    ASSERT_TRUE(CTXVector3d::TryParse(u"  {{ -1e3 ;2.5;  7 }}\t", v));
    EXPECT_EQ(CTXVector3d(-1000, 2.5, 7), v);
    ASSERT_TRUE(CTXVector3d::TryParse(u"{;2;3}", v));
    EXPECT_EQ(CTXVector3d(0, 2, 3), v);
    ASSERT_TRUE(CTXVector3d::TryParse(u"{abc; 2x; 3; 4}", v)); // prefixes; 4th ignored
    EXPECT_EQ(CTXVector3d(0, 2, 3), v);

    const CTXVector3d original(0.1, -2.5e-7, 123456.789);
    ASSERT_TRUE(CTXVector3d::TryParse(original.ToString(), v));
    EXPECT_EQ(original.x, v.x);
    EXPECT_EQ(original.y, v.y);
    EXPECT_EQ(original.z, v.z);
}

TEST(VectorText, ParseFailuresLeaveResultUntouched) {
    const char16_t* bad[] = {u"{1; 2}", u"1; 2; 3",  u"{1; 2; 3",    u"1; 2; 3}",
                             u"{1;;3}", u"{1; 2; }", u"{1; 2;  \t}", u"{}",
                             u"{",      u"",         u"   "};
    for (const char16_t* text : bad) {
        CTXVector3d v(7, 8, 9);
        EXPECT_FALSE(CTXVector3d::TryParse(text, v)) << CString(text);
        EXPECT_EQ(CTXVector3d(7, 8, 9), v) << CString(text);
    }
    CTXPoint3d p(7, 8, 9);
    EXPECT_FALSE(CTXPoint3d::TryParse(nullptr, p));
    EXPECT_EQ(CTXPoint3d(7, 8, 9), p);
}
