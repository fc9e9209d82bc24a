// Pull reading of XML: tags, attributes, values and CDATA, one call at a time.
//
// CXMLFileInStream is not a general XML processor. It holds the document as
// bytes and walks it with a cursor; it knows no namespaces, no DTD and no
// processing instruction but the leading declaration, which is required.
// Its quirks are part of the contract and documents written by
// CXMLOutStream stay within them:
//  - values are delimited by double quotes only;
//  - only &amp; &lt; &gt; &quot; and &#xHHHH; are decoded; any other '&'
//    reads as '?' and the cursor jumps to the next ';', which is then read as
//    text (so "&apos;" reads "?;");
//  - white space inside values is kept exactly;
//  - a UTF-8 sequence becomes one 16-bit unit (U+FFFD beyond the basic plane
//    or for a malformed lead byte); continuation bytes are not checked.
// Malformed input gives eReadError, never an exception.
#pragma once
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "tarvex/core/object.h"
#include "tarvex/platform/cstring.h"
#include "tarvex/platform/variant.h"
#include "tarvex/platform/xmldom.h"
#include "tarvex/streams/xml/xmlattrs.h"

class CXMLInStream : public CTarvexObject {
public:
    enum eReadStatus : std::int32_t {
        eReadError = -1, // malformed input, or nothing more
        eReadClose = 0,  // a closing tag; for values, the terminator was reached
        eReadOpen = 1,   // an opening tag; for values, ended at '<' or at the end
        eReadEmpty = 2,  // an empty-element tag
    };

    ~CXMLInStream() override = default;
    // The Open family answers 1 on success, 0 on failure.
    virtual int OpenXML(const tagVARIANT& source) = 0;
    virtual int OpenXML(const char16_t* text, int length) = 0;
    virtual int OpenXML(const char* text, int length) = 0;
    virtual bool IsCDataAppeared() = 0;
    // Moves past the closing tag of the element just opened.
    virtual eReadStatus Skip(const char16_t* tagName) = 0;
    virtual eReadStatus ReadTag(CString& name, CXMLAttrs& attrs) = 0;
    virtual int Open(const void* data, int length) = 0;
    virtual int Open(const char16_t* path) = 0;
    virtual void Close() = 0;
    // The text of an element, then its closing tag, which must be `tagName`.
    virtual eReadStatus ReadParameter(CString& value, const char16_t* tagName) = 0;
    virtual CString GetURL() = 0;
};

class CXMLFileInStream : public CXMLInStream {
public:
    CXMLFileInStream() = default;
    CXMLFileInStream(const CXMLFileInStream&) = delete;
    CXMLFileInStream& operator=(const CXMLFileInStream&) = delete;
    ~CXMLFileInStream() override;

    // A BSTR: text when it starts with '<', a path otherwise.
    int OpenXML(const tagVARIANT& source) override;
    // The text as UTF-8; a negative length means up to the terminator.
    int OpenXML(const char16_t* text, int length) override;
    // The bytes as ANSI, whatever the declaration says.
    int OpenXML(const char* text, int length) override;
    bool IsCDataAppeared() override;
    eReadStatus Skip(const char16_t* tagName) override;
    eReadStatus ReadTag(CString& name, CXMLAttrs& attrs) override;
    int Open(const void* data, int length) override;
    // Files of 4 GiB or more are refused.
    int Open(const char16_t* path) override;
    void Close() override;
    eReadStatus ReadParameter(CString& value, const char16_t* tagName) override;
    CString GetURL() override { return CString(); }

    // Reads up to `terminator`, decoding entities and the encoding.
    eReadStatus ReadValue(CString& value, char terminator);

private:
    bool Load(const char* data, std::uint64_t size);
    // A buffer of `size` bytes and the zeroed tail, the one held when there
    // is one (it is then large enough); false when refused.
    bool Allocate(std::uint64_t size);
    bool ReadSignature();
    eReadStatus ParseAttributes(CXMLAttrs& attrs);
    // The attributes up to the end of the tag. The first `kept` of `attrs`
    // are the last tag's; `count` receives how many are this tag's.
    eReadStatus ParseAttributeList(CXMLAttrs& attrs, std::int64_t& kept, std::int64_t& count);
    eReadStatus ReadValueRaw(char terminator); // into the value buffer
    eReadStatus DecodeValue(char terminator);
    eReadStatus ReadCDATA();
    // Room for `n` more units after the value read so far.
    char16_t* ValueRoom(std::size_t n) {
        return valueCapacity - valueLength >= n ? valueChars.get() + valueLength : GrowValue(n);
    }
    char16_t* GrowValue(std::size_t n);
    std::u16string_view Value() const { return {valueChars.get(), valueLength}; }
    // The token at the cursor, a view of the document's bytes.
    std::string_view ReadToken();
    void SkipSpace() {
        SkipBlanks();
        // Comments are rare: looked for only where one can start.
        if (pos < length && length - pos >= 5 && buffer[pos] == '<' && buffer[pos + 1] == '!')
            SkipComment();
    }
    void SkipComment();
    void SkipBlanks() {
        while (pos < length && static_cast<unsigned char>(buffer[pos]) <= 32) ++pos;
    }
    bool At(const char* text, std::uint32_t size) const;
    // The cursor stands on '&': the unit it stands for, the cursor moved on.
    char16_t ReadEntity();
    // The cursor stands on a byte with the top bit set: the one unit of its
    // sequence, or false when the sequence would pass the end of the data.
    bool ReadUtf8(char16_t& unit);

    // The document, then a zero byte and padding, so that sixteen bytes can
    // be loaded from any position before the end.
    char* buffer = nullptr;
    std::uint64_t capacity = 0; // bytes the buffer holds before its tail
    std::uint32_t length = 0;
    std::uint32_t pos = 0;
    bool utf8 = true;
    // The value being read; it keeps its capacity from one read to the next.
    std::unique_ptr<char16_t[]> valueChars;
    std::size_t valueLength = 0;
    std::size_t valueCapacity = 0;
    CString scratchName;
    CXMLAttrs scratchAttrs;
};

// The same pull interface over a document object model (IXMLDOMDocument).
// The walk reports an element with text as open, then its closing tag; an
// element with neither text nor children as empty. Reading from memory is not
// offered: Open(data, length) throws.
class CXMLDOMInStream : public CXMLInStream {
public:
    CXMLDOMInStream() = default;
    CXMLDOMInStream(const CXMLDOMInStream&) = delete;
    CXMLDOMInStream& operator=(const CXMLDOMInStream&) = delete;
    ~CXMLDOMInStream() override;

    // A BSTR names a file to load; any other type answers 0.
    int OpenXML(const tagVARIANT& source) override;
    int OpenXML(const char16_t* text, int length) override;
    // The bytes as ANSI.
    int OpenXML(const char* text, int length) override;
    // An existing document; the stream does not own it.
    int OpenXML(IXMLDOMDocument* document);
    bool IsCDataAppeared() override { return false; }
    eReadStatus Skip(const char16_t* tagName) override;
    eReadStatus ReadTag(CString& name, CXMLAttrs& attrs) override;
    // Throws CKVException: reading XML from memory into a DOM is not offered.
    int Open(const void* data, int length) override;
    int Open(const char16_t* path) override;
    void Close() override;
    eReadStatus ReadParameter(CString& value, const char16_t* tagName) override;
    CString GetURL() override;

private:
    IXMLDOMDocument* InitXMLObject();
    int Start();
    eReadStatus SelectNextNode(bool descend);

    std::unique_ptr<IXMLDOMDocument> owned;
    IXMLDOMDocument* document = nullptr;
    XMLDOMNode current = nullptr;
    bool ascending = false;
};
