// Conversions and comparison of the language's values. None of them is
// VariantChangeType: numbers print with 12 decimals, booleans as
// "true"/"false", reals truncate to integers.
#include <cmath>
#include <cstdint>
#include <limits>

#include "tarvex/core/numbertext.h"
#include "tarvex/formula/function.h"
#include "tarvex/formula/objects/calculatedobject.h"
#include "tarvex/geometry/vector3d.h"
#include "tarvex/platform/casemap.h"
#include "tarvex/platform/safearray.h"
#include "tarvex/platform/vartime.h"
#include "tarvex/platform/wide.h"

namespace {

// Truncation toward zero; NaN and values beyond 32 bits give INT32_MIN, as
// the processor's conversion does, without undefined behaviour.
int TruncateToInt(double d) {
    if (!(d > -2147483649.0 && d < 2147483648.0)) return std::numeric_limits<int>::min();
    return int(d);
}

int ClampToInt(std::int64_t v) {
    if (v > std::numeric_limits<int>::max()) return std::numeric_limits<int>::max();
    if (v < -std::numeric_limits<int>::max()) return -std::numeric_limits<int>::max();
    return int(v);
}

int SignOf(double d) {
    if (d < 0) return -1;
    return d == 0 ? 0 : 1;
}

// The value property of an automation object; false for a null object or a
// failed call.
bool DefaultValue(IDispatch* object, VARIANT& out) {
    VariantInit(&out);
    if (!object) return false;
    DISPPARAMS none{nullptr, nullptr, 0, 0};
    if (FAILED(object->Invoke(0, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_PROPERTYGET, &none, &out,
                              nullptr, nullptr))) {
        VariantClear(&out);
        return false;
    }
    return true;
}

struct ScopedVariant {
    VARIANT v;
    ScopedVariant() { VariantInit(&v); }
    ~ScopedVariant() { VariantClear(&v); }
};

const char16_t* TextOf(const VARIANT& v) {
    return v.bstrVal ? v.bstrVal : u"";
}

} // namespace

bool CFunction::IsVector(const VARIANT& v) {
    if (v.vt != (VT_ARRAY | VT_R8) || !v.parray) return false;
    if (SafeArrayGetDim(v.parray) != 1) return false;
    LONG low = 0, high = 0;
    SafeArrayGetLBound(v.parray, 1, &low);
    SafeArrayGetUBound(v.parray, 1, &high);
    return std::int64_t(high) - low == 2;
}

int CFunction::AsInt(const VARIANT& v) {
    switch (v.vt) {
    case VT_EMPTY:
        return 0;
    case VT_I2:
        return v.iVal;
    case VT_UI2:
        return v.uiVal;
    case VT_I4:
    case VT_ERROR:
    case VT_UI4:
    case VT_INT:
    case VT_UINT:
    case VT_HRESULT:
        return v.lVal;
    case VT_R4:
        return TruncateToInt(v.fltVal);
    case VT_R8:
    case VT_DATE:
        return TruncateToInt(v.dblVal);
    case VT_BSTR:
        return _wtoi(TextOf(v));
    case VT_BOOL:
        return std::uint16_t(v.boolVal) == 0xFFFF ? 1 : 0;
    case VT_DISPATCH: {
        ScopedVariant value;
        return DefaultValue(v.pdispVal, value.v) ? AsInt(value.v) : 0;
    }
    default: {
        ScopedVariant value;
        return SUCCEEDED(VariantChangeType(&value.v, &v, 0, VT_I4)) ? value.v.lVal : 0;
    }
    }
}

double CFunction::AsReal(const VARIANT& v) {
    switch (v.vt) {
    case VT_EMPTY:
        return 0.0;
    case VT_I2:
        return v.iVal;
    case VT_UI2:
        return v.uiVal;
    case VT_I4:
    case VT_ERROR:
    case VT_INT:
    case VT_HRESULT:
        return v.lVal;
    case VT_UI4:
    case VT_UINT:
        return v.ulVal;
    case VT_R4:
        return v.fltVal;
    case VT_R8:
    case VT_DATE:
        return v.dblVal;
    case VT_BSTR:
        return StrToDbl(TextOf(v));
    case VT_BOOL:
        return std::uint16_t(v.boolVal) == 0xFFFF ? 1.0 : 0.0;
    case VT_DISPATCH: {
        ScopedVariant value;
        return DefaultValue(v.pdispVal, value.v) ? AsReal(value.v) : 0.0;
    }
    default: {
        ScopedVariant value;
        return SUCCEEDED(VariantChangeType(&value.v, &v, 0, VT_R8)) ? value.v.dblVal : 0.0;
    }
    }
}

bool CFunction::AsBool(const VARIANT& v) {
    switch (v.vt) {
    case VT_EMPTY:
        return false;
    case VT_I2:
    case VT_UI2:
        return std::uint16_t(v.uiVal) != 0;
    case VT_I4:
    case VT_ERROR:
    case VT_UI4:
    case VT_INT:
    case VT_UINT:
    case VT_HRESULT:
        return (std::uint32_t(v.lVal) & 0xFFFFu) != 0; // the low 16 bits only, on purpose
    case VT_R4:
        return !(v.fltVal == 0);
    case VT_R8:
    case VT_DATE:
        return !(v.dblVal == 0);
    case VT_BSTR: {
        const char16_t* s = TextOf(v);
        static const char16_t kTrue[] = u"true";
        for (int i = 0; i < 4; ++i)
            if (towlower16(s[i]) != kTrue[i]) return false;
        return s[4] == 0;
    }
    case VT_BOOL:
        return std::uint16_t(v.boolVal) == 0xFFFF;
    case VT_DISPATCH: {
        ScopedVariant value;
        return DefaultValue(v.pdispVal, value.v) ? AsBool(value.v) : false;
    }
    default: {
        ScopedVariant value;
        return SUCCEEDED(VariantChangeType(&value.v, &v, 0, VT_BOOL)) ? value.v.boolVal != 0
                                                                      : false;
    }
    }
}

CString CFunction::AsString(const VARIANT& v) {
    switch (v.vt) {
    case VT_EMPTY:
        return CString();
    case VT_I2: {
        CString s;
        s.Format(u"%d", int(v.iVal));
        return s;
    }
    case VT_UI2: {
        CString s;
        s.Format(u"%d", int(v.uiVal));
        return s;
    }
    case VT_I4:
    case VT_ERROR:
    case VT_INT:
    case VT_HRESULT: {
        CString s;
        s.Format(u"%d", int(v.lVal));
        return s;
    }
    case VT_UI4:
    case VT_UINT: {
        CString s;
        s.Format(u"%u", unsigned(v.ulVal));
        return s;
    }
    case VT_R4:
        return tarvex::DblToString(v.fltVal, 12);
    case VT_R8:
        return tarvex::DblToString(v.dblVal, 12);
    case VT_DATE: {
        CString s;
        FormatDateTime(v.dblVal, s);
        return s;
    }
    case VT_BSTR:
        return CString(v.bstrVal);
    case VT_BOOL:
        return CString(std::uint16_t(v.boolVal) == 0xFFFF ? u"true" : u"false");
    case VT_DISPATCH: {
        ScopedVariant value;
        return DefaultValue(v.pdispVal, value.v) ? AsString(value.v) : CString();
    }
    default: {
        if (IsVector(v)) {
            double* data = nullptr;
            if (FAILED(SafeArrayAccessData(v.parray, reinterpret_cast<void**>(&data))))
                return CString();
            CTXVector3d vector(data);
            SafeArrayUnaccessData(v.parray);
            return vector.ToString();
        }
        ScopedVariant value;
        if (FAILED(VariantChangeType(&value.v, &v, 0, VT_BSTR))) return CString();
        return CString(value.v.bstrVal);
    }
    }
}

double CFunction::StrToDbl(const char16_t* s) {
    if (!s) return 0.0;
    char16_t* end = nullptr;
    const double value = wcstod16(s, &end);
    if (!end || *end == 0) return value;
    CString copy(s);
    copy.SetAt(int(end - s), u'.');
    return _wtof(copy);
}

void CFunction::ConvertVariableToValue(VARIANT& v) {
    if (v.vt != VT_DISPATCH || !v.pdispVal) return;
    auto* variable = dynamic_cast<CTXFunctionVariable*>(v.pdispVal);
    if (!variable) return;
    VARIANT value;
    VariantInit(&value);
    variable->GetValueCheck(value);
    VariantClear(&v);
    v = value;
}

void CFunction::SetType(VARIANT& v, VARTYPE vt) {
    if (v.vt == vt || vt < 2 || vt > 25) return;
    VARIANT result;
    VariantInit(&result);
    switch (vt) {
    case VT_I2:
    case VT_UI2:
        result.iVal = std::int16_t(std::uint16_t(std::uint32_t(AsInt(v))));
        break;
    case VT_I4:
    case VT_ERROR:
    case VT_UI4:
    case VT_INT:
    case VT_UINT:
    case VT_HRESULT:
        result.lVal = AsInt(v);
        break;
    case VT_R4:
        result.fltVal = float(AsReal(v));
        break;
    case VT_R8:
        result.dblVal = AsReal(v);
        break;
    case VT_BOOL:
        result.boolVal = AsBool(v) ? VARIANT_TRUE : VARIANT_FALSE;
        break;
    case VT_DATE:
        if (v.vt == VT_BSTR) {
            if (!ParseDateTime(TextOf(v), result.dblVal)) {
                SYSTEMTIME now;
                GetLocalTime(&now);
                SystemTimeToVariantTime(&now, &result.dblVal);
            }
        } else {
            result.dblVal = AsReal(v);
        }
        break;
    case VT_BSTR: {
        CString text = AsString(v);
        result.bstrVal = text.AllocSysString();
        break;
    }
    default:
        return;
    }
    result.vt = vt;
    VariantClear(&v);
    v = result;
}

void CFunction::SetNumericTypes(VARIANT& a, VARIANT& b) {
    if (a.vt == b.vt && a.vt != VT_BSTR) return;
    auto real = [](VARTYPE vt) { return vt == VT_R4 || vt == VT_R8 || vt == VT_BSTR; };
    const VARTYPE common = real(a.vt) || real(b.vt) ? VT_R8 : VT_I4;
    SetType(a, common);
    SetType(b, common);
}

int CFunction::Compare(VARIANT& a, VARIANT& b) {
    ConvertVariableToValue(a);
    ConvertVariableToValue(b);
    if (a.vt == VT_DISPATCH && b.vt == VT_DISPATCH)
        if (auto* object = TXFunctionObjects::CCalculatedObject::FromVariant(a))
            return object->ComapreTo(b);
    if (IsVector(a) && IsVector(b)) return VectorCompare(a, b);
    return CompareVariants(a, b);
}

namespace {

bool ReadVector(const VARIANT& v, CTXVector3d& out) {
    if (!CFunction::IsVector(v)) return false;
    double* data = nullptr;
    if (FAILED(SafeArrayAccessData(v.parray, reinterpret_cast<void**>(&data)))) return false;
    out = CTXVector3d(data);
    SafeArrayUnaccessData(v.parray);
    return true;
}

// Digits with exactly one point or comma, after an optional minus.
bool IsDecimalText(const char16_t* s) {
    if (*s == u'-') ++s;
    int separators = 0;
    if (!*s) return false;
    for (; *s; ++s) {
        if (*s == u'.' || *s == u',')
            ++separators;
        else if (*s < u'0' || *s > u'9')
            return false;
    }
    return separators == 1;
}

double Unfold(double x) {
    if (x > -5.787037037037037e-6) return x;
    const double c = std::ceil(x);
    return c - (x - c);
}

} // namespace

int CFunction::VectorCompare(const VARIANT& a, const VARIANT& b) {
    CTXVector3d u, v;
    ReadVector(a, u);
    ReadVector(b, v);
    if (std::fabs(u.x - v.x) < 1e-5 && std::fabs(u.y - v.y) < 1e-5 && std::fabs(u.z - v.z) < 1e-5)
        return 0;
    const double su = std::fabs(u.x) + std::fabs(u.y) + std::fabs(u.z);
    const double sv = std::fabs(v.x) + std::fabs(v.y) + std::fabs(v.z);
    return su > sv ? 1 : -1;
}

int CFunction::CompareVariants(const VARIANT& a, const VARIANT& b) {
    switch (a.vt) {
    case VT_EMPTY:
        if (b.vt == VT_BSTR) return -wcscmp(TextOf(b), u"");
        return ClampToInt(-std::int64_t(AsInt(b)));
    case VT_I2:
    case VT_BOOL:
    case VT_UI2:
        return int(a.iVal) - int(std::int16_t(std::uint16_t(std::uint32_t(AsInt(b)))));
    case VT_I4:
    case VT_ERROR:
    case VT_UI4:
    case VT_INT:
    case VT_UINT:
    case VT_HRESULT:
        if (b.vt == VT_R4 || b.vt == VT_R8) return -CompareVariants(b, a);
        if (b.vt == VT_BSTR && IsDecimalText(TextOf(b))) {
            const double d = double(a.lVal) - AsReal(b);
            if (std::fabs(d) < 1e-10) return 0;
            return d < 0 ? -1 : 1;
        }
        return ClampToInt(std::int64_t(a.lVal) - AsInt(b));
    case VT_R4: {
        const double d = double(a.fltVal) - AsReal(b);
        if (std::fabs(d) < 1e-10) return 0;
        return d < 0 ? -1 : 1;
    }
    case VT_R8:
        return SignOf(a.dblVal - AsReal(b));
    case VT_DATE:
        if (b.vt != VT_DATE) throw CSyntaxError(116u);
        return SignOf(Unfold(a.dblVal) - Unfold(b.dblVal));
    case VT_BSTR:
        if (b.vt != VT_BSTR) return -CompareVariants(b, a);
        return wcscmp(TextOf(a), TextOf(b));
    case VT_DISPATCH: {
        ScopedVariant value;
        if (!DefaultValue(a.pdispVal, value.v)) return 0;
        VARIANT other;
        VariantInit(&other);
        VariantCopy(&other, &b);
        const int result = Compare(value.v, other);
        VariantClear(&other);
        return result;
    }
    default:
        throw CSyntaxError(116u);
    }
}
