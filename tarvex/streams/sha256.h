// SHA256: the FIPS 180-4 digest, fed incrementally.
//
// getHash works on a copy of the state, so a caller may read the digest of
// what it has added so far and go on adding.
#pragma once
#include <cstdint>
#include <string>

class SHA256 {
public:
    enum { HashBytes = 32, BlockSize = 64 };

    SHA256() noexcept { reset(); }

    void add(const void* data, std::size_t size) noexcept;
    // 64 lower-case hexadecimal digits.
    std::string getHash() const;
    // 32 bytes, big-endian words.
    void getHash(unsigned char* out) const noexcept;
    void reset() noexcept;

    // reset, add, getHash().
    std::string operator()(const void* data, std::size_t size);
    std::string operator()(const std::string& text);

private:
    void processBlock(const unsigned char* block) noexcept;

    std::uint64_t count;      // bytes in whole blocks processed
    std::uint64_t bufferSize; // bytes waiting in `buffer`
    unsigned char buffer[BlockSize];
    std::uint32_t hash[8];
};
