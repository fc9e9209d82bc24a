// Arbitrary bytes as UTF-16 text through the JSON reader; every value read
// is printed, and the printed text must read again.
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "tarvex/streams/charstream.h"
#include "tarvex/streams/json/jsoninstream.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size > (1u << 20)) return 0;
    CJsonInStream in;
    if (!in.Open(data, static_cast<int>(size))) return 0;
    for (int i = 0; i < 64; ++i) {
        std::shared_ptr<CJsonNode> node = in.ParseNext();
        if (!node) break;
        CStringBuilderStream printed;
        node->Write(printed, 0);
        CJsonInStream again;
        if (!again.Open(printed.GetBuffer(), static_cast<int>(printed.GetByteLength())))
            std::abort();
        again.ParseNext();
    }
    return 0;
}
