// Arbitrary bytes read as a UTF-16 JSON element document; a tree that reads
// is printed again and the print read back. The printer is lossy for some
// letters by design, so only the absence of faults is checked.
#include <cstddef>
#include <cstdint>

#include "tarvex/streams/charstream.h"
#include "tarvex/streams/elementdocs/elementjson.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size > (1u << 20)) return 0;
    CJsonInStream in;
    if (!in.Open(data, static_cast<int>(size))) return 0;
    CElementJsonInStream reader(in);
    CElement root;
    if (!reader.Read(root)) return 0;
    CStringBuilderStream out;
    CElementJsonOutStream writer(out);
    if (!writer.Write(root)) return 0;
    CJsonInStream again;
    if (!again.Open(out.GetBuffer(), static_cast<int>(out.GetByteLength()))) return 0;
    CElementJsonInStream rereader(again);
    CElement copy;
    rereader.Read(copy);
    return 0;
}
