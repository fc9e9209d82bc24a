// Growable text and binary buffers in memory, and a reader over bytes.
//
// Growth failures throw the integer -1, not std::bad_alloc: the entry points
// that own such a stream (the XML and JSON writers) catch exactly that and
// answer failure. A growth step of 0 turns a full buffer into a silent sink.
#pragma once
#include <cstdint>

#include "tarvex/streams/outstream.h"

class CTXByteBuffer;

class CCharStream : public COutStream {
public:
    CCharStream() : CCharStream(true, 255, 255) {}
    CCharStream(bool xmlSymbols, std::uint64_t size, std::uint64_t growBy);
    CCharStream(const CCharStream&) = delete;
    CCharStream& operator=(const CCharStream&) = delete;
    ~CCharStream() override;

    void* GetBuffer() const { return buffer; }
    operator void*() const { return buffer; }
    // Characters written: bytes halved in UTF-16.
    std::uint64_t GetPos() const { return getEncoing() == eEncodingUnicode ? pos / 2 : pos; }
    std::uint64_t GetByteLength() const { return pos; }
    bool IsEmpty() const { return pos == 0; }
    // A new buffer of the grown capacity; not terminated until the next write.
    void Clear();

protected:
    void writeBytes(const void* data, unsigned int size) override;
    std::uint64_t GetSize() const { return size; }

private:
    // The XML writer assembles its tags in place, past the text, and takes
    // them in when whole: no copy through a buffer of its own.
    friend class CXMLOutStream;

    std::uint64_t TerminatorBytes() const { return getEncoing() == eEncodingUnicode ? 2 : 1; }
    // Bytes that can be written at End() with no growth, the terminator
    // kept clear as writeBytes keeps it.
    std::uint64_t FreeBytes() const {
        const std::uint64_t used = pos + TerminatorBytes();
        return size > used ? size - used - 1 : 0;
    }
    char* End() const { return buffer + pos; }
    // Takes `n` bytes written at End(), no more than FreeBytes(), as text.
    void Advance(std::uint64_t n) {
        pos += n;
        Terminate();
    }
    // Ends the text at `pos` again after bytes written at End() were not
    // taken.
    void Terminate() {
        buffer[pos] = 0;
        if (TerminatorBytes() == 2) buffer[pos + 1] = 0;
    }
    bool Grow(std::uint64_t n);

    std::uint64_t size;
    std::uint64_t growBy;
    std::uint64_t pos = 0;
    char* buffer = nullptr;
};

// Text assembled in UTF-16 with XML symbols off.
class CStringBuilderStream : public CCharStream {
public:
    CStringBuilderStream() : CCharStream(false, 255, 255) {}
    CStringBuilderStream(std::uint64_t size, std::uint64_t growBy)
        : CCharStream(false, size, growBy) {}
};

// Native little-endian values appended to a growable buffer. One byte always
// stays free past the data.
class CBinaryOutStream {
public:
    explicit CBinaryOutStream(std::uint64_t size = 256, std::uint64_t growBy = 256);
    CBinaryOutStream(const CBinaryOutStream& other);
    CBinaryOutStream& operator=(const CBinaryOutStream& other);
    virtual ~CBinaryOutStream();

    CBinaryOutStream& operator<<(char v) { return writeBytes(&v, sizeof v), *this; }
    CBinaryOutStream& operator<<(unsigned char v) { return writeBytes(&v, sizeof v), *this; }
    CBinaryOutStream& operator<<(short v) { return writeBytes(&v, sizeof v), *this; }
    CBinaryOutStream& operator<<(char16_t v) { return writeBytes(&v, sizeof v), *this; }
    // `int` and the 32-bit `long` of stored formats share this 4-byte form.
    CBinaryOutStream& operator<<(std::int32_t v) { return writeBytes(&v, sizeof v), *this; }
    CBinaryOutStream& operator<<(std::int64_t v) { return writeBytes(&v, sizeof v), *this; }
    CBinaryOutStream& operator<<(float v) { return writeBytes(&v, sizeof v), *this; }
    CBinaryOutStream& operator<<(double v) { return writeBytes(&v, sizeof v), *this; }
    void writeBytes(const void* data, unsigned int count);

    void* GetBuffer() const { return buffer; }
    operator void*() const { return buffer; }
    std::uint64_t GetLength() const { return pos; }
    bool IsEmpty() const { return pos == 0; }
    // Clamped to the capacity, not to what was written.
    void SetPos(std::uint64_t position) { pos = position < size ? position : size; }

    // -1, 0, 1 on length when the shorter is a prefix; memcmp's value on the
    // first differing content.
    int Compare(const CBinaryOutStream& other) const;
    bool operator==(const CBinaryOutStream& other) const { return Compare(other) == 0; }
    bool operator<(const CBinaryOutStream& other) const { return Compare(other) < 0; }

private:
    bool Grow(std::uint64_t n);

    std::uint64_t size;
    std::uint64_t growBy;
    std::uint64_t pos = 0;
    char* buffer = nullptr;
};

// Reads values back from memory it does not own. A value cut by the end
// replaces only the low bytes that remain; the caller checks IsEof.
class CBinaryInStream {
public:
    explicit CBinaryInStream(const CTXByteBuffer* source);
    CBinaryInStream(const void* data, std::uint64_t size)
        : data(static_cast<const char*>(data)), size(size) {}
    virtual ~CBinaryInStream() = default;

    CBinaryInStream& operator>>(char& v) { return Read(&v, sizeof v), *this; }
    CBinaryInStream& operator>>(unsigned char& v) { return Read(&v, sizeof v), *this; }
    CBinaryInStream& operator>>(short& v) { return Read(&v, sizeof v), *this; }
    CBinaryInStream& operator>>(std::int32_t& v) { return Read(&v, sizeof v), *this; }
    CBinaryInStream& operator>>(std::int64_t& v) { return Read(&v, sizeof v), *this; }
    CBinaryInStream& operator>>(double& v) { return Read(&v, sizeof v), *this; }
    std::uint64_t Read(void* target, std::uint64_t count);
    bool IsEof() const { return pos >= size; }

private:
    const char* data;
    std::uint64_t size;
    std::uint64_t pos = 0;
};
