// CIndirectArray: an array of pointers that may own the objects.
//
// While the ownership flag is set, every removal deletes the removed object
// (null slots are skipped) and the destructor deletes all that remain. While
// it is clear, removal only forgets the pointer. Pointers move by block copy;
// growth never touches the objects.
#pragma once

#include <algorithm>
#include <cstdint>
#include <utility>

#include "tarvex/core/arraytemplate.h"

template <class T>
class CIndirectArray : public TArrayTemplate<T*> {
    using Base = TArrayTemplate<T*>;

public:
    CIndirectArray() : CIndirectArray(0, 16, true, -8) {}
    explicit CIndirectArray(int64_t physicalLength, int64_t delta = 16, bool ownership = true,
                            int64_t maximumDelta = -8)
        : Base(physicalLength, delta, maximumDelta), m_bOwnership(ownership) {}

    // A copy holds the same pointers but borrows them: a new array has no
    // flag of its own to keep, and borrowing means the objects are deleted
    // once, by the original.
    CIndirectArray(const CIndirectArray& other) : Base(other), m_bOwnership(false) {}

    // Assignment empties this array by the removal rule (an owning array
    // deletes its objects), then copies the pointers and keeps its own flag.
    // Copying pointers never clones: when both arrays own, the caller clears
    // one flag first, or the objects are deleted twice.
    CIndirectArray& operator=(const CIndirectArray& other) {
        if (this == &other) return *this;
        Clear();
        Base::operator=(other);
        return *this;
    }

    // A move hands over the objects together with the ownership flag.
    CIndirectArray(CIndirectArray&& other) noexcept
        : Base(std::move(other)), m_bOwnership(other.m_bOwnership) {}
    CIndirectArray& operator=(CIndirectArray&& other) noexcept {
        if (this == &other) return *this;
        Clear();
        Base::operator=(std::move(other));
        m_bOwnership = other.m_bOwnership;
        return *this;
    }

    ~CIndirectArray() override {
        if (m_bOwnership) DeleteContainment();
    }

    // Copies pointers, never objects: when both arrays own, one flag must be
    // cleared first or the objects are deleted twice.
    void AddRange(const Base& source) { AddRange(source, 0, source.GetLength()); }

    // count 0 takes the whole length of source, not reduced by start; the
    // form is only ever used with start 0.
    void AddRange(const Base& source, int64_t start, int64_t count) {
        if (count == 0) count = source.GetLength();
        if (count <= 0) return;
        this->ReserveForRange(count);
        this->CopyElements(this->m_pData + this->m_nLength, source.GetData() + start, count);
        this->m_nLength += count;
    }

    void InsertAt(int64_t index, T* item) {
        if (index >= this->m_nLength)
            SetAt(index, item);
        else
            Base::InsertAt(index, item);
    }

    // Replacing an owned object deletes it (unless it is being stored again);
    // storing past the end leaves null pointers in the gap.
    void SetAt(int64_t index, T* item) {
        if (index < this->m_nLength) {
            T* old = this->m_pData[index];
            if (m_bOwnership && old != nullptr && old != item) delete old;
            this->m_pData[index] = item;
            return;
        }
        const int64_t length = this->m_nLength;
        Base::SetAt(index, item);
        std::fill(this->m_pData + length, this->m_pData + index, nullptr);
    }

    void Grow(int64_t length) {
        const int64_t oldLength = this->m_nLength;
        if (length < oldLength) DeleteRange(length, oldLength);
        Base::Grow(length);
        if (length > oldLength)
            std::fill(this->m_pData + oldLength, this->m_pData + length, nullptr);
    }

    void SetPhisicalLength(int64_t physicalLength) {
        if (physicalLength < 1) physicalLength = 1;
        if (physicalLength < this->m_nLength) DeleteRange(physicalLength, this->m_nLength);
        Base::SetPhisicalLength(physicalLength);
    }

    void Clear() {
        if (m_bOwnership) DeleteContainment();
        this->m_nLength = 0;
    }

    void Flush() {
        Clear();
        Base::Flush();
    }

    void Delete(int64_t index) {
        DeleteRange(index, index + 1);
        Base::Delete(index);
    }
    void DeleteFirst() { Delete(0); }
    void DeleteLast() {
        DeleteRange(this->m_nLength - 1, this->m_nLength);
        --this->m_nLength;
    }

    // By value: the first object equal to item under T's operator==.
    int64_t Find(const T& item, int64_t start = 0) const {
        for (int64_t i = start < 0 ? 0 : start; i < this->m_nLength; ++i) {
            const T* p = this->m_pData[i];
            if (p != nullptr && *p == item) return i;
        }
        return -1;
    }

    // By identity.
    int64_t Find(const T* item, int64_t start = 0) const {
        for (int64_t i = start < 0 ? 0 : start; i < this->m_nLength; ++i)
            if (this->m_pData[i] == item) return i;
        return -1;
    }

    // Hands every pointer to target and empties this array without deleting
    // anything. The array owns afterwards, whatever it did before.
    void MoveTo(CIndirectArray& target) {
        m_bOwnership = false;
        target.AddRange(*this);
        Flush();
        m_bOwnership = true;
    }

    bool SetOwnership(bool ownership) { return m_bOwnership = ownership; }
    bool GetOwnership() const { return m_bOwnership; }

protected:
    // Deletes every object in use; length and buffer stay as they are.
    void DeleteContainment() {
        for (int64_t i = 0; i < this->m_nLength; ++i) delete this->m_pData[i];
    }

    // Deletes the owned objects in [from, to); a no-op without ownership.
    void DeleteRange(int64_t from, int64_t to) {
        if (!m_bOwnership) return;
        for (int64_t i = from; i < to; ++i) delete this->m_pData[i];
    }

    bool m_bOwnership;
};
