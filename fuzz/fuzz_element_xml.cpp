// Arbitrary bytes read as an element document, from memory (as a file would
// be) and, for an even length, as UTF-16 text. A tree that reads is written
// back; writing what that writing reads back must then give the same text
// (for text without lone surrogates or control characters).
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "tarvex/streams/elementdocs/elementxml.h"

namespace {

// Lone surrogates, which malformed UTF-8 can decode to, are replaced when a
// text is read again: the documented loss. Control characters are written
// raw and the pull reader does not take all of them back; they are left out
// of the property as well.
bool HasLossyUnits(const CString& text) {
    for (char16_t unit : text.View())
        if ((unit < 0x20 && unit != u'\t' && unit != u'\n' && unit != u'\r') || unit == 0x7F ||
            (unit >= 0xD800 && unit <= 0xDFFF) || unit >= 0xFFFE)
            return true;
    return false;
}

void CheckStable(const CElement& element) {
    CString first;
    if (!element.WriteToXML(first) || HasLossyUnits(first)) return;
    CElement copy;
    if (!copy.ReadFromXML(first)) std::abort();
    CString second;
    if (!copy.WriteToXML(second) || second != first) std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size > (1u << 20)) return 0;
    static const CCElementXMLSchema schema;
    {
        CXMLSchemaInStream in(schema);
        CXMLAttrs attrs;
        if (in.Open(data, static_cast<int>(size), attrs)) {
            CElement root;
            CElementXMLInStream reader(&in);
            if (reader.ReadElement(root, attrs, false)) CheckStable(root);
        }
    }
    if (size % 2 == 0) {
        CString text(reinterpret_cast<const char16_t*>(data), static_cast<int>(size / 2));
        CElement root;
        if (root.ReadFromXML(text)) CheckStable(root);
    }
    return 0;
}
