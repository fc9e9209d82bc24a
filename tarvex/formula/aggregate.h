// Tokens that run nested formulas.
//
// Aggregates: a nested formula run over the items of an array or a host
// collection, e.g. sum(split(A, ","), item * 2, item > 0).
//
// The token holds the value and condition functions and the variables they
// read. Those variables are filled once, when the formula is compiled
// against its element, and stay: an aggregate sees the tree as it was then.
#pragma once

#include <memory>

#include "tarvex/formula/function.h"

class CFunction::CAgregFuncToken : public CFunction::CToken {
public:
    explicit CAgregFuncToken(TTag tag) : CToken(tag) {}
    ~CAgregFuncToken() override;

    // Replace (and delete) the earlier ones.
    void SetArguments(CFunction* value, CFunction* condition);
    void SetVars(CVariablesContainerBase* vars) { m_pVars.reset(vars); }
    // A copy of a function shares the variables of the original.
    void ShareVars(const CAgregFuncToken& other) { m_pVars = other.m_pVars; }

    CFunction* GetValueFunction() const { return m_pValue; }
    CFunction* GetCondition() const { return m_pCondition; }
    CVariablesContainerBase* GetVars() const { return m_pVars.get(); }

private:
    CFunction* m_pValue = nullptr;
    CFunction* m_pCondition = nullptr;
    std::shared_ptr<CVariablesContainerBase> m_pVars;
};

// clp_short_code(condition, code, separator) after `element.`: walks up
// from the element, joining a code per level while the condition holds.
// The nested formulas read their variables afresh on each level.
class CFunction::CClpShortCodeToken : public CFunction::CToken {
public:
    CClpShortCodeToken() : CToken(ttClpShortCode) {}
    ~CClpShortCodeToken() override;

    void SetArguments(CFunction* condition, CFunction* code, CFunction* separator);
    void SetVars(CVariablesContainerBase* vars) { m_pVars.reset(vars); }
    void ShareVars(const CClpShortCodeToken& other) { m_pVars = other.m_pVars; }

    CFunction* GetCondition() const { return m_pCondition; }
    CFunction* GetCode() const { return m_pCode; }
    CFunction* GetSeparator() const { return m_pSeparator; }
    CVariablesContainerBase* GetVars() const { return m_pVars.get(); }

private:
    CFunction* m_pCondition = nullptr;
    CFunction* m_pCode = nullptr;
    CFunction* m_pSeparator = nullptr;
    std::shared_ptr<CVariablesContainerBase> m_pVars;
};
