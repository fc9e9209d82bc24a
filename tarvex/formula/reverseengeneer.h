// Printing compiled formulas back as text.
//
// CFunctionReverseEngeneer replays a token list on a stack of texts instead
// of values: each operand pushes its text, each operator pops its operands'
// texts and pushes the composed form. Every piece of the written syntax is a
// virtual operation, so a derived class can print a formula in another
// notation. Not every token can be printed (assignment, statements, min/max,
// aggregates, dates...): those raise "Возможность не реализована".
//
// CStructQueryReverseEngeneer prints a structural query key (the internal
// "@P\"x\"@F(1)A" form) as the words of the language, walking the key with
// the operations of CStructQuery but without a tree.
#pragma once

#include <vector>

#include "tarvex/formula/function.h"
#include "tarvex/formula/structquery.h"

class CFunctionReverseEngeneer : public CTarvexObject {
public:
    ~CFunctionReverseEngeneer() override = default;

    // Prints `function` into `out`; `vars` names its variables (may be
    // null: variables then print with an empty name). Raises CSyntaxError
    // for a token that has no printed form.
    void ReverseEngeneer(CFunction* function, CVariablesContainerBase* vars, CString& out);

    // --- Points of change ------------------------------------------------
    // A printf format with two %s for the left and right operand.
    virtual CString GetOperatorFormatString(CFunction::TTag tag, const char16_t* name);
    virtual CString GetFunctionName(CFunction::TTag tag, const char16_t* name);
    virtual const char16_t* ArgListBegin() { return u"("; }
    virtual const char16_t* ArgListEnd() { return u")"; }
    virtual const char16_t* SubscriptBegin() { return u"["; }
    virtual const char16_t* SubscriptEnd() { return u"]"; }
    virtual const char16_t* GetArgsDivider() { return u", "; }
    // The word or sign of a tag; raises 150 for a tag that has none.
    virtual const char16_t* GetTokenName(CFunction::TTag tag);
    virtual const char16_t* GetWHENKeyword() { return u"when"; }
    virtual const char16_t* GetTHENKeyword() { return u"then"; }
    virtual const char16_t* GetELSEKeyword() { return u"else"; }
    virtual const char16_t* GetCOMReferenceOperator() { return u"."; }
    virtual void FormatStringConstant(CString& text);
    virtual void FormatIntConstant(CString& out, int value);
    virtual void FormatBoolConstant(CString& out, bool value);
    virtual void FormatDoubleConstant(CString& out, double value);
    virtual void FormatUnknownConstant(const VARIANT* value, CString& out);
    virtual void DoFormatVariable(const CString& name, std::int64_t index, CString& out);
    virtual void DoFormatFunction(CString& out, CFunction::TTag tag, const CString& name,
                                  const std::vector<CString>& args);
    virtual void DoFormatCondition(CString& out, CFunction::TTag tag, const CString& condition,
                                   const CString& then, const CString& otherwise);
    struct CCaseText {
        CString when;
        CString result;
    };
    virtual void DoFormatCase(CString& out, CFunction::TTag tag, const CString& selector,
                              const std::vector<CCaseText>& cases, const CString* otherwise);

protected:
    // Walks from `first` up to, not including, `stop`; returns the
    // transition token that ended the walk, or null.
    const CFunction::CToken* SubReverseEngeneer(const CFunction::CToken* first,
                                                const CFunction::CToken* stop);

private:
    void ToConstant(const VARIANT* value);
    void FormatVar(const CFunction::CToken* token);
    void Format2ArgOperator(const CFunction::CToken* token);
    void FormatFunction(CFunction::TTag tag, const CString& name, std::int64_t n);
    void FormatFunction(const CFunction::CToken* token, std::int64_t n);
    const CFunction::CToken* FormatCondition(const CFunction::CToken* token);
    void FormatCase(const CFunction::CToken* token);
    void FormatCOMMember(const CFunction::CToken* token, bool property);
    void FormatSubscript();
    CString PopText();
    CString WalkNested(const CFunction* function);

    CFunction* m_pFunction = nullptr;
    CVariablesContainerBase* m_pVariables = nullptr;
    std::vector<CString> m_Stack;
};

// Prints a structural key; the parameter name at its end goes to the
// variant of QueryParameter as a text.
//   CStructQueryReverseEngeneer q;  VARIANT name;
//   q.QueryParameter(u"@P\"x\"@F(1)A", name, comment);  // q.GetText(): parent("x").child(2)
class CStructQueryReverseEngeneer : public CStructQuery {
public:
    const CString& GetText() const { return m_strText; }
    void Reset() { m_strText.Empty(); }

    bool IsValidContext() override { return true; }
    void SetRootContext() override { AppendWord(u"root"); }
    bool HasParent() override { return true; }
    void SetParentContext() override { AppendWord(u"parent"); }
    const char16_t* GetName() override { return u"name"; }
    std::int64_t GetChildrenCount() override { return 1; }
    const char16_t* GetChildName(std::int64_t) override { return u"name"; }
    void SetChildContext(std::int64_t index) override {
        AppendWord(index == 0 ? u"child" : u"lastChild");
    }
    std::int64_t GetMyChildIndex() override { return 0; }
    bool SetCurrentContext() override {
        AppendWord(u"current");
        return true;
    }
    void* GetParameterValue(const char16_t* name, VARIANT& out, bool comment) override;
    void* GetSysParamValue(const char16_t* name, VARIANT& out) override;

    void* QueryParentParameter(const char16_t* text, VARIANT& out, bool& isComment) override;
    void* QueryFirstChildParameter(const char16_t* text, std::int64_t from, VARIANT& out,
                                   bool& isComment) override;
    void* QueryLastChildParameter(const char16_t* text, std::int64_t from, VARIANT& out,
                                  bool& isComment) override;
    void* QueryPrevSiblingParameter(const char16_t* text, VARIANT& out, bool& isComment) override;
    void* QueryNextSiblingParameter(const char16_t* text, VARIANT& out, bool& isComment) override;

private:
    void AppendWord(const char16_t* word);
    void AppendStructFilter(const CString& name, int count);
    // One step: the word and its filter, then the rest of the key.
    void* Step(const char16_t* word, const char16_t* text, VARIANT& out, bool& isComment);

    CString m_strText;
};
