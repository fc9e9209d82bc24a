// Arbitrary bytes through the DOM reader: walked tag by tag to the end.
#include <cstddef>
#include <cstdint>

#include "tarvex/streams/xml/xmlinstream.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size > (1u << 16)) return 0;
    CXMLDOMInStream stream;
    if (!stream.OpenXML(reinterpret_cast<const char*>(data), static_cast<int>(size))) return 0;
    CString name;
    CString value;
    CXMLAttrs attrs;
    // Every element is reported at most twice and the walk must end.
    for (std::size_t steps = 0; steps <= 2 * size + 2; ++steps) {
        const auto status =
            steps % 5 == 4 ? stream.ReadParameter(value, nullptr) : stream.ReadTag(name, attrs);
        if (status == CXMLInStream::eReadError) return 0;
    }
    __builtin_trap();
}
