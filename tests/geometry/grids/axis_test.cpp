#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "tarvex/geometry/grids/coordinategrid.h"

using CAxis = CKVCoordinateGrid::CAxis;
using CAxisPoint = CKVCoordinateGrid::CAxisPoint;

namespace {

constexpr const char16_t* kLatin = u"ABCDEFGHIJKLMNOPQRSTUVWXYZ";

std::u16string S(const CString& s) {
    return std::u16string(s.View());
}

std::vector<std::u16string> Names(const CAxis& axis) {
    std::vector<std::u16string> names;
    for (int64_t i = 0; i < axis.GetCount(); ++i) names.push_back(S(axis.GetPoint(i)->GetName()));
    return names;
}

std::vector<double> Positions(const CAxis& axis) {
    std::vector<double> positions;
    for (int64_t i = 0; i < axis.GetCount(); ++i)
        positions.push_back(axis.GetPoint(i)->GetPosition());
    return positions;
}

void AddAt(CAxis& axis, std::initializer_list<double> positions) {
    for (double p : positions) ASSERT_TRUE(axis.AddPoint(new CAxisPoint(u"", p)));
}

} // namespace

TEST(GridLabels, LettersAreBijective) {
    EXPECT_EQ(S(CAxis::GetLetterLabel(1, kLatin)), u"A");
    EXPECT_EQ(S(CAxis::GetLetterLabel(26, kLatin)), u"Z");
    EXPECT_EQ(S(CAxis::GetLetterLabel(27, kLatin)), u"AA");
    EXPECT_EQ(S(CAxis::GetLetterLabel(703, kLatin)), u"AAA");
    EXPECT_EQ(S(CAxis::GetLetterLabel(4, u"АБВ")), u"АА");
    EXPECT_EQ(S(CAxis::GetLetterLabel(0, kLatin)), u"");
    EXPECT_EQ(S(CAxis::GetLetterLabel(-5, kLatin)), u"");
    EXPECT_EQ(S(CAxis::GetLetterLabel(3, u"")), u"?");
}

TEST(GridLabels, GeodeticStationsWithNegativesAndRounding) {
    EXPECT_EQ(S(CAxis::GetGeoLabel(12350, u"A", 1000)), u"123A+50");
    EXPECT_EQ(S(CAxis::GetGeoLabel(12300, u"A", 1000)), u"123A");
    EXPECT_EQ(S(CAxis::GetGeoLabel(150000, u"A", 1)), u"1A+50");
    EXPECT_EQ(S(CAxis::GetGeoLabel(105000, u"Б", 1)), u"1Б+05");
    // The minus of the metres stands in the place of the plus, unpadded.
    EXPECT_EQ(S(CAxis::GetGeoLabel(-105000, u"A", 1)), u"-1A-5");
    EXPECT_EQ(S(CAxis::GetGeoLabel(-50000, u"A", 1)), u"0A-50");
    // Rounded to millimetres before the metres are cut.
    EXPECT_EQ(S(CAxis::GetGeoLabel(100999.6, u"A", 1)), u"1A+01");
    EXPECT_EQ(S(CAxis::GetGeoLabel(100999.4, u"A", 1)), u"1A");
    EXPECT_EQ(S(CAxis::GetGeoLabel(-100999.6, u"A", 1)), u"-1A-1");
    // Out of range: clamped, never an overflowing cast.
    EXPECT_EQ(S(CAxis::GetGeoLabel(std::nan(""), u"A", 1)), u"0A");
    EXPECT_EQ(S(CAxis::GetGeoLabel(1e300, u"A", 1)), u"2147483647A");
    EXPECT_EQ(S(CAxis::GetGeoLabel(-std::numeric_limits<double>::infinity(), u"A", 1)),
              u"-2147483647A");

    CKVCoordinateGrid grid; // metres
    EXPECT_EQ(S(grid.GetAxisX().GetGeoLabel(12350, u"A")), u"123A+50");
    CAxis loose; // no grid: millimetres
    EXPECT_EQ(S(loose.GetGeoLabel(150000, u"A")), u"1A+50");
}

TEST(AxisPoints, AddPointKeepsOrderAndRefusesDuplicatesAndRanges) {
    CAxis axis;
    int64_t index = 7;
    EXPECT_TRUE(axis.AddPoint(new CAxisPoint(u"b", 20), index));
    EXPECT_EQ(index, 0);
    EXPECT_TRUE(axis.AddPoint(new CAxisPoint(u"a", -10), index));
    EXPECT_EQ(index, 0);
    EXPECT_TRUE(axis.AddPoint(new CAxisPoint(u"c", 5), index));
    EXPECT_EQ(index, 1);
    EXPECT_FALSE(axis.AddPoint(new CAxisPoint(u"dup", 5), index)); // destroyed, not leaked
    EXPECT_EQ(index, -1);
    EXPECT_FALSE(axis.AddPoint(new CAxisPoint(u"nan", std::nan(""))));
    EXPECT_EQ(Names(axis), (std::vector<std::u16string>{u"a", u"c", u"b"}));
    EXPECT_EQ(axis.GetLength(), 30);

    CAxisPoint* middle = axis.GetPoint(1);
    EXPECT_EQ(axis.GetPointPosition(middle), 1);

    CAxis measured; // type 1: from 0, never below
    measured.SetAxisType(1);
    EXPECT_FALSE(measured.AddPoint(new CAxisPoint(u"", -1)));
    AddAt(measured, {10, 40});
    EXPECT_EQ(measured.GetLength(), 40);

    CAxis ring;
    ring.SetAxisType(2);
    EXPECT_FALSE(ring.AddPoint(new CAxisPoint(u"", 360.5)));
    EXPECT_TRUE(ring.AddPoint(new CAxisPoint(u"", 360)));
    EXPECT_EQ(ring.GetPointsConcentric().GetLength(), 1);
    EXPECT_EQ(ring.GetPoints().GetLength(), 0);

    CAxis odd; // unknown types take any position here
    odd.SetAxisType(7);
    EXPECT_TRUE(odd.AddPoint(new CAxisPoint(u"", -1e9)));
    EXPECT_EQ(odd.AddNextPoint(kLatin, nullptr), nullptr);
}

TEST(AxisPoints, AddNextPointOnEachAxisType) {
    CAxis plain; // type 0, step 50, numbers
    EXPECT_EQ(plain.AddNextPoint(nullptr, nullptr)->GetPosition(), 0);
    CAxisPoint* second = plain.AddNextPoint(nullptr, nullptr);
    EXPECT_EQ(second->GetPosition(), 50);
    EXPECT_EQ(S(second->GetName()), u"2");
    const double start = 500;
    EXPECT_EQ(plain.AddNextPoint(nullptr, &start)->GetPosition(), 550);
    plain.SetDefaultStep(-30); // a step not above 0 extends from the first point
    EXPECT_EQ(plain.AddNextPoint(nullptr, nullptr)->GetPosition(), -30);
    EXPECT_EQ(S(plain.GetFirst()->GetName()), u"4"); // n is count + 1, whatever the place
    const double taken = 580;                        // 550 is there already
    EXPECT_EQ(plain.AddNextPoint(nullptr, &taken), nullptr);
    EXPECT_EQ(plain.GetCount(), 4);

    CAxis measured;
    measured.SetAxisType(1);
    measured.SetDefaultStep(-50);
    ASSERT_NE(measured.AddNextPoint(nullptr, nullptr), nullptr); // 0 on an empty axis
    EXPECT_EQ(measured.AddNextPoint(nullptr, nullptr), nullptr); // -50
    EXPECT_EQ(measured.GetCount(), 1);

    CAxis ring;
    ring.SetAxisType(2);
    ring.SetTypeNumbering(CKVCoordinateGrid::tnLetters, nullptr, false);
    for (int i = 0; i < 5; ++i) ASSERT_NE(ring.AddNextPoint(kLatin, nullptr), nullptr) << i;
    EXPECT_EQ(ring.GetLast()->GetPosition(), 360);
    EXPECT_EQ(S(ring.GetLast()->GetName()), u"E");
    EXPECT_EQ(ring.AddNextPoint(kLatin, nullptr), nullptr);
    EXPECT_EQ(ring.GetPoints().GetLength(), 0);

    CKVCoordinateGrid grid; // metres
    CAxis& geo = grid.GetAxisX();
    geo.SetDefaultStep(123.5);
    geo.SetTypeNumbering(CKVCoordinateGrid::tnGeoCyrillic, nullptr, false);
    geo.AddNextPoint(nullptr, nullptr);
    EXPECT_EQ(S(geo.AddNextPoint(nullptr, nullptr)->GetName()), u"1Б+23");
}

TEST(AxisPoints, ClosestPointWithHiddenPointsAndTies) {
    CAxis axis;
    EXPECT_EQ(axis.GetClosestPointIdx(3), -1);
    AddAt(axis, {0});
    EXPECT_EQ(axis.GetClosestPointIdx(1e9), 0);
    AddAt(axis, {10, 20});
    EXPECT_EQ(axis.GetClosestPointIdx(5), 0); // a tie goes to the lower
    EXPECT_EQ(axis.GetClosestPointIdx(6), 1);
    EXPECT_EQ(axis.GetClosestPointIdx(-3), 0);
    // The insertion place is the last index: the last visible point wins
    // even though the one below is nearer.
    EXPECT_EQ(axis.GetClosestPointIdx(11), 2);
    EXPECT_EQ(axis.GetClosestPointIdx(10), 1);

    AddAt(axis, {30, 40});
    axis.GetPoint(1)->SetVisible(false);       // hides 10
    EXPECT_EQ(axis.GetClosestPointIdx(10), 0); // exact hit on a hidden point: 0 and 20 tie
    EXPECT_EQ(axis.GetClosestPointIdx(9), 0);
    EXPECT_EQ(axis.GetClosestPointIdx(16), 2);
    axis.GetPoint(0)->SetVisible(false); // nothing visible below
    EXPECT_EQ(axis.GetClosestPointIdx(1), 2);
    EXPECT_EQ(axis.GetFirstVisibleIdx(), 2);
    axis.GetPoint(4)->SetVisible(false);
    EXPECT_EQ(axis.GetClosestPointIdx(100), 3);
    EXPECT_EQ(axis.GetLastVisible(), axis.GetPoint(3));
    for (int64_t i = 0; i < axis.GetCount(); ++i) axis.GetPoint(i)->SetVisible(false);
    EXPECT_EQ(axis.GetClosestPointIdx(-1), 4); // no visible point: the far end
    EXPECT_EQ(axis.GetClosestPointIdx(100), 0);
    EXPECT_EQ(axis.GetFirstVisible(), nullptr);
}

TEST(AxisNumbering, ModesRelabelTheCurrentList) {
    CKVCoordinateGrid grid; // metres
    CAxis& axis = grid.GetAxisX();
    AddAt(axis, {0, 12.35, 150});
    axis.SetTypeNumbering(CKVCoordinateGrid::tnLetters, kLatin, true);
    EXPECT_EQ(Names(axis), (std::vector<std::u16string>{u"A", u"B", u"C"}));
    axis.SetTypeNumbering(CKVCoordinateGrid::tnLetters, nullptr, true); // no letters: names stay
    EXPECT_EQ(Names(axis), (std::vector<std::u16string>{u"A", u"B", u"C"}));

    axis.SetTypeNumbering(2);
    EXPECT_EQ(axis.GetTypeNumbering(), CKVCoordinateGrid::tnGeoLatin);
    EXPECT_EQ(Names(axis), (std::vector<std::u16string>{u"0A", u"0A+12", u"1A+50"}));
    axis.SetTypeNumbering(1); // only the field
    EXPECT_EQ(axis.GetTypeNumbering(), CKVCoordinateGrid::tnLetters);
    EXPECT_EQ(Names(axis), (std::vector<std::u16string>{u"0A", u"0A+12", u"1A+50"}));
    axis.SetTypeNumbering(9); // anything else: numbers
    EXPECT_EQ(axis.GetTypeNumbering(), CKVCoordinateGrid::tnNumbers);
    EXPECT_EQ(Names(axis), (std::vector<std::u16string>{u"1", u"2", u"3"}));
    axis.SetTypeNumbering(CKVCoordinateGrid::tnGeoCyrillic, nullptr, false);
    EXPECT_EQ(Names(axis), (std::vector<std::u16string>{u"1", u"2", u"3"}));

    // Type 1 relabels X and Y, not Z, and moves nothing.
    AddAt(grid.GetAxisY(), {100});
    AddAt(grid.GetAxisZ(), {3});
    grid.GetAxisZ().GetPoint(0)->SetName(u"z");
    EXPECT_TRUE(grid.SetType(1));
    EXPECT_EQ(Names(grid.GetAxisX()), (std::vector<std::u16string>{u"0A", u"0A+12", u"1A+50"}));
    EXPECT_EQ(Names(grid.GetAxisY()), (std::vector<std::u16string>{u"1Б"}));
    EXPECT_EQ(Names(grid.GetAxisZ()), (std::vector<std::u16string>{u"z"}));
    EXPECT_EQ(Positions(grid.GetAxisX()), (std::vector<double>{0, 12.35, 150}));
    grid.SetType(5);
    EXPECT_EQ(grid.GetType(), CKVCoordinateGrid::ctgRectangular);
    grid.SetType(2);
    EXPECT_EQ(grid.GetType(), CKVCoordinateGrid::ctgConcentric);
}

TEST(AxisNumbering, SortByNameCarriesTheGaps) {
    CAxis axis;
    AddAt(axis, {10, 11, 14, 20});
    const char16_t* names[] = {u"B", u"AA", u"A", u"C"};
    for (int i = 0; i < 4; ++i) axis.GetPoint(i)->SetName(names[i]);
    axis.GetPoint(2)->SetVisible(false);
    // Gaps: B 0 (first), AA 1, A 3, C 6. Order by (length, text): A, B, C, AA.
    CAxis::SortByName(axis.GetPoints());
    EXPECT_EQ(Names(axis), (std::vector<std::u16string>{u"A", u"B", u"C", u"AA"}));
    EXPECT_EQ(Positions(axis), (std::vector<double>{0, 0, 6, 7}));
    EXPECT_FALSE(axis.GetPoint(2)->IsVisible()); // visibility stays with the place

    CAxis kept; // nothing moves to the front: the first keeps its position
    AddAt(kept, {5, 8, 9});
    kept.GetPoint(0)->SetName(u"A");
    kept.GetPoint(1)->SetName(u"C");
    kept.GetPoint(2)->SetName(u"B");
    CAxis::SortByName(kept.GetPoints());
    EXPECT_EQ(Names(kept), (std::vector<std::u16string>{u"A", u"B", u"C"}));
    EXPECT_EQ(Positions(kept), (std::vector<double>{5, 6, 9}));
}

TEST(AxisCopies, PointAssignmentKeepsColourAndCopyTakesIt) {
    CAxisPoint source(u"S", 4);
    source.GetColor().SetAcIndex(3);
    source.SetVisible(false);
    CAxisPoint target(u"T", 1);
    target.GetColor().SetAcIndex(5);
    target = source;
    EXPECT_EQ(S(target.GetName()), u"S");
    EXPECT_EQ(target.GetPosition(), 4);
    EXPECT_FALSE(target.IsVisible());
    EXPECT_EQ(target.GetColor().AcIndex(), 5);
    const CAxisPoint copy(source);
    EXPECT_EQ(copy.GetColor().AcIndex(), 3);
}

TEST(AxisCopies, AxisAndGridCopiesAreDeepAndNeverPointAtTheSource) {
    CKVCoordinateGrid target;
    {
        CKVCoordinateGrid source(u"S");
        source.SetMeasurementUnit(CKVCoordinateGrid::mtKilometers);
        AddAt(source.GetAxisX(), {0, 1});
        source.GetAxisX().GetPoint(0)->GetColor().SetAcRgb(0x00FF00);

        CAxis axis(source.GetAxisX());
        EXPECT_EQ(axis.GetGrid(), &source); // the pointer as it stands
        EXPECT_NE(axis.GetPoint(0), source.GetAxisX().GetPoint(0));
        EXPECT_TRUE(axis == source.GetAxisX());

        target = source;
        EXPECT_EQ(target.GetAxisX().GetGrid(), &target);
        EXPECT_TRUE(target == source);
        source.GetAxisX().GetPoint(0)->SetName(u"changed");
        EXPECT_FALSE(target == source);
    }
    // The source is gone; relabelling reads the target's own unit.
    target.GetAxisX().SetTypeNumbering(2);
    EXPECT_EQ(S(target.GetAxisX().GetPoint(1)->GetName()), u"10A");
    EXPECT_EQ(target.GetLength(), 1000000);

    const CKVCoordinateGrid copy(target);
    EXPECT_EQ(copy.GetAxisY().GetGrid(), &copy);
    EXPECT_TRUE(copy == target);

    CKVCoordinateGrid other;
    CAxis loose;
    AddAt(loose, {7});
    other.SetAxisZ(loose);
    EXPECT_EQ(other.GetAxisZ().GetGrid(), &other);
    EXPECT_EQ(other.GetAxisZ().GetCount(), 1);
}

TEST(AxisCompare, EqualityAndOrderFieldByField) {
    CAxis a, b;
    AddAt(a, {0, 10});
    AddAt(b, {0, 10});
    EXPECT_TRUE(a == b);
    EXPECT_FALSE(a < b);
    EXPECT_FALSE(b < a);

    b.GetPoint(1)->SetPosition(10 + 1e-12); // positions compare exactly
    EXPECT_FALSE(a == b);
    EXPECT_TRUE(a < b);
    b.GetPoint(1)->SetPosition(10);

    b.SetDefaultStepCir(45); // not the step of this kind of axis
    EXPECT_TRUE(a == b);
    b.SetDefaultStep(49);
    EXPECT_FALSE(a == b);
    EXPECT_TRUE(b < a);
    b.SetDefaultStep(50);

    // Differing colours decide before positions: RGB sorts before index.
    b.GetPoint(0)->GetColor().SetAcRgb(0x10);
    b.GetPoint(1)->SetPosition(5);
    EXPECT_FALSE(a == b);
    EXPECT_TRUE(b < a);
    EXPECT_FALSE(a < b);

    CAxis c;
    AddAt(c, {0, 10, 20});
    EXPECT_TRUE(a < c); // fewer points first
    c.SetAxisType(1);
    EXPECT_TRUE(a < c); // the type before the count
    EXPECT_FALSE(c < a);
}
