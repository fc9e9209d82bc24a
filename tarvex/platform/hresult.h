// COM status codes. Values are the standard ones: they cross the plug-in
// boundary and are compared by callers, so they must match bit for bit.
#pragma once

#include "tarvex/platform/types.h"

using HRESULT = std::int32_t;
using SCODE = std::int32_t;

constexpr bool SUCCEEDED(HRESULT hr) noexcept {
    return hr >= 0;
}
constexpr bool FAILED(HRESULT hr) noexcept {
    return hr < 0;
}

constexpr HRESULT MakeHResult(std::uint32_t bits) noexcept {
    return static_cast<HRESULT>(bits);
}

constexpr HRESULT S_OK = 0;
constexpr HRESULT S_FALSE = 1;
constexpr HRESULT E_NOTIMPL = MakeHResult(0x80004001u);
constexpr HRESULT E_NOINTERFACE = MakeHResult(0x80004002u);
constexpr HRESULT E_POINTER = MakeHResult(0x80004003u);
constexpr HRESULT E_ABORT = MakeHResult(0x80004004u);
constexpr HRESULT E_FAIL = MakeHResult(0x80004005u);
constexpr HRESULT E_UNEXPECTED = MakeHResult(0x8000FFFFu);
constexpr HRESULT E_ACCESSDENIED = MakeHResult(0x80070005u);
constexpr HRESULT E_HANDLE = MakeHResult(0x80070006u);
constexpr HRESULT E_OUTOFMEMORY = MakeHResult(0x8007000Eu);
constexpr HRESULT E_INVALIDARG = MakeHResult(0x80070057u);

constexpr HRESULT DISP_E_UNKNOWNINTERFACE = MakeHResult(0x80020001u);
constexpr HRESULT DISP_E_MEMBERNOTFOUND = MakeHResult(0x80020003u);
constexpr HRESULT DISP_E_PARAMNOTFOUND = MakeHResult(0x80020004u);
constexpr HRESULT DISP_E_TYPEMISMATCH = MakeHResult(0x80020005u);
constexpr HRESULT DISP_E_UNKNOWNNAME = MakeHResult(0x80020006u);
constexpr HRESULT DISP_E_NONAMEDARGS = MakeHResult(0x80020007u);
constexpr HRESULT DISP_E_BADVARTYPE = MakeHResult(0x80020008u);
constexpr HRESULT DISP_E_EXCEPTION = MakeHResult(0x80020009u);
constexpr HRESULT DISP_E_OVERFLOW = MakeHResult(0x8002000Au);
constexpr HRESULT DISP_E_BADINDEX = MakeHResult(0x8002000Bu);
constexpr HRESULT DISP_E_UNKNOWNLCID = MakeHResult(0x8002000Cu);
constexpr HRESULT DISP_E_ARRAYISLOCKED = MakeHResult(0x8002000Du);
constexpr HRESULT DISP_E_BADPARAMCOUNT = MakeHResult(0x8002000Eu);
constexpr HRESULT DISP_E_PARAMNOTOPTIONAL = MakeHResult(0x8002000Fu);
constexpr HRESULT DISP_E_BADCALLEE = MakeHResult(0x80020010u);
constexpr HRESULT DISP_E_NOTACOLLECTION = MakeHResult(0x80020011u);
constexpr HRESULT DISP_E_DIVBYZERO = MakeHResult(0x80020012u);

constexpr HRESULT TYPE_E_ELEMENTNOTFOUND = MakeHResult(0x8002802Bu);
constexpr HRESULT REGDB_E_CLASSNOTREG = MakeHResult(0x80040154u);
constexpr HRESULT CO_E_CLASSSTRING = MakeHResult(0x800401F3u);
constexpr HRESULT CLASS_E_NOAGGREGATION = MakeHResult(0x80040110u);
