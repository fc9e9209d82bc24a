// Ordering prepared formulas so that each follows what it reads.
//
// Kahn's method run from the consumers down: a formula that no other listed
// formula reads is taken first (smallest key first) and numbered; what it
// reads becomes ready once its last reader is numbered; the list is then
// sorted by descending number, so the most basic formulas come first.
//
// Keys are positions in the list as given, not addresses: a list built by a
// walk of the tree then sorts, and breaks its cycles, the same way in every
// run and on every machine.
#include <algorithm>
#include <cstdint>
#include <functional>
#include <queue>
#include <set>
#include <unordered_map>
#include <vector>

#include "tarvex/element/element.h"
#include "tarvex/formula/compiledfunction.h"

void CElement::TopologicalSort(CalcList& list) {
    const int64_t n = list.GetLength();
    if (n <= 1) return;

    // A parameter listed twice is one key, its first position.
    std::unordered_map<const CParam*, int32_t> keyOfParam;
    keyOfParam.reserve(static_cast<size_t>(n));
    std::vector<int32_t> keyOf(static_cast<size_t>(n));
    for (int64_t i = 0; i < n; ++i)
        keyOf[i] =
            keyOfParam.emplace(list[i]->GetParameter(), static_cast<int32_t>(i)).first->second;

    // What each key reads among the keys, as one flat array of ranges. A
    // requirement outside the list is not being calculated and drops out.
    std::vector<int32_t> start(static_cast<size_t>(n) + 1, 0);
    std::vector<int32_t> remaining(static_cast<size_t>(n), 0); // readers not yet numbered
    for (int64_t i = 0; i < n; ++i)
        for (const CParam* required : list[i]->Dependencies()) {
            const auto hit = keyOfParam.find(required);
            if (hit == keyOfParam.end()) continue;
            ++start[keyOf[i] + 1];
            ++remaining[hit->second];
        }
    for (int64_t k = 0; k < n; ++k) start[k + 1] += start[k];
    std::vector<int32_t> reads(static_cast<size_t>(start[n]));
    {
        std::vector<int32_t> fill(start.begin(), start.end() - 1);
        for (int64_t i = 0; i < n; ++i)
            for (const CParam* required : list[i]->Dependencies()) {
                const auto hit = keyOfParam.find(required);
                if (hit != keyOfParam.end()) reads[fill[keyOf[i]]++] = hit->second;
            }
    }

    std::priority_queue<int32_t, std::vector<int32_t>, std::greater<int32_t>> ready;
    // Keys still waiting for readers, by (readers left, key): the first is
    // where a cycle breaks. A key leaves for good once ready, so nothing is
    // ever numbered twice and every key is numbered once.
    std::set<std::pair<int32_t, int32_t>> waiting;
    for (int32_t k = 0; k < n; ++k) {
        if (keyOf[k] != k) continue;
        if (remaining[k] == 0)
            ready.push(k);
        else
            waiting.emplace(remaining[k], k);
    }

    std::vector<int32_t> order(static_cast<size_t>(n), 0);
    int32_t counter = 0;
    for (;;) {
        while (!ready.empty()) {
            const int32_t k = ready.top();
            ready.pop();
            order[k] = counter++;
            for (int32_t at = start[k]; at < start[k + 1]; ++at) {
                const int32_t d = reads[at];
                if (remaining[d] <= 0) continue; // already ready: the cycle was broken there
                waiting.erase({remaining[d], d});
                if (--remaining[d] == 0)
                    ready.push(d);
                else
                    waiting.emplace(remaining[d], d);
            }
        }
        if (waiting.empty()) break;
        const int32_t k = waiting.begin()->second;
        waiting.erase(waiting.begin());
        remaining[k] = 0;
        ready.push(k);
    }

    std::vector<std::pair<int32_t, CParamCalcContext*>> ranked(static_cast<size_t>(n));
    for (int64_t i = 0; i < n; ++i) ranked[i] = {order[keyOf[i]], list[i]};
    std::stable_sort(ranked.begin(), ranked.end(),
                     [](const auto& a, const auto& b) { return a.first > b.first; });
    for (int64_t i = 0; i < n; ++i) list[i] = ranked[i].second;
}
