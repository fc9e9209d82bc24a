#include "tarvex/formula/functioncompiler.h"

#include <mutex>

#include "tarvex/core/stackroom.h"
#include "tarvex/platform/vartime.h"
#include "tarvex/platform/wide.h"

namespace {

using T = CFunction;

struct Word {
    const char16_t* name;
    int id;
    CFunction::TTag tag; // ttConstant where the word has no token of its own
};

// The language's words, ids 100 to 179.
constexpr Word kWords[] = {
    {u"sin", 100, T::ttSin},
    {u"cos", 101, T::ttCos},
    {u"tan", 102, T::ttTan},
    {u"asin", 103, T::ttASin},
    {u"acos", 104, T::ttACos},
    {u"atan", 105, T::ttATan},
    {u"log", 106, T::ttLog},
    {u"exp", 107, T::ttExp},
    {u"sqrt", 108, T::ttSqrt},
    {u"int", 109, T::ttToInt},
    {u"real", 110, T::ttToReal},
    {u"and", 111, T::ttAnd},
    {u"or", 112, T::ttOr},
    {u"xor", 113, T::ttXOr},
    {u"not", 114, T::ttNot},
    {u"if", 115, T::ttIf},
    {u"sqr", 116, T::ttSqr},
    {u"string", 117, T::ttToString},
    {u"like", 118, T::ttLike},
    {u"format", 119, T::ttFormat},
    {u"object", 120, T::ttObject},
    {u"pi", 121, T::ttConstant},
    {u"abs", 122, T::ttAbs},
    {u"instr", 123, T::ttInstr},
    {u"substr", 124, T::ttSubstr},
    {u"replace", 125, T::ttReplace},
    {u"length", 126, T::ttLength},
    {u"ucase", 127, T::ttUCase},
    {u"lcase", 128, T::ttLCase},
    {u"deg", 129, T::ttDeg},
    {u"rad", 130, T::ttRad},
    {u"case", 131, T::ttCase},
    {u"when", 132, T::ttConstant},
    {u"then", 133, T::ttConstant},
    {u"else", 134, T::ttConstant},
    {u"true", 135, T::ttConstant},
    {u"false", 136, T::ttConstant},
    {u"var", 137, T::ttConstant},
    {u"gsin", 138, T::ttGSin},
    {u"gcos", 139, T::ttGCos},
    {u"gtan", 140, T::ttGTan},
    {u"isset", 141, T::ttIsSet},
    {u"plainText", 142, T::ttPlainText},
    {u"wrap", 143, T::ttWrap},
    {u"application", 144, T::ttApplication},
    {u"clp_short_code", 145, T::ttClpShortCode},
    {u"hierarchy", 146, T::ttHierarchy},
    {u"vector", 147, T::ttToVector},
    {u"normal", 148, T::ttNormal},
    {u"perp", 149, T::ttPerpendicular},
    {u"angle", 150, T::ttAngle},
    {u"slope", 151, T::ttSlope},
    {u"rotate", 152, T::ttRotate},
    {u"dotproduct", 153, T::ttDotProduct},
    {u"scale", 154, T::ttScale},
    {u"distance", 155, T::ttDistance},
    {u"formatList", 156, T::ttFormatList},
    {u"min", 157, T::ttMin},
    {u"max", 158, T::ttMax},
    {u"exists", 159, T::ttExists},
    {u"all", 160, T::TTag(83)},
    {u"first", 161, T::TTag(84)},
    {u"last", 162, T::TTag(85)},
    {u"count", 163, T::TTag(86)},
    {u"sum", 164, T::TTag(87)},
    {u"strSum", 165, T::TTag(88)},
    {u"avg", 166, T::TTag(89)},
    {u"findMin", 167, T::TTag(90)},
    {u"findMax", 168, T::TTag(91)},
    {u"strMin", 169, T::TTag(92)},
    {u"strMax", 170, T::ttStrMax},
    {u"item", 171, T::ttItem},
    {u"split", 172, T::ttSplit},
    {u"ctime", 173, T::ttConstant},
    {u"lctime", 174, T::ttConstant},
    {u"totime", 175, T::ttToTime},
    {u"datestr", 176, T::ttDateStr},
    {u"timestr", 177, T::ttTimeStr},
    {u"datetime", 178, T::ttDateTime},
    {u"localdatetime", 179, T::ttLocalDateTime},
};
static_assert(sizeof(kWords) / sizeof(kWords[0]) == 80);

CFunction::TTag TagOfWord(int id) {
    return kWords[id - 100].tag;
}

enum WordId {
    kIdIf = 115,
    kIdAnd = 111,
    kIdOr = 112,
    kIdXor = 113,
    kIdNot = 114,
    kIdLike = 118,
    kIdFormat = 119,
    kIdObject = 120,
    kIdPi = 121,
    kIdInstr = 123,
    kIdSubstr = 124,
    kIdReplace = 125,
    kIdCase = 131,
    kIdWhen = 132,
    kIdThen = 133,
    kIdElse = 134,
    kIdTrue = 135,
    kIdFalse = 136,
    kIdVar = 137,
    kIdWrap = 143,
    kIdApplication = 144,
    kIdClpShortCode = 145,
    kIdHierarchy = 146,
    kIdVector = 147,
    kIdAngle = 150,
    kIdSlope = 151,
    kIdRotate = 152,
    kIdDotProduct = 153,
    kIdScale = 154,
    kIdDistance = 155,
    kIdFormatList = 156,
    kIdMin = 157,
    kIdMax = 158,
    kIdExists = 159,
    kIdStrMax = 170,
    kIdItem = 171,
    kIdSplit = 172,
    kIdCTime = 173,
    kIdLCTime = 174,
};

bool IsOneArgumentWord(int id) {
    switch (id) {
    case 100:
    case 101:
    case 102:
    case 103:
    case 104:
    case 105:
    case 106:
    case 107:
    case 108:
    case 109:
    case 110:
    case 116:
    case 117:
    case 122:
    case 126:
    case 127:
    case 128:
    case 129:
    case 130:
    case 138:
    case 139:
    case 140:
    case 141:
    case 142:
    case 148:
    case 149:
    case 175:
    case 176:
    case 177:
    case 178:
    case 179:
        return true;
    default:
        return false;
    }
}

} // namespace

CFunctionCompiler::CFunctionCompiler() {
    InitCompiler();
}

CNameSpace* CFunctionCompiler::GetGlobalNamespace() {
    // Built once, under the lock of call_once, and only read afterwards.
    static CNameSpace* global = nullptr;
    static std::once_flag once;
    std::call_once(once, [] {
        auto* table = new CNameSpace(u"", nullptr);
        for (const Word& word : kWords) table->AddWord(word.name, word.id, 0);
        global = table;
    });
    return global;
}

void CFunctionCompiler::InitCompiler() {
    delete m_pNameSpace;
    m_pNameSpace = nullptr;
    m_pNameSpace = new CNameSpace(u"", GetGlobalNamespace());
}

bool CFunctionCompiler::isStackFull() const {
    return !tarvex::HasStackRoom();
}

unsigned short CFunctionCompiler::GetVarType(const char16_t*, unsigned long type) {
    return type >= 2 ? (unsigned short)type : (unsigned short)VT_BSTR;
}

void CFunctionCompiler::OnRegisteredKeyword(int, _tagCompilerContext&) {
    Error(113u);
}

void CFunctionCompiler::OnRegisteredKeywordInStructuredQuery(int, CString&) {
    Error(113u);
}

void CFunctionCompiler::ReadAgregFunc(CFunction::TTag, _tagCompilerContext&) {
    Error(113u);
}

void CFunctionCompiler::ReadClpShortCode(_tagCompilerContext&) {
    Error(113u);
}

void CFunctionCompiler::OnUnknownPrefix(int, _tagCompilerContext&) {
    Error(109u);
}

void CFunctionCompiler::OnUserKeyword(const char16_t* name, _tagCompilerContext& ctx) {
    if (ctx.operandReady) Error(109u);
    if (!ctx.variables) Error(109u);
    const std::int64_t index = ctx.variables->CreateVarIndex(name, GetVarType(name, 0), false);
    if (index == -1) Error(109u);
    ctx.function->AddToken(index, CFunction::ttVariable, *ctx.translation);
    ctx.operandReady = 1;
}

CFunction* CFunctionCompiler::Function(const char16_t* text, CVariablesContainerBase* vars,
                                       CElement* element) {
    CString source(text);
    if (source.IsEmpty()) {
        source = u"\"\"";
    } else {
        int end = source.GetLength();
        while (end > 0 && (source[end - 1] == u';' || r_isspace(source[end - 1]))) --end;
        if (end < source.GetLength()) source = source.Left(end);
    }
    if (!m_pNameSpace) InitCompiler();
    auto* function = new CFunction;
    function->SetElementContext(element);
    m_pRootFunction = function;
    SetText(source);
    CFunction::CTranslationContext ctx;
    try {
        ReadFunction(function, vars, &ctx, eftEnd);
    } catch (...) {
        m_pRootFunction = nullptr;
        m_pText = u"";
        delete function;
        throw;
    }
    m_pRootFunction = nullptr;
    m_pText = u"";
    return function;
}

void CFunctionCompiler::Expect(int prefix, unsigned error) {
    if (GetPrefix() != prefix) Error(error);
    ++m_nPosition;
}

void CFunctionCompiler::AddConstant(const VARIANT& value, _tagCompilerContext& ctx) {
    if (ctx.operandReady) Error(109u);
    ctx.function->AddToken(value, *ctx.translation);
    ctx.operandReady = 1;
}

int CFunctionCompiler::ReadArgument(_tagCompilerContext& ctx) {
    ctx.function->AddToken(CFunction::ttOpenGroup, *ctx.translation);
    const int ending = ReadFunction(ctx.function, ctx.variables, ctx.translation, eftBracket);
    ctx.function->AddToken(CFunction::ttCloseGroup, *ctx.translation);
    return ending;
}

int CFunctionCompiler::ReadFunction(CFunction* function, CVariablesContainerBase* vars,
                                    CFunction::CTranslationContext* translation, int terminator) {
    if (isStackFull()) Error(115u);
    _tagCompilerContext ctx{function, 0, vars, translation};
    int depth = 0;
    int result = 0;
    int prefix = GetPrefix();
    if (prefix == kComma) Error(109u);
    auto binary = [&](CFunction::TTag tag, int width) {
        if (!ctx.operandReady) Error(109u);
        ctx.operandReady = 0;
        m_nPosition += width;
        function->AddToken(tag, *translation);
    };
    for (; prefix != kEnd && prefix != kComma; prefix = GetPrefix()) {
        switch (prefix) {
        case kLeftBracket:
            if (ctx.operandReady) Error(109u);
            ++depth;
            ++m_nPosition;
            function->AddToken(CFunction::ttOpenGroup, *translation);
            break;
        case kRightBracket:
            if (!ctx.operandReady) Error(109u);
            if (--depth < 0) {
                if (terminator != eftBracket) Error(110u);
                depth = 0;
                result = eftBracket;
                goto leave;
            }
            ++m_nPosition;
            function->AddToken(CFunction::ttCloseGroup, *translation);
            break;
        case kDot:
            if (!ctx.operandReady) Error(109u);
            ++m_nPosition;
            ReadComMethod(ctx);
            break;
        case kPower:
            binary(CFunction::ttPower, 1);
            break;
        case kMultiply:
            binary(CFunction::ttMultiply, 1);
            break;
        case kDivide:
            binary(CFunction::ttDivide, 1);
            break;
        case kPercent:
            binary(CFunction::ttModule, 1);
            break;
        case kPlus:
            binary(CFunction::ttIncrement, 1);
            break;
        case kAmpersand:
            binary(CFunction::ttConcat, 1);
            break;
        case kBackslash:
            binary(CFunction::ttSubtract, 1);
            break;
        case kEqual:
            binary(CFunction::ttEqual, 1);
            break;
        case kGreater:
            binary(CFunction::ttGreater, 1);
            break;
        case kLess:
            binary(CFunction::ttLess, 1);
            break;
        case kNotEqual:
            binary(CFunction::ttNotEqual, 2);
            break;
        case kGreaterOrEqual:
            binary(CFunction::ttGreaterOrEqual, 2);
            break;
        case kLessOrEqual:
            binary(CFunction::ttLessOrEqual, 2);
            break;
        case kAssign:
            binary(CFunction::ttAssign, 2);
            break;
        case kMinus: {
            if (ctx.operandReady) {
                binary(CFunction::ttDecrement, 1);
                break;
            }
            // Where an operand is expected, a minus before digits belongs to
            // the number; before anything else it is a sign.
            const int position = m_nPosition, line = m_nLine;
            ++m_nPosition;
            const int next = GetPrefix();
            m_nPosition = position;
            m_nLine = line;
            if (next == kDigit) {
                VARIANT value;
                VariantInit(&value);
                unsigned short type;
                Number(value, type);
                AddConstant(value, ctx);
            } else {
                ++m_nPosition;
                function->AddToken(CFunction::ttSign, *translation);
            }
            break;
        }
        case kQuote: {
            if (ctx.operandReady) Error(109u);
            CString text = GetString(u'"', true);
            VARIANT value;
            value.vt = VT_BSTR;
            value.bstrVal = text.AllocSysString();
            try {
                AddConstant(value, ctx);
            } catch (...) {
                VariantClear(&value);
                throw;
            }
            VariantClear(&value);
            break;
        }
        case kDigit: {
            if (ctx.operandReady) Error(109u);
            VARIANT value;
            VariantInit(&value);
            unsigned short type;
            Number(value, type);
            AddConstant(value, ctx);
            break;
        }
        case kLeftSquare:
            if (ctx.operandReady)
                ReadSubscript(ctx);
            else
                OnUnknownPrefix(prefix, ctx);
            break;
        case kRightSquare:
            if (terminator == eftBracket) {
                result = eftBracket;
                goto leave;
            }
            OnUnknownPrefix(prefix, ctx);
            break;
        case kSemicolon:
            function->AddToken(CFunction::ttStatementEnd, *translation);
            if (!(depth == 0 && terminator == eftEnd && !translation->m_pLast))
                Error(u"Ожидается окончание предыдущего выражения. \";\" найдена.");
            ++m_nPosition;
            translation->Reset();
            ctx.operandReady = 0;
            break;
        case kLetter: {
            char16_t name[kMaxIdentifier + 1];
            Identifier(name);
            tagRWData data{};
            const int id = m_pNameSpace ? m_pNameSpace->IsNamespaceWord(name, data) : 0;
            if (id >= kWordFirst && id <= kWordLast) {
                if (id == kIdWhen || id == kIdThen || id == kIdElse) {
                    const int word = id == kIdWhen ? eftWhen : id == kIdThen ? eftThen : eftElse;
                    if (terminator < eftCaseWord) Error(113u);
                    result = word;
                    goto leave;
                }
                ReadWord(id, ctx);
            } else if (id) {
                OnRegisteredKeyword(id, ctx);
            } else if (CTXFunctionVariable* variable =
                           m_pRootFunction ? m_pRootFunction->GetVariable(name) : nullptr) {
                VARIANT value;
                value.vt = VT_DISPATCH;
                value.pdispVal = variable;
                AddConstant(value, ctx);
            } else {
                OnUserKeyword(name, ctx);
            }
            break;
        }
        default:
            OnUnknownPrefix(prefix, ctx);
            break;
        }
    }
    result = prefix == kComma ? eftComma : eftEnd;
leave:
    function->ApplyPendingExpressions();
    if (depth != 0) Error(110u);
    if (translation->m_pLast && !ctx.operandReady) Error(111u);
    return result;
}

void CFunctionCompiler::AddFunctionToken(CFunction::TTag tag, _tagCompilerContext& ctx) {
    if (ctx.operandReady) Error(109u);
    ctx.function->AddToken(tag, *ctx.translation);
    // The bracket itself is read by the main loop.
    if (GetPrefix() != kLeftBracket) Error(112u);
}

void CFunctionCompiler::ReadWord(int id, _tagCompilerContext& ctx) {
    CFunction::CTranslationContext& translation = *ctx.translation;
    if (IsOneArgumentWord(id)) {
        AddFunctionToken(TagOfWord(id), ctx);
        return;
    }
    switch (id) {
    case kIdAnd:
    case kIdOr:
    case kIdXor:
    case kIdLike:
        if (!ctx.operandReady) Error(109u);
        ctx.operandReady = 0;
        ctx.function->AddToken(TagOfWord(id), translation);
        return;
    case kIdNot:
        if (ctx.operandReady) Error(109u);
        ctx.function->AddToken(CFunction::ttNot, translation);
        return;
    case kIdInstr:
    case kIdSplit:
        ReadFixedArguments(TagOfWord(id), 2, ctx);
        return;
    case kIdSubstr:
    case kIdReplace:
    case kIdWrap:
        ReadFixedArguments(TagOfWord(id), 3, ctx);
        return;
    case kIdIf:
        ReadIf(ctx);
        return;
    case kIdFormat:
    case kIdVector:
    case kIdAngle:
    case kIdSlope:
    case kIdRotate:
    case kIdDotProduct:
    case kIdScale:
    case kIdDistance:
    case kIdMin:
    case kIdMax:
        ReadVariableArguments(id, TagOfWord(id), ctx);
        return;
    case kIdPi:
    case kIdTrue:
    case kIdFalse:
    case kIdCTime:
    case kIdLCTime: {
        VARIANT value;
        VariantInit(&value);
        if (id == kIdPi) {
            value.vt = VT_R8;
            value.dblVal = 3.141592653589793;
        } else if (id == kIdTrue || id == kIdFalse) {
            value.vt = VT_BOOL;
            value.boolVal = id == kIdTrue ? VARIANT_TRUE : VARIANT_FALSE;
        } else {
            // The clock is read now: the formula keeps the time it was
            // compiled at.
            SYSTEMTIME now;
            if (id == kIdCTime)
                GetSystemTime(&now);
            else
                GetLocalTime(&now);
            value.vt = VT_DATE;
            if (!SystemTimeToVariantTime(&now, &value.dblVal))
                Error(u"Ошибка получения значения времени");
        }
        AddConstant(value, ctx);
        return;
    }
    case kIdObject:
        if (ctx.operandReady) Error(109u);
        if (GetPrefix() == kLeftBracket) {
            ctx.function->AddToken(1, CFunction::ttObject, translation);
        } else {
            ctx.function->AddToken(0, CFunction::ttObject, translation);
            ctx.operandReady = 1;
        }
        return;
    case kIdApplication:
    case kIdItem:
        if (ctx.operandReady) Error(109u);
        ctx.function->AddToken(TagOfWord(id), translation);
        ctx.operandReady = 1;
        return;
    case kIdHierarchy:
        if (ctx.operandReady) Error(109u);
        ctx.function->AddToken(CFunction::ttHierarchy, translation);
        if (GetPrefix() != kLeftBracket) Error(109u);
        return;
    case kIdCase:
        ReadCase(ctx);
        return;
    case kIdVar:
        ReadVar(ctx);
        return;
    case kIdFormatList:
        ReadFormatList(ctx);
        return;
    default:
        if (TagOfWord(id) >= CFunction::ttExists && TagOfWord(id) <= CFunction::ttStrMax) {
            ReadAgregFunc(TagOfWord(id), ctx);
            return;
        }
        if (id == kIdClpShortCode) {
            ReadClpShortCode(ctx);
            return;
        }
        Error(113u);
    }
}

void CFunctionCompiler::ReadFixedArguments(CFunction::TTag tag, int count,
                                           _tagCompilerContext& ctx) {
    if (ctx.operandReady) Error(109u);
    // The arguments as one outer group, so that a pending sign waits for
    // the whole call, as it does for `if`.
    ctx.function->AddToken(CFunction::ttOpenGroup, *ctx.translation);
    ctx.function->AddToken(tag, *ctx.translation);
    Expect(kLeftBracket, 109u);
    for (int i = 0; i < count; ++i) {
        const int ending = ReadArgument(ctx);
        if (ending != (i + 1 < count ? eftComma : eftBracket)) Error(109u);
        ++m_nPosition;
    }
    ctx.function->AddToken(CFunction::ttCloseGroup, *ctx.translation);
    ctx.operandReady = 1;
}

void CFunctionCompiler::ReadVariableArguments(int id, CFunction::TTag tag,
                                              _tagCompilerContext& ctx) {
    if (ctx.operandReady) Error(109u);
    ctx.function->AddToken(CFunction::ttOpenGroup, *ctx.translation);
    CFunction::CToken* token = ctx.function->AddToken(tag, *ctx.translation);
    Expect(kLeftBracket, 109u);
    int count = 0;
    for (;;) {
        const int ending = ReadArgument(ctx);
        ++count;
        if (ending == eftBracket) break;
        if (ending != eftComma) Error(109u);
        ++m_nPosition;
    }
    bool valid = false;
    std::int64_t arg = 0;
    switch (id) {
    case kIdFormat:
    case kIdMin:
    case kIdMax:
        valid = true;
        arg = count;
        break;
    case kIdVector:
        valid = count == 1 || count == 3;
        arg = count == 3 ? 3 : 0;
        break;
    case kIdAngle:
    case kIdScale:
        valid = count == 2 || count == 3;
        arg = count == 3 ? 3 : 0;
        break;
    case kIdSlope:
        valid = count == 1 || count == 2;
        arg = count == 2 ? 2 : 0;
        break;
    case kIdRotate:
        valid = count >= 2 && count <= 4;
        arg = count == 2 ? 0 : count;
        break;
    default:
        valid = count == 2;
        break;
    }
    if (!valid) Error(109u);
    ++m_nPosition;
    ctx.function->AddToken(CFunction::ttCloseGroup, *ctx.translation);
    token->m_nArg = arg;
    ctx.operandReady = 1;
}

void CFunctionCompiler::ReadIf(_tagCompilerContext& ctx) {
    if (ctx.operandReady) Error(109u);
    CFunction* function = ctx.function;
    CFunction::CTranslationContext& translation = *ctx.translation;
    function->AddToken(CFunction::ttOpenGroup, translation);
    CFunction::CToken* condition = function->AddToken(CFunction::ttIf, translation);
    Expect(kLeftBracket, 109u);
    if (ReadArgument(ctx) != eftComma) Error(109u);
    ++m_nPosition;
    CFunction::CToken* transition = function->AddTokenAfter(CFunction::ttTransition, translation);
    if (ReadArgument(ctx) != eftComma) Error(109u);
    ++m_nPosition;
    condition->m_pJump = transition;
    CFunction::CToken* placeholder = function->AddTokenAfter(CFunction::ttPlaceholder, translation);
    const int ending = ReadArgument(ctx);
    CFunction::SetTransitionPointer(transition, placeholder, -1);
    function->DeleteToken(placeholder, translation);
    function->AddToken(CFunction::ttCloseGroup, translation);
    if (ending != eftBracket) Error(109u);
    ++m_nPosition;
    ctx.operandReady = 1;
}

void CFunctionCompiler::ReadCase(_tagCompilerContext& ctx) {
    if (ctx.operandReady) Error(109u);
    CFunction* function = ctx.function;
    CFunction::CTranslationContext& translation = *ctx.translation;
    translation.Push();
    translation.m_bSignPending = false;
    CFunction::CToken* token = function->AddToken(CFunction::ttCase, translation);
    Expect(kLeftBracket, 109u);
    function->AddToken(CFunction::ttOpenGroup, translation);
    int ending = ReadFunction(function, ctx.variables, &translation, eftCaseWord);
    function->AddToken(CFunction::ttCloseGroup, translation);
    if (ending != eftWhen) Error(117u);
    int word = eftWhen;
    for (;;) {
        CFunction* when = nullptr;
        if (word == eftWhen) {
            when = new CFunction;
            when->InheritContext(function);
            when->SetElementContext(function->GetElementContext());
            try {
                CFunction::CTranslationContext inner;
                if (ReadFunction(when, ctx.variables, &inner, eftThen) != eftThen) Error(118u);
            } catch (...) {
                delete when;
                throw;
            }
        } else if (word != eftElse) {
            Error(119u);
        }
        auto* result = new CFunction;
        result->InheritContext(function);
        result->SetElementContext(function->GetElementContext());
        try {
            CFunction::CTranslationContext inner;
            ending = ReadFunction(result, ctx.variables, &inner, eftBracket);
        } catch (...) {
            delete when;
            delete result;
            throw;
        }
        function->AddCase(token, when, result);
        if (ending == eftComma) {
            ++m_nPosition;
            if (GetPrefix() != kLetter) Error(102u);
            char16_t name[kMaxIdentifier + 1];
            Identifier(name);
            tagRWData data{};
            const int id = m_pNameSpace ? m_pNameSpace->IsNamespaceWord(name, data) : 0;
            if (id == kIdWhen)
                word = eftWhen;
            else if (id == kIdElse)
                word = eftElse;
            else
                Error(113u);
            continue;
        }
        if (ending == eftBracket && Current() == u')') break;
        Error(102u);
    }
    ctx.operandReady = 1;
    ++m_nPosition;
    translation.Pop(CFunction::ttCloseGroup);
    if (translation.m_bSignPending) translation.Pop(CFunction::ttCloseGroup);
}

void CFunctionCompiler::ReadComMethod(_tagCompilerContext& ctx) {
    char16_t name[kMaxIdentifier + 1];
    Identifier(name);
    CFunction::CToken* token = ctx.function->AddToken(name, *ctx.translation);
    if (GetPrefix() != kLeftBracket) {
        token->m_nTag = CFunction::ttProperty;
        return;
    }
    ++m_nPosition;
    if (GetPrefix() == kRightBracket) {
        ++m_nPosition;
        return;
    }
    int count = 0;
    for (;;) {
        const int ending = ReadArgument(ctx);
        ++count;
        if (ending == eftBracket) break;
        if (ending != eftComma) Error(109u);
        ++m_nPosition;
    }
    if (Current() != u')') Error(109u);
    ++m_nPosition;
    ctx.function->UpdateMethod(token, name, count);
}

void CFunctionCompiler::ReadSubscript(_tagCompilerContext& ctx) {
    ++m_nPosition;
    CFunction::CToken* token = ctx.function->AddToken(CFunction::ttSubscript, *ctx.translation);
    int count = 0;
    for (;;) {
        const int ending = ReadArgument(ctx);
        ++count;
        if (ending == eftComma) {
            ++m_nPosition;
            continue;
        }
        if (ending == eftBracket && Current() == u']') break;
        Error(109u);
    }
    ++m_nPosition;
    ctx.function->SetTokenIndex(token, count);
}

void CFunctionCompiler::ReadVar(_tagCompilerContext& ctx) {
    if (ctx.function != m_pRootFunction || !m_pRootFunction)
        Error(u"Объявление переменной вне основной зоны видимости");
    if (ctx.operandReady) Error(109u);
    if (Current() != u' ') Error(u"Ошибка объявления идентификатора");
    ++m_nPosition;
    char16_t name[kMaxIdentifier + 1];
    Identifier(name);
    if (!name[0]) Error(u"Пустой идентификатор переменной");
    tagRWData data{};
    CString text;
    if (m_pNameSpace && m_pNameSpace->IsNamespaceWord(name, data)) {
        text.Format(
            u"Использование зарезервированного ключевого слова в качестве имени переменной (%s)",
            name);
        Error(text.GetString());
    }
    if (m_pRootFunction->GetVariable(name)) {
        text.Format(u"Повторное объявление переменной (%s)", name);
        Error(text.GetString());
    }
    m_pRootFunction->AddVaribaleToken(name, *ctx.translation);
    ctx.operandReady = 1;
}

int CFunctionCompiler::ReadKeyword(const char16_t* const* words, const int* values, int count,
                                   const char16_t* error) {
    SkipSpace();
    char16_t name[kMaxIdentifier + 1];
    Identifier(name);
    for (int i = 0; i < count; ++i)
        if (wcscmp(name, words[i]) == 0) return values[i];
    m_nPosition = m_nPosition >= 2 ? m_nPosition - 2 : 0;
    Error(error);
    return 0;
}

void CFunctionCompiler::ReadFormatList(_tagCompilerContext& ctx) {
    static const char16_t* const kSorts[] = {u"sortNone", u"sortAsc", u"sortDesc"};
    static const int kSortValues[] = {0, 4, 8};
    static const char16_t* const kCompacts[] = {u"compactNone", u"compactFull", u"compactPartial",
                                                u"compactUnique"};
    static const int kCompactValues[] = {0, 1, 2, 3};
    static const char16_t* const kSearches[] = {u"numSrchFront", u"numSrchBack", u"numSrchNone"};
    static const int kSearchValues[] = {0, 1, 2};

    if (ctx.operandReady) Error(109u);
    CFunction* function = ctx.function;
    CFunction::CToken* token = function->AddToken(CFunction::ttFormatList, *ctx.translation);
    Expect(kLeftBracket, 109u);
    function->AddToken(CFunction::ttOpenGroup, *ctx.translation);
    for (int i = 0; i < 2; ++i) {
        if (ReadArgument(ctx) != eftComma) Error(109u);
        ++m_nPosition;
    }
    const int sort =
        ReadKeyword(kSorts, kSortValues, 3,
                    u"Неверное ключевое слово - ожидается sortNone, sortAsc или sortDesc");
    Expect(kComma, 109u);
    const int compact = ReadKeyword(kCompacts, kCompactValues, 4,
                                    u"Неверное ключевое слово - ожидается compactNone, "
                                    u"compactFull, compactPartial или compactUnique");
    Expect(kComma, 109u);
    if (ReadArgument(ctx) != eftComma) Error(109u);
    ++m_nPosition;
    int search = 0;
    const int ending = ReadArgument(ctx);
    if (ending == eftComma) {
        ++m_nPosition;
        search = ReadKeyword(
            kSearches, kSearchValues, 3,
            u"Неверное ключевое слово - ожидается numSrchFront, numSrchBack или numSrchNone");
        if (GetPrefix() != kRightBracket) Error(109u);
    } else if (ending != eftBracket) {
        Error(109u);
    }
    ++m_nPosition;
    function->AddToken(CFunction::ttCloseGroup, *ctx.translation);
    token->m_nArg = search * 16 + sort + compact;
    ctx.operandReady = 1;
}
