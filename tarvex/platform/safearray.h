// SAFEARRAY: the Automation array. Arrays of any number of dimensions are
// supported, laid out as OLE lays them out: the first index varies fastest,
// and the descriptor keeps the bounds in reverse order (rgsabound[0] is the
// last dimension). Index vectors passed to the calls are in dimension order.
#pragma once

#include "tarvex/platform/variant.h"

struct tagSAFEARRAYBOUND {
    ULONG cElements;
    LONG lLbound;
};
using SAFEARRAYBOUND = tagSAFEARRAYBOUND;
using LPSAFEARRAYBOUND = SAFEARRAYBOUND*;

struct tagSAFEARRAY {
    USHORT cDims;
    USHORT fFeatures;
    ULONG cbElements;
    ULONG cLocks;
    void* pvData;
    SAFEARRAYBOUND rgsabound[1];
};
using SAFEARRAY = tagSAFEARRAY;
using LPSAFEARRAY = SAFEARRAY*;

constexpr USHORT FADF_AUTO = 0x0001;
constexpr USHORT FADF_STATIC = 0x0002;
constexpr USHORT FADF_EMBEDDED = 0x0004;
constexpr USHORT FADF_FIXEDSIZE = 0x0010;
constexpr USHORT FADF_RECORD = 0x0020;
constexpr USHORT FADF_HAVEIID = 0x0040;
constexpr USHORT FADF_HAVEVARTYPE = 0x0080;
constexpr USHORT FADF_BSTR = 0x0100;
constexpr USHORT FADF_UNKNOWN = 0x0200;
constexpr USHORT FADF_DISPATCH = 0x0400;
constexpr USHORT FADF_VARIANT = 0x0800;

// Element types: VT_I1, VT_UI1, VT_I2, VT_UI2, VT_I4, VT_UI4, VT_INT, VT_UINT,
// VT_I8, VT_UI8, VT_R4, VT_R8, VT_CY, VT_DATE, VT_BOOL, VT_ERROR, VT_BSTR,
// VT_DISPATCH, VT_UNKNOWN, VT_VARIANT, VT_DECIMAL. Elements start zeroed
// (VT_EMPTY variants, null strings and objects). Null for another type, zero
// dimensions, or a size that can't be allocated.
SAFEARRAY* SafeArrayCreate(VARTYPE vt, UINT cDims, SAFEARRAYBOUND* bounds) noexcept;
SAFEARRAY* SafeArrayCreateVector(VARTYPE vt, LONG lowerBound, ULONG count) noexcept;

// Frees the elements (strings, references, variants) and the array. Null is
// allowed; a locked array gives DISP_E_ARRAYISLOCKED and stays.
HRESULT SafeArrayDestroy(SAFEARRAY* psa) noexcept;

UINT SafeArrayGetDim(SAFEARRAY* psa) noexcept;
UINT SafeArrayGetElemsize(SAFEARRAY* psa) noexcept;
// `dim` counts from 1; DISP_E_BADINDEX outside 1..cDims.
HRESULT SafeArrayGetLBound(SAFEARRAY* psa, UINT dim, LONG* bound) noexcept;
HRESULT SafeArrayGetUBound(SAFEARRAY* psa, UINT dim, LONG* bound) noexcept;
HRESULT SafeArrayGetVartype(SAFEARRAY* psa, VARTYPE* vt) noexcept;

// Element access with copy semantics. For VT_BSTR, VT_DISPATCH and VT_UNKNOWN
// arrays PutElement takes the BSTR or interface pointer itself as `value`,
// otherwise a pointer to the value; the old element is freed. GetElement
// writes a new copy (new BSTR, new reference, VariantCopy) to `value`, whose
// old content is overwritten, not freed. DISP_E_BADINDEX for an index out of
// bounds, E_INVALIDARG for null arguments.
HRESULT SafeArrayPutElement(SAFEARRAY* psa, LONG* indices, void* value) noexcept;
HRESULT SafeArrayGetElement(SAFEARRAY* psa, LONG* indices, void* value) noexcept;
HRESULT SafeArrayPtrOfIndex(SAFEARRAY* psa, LONG* indices, void** element) noexcept;

// A lock keeps the data where it is: Destroy and Redim refuse a locked array.
HRESULT SafeArrayLock(SAFEARRAY* psa) noexcept;
HRESULT SafeArrayUnlock(SAFEARRAY* psa) noexcept; // E_UNEXPECTED when not locked
HRESULT SafeArrayAccessData(SAFEARRAY* psa, void** data) noexcept;
HRESULT SafeArrayUnaccessData(SAFEARRAY* psa) noexcept;

// A deep copy. A null source gives a null copy and S_OK.
HRESULT SafeArrayCopy(SAFEARRAY* psa, SAFEARRAY** copy) noexcept;

// Changes the bounds of the last dimension (rgsabound[0]); elements that fall
// away are freed, new ones start zeroed.
HRESULT SafeArrayRedim(SAFEARRAY* psa, SAFEARRAYBOUND* newBound) noexcept;
