// CCompiledFunction: a formula as the rest of the library sees it, compiled
// once against an element, then filled and computed any number of times.
// CParamCalcContext ties one such formula to one parameter of one element.
//
//   CCompiledFunction f;
//   if (f.Initialize(u"parent.A * 2", element)) {
//       f.SetParameters(element);
//       f.CountStr(text);      // the value, or the error as text
//   }
//
// Errors never leave these classes: they come back as false or 0, with the
// message in GetLastError.
#pragma once

#include <cstdint>
#include <memory>
#include <set>
#include <unordered_map>

#include "tarvex/core/indirectarray.h"
#include "tarvex/formula/elementcompiler.h"
#include "tarvex/formula/elementvariables.h"

class CElement;
class CParam;
class CParamsOwner;

class CCompiledFunction : public CTarvexObject {
public:
    using NameArray = CIndirectArray<CString>;
    // Per-run values of system variables, by EStdVar.
    using StdVarTexts = std::unordered_map<int, CString>;

    CCompiledFunction();
    explicit CCompiledFunction(const char16_t* text);
    CCompiledFunction(const CCompiledFunction&) = delete;
    CCompiledFunction& operator=(const CCompiledFunction&) = delete;
    ~CCompiledFunction() override;

    // Compiles `text` against `element` (which may be null). An empty text
    // is a valid formula with no function. False with GetLastError on a
    // syntax error; the compiler is then spent.
    bool Initialize(const char16_t* text, CElement* element);

    bool IsNull() const { return m_pFunction == nullptr; }
    bool IsConst() { return m_Variables.GetVarsCount() == 0; }
    bool IsSingleVar() {
        return m_Variables.GetVarsCount() == 1 && m_pFunction && m_pFunction->IsSingleVar();
    }
    bool IsUsingCOMContext() const { return m_pFunction && m_pFunction->UsesObject(); }
    std::int64_t GetVarsCount() { return m_Variables.GetVarsCount(); }
    CString GetVarName(std::int64_t index) { return m_Variables.GetVarName(index); }
    const CString& GetLastError() const { return m_strLastError; }
    CFunction* GetFunction() const { return m_pFunction; }
    qrksVariablesContainer& GetVariables() { return m_Variables; }

    // The keys of the variables the formula reads, in index order, without
    // the system values; structural queries are given as their query text.
    void GetRequiredParameters(NameArray& names);
    // The same with each name as first written.
    void GetOriginalParamNames(NameArray& names);

    void InitVarsVector() { m_Variables.InitVarsVector(); }
    // Values from a plain owner, then the system values given in `values`.
    void InitVariables(const CParamsOwner* owner, const StdVarTexts* values);
    // Values from a plain owner; with an element, its name, level and id.
    void SetParameters(const CParamsOwner* owner, const CElement* element,
                       qrksVariablesContainer::MissingCallback callback, void* data);
    // Values for a run on `element`: each plain name from the element itself
    // (then from `other`, if given), each query through the structural
    // resolver, and the element's name, level and id. With a context, the
    // function is pointed at its object, and names found nowhere go to its
    // fallback. A plain name found nowhere leaves its value empty.
    void SetParameters(CElement* element, CElement* other = nullptr,
                       CFunction::CComContext* context = nullptr);
    // Points the function at the object the context gives for `element`.
    void SetComContext(const CFunction::CComContext* context, CElement* element);

    void SetStdVar(EStdVar var, const char16_t* value);
    void SetStdVar(EStdVar var, int value);
    void SetStdVar(EStdVar var, double value);
    void SetStdVar(EStdVar var, IDispatch* value);
    void SetName(const char16_t* name) { SetStdVar(esvName, name); }
    void SetDescription(const char16_t* text) { SetStdVar(esvDescription, text); }
    void SetGrip(const char16_t* grip) { SetStdVar(esvGrip, grip); }
    void SetGrip(double grip) { SetStdVar(esvGrip, grip); }
    void SetGrip(IDispatch* grip) { SetStdVar(esvGrip, grip); }
    void SetType(const char16_t* type) { SetStdVar(esvType, type); }
    void SetLevel(int level) { SetStdVar(esvLevel, level); }
    void SetElementId(int id) { SetStdVar(esvElementId, id); }

    void SetThisFunctionObject(TXFunctionObjects::CFunctionObjectBase* object) {
        m_Compiler.SetThisFunctionObject(object);
    }
    TXFunctionObjects::CFunctionObjectBase* GetThisFunctionObject() const {
        return m_Compiler.GetThisFunctionObject();
    }

    // 1 with the result; 0 with an error text in `out`.
    int CountStr(CString& out);
    // 1 with the value; 0 with `out` cleared.
    int CountVar(VARIANT& out);
    // Numbers are true when not 0, texts when "true" in any case.
    int CountBool(bool& out);
    // InitVariables then CountStr; with no function, or on failure, `out`
    // is the last error.
    int CountStr(CString& out, const CParamsOwner* owner, const StdVarTexts* values);

    // One-off evaluation of `text` on `element`. 1 on success; otherwise 0
    // and `error`, if given, gets the message.
    static int CountStrS(CString& out, const char16_t* text, CElement* element,
                         CString* error = nullptr, CFunction::CComContext* context = nullptr);
    static int CountBoolS(bool& out, const char16_t* text, CElement* element,
                          CString* error = nullptr, CFunction::CComContext* context = nullptr);
    // Frees the evaluation stack until the next count.
    void ReleaseStack() {
        if (m_pFunction) m_pFunction->ReleaseStack();
    }

private:
    void SetElementStdVars(const CElement* element);
    std::int64_t StdVarSlot(EStdVar var) const;
    void AddNames(NameArray& names, bool original);

    CString m_strLastError;
    qrksVariablesContainer m_Variables;
    CFunction* m_pFunction = nullptr;
    qrksFunctionCompiler m_Compiler;
    StdVarMap m_StdVars;
};

// The parameters a compiled formula reads on `element`: plain names on the
// element itself, queries through the structural resolver. Only parameters
// that hold formulas themselves are added, since only they can change
// during a calculation.
void CollectFormulaDependencies(CCompiledFunction& function, CElement* element,
                                std::set<const CParam*>& found);

class CParamCalcContext : public CTarvexObject {
public:
    CParamCalcContext(CElement* element, CParam* param) : m_pElement(element), m_pParam(param) {}

    // Compiles `text` against the element and collects what it depends on.
    bool Init(const char16_t* text);
    CParam* GetParameter() const { return m_pParam; }
    const std::set<const CParam*>& Dependencies() const { return m_Dependencies; }
    bool IsIndependent() const { return m_Dependencies.empty(); }
    bool IsUsingCOMContext() const { return m_Function.IsUsingCOMContext(); }
    bool DependsOn(const CParamCalcContext& other) const {
        return m_Dependencies.count(other.m_pParam) != 0;
    }
    // Writes the result, or the error text, into the parameter's value.
    bool Calculate(CFunction::CComContext* context = nullptr);
    CElement* GetElement() const { return m_pElement; }
    CCompiledFunction& GetFunction() { return m_Function; }

private:
    CCompiledFunction m_Function;
    bool m_bInitialised = false;
    CElement* m_pElement;
    CParam* m_pParam;
    std::set<const CParam*> m_Dependencies;
};
