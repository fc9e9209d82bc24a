// Walks of an element tree written as loops over an explicit stack, so that
// trees of any depth (documents bring chains of a million levels) are walked
// without touching the thread's stack.
#pragma once

#include <cstdint>
#include <vector>

#include "tarvex/element/element.h"

namespace tarvex::detail {

// A stack that keeps its first frames inline: most trees are shallow, and
// lookups should not allocate.
template <class Frame, int kInline = 32>
class WalkStack {
public:
    bool Empty() const { return m_nSize == 0; }
    Frame& Top() { return m_nSize <= kInline ? m_inline[m_nSize - 1] : m_spill.back(); }
    void Push(const Frame& frame) {
        if (m_nSize < kInline)
            m_inline[m_nSize] = frame;
        else
            m_spill.push_back(frame);
        ++m_nSize;
    }
    void Pop() {
        if (m_nSize > kInline) m_spill.pop_back();
        --m_nSize;
    }

private:
    Frame m_inline[kInline];
    std::vector<Frame> m_spill;
    int64_t m_nSize = 0;
};

} // namespace tarvex::detail

template <class Visit>
bool CElement::ForEachPreOrder(Visit&& visit) const {
    struct Frame {
        const CElement* element;
        int64_t next;
    };
    if (!visit(const_cast<CElement*>(this))) return false;
    if (!GetChildCount()) return true;
    tarvex::detail::WalkStack<Frame> stack;
    stack.Push({this, 0});
    while (!stack.Empty()) {
        Frame& top = stack.Top();
        if (top.next >= top.element->GetChildCount()) {
            stack.Pop();
            continue;
        }
        CElement* child = top.element->m_arrChildren[top.next++];
        if (!visit(child)) return false;
        if (child->GetChildCount()) stack.Push({child, 0});
    }
    return true;
}

// Walks this subtree and `other`'s together: `enter(mine, theirs)` is called
// for the two roots and then for each pair that `match(mine, theirsChild)`
// pairs up (null skips the child); false from `enter` stops the walk, which
// then answers false.
template <class Match, class Enter>
bool CElement::ForEachPaired(const CElement& other, Match&& match, Enter&& enter) {
    struct Frame {
        CElement* mine;
        const CElement* theirs;
        int64_t next;
    };
    if (!enter(this, &other)) return false;
    tarvex::detail::WalkStack<Frame> stack;
    stack.Push({this, &other, 0});
    while (!stack.Empty()) {
        Frame& top = stack.Top();
        if (top.next >= top.theirs->GetChildCount()) {
            stack.Pop();
            continue;
        }
        const int64_t index = top.next++;
        const CElement* theirs = top.theirs->m_arrChildren[index];
        CElement* mine = match(top.mine, theirs, index);
        if (!mine) continue;
        if (!enter(mine, theirs)) return false;
        stack.Push({mine, theirs, 0});
    }
    return true;
}
