// Conversions, comparison and the variables container, called directly.
#include <cmath>
#include <cstdlib>

#include <gtest/gtest.h>

#include "formulatest.h"
#include "tarvex/core/formulamessages.h"

namespace {

VARIANT Int(int value, VARTYPE vt = VT_I4) {
    VARIANT v;
    VariantInit(&v);
    v.vt = vt;
    v.lVal = value;
    return v;
}

VARIANT Real(double value, VARTYPE vt = VT_R8) {
    VARIANT v;
    v.vt = vt;
    if (vt == VT_R4)
        v.fltVal = float(value);
    else
        v.dblVal = value;
    return v;
}

VARIANT Bool(VARIANT_BOOL value) {
    VARIANT v;
    v.vt = VT_BOOL;
    v.boolVal = value;
    return v;
}

struct Text {
    VARIANT v;
    explicit Text(const char16_t* s) {
        v.vt = VT_BSTR;
        v.bstrVal = SysAllocString(s);
    }
    ~Text() { VariantClear(&v); }
};

} // namespace

TEST(FormulaValues, ConversionsAreNotVariantChangeType) {
    EXPECT_EQ(2, CFunction::AsInt(Real(2.9)));
    EXPECT_EQ(-3, CFunction::AsInt(Real(-3.9)));
    EXPECT_EQ(INT32_MIN, CFunction::AsInt(Real(1e300)));
    EXPECT_EQ(INT32_MIN, CFunction::AsInt(Real(std::nan(""))));
    EXPECT_EQ(1, CFunction::AsInt(Bool(VARIANT_TRUE)));
    EXPECT_EQ(0, CFunction::AsInt(Bool(1))); // only all bits set is true
    EXPECT_EQ(12, CFunction::AsInt(Text(u"12abc").v));
    EXPECT_EQ(65535, CFunction::AsInt(Int(0xFFFF, VT_UI2)));
    EXPECT_EQ(4294967295.0, CFunction::AsReal(Int(-1, VT_UI4)));

    EXPECT_FALSE(CFunction::AsBool(Int(65536)));
    EXPECT_TRUE(CFunction::AsBool(Int(65537)));
    EXPECT_TRUE(CFunction::AsBool(Real(std::nan(""))));
    EXPECT_TRUE(CFunction::AsBool(Text(u"TrUe").v));
    EXPECT_FALSE(CFunction::AsBool(Text(u"1").v));
    EXPECT_FALSE(CFunction::AsBool(Text(u"true ").v));

    EXPECT_EQ(CString(u"true"), CFunction::AsString(Bool(VARIANT_TRUE)));
    EXPECT_EQ(CString(u"false"), CFunction::AsString(Bool(1)));
    EXPECT_EQ(CString(u"0.1"), CFunction::AsString(Real(0.1, VT_R4)).Left(3));
    EXPECT_EQ(CString(u"1899-12-31 12:00"), CFunction::AsString(Real(1.5, VT_DATE)));
    EXPECT_EQ(CString(u"-001--1--1 -1:-1"), CFunction::AsString(Real(1e10, VT_DATE)));
    EXPECT_EQ(CString(u"4294967295"), CFunction::AsString(Int(-1, VT_UI4)));

    EXPECT_EQ(3.14, CFunction::StrToDbl(u"3,14"));
    EXPECT_EQ(1.0, CFunction::StrToDbl(u"1 000"));
    EXPECT_EQ(1.2, CFunction::StrToDbl(u"1,2,3"));
    EXPECT_EQ(0.0, CFunction::StrToDbl(u"abc"));
}

TEST(FormulaValues, SetTypeAndNumericTypes) {
    VARIANT v = Real(2.7);
    CFunction::SetType(v, VT_I4);
    EXPECT_EQ(VT_I4, v.vt);
    EXPECT_EQ(2, v.lVal);
    CFunction::SetType(v, VT_BOOL);
    EXPECT_EQ(VARIANT_TRUE, v.boolVal);
    v = Int(65536);
    CFunction::SetType(v, VT_BOOL);
    EXPECT_EQ(VARIANT_FALSE, v.boolVal); // the low 16 bits only
    v = Int(3);
    CFunction::SetType(v, 1); // below 2: nothing happens
    EXPECT_EQ(VT_I4, v.vt);
    Text date(u"2020-01-02 03:04");
    CFunction::SetType(date.v, VT_DATE);
    EXPECT_EQ(VT_DATE, date.v.vt);

    VARIANT a = Int(1), b = Bool(VARIANT_TRUE);
    CFunction::SetNumericTypes(a, b);
    EXPECT_EQ(VT_I4, a.vt);
    EXPECT_EQ(VT_I4, b.vt);
    EXPECT_EQ(1, b.lVal);
    Text t1(u"2"), t2(u"3");
    CFunction::SetNumericTypes(t1.v, t2.v);
    EXPECT_EQ(VT_R8, t1.v.vt);
    EXPECT_EQ(VT_R8, t2.v.vt);
    a = Real(1.5, VT_DATE);
    b = Real(2.5, VT_DATE);
    CFunction::SetNumericTypes(a, b);
    EXPECT_EQ(VT_DATE, a.vt); // equal types stay
}

TEST(FormulaValues, CompareVariantsByTheLeftType) {
    EXPECT_LT(CFunction::CompareVariants(Real(1.0), Real(1.0 + 1e-15)), 0); // R8: no tolerance
    EXPECT_EQ(0, CFunction::CompareVariants(Real(1.0, VT_R4), Real(1.0 + 1e-11)));
    EXPECT_EQ(0, CFunction::CompareVariants(Int(0), Text(u"abc").v));
    EXPECT_EQ(0, CFunction::CompareVariants(Int(5), Text(u"5.5abc").v));
    EXPECT_LT(CFunction::CompareVariants(Int(5), Text(u"5.5").v), 0);
    EXPECT_GT(CFunction::CompareVariants(Int(INT32_MAX), Int(-1)), 0); // no overflow
    EXPECT_LT(CFunction::CompareVariants(Int(INT32_MIN), Int(1)), 0);
    EXPECT_LT(CFunction::CompareVariants(VARIANT{}, Text(u"a").v), 0);
    EXPECT_NE(0, CFunction::CompareVariants(Bool(VARIANT_TRUE), Int(1)));
    EXPECT_EQ(0, CFunction::CompareVariants(Int(1), Bool(VARIANT_TRUE)));
    EXPECT_THROW(CFunction::CompareVariants(Real(1, VT_DATE), Real(1)), CSyntaxError);
    EXPECT_THROW(CFunction::CompareVariants(Int(1, VT_NULL), Int(1)), CSyntaxError);
    // Before 30 December 1899 the fraction runs the other way.
    EXPECT_LT(CFunction::CompareVariants(Real(-1.0, VT_DATE), Real(-1.5, VT_DATE)), 0);
    EXPECT_LT(CFunction::CompareVariants(Real(-1.5, VT_DATE), Real(0.0, VT_DATE)), 0);
}

TEST(FormulaValues, VariablesContainer) {
    CValueVariablesContainer vars;
    EXPECT_EQ(0, vars.CreateVarIndex(u"Alpha", VT_BSTR, false));
    EXPECT_EQ(1, vars.CreateVarIndex(u"beta", VT_R8, false));
    EXPECT_EQ(0, vars.CreateVarIndex(u"ALPHA", VT_R8, false));
    EXPECT_THROW(vars.CreateVarIndex(u"alpha", VT_R8, true), CSyntaxError);
    EXPECT_EQ(0, vars.CreateVarIndex(u"alpha", VT_BSTR, true));
    try {
        vars.CreateVarIndex(u"alpha", VT_R8, true);
    } catch (const CSyntaxError& e) {
        EXPECT_EQ(CString(u"Переопределение типа параметра \"alpha\" недопустимо."),
                  e.GetMessageW());
    }
    EXPECT_EQ(CString(u"ALPHA"), vars.GetVarName(0));
    EXPECT_EQ(VT_NULL, vars.GetVarType(std::int64_t(-1)));
    EXPECT_EQ(VT_NULL, vars.GetVarType(u"gamma"));
    EXPECT_EQ(VT_R8, vars.GetVarType(u"BETA"));
    EXPECT_FALSE(vars.RenameVar(u"alpha", u"BETA"));
    EXPECT_FALSE(vars.RenameVar(u"nothing", u"X"));
    EXPECT_TRUE(vars.RenameVar(u"alpha", u"GAMMA"));
    EXPECT_EQ(0, vars.GetVarIndex(u"gamma"));
    EXPECT_TRUE(vars.RenameVar(u"gamma", u"delta"));
    EXPECT_EQ(-1, vars.GetVarIndex(u"delta")); // the new key is not upper-cased
    EXPECT_EQ(2, vars.GetVarsCount());
    VARIANT out;
    VariantInit(&out);
    EXPECT_EQ(0, vars.GetVarValue(5, out));
    EXPECT_EQ(0, vars.GetVarValue(1, out)); // declared, never set
    vars.Flush();
    EXPECT_EQ(0, vars.GetVarsCount());
}

TEST(FormulaValues, MessagesReadAlikeInEveryLanguage) {
    const char* saved = std::getenv("LANG");
    std::string keep = saved ? saved : "";
    setenv("LANG", "C", 1);
    EXPECT_EQ(CString(u"Переполнение стека вычислений"), tarvex::FormulaMessage(115));
    EXPECT_EQ(CString(u"Класс объекта не зарегистрирован "), tarvex::FormulaMessage(152));
    setenv("LANG", "ru_RU.UTF-8", 1);
    EXPECT_EQ(CString(u"*разные*"), tarvex::FormulaMessage(121));
    EXPECT_TRUE(tarvex::FormulaMessage(124).IsEmpty());
    if (saved)
        setenv("LANG", keep.c_str(), 1);
    else
        unsetenv("LANG");

    EXPECT_EQ(CString(u"Неправильный символ (x)"), CSyntaxError(102u, u"x").GetMessageW());
    EXPECT_EQ(CString(u"Неправильный символ"), CSyntaxError(102u, u"").GetMessageW());
    const CSyntaxError framed(110u, 3, 17);
    EXPECT_EQ(CString(u"Ошибка в выражении: \"Непарные скобки\" (строка 3, позиция 17)"),
              framed.GetMessageW());
    EXPECT_EQ(CString(u"Непарные скобки"), framed.GetText());
    EXPECT_EQ(17, framed.GetPosition());
}

TEST(FormulaValues, TokenOrderAndCopies) {
    formulatest::Evaluator e;
    auto tags = [&](const char16_t* text) {
        std::vector<int> out;
        auto function = e.Compile(text);
        for (const CFunction::CToken* t = function->GetTokens().m_pFirst; t; t = t->m_pNext)
            out.push_back(t->m_nTag);
        return out;
    };
    using F = CFunction;
    EXPECT_EQ((std::vector<int>{F::ttConstant, F::ttConstant, F::ttConstant, F::ttMultiply,
                                F::ttIncrement}),
              tags(u"1+2*3"));
    EXPECT_EQ(
        (std::vector<int>{F::ttConstant, F::ttConstant, F::ttPower, F::ttConstant, F::ttPower}),
        tags(u"2^3^2"));
    EXPECT_EQ((std::vector<int>{F::ttConstant, F::ttConstant, F::ttConstant, F::ttIncrement,
                                F::ttConstant, F::ttPower, F::ttMultiply}),
              tags(u"2*(3+4)^2"));
    EXPECT_EQ(
        (std::vector<int>{F::ttConstant, F::ttIf, F::ttConstant, F::ttTransition, F::ttConstant}),
        tags(u"if(1, 2, 3)"));

    // A copy keeps its jumps and its own variables after the original is gone.
    auto original = e.Compile(u"var x := 4; if(x > 3, case(x when 4 then x * 2), 0)");
    auto copy = std::make_unique<CFunction>(*original);
    original.reset();
    CString out;
    copy->Count(out, &e.vars);
    EXPECT_EQ(CString(u"8"), out);
}
