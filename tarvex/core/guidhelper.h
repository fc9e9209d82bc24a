// GUIDs as text and in sorted sets.
//
// The text form is upper-case hexadecimal without braces. The set order is
// deliberately coarse: the last four bytes of Data4 are never compared, so
// GUIDs differing only there are one key. Stored sets depend on that order.
#pragma once

#include <cstdint>

#include "tarvex/core/containers.h"
#include "tarvex/platform/cstring.h"
#include "tarvex/platform/guid.h"
#include "tarvex/platform/uuid.h"

class CGUIDHelper {
public:
    // "XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX".
    static CString GuidToString(const _GUID& guid);

    // Reads the text form, braced or not, hex digits of either case. A closing
    // brace is not looked for. False, with `guid` untouched, for null, empty or
    // short text.
    static bool TryStringToGuid(const char16_t* text, _GUID& guid);
    // As TryStringToGuid, with GUID_NULL for text that does not read.
    static _GUID StringToGuid(const char16_t* text);

    // -1, 0 or 1: Data1, Data2, Data3 unsigned, then Data4[0..3] as one signed
    // little-endian 32-bit integer. Data4[4..7] do not take part.
    static int CompareGUIDS(const _GUID& a, const _GUID& b);

    // A new random GUID; `status` receives the result of UuidCreate.
    static _GUID CreateGUID(RPC_STATUS* status = nullptr);
    static CString CreateStrGUID(RPC_STATUS* status = nullptr);

    static bool IsNull(const _GUID& guid) { return IsEqualGUID(guid, GUID_NULL); }
};

// A sorted set of GUIDs by CGUIDHelper::CompareGUIDS, optionally refusing
// the null GUID.
class CGUIDUniqueCollection : public CTarvexObject {
public:
    using GuidArray = CCustomSortedArrayT<_GUID, CGUIDHelper::CompareGUIDS>;

    explicit CGUIDUniqueCollection(bool rejectNull = true, int64_t physicalLength = 0,
                                   int64_t delta = 16);
    ~CGUIDUniqueCollection() override = default;

    // False for a refused null GUID and for one already held.
    bool Add(const _GUID& guid);
    void AddRange(const TArrayTemplate<_GUID>& array);
    void AddRange(const _GUID* guids, int64_t count);

    bool Has(const _GUID& guid) const { return m_arrGUIDs.Find(guid) >= 0; }
    int64_t Find(const _GUID& guid) const { return m_arrGUIDs.Find(guid); }
    void Remove(const _GUID& guid);
    void Delete(int64_t index) { m_arrGUIDs.Delete(index); }
    void Clear() { m_arrGUIDs.Clear(); }
    void Flush() { m_arrGUIDs.Flush(); }

    bool IsEmpty() const { return m_arrGUIDs.IsEmpty(); }
    int64_t GetLength() const { return m_arrGUIDs.GetLength(); }
    int64_t GetCount() const { return m_arrGUIDs.GetCount(); }
    bool GetRejectNull() const { return m_bRejectNull; }
    const _GUID& operator[](int64_t index) const { return m_arrGUIDs[index]; }
    const _GUID& Last() const { return m_arrGUIDs.Last(); }
    const _GUID* begin() const { return m_arrGUIDs.begin(); }
    const _GUID* end() const { return m_arrGUIDs.end(); }

    // Same GUIDs in the same order, byte for byte.
    bool operator==(const CGUIDUniqueCollection& other) const {
        return m_arrGUIDs == other.m_arrGUIDs;
    }

protected:
    bool m_bRejectNull;
    GuidArray m_arrGUIDs;
};
