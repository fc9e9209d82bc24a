// CIndexRecord: a key and a value, ordered and compared by the key alone,
// for use as the element of sorted arrays that map keys to values.
#pragma once

#include <utility>

template <class K, class V>
class CIndexRecord {
public:
    // Lets sorted arrays search by a bare key without a temporary record.
    using KeyType = K;
    using ValueType = V;

    CIndexRecord() = default;
    explicit CIndexRecord(const K& key) : m_Key(key) {}
    CIndexRecord(const K& key, const V& value) : m_Key(key), m_Value(value) {}
    CIndexRecord(const CIndexRecord&) = default;
    CIndexRecord(CIndexRecord&&) = default;
    CIndexRecord& operator=(const CIndexRecord&) = default;
    // Sorted arrays shift records by assignment, so moving must stay cheap
    // (the virtual destructor would otherwise suppress it).
    CIndexRecord& operator=(CIndexRecord&&) = default;
    virtual ~CIndexRecord() = default;

    bool operator==(const CIndexRecord& other) const { return m_Key == other.m_Key; }
    bool operator<(const CIndexRecord& other) const { return m_Key < other.m_Key; }

    friend bool operator==(const CIndexRecord& record, const K& key) { return record.m_Key == key; }
    friend bool operator<(const CIndexRecord& record, const K& key) { return record.m_Key < key; }
    friend bool operator<(const K& key, const CIndexRecord& record) { return key < record.m_Key; }

    K m_Key{};
    V m_Value{};
};
