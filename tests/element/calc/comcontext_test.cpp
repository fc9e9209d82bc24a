// The object context a host hands to formulas that use `object`.
#include <gtest/gtest.h>

#include "querytest.h"
#include "tests/platform/countingdispatch.h"

using querytest::Tree;
using tarvex_test::CountingDispatch;

namespace {

struct FactoryLog {
    CountingDispatch object;
    int made = 0;
    bool fail = false;
};

int MakeObject(IDispatch** out, const _GUID&, void* data) {
    auto* log = static_cast<FactoryLog*>(data);
    ++log->made;
    if (log->fail) return 0;
    log->object.AddRef();
    *out = &log->object;
    return 1;
}

VARIANT Int(int n) {
    VARIANT v;
    v.vt = VT_I4;
    v.lVal = n;
    return v;
}

} // namespace

TEST(ComContext, FactoryRunsOnlyWhenAFormulaAsksAndReferencesBalance) {
    Tree t;
    FactoryLog log;
    log.object.SetValue(Int(41));
    CFunction::CComContext context(_GUID{}, MakeObject, &log);
    CString out;
    ASSERT_EQ(1, CCompiledFunction::CountStrS(out, u"A + 1", t.x1, nullptr, &context));
    EXPECT_EQ(0, log.made);
    ASSERT_EQ(1, CCompiledFunction::CountStrS(out, u"object + 1", t.x1, nullptr, &context));
    EXPECT_EQ(CString(u"42"), out);
    EXPECT_EQ(1, log.made);
    EXPECT_EQ(1u, log.object.refs);

    log.fail = true;
    CString error;
    EXPECT_EQ(0, CCompiledFunction::CountStrS(out, u"object + 1", t.x1, &error, &context));
    EXPECT_EQ(CString(u"Ошибка при создании COM-объекта"), error);
    EXPECT_EQ(1u, log.object.refs);
}

TEST(ComContext, ElementObjectWinsAndFallbackFillsMissingNames) {
    Tree t;
    static CountingDispatch perElement;
    perElement.SetValue(Int(7));
    FactoryLog log;
    CFunction::CComContext context(_GUID{}, MakeObject, &log);
    context.m_pElementObject = [](CElement* element, void*) -> IDispatch* {
        if (!element || CString(element->GetName()) != u"x") return nullptr;
        perElement.AddRef();
        return &perElement;
    };
    context.m_pFallback = [](CElement*, void*, CIndirectArray<CString>& names,
                             CParamsOwner& owner) {
        for (std::int64_t i = names.GetLength() - 1; i >= 0; --i)
            if (*names[i] == u"EXTRA") {
                owner.SetParameter(u"Extra", u"100");
                names.Delete(i);
            }
    };
    CString out;
    ASSERT_EQ(1,
              CCompiledFunction::CountStrS(out, u"object + #Extra + A", t.x1, nullptr, &context));
    EXPECT_EQ(CString(u"118"), out);
    EXPECT_EQ(0, log.made);
    EXPECT_EQ(1u, perElement.refs);
    // Elsewhere the element function declines and the factory stands in.
    log.object.SetValue(Int(1));
    ASSERT_EQ(1, CCompiledFunction::CountStrS(out, u"object + A", t.valve, nullptr, &context));
    EXPECT_EQ(CString(u"21"), out);
    EXPECT_EQ(1, log.made);
}

TEST(ComContext, CalcContextWithoutObjectReportsBadPointerAndFreesItsStack) {
    Tree t;
    FactoryLog log; // outlives the context, which may still hold its object
    CParam* p = t.x1->SetParameter(u"P", u"0", nullptr, u"=object + 1");
    CParamCalcContext calc(t.x1, p);
    ASSERT_TRUE(calc.Init(u"object + 1"));
    EXPECT_TRUE(calc.IsUsingCOMContext());
    EXPECT_TRUE(calc.Calculate(nullptr));
    EXPECT_EQ(CString(u"Неверный указатель IDispatch"), p->m_strValue);
    // Running again after the stack went back must work the same.
    log.object.SetValue(Int(2));
    CFunction::CComContext context(_GUID{}, MakeObject, &log);
    EXPECT_TRUE(calc.Calculate(&context));
    EXPECT_EQ(CString(u"3"), p->m_strValue);
    EXPECT_TRUE(calc.Calculate(&context));
    EXPECT_EQ(CString(u"3"), p->m_strValue);
}
