// Printing compiled formulas back as text, and reading the print again.
#include <memory>
#include <unordered_map>

#include <gtest/gtest.h>

#include "formulatest.h"
#include "tarvex/formula/elementcompiler.h"
#include "tarvex/formula/reverseengeneer.h"

namespace {

struct Printer : formulatest::BasicEvaluator<qrksFunctionCompiler> {

    // The print, or the error's message.
    CString Print(const char16_t* text) {
        try {
            auto function = Compile(text);
            CFunctionReverseEngeneer printer;
            CString out;
            printer.ReverseEngeneer(function.get(), &vars, out);
            return out;
        } catch (const CSyntaxError& e) {
            return e.GetMessageW();
        }
    }
};

// A token list as text: tags, arguments, values, jumps as positions, and
// the bodies of `case`, so that two lists compare as strings.
CString Describe(const CFunction& function) {
    std::unordered_map<const CFunction::CToken*, int> positions;
    int n = 0;
    for (const CFunction::CToken* t = function.GetTokens().m_pFirst; t; t = t->m_pNext)
        positions[t] = n++;
    CString out;
    for (const CFunction::CToken* t = function.GetTokens().m_pFirst; t; t = t->m_pNext) {
        out.AppendFormat(u"%d/%d", int(t->m_nTag), int(t->m_nArg));
        if (const VARIANT* v = t->GetValue())
            out.AppendFormat(u"=%d:%s", int(v->vt), CFunction::AsString(*v));
        if (t->m_pJump) out.AppendFormat(u">%d", positions[t->m_pJump]);
        if (t->m_nTag == CFunction::ttCase) {
            const auto* select = static_cast<const CFunction::CSelectCaseToken*>(t);
            for (std::int64_t i = 0; i < select->m_Cases.GetLength(); ++i) {
                const CFunction::CCase* c = select->m_Cases[i];
                out += u"{";
                if (c->m_pWhen) out += Describe(*c->m_pWhen);
                out += u"|";
                out += Describe(*c->m_pResult);
                out += u"}";
            }
        }
        out += u" ";
    }
    return out;
}

const char16_t* const kNotImplemented = u"Возможность не реализована";

TEST(ReverseTranslation, OperatorsComeBackBracketedWithBlanks) {
    Printer p;
    EXPECT_EQ(p.Print(u"1+2*3"), u"(1 + (2 * 3))");
    EXPECT_EQ(p.Print(u"1-2-3"), u"((1 - 2) - 3)");
    EXPECT_EQ(p.Print(u"2^3^2"), u"((2 ^ 3) ^ 2)");
    EXPECT_EQ(p.Print(u"a & b \\ c"), u"(([A] & [B]) \\ [C])");
    EXPECT_EQ(p.Print(u"x % 2"), u"([X] * 2)");
    EXPECT_EQ(p.Print(u"a and b or c xor d"), u"((([A] and [B]) or [C]) xor [D])");
    EXPECT_EQ(p.Print(u"a = 1"), u"([A] = 1)");
    EXPECT_EQ(p.Print(u"a >= 1"), u"([A] >= 1)");
    EXPECT_EQ(p.Print(u"a like \"x%\""), u"([A] like \"x%\")");
}

TEST(ReverseTranslation, PrefixOperatorsBecomeCalls) {
    Printer p;
    EXPECT_EQ(p.Print(u"-x"), u"-([X])");
    EXPECT_EQ(p.Print(u"not a or b"), u"not(([A] or [B]))");
}

TEST(ReverseTranslation, ConstantsByType) {
    Printer p;
    EXPECT_EQ(p.Print(u"42"), u"42");
    EXPECT_EQ(p.Print(u"2.5"), u"2.5");
    EXPECT_EQ(p.Print(u"pi"), u"3.14159");
    EXPECT_EQ(p.Print(u"true"), u"true");
    EXPECT_EQ(p.Print(u"false"), u"false");
    // Control characters take their escapes; a quote is doubled.
    EXPECT_EQ(p.Print(u"\"a\\tb\\nc\\\"d\""), u"\"a\\tb\\nc\"\"d\"");
    // A date and a script object have no written form.
    EXPECT_EQ(p.Print(u"ctime"), u"?");
}

TEST(ReverseTranslation, FunctionsByArgumentCount) {
    Printer p;
    EXPECT_EQ(p.Print(u"sin(x)"), u"sin([X])");
    EXPECT_EQ(p.Print(u"vector(1, 2, 3)"), u"vector(1, 2, 3)");
    EXPECT_EQ(p.Print(u"vector(\"{1;2;3}\")"), u"vector(\"{1;2;3}\")");
    EXPECT_EQ(p.Print(u"instr(a, \"b\")"), u"instr([A], \"b\")");
    EXPECT_EQ(p.Print(u"substr(a, 1, 2)"), u"substr([A], 1, 2)");
    EXPECT_EQ(p.Print(u"perp(v)"), u"perp([V])");
    EXPECT_EQ(p.Print(u"dotProduct(v, w)"), u"dotProduct([V], [W])");
    EXPECT_EQ(p.Print(u"angle(v, w, u)"), u"angle([V], [W], [U])");
    EXPECT_EQ(p.Print(u"slope(v)"), u"slope([V])");
    // format is always printed with two arguments: the first is lost.
    EXPECT_EQ(p.Print(u"format(\"%d\", 1)"), u"format(\"%d\", 1)");
    EXPECT_EQ(p.Print(u"format(\"%d %d\", 1, 2)"), u"format(1, 2)");
}

TEST(ReverseTranslation, ConditionAndCase) {
    Printer p;
    EXPECT_EQ(p.Print(u"if(a, 1, 2)"), u"if([A], 1, 2)");
    EXPECT_EQ(p.Print(u"if(a, if(b, 1, 2), 3) + 4"), u"(if([A], if([B], 1, 2), 3) + 4)");
    EXPECT_EQ(p.Print(u"1 + if(a > 1, b * 2, -c)"), u"(1 + if(([A] > 1), ([B] * 2), -([C])))");
    EXPECT_EQ(p.Print(u"case(x when 1 then \"a\", when 2 then \"b\", else \"c\")"),
              u"case([X] when 1 then \"a\", when 2 then \"b\", else \"c\")");
}

TEST(ReverseTranslation, MembersSubscriptsAndObjects) {
    Printer p;
    EXPECT_EQ(p.Print(u"application.Run(1, \"a\")"), u"application.Run(1, \"a\")");
    EXPECT_EQ(p.Print(u"application.Name"), u"application.Name");
    EXPECT_EQ(p.Print(u"application.Items().Count"), u"application.Items().Count");
    EXPECT_EQ(p.Print(u"vector(1,2,3)[1 + 1]"), u"vector(1, 2, 3)[(1 + 1)]");
    EXPECT_EQ(p.Print(u"object"), u"object");
}

TEST(ReverseTranslation, StructuralVariablesKeepTheirKeys) {
    Printer p;
    EXPECT_EQ(p.Print(u"parent(\"x\").A + 1"), u"([@P\"X\"A] + 1)");
}

TEST(ReverseTranslation, UnprintableTokensSayNotImplemented) {
    Printer p;
    for (const char16_t* text :
         {u"1;2", u"var x := 1; x", u"min(1, 2)", u"max(1, 2)", u"split(\"a,b\", \",\")",
          u"totime(1.0)", u"datestr(ctime)", u"count(split(\"a\", \",\"), all)", u"1 + item"}) {
        SCOPED_TRACE(reinterpret_cast<const char*>(CString(text).GetString()));
        EXPECT_EQ(p.Print(text), kNotImplemented);
    }
    // A list that must begin with an operand and does not.
    EXPECT_EQ(p.Print(u"item"), u"Ошибка в последовательности операций");
}

TEST(ReverseTranslation, TokenNames) {
    CFunctionReverseEngeneer r;
    EXPECT_EQ(CString(r.GetTokenName(CFunction::ttModule)), u"*");
    EXPECT_EQ(CString(r.GetTokenName(CFunction::ttMethod)), u".");
    EXPECT_EQ(CString(r.GetTokenName(CFunction::ttSubscript)), u"[");
    EXPECT_EQ(CString(r.GetTokenName(CFunction::ttAssign)), u":=");
    EXPECT_EQ(CString(r.GetTokenName(CFunction::ttLocalDateTime)), u"localdatetime");
    for (int tag : {-1, 0, 1, 2, 12, 13, 43, 58, 69, 70, 82, 90, 94, 96, 97, 103, 1000}) {
        SCOPED_TRACE(tag);
        try {
            r.GetTokenName(CFunction::TTag(tag));
            ADD_FAILURE() << "no error";
        } catch (const CSyntaxError& e) {
            EXPECT_EQ(e.GetMessageW(), u"Ошибка в последовательности операций");
        }
    }
}

// A notation of its own: words in upper case and `!=` instead of `<>`.
class ShoutingPrinter : public CFunctionReverseEngeneer {
public:
    CString GetOperatorFormatString(CFunction::TTag tag, const char16_t* name) override {
        if (tag == CFunction::ttNotEqual) return CString(u"%s != %s");
        return CFunctionReverseEngeneer::GetOperatorFormatString(tag, name);
    }
    CString GetFunctionName(CFunction::TTag, const char16_t* name) override {
        CString upper(name);
        upper.MakeUpper();
        return upper;
    }
    void DoFormatVariable(const CString& name, std::int64_t, CString& out) override { out = name; }
};

TEST(ReverseTranslation, DerivedNotation) {
    Printer p;
    auto function = p.Compile(u"if(a <> 1, sin(b), 0)");
    ShoutingPrinter printer;
    CString out;
    printer.ReverseEngeneer(function.get(), &p.vars, out);
    EXPECT_EQ(out, u"IF(A != 1, SIN(B), 0)");
}

// Each print compiles back to the very token list of the original.
TEST(ReverseTranslation, PrintCompilesBackToTheSameTokens) {
    const char16_t* const corpus[] = {
        u"1+2*3",
        u"a - b - c",
        u"a * (b + c) / d ^ 2",
        u"\"a\" & b \\ \"c\"",
        u"-x + -(y * 2)",
        u"not a and b",
        u"a = 1 or b <> 2 xor c >= 3",
        u"a like \"%x%\"",
        u"if(a > 0, if(b, 1, 2), sin(c))",
        u"if(a, 1, 2) * if(b, 3, 4)",
        u"case(x when 1 then \"a\", when 2 then \"b\", else \"c\")",
        u"case(x + 1 when y then if(z, 1, 2))",
        u"int(a) + real(b) & string(c)",
        u"sqrt(sqr(a)) + abs(-b) + exp(log(c))",
        u"length(ucase(lcase(a))) + instr(a, \"x\")",
        u"substr(a, 1, 2) & replace(a, \"x\", \"y\") & wrap(a, \"(\", \")\")",
        u"plainText(a) & isset(b)",
        u"vector(1, 2, 3)",
        u"normal(vector(1, 2, 3))",
        u"perp(v) + dotProduct(v, w) + distance(v, w)",
        u"angle(v, w) + slope(v) + scale(v, 2)",
        u"rotate(v, 90, w)",
        u"format(\"%d\", a)",
        u"application.Run(1, a).Count",
        u"vector(1, 2, 3)[a]",
        u"parent(\"x\").A + child(2).B",
    };
    for (const char16_t* text : corpus) {
        SCOPED_TRACE(testing::Message() << "formula #" << (&text - corpus));
        Printer p;
        auto original = p.Compile(text);
        CFunctionReverseEngeneer printer;
        CString printed;
        ASSERT_NO_THROW(printer.ReverseEngeneer(original.get(), &p.vars, printed));
        std::unique_ptr<CFunction> again;
        ASSERT_NO_THROW(again = p.Compile(printed));
        EXPECT_EQ(Describe(*again), Describe(*original));
        CString twice;
        printer.ReverseEngeneer(again.get(), &p.vars, twice);
        EXPECT_EQ(twice, printed);
    }
}

TEST(StructQueryReverse, StepsBecomeWords) {
    struct Case {
        const char16_t* key;
        const char16_t* text;
        const char16_t* name;
    };
    const Case cases[] = {
        {u"@P\"x\"@F(1)A", u"parent(\"x\").child(2)", u"A"},
        {u"@PA", u"parent", u"A"},
        {u"@P(2)A", u"parent(3)", u"A"},
        {u"@L\"y\"(3)@B@A(1)B", u"lastChild(\"y\").previous.next(2)", u"B"},
        {u"@R@F@@NAME", u"root.child", u"@NAME"},
        {u"@C@P@?A", u"current.parent", u"A"},
    };
    for (const Case& c : cases) {
        CStructQueryReverseEngeneer q;
        VARIANT name;
        VariantInit(&name);
        bool comment = false;
        q.QueryParameter(c.key, name, comment);
        EXPECT_EQ(q.GetText(), c.text);
        ASSERT_EQ(name.vt, VT_BSTR);
        EXPECT_EQ(CString(name.bstrVal), c.name);
        VariantClear(&name);
    }
}

} // namespace
