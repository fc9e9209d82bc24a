// clp_short_code: a code joined from the levels of an element's ancestry.
#include <utility>
#include <vector>

#include "tarvex/element/element.h"
#include "tarvex/formula/aggregate.h"
#include "tarvex/formula/elementvariables.h"

CFunction::CClpShortCodeToken::~CClpShortCodeToken() {
    delete m_pCondition;
    delete m_pCode;
    delete m_pSeparator;
}

void CFunction::CClpShortCodeToken::SetArguments(CFunction* condition, CFunction* code,
                                                 CFunction* separator) {
    if (condition != m_pCondition) delete m_pCondition;
    if (code != m_pCode) delete m_pCode;
    if (separator != m_pSeparator) delete m_pSeparator;
    m_pCondition = condition;
    m_pCode = code;
    m_pSeparator = separator;
}

namespace {

// Levels 27 to 29 and those from 30 on are stepped over, once.
bool IsSkippedLevel(const CElement* element) {
    const CParam* level = element->GetParameter(u"BUILDINGS_STRUCT_LEVEL");
    if (!level) return false;
    const char16_t* v = level->m_strValue.GetString();
    return (v[0] == u'2' && v[1] >= u'7' && v[1] <= u'9') || (v[0] == u'3' && v[1] == u'0');
}

} // namespace

void CFunction::ClpSortCode(const CToken* token, VARIANT& top) {
    const auto* clp = token && token->m_nTag == ttClpShortCode
                          ? dynamic_cast<const CClpShortCodeToken*>(token)
                          : nullptr;
    const CTXElementContext* context =
        top.vt == VT_DISPATCH ? dynamic_cast<const CTXElementContext*>(top.pdispVal) : nullptr;
    if (!clp || !context || !context->GetElement()) throw CSyntaxError(148u);
    CFunction* condition = clp->GetCondition();
    CFunction* code = clp->GetCode();
    CFunction* separator = clp->GetSeparator();
    CVariablesContainerBase* vars = clp->GetVars();
    if (!condition || !code || !separator || !vars) throw CSyntaxError(148u);
    auto* elementVars = dynamic_cast<qrksVariablesContainer*>(vars);

    // Bottom-up, a loop rather than a recursion over the ancestry; each
    // level gives its code and the separator that stands before it.
    std::vector<std::pair<CString, CString>> levels;
    CString text;
    for (const CElement* element = context->GetElement(); element; element = element->GetParent()) {
        if (IsSkippedLevel(element)) {
            element = element->GetParent();
            if (!element) break;
        }
        if (elementVars) elementVars->SetVarValues(element, nullptr, 0);
        condition->Count(text, vars);
        if (text != u"true") break;
        CString c, s;
        code->Count(c, vars);
        separator->Count(s, vars);
        levels.emplace_back(std::move(c), std::move(s));
    }
    CString result;
    for (auto level = levels.rbegin(); level != levels.rend(); ++level) {
        if (result.IsEmpty()) {
            result = level->first;
        } else {
            result += level->second;
            result += level->first;
        }
        if (result.GetLength() > kMaxTextLength) throw CSyntaxError(148u);
    }
    VariantClear(&top);
    top.vt = VT_BSTR;
    top.bstrVal = result.AllocSysString();
}
