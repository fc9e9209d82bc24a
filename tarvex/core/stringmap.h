// TStringHashMap: a small case-sensitive map from 16-bit names to values,
// with a fixed number of chained buckets chosen by the owner.
//
// Meant for the grammar tables of documents: a few dozen names, looked up
// once per tag by a name that may not be terminated (straight from a parse
// buffer), so lookups take a pointer and a length and allocate nothing.
#pragma once
#include <algorithm>
#include <cstdint>
#include <string_view>
#include <vector>

#include "tarvex/platform/cstring.h"

template <class V>
class TStringHashMap {
public:
    explicit TStringHashMap(std::uint32_t bucketCount = 23)
        : m_buckets(bucketCount != 0 ? bucketCount : 1, -1) {}

    // Adds or replaces.
    void SetAt(const CString& key, V value) {
        std::uint32_t bucket = Hash(key.View()) % m_buckets.size();
        for (std::int32_t at = m_buckets[bucket]; at >= 0; at = m_entries[at].next) {
            if (m_entries[at].key.View() == key.View()) {
                m_entries[at].value = std::move(value);
                return;
            }
        }
        m_entries.push_back(Entry{key, std::move(value), m_buckets[bucket]});
        m_buckets[bucket] = static_cast<std::int32_t>(m_entries.size() - 1);
    }

    // The value of `key`, or null.
    const V* Lookup(std::u16string_view key) const {
        std::uint32_t bucket = Hash(key) % m_buckets.size();
        for (std::int32_t at = m_buckets[bucket]; at >= 0; at = m_entries[at].next) {
            if (m_entries[at].key.View() == key) return &m_entries[at].value;
        }
        return nullptr;
    }
    bool Lookup(std::u16string_view key, V& value) const {
        const V* found = Lookup(key);
        if (found != nullptr) value = *found;
        return found != nullptr;
    }

    std::int64_t GetCount() const { return static_cast<std::int64_t>(m_entries.size()); }
    void RemoveAll() {
        m_entries.clear();
        std::fill(m_buckets.begin(), m_buckets.end(), -1);
    }

private:
    struct Entry {
        CString key;
        V value;
        std::int32_t next;
    };

    static std::uint32_t Hash(std::u16string_view key) {
        std::uint32_t hash = 2166136261u;
        for (char16_t ch : key) hash = (hash ^ ch) * 16777619u;
        return hash;
    }

    std::vector<std::int32_t> m_buckets;
    std::vector<Entry> m_entries;
};
