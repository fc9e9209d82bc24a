// Automation objects in formulas: the context object, `object("ProgID")`,
// `application`, method and property calls, and local variables seen as
// automation objects.
#include <gtest/gtest.h>

#include "formulatest.h"
#include "tarvex/platform/classregistry.h"
#include "tarvex/platform/errorinfo.h"

using formulatest::Evaluator;

namespace {

// Members: Add(x, y) sums two numbers, Name is a text property, Boom fails
// with an exception record; the default value is 42.
class Calculator : public IDispatch {
public:
    HRESULT QueryInterface(REFIID riid, void** object) override {
        if (riid == IID_IUnknown || riid == IID_IDispatch) {
            *object = static_cast<IDispatch*>(this);
            AddRef();
            return S_OK;
        }
        *object = nullptr;
        return E_NOINTERFACE;
    }
    ULONG AddRef() override { return ++refs; }
    ULONG Release() override { return --refs; }
    HRESULT GetTypeInfoCount(UINT* count) override {
        *count = 0;
        return S_OK;
    }
    HRESULT GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
    HRESULT GetIDsOfNames(REFIID, LPOLESTR* names, UINT, LCID, DISPID* ids) override {
        static const char16_t* const kNames[] = {u"Add", u"Name", u"Boom"};
        for (DISPID i = 0; i < 3; ++i)
            if (std::u16string_view(names[0]) == kNames[i]) {
                *ids = i + 1;
                return S_OK;
            }
        return DISP_E_UNKNOWNNAME;
    }
    HRESULT Invoke(DISPID id, REFIID, LCID, WORD, DISPPARAMS* params, VARIANT* result,
                   EXCEPINFO* info, UINT*) override {
        VariantClear(result);
        switch (id) {
        case 0:
            result->vt = VT_I4;
            result->lVal = 42;
            return S_OK;
        case 1:
            if (params->cArgs != 2) return DISP_E_BADPARAMCOUNT;
            // Arguments arrive last first.
            lastFirst = CFunction::AsReal(params->rgvarg[1]);
            result->vt = VT_R8;
            result->dblVal =
                CFunction::AsReal(params->rgvarg[1]) + CFunction::AsReal(params->rgvarg[0]);
            return S_OK;
        case 2:
            result->vt = VT_BSTR;
            result->bstrVal = SysAllocString(u"calc");
            return S_OK;
        default:
            info->bstrSource = SysAllocString(u"Calc");
            info->bstrDescription = SysAllocString(u"it broke");
            info->bstrHelpFile = SysAllocString(u"help.chm");
            return DISP_E_EXCEPTION;
        }
    }

    ULONG refs = 1;
    double lastFirst = 0;
};

class CalculatorFactory : public IClassFactory {
public:
    HRESULT QueryInterface(REFIID, void** object) override {
        *object = nullptr;
        return E_NOINTERFACE;
    }
    ULONG AddRef() override { return 2; }
    ULONG Release() override { return 1; }
    HRESULT CreateInstance(IUnknown*, REFIID riid, void** object) override {
        return calculator.QueryInterface(riid, object);
    }
    HRESULT LockServer(BOOL) override { return S_OK; }
    Calculator calculator;
};

constexpr CLSID kCalculatorClass = {0x1234abcd, 0x1, 0x2, {1, 2, 3, 4, 5, 6, 7, 8}};

} // namespace

TEST(FormulaObjects, ContextObjectMethodsAndProperties) {
    Evaluator e;
    Calculator calculator;
    auto run = [&](const char16_t* text) {
        try {
            auto function = e.Compile(text);
            function->SetCOMContext(&calculator);
            CString out;
            function->Count(out, &e.vars);
            return out;
        } catch (const CSyntaxError& error) {
            return error.GetMessageW();
        }
    };
    EXPECT_EQ(CString(u"5.5"), run(u"object.Add(2, 3.5)"));
    EXPECT_EQ(2.0, calculator.lastFirst); // the arguments were handed over last first
    EXPECT_EQ(CString(u"calc!"), run(u"object.Name & \"!\""));
    EXPECT_EQ(CString(u"43"), run(u"object + 1")); // the default value
    EXPECT_EQ(CString(u"9"), run(u"1 + object.Add(object.Add(1, 2), 5)"));
    EXPECT_EQ(CString(u"Метод или свойство не поддерживается объектом (Nope)"),
              run(u"object.Nope"));
    EXPECT_EQ(CString(u"Calc it broke (Boom)"), run(u"object.Boom()"));
    EXPECT_EQ(CString(u"Неправильный контекст вызова метода"), run(u"vector(1,2,3).x"));
    EXPECT_EQ(1u, calculator.refs); // every reference taken was given back
    EXPECT_EQ(CString(u"Неверный указатель IDispatch"), e.Eval(u"object.Name"));
}

TEST(FormulaObjects, ObjectByClassAndApplication) {
    CalculatorFactory factory;
    ASSERT_EQ(S_OK, CoRegisterClassObjectFactory(kCalculatorClass, u"Test.Calculator", &factory));
    Evaluator e;
    EXPECT_EQ(CString(u"3"), e.Eval(u"object(\"Test.Calculator\").Add(1, 2)"));
    EXPECT_EQ(CString(u"3"),
              e.Eval(u"object(\"{1234ABCD-0001-0002-0102-030405060708}\").Add(1, 2)"));
    const CString missing = e.Eval(u"object(\"No.Such\")");
    EXPECT_EQ(0, missing.Find(u"No.Such")) << missing;
    EXPECT_EQ(CString(u"Неправильный аргумент"), e.Eval(u"object(\"\")"));
    EXPECT_EQ(1u, factory.calculator.refs);
    CoRevokeClassObjectFactory(kCalculatorClass);

    EXPECT_EQ(CString(u"Не задан объект приложения."), e.Eval(u"application.Name"));
    CFunction::SetApplicationObject(&factory.calculator);
    EXPECT_EQ(CString(u"calc"), e.Eval(u"application.Name"));
    CFunction::SetApplicationObject(nullptr);
    EXPECT_EQ(1u, factory.calculator.refs);
}

TEST(FormulaObjects, LocalVariableIsAnAutomationObject) {
    CTXFunctionVariable variable(u"x");
    LPOLESTR names[2] = {const_cast<LPOLESTR>(u"VALUE"), const_cast<LPOLESTR>(u"other")};
    DISPID ids[2] = {7, 7};
    EXPECT_EQ(S_OK, variable.GetIDsOfNames(IID_NULL, names, 1, 0, ids));
    EXPECT_EQ(0, ids[0]);
    EXPECT_EQ(E_FAIL, variable.GetIDsOfNames(IID_NULL, names, 2, 0, ids));
    VARIANT out;
    VariantInit(&out);
    EXPECT_THROW(
        variable.Invoke(0, IID_NULL, 0, DISPATCH_PROPERTYGET, nullptr, &out, nullptr, nullptr),
        CSyntaxError);
    VARIANT five;
    five.vt = VT_I4;
    five.lVal = 5;
    variable.SetValue(five);
    EXPECT_EQ(S_OK, variable.Invoke(0, IID_NULL, 0, DISPATCH_PROPERTYGET, nullptr, &out, nullptr,
                                    nullptr));
    EXPECT_EQ(5, out.lVal);
    EXPECT_EQ(E_FAIL, variable.Invoke(1, IID_NULL, 0, DISPATCH_PROPERTYGET, nullptr, &out, nullptr,
                                      nullptr));
    void* none = &out;
    EXPECT_EQ(1, variable.QueryInterface(IID_IDispatch, &none));
    EXPECT_EQ(nullptr, none);
    // The library's own objects are recognised by type, not by interface.
    VARIANT wrapped;
    wrapped.vt = VT_DISPATCH;
    wrapped.pdispVal = &variable;
    variable.AddRef();
    CFunction::ConvertVariableToValue(wrapped);
    EXPECT_EQ(VT_I4, wrapped.vt);
    EXPECT_EQ(0u, variable.GetRefCount());
}
