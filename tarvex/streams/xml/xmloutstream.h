// Writing XML as parameters (a tag with a text) and tables (a tag with
// children).
//
// CXMLOutStream writes one line with no indentation, double quotes only and
// the declaration <?xml version="1.0" ?> without an encoding or a byte
// order mark, so that CXMLFileInStream reads back all it writes. A document
// written in encoding 0 or 1 therefore carries no mark of its encoding.
// Element text keeps '"' plain; attribute values escape it.
#pragma once
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>

#include "tarvex/core/object.h"
#include "tarvex/core/stacktemplate.h"
#include "tarvex/platform/cstring.h"
#include "tarvex/platform/oledatetime.h"
#include "tarvex/platform/xmldom.h"
#include "tarvex/streams/charstream.h"
#include "tarvex/streams/xml/xmlattrs.h"

class CXMLOutStreamBase : public CTarvexObject {
public:
    ~CXMLOutStreamBase() override = default;
    // Each answers 1 on success, 0 on failure. A null `attrs` means none.
    // "%g": six significant digits.
    virtual int WriteParameter(const char16_t* name, double value, CXMLAttrs* attrs = nullptr) = 0;
    virtual int WriteParameter(const char16_t* name, std::int32_t value,
                               CXMLAttrs* attrs = nullptr) = 0;
    // Nothing when the text is empty and skipEmpty is not 0, even with
    // attributes; an empty text otherwise gives <n></n>, never <n/>.
    virtual int WriteParameter(const char16_t* name, const char16_t* value, int skipEmpty = 1,
                               CXMLAttrs* attrs = nullptr) = 0;
    virtual int WriteDateParameter(const char16_t* name, const COleDateTime& value, int skipEmpty,
                                   CXMLAttrs* attrs = nullptr) = 0;
    // A negative length means up to the terminator. The text is not escaped
    // and "]]>" inside it is not split.
    virtual int WriteCDATAParameter(const char16_t* name, const char16_t* value, int length,
                                    int skipEmpty) = 0;
    virtual int BeginTable(const char16_t* name, CXMLAttrs* attrs = nullptr) = 0;
    virtual int EndTable() = 0;
    // <n A />, with the blank.
    virtual int EmptyItem(const char16_t* name, CXMLAttrs* attrs = nullptr) = 0;
    virtual int Close() = 0;

    // "%4d-%02d-%02dT%02d:%02d:%02d", or empty for a date with no calendar form.
    static void OLEDateTimeToStr(const COleDateTime& value, CString& text);
};

class CXMLOutStream : public CXMLOutStreamBase {
public:
    CXMLOutStream() = default;
    CXMLOutStream(const CXMLOutStream&) = delete;
    CXMLOutStream& operator=(const CXMLOutStream&) = delete;
    ~CXMLOutStream() override;

    // A memory stream (1024 bytes, growing by 8192) with the declaration
    // written. The caller owns it from here on, also after Close. Null when
    // already created or when memory runs out.
    CCharStream* Create(COutStream::EStreamEncoding encoding);
    // A UTF-8 file. 0 when already created or when the file cannot be made.
    int Create(const char16_t* path);

    int WriteParameter(const char16_t* name, double value, CXMLAttrs* attrs = nullptr) override;
    int WriteParameter(const char16_t* name, std::int32_t value,
                       CXMLAttrs* attrs = nullptr) override;
    int WriteParameter(const char16_t* name, const char16_t* value, int skipEmpty = 1,
                       CXMLAttrs* attrs = nullptr) override;
    int WriteDateParameter(const char16_t* name, const COleDateTime& value, int skipEmpty,
                           CXMLAttrs* attrs = nullptr) override;
    int WriteCDATAParameter(const char16_t* name, const char16_t* value, int length,
                            int skipEmpty) override;
    int WriteCDATAbase64Parameter(const char16_t* name, const void* data, std::uint64_t size,
                                  int skipEmpty);
    int BeginTable(const char16_t* name, CXMLAttrs* attrs = nullptr) override;
    // </n> of the innermost table; "</>" when none is open.
    int EndTable() override;
    int EmptyItem(const char16_t* name, CXMLAttrs* attrs = nullptr) override;
    // Closes the open tables, inner first; deletes the stream when owned.
    int Close() override;

    COutStream* GetOutputStream() const { return stream; }

protected:
    void Write(const char16_t* text, bool cvtQuota);
    void WriteAttrs(CXMLAttrs* attrs);

private:
    // The bytes of the item being written: each public call assembles its
    // tags here and hands them to the stream at once. They are assembled
    // in the free room of the writer's own memory stream when it has
    // enough, so that handing them on is a length update; otherwise, and
    // for any other stream, in storage of the writer's own, the first part
    // of it inside the writer.
    class CTagBytes {
    public:
        CTagBytes() = default;
        CTagBytes(const CTagBytes&) = delete;
        CTagBytes& operator=(const CTagBytes&) = delete;
        ~CTagBytes();
        // Room for `n` more bytes at the end; throws -1 when the heap refuses.
        char* Room(std::size_t n) { return capacity - size >= n ? data + size : Grow(n); }
        // Where the next item goes in place: `memory`, when not null, is
        // the stream the bytes will go to.
        void Start(CCharStream* memory);
        // Hands the bytes to `stream` and forgets them.
        void Send(COutStream* stream);

        char* data = nullptr;
        std::size_t size = 0;
        std::size_t capacity = 0;

    private:
        static constexpr std::size_t kInline = 1024;
        char* Grow(std::size_t n);

        CCharStream* inPlace = nullptr; // the stream whose room `data` is
        char* own = ownInline;
        std::size_t ownCapacity = kInline;
        char ownInline[kInline];
    };

    // The names of the open tables, innermost last, end to end, each
    // followed by its length in four units: opening and closing tables
    // costs no allocation, and none at all while the names fit inside.
    class CTableNames {
    public:
        CTableNames() = default;
        CTableNames(const CTableNames&) = delete;
        CTableNames& operator=(const CTableNames&) = delete;
        ~CTableNames();
        bool IsEmpty() const { return used == 0; }
        void Push(const char16_t* name);
        std::u16string_view Top() const;
        void Pop() { used -= Top().size() + kLengthUnits; }
        void Clear() { used = 0; }

    private:
        static constexpr std::size_t kInline = 256;
        static constexpr std::size_t kLengthUnits = 4;
        char16_t* units = unitsInline;
        std::size_t used = 0;
        std::size_t capacity = kInline;
        char16_t unitsInline[kInline];
    };

    void WriteDeclaration();
    // Readies the tag bytes for the next item: in place when the stream is
    // the writer's own memory stream.
    void StartItem() { pending.Start(memory); }
    // Texts longer than this are written straight to the stream, not
    // assembled with the tag.
    static constexpr std::size_t kLongText = 4096;
    // Tags whose worst case needs more room than this are assembled piece
    // by piece, each piece with room for itself only.
    static constexpr std::size_t kLongTag = 64 * 1024;

    // A few ASCII bytes of markup with their count.
    struct CMarkup {
        template <std::size_t N>
        constexpr explicit CMarkup(const char (&literal)[N]) : text(literal), length(N - 1) {}
        const char* text;
        unsigned int length;
    };
    // `start`, the name, the attributes and `end`: a whole tag, in one
    // piece of room when it can be.
    void PutTag(CMarkup start, const char16_t* name, std::size_t nameLength, CXMLAttrs* attrs,
                CMarkup end);
    void PutOpenTag(const char16_t* name, CXMLAttrs* attrs);
    void PutAttrs(CXMLAttrs* attrs);
    void PutMarkup(const char* ascii, unsigned int length);
    // Escaped as the stream escapes, '"' only with `quotes`.
    void PutText(const char16_t* text, bool quotes);
    void PutText(const char16_t* text, std::size_t count, bool escape, bool quotes);
    void PutCloseTag(const char16_t* name);
    void Send() { pending.Send(stream); }

    CTagBytes pending;
    CTableNames tableNames;
    COutStream* stream = nullptr;
    // `stream` when it is the memory stream Create made.
    CCharStream* memory = nullptr;
    int created = 0;
    int ownsStream = 1;
};

// The same writer building a document object (IXMLDOMDocument). Every write
// appends an element to the open table, or makes the document element at the
// top; Close saves to the path given to Create, when there is one.
class CXMLDOMOutStream : public CXMLOutStreamBase {
public:
    CXMLDOMOutStream() = default;
    CXMLDOMOutStream(const CXMLDOMOutStream&) = delete;
    CXMLDOMOutStream& operator=(const CXMLDOMOutStream&) = delete;
    ~CXMLDOMOutStream() override = default;

    // A new document, saved to `path` (may be empty) at Close. 1 or 0.
    int Create(const char16_t* path);
    // Writes into `document`, which the caller keeps; Close saves nothing.
    int Create(IXMLDOMDocument* document);
    IXMLDOMDocument* GetXMLDocument() const { return document; }

    int WriteParameter(const char16_t* name, double value, CXMLAttrs* attrs = nullptr) override;
    int WriteParameter(const char16_t* name, std::int32_t value,
                       CXMLAttrs* attrs = nullptr) override;
    // Skips only an empty text with skipEmpty set and no attributes.
    int WriteParameter(const char16_t* name, const char16_t* value, int skipEmpty = 1,
                       CXMLAttrs* attrs = nullptr) override;
    // No test of the date: an invalid one gives an empty element.
    int WriteDateParameter(const char16_t* name, const COleDateTime& value, int skipEmpty,
                           CXMLAttrs* attrs = nullptr) override;
    // Never skips.
    int WriteCDATAParameter(const char16_t* name, const char16_t* value, int length,
                            int skipEmpty) override;
    int BeginTable(const char16_t* name, CXMLAttrs* attrs = nullptr) override;
    // 0 when no table is open.
    int EndTable() override;
    int EmptyItem(const char16_t* name, CXMLAttrs* attrs = nullptr) override;
    // Saves when a path was given; 0 when that fails.
    int Close() override;

private:
    // A new element with `attrs`, appended where writes go; null on failure.
    XMLDOMNode AddElement(const char16_t* name, CXMLAttrs* attrs);

    CString path;
    std::unique_ptr<IXMLDOMDocument> owned;
    IXMLDOMDocument* document = nullptr;
    XMLDOMNode current = nullptr; // the open table; null at the top
};
