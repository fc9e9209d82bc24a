// Arbitrary bytes inflated as a raw deflate stream: the answer is false or
// true with some output, never a crash; and what inflates must deflate and
// inflate back to itself.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "tarvex/streams/zip/ziphelper.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size > (1u << 16)) return 0;
    TArrayTemplate<unsigned char> out;
    if (!CKVZipHelper::ExtractRawDeflate(const_cast<std::uint8_t*>(data), unsigned(size), out))
        return 0;
    TArrayTemplate<unsigned char> packed, back;
    if (!CKVZipHelper::MakeRawDeflate(out, packed, true)) std::abort();
    if (!CKVZipHelper::ExtractRawDeflate(packed, back) || !(back == out)) std::abort();
    return 0;
}
