// Calculating the formulas of an element tree: one parameter on demand, or
// the whole tree in dependency order.
#include "tarvex/element/calc/elementcalc_internal.h"
#include "tarvex/element/element.h"
#include "tarvex/element/elementwalk_internal.h"
#include "tarvex/formula/compiledfunction.h"
#include "tarvex/platform/wide.h"

bool CElement::CalculateParameterValue(const CParam* param, CString& value, bool& isFormula,
                                       CFunctionComContext* context) {
    isFormula = true;
    if (!param) return false;
    int position = 0;
    const char16_t* text = param->m_strValueComment.GetString();
    if (param->m_strValueComment.IsEmpty() || !CParam::IsFormulaText(text, position)) return false;
    CCompiledFunction function;
    if (!function.Initialize(text + position, this)) {
        isFormula = false;
        value = function.GetLastError();
        return true;
    }
    function.SetParameters(this, nullptr, context);
    if (!function.CountStr(value)) isFormula = false;
    return true;
}

bool CElement::CalculateParameter(CParam* param, CFunctionComContext* context) {
    CString value;
    bool isFormula = true;
    if (!CalculateParameterValue(param, value, isFormula, context)) return true;
    param->m_strValue = std::move(value);
    return isFormula;
}

CParam* CElement::CalculateParameterCopy(const CParam* param, CFunctionComContext* context) {
    if (!param) return nullptr;
    CParam* copy = new CParam(*param);
    CalculateParameter(copy, context);
    return copy;
}

bool CElement::GetParameterValueEx(const char16_t* name, CString& value, bool calculate,
                                   CFunctionComContext* context) {
    const CParam* param = GetParameter(name);
    if (!param) return false;
    bool isFormula = true;
    if (calculate && CalculateParameterValue(param, value, isFormula, context)) return true;
    value = param->m_strValue;
    return true;
}

CString CElement::GetParameterValueEx(const char16_t* name, const char16_t* def, bool calculate,
                                      CFunctionComContext* context) {
    const CParam* param = GetParameter(name);
    if (!param) return CString(def);
    CString value;
    bool isFormula = true;
    if (calculate && CalculateParameterValue(param, value, isFormula, context))
        return isFormula ? value : CString(def);
    return param->m_strValue;
}

int CElement::GetParameterValueEx(const char16_t* name, int def, bool calculate,
                                  CFunctionComContext* context) {
    const CParam* param = GetParameter(name);
    if (!param) return def;
    CString value;
    bool isFormula = true;
    if (calculate && CalculateParameterValue(param, value, isFormula, context))
        return isFormula ? _wtoi(value.GetString()) : def;
    return _wtoi(param->m_strValue.GetString());
}

double CElement::GetParameterValueEx(const char16_t* name, double def, bool calculate,
                                     CFunctionComContext* context) {
    const CParam* param = GetParameter(name);
    if (!param) return def;
    CString value;
    bool isFormula = true;
    if (calculate && CalculateParameterValue(param, value, isFormula, context))
        return isFormula ? _wtof(value.GetString()) : def;
    return _wtof(param->m_strValue.GetString());
}

// ---------------------------------------------------------------------------

void CElement::CalculateParameters(CFunctionComContext* context) {
    if (context && !context->CanCalculate()) return;
    CalcList list;
    m_pRoot->PrepareToCalculate(list, context);
    if (list.GetLength() > 1) TopologicalSort(list);
    for (CParamCalcContext* calc : list) calc->Calculate(context);
    list.Flush();
    if (context) context->OnCalculationEnd();
}

void CElement::PrepareToCalculate(CalcList& list, CFunctionComContext* context) {
    ForEachPreOrder([&](CElement* element) {
        // Formulas do not add or remove parameters, so indexes stay valid.
        const int64_t count = element->GetParamsCount();
        for (int64_t i = 0; i < count; ++i)
            element->CollectCalcParameter(element->m_Params[i], list, context);
        return true;
    });
}

void CElement::CollectCalcParameter(CParam* param, CalcList& list, CFunctionComContext* context) {
    const char16_t* text = nullptr;
    if (!tarvex::elementcalc::FormulaOf(param, text)) return;
    CParamCalcContext* calc = new CParamCalcContext(this, param);
    calc->Init(text);
    InsertCalcContext(list, calc, context);
}

void CElement::InsertCalcContext(CalcList& list, CParamCalcContext* calc,
                                 CFunctionComContext* context) {
    if (!calc) return;
    if (calc->IsUsingCOMContext() && !tarvex::elementcalc::AdmitsObjectUse(context, *calc)) {
        delete calc;
        return;
    }
    if (!calc->IsIndependent()) {
        list.Add(calc);
        return;
    }
    calc->Calculate(context);
    delete calc;
}
