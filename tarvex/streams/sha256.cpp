#include "tarvex/streams/sha256.h"

#include <cstring>

namespace {

constexpr std::uint32_t kRound[64] = {
    0x428a2f98, 0x71374491, 0xb5c0fbcf, 0xe9b5dba5, 0x3956c25b, 0x59f111f1, 0x923f82a4, 0xab1c5ed5,
    0xd807aa98, 0x12835b01, 0x243185be, 0x550c7dc3, 0x72be5d74, 0x80deb1fe, 0x9bdc06a7, 0xc19bf174,
    0xe49b69c1, 0xefbe4786, 0x0fc19dc6, 0x240ca1cc, 0x2de92c6f, 0x4a7484aa, 0x5cb0a9dc, 0x76f988da,
    0x983e5152, 0xa831c66d, 0xb00327c8, 0xbf597fc7, 0xc6e00bf3, 0xd5a79147, 0x06ca6351, 0x14292967,
    0x27b70a85, 0x2e1b2138, 0x4d2c6dfc, 0x53380d13, 0x650a7354, 0x766a0abb, 0x81c2c92e, 0x92722c85,
    0xa2bfe8a1, 0xa81a664b, 0xc24b8b70, 0xc76c51a3, 0xd192e819, 0xd6990624, 0xf40e3585, 0x106aa070,
    0x19a4c116, 0x1e376c08, 0x2748774c, 0x34b0bcb5, 0x391c0cb3, 0x4ed8aa4a, 0x5b9cca4f, 0x682e6ff3,
    0x748f82ee, 0x78a5636f, 0x84c87814, 0x8cc70208, 0x90befffa, 0xa4506ceb, 0xbef9a3f7, 0xc67178f2};

constexpr std::uint32_t kInitial[8] = {0x6a09e667, 0xbb67ae85, 0x3c6ef372, 0xa54ff53a,
                                       0x510e527f, 0x9b05688c, 0x1f83d9ab, 0x5be0cd19};

inline std::uint32_t Rotr(std::uint32_t x, int n) {
    return (x >> n) | (x << (32 - n));
}

inline std::uint32_t LoadBig(const unsigned char* p) {
    return std::uint32_t(p[0]) << 24 | std::uint32_t(p[1]) << 16 | std::uint32_t(p[2]) << 8 | p[3];
}

inline void StoreBig(unsigned char* p, std::uint32_t v) {
    p[0] = static_cast<unsigned char>(v >> 24);
    p[1] = static_cast<unsigned char>(v >> 16);
    p[2] = static_cast<unsigned char>(v >> 8);
    p[3] = static_cast<unsigned char>(v);
}

void Compress(std::uint32_t* state, const unsigned char* block) noexcept {
    std::uint32_t w[64];
    for (int i = 0; i < 16; ++i) w[i] = LoadBig(block + 4 * i);
    for (int i = 16; i < 64; ++i) {
        std::uint32_t s0 = Rotr(w[i - 15], 7) ^ Rotr(w[i - 15], 18) ^ (w[i - 15] >> 3);
        std::uint32_t s1 = Rotr(w[i - 2], 17) ^ Rotr(w[i - 2], 19) ^ (w[i - 2] >> 10);
        w[i] = w[i - 16] + s0 + w[i - 7] + s1;
    }
    std::uint32_t a = state[0], b = state[1], c = state[2], d = state[3];
    std::uint32_t e = state[4], f = state[5], g = state[6], h = state[7];
    for (int i = 0; i < 64; ++i) {
        std::uint32_t t1 =
            h + (Rotr(e, 6) ^ Rotr(e, 11) ^ Rotr(e, 25)) + ((e & f) ^ (~e & g)) + kRound[i] + w[i];
        std::uint32_t t2 = (Rotr(a, 2) ^ Rotr(a, 13) ^ Rotr(a, 22)) + ((a & b) ^ (a & c) ^ (b & c));
        h = g;
        g = f;
        f = e;
        e = d + t1;
        d = c;
        c = b;
        b = a;
        a = t1 + t2;
    }
    state[0] += a;
    state[1] += b;
    state[2] += c;
    state[3] += d;
    state[4] += e;
    state[5] += f;
    state[6] += g;
    state[7] += h;
}

} // namespace

void SHA256::reset() noexcept {
    count = 0;
    bufferSize = 0;
    std::memcpy(hash, kInitial, sizeof hash);
}

void SHA256::processBlock(const unsigned char* block) noexcept {
    Compress(hash, block);
    count += BlockSize;
}

void SHA256::add(const void* data, std::size_t size) noexcept {
    auto* bytes = static_cast<const unsigned char*>(data);
    if (size == 0) return;
    if (bufferSize > 0) {
        std::size_t take = BlockSize - bufferSize;
        if (take > size) take = size;
        std::memcpy(buffer + bufferSize, bytes, take);
        bufferSize += take;
        bytes += take;
        size -= take;
        if (bufferSize < BlockSize) return;
        processBlock(buffer);
        bufferSize = 0;
    }
    // Whole blocks straight from the caller's memory, without a copy.
    for (; size >= BlockSize; size -= BlockSize, bytes += BlockSize) processBlock(bytes);
    std::memcpy(buffer, bytes, size);
    bufferSize = size;
}

void SHA256::getHash(unsigned char* out) const noexcept {
    std::uint32_t state[8];
    std::memcpy(state, hash, sizeof state);
    unsigned char tail[2 * BlockSize] = {};
    std::memcpy(tail, buffer, bufferSize);
    tail[bufferSize] = 0x80;
    // The length goes in the last 8 bytes; it needs a second block when fewer
    // than 9 bytes are left after the data.
    std::size_t blocks = bufferSize + 9 > BlockSize ? 2 : 1;
    std::uint64_t bits = (count + bufferSize) * 8;
    unsigned char* end = tail + blocks * BlockSize;
    StoreBig(end - 8, static_cast<std::uint32_t>(bits >> 32));
    StoreBig(end - 4, static_cast<std::uint32_t>(bits));
    for (std::size_t i = 0; i < blocks; ++i) Compress(state, tail + i * BlockSize);
    for (int i = 0; i < 8; ++i) StoreBig(out + 4 * i, state[i]);
}

std::string SHA256::getHash() const {
    static const char kHex[] = "0123456789abcdef";
    unsigned char digest[HashBytes];
    getHash(digest);
    std::string text(2 * HashBytes, '0');
    for (int i = 0; i < HashBytes; ++i) {
        text[2 * i] = kHex[digest[i] >> 4];
        text[2 * i + 1] = kHex[digest[i] & 15];
    }
    return text;
}

std::string SHA256::operator()(const void* data, std::size_t size) {
    reset();
    add(data, size);
    return getHash();
}

std::string SHA256::operator()(const std::string& text) {
    return (*this)(text.data(), text.size());
}
