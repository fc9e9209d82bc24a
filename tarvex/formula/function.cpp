#include "tarvex/formula/function.h"
#include "tarvex/formula/objects/calculatedobject.h"
#include "tarvex/formula/quickprogram_internal.h"

#include "tarvex/formula/aggregate.h"

#include <mutex>
#include <unordered_map>

#include "tarvex/core/numbertext.h"

// ---------------------------------------------------------------------------
// Tokens and lists

int CFunction::CToken::PriorityOf(TTag tag) {
    switch (tag) {
    case ttConcat:
    case ttSubtract:
        return 5;
    case ttIncrement:
    case ttDecrement:
        return 4;
    case ttMultiply:
    case ttDivide:
    case ttModule:
        return 3;
    case ttPower:
        return 2;
    case ttAnd:
        return 7;
    case ttOr:
    case ttXOr:
        return 8;
    case ttEqual:
    case ttNotEqual:
    case ttLess:
    case ttGreater:
    case ttLessOrEqual:
    case ttGreaterOrEqual:
    case ttLike:
        return 6;
    case ttAssign:
        return 9;
    case ttOpenGroup:
    case ttCloseGroup:
    case ttTransition:
    case ttStatementEnd:
    case ttNamedConstant:
    case ttClpShortCode:
    case ttItem:
    case ttUnused96:
    case ttUnused97:
        return 0;
    default:
        return (tag >= ttExists && tag <= ttStrMax) ? 0 : 1;
    }
}

void CFunction::CToken::SetValue(const VARIANT& value) {
    VariantClear(&m_Value);
    VariantCopy(&m_Value, &value);
    m_pValue = &m_Value;
}

void CFunction::CToken::ResetValue() {
    VariantClear(&m_Value);
    m_pValue = nullptr;
}

CFunction::CCase::~CCase() {
    delete m_pWhen;
    delete m_pResult;
}

void CFunction::CTokenList::Clear() {
    for (CToken* t = m_pFirst; t;) {
        CToken* next = t->m_pNext;
        delete t;
        t = next;
    }
    m_pFirst = m_pLast = nullptr;
    m_nCount = 0;
}

void CFunction::CTokenList::InsertBefore(CToken* token, CToken* before) {
    if (!before) before = m_pFirst;
    if (!before) {
        token->m_pPrev = token->m_pNext = nullptr;
        m_pFirst = m_pLast = token;
    } else {
        token->m_pNext = before;
        token->m_pPrev = before->m_pPrev;
        if (before->m_pPrev)
            before->m_pPrev->m_pNext = token;
        else
            m_pFirst = token;
        before->m_pPrev = token;
    }
    ++m_nCount;
}

void CFunction::CTokenList::InsertAfter(CToken* token, CToken* after) {
    if (!after) after = m_pLast;
    if (!after) {
        token->m_pPrev = token->m_pNext = nullptr;
        m_pFirst = m_pLast = token;
    } else {
        token->m_pPrev = after;
        token->m_pNext = after->m_pNext;
        if (after->m_pNext)
            after->m_pNext->m_pPrev = token;
        else
            m_pLast = token;
        after->m_pNext = token;
    }
    ++m_nCount;
}

void CFunction::CTokenList::Unlink(CToken* token) {
    if (token->m_pPrev)
        token->m_pPrev->m_pNext = token->m_pNext;
    else
        m_pFirst = token->m_pNext;
    if (token->m_pNext)
        token->m_pNext->m_pPrev = token->m_pPrev;
    else
        m_pLast = token->m_pPrev;
    token->m_pPrev = token->m_pNext = nullptr;
    --m_nCount;
}

CFunction::CTokenList* CFunction::CTokenList::MoveToHeap() {
    auto* list = new CTokenList;
    list->m_pFirst = m_pFirst;
    list->m_pLast = m_pLast;
    list->m_nCount = m_nCount;
    m_pFirst = m_pLast = nullptr;
    m_nCount = 0;
    return list;
}

// ---------------------------------------------------------------------------
// Translation context

void CFunction::CTranslationContext::Push() {
    m_Stack.push_back({m_pCurrent, m_pLast, m_bSignPending, m_bVirtual});
    m_pLast = nullptr;
    m_bVirtual = m_pCurrent != nullptr;
}

void CFunction::CTranslationContext::Pop(TTag tag) {
    if (!(tag == ttCloseGroup && !m_pLast)) m_pBottom = m_pLast;
    if (m_Stack.empty()) {
        m_pCurrent = m_pLast = nullptr;
        m_bSignPending = m_bVirtual = false;
        return;
    }
    const CTranslationState& state = m_Stack.back();
    m_pCurrent = state.current;
    m_pLast = state.last;
    m_bSignPending = state.signPending;
    m_bVirtual = state.virtualCurrent;
    m_Stack.pop_back();
}

void CFunction::CTranslationContext::Reset() {
    m_Stack.clear();
    m_pCurrent = m_pLast = m_pBottom = nullptr;
    m_bSignPending = m_bVirtual = false;
}

// ---------------------------------------------------------------------------
// Construction

CFunction::CFunction() : m_Locals(4, 4, true), m_Pending(0, 4, true) {}

CFunction::~CFunction() {
    Flush();
}

void CFunction::ForgetProgram() {
    m_Program.clear();
    m_pQuick.reset();
}

void CFunction::Flush() {
    ForgetProgram();
    m_Tokens.Clear();
    m_Pending.Clear();
    ReleaseStack();
    if (m_pComContext) m_pComContext->Release();
    m_pComContext = nullptr;
    m_pComFactory = nullptr;
    m_pComFactoryData = nullptr;
    m_HierarchyCache.Flush();
    if (m_pConstValue) {
        VariantClear(m_pConstValue);
        delete m_pConstValue;
        m_pConstValue = nullptr;
    }
    m_bConstant = true;
    m_bUsesObject = false;
}

namespace {

// Where a copied token's references go: jumps to the copy's tokens, local
// variables to the copy's variables (nested functions refer to the root's).
struct CopyMap {
    std::unordered_map<const IDispatch*, IDispatch*> variables;
};

} // namespace

static void CopyTokens(const CFunction::CTokenList& from, CFunction::CTokenList& to,
                       const CopyMap& map);

static CFunction* CopyNested(const CFunction* from, const CopyMap& map) {
    if (!from) return nullptr;
    // Nested bodies have no locals of their own: they name the root's.
    auto* copy = new CFunction;
    copy->InheritContext(from);
    copy->SetElementContext(from->GetElementContext());
    CopyTokens(from->GetTokens(), const_cast<CFunction::CTokenList&>(copy->GetTokens()), map);
    // Appended tokens bypass the flag updates: a body reading `item` must
    // not pass for constant and cache its first result.
    copy->CopyFlagsFrom(*from);
    return copy;
}

static void CopyTokens(const CFunction::CTokenList& from, CFunction::CTokenList& to,
                       const CopyMap& map) {
    std::unordered_map<const CFunction::CToken*, CFunction::CToken*> tokens;
    for (const CFunction::CToken* t = from.m_pFirst; t; t = t->m_pNext) {
        CFunction::CToken* copy;
        if (t->m_nTag == CFunction::ttCase) {
            auto* select = new CFunction::CSelectCaseToken;
            const auto* source = static_cast<const CFunction::CSelectCaseToken*>(t);
            for (std::int64_t i = 0; i < source->m_Cases.GetLength(); ++i) {
                const CFunction::CCase* c = source->m_Cases[i];
                select->m_Cases.Add(new CFunction::CCase(CopyNested(c->m_pWhen, map),
                                                         CopyNested(c->m_pResult, map)));
            }
            copy = select;
        } else if (t->m_nTag >= CFunction::ttExists && t->m_nTag <= CFunction::ttStrMax) {
            const auto* source = static_cast<const CFunction::CAgregFuncToken*>(t);
            auto* aggregate = new CFunction::CAgregFuncToken(t->m_nTag);
            aggregate->SetArguments(CopyNested(source->GetValueFunction(), map),
                                    CopyNested(source->GetCondition(), map));
            aggregate->ShareVars(*source);
            copy = aggregate;
        } else if (t->m_nTag == CFunction::ttClpShortCode) {
            const auto* source = static_cast<const CFunction::CClpShortCodeToken*>(t);
            auto* code = new CFunction::CClpShortCodeToken;
            code->SetArguments(CopyNested(source->GetCondition(), map),
                               CopyNested(source->GetCode(), map),
                               CopyNested(source->GetSeparator(), map));
            code->ShareVars(*source);
            copy = code;
        } else {
            copy = new CFunction::CToken(t->m_nTag);
        }
        copy->m_nArg = t->m_nArg;
        if (const VARIANT* value = t->GetValue()) {
            auto found = value->vt == VT_DISPATCH ? map.variables.find(value->pdispVal)
                                                  : map.variables.end();
            auto* vector = t->m_nTag >= CFunction::ttObjConstructor1 &&
                                   t->m_nTag <= CFunction::ttObjConstructor3 &&
                                   value->vt == VT_DISPATCH
                               ? dynamic_cast<TXFunctionObjects::CVector3d*>(value->pdispVal)
                               : nullptr;
            if (found != map.variables.end()) {
                VARIANT v;
                v.vt = VT_DISPATCH;
                v.pdispVal = found->second;
                copy->SetValue(v);
            } else if (vector) {
                // Each run rebuilds the vector in place: a copy that shared
                // it would change the original's results.
                VARIANT v;
                v.vt = VT_DISPATCH;
                v.pdispVal = new TXFunctionObjects::CVector3d(vector->GetVector());
                copy->SetValue(v);
            } else {
                copy->SetValue(*value);
            }
        }
        to.Append(copy);
        tokens[t] = copy;
    }
    for (const CFunction::CToken* t = from.m_pFirst; t; t = t->m_pNext)
        if (t->m_pJump) {
            auto found = tokens.find(t->m_pJump);
            tokens[t]->m_pJump = found == tokens.end() ? nullptr : found->second;
        }
}

CFunction::CFunction(const CFunction& other) : CFunction(other, ObjectMap()) {}

CFunction::CFunction(const CFunction& other, const ObjectMap& objects)
    : CTarvexObject(other), m_Locals(4, 4, true), m_Pending(0, 4, true) {
    CopyMap map;
    map.variables = objects;
    for (std::int64_t i = 0; i < other.m_Locals.GetLength(); ++i) {
        auto* variable = new CTXFunctionVariable(other.m_Locals[i]->GetName());
        m_Locals.Add(variable);
        map.variables[other.m_Locals[i]] = variable;
    }
    InheritContext(&other);
    m_pElement = other.m_pElement;
    m_bConstant = other.m_bConstant;
    m_bUsesObject = other.m_bUsesObject;
    CopyTokens(other.m_Tokens, m_Tokens, map);
}

void CFunction::SetCOMContext(IDispatch* object, CFunctionHierarchyProvider* provider) {
    if (object) object->AddRef();
    if (m_pComContext) m_pComContext->Release();
    m_pComContext = object;
    if (provider != m_HierarchyCache.GetProvider()) {
        // Objects of another provider must not answer for this one.
        m_HierarchyCache.Flush();
        m_HierarchyCache.SetProvider(provider);
    }
}

void CFunction::SetCOMContext(const _GUID& clsid, CFunctionComContext::Factory factory, void* data,
                              CFunctionHierarchyProvider* provider) {
    SetCOMContext(nullptr, provider);
    m_ComClsid = clsid;
    m_pComFactory = factory;
    m_pComFactoryData = data;
}

void CFunction::InheritContext(const CFunction* from) {
    if (!from || from == this) return;
    SetCOMContext(from->m_pComContext, from->m_HierarchyCache.GetProvider());
    // A nested function is bound again at each evaluation of its construct:
    // what it cached belongs to the evaluation before.
    m_HierarchyCache.Flush();
    m_ComClsid = from->m_ComClsid;
    m_pComFactory = from->m_pComFactory;
    m_pComFactoryData = from->m_pComFactoryData;
}

void CFunction::InitCOMObject() {
    if (m_pComContext || !m_pComFactory) return;
    IDispatch* object = nullptr;
    int made = 0;
    try {
        made = m_pComFactory(&object, m_ComClsid, m_pComFactoryData);
    } catch (const CSyntaxError&) {
        throw;
    } catch (...) {
        made = 0;
    }
    if (!made) {
        if (object) object->Release();
        throw CSyntaxError(146u);
    }
    m_pComContext = object; // the factory's reference becomes ours
}

// ---------------------------------------------------------------------------

bool CFunctionComContext::AcceptCalculation(CElement*, const CParam*) {
    return true;
}

void CFunctionComContext::Bind(CFunction& function, CElement* element) const {
    IDispatch* object = m_pElementObject ? m_pElementObject(element, m_pData) : nullptr;
    if (object) {
        function.SetCOMContext(object, m_pHierarchyProvider);
        object->Release(); // SetCOMContext took its own reference
        return;
    }
    if (m_pFactory)
        function.SetCOMContext(m_Guid, m_pFactory, m_pData, m_pHierarchyProvider);
    else
        function.SetCOMContext(nullptr, m_pHierarchyProvider);
}

// ---------------------------------------------------------------------------
// Insertion

void CFunction::UpdateFlags(TTag tag) {
    switch (tag) {
    case ttVariable:
    case ttObject:
    case ttApplication:
    case ttHierarchy:
    case ttItem:
        m_bConstant = false;
        break;
    default:
        break;
    }
    if (tag == ttObject) m_bUsesObject = true;
}

void CFunction::InsertToken(CToken* token, CTranslationContext& ctx) {
    ForgetProgram();
    const TTag tag = token->m_nTag;
    UpdateFlags(tag);
    switch (tag) {
    case ttConstant:
    case ttVariable:
    case ttNamedConstant:
        m_Tokens.InsertBefore(token, ctx.m_pCurrent);
        ctx.m_bVirtual = false;
        ctx.m_pCurrent = token;
        if (ctx.m_bSignPending) ctx.Pop(tag);
        return;
    case ttClpShortCode:
        m_Tokens.InsertAfter(token, ctx.m_pCurrent);
        ctx.m_bVirtual = false;
        ctx.m_pCurrent = token;
        if (ctx.m_bSignPending) ctx.Pop(tag);
        return;
    case ttConcat:
    case ttSubtract:
    case ttIncrement:
    case ttDecrement:
    case ttMultiply:
    case ttDivide:
    case ttModule:
    case ttPower:
    case ttAnd:
    case ttOr:
    case ttXOr:
    case ttEqual:
    case ttNotEqual:
    case ttLess:
    case ttGreater:
    case ttLessOrEqual:
    case ttGreaterOrEqual:
    case ttLike:
    case ttMethod:
    case ttProperty:
    case ttSubscript:
    case ttAssign: {
        const int priority = token->GetPriority();
        if (CToken* last = ctx.m_pLast) {
            ctx.m_pCurrent = token;
            ctx.m_bVirtual = false;
            if (last->GetPriority() <= priority) {
                m_Tokens.InsertAfter(token, last);
                ctx.m_pLast = token;
            } else {
                // Equal priorities stop the walk: left to right.
                while (last->m_pPrev && last->m_pPrev != ctx.m_pBottom &&
                       last->m_pPrev->GetPriority() > priority)
                    last = last->m_pPrev;
                m_Tokens.InsertBefore(token, last);
            }
            return;
        }
        ctx.m_pLast = token;
        if (ctx.m_bVirtual)
            m_Tokens.InsertBefore(token, ctx.m_pCurrent);
        else
            m_Tokens.InsertAfter(token, ctx.m_pCurrent);
        ctx.m_pCurrent = token;
        ctx.m_bVirtual = false;
        return;
    }
    default:
        // Prefix group: the token stands after everything inserted later
        // before it, that is its arguments.
        m_Tokens.InsertBefore(token, ctx.m_pCurrent);
        ctx.m_bVirtual = false;
        ctx.m_pCurrent = token;
        return;
    }
}

CFunction::CToken* CFunction::AddToken(TTag tag, CTranslationContext& ctx) {
    ForgetProgram();
    switch (tag) {
    case ttSign: {
        if (ctx.m_bSignPending) throw CSyntaxError(102u);
        auto* token = new CToken(tag);
        InsertToken(token, ctx);
        ctx.Push();
        ctx.m_bSignPending = true;
        return token;
    }
    case ttOpenGroup:
        ctx.Push();
        ctx.m_bSignPending = false;
        return nullptr;
    case ttCloseGroup:
        ctx.Pop(ttCloseGroup);
        if (ctx.m_bSignPending) ctx.Pop(ttCloseGroup);
        return nullptr;
    case ttStatementEnd: {
        auto* token = new CToken(tag);
        m_Tokens.Append(token);
        m_Pending.Add(m_Tokens.MoveToHeap());
        ctx.Pop(tag);
        return token;
    }
    case ttCase: {
        auto* token = new CSelectCaseToken;
        InsertToken(token, ctx);
        return token;
    }
    default: {
        auto* token = new CToken(tag);
        InsertToken(token, ctx);
        return token;
    }
    }
}

CFunction::CToken* CFunction::AddToken(const char16_t* name, CTranslationContext& ctx) {
    auto* token = new CToken(ttMethod);
    CString text;
    text.Format(u"%s:%d", name ? name : u"", 0);
    VARIANT v;
    v.vt = VT_BSTR;
    v.bstrVal = text.AllocSysString();
    token->SetValue(v);
    VariantClear(&v);
    InsertToken(token, ctx);
    return token;
}

CFunction::CToken* CFunction::AddToken(std::int64_t arg, TTag tag, CTranslationContext& ctx) {
    if (tag == ttConstant) {
        VARIANT v;
        v.vt = VT_I4;
        v.lVal = std::int32_t(arg);
        return AddToken(v, ctx, ttConstant);
    }
    CToken* token = AddToken(tag, ctx);
    if (token) token->m_nArg = arg;
    return token;
}

CFunction::CToken* CFunction::AddToken(const VARIANT& value, CTranslationContext& ctx, TTag tag) {
    auto* token = new CToken(tag);
    token->SetValue(value);
    InsertToken(token, ctx);
    return token;
}

CFunction::CToken* CFunction::AddVaribaleToken(const char16_t* name, CTranslationContext& ctx) {
    if (GetVariable(name)) {
        CString text;
        text.Format(u"Повторное объявление переменной \"%s\"", name);
        throw CSyntaxError(text.GetString());
    }
    auto* variable = new CTXFunctionVariable(name);
    m_Locals.Add(variable);
    VARIANT v;
    v.vt = VT_DISPATCH;
    v.pdispVal = variable;
    return AddToken(v, ctx, ttConstant);
}

CFunction::CToken* CFunction::AddTokenAfter(TTag tag, CTranslationContext& ctx) {
    ForgetProgram();
    auto* token = new CToken(tag);
    UpdateFlags(tag);
    m_Tokens.InsertAfter(token, ctx.m_pCurrent);
    ctx.m_pCurrent = token;
    ctx.m_bVirtual = false;
    return token;
}

void CFunction::DeleteToken(CToken* token, CTranslationContext& ctx) {
    ForgetProgram();
    if (ctx.m_pCurrent == token) ctx.m_pCurrent = token->m_pPrev;
    if (ctx.m_pLast == token) ctx.m_pLast = nullptr;
    if (ctx.m_pBottom == token) ctx.m_pBottom = nullptr;
    m_Tokens.Unlink(token);
    delete token;
}

void CFunction::UpdateMethod(CToken* token, const char16_t* name, int argc) {
    ForgetProgram();
    CString text;
    text.Format(u"%s:%d", name ? name : u"", argc);
    VARIANT v;
    v.vt = VT_BSTR;
    v.bstrVal = text.AllocSysString();
    token->SetValue(v);
    VariantClear(&v);
}

void CFunction::SetTransitionPointer(CToken* token, CToken* target, int mode) {
    if (!target)
        token->m_pJump = nullptr;
    else if (mode < 0)
        token->m_pJump = target->m_pPrev;
    else if (mode == 0)
        token->m_pJump = target;
    else
        token->m_pJump = target->m_pNext;
}

void CFunction::AddCase(CToken* token, CFunction* when, CFunction* result) {
    static_cast<CSelectCaseToken*>(token)->m_Cases.Add(new CCase(when, result));
}

void CFunction::ApplyPendingExpressions() {
    ForgetProgram();
    for (std::int64_t i = m_Pending.GetLength() - 1; i >= 0; --i) {
        CTokenList* list = m_Pending[i];
        if (m_Tokens.m_nCount == 0 && list->m_pLast) {
            // The formula ended in `;`: the statement end goes, and the token
            // before it loses its value.
            CToken* end = list->m_pLast;
            list->Unlink(end);
            delete end;
            // Rebuilding in place keeps the jumps of earlier tokens valid.
            if (CToken* before = list->m_pLast) {
                before->ResetValue();
                before->m_pJump = nullptr;
            }
        }
        while (CToken* t = list->m_pLast) {
            list->Unlink(t);
            m_Tokens.InsertBefore(t, m_Tokens.m_pFirst);
        }
    }
    m_Pending.Clear();
}

CTXFunctionVariable* CFunction::GetVariable(const char16_t* name) const {
    CTXFunctionVariable probe(name);
    const std::int64_t at = m_Locals.Find(probe);
    return at < 0 ? nullptr : m_Locals[at];
}

void CFunction::ClearLocals() {
    for (std::int64_t i = 0; i < m_Locals.GetLength(); ++i) m_Locals[i]->ResetValue();
}

CString CFunction::DblToString(double value, int digits) {
    return tarvex::DblToString(value, digits);
}
