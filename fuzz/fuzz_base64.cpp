// Arbitrary text through every base64 decoder. Buffers are sized exactly as
// the contracts state, so a write past them shows under AddressSanitizer; the
// vector decoder must agree with the scalar one.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "tarvex/streams/base64.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const char* text = reinterpret_cast<const char*>(data);

    std::vector<char> scalar(CFastBase64::chromium_base64_decode_length(size));
    std::size_t n = CFastBase64::chromium_base64_decode(scalar.data(), text, size);

#if defined(__x86_64__)
    if (__builtin_cpu_supports("avx2")) {
        std::vector<char> vector(CFastBase64::chromium_base64_decode_length(size));
        std::size_t m = CFastBase64::fast_avx2_base64_decode(vector.data(), text, size);
        if (m != n || (n != CFastBase64::Error && std::memcmp(scalar.data(), vector.data(), n)))
            std::abort();
    }
#endif

    // Whatever decoded encodes back to text of the same length whose whole
    // groups before the last are the same characters (the last may differ in
    // bits the decoder ignores).
    if (n != CFastBase64::Error && n > 0) {
        std::vector<char> code(CFastBase64::chromium_base64_encode_length(n));
        std::size_t c = CFastBase64::chromium_base64_encode(code.data(), scalar.data(), n);
        if (c != size || std::memcmp(code.data(), text, (size / 4 - 1) * 4) != 0) std::abort();
    }

    // The wide decoder over the same bytes as 16-bit units.
    std::vector<char16_t> wide(size / 2);
    if (!wide.empty()) std::memcpy(wide.data(), data, wide.size() * 2);
    std::vector<unsigned char> out(CBase64::GetDataLength(wide.size()));
    std::uint64_t w = CBase64::Decode(wide.data(), wide.size(), out.data(), u"+/=");
    if (w > out.size()) std::abort();
    return 0;
}
