// The records of a comparison of two element trees (CElement::Compare),
// which pairs children by position.
#pragma once

#include <cstdint>

#include "tarvex/core/containers.h"
#include "tarvex/element/element.h"

// One parameter that differs: (this tree's, the other's); either may be
// null for a parameter present on one side only. Neither is owned.
class CElementParamDiff : public CTarvexObject {
public:
    CElementParamDiff(CParam* first, CParam* second) : m_pFirst(first), m_pSecond(second) {}
    bool operator==(const CElementParamDiff& other) const {
        return m_pFirst == other.m_pFirst && m_pSecond == other.m_pSecond;
    }

    CParam* m_pFirst;
    CParam* m_pSecond;
};

// The differences of one element against its counterpart.
class CElementParamCompareRes : public CTarvexObject {
public:
    // `other` is given only when the names differ.
    CElementParamCompareRes(CElement* element, CElement* other)
        : m_pElement(element), m_pOther(other) {}

    bool IsNameChanged() const { return m_pOther != nullptr; }
    int64_t GetCount() const { return m_Diffs.GetLength(); }
    const CElementParamDiff* operator[](int64_t index) const { return m_Diffs[index]; }
    void AddParamDiff(CParam* first, CParam* second) {
        m_Diffs.Add(new CElementParamDiff(first, second));
    }
    // Makes the element equal to its counterpart as far as the record goes:
    // the name, values and value comments, parameters removed and added. A
    // removed parameter's pointer is cleared in the record, so running it
    // again changes nothing more.
    void ApplyChanges();

    CElement* m_pElement;
    CElement* m_pOther;
    CIndirectArray<CElementParamDiff> m_Diffs;
};

// An element present in one tree only: (first, null) or (null, second).
class CElementStructCompareRes : public CTarvexObject {
public:
    CElementStructCompareRes(CElement* first, CElement* second)
        : m_pFirst(first), m_pSecond(second) {}

    CElement* m_pFirst;
    CElement* m_pSecond;
};
