// VARIANT: the Automation value, with the type codes, the copy and clear
// calls, and VariantChangeType.
//
// Conversions follow OLE Automation with one fixed, environment-independent
// text form. Numbers are written and read with a point in the C locale;
// there is no thousands separator, so "1,5" does not read as a number.
// Dates read and write as "dd.MM.yyyy H:mm:ss" (see VarBstrFromDate).
#pragma once

#include "tarvex/platform/bstr.h"
#include "tarvex/platform/unknown.h"

using VARTYPE = std::uint16_t;
using VARIANT_BOOL = std::int16_t;
using DATE = double;

constexpr VARIANT_BOOL VARIANT_TRUE = -1;
constexpr VARIANT_BOOL VARIANT_FALSE = 0;

enum VARENUM {
    VT_EMPTY = 0,
    VT_NULL = 1,
    VT_I2 = 2,
    VT_I4 = 3,
    VT_R4 = 4,
    VT_R8 = 5,
    VT_CY = 6,
    VT_DATE = 7,
    VT_BSTR = 8,
    VT_DISPATCH = 9,
    VT_ERROR = 10,
    VT_BOOL = 11,
    VT_VARIANT = 12,
    VT_UNKNOWN = 13,
    VT_DECIMAL = 14,
    VT_I1 = 16,
    VT_UI1 = 17,
    VT_UI2 = 18,
    VT_UI4 = 19,
    VT_I8 = 20,
    VT_UI8 = 21,
    VT_INT = 22,
    VT_UINT = 23,
    VT_VOID = 24,
    VT_HRESULT = 25,
    VT_PTR = 26,
    VT_SAFEARRAY = 27,
    VT_CARRAY = 28,
    VT_USERDEFINED = 29,
    VT_LPSTR = 30,
    VT_LPWSTR = 31,
    VT_RECORD = 36,
    VT_INT_PTR = 37,
    VT_UINT_PTR = 38,
    VT_FILETIME = 64,
    VT_BLOB = 65,
    VT_STREAM = 66,
    VT_STORAGE = 67,
    VT_STREAMED_OBJECT = 68,
    VT_STORED_OBJECT = 69,
    VT_BLOB_OBJECT = 70,
    VT_CF = 71,
    VT_CLSID = 72,
    VT_VERSIONED_STREAM = 73,
    VT_BSTR_BLOB = 0xFFF,
    VT_VECTOR = 0x1000,
    VT_ARRAY = 0x2000,
    VT_BYREF = 0x4000,
    VT_RESERVED = 0x8000,
    VT_ILLEGAL = 0xFFFF,
    VT_ILLEGALMASKED = 0xFFF,
    VT_TYPEMASK = 0xFFF,
};

// Flags of VariantChangeType.
constexpr USHORT VARIANT_NOVALUEPROP = 0x01; // don't ask an object for its value
constexpr USHORT VARIANT_ALPHABOOL = 0x02;   // VT_BOOL to text as "True"/"False"
constexpr USHORT VARIANT_NOUSEROVERRIDE = 0x04;
constexpr USHORT VARIANT_CALENDAR_HIJRI = 0x08;
constexpr USHORT VARIANT_LOCALBOOL = 0x10; // as VARIANT_ALPHABOOL: one language here
constexpr USHORT VARIANT_CALENDAR_THAI = 0x20;
constexpr USHORT VARIANT_CALENDAR_GREGORIAN = 0x40;
constexpr USHORT VARIANT_USE_NLS = 0x80;

// Flags of the VarXxxFromYyy calls.
constexpr ULONG VAR_TIMEVALUEONLY = 0x01;
constexpr ULONG VAR_DATEVALUEONLY = 0x02;
constexpr ULONG VAR_VALIDDATE = 0x04;
constexpr ULONG VAR_CALENDAR_HIJRI = 0x08;
constexpr ULONG VAR_LOCALBOOL = 0x10;
constexpr ULONG VAR_FORMAT_NOSUBSTITUTE = 0x20;
constexpr ULONG VAR_FOURDIGITYEARS = 0x40;
constexpr ULONG LOCALE_NOUSEROVERRIDE = 0x80000000u;

struct tagSAFEARRAY;
struct IRecordInfo; // never defined: records are not modelled

// Currency: a 64-bit count of ten-thousandths. Carried, not converted.
struct tagCY {
    LONGLONG int64;
};
using CY = tagCY;

struct tagBRECORD {
    void* pvRecord;
    IRecordInfo* pRecInfo;
};

struct tagVARIANT {
    VARTYPE vt;
    WORD wReserved1;
    WORD wReserved2;
    WORD wReserved3;
    union {
        LONGLONG llVal;
        LONG lVal;
        BYTE bVal;
        SHORT iVal;
        float fltVal;
        double dblVal;
        VARIANT_BOOL boolVal;
        SCODE scode;
        CY cyVal;
        DATE date;
        BSTR bstrVal;
        IUnknown* punkVal;
        IDispatch* pdispVal;
        tagSAFEARRAY* parray;
        BYTE* pbVal;
        SHORT* piVal;
        LONG* plVal;
        LONGLONG* pllVal;
        float* pfltVal;
        double* pdblVal;
        VARIANT_BOOL* pboolVal;
        SCODE* pscode;
        CY* pcyVal;
        DATE* pdate;
        BSTR* pbstrVal;
        IUnknown** ppunkVal;
        IDispatch** ppdispVal;
        tagSAFEARRAY** pparray;
        tagVARIANT* pvarVal;
        void* byref;
        char cVal;
        USHORT uiVal;
        ULONG ulVal;
        ULONGLONG ullVal;
        INT intVal;
        UINT uintVal;
        char* pcVal;
        USHORT* puiVal;
        ULONG* pulVal;
        ULONGLONG* pullVal;
        INT* pintVal;
        UINT* puintVal;
        tagBRECORD brecVal;
    };
};
using LPVARIANT = VARIANT*;
using LPCVARIANT = const VARIANT*;
using LPVARIANTARG = VARIANTARG*;

#define V_VT(v) ((v)->vt)
#define V_ISBYREF(v) (((v)->vt & VT_BYREF) != 0)
#define V_ISARRAY(v) (((v)->vt & VT_ARRAY) != 0)
#define V_I2(v) ((v)->iVal)
#define V_I4(v) ((v)->lVal)
#define V_R4(v) ((v)->fltVal)
#define V_R8(v) ((v)->dblVal)
#define V_DATE(v) ((v)->date)
#define V_BSTR(v) ((v)->bstrVal)
#define V_BOOL(v) ((v)->boolVal)
#define V_DISPATCH(v) ((v)->pdispVal)
#define V_UNKNOWN(v) ((v)->punkVal)
#define V_ARRAY(v) ((v)->parray)
#define V_VARIANTREF(v) ((v)->pvarVal)

// Sets the type to VT_EMPTY without looking at the old value.
void VariantInit(VARIANTARG* v) noexcept;

// Frees what the variant owns (a BSTR, an interface reference, an array) and
// leaves it VT_EMPTY. A by-reference variant owns nothing. Fails, changing
// nothing, with DISP_E_BADVARTYPE for an unknown type and DISP_E_ARRAYISLOCKED
// for a locked array.
HRESULT VariantClear(VARIANTARG* v) noexcept;

// Clears `dest`, then copies: a new BSTR, a new array, a new reference.
// A by-reference source is copied as the reference.
HRESULT VariantCopy(VARIANTARG* dest, const VARIANTARG* src) noexcept;

// As VariantCopy, but a by-reference source is copied as the value it refers
// to. `dest` may be `src`.
HRESULT VariantCopyInd(VARIANT* dest, const VARIANTARG* src) noexcept;

// Converts `src` to type `vt` into `dest`, which may be `src`. On failure
// `dest` is left as it was. Results:
//   DISP_E_TYPEMISMATCH  the pair can't be converted, or the text isn't a value
//   DISP_E_OVERFLOW      the value doesn't fit the target
//   DISP_E_BADVARTYPE    a type this model doesn't know
// Notes on the pairs:
//   - VT_EMPTY gives 0, "", VARIANT_FALSE or a null object; VT_NULL converts
//     only to VT_NULL and VT_EMPTY.
//   - Reals round to integers half to even (2.5 -> 2, 3.5 -> 4).
//   - VT_BOOL is -1/0 as a number (all bits set for unsigned targets); any
//     non-zero number is VARIANT_TRUE; text "True"/"False" in any case, or a
//     number, reads as VT_BOOL; VT_BOOL writes "-1"/"0" unless
//     VARIANT_ALPHABOOL or VARIANT_LOCALBOOL asks for "True"/"False".
//   - VT_R8 writes 15 significant digits and VT_R4 7, exponent form as
//     "1E+20"; text reads with blanks around, a sign, a point, an exponent.
//   - VT_ERROR converts to and from the integer types only.
//   - VT_DISPATCH or VT_UNKNOWN to a value type: the object's value property
//     (DISPID_VALUE, DISPATCH_PROPERTYGET), unless VARIANT_NOVALUEPROP;
//     DISP_E_TYPEMISMATCH if the object gives none or is null.
//   - Arrays convert only to their own type. VT_CY is carried by copy but not
//     converted. VT_DECIMAL and VT_RECORD values are not modelled and give
//     DISP_E_BADVARTYPE everywhere (VT_DECIMAL arrays do exist).
HRESULT VariantChangeType(VARIANTARG* dest, const VARIANTARG* src, USHORT flags,
                          VARTYPE vt) noexcept;
HRESULT VariantChangeTypeEx(VARIANTARG* dest, const VARIANTARG* src, LCID lcid, USHORT flags,
                            VARTYPE vt) noexcept;

// Date text, the same in every locale: "dd.MM.yyyy H:mm:ss", seconds rounded.
// Midnight gives only the date, a time on 30.12.1899 (day 0) only the time.
// VAR_DATEVALUEONLY and VAR_TIMEVALUEONLY keep one part. E_INVALIDARG for a
// date outside the years 100 to 9999.
HRESULT VarBstrFromDate(DATE date, LCID lcid, ULONG flags, BSTR* out) noexcept;

// Reads "dd.MM.yyyy" or "yyyy-MM-dd", either optionally followed by blanks
// (or a 'T' after the second form) and a time "H:mm" or "H:mm:ss" with an
// optional fraction of a second; or a bare time, which falls on day 0.
// Day and month may have one digit; the year has four. DISP_E_TYPEMISMATCH
// for other text and for impossible dates.
HRESULT VarDateFromStr(LPCOLESTR text, LCID lcid, ULONG flags, DATE* out) noexcept;

namespace tarvex {

// Bytes of a plain value of type `vt` held in a variant's union; 0 for the
// types that own something (texts, objects, arrays) or are not scalars.
size_t VariantScalarSize(VARTYPE vt) noexcept;

} // namespace tarvex
