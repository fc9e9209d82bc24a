// The process-wide objects a formula reaches by the words surf, triang,
// debug and plugins. Each is made once at first use and never destroyed,
// so no plug-in is released during static destruction.
//
//   surf            default value "1987.11"
//     .Cyl          .Area(d, h)  .LArea(d, h)
//     .Con          .Area(h, d1, d2)  .LArea(h, d1, d2)
//     .Tor          .Area(a, b, c, d)  .AreaCyl(a, b, c, d, e)
//     .Box          .Area(a, b, c)
//   triang          .Gyp(a, b)  .CatG(a, b)  .CatA/.CatB(a, angle, degrees)
//   debug           .PrintLn(x)  .TypeOf(x)
//   plugins         .Get(name)  .Info
//
// The shapes keep their historical formulas: Cone.LArea has r1*r2 under the
// root, and the torus reads its first argument without using it.
#pragma once

#include <vector>

#include "tarvex/formula/objects/functionobjectbase.h"

namespace TXFunctionObjects {

// Invoke of the objects with a fixed member table: -1 and unknown ids are
// E_FAIL, a wrong argument count E_INVALIDARG.
#define TX_DECLARE_SCRIPT_OBJECT(Class)                                                            \
public:                                                                                            \
    static Class* GetInstance();                                                                   \
    const char16_t* GetClassName() const override {                                                \
        return u## #Class;                                                                         \
    }                                                                                              \
    HRESULT Invoke(DISPID id, REFIID riid, LCID lcid, WORD flags, DISPPARAMS* params,              \
                   VARIANT* result, EXCEPINFO* excepInfo, UINT* argErr) override;                  \
                                                                                                   \
protected:                                                                                         \
    const CMember* GetMembers(std::size_t& count) const override;                                  \
                                                                                                   \
private:                                                                                           \
    Class() = default;

class Surface : public CFunctionObjectBase {
    TX_DECLARE_SCRIPT_OBJECT(Surface)
};
class Cylinder : public CFunctionObjectBase {
    TX_DECLARE_SCRIPT_OBJECT(Cylinder)
};
class Cone : public CFunctionObjectBase {
    TX_DECLARE_SCRIPT_OBJECT(Cone)
};
class Torus : public CFunctionObjectBase {
    TX_DECLARE_SCRIPT_OBJECT(Torus)
};
class Box : public CFunctionObjectBase {
    TX_DECLARE_SCRIPT_OBJECT(Box)
};
class Triangle : public CFunctionObjectBase {
    TX_DECLARE_SCRIPT_OBJECT(Triangle)
};
class Debug : public CFunctionObjectBase {
    TX_DECLARE_SCRIPT_OBJECT(Debug)
};

// Automation objects that the host registers by name before formulas run;
// the list has no lock, so registration belongs to start-up.
class Plugins : public CFunctionObjectBase {
    TX_DECLARE_SCRIPT_OBJECT(Plugins)

public:
    // Takes a reference. A name already present (exact match) gets the new
    // pointer; the old one is not released. A null object is ignored.
    void RegisterPlugin(const char16_t* name, IDispatch* object);
    // Releases and removes; false for an unknown name.
    bool UnregisterPlugin(const char16_t* name);
    // A new reference, or null.
    IDispatch* GetPluginObject(const char16_t* name);
    IDispatch* GetPluginObject(std::int64_t index);
    CString GetPluginName(std::int64_t index) const;
    std::int64_t GetPluginsCount() const { return std::int64_t(m_Plugins.size()); }

private:
    struct CPlugin {
        CString name;
        IDispatch* object;
    };
    std::int64_t Find(const char16_t* name) const;

    std::vector<CPlugin> m_Plugins;
};

#undef TX_DECLARE_SCRIPT_OBJECT

} // namespace TXFunctionObjects
