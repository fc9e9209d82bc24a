// Formulas of numbers alone run on plain doubles; these check that such a run
// gives the walk's value to the bit, and hands over to it wherever the values
// or the operands ask for something a double cannot say.
#include <cmath>
#include <cstdint>
#include <cstring>
#include <ostream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "formulatest.h"

namespace {

using formulatest::Evaluator;

class NumericRun : public ::testing::Test {
protected:
    void SetUp() override {
        ev.SetReal(u"a", 1.1);
        ev.SetReal(u"b", 2.2);
        ev.SetReal(u"c", 3.3);
    }

    // Counts twice: the second run reuses what the first one built.
    double Real(const char16_t* text) {
        auto function = ev.Compile(text);
        VARIANT out;
        VariantInit(&out);
        function->Count(out, &ev.vars);
        EXPECT_EQ(out.vt, VT_R8) << Narrow(text);
        const double first = out.dblVal;
        function->Count(out, &ev.vars);
        EXPECT_EQ(out.vt, VT_R8);
        EXPECT_EQ(std::memcmp(&first, &out.dblVal, sizeof first), 0);
        VariantClear(&out);
        return first;
    }

    static std::string Narrow(const char16_t* text) {
        std::string s;
        for (; *text; ++text) s += char(*text);
        return s;
    }

    Evaluator ev;
};

TEST_F(NumericRun, ArithmeticIsBitIdenticalToTheOrderOfTheText) {
    const double a = 1.1, b = 2.2, c = 3.3;
    EXPECT_EQ(Real(u"a*b+c"), a * b + c);
    EXPECT_EQ(Real(u"a/((a+b)*(a-b))/b"), a / ((a + b) * (a - b)) / b);
    EXPECT_EQ(Real(u"1.5*a+2*b-c/4"), 1.5 * a + 2.0 * b - c / 4.0);
    EXPECT_EQ(Real(u"-a*b"), -a * b);
    EXPECT_EQ(Real(u"sqrt(abs(sin(a)*cos(b)))+1"),
              std::sqrt(std::fabs(std::sin(a) * std::cos(b))) + 1);
    EXPECT_EQ(Real(u"gsin(c)*deg(a)"),
              std::sin(c * 3.141592653589793 / 180.0) * (a * 57.29577951308232));
    // `^` goes through exp and log, also for small whole exponents.
    EXPECT_EQ(Real(u"a^2"), std::exp(std::log(a) * 2.0));
    EXPECT_EQ(Real(u"a^b^2"), std::exp(std::log(std::exp(std::log(a) * b)) * 2.0));
}

TEST_F(NumericRun, MinAndMaxKeepTheFirstOfEqualValuesAndTakeIntegers) {
    EXPECT_EQ(Real(u"min(c, 2, b)"), 2.0);
    EXPECT_EQ(Real(u"max(a, b, 2)*c"), 2.2 * 3.3);
    ev.SetReal(u"z", -0.0);
    ev.SetReal(u"p", 0.0);
    EXPECT_TRUE(std::signbit(Real(u"min(z, p)")));
    EXPECT_FALSE(std::signbit(Real(u"max(p, z)")));
}

TEST_F(NumericRun, IntegersKeepIntegerArithmetic) {
    VARIANT v;
    v.vt = VT_I4;
    v.lVal = 65536;
    ev.vars.SetValue(u"i", v);
    VARIANT out = ev.Value(u"i*i+a*0");
    EXPECT_EQ(out.vt, VT_R8);
    EXPECT_EQ(out.dblVal, 0.0); // i*i wraps to 0 before the real joins
    VariantClear(&out);
    out = ev.Value(u"abs(a-b)*(2-5)");
    EXPECT_EQ(out.vt, VT_R8);
    EXPECT_NEAR(out.dblVal, -3.3, 1e-12);
    VariantClear(&out);
    // The square of an integer stays one, however the real joins later.
    out = ev.Value(u"sqr(0-3)+a");
    EXPECT_EQ(out.vt, VT_R8);
    EXPECT_EQ(out.dblVal, 9 + 1.1);
    VariantClear(&out);
    // Division makes reals of integers.
    EXPECT_EQ(Real(u"7/2*a"), 3.5 * 1.1);
}

TEST_F(NumericRun, ValuesThatAreNotRealsGoTheGeneralWay) {
    VARIANT v;
    v.vt = VT_BSTR;
    v.bstrVal = SysAllocString(u"2,5");
    ev.vars.SetValue(u"t", v);
    VariantClear(&v);
    EXPECT_EQ(ev.Eval(u"t*b"), u"5.5");
    EXPECT_EQ(ev.Eval(u"t&b"), u"2,52.2");
    v.vt = VT_BOOL;
    v.boolVal = VARIANT_TRUE;
    ev.vars.SetValue(u"f", v);
    EXPECT_EQ(ev.Eval(u"-f+a"), ev.Eval(u"-(1=1)+a"));
}

TEST_F(NumericRun, ErrorsComeFromTheWalk) {
    ev.SetReal(u"zero", 0.0);
    ev.SetReal(u"half", 1.5707963267948966);
    ev.SetReal(u"neg", -1.0);
    EXPECT_NE(ev.Eval(u"a/zero+1").Find(u"деление на ноль"), -1);
    EXPECT_NE(ev.Eval(u"tan(half)*a").Find(u"Tan"), -1);
    EXPECT_NE(ev.Eval(u"sqrt(neg)+a").Find(u"квадратный корень"), -1);
    // A value of zero after a value that was not: the built run is not stale.
    auto function = ev.Compile(u"c/b");
    CString out;
    function->Count(out, &ev.vars);
    EXPECT_EQ(out, u"1.5");
    ev.SetReal(u"b", 0.0);
    EXPECT_THROW(function->Count(out, &ev.vars), CSyntaxError);
}

TEST_F(NumericRun, DeepFormulasStillRunAndTooDeepOnesStillFail) {
    // 100 pending operands: deeper than the doubles run keeps on its own stack.
    CString text;
    for (int i = 0; i < 100; ++i) text += u"a+(";
    text += u"a";
    for (int i = 0; i < 100; ++i) text += u")";
    double expected = 1.1;
    for (int i = 0; i < 100; ++i) expected = 1.1 + expected;
    EXPECT_EQ(Real(text.GetString()), expected);

    CString tooDeep;
    for (int i = 0; i < 600; ++i) tooDeep += u"a+(";
    tooDeep += u"a";
    for (int i = 0; i < 600; ++i) tooDeep += u")";
    EXPECT_THROW(ev.Value(tooDeep.GetString()), CSyntaxError);
}

// The same values behind the virtual interface alone: without direct values
// every count goes the walk on variants, the reference for the doubles run.
class WalkOnlyVariables : public CVariablesContainerBase {
public:
    explicit WalkOnlyVariables(CVariablesContainerBase& inner) : m_inner(inner) {}
    void Flush() override { m_inner.Flush(); }
    std::int64_t CreateVarIndex(const char16_t* name, unsigned short type, bool strict) override {
        return m_inner.CreateVarIndex(name, type, strict);
    }
    int GetVarValue(std::int64_t index, VARIANT& out) override {
        return m_inner.GetVarValue(index, out);
    }
    CString GetVarName(std::int64_t index) override { return m_inner.GetVarName(index); }
    std::int64_t GetVarsCount() override { return m_inner.GetVarsCount(); }
    bool RenameVar(const char16_t* oldName, const char16_t* newName) override {
        return m_inner.RenameVar(oldName, newName);
    }
    std::int64_t GetVarIndex(const char16_t* name) override { return m_inner.GetVarIndex(name); }
    unsigned short GetVarType(std::int64_t index) override { return m_inner.GetVarType(index); }

private:
    CVariablesContainerBase& m_inner;
};

// A count's outcome, compared to the bit: the type, the value, or the error.
struct Outcome {
    VARTYPE vt = VT_EMPTY;
    std::uint64_t bits = 0;
    CString text;

    bool operator==(const Outcome& other) const {
        return vt == other.vt && bits == other.bits && text == other.text;
    }
};

std::ostream& operator<<(std::ostream& os, const Outcome& o) {
    os << "vt " << o.vt << " bits " << std::hex << o.bits << std::dec << " text ";
    for (int i = 0; i < o.text.GetLength(); ++i) os << char(o.text[i]);
    return os;
}

Outcome CountOnce(CFunction& function, CVariablesContainerBase* vars) {
    Outcome o;
    VARIANT out;
    VariantInit(&out);
    try {
        function.Count(out, vars);
        o.vt = out.vt;
        if (out.vt == VT_R8) std::memcpy(&o.bits, &out.dblVal, sizeof out.dblVal);
        if (out.vt == VT_BOOL) o.bits = std::uint16_t(out.boolVal);
        if (out.vt == VT_I4) o.bits = std::uint32_t(out.lVal);
        o.text = CFunction::AsString(out);
    } catch (const CSyntaxError& e) {
        o.vt = VT_ERROR;
        o.text = e.GetMessageW();
    }
    VariantClear(&out);
    return o;
}

class TruthRun : public NumericRun {
protected:
    void SetValues(std::initializer_list<double> values) {
        const char16_t* names[] = {u"a", u"b", u"c", u"d"};
        int i = 0;
        for (double v : values) ev.SetReal(names[i++], v);
    }

    // Each formula counted twice on the direct values (the first count makes
    // the doubles program, the second runs it alone) and on the walk alone.
    void ExpectSameAsWalk(const std::vector<const char16_t*>& texts) {
        WalkOnlyVariables walkOnly(ev.vars);
        for (const char16_t* text : texts) {
            auto function = ev.Compile(text);
            const Outcome walk = CountOnce(*function, &walkOnly);
            EXPECT_EQ(CountOnce(*function, &ev.vars), walk) << Narrow(text);
            EXPECT_EQ(CountOnce(*function, &ev.vars), walk) << Narrow(text);
            EXPECT_EQ(CountOnce(*function, &walkOnly), walk) << Narrow(text);
        }
    }

    const std::vector<const char16_t*> kCorpus = {
        u"if(a>b, a-b, b-a)",
        u"if(a>0 and b<c, a*b, c)",
        u"a<b or c>=d",
        u"a=b",
        u"a<>b",
        u"a<=b",
        u"a>=b+0",
        u"0<a",
        u"1>=a",
        u"2.5=a",
        u"a>1",
        u"not a",
        u"not (a>b)",
        u"not 0 or a",
        u"a and b",
        u"a or b",
        u"(a>b) xor (c<d)",
        u"(a>b) xor c",
        u"a xor b",
        u"(a<b) = (c<d)",
        u"if(a, 1, 2)",
        u"if(a, b, 2)",
        u"if(a>b, 1, 2.5)",
        u"if(a>b, a, b>c)",
        u"if(a>b, if(c>d, a, b), if(c<d, c, d))",
        u"if(a>b, a, b) + if(c>d, c, d)*2",
        u"if(a>b, 1/(a-b), 0)",
        u"if(a>=b, b/a, a/b)",
        u"if(not a, b, c)",
        u"if(a, 1, 0) + 1",
        u"min(a, b) > max(c, d)",
        u"a^2 > b",
        u"-a < b",
        u"sqrt(a) >= 1",
        u"tan(a) < b",
        u"if(a>b, a, b) > c and d",
        u"if(a>b or c, sqrt(a), -sqrt(b))",
        u"if(2-a < a-2, 3/a, a/b)",
        u"a*2 <> 2*a + b",
        u"if(c>=1, 1+a, a+1) > 1.5",
    };
};

TEST_F(TruthRun, MatchesTheWalkOnOrdinaryValues) {
    SetValues({1.1, 2.2, 3.3, 4.4});
    ExpectSameAsWalk(kCorpus);
    SetValues({4.4, 3.3, 2.2, 1.1});
    ExpectSameAsWalk(kCorpus);
    SetValues({2.5, 2.5, -1.0, -1.0});
    ExpectSameAsWalk(kCorpus);
}

TEST_F(TruthRun, MatchesTheWalkOnZerosNaNAndInfinities) {
    const double nan = std::nan(""), inf = HUGE_VAL;
    SetValues({0.0, -0.0, 0.0, -0.0});
    ExpectSameAsWalk(kCorpus);
    SetValues({nan, 1.0, nan, nan});
    ExpectSameAsWalk(kCorpus);
    SetValues({1.0, nan, -nan, 0.0});
    ExpectSameAsWalk(kCorpus);
    // inf - inf is NaN: two equal infinities are not equal to the walk.
    SetValues({inf, inf, -inf, 65536.0});
    ExpectSameAsWalk(kCorpus);
    SetValues({1.5707963267948966, 1e-13, 0.0, -1e-300});
    ExpectSameAsWalk(kCorpus);
}

TEST_F(TruthRun, ValuesThatAreNotRealsLeaveTheRun) {
    SetValues({1.1, 2.2, 3.3, 4.4});
    VARIANT v;
    v.vt = VT_I4;
    v.lVal = 65536;
    ev.vars.SetValue(u"b", v);
    ExpectSameAsWalk(kCorpus);
    v.vt = VT_BOOL;
    v.boolVal = VARIANT_TRUE;
    ev.vars.SetValue(u"b", v);
    ExpectSameAsWalk(kCorpus);
    v.vt = VT_BSTR;
    v.bstrVal = SysAllocString(u"TRUE");
    ev.vars.SetValue(u"c", v);
    VariantClear(&v);
    ExpectSameAsWalk(kCorpus);
    // A variable declared and never given a value.
    ev.vars.CreateVarIndex(u"d", VT_EMPTY, false);
    VariantInit(&v);
    ev.vars.SetValue(u"d", v);
    ExpectSameAsWalk(kCorpus);
}

TEST_F(TruthRun, ResultTypesAreThoseOfTheWalk) {
    SetValues({1.1, 2.2, 3.3, 4.4});
    VARIANT out = ev.Value(u"a<b or c>=d");
    EXPECT_EQ(out.vt, VT_BOOL);
    EXPECT_EQ(out.boolVal, VARIANT_TRUE);
    out = ev.Value(u"if(a>b, 1, 2)");
    EXPECT_EQ(out.vt, VT_I4);
    EXPECT_EQ(out.lVal, 2);
    EXPECT_EQ(Real(u"if(a>b, a-b, b-a)"), 2.2 - 1.1);
    // The condition's truth is AsBool's: a real is true unless zero.
    EXPECT_EQ(Real(u"if(a-a, a, b)"), 2.2);
    // Only the taken branch runs: the other one's division by zero is no error.
    ev.SetReal(u"z", 0.0);
    EXPECT_EQ(ev.Eval(u"if(a<b, a, a/z)"), u"1.1");
    EXPECT_NE(ev.Eval(u"if(a>b, a, a/z)").Find(u"деление на ноль"), -1);
}

} // namespace
