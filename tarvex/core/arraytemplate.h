// TArrayTemplate: the library's growable value array.
//
// Growth is governed by three numbers: the physical length (capacity), the
// delta (the step of the next growth) and the maximum delta, which bounds how
// the delta changes once an array passes 64 elements (see UpdateDelta). Small
// arrays therefore grow by a constant step, large ones by a doubling step.
//
// For class-type elements the buffer comes from array new, so they are
// default-constructed for the whole block and moved between buffers by
// assignment; plain elements (pointers, numbers, plain records) live in a C
// heap block resized by realloc. The delta policy bounds the growth step of
// a large array, which would make filling a million-element array quadratic;
// so above a few thousand elements the block behind the physical length is
// rounded up to a power of two (BlockFor) and most growth steps only move
// the physical length within it. What the policy shows (GetPhysicalLength)
// is unchanged. Indexes are not checked: the caller is trusted.
#pragma once

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>
#include <type_traits>
#include <utility>

template <class T>
class TArrayTemplate {
public:
    // Capacity 0 allocates nothing, so arrays nested in other arrays' buffers
    // (which array new default-constructs) cost nothing until used. Delta 16
    // with maximum delta -8 is the setting most of the library's owners use.
    TArrayTemplate() : TArrayTemplate(0, 16, -8) {}
    explicit TArrayTemplate(int64_t physicalLength, int64_t delta = 16, int64_t maximumDelta = -8)
        : m_nPhysicalLength(physicalLength > 0 ? physicalLength : 0),
          m_nDelta(delta < 1 ? 1 : delta), m_nMaximumDelta(maximumDelta),
          m_pData(m_nPhysicalLength > 0 ? Allocate(m_nPhysicalLength) : nullptr), m_nLength(0) {}

    TArrayTemplate(const TArrayTemplate& other)
        : m_nPhysicalLength(other.m_nPhysicalLength), m_nDelta(other.m_nDelta),
          m_nMaximumDelta(other.m_nMaximumDelta),
          m_pData(other.m_nPhysicalLength > 0 ? Allocate(other.m_nPhysicalLength) : nullptr),
          m_nLength(0) {
        if (!m_pData) return; // no capacity, so nothing to copy
        CopyElements(m_pData, other.m_pData, other.m_nLength);
        m_nLength = other.m_nLength;
    }

    // Takes the buffer; the source is left empty with no buffer, like an array
    // constructed with capacity 0.
    TArrayTemplate(TArrayTemplate&& other) noexcept
        : m_nPhysicalLength(other.m_nPhysicalLength), m_nDelta(other.m_nDelta),
          m_nMaximumDelta(other.m_nMaximumDelta), m_pData(other.m_pData),
          m_nLength(other.m_nLength) {
        other.Release();
    }

    // Keeps its own buffer when it is big enough for the source's capacity,
    // so the capacity may end up above the source's.
    TArrayTemplate& operator=(const TArrayTemplate& other) {
        if (this == &other) return *this;
        m_nLength = 0;
        if (m_nPhysicalLength < other.m_nPhysicalLength) {
            T* data = Allocate(other.m_nPhysicalLength);
            Free(m_pData);
            m_pData = data;
            m_nPhysicalLength = other.m_nPhysicalLength;
        }
        m_nDelta = other.m_nDelta;
        m_nMaximumDelta = other.m_nMaximumDelta;
        CopyElements(m_pData, other.m_pData, other.m_nLength);
        m_nLength = other.m_nLength;
        return *this;
    }

    TArrayTemplate& operator=(TArrayTemplate&& other) noexcept {
        if (this == &other) return *this;
        Free(m_pData);
        m_nPhysicalLength = other.m_nPhysicalLength;
        m_nDelta = other.m_nDelta;
        m_nMaximumDelta = other.m_nMaximumDelta;
        m_pData = other.m_pData;
        m_nLength = other.m_nLength;
        other.Release();
        return *this;
    }

    virtual ~TArrayTemplate() { Free(m_pData); }

    // Items are taken by value: the parameter is a private copy, so adding an
    // element of this very array stays correct when the buffer moves.
    void Add(T item) {
        if (m_nPhysicalLength <= m_nLength) {
            Resize(m_nPhysicalLength + m_nDelta);
            UpdateDelta(m_nLength);
        }
        m_pData[m_nLength++] = std::move(item);
    }

    void AddRange(const TArrayTemplate& source) { AddRange(source, 0, source.m_nLength); }

    // count 0 means everything from start to the end of source.
    void AddRange(const TArrayTemplate& source, int64_t start, int64_t count) {
        if (count == 0) count = source.m_nLength - start;
        if (count <= 0) return;
        ReserveForRange(count);
        // Read source's buffer only now: source may be this array.
        CopyElements(m_pData + m_nLength, source.m_pData + start, count);
        m_nLength += count;
    }

    void InsertAt(int64_t index, T item) {
        if (index >= m_nLength) {
            SetAt(index, std::move(item));
        } else if (m_nLength < m_nPhysicalLength) {
            ShiftUp(index);
            m_pData[index] = std::move(item);
            ++m_nLength;
        } else if (ResizeAndInsert(index, std::move(item))) {
            UpdateDelta(m_nLength - 1);
        }
    }

    // Grows by one delta, placing item at index (0 <= index <= length) while
    // the halves are copied over, so each element moves once. Returns 0, and
    // stores nothing, only for a zero delta, which the constructor rules out.
    int ResizeAndInsert(int64_t index, T item) {
        if (m_nDelta == 0) return 0;
        const int64_t capacity = m_nPhysicalLength + m_nDelta;
        if (m_pData && BlockFor(capacity) == BlockFor(m_nPhysicalLength)) {
            if (index < m_nLength) ShiftUp(index);
            m_pData[index] = std::move(item);
            m_nPhysicalLength = capacity;
            ++m_nLength;
            return 1;
        }
        T* data = Allocate(capacity);
        data[index] = std::move(item);
        MoveElements(data, m_pData, index);
        MoveElements(data + index + 1, m_pData + index, m_nLength - index);
        Free(m_pData);
        m_pData = data;
        m_nPhysicalLength = capacity;
        ++m_nLength;
        return 1;
    }

    // Slots between the old length and index are left as they are.
    void SetAt(int64_t index, T item) {
        if (index >= m_nPhysicalLength) {
            Resize(index + m_nDelta);
            UpdateDelta(m_nLength);
        }
        m_pData[index] = std::move(item);
        if (index + 1 > m_nLength) m_nLength = index + 1;
    }

    // Sets the length; new slots are not touched. Lets a reader size an array
    // once and store elements in place.
    void Grow(int64_t length) {
        if (length > m_nPhysicalLength) Resize(length);
        m_nLength = length;
    }

    // Only ever raises the capacity. Never runs the delta update.
    int Resize(int64_t physicalLength) {
        if (physicalLength <= m_nPhysicalLength) return 1;
        Reallocate(physicalLength);
        return 1;
    }

    void SetPhisicalLength(int64_t physicalLength) {
        if (physicalLength < 1) physicalLength = 1;
        if (physicalLength > m_nPhysicalLength) {
            Resize(physicalLength);
        } else if (physicalLength < m_nPhysicalLength) {
            if (m_nLength > physicalLength) m_nLength = physicalLength;
            Reallocate(physicalLength);
        }
    }

    // A bulk add that fits within one ordinary growth step is left to it.
    void PrepareToAdd(int64_t count) {
        if (m_nLength + count > m_nPhysicalLength + m_nDelta) SetPhisicalLength(m_nLength + count);
    }

    // Trimming an array that is 90% full or more is not worth the copy.
    void TrimExcess() {
        if (m_nLength * 10 < m_nPhysicalLength * 9) SetPhisicalLength(m_nLength);
    }

    // Keeps the buffer; class-type elements stay constructed in it.
    void Clear() { m_nLength = 0; }

    // Leaves a buffer of one delta, not of the original capacity.
    void Flush() {
        Clear();
        T* data = Allocate(m_nDelta);
        Free(m_pData);
        m_pData = data;
        m_nPhysicalLength = m_nDelta;
    }

    void Delete(int64_t index) {
        ShiftDown(index);
        --m_nLength;
    }
    void DeleteFirst() { Delete(0); }
    void DeleteLast() { --m_nLength; }

    int64_t Find(const T& item, int64_t start = 0) const {
        for (int64_t i = start < 0 ? 0 : start; i < m_nLength; ++i)
            if (m_pData[i] == item) return i;
        return -1;
    }

    void Reverse() {
        for (int64_t i = 0, j = m_nLength - 1; i < j; ++i, --j) std::swap(m_pData[i], m_pData[j]);
    }

    bool operator==(const TArrayTemplate& other) const {
        if (m_nLength != other.m_nLength) return false;
        for (int64_t i = 0; i < m_nLength; ++i)
            if (!(m_pData[i] == other.m_pData[i])) return false;
        return true;
    }

    T& operator[](int64_t index) { return m_pData[index]; }
    const T& operator[](int64_t index) const { return m_pData[index]; }
    T& Last() { return m_pData[m_nLength - 1]; }
    const T& Last() const { return m_pData[m_nLength - 1]; }
    T* begin() { return m_pData; }
    const T* begin() const { return m_pData; }
    T* end() { return m_pData + m_nLength; }
    const T* end() const { return m_pData + m_nLength; }

    T* GetData() { return m_pData; }
    const T* GetData() const { return m_pData; }
    int64_t GetDataSize() const { return m_nLength * static_cast<int64_t>(sizeof(T)); }
    int64_t GetLength() const { return m_nLength; }
    int64_t GetCount() const { return m_nLength; }
    bool IsEmpty() const { return m_nLength == 0; }
    int64_t GetPhysicalLength() const { return m_nPhysicalLength; }
    int64_t GetDelta() const { return m_nDelta; }
    int64_t GetMaximumDelta() const { return m_nMaximumDelta; }

protected:
    static constexpr bool kPlain = std::is_trivially_copyable_v<T> &&
                                   std::is_trivially_destructible_v<T> &&
                                   std::is_trivially_default_constructible_v<T>;

    // Elements in the block behind a physical length: exact for the many
    // small arrays, a power of two for large ones.
    static int64_t BlockFor(int64_t physicalLength) {
        constexpr int64_t kExactUpTo = 4096;
        if (physicalLength <= kExactUpTo) return physicalLength;
        return static_cast<int64_t>(std::bit_ceil(static_cast<uint64_t>(physicalLength)));
    }

    // A block for the physical length `count`.
    static T* Allocate(int64_t count) {
        const auto elements = static_cast<std::size_t>(BlockFor(count));
        if constexpr (kPlain) {
            void* data = std::malloc(elements * sizeof(T));
            if (!data) throw std::bad_alloc();
            return static_cast<T*>(data);
        } else {
            return new T[elements];
        }
    }
    static void Free(T* data) {
        if constexpr (kPlain)
            std::free(data);
        else
            delete[] data;
    }

    // Runs after a growth caused by adding; lengthBefore excludes the element
    // being added. A negative bound other than -1 is fixed, once, as a
    // multiple of the delta of that moment.
    void UpdateDelta(int64_t lengthBefore) {
        if (m_nMaximumDelta == 0 || lengthBefore <= 64) return;
        if (m_nMaximumDelta < 0) {
            if (m_nMaximumDelta == -1) {
                m_nDelta *= 2;
                return;
            }
            m_nMaximumDelta = -m_nMaximumDelta * m_nDelta;
        }
        if (m_nDelta < m_nMaximumDelta) m_nDelta = std::min(m_nDelta * 2, m_nMaximumDelta);
    }

    // Makes room for count more elements the way AddRange grows: a small
    // batch takes an ordinary step, a big one exactly what it needs.
    void ReserveForRange(int64_t count) {
        if (m_nLength + count < m_nPhysicalLength) return;
        if (count < m_nDelta) {
            Resize(m_nPhysicalLength + m_nDelta);
            UpdateDelta(m_nLength);
        } else {
            Resize(m_nPhysicalLength + count);
        }
    }

    // Moves the elements in use into a new buffer of the given capacity,
    // which must hold them.
    void Reallocate(int64_t physicalLength) {
        if (m_pData && BlockFor(physicalLength) == BlockFor(m_nPhysicalLength)) {
            m_nPhysicalLength = physicalLength;
            return;
        }
        if constexpr (kPlain) {
            const auto bytes = static_cast<std::size_t>(BlockFor(physicalLength)) * sizeof(T);
            void* data = std::realloc(m_pData, bytes);
            if (!data) throw std::bad_alloc(); // the old block is still whole
            m_pData = static_cast<T*>(data);
            m_nPhysicalLength = physicalLength;
            return;
        }
        T* data = Allocate(physicalLength);
        MoveElements(data, m_pData, m_nLength);
        Free(m_pData);
        m_pData = data;
        m_nPhysicalLength = physicalLength;
    }

    static void CopyElements(T* to, const T* from, int64_t count) {
        if (count <= 0) return;
        if constexpr (std::is_trivially_copyable_v<T>)
            std::memcpy(static_cast<void*>(to), from, static_cast<std::size_t>(count) * sizeof(T));
        else
            std::copy(from, from + count, to);
    }

    static void MoveElements(T* to, T* from, int64_t count) {
        if (count <= 0) return;
        if constexpr (std::is_trivially_copyable_v<T>)
            std::memcpy(static_cast<void*>(to), from, static_cast<std::size_t>(count) * sizeof(T));
        else
            std::move(from, from + count, to);
    }

    // Opens a slot at index (index < length < capacity).
    void ShiftUp(int64_t index) {
        if constexpr (std::is_trivially_copyable_v<T>)
            std::memmove(static_cast<void*>(m_pData + index + 1), m_pData + index,
                         static_cast<std::size_t>(m_nLength - index) * sizeof(T));
        else
            std::move_backward(m_pData + index, m_pData + m_nLength, m_pData + m_nLength + 1);
    }

    // Closes the slot at index; the length is the caller's to lower.
    void ShiftDown(int64_t index) {
        const int64_t tail = m_nLength - index - 1;
        if (tail <= 0) return;
        if constexpr (std::is_trivially_copyable_v<T>)
            std::memmove(static_cast<void*>(m_pData + index), m_pData + index + 1,
                         static_cast<std::size_t>(tail) * sizeof(T));
        else
            std::move(m_pData + index + 1, m_pData + m_nLength, m_pData + index);
    }

    void Release() noexcept {
        m_pData = nullptr;
        m_nPhysicalLength = 0;
        m_nLength = 0;
    }

    int64_t m_nPhysicalLength;
    int64_t m_nDelta;
    int64_t m_nMaximumDelta;
    T* m_pData;
    int64_t m_nLength;
};
