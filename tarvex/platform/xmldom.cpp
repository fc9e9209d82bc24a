#include "tarvex/platform/xmldom.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <libxml/parser.h>
#include <libxml/tree.h>

#include "tarvex/platform/codepage.h"

namespace {

// Parsing never reaches the network, loads no DTD, substitutes no entities
// and keeps quiet on standard error.
constexpr int kParseOptions =
    XML_PARSE_NONET | XML_PARSE_NOBLANKS | XML_PARSE_NOERROR | XML_PARSE_NOWARNING;

CString Wide(const xmlChar* text) {
    if (text == nullptr) return CString();
    return tarvex::FromUtf8(reinterpret_cast<const char*>(text));
}

std::string Narrow(std::u16string_view text) {
    return tarvex::ToUtf8(text);
}

const xmlChar* Bytes(const std::string& text) {
    return reinterpret_cast<const xmlChar*>(text.c_str());
}

bool ReadFile(const char16_t* path, std::string& bytes) {
    const std::string narrow = Narrow(CString(path).View());
    const int fd = ::open(narrow.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) return false;
    struct stat info {};
    bool ok = ::fstat(fd, &info) == 0 && S_ISREG(info.st_mode) && info.st_size < (1LL << 31);
    char chunk[65536];
    while (ok) {
        const ssize_t got = ::read(fd, chunk, sizeof chunk);
        if (got < 0) ok = false;
        if (got <= 0) break;
        bytes.append(chunk, static_cast<size_t>(got));
    }
    ::close(fd);
    return ok;
}

class CLibXmlDocument final : public IXMLDOMDocument {
public:
    CLibXmlDocument() { Reset(); }
    ~CLibXmlDocument() override { xmlFreeDoc(doc); }

    bool LoadXML(std::u16string_view text) override {
        url.Empty();
        // The text is already decoded: whatever its declaration says, the
        // bytes handed on are UTF-8.
        const std::string bytes = Narrow(text);
        return Parse(bytes, "UTF-8");
    }

    bool Load(const char16_t* path) override {
        url.Empty();
        std::string bytes;
        if (path == nullptr || !ReadFile(path, bytes)) {
            Reset();
            return false;
        }
        if (!Parse(bytes, nullptr)) return false;
        url = path;
        return true;
    }

    CString GetURL() const override { return url; }

    XMLDOMNode GetDocumentElement() const override { return xmlDocGetRootElement(doc); }

    CString GetNodeName(XMLDOMNode node) const override {
        const xmlNode* n = AsNode(node);
        if (n == nullptr) return CString();
        switch (n->type) {
        case XML_TEXT_NODE:
            return CString(u"#text");
        case XML_CDATA_SECTION_NODE:
            return CString(u"#cdata-section");
        case XML_COMMENT_NODE:
            return CString(u"#comment");
        case XML_DOCUMENT_NODE:
            return CString(u"#document");
        default:
            return Wide(n->name);
        }
    }

    int GetNodeType(XMLDOMNode node) const override {
        const xmlNode* n = AsNode(node);
        return n == nullptr ? 0 : static_cast<int>(n->type);
    }

    XMLDOMNode GetParentNode(XMLDOMNode node) const override {
        const xmlNode* n = AsNode(node);
        return n == nullptr ? nullptr : n->parent;
    }
    XMLDOMNode GetFirstChild(XMLDOMNode node) const override {
        const xmlNode* n = AsNode(node);
        return n == nullptr ? nullptr : n->children;
    }
    XMLDOMNode GetNextSibling(XMLDOMNode node) const override {
        const xmlNode* n = AsNode(node);
        return n == nullptr ? nullptr : n->next;
    }

    CString GetText(XMLDOMNode node) const override {
        xmlNode* n = AsNode(node);
        if (n == nullptr) return CString();
        xmlChar* content = xmlNodeGetContent(n);
        CString text = Wide(content);
        xmlFree(content);
        return text;
    }

    int GetAttributeCount(XMLDOMNode node) const override {
        const xmlNode* n = AsNode(node);
        if (n == nullptr || n->type != XML_ELEMENT_NODE) return 0;
        int count = 0;
        for (const xmlAttr* a = n->properties; a != nullptr; a = a->next) ++count;
        return count;
    }

    bool GetAttribute(XMLDOMNode node, int index, CString& name, CString& value) const override {
        const xmlNode* n = AsNode(node);
        if (n == nullptr || n->type != XML_ELEMENT_NODE || index < 0) return false;
        xmlAttr* a = n->properties;
        for (; a != nullptr && index > 0; --index) a = a->next;
        if (a == nullptr) return false;
        name = Wide(a->name);
        xmlChar* content = xmlNodeGetContent(reinterpret_cast<xmlNode*>(a));
        value = Wide(content);
        xmlFree(content);
        return true;
    }

    XMLDOMNode CreateElement(const char16_t* name) override {
        const std::string narrow = Narrow(CString(name).View());
        if (narrow.empty()) return nullptr;
        return xmlNewDocNode(doc, nullptr, Bytes(narrow), nullptr);
    }

    XMLDOMNode CreateCDATASection(std::u16string_view text) override {
        const std::string narrow = Narrow(text);
        return xmlNewCDataBlock(doc, Bytes(narrow), static_cast<int>(narrow.size()));
    }

    bool AppendChild(XMLDOMNode parent, XMLDOMNode child) override {
        xmlNode* c = AsNode(child);
        if (c == nullptr) return false;
        if (parent == nullptr) {
            // A document holds one element.
            if (c->type != XML_ELEMENT_NODE || xmlDocGetRootElement(doc) != nullptr) {
                xmlFreeNode(c);
                return false;
            }
            xmlDocSetRootElement(doc, c);
            return true;
        }
        if (xmlAddChild(AsNode(parent), c) == nullptr) {
            xmlFreeNode(c);
            return false;
        }
        return true;
    }

    bool SetAttribute(XMLDOMNode element, const char16_t* name, const char16_t* value) override {
        xmlNode* n = AsNode(element);
        if (n == nullptr || n->type != XML_ELEMENT_NODE) return false;
        const std::string key = Narrow(CString(name).View());
        const std::string text = Narrow(CString(value).View());
        if (key.empty()) return false;
        return xmlSetProp(n, Bytes(key), Bytes(text)) != nullptr;
    }

    bool SetText(XMLDOMNode element, const char16_t* text) override {
        xmlNode* n = AsNode(element);
        if (n == nullptr || n->type != XML_ELEMENT_NODE) return false;
        const std::string narrow = Narrow(CString(text).View());
        // Escapes markup characters, so the text stays text.
        xmlChar* escaped = xmlEncodeSpecialChars(doc, Bytes(narrow));
        xmlNodeSetContent(n, escaped);
        xmlFree(escaped);
        return true;
    }

    bool SaveXML(std::string& bytes) const override {
        xmlChar* memory = nullptr;
        int size = 0;
        xmlDocDumpMemoryEnc(doc, &memory, &size, "UTF-8");
        if (memory == nullptr) return false;
        bytes.assign(reinterpret_cast<const char*>(memory), static_cast<size_t>(size));
        xmlFree(memory);
        return true;
    }

private:
    static xmlNode* AsNode(XMLDOMNode node) { return static_cast<xmlNode*>(node); }

    void Reset() {
        if (doc != nullptr) xmlFreeDoc(doc);
        doc = xmlNewDoc(reinterpret_cast<const xmlChar*>("1.0"));
    }

    bool Parse(const std::string& bytes, const char* encoding) {
        xmlDoc* parsed = nullptr;
        if (bytes.size() < (1u << 31))
            parsed =
                xmlReadMemory(bytes.data(), static_cast<int>(bytes.size()), nullptr, encoding,
                              kParseOptions | (encoding != nullptr ? XML_PARSE_IGNORE_ENC : 0));
        // No document type: it is where entities and external subsets live.
        if (parsed != nullptr && (parsed->intSubset != nullptr || parsed->extSubset != nullptr ||
                                  xmlDocGetRootElement(parsed) == nullptr)) {
            xmlFreeDoc(parsed);
            parsed = nullptr;
        }
        if (parsed == nullptr) {
            Reset();
            return false;
        }
        xmlFreeDoc(doc);
        doc = parsed;
        return true;
    }

    xmlDoc* doc = nullptr;
    CString url;
};

} // namespace

std::unique_ptr<IXMLDOMDocument> CreateXMLDOMDocument() {
    // Sets up libxml2's globals once, before any thread parses.
    static const bool initialised = [] {
        xmlInitParser();
        return true;
    }();
    (void)initialised;
    return std::make_unique<CLibXmlDocument>();
}
