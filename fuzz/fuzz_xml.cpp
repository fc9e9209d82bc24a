// Arbitrary bytes through the XML pull reader, driven by the input itself:
// every read must either move the cursor or answer an error, and nothing
// may read outside the document.
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "tarvex/streams/xml/xmlinstream.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size > (1u << 20)) return 0;
    CXMLFileInStream in;
    // The first byte picks the opening form; the rest is the document.
    const char* text = reinterpret_cast<const char*>(data) + (size > 0 ? 1 : 0);
    int length = static_cast<int>(size > 0 ? size - 1 : 0);
    int opened = size > 0 && (data[0] & 1) ? in.OpenXML(text, length) : in.Open(text, length);
    if (!opened) return 0;
    CString name, value;
    CXMLAttrs attrs;
    for (int step = 0; step < 100000; ++step) {
        CXMLInStream::eReadStatus status = in.ReadTag(name, attrs);
        if (status == CXMLInStream::eReadError) break;
        if (status == CXMLInStream::eReadOpen) {
            // Alternate what follows an open tag, as readers do.
            switch (step % 3) {
            case 0:
                in.ReadParameter(value, name);
                break;
            case 1:
                in.Skip(name);
                break;
            default:
                in.ReadValue(value, '<');
                break;
            }
        }
        for (std::int64_t i = 0; i < attrs.GetCount(); ++i)
            attrs.GetAttr(attrs.GetAttr(i)->GetName());
    }
    return 0;
}
