// TStackTemplate: a stack kept as a singly linked list, one node per level.
//
// Readers of nested documents push one entry per level they enter, so the
// stack never moves its entries and its destruction is a loop, however deep
// a hostile document went.
#pragma once
#include <cstdint>
#include <utility>

template <class T>
class TStackTemplate {
public:
    TStackTemplate() = default;
    TStackTemplate(const TStackTemplate&) = delete;
    TStackTemplate& operator=(const TStackTemplate&) = delete;
    ~TStackTemplate() { Clear(); }

    void Push(T value) {
        m_pTop = new Node{std::move(value), m_pTop};
        ++m_nCount;
    }
    // The caller checks IsEmpty first.
    T Pop() {
        Node* node = m_pTop;
        m_pTop = node->next;
        --m_nCount;
        T value = std::move(node->value);
        delete node;
        return value;
    }
    T& Top() { return m_pTop->value; }
    const T& Top() const { return m_pTop->value; }
    bool IsEmpty() const { return m_pTop == nullptr; }
    std::int64_t GetCount() const { return m_nCount; }
    void Clear() {
        while (m_pTop != nullptr) {
            Node* next = m_pTop->next;
            delete m_pTop;
            m_pTop = next;
        }
        m_nCount = 0;
    }

private:
    struct Node {
        T value;
        Node* next;
    };
    Node* m_pTop = nullptr;
    std::int64_t m_nCount = 0;
};
