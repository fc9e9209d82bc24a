#include "tarvex/platform/olevariant.h"

#include <cstring>

#include "tarvex/platform/safearray.h"

namespace {

bool ArraysEqual(SAFEARRAY* a, SAFEARRAY* b) noexcept {
    if (a == b) return true;
    if (a == nullptr || b == nullptr || a->cDims != b->cDims || a->cbElements != b->cbElements)
        return false;
    VARTYPE vtA = VT_EMPTY, vtB = VT_EMPTY;
    SafeArrayGetVartype(a, &vtA);
    SafeArrayGetVartype(b, &vtB);
    if (vtA != vtB) return false;
    size_t count = 1;
    for (USHORT i = 0; i < a->cDims; ++i) {
        if (a->rgsabound[i].cElements != b->rgsabound[i].cElements ||
            a->rgsabound[i].lLbound != b->rgsabound[i].lLbound)
            return false;
        count *= a->rgsabound[i].cElements;
    }
    const char* dataA = static_cast<const char*>(a->pvData);
    const char* dataB = static_cast<const char*>(b->pvData);
    for (size_t i = 0; i < count; ++i) {
        const char* x = dataA + i * a->cbElements;
        const char* y = dataB + i * a->cbElements;
        if (vtA == VT_VARIANT) {
            if (!TxVariantEqual(*reinterpret_cast<const VARIANT*>(x),
                                *reinterpret_cast<const VARIANT*>(y)))
                return false;
        } else if (vtA == VT_BSTR) {
            BSTR s = *reinterpret_cast<const BSTR*>(x);
            BSTR t = *reinterpret_cast<const BSTR*>(y);
            if (SysStringByteLen(s) != SysStringByteLen(t) ||
                (SysStringByteLen(s) != 0 && std::memcmp(s, t, SysStringByteLen(s)) != 0))
                return false;
        } else if (std::memcmp(x, y, a->cbElements) != 0) {
            return false;
        }
    }
    return true;
}

BSTR MakeBstr(const char16_t* text) noexcept {
    return SysAllocString(text);
}

} // namespace

bool TxVariantEqual(const VARIANT& a, const VARIANT& b) noexcept {
    if (&a == &b) return true;
    if (a.vt != b.vt) return false;
    if (a.vt & VT_BYREF) return a.byref == b.byref;
    if (a.vt & VT_ARRAY) return ArraysEqual(a.parray, b.parray);
    switch (a.vt) {
    case VT_EMPTY:
    case VT_NULL:
        return true;
    case VT_BOOL:
        return a.boolVal == b.boolVal;
    case VT_I1:
    case VT_UI1:
        return a.bVal == b.bVal;
    case VT_I2:
    case VT_UI2:
        return a.iVal == b.iVal;
    case VT_I4:
    case VT_UI4:
    case VT_INT:
    case VT_UINT:
    case VT_ERROR:
    case VT_HRESULT:
        return a.lVal == b.lVal;
    case VT_I8:
    case VT_UI8:
    case VT_CY:
        return a.llVal == b.llVal;
    case VT_R4:
        return a.fltVal == b.fltVal;
    case VT_R8:
        return a.dblVal == b.dblVal;
    case VT_DATE:
        return a.date == b.date;
    case VT_BSTR: {
        const UINT bytes = SysStringByteLen(a.bstrVal);
        return bytes == SysStringByteLen(b.bstrVal) &&
               (bytes == 0 || std::memcmp(a.bstrVal, b.bstrVal, bytes) == 0);
    }
    case VT_DISPATCH:
    case VT_UNKNOWN:
        return a.punkVal == b.punkVal;
    default:
        return false;
    }
}

COleVariant::COleVariant() noexcept {
    VariantInit(this);
}

COleVariant::COleVariant(const VARIANT& src) noexcept {
    VariantInit(this);
    VariantCopy(this, &src);
}

COleVariant::COleVariant(LPCVARIANT src) noexcept {
    VariantInit(this);
    if (src) VariantCopy(this, src);
}

COleVariant::COleVariant(const COleVariant& src) noexcept
    : COleVariant(static_cast<const VARIANT&>(src)) {}

COleVariant::COleVariant(COleVariant&& src) noexcept : tagVARIANT(src) {
    VariantInit(&src);
}

COleVariant::COleVariant(const char16_t* text) noexcept {
    VariantInit(this);
    vt = VT_BSTR;
    bstrVal = MakeBstr(text);
}

COleVariant::COleVariant(const char16_t* text, VARTYPE) noexcept : COleVariant(text) {}

COleVariant::COleVariant(const CString& text) noexcept {
    VariantInit(this);
    vt = VT_BSTR;
    bstrVal = SysAllocStringLen(text.GetString(), UINT(text.GetLength()));
}

COleVariant::COleVariant(BYTE value) noexcept {
    VariantInit(this);
    vt = VT_UI1;
    bVal = value;
}

COleVariant::COleVariant(SHORT value, VARTYPE vtSrc) noexcept {
    VariantInit(this);
    if (vtSrc == VT_BOOL) {
        vt = VT_BOOL;
        boolVal = value ? VARIANT_TRUE : VARIANT_FALSE;
    } else {
        vt = VT_I2;
        iVal = value;
    }
}

COleVariant::COleVariant(LONG value, VARTYPE vtSrc) noexcept {
    VariantInit(this);
    if (vtSrc == VT_BOOL) {
        vt = VT_BOOL;
        boolVal = value ? VARIANT_TRUE : VARIANT_FALSE;
    } else if (vtSrc == VT_ERROR) {
        vt = VT_ERROR;
        scode = value;
    } else {
        vt = VT_I4;
        lVal = value;
    }
}

COleVariant::COleVariant(LONGLONG value) noexcept {
    VariantInit(this);
    vt = VT_I8;
    llVal = value;
}

COleVariant::COleVariant(ULONGLONG value) noexcept {
    VariantInit(this);
    vt = VT_UI8;
    ullVal = value;
}

COleVariant::COleVariant(float value) noexcept {
    VariantInit(this);
    vt = VT_R4;
    fltVal = value;
}

COleVariant::COleVariant(double value, VARTYPE vtSrc) noexcept {
    VariantInit(this);
    if (vtSrc == VT_DATE) {
        vt = VT_DATE;
        date = value;
    } else {
        vt = VT_R8;
        dblVal = value;
    }
}

COleVariant::~COleVariant() {
    VariantClear(this);
}

COleVariant& COleVariant::operator=(const VARIANT& src) noexcept {
    VariantCopy(this, &src);
    return *this;
}

COleVariant& COleVariant::operator=(LPCVARIANT src) noexcept {
    if (src)
        VariantCopy(this, src);
    else
        Clear();
    return *this;
}

COleVariant& COleVariant::operator=(const COleVariant& src) noexcept {
    return *this = static_cast<const VARIANT&>(src);
}

COleVariant& COleVariant::operator=(COleVariant&& src) noexcept {
    if (this != &src) {
        Clear();
        static_cast<tagVARIANT&>(*this) = src;
        VariantInit(&src);
    }
    return *this;
}

COleVariant& COleVariant::operator=(const char16_t* text) noexcept {
    // Allocated before clearing: `text` may be this variant's own string.
    BSTR copy = MakeBstr(text);
    Clear();
    vt = VT_BSTR;
    bstrVal = copy;
    return *this;
}

COleVariant& COleVariant::operator=(const CString& text) noexcept {
    BSTR copy = SysAllocStringLen(text.GetString(), UINT(text.GetLength()));
    Clear();
    vt = VT_BSTR;
    bstrVal = copy;
    return *this;
}

COleVariant& COleVariant::operator=(BYTE value) noexcept {
    Clear();
    vt = VT_UI1;
    bVal = value;
    return *this;
}

COleVariant& COleVariant::operator=(SHORT value) noexcept {
    if (vt == VT_BOOL) {
        boolVal = value ? VARIANT_TRUE : VARIANT_FALSE;
    } else {
        Clear();
        vt = VT_I2;
        iVal = value;
    }
    return *this;
}

COleVariant& COleVariant::operator=(LONG value) noexcept {
    if (vt == VT_BOOL) {
        boolVal = value ? VARIANT_TRUE : VARIANT_FALSE;
    } else if (vt == VT_ERROR) {
        scode = value;
    } else {
        Clear();
        vt = VT_I4;
        lVal = value;
    }
    return *this;
}

COleVariant& COleVariant::operator=(LONGLONG value) noexcept {
    Clear();
    vt = VT_I8;
    llVal = value;
    return *this;
}

COleVariant& COleVariant::operator=(ULONGLONG value) noexcept {
    Clear();
    vt = VT_UI8;
    ullVal = value;
    return *this;
}

COleVariant& COleVariant::operator=(float value) noexcept {
    Clear();
    vt = VT_R4;
    fltVal = value;
    return *this;
}

COleVariant& COleVariant::operator=(double value) noexcept {
    Clear();
    vt = VT_R8;
    dblVal = value;
    return *this;
}

bool COleVariant::operator==(const VARIANT& other) const noexcept {
    return TxVariantEqual(*this, other);
}

bool COleVariant::operator==(LPCVARIANT other) const noexcept {
    return other && TxVariantEqual(*this, *other);
}

void COleVariant::Clear() noexcept {
    VariantClear(this);
}

HRESULT COleVariant::ChangeType(VARTYPE vartype, LPVARIANT src) noexcept {
    if (src == nullptr) src = this;
    if (src == this && vt == vartype) return S_OK;
    return VariantChangeType(this, src, 0, vartype);
}

void COleVariant::Attach(VARIANT& src) noexcept {
    if (&src == this) return;
    Clear();
    static_cast<tagVARIANT&>(*this) = src;
    VariantInit(&src);
}

VARIANT COleVariant::Detach() noexcept {
    VARIANT result = *this;
    VariantInit(this);
    return result;
}

void COleVariant::SetString(const char16_t* text, VARTYPE) noexcept {
    *this = text;
}
