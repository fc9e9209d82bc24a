// The walk over the postfix list and the operators of the language.
#include <cmath>
#include <cstdint>
#include <cstring>
#include <mutex>
#include <vector>

#include "tarvex/core/stackroom.h"
#include "tarvex/formula/function.h"
#include "tarvex/geometry/vector3d.h"
#include "tarvex/platform/classregistry.h"
#include "tarvex/platform/errorinfo.h"
#include "tarvex/platform/safearray.h"
#include "tarvex/platform/syserror.h"
#include "tarvex/platform/wide.h"

namespace {

[[noreturn]] void RaiseText(const char16_t* format, int value) {
    CString text;
    text.Format(format, value);
    throw CSyntaxError(text.GetString());
}

void CheckLength(std::int64_t length) {
    if (length > CFunction::kMaxTextLength) throw CSyntaxError(u"Слишком длинная строка");
}

void SetBool(VARIANT& v, bool value) {
    VariantClear(&v);
    v.vt = VT_BOOL;
    v.boolVal = value ? VARIANT_TRUE : VARIANT_FALSE;
}

void SetReal(VARIANT& v, double value) {
    if (v.vt != VT_R8) {
        VariantClear(&v);
        v.vt = VT_R8;
    }
    v.dblVal = value;
}

void SetInt(VARIANT& v, std::int32_t value) {
    if (v.vt != VT_I4) {
        VariantClear(&v);
        v.vt = VT_I4;
    }
    v.lVal = value;
}

void SetText(VARIANT& v, const CString& text) {
    CheckLength(text.GetLength());
    BSTR s = text.AllocSysString();
    VariantClear(&v);
    v.vt = VT_BSTR;
    v.bstrVal = s;
}

// Wrapping integer arithmetic, without signed overflow.
std::int32_t Wrap32(std::uint32_t v) {
    return std::int32_t(v);
}
std::int16_t Wrap16(std::uint32_t v) {
    return std::int16_t(std::uint16_t(v));
}

bool IsIntegerFamily(VARTYPE vt) {
    return vt == VT_I4 || vt == VT_ERROR || vt == VT_UI4 || vt == VT_INT || vt == VT_UINT ||
           vt == VT_HRESULT;
}

bool GetVector(const VARIANT& v, CTXVector3d& out) {
    if (!CFunction::IsVector(v)) return false;
    double* data = nullptr;
    if (FAILED(SafeArrayAccessData(v.parray, reinterpret_cast<void**>(&data)))) return false;
    out = CTXVector3d(data);
    SafeArrayUnaccessData(v.parray);
    return true;
}

} // namespace

// A new 3-vector value in `v`.
void MakeVectorValue(VARIANT& v, const CTXVector3d& vector) {
    SAFEARRAY* array = SafeArrayCreateVector(VT_R8, 0, 3);
    if (!array) throw CSyntaxError(u"Ошибка при создании массива.");
    double* data = nullptr;
    if (FAILED(SafeArrayAccessData(array, reinterpret_cast<void**>(&data)))) {
        SafeArrayDestroy(array);
        throw CSyntaxError(u"Ошибка при обращении к массиву.");
    }
    data[0] = vector.x;
    data[1] = vector.y;
    data[2] = vector.z;
    SafeArrayUnaccessData(array);
    VariantClear(&v);
    v.vt = VT_ARRAY | VT_R8;
    v.parray = array;
}

// ---------------------------------------------------------------------------
// Operators

void CFunction::Increment(VARIANT& a, VARIANT& b) {
    if (a.vt == VT_R8 && b.vt == VT_R8) {
        a.dblVal += b.dblVal;
        return;
    }
    CTXVector3d u, v;
    if (GetVector(a, u) && GetVector(b, v)) {
        MakeVectorValue(a, u + v);
        return;
    }
    SetNumericTypes(a, b);
    switch (a.vt) {
    case VT_I2:
    case VT_UI2:
        a.iVal = Wrap16(std::uint32_t(a.iVal) + std::uint32_t(b.iVal));
        break;
    case VT_R4:
        a.fltVal += b.fltVal;
        break;
    case VT_R8:
    case VT_DATE:
        a.dblVal += b.dblVal;
        break;
    case VT_BOOL:
        a.boolVal = std::int16_t(a.boolVal | b.boolVal);
        break;
    default:
        if (IsIntegerFamily(a.vt)) a.lVal = Wrap32(std::uint32_t(a.lVal) + std::uint32_t(b.lVal));
        break;
    }
}

void CFunction::Decrement(VARIANT& a, VARIANT& b) {
    if (a.vt == VT_R8 && b.vt == VT_R8) {
        a.dblVal -= b.dblVal;
        return;
    }
    CTXVector3d u, v;
    if (GetVector(a, u) && GetVector(b, v)) {
        MakeVectorValue(a, u - v);
        return;
    }
    SetNumericTypes(a, b);
    switch (a.vt) {
    case VT_I2:
    case VT_UI2:
    case VT_BOOL:
        a.iVal = Wrap16(std::uint32_t(a.iVal) - std::uint32_t(b.iVal));
        break;
    case VT_R4:
        a.fltVal -= b.fltVal;
        break;
    case VT_R8:
    case VT_DATE:
        a.dblVal -= b.dblVal;
        break;
    default:
        if (!IsIntegerFamily(a.vt))
            RaiseText(u"Неверный аргумент операции вычитания. Тип аргумента %d", b.vt);
        a.lVal = Wrap32(std::uint32_t(a.lVal) - std::uint32_t(b.lVal));
        break;
    }
}

void CFunction::Multiply(VARIANT& a, VARIANT& b) {
    if (a.vt == VT_R8 && b.vt == VT_R8) {
        a.dblVal *= b.dblVal;
        return;
    }
    CTXVector3d u, v;
    if (GetVector(a, u)) {
        if (GetVector(b, v))
            MakeVectorValue(a, u.crossProduct(v));
        else
            MakeVectorValue(a, u * AsReal(b));
        return;
    }
    SetNumericTypes(a, b);
    switch (a.vt) {
    case VT_EMPTY:
    case VT_NULL:
        SetInt(a, 0);
        break;
    case VT_I2:
    case VT_UI2:
    case VT_BOOL:
        a.iVal = Wrap16(std::uint32_t(a.iVal) * std::uint32_t(b.iVal));
        break;
    case VT_R4:
        a.fltVal *= b.fltVal;
        break;
    case VT_R8:
        a.dblVal *= b.dblVal;
        break;
    case VT_DATE:
        break;
    default:
        if (!IsIntegerFamily(a.vt))
            RaiseText(u"Неверный аргумент операции умножения. Тип аргумента %d", b.vt);
        a.lVal = Wrap32(std::uint32_t(a.lVal) * std::uint32_t(b.lVal));
        break;
    }
}

void CFunction::Divide(VARIANT& a, VARIANT& b) {
    CTXVector3d u;
    if (GetVector(a, u) && !IsVector(b)) {
        const double d = AsReal(b);
        MakeVectorValue(a, CTXVector3d(u.x / d, u.y / d, u.z / d));
        return;
    }
    SetType(a, VT_R8);
    const double d = b.vt == VT_R8 ? b.dblVal : AsReal(b);
    if (std::fabs(d) < 1e-12)
        throw CSyntaxError(u"Ошибка вычисления выражения (операция деления): деление на ноль");
    a.dblVal /= d;
}

void CFunction::Module(VARIANT& a, VARIANT& b) {
    const int x = AsInt(a);
    const int y = AsInt(b);
    if (y == 0)
        throw CSyntaxError(
            u"Ошибка вычисления выражения (операция деления по модулю): деление на ноль");
    SetInt(a, y == -1 ? 0 : x % y); // INT_MIN % -1 traps in hardware
}

void CFunction::Power(VARIANT& a, VARIANT& b) {
    const double x = AsReal(a);
    const double y = AsReal(b);
    SetReal(a, std::exp(std::log(x) * y));
}

void CFunction::And(VARIANT& a, VARIANT& b) {
    SetType(a, VT_BOOL);
    const bool result = a.boolVal != 0 && AsBool(b);
    SetBool(a, result);
}

void CFunction::Or(VARIANT& a, VARIANT& b) {
    SetType(a, VT_BOOL);
    const bool result = a.boolVal != 0 || AsBool(b);
    SetBool(a, result);
}

void CFunction::XOr(VARIANT& a, VARIANT& b) {
    // The left's own 16 bits, not its truth: `1 xor true` is true.
    std::uint16_t bits =
        a.vt == VT_BOOL ? std::uint16_t(a.boolVal) : std::uint16_t(std::uint32_t(AsInt(a)));
    if (AsBool(b)) bits ^= 0xFFFF;
    SetBool(a, bits != 0);
}

void CFunction::Not(VARIANT& a) {
    SetType(a, VT_BOOL);
    SetBool(a, std::uint16_t(a.boolVal) < 0xFFFF);
}

void CFunction::Sign(VARIANT& a) {
    CTXVector3d u;
    if (GetVector(a, u)) {
        MakeVectorValue(a, CTXVector3d(-u.x, -u.y, -u.z));
        return;
    }
    switch (a.vt) {
    case VT_I2:
    case VT_BOOL:
    case VT_UI2:
        a.iVal = Wrap16(0u - std::uint32_t(a.iVal));
        return;
    case VT_R4:
        a.fltVal = -a.fltVal;
        return;
    case VT_R8:
        a.dblVal = -a.dblVal;
        return;
    case VT_BSTR: {
        const UINT n = SysStringLen(a.bstrVal);
        for (UINT i = 0; i < n / 2; ++i) std::swap(a.bstrVal[i], a.bstrVal[n - 1 - i]);
        return;
    }
    default:
        if (!IsIntegerFamily(a.vt)) throw CSyntaxError(116u);
        a.lVal = Wrap32(0u - std::uint32_t(a.lVal));
    }
}

void CFunction::Concat(VARIANT& a, VARIANT& b) {
    if (a.vt == VT_BSTR && b.vt == VT_BSTR) {
        const UINT n = SysStringLen(a.bstrVal), m = SysStringLen(b.bstrVal);
        if (m == 0) return;
        CheckLength(std::int64_t(n) + m);
        if (!SysReAllocStringLen(&a.bstrVal, nullptr, n + m)) throw std::bad_alloc();
        std::memcpy(a.bstrVal + n, b.bstrVal, size_t(m) * sizeof(OLECHAR));
        return;
    }
    CString left = AsString(a);
    CString right = AsString(b);
    CheckLength(std::int64_t(left.GetLength()) + right.GetLength());
    left += right;
    SetText(a, left);
}

void CFunction::Subtract(VARIANT& a, VARIANT& b) {
    CString left = AsString(a);
    CString right = AsString(b);
    if (!right.IsEmpty()) left.Replace(right, u"");
    SetText(a, left);
}

void CFunction::Assing(VARIANT& left, VARIANT& right) {
    ConvertVariableToValue(right);
    CTXFunctionVariable* variable = left.vt == VT_DISPATCH && left.pdispVal
                                        ? dynamic_cast<CTXFunctionVariable*>(left.pdispVal)
                                        : nullptr;
    if (!variable) throw CSyntaxError(u"Присваивания значения объекту, не являющемуся переменной");
    variable->SetValue(right);
}

void CFunction::IsSet(VARIANT& a) {
    VARTYPE vt = a.vt;
    if (vt == VT_DISPATCH && a.pdispVal)
        if (auto* variable = dynamic_cast<CTXFunctionVariable*>(a.pdispVal))
            vt = variable->Value().vt;
    SetBool(a, vt >= 2);
}

void CFunction::Sqr(VARIANT& a) {
    switch (a.vt) {
    case VT_I2:
    case VT_UI2:
        a.iVal = Wrap16(std::uint32_t(a.iVal) * std::uint32_t(a.iVal));
        return;
    case VT_I4:
    case VT_UI4:
        a.lVal = Wrap32(std::uint32_t(a.lVal) * std::uint32_t(a.lVal));
        return;
    case VT_R8:
        a.dblVal *= a.dblVal;
        return;
    case VT_BSTR: {
        const double r = AsReal(a);
        const double square = r * r;
        // Whole squares come back as integers, when they fit one.
        if (square == std::floor(square) && std::fabs(square) < 2147483648.0)
            SetInt(a, std::int32_t(square));
        else
            SetReal(a, square);
        return;
    }
    default: {
        const double r = AsReal(a);
        SetReal(a, r * r);
    }
    }
}

void CFunction::Abs(VARIANT& a) {
    switch (a.vt) {
    case VT_I2:
        a.iVal = a.iVal < 0 ? Wrap16(0u - std::uint32_t(a.iVal)) : a.iVal;
        return;
    case VT_UI2:
    case VT_UI4:
        return;
    case VT_I4:
        a.lVal = a.lVal < 0 ? Wrap32(0u - std::uint32_t(a.lVal)) : a.lVal;
        return;
    default:
        SetType(a, VT_R8);
        a.dblVal = std::fabs(a.dblVal);
    }
}

void CFunction::NumericFunction(TTag tag, VARIANT& a) {
    switch (tag) {
    case ttToInt:
        SetType(a, VT_I4);
        return;
    case ttToReal:
        SetType(a, VT_R8);
        return;
    case ttToString:
        SetType(a, VT_BSTR);
        CheckLength(SysStringLen(a.bstrVal));
        return;
    case ttSqr:
        Sqr(a);
        return;
    case ttAbs:
        Abs(a);
        return;
    case ttIsSet:
        IsSet(a);
        return;
    case ttNot:
        Not(a);
        return;
    default:
        break;
    }
    SetType(a, VT_R8);
    double& x = a.dblVal;
    switch (tag) {
    case ttSin:
        x = std::sin(x);
        break;
    case ttCos:
        x = std::cos(x);
        break;
    case ttTan:
        if (std::fabs(std::fabs(x) - 1.5707963267948966) < 1e-12)
            throw CSyntaxError(
                u"Ошибка вычисления выражения (Tan): аргумент не может быть 90 градусов");
        x = std::tan(x);
        break;
    case ttASin:
        x = std::asin(x);
        break;
    case ttACos:
        x = std::acos(x);
        break;
    case ttATan:
        x = std::atan(x);
        break;
    case ttGSin:
        x = std::sin(x * 3.141592653589793 / 180.0);
        break;
    case ttGCos:
        x = std::cos(x * 3.141592653589793 / 180.0);
        break;
    case ttGTan:
        if (std::fabs(std::fabs(x) - 90.0) < 1e-12)
            throw CSyntaxError(
                u"Ошибка вычисления выражения (GTan): аргумент не может быть 90 градусов");
        x = std::tan(x * 3.141592653589793 / 180.0);
        break;
    case ttDeg:
        x = x * 57.29577951308232;
        break;
    case ttRad:
        x = x * 0.017453292519943295;
        break;
    case ttExp:
        x = std::exp(x);
        break;
    case ttLog:
        x = std::log(x);
        break;
    case ttSqrt:
        if (x < -1e-12)
            throw CSyntaxError(u"Ошибка вычисления выражения (квадратный корень): аргумент не "
                               u"может быть меньше нуля");
        x = std::sqrt(x);
        break;
    default:
        break;
    }
}

// ---------------------------------------------------------------------------
// Subscripts and automation calls

namespace {

[[noreturn]] void ComError(unsigned id, HRESULT hr, const char16_t* text) {
    IErrorInfo* info = nullptr;
    if (GetErrorInfo(0, &info) == S_OK && info) {
        BSTR description = nullptr;
        info->GetDescription(&description);
        info->Release();
        CString message(text);
        message.AppendFormat(u" (%s)", description ? description : u"");
        SysFreeString(description);
        throw CSyntaxError(message.GetString());
    }
    CString system = tarvex::SystemMessage(DWORD(hr));
    system.TrimRight();
    if (!system.IsEmpty()) {
        CString message(text);
        message.AppendFormat(u" (%s)", system.GetString());
        throw CSyntaxError(message.GetString());
    }
    throw CSyntaxError(id, text);
}

[[noreturn]] void ComError(const char16_t* name, EXCEPINFO& info) {
    if (info.pfnDeferredFillIn) info.pfnDeferredFillIn(&info);
    SysFreeString(info.bstrHelpFile);
    info.bstrHelpFile = nullptr;
    if (!info.bstrDescription) {
        SysFreeString(info.bstrSource);
        throw CSyntaxError(148u, name);
    }
    CString message(info.bstrSource ? info.bstrSource : u"");
    message += u" ";
    message += info.bstrDescription;
    if (name && *name) message.AppendFormat(u" (%s)", name);
    SysFreeString(info.bstrSource);
    SysFreeString(info.bstrDescription);
    throw CSyntaxError(message.GetString());
}

IUnknown*& ApplicationObject() {
    static IUnknown* application = nullptr;
    return application;
}

std::mutex& ApplicationLock() {
    static std::mutex lock;
    return lock;
}

} // namespace

void CFunction::SetApplicationObject(IUnknown* application) {
    std::lock_guard<std::mutex> guard(ApplicationLock());
    if (application) application->AddRef();
    if (ApplicationObject()) ApplicationObject()->Release();
    ApplicationObject() = application;
}

void CFunction::Item(VARIANT* stack, int& index, const CToken* token) {
    const int n = int(token->m_nArg);
    if (n == 0) throw CSyntaxError(148u);
    if (index < n) throw CSyntaxError(159u);
    VARIANT& object = stack[index - n];
    ConvertVariableToValue(object);
    if (object.vt & VT_ARRAY)
        ArrayItem(n, stack, index);
    else if (object.vt == VT_DISPATCH)
        CollectionItem(n, stack, index);
    else
        RaiseText(u"Неверный аргумент коллекции. Тип аргумента %d", object.vt);
}

void CFunction::ArrayItem(int n, VARIANT* stack, int& index) {
    std::vector<LONG> indexes(static_cast<size_t>(n));
    for (int i = n - 1; i >= 0; --i) {
        VARIANT& slot = stack[index];
        ConvertVariableToValue(slot);
        indexes[size_t(i)] = AsInt(slot);
        VariantClear(&slot);
        --index;
    }
    VARIANT& target = stack[index];
    SAFEARRAY* array =
        (target.vt & VT_BYREF) ? (target.pparray ? *target.pparray : nullptr) : target.parray;
    if (!array || int(SafeArrayGetDim(array)) != n) throw CSyntaxError(158u);
    VARTYPE vt = VT_EMPTY;
    SafeArrayGetVartype(array, &vt);
    VARIANT result;
    VariantInit(&result);
    const char16_t* action = nullptr;
    HRESULT hr = S_OK;
    switch (vt) {
    case VT_I2:
    case VT_UI2: {
        action = u"Получение элемента массива [I2, UI2]";
        std::int16_t value = 0;
        hr = SafeArrayGetElement(array, indexes.data(), &value);
        result.vt = VT_I4;
        result.lVal = vt == VT_UI2 ? std::uint16_t(value) : value;
        break;
    }
    case VT_I4:
    case VT_UI4:
        action = u"Получение элемента массива [I4]";
        result.vt = VT_I4;
        hr = SafeArrayGetElement(array, indexes.data(), &result.lVal);
        break;
    case VT_R4: {
        action = u"Получение элемента массива [R4]";
        float value = 0;
        hr = SafeArrayGetElement(array, indexes.data(), &value);
        result.vt = VT_R8;
        result.dblVal = value;
        break;
    }
    case VT_R8:
        action = u"Получение элемента массива [R8]";
        result.vt = VT_R8;
        hr = SafeArrayGetElement(array, indexes.data(), &result.dblVal);
        break;
    case VT_BSTR:
        action = u"Получение элемента массива [String]";
        result.bstrVal = nullptr;
        hr = SafeArrayGetElement(array, indexes.data(), &result.bstrVal);
        if (SUCCEEDED(hr)) result.vt = VT_BSTR;
        break;
    case VT_DISPATCH:
        action = u"Получение элемента массива [IDispatch]";
        result.pdispVal = nullptr;
        hr = SafeArrayGetElement(array, indexes.data(), &result.pdispVal);
        if (SUCCEEDED(hr)) result.vt = VT_DISPATCH;
        break;
    case VT_VARIANT:
        action = u"Получение элемента массива [вариант]";
        hr = SafeArrayGetElement(array, indexes.data(), &result);
        break;
    case VT_UNKNOWN:
        action = u"Получение элемента массива [IUnknown]";
        result.punkVal = nullptr;
        hr = SafeArrayGetElement(array, indexes.data(), &result.punkVal);
        if (SUCCEEDED(hr)) result.vt = VT_UNKNOWN;
        break;
    default:
        RaiseText(u"Неверный аргумент операции ArrayItem. Тип аргумента %d", vt);
    }
    if (FAILED(hr)) {
        VariantInit(&result);
        ComError(160, hr, action);
    }
    VariantClear(&target);
    target = result;
}

void CFunction::CollectionItem(int n, VARIANT* stack, int& index) {
    VARIANT& object = stack[index - n];
    std::vector<VARIANT> args(static_cast<size_t>(n));
    for (int i = 0; i < n; ++i) {
        // Automation takes the arguments last first.
        VARIANT& slot = stack[index - i];
        ConvertVariableToValue(slot);
        args[size_t(i)] = slot;
        VariantInit(&slot);
    }
    index -= n;
    DISPPARAMS params{args.data(), nullptr, UINT(n), 0};
    VARIANT result;
    VariantInit(&result);
    const HRESULT hr = object.pdispVal
                           ? object.pdispVal->Invoke(0, IID_NULL, LOCALE_USER_DEFAULT,
                                                     DISPATCH_METHOD | DISPATCH_PROPERTYGET,
                                                     &params, &result, nullptr, nullptr)
                           : E_POINTER;
    for (VARIANT& v : args) VariantClear(&v);
    if (FAILED(hr)) ComError(148, hr, u"Получение коллекции");
    VariantClear(&object);
    object = result;
}

void CFunction::ComMethod(VARIANT* stack, int& index, const CToken* token) {
    CString text = token->GetValue() ? AsString(*token->GetValue()) : CString();
    const int colon = text.ReverseFind(u':');
    const CString name = colon >= 0 ? text.Left(colon) : text;
    const int n = colon >= 0 ? _wtoi(text.GetString() + colon + 1) : 0;
    if (index < n) throw CSyntaxError(115u);
    VARIANT& object = stack[index - n];
    ConvertVariableToValue(object);
    if (object.vt != VT_DISPATCH) throw CSyntaxError(153u);
    if (!object.pdispVal) {
        CString extra = name + u": this object context is undefined";
        throw CSyntaxError(147u, extra.GetString());
    }
    DISPID id = 0;
    LPOLESTR names[1] = {const_cast<LPOLESTR>(name.GetString())};
    if (FAILED(object.pdispVal->GetIDsOfNames(IID_NULL, names, 1, LOCALE_USER_DEFAULT, &id)))
        throw CSyntaxError(147u, name.GetString());
    std::vector<VARIANT> args(static_cast<size_t>(n));
    for (int i = 0; i < n; ++i) {
        VARIANT& slot = stack[index - i];
        ConvertVariableToValue(slot);
        args[size_t(i)] = slot;
        VariantInit(&slot);
    }
    index -= n;
    DISPPARAMS params{args.data(), nullptr, UINT(n), 0};
    VARIANT result;
    VariantInit(&result);
    EXCEPINFO info{};
    const HRESULT hr = object.pdispVal->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT,
                                               DISPATCH_METHOD | DISPATCH_PROPERTYGET, &params,
                                               &result, &info, nullptr);
    for (VARIANT& v : args) VariantClear(&v);
    if (FAILED(hr)) {
        VariantClear(&result);
        if (hr == DISP_E_EXCEPTION) ComError(name.GetString(), info);
        SysFreeString(info.bstrSource);
        SysFreeString(info.bstrDescription);
        SysFreeString(info.bstrHelpFile);
        ComError(148, hr, name.GetString());
    }
    VariantClear(&object);
    object = result;
}

void CFunction::SetCOMContextVariable(VARIANT* stack, int& index, int size, bool useContext) {
    if (useContext) {
        if (index + 2 >= size) throw CSyntaxError(115u);
        InitCOMObject();
        if (!m_pComContext) throw CSyntaxError(u"Неверный указатель IDispatch");
        VARIANT& slot = stack[++index];
        slot.vt = VT_DISPATCH;
        slot.pdispVal = m_pComContext;
        m_pComContext->AddRef();
        return;
    }
    if (index < 0) throw CSyntaxError(159u);
    VARIANT& slot = stack[index];
    ConvertVariableToValue(slot);
    const CString name = AsString(slot);
    if (name.IsEmpty()) throw CSyntaxError(151u);
    CLSID clsid;
    HRESULT hr = name[0] == u'{' ? CLSIDFromString(name, &clsid) : CLSIDFromProgID(name, &clsid);
    if (FAILED(hr)) ComError(152, hr, name.GetString());
    IDispatch* object = nullptr;
    hr = CoCreateInstance(clsid, nullptr, 23, IID_IDispatch, reinterpret_cast<void**>(&object));
    if (FAILED(hr) || !object) ComError(146, FAILED(hr) ? hr : E_NOINTERFACE, name.GetString());
    VariantClear(&slot);
    slot.vt = VT_DISPATCH;
    slot.pdispVal = object;
}

void CFunction::SetAppCOMContextVariable(VARIANT* stack, int& index, int size) {
    IDispatch* object = nullptr;
    {
        std::lock_guard<std::mutex> guard(ApplicationLock());
        IUnknown* application = ApplicationObject();
        if (!application) throw CSyntaxError(122u);
        if (FAILED(application->QueryInterface(IID_IDispatch, reinterpret_cast<void**>(&object))) ||
            !object)
            throw CSyntaxError(123u);
    }
    if (index + 2 >= size) {
        object->Release();
        throw CSyntaxError(115u);
    }
    VARIANT& slot = stack[++index];
    slot.vt = VT_DISPATCH;
    slot.pdispVal = object;
}
