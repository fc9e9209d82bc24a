// qrksFunctionCompiler: the formula language bound to elements. It adds the
// words that name parameters, system values and relatives of an element.
//
// Whatever a formula reads from the element model becomes a variable: a
// parameter by its name, a system value as "@NAME" and the like, and a walk
// over the tree as the text of a structural query ("@P\"X\"A" for
// parent("x").A). The values are filled in before each run.
#pragma once

#include "tarvex/core/indirectarray.h"
#include "tarvex/formula/functioncompiler.h"

class qrksFunctionCompiler : public CFunctionCompiler {
public:
    // Ids of the words this compiler adds.
    enum : int {
        kIdName = 200,
        kIdDescription = 201,
        kIdRoot = 202,
        kIdParent = 203,
        kIdChild = 204,
        kIdChildLast = 205,
        kIdPrevious = 206,
        kIdNext = 207,
        kIdGrip = 208,
        kIdLevel = 209,
        kIdType = 210,
        kIdRowId = 211,
        kIdCurrent = 212,
        kIdSurf = 213,
        kIdDebug = 214,
        kIdTriang = 215,
        kIdVec3 = 216,
        kIdComment = 217,
        kIdPlugins = 218,
        kIdThis = 219,
        kIdElement = 220,
        kIdElementId = 221,
    };

    qrksFunctionCompiler();
    ~qrksFunctionCompiler() override = default;

    // The language's words with this class's own above them.
    CNameSpace* GetGlobalNamespace() override;
    void OnRegisteredKeyword(int id, _tagCompilerContext& ctx) override;
    void OnUnknownPrefix(int prefix, _tagCompilerContext& ctx) override;
    void OnUserKeyword(const char16_t* name, _tagCompilerContext& ctx) override;
    void OnRegisteredKeywordInStructuredQuery(int id, CString& text) override;
    void ReadAgregFunc(CFunction::TTag tag, _tagCompilerContext& ctx) override;
    void ReadClpShortCode(_tagCompilerContext& ctx) override;

    // The object that the word `this` stands for; a reference is held.
    void SetThisFunctionObject(TXFunctionObjects::CFunctionObjectBase* object);
    TXFunctionObjects::CFunctionObjectBase* GetThisFunctionObject() const;

    // Takes over what `other` holds for its functions (the this object, a
    // copy of each element context) and records in `map` which of its
    // objects stands for which of `other`'s, for copying their functions.
    void CopyObjectsFrom(const qrksFunctionCompiler& other, CFunction::ObjectMap& map);

protected:
    // At '[': the trimmed text up to ']' into `out`.
    void ReadParameterName(CString& out);
    void ReadQuotedParameter(_tagCompilerContext& ctx, unsigned short type, bool strict);
    void ReadTypedParameter(_tagCompilerContext& ctx, unsigned short type);
    // Builds the query text of a chain of steps starting with the word
    // `id`; `type` gets the type a '#' or '$' asked for (1: none).
    void ReadParamQuery(int id, CString& query, _tagCompilerContext& ctx, unsigned short& type);
    // Creates the variable (reporting a clash of types at the current
    // position) and adds its token.
    void AddVariable(const char16_t* name, unsigned short type, bool strict,
                     _tagCompilerContext& ctx);
    // `vec3(` with one or three arguments.
    void ReadVectorConstructor(_tagCompilerContext& ctx);

private:
    static CNameSpace* ElementWords();
    // A word of this class's own table (not the language's).
    static bool IsOwnWord(const char16_t* name, int& id);

    CTXFunctionVariable m_This{u"this"};
    // One per use of `element` that a token holds; they live as long as the
    // compiler, which lives as long as its functions.
    CIndirectArray<CTXElementContext> m_ElementContexts{100, 16, true};
};
