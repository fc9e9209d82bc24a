// The object context of formulas: `hierarchy` through a host provider, the
// factory forms, and copies of compiled functions.
#include <map>
#include <memory>

#include <gtest/gtest.h>

#include "../platform/countingdispatch.h"
#include "formulatest.h"
#include "tarvex/element/element.h"
#include "tarvex/formula/compiledfunction.h"
#include "tarvex/formula/elementcompiler.h"
#include "tarvex/formula/hierarchy.h"
#include "tarvex/formula/objects/scriptobjects.h"

namespace {

using tarvex_test::CountingDispatch;

// A hierarchy whose Element is a counting object with the value `value`.
class Hierarchy : public CFunctionHierarchyProvider::CHierarchyObject {
public:
    explicit Hierarchy(int value) {
        VARIANT v;
        v.vt = VT_I4;
        v.lVal = value;
        element.SetValue(v);
    }
    CountingDispatch element;

protected:
    IDispatch* GetElement() override {
        element.AddRef();
        return &element;
    }
};

// Knows "pipes" (10) and "cables" (20); counts the questions.
class Provider : public CFunctionHierarchyProvider {
public:
    bool GetHierarchy(const char16_t* name, IDispatch* context, IDispatch** result,
                      CString& error) override {
        ++asked;
        lastContext = context;
        const CString key(name);
        Hierarchy* found = key == u"pipes" || key == u"PIPES" ? &pipes
                           : key == u"cables"                 ? &cables
                                                              : nullptr;
        if (!found) {
            error = u"нет такой иерархии";
            return false;
        }
        found->AddRef();
        *result = found;
        return true;
    }
    Hierarchy pipes{10}, cables{20};
    int asked = 0;
    IDispatch* lastContext = nullptr;
};

using Formulas = formulatest::BasicEvaluator<qrksFunctionCompiler>;

TEST(Hierarchy, ProviderAnswersOncePerCount) {
    Formulas f;
    Provider provider;
    CountingDispatch context;
    auto function = f.Compile(u"hierarchy(\"pipes\").Element & hierarchy(\"PIPES\").Element");
    function->SetCOMContext(&context, &provider);
    EXPECT_EQ(Formulas::Run(*function, &f.vars), u"1010");
    EXPECT_EQ(provider.asked, 1); // the second name hits the cache, case aside
    EXPECT_EQ(provider.lastContext, &context);
    EXPECT_EQ(Formulas::Run(*function, &f.vars), u"1010");
    EXPECT_EQ(provider.asked, 2); // a new count asks again
    // Everything handed out came back.
    EXPECT_EQ(provider.pipes.GetRefCount(), 1u);
    EXPECT_EQ(provider.pipes.element.refs, 1);
    function.reset();
    EXPECT_EQ(provider.pipes.GetRefCount(), 0u);
    EXPECT_EQ(context.refs, 1);
}

TEST(Hierarchy, Failures) {
    Formulas f;
    auto function = f.Compile(u"hierarchy(h)");
    VARIANT name;
    name.vt = VT_BSTR;
    name.bstrVal = SysAllocString(u"ducts");
    f.vars.SetValue(u"H", name);
    VariantClear(&name);
    // No provider.
    EXPECT_EQ(Formulas::Run(*function, &f.vars), u"Контекст не определен");
    Provider provider;
    function->SetCOMContext(nullptr, &provider);
    EXPECT_EQ(Formulas::Run(*function, &f.vars), u"нет такой иерархии (ducts)");
    auto empty = f.Compile(u"hierarchy(\"\")");
    empty->SetCOMContext(nullptr, &provider);
    EXPECT_EQ(Formulas::Run(*empty, &f.vars), u"Неправильный аргумент");
    EXPECT_EQ(f.Eval(u"hierarchy"),
              u"Ошибка в выражении: \"Синтаксическая ошибка\" (строка 0, позиция 9)");
}

TEST(Hierarchy, NestedFunctionsFollowTheContextSetAfterCompiling) {
    Formulas f;
    Provider provider;
    auto function =
        f.Compile(u"case(1 when 1 then hierarchy(\"cables\").Element) + sum(split(\"1,2\", \",\"), "
                  u"hierarchy(\"pipes\").Element)");
    function->SetCOMContext(nullptr, &provider);
    EXPECT_EQ(Formulas::Run(*function, &f.vars), u"40");
    CFunction copy(*function);
    EXPECT_EQ(copy.GetHierarchyProvider(), &provider);
    EXPECT_EQ(Formulas::Run(copy, &f.vars), u"40");
}

TEST(Hierarchy, ObjectMembers) {
    Hierarchy object(5);
    DISPID ids[2] = {0, 0};
    LPOLESTR names[2] = {const_cast<LPOLESTR>(u"ELEMENT"), const_cast<LPOLESTR>(u"Parent")};
    EXPECT_EQ(object.GetIDsOfNames(IID_NULL, names, 2, 0, ids), S_OK);
    EXPECT_EQ(ids[0], 1);
    EXPECT_EQ(ids[1], -1);
    VARIANT out;
    VariantInit(&out);
    DISPPARAMS none{nullptr, nullptr, 0, 0};
    EXPECT_EQ(object.Invoke(2, IID_NULL, 0, 0, &none, &out, nullptr, nullptr), E_FAIL);
    VARIANT arg;
    arg.vt = VT_I4;
    arg.lVal = 1;
    DISPPARAMS one{&arg, nullptr, 1, 0};
    EXPECT_EQ(object.Invoke(1, IID_NULL, 0, 0, &one, &out, nullptr, nullptr), E_INVALIDARG);
    EXPECT_EQ(object.Invoke(1, IID_NULL, 0, 0, &none, &out, nullptr, nullptr), S_OK);
    EXPECT_EQ(out.pdispVal, &object.element);
    VariantClear(&out);
    EXPECT_EQ(object.element.refs, 1);
}

TEST(ComContext, FactoryForms) {
    Formulas f;
    CountingDispatch object;
    VARIANT v;
    v.vt = VT_I4;
    v.lVal = 7;
    object.SetValue(v);
    auto function = f.Compile(u"object + 1");
    EXPECT_FALSE(CCompiledFunction::SetCOMObjectContext(function.get(), nullptr, nullptr));
    EXPECT_EQ(Formulas::Run(*function, &f.vars), u"Неверный указатель IDispatch");
    EXPECT_TRUE(CCompiledFunction::SetCOMObjectContext(function.get(), &object, nullptr));
    EXPECT_EQ(Formulas::Run(*function, &f.vars), u"8");
    EXPECT_EQ(object.refs, 2); // the function's reference
    // The factory form makes nothing until a formula asks.
    CCompiledFunction::SetCOMObjectContext(function.get(), _GUID{}, &object, nullptr);
    EXPECT_EQ(object.refs, 1);
    EXPECT_EQ(function->GetCOMContext(), nullptr);
    EXPECT_EQ(Formulas::Run(*function, &f.vars), u"8");
    EXPECT_EQ(function->GetCOMContext(), &object);
    function.reset();
    EXPECT_EQ(object.refs, 1);

    // Without data the class must exist.
    IDispatch* made = &object;
    _GUID unknown{0x12345678, 1, 2, {3, 4, 5, 6, 7, 8, 9, 10}};
    EXPECT_EQ(CCompiledFunction::GetComInstance(&made, unknown, nullptr), 0);
    EXPECT_EQ(made, nullptr);
    auto failing = f.Compile(u"object");
    CCompiledFunction::SetCOMObjectContext(failing.get(), unknown, nullptr, nullptr);
    EXPECT_EQ(Formulas::Run(*failing, &f.vars), u"Ошибка при создании COM-объекта");
}

TEST(CompiledFunctionCopy, OutlivesTheOriginal) {
    CElement element(u"pipe");
    element.SetParameter(u"A", u"4");
    std::unique_ptr<CCompiledFunction> original(new CCompiledFunction);
    ASSERT_TRUE(original->Initialize(
        u"var k := 2; a * k + vec3(a, 0, 0).x + case(a when 4 then k, else 0)", &element));
    CCompiledFunction copy(*original);
    CCompiledFunction assigned;
    assigned = copy;
    original.reset();
    for (CCompiledFunction* f : {&copy, &assigned}) {
        f->SetParameters(&element);
        CString out;
        EXPECT_EQ(f->CountStr(out), 1) << reinterpret_cast<const char*>(out.GetString());
        EXPECT_EQ(out, u"14");
    }
    EXPECT_EQ(copy.GetVarsCount(), 1);
    EXPECT_EQ(copy.GetVarName(0), u"A");
}

TEST(CompiledFunctionCopy, ElementContextsAndThis) {
    CElement element(u"pipe");
    std::unique_ptr<CCompiledFunction> original(new CCompiledFunction);
    original->SetThisFunctionObject(TXFunctionObjects::Surface::GetInstance());
    element.SetParameter(u"CODE", u"X");
    ASSERT_TRUE(original->Initialize(
        u"this.Box.Area(1, 2, 3) & element.clp_short_code(true, CODE, \"-\")", &element));
    CCompiledFunction copy(*original);
    EXPECT_EQ(copy.GetThisFunctionObject(), TXFunctionObjects::Surface::GetInstance());
    original.reset();
    copy.SetParameters(&element);
    CString out;
    EXPECT_EQ(copy.CountStr(out), 1) << reinterpret_cast<const char*>(out.GetString());
    EXPECT_EQ(out, u"10X");
}

} // namespace
