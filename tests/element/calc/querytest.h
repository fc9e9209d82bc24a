// A small plant tree for the structural query tests, and a shortcut that
// evaluates a formula on one of its elements.
#pragma once

#include <memory>

#include <gtest/gtest.h>

#include "tarvex/element/element.h"
#include "tarvex/formula/compiledfunction.h"

namespace querytest {

//  Root            R=1
//    Pipe          A=10 (comment "диаметр")
//      x           A=11
//      Труба       A=12
//      x           A=13
//      y           A=14
//    Valve         A=20
//    pipe          A=30
struct Tree {
    std::unique_ptr<CElement> root{new CElement(u"Root")};
    CElement* pipe;
    CElement* x1;
    CElement* tube;
    CElement* x2;
    CElement* y;
    CElement* valve;
    CElement* lowerPipe;

    Tree() {
        root->SetParameter(u"R", u"1");
        pipe = root->AddChild(u"Pipe");
        pipe->SetParameter(u"A", u"10", u"диаметр");
        x1 = pipe->AddChild(u"x");
        x1->SetParameter(u"A", u"11");
        tube = pipe->AddChild(u"Труба");
        tube->SetParameter(u"A", u"12");
        x2 = pipe->AddChild(u"x");
        x2->SetParameter(u"A", u"13");
        y = pipe->AddChild(u"y");
        y->SetParameter(u"A", u"14");
        valve = root->AddChild(u"Valve");
        valve->SetParameter(u"A", u"20");
        lowerPipe = root->AddChild(u"pipe");
        lowerPipe->SetParameter(u"A", u"30");
    }
};

// The result of `text` on `element`, or the error text.
inline CString Eval(const char16_t* text, CElement* element) {
    CString out, error;
    if (!CCompiledFunction::CountStrS(out, text, element, &error)) return error;
    return out;
}

// The keys of the variables `text` compiles to, joined by '|'.
inline CString Keys(const char16_t* text, CElement* element = nullptr) {
    CCompiledFunction function;
    if (!function.Initialize(text, element)) return u"error: " + function.GetLastError();
    CString keys;
    for (std::int64_t i = 0; i < function.GetVarsCount(); ++i) {
        if (i) keys += u'|';
        keys += function.GetVarName(i);
    }
    return keys;
}

// The compile error of `text`, or "" when it compiles.
inline CString CompileError(const char16_t* text, CElement* element = nullptr) {
    CCompiledFunction function;
    return function.Initialize(text, element) ? CString() : function.GetLastError();
}

inline CString Framed(const char16_t* text, int position) {
    CString s;
    s.Format(u"Ошибка в выражении: \"%s\" (строка %d, позиция %d)", text, 0, position);
    return s;
}

} // namespace querytest
