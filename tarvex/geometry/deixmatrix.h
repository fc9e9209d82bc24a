// CDeixMatrix: shortest paths in a small undirected graph with whole-number
// segment lengths, by Dijkstra's method over a dense matrix.
//
// Meant for the few hundred vertices of a network section: the matrix takes
// count * count * 4 bytes and Markup is quadratic. Vertex indexes are trusted.
// The arithmetic is unsigned 32-bit and wraps: once only unreachable vertices
// are left, Markup still picks them, and their neighbours may get finite
// distances. Callers learn whether a vertex is connected from GetPath.
#pragma once

#include <cstdint>
#include <vector>

#include "tarvex/core/arraytemplate.h"
#include "tarvex/core/object.h"

class CDeixMatrix : public CTarvexObject {
public:
    // No segment, or no known distance.
    static constexpr std::uint32_t kNone = 0xFFFFFFFF;

    // A negative count is taken as 0.
    explicit CDeixMatrix(int count);

    int GetCount() const { return m_nCount; }
    int GetStart() const { return m_nStart; }

    void SetSegment(int a, int b, std::uint32_t length) {
        At(a, b) = length;
        At(b, a) = length;
    }
    void RemoveSegment(int a, int b) { SetSegment(a, b, kNone); }
    std::uint32_t GetSegmentLen(int a, int b) const { return At(a, b); }

    // Distances from `start` to every vertex. Clears the diagonal.
    void Markup(int start);

    // The distance found by Markup; -1 for kNone.
    int GetPathLength(int vertex) const { return static_cast<int>(m_Distances[Index(vertex)]); }
    // Vertices on the way back to the start, the start itself counting 1;
    // kNone when the walk back fails.
    std::uint32_t GetPathLen(int vertex) const;
    // `path` becomes `vertex` followed by the vertices back to the start.
    // 1 on reaching the start; 0 when the walk fails, with what was walked.
    int GetPath(int vertex, TArrayTemplate<int>& path) const;
    // The sum of the segments between consecutive vertices of `path`.
    std::uint32_t GetPathLength(const TArrayTemplate<int>& path) const;

private:
    static std::size_t Index(int i) { return static_cast<std::size_t>(i); }
    std::uint32_t& At(int a, int b) { return m_Matrix[Index(a) * Index(m_nCount) + Index(b)]; }
    std::uint32_t At(int a, int b) const { return m_Matrix[Index(a) * Index(m_nCount) + Index(b)]; }
    // The vertex before `c` on a shortest path, or -1. `knownOnly` refuses
    // predecessors of unknown distance.
    int Predecessor(int c, bool knownOnly) const;

    int m_nStart = 0;
    int m_nCount;
    std::vector<std::uint32_t> m_Matrix;
    std::vector<std::uint32_t> m_Distances;
};
