// Formulas bound to elements: what they require, how values are filled in
// from an element, the results and error texts, and the element members
// that resolve structural paths.
#include "tests/element/calc/querytest.h"

#include "tarvex/core/exceptions.h"
#include "tarvex/formula/structquery.h"

using querytest::Eval;
using querytest::Tree;

namespace {

CString Joined(const CCompiledFunction::NameArray& names) {
    CString out;
    for (std::int64_t i = 0; i < names.GetLength(); ++i) {
        if (i) out += u'|';
        out += *names[i];
    }
    return out;
}

} // namespace

TEST(CompiledFunction, StatesOfTheFormula) {
    CCompiledFunction f;
    EXPECT_TRUE(f.Initialize(u"", nullptr));
    EXPECT_TRUE(f.IsNull());
    ASSERT_TRUE(f.Initialize(u"1+2", nullptr));
    EXPECT_FALSE(f.IsNull());
    EXPECT_TRUE(f.IsConst());
    ASSERT_TRUE(f.Initialize(u"[my value]", nullptr));
    EXPECT_TRUE(f.IsSingleVar());
    EXPECT_FALSE(f.IsConst());

    // A text that doesn't compile leaves no function; counts give the error.
    EXPECT_FALSE(f.Initialize(u"1 +", nullptr));
    EXPECT_TRUE(f.IsNull());
    EXPECT_FALSE(f.GetLastError().IsEmpty());
    CString out;
    EXPECT_EQ(0, f.CountStr(out));
    EXPECT_EQ(f.GetLastError(), out);
    VARIANT v;
    VariantInit(&v);
    EXPECT_EQ(0, f.CountVar(v));
    EXPECT_EQ(VT_EMPTY, v.vt);
    // A new one is used after a failure.
    CCompiledFunction g(u"2*3");
    EXPECT_EQ(1, g.CountStr(out));
    EXPECT_EQ(CString(u"6"), out);
}

TEST(CompiledFunction, RequiredParametersSkipSystemValues) {
    CCompiledFunction f;
    ASSERT_TRUE(
        f.Initialize(u"name & level & elementid & grip & rowId & type & description", nullptr));
    CCompiledFunction::NameArray names;
    f.GetRequiredParameters(names);
    EXPECT_EQ(0, names.GetLength());

    ASSERT_TRUE(f.Initialize(u"a + parent(\"x\").b + [My P] + name", nullptr));
    f.GetRequiredParameters(names);
    EXPECT_EQ(CString(u"A|@P\"X\"B|MY P"), Joined(names));
    CCompiledFunction::NameArray original;
    f.GetOriginalParamNames(original);
    EXPECT_EQ(CString(u"a|@P\"x\"b|My P"), Joined(original));
}

TEST(CompiledFunction, CountBoolHasItsOwnTruthRule) {
    auto boolOf = [](const char16_t* text) {
        bool out = true;
        CString error;
        EXPECT_EQ(1, CCompiledFunction::CountBoolS(out, text, nullptr, &error)) << CString(text);
        return out;
    };
    EXPECT_TRUE(boolOf(u"2"));
    EXPECT_FALSE(boolOf(u"0"));
    EXPECT_TRUE(boolOf(u"0.5"));
    EXPECT_TRUE(boolOf(u"\"TRUE\""));
    EXPECT_FALSE(boolOf(u"\"yes\""));
    EXPECT_FALSE(boolOf(u"\"1\""));
    EXPECT_TRUE(boolOf(u"1 < 2"));
    bool out = true;
    CString error;
    EXPECT_EQ(0, CCompiledFunction::CountBoolS(out, u"(", nullptr, &error));
    EXPECT_FALSE(out);
    EXPECT_FALSE(error.IsEmpty());
}

TEST(CompiledFunction, RunWithoutValuesIsAnUnidentifiedError) {
    CCompiledFunction f;
    ASSERT_TRUE(f.Initialize(u"A & \"!\"", nullptr));
    CString out;
    EXPECT_EQ(0, f.CountStr(out)); // no values were ever filled in
    EXPECT_EQ(CString(u"Ошибка при вычислении формулы (неопознанная)."), out);
}

TEST(CompiledFunction, ElementRunTakesPlainNamesFromTheElementOnly) {
    Tree t;
    t.pipe->SetParameter(u"Only", u"up");
    CCompiledFunction f;
    ASSERT_TRUE(f.Initialize(u"[Only] & \"|\" & A & \"|\" & parent.A", nullptr));
    f.SetParameters(t.x1);
    CString out;
    ASSERT_EQ(1, f.CountStr(out));
    EXPECT_EQ(CString(u"|11|10"), out);
    // Another element fills what the first lacks.
    f.SetParameters(t.x1, t.pipe);
    ASSERT_EQ(1, f.CountStr(out));
    EXPECT_EQ(CString(u"up|11|10"), out);

    // Filling from an element directly inherits from the ancestors.
    f.GetVariables().SetVarValues(t.x1, nullptr, 0);
    ASSERT_EQ(1, f.CountStr(out));
    EXPECT_EQ(CString(u"up|11|10"), out);
}

TEST(CompiledFunction, PerRunSystemValuesAndOwners) {
    Tree t;
    CCompiledFunction f;
    ASSERT_TRUE(
        f.Initialize(u"description & \"/\" & grip * 2 & \"/\" & name & \"/\" & A", nullptr));
    CParamsOwner owner;
    owner.SetParameter(u"A", u"own");
    f.SetParameters(&owner, t.y, nullptr, nullptr);
    f.SetDescription(u"опора");
    f.SetGrip(1.25);
    CString out;
    ASSERT_EQ(1, f.CountStr(out));
    EXPECT_EQ(CString(u"опора/2.5/y/own"), out);

    CCompiledFunction::StdVarTexts values{{esvName, u"given"}, {esvDescription, u"d"}};
    ASSERT_EQ(1, f.CountStr(out, &owner, &values));
    EXPECT_EQ(CString(u"d/0/given/own"), out);

    // A missing name goes to the callback.
    auto fill = [](const char16_t* name, VARIANT& slot, void*) {
        if (CString(name) != u"A") return false;
        VariantClear(&slot);
        slot.vt = VT_BSTR;
        slot.bstrVal = CString(u"cb").AllocSysString();
        return true;
    };
    CParamsOwner empty;
    f.SetParameters(&empty, nullptr, fill, nullptr);
    ASSERT_EQ(1, f.CountStr(out));
    EXPECT_EQ(CString(u"/0//cb"), out);
}

TEST(CompiledFunction, ElementWordNeedsAnElementAtCompileTime) {
    Tree t;
    CCompiledFunction f;
    EXPECT_FALSE(f.Initialize(u"element.A", nullptr));
    ASSERT_TRUE(f.Initialize(u"element.A + 1", t.x1));
    f.SetParameters(t.x1);
    CString out;
    ASSERT_EQ(1, f.CountStr(out));
    EXPECT_EQ(CString(u"12"), out);
}

TEST(CompiledFunction, OneResolverServesEveryReader) {
    Tree t;
    // The same key through a formula, through the variables filled from an
    // element, and through the element's own query.
    for (const char16_t* key :
         {u"@PA", u"@P@@NAME", u"@?A", u"@F\"X\"(1)A", u"@R@L(1)A", u"@PMISSING", u"@B@?A"}) {
        CString viaResolver;
        ResolveStructuralKey(t.pipe, key, viaResolver);

        CString formula = u"[" + CString(key) + u"]";
        EXPECT_EQ(viaResolver, Eval(formula.GetString(), t.pipe)) << CString(key);

        CCompiledFunction f;
        ASSERT_TRUE(f.Initialize(formula.GetString(), t.pipe));
        f.GetVariables().SetVarValues(t.pipe, nullptr, 0);
        CString out;
        ASSERT_EQ(1, f.CountStr(out));
        EXPECT_EQ(viaResolver, out) << CString(key);
    }
    CString text;
    ResolveStructuralKey(t.x1, u"@P@@NAME", text);
    EXPECT_EQ(CString(u"Pipe"), text);
    ResolveStructuralKey(t.x1, u"@P@?A", text);
    EXPECT_EQ(CString(u"диаметр"), text);
}

TEST(ParamCalcContext, DependenciesAndResults) {
    Tree t;
    // Formulas live in the value comment; the values are stale results.
    CParam* a = t.x1->SetParameter(u"F", u"0", nullptr, u"=A*2");
    CParam* g = t.x1->SetParameter(u"G", u"0", nullptr, u"=F+parent.H");
    CParam* h = t.pipe->SetParameter(u"H", u"=1", nullptr, u"=1");
    t.pipe->SetParameter(u"K", u"=1"); // a value that merely looks like one
    CParamCalcContext first(t.x1, a);
    ASSERT_TRUE(first.Init(u"A*2"));
    EXPECT_TRUE(first.IsIndependent());
    CParamCalcContext second(t.x1, g);
    ASSERT_TRUE(second.Init(u"F+parent.#H+parent.#K"));
    EXPECT_EQ(2u, second.Dependencies().size());
    EXPECT_TRUE(second.Dependencies().count(h));
    EXPECT_TRUE(second.DependsOn(first));
    EXPECT_FALSE(first.DependsOn(second));

    EXPECT_TRUE(first.Calculate());
    EXPECT_EQ(CString(u"22"), a->m_strValue);

    CParamCalcContext broken(t.x1, g);
    EXPECT_FALSE(broken.Init(u"F +"));
    EXPECT_TRUE(broken.Calculate());
    EXPECT_EQ(broken.GetFunction().GetLastError(), g->m_strValue);
    EXPECT_FALSE(g->m_strValue.IsEmpty());
}

TEST(ElementQuery, QueryParameterFollowsStructuralPaths) {
    Tree t;
    CString error = u"stale";
    CElement* owner = nullptr;
    EXPECT_EQ(t.pipe->GetParameter(u"A"), t.x2->QueryParameter(u"@P\"PIPE\"A", error, owner));
    EXPECT_EQ(t.pipe, owner);
    EXPECT_TRUE(error.IsEmpty());
    EXPECT_EQ(nullptr, t.root->QueryParameter(u"@PA", error, owner));
    EXPECT_EQ(nullptr, owner);
    EXPECT_EQ(t.tube->GetParameter(u"A"), t.pipe->QueryParameterInherited(u"@F(1)A", error, true));
    EXPECT_EQ(t.x1->GetParameter(u"A"), t.x1->QueryParameter(u"a", error, owner));
    EXPECT_EQ(t.x1, owner);
}

TEST(ElementQuery, StructQueryChildEndsWhereThePathLeads) {
    Tree t;
    EXPECT_EQ(t.x2, t.pipe->StructQueryChild(u"@F\"X\"(1)"));
    EXPECT_EQ(t.root.get(), t.x1->StructQueryChild(u"@P@P"));
    EXPECT_EQ(t.lowerPipe, t.x1->StructQueryChild(u"@R@L"));
    EXPECT_EQ(nullptr, t.root->StructQueryChild(u"@P"));
    EXPECT_EQ(nullptr, t.y->StructQueryChild(u"@A"));
    EXPECT_EQ(nullptr, t.pipe->StructQueryChild(u"@F(9)"));
    EXPECT_EQ(t.pipe, t.pipe->StructQueryChild(u""));
}

TEST(ElementQuery, DeepAndWideTreesAreWalkedWithoutRecursion) {
    constexpr int kDepth = 1'000'000;
    CElement root(u"top");
    root.SetParameter(u"V", u"root");
    CElement* leaf = &root;
    for (int i = 0; i < kDepth; ++i) leaf = leaf->AddChild(u"n");
    EXPECT_EQ(CString(u"root"), Eval(u"root.V", leaf));
    EXPECT_EQ(CString(u"top"), Eval(u"parent(\"TOP\").name", leaf));
    EXPECT_EQ(CString(u"top"), Eval(u"parent(1000000).name", leaf));
    EXPECT_EQ(CString(), Eval(u"parent(1000001).name", leaf));

    // A long chain of steps in one formula.
    CString chain;
    for (int i = 0; i < 2000; ++i) chain += u"parent.";
    chain += u"name";
    EXPECT_EQ(CString(u"n"), Eval(chain.GetString(), leaf));

    CElement wide(u"w");
    for (int i = 0; i < 100'000; ++i) wide.AddChild(i == 99'999 ? u"last" : u"c");
    CElement* first = wide.GetChild(0);
    EXPECT_EQ(CString(u"last"), Eval(u"next(\"last\").name", first));
    EXPECT_EQ(CString(u"last"), Eval(u"child(100000).name & \"\"", &wide));
}
