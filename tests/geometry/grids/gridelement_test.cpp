#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "tarvex/core/exceptions.h"
#include "tarvex/element/element.h"
#include "tarvex/geometry/grids/coordinategrid.h"

using CAxis = CKVCoordinateGrid::CAxis;
using CAxisPoint = CKVCoordinateGrid::CAxisPoint;

namespace {

std::u16string S(const CString& s) {
    return std::u16string(s.View());
}

std::u16string Value(const CElement& e, const char16_t* name) {
    const CParam* p = e.GetParameter(name);
    return p ? S(p->getstrValue()) : u"<missing>";
}

CKVCoordinateGrid SampleGrid() {
    CKVCoordinateGrid grid(u"Сетка 1");
    grid.SetOrigin(CTXPoint3d(1000, 2000, 0));
    grid.SetMeasurementUnit(CKVCoordinateGrid::mtMeters);
    grid.SetNetScale(2.5);
    grid.SetFullCircle(true);
    CAxis& x = grid.GetAxisX();
    x.SetOffsetTop(1.5);
    x.SetDefaultStep(6);
    x.AddNextPoint(nullptr, nullptr);
    x.AddNextPoint(nullptr, nullptr)->GetColor().SetAcRgb(0x030201);
    x.GetPoint(0)->SetVisible(false);
    CAxis& y = grid.GetAxisY();
    y.SetTypeNumbering(CKVCoordinateGrid::tnLetters, nullptr, false);
    y.AddNextPoint(u"АБВ", nullptr);
    y.GetPointsConcentric().CIndirectArray::Add(new CAxisPoint(u"r", 45));
    grid.GetAxisZ().SetAxisType(2);
    grid.GetAxisZ().SetHideLabel(0);
    grid.GetAxisZ().AddNextPoint(nullptr, nullptr);
    return grid;
}

// Runs the reader on a stored grid spoiled by `spoil`, and gives the message
// and code position it throws.
std::u16string ReadFailure(const std::function<void(CElement&)>& spoil) {
    CElement stored;
    SampleGrid().tvxOut(stored, nullptr);
    spoil(stored);
    CKVCoordinateGrid grid;
    try {
        grid.tvxIn(stored, nullptr);
    } catch (const CKVException& e) {
        return S(e.GetMessageW()) + u" @ " + S(e.GetCodePos());
    }
    return u"<no failure>";
}

} // namespace

TEST(GridElement, WritesTheExactForm) {
    CElement stored;
    SampleGrid().tvxOut(stored, nullptr);
    EXPECT_EQ(S(stored.GetName()), u"Сетка 1");
    const CParam* group = stored.GetParameter(u"SYS_CATEGORY_GROUP");
    ASSERT_NE(group, nullptr);
    EXPECT_EQ(S(group->getstrValue()), u"Координатные сетки");
    EXPECT_EQ(S(group->getComment()), u"Группа данных");
    EXPECT_EQ(S(group->getValueComment()), u"CoordinateGrid");
    EXPECT_EQ(Value(stored, u"MEASUREMENT_UNIT"), u"1. Метры");
    EXPECT_EQ(Value(stored, u"FULL_CIRCLE"), u"1");
    CTXPoint3d origin;
    ASSERT_TRUE(stored.GetValue(u"ORIGIN", origin));
    EXPECT_EQ(origin, CTXPoint3d(1000, 2000, 0));

    const CElement* axis = stored.GetChild(u"AXIS_X");
    ASSERT_NE(axis, nullptr);
    EXPECT_EQ(S(axis->GetParameter(u"SYS_CATEGORY_GROUP")->getValueComment()),
              u"CoordinateGridAxis");
    EXPECT_EQ(Value(*axis, u"OFFSET_TOP"), u"1.5");
    EXPECT_EQ(Value(*axis, u"DEFAULT_STEP"), u"6");
    EXPECT_EQ(Value(*axis, u"LETTER_NUMBERING"), u"0");
    EXPECT_EQ(Value(*stored.GetChild(u"AXIS_Y"), u"LETTER_NUMBERING"), u"1");

    const CElement* points = axis->GetChild(u"AxisPoints");
    ASSERT_NE(points, nullptr);
    EXPECT_EQ(Value(*points, u"SYS_CATEGORY_GROUP"), u"CoordinateGridAxisPoints");
    ASSERT_EQ(points->GetChildCount(), 2);
    const CElement* second = points->GetChild(1);
    EXPECT_EQ(S(second->GetName()), u"2");
    EXPECT_EQ(Value(*second, u"SYS_CATEGORY_GROUP"), u"CoordinateGridAxisPoint");
    EXPECT_EQ(S(second->GetParameter(u"SYS_CATEGORY_GROUP")->getComment()), u"Группа данных");
    EXPECT_EQ(Value(*second, u"POSITION"), u"6");
    EXPECT_EQ(Value(*second, u"COLOR"), u"\"RGB(1,2,3)\"");
    EXPECT_EQ(Value(*points->GetChild(0), u"COLOR"), u"0");
}

TEST(GridElement, RoundTripAndMatrix) {
    const CKVCoordinateGrid grid = SampleGrid();
    CElement stored;
    grid.tvxOut(stored, nullptr);
    CKVCoordinateGrid back;
    back.tvxIn(stored, nullptr);
    EXPECT_TRUE(back == grid);
    EXPECT_TRUE(back.GetFullCircle());
    EXPECT_EQ(back.GetAxisX().GetGrid(), &back);
    EXPECT_EQ(back.GetAxisX().GetPoint(1)->GetColor().AcRgb(), 0x030201u);
    EXPECT_EQ(back.GetAxisY().GetPointsConcentric().GetLength(), 1); // the other list too
    EXPECT_EQ(back.GetAxisZ().GetAxisType(), 2);

    // Through a matrix: written moved, read back moved again.
    CTXMatrix3d shift;
    shift.setToTranslation(CTXVector3d(10, 0, 0));
    CElement moved;
    grid.tvxOut(moved, &shift);
    CKVCoordinateGrid twice;
    twice.tvxIn(moved, &shift);
    EXPECT_EQ(twice.GetOrigin(), CTXPoint3d(1020, 2000, 0));

    // The stored Z only has to parse: it is rebuilt from X and Y.
    moved.SetParameter(u"DIRECTION_Z", CTXVector3d(5, 5, 5));
    moved.SetParameter(u"DIRECTION_X", CTXVector3d(0, 3, 0));
    moved.SetParameter(u"DIRECTION_Y", CTXVector3d(-2, 0, 0));
    twice.tvxIn(moved, nullptr);
    EXPECT_EQ(twice.GetDirX(), CTXVector3d(0, 1, 0));
    EXPECT_EQ(twice.GetDirZ(), CTXVector3d(0, 0, 1));
}

TEST(GridElement, ReadsLenientlyWhatTheWriterWouldNot) {
    CElement stored;
    SampleGrid().tvxOut(stored, nullptr);
    stored.RemoveParameter(u"FULL_CIRCLE");
    stored.RemoveParameter(u"NET_SCALE");
    stored.SetParameter(u"MEASUREMENT_UNIT", u"2");
    CElement* axis = stored.GetChild(u"AXIS_X");
    axis->RemoveParameter(u"TYPE_NUMBERING");
    axis->SetParameter(u"LETTER_NUMBERING", u"1");
    axis->SetParameter(u"TYPE_AXIS", u"7");
    axis->RemoveParameter(u"HIDE_LABEL");
    // A duplicate position and one out of order both stay.
    CElement* points = axis->GetChild(u"AxisPoints");
    CAxisPoint(u"again", 6).tvxOut(*points->AddChild(u"Point"));
    CAxisPoint(u"early", -3).tvxOut(*points->AddChild(u"Point"));

    CKVCoordinateGrid grid;
    grid.SetNetScale(9);
    grid.SetFullCircle(true);
    grid.tvxIn(stored, nullptr);
    EXPECT_FALSE(grid.GetFullCircle()); // missing reads false
    EXPECT_EQ(grid.GetNetScale(), 9);   // missing leaves the value
    EXPECT_EQ(grid.GetMeasurementUnit(), CKVCoordinateGrid::mtKilometers);
    const CAxis& x = grid.GetAxisX();
    EXPECT_EQ(x.GetTypeNumbering(), CKVCoordinateGrid::tnLetters);
    EXPECT_EQ(x.GetAxisType(), 0);
    EXPECT_EQ(x.GetHideLabel(), 2);
    ASSERT_EQ(x.GetCount(), 4);
    EXPECT_EQ(S(x.GetPoint(0)->GetName()), u"early");
    EXPECT_EQ(x.GetPoint(2)->GetPosition(), 6);
    EXPECT_EQ(x.GetPoint(3)->GetPosition(), 6);
    EXPECT_EQ(S(x.GetPoint(1)->GetName()), u"1"); // labels are not generated again
}

TEST(GridElement, FailuresCarryFixedTextsAndLines) {
    EXPECT_EQ(ReadFailure([](CElement& e) { e.SetParameter(u"SYS_CATEGORY_GROUP", u"x"); }),
              u"Expression \"_tcscmp(data.GetParameterValue(L\"SYS_CATEGORY_GROUP\", L\"\"), "
              u"PROJECT_STRUCT_CAT_COORD_GRID_LABEL) == 0\" can''t be false @ "
              u"CKVCoordinateGrid::tvxIn (Line 1076)");
    EXPECT_EQ(ReadFailure([](CElement& e) { e.SetParameter(u"ORIGIN", u"{1; 2}"); }),
              u"Expression \"data.GetValue(L\"ORIGIN\", m_ptOrigin)\" can''t be false @ "
              u"CKVCoordinateGrid::tvxIn (Line 1079)");
    EXPECT_EQ(ReadFailure([](CElement& e) { e.SetParameter(u"DIRECTION_Z", u"z"); }),
              u"Expression \"data.GetValue(L\"DIRECTION_Z\", m_vecZ)\" can''t be false @ "
              u"CKVCoordinateGrid::tvxIn (Line 1082)");
    EXPECT_EQ(ReadFailure([](CElement& e) { e.RemoveParameter(u"MEASUREMENT_UNIT"); }),
              u"Expression \"data.GetValue(L\"MEASUREMENT_UNIT\", strUnits)\" can''t be false @ "
              u"CKVCoordinateGrid::tvxIn (Line 1094)");
    EXPECT_EQ(ReadFailure([](CElement& e) { e.SetParameter(u"MEASUREMENT_UNIT", u""); }),
              u"Expression \"strUnits.IsEmpty()\" can''t be true @ "
              u"CKVCoordinateGrid::tvxIn (Line 1095)");
    EXPECT_EQ(ReadFailure([](CElement& e) { e.SetParameter(u"MEASUREMENT_UNIT", u"3. x"); }),
              u"Expression \"nUnits >= 0 && nUnits < ptTypesCount\" can''t be false @ "
              u"CKVCoordinateGrid::tvxIn (Line 1097)");
    EXPECT_EQ(ReadFailure([](CElement& e) { e.SetParameter(u"MEASUREMENT_UNIT", u" 1"); }),
              u"Expression \"nUnits >= 0 && nUnits < ptTypesCount\" can''t be false @ "
              u"CKVCoordinateGrid::tvxIn (Line 1097)");
    EXPECT_EQ(ReadFailure([](CElement& e) { e.GetChild(u"AXIS_Z")->SetName(u"Z"); }),
              u"Expression \"pAxisZ\" can''t be NULL @ CKVCoordinateGrid::tvxIn (Line 1109)");
    EXPECT_EQ(ReadFailure([](CElement& e) {
                  e.GetChild(u"AXIS_X")->SetParameter(u"SYS_CATEGORY_GROUP", u"");
              }),
              u"Expression \"_tcscmp(data.GetParameterValue(L\"SYS_CATEGORY_GROUP\", L\"\"), "
              u"L\"CoordinateGridAxis\") == 0\" can''t be false @ "
              u"CKVCoordinateGrid::CAxis::tvxIn (Line 556)");
    EXPECT_EQ(ReadFailure([](CElement& e) {
                  e.GetChild(u"AXIS_X")
                      ->GetChild(u"AxisPoints")
                      ->GetChild(0)
                      ->RemoveParameter(u"SYS_CATEGORY_GROUP");
              }),
              u"Expression \"_tcscmp(data.GetParameterValue(L\"SYS_CATEGORY_GROUP\", L\"\"), "
              u"L\"CoordinateGridAxisPoint\") == 0\" can''t be false @ "
              u"CKVCoordinateGrid::CAxisPoint::tvxIn (Line 108)");

    // A grid that fails halfway keeps what it had read.
    CElement stored;
    SampleGrid().tvxOut(stored, nullptr);
    stored.SetParameter(u"TYPE_GRID", 2);
    stored.GetChild(u"AXIS_Z")->SetName(u"none");
    CKVCoordinateGrid grid;
    EXPECT_THROW(grid.tvxIn(stored, nullptr), CKVException);
    EXPECT_EQ(grid.GetType(), CKVCoordinateGrid::ctgConcentric);
    EXPECT_EQ(S(grid.GetName()), u"Сетка 1");
    EXPECT_EQ(grid.GetAxisX().GetCount(), 2);
}

TEST(GridCompare, TolerancesOfEqualityAndCoordSystems) {
    CKVCoordinateGrid a(u"G"), b(u"G");
    EXPECT_TRUE(a == b);
    b.SetOrigin(CTXPoint3d(5e-9, 0, 0)); // below the float 1e-8
    EXPECT_TRUE(a == b);
    b.SetOrigin(CTXPoint3d(1e-8, 0, 0));
    EXPECT_FALSE(a == b);
    EXPECT_TRUE(a < b);
    EXPECT_FALSE(b < a);
    EXPECT_TRUE(a.AreCoordSystemsEqual(b));
    b.SetOrigin(CTXPoint3d(0, 0.00006, 0.00008));
    EXPECT_TRUE(a.AreCoordSystemsEqual(b)); // by distance, not per coordinate
    b.SetOrigin(CTXPoint3d(0, 0.00008, 0.00008));
    EXPECT_FALSE(a.AreCoordSystemsEqual(b));
    b.SetOrigin(CTXPoint3d());

    b.SetType(1);
    EXPECT_TRUE(a.AreCoordSystemsEqual(b)); // 0 and 1 are alike
    EXPECT_FALSE(a == b);                   // type 1 renumbered axes X and Y
    CKVCoordinateGrid c(u"G");
    c.SetType(2);
    EXPECT_FALSE(a.AreCoordSystemsEqual(c));
    EXPECT_TRUE(a == c); // equality ignores the type itself
    b.SetMeasurementUnit(0);
    EXPECT_FALSE(a.AreCoordSystemsEqual(b));
    EXPECT_TRUE(b < a); // the unit as a number
    EXPECT_TRUE(CKVCoordinateGrid(u"A") < CKVCoordinateGrid(u"B"));

    b = a;
    b.GetAxisZ().SetOffsetBottom(-1);
    EXPECT_FALSE(a == b);
    EXPECT_TRUE(b < a);
}

TEST(GridCompare, TransformResetAndLengths) {
    CKVCoordinateGrid grid(u"G");
    grid.SetType(1);
    grid.SetMeasurementUnit(CKVCoordinateGrid::mtMillimeters);
    grid.GetAxisX().AddNextPoint(nullptr, nullptr);
    grid.GetAxisX().AddNextPoint(nullptr, nullptr);
    grid.GetAxisZ().SetAxisType(1);
    grid.GetAxisZ().AddPoint(new CAxisPoint(u"", 30));
    EXPECT_EQ(grid.GetLength(), 50);
    EXPECT_EQ(grid.GetHeight(), 30); // type 1 measures from 0

    CTXMatrix3d m;
    m.setToRotation(3.14159265358979323846 / 2, CTXVector3d::kZAxis);
    grid.SetDirZ(CTXVector3d(7, 7, 7));
    grid.SetOrigin(CTXPoint3d(1, 0, 0));
    grid.TransformBy(m);
    EXPECT_EQ(grid.GetOrigin(), CTXPoint3d(0, 1, 0));
    EXPECT_EQ(grid.GetDirX(), CTXVector3d(0, 1, 0));
    EXPECT_EQ(grid.GetDirY(), CTXVector3d(-1, 0, 0));
    EXPECT_EQ(grid.GetDirZ(), CTXVector3d(0, 0, 1)); // rebuilt, not turned

    grid.setNotInDB();
    grid.GetAxisY().GetPointsConcentric().CIndirectArray::Add(new CAxisPoint(u"c", 1));
    grid.reset();
    EXPECT_EQ(grid.GetOrigin(), CTXPoint3d());
    EXPECT_EQ(grid.GetAxisX().GetCount(), 0);
    EXPECT_EQ(grid.GetAxisY().GetPointsConcentric().GetLength(), 0);
    EXPECT_FALSE(grid.IsNotInDB());
    EXPECT_EQ(grid.GetType(), CKVCoordinateGrid::ctgGeodetic);
}
