#include <gtest/gtest.h>

#include "tarvex/geometry/geometry.h"

using tarvex::kPointTol;

TEST(LineSeg, ParamOfIsUnclampedAndZeroForTinySegments) {
    const CTXLineSeg2d seg(CTXPoint2d(0, 0), CTXPoint2d(1, 0));
    EXPECT_EQ(3.0, seg.paramOf(CTXPoint2d(3, 0)));
    EXPECT_EQ(-2.0, seg.paramOf(CTXPoint2d(-2, 5)));
    EXPECT_EQ(1.0, seg.paramOf(CTXPoint2d(1 + kPointTol / 2, 0)));
    // Squared length 2.5e-9 is below kPointTol.
    const CTXLineSeg2d tiny(CTXPoint2d(0, 0), CTXPoint2d(5e-5, 0));
    EXPECT_EQ(0.0, tiny.paramOf(CTXPoint2d(10, 0)));
    const CTXLineSeg3d seg3(CTXPoint3d(0, 0, 0), CTXPoint3d(0, 0, 4));
    EXPECT_EQ(0.25, seg3.paramOf(CTXPoint3d(7, 7, 1)));
    // From 3d points, z is dropped.
    EXPECT_EQ(CTXPoint2d(4, 5), CTXLineSeg2d(CTXPoint3d(1, 2, 3), CTXPoint3d(4, 5, 6)).end());
}

TEST(LineSeg, IsOnBandNarrowsAsTheSegmentGrows) {
    const CTXLineSeg2d unit(CTXPoint2d(0, 0), CTXPoint2d(1, 0));
    double param = -1;
    EXPECT_TRUE(unit.isOn(CTXPoint2d(0.5, 0.0099), &param)); // cross^2 9.8e-5
    EXPECT_DOUBLE_EQ(0.5, param);
    EXPECT_FALSE(unit.isOn(CTXPoint2d(0.5, 0.0101))); // cross^2 1.02e-4
    const CTXLineSeg2d longer(CTXPoint2d(0, 0), CTXPoint2d(100, 0));
    EXPECT_FALSE(longer.isOn(CTXPoint2d(50, 0.005)));
    EXPECT_TRUE(longer.isOn(CTXPoint2d(50, 0.00009)));

    const CTXLineSeg3d seg3(CTXPoint3d(0, 0, 0), CTXPoint3d(0, 0, 1));
    EXPECT_TRUE(seg3.isOn(CTXPoint3d(0.0099, 0, 0.5), &param));
    EXPECT_DOUBLE_EQ(0.5, param);
    EXPECT_FALSE(seg3.isOn(CTXPoint3d(0, 0.0101, 0.5)));
}

TEST(LineSeg, IsOnAtTheEnds) {
    const CTXLineSeg2d seg(CTXPoint2d(0, 0), CTXPoint2d(1, 0));
    double param = -1;
    EXPECT_TRUE(seg.isOn(CTXPoint2d(1 + kPointTol / 2, 0), &param));
    EXPECT_EQ(1.0, param);
    EXPECT_TRUE(seg.isOn(CTXPoint2d(-kPointTol / 2, 0), &param));
    EXPECT_EQ(0.0, param);
    param = -1;
    EXPECT_FALSE(seg.isOn(CTXPoint2d(-2 * kPointTol, 0), &param));    // just before the start
    EXPECT_FALSE(seg.isOn(CTXPoint2d(1 + 2 * kPointTol, 0), &param)); // just past the end
    EXPECT_EQ(-1.0, param);                                           // not written on failure

    // A degenerate segment writes 0 and accepts only its own point.
    const CTXLineSeg3d dot(CTXPoint3d(1, 1, 1), CTXPoint3d(1, 1, 1 + kPointTol / 2));
    EXPECT_FALSE(dot.isOn(CTXPoint3d(1, 1, 1.5), &param));
    EXPECT_EQ(0.0, param);
    param = -1;
    EXPECT_FALSE(CTXLineSeg2d(CTXPoint2d(1, 1), CTXPoint2d(1, 1)).isOn(CTXPoint2d(2, 2), &param));
    EXPECT_EQ(0.0, param);
}

TEST(Extents2d, DefaultIsARealBox) {
    CTXExtents2d box;
    EXPECT_TRUE(box.contains(CTXPoint2d(50, 50)));
    EXPECT_TRUE(box.contains(CTXPoint2d(100, -100)));      // inclusive
    EXPECT_FALSE(box.contains(CTXPoint2d(100.000001, 0))); // exact
    EXPECT_EQ(200.0, box.width());
    EXPECT_FALSE(box.is_zero(1.0));

    box.add(CTXExtents2d(CTXPoint2d(0, 0), CTXPoint2d(300, 50)));
    EXPECT_EQ(CTXPoint2d(-100, -100), box.pt_min()); // the default box stays in
    EXPECT_EQ(CTXPoint2d(300, 100), box.pt_max());
    EXPECT_EQ(CTXPoint2d(100, 0), box.pt_mid());
    EXPECT_TRUE(box.contains(CTXExtents2d(CTXPoint3d(-100, 0, 7), CTXPoint3d(300, 1, -7))));

    const CTXExtents2d reversed(CTXPoint2d(5, 5), CTXPoint2d(3, 2)); // kept as given
    EXPECT_TRUE(reversed.fits_size(CTXExtents2d(CTXPoint2d(10, 10), CTXPoint2d(12, 13))));
    EXPECT_FALSE(reversed.fits_size(CTXExtents2d(CTXPoint2d(0, 0), CTXPoint2d(3, 2.9))));
}

TEST(Extents2d, IntersectsExtentsWithTolerance) {
    const CTXExtents2d box(CTXPoint2d(0, 0), CTXPoint2d(1, 1));
    EXPECT_TRUE(box.intersects(CTXExtents2d(CTXPoint2d(1.0009, 0.5), CTXPoint2d(2, 2))));
    EXPECT_FALSE(box.intersects(CTXExtents2d(CTXPoint2d(1.0011, 0.5), CTXPoint2d(2, 2))));
    EXPECT_TRUE(box.intersects(CTXExtents2d(CTXPoint2d(-2, -2), CTXPoint2d(0.5, -0.0009))));
    EXPECT_FALSE(box.intersects(CTXExtents2d(CTXPoint2d(-2, -2), CTXPoint2d(0.5, -0.0011))));
}

TEST(Extents2d, IntersectsSegment) {
    const CTXExtents2d box(CTXPoint2d(0, 0), CTXPoint2d(1, 1));
    auto crosses = [&](double x0, double y0, double x1, double y1) {
        return box.intersects(CTXLineSeg2d(CTXPoint2d(x0, y0), CTXPoint2d(x1, y1)));
    };
    EXPECT_TRUE(crosses(1.5, 0, 0, 1.5));     // cuts the corner
    EXPECT_TRUE(crosses(0, 2, 2, 0));         // touches the corner (1, 1)
    EXPECT_FALSE(crosses(2.1, 0, 0, 2.1));    // passes outside it
    EXPECT_FALSE(crosses(2, 0, 3, 5));        // x ranges apart
    EXPECT_TRUE(crosses(0.5, -1, 0.5, 2));    // vertical through
    EXPECT_TRUE(crosses(0.2, 0.2, 0.3, 0.4)); // inside
    // At x = 1 the segment is at y = -5. Within kExtentsTol of vertical its
    // whole y range counts; beyond it only the clipped stretch does.
    EXPECT_TRUE(crosses(1.0, -5, 1.0009, 5));
    EXPECT_FALSE(crosses(1.0, -5, 1.0011, 5));
}

TEST(Extents3d, StartsEmptyAndTakesTheFirstPointWhole) {
    CTXExtents3d ext;
    EXPECT_EQ(CTXPoint3d(1, 0, 0), ext.minPoint());
    EXPECT_EQ(CTXPoint3d(0, 0, 0), ext.maxPoint());
    ext.addPoint(CTXPoint3d(1, 5, -2));
    EXPECT_EQ(CTXPoint3d(1, 5, -2), ext.minPoint());
    EXPECT_EQ(CTXPoint3d(1, 5, -2), ext.maxPoint());
    ext.addPoint(CTXPoint3d(0, 6, -3));
    EXPECT_EQ(CTXPoint3d(0, 5, -3), ext.minPoint());
    EXPECT_EQ(CTXPoint3d(1, 6, -2), ext.maxPoint());

    // A value that lowers min is not also tried against max.
    CTXExtents3d inverted;
    inverted.min = CTXPoint3d(0, 5, 0);
    inverted.max = CTXPoint3d(1, 2, 0);
    inverted.addPoint(CTXPoint3d(0.5, 3, 0));
    EXPECT_EQ(3.0, inverted.min.y);
    EXPECT_EQ(2.0, inverted.max.y);
}

TEST(Rect2d, EditingAndPredicates) {
    CRect2d r(3, 4, 1, 2); // left, bottom, right, top
    r.Normalize();
    EXPECT_EQ(CRect2d(1, 2, 3, 4), r);
    r.SetRect(1, 0, 5, 3);
    EXPECT_TRUE(r.HasPoint(CTXPoint2d(5, 3)));
    EXPECT_TRUE(r.HasPoint(CTXPoint2d(5.25, -0.25), 0.25));
    EXPECT_TRUE(r.OverlapsWith(CRect2d(5, 3, 9, 9))); // shared corner
    EXPECT_FALSE(r.OverlapsWith(CRect2d(5.5, 0, 9, 9)));
    r.Unite(CRect2d(-1, 1, 2, 8));
    EXPECT_EQ(CRect2d(-1, 0, 5, 8), r);
    EXPECT_FALSE(r == CRect2d(-1, 0, 5, 8 + 1e-12)); // exact
}

TEST(Rect2dScreen, WorldToPixelAndBackIsNotTheIdentity) {
    // Scale 2, origin (10, 100), one pixel per unit, no rotation.
    const _tagCoordSys cs{10, 100, 1, 1, 2, 2, 0, 1};
    const CRect2d world(1, 2, 3, 4);
    CRect screen;
    world.GetRect(screen, cs);
    EXPECT_EQ(CRect(12, 92, 16, 96), screen);
    CRect2d back;
    back.SetRect(screen, cs);
    EXPECT_EQ(CRect2d(2, 4, 6, 8), back); // the scale is not undone

    // Truncation is towards zero.
    const _tagCoordSys plain{0, 0, 1, 1, 1, 1, 0, 1};
    CRect2d(-0.7, -1.9, 2.9, 0.7).GetRect(screen, plain);
    EXPECT_EQ(CRect(0, 0, 2, 1), screen);
}

TEST(Rect2dScreen, RotatedConversions) {
    // Half a turn (sin 0, cos -1) rotates before scaling.
    CRect screen;
    CRect2d(1, 2, 3, 4).GetRect(screen, _tagCoordSys{0, 0, 1, 1, 1, 1, 0, -1});
    EXPECT_EQ(CRect(-1, 4, -3, 2), screen);

    // A quarter turn: D = -1, and y comes from u / sinA.
    CRect2d world;
    world.SetRect(CRect(3, 7, 5, 9), _tagCoordSys{0, 0, 1, 1, 1, 1, 1, 0});
    EXPECT_EQ(CRect2d(-9, 3, -7, 5), world);

    // cos^2 = sin^2: the corners keep their values, then are normalised.
    CRect2d kept(5, 1, 2, 3);
    kept.SetRect(CRect(100, 100, 200, 200), _tagCoordSys{0, 0, 1, 1, 1, 1, 0.5, 0.5});
    EXPECT_EQ(CRect2d(2, 1, 5, 3), kept);

    // A general angle: x = (cos u - sin w) / D, y = (w - px sin) / cos.
    const _tagCoordSys tilted{1, 2, 2, 4, 1, 1, 0.6, 0.8};
    CRect2d general;
    general.SetRect(CRect(4, 8, 4, 8), tilted);
    const double u = 4 / 2.0 - 1, w = 2 - 8 / 4.0, d = 0.8 * 0.8 - 0.6 * 0.6;
    EXPECT_DOUBLE_EQ((0.8 * u - 0.6 * w) / d, general.left);
    EXPECT_DOUBLE_EQ((w - 4 * 0.6) / 0.8, general.bottom);
}

TEST(PointArrays, GrowthAndAccess) {
    CTXPoint2dArray points;
    EXPECT_TRUE(points.isEmpty());
    EXPECT_EQ(8, points.GetPhysicalLength());
    for (int i = 0; i < 9; ++i) points.append(CTXPoint2d(i, -i));
    EXPECT_EQ(16, points.GetPhysicalLength());
    points.append(points);
    EXPECT_EQ(18, points.length());
    EXPECT_EQ(CTXPoint2d(8, -8), points.last());

    CTXPoint3dArray owned; // the sanitizer catches a leak if it does not own
    EXPECT_EQ(1, owned.GetPhysicalLength());
    owned.Add(new CTXPoint3d(1, 2, 3));
    owned.Add(new CTXPoint3d(4, 5, 6));
    EXPECT_EQ(33, owned.GetPhysicalLength());
    EXPECT_EQ(1, owned.Find(CTXPoint3d(4, 5, 6)));
}
