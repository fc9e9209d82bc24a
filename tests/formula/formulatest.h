// Compiles and evaluates formulas for the tests; failures come back as the
// message text so that one comparison checks the value or the error.
#pragma once

#include <memory>

#include <gtest/gtest.h>

#include "tarvex/formula/functioncompiler.h"

namespace formulatest {

// `Compiler` is the plain compiler or the element-bound one, whose words
// (script objects among them) some tests need.
template <class Compiler>
struct BasicEvaluator {
    CValueVariablesContainer vars;
    Compiler compiler;

    std::unique_ptr<CFunction> Compile(const char16_t* text) {
        compiler.InitCompiler();
        return std::unique_ptr<CFunction>(compiler.Function(text, &vars));
    }

    // The result as Count(CString&) gives it, or the error's message.
    CString Eval(const char16_t* text) {
        try {
            auto function = Compile(text);
            CString out;
            function->Count(out, &vars);
            return out;
        } catch (const CSyntaxError& e) {
            return e.GetMessageW();
        }
    }

    // The result as a variant; the caller clears it.
    VARIANT Value(const char16_t* text) {
        VARIANT out;
        VariantInit(&out);
        auto function = Compile(text);
        function->Count(out, &vars);
        return out;
    }

    void SetReal(const char16_t* name, double value) {
        VARIANT v;
        v.vt = VT_R8;
        v.dblVal = value;
        vars.SetValue(name, v);
    }

    // A compiled function run once more: its text result, or the error's message.
    static CString Run(CFunction& function, CVariablesContainerBase* variables) {
        try {
            CString out;
            function.Count(out, variables);
            return out;
        } catch (const CSyntaxError& e) {
            return e.GetMessageW();
        }
    }
};

using Evaluator = BasicEvaluator<CFunctionCompiler>;

// "Ошибка в выражении: "<text>" (строка <line>, позиция <position>)".
inline CString Framed(const char16_t* text, int line, int position) {
    CString s;
    s.Format(u"Ошибка в выражении: \"%s\" (строка %d, позиция %d)", text, line, position);
    return s;
}

} // namespace formulatest
