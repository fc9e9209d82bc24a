#include "tarvex/formula/compiledfunction.h"

#include <vector>

#include "tarvex/element/element.h"
#include "tarvex/platform/casemap.h"

CCompiledFunction::CCompiledFunction() = default;

CCompiledFunction::CCompiledFunction(const char16_t* text) {
    Initialize(text, nullptr);
}

CCompiledFunction::~CCompiledFunction() {
    delete m_pFunction;
}

bool CCompiledFunction::Initialize(const char16_t* text, CElement* element) {
    delete m_pFunction;
    m_pFunction = nullptr;
    m_Variables.Flush();
    m_StdVars.clear();
    if (!text || !text[0]) return true;
    try {
        m_pFunction = m_Compiler.Function(text, &m_Variables, element);
    } catch (const CSyntaxError& e) {
        m_strLastError = e.GetMessageW();
        return false;
    } catch (...) {
        return false;
    }
    if (m_pFunction->IsEmpty()) {
        delete m_pFunction;
        m_pFunction = nullptr;
    }
    return true;
}

void CCompiledFunction::AddNames(NameArray& names, bool original) {
    const std::int64_t count = m_Variables.GetVarsCount();
    for (std::int64_t i = 0; i < count; ++i) {
        const CString key = m_Variables.GetVarName(i);
        if (key.IsEmpty() || StdVarOfKey(key)) continue;
        names.Add(new CString(original ? m_Variables.GetVarNameOriginal(i) : key));
    }
}

void CCompiledFunction::GetRequiredParameters(NameArray& names) {
    AddNames(names, false);
}

void CCompiledFunction::GetOriginalParamNames(NameArray& names) {
    AddNames(names, true);
}

std::int64_t CCompiledFunction::StdVarSlot(EStdVar var) const {
    const auto hit = m_StdVars.find(var);
    return hit == m_StdVars.end() ? -1 : hit->second;
}

void CCompiledFunction::SetStdVar(EStdVar var, const char16_t* value) {
    const std::int64_t slot = StdVarSlot(var);
    if (slot >= 0) m_Variables.SetVarValue(slot, value);
}

void CCompiledFunction::SetStdVar(EStdVar var, int value) {
    const std::int64_t slot = StdVarSlot(var);
    if (slot >= 0) m_Variables.SetVarValue(slot, value);
}

void CCompiledFunction::SetStdVar(EStdVar var, double value) {
    const std::int64_t slot = StdVarSlot(var);
    if (slot >= 0) m_Variables.SetVarValue(slot, value);
}

void CCompiledFunction::SetStdVar(EStdVar var, IDispatch* value) {
    const std::int64_t slot = StdVarSlot(var);
    if (slot < 0) return;
    VARIANT v;
    v.vt = VT_DISPATCH;
    v.pdispVal = value;
    m_Variables.SetVarValue(slot, v); // the copy takes its own reference
}

void CCompiledFunction::SetElementStdVars(const CElement* element) {
    if (!element || m_StdVars.empty()) return;
    SetName(element->GetName());
    SetLevel(element->GetLevel());
    SetElementId(element->GetId());
}

void CCompiledFunction::InitVariables(const CParamsOwner* owner, const StdVarTexts* values) {
    m_Variables.SetVarValues(owner, &m_StdVars, 0, nullptr, nullptr);
    if (!values) return;
    for (const auto& [var, slot] : m_StdVars) {
        const auto hit = values->find(var);
        if (hit != values->end()) m_Variables.StoreText(slot, hit->second);
    }
}

void CCompiledFunction::SetParameters(const CParamsOwner* owner, const CElement* element,
                                      qrksVariablesContainer::MissingCallback callback,
                                      void* data) {
    m_Variables.SetVarValues(owner, &m_StdVars, 0, callback, data);
    SetElementStdVars(element);
}

void CCompiledFunction::SetComContext(const CFunction::CComContext* context, CElement* element) {
    if (m_pFunction && context) context->Bind(*m_pFunction, element);
}

void CCompiledFunction::SetParameters(CElement* element, CElement* other,
                                      CFunction::CComContext* context) {
    SetComContext(context, element);
    const bool fallback = context && context->m_pFallback;
    NameArray missing;
    std::vector<std::int64_t> missingSlots;
    m_Variables.InitVarsVector();
    m_StdVars.clear();
    ChildIndexCache siblings;
    CString text;
    const std::int64_t count = m_Variables.GetVarsCount();
    for (std::int64_t i = 0; i < count; ++i) {
        const CString key = m_Variables.GetVarName(i);
        if (key.IsEmpty()) continue;
        if (const int var = StdVarOfKey(key)) {
            m_StdVars[var] = i;
            continue;
        }
        if (key[0] == u'@') {
            // The same resolution as every other reader of structural keys.
            ResolveStructuralKey(element, key.GetString(), text, nullptr, &siblings);
            m_Variables.StoreText(i, text);
            continue;
        }
        const CParam* param = element ? element->GetParameter(key.GetString()) : nullptr;
        if (!param && other) param = other->GetParameter(key.GetString());
        if (param) {
            m_Variables.StoreText(i, param->m_strValue);
        } else if (fallback) {
            missing.Add(new CString(key));
            missingSlots.push_back(i);
        }
    }
    if (fallback && missing.GetLength()) {
        CParamsOwner supplied;
        context->m_pFallback(element, context->m_pData, missing, supplied);
        for (std::size_t n = 0; n < missingSlots.size(); ++n) {
            const std::int64_t slot = missingSlots[n];
            if (const CParam* param =
                    supplied.GetParameter(m_Variables.GetVarName(slot).GetString()))
                m_Variables.StoreText(slot, param->m_strValue);
        }
    }
    SetElementStdVars(element);
}

int CCompiledFunction::CountStr(CString& out) {
    if (!m_pFunction) {
        out = m_strLastError;
        return 0;
    }
    try {
        m_pFunction->Count(out, &m_Variables);
        return 1;
    } catch (const CSyntaxError& e) {
        m_strLastError = e.GetMessageW();
        out.Format(u"Ошибка при вычислении формулы: %s.", m_strLastError.GetString());
    } catch (...) {
        out = u"Ошибка при вычислении формулы (неопознанная).";
    }
    return 0;
}

int CCompiledFunction::CountVar(VARIANT& out) {
    VariantClear(&out);
    if (!m_pFunction) return 0;
    try {
        m_pFunction->Count(out, &m_Variables);
        return 1;
    } catch (const CSyntaxError& e) {
        m_strLastError = e.GetMessageW();
    } catch (...) {
    }
    VariantClear(&out);
    return 0;
}

int CCompiledFunction::CountBool(bool& out) {
    out = false;
    VARIANT value;
    VariantInit(&value);
    if (!CountVar(value)) return 0;
    switch (value.vt) {
    case VT_I2:
    case VT_BOOL:
    case VT_UI2:
        out = value.uiVal != 0;
        break;
    case VT_I4:
    case VT_UI4:
        out = value.ulVal != 0;
        break;
    case VT_R4:
        out = value.fltVal != 0;
        break;
    case VT_R8:
        out = value.dblVal != 0;
        break;
    case VT_BSTR:
        out = value.bstrVal && _wcsicmp(value.bstrVal, u"true") == 0;
        break;
    default:
        break;
    }
    VariantClear(&value);
    return 1;
}

int CCompiledFunction::CountStr(CString& out, const CParamsOwner* owner,
                                const StdVarTexts* values) {
    if (m_pFunction) {
        InitVariables(owner, values);
        if (CountStr(out)) return 1;
    }
    out = m_strLastError;
    return 0;
}

int CCompiledFunction::CountStrS(CString& out, const char16_t* text, CElement* element,
                                 CString* error, CFunction::CComContext* context) {
    CCompiledFunction function;
    out.Empty();
    bool ok = function.Initialize(text, nullptr);
    if (ok && function.m_pFunction) {
        function.SetParameters(element, nullptr, context);
        ok = function.CountStr(out) == 1;
    }
    if (!ok && error) *error = function.m_strLastError;
    return ok ? 1 : 0;
}

int CCompiledFunction::CountBoolS(bool& out, const char16_t* text, CElement* element,
                                  CString* error, CFunction::CComContext* context) {
    CCompiledFunction function;
    out = false;
    bool ok = function.Initialize(text, nullptr);
    if (ok && function.m_pFunction) {
        function.SetParameters(element, nullptr, context);
        ok = function.CountBool(out) == 1;
    }
    if (!ok && error) *error = function.m_strLastError;
    return ok ? 1 : 0;
}

// ---------------------------------------------------------------------------

void CollectFormulaDependencies(CCompiledFunction& function, CElement* element,
                                std::set<const CParam*>& found) {
    if (!element) return;
    CCompiledFunction::NameArray names;
    function.GetRequiredParameters(names);
    ChildIndexCache siblings;
    CString text;
    for (std::int64_t i = 0; i < names.GetLength(); ++i) {
        const CString& name = *names[i];
        const CParam* param = name[0] == u'@' ? ResolveStructuralKey(element, name.GetString(),
                                                                     text, nullptr, &siblings)
                                              : element->GetParameter(name.GetString());
        int position = 0;
        if (param && CParam::IsFormulaText(param->m_strValueComment.GetString(), position))
            found.insert(param);
    }
}

bool CParamCalcContext::Init(const char16_t* text) {
    m_Dependencies.clear();
    m_bInitialised = m_Function.Initialize(text, m_pElement);
    if (m_bInitialised) CollectFormulaDependencies(m_Function, m_pElement, m_Dependencies);
    return m_bInitialised;
}

bool CParamCalcContext::Calculate(CFunction::CComContext* context) {
    if (!m_pParam) return true;
    if (!m_bInitialised) {
        m_pParam->m_strValue = m_Function.GetLastError();
        return true;
    }
    m_Function.SetParameters(m_pElement, nullptr, context);
    CString result;
    if (m_Function.CountStr(result))
        m_pParam->m_strValue = result;
    else
        m_pParam->m_strValue = m_Function.GetLastError();
    // A context may live for many runs; the stack is needed only during one.
    m_Function.ReleaseStack();
    return true;
}
