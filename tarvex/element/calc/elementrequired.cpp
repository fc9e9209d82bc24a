// What a formula or a consumer needs from an element, and the path text by
// which one element's formula reaches another element.
#include <vector>

#include "tarvex/element/calc/elementcalc_internal.h"
#include "tarvex/element/element.h"
#include "tarvex/formula/structquery.h"

void CElement::CollectCalculatedParameters(NameArray& names, ParamSet& found) {
    ChildIndexCache siblings;
    CString text;
    for (int64_t i = names.GetLength() - 1; i >= 0; --i) {
        const CString& name = *names[i];
        if (name.IsEmpty()) continue;
        const char16_t* formula = nullptr;
        if (name[0] == u'@') {
            const CParam* param =
                ResolveStructuralKey(this, name.GetString(), text, nullptr, &siblings);
            if (tarvex::elementcalc::FormulaOf(param, formula)) found.insert(param);
            continue;
        }
        const CParam* param = GetParameter(name.GetString());
        if (!param) continue;
        names.Delete(i);
        if (tarvex::elementcalc::FormulaOf(param, formula)) found.insert(param);
    }
}

void CElement::GetParamsRequired(CParamsOwner& result, NameArray* names, bool calculate,
                                 CFunctionComContext* context) {
    if (!names) {
        if (!calculate) {
            result = *this;
            return;
        }
        result.DeleteAllParams();
        for (int64_t i = 0; i < GetParamsCount(); ++i)
            result.AddParameter(CalculateParameterCopy(m_Params[i], context));
        return;
    }
    ChildIndexCache siblings;
    CString text;
    const char16_t* formula = nullptr;
    for (int64_t i = names->GetLength() - 1; i >= 0; --i) {
        const CString& name = *(*names)[i];
        if (name.IsEmpty()) continue;
        if (name[0] == u'@') {
            // The consumer looks the value up by the key itself, so the
            // parameter goes in under that name, holding what the formula
            // would read: the value, a comment or a system value.
            CElement* owner = nullptr;
            const CParam* param =
                ResolveStructuralKey(this, name.GetString(), text, &owner, &siblings);
            if (!param && !(owner && !text.IsEmpty())) continue;
            if (param && calculate && tarvex::elementcalc::FormulaOf(param, formula) && owner) {
                bool isFormula = true;
                owner->CalculateParameterValue(param, text, isFormula, context);
            }
            result.SetParameter(name.GetString(), text.GetString());
            names->Delete(i);
            continue;
        }
        const CParam* param = GetParameter(name.GetString());
        if (!param) continue;
        CParam* copy = result.AddParamCopy(param, true);
        if (calculate && copy && tarvex::elementcalc::FormulaOf(param, formula))
            CalculateParameter(copy, context);
        names->Delete(i);
    }
}

// ---------------------------------------------------------------------------

void CElement::GetIndirectParamQuery(const CElement* from, const char16_t* paramName, CString& out,
                                     bool byName, bool shortForm) const {
    out.Empty();
    if (!from || from->m_pRoot != m_pRoot) return; // no path joins different trees
    std::vector<const CElement*> fromChain;
    std::vector<const CElement*> toChain;
    for (const CElement* e = from; e; e = e->m_pParent) fromChain.push_back(e);
    for (const CElement* e = this; e; e = e->m_pParent) toChain.push_back(e);
    int64_t up = static_cast<int64_t>(fromChain.size()) - 1;
    int64_t down = static_cast<int64_t>(toChain.size()) - 1;
    while (up >= 0 && down >= 0 && fromChain[up] == toChain[down]) {
        --up;
        --down;
    }
    CString step;
    if (up == 0) {
        out += shortForm ? u"@P" : u"parent.";
    } else if (up > 0) {
        const CElement* reached = fromChain[up + 1];
        if (!reached->m_pParent)
            out += shortForm ? u"@R" : u"root.";
        else if (byName)
            step.Format(shortForm ? u"@P\"%s\"" : u"parent(\"%s\").", reached->GetName());
        else
            step.Format(shortForm ? u"@P(%d)" : u"parent(%d).", static_cast<int>(up + 1));
        out += step;
    }
    for (int64_t level = down; level >= 0; --level) {
        const CElement* element = toChain[level];
        const int64_t index = element->m_pParent->GetChildIndex(element);
        if (byName)
            step.Format(shortForm ? u"@F\"%s\"" : u"child(\"%s\").", element->GetName());
        else if (index == 0)
            step = shortForm ? u"@F" : u"child.";
        else
            step.Format(shortForm ? u"@F(%d)" : u"child(%d).", static_cast<int>(index + 1));
        out += step;
    }
    if (paramName && paramName[0]) {
        out += u"[";
        out += paramName;
        out += u"]";
    }
}
