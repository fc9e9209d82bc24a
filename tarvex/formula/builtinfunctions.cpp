// Vector and date functions, and the dispatch of every function that takes
// its arguments from consecutive slots.
#include <cmath>
#include <ctime>

#include "tarvex/formula/function.h"
#include "tarvex/geometry/vector3d.h"
#include "tarvex/platform/safearray.h"
#include "tarvex/platform/vartime.h"

void MakeVectorValue(VARIANT& v, const CTXVector3d& vector);
void CallTextFunction(const CFunction::CToken* token, VARIANT* args, int n);

namespace {

bool GetVector(const VARIANT& v, CTXVector3d& out) {
    if (!CFunction::IsVector(v)) return false;
    double* data = nullptr;
    if (FAILED(SafeArrayAccessData(v.parray, reinterpret_cast<void**>(&data)))) return false;
    out = CTXVector3d(data);
    SafeArrayUnaccessData(v.parray);
    return true;
}

CTXVector3d NeedVector(const VARIANT& v, const char16_t* error) {
    CTXVector3d vector;
    if (!GetVector(v, vector)) throw CSyntaxError(error);
    return vector;
}

void SetReal(VARIANT& v, double value) {
    VariantClear(&v);
    v.vt = VT_R8;
    v.dblVal = value;
}

void SetText(VARIANT& v, const CString& text) {
    BSTR s = text.AllocSysString();
    VariantClear(&v);
    v.vt = VT_BSTR;
    v.bstrVal = s;
}

void ToVector(VARIANT* args, int n) {
    if (n == 3) {
        MakeVectorValue(args[0], CTXVector3d(CFunction::AsReal(args[0]), CFunction::AsReal(args[1]),
                                             CFunction::AsReal(args[2])));
        return;
    }
    if (args[0].vt == (VT_ARRAY | VT_R8)) return;
    CTXVector3d vector;
    if (args[0].vt == VT_BSTR &&
        !CTXVector3d::TryParse(args[0].bstrVal ? args[0].bstrVal : u"", vector))
        vector = CTXVector3d();
    MakeVectorValue(args[0], vector);
}

void VectorFunction(const CFunction::CToken* token, VARIANT* args, int n) {
    switch (token->m_nTag) {
    case CFunction::ttNormal: {
        const CTXVector3d v =
            NeedVector(args[0], u"Неверный аргумент функции normal: предполагается вектор.");
        const double length = v.length();
        MakeVectorValue(args[0], length < 1e-5
                                     ? CTXVector3d()
                                     : CTXVector3d(v.x / length, v.y / length, v.z / length));
        return;
    }
    case CFunction::ttPerpendicular: {
        CTXVector3d v =
            NeedVector(args[0], u"Неверный аргумент функции perpendicular: предполагается вектор.");
        v.normalize();
        CTXVector3d p = std::fabs(v.x) < 0.015625 && std::fabs(v.y) < 0.015625
                            ? CTXVector3d(v.z, 0, -v.x)
                            : CTXVector3d(-v.y, v.x, 0);
        p.normalize();
        MakeVectorValue(args[0], p);
        return;
    }
    case CFunction::ttAngle: {
        const CTXVector3d a =
            NeedVector(args[0], u"Неверный аргумент 1 функции angle: предполагается вектор.");
        const CTXVector3d b =
            NeedVector(args[1], u"Неверный аргумент 2 функции angle: предполагается вектор.");
        double t = a.angleTo(b);
        if (n == 3) {
            const CTXVector3d c =
                NeedVector(args[2], u"Неверный аргумент 3 функции angle: предполагается вектор.");
            if (a.crossProduct(b).dotProduct(c) < 0) t = 6.283185307179586 - t;
        }
        SetReal(args[0], t);
        return;
    }
    case CFunction::ttSlope: {
        if (n == 2) {
            const CTXVector3d a =
                NeedVector(args[0], u"Неверный аргумент 1 функции slope: предполагается вектор.");
            const CTXVector3d b =
                NeedVector(args[1], u"Неверный аргумент 2 функции slope: предполагается вектор.");
            SetReal(args[0], a.slope(b));
        } else {
            const CTXVector3d a =
                NeedVector(args[0], u"Неверный аргумент функции slope: предполагается вектор.");
            SetReal(args[0], a.slope(CTXVector3d::kZAxis));
        }
        return;
    }
    case CFunction::ttRotate: {
        const CTXVector3d a =
            NeedVector(args[0], u"Неверный аргумент 1 функции rotate: предполагается вектор.");
        CTXVector3d axis = CTXVector3d::kZAxis;
        CTXPoint3d base = CTXPoint3d::kOrigin;
        const char16_t* axisError =
            u"Неверный аргумент 3 (ось вращения) функции rotate: предполагается вектор.";
        if (n == 4) {
            // The texts name the wrong positions, and the order of the tests
            // (first, fourth, third) decides which is reported.
            const CTXVector3d b = NeedVector(args[3], axisError);
            axis = NeedVector(args[2], u"Неверный аргумент 4  (точка, вокруг которой идет "
                                       u"вращение) функции rotate: предполагается вектор.");
            base = CTXPoint3d(b.x, b.y, b.z);
        } else if (n == 3) {
            axis = NeedVector(args[2], axisError);
        }
        const double angle = CFunction::AsReal(args[1]);
        if (std::fabs(angle) < 1e-5) return;
        CTXPoint3d p(a.x, a.y, a.z);
        p.rotateBy(angle, axis, base);
        MakeVectorValue(args[0], CTXVector3d(p.x, p.y, p.z));
        return;
    }
    case CFunction::ttDotProduct: {
        const CTXVector3d a =
            NeedVector(args[0], u"Неверный аргумент 1 функции dotProduct: предполагается вектор.");
        const CTXVector3d b =
            NeedVector(args[1], u"Неверный аргумент 2 функции dotProduct: предполагается вектор.");
        SetReal(args[0], a.dotProduct(b));
        return;
    }
    case CFunction::ttScale: {
        const CTXVector3d a =
            NeedVector(args[0], u"Неверный аргумент 1 функции scale: предполагается вектор.");
        CTXVector3d base;
        if (n == 3)
            base = NeedVector(
                args[2],
                u"Неверный аргумент 3 (базовая точка) функции scale: предполагается вектор.");
        const double k = CFunction::AsReal(args[1]);
        if (!(k >= 1e-5))
            throw CSyntaxError(u"Неверный (слишком малый) коэффициет масштабирования.");
        if (std::fabs(k - 1) < 1e-5) return;
        MakeVectorValue(args[0], (a - base) * k + base);
        return;
    }
    case CFunction::ttDistance: {
        const CTXVector3d a =
            NeedVector(args[0], u"Неверный аргумент 1 функции distance: предполагается вектор.");
        const CTXVector3d b =
            NeedVector(args[1], u"Неверный аргумент 2 функции distance: предполагается вектор.");
        SetReal(args[0], (a - b).length());
        return;
    }
    default:
        break;
    }
}

// ---------------------------------------------------------------------------
// Dates

// Reads an integer as swscanf's %Nd does: blanks skipped, a sign, at most
// `width` characters in all.
bool ScanInt(const char16_t*& p, int width, int& out) {
    while (*p == u' ' || (*p >= 9 && *p <= 13)) ++p;
    int used = 0;
    bool negative = false;
    if ((*p == u'-' || *p == u'+') && used < width) {
        negative = *p == u'-';
        ++p;
        ++used;
    }
    int digits = 0;
    long long value = 0;
    while (used < width && *p >= u'0' && *p <= u'9') {
        value = value * 10 + (*p - u'0');
        ++p;
        ++used;
        ++digits;
    }
    if (!digits) return false;
    out = int(negative ? -value : value);
    return true;
}

void DateFunction(const CFunction::CToken* token, VARIANT& a) {
    switch (token->m_nTag) {
    case CFunction::ttToTime:
        if (a.vt == VT_R8) {
            a.vt = VT_DATE;
        } else if (a.vt == VT_BSTR) {
            double date;
            if (CFunction::ParseDateTime(a.bstrVal, date)) {
                VariantClear(&a);
                a.vt = VT_DATE;
                a.dblVal = date;
            }
        } else {
            throw CSyntaxError(u"Неверный аргумент 1 функции totime: предполагается строка или "
                               u"вещественное значение.");
        }
        return;
    case CFunction::ttDateStr:
    case CFunction::ttTimeStr: {
        const bool date = token->m_nTag == CFunction::ttDateStr;
        if (a.vt != VT_DATE)
            throw CSyntaxError(date
                                   ? u"Неверный аргумент 1 функции datestr: предполагается время."
                                   : u"Неверный аргумент 1 функции timestr: предполагается время.");
        CString text;
        CFunction::FormatDateTime(a.dblVal, text);
        const int blank = text.Find(u' ');
        SetText(a, date ? text.Left(blank) : text.Mid(blank + 1));
        return;
    }
    case CFunction::ttDateTime:
    case CFunction::ttLocalDateTime: {
        const bool local = token->m_nTag == CFunction::ttLocalDateTime;
        if (a.vt != VT_BSTR)
            throw CSyntaxError(
                local ? u"Неверный аргумент 1 функции localdatetime: предполагается строка."
                      : u"Неверный аргумент 1 функции datetime: предполагается строка.");
        double date;
        if (!CFunction::ParseDateTime(a.bstrVal, date))
            throw CSyntaxError(local ? u"localdatetime: неверный формат даты/времени."
                                     : u"datetime: неверный формат даты/времени.");
        if (local) CFunction::UtcTimeToLocalTime(date);
        VariantClear(&a);
        a.vt = VT_DATE;
        a.dblVal = date;
        return;
    }
    default:
        break;
    }
}

} // namespace

bool CFunction::ParseDateTime(const char16_t* text, double& out) {
    if (!text || !*text) return false;
    int fields[5];
    const char16_t* p = text;
    static const int kWidths[5] = {4, 2, 2, 2, 2};
    static const char16_t kSeparators[5] = {u'-', u'-', u' ', u':', 0};
    for (int i = 0; i < 5; ++i) {
        if (!ScanInt(p, kWidths[i], fields[i])) return false;
        const char16_t separator = kSeparators[i];
        if (separator == u' ') {
            while (*p == u' ' || (*p >= 9 && *p <= 13)) ++p; // a blank matches any run, or none
        } else if (separator) {
            if (*p != separator) return false;
            ++p;
        }
    }
    if (fields[0] < 0 || fields[0] > 65535 || fields[1] < 0 || fields[2] < 0 || fields[3] < 0 ||
        fields[4] < 0)
        return false;
    SYSTEMTIME time{};
    time.wYear = WORD(fields[0]);
    time.wMonth = WORD(fields[1]);
    time.wDay = WORD(fields[2]);
    time.wHour = WORD(fields[3]);
    time.wMinute = WORD(fields[4]);
    return SystemTimeToVariantTime(&time, &out) != 0;
}

bool CFunction::FormatDateTime(const double& date, CString& out) {
    SYSTEMTIME time{};
    int year = -1, month = -1, day = -1, hour = -1, minute = -1;
    if (VariantTimeToSystemTime(date, &time)) {
        year = time.wYear;
        month = time.wMonth;
        day = time.wDay;
        hour = time.wHour;
        minute = time.wMinute;
    }
    out.Format(u"%04d-%02d-%02d %02d:%02d", year, month, day, hour, minute);
    return true;
}

bool CFunction::UtcTimeToLocalTime(double& date) {
    SYSTEMTIME time{};
    if (!VariantTimeToSystemTime(date, &time)) throw HRESULT(E_FAIL);
    if (time.wYear < 1970) throw HRESULT(E_FAIL);
    std::time_t now = std::time(nullptr);
    std::tm utc{}, local{};
    if (!gmtime_r(&now, &utc) || !localtime_r(&now, &local)) return false;
    std::tm when{};
    when.tm_year = time.wYear - 1900;
    when.tm_mon = time.wMonth - 1;
    when.tm_mday = time.wDay;
    when.tm_hour = time.wHour;
    when.tm_min = time.wMinute;
    when.tm_sec = time.wSecond;
    when.tm_isdst = -1;
    utc.tm_isdst = -1;
    local.tm_isdst = -1;
    const std::time_t t = std::mktime(&when), u = std::mktime(&utc), l = std::mktime(&local);
    if (t == -1 || u == -1 || l == -1) throw HRESULT(E_INVALIDARG);
    const std::time_t result = t + (l - u);
    std::tm out{};
    if (!localtime_r(&result, &out)) throw HRESULT(E_FAIL);
    SYSTEMTIME converted{};
    converted.wYear = WORD(out.tm_year + 1900);
    converted.wMonth = WORD(out.tm_mon + 1);
    converted.wDay = WORD(out.tm_mday);
    converted.wHour = WORD(out.tm_hour);
    converted.wMinute = WORD(out.tm_min);
    converted.wSecond = WORD(out.tm_sec);
    return SystemTimeToVariantTime(&converted, &date) != 0;
}

bool CFunction::GetArrayItem(const VARIANT& array, int index, VARIANT& out) {
    SAFEARRAY* data =
        (array.vt & VT_BYREF) ? (array.pparray ? *array.pparray : nullptr) : array.parray;
    if (!data || index < 0) return false;
    VARTYPE vt = VT_EMPTY;
    SafeArrayGetVartype(data, &vt);
    void* base = nullptr;
    if (FAILED(SafeArrayAccessData(data, &base))) return false;
    bool known = true;
    double real = 0;
    VariantClear(&out);
    switch (vt) {
    case VT_I2:
        real = static_cast<const std::int16_t*>(base)[index];
        break;
    case VT_BOOL:
        real = static_cast<const VARIANT_BOOL*>(base)[index];
        break;
    case VT_I4:
    case VT_INT:
        real = static_cast<const std::int32_t*>(base)[index];
        break;
    case VT_R4:
        real = static_cast<const float*>(base)[index];
        break;
    case VT_R8:
        real = static_cast<const double*>(base)[index];
        break;
    case VT_I1:
        real = static_cast<const std::int8_t*>(base)[index];
        break;
    case VT_UI1:
        real = static_cast<const std::uint8_t*>(base)[index];
        break;
    case VT_UI2:
        real = static_cast<const std::uint16_t*>(base)[index];
        break;
    case VT_UI4:
    case VT_UINT:
        real = static_cast<const std::uint32_t*>(base)[index];
        break;
    case VT_I8:
        real = double(static_cast<const std::int64_t*>(base)[index]);
        break;
    case VT_UI8:
        real = double(static_cast<const std::uint64_t*>(base)[index]);
        break;
    case VT_BSTR:
        out.vt = VT_BSTR;
        out.bstrVal = SysAllocString(static_cast<const BSTR*>(base)[index]);
        break;
    case VT_DISPATCH:
    case VT_UNKNOWN: {
        IUnknown* object = static_cast<IUnknown* const*>(base)[index];
        if (object) object->AddRef();
        out.vt = vt;
        out.punkVal = object;
        break;
    }
    default:
        known = false;
        break;
    }
    SafeArrayUnaccessData(data);
    if (known && out.vt == VT_EMPTY) {
        out.vt = VT_R8;
        out.dblVal = real;
    }
    return known;
}

// ---------------------------------------------------------------------------

void CFunction::CallFunction(const CToken* token, VARIANT* args, int n) {
    switch (token->m_nTag) {
    case ttToVector:
        ToVector(args, n);
        return;
    case ttLength: {
        CTXVector3d v;
        if (GetVector(args[0], v)) {
            SetReal(args[0], v.length());
        } else {
            const int length = AsString(args[0]).GetLength();
            VariantClear(&args[0]);
            args[0].vt = VT_I4;
            args[0].lVal = length;
        }
        return;
    }
    case ttNormal:
    case ttPerpendicular:
    case ttAngle:
    case ttSlope:
    case ttRotate:
    case ttDotProduct:
    case ttScale:
    case ttDistance:
        VectorFunction(token, args, n);
        return;
    case ttToTime:
    case ttDateStr:
    case ttTimeStr:
    case ttDateTime:
    case ttLocalDateTime:
        DateFunction(token, args[0]);
        return;
    case ttObjConstructor1:
    case ttObjConstructor2:
    case ttObjConstructor3:
        CallCunstructor(token, args, n);
        return;
    default:
        CallTextFunction(token, args, n);
        return;
    }
}
