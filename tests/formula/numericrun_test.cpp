// Formulas of numbers alone run on plain doubles; these check that such a run
// gives the walk's value to the bit, and hands over to it wherever the values
// or the operands ask for something a double cannot say.
#include <cmath>
#include <cstring>
#include <string>

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

} // namespace
