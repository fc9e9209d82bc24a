// Arbitrary documents through the schema reader, over a small grammar with
// nested and recursive objects, read the way document loaders read: a
// callback that descends into every object it is handed.
#include <cstddef>
#include <cstdint>

#include "tarvex/streams/xml/xmlschema.h"

namespace {

class Grammar : public CXMLSchema {
public:
    Grammar() {
        static const tagXMLTypedef kTable[] = {
            {u"Parameters", 0}, {u"Parameter", 1}, {u"Tags", 0},    {u"Tag", 1},
            {u"Elements", 0},   {u"Element", 2},   {u"Element", 0}, {u"Parameters", 2},
            {u"Elements", 2},   {u"Tags", 2},
        };
        InitSchema(kTable, static_cast<int>(sizeof kTable / sizeof kTable[0]));
    }
};

int Descend(void* context, CXMLSchemaInStream& stream, int, const char16_t*, const char16_t*,
            CXMLAttrs& attrs) {
    CString text;
    attrs.GetAttr(u"name", text);
    if (stream.GetTagStatus() == CXMLInStream::eReadOpen && stream.GetCurrentType() != nullptr &&
        stream.GetCurrentType() != context)
        return stream.ReadXML(Descend, stream.GetCurrentType());
    return 1;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size > (1u << 20)) return 0;
    static const Grammar grammar;
    CXMLSchemaInStream in(grammar);
    CXMLAttrs attrs;
    if (!in.Open(data, static_cast<int>(size), attrs)) return 0;
    in.ReadXML(Descend, grammar.GetRootType());
    return 0;
}
