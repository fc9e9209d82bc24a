// Helpers shared by the calculation of element trees and its session.
#pragma once

#include "tarvex/element/param.h"
#include "tarvex/formula/compiledfunction.h"

namespace tarvex::elementcalc {

// The formula text after the '=' of a parameter's value comment; false
// when the parameter holds no formula.
inline bool FormulaOf(const CParam* param, const char16_t*& text) {
    if (!param || param->m_strValueComment.IsEmpty()) return false;
    int position = 0;
    const char16_t* comment = param->m_strValueComment.GetString();
    if (!CParam::IsFormulaText(comment, position)) return false;
    text = comment + position;
    return true;
}

// Whether a formula that uses `object` may run under `context`: never
// without one, nor when the context rules such use out or refuses it.
inline bool AdmitsObjectUse(CFunctionComContext* context, const CParamCalcContext& calc) {
    return context && context->IsObjectUseAllowed() &&
           context->AcceptCalculation(calc.GetElement(), calc.GetParameter());
}

} // namespace tarvex::elementcalc
