#include <cstdlib>

#include <gtest/gtest.h>

#include "formulatest.h"

using formulatest::Evaluator;
using formulatest::Framed;

TEST(FormulaFunctions, ArgumentCounts) {
    Evaluator e;
    const CString syntax(u"Синтаксическая ошибка");
    for (const char16_t* text :
         {u"instr(\"a\")", u"substr(\"a\", 1)", u"replace(\"a\", \"b\")", u"wrap(\"a\", 1)",
          u"split(\"a\")", u"vector(1, 2)", u"angle(vector(1,0,0))", u"slope(1, 2, 3)",
          u"rotate(1)", u"dotproduct(1)", u"scale(1, 2, 3, 4)", u"distance(1)",
          u"instr(\"a\", \"b\", \"c\")", u"if(1, 2, 3, 4)"}) {
        const CString result = e.Eval(text);
        EXPECT_EQ(0, result.Find(u"Ошибка в выражении: \"Синтаксическая ошибка\""))
            << CString(text) << result;
    }
    EXPECT_EQ(CString(u"Функция min: требуются не менее 2 аргументов."), e.Eval(u"min(1)"));
    EXPECT_EQ(CString(u"Функция max: требуются не менее 2 аргументов."), e.Eval(u"max(\"a\")"));
    EXPECT_EQ(Framed(u"Синтаксическая ошибка", 0, 7), e.Eval(u"substr(, 1, 2)"));
    EXPECT_EQ(CString(u"x"), e.Eval(u"format(\"x\")"));
}

TEST(FormulaFunctions, Vectors) {
    Evaluator e;
    EXPECT_EQ(CString(u"0"),
              e.Eval(u"2 * vector(1,2,3)")); // a number on the left is no vector operation
    EXPECT_EQ(CString(u"{2; 4; 6}"), e.Eval(u"vector(1,2,3) * 2"));
    EXPECT_EQ(CString(u"{0.0; 0.0; 1.0}"), e.Eval(u"vector(1,0,0) * vector(0,1,0)"));
    EXPECT_EQ(CString(u"-1"), e.Eval(u"-min(2, 1)"));
    EXPECT_EQ(CString(u"7"), e.Eval(u"1 - instr(\"abc\", \"c\") * -max(1, 3)"));
    EXPECT_EQ(CString(u"1-"), e.Eval(u"-substr(\"-1\", 0, 2)"));
    EXPECT_EQ(CString(u"{5; 7; 9}"), e.Eval(u"vector(1,2,3) + vector(4,5,6)"));
    EXPECT_EQ(CString(u"{-1; -2; -3}"), e.Eval(u"-vector(1,2,3)"));
    EXPECT_EQ(CString(u"3"), e.Eval(u"vector(1,2,3)[2]"));
    EXPECT_EQ(CString(u"Получение элемента массива [R8] (Invalid index.)"),
              e.Eval(u"vector(1,2,3)[3]"));
    EXPECT_EQ(CString(u"Неправильная размерность массива"), e.Eval(u"vector(1,2,3)[0, 1]"));
    EXPECT_EQ(CString(u"5"), e.Eval(u"length(vector(3,4,0))"));
    EXPECT_EQ(CString(u"{0.6; 0.8; 0}"), e.Eval(u"normal(vector(3,4,0))"));
    EXPECT_EQ(CString(u"{0.0; 0.0; 0.0}"), e.Eval(u"normal(vector(0,0,0.000001))"));
    EXPECT_EQ(CString(u"{0.0; 0.0; 0.0}"), e.Eval(u"vector(\"1,2,3\")"));
    EXPECT_EQ(CString(u"{1; 2; 3}"), e.Eval(u"vector(\"{1; 2; 3}\")"));
    EXPECT_EQ(CString(u"32"), e.Eval(u"dotproduct(vector(1,2,3), vector(4,5,6))"));
    EXPECT_EQ(CString(u"5"), e.Eval(u"distance(vector(1,1,0), vector(4,5,0))"));
    EXPECT_EQ(CString(u"true"), e.Eval(u"vector(1,2,3) = vector(1,2,3.000001)"));
    EXPECT_EQ(CString(u"true"), e.Eval(u"abs(angle(vector(1,0,0), vector(0,1,0), vector(0,0,0-1)) "
                                       u"- (2*pi - pi/2)) < 0.000001"));
    EXPECT_EQ(CString(u"{1; 2; 3}"), e.Eval(u"rotate(vector(1,2,3), 0)"));
    EXPECT_EQ(CString(u"{1; 2; 3}"), e.Eval(u"scale(vector(1,2,3), 1)"));
    EXPECT_EQ(CString(u"{3; 5; 7}"), e.Eval(u"scale(vector(2,3,4), 2, vector(1,1,1))"));
    EXPECT_EQ(CString(u"Неверный (слишком малый) коэффициет масштабирования."),
              e.Eval(u"scale(vector(1,2,3), 0)"));
    EXPECT_EQ(CString(u"Неверный (слишком малый) коэффициет масштабирования."),
              e.Eval(u"scale(vector(1,2,3), 0-1)"));
    EXPECT_EQ(CString(u"Неверный аргумент функции normal: предполагается вектор."),
              e.Eval(u"normal(1)"));
    EXPECT_EQ(CString(u"Неверный аргумент функции perpendicular: предполагается вектор."),
              e.Eval(u"perp(\"x\")"));
    EXPECT_EQ(CString(u"Неверный аргумент 2 функции angle: предполагается вектор."),
              e.Eval(u"angle(vector(1,0,0), 1)"));
    // The four-argument rotate names the wrong positions; the fourth is tested first.
    EXPECT_EQ(CString(u"Неверный аргумент 3 (ось вращения) функции rotate: предполагается вектор."),
              e.Eval(u"rotate(vector(1,0,0), 1, 1, 1)"));
    EXPECT_EQ(CString(u"Неверный аргумент 4  (точка, вокруг которой идет вращение) функции rotate: "
                      u"предполагается "
                      u"вектор."),
              e.Eval(u"rotate(vector(1,0,0), 1, 1, vector(0,0,0))"));
    EXPECT_EQ(CString(u"Неверный аргумент коллекции. Тип аргумента 8"), e.Eval(u"\"abc\"[1]"));
}

TEST(FormulaFunctions, Dates) {
    Evaluator e;
    EXPECT_EQ(CString(u"Неверный аргумент 1 функции totime: предполагается строка или вещественное "
                      u"значение."),
              e.Eval(u"totime(1)"));
    EXPECT_EQ(CString(u"1899-12-31"), e.Eval(u"datestr(totime(1.5))"));
    EXPECT_EQ(CString(u"12:00"), e.Eval(u"timestr(totime(1.5))"));
    EXPECT_EQ(CString(u"abc"), e.Eval(u"totime(\"abc\")"));
    EXPECT_EQ(CString(u"2020-01-02"), e.Eval(u"datestr(datetime(\"2020-1-2 3:4\"))"));
    EXPECT_EQ(CString(u"03:04"), e.Eval(u"timestr(datetime(\"2020-01-02 03:04:59\"))"));
    EXPECT_EQ(CString(u"2021-01-01 00:00"),
              e.Eval(u"datetime(\"2020-12-31 23:59\") + totime(1/1440)"));
    EXPECT_EQ(CString(u"2020-03-01"),
              e.Eval(u"datestr(datetime(\"2020-02-28 00:00\") + totime(2.0))"));
    EXPECT_EQ(CString(u"1899-12-29"), e.Eval(u"datestr(totime(0-1.0))"));
    EXPECT_EQ(CString(u"true"),
              e.Eval(u"totime(0-1.5) > totime(0-1.0)")); // dates before 1899 unfold
    EXPECT_EQ(CString(u"datetime: неверный формат даты/времени."),
              e.Eval(u"datetime(\"02.01.2020 03:04\")"));
    EXPECT_EQ(CString(u"Неверный аргумент 1 функции datetime: предполагается строка."),
              e.Eval(u"datetime(1)"));
    EXPECT_EQ(CString(u"Неверный аргумент 1 функции datestr: предполагается время."),
              e.Eval(u"datestr(1.5)"));
    EXPECT_EQ(CString(u"2020"), e.Eval(u"substr(string(datetime(\"2020-05-06 07:08\")), 0, 4)"));

    setenv("TZ", "UTC-3", 1);
    tzset();
    EXPECT_EQ(CString(u"2020-05-06 10:08"), e.Eval(u"localdatetime(\"2020-05-06 07:08\")"));
    EXPECT_THROW(e.Value(u"localdatetime(\"1960-05-06 07:08\")"), HRESULT);
    unsetenv("TZ");
    tzset();
}

TEST(FormulaFunctions, TextFunctions) {
    Evaluator e;
    EXPECT_EQ(CString(u"false"), e.Eval(u"\"xaxbxc\" like \"%a%b%c\""));
    EXPECT_EQ(CString(u"true"), e.Eval(u"\"ab\" like \"ab%b\""));
    EXPECT_EQ(CString(u"true"), e.Eval(u"\"ABC\" like \"a%\""));
    EXPECT_EQ(CString(u"true"), e.Eval(u"\"%\" like \"%%\""));
    EXPECT_EQ(CString(u"false"), e.Eval(u"\"a\" like \"%%\""));
    EXPECT_EQ(CString(u"true"), e.Eval(u"\"anything\" like \"%\""));
    EXPECT_EQ(CString(u"true"), e.Eval(u"\"\" like \"\""));
    EXPECT_EQ(CString(u"false"), e.Eval(u"\"a\" like \"\""));
    EXPECT_EQ(CString(u"true"), e.Eval(u"\"ТРУБА 57\" like \"тр%57\"")); // Cyrillic folds too
    EXPECT_EQ(CString(u"true"), e.Eval(u"\"abc\" like \"%b%\""));
    EXPECT_EQ(CString(u"false"), e.Eval(u"\"abc\" like \"b%\""));

    EXPECT_EQ(CString(u"2"), e.Eval(u"instr(\"abc\", \"c\")"));
    EXPECT_EQ(CString(u"-1"), e.Eval(u"instr(\"abc\", \"C\")"));
    EXPECT_EQ(CString(u"ab"), e.Eval(u"substr(\"abcdef\", -3, 2)"));
    EXPECT_EQ(CString(u"ef"), e.Eval(u"substr(\"abcdef\", 4, 100)"));
    EXPECT_EQ(CString(u""), e.Eval(u"substr(\"abcdef\", 1, -1)"));
    EXPECT_EQ(CString(u""), e.Eval(u"substr(\"\", 5, 1)"));
    EXPECT_EQ(CString(u"xbcxbc"), e.Eval(u"replace(\"abcabc\", \"a\", \"x\")"));
    EXPECT_EQ(CString(u"abc"), e.Eval(u"replace(\"abc\", \"\", \"x\")"));
    EXPECT_EQ(CString(u"bb"), e.Eval(u"\"abab\" \\ \"a\""));
    EXPECT_EQ(CString(u"abab"), e.Eval(u"\"abab\" \\ \"\""));
    EXPECT_EQ(CString(u"3"), e.Eval(u"length(\"абв\")"));
    EXPECT_EQ(CString(u"0"), e.Eval(u"length(\"\")"));
    EXPECT_EQ(CString(u"ЁЖИК ABC"), e.Eval(u"ucase(\"ёжик abc\")"));
    EXPECT_EQ(CString(u"ёжик abc"), e.Eval(u"lcase(\"ЁЖИК ABC\")"));
    EXPECT_EQ(CString(u"a b c"), e.Eval(u"plainText(\"  a/nb   c\\t \")"));

    EXPECT_EQ(CString(u"abc"), e.Eval(u"wrap(\"abc\", 5, \"|\")"));
    EXPECT_EQ(CString(u"aaa|aaa|a"), e.Eval(u"wrap(\"aaaaaaa\", 3, \"|\")"));
    EXPECT_EQ(CString(u"ab cd| ef"), e.Eval(u"wrap(\"ab cd ef\", 5, \"|\")"));
    EXPECT_EQ(CString(u"ab|cd|ef"), e.Eval(u"wrap(\"ab cd ef\", 3, \"|\")"));
    EXPECT_EQ(CString(u"a|b"), e.Eval(u"wrap(\"a\\r\\nb\", 1, \"|\")"));
    VARIANT kept = e.Value(u"wrap(12, 5, \"|\")");
    EXPECT_EQ(VT_I4, kept.vt); // short enough: value and type stay
    // Widths that never fit still end.
    EXPECT_FALSE(e.Eval(u"wrap(\"abcdef\", 0, \"|\")").IsEmpty());
    EXPECT_FALSE(e.Eval(u"wrap(\"abcdef\", -5, \"\")").IsEmpty() && false);

    EXPECT_EQ(CString(u"b"), e.Eval(u"split(\"a,,b\", \",\")[2]"));
    EXPECT_EQ(CString(u""), e.Eval(u"split(\"a,,b\", \",\")[1]"));
    EXPECT_EQ(CString(u"Получение элемента массива [String] (Invalid index.)"),
              e.Eval(u"split(\"a,\", \",\")[1]"));
    EXPECT_EQ(CString(u"a"), e.Eval(u"split(\"a\", \"\")"));
    EXPECT_EQ(CString(u"Неверный аргумент 2 функции split: предполагается строка."),
              e.Eval(u"split(\"a\", 1)"));
}

TEST(FormulaFunctions, MinAndMax) {
    Evaluator e;
    EXPECT_EQ(CString(u"10"), e.Eval(u"min(10, \"9\")")); // any text makes it a text comparison
    EXPECT_EQ(CString(u"1"), e.Eval(u"min(1, \"a\")"));
    EXPECT_EQ(CString(u"a"), e.Eval(u"min(\"b\", \"a\")"));
    EXPECT_EQ(CString(u"3"), e.Eval(u"max(1, 3, 2)"));
    VARIANT v = e.Value(u"max(1, true)");
    EXPECT_EQ(VT_I4, v.vt);
    EXPECT_EQ(1, v.lVal);
    v = e.Value(u"min(1, 2.5)");
    EXPECT_EQ(VT_R8, v.vt);
    EXPECT_EQ(1.0, v.dblVal);
    EXPECT_EQ(CString(u"Функция max: неверный тип аргумента (предполагается число или строка)."),
              e.Eval(u"max(1, vector(1,2,3))"));
    EXPECT_EQ(CString(u"Функция min: неверный тип аргумента (предполагается число или строка)."),
              e.Eval(u"min(ctime, 1)"));
}

TEST(FormulaFunctions, FormatConversions) {
    Evaluator e;
    EXPECT_EQ(CString(u"1 2 %%"), e.Eval(u"format(\"%d %d %%\", 1, 2)"));
    EXPECT_EQ(CString(u""), e.Eval(u"format(\"abc\", 1)"));
    EXPECT_EQ(CString(u"1.00"), e.Eval(u"format(\"%.2f\", 1)"));
    EXPECT_EQ(CString(u"[  42|2a|2A|52|42]"),
              e.Eval(u"format(\"[%4d|%x|%X|%o|%u]\", 42, 42, 42, 42, 42)"));
    EXPECT_EQ(CString(u"1.500000e+00 1.5 1.5E+20"),
              e.Eval(u"format(\"%e %g %G\", 1.5, \"1.5\", 1.5e20)"));
    EXPECT_EQ(CString(u"<ab   >"), e.Eval(u"format(\"<%-5.2s>\", \"abc\")"));
    EXPECT_EQ(CString(u"A=3"), e.Eval(u"format(\"%c=%i\", 65, 3.9)"));
    EXPECT_EQ(CString(u"100%"), e.Eval(u"format(\"%d%%\", 100)"));
    EXPECT_EQ(
        CString(u"Неверный тип аргумента или неверная строка форматирования в функции Format"),
        e.Eval(u"format(\"%d\", 1, 2)"));
    EXPECT_EQ(
        CString(u"Неверный тип аргумента или неверная строка форматирования в функции Format"),
        e.Eval(u"format(\"%n %d\", 1, 2)"));
    // User formats never reach a variadic call: extra conversions print
    // zero values, stars are absent, widths are bounded.
    EXPECT_EQ(CString(u"x"), e.Eval(u"format(\"%s%s\", \"x\")"));
    EXPECT_EQ(CString(u"7|0"), e.Eval(u"format(\"%d|%d\", 7)"));
    EXPECT_EQ(CString(u"5"), e.Eval(u"format(\"%*d\", 5)"));
    EXPECT_EQ(CString(u"4096"), e.Eval(u"length(format(\"%999999999d\", 1))"));
    EXPECT_EQ(CString(u"12"), e.Eval(u"format(\"%lld%hd\", 1, 2)"));
}

TEST(FormulaFunctions, FormatList) {
    Evaluator e;
    EXPECT_EQ(CString(u"1-3, 5"),
              e.Eval(u"formatList(\"1,2,3,5\", \",\", sortAsc, compactPartial, \"-\", \", \")"));
    EXPECT_EQ(CString(u"1-3"),
              e.Eval(u"formatList(\"3,1,2\", \",\", sortAsc, compactFull, \"-\", \", \")"));
    EXPECT_EQ(CString(u"1, 2, 4"),
              e.Eval(u"formatList(\"1,2,4\", \",\", sortAsc, compactFull, \"-\", \", \")"));
    EXPECT_EQ(CString(u"A1, A2, B3"),
              e.Eval(u"formatList(\"A1,A2,B3\", \",\", sortAsc, compactPartial, \"-\", \", \")"));
    EXPECT_EQ(CString(u"1, 2"),
              e.Eval(u"formatList(\"2,2,1\", \",\", sortAsc, compactUnique, \"-\", \", \")"));
    EXPECT_EQ(
        CString(u"b, a"),
        e.Eval(u"formatList(\"b,a\", \",\", sortDesc, compactNone, \"-\", \", \", numSrchNone)"));
    EXPECT_EQ(CString(u"A5-A3"),
              e.Eval(u"formatList(\"A3;A4;A5\", \";\", sortDesc, compactFull, \"-\", \", \")"));
    EXPECT_EQ(CString(u"x1y-x3y"), e.Eval(u"formatList(\"x3y,x1y,x2y\", \",\", sortAsc, "
                                          u"compactFull, \"-\", \", \", numSrchFront)"));
    EXPECT_EQ(CString(u""),
              e.Eval(u"formatList(\"\", \",\", sortAsc, compactFull, \"-\", \", \")"));
    const CString sortError =
        e.Eval(u"formatList(\"1\", \",\", sortasc, compactFull, \"-\", \", \")");
    EXPECT_EQ(0, sortError.Find(u"Ошибка в выражении: \"Неверное ключевое слово - ожидается "
                                u"sortNone, sortAsc или sortDesc\""))
        << sortError;
    EXPECT_EQ(CString(u"Неверный аргумент 1 функции formatList: предполагается строка."),
              e.Eval(u"formatList(1, \",\", sortAsc, compactFull, \"-\", \", \")"));
    // A sort over many equal and unequal items stays in bounds.
    std::u16string many = u"formatList(\"";
    for (int i = 0; i < 200; ++i) many += (i % 7 == 0 ? u"5," : u"3,");
    many += u"\", \",\", sortAsc, compactUnique, \"-\", \", \")";
    EXPECT_EQ(CString(u"3, 5"), e.Eval(many.c_str()));
}

TEST(FormulaFunctions, IsNumberAndTextLimit) {
    bool isReal = false;
    EXPECT_TRUE(CFunction::IsNumber(u"-1.5", isReal));
    EXPECT_TRUE(isReal);
    EXPECT_TRUE(CFunction::IsNumber(u"."));
    EXPECT_TRUE(CFunction::IsNumber(u"1."));
    EXPECT_FALSE(CFunction::IsNumber(u"-"));
    EXPECT_FALSE(CFunction::IsNumber(u""));
    EXPECT_FALSE(CFunction::IsNumber(u"1.2.3"));
    CString comma(u"3,25");
    EXPECT_TRUE(CFunction::IsNumber(comma));
    EXPECT_EQ(CString(u"3.25"), comma);

    Evaluator e;
    EXPECT_EQ(CString(u"Слишком длинная строка"),
              e.Eval(u"var s := \"aaaaaaaaaaaaaaaa\"; s := s & s; s := s & s; s := s & s; s := s & "
                     u"s; s := s & s; "
                     u"s := s & s; s := s & s; s := s & s; s := s & s; s := s & s; s := s & s; s "
                     u":= s & s; s := s "
                     u"& s; s := s & s; s := s & s; s := s & s; s := s & s; s := s & s; s := s & "
                     u"s; s := s & s; "
                     u"length(s)"));
    EXPECT_EQ(
        CString(u"Слишком длинная строка"),
        e.Eval(u"var s := \"aaaaaaaaaa\"; s := replace(s, \"a\", s); s := replace(s, \"a\", s); "
               u"s := replace(s, \"a\", s); s := replace(s, \"a\", s); s := replace(s, \"a\", s); "
               u"length(s)"));
}

TEST(FormulaFunctions, GetArrayItemForAggregates) {
    Evaluator e;
    VARIANT split = e.Value(u"split(\"a,b\", \",\")");
    VARIANT item;
    VariantInit(&item);
    ASSERT_TRUE(CFunction::GetArrayItem(split, 1, item));
    EXPECT_EQ(CString(u"b"), CFunction::AsString(item));
    VariantClear(&item);
    VariantClear(&split);
    VARIANT vector = e.Value(u"vector(1, 2, 3)");
    ASSERT_TRUE(CFunction::GetArrayItem(vector, 2, item));
    EXPECT_EQ(VT_R8, item.vt);
    EXPECT_EQ(3.0, item.dblVal);
    VariantClear(&vector);
}

TEST(FormulaFunctions, NullAndEmptyTexts) {
    Evaluator e;
    VARIANT null;
    null.vt = VT_BSTR;
    null.bstrVal = nullptr; // as a foreign object may hand over
    e.vars.SetValue(u"n", null);
    EXPECT_EQ(CString(u"0"), e.Eval(u"length(n)"));
    EXPECT_EQ(CString(u""), e.Eval(u"ucase(n) & lcase(n) & plainText(n) & -n"));
    EXPECT_EQ(CString(u"true"), e.Eval(u"n like \"\""));
    EXPECT_EQ(CString(u"true"), e.Eval(u"n = \"\""));
    EXPECT_EQ(CString(u"-1"), e.Eval(u"instr(n, \"a\")"));
    EXPECT_EQ(CString(u"0"), e.Eval(u"instr(\"abc\", n)"));
    EXPECT_EQ(CString(u""),
              e.Eval(u"substr(n, 0, 5) & replace(n, \"a\", \"b\") & wrap(n, 1, \"|\")"));
    EXPECT_EQ(CString(u""), e.Eval(u"split(n, \",\")"));
    EXPECT_EQ(CString(u"0"), e.Eval(u"n + 0"));
    EXPECT_EQ(CString(u"n"), e.Eval(u"min(n, \"n\") & \"n\""));
    EXPECT_EQ(CString(u""), e.Eval(u"format(n, 1)"));
    EXPECT_EQ(CString(u"abc"), e.Eval(u"totime(\"abc\")"));
    EXPECT_EQ(CString(u"datetime: неверный формат даты/времени."), e.Eval(u"datetime(n)"));
    EXPECT_EQ(CString(u""), e.Eval(u"formatList(n, \",\", sortAsc, compactFull, \"-\", \", \")"));
}

TEST(FormulaFunctions, TextBuiltFromNumbersRepeatedly) {
    Evaluator e;
    e.SetReal(u"a", 1.1);
    e.SetReal(u"b", 2.2);
    auto function = e.Compile(u"\"P-\" & string(a) & \"/\" & format(\"%.1f\", b)");
    VARIANT out;
    VariantInit(&out);
    for (int i = 0; i < 3; ++i) {
        function->Count(out, &e.vars); // the previous result is released first
        EXPECT_EQ(CString(u"P-1.1/2.2"), CFunction::AsString(out));
    }
    VariantClear(&out);
}
