// The CElement members that resolve structural paths: they run the
// formula layer's walker, so they live above both layers.
#include "tarvex/element/calc/elementquery_internal.h"
#include "tarvex/element/element.h"
#include "tarvex/formula/structquery.h"

CParam* CElement::QueryParameter(const char16_t* name, CString& errorText, CElement*& owner) {
    errorText.Empty();
    if (name && name[0] == u'@') {
        CString text;
        return ResolveStructuralKey(this, name, text, &owner);
    }
    owner = this;
    return GetParameter(name);
}

CParam* CElement::QueryParameterInherited(const char16_t* name, CString& errorText,
                                          bool skipEmpty) {
    errorText.Empty();
    if (name && name[0] == u'@') {
        CString text;
        return ResolveStructuralKey(this, name, text);
    }
    for (CElement* element = this; element; element = element->m_pParent) {
        CParam* param = element->GetParameter(name);
        if (param && !(skipEmpty && tarvex::elementcalc::IsBlank(param->m_strValue))) return param;
    }
    return nullptr;
}

CElement* CElement::StructQueryChild(const char16_t* path) {
    CString query;
    query.Format(u"%s@name", path ? path : u"");
    CElementStructQuery walker(this);
    VARIANT value;
    VariantInit(&value);
    bool isComment = false;
    walker.QueryParameter(query.GetString(), value, isComment);
    VariantClear(&value);
    return walker.WalkFailed() ? nullptr : walker.GetElement();
}
