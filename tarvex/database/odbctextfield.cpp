#include "tarvex/database/odbctextfield.h"

#include <string>

#include "tarvex/core/exceptions.h"

void _tagOdbcTextField::SetString(const char16_t* text) {
    buffer.Reset();
    const char16_t* source = text ? text : u"";
    const std::size_t bytes = (std::char_traits<char16_t>::length(source) + 1) * 2;
    // The buffer counts in 32 bits: a longer text cannot be placed either.
    bool placed = bytes <= UINT32_MAX;
    if (placed) {
        try {
            buffer.Write(source, std::uint32_t(bytes));
        } catch (const CKVException&) {
            placed = false;
        }
    }
    if (!placed) {
        InitBlob();
        KV_THROW(u"Ошибка размещения буфера");
    }
    data = buffer.AsVector();
    length = std::int64_t(bytes);
    indicator = -100 - length;
}
