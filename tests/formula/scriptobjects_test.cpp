// The script objects: surf, triang, debug, plugins and vec3, in formulas and
// through their dispatch interfaces.
#include <cmath>
#include <memory>

#include <gtest/gtest.h>

#include "../platform/countingdispatch.h"
#include "formulatest.h"
#include "tarvex/core/log.h"
#include "tarvex/formula/elementcompiler.h"
#include "tarvex/formula/objects/calculatedobject.h"
#include "tarvex/formula/objects/scriptobjects.h"
#include "tarvex/formula/reverseengeneer.h"

using namespace TXFunctionObjects;

namespace {

constexpr double kPi = 3.141592653589793;

struct Formulas : formulatest::BasicEvaluator<qrksFunctionCompiler> {
    double Real(const char16_t* text) {
        auto function = Compile(text);
        VARIANT out;
        VariantInit(&out);
        EXPECT_TRUE(function->Count(out, &vars));
        EXPECT_EQ(out.vt, VT_R8);
        const double value = out.dblVal;
        VariantClear(&out);
        return value;
    }
};

// Calls `member` of `object` with the arguments in the order of the text.
HRESULT Call(IDispatch* object, const char16_t* member, std::vector<VARIANT> args, VARIANT& out) {
    DISPID id = 0;
    LPOLESTR names[1] = {const_cast<LPOLESTR>(member)};
    EXPECT_EQ(object->GetIDsOfNames(IID_NULL, names, 1, 0, &id), S_OK);
    std::vector<VARIANT> reversed(args.rbegin(), args.rend());
    DISPPARAMS params{reversed.data(), nullptr, UINT(reversed.size()), 0};
    VariantInit(&out);
    return object->Invoke(id, IID_NULL, 0, DISPATCH_METHOD, &params, &out, nullptr, nullptr);
}

VARIANT R8(double value) {
    VARIANT v;
    v.vt = VT_R8;
    v.dblVal = value;
    return v;
}

TEST(ScriptObjects, SurfaceFormulas) {
    Formulas f;
    EXPECT_DOUBLE_EQ(f.Real(u"surf.Cyl.Area(1, 1)"), kPi + kPi / 2);
    EXPECT_DOUBLE_EQ(f.Real(u"SURF.cyl.larea(2, 3)"), kPi * 6);
    EXPECT_DOUBLE_EQ(f.Real(u"surf.Box.Area(1, 2, 3)"), 10);
    // r1 * r2 under the root, not a difference.
    const double r1 = 1, r2 = 2, h = 3;
    const double lateral = kPi * (r1 + r2) * std::sqrt(r1 * r2 * r1 * r2 + h * h);
    EXPECT_DOUBLE_EQ(f.Real(u"surf.Con.LArea(3, 2, 4)"), lateral);
    EXPECT_DOUBLE_EQ(f.Real(u"surf.Con.Area(3, 2, 4)"), lateral + kPi * r1 * r1 + kPi * r2 * r2);
    // The torus's first argument is read and not used.
    EXPECT_DOUBLE_EQ(f.Real(u"surf.Tor.Area(999, 2, 3, 4)"), 4 * (2 * kPi * 3) / 180);
    EXPECT_DOUBLE_EQ(f.Real(u"surf.Tor.AreaCyl(-1, 2, 3, 4, 5)"), (5 + 4.0 * 3 / 180) * 2 * kPi);
    EXPECT_EQ(f.Eval(u"surf"), u"1987.11");
}

TEST(ScriptObjects, TriangleFormulas) {
    Formulas f;
    EXPECT_DOUBLE_EQ(f.Real(u"triang.Gyp(3, 4)"), 5);
    EXPECT_DOUBLE_EQ(f.Real(u"triang.CatG(3, 5)"), 4);
    EXPECT_NEAR(f.Real(u"triang.CatA(1, 90, 1)"), 0, 1e-7);
    EXPECT_EQ(f.Real(u"triang.CatA(1, 0, 1)"), 0);
    EXPECT_NEAR(f.Real(u"triang.CatA(2, 30, 1)"), 2 * std::sqrt(3.0), 1e-12);
    EXPECT_NEAR(f.Real(u"triang.CatB(2, 60, 1)"), 2 * std::sqrt(3.0), 1e-12);
    // cos(90°) falls under the cut-off.
    EXPECT_EQ(f.Real(u"triang.CatB(2, 90, 1)"), 0);
}

TEST(ScriptObjects, WrongCountsAndUnknownMembers) {
    Formulas f;
    EXPECT_EQ(f.Eval(u"surf.Box.Area(1, 2)"), u"Area (The parameter is incorrect.)");
    EXPECT_EQ(f.Eval(u"surf.Tor.AreaCyl(1, 2, 3, 4)"), u"AreaCyl (The parameter is incorrect.)");
    EXPECT_EQ(f.Eval(u"surf.Cyl(1)"), u"Cyl (The parameter is incorrect.)");
    EXPECT_EQ(f.Eval(u"surf.Sphere"), u"Sphere (Unspecified error)");
    // debug with no argument is E_FAIL, with two E_INVALIDARG.
    EXPECT_EQ(f.Eval(u"debug.PrintLn()"), u"PrintLn (Unspecified error)");
    EXPECT_EQ(f.Eval(u"debug.TypeOf(1, 2)"), u"TypeOf (The parameter is incorrect.)");
}

TEST(ScriptObjects, DispatchConventions) {
    Surface* surface = Surface::GetInstance();
    EXPECT_EQ(surface, Surface::GetInstance());
    // Counts answer the old value and never delete.
    const ULONG before = surface->GetRefCount();
    EXPECT_EQ(surface->AddRef(), before);
    EXPECT_EQ(surface->Release(), before + 1);
    void* out = &out;
    EXPECT_EQ(surface->QueryInterface(IID_IDispatch, &out), 1);
    EXPECT_EQ(out, nullptr);
    ITypeInfo* info = reinterpret_cast<ITypeInfo*>(&out);
    EXPECT_EQ(surface->GetTypeInfo(0, 0, &info), E_FAIL);
    EXPECT_EQ(info, nullptr);

    // An unknown name is -1 and S_OK; Invoke of it fails.
    DISPID ids[2] = {7, 7};
    LPOLESTR names[2] = {const_cast<LPOLESTR>(u"nothing"), const_cast<LPOLESTR>(u"bOx")};
    EXPECT_EQ(surface->GetIDsOfNames(IID_NULL, names, 2, 0, ids), S_OK);
    EXPECT_EQ(ids[0], -1);
    EXPECT_EQ(ids[1], 103);
    DISPPARAMS none{nullptr, nullptr, 0, 0};
    EXPECT_EQ(surface->Invoke(-1, IID_NULL, 0, 0, &none, nullptr, nullptr, nullptr), E_FAIL);

    VARIANT result;
    VariantInit(&result);
    EXPECT_EQ(surface->Invoke(0, IID_NULL, 0, 0, &none, &result, nullptr, nullptr), S_OK);
    ASSERT_EQ(result.vt, VT_BSTR);
    EXPECT_EQ(CString(result.bstrVal), u"1987.11");
    VariantClear(&result);
}

TEST(ScriptObjects, DebugTypeOfAndPrintLn) {
    Formulas f;
    EXPECT_EQ(f.Eval(u"debug.TypeOf(1)"), u"VT_I4");
    EXPECT_EQ(f.Eval(u"debug.TypeOf(\"a\")"), u"VT_BSTR");
    EXPECT_EQ(f.Eval(u"debug.TypeOf(vec3(1, 2, 3))"), u"CVector3d");
    EXPECT_EQ(f.Eval(u"debug.TypeOf(surf.Cyl)"), u"Cylinder");
    // The flags are tested from 4095 down, so an array of doubles reads so.
    EXPECT_EQ(f.Eval(u"debug.TypeOf(vector(1, 2, 3))"), u"VT_BSTR_BLOB|VT_VECTOR|VT_CY");

    CString type;
    CFunctionObjectBase::VarTypeToString(VT_RECORD, type);
    EXPECT_EQ(type, u"VT_RECORD");
    type.Empty();
    CFunctionObjectBase::VarTypeToString(73, type);
    EXPECT_EQ(type, u"VT_VERSIONED_STREAM");
    type.Empty();
    CFunctionObjectBase::VarTypeToString(15, type);
    EXPECT_EQ(type, u"Неизвестный тип 15");

    CTXFunctionVariable variable(u"x");
    VARIANT value;
    value.vt = VT_I4;
    value.lVal = 1;
    variable.SetValue(value);
    VARIANT holder;
    holder.vt = VT_DISPATCH;
    holder.pdispVal = &variable;
    CFunctionObjectBase::VariantTypeToString(holder, type);
    EXPECT_EQ(type, u"Переменная \"x\" VT_I4");

    static CString printed;
    CTXLog::SetGlobalOutputCallback([](const char16_t* text) { printed = text; });
    EXPECT_EQ(f.Eval(u"debug.PrintLn(2.5) + 1"), u"3.5");
    CTXLog::SetGlobalOutputCallback(nullptr);
    EXPECT_EQ(printed, u"2.5");
}

TEST(ScriptObjects, Plugins) {
    Plugins* plugins = Plugins::GetInstance();
    tarvex_test::CountingDispatch first, second;
    plugins->RegisterPlugin(u"calc", &first);
    EXPECT_EQ(first.refs, 2);
    plugins->RegisterPlugin(u"ignored", nullptr);
    // The same name replaces the pointer without releasing the old one.
    plugins->RegisterPlugin(u"calc", &second);
    EXPECT_EQ(first.refs, 2);
    EXPECT_EQ(second.refs, 2);
    plugins->RegisterPlugin(u"Calc", &first);
    EXPECT_EQ(plugins->GetPluginsCount(), 2);
    EXPECT_EQ(plugins->GetPluginName(1), u"Calc");
    EXPECT_EQ(plugins->GetPluginName(5), u"");
    EXPECT_EQ(plugins->GetPluginObject(u"nothing"), nullptr);
    EXPECT_EQ(plugins->GetPluginObject(7), nullptr);
    IDispatch* found = plugins->GetPluginObject(u"calc");
    EXPECT_EQ(found, &second);
    EXPECT_EQ(second.refs, 3);
    found->Release();

    Formulas f;
    EXPECT_EQ(f.Eval(u"plugins.Info"), u"Registred plugins (2): calc; Calc; ");
    EXPECT_EQ(f.Eval(u"plugins.Get(\"nothing\")"), u"Get (No such interface supported)");
    VARIANT out;
    VARIANT name;
    name.vt = VT_BSTR;
    name.bstrVal = SysAllocString(u"calc");
    EXPECT_EQ(Call(plugins, u"get", {name}, out), S_OK);
    SysFreeString(name.bstrVal);
    ASSERT_EQ(out.vt, VT_DISPATCH);
    EXPECT_EQ(out.pdispVal, &second);
    EXPECT_EQ(second.refs, 3);
    VariantClear(&out);
    EXPECT_EQ(second.refs, 2);

    EXPECT_TRUE(plugins->UnregisterPlugin(u"calc"));
    EXPECT_EQ(second.refs, 1);
    EXPECT_FALSE(plugins->UnregisterPlugin(u"calc"));
    EXPECT_TRUE(plugins->UnregisterPlugin(u"Calc"));
    EXPECT_EQ(first.refs, 2); // the test's and the one the replacement kept
    EXPECT_EQ(plugins->GetPluginsCount(), 0);
}

TEST(Vector3d, MembersInFormulas) {
    Formulas f;
    EXPECT_DOUBLE_EQ(f.Real(u"vec3(1, 2, 3).Length"), std::sqrt(14.0));
    // DistanceTo and DistanceSqr measure this vector alone.
    EXPECT_DOUBLE_EQ(f.Real(u"vec3(1, 0, 0).DistanceTo(vec3(5, 0, 0))"), 1);
    EXPECT_DOUBLE_EQ(f.Real(u"vec3(2, 0, 0).DistanceSqr(vec3(5, 0, 0))"), 4);
    EXPECT_DOUBLE_EQ(f.Real(u"vec3(1, 2, 3).Dot(vec3(4, 5, 6))"), 32);
    EXPECT_DOUBLE_EQ(f.Real(u"vec3(1, 0, 0).Cross(vec3(0, 1, 0)).z"), 1);
    EXPECT_DOUBLE_EQ(f.Real(u"vec3(0, 1, 0).Cross(vec3(1, 0, 0)).z"), -1);
    EXPECT_NEAR(f.Real(u"vec3(1, 0, 0).AngleTo(vec3(0, 3, 0))"), kPi / 2, 1e-15);
    EXPECT_EQ(f.Real(u"vec3(0, 0, 0).AngleTo(vec3(0, 3, 0))"), kPi / 2);
    EXPECT_EQ(f.Eval(u"vec3(0, 0, 2).PerpVector"), u"{2; 0; 0}");
    EXPECT_EQ(f.Eval(u"vec3(3, 0, 0).PerpVector"), u"{0; 3; 0}");
    EXPECT_EQ(f.Eval(u"vec3(0.009, 0, 0).IsZeroLength"), u"true");
    EXPECT_EQ(f.Eval(u"vec3(0.01, 0, 0).IsZeroLength"), u"false");
    EXPECT_EQ(f.Eval(u"vec3(3, 0, 4).Normalize"), u"{0.6; 0; 0.8}");
    EXPECT_EQ(f.Eval(u"vec3(1, -2, 3).Inverse"), u"{-1; 2; -3}");
    EXPECT_EQ(f.Eval(u"vec3(1, 2, 3).Set(4, 5, 6).SetY(7)"), u"{4; 7; 6}");
    EXPECT_DOUBLE_EQ(f.Real(u"vec3(1, 2, 3).SetZ(9).z + vec3(1, 2, 3).x"), 10);
    EXPECT_EQ(f.Eval(u"vec3(\"{1; 2; 3}\").y"), u"2");
    EXPECT_DOUBLE_EQ(f.Real(u"vec3(\"junk\").Length"), 0);
    EXPECT_EQ(f.Eval(u"vec3(1, 2, 3).value"), u"{1; 2; 3}");
    EXPECT_EQ(f.Eval(u"vec3(1, 2, 3).Set(1)"), u"Set (The parameter is incorrect.)");
    EXPECT_EQ(f.Eval(u"vec3(1, 2, 3).Cross(1)"),
              u"Данная операция требует вектор в качестве аргумента. Аргумент предоставлен: VT_I4");
}

TEST(Vector3d, OperatorsInBothOrders) {
    Formulas f;
    EXPECT_EQ(f.Eval(u"vec3(1, 2, 3) + vec3(1, 1, 1)"), u"{2; 3; 4}");
    EXPECT_EQ(f.Eval(u"vec3(1, 2, 3) - vec3(1, 1, 1)"), u"{0; 1; 2}");
    EXPECT_EQ(f.Eval(u"vec3(1, 2, 3) * 2"), u"{2; 4; 6}");
    EXPECT_EQ(f.Eval(u"vec3(2, 4, 6) / 2"), u"{1; 2; 3}");
    EXPECT_EQ(f.Eval(u"vec3(1, 2, 3) / 0"), u"{inf; inf; inf}");
    // A number on the left keeps its value: the object's result is dropped.
    EXPECT_EQ(f.Eval(u"2 * vec3(1, 2, 3)"), u"2");
    EXPECT_EQ(f.Eval(u"1 + vec3(1, 2, 3)"),
              u"Сложение вектора и VT_I4 не определено. Сложение возможно только с вектором.");
    EXPECT_EQ(f.Eval(u"vec3(1, 0, 0) + 1"),
              u"Сложение вектора и VT_I4 не определено. Сложение возможно только с вектором.");
    EXPECT_EQ(f.Eval(u"vec3(1, 0, 0) - \"a\""),
              u"Вычитание VT_BSTR из вектора не определено. Возможно только вычитание вектора.");
    EXPECT_EQ(f.Eval(u"vec3(1, 2, 3) + vec3(1, 1, 1) + vec3(1, 1, 1)"), u"{3; 4; 5}");
}

TEST(Vector3d, Comparison) {
    Formulas f;
    EXPECT_EQ(f.Eval(u"vec3(1, 2, 3) = vec3(1, 2, 3.000001)"), u"true");
    EXPECT_EQ(f.Eval(u"vec3(1, 2, 3) < vec3(1, 3, 0)"), u"true");
    EXPECT_EQ(f.Eval(u"vec3(1, 2, 3) > vec3(0, 9, 9)"), u"true");
    EXPECT_EQ(f.Eval(u"vec3(1, 2, 3) = surf"),
              u"Сравнение вектора с Surface не определено. Сравнение возможно только с другим "
              u"вектором.");
    // Another object on the left has no comparison of its own.
    EXPECT_EQ(f.Eval(u"case(vec3(1, 2, 3) when vec3(1, 2, 3) then \"same\", else \"other\")"),
              u"same");
}

TEST(Vector3d, CompileForms) {
    Formulas f;
    EXPECT_EQ(f.Eval(u"vec3(1, 2)"),
              u"Ошибка в выражении: \"Синтаксическая ошибка\" (строка 0, позиция 9)");
    EXPECT_EQ(f.Eval(u"vec3"),
              u"Ошибка в выражении: \"Синтаксическая ошибка\" (строка 0, позиция 4)");
    EXPECT_EQ(f.Eval(u"vec3(1, 2, 3, 4)"),
              u"Ошибка в выражении: \"Синтаксическая ошибка\" (строка 0, позиция 12)");
    // Printed back, an object constant has no written form.
    auto function = f.Compile(u"surf.Cyl");
    CFunctionReverseEngeneer printer;
    CString printed;
    printer.ReverseEngeneer(function.get(), &f.vars, printed);
    EXPECT_EQ(printed, u"?.Cyl");
}

// The vector lives in its token: a kept result changes with the next run,
// while a copy of the function has a vector of its own.
TEST(Vector3d, OneObjectPerToken) {
    Formulas f;
    f.vars.SetValue(u"A", R8(1));
    auto function = f.Compile(u"vec3(a, 0, 0)");
    VARIANT first;
    VariantInit(&first);
    ASSERT_TRUE(function->Count(first, &f.vars));
    ASSERT_EQ(first.vt, VT_DISPATCH);
    f.vars.SetValue(u"A", R8(5));
    CString out;
    function->Count(out, &f.vars);
    EXPECT_EQ(out, u"{5; 0; 0}");
    auto* vector = dynamic_cast<CVector3d*>(first.pdispVal);
    ASSERT_NE(vector, nullptr);
    EXPECT_EQ(vector->GetVector().x, 5);

    CFunction copy(*function);
    f.vars.SetValue(u"A", R8(7));
    copy.Count(out, &f.vars);
    EXPECT_EQ(out, u"{7; 0; 0}");
    EXPECT_EQ(vector->GetVector().x, 5);
    // The kept result still holds the token's vector after the function
    // goes.
    function.reset();
    EXPECT_EQ(vector->GetVector().x, 5);
    VariantClear(&first);
}

TEST(Vector3d, ConstructorThroughDispatch) {
    auto* vector = new CVector3d;
    VARIANT self;
    VariantInit(&self);
    vector->SetToThis(self);
    VARIANT out;
    EXPECT_EQ(Call(vector, u"value", {}, out), S_OK);
    EXPECT_EQ(out.vt, VT_BSTR);
    VariantClear(&out);
    DISPPARAMS two{nullptr, nullptr, 2, 0};
    VARIANT args[2] = {R8(1), R8(2)};
    two.rgvarg = args;
    EXPECT_THROW(vector->Invoke(-6, IID_NULL, 0, 0, &two, &out, nullptr, nullptr), CSyntaxError);
    DISPPARAMS four{args, nullptr, 4, 0};
    EXPECT_EQ(vector->Invoke(-6, IID_NULL, 0, 0, &four, &out, nullptr, nullptr), E_INVALIDARG);
    VARIANT three[3] = {R8(3), R8(2), R8(1)};
    DISPPARAMS params{three, nullptr, 3, 0};
    EXPECT_EQ(vector->Invoke(-6, IID_NULL, 0, 0, &params, &out, nullptr, nullptr), S_OK);
    EXPECT_EQ(out.pdispVal, vector);
    VariantClear(&out);
    EXPECT_EQ(vector->GetVector().x, 1);
    EXPECT_EQ(vector->GetVector().z, 3);
    try {
        vector->Construct(args[0], args[1]);
        ADD_FAILURE();
    } catch (const CSyntaxError& e) {
        EXPECT_EQ(e.GetMessageW(), u"Конструктор с двумя аргументами не определён для CVector3d");
    }
    VariantClear(&self); // the last reference deletes it
}

} // namespace

namespace {

// `target(1, 2)` built as the compiler builds a constructor call.
std::unique_ptr<CFunction> ConstructorCall(const VARIANT& target) {
    auto function = std::make_unique<CFunction>();
    CFunction::CTranslationContext ctx;
    function->AddToken(CFunction::ttOpenGroup, ctx);
    function->AddConstructor2Token(target, ctx);
    for (int value : {1, 2}) {
        function->AddToken(CFunction::ttOpenGroup, ctx);
        function->AddToken(value, CFunction::ttConstant, ctx);
        function->AddToken(CFunction::ttCloseGroup, ctx);
    }
    function->AddToken(CFunction::ttCloseGroup, ctx);
    return function;
}

TEST(Constructors, ForeignObjectsAndMissingTargets) {
    tarvex_test::CountingDispatch foreign;
    VARIANT target;
    target.vt = VT_DISPATCH;
    target.pdispVal = &foreign;
    auto call = ConstructorCall(target);
    VARIANT out;
    VariantInit(&out);
    try {
        call->Count(out, nullptr);
        ADD_FAILURE();
    } catch (const CSyntaxError& e) {
        EXPECT_EQ(e.GetMessageW(), u"Вызов конструктора (Member not found.)");
    }
    EXPECT_EQ(foreign.lastId, -6);
    EXPECT_EQ(foreign.lastArgs, 2u);
    call.reset();
    EXPECT_EQ(foreign.refs, 1);

    // A token without an object is a fault of the caller, not of the text.
    VARIANT empty;
    VariantInit(&empty);
    auto broken = ConstructorCall(empty);
    EXPECT_ANY_THROW(broken->Count(out, nullptr));
    try {
        broken->Count(out, nullptr);
    } catch (const CSyntaxError&) {
        ADD_FAILURE() << "reported as a formula error";
    } catch (...) {
    }
}

} // namespace
