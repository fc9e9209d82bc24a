// Arbitrary element trees read as coordinate grids, and arbitrary texts read
// as interval sets, domains and small graphs. A malformed grid may only throw
// CKVException; nothing may crash, hang, leak or overflow a cast.
//
// The input is UTF-8 text, one command a line, building the tree:
//   +NAME        opens a child of the current element
//   -            goes back to the parent
//   NAME=VALUE   sets a parameter of the current element
// The same lines are then read as "a-b" intervals for the sets, and the raw
// bytes as the segments of a graph.
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>
#include <vector>

#include "tarvex/tarvex.h"

namespace {

constexpr int kMaxDepth = 16;
constexpr int kMaxElements = 4096;

std::vector<CString> Lines(std::string_view bytes) {
    std::vector<CString> lines;
    while (!bytes.empty()) {
        const std::size_t end = bytes.find('\n');
        lines.push_back(tarvex::FromUtf8(bytes.substr(0, end)));
        if (end == std::string_view::npos) break;
        bytes.remove_prefix(end + 1);
    }
    return lines;
}

void BuildTree(CElement& root, const std::vector<CString>& lines) {
    CElement* current = &root;
    int depth = 0;
    int elements = 0;
    for (const CString& line : lines) {
        if (line.IsEmpty()) continue;
        if (line[0] == u'+') {
            if (depth >= kMaxDepth || elements >= kMaxElements) continue;
            current = current->AddChild(line.Mid(1));
            ++depth;
            ++elements;
        } else if (line[0] == u'-' && line.GetLength() == 1) {
            if (depth > 0) {
                current = current->GetParent();
                --depth;
            }
        } else {
            const int eq = line.Find(u'=');
            if (eq > 0) current->SetParameter(line.Left(eq), line.Mid(eq + 1));
        }
    }
}

void ExerciseAxis(CKVCoordinateGrid::CAxis& axis) {
    static const double kProbes[] = {-1e300, -1, 0, 0.5, 50, 360, 1e9, 1e300};
    for (double p : kProbes) {
        const int64_t i = axis.GetClosestPointIdx(p);
        if (i < -1 || i >= axis.GetCount()) std::abort();
        axis.GetGeoLabel(p, u"A");
    }
    axis.GetLength();
    axis.GetFirstVisible();
    axis.GetLastVisible();
    CKVCoordinateGrid::CAxis copy(axis);
    (void)(copy == axis);
    (void)(copy < axis);
    copy.AddNextPoint(u"ABC", nullptr);
    copy.SetTypeNumbering(static_cast<std::int32_t>(axis.GetCount() % 5));
    copy.SetTypeNumbering(CKVCoordinateGrid::tnLetters, u"XYZ", true);
    CKVCoordinateGrid::CAxis::SortByName(copy.GetPoints());
    CKVCoordinateGrid::CAxis::SortByName(copy.GetPointsConcentric());
}

void FuzzGrid(const std::vector<CString>& lines) {
    CElement root(u"grid");
    BuildTree(root, lines);

    CKVCoordinateGrid grid;
    bool read = true;
    try {
        grid.tvxIn(root, nullptr);
    } catch (const CKVException&) {
        read = false;
    }
    ExerciseAxis(grid.GetAxisX());
    ExerciseAxis(grid.GetAxisY());
    ExerciseAxis(grid.GetAxisZ());
    grid.GetLength();
    grid.GetHeight();
    grid.SetType(grid.GetType());

    CKVCoordinateGrid copy;
    copy = grid;
    (void)(copy == grid);
    (void)(copy < grid);
    copy.AreCoordSystemsEqual(grid);

    // What was read must write and read back, unless the text form of a
    // non-finite coordinate is in the way.
    const CTXPoint3d& o = grid.GetOrigin();
    const bool finite = std::isfinite(o.x + o.y + o.z) &&
                        std::isfinite(grid.GetDirX().lengthSqr() + grid.GetDirY().lengthSqr());
    if (read && finite) {
        CElement stored;
        grid.tvxOut(stored, nullptr);
        CKVCoordinateGrid back;
        try {
            back.tvxIn(stored, nullptr);
        } catch (const CKVException&) {
            std::abort();
        }
    }

    CTXMatrix3d turn;
    turn.setToRotation(0.5, CTXVector3d(1, 2, 3));
    try {
        copy.tvxIn(root, &turn);
    } catch (const CKVException&) {
    }
}

void FuzzSets(const std::vector<CString>& lines) {
    CSet total;
    CRangeSet ranges(-1e6, 1e6);
    TArrayTemplate<CTXDomain> pieces;
    CTXDomain previous;
    int op = 0;
    for (const CString& line : lines) {
        CSet s;
        s.set(line);
        total.bool_operation(s, static_cast<CSet::bool_op>(op++ % 3));
        double a = 0, b = 0;
        if (!s.isEmpty()) {
            const CSet::Interval& first = *s.GetIntervals().begin();
            total.isIn((first.first + first.second) / 2, a, b);
            ranges.SubstractRangeSet(first.first, first.second);
            const CTXDomain d(first.first, first.second, (first.second - first.first) / 8);
            d.intersects(previous);
            CTXDomain common;
            d.intersect(previous, common);
            d.absorbs(previous);
            if (pieces.GetLength() < 1000) d.subtract(previous, pieces);
            previous = d;
        }
    }
    // Bounds stay ordered and apart after every operation.
    double last = -HUGE_VAL;
    for (const CSet::Interval& i : total.GetIntervals()) {
        if (!(i.first < i.second) || i.first < last) std::abort();
        last = i.second;
    }
}

void FuzzGraph(const std::uint8_t* data, std::size_t size) {
    if (size < 2) return;
    const int count = 1 + data[0] % 24;
    CDeixMatrix graph(count);
    for (std::size_t i = 2; i + 2 < size; i += 3) {
        const std::uint32_t length = data[i + 2] == 0xFF ? CDeixMatrix::kNone : data[i + 2] % 8;
        graph.SetSegment(data[i] % count, data[i + 1] % count, length);
    }
    graph.Markup(data[1] % count);
    TArrayTemplate<int> path;
    for (int v = 0; v < count; ++v) {
        graph.GetPathLength(v);
        graph.GetPathLen(v);
        if (graph.GetPath(v, path) && path.Last() != graph.GetStart()) std::abort();
        if (path.GetLength() > count) std::abort();
        graph.GetPathLength(path);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    const std::vector<CString> lines = Lines(bytes);
    FuzzGrid(lines);
    FuzzSets(lines);
    FuzzGraph(data, size);
    return 0;
}
