// The text writers: one abstract sink, writeBytes, fed by operations that
// turn 16-bit characters into the stream's encoding and, when asked, into
// XML entities.
//
// Each character is converted by itself, so a surrogate pair reaches UTF-8
// as two replacement characters. No byte order mark is ever written. Text
// is converted in runs into a scratch buffer, so writeBytes is called once
// per run and not once per character.
#pragma once
#include <cstddef>
#include <cstdint>
#include <string>

#include "tarvex/core/object.h"
#include "tarvex/platform/cstring.h"

class COutStream : public CTarvexObject {
public:
    enum EStreamEncoding : std::int32_t {
        eEncodingAnsi = 0,    // code page 1251
        eEncodingUnicode = 1, // UTF-16LE as in memory
        eEncodingUTF8 = 2,
    };

    explicit COutStream(EStreamEncoding encoding = eEncodingUTF8) : encoding(encoding) {}
    ~COutStream() override = default;
    virtual void Close() {}

    // Text, through the escaping rule.
    void write(char ch);
    void write(char16_t ch);
    void write(const char16_t* text);
    void write(const char16_t* text, std::uint64_t count);

    COutStream& operator<<(char ch) { return write(ch), *this; }
    COutStream& operator<<(char16_t ch) { return write(ch), *this; }
    COutStream& operator<<(const char16_t* text) { return write(text), *this; }
    COutStream& operator<<(int value);
    COutStream& operator<<(std::int64_t value);
    // Twelve decimals at most, as every number the library prints as text.
    COutStream& operator<<(double value);

    // Markup, never escaped.
    void tagOpenStart() { writeMarkup("<", 1); }
    void tagCloseStart() { writeMarkup("</", 2); }
    void tagEnd() { writeMarkup(">", 1); }
    void tagEmptyEnd() { writeMarkup("/>", 2); }
    // ASCII markup in the stream's encoding, never escaped.
    void writeMarkup(const char* ascii, unsigned int length);

    // The text converted with no escaping; a negative length means up to the
    // terminator.
    void writeCData(const char16_t* text, int length);
    // Standard base64 of the bytes. In UTF-16 only the first `size`
    // characters of the code are written: callers wanting the whole code in
    // a CDATA section use encoding 0 or 2, as the XML writers do.
    void writeCDataBase64(const void* data, std::uint64_t size);

    void setXMLSymbols(bool on) { xmlSymbols = on; }
    void setCvtQuota(bool on) { cvtQuota = on; }
    bool isConvertingQuotas() const { return cvtQuota; }
    void setEncoding(EStreamEncoding value) { encoding = value; }
    EStreamEncoding getEncoing() const { return encoding; }

protected:
    virtual void writeBytes(const void* data, unsigned int size) = 0;

    // The bytes of one character in the encoding; `length` receives their
    // count (0 for an unknown encoding). `scratch` needs 4 bytes.
    void writeSymbol(char& ch, char* scratch, unsigned int& length) const;
    void writeSymbol(char16_t& ch, char* scratch, unsigned int& length) const;

private:
    // The XML writer assembles a whole tag with `encode` and hands it on in
    // one writeBytes.
    friend class CXMLOutStream;

    // Room `encode` may need for one character: "&quot;" in UTF-16.
    static constexpr unsigned int kMaxCharBytes = 12;

    void writeText(const char16_t* text, std::uint64_t count, bool escape);
    // The bytes of `count` characters in the encoding, escaped when `escape`
    // is set ('"' too when `quotes` is); `out` holds kMaxCharBytes a
    // character. Answers the number of bytes.
    std::size_t encode(char* out, const char16_t* text, std::size_t count, bool escape,
                       bool quotes) const;
    // ` name="value"` of an attribute, each text terminated and taken up to
    // its first NUL or its count, whichever comes first; the value escapes
    // '"'. `out` holds kMaxCharBytes a character and 12 more.
    std::size_t encodeAttribute(char* out, const char16_t* name, std::size_t nameCount,
                                const char16_t* value, std::size_t valueCount) const;

    EStreamEncoding encoding;
    bool cvtQuota = false;
    bool xmlSymbols = true;
};

// A file written through a 64 KiB buffer. The text goes to a temporary file
// beside the target, which replaces the target at Close, so a reader never
// sees half a document and a failed save leaves the old file whole.
class CFileOutStream : public COutStream {
public:
    // Throws CKVSysException naming the path when the file cannot be made.
    CFileOutStream(const char16_t* path, EStreamEncoding encoding);
    // Closes; an error at this point is swallowed, and while an exception is
    // unwinding the temporary file is dropped instead of replacing the target.
    ~CFileOutStream() override;
    // Writes what is buffered, flushes it to the disk and puts the file in
    // place; throws CKVSysException on failure, and after a failed write.
    void Close() override;
    // Drops the temporary file and leaves the target as it was; writes and
    // Close do nothing from here on. For a writer that fails half-way.
    void Abandon() noexcept;

protected:
    void writeBytes(const void* data, unsigned int size) override;

private:
    void Flush();
    void Discard() noexcept;

    int fd = -1;
    CString path;
    std::string target;
    std::string temporary;
    unsigned int used = 0;
    char* buffer = nullptr;
    // A write failed: the temporary file is gone and Close must say so.
    bool failed = false;
};
