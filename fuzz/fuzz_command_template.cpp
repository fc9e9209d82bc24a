// Command templates from untrusted text, through both readers. Whatever comes
// out must copy and free cleanly, and hold only what the text could give.
#include <cstdint>
#include <memory>
#include <string>

#include "tarvex/service/cmdbuilderutils.h"
#include "tarvex/service/commandtemplate.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::unique_ptr<CBuildCommandTemplate> bytes(
        CCmdBuilderUtils::BuildCommandTemplate(data, size));
    std::unique_ptr<CBuildCommandTemplate> text(CCmdBuilderUtils::BuildCommandTemplate(
        std::string(reinterpret_cast<const char*>(data), size)));
    for (const auto* read : {bytes.get(), text.get()}) {
        if (!read) continue;
        // Every part is a number of at least one character in the text.
        if (static_cast<std::size_t>(read->m_arrArgumentParts.GetLength()) > size) __builtin_trap();
        CBuildCommandTemplate copy(*read);
        CBuildCommandTemplate moved(std::move(copy));
        if (moved.m_arrFileTemplates.GetLength() != read->m_arrFileTemplates.GetLength())
            __builtin_trap();
    }
    return 0;
}
