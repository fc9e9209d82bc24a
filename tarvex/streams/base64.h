// Base64 in two families.
//
// CBase64 works on 16-bit text with the caller's characters for the values
// 62 and 63 and for padding; pictures of the form configuration use it.
// CFastBase64 works on bytes with the standard alphabet; XML CDATA and the
// service protocol use its table-driven scalar forms. The AVX2 forms are a
// choice for callers that know their processor: nothing checks it for them.
#pragma once
#include <cstddef>
#include <cstdint>

#include "tarvex/platform/cstring.h"

class CBase64 {
public:
    // Replaces `out` with the code and answers its length; a size of 0
    // leaves `out` as it is. `alphabet` holds three characters: the codes of
    // 62 and 63, then the padding. The codes of 62 and 63 are fixed once per
    // process by the first call; later calls take only their padding.
    static std::uint64_t Encode(const unsigned char* data, std::uint64_t size, CString& out,
                                const char16_t* alphabet);
    // Writes at most GetDataLength(length) bytes and answers how many. Units
    // outside the alphabet count as 0, and the first padding character ends
    // the text. All three characters come from this call.
    static std::uint64_t Decode(const char16_t* text, std::uint64_t length, unsigned char* out,
                                const char16_t* alphabet);
    static std::uint64_t GetCodeLength(std::uint64_t size);
    static std::uint64_t GetDataLength(std::uint64_t length);
};

class CFastBase64 {
public:
    // The answer of a decode that met bad input.
    static constexpr std::size_t Error = static_cast<std::size_t>(-1);

    // Padded standard base64 followed by a zero byte that the answer does not
    // count. `out` needs chromium_base64_encode_length(size) bytes.
    static std::size_t chromium_base64_encode(char* out, const char* data, std::size_t size);
    // Answers the bytes written or Error. `out` needs
    // chromium_base64_decode_length(length) bytes; bytes written before an
    // error stay.
    static std::size_t chromium_base64_decode(char* out, const char* text, std::size_t length);
    static std::size_t chromium_base64_encode_length(std::size_t size) {
        return (size + 2) / 3 * 4 + 1;
    }
    static std::size_t chromium_base64_decode_length(std::size_t length) {
        return length / 4 * 3 + 2;
    }

    // The same contracts, 32 characters a step. On x86-64 these execute AVX2
    // instructions, so the caller must know the processor has them; elsewhere
    // they are the scalar forms.
    static std::size_t fast_avx2_base64_encode(char* out, const char* data, std::size_t size);
    static std::size_t fast_avx2_base64_decode(char* out, const char* text, std::size_t length);
};
