// Helpers shared by the service calls: request bodies, base64 and response
// parsing.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include <rapidjson/document.h>

#include "tarvex/platform/cstring.h"
#include "tarvex/streams/bytebuffer.h"

namespace tarvex::service {

std::string Utf8(const CString& text);

// A body from text; bodies are moved in, never copied twice.
CTXByteBuffer MakeBody(std::string text);

// Memory for a whole file or its base64 text, touched once from end to end.
// Large blocks are aligned for huge pages and advised so, which spares most
// of their page faults. Null when the heap is exhausted.
struct FreeDeleter {
    void operator()(void* block) const noexcept;
};
using LargeBlock = std::unique_ptr<char[], FreeDeleter>;
LargeBlock AllocateLarge(std::size_t size);

// Base64 of `size` bytes into a buffer of (size + 2) / 3 * 4 + 1 bytes; the
// text's length goes to `length`. Allocation failure throws CKVException
// "Ошибка размещения буфера".
LargeBlock EncodeBase64(const void* data, std::size_t size, std::size_t& length);
std::string EncodeBase64(const void* data, std::size_t size);

// Parses a response after its leading 0xEF, 0xBB, 0xBF (each skipped by
// itself when it stands next). Iterative, so nesting can't exhaust the stack.
bool ParseObject(const unsigned char* data, std::size_t length, rapidjson::Document& document);
inline bool ParseObject(const CTXByteBuffer& buffer, rapidjson::Document& document) {
    return ParseObject(buffer.AsVector(), buffer.GetLength(), document);
}

// A member that is a string, or null.
const rapidjson::Value* StringMember(const rapidjson::Value& object, const char* name);
// A hash: a member passing the signed 64-bit test, as unsigned.
bool HashMember(const rapidjson::Value& object, const char* name, std::uint64_t& hash);

} // namespace tarvex::service
