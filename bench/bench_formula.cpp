// The formula language against muparser, the standalone evaluator users
// compare it with: the same numeric expressions, the same variable values,
// compile and evaluation timed apart. Text expressions have no peer.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdio>
#include <memory>
#include <string>

#include <muParser.h>

#include "tarvex/formula/functioncompiler.h"
#include "tarvex/platform/codepage.h"

namespace {

struct Expression {
    const char16_t* tarvex;
    const char* muparser; // null: no peer
};

const Expression kExpressions[] = {
    {u"a*b+c", "a*b+c"},
    {u"a/((a+b)*(a-b))/b", "a/((a+b)*(a-b))/b"},
    {u"a+b*c-d/e", "a+b*c-d/e"},
    {u"(a+b)*(c-d)/(e+1)", "(a+b)*(c-d)/(e+1)"},
    {u"a*b*c*d*e", "a*b*c*d*e"},
    {u"(a+b+c+d+e)/5", "(a+b+c+d+e)/5"},
    {u"1.5*a+2.25*b-3.125*c+4*d", "1.5*a+2.25*b-3.125*c+4*d"},
    {u"a*(b+c*(d+e*(a+b*(c+d))))", "a*(b+c*(d+e*(a+b*(c+d))))"},
    {u"sin(a)*cos(b)+tan(c/10)", "sin(a)*cos(b)+tan(c/10)"},
    {u"sqrt(a*a+b*b)", "sqrt(a*a+b*b)"},
    {u"abs(a-b)*2.5", "abs(a-b)*2.5"},
    {u"exp(0-a/10)*c", "exp(0-a/10)*c"},
    {u"atan(a/b)*180/pi", "atan(a/b)*180/_pi"},
    {u"a^2+b^2", "a^2+b^2"},
    {u"sqrt(abs(sin(a)*cos(b)))+1", "sqrt(abs(sin(a)*cos(b)))+1"},
    {u"if(a>b, a-b, b-a)", "a>b ? a-b : b-a"},
    {u"if(a>0 and b<c, a*b, c)", "(a>0 && b<c) ? a*b : c"},
    {u"min(a, b, c)", "min(a, b, c)"},
    {u"max(a, b)*c", "max(a, b)*c"},
    {u"a<b or c>=d", "a<b || c>=d"},
    {u"log(a*b)+exp(c/d)", "ln(a*b)+exp(c/d)"},
    {u"a", "a"},
    {u"\"P-\" & string(a) & \"/\" & format(\"%.1f\", b)", nullptr},
    {u"ucase(s) like \"AB%\"", nullptr},
    {u"substr(s,1,3) & replace(s,\"a\",\"b\")", nullptr},
    {u"formatList(s, \",\", sortAsc, compactPartial, \"-\", \", \")", nullptr},
};

const char16_t* const kNames[] = {u"a", u"b", u"c", u"d", u"e"};
const double kValues[] = {1.1, 2.2, 3.3, 4.4, 5.5};

// The five numbers and a text, by index as the compiler assigns them.
struct Variables {
    CValueVariablesContainer container;
    std::int64_t a = -1;

    Variables() {
        VARIANT v;
        for (int i = 0; i < 5; ++i) {
            v.vt = VT_R8;
            v.dblVal = kValues[i];
            const std::int64_t index = container.SetValue(kNames[i], v);
            if (i == 0) a = index;
        }
        v.vt = VT_BSTR;
        v.bstrVal = SysAllocString(u"A1,A2,A3,ab5");
        container.SetValue(u"s", v);
        VariantClear(&v);
    }
};

struct Peer {
    mu::Parser parser;
    double values[5];

    explicit Peer(const char* text) {
        for (int i = 0; i < 5; ++i) {
            values[i] = kValues[i];
            parser.DefineVar(std::string(1, char('a' + i)), &values[i]);
        }
        parser.SetExpr(text);
    }
};

double AsNumber(const VARIANT& v) {
    if (v.vt == VT_BOOL) return v.boolVal ? 1.0 : 0.0;
    return CFunction::AsReal(v);
}

std::string Utf8(const char16_t* text) {
    return tarvex::ToUtf8(std::u16string_view(text));
}

void EvaluateTarvex(benchmark::State& state, const Expression* expression) {
    Variables vars;
    CFunctionCompiler compiler;
    std::unique_ptr<CFunction> function(compiler.Function(expression->tarvex, &vars.container));
    VARIANT out;
    VariantInit(&out);
    unsigned i = 0;
    for (auto _ : state) {
        vars.container.SetReal(vars.a, 1.1 + (i++ & 7) * 0.01);
        function->Count(out, &vars.container);
        benchmark::DoNotOptimize(out);
    }
    VariantClear(&out);
}

void EvaluateMuparser(benchmark::State& state, const Expression* expression) {
    Peer peer(expression->muparser);
    unsigned i = 0;
    for (auto _ : state) {
        peer.values[0] = 1.1 + (i++ & 7) * 0.01;
        benchmark::DoNotOptimize(peer.parser.Eval());
    }
}

// The first count is part of it, as muparser's first Eval is of its parse:
// both engines prepare their evaluation programs there.
void CompileTarvex(benchmark::State& state, const Expression* expression) {
    Variables vars;
    CFunctionCompiler compiler;
    VARIANT out;
    VariantInit(&out);
    for (auto _ : state) {
        CFunction* function = compiler.Function(expression->tarvex, &vars.container);
        function->Count(out, &vars.container);
        benchmark::DoNotOptimize(out);
        delete function;
    }
    VariantClear(&out);
}

void CompileMuparser(benchmark::State& state, const Expression* expression) {
    Peer peer(expression->muparser);
    for (auto _ : state) {
        peer.parser.SetExpr(expression->muparser);
        benchmark::DoNotOptimize(peer.parser.Eval()); // muparser parses on the first Eval
    }
}

// What `a^2+b^2` costs at the least when `^` is exp(log(x) * y): the four
// libm calls alone, for the residual of that expression against muparser's
// x*x.
void PowerFloor(benchmark::State& state) {
    double a = kValues[0], b = kValues[1];
    unsigned i = 0;
    for (auto _ : state) {
        a = 1.1 + (i++ & 7) * 0.01;
        benchmark::DoNotOptimize(a);
        benchmark::DoNotOptimize(b);
        benchmark::DoNotOptimize(std::exp(std::log(a) * 2.0) + std::exp(std::log(b) * 2.0));
    }
}

// Both engines must agree before their times mean anything.
bool Agree(const Expression& expression) {
    Variables vars;
    CFunctionCompiler compiler;
    std::unique_ptr<CFunction> function(compiler.Function(expression.tarvex, &vars.container));
    VARIANT out;
    VariantInit(&out);
    function->Count(out, &vars.container);
    const double ours = AsNumber(out);
    VariantClear(&out);
    Peer peer(expression.muparser);
    const double theirs = peer.parser.Eval();
    const bool agree = std::fabs(ours - theirs) <= 1e-12 * std::max(1.0, std::fabs(theirs));
    if (!agree)
        std::fprintf(stderr, "%s: tarvex %.17g, muparser %.17g\n", expression.muparser, ours,
                     theirs);
    return agree;
}

int Register() {
    for (const Expression& expression : kExpressions) {
        const std::string name = Utf8(expression.tarvex);
        if (expression.muparser && !Agree(expression)) continue;
        benchmark::RegisterBenchmark(("Eval/tarvex/" + name).c_str(), EvaluateTarvex, &expression);
        if (expression.muparser)
            benchmark::RegisterBenchmark(("Eval/muparser/" + name).c_str(), EvaluateMuparser,
                                         &expression);
        benchmark::RegisterBenchmark(("Compile/tarvex/" + name).c_str(), CompileTarvex,
                                     &expression);
        if (expression.muparser)
            benchmark::RegisterBenchmark(("Compile/muparser/" + name).c_str(), CompileMuparser,
                                         &expression);
    }
    benchmark::RegisterBenchmark("Eval/floor/a^2+b^2", PowerFloor);
    return 0;
}

const int registered = Register();

} // namespace
