#include "tarvex/platform/variant.h"

#include <cfloat>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>

#include "tarvex/platform/safearray.h"
#include "tarvex/platform/vartime.h"

namespace {

// Types a SAFEARRAY may hold.
bool IsArrayElementType(VARTYPE base) noexcept {
    switch (base) {
    case VT_I1:
    case VT_UI1:
    case VT_I2:
    case VT_UI2:
    case VT_I4:
    case VT_UI4:
    case VT_INT:
    case VT_UINT:
    case VT_I8:
    case VT_UI8:
    case VT_R4:
    case VT_R8:
    case VT_CY:
    case VT_DATE:
    case VT_BOOL:
    case VT_ERROR:
    case VT_BSTR:
    case VT_DISPATCH:
    case VT_UNKNOWN:
    case VT_VARIANT:
    case VT_DECIMAL:
        return true;
    default:
        return false;
    }
}

// The type codes a variant may carry here. VT_DECIMAL and VT_RECORD have
// layouts this model doesn't hold, so they are refused as OLE refuses
// unknown codes.
bool IsValidVariantType(VARTYPE vt) noexcept {
    if (vt & (VT_VECTOR | VT_RESERVED)) return false;
    const VARTYPE base = vt & VT_TYPEMASK;
    if (vt & VT_ARRAY) return IsArrayElementType(base);
    const bool byref = (vt & VT_BYREF) != 0;
    switch (base) {
    case VT_EMPTY:
    case VT_NULL:
    case VT_HRESULT:
        return !byref;
    case VT_VARIANT:
        return byref;
    case VT_BSTR:
    case VT_DISPATCH:
    case VT_UNKNOWN:
        return true;
    default:
        return tarvex::VariantScalarSize(base) != 0;
    }
}

void ZeroValue(VARIANT& v) noexcept {
    std::memset(&v.llVal, 0, sizeof(VARIANT) - offsetof(VARIANT, llVal));
}

VARIANT EmptyVariant() noexcept {
    VARIANT v;
    std::memset(&v, 0, sizeof v);
    return v;
}

BSTR CopyBstr(BSTR source) noexcept {
    return SysAllocStringByteLen(reinterpret_cast<const char*>(source), SysStringByteLen(source));
}

HRESULT MakeBstr(const std::u16string& text, VARIANT& out) noexcept {
    BSTR value = SysAllocStringLen(text.data(), UINT(text.size()));
    if (value == nullptr) return E_OUTOFMEMORY;
    out.vt = VT_BSTR;
    out.bstrVal = value;
    return S_OK;
}

std::u16string Widen(std::string_view ascii) {
    return std::u16string(ascii.begin(), ascii.end());
}

// ---------------------------------------------------------------------------
// Numbers

struct Number {
    enum Kind { Int, UInt, Real } kind = Int;
    std::int64_t i = 0;
    std::uint64_t u = 0;
    double d = 0;
};

Number FromInt(std::int64_t v) noexcept {
    return {Number::Int, v, 0, 0};
}
Number FromUInt(std::uint64_t v) noexcept {
    return {Number::UInt, 0, v, 0};
}
Number FromReal(double v) noexcept {
    return {Number::Real, 0, 0, v};
}

// The value of a plain numeric variant (not text, not an object).
bool ReadNumber(const VARIANT& s, Number& n) noexcept {
    switch (s.vt) {
    case VT_EMPTY:
        n = FromInt(0);
        return true;
    case VT_I1:
        n = FromInt(static_cast<signed char>(s.cVal));
        return true;
    case VT_I2:
        n = FromInt(s.iVal);
        return true;
    case VT_I4:
        n = FromInt(s.lVal);
        return true;
    case VT_INT:
        n = FromInt(s.intVal);
        return true;
    case VT_I8:
        n = FromInt(s.llVal);
        return true;
    case VT_BOOL:
        n = FromInt(s.boolVal);
        return true;
    case VT_UI1:
        n = FromUInt(s.bVal);
        return true;
    case VT_UI2:
        n = FromUInt(s.uiVal);
        return true;
    case VT_UI4:
        n = FromUInt(s.ulVal);
        return true;
    case VT_UINT:
        n = FromUInt(s.uintVal);
        return true;
    case VT_UI8:
        n = FromUInt(s.ullVal);
        return true;
    case VT_R4:
        n = FromReal(s.fltVal);
        return true;
    case VT_R8:
        n = FromReal(s.dblVal);
        return true;
    case VT_DATE:
        n = FromReal(s.date);
        return true;
    default:
        return false;
    }
}

// OLE rounds reals to integers half to even ("banker's rounding").
double RoundHalfEven(double x) noexcept {
    const double floor = std::floor(x);
    const double diff = x - floor;
    if (diff > 0.5) return floor + 1;
    if (diff < 0.5) return floor;
    return std::fmod(floor, 2.0) == 0 ? floor : floor + 1;
}

// Sign and magnitude of the integer a number rounds to; false when it is NaN
// or beyond 64 bits.
bool ToMagnitude(const Number& n, bool& negative, std::uint64_t& magnitude) noexcept {
    switch (n.kind) {
    case Number::Int:
        negative = n.i < 0;
        magnitude = negative ? 0 - std::uint64_t(n.i) : std::uint64_t(n.i);
        return true;
    case Number::UInt:
        negative = false;
        magnitude = n.u;
        return true;
    case Number::Real: {
        const double r = RoundHalfEven(n.d);
        constexpr double kTwo64 = 18446744073709551616.0;
        if (!(r > -kTwo64 && r < kTwo64)) return false;
        negative = r < 0;
        magnitude = std::uint64_t(std::fabs(r));
        return true;
    }
    }
    return false;
}

bool IntegerTarget(VARTYPE vt, int& bits, bool& isSigned) noexcept {
    switch (vt) {
    case VT_I1:
        bits = 8;
        isSigned = true;
        return true;
    case VT_I2:
        bits = 16;
        isSigned = true;
        return true;
    case VT_I4:
    case VT_INT:
        bits = 32;
        isSigned = true;
        return true;
    case VT_I8:
        bits = 64;
        isSigned = true;
        return true;
    case VT_UI1:
        bits = 8;
        isSigned = false;
        return true;
    case VT_UI2:
        bits = 16;
        isSigned = false;
        return true;
    case VT_UI4:
    case VT_UINT:
        bits = 32;
        isSigned = false;
        return true;
    case VT_UI8:
        bits = 64;
        isSigned = false;
        return true;
    default:
        return false;
    }
}

void StoreInteger(VARIANT& out, VARTYPE vt, std::uint64_t bits) noexcept {
    out.vt = vt;
    switch (vt) {
    case VT_I1:
        out.cVal = char(std::int8_t(bits));
        break;
    case VT_UI1:
        out.bVal = BYTE(bits);
        break;
    case VT_I2:
        out.iVal = SHORT(bits);
        break;
    case VT_UI2:
        out.uiVal = USHORT(bits);
        break;
    case VT_I4:
        out.lVal = LONG(bits);
        break;
    case VT_INT:
        out.intVal = INT(bits);
        break;
    case VT_UI4:
        out.ulVal = ULONG(bits);
        break;
    case VT_UINT:
        out.uintVal = UINT(bits);
        break;
    case VT_I8:
        out.llVal = LONGLONG(bits);
        break;
    case VT_UI8:
        out.ullVal = bits;
        break;
    case VT_ERROR:
        out.scode = SCODE(bits);
        break;
    default:
        break;
    }
}

HRESULT ToInteger(const Number& n, VARTYPE vt, VARIANT& out) noexcept {
    int bits;
    bool isSigned;
    IntegerTarget(vt, bits, isSigned);
    bool negative;
    std::uint64_t magnitude;
    if (!ToMagnitude(n, negative, magnitude)) return DISP_E_OVERFLOW;
    const std::uint64_t positiveLimit =
        isSigned ? (std::uint64_t(1) << (bits - 1)) - 1
                 : (bits == 64 ? ~std::uint64_t(0) : (std::uint64_t(1) << bits) - 1);
    const std::uint64_t negativeLimit = isSigned ? std::uint64_t(1) << (bits - 1) : 0;
    if (magnitude > (negative ? negativeLimit : positiveLimit)) return DISP_E_OVERFLOW;
    StoreInteger(out, vt, negative ? 0 - magnitude : magnitude);
    return S_OK;
}

double ToDouble(const Number& n) noexcept {
    switch (n.kind) {
    case Number::Int:
        return double(n.i);
    case Number::UInt:
        return double(n.u);
    case Number::Real:
        return n.d;
    }
    return 0;
}

bool IsNonZero(const Number& n) noexcept {
    switch (n.kind) {
    case Number::Int:
        return n.i != 0;
    case Number::UInt:
        return n.u != 0;
    case Number::Real:
        return n.d != 0; // NaN counts as true
    }
    return false;
}

bool IsBlank(char16_t ch) noexcept {
    return ch == u' ' || ch == u'\t' || ch == u'\r' || ch == u'\n';
}
bool IsDigit(char16_t ch) noexcept {
    return ch >= u'0' && ch <= u'9';
}

void Trim(const char16_t*& p, const char16_t*& end) noexcept {
    while (p < end && IsBlank(*p)) ++p;
    while (end > p && IsBlank(end[-1])) --end;
}

// Text of a BSTR up to its end or its first null, whichever comes first.
void TextRange(BSTR text, const char16_t*& p, const char16_t*& end) noexcept {
    p = text ? text : u"";
    end = p;
    const char16_t* limit = p + SysStringLen(text);
    while (end < limit && *end != 0) ++end;
}

// Blanks, an optional sign, digits with an optional point, an optional
// exponent, blanks. Whole integers are read exactly; anything else as a double.
HRESULT ParseNumber(const char16_t* p, const char16_t* end, Number& n) {
    Trim(p, end);
    bool negative = false;
    if (p < end && (*p == u'+' || *p == u'-')) negative = *p++ == u'-';
    std::string mantissa;
    int integerDigits = 0; // significant digits before the point
    int leadingZeros = 0;  // zeros between the point and the first significant digit
    bool point = false, nonZero = false;
    for (; p < end; ++p) {
        if (IsDigit(*p)) {
            if (*p != u'0' || nonZero) {
                nonZero = true;
                if (!point) ++integerDigits;
            } else if (point) {
                ++leadingZeros;
            }
            mantissa += char(*p);
        } else if (*p == u'.' && !point) {
            point = true;
            mantissa += '.';
        } else {
            break;
        }
    }
    if (mantissa.empty() || mantissa == ".") return DISP_E_TYPEMISMATCH;
    std::string text = mantissa;
    std::int64_t exponent = 0;
    bool hasExponent = false;
    if (p < end && (*p == u'e' || *p == u'E')) {
        hasExponent = true;
        text += 'e';
        ++p;
        bool expNegative = false;
        if (p < end && (*p == u'+' || *p == u'-')) {
            expNegative = *p == u'-';
            text += char(*p++);
        }
        if (p == end || !IsDigit(*p)) return DISP_E_TYPEMISMATCH;
        for (; p < end && IsDigit(*p); ++p) {
            text += char(*p);
            if (exponent < 100000) exponent = exponent * 10 + (*p - u'0');
        }
        if (expNegative) exponent = -exponent;
    }
    if (p != end) return DISP_E_TYPEMISMATCH;

    if (!point && !hasExponent) {
        std::uint64_t magnitude = 0;
        auto [rest, ec] =
            std::from_chars(mantissa.data(), mantissa.data() + mantissa.size(), magnitude);
        if (ec == std::errc() && rest == mantissa.data() + mantissa.size()) {
            constexpr std::uint64_t kMinMagnitude = std::uint64_t(1) << 63;
            if (!negative)
                n = magnitude <= std::uint64_t(INT64_MAX) ? FromInt(std::int64_t(magnitude))
                                                          : FromUInt(magnitude);
            else if (magnitude <= kMinMagnitude)
                n = FromInt(std::int64_t(0 - magnitude));
            else
                n = FromReal(-double(magnitude));
            return S_OK;
        }
    }
    double value = 0;
    auto [rest, ec] =
        std::from_chars(text.data(), text.data() + text.size(), value, std::chars_format::general);
    if (ec == std::errc::result_out_of_range) {
        // Beyond the double range one way or the other: the decimal exponent
        // of the leading digit tells which.
        const std::int64_t magnitude =
            (integerDigits > 0 ? integerDigits - 1 : -leadingZeros - 1) + exponent;
        if (magnitude > 0) return DISP_E_OVERFLOW;
        value = 0;
    } else if (ec != std::errc() || rest != text.data() + text.size()) {
        return DISP_E_TYPEMISMATCH;
    }
    n = FromReal(negative ? -value : value);
    return S_OK;
}

// "%.<digits>G" without the C library, which would follow the process locale.
std::u16string FormatReal(double value, int digits) {
    if (value == 0) return u"0"; // never "-0"
    char buffer[64];
    auto result =
        std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::general, digits);
    for (char* c = buffer; c < result.ptr; ++c)
        if (*c >= 'a' && *c <= 'z') *c = char(*c - 'a' + 'A');
    return Widen(std::string_view(buffer, size_t(result.ptr - buffer)));
}

std::u16string FormatInteger(const Number& n) {
    char buffer[32];
    auto result = n.kind == Number::UInt ? std::to_chars(buffer, buffer + sizeof buffer, n.u)
                                         : std::to_chars(buffer, buffer + sizeof buffer, n.i);
    return Widen(std::string_view(buffer, size_t(result.ptr - buffer)));
}

bool EqualsAsciiNoCase(const char16_t* p, const char16_t* end, std::string_view word) noexcept {
    if (size_t(end - p) != word.size()) return false;
    for (char c : word) {
        char16_t ch = *p++;
        if (ch >= u'A' && ch <= u'Z') ch = char16_t(ch - u'A' + u'a');
        if (ch != char16_t(c)) return false;
    }
    return true;
}

// ---------------------------------------------------------------------------
// Dates

constexpr double kMinDate = -657435.0; // exclusive bounds: years 100 to 9999
constexpr double kMaxDate = 2958466.0;

HRESULT FormatDate(DATE date, ULONG flags, std::u16string& text) {
    SYSTEMTIME st;
    if (!VariantTimeToSystemTime(date, &st)) return E_INVALIDARG;
    const bool dayZero = st.wYear == 1899 && st.wMonth == 12 && st.wDay == 30;
    const bool midnight = st.wHour == 0 && st.wMinute == 0 && st.wSecond == 0;
    bool showDate, showTime;
    if (flags & VAR_DATEVALUEONLY) {
        showDate = true;
        showTime = false;
    } else if (flags & VAR_TIMEVALUEONLY) {
        showDate = false;
        showTime = true;
    } else {
        showDate = !dayZero;
        showTime = !midnight || dayZero;
    }
    char buffer[32];
    int length = 0;
    if (showDate)
        length += std::snprintf(buffer, sizeof buffer, "%02u.%02u.%04u", unsigned(st.wDay),
                                unsigned(st.wMonth), unsigned(st.wYear));
    if (showTime)
        length += std::snprintf(buffer + length, sizeof buffer - size_t(length), "%s%u:%02u:%02u",
                                showDate ? " " : "", unsigned(st.wHour), unsigned(st.wMinute),
                                unsigned(st.wSecond));
    text = Widen(std::string_view(buffer, size_t(length)));
    return S_OK;
}

// Reads 1..maxDigits digits (exactly `minDigits` at least).
bool ReadDigits(const char16_t*& p, const char16_t* end, int minDigits, int maxDigits,
                int& value) noexcept {
    int count = 0;
    value = 0;
    while (p < end && IsDigit(*p) && count < maxDigits) {
        value = value * 10 + (*p++ - u'0');
        ++count;
    }
    return count >= minDigits && !(p < end && IsDigit(*p));
}

bool ReadTime(const char16_t*& p, const char16_t* end, int& hour, int& minute,
              double& second) noexcept {
    int whole = 0;
    if (!ReadDigits(p, end, 1, 2, hour) || p == end || *p++ != u':' ||
        !ReadDigits(p, end, 2, 2, minute))
        return false;
    second = 0;
    if (p < end && *p == u':') {
        ++p;
        if (!ReadDigits(p, end, 2, 2, whole)) return false;
        second = whole;
        if (p < end && *p == u'.') {
            ++p;
            if (p == end || !IsDigit(*p)) return false;
            for (double scale = 0.1; p < end && IsDigit(*p); ++p, scale /= 10)
                second += (*p - u'0') * scale;
        }
    }
    return true;
}

bool ParseDate(const char16_t* p, const char16_t* end, DATE& date) noexcept {
    Trim(p, end);
    int year = 1899, month = 12, day = 30, hour = 0, minute = 0;
    double second = 0;
    const char16_t* start = p;
    int first;
    if (!ReadDigits(p, end, 1, 4, first) || p == end) return false;
    const int firstLength = int(p - start);
    if (*p == u':') {
        p = start;
        if (!ReadTime(p, end, hour, minute, second)) return false;
    } else {
        bool iso;
        if (*p == u'.' && firstLength <= 2) {
            iso = false;
            day = first;
            ++p;
            if (!ReadDigits(p, end, 1, 2, month) || p == end || *p++ != u'.' ||
                !ReadDigits(p, end, 4, 4, year))
                return false;
        } else if (*p == u'-' && firstLength == 4) {
            iso = true;
            year = first;
            ++p;
            if (!ReadDigits(p, end, 1, 2, month) || p == end || *p++ != u'-' ||
                !ReadDigits(p, end, 1, 2, day))
                return false;
        } else {
            return false;
        }
        if (p < end) {
            if (iso && *p == u'T')
                ++p;
            else if (IsBlank(*p))
                while (p < end && IsBlank(*p)) ++p;
            else
                return false;
            if (!ReadTime(p, end, hour, minute, second)) return false;
        }
    }
    return p == end && tarvex::MakeVariantDate(year, month, day, hour, minute, second, date);
}

// ---------------------------------------------------------------------------
// Conversion

HRESULT ToText(const VARIANT& s, USHORT flags, VARIANT& out) {
    Number n;
    switch (s.vt) {
    case VT_EMPTY:
        return MakeBstr(u"", out);
    case VT_R4:
        return MakeBstr(FormatReal(s.fltVal, 7), out);
    case VT_R8:
        return MakeBstr(FormatReal(s.dblVal, 15), out);
    case VT_DATE: {
        std::u16string text;
        HRESULT hr = FormatDate(s.date, 0, text);
        return FAILED(hr) ? hr : MakeBstr(text, out);
    }
    case VT_BOOL:
        if (flags & (VARIANT_ALPHABOOL | VARIANT_LOCALBOOL))
            return MakeBstr(s.boolVal ? u"True" : u"False", out);
        return MakeBstr(FormatInteger(FromInt(s.boolVal)), out);
    default:
        if (!ReadNumber(s, n)) return DISP_E_TYPEMISMATCH;
        return MakeBstr(FormatInteger(n), out);
    }
}

// The number a text or a plain value stands for.
HRESULT SourceNumber(const VARIANT& s, Number& n) {
    if (s.vt == VT_BSTR) {
        const char16_t *p, *end;
        TextRange(s.bstrVal, p, end);
        return ParseNumber(p, end, n);
    }
    return ReadNumber(s, n) ? S_OK : DISP_E_TYPEMISMATCH;
}

HRESULT ToBool(const VARIANT& s, VARIANT& out) {
    bool value;
    if (s.vt == VT_BSTR) {
        const char16_t *p, *end;
        TextRange(s.bstrVal, p, end);
        Trim(p, end);
        if (EqualsAsciiNoCase(p, end, "true")) {
            value = true;
        } else if (EqualsAsciiNoCase(p, end, "false")) {
            value = false;
        } else {
            Number n;
            HRESULT hr = ParseNumber(p, end, n);
            if (FAILED(hr)) return hr;
            value = IsNonZero(n);
        }
    } else {
        Number n;
        if (!ReadNumber(s, n)) return DISP_E_TYPEMISMATCH;
        value = IsNonZero(n);
    }
    out.vt = VT_BOOL;
    out.boolVal = value ? VARIANT_TRUE : VARIANT_FALSE;
    return S_OK;
}

HRESULT ToDate(const VARIANT& s, VARIANT& out) {
    double value;
    if (s.vt == VT_BSTR) {
        const char16_t *p, *end;
        TextRange(s.bstrVal, p, end);
        if (!ParseDate(p, end, value)) return DISP_E_TYPEMISMATCH;
    } else {
        Number n;
        if (!ReadNumber(s, n)) return DISP_E_TYPEMISMATCH;
        value = ToDouble(n);
        if (!(value > kMinDate && value < kMaxDate)) return DISP_E_OVERFLOW;
    }
    out.vt = VT_DATE;
    out.date = value;
    return S_OK;
}

HRESULT ToReal(const VARIANT& s, VARTYPE vt, VARIANT& out) {
    Number n;
    HRESULT hr = SourceNumber(s, n);
    if (FAILED(hr)) return hr;
    const double value = ToDouble(n);
    if (vt == VT_R4) {
        if (std::isfinite(value) && std::fabs(value) > FLT_MAX) return DISP_E_OVERFLOW;
        out.vt = VT_R4;
        out.fltVal = float(value);
    } else {
        out.vt = VT_R8;
        out.dblVal = value;
    }
    return S_OK;
}

bool IsIntegerSource(VARTYPE vt) noexcept {
    int bits;
    bool isSigned;
    return IntegerTarget(vt, bits, isSigned);
}

HRESULT ToIntegerType(const VARIANT& s, VARTYPE vt, VARIANT& out) {
    int bits = 0;
    bool isSigned = false;
    IntegerTarget(vt, bits, isSigned);
    if (s.vt == VT_BOOL && !isSigned) {
        // VARIANT_TRUE keeps its bits: 255, 65535, ...
        StoreInteger(out, vt, std::uint64_t(std::int64_t(s.boolVal)));
        return S_OK;
    }
    Number n;
    if (s.vt == VT_ERROR)
        n = FromInt(s.scode);
    else if (HRESULT hr = SourceNumber(s, n); FAILED(hr))
        return hr;
    return ToInteger(n, vt, out);
}

HRESULT ToError(const VARIANT& s, VARIANT& out) {
    Number n;
    if (!IsIntegerSource(s.vt) || !ReadNumber(s, n)) return DISP_E_TYPEMISMATCH;
    // Unsigned sources carry the code's bits, as 0x80004005.
    if (n.kind == Number::UInt ? n.u > 0xFFFFFFFFu : (n.i < INT32_MIN || n.i > INT32_MAX))
        return DISP_E_OVERFLOW;
    StoreInteger(out, VT_ERROR, n.kind == Number::UInt ? n.u : std::uint64_t(n.i));
    return S_OK;
}

HRESULT ChangeTypeImpl(VARIANT& out, const VARIANT& s, LCID lcid, USHORT flags, VARTYPE vt);

// An object converts through its value property.
HRESULT FromObject(VARIANT& out, const VARIANT& s, LCID lcid, USHORT flags, VARTYPE vt) {
    IUnknown* object = s.punkVal;
    if (vt == VT_UNKNOWN) { // from VT_DISPATCH: the same object
        if (object) object->AddRef();
        out.vt = VT_UNKNOWN;
        out.punkVal = object;
        return S_OK;
    }
    IDispatch* dispatch = nullptr;
    if (object != nullptr) {
        if (s.vt == VT_DISPATCH) {
            dispatch = s.pdispVal;
            dispatch->AddRef();
        } else if (FAILED(object->QueryInterface(IID_IDispatch,
                                                 reinterpret_cast<void**>(&dispatch)))) {
            dispatch = nullptr;
        }
    }
    if (vt == VT_DISPATCH) { // from VT_UNKNOWN
        if (object != nullptr && dispatch == nullptr) return DISP_E_TYPEMISMATCH;
        out.vt = VT_DISPATCH;
        out.pdispVal = dispatch;
        return S_OK;
    }
    if (dispatch == nullptr || (flags & VARIANT_NOVALUEPROP)) {
        if (dispatch) dispatch->Release();
        return DISP_E_TYPEMISMATCH;
    }
    DISPPARAMS params = {nullptr, nullptr, 0, 0};
    VARIANT value = EmptyVariant();
    EXCEPINFO info;
    std::memset(&info, 0, sizeof info);
    HRESULT hr = dispatch->Invoke(DISPID_VALUE, IID_NULL, lcid, DISPATCH_PROPERTYGET, &params,
                                  &value, &info, nullptr);
    dispatch->Release();
    SysFreeString(info.bstrSource);
    SysFreeString(info.bstrDescription);
    SysFreeString(info.bstrHelpFile);
    if (FAILED(hr)) {
        VariantClear(&value);
        return DISP_E_TYPEMISMATCH;
    }
    // The value must itself be plain: an object whose value is an object
    // is not followed further.
    hr = VariantChangeTypeEx(&out, &value, lcid, USHORT(flags | VARIANT_NOVALUEPROP), vt);
    VariantClear(&value);
    return hr;
}

bool IsConvertibleTarget(VARTYPE vt) noexcept {
    switch (vt) {
    case VT_EMPTY:
    case VT_NULL:
    case VT_BSTR:
    case VT_DATE:
    case VT_BOOL:
    case VT_R4:
    case VT_R8:
    case VT_ERROR:
    case VT_DISPATCH:
    case VT_UNKNOWN:
        return true;
    default:
        return IsIntegerSource(vt);
    }
}

// `s` is not by reference; `out` is empty.
HRESULT ChangeTypeImpl(VARIANT& out, const VARIANT& s, LCID lcid, USHORT flags, VARTYPE vt) {
    if (vt == s.vt) return VariantCopy(&out, &s);
    if (!IsConvertibleTarget(vt))
        return (vt & VT_ARRAY) && IsValidVariantType(vt) ? DISP_E_TYPEMISMATCH : DISP_E_BADVARTYPE;
    if (vt == VT_EMPTY) return S_OK;
    if (s.vt & VT_ARRAY) return DISP_E_TYPEMISMATCH;
    if (vt == VT_NULL) {
        if (s.vt != VT_EMPTY) return DISP_E_TYPEMISMATCH;
        out.vt = VT_NULL;
        return S_OK;
    }
    if (s.vt == VT_DISPATCH || s.vt == VT_UNKNOWN) return FromObject(out, s, lcid, flags, vt);
    if (vt == VT_DISPATCH || vt == VT_UNKNOWN) {
        if (s.vt != VT_EMPTY) return DISP_E_TYPEMISMATCH;
        out.vt = vt;
        out.punkVal = nullptr;
        return S_OK;
    }
    switch (s.vt) {
    case VT_NULL:
    case VT_CY:
    case VT_HRESULT:
        return DISP_E_TYPEMISMATCH;
    case VT_ERROR:
        if (!IsIntegerSource(vt)) return DISP_E_TYPEMISMATCH;
        break;
    default:
        break;
    }
    switch (vt) {
    case VT_BSTR:
        return ToText(s, flags, out);
    case VT_BOOL:
        return ToBool(s, out);
    case VT_DATE:
        return ToDate(s, out);
    case VT_R4:
    case VT_R8:
        return ToReal(s, vt, out);
    case VT_ERROR:
        return ToError(s, out);
    default:
        return ToIntegerType(s, vt, out);
    }
}

} // namespace

void VariantInit(VARIANTARG* v) noexcept {
    if (v != nullptr) std::memset(v, 0, sizeof *v);
}

HRESULT VariantClear(VARIANTARG* v) noexcept {
    if (v == nullptr) return E_INVALIDARG;
    if (!IsValidVariantType(v->vt)) return DISP_E_BADVARTYPE;
    if (!(v->vt & VT_BYREF)) {
        if (v->vt & VT_ARRAY) {
            HRESULT hr = SafeArrayDestroy(v->parray);
            if (FAILED(hr)) return hr;
        } else if (v->vt == VT_BSTR) {
            SysFreeString(v->bstrVal);
        } else if ((v->vt == VT_DISPATCH || v->vt == VT_UNKNOWN) && v->punkVal != nullptr) {
            v->punkVal->Release();
        }
    }
    v->vt = VT_EMPTY;
    ZeroValue(*v);
    return S_OK;
}

HRESULT VariantCopy(VARIANTARG* dest, const VARIANTARG* src) noexcept {
    if (dest == nullptr || src == nullptr) return E_INVALIDARG;
    if (!IsValidVariantType(src->vt)) return DISP_E_BADVARTYPE;
    if (dest == src) return S_OK;
    HRESULT hr = VariantClear(dest);
    if (FAILED(hr)) return hr;
    VARIANT copy = *src;
    if (!(src->vt & VT_BYREF)) {
        if (src->vt & VT_ARRAY) {
            hr = SafeArrayCopy(src->parray, &copy.parray);
            if (FAILED(hr)) return hr;
        } else if (src->vt == VT_BSTR && src->bstrVal != nullptr) {
            copy.bstrVal = CopyBstr(src->bstrVal);
            if (copy.bstrVal == nullptr) return E_OUTOFMEMORY;
        } else if ((src->vt == VT_DISPATCH || src->vt == VT_UNKNOWN) && src->punkVal != nullptr) {
            src->punkVal->AddRef();
        }
    }
    *dest = copy;
    return S_OK;
}

HRESULT VariantCopyInd(VARIANT* dest, const VARIANTARG* src) noexcept {
    if (dest == nullptr || src == nullptr) return E_INVALIDARG;
    if (!(src->vt & VT_BYREF)) return VariantCopy(dest, src);
    if (!IsValidVariantType(src->vt)) return DISP_E_BADVARTYPE;
    if (src->byref == nullptr) return E_INVALIDARG;
    const VARTYPE vt = VARTYPE(src->vt & ~VT_BYREF);
    VARIANT copy = EmptyVariant();
    HRESULT hr = S_OK;
    if (vt & VT_ARRAY) {
        hr = SafeArrayCopy(*src->pparray, &copy.parray);
    } else if (vt == VT_VARIANT) {
        const VARIANT* inner = src->pvarVal;
        if (inner->vt & VT_BYREF) return E_INVALIDARG;
        hr = VariantCopy(&copy, inner);
    } else if (vt == VT_BSTR) {
        if (*src->pbstrVal != nullptr && (copy.bstrVal = CopyBstr(*src->pbstrVal)) == nullptr)
            hr = E_OUTOFMEMORY;
    } else if (vt == VT_DISPATCH || vt == VT_UNKNOWN) {
        copy.punkVal = *src->ppunkVal;
        if (copy.punkVal) copy.punkVal->AddRef();
    } else {
        std::memcpy(&copy.llVal, src->byref, tarvex::VariantScalarSize(vt));
    }
    if (FAILED(hr)) return hr;
    if (vt != VT_VARIANT) copy.vt = vt;
    // Clearing a by-reference `dest` frees nothing, so `dest == src` is safe.
    hr = VariantClear(dest);
    if (FAILED(hr)) {
        VariantClear(&copy);
        return hr;
    }
    *dest = copy;
    return S_OK;
}

HRESULT VariantChangeTypeEx(VARIANTARG* dest, const VARIANTARG* src, LCID lcid, USHORT flags,
                            VARTYPE vt) noexcept {
    if (dest == nullptr || src == nullptr) return E_INVALIDARG;
    if (!IsValidVariantType(src->vt)) return DISP_E_BADVARTYPE;
    if (vt & (VT_BYREF | VT_VECTOR | VT_RESERVED)) return DISP_E_BADVARTYPE;
    VARIANT deref = EmptyVariant();
    const VARIANT* source = src;
    if (src->vt & VT_BYREF) {
        HRESULT hr = VariantCopyInd(&deref, src);
        if (FAILED(hr)) return hr;
        source = &deref;
    }
    VARIANT out = EmptyVariant();
    HRESULT hr;
    try {
        hr = ChangeTypeImpl(out, *source, lcid, flags, vt);
    } catch (...) { // std::bad_alloc from the text buffers
        hr = E_OUTOFMEMORY;
    }
    VariantClear(&deref);
    if (SUCCEEDED(hr)) hr = VariantClear(dest);
    if (FAILED(hr)) {
        VariantClear(&out);
        return hr;
    }
    *dest = out;
    return S_OK;
}

HRESULT VariantChangeType(VARIANTARG* dest, const VARIANTARG* src, USHORT flags,
                          VARTYPE vt) noexcept {
    return VariantChangeTypeEx(dest, src, LOCALE_USER_DEFAULT, flags, vt);
}

HRESULT VarBstrFromDate(DATE date, LCID, ULONG flags, BSTR* out) noexcept {
    if (out == nullptr) return E_INVALIDARG;
    *out = nullptr;
    try {
        std::u16string text;
        HRESULT hr = FormatDate(date, flags, text);
        if (FAILED(hr)) return hr;
        *out = SysAllocStringLen(text.data(), UINT(text.size()));
        return *out ? S_OK : E_OUTOFMEMORY;
    } catch (...) {
        return E_OUTOFMEMORY;
    }
}

HRESULT VarDateFromStr(LPCOLESTR text, LCID, ULONG, DATE* out) noexcept {
    if (text == nullptr || out == nullptr) return E_INVALIDARG;
    const char16_t* end = text + std::char_traits<char16_t>::length(text);
    return ParseDate(text, end, *out) ? S_OK : DISP_E_TYPEMISMATCH;
}

namespace tarvex {

// Size of a plain value held in the union, 0 for the types that own something.
size_t VariantScalarSize(VARTYPE base) noexcept {
    switch (base) {
    case VT_I1:
    case VT_UI1:
        return 1;
    case VT_I2:
    case VT_UI2:
    case VT_BOOL:
        return 2;
    case VT_I4:
    case VT_UI4:
    case VT_INT:
    case VT_UINT:
    case VT_R4:
    case VT_ERROR:
    case VT_HRESULT:
        return 4;
    case VT_I8:
    case VT_UI8:
    case VT_R8:
    case VT_CY:
    case VT_DATE:
        return 8;
    default:
        return 0;
    }
}

} // namespace tarvex
