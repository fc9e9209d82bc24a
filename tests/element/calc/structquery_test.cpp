// Structural steps from formulas: the query texts the compiler builds, how
// each step walks the tree, and the errors of malformed steps.
#include "tests/element/calc/querytest.h"

#include "tarvex/formula/structquery.h"

using querytest::CompileError;
using querytest::Eval;
using querytest::Framed;
using querytest::Keys;
using querytest::Tree;

TEST(StructQueryText, StepsCompileToUpperCasedZeroBasedKeys) {
    EXPECT_EQ(CString(u"@PNAME1"), Keys(u"parent.NAME1"));
    EXPECT_EQ(CString(u"@P\"X\"A"), Keys(u"parent(\"x\").A"));
    EXPECT_EQ(CString(u"@F(0)A"), Keys(u"child(1).A"));
    EXPECT_EQ(CString(u"@F\"X\"(1)A"), Keys(u"child(\"x\", 2).A"));
    EXPECT_EQ(CString(u"@P@F(1)A"), Keys(u"parent.child(2).#A"));
    EXPECT_EQ(CString(u"@R@@NAME"), Keys(u"root.name"));
    EXPECT_EQ(CString(u"@?A"), Keys(u"comment(A)"));
    EXPECT_EQ(CString(u"@L(2)B|@B\"Y\"C|@AD|@CE"),
              Keys(u"childLast(3).B & previous(\"y\").C & next.D & current.E"));
    // A word of the language's own table is a parameter name after a step.
    EXPECT_EQ(CString(u"@PSIN|@FIF"), Keys(u"parent.sin + child.if"));
    EXPECT_EQ(CString(u"@PMY NAME"), Keys(u"parent.[ my name ]"));
    // Counts keep their full range.
    EXPECT_EQ(CString(u"@F(2147483646)A"), Keys(u"child(2147483647).A"));
}

TEST(StructQueryText, TypePrefixesAndBracketNames) {
    CCompiledFunction f;
    ASSERT_TRUE(f.Initialize(u"#A + $B + [C D] + [ C D ] + parent.$E", nullptr));
    ASSERT_EQ(4, f.GetVarsCount());
    EXPECT_EQ(VT_R8, f.GetVariables().GetVarType(std::int64_t(0)));
    EXPECT_EQ(VT_BSTR, f.GetVariables().GetVarType(std::int64_t(1)));
    EXPECT_EQ(CString(u"C D"), f.GetVarName(2));
    EXPECT_EQ(CString(u"@PE"), f.GetVarName(3));

    // A later plain mention takes the typed slot; a typed one after a plain
    // mention (or of the other type) is a redefinition.
    EXPECT_EQ(CString(), CompileError(u"#A + A"));
    EXPECT_EQ(CString(), CompileError(u"parent.#A + parent.A"));
    // Reported where the second mention ends.
    EXPECT_EQ(Framed(u"Переопределение типа параметра \"A\" недопустимо.", 7),
              CompileError(u"#A + $A"));
    EXPECT_EQ(Framed(u"Переопределение типа параметра \"A\" недопустимо.", 6),
              CompileError(u"A + #A"));
    EXPECT_NE(CString(), CompileError(u"parent.A + parent.#A"));
}

TEST(StructQueryText, MalformedStepsGiveTheirErrorsAndPositions) {
    EXPECT_EQ(Framed(u"Аргумент должен быть больше нуля", 7), CompileError(u"child(0).A"));
    EXPECT_EQ(Framed(u"Аргумент должен быть больше нуля", 8), CompileError(u"child(-1).A"));
    EXPECT_EQ(Framed(u"Неправильный символ", 7), CompileError(u"current(1).A"));
    EXPECT_EQ(Framed(u"Неправильный символ", 4), CompileError(u"root(1).A"));
    EXPECT_EQ(Framed(u"Синтаксическая ошибка", 11), CompileError(u"parent(\"x\" 1).A"));
    EXPECT_EQ(Framed(u"Синтаксическая ошибка", 7), CompileError(u"parent().A"));
    EXPECT_EQ(Framed(u"Синтаксическая ошибка", 11), CompileError(u"parent(\"x\",).A"));
    EXPECT_EQ(Framed(u"Неправильный символ", 9), CompileError(u"child(1.5).A"));
    EXPECT_EQ(Framed(u"Неправильный символ", 7), CompileError(u"parent(x).A"));
    EXPECT_EQ(Framed(u"Неправильный символ", 7), CompileError(u"parent A"));
    EXPECT_EQ(Framed(u"Неправильный символ", 7), CompileError(u"parent.+"));
    EXPECT_EQ(Framed(u"Неправильное использование идентификатора", 12),
              CompileError(u"parent.level"));
    EXPECT_EQ(Framed(u"Неправильное использование идентификатора", 13),
              CompileError(u"parent.#level"));
    EXPECT_EQ(CString(), CompileError(u"parent.#sin"));
    EXPECT_EQ(Framed(u"Пропущена \"(\"", 8), CompileError(u"comment A"));
    EXPECT_EQ(Framed(u"Непарные скобки", 9), CompileError(u"comment(A"));
    // After an operand the element compiler says a parameter is missing.
    EXPECT_EQ(Framed(u"Пропущен параметр", 3), CompileError(u"A B"));
    EXPECT_EQ(Framed(u"Пропущен параметр", 6), CompileError(u"A name"));
    EXPECT_EQ(Framed(u"Синтаксическая ошибка", 2), CompileError(u"[A"));
    EXPECT_EQ(Framed(u"Неправильный символ", 2), CompileError(u"[A\x01]"));
    // `element` needs an element to bind to.
    EXPECT_EQ(Framed(u"Контекст не определен", 7), CompileError(u"element.A"));
}

TEST(StructQuerySteps, ParentCountsAndNames) {
    Tree t;
    EXPECT_EQ(CString(u"10"), Eval(u"parent.A", t.x1));
    EXPECT_EQ(CString(u"1"), Eval(u"parent(2).R", t.x1));
    EXPECT_EQ(CString(u"10"), Eval(u"parent(\"PIPE\").A", t.x1));
    EXPECT_EQ(CString(u"1"), Eval(u"parent(\"root\").R", t.x1));
    EXPECT_EQ(CString(), Eval(u"parent(\"Valve\").A", t.x1));
    EXPECT_EQ(CString(), Eval(u"parent(3).A", t.x1));
    EXPECT_EQ(CString(), Eval(u"parent(2147483647).A", t.x1));
    // No parent: "" as text, 0 when typed.
    EXPECT_EQ(CString(), Eval(u"parent.A", t.root.get()));
    EXPECT_EQ(CString(u"1"), Eval(u"parent.#A + 1", t.root.get()));
}

TEST(StructQuerySteps, ParentWithNameAndCountSkipsOtherAncestors) {
    CElement root(u"a");
    CElement* b = root.AddChild(u"b");
    CElement* a = b->AddChild(u"A");
    CElement* c = a->AddChild(u"c");
    root.SetParameter(u"V", u"top");
    a->SetParameter(u"V", u"near");
    EXPECT_EQ(CString(u"near"), Eval(u"parent(\"a\").V", c));
    EXPECT_EQ(CString(u"top"), Eval(u"parent(\"a\", 2).V", c));
    EXPECT_EQ(CString(), Eval(u"parent(\"a\", 3).V", c));
}

TEST(StructQuerySteps, ChildAndChildLastByCountAndName) {
    Tree t;
    EXPECT_EQ(CString(u"11"), Eval(u"child.A", t.pipe));
    EXPECT_EQ(CString(u"12"), Eval(u"child(2).A", t.pipe));
    EXPECT_EQ(CString(u"13"), Eval(u"child(\"X\", 2).A", t.pipe));
    EXPECT_EQ(CString(u"12"), Eval(u"child(\"ТРУБА\").A", t.pipe)); // Cyrillic folds
    EXPECT_EQ(CString(), Eval(u"child(5).A", t.pipe));
    EXPECT_EQ(CString(), Eval(u"child(2147483647).A", t.pipe));
    EXPECT_EQ(CString(), Eval(u"child.A", t.y));
    EXPECT_EQ(CString(u"14"), Eval(u"childLast.A", t.pipe));
    EXPECT_EQ(CString(u"13"), Eval(u"childLast(2).A", t.pipe));
    EXPECT_EQ(CString(u"13"), Eval(u"childLast(\"x\").A", t.pipe));
    EXPECT_EQ(CString(u"11"), Eval(u"childLast(\"x\", 2).A", t.pipe));
    EXPECT_EQ(CString(), Eval(u"childLast(\"x\", 3).A", t.pipe));
    EXPECT_EQ(CString(), Eval(u"childLast(2147483647).A", t.pipe));
    EXPECT_EQ(CString(u"13"), Eval(u"parent.child(3).A", t.x1));
    EXPECT_EQ(CString(u"30"), Eval(u"root.child(\"pipe\", 2).A", t.y));
}

TEST(StructQuerySteps, SiblingsSearchRatherThanTakeTheNeighbour) {
    Tree t;
    EXPECT_EQ(CString(u"12"), Eval(u"next.A", t.x1));
    EXPECT_EQ(CString(u"13"), Eval(u"next(\"x\").A", t.x1));
    EXPECT_EQ(CString(u"14"), Eval(u"next(2).A", t.tube));
    EXPECT_EQ(CString(u"11"), Eval(u"previous(\"x\").A", t.x2));
    EXPECT_EQ(CString(u"12"), Eval(u"previous.A", t.x2));
    EXPECT_EQ(CString(), Eval(u"previous.A", t.x1));
    EXPECT_EQ(CString(), Eval(u"previous(\"y\").A", t.x2));
    EXPECT_EQ(CString(), Eval(u"next.A", t.y));
    EXPECT_EQ(CString(), Eval(u"next.A", t.root.get()));
    EXPECT_EQ(CString(u"30"), Eval(u"parent.next(\"PIPE\").A", t.x1));
}

TEST(StructQuerySteps, SystemValuesNamesAndComments) {
    Tree t;
    EXPECT_EQ(CString(u"Root"), Eval(u"root.name", t.y));
    EXPECT_EQ(CString(u"Pipe"), Eval(u"parent.name", t.y));
    EXPECT_EQ(CString(u"y/2"), Eval(u"name & \"/\" & level", t.y));
    EXPECT_EQ(CString(u"5"), Eval(u"elementid", t.y));
    EXPECT_EQ(CString(u"диаметр"), Eval(u"comment(A)", t.pipe));
    EXPECT_EQ(CString(u"диаметр"), Eval(u"parent.comment(A)", t.x1));
    EXPECT_EQ(CString(), Eval(u"comment(A)", t.x1));
    EXPECT_EQ(CString(u"x"), Eval(u"current.name", t.x1));
    EXPECT_EQ(CString(u"1"), Eval(u"current.root.R", t.x1));
}

TEST(StructQueryWalker, ExtractParamNamePassesStepsAndFilters) {
    EXPECT_EQ(CString(u"A"), CStructQuery::ExtractParamName(u"@P\"X\"(1)@F(0)A", false));
    EXPECT_EQ(CString(u"@?A"), CStructQuery::ExtractParamName(u"@P@?A", true));
    EXPECT_EQ(CString(u"A"), CStructQuery::ExtractParamName(u"@P@?A", false));
    EXPECT_EQ(CString(u"PLAIN"), CStructQuery::ExtractParamName(u"PLAIN", false));
    EXPECT_EQ(CString(u"@P@"), CStructQuery::ExtractParamName(u"@P@", false));
    EXPECT_EQ(CString(u"@P\"X"), CStructQuery::ExtractParamName(u"@P\"X", false));
}

TEST(StructQueryWalker, MalformedQueryTextsFindNothing) {
    Tree t;
    for (const char16_t* key : {u"@P\"x", u"@F(1x)A", u"@@", u"@", u"@F(", u"@Z", u"@L\"\"A",
                                u"@B(99999999999999)A", u"@C@R@C", u"@?"}) {
        CString text;
        CElement* owner = t.x1;
        EXPECT_EQ(nullptr, ResolveStructuralKey(t.x1, key, text, &owner)) << CString(key);
        EXPECT_EQ(CString(), text) << CString(key);
    }
}
