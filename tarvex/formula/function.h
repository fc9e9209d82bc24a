// CFunction: one compiled formula, a doubly linked list of tokens in postfix
// order, evaluated by one walk over a fixed stack of variants.
//
// The list is built in a single pass while the text is read: each token is
// inserted where its priority puts it (see InsertToken), so there is no
// syntax tree. `if` is the only construct that jumps inside the list; `case`
// holds nested functions of its own.
#pragma once

#include <cstdint>
#include <memory>
#include <unordered_map>
#include <vector>

#include "tarvex/core/indirectarray.h"
#include "tarvex/core/sortedarray.h"
#include "tarvex/formula/hierarchy.h"
#include "tarvex/formula/syntaxerror.h"
#include "tarvex/formula/variables.h"
#include "tarvex/platform/variant.h"

#include "tarvex/formula/comcontext.h"

class CElement;
class CQuickProgram;

class CFunction : public CTarvexObject {
public:
    // Declared outside so that the element model can name it without the
    // formula language; see comcontext.h.
    using CComContext = CFunctionComContext;

    enum TTag : std::int32_t {
        ttConstant = 0,
        ttVariable = 1,
        ttPlaceholder = 2,
        ttConcat = 3,
        ttSubtract = 4,
        ttIncrement = 5,
        ttSign = 6,
        ttDecrement = 7,
        ttMultiply = 8,
        ttDivide = 9,
        ttModule = 10,
        ttPower = 11,
        ttOpenGroup = 12,
        ttCloseGroup = 13,
        ttToInt = 14,
        ttToReal = 15,
        ttToString = 16,
        ttToVector = 17,
        ttSin = 18,
        ttCos = 19,
        ttTan = 20,
        ttASin = 21,
        ttACos = 22,
        ttATan = 23,
        ttDeg = 24,
        ttRad = 25,
        ttExp = 26,
        ttLog = 27,
        ttSqr = 28,
        ttSqrt = 29,
        ttAbs = 30,
        ttAnd = 31,
        ttOr = 32,
        ttNot = 33,
        ttXOr = 34,
        ttEqual = 35,
        ttNotEqual = 36,
        ttLess = 37,
        ttGreater = 38,
        ttLessOrEqual = 39,
        ttGreaterOrEqual = 40,
        ttLike = 41,
        ttIf = 42,
        ttTransition = 43,
        ttFormat = 44,
        ttObject = 45,
        ttApplication = 46,
        ttMethod = 47,
        ttProperty = 48,
        ttHierarchy = 49,
        ttSubscript = 50,
        ttCase = 51,
        ttInstr = 52,
        ttSubstr = 53,
        ttReplace = 54,
        ttLength = 55,
        ttUCase = 56,
        ttLCase = 57,
        ttStatementEnd = 58,
        ttAssign = 59,
        ttGSin = 60,
        ttGCos = 61,
        ttGTan = 62,
        ttIsSet = 63,
        ttObjConstructor1 = 64,
        ttObjConstructor2 = 65,
        ttObjConstructor3 = 66,
        ttWrap = 67,
        ttPlainText = 68,
        ttNamedConstant = 69,
        ttClpShortCode = 70,
        ttNormal = 71,
        ttPerpendicular = 72,
        ttAngle = 73,
        ttSlope = 74,
        ttRotate = 75,
        ttDotProduct = 76,
        ttScale = 77,
        ttDistance = 78,
        ttFormatList = 79,
        ttMin = 80,
        ttMax = 81,
        ttExists = 82,
        ttStrMax = 93,
        ttItem = 94,
        ttSplit = 95,
        ttUnused96 = 96,
        ttUnused97 = 97,
        ttToTime = 98,
        ttDateStr = 99,
        ttTimeStr = 100,
        ttDateTime = 101,
        ttLocalDateTime = 102,
    };

    static constexpr int kStackSize = 512;
    // Longest text an operation may build (code units). A formula that keeps
    // doubling a text stops here with an error instead of exhausting memory.
    static constexpr int kMaxTextLength = 1 << 22;

    class CToken : public CTarvexObject {
    public:
        explicit CToken(TTag tag) : m_nTag(tag) { VariantInit(&m_Value); }
        ~CToken() override { VariantClear(&m_Value); }
        CToken(const CToken&) = delete;
        CToken& operator=(const CToken&) = delete;

        // Lower binds tighter; 0 for tokens that are never operators.
        int GetPriority() const { return PriorityOf(m_nTag); }
        static int PriorityOf(TTag tag);

        // Holds a copy of `value` (the token then has a value).
        void SetValue(const VARIANT& value);
        void ResetValue();
        const VARIANT* GetValue() const { return m_pValue; }

        CToken* m_pNext = nullptr;
        CToken* m_pPrev = nullptr;
        TTag m_nTag;
        std::int64_t m_nArg = 0;
        CToken* m_pJump = nullptr;

    private:
        // The value lives in the token: one allocation per constant, not two.
        VARIANT* m_pValue = nullptr;
        VARIANT m_Value;
    };

    struct CCase : public CTarvexObject {
        CCase(CFunction* when, CFunction* result) : m_pWhen(when), m_pResult(result) {}
        ~CCase() override;
        CFunction* m_pWhen; // null for ELSE
        CFunction* m_pResult;
    };

    // Aggregates (tags ttExists to ttStrMax): see aggregate.h.
    class CAgregFuncToken;
    // clp_short_code: see aggregate.h.
    class CClpShortCodeToken;

    class CSelectCaseToken : public CToken {
    public:
        CSelectCaseToken() : CToken(ttCase) {}
        CIndirectArray<CCase> m_Cases;
    };

    // Owns its tokens; deleting walks the list, never recursing.
    class CTokenList : public CTarvexObject {
    public:
        CTokenList() = default;
        ~CTokenList() override { Clear(); }
        CTokenList(const CTokenList&) = delete;
        CTokenList& operator=(const CTokenList&) = delete;

        void Clear();
        void Append(CToken* token) { InsertAfter(token, m_pLast); }
        // `before` null: at the end... of nothing; see InsertBefore.
        void InsertBefore(CToken* token, CToken* before);
        void InsertAfter(CToken* token, CToken* after);
        void Unlink(CToken* token);
        // Moves the tokens to a new list on the heap; this one is left empty.
        CTokenList* MoveToHeap();

        CToken* m_pFirst = nullptr;
        CToken* m_pLast = nullptr;
        std::int64_t m_nCount = 0;
    };

    class CTranslationContext : public CTarvexObject {
    public:
        struct CTranslationState {
            CToken* current;
            CToken* last;
            bool signPending;
            bool virtualCurrent;
        };

        void Push();
        void Pop(TTag tag);
        // Forgets everything: the start of a new statement.
        void Reset();

        std::vector<CTranslationState> m_Stack;
        CToken* m_pCurrent = nullptr;
        CToken* m_pLast = nullptr;
        bool m_bSignPending = false;
        bool m_bVirtual = false;
        CToken* m_pBottom = nullptr;
    };

    CFunction();
    CFunction(const CFunction& other);
    // Objects the tokens hold that the copy must not share (they belong to
    // the original's owner): each key held by a token is replaced by its
    // value in the copy, nested functions included.
    using ObjectMap = std::unordered_map<const IDispatch*, IDispatch*>;
    CFunction(const CFunction& other, const ObjectMap& objects);
    CFunction& operator=(const CFunction&) = delete;
    ~CFunction() override;

    // --- Compilation side ------------------------------------------------
    CToken* AddToken(TTag tag, CTranslationContext& ctx);
    CToken* AddToken(const char16_t* name, CTranslationContext& ctx);
    CToken* AddToken(std::int64_t arg, TTag tag, CTranslationContext& ctx);
    CToken* AddToken(const VARIANT& value, CTranslationContext& ctx, TTag tag = ttConstant);
    // A token of a derived class made by the caller; the function owns it.
    CToken* AddCustomToken(CToken* token, CTranslationContext& ctx) {
        InsertToken(token, ctx);
        return token;
    }
    // Constructor calls of one, two or three arguments on the object held
    // in `target` (VT_DISPATCH).
    CToken* AddConstructor1Token(const VARIANT& target, CTranslationContext& ctx) {
        return AddToken(target, ctx, ttObjConstructor1);
    }
    CToken* AddConstructor2Token(const VARIANT& target, CTranslationContext& ctx) {
        return AddToken(target, ctx, ttObjConstructor2);
    }
    CToken* AddConstructor3Token(const VARIANT& target, CTranslationContext& ctx) {
        return AddToken(target, ctx, ttObjConstructor3);
    }
    CToken* AddVaribaleToken(const char16_t* name, CTranslationContext& ctx);
    CToken* AddTokenAfter(TTag tag, CTranslationContext& ctx);
    void DeleteToken(CToken* token, CTranslationContext& ctx);
    void SetTokenIndex(CToken* token, std::int64_t n) {
        ForgetProgram();
        token->m_nArg = n;
    }
    void UpdateMethod(CToken* token, const char16_t* name, int argc);
    static void SetTransitionPointer(CToken* token, CToken* target, int mode);
    static void SetTransitionPointer(CToken* token, CTranslationContext& ctx) {
        token->m_pJump = ctx.m_pCurrent;
    }
    void AddCase(CToken* token, CFunction* when, CFunction* result);
    void ApplyPendingExpressions();
    CTXFunctionVariable* GetVariable(const char16_t* name) const;

    // --- Evaluation side -------------------------------------------------
    bool Count(VARIANT& out, CVariablesContainerBase* vars);
    bool Count(CString& out, CVariablesContainerBase* vars);

    bool IsEmpty() const { return m_Tokens.m_nCount == 0; }
    bool IsSingleVar() const {
        return m_Tokens.m_nCount == 1 && m_Tokens.m_pFirst->m_nTag == ttVariable;
    }
    bool IsConstant() const { return m_bConstant; }
    bool UsesObject() const { return m_bUsesObject; }

    void SetElementContext(CElement* element) { m_pElement = element; }
    CElement* GetElementContext() const { return m_pElement; }
    // Both forms release the object held before. The factory form makes the
    // object at the first use of `object` in a count.
    // `provider` (not owned, may be null) answers the word `hierarchy`.
    void SetCOMContext(IDispatch* object, CFunctionHierarchyProvider* provider = nullptr);
    void SetCOMContext(const _GUID& clsid, CFunctionComContext::Factory factory, void* data,
                       CFunctionHierarchyProvider* provider = nullptr);
    // The object (with a reference of its own), the factory and the
    // hierarchy provider of `from`, for nested functions.
    void InheritContext(const CFunction* from);
    IDispatch* GetCOMContext() const { return m_pComContext; }
    CFunctionHierarchyProvider* GetHierarchyProvider() const {
        return m_HierarchyCache.GetProvider();
    }
    // Gives the evaluation stack back: a formula kept for later runs need
    // not hold one between them. The next count takes one again.
    void ReleaseStack();
    void SetCurrentItem(VARIANT* item) { m_pCurrentItem = item; }
    // The constant and uses-object flags, for a copy built token by token.
    void CopyFlagsFrom(const CFunction& other) {
        m_bConstant = other.m_bConstant;
        m_bUsesObject = other.m_bUsesObject;
    }
    void Flush();

    const CTokenList& GetTokens() const { return m_Tokens; }

    // The host application's automation object for the word `application`;
    // process-wide, a reference is held. Null forgets it.
    static void SetApplicationObject(IUnknown* application);

    // --- Conversions and comparison (total; never raise but through COM) --
    static int AsInt(const VARIANT& v);
    static double AsReal(const VARIANT& v);
    static bool AsBool(const VARIANT& v);
    static CString AsString(const VARIANT& v);
    static double StrToDbl(const char16_t* s);
    static CString DblToString(double value, int digits = 12);
    static bool IsVector(const VARIANT& v);
    // Element `index` of an array's data, the bounds not checked against the
    // array's own: numbers come out as VT_R8, texts as a new copy, objects
    // with a new reference. False for an element type it does not know.
    static bool GetArrayItem(const VARIANT& array, int index, VARIANT& out);
    static int Compare(VARIANT& a, VARIANT& b);
    static int CompareVariants(const VARIANT& a, const VARIANT& b);
    static int VectorCompare(const VARIANT& a, const VARIANT& b);
    static void ConvertVariableToValue(VARIANT& v);
    static void SetType(VARIANT& v, VARTYPE vt);
    static void SetNumericTypes(VARIANT& a, VARIANT& b);

    // Dates: "%04d-%02d-%02d %02d:%02d".
    static bool ParseDateTime(const char16_t* text, double& out);
    static bool FormatDateTime(const double& date, CString& out);
    static bool UtcTimeToLocalTime(double& date);

    // Text helpers of the language, also used by other subsystems.
    static bool IsLike(const CString& text, const CString& mask);
    // Type of the first conversion of a printf format: VT_I4, VT_R8,
    // VT_BSTR, or VT_ERROR for none; `position` gets the conversion letter.
    static VARTYPE GetFmtType(const char16_t* s, int length, int* position);
    static bool IsNumber(const char16_t* s);
    static bool IsNumber(CString& s);
    static bool IsNumber(CString& s, bool& isReal);
    static bool IsNumber(const char16_t* s, bool& isReal);
    static bool IsNumber(const char16_t* s, bool& isReal, char16_t& separator, int& position);
    static CString FormatList(const char16_t* list, const char16_t* delimiter, int sort,
                              int compact, const char16_t* rangeJoiner, const char16_t* itemJoiner,
                              int numSearch);

private:
    friend class CFunctionCompiler;
    friend class CQuickProgramBuilder;

    void InsertToken(CToken* token, CTranslationContext& ctx);
    // Count past the doubles program: the steps of a count on the stack of
    // variants.
    bool CountOnStack(VARIANT& out, CVariablesContainerBase* vars);
    void BuildProgram();
    void UpdateFlags(TTag tag);
    void ClearLocals();

    // Runs the list on `stack` of `size` slots; the result is in slot 0.
    void SubCount(CVariablesContainerBase* vars, VARIANT* stack, int size, bool topLevel);
    void Case(CSelectCaseToken* token, VARIANT* stack, int index, int size,
              CVariablesContainerBase* vars);

    // Operators and built-ins: the left (or only) operand's slot receives
    // the result; a right operand's slot is cleared.
    static void Increment(VARIANT& a, VARIANT& b);
    static void Decrement(VARIANT& a, VARIANT& b);
    static void Multiply(VARIANT& a, VARIANT& b);
    static void Divide(VARIANT& a, VARIANT& b);
    static void Module(VARIANT& a, VARIANT& b);
    static void Power(VARIANT& a, VARIANT& b);
    static void And(VARIANT& a, VARIANT& b);
    static void Or(VARIANT& a, VARIANT& b);
    static void XOr(VARIANT& a, VARIANT& b);
    static void Not(VARIANT& a);
    static void Sign(VARIANT& a);
    static void Concat(VARIANT& a, VARIANT& b);
    static void Subtract(VARIANT& a, VARIANT& b);
    static void Assing(VARIANT& left, VARIANT& right);
    static void NumericFunction(TTag tag, VARIANT& a);
    static void IsSet(VARIANT& a);
    static void Sqr(VARIANT& a);
    static void Abs(VARIANT& a);

    void Item(VARIANT* stack, int& index, const CToken* token);
    // Runs an aggregate over the source on top of the stack (aggregate.cpp).
    void AgregFunc(const CToken* token, VARIANT& top);
    // Replaces the element context on top of the stack by the code built
    // up its ancestors (clpshortcode.cpp).
    void ClpSortCode(const CToken* token, VARIANT& top);
    static void ArrayItem(int n, VARIANT* stack, int& index);
    static void CollectionItem(int n, VARIANT* stack, int& index);
    void ComMethod(VARIANT* stack, int& index, const CToken* token);
    void SetCOMContextVariable(VARIANT* stack, int& index, int size, bool useContext);
    // Replaces the name on top of the stack by the hierarchy of that name.
    void SetHierarchyCOMContextVariable(VARIANT* stack, int index);
    void SetAppCOMContextVariable(VARIANT* stack, int& index, int size);

    static void Like(VARIANT& a, VARIANT& b);
    // The functions that take their arguments in `args[0..n)`; the result
    // goes to args[0], the caller clears the rest.
    static void CallFunction(const CToken* token, VARIANT* args, int n);
    // Tags objConstructor1..3: builds the object the token holds from the
    // arguments, which it then replaces.
    static void CallCunstructor(const CToken* token, VARIANT* args, int n);

    // Makes the object through the factory when there is one and no object.
    void InitCOMObject();
    // A cleared stack of kStackSize slots: the thread's spare, or a new one.
    static VARIANT* TakeStack();
    // The token list changed: the array and the doubles program are made
    // again at the next count.
    void ForgetProgram();
    // After a count of a constant function: its value, kept for the next ones.
    void KeepIfConstant(const VARIANT& value);

    IDispatch* m_pComContext = nullptr;
    CFunctionHierarchyCache m_HierarchyCache;
    CFunctionComContext::Factory m_pComFactory = nullptr;
    void* m_pComFactoryData = nullptr;
    _GUID m_ComClsid{};
    bool m_bConstant = true;
    VARIANT* m_pConstValue = nullptr;
    VARIANT* m_pCurrentItem = nullptr;
    CSortedIndirectArray<CTXFunctionVariable> m_Locals;
    VARIANT* m_pStack = nullptr;
    CElement* m_pElement = nullptr;
    bool m_bUsesObject = false;
    CTokenList m_Tokens;
    CIndirectArray<CTokenList> m_Pending;
    // The list as an array, made at the first count: the walk then reads
    // tokens without chasing links. Jumps are indexes into it, -1 for none.
    struct CStep {
        const CToken* token;
        const VARIANT* value; // a plain constant's value
        std::int64_t arg;
        std::int32_t jump;
        std::uint8_t op; // a quick path to try first, or 0
    };
    std::vector<CStep> m_Program;
    // The list as steps on plain doubles, made with the array when every token
    // and type allows a run that gives the walk's result bit for bit; else null.
    std::unique_ptr<CQuickProgram> m_pQuick;
};
