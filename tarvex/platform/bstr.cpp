#include "tarvex/platform/bstr.h"

#include <cstdlib>
#include <cstring>
#include <string>

namespace {

using Prefix = std::uint32_t;

// The largest byte length whose block (prefix, text, null) still fits 32 bits.
constexpr UINT kMaxBytes = 0xFFFFFFFFu - sizeof(Prefix) - sizeof(OLECHAR);

// A block for `bytes` bytes of text with the prefix set and the trailing null
// written; the text itself is left for the caller.
BSTR AllocateBytes(UINT bytes) noexcept {
    if (bytes > kMaxBytes) return nullptr;
    auto* block = static_cast<char*>(std::malloc(sizeof(Prefix) + size_t(bytes) + sizeof(OLECHAR)));
    if (block == nullptr) return nullptr;
    Prefix prefix = bytes;
    std::memcpy(block, &prefix, sizeof prefix);
    char* text = block + sizeof(Prefix);
    text[bytes] = 0;
    text[bytes + 1] = 0;
    return reinterpret_cast<BSTR>(text);
}

char* BlockOf(BSTR text) noexcept {
    return reinterpret_cast<char*>(text) - sizeof(Prefix);
}

} // namespace

BSTR SysAllocString(const OLECHAR* text) noexcept {
    if (text == nullptr) return nullptr;
    size_t length = std::char_traits<char16_t>::length(text);
    if (length > kMaxBytes / sizeof(OLECHAR)) return nullptr;
    return SysAllocStringLen(text, UINT(length));
}

BSTR SysAllocStringLen(const OLECHAR* text, UINT length) noexcept {
    if (length > kMaxBytes / sizeof(OLECHAR)) return nullptr;
    BSTR result = AllocateBytes(length * UINT(sizeof(OLECHAR)));
    if (result == nullptr) return nullptr;
    if (text != nullptr)
        std::memcpy(result, text, length * sizeof(OLECHAR));
    else
        std::memset(result, 0, length * sizeof(OLECHAR));
    return result;
}

BSTR SysAllocStringByteLen(const char* bytes, UINT length) noexcept {
    BSTR result = AllocateBytes(length);
    if (result == nullptr) return nullptr;
    if (bytes != nullptr)
        std::memcpy(result, bytes, length);
    else
        std::memset(result, 0, length);
    return result;
}

INT SysReAllocString(BSTR* target, const OLECHAR* text) noexcept {
    if (target == nullptr) return FALSE;
    BSTR fresh = nullptr;
    if (text != nullptr) {
        // Copy first: `text` may point into the string being replaced.
        fresh = SysAllocString(text);
        if (fresh == nullptr) return FALSE;
    }
    SysFreeString(*target);
    *target = fresh;
    return TRUE;
}

INT SysReAllocStringLen(BSTR* target, const OLECHAR* text, UINT length) noexcept {
    if (target == nullptr) return FALSE;
    BSTR fresh = SysAllocStringLen(nullptr, length);
    if (fresh == nullptr) return FALSE;
    if (text != nullptr) {
        std::memcpy(fresh, text, size_t(length) * sizeof(OLECHAR));
    } else if (*target != nullptr) {
        UINT keep = SysStringLen(*target);
        std::memcpy(fresh, *target, size_t(keep < length ? keep : length) * sizeof(OLECHAR));
    }
    SysFreeString(*target);
    *target = fresh;
    return TRUE;
}

UINT SysStringByteLen(BSTR text) noexcept {
    if (text == nullptr) return 0;
    Prefix prefix;
    std::memcpy(&prefix, BlockOf(text), sizeof prefix);
    return prefix;
}

UINT SysStringLen(BSTR text) noexcept {
    return SysStringByteLen(text) / sizeof(OLECHAR);
}

void SysFreeString(BSTR text) noexcept {
    if (text != nullptr) std::free(BlockOf(text));
}
