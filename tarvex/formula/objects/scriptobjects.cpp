#include "tarvex/formula/objects/scriptobjects.h"

#include <cmath>

#include "tarvex/core/log.h"
#include "tarvex/formula/function.h"

namespace TXFunctionObjects {

namespace {

constexpr double kPi = 3.141592653589793;
constexpr double kDegree = 0.017453292519943295;

// The one instance, made on first use (thread-safe) and never destroyed.
template <class T, class Make>
T* Instance(Make make) {
    static T* const instance = make();
    return instance;
}

} // namespace

#define TX_DEFINE_INSTANCE(Class)                                                                  \
    Class* Class::GetInstance() {                                                                  \
        return Instance<Class>([] { return new Class; });                                          \
    }

TX_DEFINE_INSTANCE(Surface)
TX_DEFINE_INSTANCE(Cylinder)
TX_DEFINE_INSTANCE(Cone)
TX_DEFINE_INSTANCE(Torus)
TX_DEFINE_INSTANCE(Box)
TX_DEFINE_INSTANCE(Triangle)
TX_DEFINE_INSTANCE(Debug)
TX_DEFINE_INSTANCE(Plugins)

#undef TX_DEFINE_INSTANCE

#define TX_MEMBERS(Class, ...)                                                                     \
    const CFunctionObjectBase::CMember* Class::GetMembers(std::size_t& count) const {              \
        static const CMember kMembers[] = {__VA_ARGS__};                                           \
        count = sizeof(kMembers) / sizeof(kMembers[0]);                                            \
        return kMembers;                                                                           \
    }

TX_MEMBERS(Surface, {u"Cyl", 100}, {u"Con", 101}, {u"Tor", 102}, {u"Box", 103})
TX_MEMBERS(Cylinder, {u"Area", 100}, {u"LArea", 101})
TX_MEMBERS(Cone, {u"Area", 100}, {u"LArea", 101})
TX_MEMBERS(Torus, {u"Area", 100}, {u"AreaCyl", 101})
TX_MEMBERS(Box, {u"Area", 100})
TX_MEMBERS(Triangle, {u"Gyp", 100}, {u"CatG", 101}, {u"CatA", 102}, {u"CatB", 103})
TX_MEMBERS(Debug, {u"PrintLn", 100}, {u"TypeOf", 101})
TX_MEMBERS(Plugins, {u"Get", 100}, {u"Info", 101})

#undef TX_MEMBERS

HRESULT Surface::Invoke(DISPID id, REFIID, LCID, WORD, DISPPARAMS* params, VARIANT* result,
                        EXCEPINFO*, UINT*) {
    if (id < 0 || (id > 0 && (id < 100 || id > 103))) return E_FAIL;
    if (ArgCount(params) != 0) return E_INVALIDARG;
    switch (id) {
    case 0:
        if (result) {
            VariantClear(result);
            result->vt = VT_BSTR;
            result->bstrVal = SysAllocString(u"1987.11");
        }
        return S_OK;
    case 100:
        return SetObject(result, Cylinder::GetInstance());
    case 101:
        return SetObject(result, Cone::GetInstance());
    case 102:
        return SetObject(result, Torus::GetInstance());
    default:
        return SetObject(result, Box::GetInstance());
    }
}

HRESULT Cylinder::Invoke(DISPID id, REFIID, LCID, WORD, DISPPARAMS* params, VARIANT* result,
                         EXCEPINFO*, UINT*) {
    if (id != 100 && id != 101) return E_FAIL;
    if (ArgCount(params) != 2) return E_INVALIDARG;
    const double d = RealArg(params, 0), h = RealArg(params, 1);
    const double lateral = kPi * d * h;
    if (id == 101) return SetReal(result, lateral);
    return SetReal(result, lateral + 2 * kPi * (d / 2) * (d / 2));
}

HRESULT Cone::Invoke(DISPID id, REFIID, LCID, WORD, DISPPARAMS* params, VARIANT* result, EXCEPINFO*,
                     UINT*) {
    if (id != 100 && id != 101) return E_FAIL;
    if (ArgCount(params) != 3) return E_INVALIDARG;
    const double h = RealArg(params, 0);
    const double r1 = RealArg(params, 1) / 2, r2 = RealArg(params, 2) / 2;
    const double lateral = kPi * (r1 + r2) * std::sqrt((r1 * r2) * (r1 * r2) + h * h);
    if (id == 101) return SetReal(result, lateral);
    return SetReal(result, lateral + kPi * r1 * r1 + kPi * r2 * r2);
}

HRESULT Torus::Invoke(DISPID id, REFIID, LCID, WORD, DISPPARAMS* params, VARIANT* result,
                      EXCEPINFO*, UINT*) {
    if (id == 100) {
        if (ArgCount(params) != 4) return E_INVALIDARG;
        RealArg(params, 0); // read and not used
        const double b = RealArg(params, 1), c = RealArg(params, 2), d = RealArg(params, 3);
        return SetReal(result, d * (b * kPi * c) / 180);
    }
    if (id == 101) {
        if (ArgCount(params) != 5) return E_INVALIDARG;
        RealArg(params, 0);
        const double b = RealArg(params, 1), c = RealArg(params, 2), d = RealArg(params, 3),
                     e = RealArg(params, 4);
        return SetReal(result, (e + d * c / 180) * b * kPi);
    }
    return E_FAIL;
}

HRESULT Box::Invoke(DISPID id, REFIID, LCID, WORD, DISPPARAMS* params, VARIANT* result, EXCEPINFO*,
                    UINT*) {
    if (id != 100) return E_FAIL;
    if (ArgCount(params) != 3) return E_INVALIDARG;
    const double a = RealArg(params, 0), b = RealArg(params, 1), c = RealArg(params, 2);
    return SetReal(result, 2 * a * (b + c));
}

HRESULT Triangle::Invoke(DISPID id, REFIID, LCID, WORD, DISPPARAMS* params, VARIANT* result,
                         EXCEPINFO*, UINT*) {
    switch (id) {
    case 100:
    case 101: {
        if (ArgCount(params) != 2) return E_INVALIDARG;
        const double a = RealArg(params, 0), b = RealArg(params, 1);
        return SetReal(result, id == 100 ? std::sqrt(a * a + b * b) : std::sqrt(b * b - a * a));
    }
    case 102:
    case 103: {
        if (ArgCount(params) != 3) return E_INVALIDARG;
        const double a = RealArg(params, 0);
        double angle = RealArg(params, 1);
        if (CFunction::AsInt(*Arg(params, 2)) != 0) angle *= kDegree;
        const double s = id == 102 ? std::sin(angle) : std::cos(angle);
        if (std::fabs(s) < 1e-5) return SetReal(result, 0);
        return SetReal(result, a * std::sqrt(1 / (s * s) - 1));
    }
    default:
        return E_FAIL;
    }
}

HRESULT Debug::Invoke(DISPID id, REFIID, LCID, WORD, DISPPARAMS* params, VARIANT* result,
                      EXCEPINFO*, UINT*) {
    if (id != 100 && id != 101) return E_FAIL;
    if (ArgCount(params) == 0) return E_FAIL;
    if (ArgCount(params) != 1) return E_INVALIDARG;
    VARIANT& x = *Arg(params, 0);
    if (id == 100) {
        CTXLog::PrintLine(CFunction::AsString(x).GetString());
        if (result) {
            VariantClear(result);
            VariantCopy(result, &x);
        }
        return S_OK;
    }
    CString type;
    VariantTypeToString(x, type);
    if (result) {
        VariantClear(result);
        result->vt = VT_BSTR;
        result->bstrVal = type.AllocSysString();
    }
    return S_OK;
}

// ---------------------------------------------------------------------------

HRESULT Plugins::Invoke(DISPID id, REFIID, LCID, WORD, DISPPARAMS* params, VARIANT* result,
                        EXCEPINFO*, UINT*) {
    if (id == 100) {
        if (ArgCount(params) != 1) return E_INVALIDARG;
        const CString name = CFunction::AsString(*Arg(params, 0));
        IDispatch* object = GetPluginObject(name.GetString());
        if (!object) {
            CString message(u"Function: Plugin not found: ");
            message += name;
            CTXLog::PrintLine(message.GetString());
            CTXLog::Error(message.GetString());
            return E_NOINTERFACE;
        }
        if (result) {
            VariantClear(result);
            result->vt = VT_DISPATCH;
            result->pdispVal = object; // the reference GetPluginObject took
        } else {
            object->Release();
        }
        return S_OK;
    }
    if (id == 101) {
        if (ArgCount(params) != 0) return E_INVALIDARG;
        CString text;
        text.Format(u"Registred plugins (%d): ", int(m_Plugins.size()));
        for (const CPlugin& plugin : m_Plugins) {
            text += plugin.name;
            text += u"; ";
        }
        if (result) {
            VariantClear(result);
            result->vt = VT_BSTR;
            result->bstrVal = text.AllocSysString();
        }
        return S_OK;
    }
    return E_FAIL;
}

std::int64_t Plugins::Find(const char16_t* name) const {
    const CString key(name);
    for (std::size_t i = 0; i < m_Plugins.size(); ++i)
        if (m_Plugins[i].name == key) return std::int64_t(i);
    return -1;
}

void Plugins::RegisterPlugin(const char16_t* name, IDispatch* object) {
    if (!object) return;
    object->AddRef();
    const std::int64_t found = Find(name);
    if (found >= 0) {
        m_Plugins[std::size_t(found)].object = object;
        return;
    }
    if (m_Plugins.capacity() == m_Plugins.size())
        m_Plugins.reserve(m_Plugins.empty() ? 1 : m_Plugins.size() + 10);
    m_Plugins.push_back({CString(name), object});
}

bool Plugins::UnregisterPlugin(const char16_t* name) {
    const std::int64_t found = Find(name);
    if (found < 0) return false;
    IDispatch* object = m_Plugins[std::size_t(found)].object;
    m_Plugins.erase(m_Plugins.begin() + found);
    object->Release();
    return true;
}

IDispatch* Plugins::GetPluginObject(const char16_t* name) {
    return GetPluginObject(Find(name));
}

IDispatch* Plugins::GetPluginObject(std::int64_t index) {
    if (index < 0 || index >= GetPluginsCount()) return nullptr;
    IDispatch* object = m_Plugins[std::size_t(index)].object;
    object->AddRef();
    return object;
}

CString Plugins::GetPluginName(std::int64_t index) const {
    if (index < 0 || index >= GetPluginsCount()) return CString();
    return m_Plugins[std::size_t(index)].name;
}

} // namespace TXFunctionObjects
