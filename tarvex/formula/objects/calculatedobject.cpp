#include "tarvex/formula/objects/calculatedobject.h"

#include <algorithm>
#include <cmath>

#include "tarvex/formula/function.h"
#include "tarvex/platform/casemap.h"

namespace TXFunctionObjects {

namespace {

constexpr double kCoordinateTol = 1e-5;
constexpr double kZeroLengthSqr = 9.999999747378752e-5;
constexpr double kNormalizeMin = 9.99999993922529e-9;

[[noreturn]] void ThrowWithType(const char16_t* format, const VARIANT& value) {
    CString type;
    CFunctionObjectBase::VariantTypeToString(value, type);
    CString message;
    message.Format(format, type);
    throw CSyntaxError(message.GetString());
}

// Unit vector and length, or zeros below the smallest length worth dividing.
CTXVector3d Normalized(const CTXVector3d& v, double& length) {
    length = v.length();
    if (length > kNormalizeMin) {
        const double k = 1 / length;
        return {v.x * k, v.y * k, v.z * k};
    }
    length = 0;
    return {};
}

} // namespace

// ---------------------------------------------------------------------------
// CCalculatedObject

void CCalculatedObject::Undefined(const char16_t* what) const {
    CString message(what);
    message += ClassNameOf(const_cast<CCalculatedObject*>(this));
    throw CSyntaxError(message.GetString());
}

void CCalculatedObject::Construct(const VARIANT&, const VARIANT&, const VARIANT&) {
    Undefined(u"Конструктор с тремя аргументами не определён для ");
}
void CCalculatedObject::Construct(const VARIANT&, const VARIANT&) {
    Undefined(u"Конструктор с двумя аргументами не определён для ");
}
void CCalculatedObject::Construct(const VARIANT&) {
    Undefined(u"Конструктор с одним аргументом не определён для ");
}
void CCalculatedObject::PlusOperator(VARIANT&, const VARIANT&) {
    Undefined(u"Оператор + не определён для ");
}
void CCalculatedObject::MinusOperator(VARIANT&, const VARIANT&) {
    Undefined(u"Оператор вычитания не определён для ");
}
void CCalculatedObject::MultiplyOperator(VARIANT&, const VARIANT&) {
    Undefined(u"Оператор * не определён для ");
}
void CCalculatedObject::DivisionOperator(VARIANT&, const VARIANT&) {
    Undefined(u"Оператор / не определён для ");
}
int CCalculatedObject::ComapreTo(const VARIANT&) {
    Undefined(u"Оператор сравнения не определён для ");
}
void CCalculatedObject::Value(VARIANT& out) {
    VariantClear(&out);
}

HRESULT CCalculatedObject::GetIDsOfNames(REFIID riid, LPOLESTR* names, UINT count, LCID lcid,
                                         DISPID* ids) {
    const HRESULT hr = CFunctionObjectBase::GetIDsOfNames(riid, names, count, lcid, ids);
    if (FAILED(hr)) return hr;
    for (UINT i = 0; i < count; ++i)
        if (names[i] && _wcsicmp(names[i], u"value") == 0) ids[i] = 0;
    return hr;
}

HRESULT CCalculatedObject::Invoke(DISPID id, REFIID, LCID, WORD, DISPPARAMS* params,
                                  VARIANT* result, EXCEPINFO*, UINT*) {
    if (id == 0) {
        VARIANT value;
        VariantInit(&value);
        Value(value);
        if (result) {
            VariantClear(result);
            *result = value;
        } else {
            VariantClear(&value);
        }
        return S_OK;
    }
    if (id == -6) {
        switch (ArgCount(params)) {
        case 1:
            Construct(*Arg(params, 0));
            break;
        case 2:
            Construct(*Arg(params, 0), *Arg(params, 1));
            break;
        case 3:
            Construct(*Arg(params, 0), *Arg(params, 1), *Arg(params, 2));
            break;
        default:
            return E_INVALIDARG;
        }
        if (result) SetToThis(*result);
        return S_OK;
    }
    return E_FAIL;
}

void CCalculatedObject::SetToThis(VARIANT& v) {
    AddRef();
    VariantClear(&v);
    v.vt = VT_DISPATCH;
    v.pdispVal = this;
}

CCalculatedObject* CCalculatedObject::FromVariant(const VARIANT& v) {
    if (v.vt != VT_DISPATCH || !v.pdispVal) return nullptr;
    return dynamic_cast<CCalculatedObject*>(v.pdispVal);
}

// ---------------------------------------------------------------------------
// CVector3d

const CFunctionObjectBase::CMember* CVector3d::GetMembers(std::size_t& count) const {
    static const CMember kMembers[] = {
        {u"Length", 100},
        {u"Normalize", 101},
        {u"Cross", 102},
        {u"Dot", 103},
        {u"IsZeroLength", 104},
        {u"Inverse", 105},
        {u"Set", 106},
        {u"SquaredLength", 107},
        {u"DistanceTo", 108},
        {u"DistanceSqr", 109},
        {u"AngleTo", 110},
        {u"PerpVector", 111},
        {u"x", 112},
        {u"y", 113},
        {u"z", 114},
        {u"SetX", 115},
        {u"SetY", 116},
        {u"SetZ", 117},
    };
    count = sizeof(kMembers) / sizeof(kMembers[0]);
    return kMembers;
}

ULONG CVector3d::Release() {
    const ULONG old = CCalculatedObject::Release();
    if (old == 1) delete this;
    return old;
}

const CTXVector3d& CVector3d::GetVectorCheck(const VARIANT& v) {
    auto* vector = dynamic_cast<CVector3d*>(FromVariant(v));
    if (!vector)
        ThrowWithType(
            u"Данная операция требует вектор в качестве аргумента. Аргумент предоставлен: %s", v);
    return vector->m_Vector;
}

void CVector3d::SetNewVector(VARIANT& out, const CTXVector3d& v) {
    auto* vector = new CVector3d(v);
    vector->SetToThis(out);
}

void CVector3d::Construct(const VARIANT& a, const VARIANT& b, const VARIANT& c) {
    m_Vector.set(CFunction::AsReal(a), CFunction::AsReal(b), CFunction::AsReal(c));
}

void CVector3d::Construct(const VARIANT& a) {
    CTXVector3d parsed;
    if (CTXVector3d::TryParse(CFunction::AsString(a).GetString(), parsed)) m_Vector = parsed;
}

void CVector3d::PlusOperator(VARIANT& out, const VARIANT& other) {
    auto* vector = dynamic_cast<CVector3d*>(FromVariant(other));
    if (!vector)
        ThrowWithType(u"Сложение вектора и %s не определено. Сложение возможно только с вектором.",
                      other);
    SetNewVector(out, m_Vector + vector->m_Vector);
}

void CVector3d::MinusOperator(VARIANT& out, const VARIANT& other) {
    auto* vector = dynamic_cast<CVector3d*>(FromVariant(other));
    if (!vector)
        ThrowWithType(u"Вычитание %s из вектора не определено. Возможно только вычитание вектора.",
                      other);
    SetNewVector(out, m_Vector - vector->m_Vector);
}

void CVector3d::MultiplyOperator(VARIANT& out, const VARIANT& other) {
    SetNewVector(out, m_Vector * CFunction::AsReal(other));
}

void CVector3d::DivisionOperator(VARIANT& out, const VARIANT& other) {
    // No test for zero: the coordinates become infinite or NaN.
    SetNewVector(out, m_Vector / CFunction::AsReal(other));
}

int CVector3d::ComapreTo(const VARIANT& other) {
    auto* vector = dynamic_cast<CVector3d*>(FromVariant(other));
    if (!vector)
        ThrowWithType(u"Сравнение вектора с %s не определено. Сравнение возможно только с "
                      u"другим вектором.",
                      other);
    const double mine[3] = {m_Vector.x, m_Vector.y, m_Vector.z};
    const double theirs[3] = {vector->m_Vector.x, vector->m_Vector.y, vector->m_Vector.z};
    bool equal = true;
    for (int i = 0; i < 3; ++i)
        if (std::fabs(mine[i] - theirs[i]) > kCoordinateTol) equal = false;
    if (equal) return 0;
    for (int i = 0; i < 3; ++i)
        if (std::fabs(mine[i] - theirs[i]) > kCoordinateTol) return theirs[i] > mine[i] ? -1 : 1;
    return 1;
}

void CVector3d::Value(VARIANT& out) {
    VariantClear(&out);
    out.vt = VT_BSTR;
    out.bstrVal = m_Vector.ToString().AllocSysString();
}

HRESULT CVector3d::Invoke(DISPID id, REFIID riid, LCID lcid, WORD flags, DISPPARAMS* params,
                          VARIANT* result, EXCEPINFO* excepInfo, UINT* argErr) {
    if (id <= 0 || id < 100 || id > 117)
        return CCalculatedObject::Invoke(id, riid, lcid, flags, params, result, excepInfo, argErr);
    static const unsigned char kArgs[] = {0, 0, 1, 1, 0, 0, 3, 0, 1, 1, 1, 0, 0, 0, 0, 1, 1, 1};
    if (ArgCount(params) != kArgs[id - 100]) return E_INVALIDARG;
    switch (id) {
    case 100:
        return SetReal(result, m_Vector.length());
    case 101:
        m_Vector.normalize();
        return SetObject(result, this);
    case 102:
        if (result) SetNewVector(*result, m_Vector.crossProduct(GetVectorCheck(*Arg(params, 0))));
        return S_OK;
    case 103:
        return SetReal(result, m_Vector.dotProduct(GetVectorCheck(*Arg(params, 0))));
    case 104:
        if (result) {
            VariantClear(result);
            result->vt = VT_BOOL;
            result->boolVal = m_Vector.lengthSqr() < kZeroLengthSqr ? VARIANT_TRUE : VARIANT_FALSE;
        }
        return S_OK;
    case 105:
        m_Vector = -m_Vector;
        return SetObject(result, this);
    case 106:
        m_Vector.set(RealArg(params, 0), RealArg(params, 1), RealArg(params, 2));
        return SetObject(result, this);
    case 107:
        return SetReal(result, m_Vector.lengthSqr());
    case 108:
        // The argument is checked and then not used: the length of this
        // vector is the answer, whatever the name says.
        GetVectorCheck(*Arg(params, 0));
        return SetReal(result, m_Vector.length());
    case 109:
        GetVectorCheck(*Arg(params, 0));
        return SetReal(result, m_Vector.lengthSqr());
    case 110: {
        double length = 0;
        const CTXVector3d a = Normalized(m_Vector, length);
        const CTXVector3d b = Normalized(GetVectorCheck(*Arg(params, 0)), length);
        return SetReal(result, std::acos(std::clamp(a.dotProduct(b), -1.0, 1.0)));
    }
    case 111: {
        double length = 0;
        const CTXVector3d n = Normalized(m_Vector, length);
        CTXVector3d perp;
        if (std::fabs(n.x) < 0.015625 && std::fabs(n.y) < 0.015625)
            perp.set(n.z * length, 0, -n.x * length);
        else
            perp.set(-n.y * length, n.x * length, 0);
        if (result) SetNewVector(*result, perp);
        return S_OK;
    }
    case 112:
        return SetReal(result, m_Vector.x);
    case 113:
        return SetReal(result, m_Vector.y);
    case 114:
        return SetReal(result, m_Vector.z);
    case 115:
        m_Vector.x = RealArg(params, 0);
        return SetObject(result, this);
    case 116:
        m_Vector.y = RealArg(params, 0);
        return SetObject(result, this);
    default:
        m_Vector.z = RealArg(params, 0);
        return SetObject(result, this);
    }
}

} // namespace TXFunctionObjects
