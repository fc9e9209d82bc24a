#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "tarvex/geometry/grids/coordinategrid.h"
#include "tarvex/platform/wide.h"

using CAxis = CKVCoordinateGrid::CAxis;
using CAxisPoint = CKVCoordinateGrid::CAxisPoint;

CAxisPoint& CAxisPoint::operator=(const CAxisPoint& other) {
    m_bVisible = other.m_bVisible;
    m_dPosition = other.m_dPosition;
    m_strName = other.m_strName;
    return *this;
}

namespace {

void CopyPoints(CKVCoordinateGrid::CPointArray& target,
                const CKVCoordinateGrid::CPointArray& source) {
    target.Flush();
    target.PrepareToAdd(source.GetLength());
    for (const CAxisPoint* point : source) target.CIndirectArray::Add(new CAxisPoint(*point));
}

} // namespace

CAxis::CAxis(CKVCoordinateGrid* grid) : m_pGrid(grid) {}

CAxis::CAxis(const CAxis& other) : CTarvexObject(other) {
    *this = other;
}

CAxis& CAxis::operator=(const CAxis& other) {
    if (this == &other) return *this;
    m_dOffsetTop = other.m_dOffsetTop;
    m_dOffsetBottom = other.m_dOffsetBottom;
    m_dDefaultStep = other.m_dDefaultStep;
    m_dDefaultStepCir = other.m_dDefaultStepCir;
    m_nHideLabel = other.m_nHideLabel;
    m_pGrid = other.m_pGrid;
    m_nAxisType = other.m_nAxisType;
    m_eTypeNumbering = other.m_eTypeNumbering;
    CopyPoints(m_Points, other.m_Points);
    CopyPoints(m_PointsConcentric, other.m_PointsConcentric);
    return *this;
}

// --- Lists

double CAxis::GetLength() const {
    const CPointArray& points = Current();
    if (points.IsEmpty()) return 0.0;
    if (m_nAxisType == 1) return points.Last()->GetPosition();
    return points.Last()->GetPosition() - points[0]->GetPosition();
}

CAxisPoint* CAxis::GetFirst() const {
    return GetCount() ? Current()[0] : nullptr;
}

CAxisPoint* CAxis::GetLast() const {
    return GetCount() ? Current().Last() : nullptr;
}

int64_t CAxis::GetFirstVisibleIdx() const {
    const CPointArray& points = Current();
    for (int64_t i = 0; i < points.GetLength(); ++i)
        if (points[i]->IsVisible()) return i;
    return -1;
}

int64_t CAxis::GetLastVisibleIdx() const {
    const CPointArray& points = Current();
    for (int64_t i = points.GetLength() - 1; i >= 0; --i)
        if (points[i]->IsVisible()) return i;
    return -1;
}

CAxisPoint* CAxis::GetFirstVisible() const {
    const int64_t i = GetFirstVisibleIdx();
    return i < 0 ? nullptr : Current()[i];
}

CAxisPoint* CAxis::GetLastVisible() const {
    const int64_t i = GetLastVisibleIdx();
    return i < 0 ? nullptr : Current()[i];
}

int64_t CAxis::GetPointPosition(const CAxisPoint* point) const {
    const CPointArray& points = Current();
    for (int64_t i = 0; i < points.GetLength(); ++i)
        if (points[i] == point) return i;
    return -1;
}

void CAxis::flush() {
    m_Points.Flush();
    m_PointsConcentric.Flush();
}

// --- Adding points

bool CAxis::IsAllowedPosition(double position) const {
    if (std::isnan(position)) return false; // has no place in a sorted list
    switch (m_nAxisType) {
    case 1:
        return position >= 0.0;
    case 2:
        return position >= 0.0 && position <= 360.0;
    default:
        return true;
    }
}

int64_t CAxis::SearchPosition(double position, int64_t& place) const {
    const CPointArray& points = Current();
    return TarvexDetail::SortedSearch(points.GetData(), points.GetLength(), place,
                                      [position](const CAxisPoint* p) {
                                          const double at = p->GetPosition();
                                          return position == at ? 0 : position < at ? -1 : 1;
                                      });
}

bool CAxis::AddPoint(CAxisPoint* point) {
    int64_t index;
    return AddPoint(point, index);
}

bool CAxis::AddPoint(CAxisPoint* point, int64_t& index) {
    index = -1;
    if (!IsAllowedPosition(point->GetPosition())) {
        delete point;
        return false;
    }
    int64_t place;
    if (SearchPosition(point->GetPosition(), place) >= 0) {
        delete point;
        return false;
    }
    Current().CIndirectArray::InsertAt(place, point);
    index = place;
    return true;
}

CString CAxis::LabelFor(int64_t n, double position, const char16_t* letters) const {
    CString name;
    switch (m_eTypeNumbering) {
    case tnNumbers:
        name.Format(u"%lld", static_cast<long long>(n));
        break;
    case tnLetters:
        name = GetLetterLabel(n, letters);
        break;
    case tnGeoLatin:
        name = GetGeoLabel(position, u"A");
        break;
    case tnGeoCyrillic:
        name = GetGeoLabel(position, u"Б");
        break;
    }
    return name;
}

CAxisPoint* CAxis::AddNextPoint(const char16_t* letters, const double* start) {
    const double step = CurrentStep();
    const CPointArray& points = Current();
    double position;
    if (start)
        position = *start + step;
    else if (points.IsEmpty())
        position = 0.0;
    else
        position = step + (step > 0.0 ? points.Last() : points[0])->GetPosition();

    if (m_nAxisType != 0 && m_nAxisType != 1 && m_nAxisType != 2) return nullptr;
    if (!IsAllowedPosition(position)) return nullptr;

    auto* point = new CAxisPoint(LabelFor(GetCount() + 1, position, letters), position);
    return AddPoint(point) ? point : nullptr;
}

// The exact hit on a visible point wins. Otherwise, inside the list, the
// nearer of the visible neighbours either side of the insertion place, the
// lower one on a tie; at either end, the first or last visible point.
int64_t CAxis::GetClosestPointIdx(double position) const {
    const CPointArray& points = Current();
    const int64_t count = points.GetLength();
    if (count == 0) return -1;
    if (count == 1) return 0;

    int64_t place;
    const int64_t hit = SearchPosition(position, place);
    if (hit >= 0 && points[hit]->IsVisible()) return hit;
    const int64_t i = hit >= 0 ? hit : place;

    if (i > 0 && i < count - 1) {
        int64_t below = i - 1;
        while (below >= 0 && !points[below]->IsVisible()) --below;
        int64_t above = i;
        while (above < count && !points[above]->IsVisible()) ++above;
        if (below < 0 && above >= count) return i; // nothing visible at all
        if (below < 0) return above;
        if (above >= count) return below;
        const double toBelow = std::fabs(position - points[below]->GetPosition());
        const double toAbove = std::fabs(points[above]->GetPosition() - position);
        return toAbove < toBelow ? above : below;
    }
    if (i == 0) {
        const int64_t first = GetFirstVisibleIdx();
        return first < 0 ? count - 1 : first;
    }
    const int64_t last = GetLastVisibleIdx();
    return last < 0 ? 0 : last;
}

// --- Labels

void CAxis::SetTypeNumbering(std::int32_t numbering) {
    if (numbering == tnLetters) {
        m_eTypeNumbering = tnLetters;
    } else if (numbering == tnGeoLatin || numbering == tnGeoCyrillic) {
        SetTypeNumbering(static_cast<eTypeNumbering>(numbering), nullptr, true);
    } else {
        SetTypeNumbering(tnNumbers, nullptr, true);
    }
}

void CAxis::SetTypeNumbering(eTypeNumbering numbering, const char16_t* letters, bool relabel) {
    m_eTypeNumbering = numbering;
    if (!relabel || numbering < tnNumbers || numbering > tnGeoCyrillic) return;
    if (numbering == tnLetters && !letters) return;
    CPointArray& points = Current();
    for (int64_t i = 0; i < points.GetLength(); ++i)
        points[i]->SetName(LabelFor(i + 1, points[i]->GetPosition(), letters));
}

CString CAxis::GetLetterLabel(int64_t n, const char16_t* letters) {
    const int64_t k = letters ? static_cast<int64_t>(wcslen(letters)) : 0;
    if (k == 0) return CString(u"?");
    std::u16string label;
    while (n > 0) {
        --n;
        label.insert(label.begin(), letters[n % k]);
        n /= k;
    }
    return CString(label.c_str());
}

CString CAxis::GetGeoLabel(double position, const char16_t* suffix, double coefficient) {
    constexpr double kStation = 100000.0; // millimetres
    // Whole stations must fit 32 bits: NaN counts as 0 and the rest is
    // clamped, which keeps every cast below defined.
    constexpr double kLimit = 2147483647.0 * kStation;
    double v = position * coefficient;
    if (std::isnan(v)) v = 0.0;
    v = std::clamp(v, -kLimit, kLimit);

    const auto whole = static_cast<std::int32_t>(v / kStation);
    const double rest = v - whole * kStation;
    const auto millimetres = static_cast<std::int32_t>(rest >= 0.0 ? rest + 0.5 : rest - 0.5);
    const std::int32_t metres = millimetres / 1000;

    if (!suffix) suffix = u"";
    CString label;
    if (metres == 0)
        label.Format(u"%d%s", whole, suffix);
    else if (metres > 0)
        label.Format(u"%d%s+%02d", whole, suffix, metres);
    else
        label.Format(u"%d%s%02d", whole, suffix, metres); // the minus stands for the plus
    return label;
}

double CAxis::GetMeasureCoefficient() const {
    return m_pGrid ? m_pGrid->GetMeasureCoefficient() : 1.0;
}

// Straight insertion by (length, text). Each point's gap to its predecessor
// travels with its name; after a move the positions from the new place on
// are summed again. The first gap is taken as 0, and a name moved to the
// front gets position 0. Visibility and colour stay where they are.
void CAxis::SortByName(CPointArray& points) {
    const int64_t count = points.GetLength();
    if (count < 2) return;
    struct Entry {
        CString name;
        double gap;
    };
    std::vector<Entry> entries;
    std::vector<double> positions;
    entries.reserve(static_cast<std::size_t>(count));
    positions.reserve(static_cast<std::size_t>(count));
    for (int64_t i = 0; i < count; ++i) {
        const double at = points[i]->GetPosition();
        entries.push_back({points[i]->GetName(), i ? at - points[i - 1]->GetPosition() : 0.0});
        positions.push_back(at);
    }
    auto before = [](const CString& a, const CString& b) {
        if (a.GetLength() != b.GetLength()) return a.GetLength() < b.GetLength();
        return a.Compare(b) < 0;
    };
    for (std::size_t i = 1; i < entries.size(); ++i) {
        if (!before(entries[i].name, entries[i - 1].name)) continue;
        Entry moving = std::move(entries[i]);
        std::size_t j = i;
        for (; j > 0 && before(moving.name, entries[j - 1].name); --j)
            entries[j] = std::move(entries[j - 1]);
        entries[j] = std::move(moving);
        if (j == 0) positions[0] = 0.0;
        for (std::size_t k = std::max<std::size_t>(j, 1); k < entries.size(); ++k)
            positions[k] = positions[k - 1] + entries[k].gap;
    }
    for (int64_t i = 0; i < count; ++i) {
        points[i]->SetName(entries[static_cast<std::size_t>(i)].name);
        points[i]->SetPosition(positions[static_cast<std::size_t>(i)]);
    }
}

// --- Comparison

bool CAxis::operator==(const CAxis& other) const {
    if (m_nAxisType != other.m_nAxisType || GetCount() != other.GetCount() ||
        m_eTypeNumbering != other.m_eTypeNumbering || m_dOffsetBottom != other.m_dOffsetBottom ||
        m_dOffsetTop != other.m_dOffsetTop || CurrentStep() != other.CurrentStep())
        return false;
    const CPointArray& mine = Current();
    const CPointArray& theirs = other.Current();
    for (int64_t i = 0; i < mine.GetLength(); ++i) {
        const CAxisPoint& a = *mine[i];
        const CAxisPoint& b = *theirs[i];
        if (a.GetPosition() != b.GetPosition() || a.GetColor() != b.GetColor() ||
            a.GetName().Compare(b.GetName()) != 0 || a.IsVisible() != b.IsVisible())
            return false;
    }
    return true;
}

bool CAxis::operator<(const CAxis& other) const {
    if (m_nAxisType != other.m_nAxisType) return m_nAxisType < other.m_nAxisType;
    if (GetCount() != other.GetCount()) return GetCount() < other.GetCount();
    if (m_eTypeNumbering != other.m_eTypeNumbering)
        return m_eTypeNumbering < other.m_eTypeNumbering;
    if (m_dOffsetBottom != other.m_dOffsetBottom) return m_dOffsetBottom < other.m_dOffsetBottom;
    if (m_dOffsetTop != other.m_dOffsetTop) return m_dOffsetTop < other.m_dOffsetTop;
    if (CurrentStep() != other.CurrentStep()) return CurrentStep() < other.CurrentStep();
    const CPointArray& mine = Current();
    const CPointArray& theirs = other.Current();
    for (int64_t i = 0; i < mine.GetLength(); ++i) {
        const CAxisPoint& a = *mine[i];
        const CAxisPoint& b = *theirs[i];
        // Differing colours end the comparison: by flag, then by value.
        if (a.GetColor() != b.GetColor()) return a.GetColor() < b.GetColor();
        if (a.GetPosition() != b.GetPosition()) return a.GetPosition() < b.GetPosition();
        const int byName = a.GetName().Compare(b.GetName());
        if (byName != 0) return byName < 0;
        if (a.IsVisible() != b.IsVisible()) return a.IsVisible() < b.IsVisible();
    }
    return false;
}
