// CTXByteBuffer: an owned run of bytes on the C heap.
//
// Meant for a handful of large appends (a blob read from a database, a body
// received over HTTP): each Write reallocates by exactly the appended length.
// Every allocation failure, including one while copying, throws CKVException.
#pragma once
#include <cstdint>
#include <string>

#include "tarvex/core/object.h"

class CTXByteBuffer : public CTarvexObject {
public:
    CTXByteBuffer() noexcept = default;
    CTXByteBuffer(const CTXByteBuffer& other);
    CTXByteBuffer(CTXByteBuffer&& other) noexcept;
    CTXByteBuffer& operator=(const CTXByteBuffer& other);
    CTXByteBuffer& operator=(CTXByteBuffer&& other) noexcept;
    ~CTXByteBuffer() override;

    // Frees the bytes.
    void Reset() noexcept;
    // Frees the bytes and allocates `size` uninitialised ones.
    void Reset(std::uint32_t size);

    // Append and answer the new length. Nothing happens for a null pointer or
    // a length of 0.
    std::uint32_t Write(const void* data, std::uint32_t length);
    std::uint32_t Write(std::string&& bytes);

    unsigned char* AsVector() noexcept { return m_pData; }
    const unsigned char* AsVector() const noexcept { return m_pData; }
    std::uint32_t GetLength() const noexcept { return m_nLength; }

private:
    unsigned char* m_pData = nullptr;
    std::uint32_t m_nLength = 0;
};
