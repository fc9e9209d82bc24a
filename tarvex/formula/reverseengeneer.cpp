#include "tarvex/formula/reverseengeneer.h"

#include "tarvex/core/stackroom.h"
#include "tarvex/element/element.h"
#include "tarvex/platform/wide.h"

namespace {

using T = CFunction::TTag;

constexpr const char16_t* kNotImplemented = u"Возможность не реализована";

[[noreturn]] void NotImplemented() {
    throw CSyntaxError(kNotImplemented);
}

// The printed word of each tag from 0 to 102; null where a tag has none.
// Function words are the compiler's, so that a print reads back.
constexpr const char16_t* kTokenNames[] = {
    nullptr,
    nullptr,
    nullptr,
    u"&",
    u"\\",
    u"+",
    u"-",
    u"-",
    u"*",
    u"/",
    u"*",
    u"^",
    nullptr,
    nullptr,
    u"int",
    u"real",
    u"string",
    u"vector",
    u"sin",
    u"cos",
    u"tan",
    u"asin",
    u"acos",
    u"atan",
    u"deg",
    u"rad",
    u"exp",
    u"log",
    u"sqr",
    u"sqrt",
    u"abs",
    u"and",
    u"or",
    u"not",
    u"xor",
    u"=",
    u"<>",
    u"<",
    u">",
    u"<=",
    u">=",
    u"like",
    u"if",
    nullptr,
    u"format",
    u"object",
    u"application",
    u".",
    u".",
    u"hierarchy",
    u"[",
    u"case",
    u"instr",
    u"substr",
    u"replace",
    u"length",
    u"ucase",
    u"lcase",
    nullptr,
    u":=",
    u"gsin",
    u"gcos",
    u"gtan",
    u"isset",
    u"objConstructor1",
    u"objConstructor2",
    u"objConstructor3",
    u"wrap",
    u"plainText",
    nullptr,
    nullptr,
    u"normal",
    u"perp",
    u"angle",
    u"slope",
    u"rotate",
    u"dotProduct",
    u"scale",
    u"distance",
    u"formatList",
    u"min",
    u"max",
    nullptr,
    nullptr,
    nullptr,
    nullptr,
    nullptr,
    nullptr,
    nullptr,
    nullptr,
    nullptr,
    nullptr,
    nullptr,
    nullptr,
    nullptr,
    u"split",
    nullptr,
    nullptr,
    u"totime",
    u"datestr",
    u"timestr",
    u"datetime",
    u"localdatetime",
};
static_assert(sizeof(kTokenNames) / sizeof(kTokenNames[0]) == 103);

} // namespace

// ---------------------------------------------------------------------------
// Points of change

CString CFunctionReverseEngeneer::GetOperatorFormatString(CFunction::TTag, const char16_t* name) {
    CString format;
    format.Format(u"(%%s %s %%s)", name);
    return format;
}

CString CFunctionReverseEngeneer::GetFunctionName(CFunction::TTag, const char16_t* name) {
    return CString(name);
}

const char16_t* CFunctionReverseEngeneer::GetTokenName(CFunction::TTag tag) {
    if (tag < 0 || tag > 102 || !kTokenNames[tag]) throw CSyntaxError(150u);
    return kTokenNames[tag];
}

void CFunctionReverseEngeneer::FormatStringConstant(CString& text) {
    CString out;
    out.Preallocate(text.GetLength() + 2);
    out += u'"';
    for (int i = 0; i < text.GetLength(); ++i) {
        const char16_t c = text[i];
        switch (c) {
        case u'\t':
            out += u"\\t";
            break;
        case u'\n':
            out += u"\\n";
            break;
        case u'\r':
            out += u"\\r";
            break;
        case u'"':
            out += u"\"\"";
            break;
        default:
            out += c;
        }
    }
    out += u'"';
    text = out;
}

void CFunctionReverseEngeneer::FormatIntConstant(CString& out, int value) {
    out.Format(u"%d", value);
}

void CFunctionReverseEngeneer::FormatBoolConstant(CString& out, bool value) {
    out = value ? u"true" : u"false";
}

void CFunctionReverseEngeneer::FormatDoubleConstant(CString& out, double value) {
    out.Format(u"%g", value);
}

void CFunctionReverseEngeneer::FormatUnknownConstant(const VARIANT*, CString& out) {
    out = u"?";
}

void CFunctionReverseEngeneer::DoFormatVariable(const CString& name, std::int64_t, CString& out) {
    out.Format(u"[%s]", name);
}

void CFunctionReverseEngeneer::DoFormatFunction(CString& out, CFunction::TTag, const CString& name,
                                                const std::vector<CString>& args) {
    out = name;
    out += ArgListBegin();
    for (std::size_t i = 0; i < args.size(); ++i) {
        if (i) out += GetArgsDivider();
        out += args[i];
    }
    out += ArgListEnd();
}

void CFunctionReverseEngeneer::DoFormatCondition(CString& out, CFunction::TTag tag,
                                                 const CString& condition, const CString& then,
                                                 const CString& otherwise) {
    out = GetFunctionName(tag, GetTokenName(tag));
    out += ArgListBegin();
    out += condition;
    out += GetArgsDivider();
    out += then;
    out += GetArgsDivider();
    out += otherwise;
    out += ArgListEnd();
}

void CFunctionReverseEngeneer::DoFormatCase(CString& out, CFunction::TTag tag,
                                            const CString& selector,
                                            const std::vector<CCaseText>& cases,
                                            const CString* otherwise) {
    out = GetFunctionName(tag, GetTokenName(tag));
    out += ArgListBegin();
    out += selector;
    out += u' ';
    for (std::size_t i = 0; i < cases.size(); ++i) {
        if (i) out += GetArgsDivider();
        out += GetWHENKeyword();
        out += u' ';
        out += cases[i].when;
        out += u' ';
        out += GetTHENKeyword();
        out += u' ';
        out += cases[i].result;
    }
    if (otherwise) {
        out += GetArgsDivider();
        out += GetELSEKeyword();
        out += u' ';
        out += *otherwise;
    }
    out += ArgListEnd();
}

// ---------------------------------------------------------------------------
// The walk

void CFunctionReverseEngeneer::ReverseEngeneer(CFunction* function, CVariablesContainerBase* vars,
                                               CString& out) {
    m_pFunction = function;
    m_pVariables = vars;
    m_Stack.clear();
    out.Empty();
    if (!function || function->IsEmpty()) return;
    SubReverseEngeneer(function->GetTokens().m_pFirst, nullptr);
    if (!m_Stack.empty()) out = PopText();
}

CString CFunctionReverseEngeneer::PopText() {
    // A list whose operators outnumber their operands (`1+;2` compiles)
    // is a broken sequence, not a reason to read past the stack.
    if (m_Stack.empty()) throw CSyntaxError(150u);
    CString text = std::move(m_Stack.back());
    m_Stack.pop_back();
    return text;
}

const CFunction::CToken*
CFunctionReverseEngeneer::SubReverseEngeneer(const CFunction::CToken* first,
                                             const CFunction::CToken* stop) {
    // Nested `if` and `case` bodies recurse; the compiler bounds their depth
    // with its own frames, which are not ours.
    if (!tarvex::HasStackRoom()) throw CSyntaxError(115u);
    if (!first || first == stop) return nullptr;
    // A list starts with an operand; the loop below prints those like any other.
    switch (first->m_nTag) {
    case T::ttConstant:
    case T::ttVariable:
    case T::ttObject:
    case T::ttApplication:
    case T::ttHierarchy:
        break;
    default:
        throw CSyntaxError(150u);
    }
    for (const CFunction::CToken* t = first; t && t != stop; t = t->m_pNext) {
        const T tag = t->m_nTag;
        switch (tag) {
        case T::ttConstant:
            ToConstant(t->GetValue());
            break;
        case T::ttVariable:
            FormatVar(t);
            break;
        case T::ttConcat:
        case T::ttSubtract:
        case T::ttIncrement:
        case T::ttDecrement:
        case T::ttMultiply:
        case T::ttDivide:
        case T::ttModule:
        case T::ttPower:
        case T::ttAnd:
        case T::ttOr:
        case T::ttXOr:
        case T::ttEqual:
        case T::ttNotEqual:
        case T::ttLess:
        case T::ttGreater:
        case T::ttLessOrEqual:
        case T::ttGreaterOrEqual:
        case T::ttLike:
            Format2ArgOperator(t);
            break;
        case T::ttSign:
        case T::ttToInt:
        case T::ttToReal:
        case T::ttToString:
        case T::ttSin:
        case T::ttCos:
        case T::ttTan:
        case T::ttASin:
        case T::ttACos:
        case T::ttATan:
        case T::ttDeg:
        case T::ttRad:
        case T::ttExp:
        case T::ttLog:
        case T::ttSqr:
        case T::ttSqrt:
        case T::ttAbs:
        case T::ttNot:
        case T::ttLength:
        case T::ttUCase:
        case T::ttLCase:
        case T::ttGSin:
        case T::ttGCos:
        case T::ttGTan:
        case T::ttIsSet:
        case T::ttObjConstructor1:
        case T::ttPlainText:
        case T::ttNormal:
        case T::ttPerpendicular:
            FormatFunction(t, 1);
            break;
        case T::ttToVector:
            FormatFunction(t, t->m_nArg == 3 ? 3 : 1);
            break;
        case T::ttIf:
            t = FormatCondition(t);
            if (!t) return nullptr;
            break;
        case T::ttTransition:
            return t;
        case T::ttFormat:
        case T::ttInstr:
        case T::ttObjConstructor2:
        case T::ttDotProduct:
        case T::ttDistance:
            FormatFunction(t, 2);
            break;
        case T::ttObject:
        case T::ttApplication:
        case T::ttHierarchy:
            m_Stack.emplace_back(GetTokenName(tag));
            break;
        case T::ttMethod:
            FormatCOMMember(t, false);
            break;
        case T::ttProperty:
            FormatCOMMember(t, true);
            break;
        case T::ttSubscript:
            FormatSubscript();
            break;
        case T::ttCase:
            FormatCase(t);
            break;
        case T::ttSubstr:
        case T::ttReplace:
        case T::ttObjConstructor3:
        case T::ttWrap:
            FormatFunction(t, 3);
            break;
        case T::ttAngle:
        case T::ttRotate:
        case T::ttScale:
            FormatFunction(t, t->m_nArg < 1 ? 2 : t->m_nArg);
            break;
        case T::ttSlope:
            FormatFunction(t, t->m_nArg < 2 ? 1 : t->m_nArg);
            break;
        case T::ttFormatList:
            FormatFunction(t, 4);
            break;
        default:
            NotImplemented();
        }
    }
    return nullptr;
}

void CFunctionReverseEngeneer::ToConstant(const VARIANT* value) {
    CString text;
    switch (value ? value->vt : VARTYPE(VT_EMPTY)) {
    case VT_I2:
        FormatIntConstant(text, value->iVal);
        break;
    case VT_I4:
        FormatIntConstant(text, value->lVal);
        break;
    case VT_R4:
        FormatDoubleConstant(text, value->fltVal);
        break;
    case VT_R8:
        FormatDoubleConstant(text, value->dblVal);
        break;
    case VT_BSTR:
        text = value->bstrVal ? value->bstrVal : u"";
        FormatStringConstant(text);
        break;
    case VT_BOOL:
        FormatBoolConstant(text, static_cast<unsigned short>(value->boolVal) == 0xFFFF);
        break;
    default:
        FormatUnknownConstant(value, text);
    }
    m_Stack.push_back(std::move(text));
}

void CFunctionReverseEngeneer::FormatVar(const CFunction::CToken* token) {
    CString name;
    if (m_pVariables) name = m_pVariables->GetVarName(token->m_nArg);
    CString text;
    DoFormatVariable(name, token->m_nArg, text);
    m_Stack.push_back(std::move(text));
}

void CFunctionReverseEngeneer::Format2ArgOperator(const CFunction::CToken* token) {
    CString right = PopText();
    CString left = PopText();
    const CString format = GetOperatorFormatString(token->m_nTag, GetTokenName(token->m_nTag));
    CString text;
    text.Format(format.GetString(), left, right);
    m_Stack.push_back(std::move(text));
}

void CFunctionReverseEngeneer::FormatFunction(CFunction::TTag tag, const CString& name,
                                              std::int64_t n) {
    if (n < 0 || std::uint64_t(n) > m_Stack.size()) throw CSyntaxError(150u);
    std::vector<CString> args(static_cast<std::size_t>(n));
    for (std::size_t i = args.size(); i-- > 0;) args[i] = PopText();
    CString text;
    DoFormatFunction(text, tag, name, args);
    m_Stack.push_back(std::move(text));
}

void CFunctionReverseEngeneer::FormatFunction(const CFunction::CToken* token, std::int64_t n) {
    FormatFunction(token->m_nTag, GetFunctionName(token->m_nTag, GetTokenName(token->m_nTag)), n);
}

const CFunction::CToken* CFunctionReverseEngeneer::FormatCondition(const CFunction::CToken* token) {
    CString condition = PopText();
    const CFunction::CToken* transition = SubReverseEngeneer(token->m_pNext, nullptr);
    if (!transition) throw CSyntaxError(157u);
    CString then = PopText();
    const CFunction::CToken* end = transition->m_pJump;
    const CFunction::CToken* stop = end ? end->m_pNext : nullptr;
    SubReverseEngeneer(transition->m_pNext, stop);
    CString otherwise = PopText();
    CString text;
    DoFormatCondition(text, token->m_nTag, condition, then, otherwise);
    m_Stack.push_back(std::move(text));
    // The walk goes on after the second branch.
    return end;
}

CString CFunctionReverseEngeneer::WalkNested(const CFunction* function) {
    if (!function || function->IsEmpty()) throw CSyntaxError(150u);
    SubReverseEngeneer(function->GetTokens().m_pFirst, nullptr);
    return PopText();
}

void CFunctionReverseEngeneer::FormatCase(const CFunction::CToken* token) {
    CString selector = PopText();
    const auto* select = static_cast<const CFunction::CSelectCaseToken*>(token);
    std::vector<CCaseText> cases;
    CString otherwise;
    bool hasElse = false;
    for (std::int64_t i = 0; i < select->m_Cases.GetLength(); ++i) {
        const CFunction::CCase* c = select->m_Cases[i];
        if (!c->m_pWhen) {
            otherwise = WalkNested(c->m_pResult);
            hasElse = true;
            break;
        }
        CCaseText pair;
        pair.when = WalkNested(c->m_pWhen);
        pair.result = WalkNested(c->m_pResult);
        cases.push_back(std::move(pair));
    }
    CString text;
    DoFormatCase(text, token->m_nTag, selector, cases, hasElse ? &otherwise : nullptr);
    m_Stack.push_back(std::move(text));
}

void CFunctionReverseEngeneer::FormatCOMMember(const CFunction::CToken* token, bool property) {
    // The token's text is "name:count"; a name cannot hold a colon, but the
    // last one is the divider whatever the name.
    const VARIANT* value = token->GetValue();
    CString text = value && value->vt == VT_BSTR && value->bstrVal ? value->bstrVal : u"";
    const int colon = text.ReverseFind(u':');
    CString name = colon < 0 ? text : text.Left(colon);
    const int count = colon < 0 ? 0 : _wtoi(text.GetString() + colon + 1);
    CString call;
    if (property && count == 0) {
        call = name;
    } else {
        FormatFunction(token->m_nTag, name, count);
        call = PopText();
    }
    CString object = PopText();
    object += GetCOMReferenceOperator();
    object += call;
    m_Stack.push_back(std::move(object));
}

void CFunctionReverseEngeneer::FormatSubscript() {
    CString index = PopText();
    CString object = PopText();
    object += SubscriptBegin();
    object += index;
    object += SubscriptEnd();
    m_Stack.push_back(std::move(object));
}

// ---------------------------------------------------------------------------
// Structural queries

void CStructQueryReverseEngeneer::AppendWord(const char16_t* word) {
    if (!m_strText.IsEmpty()) m_strText += u'.';
    m_strText += word;
}

void CStructQueryReverseEngeneer::AppendStructFilter(const CString& name, int count) {
    CString filter;
    if (!name.IsEmpty())
        filter.Format(u"(\"%s\")", name);
    else if (count >= 1)
        filter.Format(u"(%d)", count + 1);
    m_strText += filter;
}

void* CStructQueryReverseEngeneer::GetParameterValue(const char16_t* name, VARIANT& out, bool) {
    VariantClear(&out);
    out.vt = VT_BSTR;
    out.bstrVal = SysAllocString(name ? name : u"");
    return nullptr;
}

void* CStructQueryReverseEngeneer::GetSysParamValue(const char16_t* name, VARIANT& out) {
    return GetParameterValue(name, out, false);
}

void* CStructQueryReverseEngeneer::Step(const char16_t* word, const char16_t* text, VARIANT& out,
                                        bool& isComment) {
    CString name;
    int count = 0;
    int position = 0;
    if (!CElement::GetStructFilter(text, position, name, count)) return Fail();
    AppendWord(word);
    AppendStructFilter(name, count);
    return QueryRest(text + position, out, isComment);
}

void* CStructQueryReverseEngeneer::QueryParentParameter(const char16_t* text, VARIANT& out,
                                                        bool& isComment) {
    return Step(u"parent", text, out, isComment);
}

void* CStructQueryReverseEngeneer::QueryFirstChildParameter(const char16_t* text, std::int64_t,
                                                            VARIANT& out, bool& isComment) {
    return Step(u"child", text, out, isComment);
}

void* CStructQueryReverseEngeneer::QueryLastChildParameter(const char16_t* text, std::int64_t,
                                                           VARIANT& out, bool& isComment) {
    return Step(u"lastChild", text, out, isComment);
}

void* CStructQueryReverseEngeneer::QueryPrevSiblingParameter(const char16_t* text, VARIANT& out,
                                                             bool& isComment) {
    return Step(u"previous", text, out, isComment);
}

void* CStructQueryReverseEngeneer::QueryNextSiblingParameter(const char16_t* text, VARIANT& out,
                                                             bool& isComment) {
    return Step(u"next", text, out, isComment);
}
