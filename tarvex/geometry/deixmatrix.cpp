#include "tarvex/geometry/deixmatrix.h"

#include <algorithm>

CDeixMatrix::CDeixMatrix(int count)
    : m_nCount(std::max(count, 0)), m_Matrix(Index(m_nCount) * Index(m_nCount), kNone),
      m_Distances(Index(m_nCount), kNone) {}

void CDeixMatrix::Markup(int start) {
    m_nStart = start;
    std::fill(m_Distances.begin(), m_Distances.end(), kNone);
    for (int i = 0; i < m_nCount; ++i) At(i, i) = kNone;
    m_Distances[Index(start)] = 0;

    std::vector<int> open;
    open.reserve(Index(m_nCount));
    for (int v = 0; v < m_nCount; ++v)
        if (v != start) open.push_back(v);

    int current = start;
    std::uint32_t currentDistance = 0;
    while (!open.empty()) {
        std::size_t best = 0;
        for (std::size_t k = 0; k < open.size(); ++k) {
            const int v = open[k];
            const std::uint32_t segment = At(v, current);
            if (segment != kNone) {
                const std::uint32_t through = segment + currentDistance; // wraps by design
                if (through < m_Distances[Index(v)]) m_Distances[Index(v)] = through;
            }
            if (m_Distances[Index(v)] <= m_Distances[Index(open[best])]) best = k;
        }
        current = open[best];
        currentDistance = m_Distances[Index(current)];
        open.erase(open.begin() + static_cast<std::ptrdiff_t>(best));
    }
}

int CDeixMatrix::Predecessor(int c, bool knownOnly) const {
    const std::uint32_t d = m_Distances[Index(c)];
    int found = -1;
    for (int i = 0; i < m_nCount; ++i) {
        const std::uint32_t segment = At(i, c);
        if (segment == kNone) continue;
        const std::uint32_t di = m_Distances[Index(i)];
        if (knownOnly && di == kNone) continue;
        if (d == di + segment) found = i;
    }
    return found;
}

// A zero-length segment lets two vertices name each other as predecessor, so
// the walk is capped: a real path has at most count - 1 steps.
std::uint32_t CDeixMatrix::GetPathLen(int vertex) const {
    std::uint32_t vertices = 1;
    for (int c = vertex; c != m_nStart; ++vertices) {
        if (vertices >= static_cast<std::uint32_t>(m_nCount)) return kNone;
        c = Predecessor(c, false);
        if (c < 0) return kNone;
    }
    return vertices;
}

int CDeixMatrix::GetPath(int vertex, TArrayTemplate<int>& path) const {
    path.Clear();
    path.Add(vertex);
    for (int c = vertex, steps = 0; c != m_nStart; ++steps) {
        if (steps + 1 >= m_nCount) return 0;
        c = Predecessor(c, true);
        if (c < 0) return 0;
        path.Add(c);
    }
    return 1;
}

std::uint32_t CDeixMatrix::GetPathLength(const TArrayTemplate<int>& path) const {
    std::uint32_t total = 0;
    for (int64_t i = 1; i < path.GetLength(); ++i) total += At(path[i - 1], path[i]);
    return total;
}
