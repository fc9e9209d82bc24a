// CFunctionCompiler: reads the text of a formula into a CFunction.
//
// One recursive routine, ReadFunction, with a small reader for each
// construct of its own shape. Tokens go straight into the postfix list;
// priorities are resolved there. Round brackets are counted, not recursed
// into; function arguments, subscripts and `case` bodies recurse, and each
// level checks the stack room first.
#pragma once

#include "tarvex/formula/compiler.h"
#include "tarvex/formula/function.h"

struct _tagCompilerContext {
    CFunction* function;
    int operandReady;
    CVariablesContainerBase* variables;
    CFunction::CTranslationContext* translation;
};

enum EFunctionTerminator {
    eftEnd = 0,
    eftBracket = 1,
    eftComma = 2,
    eftCaseWord = 3,
    eftWhen = 4,
    eftThen = 5,
    eftElse = 6,
};

class CFunctionCompiler : public CCompiler {
public:
    // Ids of the language's word table.
    enum : int {
        kWordFirst = 100,
        kWordLast = 179,
    };

    CFunctionCompiler();
    ~CFunctionCompiler() override = default;

    // Compiles `text`; the caller owns the result. Throws CSyntaxError.
    CFunction* Function(const char16_t* text, CVariablesContainerBase* vars,
                        CElement* element = nullptr);

    virtual void InitCompiler();
    virtual void OnRegisteredKeyword(int id, _tagCompilerContext& ctx);
    virtual void OnUnknownPrefix(int prefix, _tagCompilerContext& ctx);
    virtual void OnUserKeyword(const char16_t* name, _tagCompilerContext& ctx);
    virtual void OnRegisteredKeywordInStructuredQuery(int id, CString& text);
    // An aggregate word (exists ... strMax); refused here: the aggregates
    // need the element-bound compiler.
    virtual void ReadAgregFunc(CFunction::TTag tag, _tagCompilerContext& ctx);
    // clp_short_code(condition, code, separator); refused here as well.
    virtual void ReadClpShortCode(_tagCompilerContext& ctx);
    virtual unsigned short GetVarType(const char16_t* name, unsigned long type);
    CNameSpace* GetGlobalNamespace() override;

    bool isStackFull() const;

protected:
    int ReadFunction(CFunction* function, CVariablesContainerBase* vars,
                     CFunction::CTranslationContext* ctx, int terminator);
    // One argument as a group of its own, up to a `,` or an unmatched `)`;
    // answers the ending, not consumed.
    int ReadArgument(_tagCompilerContext& ctx);
    void Expect(int prefix, unsigned error);
    void AddFunctionToken(CFunction::TTag tag, _tagCompilerContext& ctx);
    void ReadFixedArguments(CFunction::TTag tag, int count, _tagCompilerContext& ctx);
    void ReadVariableArguments(int id, CFunction::TTag tag, _tagCompilerContext& ctx);
    void ReadIf(_tagCompilerContext& ctx);
    void ReadCase(_tagCompilerContext& ctx);
    void ReadComMethod(_tagCompilerContext& ctx);
    void ReadSubscript(_tagCompilerContext& ctx);
    void ReadVar(_tagCompilerContext& ctx);
    void ReadFormatList(_tagCompilerContext& ctx);
    int ReadKeyword(const char16_t* const* words, const int* values, int count,
                    const char16_t* error);
    void AddConstant(const VARIANT& value, _tagCompilerContext& ctx);
    // A word of the language's table, other than WHEN, THEN and ELSE.
    void ReadWord(int id, _tagCompilerContext& ctx);

    std::uint64_t m_nStackSize = 0;
    CFunction* m_pRootFunction = nullptr;
};
