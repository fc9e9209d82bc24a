// Whole-tree calculation: order, cycles, errors as values, object formulas,
// and the path texts between elements.
#include <memory>
#include <vector>

#include <gtest/gtest.h>

#include "tarvex/element/element.h"
#include "tarvex/formula/compiledfunction.h"
#include "tarvex/platform/wide.h"

namespace {

CParam* Formula(CElement* element, const char16_t* name, const char16_t* formula,
                const char16_t* stored = u"0") {
    return element->SetParameter(name, stored, nullptr, formula);
}

CString Value(CElement* element, const char16_t* name) {
    return element->GetParameter(name)->m_strValue;
}

//  Plant
//    Zone        K=7
//      Pipe      A=5
//        Seg
//      pipe      A=6
//      Valve     A=9
struct Plant {
    std::unique_ptr<CElement> root{new CElement(u"Plant")};
    CElement* zone = root->AddChild(u"Zone");
    CElement* pipe = zone->AddChild(u"Pipe");
    CElement* seg = pipe->AddChild(u"Seg");
    CElement* pipe2 = zone->AddChild(u"pipe");
    CElement* valve = zone->AddChild(u"Valve");
    Plant() {
        zone->SetParameter(u"K", u"7");
        pipe->SetParameter(u"A", u"5");
        pipe2->SetParameter(u"A", u"6");
        valve->SetParameter(u"A", u"9");
    }
};

class CountingContext : public CFunctionComContext {
public:
    bool CanCalculate() override { return goAhead; }
    bool AcceptCalculation(CElement*, const CParam* param) override {
        ++asked;
        return param->UpperName() != u"REFUSED";
    }
    void OnCalculationEnd() override { ++ends; }
    bool goAhead = true;
    int asked = 0;
    int ends = 0;
};

} // namespace

TEST(CalculateParameters, ChainRunsInDependencyOrderFromAnyElement) {
    Plant t;
    t.seg->SetParameter(u"D", u"1");
    Formula(t.seg, u"A", u"=#B+1");
    Formula(t.seg, u"B", u"=#C+1");
    Formula(t.seg, u"C", u"=#D+1");
    Formula(t.seg, u"P", u"=parent.#A*2+parent(\"zone\").#K");
    t.valve->CalculateParameters(); // any element runs the whole tree
    EXPECT_EQ(CString(u"2"), Value(t.seg, u"C"));
    EXPECT_EQ(CString(u"3"), Value(t.seg, u"B"));
    EXPECT_EQ(CString(u"4"), Value(t.seg, u"A"));
    EXPECT_EQ(CString(u"17"), Value(t.seg, u"P"));

    // The sort itself: C, B, A whatever order they were listed in.
    CElement::CalcList list;
    for (const char16_t* name : {u"A", u"C", u"B"}) {
        auto* calc = new CParamCalcContext(t.seg, t.seg->GetParameter(name));
        calc->Init(t.seg->GetParameter(name)->m_strValueComment.GetString() + 1);
        list.Add(calc);
    }
    CElement::TopologicalSort(list);
    ASSERT_EQ(3, list.GetLength());
    EXPECT_EQ(CString(u"C"), list[0]->GetParameter()->m_strName);
    EXPECT_EQ(CString(u"B"), list[1]->GetParameter()->m_strName);
    EXPECT_EQ(CString(u"A"), list[2]->GetParameter()->m_strName);
}

TEST(CalculateParameters, CyclesAndSelfReferencesRunOnceEach) {
    Plant t;
    // A 2-cycle and a reader of it: the cycle breaks at A (fewest readers
    // left once C is done, first in order of equals), so B reads A's old 0.
    Formula(t.pipe, u"A", u"=#B+1");
    Formula(t.pipe, u"B", u"=#A+1");
    Formula(t.pipe, u"C", u"=#A*10");
    Formula(t.valve, u"S", u"=#S+1", u"5");
    t.root->CalculateParameters();
    EXPECT_EQ(CString(u"1"), Value(t.pipe, u"B"));
    EXPECT_EQ(CString(u"2"), Value(t.pipe, u"A"));
    EXPECT_EQ(CString(u"20"), Value(t.pipe, u"C"));
    EXPECT_EQ(CString(u"6"), Value(t.valve, u"S"));
    t.root->CalculateParameters();
    EXPECT_EQ(CString(u"7"), Value(t.valve, u"S"));
}

TEST(CalculateParameters, ManyDisjointCyclesFinishWithEveryMemberOnce) {
    CElement root(u"R");
    for (int i = 0; i < 2000; ++i) {
        CElement* e = root.AddChild(u"E");
        Formula(e, u"X", u"=#Y+1");
        Formula(e, u"Y", u"=#X+1");
    }
    root.CalculateParameters();
    for (int64_t i = 0; i < root.GetChildCount(); ++i) {
        CElement* e = root.GetChild(i);
        ASSERT_EQ(3, _wtoi(Value(e, u"X").GetString()) + _wtoi(Value(e, u"Y").GetString()));
    }
}

TEST(CalculateParameters, FailedFormulasLeaveTheirErrorAsTheValue) {
    Plant t;
    Formula(t.pipe, u"X", u"=1+");
    Formula(t.pipe, u"Y", u"=var x; x + 1");
    Formula(t.pipe, u"Z", u"=");
    t.root->CalculateParameters();
    EXPECT_EQ(CString(u"Ошибка в выражении: \"Пропущен параметр\" (строка 0, позиция 2)"),
              Value(t.pipe, u"X"));
    // Under the whole-tree run a run-time failure is the bare message...
    EXPECT_EQ(CString(u"Использование неинициализированной переменной \"x\""), Value(t.pipe, u"Y"));
    EXPECT_EQ(CString(u""), Value(t.pipe, u"Z"));

    // ...while a single calculation frames it.
    CString value;
    EXPECT_TRUE(t.pipe->GetParameterValueEx(u"Y", value, true));
    EXPECT_EQ(CString(u"Ошибка при вычислении формулы: Использование неинициализированной "
                      u"переменной \"x\"."),
              value);
    EXPECT_FALSE(t.pipe->CalculateParameter(t.pipe->GetParameter(u"X")));
    EXPECT_TRUE(t.pipe->GetParameterValueEx(u"X", value, true));
    EXPECT_EQ(Value(t.pipe, u"X"), value);
    EXPECT_EQ(CString(u"dflt"), t.pipe->GetParameterValueEx(u"X", u"dflt", true));
    EXPECT_EQ(-1, t.pipe->GetParameterValueEx(u"X", -1, true));
    EXPECT_FALSE(t.pipe->GetParameterValueEx(u"Nope", value, true));
    EXPECT_EQ(5.0, t.pipe->GetParameterValueEx(u"A", 0.0, true));
    Formula(t.pipe, u"W", u"=#A*3", u"1");
    EXPECT_EQ(15, t.pipe->GetParameterValueEx(u"W", 0, true));
    EXPECT_EQ(1, t.pipe->GetParameterValueEx(u"W", 0, false));
}

TEST(CalculateParameters, ObjectFormulasNeedAContextThatAdmitsThem) {
    Plant t;
    Formula(t.pipe, u"O", u"=object.Foo");
    Formula(t.pipe, u"Refused", u"=object.Foo");
    Formula(t.pipe, u"N", u"=#A+1");
    Formula(t.pipe, u"E", u"=1", u"x");
    t.pipe->GetParameter(u"E")->m_strComment = u"*ERASED*"; // no bearing on calculation
    t.root->CalculateParameters(nullptr);
    EXPECT_EQ(CString(u"0"), Value(t.pipe, u"O"));
    EXPECT_EQ(CString(u"6"), Value(t.pipe, u"N"));
    EXPECT_EQ(CString(u"1"), Value(t.pipe, u"E"));

    CountingContext context;
    context.AllowObjectUse(false);
    t.root->CalculateParameters(&context);
    EXPECT_EQ(0, context.asked);
    EXPECT_EQ(CString(u"0"), Value(t.pipe, u"O"));
    context.AllowObjectUse(true);
    t.root->CalculateParameters(&context);
    EXPECT_EQ(2, context.asked);
    EXPECT_EQ(2, context.ends);
    // Admitted, but the context offers no object.
    EXPECT_EQ(CString(u"Неверный указатель IDispatch"), Value(t.pipe, u"O"));
    EXPECT_EQ(CString(u"0"), Value(t.pipe, u"Refused"));

    context.goAhead = false;
    Formula(t.pipe, u"N", u"=#A+2", u"stale");
    t.root->CalculateParameters(&context);
    EXPECT_EQ(CString(u"stale"), Value(t.pipe, u"N"));
    EXPECT_EQ(2, context.ends);
}

TEST(CalculateParameters, SameDocumentSameValuesWhateverTheAllocator) {
    // Two copies of a tree with cycles, one built with its elements and
    // parameters scattered among unrelated allocations.
    auto build = [](bool scatter) {
        std::vector<std::unique_ptr<CElement>> junk;
        auto root = std::make_unique<CElement>(u"R");
        for (int i = 0; i < 50; ++i) {
            if (scatter) junk.emplace_back(new CElement(u"junk"));
            CElement* e = root->AddChild(u"E");
            Formula(e, u"A", u"=#B+#C+1");
            if (scatter) junk.emplace_back(new CElement(u"junk"));
            Formula(e, u"B", u"=#C*2+previous.#A");
            Formula(e, u"C", u"=#A+next.#B");
        }
        root->CalculateParameters();
        return root;
    };
    auto plain = build(false);
    auto scattered = build(true);
    for (int64_t i = 0; i < plain->GetChildCount(); ++i)
        for (const char16_t* name : {u"A", u"B", u"C"})
            ASSERT_EQ(Value(plain->GetChild(i), name), Value(scattered->GetChild(i), name));
}

TEST(GetIndirectParamQuery, LongAndShortFormsByNameAndByNumber) {
    Plant t;
    CString out;
    t.valve->GetIndirectParamQuery(t.pipe, u"A", out, false, false);
    EXPECT_EQ(CString(u"parent.child(3).[A]"), out);
    t.valve->GetIndirectParamQuery(t.pipe, u"A", out, true, false);
    EXPECT_EQ(CString(u"parent.child(\"Valve\").[A]"), out);
    t.pipe->GetIndirectParamQuery(t.valve, u"A", out, false, true);
    EXPECT_EQ(CString(u"@P@F[A]"), out);
    t.zone->GetIndirectParamQuery(t.seg, u"A", out, false, false);
    EXPECT_EQ(CString(u"parent(2).[A]"), out);
    t.zone->GetIndirectParamQuery(t.seg, u"A", out, true, true);
    EXPECT_EQ(CString(u"@P\"Zone\"[A]"), out);
    t.root->GetIndirectParamQuery(t.seg, u"A", out, false, false);
    EXPECT_EQ(CString(u"root.[A]"), out);
    t.root->GetIndirectParamQuery(t.seg, u"", out, true, true);
    EXPECT_EQ(CString(u"@R"), out);
    t.seg->GetIndirectParamQuery(t.root.get(), u"A", out, false, true);
    EXPECT_EQ(CString(u"@F@F@F[A]"), out);
    t.seg->GetIndirectParamQuery(t.seg, u"A", out, true, false);
    EXPECT_EQ(CString(u"[A]"), out);
    CElement other(u"Other");
    t.seg->GetIndirectParamQuery(&other, u"A", out, true, false);
    EXPECT_TRUE(out.IsEmpty());
    t.seg->GetIndirectParamQuery(nullptr, u"A", out, true, false);
    EXPECT_TRUE(out.IsEmpty());
}

TEST(GetParamsRequired, NamesFoundLeaveTheListAndQueriesGoInUnderTheirKey) {
    Plant t;
    Formula(t.pipe, u"F", u"=#A*2");
    CParamsOwner result;
    CElement::NameArray names;
    for (const char16_t* n : {u"A", u"F", u"@P@@NAME", u"@PK", u"MISSING", u"@PMISSING"})
        names.Add(new CString(n));
    t.pipe->GetParamsRequired(result, &names, true);
    ASSERT_EQ(2, names.GetLength());
    EXPECT_EQ(CString(u"MISSING"), *names[0]);
    EXPECT_EQ(CString(u"@PMISSING"), *names[1]);
    EXPECT_EQ(CString(u"10"), result.GetParameter(u"F")->m_strValue);
    EXPECT_EQ(CString(u"Zone"), result.GetParameter(u"@P@@NAME")->m_strValue);
    EXPECT_EQ(CString(u"7"), result.GetParameter(u"@PK")->m_strValue);

    CElement::ParamSet found;
    CElement::NameArray asked;
    for (const char16_t* n : {u"F", u"A", u"@PK"}) asked.Add(new CString(n));
    t.pipe->CollectCalculatedParameters(asked, found);
    ASSERT_EQ(1, asked.GetLength());
    EXPECT_EQ(1u, found.size());
    EXPECT_TRUE(found.count(t.pipe->GetParameter(u"F")));
}
