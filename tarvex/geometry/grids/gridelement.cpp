// The element form of grids, axes and points.
//
// The readers' failures carry fixed texts: stored grids and the tools around
// them know each failure by its expression and line, so these are written
// out here instead of coming from the checked-expression macros.
#include <memory>

#include "tarvex/core/exceptions.h"
#include "tarvex/element/element.h"
#include "tarvex/geometry/grids/coordinategrid.h"
#include "tarvex/platform/wide.h"

using CAxis = CKVCoordinateGrid::CAxis;
using CAxisPoint = CKVCoordinateGrid::CAxisPoint;

namespace {

constexpr const char16_t* kGroup = u"SYS_CATEGORY_GROUP";
constexpr const char16_t* kGroupComment = u"Группа данных";
constexpr const char16_t* kPointGroup = u"CoordinateGridAxisPoint";
constexpr const char16_t* kAxisGroup = u"CoordinateGridAxis";
constexpr const char16_t* kPointsGroup = u"CoordinateGridAxisPoints";
constexpr const char16_t* kGridGroup = u"Координатные сетки";
constexpr const char16_t* kGridGroupValueComment = u"CoordinateGrid";

constexpr const char16_t* kUnitTexts[CKVCoordinateGrid::kMeasurementTypesCount] = {
    u"0. Миллиметры", u"1. Метры", u"2. Километры"};

enum class ECheck { False, True, Null };

[[noreturn]] void ThrowReadFailure(const char16_t* function, int line, ECheck form,
                                   const char16_t* expression) {
    static constexpr const char16_t* kForms[] = {u"false", u"true", u"NULL"};
    CString message, position;
    message.Format(u"Expression \"%s\" can''t be %s", expression, kForms[static_cast<int>(form)]);
    position.Format(u"%s (Line %d)", function, line);
    throw CKVException(message, position);
}

bool IsGroup(const CElement& data, const char16_t* group) {
    return wcscmp(data.GetParameterValue(kGroup, u""), group) == 0;
}

void WriteGroup(CElement& data, const char16_t* group) {
    data.SetParameter(kGroup, group, kGroupComment, group);
}

void WritePoints(CElement& data, const char16_t* name,
                 const CKVCoordinateGrid::CPointArray& points) {
    CElement* list = data.AddChild(name);
    WriteGroup(*list, kPointsGroup);
    for (const CAxisPoint* point : points) point->tvxOut(*list->AddChild(u"Point"));
}

// Points of a stored axis are taken as they come: duplicates and positions
// outside the axis type's range stay. Only the order is kept.
void ReadPoints(const CElement* list, CKVCoordinateGrid::CPointArray& points) {
    if (!list) return;
    for (int64_t i = 0; i < list->GetChildCount(); ++i) {
        auto point = std::make_unique<CAxisPoint>();
        point->tvxIn(*list->GetChild(i));
        const double position = point->GetPosition();
        if (points.IsEmpty() || position >= points.Last()->GetPosition()) {
            points.CIndirectArray::Add(point.release());
            continue;
        }
        int64_t place;
        TarvexDetail::SortedSearch(points.GetData(), points.GetLength(), place,
                                   [position](const CAxisPoint* p) {
                                       const double at = p->GetPosition();
                                       return position == at ? 0 : position < at ? -1 : 1;
                                   });
        points.CIndirectArray::InsertAt(place, point.release());
    }
}

} // namespace

// --- CAxisPoint

void CAxisPoint::tvxOut(CElement& data) const {
    data.SetName(m_strName);
    WriteGroup(data, kPointGroup);
    data.SetParameter(u"IS_ACTIVE", m_bVisible ? u"1" : u"0");
    data.SetParameter(u"POSITION", m_dPosition);
    CString color;
    m_Color.Format(color);
    data.SetParameter(u"COLOR", color);
}

void CAxisPoint::tvxIn(const CElement& data) {
    if (!IsGroup(data, kPointGroup))
        ThrowReadFailure(u"CKVCoordinateGrid::CAxisPoint::tvxIn", 108, ECheck::False,
                         u"_tcscmp(data.GetParameterValue(L\"SYS_CATEGORY_GROUP\", L\"\"), "
                         u"L\"CoordinateGridAxisPoint\") == 0");
    m_strName = data.GetName();
    data.GetValue(u"IS_ACTIVE", m_bVisible);
    data.GetValue(u"POSITION", m_dPosition);
    m_Color.Parse(data.GetParameterValue(u"COLOR", u""));
}

// --- CAxis

void CAxis::tvxOut(CElement& data) const {
    WriteGroup(data, kAxisGroup);
    data.SetParameter(u"OFFSET_TOP", m_dOffsetTop);
    data.SetParameter(u"OFFSET_BOTTOM", m_dOffsetBottom);
    data.SetParameter(u"DEFAULT_STEP", m_dDefaultStep);
    data.SetParameter(u"DEFAULT_STEP_CIR", m_dDefaultStepCir);
    data.SetParameter(u"LETTER_NUMBERING", m_eTypeNumbering == tnLetters ? 1 : 0);
    data.SetParameter(u"TYPE_NUMBERING", static_cast<int>(m_eTypeNumbering));
    WritePoints(data, u"AxisPoints", m_Points);
    WritePoints(data, u"AxisPointsConcentric", m_PointsConcentric);
    data.SetParameter(u"TYPE_AXIS", static_cast<int>(m_nAxisType));
    data.SetParameter(u"HIDE_LABEL", static_cast<int>(m_nHideLabel));
}

void CAxis::tvxIn(const CElement& data, CKVCoordinateGrid* grid) {
    flush();
    m_pGrid = grid;
    if (!IsGroup(data, kAxisGroup))
        ThrowReadFailure(u"CKVCoordinateGrid::CAxis::tvxIn", 556, ECheck::False,
                         u"_tcscmp(data.GetParameterValue(L\"SYS_CATEGORY_GROUP\", L\"\"), "
                         u"L\"CoordinateGridAxis\") == 0");
    data.GetValue(u"OFFSET_TOP", m_dOffsetTop);
    data.GetValue(u"OFFSET_BOTTOM", m_dOffsetBottom);
    data.GetValue(u"DEFAULT_STEP", m_dDefaultStep);
    data.GetValue(u"DEFAULT_STEP_CIR", m_dDefaultStepCir);
    ReadPoints(data.GetChild(u"AxisPoints"), m_Points);
    ReadPoints(data.GetChild(u"AxisPointsConcentric"), m_PointsConcentric);

    int numbering = 0;
    if (data.GetValue(u"TYPE_NUMBERING", numbering))
        m_eTypeNumbering = static_cast<eTypeNumbering>(numbering);
    else if (data.GetParameterValue(u"LETTER_NUMBERING", 0) != 0)
        m_eTypeNumbering = tnLetters;

    const int axisType = data.GetParameterValue(u"TYPE_AXIS", 0);
    m_nAxisType = axisType == 1 || axisType == 2 ? axisType : 0;
    m_nHideLabel = data.GetParameterValue(u"HIDE_LABEL", 2);
}

// --- CKVCoordinateGrid

void CKVCoordinateGrid::tvxOut(CElement& data, const CTXMatrix3d* matrix) const {
    data.SetParameter(kGroup, kGridGroup, kGroupComment, kGridGroupValueComment);
    data.SetParameter(u"TYPE_GRID", static_cast<int>(m_eType));
    data.SetName(m_strName);

    CTXPoint3d origin = m_ptOrigin;
    CTXVector3d x = m_vecX, y = m_vecY, z = m_vecZ;
    if (matrix) {
        origin.transformBy(*matrix);
        x.transformBy(*matrix);
        y.transformBy(*matrix);
        z.transformBy(*matrix);
    }
    data.SetParameter(u"ORIGIN", origin);
    data.SetParameter(u"DIRECTION_X", x);
    data.SetParameter(u"DIRECTION_Y", y);
    data.SetParameter(u"DIRECTION_Z", z);

    if (m_eMeasurementUnit >= 0 && m_eMeasurementUnit < kMeasurementTypesCount) {
        data.SetParameter(u"MEASUREMENT_UNIT", kUnitTexts[m_eMeasurementUnit]);
    } else {
        // No text of its own; the reader refuses it as it would any other.
        data.SetParameter(u"MEASUREMENT_UNIT", static_cast<int>(m_eMeasurementUnit));
    }

    m_AxisX.tvxOut(*data.AddChild(u"AXIS_X"));
    m_AxisY.tvxOut(*data.AddChild(u"AXIS_Y"));
    m_AxisZ.tvxOut(*data.AddChild(u"AXIS_Z"));
    data.SetParameter(u"NET_SCALE", m_dNetScale);
    data.SetParameter(u"FULL_CIRCLE", m_bFullCircle ? 1 : 0);
    data.SetParameter(u"Y_AXIS_DIRECTION", m_bYAxisDirection ? 1 : 0);
}

// A grid that fails keeps whatever it had read by then.
void CKVCoordinateGrid::tvxIn(const CElement& data, const CTXMatrix3d* matrix) {
    static constexpr const char16_t* kFunction = u"CKVCoordinateGrid::tvxIn";
    m_eType = static_cast<eTypeCoordinateGrid>(data.GetParameterValue(u"TYPE_GRID", 0));
    m_strName = data.GetName();
    if (!IsGroup(data, kGridGroup))
        ThrowReadFailure(kFunction, 1076, ECheck::False,
                         u"_tcscmp(data.GetParameterValue(L\"SYS_CATEGORY_GROUP\", L\"\"), "
                         u"PROJECT_STRUCT_CAT_COORD_GRID_LABEL) == 0");
    if (!data.GetValue(u"ORIGIN", m_ptOrigin))
        ThrowReadFailure(kFunction, 1079, ECheck::False, u"data.GetValue(L\"ORIGIN\", m_ptOrigin)");
    if (!data.GetValue(u"DIRECTION_X", m_vecX))
        ThrowReadFailure(kFunction, 1080, ECheck::False,
                         u"data.GetValue(L\"DIRECTION_X\", m_vecX)");
    if (!data.GetValue(u"DIRECTION_Y", m_vecY))
        ThrowReadFailure(kFunction, 1081, ECheck::False,
                         u"data.GetValue(L\"DIRECTION_Y\", m_vecY)");
    if (!data.GetValue(u"DIRECTION_Z", m_vecZ))
        ThrowReadFailure(kFunction, 1082, ECheck::False,
                         u"data.GetValue(L\"DIRECTION_Z\", m_vecZ)");
    if (matrix) TransformBy(*matrix);
    // The stored Z only has to parse: it is always X x Y.
    NormalizeDirections();

    CString strUnits;
    if (!data.GetValue(u"MEASUREMENT_UNIT", strUnits))
        ThrowReadFailure(kFunction, 1094, ECheck::False,
                         u"data.GetValue(L\"MEASUREMENT_UNIT\", strUnits)");
    if (strUnits.IsEmpty()) ThrowReadFailure(kFunction, 1095, ECheck::True, u"strUnits.IsEmpty()");
    const int nUnits = strUnits[0] - u'0';
    if (!(nUnits >= 0 && nUnits < kMeasurementTypesCount))
        ThrowReadFailure(kFunction, 1097, ECheck::False, u"nUnits >= 0 && nUnits < ptTypesCount");
    m_eMeasurementUnit = nUnits;

    const CElement* pAxisX = data.GetChild(u"AXIS_X");
    if (!pAxisX) ThrowReadFailure(kFunction, 1101, ECheck::Null, u"pAxisX");
    m_AxisX.tvxIn(*pAxisX, this);
    const CElement* pAxisY = data.GetChild(u"AXIS_Y");
    if (!pAxisY) ThrowReadFailure(kFunction, 1105, ECheck::Null, u"pAxisY");
    m_AxisY.tvxIn(*pAxisY, this);
    const CElement* pAxisZ = data.GetChild(u"AXIS_Z");
    if (!pAxisZ) ThrowReadFailure(kFunction, 1109, ECheck::Null, u"pAxisZ");
    m_AxisZ.tvxIn(*pAxisZ, this);

    data.GetValue(u"NET_SCALE", m_dNetScale);
    m_bFullCircle = data.GetParameterValue(u"FULL_CIRCLE", false);
    m_bYAxisDirection = data.GetParameterValue(u"Y_AXIS_DIRECTION", false);
}
