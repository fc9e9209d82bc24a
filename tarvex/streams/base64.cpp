#include "tarvex/streams/base64.h"

#include <array>
#include <cstring>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

// ---------------------------------------------------------------- CBase64 --

namespace {

// The 64 codes, with the places of 62 and 63 filled from the first caller.
struct WideAlphabet {
    char16_t code[64];
    explicit WideAlphabet(const char16_t* alphabet) {
        for (int i = 0; i < 26; ++i) {
            code[i] = char16_t(u'A' + i);
            code[26 + i] = char16_t(u'a' + i);
        }
        for (int i = 0; i < 10; ++i) code[52 + i] = char16_t(u'0' + i);
        code[62] = alphabet[0];
        code[63] = alphabet[1];
    }
};

} // namespace

std::uint64_t CBase64::GetCodeLength(std::uint64_t size) {
    std::uint64_t length = size + size / 3 + (size % 3 != 0 ? 1 : 0);
    return (length + 3) / 4 * 4;
}

std::uint64_t CBase64::GetDataLength(std::uint64_t length) {
    return length - length / 4;
}

std::uint64_t CBase64::Encode(const unsigned char* data, std::uint64_t size, CString& out,
                              const char16_t* alphabet) {
    // A function-local static: the first call fills it under the run-time's
    // guard, and every later call sees those two codes whatever it asks for.
    static const WideAlphabet table(alphabet);
    if (size == 0) return 0;
    const std::uint64_t length = GetCodeLength(size);
    const char16_t pad = alphabet[2];
    char16_t* p = out.GetBufferSetLength(static_cast<int>(length));
    const char16_t* code = table.code;
    std::uint64_t i = 0;
    for (; i + 3 <= size; i += 3) {
        std::uint32_t v =
            std::uint32_t(data[i]) << 16 | std::uint32_t(data[i + 1]) << 8 | data[i + 2];
        *p++ = code[v >> 18];
        *p++ = code[(v >> 12) & 63];
        *p++ = code[(v >> 6) & 63];
        *p++ = code[v & 63];
    }
    if (std::uint64_t rest = size - i; rest != 0) {
        std::uint32_t v = std::uint32_t(data[i]) << 16;
        if (rest == 2) v |= std::uint32_t(data[i + 1]) << 8;
        *p++ = code[v >> 18];
        *p++ = code[(v >> 12) & 63];
        *p++ = rest == 2 ? code[(v >> 6) & 63] : pad;
        *p++ = pad;
    }
    out.ReleaseBuffer(static_cast<int>(length));
    return length;
}

std::uint64_t CBase64::Decode(const char16_t* text, std::uint64_t length, unsigned char* out,
                              const char16_t* alphabet) {
    unsigned char* start = out;
    std::uint32_t group = 0;
    std::uint64_t place = 0;
    for (std::uint64_t i = 0; i < length; ++i) {
        const char16_t ch = text[i];
        place = i % 4;
        std::uint32_t value;
        if (ch >= u'A' && ch <= u'Z')
            value = ch - u'A';
        else if (ch >= u'a' && ch <= u'z')
            value = ch - u'a' + 26;
        else if (ch >= u'0' && ch <= u'9')
            value = ch - u'0' + 52;
        else if (ch == alphabet[0])
            value = 62;
        else if (ch == alphabet[1])
            value = 63;
        else if (ch == alphabet[2]) {
            // Padding flushes the group: in place 3 two bytes, in place 2 one.
            if (place >= 2) *out++ = static_cast<unsigned char>(group >> 16);
            if (place == 3) *out++ = static_cast<unsigned char>(group >> 8);
            return static_cast<std::uint64_t>(out - start);
        } else
            value = 0;
        group |= value << (18 - 6 * place);
        if (place == 3) {
            *out++ = static_cast<unsigned char>(group >> 16);
            *out++ = static_cast<unsigned char>(group >> 8);
            *out++ = static_cast<unsigned char>(group);
            group = 0;
        }
    }
    // A text that ends inside a group without padding keeps the whole bytes
    // its characters make, as padding would have.
    if (length != 0 && place < 3) {
        if (place >= 1) *out++ = static_cast<unsigned char>(group >> 16);
        if (place == 2) *out++ = static_cast<unsigned char>(group >> 8);
    }
    return static_cast<std::uint64_t>(out - start);
}

// ------------------------------------------------------- CFastBase64 scalar --

namespace {

constexpr char kCodes[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// Encoding: the first character of a group by its whole byte, the others by
// a byte whose low six bits are the value, so the loop needs no shifts for
// them.
struct EncodeTables {
    char e0[256], e1[256], e2[256];
    constexpr EncodeTables() : e0(), e1(), e2() {
        for (int i = 0; i < 256; ++i) {
            e0[i] = kCodes[i >> 2];
            e1[i] = kCodes[i & 63];
            e2[i] = kCodes[i & 63];
        }
    }
};

// Decoding: each position's value already shifted into its place in the
// three bytes, read as a little-endian word; an invalid character is
// kBadChar, larger than any OR of valid values.
constexpr std::uint32_t kBadChar = 0x1ffffff;

struct DecodeTables {
    std::uint32_t d0[256], d1[256], d2[256], d3[256];
    constexpr DecodeTables() : d0(), d1(), d2(), d3() {
        for (int i = 0; i < 256; ++i) d0[i] = d1[i] = d2[i] = d3[i] = kBadChar;
        for (std::uint32_t v = 0; v < 64; ++v) {
            auto c = static_cast<unsigned char>(kCodes[v]);
            d0[c] = v << 2;
            d1[c] = (v >> 4) | ((v & 0x0f) << 12);
            d2[c] = ((v >> 2) << 8) | ((v & 0x03) << 22);
            d3[c] = v << 16;
        }
    }
};

constexpr EncodeTables kEncode;
constexpr DecodeTables kDecode;

} // namespace

std::size_t CFastBase64::chromium_base64_encode(char* out, const char* data, std::size_t size) {
    const auto* in = reinterpret_cast<const unsigned char*>(data);
    char* p = out;
    std::size_t i = 0;
    if (size > 2) {
        for (; i < size - 2; i += 3) {
            unsigned char t1 = in[i], t2 = in[i + 1], t3 = in[i + 2];
            *p++ = kEncode.e0[t1];
            *p++ = kEncode.e1[((t1 & 0x03) << 4) | (t2 >> 4)];
            *p++ = kEncode.e1[((t2 & 0x0f) << 2) | (t3 >> 6)];
            *p++ = kEncode.e2[t3];
        }
    }
    switch (size - i) {
    case 1:
        *p++ = kEncode.e0[in[i]];
        *p++ = kEncode.e1[(in[i] & 0x03) << 4];
        *p++ = '=';
        *p++ = '=';
        break;
    case 2:
        *p++ = kEncode.e0[in[i]];
        *p++ = kEncode.e1[((in[i] & 0x03) << 4) | (in[i + 1] >> 4)];
        *p++ = kEncode.e2[(in[i + 1] & 0x0f) << 2];
        *p++ = '=';
        break;
    default:
        break;
    }
    *p = '\0';
    return static_cast<std::size_t>(p - out);
}

std::size_t CFastBase64::chromium_base64_decode(char* out, const char* text, std::size_t length) {
    if (length == 0) return 0;
    if (length < 4 || length % 4 != 0) return Error;
    const auto* in = reinterpret_cast<const unsigned char*>(text);
    if (in[length - 1] == '=') {
        --length;
        if (in[length - 1] == '=') --length;
    }
    const std::size_t groups = length / 4;
    const std::size_t rest = length % 4;
    auto* p = reinterpret_cast<unsigned char*>(out);
    for (std::size_t g = 0; g < groups; ++g, in += 4) {
        std::uint32_t x =
            kDecode.d0[in[0]] | kDecode.d1[in[1]] | kDecode.d2[in[2]] | kDecode.d3[in[3]];
        if (x >= kBadChar) return Error;
        p[0] = static_cast<unsigned char>(x);
        p[1] = static_cast<unsigned char>(x >> 8);
        p[2] = static_cast<unsigned char>(x >> 16);
        p += 3;
    }
    if (rest == 2) {
        std::uint32_t x = kDecode.d0[in[0]] | kDecode.d1[in[1]];
        if (x >= kBadChar) return Error;
        *p++ = static_cast<unsigned char>(x);
    } else if (rest == 3) {
        std::uint32_t x = kDecode.d0[in[0]] | kDecode.d1[in[1]] | kDecode.d2[in[2]];
        if (x >= kBadChar) return Error;
        *p++ = static_cast<unsigned char>(x);
        *p++ = static_cast<unsigned char>(x >> 8);
    } else if (rest == 1) {
        return Error; // one character cannot make a byte
    }
    return static_cast<std::size_t>(p - reinterpret_cast<unsigned char*>(out));
}

// --------------------------------------------------------- CFastBase64 AVX2 --

#if defined(__x86_64__)

namespace {

// Spreads each 3 bytes over 4 bytes holding one six-bit field each. The
// vector holds the input from 4 bytes before the step's first byte, so both
// 128-bit lanes can gather their 12 bytes with in-lane shuffles.
__attribute__((target("avx2"))) inline __m256i enc_reshuffle(__m256i input) {
    const __m256i in = _mm256_shuffle_epi8(
        input, _mm256_set_epi8(10, 11, 9, 10, 7, 8, 6, 7, 4, 5, 3, 4, 1, 2, 0, 1, 14, 15, 13, 14,
                               11, 12, 10, 11, 8, 9, 7, 8, 5, 6, 4, 5));
    const __m256i t0 = _mm256_and_si256(in, _mm256_set1_epi32(0x0fc0fc00));
    const __m256i t1 = _mm256_mulhi_epu16(t0, _mm256_set1_epi32(0x04000040));
    const __m256i t2 = _mm256_and_si256(in, _mm256_set1_epi32(0x003f03f0));
    const __m256i t3 = _mm256_mullo_epi16(t2, _mm256_set1_epi32(0x01000010));
    return _mm256_or_si256(t1, t3);
}

// Six-bit values to characters: one offset per range, picked by a shuffle.
__attribute__((target("avx2"))) inline __m256i enc_translate(__m256i in) {
    const __m256i lut =
        _mm256_setr_epi8(65, 71, -4, -4, -4, -4, -4, -4, -4, -4, -4, -4, -19, -16, 0, 0, 65, 71, -4,
                         -4, -4, -4, -4, -4, -4, -4, -4, -4, -19, -16, 0, 0);
    __m256i indices = _mm256_subs_epu8(in, _mm256_set1_epi8(51));
    const __m256i mask = _mm256_cmpgt_epi8(in, _mm256_set1_epi8(25));
    indices = _mm256_sub_epi8(indices, mask);
    return _mm256_add_epi8(in, _mm256_shuffle_epi8(lut, indices));
}

// Packs 32 six-bit values into 24 bytes at the low end of the vector.
__attribute__((target("avx2"))) inline __m256i dec_reshuffle(__m256i in) {
    const __m256i merge_ab_and_bc = _mm256_maddubs_epi16(in, _mm256_set1_epi32(0x01400140));
    __m256i out = _mm256_madd_epi16(merge_ab_and_bc, _mm256_set1_epi32(0x00011000));
    out = _mm256_shuffle_epi8(out, _mm256_setr_epi8(2, 1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12, -1, -1,
                                                    -1, -1, 2, 1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12,
                                                    -1, -1, -1, -1));
    return _mm256_permutevar8x32_epi32(out, _mm256_setr_epi32(0, 1, 2, 4, 5, 6, -1, -1));
}

} // namespace

__attribute__((target("avx2"))) std::size_t
CFastBase64::fast_avx2_base64_encode(char* out, const char* data, std::size_t size) {
    std::size_t done = 0;
    char* dest = out;
    if (size >= 28) {
        // The first step has no 4 bytes before it to read: it takes 28 bytes
        // into the top of the vector instead.
        alignas(32) char first[32] = {};
        std::memcpy(first + 4, data, 28);
        __m256i input = _mm256_load_si256(reinterpret_cast<const __m256i*>(first));
        for (;;) {
            input = enc_translate(enc_reshuffle(input));
            _mm256_storeu_si256(reinterpret_cast<__m256i*>(dest), input);
            dest += 32;
            done += 24;
            if (size - done < 32) break;
            input = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(data + done - 4));
        }
    }
    return done / 3 * 4 + chromium_base64_encode(dest, data + done, size - done);
}

__attribute__((target("avx2"))) std::size_t
CFastBase64::fast_avx2_base64_decode(char* out, const char* text, std::size_t length) {
    // Ranges of the alphabet by the nibbles of a character: a character is
    // valid when its low-nibble class and high-nibble class share no bit.
    const __m256i lut_lo =
        _mm256_setr_epi8(0x15, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x13, 0x1A,
                         0x1B, 0x1B, 0x1B, 0x1A, 0x15, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11,
                         0x11, 0x11, 0x13, 0x1A, 0x1B, 0x1B, 0x1B, 0x1A);
    const __m256i lut_hi =
        _mm256_setr_epi8(0x10, 0x10, 0x01, 0x02, 0x04, 0x08, 0x04, 0x08, 0x10, 0x10, 0x10, 0x10,
                         0x10, 0x10, 0x10, 0x10, 0x10, 0x10, 0x01, 0x02, 0x04, 0x08, 0x04, 0x08,
                         0x10, 0x10, 0x10, 0x10, 0x10, 0x10, 0x10, 0x10);
    const __m256i lut_roll =
        _mm256_setr_epi8(0, 16, 19, 4, -65, -65, -71, -71, 0, 0, 0, 0, 0, 0, 0, 0, 0, 16, 19, 4,
                         -65, -65, -71, -71, 0, 0, 0, 0, 0, 0, 0, 0);
    const __m256i mask_2F = _mm256_set1_epi8(0x2f);
    char* dest = out;
    while (length >= 45) {
        __m256i str = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(text));
        __m256i hi_nibbles = _mm256_and_si256(_mm256_srli_epi32(str, 4), mask_2F);
        const __m256i lo_nibbles = _mm256_and_si256(str, mask_2F);
        const __m256i lo = _mm256_shuffle_epi8(lut_lo, lo_nibbles);
        const __m256i hi = _mm256_shuffle_epi8(lut_hi, hi_nibbles);
        if (!_mm256_testz_si256(lo, hi)) break; // the scalar form finds the error
        const __m256i eq_2F = _mm256_cmpeq_epi8(str, mask_2F);
        const __m256i roll = _mm256_shuffle_epi8(lut_roll, _mm256_add_epi8(eq_2F, hi_nibbles));
        const __m256i bytes = dec_reshuffle(_mm256_add_epi8(str, roll));
        // Only the 24 bytes of the step: the caller's buffer may end there.
        _mm_storeu_si128(reinterpret_cast<__m128i*>(dest), _mm256_castsi256_si128(bytes));
        _mm_storel_epi64(reinterpret_cast<__m128i*>(dest + 16), _mm256_extracti128_si256(bytes, 1));
        dest += 24;
        text += 32;
        length -= 32;
    }
    std::size_t tail = chromium_base64_decode(dest, text, length);
    if (tail == Error) return Error;
    return static_cast<std::size_t>(dest - out) + tail;
}

#else

std::size_t CFastBase64::fast_avx2_base64_encode(char* out, const char* data, std::size_t size) {
    return chromium_base64_encode(out, data, size);
}

std::size_t CFastBase64::fast_avx2_base64_decode(char* out, const char* text, std::size_t length) {
    return chromium_base64_decode(out, text, length);
}

#endif
