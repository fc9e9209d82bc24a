#include "tarvex/core/guidhelper.h"

namespace {

const char16_t kHexDigits[] = u"0123456789ABCDEF";

char16_t* PutHex(char16_t* out, std::uint32_t value, int digits) {
    for (int i = digits - 1; i >= 0; --i) {
        out[i] = kHexDigits[value & 0xF];
        value >>= 4;
    }
    return out + digits;
}

int HexValue(char16_t ch) {
    if (ch >= u'0' && ch <= u'9') return ch - u'0';
    if (ch >= u'A' && ch <= u'F') return ch - u'A' + 10;
    if (ch >= u'a' && ch <= u'f') return ch - u'a' + 10;
    return -1;
}

bool IsScanSpace(char16_t ch) {
    return ch == u' ' || (ch >= u'\t' && ch <= u'\r');
}

// One "%<width>X" conversion of the scanf family: skips white space, then
// reads one to `width` hex digits. No sign or "0x" prefix is taken; GUID text
// never has them.
bool ScanHex(const char16_t*& p, int width, std::uint32_t& value) {
    while (IsScanSpace(*p)) ++p;
    value = 0;
    int count = 0;
    for (int digit; count < width && (digit = HexValue(*p)) >= 0; ++count, ++p)
        value = (value << 4) | std::uint32_t(digit);
    return count > 0;
}

bool ScanLiteral(const char16_t*& p, char16_t ch) {
    if (*p != ch) return false;
    ++p;
    return true;
}

// "%08lX-%04X-%04X-%02X%02X-%02X%02X%02X%02X%02X%02X"; every field must read.
bool ScanGuid(const char16_t* p, _GUID& guid) {
    std::uint32_t data1, data2, data3, bytes[8];
    if (!ScanHex(p, 8, data1) || !ScanLiteral(p, u'-')) return false;
    if (!ScanHex(p, 4, data2) || !ScanLiteral(p, u'-')) return false;
    if (!ScanHex(p, 4, data3) || !ScanLiteral(p, u'-')) return false;
    for (int i = 0; i < 8; ++i) {
        if (i == 2 && !ScanLiteral(p, u'-')) return false;
        if (!ScanHex(p, 2, bytes[i])) return false;
    }
    guid.Data1 = data1;
    guid.Data2 = std::uint16_t(data2);
    guid.Data3 = std::uint16_t(data3);
    for (int i = 0; i < 8; ++i) guid.Data4[i] = std::uint8_t(bytes[i]);
    return true;
}

template <class T>
int Order(T a, T b) {
    return a < b ? -1 : (b < a ? 1 : 0);
}

std::int32_t LeadingData4(const _GUID& guid) {
    const std::uint32_t bits = std::uint32_t(guid.Data4[0]) | std::uint32_t(guid.Data4[1]) << 8 |
                               std::uint32_t(guid.Data4[2]) << 16 |
                               std::uint32_t(guid.Data4[3]) << 24;
    return std::int32_t(bits);
}

} // namespace

CString CGUIDHelper::GuidToString(const _GUID& guid) {
    char16_t text[36];
    char16_t* p = PutHex(text, guid.Data1, 8);
    *p++ = u'-';
    p = PutHex(p, guid.Data2, 4);
    *p++ = u'-';
    p = PutHex(p, guid.Data3, 4);
    *p++ = u'-';
    for (int i = 0; i < 8; ++i) {
        if (i == 2) *p++ = u'-';
        p = PutHex(p, guid.Data4[i], 2);
    }
    return CString(text, int(p - text));
}

bool CGUIDHelper::TryStringToGuid(const char16_t* text, _GUID& guid) {
    if (text == nullptr || *text == 0) return false;
    if (*text == u'{') ++text;
    _GUID read;
    if (!ScanGuid(text, read)) return false;
    guid = read;
    return true;
}

_GUID CGUIDHelper::StringToGuid(const char16_t* text) {
    _GUID guid = GUID_NULL;
    TryStringToGuid(text, guid);
    return guid;
}

int CGUIDHelper::CompareGUIDS(const _GUID& a, const _GUID& b) {
    if (int order = Order(a.Data1, b.Data1)) return order;
    if (int order = Order(a.Data2, b.Data2)) return order;
    if (int order = Order(a.Data3, b.Data3)) return order;
    return Order(LeadingData4(a), LeadingData4(b));
}

_GUID CGUIDHelper::CreateGUID(RPC_STATUS* status) {
    _GUID guid = GUID_NULL;
    const RPC_STATUS result = UuidCreate(&guid);
    if (status != nullptr) *status = result;
    return guid;
}

CString CGUIDHelper::CreateStrGUID(RPC_STATUS* status) {
    return GuidToString(CreateGUID(status));
}

CGUIDUniqueCollection::CGUIDUniqueCollection(bool rejectNull, int64_t physicalLength, int64_t delta)
    : m_bRejectNull(rejectNull), m_arrGUIDs(physicalLength, delta, -8) {}

bool CGUIDUniqueCollection::Add(const _GUID& guid) {
    if (m_bRejectNull && CGUIDHelper::IsNull(guid)) return false;
    // GUIDs often arrive in order; those above the last one need no search.
    if (m_arrGUIDs.IsEmpty() || CGUIDHelper::CompareGUIDS(guid, m_arrGUIDs.Last()) > 0) {
        m_arrGUIDs.TArrayTemplate<_GUID>::Add(guid);
        return true;
    }
    int64_t position;
    if (m_arrGUIDs.Search(guid, position) >= 0) return false;
    m_arrGUIDs.InsertAt(position, guid);
    return true;
}

void CGUIDUniqueCollection::AddRange(const TArrayTemplate<_GUID>& array) {
    AddRange(array.GetData(), array.GetLength());
}

void CGUIDUniqueCollection::AddRange(const _GUID* guids, int64_t count) {
    if (guids == nullptr) return;
    for (int64_t i = 0; i < count; ++i) Add(guids[i]);
}

void CGUIDUniqueCollection::Remove(const _GUID& guid) {
    const int64_t index = m_arrGUIDs.Find(guid);
    if (index >= 0) m_arrGUIDs.Delete(index);
}
