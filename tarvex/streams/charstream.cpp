#include "tarvex/streams/charstream.h"

#include <cstdlib>
#include <cstring>

#include "tarvex/streams/bytebuffer.h"

namespace {

// Whole steps of `growBy` not below `n`, and one step more when `n` is
// already a multiple.
std::uint64_t WholeSteps(std::uint64_t n, std::uint64_t growBy) {
    return n + (growBy - n % growBy);
}

// The growth rule shared by the memory streams: whole steps, enough for n,
// and no fewer than half the capacity, so that a document of any size costs
// a logarithmic number of reallocations, not one per step. False when the
// step is 0; throws -1 when the heap refuses.
bool GrowBuffer(char*& buffer, std::uint64_t& size, std::uint64_t growBy, std::uint64_t n) {
    if (growBy == 0) return false;
    const std::uint64_t needed = WholeSteps(n, growBy);
    if (needed < n || size + needed < size) throw -1;
    std::uint64_t increase = needed;
    if (const std::uint64_t half = size / 2; increase < half) {
        const std::uint64_t geometric = WholeSteps(half, growBy);
        if (geometric >= half && size + geometric > size) increase = geometric;
    }
    void* grown = std::realloc(buffer, size + increase);
    if (grown == nullptr && increase != needed) {
        // Short of memory: the plain step may still fit.
        increase = needed;
        grown = std::realloc(buffer, size + increase);
    }
    if (grown == nullptr) throw -1;
    buffer = static_cast<char*>(grown);
    size += increase;
    return true;
}

char* AllocateOrThrow(std::uint64_t size) {
    void* p = std::malloc(size != 0 ? size : 1);
    if (p == nullptr) throw -1;
    return static_cast<char*>(p);
}

} // namespace

// ------------------------------------------------------------ CCharStream --

CCharStream::CCharStream(bool xmlSymbols, std::uint64_t size, std::uint64_t growBy)
    : COutStream(eEncodingUnicode), size(size), growBy(growBy) {
    setXMLSymbols(xmlSymbols);
    buffer = AllocateOrThrow(size);
    if (size >= 2) buffer[0] = buffer[1] = 0;
}

CCharStream::~CCharStream() {
    std::free(buffer);
}

bool CCharStream::Grow(std::uint64_t n) {
    return GrowBuffer(buffer, size, growBy, n);
}

void CCharStream::writeBytes(const void* data, unsigned int n) {
    const std::uint64_t t = getEncoing() == eEncodingUnicode ? 2 : 1;
    if (pos + t + n >= size && !Grow(t + n)) return;
    std::memcpy(buffer + pos, data, n);
    pos += n;
    std::memset(buffer + pos, 0, t);
}

void CCharStream::Clear() {
    char* fresh = static_cast<char*>(std::malloc(size != 0 ? size : 1));
    if (fresh == nullptr) throw -1;
    std::free(buffer);
    buffer = fresh;
    pos = 0;
}

// ------------------------------------------------------- CBinaryOutStream --

CBinaryOutStream::CBinaryOutStream(std::uint64_t size, std::uint64_t growBy)
    : size(size), growBy(growBy), buffer(AllocateOrThrow(size)) {}

CBinaryOutStream::CBinaryOutStream(const CBinaryOutStream& other)
    : size(other.size), growBy(other.growBy), pos(other.pos), buffer(AllocateOrThrow(other.size)) {
    std::memcpy(buffer, other.buffer, pos);
}

CBinaryOutStream& CBinaryOutStream::operator=(const CBinaryOutStream& other) {
    if (this == &other) return *this;
    char* fresh = AllocateOrThrow(other.size);
    std::memcpy(fresh, other.buffer, other.pos);
    std::free(buffer);
    buffer = fresh;
    size = other.size;
    growBy = other.growBy;
    pos = other.pos;
    return *this;
}

CBinaryOutStream::~CBinaryOutStream() {
    std::free(buffer);
}

bool CBinaryOutStream::Grow(std::uint64_t n) {
    return GrowBuffer(buffer, size, growBy, n);
}

void CBinaryOutStream::writeBytes(const void* data, unsigned int count) {
    if (pos + count >= size && !Grow(count)) return;
    std::memcpy(buffer + pos, data, count);
    pos += count;
}

int CBinaryOutStream::Compare(const CBinaryOutStream& other) const {
    std::uint64_t common = pos < other.pos ? pos : other.pos;
    if (common != 0) {
        int result = std::memcmp(buffer, other.buffer, common);
        if (result != 0) return result;
    }
    return pos < other.pos ? -1 : pos > other.pos ? 1 : 0;
}

// -------------------------------------------------------- CBinaryInStream --

CBinaryInStream::CBinaryInStream(const CTXByteBuffer* source)
    : data(reinterpret_cast<const char*>(source->AsVector())), size(source->GetLength()) {}

std::uint64_t CBinaryInStream::Read(void* target, std::uint64_t count) {
    if (pos >= size) return 0;
    std::uint64_t take = size - pos < count ? size - pos : count;
    std::memcpy(target, data + pos, take);
    pos += take;
    return take;
}
