#include "tarvex/streams/bytebuffer.h"

#include <cstdlib>
#include <cstring>
#include <utility>

#include "tarvex/core/exceptions.h"

namespace {

[[noreturn]] void ThrowAllocation(const char* function, int line) {
    throw CKVException(u"Ошибка размещения буфера", CKVException::FormatCodePos(function, line));
}

} // namespace

CTXByteBuffer::CTXByteBuffer(const CTXByteBuffer& other) {
    if (other.m_nLength == 0) return;
    m_pData = static_cast<unsigned char*>(std::malloc(other.m_nLength));
    if (m_pData == nullptr) ThrowAllocation(__PRETTY_FUNCTION__, __LINE__);
    std::memcpy(m_pData, other.m_pData, other.m_nLength);
    m_nLength = other.m_nLength;
}

CTXByteBuffer::CTXByteBuffer(CTXByteBuffer&& other) noexcept
    : m_pData(std::exchange(other.m_pData, nullptr)), m_nLength(std::exchange(other.m_nLength, 0)) {
}

CTXByteBuffer& CTXByteBuffer::operator=(const CTXByteBuffer& other) {
    if (this == &other) return *this;
    CTXByteBuffer copy(other); // fails before this buffer is touched
    *this = std::move(copy);
    return *this;
}

CTXByteBuffer& CTXByteBuffer::operator=(CTXByteBuffer&& other) noexcept {
    if (this != &other) {
        std::free(m_pData);
        m_pData = std::exchange(other.m_pData, nullptr);
        m_nLength = std::exchange(other.m_nLength, 0);
    }
    return *this;
}

CTXByteBuffer::~CTXByteBuffer() {
    std::free(m_pData);
}

void CTXByteBuffer::Reset() noexcept {
    std::free(m_pData);
    m_pData = nullptr;
    m_nLength = 0;
}

void CTXByteBuffer::Reset(std::uint32_t size) {
    Reset();
    if (size == 0) return;
    m_pData = static_cast<unsigned char*>(std::malloc(size));
    if (m_pData == nullptr) ThrowAllocation(__PRETTY_FUNCTION__, __LINE__);
    m_nLength = size;
}

std::uint32_t CTXByteBuffer::Write(const void* data, std::uint32_t length) {
    if (data == nullptr || length == 0) return m_nLength;
    // The length is 32-bit: a total that would wrap is as much a failure as
    // an exhausted heap.
    if (length > UINT32_MAX - m_nLength) ThrowAllocation(__PRETTY_FUNCTION__, __LINE__);
    auto* grown = static_cast<unsigned char*>(std::realloc(m_pData, m_nLength + length));
    if (grown == nullptr) ThrowAllocation(__PRETTY_FUNCTION__, __LINE__);
    m_pData = grown;
    std::memcpy(m_pData + m_nLength, data, length);
    m_nLength += length;
    return m_nLength;
}

std::uint32_t CTXByteBuffer::Write(std::string&& bytes) {
    if (bytes.size() > UINT32_MAX) ThrowAllocation(__PRETTY_FUNCTION__, __LINE__);
    std::uint32_t length = Write(bytes.data(), static_cast<std::uint32_t>(bytes.size()));
    bytes.clear();
    return length;
}
