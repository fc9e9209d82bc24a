// CElementTagsArray: integer tags gathered by a document reader before they
// are handed to an element in one piece.
#pragma once

#include <cstdint>

#include "tarvex/core/containers.h"

class CElementTagsArray : public CTarvexObject {
public:
    CElementTagsArray() : m_arrTags(1, 8, -8) {}
    ~CElementTagsArray() override = default;

    void Add(int value) { m_arrTags.Add(value); }
    void Flush() { m_arrTags.Flush(); }
    int64_t GetCount() const { return m_arrTags.GetCount(); }
    int& operator[](int64_t index) { return m_arrTags[index]; }
    const int& operator[](int64_t index) const { return m_arrTags[index]; }
    const int* GetData() const { return m_arrTags.GetData(); }

protected:
    TArrayTemplate<int> m_arrTags;
};
