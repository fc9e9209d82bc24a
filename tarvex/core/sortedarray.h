// The sorted arrays: value and pointer arrays kept in ascending order, either
// by the element type's operators or by a comparison function given as a
// template argument.
//
// Only Add keeps the order. The inherited members stay available unchecked,
// so a caller using InsertAt or SetAt answers for the order itself. Add does
// not reject duplicates; owners that want unique keys search first.
#pragma once

#include <concepts>
#include <cstdint>
#include <utility>

#include "tarvex/core/arraytemplate.h"
#include "tarvex/core/indirectarray.h"

namespace TarvexDetail {

// The binary search of every sorted array. compare(element) is 0 when the key
// equals the element, negative when the key sorts before it, positive after.
// Returns the index of an equal element or -1; position receives the index at
// which the key would be inserted. Among duplicates any one may be found.
template <class E, class Compare>
inline int64_t SortedSearch(const E* data, int64_t length, int64_t& position, Compare compare) {
    position = 0;
    int64_t low = 0;
    int64_t high = length - 1;
    while (low <= high) {
        const int64_t middle = (low + high) / 2;
        position = middle;
        const int order = compare(data[middle]);
        if (order == 0) return middle;
        if (order > 0) {
            low = middle + 1;
            position = low;
        } else {
            high = middle - 1;
        }
    }
    return -1;
}

// Order of key against element by T's operators. Equality is asked first, so
// a type whose == is cheaper than its < pays for < only on a miss.
template <class E, class K>
inline int OrderOf(const K& key, const E& element) {
    if (element == key) return 0;
    return key < element ? -1 : 1;
}

// A type that declares KeyType (CIndexRecord does) can be searched by a bare
// key, without building a temporary element.
template <class T, class K>
concept SearchKeyFor = requires {
    typename T::KeyType;
}
&&(!std::same_as<K, T>)&&std::convertible_to<const K&, const typename T::KeyType&>;

} // namespace TarvexDetail

template <class T>
class CSortedArray : public TArrayTemplate<T> {
    using Base = TArrayTemplate<T>;

public:
    CSortedArray() = default;
    explicit CSortedArray(int64_t physicalLength, int64_t delta = 16, int64_t maximumDelta = -8)
        : Base(physicalLength, delta, maximumDelta) {}

    // Items in ascending order are appended without a search.
    void Add(T item) {
        if (this->m_nLength == 0 || this->Last() < item || item == this->Last()) {
            Base::Add(std::move(item));
            return;
        }
        int64_t position;
        SearchFor(item, position);
        Base::InsertAt(position, std::move(item));
    }

    int64_t Search(const T& key, int64_t& position) const { return SearchFor(key, position); }
    int64_t Find(const T& key) const {
        int64_t position;
        return SearchFor(key, position);
    }

    template <class K>
    requires TarvexDetail::SearchKeyFor<T, K> int64_t Search(const K& key, int64_t& position)
    const {
        const typename T::KeyType& k = key; // converted once, not at every step
        return SearchFor(k, position);
    }
    template <class K>
    requires TarvexDetail::SearchKeyFor<T, K> int64_t Find(const K& key)
    const {
        int64_t position;
        return Search(key, position);
    }

private:
    template <class K>
    int64_t SearchFor(const K& key, int64_t& position) const {
        return TarvexDetail::SortedSearch(
            this->m_pData, this->m_nLength, position,
            [&key](const T& e) { return TarvexDetail::OrderOf(key, e); });
    }
};

// Pointers ordered by the pointed-to objects. Pointer overloads of Search
// and Find also compare objects; the identity search stays reachable as
// CIndirectArray<T>::Find.
template <class T>
class CSortedIndirectArray : public CIndirectArray<T> {
    using Base = CIndirectArray<T>;

public:
    CSortedIndirectArray() = default;
    explicit CSortedIndirectArray(int64_t physicalLength, int64_t delta = 16, bool ownership = true,
                                  int64_t maximumDelta = -8)
        : Base(physicalLength, delta, ownership, maximumDelta) {}

    void Add(T* item) {
        const int64_t length = this->m_nLength;
        if (length == 0 || *this->m_pData[length - 1] < *item ||
            *item == *this->m_pData[length - 1]) {
            Base::Add(item);
            return;
        }
        int64_t position;
        SearchFor(*item, position);
        Base::InsertAt(position, item);
    }

    int64_t Search(const T& key, int64_t& position) const { return SearchFor(key, position); }
    int64_t Search(const T* key, int64_t& position) const { return SearchFor(*key, position); }
    int64_t Find(const T& key) const {
        int64_t position;
        return SearchFor(key, position);
    }
    int64_t Find(const T* key) const { return Find(*key); }

    template <class K>
    requires TarvexDetail::SearchKeyFor<T, K> int64_t Search(const K& key, int64_t& position)
    const {
        const typename T::KeyType& k = key;
        return SearchFor(k, position);
    }
    template <class K>
    requires TarvexDetail::SearchKeyFor<T, K> int64_t Find(const K& key)
    const {
        int64_t position;
        return Search(key, position);
    }

private:
    template <class K>
    int64_t SearchFor(const K& key, int64_t& position) const {
        return TarvexDetail::SortedSearch(
            this->m_pData, this->m_nLength, position,
            [&key](const T* e) { return TarvexDetail::OrderOf(key, *e); });
    }
};

// Values ordered by cmp: 0 for equal, negative when the first argument sorts
// first. cmp must be antisymmetric; one call decides both equality and order.
template <class T, int (*cmp)(const T&, const T&)>
class CCustomSortedArrayT : public TArrayTemplate<T> {
    using Base = TArrayTemplate<T>;

public:
    CCustomSortedArrayT() = default;
    explicit CCustomSortedArrayT(int64_t physicalLength, int64_t delta = 16,
                                 int64_t maximumDelta = -8)
        : Base(physicalLength, delta, maximumDelta) {}

    void Add(T item) {
        if (this->m_nLength == 0 || cmp(item, this->Last()) >= 0) {
            Base::Add(std::move(item));
            return;
        }
        int64_t position;
        Search(item, position);
        Base::InsertAt(position, std::move(item));
    }

    int64_t Search(const T& key, int64_t& position) const {
        return TarvexDetail::SortedSearch(this->m_pData, this->m_nLength, position,
                                          [&key](const T& e) { return cmp(key, e); });
    }
    int64_t Find(const T& key) const {
        int64_t position;
        return Search(key, position);
    }
};

// Pointers ordered by cmp applied to them; cmp compares the pointed-to
// objects, in the manner of a sort callback.
template <class T, int (*cmp)(const T*, const T*)>
class CCustomSortedIndirectArrayT : public CIndirectArray<T> {
    using Base = CIndirectArray<T>;

public:
    CCustomSortedIndirectArrayT() = default;
    explicit CCustomSortedIndirectArrayT(int64_t physicalLength, int64_t delta = 16,
                                         bool ownership = true, int64_t maximumDelta = -8)
        : Base(physicalLength, delta, ownership, maximumDelta) {}

    void Add(T* item) {
        const int64_t length = this->m_nLength;
        if (length == 0 || cmp(item, this->m_pData[length - 1]) >= 0) {
            Base::Add(item);
            return;
        }
        int64_t position;
        Search(item, position);
        Base::InsertAt(position, item);
    }

    int64_t Search(const T* key, int64_t& position) const {
        return TarvexDetail::SortedSearch(this->m_pData, this->m_nLength, position,
                                          [key](const T* e) { return cmp(key, e); });
    }
    int64_t Search(const T& key, int64_t& position) const { return Search(&key, position); }
    int64_t Find(const T* key) const {
        int64_t position;
        return Search(key, position);
    }
    int64_t Find(const T& key) const { return Find(&key); }
};
