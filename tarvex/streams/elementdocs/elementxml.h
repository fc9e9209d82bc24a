// Element trees as XML documents.
//
// One line, no white space between tags:
//   <Element name="N" id="I" uid="U">
//     <Parameters><Parameter name="P" value="V" caption="C" comment="M" />...</Parameters>
//     <Tags><Tag value="T" />...</Tags>
//     <Elements>...child elements...</Elements>
//   </Element>
// Each group appears only when not empty, and an element with none of them
// is still written as an open and a closing tag.
//
// A parameter's texts map to the attributes as follows:
//   name    = CParam::m_strName
//   value   = CParam::m_strValue (the stored text; for a formula, its result)
//   caption = CParam::m_strComment (the user's description)
//   comment = CParam::m_strValueComment (the formula source, e.g. "=A+1")
// This follows the argument order of CParam(name, value, comment,
// valueComment), so "comment" holds what a formula needs to be rebuilt.
//
// The reader is forgiving where the writer is strict: it takes
// <Element .../> for an empty element, drops parameters without a name and
// keeps the first of two parameters of one name. Tags are matched as "TAG"
// after upper-casing, while the grammar knows only "Tag", so a <TAG> is
// dropped with the other unknown tags.
#pragma once
#include <string_view>
#include <unordered_map>

#include "tarvex/streams/elementdocs/elementstreamproxy.h"
#include "tarvex/streams/xml/xmlattrs.h"
#include "tarvex/streams/xml/xmloutstream.h"
#include "tarvex/streams/xml/xmlschema.h"

// The grammar of element documents: Element holds Parameters (1),
// Elements (2) and Tags (3); Parameter, Element and Tag are member 1 of
// their lists.
class CCElementXMLSchema : public CXMLSchema {
public:
    CCElementXMLSchema();
};

class CElementXMLOutStream : public CElementStreamProxy, public CElementParamsStreamProxy {
public:
    explicit CElementXMLOutStream(CXMLOutStream& stream);

    // The answers of the tags and children groups are not looked at; a false
    // answer leaves the element's table open. False also when the tree is
    // deeper than the thread's stack allows.
    bool Write(const CElement& element);
    // Nothing at all for an owner without parameters; used on its own for a
    // parameters-only document.
    bool WriteParameters(const CParamsOwner& owner);

protected:
    bool WriteTags(const CElement& element);
    bool WriteChildren(const CElement& element);

private:
    CXMLOutStream& stream;
    // Reused for every tag: AddAttr of a present name replaces the value in
    // place, so the attribute order holds and nothing is reallocated.
    CXMLAttrs elementAttrs;
    CXMLAttrs parameterAttrs;
    CXMLAttrs tagAttrs;
    bool tooDeep = false;
};

class CElementXMLInStream : public CElementStreamProxy, public CElementParamsStreamProxy {
public:
    // The stream is not owned.
    explicit CElementXMLInStream(CXMLSchemaInStream* stream);
    virtual ~CElementXMLInStream();

    // Member ids, for a grammar that embeds these tags under other ids.
    void SetSchema(int element, int elements, int parameters, int parameter, int tags);

    // Reads the next item, which must be an element, and the element.
    bool Read(CElement& element, bool readEnd);
    // Reads the element whose opening tag (with `attrs`) was just delivered.
    // `readEnd` reads one more item after it; for a root it must be false.
    bool ReadElement(CElement& element, CXMLAttrs& attrs, bool readEnd);
    bool ReadParameters(CParamsOwner& owner);

protected:
    void SetElementAttributes(CElement& element, CXMLAttrs& attrs);
    // Null for a parameter without a name.
    CParam* CreateParameter(CXMLAttrs& attrs);
    bool ReadChildElement(CElement& parent);
    // True whatever ends the list: a child that fails is deleted and ends it.
    // False only when the nesting is deeper than the stack allows.
    bool ReadChildElements(CElement& parent);
    bool ReadTags(CElement& element);

    int elementId = 1;
    int elementsId = 2;
    int parametersId = 1;
    int parameterId = 1;
    int tagsId = 3;

private:
    struct CInternedName {
        CString name;
        CString upper;
    };
    // Skips an object member this reader does not know, with all it holds.
    bool SkipObject();
    CXMLSchemaInStream::EReadResult Next(int& id, CXMLAttrs& attrs);

    CXMLSchemaInStream* stream;
    bool tooDeep = false;
    // One attribute set for every item: each item's attributes are used up
    // before the next is read, and the set keeps its objects for reuse.
    CXMLAttrs itemAttrs;
    CString scratchName;
    CString scratchValue;
    // Parameter names repeat across elements: one shared buffer per name
    // (and its upper-cased key) for the whole read.
    std::unordered_map<std::u16string_view, CInternedName> names;
};
