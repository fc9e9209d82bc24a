#include "tarvex/formula/objects/functionobjectbase.h"

#include <cxxabi.h>

#include <cstdlib>
#include <typeinfo>

#include "tarvex/formula/function.h"
#include "tarvex/formula/variables.h"
#include "tarvex/platform/casemap.h"
#include "tarvex/platform/codepage.h"

namespace TXFunctionObjects {

HRESULT CFunctionObjectBase::GetIDsOfNames(REFIID, LPOLESTR* names, UINT count, LCID, DISPID* ids) {
    if (!names || !ids) return E_INVALIDARG;
    std::size_t size = 0;
    const CMember* members = GetMembers(size);
    for (UINT i = 0; i < count; ++i) {
        ids[i] = -1;
        if (!names[i]) continue;
        for (std::size_t m = 0; m < size; ++m)
            if (_wcsicmp(names[i], members[m].name) == 0) {
                ids[i] = members[m].id;
                break;
            }
    }
    return S_OK;
}

double CFunctionObjectBase::RealArg(DISPPARAMS* params, UINT i) {
    const VARIANT* v = Arg(params, i);
    return v ? CFunction::AsReal(*v) : 0.0;
}

HRESULT CFunctionObjectBase::SetReal(VARIANT* result, double value) {
    if (result) {
        VariantClear(result);
        result->vt = VT_R8;
        result->dblVal = value;
    }
    return S_OK;
}

HRESULT CFunctionObjectBase::SetObject(VARIANT* result, IDispatch* object) {
    if (result) {
        VariantClear(result);
        result->vt = VT_DISPATCH;
        result->pdispVal = object;
        if (object) object->AddRef();
    }
    return S_OK;
}

CString CFunctionObjectBase::ClassNameOf(IDispatch* object) {
    if (!object) return CString();
    if (auto* own = dynamic_cast<CFunctionObjectBase*>(object))
        if (const char16_t* name = own->GetClassName()) return CString(name);
    const char* mangled = typeid(*object).name();
    int status = 0;
    char* demangled = abi::__cxa_demangle(mangled, nullptr, nullptr, &status);
    CString name = tarvex::FromUtf8(status == 0 && demangled ? demangled : mangled);
    std::free(demangled);
    return name;
}

void CFunctionObjectBase::VariantTypeToString(const VARIANT& value, CString& out) {
    if (value.vt == VT_DISPATCH && value.pdispVal) {
        if (auto* variable = dynamic_cast<CTXFunctionVariable*>(value.pdispVal)) {
            out.Format(u"Переменная \"%s\" ", variable->GetName());
            // A variable holding itself cannot occur: `var` values are copies.
            const VARIANT& inner = variable->Value();
            CString type;
            if (inner.vt == VT_DISPATCH && inner.pdispVal &&
                !dynamic_cast<CTXFunctionVariable*>(inner.pdispVal))
                type = ClassNameOf(inner.pdispVal);
            else
                VarTypeToString(inner.vt, type);
            out += type;
            return;
        }
        out = ClassNameOf(value.pdispVal);
        return;
    }
    out.Empty();
    VarTypeToString(value.vt, out);
}

void CFunctionObjectBase::VarTypeToString(VARTYPE type, CString& out) {
    unsigned rest = type;
    // The flags in this order, the first one tested against 4095: a plain
    // VT_ARRAY|VT_R8 reads as "VT_BSTR_BLOB|VT_VECTOR|VT_CY". Kept as it is.
    if (rest > 4095) {
        out += u"VT_BSTR_BLOB|";
        rest -= 4095;
    }
    if (rest > 32768) {
        out += u"VT_RESERVED|";
        rest -= 32768;
    }
    if (rest > 16384) {
        out += u"VT_BYREF|";
        rest -= 16384;
    }
    if (rest > 8192) {
        out += u"VT_ARRAY|";
        rest -= 8192;
    }
    if (rest > 4096) {
        out += u"VT_VECTOR|";
        rest -= 4096;
    }
    static const char16_t* const kBase[] = {
        u"VT_EMPTY",   u"VT_NULL",   u"VT_I2",        u"VT_I4",       u"VT_R4",
        u"VT_R8",      u"VT_CY",     u"VT_DATE",      u"VT_BSTR",     u"VT_DISPATCH",
        u"VT_ERROR",   u"VT_BOOL",   u"VT_VARIANT",   u"VT_UNKNOWN",  u"VT_DECIMAL",
        nullptr,       u"VT_I1",     u"VT_UI1",       u"VT_UI2",      u"VT_UI4",
        u"VT_I8",      u"VT_UI8",    u"VT_INT",       u"VT_UINT",     u"VT_VOID",
        u"VT_HRESULT", u"VT_PTR",    u"VT_SAFEARRAY", u"VT_CARRAY",   u"VT_USERDEFINED",
        u"VT_LPSTR",   u"VT_LPWSTR", nullptr,         nullptr,        nullptr,
        nullptr,       u"VT_RECORD", u"VT_INT_PTR",   u"VT_UINT_PTR",
    };
    static const char16_t* const kHigh[] = {
        u"VT_FILETIME",      u"VT_BLOB",        u"VT_STREAM", u"VT_STORAGE", u"VT_STREAMED_OBJECT",
        u"VT_STORED_OBJECT", u"VT_BLOB_OBJECT", u"VT_CF",     u"VT_CLSID",   u"VT_VERSIONED_STREAM",
    };
    const char16_t* name = nullptr;
    if (rest < sizeof(kBase) / sizeof(kBase[0]))
        name = kBase[rest];
    else if (rest >= 64 && rest - 64 < sizeof(kHigh) / sizeof(kHigh[0]))
        name = kHigh[rest - 64];
    if (name)
        out += name;
    else
        out.AppendFormat(u"Неизвестный тип %d", int(rest));
}

} // namespace TXFunctionObjects
