// Each operator and conversion on the value types it meets, as a table of
// formula and expected text.
#include <gtest/gtest.h>

#include "formulatest.h"

using formulatest::Evaluator;
using formulatest::Framed;

namespace {

struct Row {
    const char16_t* formula;
    const char16_t* expected;
};

void ExpectAll(const std::initializer_list<Row>& rows) {
    Evaluator e;
    for (const Row& row : rows)
        EXPECT_EQ(CString(row.expected), e.Eval(row.formula)) << CString(row.formula);
}

} // namespace

TEST(FormulaOperators, IntegersWrapWithoutOverflow) {
    ExpectAll({
        {u"2147483647 * 2", u"-2"},
        {u"-(0-2147483647-1)", u"-2147483648"},
        {u"abs(0-2147483647-1)", u"-2147483648"},
        {u"sqr(46341)", u"-2147479015"},
        {u"(0-2147483647-1) - 1", u"2147483647"},
        {u"7.9 % 2", u"1"},
        {u"-7 % -2", u"-1"},
        {u"7 % 0.5", u"Ошибка вычисления выражения (операция деления по модулю): деление на ноль"},
        {u"int(\"12abc\")", u"12"},
        {u"int(1e300)", u"-2147483648"},
        {u"real(\"3,14\")", u"3.14"},
        {u"real(\"1 000\")", u"1"},
        {u"real(\"1,2,3\")", u"1.2"},
    });
}

TEST(FormulaOperators, BooleansTextsAndVectors) {
    ExpectAll({
        {u"true xor true", u"false"},
        {u"false xor true", u"true"},
        {u"2 xor false", u"true"},
        {u"not \"true\"", u"false"},
        {u"not \"yes\"", u"true"},
        {u"not 65536", u"true"},
        {u"true or 1/0 = 1", u"Ошибка вычисления выражения (операция деления): деление на ноль"},
        {u"true - true", u"false"},
        {u"-true", u"false"},
        {u"vector(1,2,3) & \"x\"", u"{1; 2; 3}x"},
        {u"vector(2,4,6) / 2", u"{1; 2; 3}"},
        {u"vector(2,4,6) / 0", u"{inf; inf; inf}"},
        {u"vector(5,5,5) - vector(1,2,3)", u"{4; 3; 2}"},
        {u"vector(1,2,3) - 1", u"-1"},
        {u"vector(1,2,3) = vector(3,2,1)", u"false"},
        {u"vector(3,3,3) > vector(1,1,1)", u"true"},
        {u"\"abc\" & 1.5 & true & \"\"", u"abc1.5true"},
        {u"\"a\" < \"b\"", u"true"},
        {u"\"\" = 0", u"true"},
        {u"-ctime", u"Неправильный аргумент"},
        {u"ctime * ctime = ctime", u"true"}, // two dates: the left stays
        {u"ctime * 2 = ctime", u"false"},
        {u"string(totime(1.5) + totime(1.25))", u"1900-01-01 18:00"},
        {u"totime(1.5) + 1", u"2"}, // whole days: the date becomes an integer
    });
}

TEST(FormulaOperators, ReaderErrorsAndTheirPositions) {
    Evaluator e;
    struct Case {
        const char16_t* formula;
        const char16_t* text;
        int position;
    } cases[] = {
        {u"x[1)", u"Синтаксическая ошибка", 3},
        {u"sin(", u"Непарные скобки", 4},
        {u"case(1 when 1 then 2", u"Неправильный символ", 20},
        {u"case 1", u"Синтаксическая ошибка", 5},
        {u"instr(\"a\" \"b\")", u"Синтаксическая ошибка", 10},
        {u"if 1", u"Синтаксическая ошибка", 3},
        {u"1 = = 2", u"Синтаксическая ошибка", 4},
        {u"(1 + 2))", u"Непарные скобки", 7},
        {u"1 + (2 * 3", u"Непарные скобки", 10},
        {u"format()", u"Синтаксическая ошибка", 7},
        {u"vector(1, 2)", u"Синтаксическая ошибка", 11},
        {u"o.", u"Пропущен идентификатор", 2},
        {u"o. m", u"Пропущен идентификатор", 2},
        {u"x := ", u"Пропущен параметр", 4}, // trailing blanks are trimmed first
        {u"exists(x)", u"Неправильное использование идентификатора", 6},
        {u"1 {", u"Синтаксическая ошибка", 2},
        {u"a_b _", u"Синтаксическая ошибка", 5},
        {u"1 ::", u"Синтаксическая ошибка", 4},
        {u"formatList(\"1\", \",\", sortAsc, compactFull, \"-\", \", \", numSrchMiddle)",
         u"Неверное ключевое слово - ожидается numSrchFront, numSrchBack или numSrchNone", 65},
    };
    for (const Case& c : cases)
        EXPECT_EQ(Framed(c.text, 0, c.position), e.Eval(c.formula)) << CString(c.formula);
    // After an error the same compiler compiles again.
    EXPECT_EQ(CString(u"3"), e.Eval(u"1 + 2"));
    CFunctionCompiler reused;
    EXPECT_THROW(delete reused.Function(u"(1", nullptr), CSyntaxError);
    EXPECT_EQ(nullptr, reused.GetNameSpace());
    std::unique_ptr<CFunction> function(reused.Function(u"sin(0) + 1", nullptr));
    CString out;
    function->Count(out, nullptr);
    EXPECT_EQ(CString(u"1"), out);
}

TEST(FormulaOperators, StatementEndingInAConstruct) {
    ExpectAll({
        {u"if(1, 2, 3);/**/", u"2"},
        {u"if(0, 2, 3);/**/", u""}, // the last constant lost its value
        {u"1; if(0, 2, 3)", u"3"},
        {u"case(1 when 1 then 5);/**/", u"5"},
        {u"var x := 2;\nx := x * x;\nx", u"4"},
        {u"/* only a comment */", u""},
    });
}
