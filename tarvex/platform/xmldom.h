// A small document object model: what the DOM forms of the XML streams need
// of one, behind an interface so that their walking logic does not depend on
// the library underneath. Nodes are opaque handles owned by their document
// and valid until it is reloaded or destroyed.
//
// The implementation from CreateXMLDOMDocument() parses with libxml2 with no
// network access, no DTD loading and no entity substitution; a document that
// carries a document type declaration is refused. Whitespace-only text
// between elements is dropped.
#pragma once
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "tarvex/platform/cstring.h"

using XMLDOMNode = void*;

class IXMLDOMDocument {
public:
    // Node types, numbered as in the DOM.
    enum ENodeType : int {
        eNodeElement = 1,
        eNodeAttribute = 2,
        eNodeText = 3,
        eNodeCDATA = 4,
        eNodeComment = 8,
        eNodeDocument = 9,
    };

    virtual ~IXMLDOMDocument() = default;

    // --- Loading: false leaves an empty document.
    virtual bool LoadXML(std::u16string_view text) = 0;
    virtual bool Load(const char16_t* path) = 0;
    // The path of the last Load; empty after LoadXML.
    virtual CString GetURL() const = 0;

    // --- Reading.
    virtual XMLDOMNode GetDocumentElement() const = 0;
    virtual CString GetNodeName(XMLDOMNode node) const = 0;
    virtual int GetNodeType(XMLDOMNode node) const = 0;
    // Null above the document element.
    virtual XMLDOMNode GetParentNode(XMLDOMNode node) const = 0;
    virtual XMLDOMNode GetFirstChild(XMLDOMNode node) const = 0;
    virtual XMLDOMNode GetNextSibling(XMLDOMNode node) const = 0;
    // The text of the node and all below it.
    virtual CString GetText(XMLDOMNode node) const = 0;
    virtual int GetAttributeCount(XMLDOMNode node) const = 0;
    virtual bool GetAttribute(XMLDOMNode node, int index, CString& name, CString& value) const = 0;

    // --- Building. A null parent is the document, which takes one element.
    virtual XMLDOMNode CreateElement(const char16_t* name) = 0;
    virtual XMLDOMNode CreateCDATASection(std::u16string_view text) = 0;
    // False when the child cannot go there; the child is then destroyed.
    virtual bool AppendChild(XMLDOMNode parent, XMLDOMNode child) = 0;
    virtual bool SetAttribute(XMLDOMNode element, const char16_t* name, const char16_t* value) = 0;
    // Replaces the element's content by one text.
    virtual bool SetText(XMLDOMNode element, const char16_t* text) = 0;
    // The document as UTF-8 with a declaration.
    virtual bool SaveXML(std::string& bytes) const = 0;
};

// A new empty document over libxml2.
std::unique_ptr<IXMLDOMDocument> CreateXMLDOMDocument();
