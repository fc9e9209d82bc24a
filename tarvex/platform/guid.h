// Globally unique identifiers: interface and class ids, and their text form
// "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}".
#pragma once

#include <cstring>

#include "tarvex/platform/hresult.h"

// The plug-in interface header declares the same record for plug-ins built
// without the library's headers; whichever comes first defines it.
#ifndef GUID_DEFINED
#define GUID_DEFINED
struct _GUID {
    std::uint32_t Data1;
    std::uint16_t Data2;
    std::uint16_t Data3;
    std::uint8_t Data4[8];
};
#endif

using GUID = _GUID;
using IID = GUID;
using CLSID = GUID;
using LPGUID = GUID*;
using LPIID = IID*;
using LPCLSID = CLSID*;
using REFGUID = const GUID&;
using REFIID = const IID&;
using REFCLSID = const CLSID&;

inline bool IsEqualGUID(REFGUID a, REFGUID b) noexcept {
    return std::memcmp(&a, &b, sizeof(GUID)) == 0;
}
inline bool IsEqualIID(REFIID a, REFIID b) noexcept {
    return IsEqualGUID(a, b);
}
inline bool IsEqualCLSID(REFCLSID a, REFCLSID b) noexcept {
    return IsEqualGUID(a, b);
}
inline bool operator==(REFGUID a, REFGUID b) noexcept {
    return IsEqualGUID(a, b);
}
inline bool operator!=(REFGUID a, REFGUID b) noexcept {
    return !IsEqualGUID(a, b);
}

inline constexpr GUID GUID_NULL = {0, 0, 0, {0, 0, 0, 0, 0, 0, 0, 0}};
inline constexpr IID IID_NULL = GUID_NULL;
inline constexpr CLSID CLSID_NULL = GUID_NULL;

inline constexpr IID IID_IUnknown = {0x00000000, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr IID IID_IClassFactory = {
    0x00000001, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr IID IID_IDispatch = {0x00020400, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr IID IID_IEnumVARIANT = {
    0x00020404, 0x0000, 0x0000, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr IID IID_IErrorInfo = {
    0x1CF2B120, 0x547D, 0x101B, {0x8E, 0x65, 0x08, 0x00, 0x2B, 0x2B, 0xD1, 0x19}};
inline constexpr IID IID_ICreateErrorInfo = {
    0x22F03340, 0x547D, 0x101B, {0x8E, 0x65, 0x08, 0x00, 0x2B, 0x2B, 0xD1, 0x19}};
inline constexpr IID IID_ISupportErrorInfo = {
    0xDF0B3D60, 0x548F, 0x101B, {0x8E, 0x65, 0x08, 0x00, 0x2B, 0x2B, 0xD1, 0x19}};

// Writes the braced upper-case text and its terminating null. Returns the
// characters written including the null (39), or 0 when `cchMax` is too small.
int StringFromGUID2(REFGUID guid, LPOLESTR text, int cchMax) noexcept;

// Reads the braced text, hex digits in either case. Text without the opening
// brace is taken as a ProgID and looked up in the class registry, as the
// familiar call does. A null text gives CLSID_NULL. Bad text and unknown
// ProgIDs give CO_E_CLASSSTRING, and *clsid is then GUID_NULL.
HRESULT CLSIDFromString(LPCOLESTR text, LPCLSID clsid) noexcept;

// The braced form only; E_INVALIDARG for anything else.
HRESULT IIDFromString(LPCOLESTR text, LPIID iid) noexcept;
