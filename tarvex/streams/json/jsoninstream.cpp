#include "tarvex/streams/json/jsoninstream.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <iterator>

#include "tarvex/core/stackroom.h"
#include "tarvex/platform/codepage.h"
#include "tarvex/platform/wide.h"
#include "tarvex/streams/json/jsonarena_internal.h"
#include "tarvex/streams/json/jsonroom_internal.h"
#include "tarvex/streams/json/jsonscan_internal.h"

namespace {

bool StartsWith(const char16_t* at, const char16_t* word, std::size_t size) {
    for (std::size_t i = 0; i < size; ++i) {
        if (at[i] != word[i]) return false; // stops at the terminator too
    }
    return true;
}

int Hex(char16_t ch) {
    if (ch >= u'0' && ch <= u'9') return ch - u'0';
    if (ch >= u'a' && ch <= u'f') return ch - u'a' + 10;
    if (ch >= u'A' && ch <= u'F') return ch - u'A' + 10;
    return -1;
}

using tarvex::json_internal::AllocateRoom;
using tarvex::json_internal::CJsonArena;
using tarvex::json_internal::CJsonArenaAllocator;
using tarvex::json_internal::FindStringStop;
using tarvex::json_internal::FreeRoom;
using tarvex::json_internal::kScanPadding;

// The size from which the heap maps any allocation itself, in 4 KiB pages.
constexpr std::size_t kMappedText = std::size_t(32) << 20;

template <class T, class... Args>
std::shared_ptr<T> NewNode(CJsonArena* arena, Args&&... args) {
    // A subclass may call the value parsers directly, outside ParseNext.
    if (arena == nullptr) return std::make_shared<T>(std::forward<Args>(args)...);
    return std::allocate_shared<T>(CJsonArenaAllocator<T>(arena), std::forward<Args>(args)...);
}

} // namespace

// Room for the text, its terminator and the zero units the scans may read
// past it. Only texts larger than the heap ever maps by itself get mapped
// room: smaller ones come from the heap, which keeps them for the next text.
bool CJsonInStream::AllocateText(std::size_t units) {
    bufferBytes = (units + 1 + kScanPadding) * sizeof(char16_t);
    buffer = static_cast<char16_t*>(AllocateRoom(bufferBytes, false, kMappedText));
    return buffer != nullptr;
}

// Ends the text after `filled` bytes: the unit the last byte falls in is
// completed with zeros, and a zero unit and the scans' padding follow. The
// room beyond (half of it, when a byte count was given as the length) is
// never read, so it is left as it is: for a large text it is then not even
// faulted in.
void CJsonInStream::ZeroTextFrom(std::size_t filled) {
    const std::size_t window = (1 + kScanPadding) * sizeof(char16_t) + 1;
    const std::size_t end = bufferBytes - filled < window ? bufferBytes : filled + window;
    std::memset(reinterpret_cast<char*>(buffer) + filled, 0, end - filled);
}

void CJsonInStream::Close() {
    FreeRoom(buffer, bufferBytes, kMappedText);
    buffer = nullptr;
    bufferBytes = 0;
    cursor = nullptr;
    length = 0;
    bomPosition = 0;
}

int CJsonInStream::Open(const void* data, int size) {
    Close();
    if (data == nullptr || size < 0) return 0;
    if (!AllocateText(static_cast<std::size_t>(size))) return 0;
    std::memcpy(buffer, data, static_cast<std::size_t>(size));
    ZeroTextFrom(static_cast<std::size_t>(size));
    length = static_cast<std::uint32_t>(size);
    cursor = buffer;
    isUtf16 = true;
    if (ReadSignature()) return 1;
    Close();
    return 0;
}

int CJsonInStream::Open(const char16_t* path) {
    Close();
    if (path == nullptr) return 0;
    int fd = ::open(tarvex::ToUtf8(std::u16string_view(path)).c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) return 0;
    struct stat info;
    bool ok = ::fstat(fd, &info) == 0 && S_ISREG(info.st_mode) &&
              static_cast<std::uint64_t>(info.st_size) / 2 < UINT32_MAX;
    if (ok) {
        std::uint64_t characters = static_cast<std::uint64_t>(info.st_size) / 2;
        ok = AllocateText(characters);
        std::uint64_t got = 0;
        auto* bytes = reinterpret_cast<char*>(buffer);
        while (ok && got < characters * 2) {
            ssize_t n = ::read(fd, bytes + got, characters * 2 - got);
            if (n < 0 && errno == EINTR) continue;
            if (n <= 0) break;
            got += static_cast<std::uint64_t>(n);
        }
        if (ok) ZeroTextFrom(got);
        length = static_cast<std::uint32_t>(characters);
    }
    ::close(fd);
    cursor = buffer;
    isUtf16 = true;
    if (ok && ReadSignature()) return 1;
    Close();
    return 0;
}

bool CJsonInStream::ReadSignature() {
    // The bytes of the buffer, not its units: a UTF-8 mark is recognised in
    // the bookkeeping only, and the cursor stays where it is.
    const auto* bytes = reinterpret_cast<const unsigned char*>(buffer);
    if (length * 2 >= 1 && bytes[0] == 0xEF) {
        if (length * 2 < 3 || bytes[1] != 0xBB || bytes[2] != 0xBF) return false;
        bomPosition = 3;
    }
    SkipSpaceChars();
    return true;
}

bool CJsonInStream::HasStackRoom() const {
    // A subclass may call the value parsers outside ParseNext.
    if (stackFloor == 0) return tarvex::HasStackRoom();
    return reinterpret_cast<std::uintptr_t>(__builtin_frame_address(0)) > stackFloor;
}

void CJsonInStream::SkipSpaceChars() {
    cursor = tarvex::json_internal::SkipSpace(cursor);
}

std::shared_ptr<CJsonNode> CJsonInStream::ParseNext() {
    if (cursor == nullptr || *cursor == 0) return nullptr;
    // An arena per value: a tree kept after the next parse holds only its
    // own blocks.
    arena = CJsonArena::Create();
    // The lowest frame address with room to spare, worked out once per
    // value: the nesting check is then a compare.
    const std::size_t room = tarvex::StackRoom();
    const auto frame = reinterpret_cast<std::uintptr_t>(__builtin_frame_address(0));
    stackFloor = room > frame ? 0 : frame - room + tarvex::kStackReserve;
    // The items of a small document's compounds without regrowing.
    if (items.capacity() == 0) items.reserve(64);
    std::shared_ptr<CJsonNode> node;
    bool ok = false;
    try {
        ok = ParseValue(node);
    } catch (...) {
        node.reset();
        arena->Done();
        arena = nullptr;
        stackFloor = 0;
        throw;
    }
    if (!ok) node.reset();
    arena->Done();
    arena = nullptr;
    stackFloor = 0;
    return node;
}

bool CJsonInStream::ParseValue(std::shared_ptr<CJsonNode>& node) {
    SkipSpaceChars();
    // The words are tested before anything else, and only they start with
    // these letters.
    switch (*cursor) {
    case u'n':
        if (!StartsWith(cursor, u"null", 4)) return false;
        node = NewNode<CJsonNodeNull>(arena);
        cursor += 4;
        return true;
    case u't':
        if (!StartsWith(cursor, u"true", 4)) return false;
        node = NewNode<CJsonNodeTrue>(arena);
        cursor += 4;
        return true;
    case u'f':
        if (!StartsWith(cursor, u"false", 5)) return false;
        node = NewNode<CJsonNodeFalse>(arena);
        cursor += 5;
        return true;
    case u'"':
        return ParseString(node);
    case u'{':
    case u'[':
        // A compound costs a few frames; a hostile nesting ends here.
        if (!HasStackRoom()) return false;
        return *cursor == u'{' ? ParseObject(node) : ParseArray(node);
    default:
        if (*cursor == u'-' || (*cursor >= u'0' && *cursor <= u'9')) return ParseNumber(node);
        return false;
    }
}

bool CJsonInStream::ParseNumber(std::shared_ptr<CJsonNode>& node) {
    char16_t* end = nullptr;
    double value = wcstod16(cursor, &end);
    if (end != nullptr) cursor = end;
    node = NewNode<CJsonNodeNumber>(arena, value);
    return true;
}

bool CJsonInStream::ParseString(std::shared_ptr<CJsonNode>& node) {
    auto text = NewNode<CJsonNodeString>(arena);
    std::u16string& value = text->value;
    node = std::move(text);
    return ParseString(value);
}

bool CJsonInStream::ParseString(std::u16string& text) {
    if (*cursor != u'"') return false;
    ++cursor;
    for (;;) {
        const char16_t* start = cursor;
        cursor = FindStringStop(cursor);
        text.append(start, static_cast<std::size_t>(cursor - start));
        char16_t ch = *cursor;
        if (ch == 0) return false;
        ++cursor;
        if (ch == u'"') return true;
        // A backslash.
        char16_t escaped = *cursor;
        switch (escaped) {
        case 0:
            return false;
        case u'"':
            text.push_back(u'"');
            break;
        case u'/':
            text.push_back(u'/');
            break;
        case u'\\':
            text.push_back(u'\\');
            break;
        case u'b':
            text.push_back(8);
            break;
        case u'f':
            text.push_back(12);
            break;
        case u'n':
            text.push_back(10);
            break;
        case u'r':
            text.push_back(13);
            break;
        case u't':
            text.push_back(9);
            break;
        case u'u': {
            unsigned int code = 0;
            for (int i = 1; i <= 4; ++i) {
                int digit = Hex(cursor[i]); // the terminator is not a digit
                if (digit < 0) return false;
                code = code << 4 | static_cast<unsigned int>(digit);
            }
            text.push_back(static_cast<char16_t>(code));
            cursor += 4;
            break;
        }
        default:
            break; // dropped, with its backslash
        }
        ++cursor;
    }
}

void CJsonInStream::TakeItems(CJsonNodeCompound& compound, std::size_t base) {
    const auto first = items.begin() + static_cast<std::ptrdiff_t>(base);
    compound.children.reserve(compound.children.size() + (items.size() - base));
    compound.children.insert(compound.children.end(), std::make_move_iterator(first),
                             std::make_move_iterator(items.end()));
    items.erase(first, items.end());
}

bool CJsonInStream::ParseObject(std::shared_ptr<CJsonNode>& node) {
    auto made = NewNode<CJsonNodeObject>(arena);
    CJsonNodeObject& object = *made;
    node = std::move(made); // a failure leaves the partial object with the caller
    ++cursor;
    SkipSpaceChars();
    if (*cursor == u'}') {
        ++cursor;
        return true;
    }
    const std::size_t base = items.size();
    bool ok = false;
    for (;;) {
        SkipSpaceChars();
        if (*cursor != u'"') break;
        // A key without escapes goes from the text straight into its node;
        // only one with escapes needs a string of its own first.
        const char16_t* keyBegin = cursor + 1;
        const char16_t* keyEnd = FindStringStop(keyBegin);
        std::u16string escapedKey;
        const bool plainKey = *keyEnd == u'"';
        if (plainKey)
            cursor = keyEnd + 1;
        else if (!ParseString(escapedKey))
            break;
        SkipSpaceChars();
        if (*cursor != u':') break;
        ++cursor;
        std::shared_ptr<CJsonNode> value;
        if (!ParseValue(value)) break;
        if (plainKey)
            value->key.assign(keyBegin, static_cast<std::size_t>(keyEnd - keyBegin));
        else
            value->key = std::move(escapedKey);
        items.push_back(std::move(value));
        SkipSpaceChars();
        if (*cursor == u',') {
            ++cursor;
            continue;
        }
        if (*cursor == u'}') {
            ++cursor;
            ok = true;
        }
        break;
    }
    TakeItems(object, base);
    return ok;
}

bool CJsonInStream::ParseArray(std::shared_ptr<CJsonNode>& node) {
    auto made = NewNode<CJsonNodeArray>(arena);
    CJsonNodeArray& array = *made;
    node = std::move(made);
    ++cursor;
    SkipSpaceChars();
    if (*cursor == u']') {
        ++cursor;
        return true;
    }
    const std::size_t base = items.size();
    bool ok = false;
    for (;;) {
        std::shared_ptr<CJsonNode> value;
        if (!ParseValue(value)) break;
        items.push_back(std::move(value));
        SkipSpaceChars();
        if (*cursor == u',') {
            ++cursor;
            continue;
        }
        if (*cursor == u']') {
            ++cursor;
            ok = true;
        }
        break;
    }
    TakeItems(array, base);
    return ok;
}
