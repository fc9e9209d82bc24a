#include "tarvex/formula/elementcompiler.h"

#include <memory>
#include <mutex>

#include "tarvex/formula/aggregate.h"
#include "tarvex/formula/elementvariables.h"
#include "tarvex/formula/objects/calculatedobject.h"
#include "tarvex/formula/objects/scriptobjects.h"
#include "tarvex/platform/casemap.h"
#include "tarvex/platform/wide.h"

namespace {

struct ElementWord {
    const char16_t* name;
    int id;
};

constexpr ElementWord kElementWords[] = {
    {u"name", 200},    {u"description", 201}, {u"root", 202},     {u"parent", 203},
    {u"child", 204},   {u"childLast", 205},   {u"previous", 206}, {u"next", 207},
    {u"grip", 208},    {u"level", 209},       {u"type", 210},     {u"rowId", 211},
    {u"current", 212}, {u"surf", 213},        {u"debug", 214},    {u"triang", 215},
    {u"vec3", 216},    {u"comment", 217},     {u"plugins", 218},  {u"this", 219},
    {u"element", 220}, {u"elementid", 221},
};

// The system values the words stand for, with their types.
bool SystemVariable(int id, const char16_t*& key, unsigned short& type) {
    switch (id) {
    case 200:
        key = u"@NAME", type = VT_BSTR;
        return true;
    case 201:
        key = u"@DESCRIPTION", type = VT_BSTR;
        return true;
    case 208:
        key = u"@GRIP", type = VT_R8;
        return true;
    case 209:
        key = u"@LEVEL", type = VT_I4;
        return true;
    case 210:
        key = u"@TYPE", type = VT_BSTR;
        return true;
    case 211:
        key = u"@ROWID", type = VT_I4;
        return true;
    case 221:
        key = u"@ELEMENTID", type = VT_I4;
        return true;
    default:
        return false;
    }
}

// The step letter of a query word, or 0.
char16_t QueryLetter(int id) {
    switch (id) {
    case 202:
        return u'R';
    case 212:
        return u'C';
    case 203:
        return u'P';
    case 204:
        return u'F';
    case 205:
        return u'L';
    case 206:
        return u'B';
    case 207:
        return u'A';
    case 217:
        return u'?';
    default:
        return 0;
    }
}

} // namespace

qrksFunctionCompiler::qrksFunctionCompiler() {
    // The base constructor made its table before this class existed.
    InitCompiler();
}

CNameSpace* qrksFunctionCompiler::ElementWords() {
    // Built once under call_once, then only read: a compiler per formula
    // costs no table of its own.
    static CNameSpace* words = nullptr;
    static std::once_flag once;
    std::call_once(once, [] {
        auto* table = new CNameSpace(u"", CFunctionCompiler().GetGlobalNamespace());
        for (const ElementWord& word : kElementWords) table->AddWord(word.name, word.id, 0);
        words = table;
    });
    return words;
}

CNameSpace* qrksFunctionCompiler::GetGlobalNamespace() {
    return ElementWords();
}

bool qrksFunctionCompiler::IsOwnWord(const char16_t* name, int& id) {
    tagRWData data{};
    id = ElementWords()->IsMyNamespaceWord(name, data);
    return id != 0;
}

void qrksFunctionCompiler::SetThisFunctionObject(TXFunctionObjects::CFunctionObjectBase* object) {
    VARIANT value;
    VariantInit(&value);
    if (object) {
        value.vt = VT_DISPATCH;
        value.pdispVal = object;
        object->AddRef();
    }
    m_This.SetValue(value);
    VariantClear(&value);
}

TXFunctionObjects::CFunctionObjectBase* qrksFunctionCompiler::GetThisFunctionObject() const {
    const VARIANT& value = m_This.Value();
    if (value.vt != VT_DISPATCH) return nullptr;
    return dynamic_cast<TXFunctionObjects::CFunctionObjectBase*>(value.pdispVal);
}

void qrksFunctionCompiler::CopyObjectsFrom(const qrksFunctionCompiler& other,
                                           CFunction::ObjectMap& map) {
    SetThisFunctionObject(other.GetThisFunctionObject());
    map[&other.m_This] = &m_This;
    for (std::int64_t i = 0; i < other.m_ElementContexts.GetLength(); ++i) {
        const CTXElementContext* source = other.m_ElementContexts[i];
        auto* copy = new CTXElementContext(source->GetElement());
        m_ElementContexts.Add(copy);
        map[source] = copy;
    }
}

void qrksFunctionCompiler::AddVariable(const char16_t* name, unsigned short type, bool strict,
                                       _tagCompilerContext& ctx) {
    if (!ctx.variables) Error(109u);
    std::int64_t index = -1;
    try {
        index = ctx.variables->CreateVarIndex(name, type, strict);
    } catch (const CSyntaxError& e) {
        // A clash of types is the formula's fault: report it where it is.
        Error(e.GetText().GetString());
    }
    if (index < 0) Error(109u);
    ctx.function->AddToken(index, CFunction::ttVariable, *ctx.translation);
    ctx.operandReady = 1;
}

void qrksFunctionCompiler::OnRegisteredKeyword(int id, _tagCompilerContext& ctx) {
    if (ctx.operandReady) Error(111u);
    const char16_t* key = nullptr;
    unsigned short type = VT_BSTR;
    if (SystemVariable(id, key, type)) {
        if (!ctx.variables) Error(109u);
        const std::int64_t index = ctx.variables->CreateVarIndex(key, type, false);
        if (index < 0) Error(110u);
        ctx.function->AddToken(index, CFunction::ttVariable, *ctx.translation);
        ctx.operandReady = 1;
        return;
    }
    if (QueryLetter(id)) {
        CString query;
        unsigned short queryType = 1;
        ReadParamQuery(id, query, ctx, queryType);
        AddVariable(query.GetString(), GetVarType(query.GetString(), queryType), queryType > 1,
                    ctx);
        return;
    }
    switch (id) {
    case kIdThis: {
        VARIANT value;
        value.vt = VT_DISPATCH;
        value.pdispVal = &m_This;
        ctx.function->AddToken(value, *ctx.translation);
        ctx.operandReady = 1;
        return;
    }
    case kIdElement: {
        // `element.X` is X: the word insists on an element to bind to, and
        // hands it to a clp_short_code that follows.
        CElement* element = ctx.function->GetElementContext();
        if (!element) Error(161u);
        if (GetPrefix() != kDot) Error(109u);
        ++m_nPosition;
        const int position = m_nPosition, line = m_nLine;
        char16_t word[kMaxIdentifier + 1] = {};
        if (GetPrefix() == kLetter) Identifier(word);
        m_nPosition = position;
        m_nLine = line;
        if (_wcsicmp(word, u"clp_short_code") != 0) return;
        auto* context = new CTXElementContext(element);
        m_ElementContexts.Add(context);
        VARIANT value;
        value.vt = VT_DISPATCH;
        value.pdispVal = context;
        ctx.function->AddToken(value, *ctx.translation, CFunction::ttNamedConstant);
        return;
    }
    case kIdSurf:
    case kIdDebug:
    case kIdTriang:
    case kIdPlugins: {
        IDispatch* object = nullptr;
        if (id == kIdSurf)
            object = TXFunctionObjects::Surface::GetInstance();
        else if (id == kIdDebug)
            object = TXFunctionObjects::Debug::GetInstance();
        else if (id == kIdTriang)
            object = TXFunctionObjects::Triangle::GetInstance();
        else
            object = TXFunctionObjects::Plugins::GetInstance();
        VARIANT value;
        value.vt = VT_DISPATCH;
        value.pdispVal = object;
        ctx.function->AddToken(value, *ctx.translation);
        ctx.operandReady = 1;
        return;
    }
    case kIdVec3:
        ReadVectorConstructor(ctx);
        return;
    default:
        CFunctionCompiler::OnRegisteredKeyword(id, ctx);
    }
}

void qrksFunctionCompiler::ReadVectorConstructor(_tagCompilerContext& ctx) {
    // The vector is made here, once: the token keeps it, and each run
    // constructs it again in place.
    auto* vector = new TXFunctionObjects::CVector3d;
    VARIANT value;
    value.vt = VT_DISPATCH;
    value.pdispVal = vector;
    ctx.function->AddToken(CFunction::ttOpenGroup, *ctx.translation);
    CFunction::CToken* token = ctx.function->AddConstructor3Token(value, *ctx.translation);
    Expect(kLeftBracket, 109u);
    int count = 0;
    for (;;) {
        const int ending = ReadArgument(ctx);
        ++count;
        if (ending == eftBracket) break;
        if (ending != eftComma || count == 3) Error(109u);
        ++m_nPosition;
    }
    if (count == 1)
        token->m_nTag = CFunction::ttObjConstructor1;
    else if (count != 3)
        Error(109u);
    ++m_nPosition;
    ctx.function->AddToken(CFunction::ttCloseGroup, *ctx.translation);
    ctx.operandReady = 1;
}

void qrksFunctionCompiler::OnRegisteredKeywordInStructuredQuery(int id, CString& text) {
    if (id == kIdName) {
        text += u"@@NAME";
        return;
    }
    Error(113u);
}

void qrksFunctionCompiler::OnUnknownPrefix(int prefix, _tagCompilerContext& ctx) {
    switch (prefix) {
    case kLeftSquare:
        ReadQuotedParameter(ctx, 0, false);
        return;
    case kHash:
        ++m_nPosition;
        ReadTypedParameter(ctx, VT_R8);
        return;
    case kDollar:
        ++m_nPosition;
        ReadTypedParameter(ctx, VT_BSTR);
        return;
    default:
        Error(102u);
    }
}

void qrksFunctionCompiler::OnUserKeyword(const char16_t* name, _tagCompilerContext& ctx) {
    if (ctx.operandReady) Error(111u);
    CFunctionCompiler::OnUserKeyword(name, ctx);
}

void qrksFunctionCompiler::ReadParameterName(CString& out) {
    // At '['.
    ++m_nPosition;
    const int start = m_nPosition;
    for (;; ++m_nPosition) {
        const char16_t c = Current();
        if (c == 0) Error(109u);
        if (c == u']') break;
        if (c < 32) Error(102u);
    }
    out = CString(m_pText + start, m_nPosition - start);
    out.Trim();
    ++m_nPosition;
}

void qrksFunctionCompiler::ReadQuotedParameter(_tagCompilerContext& ctx, unsigned short type,
                                               bool strict) {
    if (ctx.operandReady) Error(102u);
    CString name;
    ReadParameterName(name);
    AddVariable(name.GetString(), GetVarType(name.GetString(), type), strict, ctx);
}

void qrksFunctionCompiler::ReadTypedParameter(_tagCompilerContext& ctx, unsigned short type) {
    const int prefix = GetPrefix();
    if (prefix == kLetter) {
        if (ctx.operandReady) Error(102u);
        char16_t name[kMaxIdentifier + 1];
        Identifier(name);
        AddVariable(name, GetVarType(name, type), true, ctx);
    } else if (prefix == kLeftSquare) {
        ReadQuotedParameter(ctx, type, true);
    } else {
        Error(111u);
    }
}

void qrksFunctionCompiler::ReadParamQuery(int id, CString& query, _tagCompilerContext&,
                                          unsigned short& type) {
    query.Empty();
    type = 1;
    for (;;) {
        const char16_t letter = QueryLetter(id);
        query += u'@';
        query += letter;
        if (letter == u'?') {
            // comment(NAME)
            if (GetPrefix() != kLeftBracket) Error(112u);
            ++m_nPosition;
            const int prefix = GetPrefix();
            if (prefix == kLetter) {
                char16_t name[kMaxIdentifier + 1];
                Identifier(name);
                query += name;
            } else if (prefix == kLeftSquare) {
                CString name;
                ReadParameterName(name);
                query += name;
            } else {
                Error(102u);
            }
            if (GetPrefix() != kRightBracket) Error(110u);
            ++m_nPosition;
            return;
        }
        if (GetPrefix() == kLeftBracket) {
            if (id == kIdRoot || id == kIdCurrent) Error(102u);
            ++m_nPosition;
            bool read = false;
            bool comma = false;
            if (GetPrefix() == kQuote) {
                const CString name = GetString(u'"', true);
                query += u'"';
                query += name;
                query += u'"';
                read = true;
                if (GetPrefix() == kComma) {
                    ++m_nPosition;
                    comma = true;
                }
            }
            const int prefix = GetPrefix();
            if (prefix == kDigit || prefix == kMinus) {
                if (read && !comma) Error(109u);
                VARIANT number;
                VariantInit(&number);
                unsigned short numberType = VT_I4;
                Number(number, numberType);
                if (numberType != VT_I4) Error(102u);
                if (number.lVal < 1) Error(u"Аргумент должен быть больше нуля");
                CString count;
                count.Format(u"(%d)", number.lVal - 1);
                query += count;
                read = true;
                comma = false;
            }
            if (GetPrefix() != kRightBracket) Error(102u);
            if (!read || comma) Error(109u);
            ++m_nPosition;
        }
        if (GetPrefix() != kDot) Error(102u);
        ++m_nPosition;
        const int prefix = GetPrefix();
        if (prefix == kLetter) {
            char16_t name[kMaxIdentifier + 1];
            Identifier(name);
            int next = 0;
            if (!IsOwnWord(name, next)) {
                query += name;
                return;
            }
            if (QueryLetter(next)) {
                id = next;
                continue;
            }
            OnRegisteredKeywordInStructuredQuery(next, query);
            return;
        }
        if (prefix == kLeftSquare) {
            CString name;
            ReadParameterName(name);
            query += name;
            return;
        }
        if (prefix == kHash || prefix == kDollar) {
            ++m_nPosition;
            type = prefix == kHash ? VT_R8 : VT_BSTR;
            const int what = GetPrefix();
            if (what == kLetter) {
                char16_t name[kMaxIdentifier + 1];
                Identifier(name);
                int word = 0;
                if (IsOwnWord(name, word)) Error(113u);
                query += name;
            } else if (what == kLeftSquare) {
                CString name;
                ReadParameterName(name);
                query += name;
            } else {
                Error(102u);
            }
            return;
        }
        Error(102u);
    }
}

void qrksFunctionCompiler::ReadAgregFunc(CFunction::TTag tag, _tagCompilerContext& ctx) {
    if (ctx.operandReady) Error(109u);
    CFunction* function = ctx.function;
    CFunction::CTranslationContext& translation = *ctx.translation;
    function->AddToken(CFunction::ttOpenGroup, translation);
    auto* token = static_cast<CFunction::CAgregFuncToken*>(
        function->AddCustomToken(new CFunction::CAgregFuncToken(tag), translation));
    Expect(kLeftBracket, 109u);
    if (ReadArgument(ctx) == eftComma) {
        auto* vars = new qrksVariablesContainer;
        token->SetVars(vars); // owned by the token from here on
        CElement* element = function->GetElementContext();
        // A nested formula: its own translation, the element of the outer
        // one, and `item` for the current element of the source.
        auto readNested = [&]() {
            std::unique_ptr<CFunction> nested(new CFunction);
            nested->SetElementContext(element);
            CFunction::CTranslationContext inner;
            const int ending = ReadFunction(nested.get(), vars, &inner, eftBracket);
            if (ending != eftComma && ending != eftBracket) Error(109u);
            return nested.release();
        };
        std::unique_ptr<CFunction> value, condition;
        ++m_nPosition;
        bool more = true;
        if (tag >= 86) {
            // The exact word `all` stands for "no value function".
            const int position = m_nPosition, line = m_nLine;
            bool all = false;
            if (GetPrefix() == kLetter) {
                char16_t word[kMaxIdentifier + 1];
                Identifier(word);
                all = wcscmp(word, u"all") == 0;
            }
            if (!all) {
                m_nPosition = position;
                m_nLine = line;
                value.reset(readNested());
            }
            more = GetPrefix() == kComma;
            if (more) ++m_nPosition;
        }
        if (more) {
            condition.reset(readNested());
            if (GetPrefix() == kComma) {
                ++m_nPosition;
                // A last expression, left on the stack above the source.
                if (ReadArgument(ctx) != eftBracket) Error(109u);
            }
        }
        token->SetArguments(value.release(), condition.release());
        if (element) vars->SetVarValues(element, nullptr, 0);
    }
    if (GetPrefix() != kRightBracket) Error(109u);
    ++m_nPosition;
    function->AddToken(CFunction::ttCloseGroup, translation);
    ctx.operandReady = 1;
}

void qrksFunctionCompiler::ReadClpShortCode(_tagCompilerContext& ctx) {
    if (ctx.operandReady) Error(109u);
    CFunction* function = ctx.function;
    auto* token = static_cast<CFunction::CClpShortCodeToken*>(
        function->AddCustomToken(new CFunction::CClpShortCodeToken, *ctx.translation));
    auto* vars = new qrksVariablesContainer;
    token->SetVars(vars);
    Expect(kLeftBracket, 109u);
    std::unique_ptr<CFunction> parts[3];
    for (int i = 0; i < 3; ++i) {
        parts[i].reset(new CFunction);
        parts[i]->SetElementContext(function->GetElementContext());
        CFunction::CTranslationContext inner;
        const int ending = ReadFunction(parts[i].get(), vars, &inner, eftBracket);
        if (ending != (i < 2 ? eftComma : eftBracket)) Error(109u);
        ++m_nPosition;
    }
    token->SetArguments(parts[0].release(), parts[1].release(), parts[2].release());
    ctx.operandReady = 1;
}
