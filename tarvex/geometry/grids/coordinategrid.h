// CKVCoordinateGrid: the named axis lines of a building or plant site.
//
// A grid is a local coordinate system with up to three axes; each axis keeps
// a sorted list of named positions (CAxisPoint) and a numbering rule that
// makes their labels: numbers, letters, or geodetic stations such as
// "12A+35". A concentric axis (type 2) keeps its positions in degrees in a
// second list, so every axis carries both lists and works on the one its
// type selects. Grids are stored as element trees by tvxOut and read back by
// tvxIn, which throws CKVException with fixed texts on a malformed tree.
#pragma once

#include <cstdint>

#include "tarvex/core/containers.h"
#include "tarvex/core/object.h"
#include "tarvex/element/accolor.h"
#include "tarvex/geometry/matrix3d.h"
#include "tarvex/geometry/vector3d.h"
#include "tarvex/platform/cstring.h"

class CElement;

class CKVCoordinateGrid : public CTarvexObject {
public:
    // Type 1 labels its X and Y axes as geodetic stations; type 2 is the
    // concentric kind, which AreCoordSystemsEqual keeps apart from the rest.
    enum eTypeCoordinateGrid : std::int32_t {
        ctgRectangular = 0,
        ctgGeodetic = 1,
        ctgConcentric = 2
    };

    enum EMeasurementType { mtMillimeters = 0, mtMeters = 1, mtKilometers = 2 };
    static constexpr int kMeasurementTypesCount = 3;

    class CAxisPoint : public CTarvexObject {
    public:
        CAxisPoint() = default;
        CAxisPoint(const char16_t* name, double position)
            : m_dPosition(position), m_strName(name) {}
        // Copies the colour too, unlike assignment.
        CAxisPoint(const CAxisPoint&) = default;
        // Visibility, position and name: the target keeps its colour.
        CAxisPoint& operator=(const CAxisPoint& other);
        ~CAxisPoint() override = default;

        // By position alone, exactly.
        bool operator==(const CAxisPoint& other) const { return m_dPosition == other.m_dPosition; }
        bool operator<(const CAxisPoint& other) const { return m_dPosition < other.m_dPosition; }

        bool IsVisible() const { return m_bVisible; }
        void SetVisible(bool visible) { m_bVisible = visible; }
        double GetPosition() const { return m_dPosition; }
        void SetPosition(double position) { m_dPosition = position; }
        const CString& GetName() const { return m_strName; }
        void SetName(const char16_t* name) { m_strName = name; }
        const CAcColor& GetColor() const { return m_Color; }
        CAcColor& GetColor() { return m_Color; }

        // Renames `data` after the point and writes its parameters.
        virtual void tvxOut(CElement& data) const;
        virtual void tvxIn(const CElement& data);

    private:
        bool m_bVisible = true;
        double m_dPosition = 0.0;
        CString m_strName;
        CAcColor m_Color;
    };

    using CPointArray = CSortedIndirectArray<CAxisPoint>;

    enum eTypeNumbering : std::int32_t {
        tnNumbers = 0,
        tnLetters = 1,
        tnGeoLatin = 2,
        tnGeoCyrillic = 3
    };

    class CAxis : public CTarvexObject {
    public:
        explicit CAxis(CKVCoordinateGrid* grid = nullptr);
        // Deep copies of both lists; the back pointer as it stands.
        CAxis(const CAxis& other);
        CAxis& operator=(const CAxis& other);
        ~CAxis() override = default;

        // --- The current list: concentric on axis type 2, plain otherwise.
        int64_t GetCount() const { return Current().GetLength(); }
        CAxisPoint* GetPoint(int64_t index) const { return Current()[index]; }
        // Last minus first; on type 1 the last position, measured from 0.
        double GetLength() const;
        CAxisPoint* GetFirst() const;
        CAxisPoint* GetLast() const;
        CAxisPoint* GetFirstVisible() const;
        CAxisPoint* GetLastVisible() const;
        int64_t GetFirstVisibleIdx() const;
        int64_t GetLastVisibleIdx() const;
        // The index of this very point, or -1.
        int64_t GetPointPosition(const CAxisPoint* point) const;
        void DeletePoint(int64_t index) { Current().Delete(index); }
        // Empties both lists.
        void flush();

        // Takes ownership, also of a point it refuses (which it destroys): a
        // position outside the axis type's range, NaN, or one already there.
        bool AddPoint(CAxisPoint* point);
        bool AddPoint(CAxisPoint* point, int64_t& index);
        // One step past the last point (or before the first, for a step not
        // above 0), or past *start; labelled by the numbering. Null when the
        // position is refused; axis types other than 0, 1 and 2 refuse all.
        CAxisPoint* AddNextPoint(const char16_t* letters, const double* start);
        // The nearest visible point by the rules in axis.cpp; -1 when empty.
        int64_t GetClosestPointIdx(double position) const;

        // 1 only sets the field; 2 and 3 relabel geodetically; anything else
        // becomes 0 and relabels with numbers.
        void SetTypeNumbering(std::int32_t numbering);
        // With `relabel`, renames every point of the current list. Letter
        // numbering without letters leaves the names.
        void SetTypeNumbering(eTypeNumbering numbering, const char16_t* letters, bool relabel);
        eTypeNumbering GetTypeNumbering() const { return m_eTypeNumbering; }

        // Bijective base-k over the given letters: 1 "A", 26 "Z", 27 "AA". An
        // empty (or null) alphabet gives "?", n of 0 or below "".
        static CString GetLetterLabel(int64_t n, const char16_t* letters);
        // The station (100 m) and whole metres of position * coefficient
        // millimetres: "123A+50", "123A", "-1A-5". NaN and positions beyond
        // 32-bit stations are clamped.
        static CString GetGeoLabel(double position, const char16_t* suffix, double coefficient);
        CString GetGeoLabel(double position, const char16_t* suffix) const {
            return GetGeoLabel(position, suffix, GetMeasureCoefficient());
        }
        // The grid's, or 1 without a grid.
        double GetMeasureCoefficient() const;

        // Reorders the names by (length, text), moving each point's gap to its
        // predecessor along with its name; see axis.cpp.
        static void SortByName(CPointArray& points);

        bool operator==(const CAxis& other) const;
        bool operator!=(const CAxis& other) const { return !(*this == other); }
        bool operator<(const CAxis& other) const;

        double GetOffsetTop() const { return m_dOffsetTop; }
        void SetOffsetTop(double value) { m_dOffsetTop = value; }
        double GetOffsetBottom() const { return m_dOffsetBottom; }
        void SetOffsetBottom(double value) { m_dOffsetBottom = value; }
        double GetDefaultStep() const { return m_dDefaultStep; }
        void SetDefaultStep(double value) { m_dDefaultStep = value; }
        double GetDefaultStepCir() const { return m_dDefaultStepCir; }
        void SetDefaultStepCir(double value) { m_dDefaultStepCir = value; }
        std::int32_t GetHideLabel() const { return m_nHideLabel; }
        void SetHideLabel(std::int32_t value) { m_nHideLabel = value; }
        std::int32_t GetAxisType() const { return m_nAxisType; }
        void SetAxisType(std::int32_t value) { m_nAxisType = value; }
        CKVCoordinateGrid* GetGrid() const { return m_pGrid; }
        void SetGrid(CKVCoordinateGrid* grid) { m_pGrid = grid; }
        CPointArray& GetPoints() { return m_Points; }
        const CPointArray& GetPoints() const { return m_Points; }
        CPointArray& GetPointsConcentric() { return m_PointsConcentric; }
        const CPointArray& GetPointsConcentric() const { return m_PointsConcentric; }

        virtual void tvxOut(CElement& data) const;
        // Empties both lists and takes `grid` before reading anything.
        virtual void tvxIn(const CElement& data, CKVCoordinateGrid* grid);

    private:
        bool IsConcentric() const { return m_nAxisType == 2; }
        CPointArray& Current() { return IsConcentric() ? m_PointsConcentric : m_Points; }
        const CPointArray& Current() const {
            return IsConcentric() ? m_PointsConcentric : m_Points;
        }
        double CurrentStep() const { return IsConcentric() ? m_dDefaultStepCir : m_dDefaultStep; }
        bool IsAllowedPosition(double position) const;
        // Binary search by position: the index of an equal one or -1, and the
        // insertion place.
        int64_t SearchPosition(double position, int64_t& place) const;
        CString LabelFor(int64_t n, double position, const char16_t* letters) const;

        double m_dOffsetTop = 0.0;
        double m_dOffsetBottom = 0.0;
        double m_dDefaultStep = 50.0;
        double m_dDefaultStepCir = 90.0;
        std::int32_t m_nHideLabel = 2;
        CKVCoordinateGrid* m_pGrid;
        std::int32_t m_nAxisType = 0;
        eTypeNumbering m_eTypeNumbering = tnNumbers;
        CPointArray m_Points{1, 10};
        CPointArray m_PointsConcentric{1, 10};
    };

    explicit CKVCoordinateGrid(const char16_t* name = nullptr);
    // Copies point their axes at the new grid, never at the source.
    CKVCoordinateGrid(const CKVCoordinateGrid& other);
    CKVCoordinateGrid& operator=(const CKVCoordinateGrid& other);
    ~CKVCoordinateGrid() override = default;

    // Type 1 relabels axis X as Latin and axis Y as Cyrillic stations.
    bool SetType(eTypeCoordinateGrid type);
    // 1 and 2 as they are, anything else 0.
    bool SetType(std::int32_t type);
    eTypeCoordinateGrid GetType() const { return m_eType; }
    bool SetName(const char16_t* name) {
        m_strName = name;
        return true;
    }
    const CString& GetName() const { return m_strName; }
    bool SetOrigin(const CTXPoint3d& origin) {
        m_ptOrigin = origin;
        return true;
    }
    const CTXPoint3d& GetOrigin() const { return m_ptOrigin; }
    bool SetDirX(const CTXVector3d& v) {
        m_vecX = v;
        return true;
    }
    bool SetDirY(const CTXVector3d& v) {
        m_vecY = v;
        return true;
    }
    bool SetDirZ(const CTXVector3d& v) {
        m_vecZ = v;
        return true;
    }
    const CTXVector3d& GetDirX() const { return m_vecX; }
    const CTXVector3d& GetDirY() const { return m_vecY; }
    const CTXVector3d& GetDirZ() const { return m_vecZ; }
    // Copies the axis; its back pointer becomes this grid.
    bool SetAxisX(const CAxis& axis) { return SetAxis(m_AxisX, axis); }
    bool SetAxisY(const CAxis& axis) { return SetAxis(m_AxisY, axis); }
    bool SetAxisZ(const CAxis& axis) { return SetAxis(m_AxisZ, axis); }
    CAxis& GetAxisX() { return m_AxisX; }
    CAxis& GetAxisY() { return m_AxisY; }
    CAxis& GetAxisZ() { return m_AxisZ; }
    const CAxis& GetAxisX() const { return m_AxisX; }
    const CAxis& GetAxisY() const { return m_AxisY; }
    const CAxis& GetAxisZ() const { return m_AxisZ; }
    bool SetMeasurementUnit(std::int32_t unit) {
        m_eMeasurementUnit = unit;
        return true;
    }
    std::int32_t GetMeasurementUnit() const { return m_eMeasurementUnit; }
    bool SetNetScale(double scale) {
        m_dNetScale = scale;
        return true;
    }
    double GetNetScale() const { return m_dNetScale; }
    bool GetFullCircle() const { return m_bFullCircle; }
    void SetFullCircle(bool value) { m_bFullCircle = value; }
    bool GetYAxisDirection() const { return m_bYAxisDirection; }
    void SetYAxisDirection(bool value) { m_bYAxisDirection = value; }
    bool IsNotInDB() const { return m_bNotInDB; }
    void setNotInDB(bool value = true) { m_bNotInDB = value; }

    // Millimetres per unit of position: 1, 1000 or 1000000; 1 otherwise.
    double GetMeasureCoefficient() const;

    void set(const char16_t* name, const CTXPoint3d& origin, const CTXVector3d& x,
             const CTXVector3d& y, const CTXVector3d& z);

    // The lengths of axes X, Y and Z in millimetres.
    double GetLength() const { return m_AxisX.GetLength() * GetMeasureCoefficient(); }
    double GetDepth() const { return m_AxisY.GetLength() * GetMeasureCoefficient(); }
    double GetHeight() const { return m_AxisZ.GetLength() * GetMeasureCoefficient(); }

    // Moves the origin and turns the directions; Z becomes X x Y, normalised.
    void TransformBy(const CTXMatrix3d& m);

    // Same units, both concentric or neither, origins within 0.0001, equal
    // directions.
    bool AreCoordSystemsEqual(const CKVCoordinateGrid& other) const;
    bool operator==(const CKVCoordinateGrid& other) const;
    bool operator!=(const CKVCoordinateGrid& other) const { return !(*this == other); }
    bool operator<(const CKVCoordinateGrid& other) const;

    // Origin, directions, every point list and the not-in-database flag;
    // name, type, unit, scale and steps stay.
    void reset();

    // With a matrix, the origin and directions are written transformed.
    virtual void tvxOut(CElement& data, const CTXMatrix3d* matrix) const;
    virtual void tvxIn(const CElement& data, const CTXMatrix3d* matrix);

private:
    bool SetAxis(CAxis& target, const CAxis& source) {
        target = source;
        target.SetGrid(this);
        return true;
    }
    void NormalizeDirections();

    eTypeCoordinateGrid m_eType = ctgRectangular;
    CString m_strName;
    CTXPoint3d m_ptOrigin;
    CTXVector3d m_vecX = CTXVector3d::kXAxis;
    CTXVector3d m_vecY = CTXVector3d::kYAxis;
    CTXVector3d m_vecZ = CTXVector3d::kZAxis;
    CAxis m_AxisX{this};
    CAxis m_AxisY{this};
    CAxis m_AxisZ{this};
    bool m_bFullCircle = false;
    bool m_bYAxisDirection = false;
    bool m_bNotInDB = false;
    std::int32_t m_eMeasurementUnit = mtMeters;
    double m_dNetScale = 1.0;
};
