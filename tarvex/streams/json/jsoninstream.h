// CJsonInStream: a recursive-descent JSON reader over UTF-16 text.
//
// There is no conversion from UTF-8 here: the text is 16-bit as it stands
// in memory. Words are matched before anything else ("nullable" reads as
// null and leaves "able"), numbers go through wcstod (so hexadecimal, inf
// and nan are read too, and a lone '-' is 0 and moves nothing), an unknown
// escape is dropped with its backslash. Nesting deeper than the thread's
// stack allows answers false, like any malformed text.
#pragma once
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "tarvex/streams/json/jsonnode.h"

namespace tarvex::json_internal {
class CJsonArena;
}

class CJsonInStream {
public:
    CJsonInStream() = default;
    CJsonInStream(const CJsonInStream&) = delete;
    CJsonInStream& operator=(const CJsonInStream&) = delete;
    virtual ~CJsonInStream() { Close(); }

    // 1 or 0. The file's bytes are the UTF-16 text.
    int Open(const char16_t* path);
    // Copies `length` bytes into room for `length` + 1 characters. The text
    // ends at the first zero unit, and a zero unit follows the copy, so
    // nothing past it is ever read.
    int Open(const void* data, int length);
    void Close();
    // The next value, or null at the end of the text or on an error.
    std::shared_ptr<CJsonNode> ParseNext();

protected:
    void SkipSpaceChars();
    bool ReadSignature();
    bool ParseString(std::u16string& text);
    bool ParseValue(std::shared_ptr<CJsonNode>& node);
    bool ParseString(std::shared_ptr<CJsonNode>& node);
    bool ParseNumber(std::shared_ptr<CJsonNode>& node);
    bool ParseObject(std::shared_ptr<CJsonNode>& node);
    bool ParseArray(std::shared_ptr<CJsonNode>& node);

private:
    bool AllocateText(std::size_t units);
    bool HasStackRoom() const;
    void ZeroTextFrom(std::size_t filled);
    // Moves the items parsed since `base` into `compound`, sized once.
    void TakeItems(CJsonNodeCompound& compound, std::size_t base);

    // The items of the compounds being parsed, innermost last: each compound
    // gets its vector in one allocation when it ends.
    std::vector<std::shared_ptr<CJsonNode>> items;
    // Node memory for the value being parsed; its nodes share its ownership.
    tarvex::json_internal::CJsonArena* arena = nullptr;
    // Below this frame address the parse is short of stack; 0 outside
    // ParseNext.
    std::uintptr_t stackFloor = 0;
    char16_t* buffer = nullptr;
    std::size_t bufferBytes = 0;
    const char16_t* cursor = nullptr;
    std::uint32_t length = 0;
    std::uint32_t bomPosition = 0;
    bool isUtf16 = false;
};
