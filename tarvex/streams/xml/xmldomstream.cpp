// The DOM forms of the XML streams, over IXMLDOMDocument.
#include "tarvex/core/exceptions.h"
#include "tarvex/platform/codepage.h"
#include "tarvex/streams/outstream.h"
#include "tarvex/streams/xml/xmlinstream.h"
#include "tarvex/streams/xml/xmloutstream.h"

// ---------------------------------------------------------------- reading --

CXMLDOMInStream::~CXMLDOMInStream() {
    Close();
}

IXMLDOMDocument* CXMLDOMInStream::InitXMLObject() {
    Close();
    owned = CreateXMLDOMDocument();
    document = owned.get();
    return document;
}

int CXMLDOMInStream::Start() {
    current = document != nullptr ? document->GetDocumentElement() : nullptr;
    ascending = false;
    if (current != nullptr) return 1;
    Close();
    return 0;
}

int CXMLDOMInStream::OpenXML(const tagVARIANT& source) {
    if (source.vt != VT_BSTR) {
        Close();
        return 0;
    }
    return Open(source.bstrVal);
}

int CXMLDOMInStream::OpenXML(const char16_t* text, int length) {
    IXMLDOMDocument* doc = InitXMLObject();
    if (text == nullptr) text = u"";
    const std::u16string_view view =
        length < 0 ? std::u16string_view(text) : std::u16string_view(text, size_t(length));
    if (!doc->LoadXML(view)) {
        Close();
        return 0;
    }
    return Start();
}

int CXMLDOMInStream::OpenXML(const char* text, int length) {
    if (text == nullptr) text = "";
    const std::string_view bytes =
        length < 0 ? std::string_view(text) : std::string_view(text, size_t(length));
    const CString wide = tarvex::DecodeCodePage(CP_ACP, bytes);
    return OpenXML(wide.GetString(), wide.GetLength());
}

int CXMLDOMInStream::OpenXML(IXMLDOMDocument* existing) {
    Close();
    document = existing;
    return Start();
}

int CXMLDOMInStream::Open(const void*, int) {
    KV_THROW(u"Метод чтения XML из памяти в DOM не реализован");
}

int CXMLDOMInStream::Open(const char16_t* path) {
    IXMLDOMDocument* doc = InitXMLObject();
    if (path == nullptr || !doc->Load(path)) {
        Close();
        return 0;
    }
    return Start();
}

void CXMLDOMInStream::Close() {
    current = nullptr;
    ascending = false;
    document = nullptr;
    owned.reset();
}

CString CXMLDOMInStream::GetURL() {
    return document != nullptr ? document->GetURL() : CString();
}

CXMLInStream::eReadStatus CXMLDOMInStream::SelectNextNode(bool descend) {
    bool empty = false;
    if (descend) {
        XMLDOMNode child = document->GetFirstChild(current);
        if (child == nullptr) {
            if (!document->GetText(current).IsEmpty()) {
                ascending = true;
                return eReadOpen;
            }
            empty = true;
        } else {
            bool text = false;
            for (; child != nullptr; child = document->GetNextSibling(child)) {
                const int type = document->GetNodeType(child);
                if (type == IXMLDOMDocument::eNodeElement) {
                    current = child;
                    ascending = false;
                    return eReadOpen;
                }
                if (type == IXMLDOMDocument::eNodeText) {
                    if (!document->GetText(child).IsEmpty())
                        text = true;
                    else
                        empty = true;
                }
            }
            if (text) {
                ascending = true;
                return eReadOpen;
            }
        }
    }
    for (XMLDOMNode next = document->GetNextSibling(current); next != nullptr;
         next = document->GetNextSibling(next)) {
        if (document->GetNodeType(next) == IXMLDOMDocument::eNodeElement) {
            current = next;
            ascending = false;
            return empty ? eReadEmpty : eReadOpen;
        }
    }
    // Up to the parent, whose closing tag comes next; above the document
    // element there is nothing more to read.
    XMLDOMNode parent = document->GetParentNode(current);
    if (parent != nullptr && document->GetNodeType(parent) != IXMLDOMDocument::eNodeElement)
        parent = nullptr;
    current = parent;
    ascending = true;
    return empty ? eReadEmpty : eReadClose;
}

CXMLInStream::eReadStatus CXMLDOMInStream::ReadTag(CString& name, CXMLAttrs& attrs) {
    attrs.Flush();
    if (document == nullptr || current == nullptr) return eReadError;
    name = document->GetNodeName(current);
    if (ascending) {
        SelectNextNode(false);
        return eReadClose;
    }
    const int count = document->GetAttributeCount(current);
    CString key;
    CString value;
    for (int i = 0; i < count; ++i)
        if (document->GetAttribute(current, i, key, value)) attrs.AddAttr(key, value);
    return SelectNextNode(true);
}

CXMLInStream::eReadStatus CXMLDOMInStream::ReadParameter(CString& value, const char16_t*) {
    value.Empty();
    if (document == nullptr || current == nullptr) return eReadError;
    for (XMLDOMNode child = document->GetFirstChild(current); child != nullptr;
         child = document->GetNextSibling(child)) {
        if (document->GetNodeType(child) == IXMLDOMDocument::eNodeText) {
            value = document->GetText(child);
            break;
        }
    }
    return SelectNextNode(false);
}

CXMLInStream::eReadStatus CXMLDOMInStream::Skip(const char16_t*) {
    if (document == nullptr || current == nullptr) return eReadError;
    XMLDOMNode parent = document->GetParentNode(current);
    if (parent == nullptr || document->GetNodeType(parent) != IXMLDOMDocument::eNodeElement)
        return eReadError;
    current = parent;
    return SelectNextNode(false);
}

// ---------------------------------------------------------------- writing --

int CXMLDOMOutStream::Create(const char16_t* target) {
    path = target;
    current = nullptr;
    owned = CreateXMLDOMDocument();
    document = owned.get();
    return document != nullptr ? 1 : 0;
}

int CXMLDOMOutStream::Create(IXMLDOMDocument* existing) {
    path.Empty();
    current = nullptr;
    owned.reset();
    document = existing;
    return document != nullptr ? 1 : 0;
}

XMLDOMNode CXMLDOMOutStream::AddElement(const char16_t* name, CXMLAttrs* attrs) {
    if (document == nullptr) return nullptr;
    XMLDOMNode element = document->CreateElement(name);
    if (element == nullptr) return nullptr;
    if (attrs != nullptr) {
        for (int64_t i = 0; i < attrs->GetCount(); ++i) {
            const CXMLAttr* attr = attrs->GetAttr(i);
            document->SetAttribute(element, attr->GetName(), attr->GetValue());
        }
    }
    if (!document->AppendChild(current, element)) return nullptr;
    return element;
}

int CXMLDOMOutStream::WriteParameter(const char16_t* name, double value, CXMLAttrs* attrs) {
    CString text;
    text.Format(u"%g", value);
    return WriteParameter(name, text, 0, attrs);
}

int CXMLDOMOutStream::WriteParameter(const char16_t* name, std::int32_t value, CXMLAttrs* attrs) {
    CString text;
    text.Format(u"%d", value);
    return WriteParameter(name, text, 0, attrs);
}

int CXMLDOMOutStream::WriteParameter(const char16_t* name, const char16_t* value, int skipEmpty,
                                     CXMLAttrs* attrs) {
    const bool emptyText = value == nullptr || *value == 0;
    if (skipEmpty != 0 && emptyText && attrs == nullptr) return 1;
    XMLDOMNode element = AddElement(name, attrs);
    if (element == nullptr) return 0;
    if (!emptyText) document->SetText(element, value);
    return 1;
}

int CXMLDOMOutStream::WriteDateParameter(const char16_t* name, const COleDateTime& value, int,
                                         CXMLAttrs* attrs) {
    CString text;
    OLEDateTimeToStr(value, text);
    return WriteParameter(name, text, 0, attrs);
}

int CXMLDOMOutStream::WriteCDATAParameter(const char16_t* name, const char16_t* value, int length,
                                          int) {
    XMLDOMNode element = AddElement(name, nullptr);
    if (element == nullptr) return 0;
    if (value == nullptr) value = u"";
    const std::u16string_view text =
        length < 0 ? std::u16string_view(value) : std::u16string_view(value, size_t(length));
    XMLDOMNode section = document->CreateCDATASection(text);
    return section != nullptr && document->AppendChild(element, section) ? 1 : 0;
}

int CXMLDOMOutStream::BeginTable(const char16_t* name, CXMLAttrs* attrs) {
    XMLDOMNode element = AddElement(name, attrs);
    if (element == nullptr) return 0;
    current = element;
    return 1;
}

int CXMLDOMOutStream::EndTable() {
    if (current == nullptr) return 0;
    XMLDOMNode parent = document->GetParentNode(current);
    current = parent != nullptr && document->GetNodeType(parent) == IXMLDOMDocument::eNodeElement
                  ? parent
                  : nullptr;
    return 1;
}

int CXMLDOMOutStream::EmptyItem(const char16_t* name, CXMLAttrs* attrs) {
    return AddElement(name, attrs) != nullptr ? 1 : 0;
}

int CXMLDOMOutStream::Close() {
    current = nullptr;
    if (document == nullptr || path.IsEmpty()) return 1;
    std::string bytes;
    if (!document->SaveXML(bytes)) return 0;
    try {
        CFileOutStream file(path, COutStream::eEncodingAnsi);
        // In this encoding markup goes out as the bytes given.
        file.writeMarkup(bytes.data(), static_cast<unsigned int>(bytes.size()));
        file.Close();
    } catch (...) {
        return 0;
    }
    return 1;
}
