#include <gtest/gtest.h>

#include "formulatest.h"

using formulatest::Evaluator;
using formulatest::Framed;

TEST(FormulaEvaluation, PrecedenceAndAssociativity) {
    Evaluator e;
    EXPECT_EQ(CString(u"7"), e.Eval(u"1+2*3"));
    EXPECT_EQ(CString(u"9"), e.Eval(u"(1+2)*3"));
    EXPECT_EQ(CString(u"64"), e.Eval(u"2^3^2")); // left to right, ^ too
    EXPECT_EQ(CString(u"1"), e.Eval(u"8/4/2"));
    EXPECT_EQ(CString(u"2"), e.Eval(u"7-3-2"));
    EXPECT_EQ(CString(u"1"), e.Eval(u"7 % 4 % 2"));
    EXPECT_EQ(CString(u"162"), e.Eval(u"2*3^4"));
    EXPECT_EQ(CString(u"82"), e.Eval(u"1+2*3^4/2"));
    EXPECT_EQ(CString(u"98"), e.Eval(u"2*(3+4)^2"));
    EXPECT_EQ(CString(u"a3"), e.Eval(u"\"a\" & 1 + 2")); // & binds looser than +
    EXPECT_EQ(CString(u"true"), e.Eval(u"1 + 1 = 2 and 3 > 2"));
    EXPECT_EQ(CString(u"true"), e.Eval(u"0 and 0 or 1")); // and binds tighter than or
    EXPECT_EQ(CString(u"false"), e.Eval(u"1 or 0 and 0 xor 1"));
    EXPECT_EQ(CString(u"true"), e.Eval(u"not 1 = 2 and 3 = 3")); // not covers its whole level
    EXPECT_EQ(CString(u"false"), e.Eval(u"not 0 or 1"));
    EXPECT_EQ(CString(u"true"), e.Eval(u"(not 1) or 1"));
    EXPECT_EQ(CString(u"1"), e.Eval(u"((((1))))"));
    EXPECT_EQ(CString(u"5"), e.Eval(u"sin(0) + 5"));
    EXPECT_EQ(CString(u"0"), e.Eval(u"SIN(0)"));
}

TEST(FormulaEvaluation, SignsAndNumbers) {
    Evaluator e;
    e.SetReal(u"x", 3);
    EXPECT_EQ(CString(u"nan"), e.Eval(u"-2^2")); // the sign is part of the number
    EXPECT_EQ(CString(u"-4"), e.Eval(u"0-2^2"));
    EXPECT_EQ(CString(u"nan"), e.Eval(u"-x^2"));
    EXPECT_EQ(CString(u"-9"), e.Eval(u"0-x^2"));
    EXPECT_EQ(CString(u"-6"), e.Eval(u"2*-3"));
    EXPECT_EQ(CString(u"1"), e.Eval(u"--1"));
    EXPECT_EQ(CString(u"-4"), e.Eval(u"-(x+1)"));
    EXPECT_EQ(CString(u"-5"), e.Eval(u"- 5"));
    EXPECT_EQ(CString(u"cba"), e.Eval(u"-\"abc\""));
    EXPECT_EQ(CString(u"Неправильный символ"), e.Eval(u"- - x"));
    EXPECT_EQ(CString(u"2147483647"), e.Eval(u"2147483648"));
    EXPECT_EQ(CString(u"-2147483648"), e.Eval(u"2147483647 + 1")); // wraps
    EXPECT_EQ(CString(u"0"), e.Eval(u"(0-2147483647-1) % -1"));
}

TEST(FormulaEvaluation, ArithmeticThatLooksWrongButIsMeant) {
    Evaluator e;
    EXPECT_EQ(CString(u"false"), e.Eval(u"2^3 = 8"));
    EXPECT_EQ(CString(u"8"), e.Eval(u"string(2^3)"));
    EXPECT_EQ(CString(u"1000.000000000001"), e.Eval(u"string(10^3)"));
    EXPECT_EQ(CString(u"nan"), e.Eval(u"0^0"));
    EXPECT_EQ(CString(u"3.5"), e.Eval(u"7 / 2"));
    const CString byZero(u"Ошибка вычисления выражения (операция деления): деление на ноль");
    EXPECT_EQ(byZero, e.Eval(u"1/0"));
    EXPECT_EQ(byZero, e.Eval(u"1/0.0000000000001"));
    EXPECT_EQ(CString(u"1000000000000"), e.Eval(u"1/0.000000000001"));
    EXPECT_EQ(CString(u"-1"), e.Eval(u"-7 % 2"));
    EXPECT_EQ(CString(u"Ошибка вычисления выражения (операция деления по модулю): деление на ноль"),
              e.Eval(u"7 % 0"));
    EXPECT_EQ(CString(u"5"), e.Eval(u"\"2\" + \"3\""));
    EXPECT_EQ(CString(u"1"), e.Eval(u"\"a\" + 1"));
    EXPECT_EQ(CString(u"true"), e.Eval(u"true + false"));
    EXPECT_EQ(CString(u"false"), e.Eval(u"true * false"));
    EXPECT_EQ(CString(u"false"), e.Eval(u"true * true")); // VT_BOOL 1 is not true
    EXPECT_EQ(CString(u"0.333333333333"), e.Eval(u"string(1/3)"));
    EXPECT_EQ(CString(u"0.666666666667"), e.Eval(u"2/3"));
    EXPECT_EQ(CString(u"-3"), e.Eval(u"int(-3.9)"));
    EXPECT_EQ(CString(u"2"), e.Eval(u"int(2.5)"));
    EXPECT_EQ(CString(u"Ошибка вычисления выражения (Tan): аргумент не может быть 90 градусов"),
              e.Eval(u"tan(rad(90))"));
    EXPECT_EQ(CString(u"Ошибка вычисления выражения (GTan): аргумент не может быть 90 градусов"),
              e.Eval(u"gtan(-90)"));
    EXPECT_EQ(CString(u"false"), e.Eval(u"gsin(30) = 0.5"));
    EXPECT_EQ(CString(u"0.5"), e.Eval(u"string(gsin(30))"));
    EXPECT_EQ(
        CString(
            u"Ошибка вычисления выражения (квадратный корень): аргумент не может быть меньше нуля"),
        e.Eval(u"sqrt(0-1)"));
    EXPECT_EQ(CString(u"nan"), e.Eval(u"sqrt(0-0.0000000000001)"));
    EXPECT_EQ(CString(u"3.14159265359"), e.Eval(u"pi"));

    // The quick paths for plain numbers keep the general rules.
    EXPECT_EQ(
        CString(
            u"Ошибка вычисления выражения (квадратный корень): аргумент не может быть меньше нуля"),
        e.Eval(u"sqrt(0-1.5)"));
    EXPECT_EQ(byZero, e.Eval(u"2.5 / 0"));
    EXPECT_EQ(CString(u"false"), e.Eval(u"0^0 = 0^0"));
    EXPECT_EQ(CString(u"true"), e.Eval(u"0^0 > 1"));              // NaN counts as greater
    EXPECT_EQ(CString(u"true"), e.Eval(u"1 < 0^0"));              // and, from an integer, as less
    EXPECT_EQ(CString(u"false"), e.Eval(u"1e308*10 = 1e308*10")); // inf - inf
    VARIANT v = e.Value(u"2.5 * 2");
    EXPECT_EQ(VT_R8, v.vt);
    EXPECT_EQ(5.0, v.dblVal);
    v = e.Value(u"7 - 2 * 3");
    EXPECT_EQ(VT_I4, v.vt);
    v = e.Value(u"sqr(\"3\")");
    EXPECT_EQ(VT_I4, v.vt);
    EXPECT_EQ(9, v.lVal);
    v = e.Value(u"sqr(\"1.5\")");
    EXPECT_EQ(VT_R8, v.vt);
    EXPECT_EQ(2.25, v.dblVal);
    v = e.Value(u"\"2\" + \"3\"");
    EXPECT_EQ(VT_R8, v.vt);
    v = e.Value(u"abs(0-3)");
    EXPECT_EQ(VT_I4, v.vt);
    v = e.Value(u"abs(\"-3\")");
    EXPECT_EQ(VT_R8, v.vt);
}

TEST(FormulaEvaluation, ComparisonOfMixedTypes) {
    Evaluator e;
    EXPECT_EQ(CString(u"true"), e.Eval(u"\"abc\" = 0"));
    EXPECT_EQ(CString(u"true"), e.Eval(u"\"10\" = 10"));
    EXPECT_EQ(CString(u"true"), e.Eval(u"1.5 = \"1,5\""));
    EXPECT_EQ(CString(u"false"), e.Eval(u"\"1,5\" = \"1.5\""));
    EXPECT_EQ(CString(u"true"), e.Eval(u"5 = \"5.5abc\""));
    EXPECT_EQ(CString(u"true"), e.Eval(u"1 = true"));
    EXPECT_EQ(CString(u"false"), e.Eval(u"true = 1"));
    EXPECT_EQ(CString(u"false"), e.Eval(u"3 > 2 > 1"));
    EXPECT_EQ(CString(u"true"), e.Eval(u"\"B\" < \"a\"")); // case-sensitive
    EXPECT_EQ(CString(u"true"), e.Eval(u"2147483647 > 0-1"));
    EXPECT_EQ(CString(u"true"), e.Eval(u"0-2147483647-1 < 2147483647"));
    EXPECT_EQ(CString(u"false"), e.Eval(u"65536 and true"));
    EXPECT_EQ(CString(u"true"), e.Eval(u"1 xor true"));
    EXPECT_EQ(CString(u"true"), e.Eval(u"1 <> 2 and 2 <= 2 and 3 >= 3"));
    EXPECT_EQ(CString(u"Неправильный аргумент"), e.Eval(u"ctime > 0"));
    EXPECT_EQ(CString(u"true"), e.Eval(u"0 < ctime"));
}

TEST(FormulaEvaluation, IfAndCase) {
    Evaluator e;
    EXPECT_EQ(CString(u"2"), e.Eval(u"if(0, 1/0, 2)")); // only the taken branch runs
    EXPECT_EQ(CString(u"1"), e.Eval(u"if(1, 1, 1/0)"));
    EXPECT_EQ(CString(u"12"), e.Eval(u"10 + if(1 > 0, 2, 3)"));
    EXPECT_EQ(CString(u"13"), e.Eval(u"10 + if(\"1\", 2, 3)")); // only "true" is a true text
    EXPECT_EQ(CString(u"yes!"), e.Eval(u"if(\"TRUE\", \"yes\", \"no\") & \"!\""));
    EXPECT_EQ(CString(u"Ошибка вычисления выражения (операция деления): деление на ноль"),
              e.Eval(u"0 and 1/0"));
    EXPECT_EQ(CString(u"b"), e.Eval(u"case(2 when 1 then \"a\", when 2 then \"b\", else \"c\")"));
    EXPECT_EQ(CString(u"c"), e.Eval(u"case(3 when 1 then \"a\", when 2 then \"b\", else \"c\")"));
    EXPECT_EQ(CString(u"5"), e.Eval(u"case(5 when 1 then \"a\")"));
    EXPECT_EQ(CString(u"ten"), e.Eval(u"case(\"10\" when 10 then \"ten\")"));
    EXPECT_EQ(CString(u"e"), e.Eval(u"case(1 when 2 then \"w\", else \"e\", when 1 then \"x\")"));
    EXPECT_EQ(Framed(u"Пропущено ключевое слово WHEN", 0, 11), e.Eval(u"case(1 else 2)"));
    EXPECT_EQ(CString(u"7"), e.Eval(u"1 + case(2 when 1+1 then 3*2) "));
    EXPECT_EQ(CString(u"x"), e.Eval(u"case(1 when 1 then case(2 when 2 then \"x\"))"));
    EXPECT_EQ(Framed(u"Пропущено ключевое слово WHEN", 0, 11), e.Eval(u"case(1 then 2)"));
    EXPECT_EQ(Framed(u"Неправильное использование идентификатора", 0, 25),
              e.Eval(u"case(1 when 1 then 2, foo)"));
    EXPECT_EQ(Framed(u"Пропущено ключевое слово THEN", 0, 18), e.Eval(u"case(1 when 1 else 2)"));
    EXPECT_EQ(Framed(u"Синтаксическая ошибка", 0, 6), e.Eval(u"if(1,2)"));
}

TEST(FormulaEvaluation, StatementsAndTopLevelComma) {
    Evaluator e;
    EXPECT_EQ(CString(u"3"), e.Eval(u"1;2;3"));
    EXPECT_EQ(CString(u"3"), e.Eval(u"1+2;"));
    EXPECT_EQ(CString(u"1"), e.Eval(u"1, 2"));
    EXPECT_EQ(CString(u"1"), e.Eval(u"1, )@@"));
    EXPECT_EQ(CString(u"Попытка открытия нового выражения (;) внутри существующего"),
              e.Eval(u"1;;2"));
    EXPECT_EQ(CString(u"Ошибка в стеке вычислений"), e.Eval(u"1+;2"));
    EXPECT_EQ(CString(u"Ошибка в стеке вычислений"), e.Eval(u"1 and;2"));
    EXPECT_EQ(Framed(u"Ожидается окончание предыдущего выражения. \";\" найдена.", 0, 2),
              e.Eval(u"(1;2)"));
    EXPECT_EQ(CString(u""), e.Eval(u"1; /*c*/"));
    EXPECT_EQ(CString(u""), e.Eval(u""));
    VARIANT v = e.Value(u"");
    EXPECT_EQ(VT_BSTR, v.vt);
    VariantClear(&v);
    v = e.Value(u" ;; ");
    EXPECT_EQ(VT_EMPTY, v.vt);
}

TEST(FormulaEvaluation, ErrorsCarryLineAndPosition) {
    Evaluator e;
    EXPECT_EQ(Framed(u"Непарные скобки", 0, 2), e.Eval(u"(1"));
    EXPECT_EQ(Framed(u"Непарные скобки", 0, 1), e.Eval(u"1)"));
    EXPECT_EQ(Framed(u"Пропущен параметр", 0, 2), e.Eval(u"1+"));
    EXPECT_EQ(Framed(u"Синтаксическая ошибка", 0, 0), e.Eval(u"+1"));
    EXPECT_EQ(Framed(u"Синтаксическая ошибка", 0, 2), e.Eval(u"1 2"));
    EXPECT_EQ(Framed(u"Непарные скобки", 0, 5), e.Eval(u"sin(1,2)"));
    EXPECT_EQ(Framed(u"Синтаксическая ошибка", 0, 4), e.Eval(u"sin()"));
    EXPECT_EQ(Framed(u"Пропущена \"(\"", 0, 4), e.Eval(u"sin 1"));
    EXPECT_EQ(Framed(u"Пропущена \"\"\"", 0, 4), e.Eval(u"\"abc"));
    EXPECT_EQ(Framed(u"Синтаксическая ошибка", 1, 4), e.Eval(u"1 +\n+ 2"));
    EXPECT_EQ(Framed(u"Синтаксическая ошибка", 0, 6), e.Eval(u"\"a\nb\" 1"));
    EXPECT_EQ(Framed(u"Синтаксическая ошибка", 2, 15), e.Eval(u"  1 /*\n*/ +\n 2 3"));
    EXPECT_EQ(Framed(u"Пропущена цифра", 0, 2), e.Eval(u"1e"));
    EXPECT_EQ(Framed(u"Слишком длинная константа", 0, 20), e.Eval(u"123456789012345678901"));
    EXPECT_EQ(Framed(u"Пропущен \"-\"", 0, 2), e.Eval(u"1:2"));
    EXPECT_EQ(Framed(u"Неправильный символ", 0, 0), e.Eval(u"@"));
    EXPECT_EQ(Framed(u"Пропущен идентификатор", 0, 2), e.Eval(u"1.")); // a method with no name
}

TEST(FormulaEvaluation, LocalVariables) {
    Evaluator e;
    EXPECT_EQ(CString(u"10"), e.Eval(u"var x := 5; x * 2"));
    EXPECT_EQ(CString(u"6"), e.Eval(u"var x := 1; var y := x + 2; x := y * 2; x"));
    EXPECT_EQ(CString(u"Использование неинициализированной переменной \"x\""),
              e.Eval(u"var x; x + 1"));
    EXPECT_EQ(CString(u"false"), e.Eval(u"var x; isset(x)"));
    EXPECT_EQ(CString(u"true"), e.Eval(u"var x := 0; isset(x)"));
    EXPECT_EQ(Framed(u"Пропущен идентификатор", 0, 4), e.Eval(u"var  x"));
    EXPECT_EQ(Framed(u"Ошибка объявления идентификатора", 0, 3), e.Eval(u"var\tx"));
    EXPECT_EQ(
        Framed(
            u"Использование зарезервированного ключевого слова в качестве имени переменной (SIN)",
            0, 7),
        e.Eval(u"var SIN"));
    EXPECT_EQ(Framed(u"Повторное объявление переменной (x)", 0, 12), e.Eval(u"var x; var x"));
    EXPECT_EQ(Framed(u"Объявление переменной вне основной зоны видимости", 0, 22),
              e.Eval(u"case(1 when 1 then var y)"));
    EXPECT_EQ(CString(u"Присваивания значения объекту, не являющемуся переменной"),
              e.Eval(u"1 := 2"));
    // Local names are exact; `X` is then a container variable, which has no value.
    EXPECT_EQ(CString(u"Переменная не найдена"), e.Eval(u"var x := 1; X"));
    // Values do not survive a count.
    auto function = e.Compile(u"var x; if(isset(x), 1, 0) + 0 * (x := 5)");
    CString out;
    function->Count(out, &e.vars);
    function->Count(out, &e.vars);
    EXPECT_EQ(CString(u"0"), out);
    // A copy owns its own variables.
    auto copy = std::make_unique<CFunction>(*e.Compile(u"var x := 2; case(x when 2 then x * 3)"));
    copy->Count(out, &e.vars);
    EXPECT_EQ(CString(u"6"), out);
}

TEST(FormulaEvaluation, ContainerVariables) {
    Evaluator e;
    e.SetReal(u"Alpha", 2);
    EXPECT_EQ(CString(u"4"), e.Eval(u"alpha * ALPHA"));
    EXPECT_EQ(CString(u"ALPHA"), e.vars.GetVarName(0));
    // One empty variable alone: false, and no exception.
    Evaluator single;
    auto function = single.Compile(u"x");
    VARIANT out;
    VariantInit(&out);
    EXPECT_FALSE(function->Count(out, &single.vars));
    single.Compile(u"y");
    EXPECT_THROW(function->Count(out, &single.vars), CSyntaxError);
    EXPECT_EQ(CString(u"Переменная не найдена"), single.Eval(u"x + y"));
    // Without a container a name does not compile.
    CFunctionCompiler compiler;
    EXPECT_THROW(delete compiler.Function(u"x", nullptr), CSyntaxError);
}

TEST(FormulaEvaluation, ConstantFunctionIsCountedOnce) {
    Evaluator e;
    auto constant = e.Compile(u"\"a\" & 1");
    EXPECT_TRUE(constant->IsConstant());
    CString first, second;
    constant->Count(first, nullptr);
    constant->Count(second, nullptr);
    EXPECT_EQ(first, second);
    auto changing = e.Compile(u"a + 1");
    EXPECT_FALSE(changing->IsConstant());
    e.SetReal(u"a", 1);
    changing->Count(first, &e.vars);
    e.SetReal(u"a", 2);
    changing->Count(second, &e.vars);
    EXPECT_EQ(CString(u"2"), first);
    EXPECT_EQ(CString(u"3"), second);
}

TEST(FormulaEvaluation, StackLimit) {
    Evaluator e;
    auto nested = [](int depth) {
        std::u16string text;
        for (int i = 0; i < depth - 1; ++i) text += u"1+(";
        text += u"1";
        text.append(size_t(depth - 1), u')');
        return text;
    };
    EXPECT_EQ(CString(u"511"), e.Eval(nested(511).c_str()));
    EXPECT_EQ(CString(u"Переполнение стека вычислений"), e.Eval(nested(512).c_str()));
    std::u16string brackets(100000, u'(');
    brackets += u"1";
    brackets.append(100000, u')');
    EXPECT_EQ(CString(u"1"), e.Eval(brackets.c_str()));
}
