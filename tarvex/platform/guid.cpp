#include "tarvex/platform/guid.h"

#include "tarvex/platform/classregistry.h"

namespace {

constexpr char16_t kHex[] = u"0123456789ABCDEF";

int HexValue(char16_t ch) noexcept {
    if (ch >= u'0' && ch <= u'9') return ch - u'0';
    if (ch >= u'A' && ch <= u'F') return ch - u'A' + 10;
    if (ch >= u'a' && ch <= u'f') return ch - u'a' + 10;
    return -1;
}

// Reads `digits` hex digits at text[pos]; false on anything else.
bool ReadHex(const char16_t* text, int pos, int digits, std::uint64_t& value) noexcept {
    value = 0;
    for (int i = 0; i < digits; ++i) {
        int v = HexValue(text[pos + i]);
        if (v < 0) return false;
        value = value << 4 | std::uint64_t(v);
    }
    return true;
}

// Exactly "{8-4-4-4-12}": 38 characters and nothing after them.
bool ParseBraced(const char16_t* text, GUID& guid) noexcept {
    for (int i = 0; i < 38; ++i)
        if (text[i] == 0) return false;
    if (text[0] != u'{' || text[9] != u'-' || text[14] != u'-' || text[19] != u'-' ||
        text[24] != u'-' || text[37] != u'}' || text[38] != 0)
        return false;
    std::uint64_t v;
    if (!ReadHex(text, 1, 8, v)) return false;
    guid.Data1 = std::uint32_t(v);
    if (!ReadHex(text, 10, 4, v)) return false;
    guid.Data2 = std::uint16_t(v);
    if (!ReadHex(text, 15, 4, v)) return false;
    guid.Data3 = std::uint16_t(v);
    static constexpr int kBytePos[8] = {20, 22, 25, 27, 29, 31, 33, 35};
    for (int i = 0; i < 8; ++i) {
        if (!ReadHex(text, kBytePos[i], 2, v)) return false;
        guid.Data4[i] = std::uint8_t(v);
    }
    return true;
}

} // namespace

int StringFromGUID2(REFGUID guid, LPOLESTR text, int cchMax) noexcept {
    if (text == nullptr || cchMax < 39) return 0;
    int pos = 0;
    auto put = [&](std::uint64_t value, int digits) {
        for (int shift = (digits - 1) * 4; shift >= 0; shift -= 4)
            text[pos++] = kHex[(value >> shift) & 0xF];
    };
    text[pos++] = u'{';
    put(guid.Data1, 8);
    text[pos++] = u'-';
    put(guid.Data2, 4);
    text[pos++] = u'-';
    put(guid.Data3, 4);
    text[pos++] = u'-';
    put(guid.Data4[0], 2);
    put(guid.Data4[1], 2);
    text[pos++] = u'-';
    for (int i = 2; i < 8; ++i) put(guid.Data4[i], 2);
    text[pos++] = u'}';
    text[pos++] = 0;
    return pos;
}

HRESULT CLSIDFromString(LPCOLESTR text, LPCLSID clsid) noexcept {
    if (clsid == nullptr) return E_INVALIDARG;
    *clsid = GUID_NULL;
    if (text == nullptr) return S_OK;
    if (text[0] != u'{') return CLSIDFromProgID(text, clsid) == S_OK ? S_OK : CO_E_CLASSSTRING;
    GUID guid;
    if (!ParseBraced(text, guid)) return CO_E_CLASSSTRING;
    *clsid = guid;
    return S_OK;
}

HRESULT IIDFromString(LPCOLESTR text, LPIID iid) noexcept {
    if (iid == nullptr) return E_INVALIDARG;
    *iid = GUID_NULL;
    if (text == nullptr) return S_OK;
    GUID guid;
    if (!ParseBraced(text, guid)) return E_INVALIDARG;
    *iid = guid;
    return S_OK;
}
