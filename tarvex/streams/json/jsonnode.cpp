#include "tarvex/streams/json/jsonnode.h"

#include <cmath>
#include <cstdio>
#include <cstring>

#include "tarvex/core/stackroom.h"
#include "tarvex/streams/json/jsonscan_internal.h"

namespace {

using tarvex::json_internal::PlainPrefix;

// Printed text gathered in a small buffer and handed to the stream a few
// kilobytes at a time: the stream's write is far too dear per token.
class CPrintBuffer {
public:
    explicit CPrintBuffer(COutStream& stream) : stream(stream) {}
    CPrintBuffer(const CPrintBuffer&) = delete;
    CPrintBuffer& operator=(const CPrintBuffer&) = delete;
    // No flush here: a stream that fails to grow throws, and the caller
    // flushes at the end of a write.
    ~CPrintBuffer() = default;

    void Put(char16_t unit) {
        if (used == kSize) Flush();
        units[used++] = unit;
    }
    void Put(const char16_t* text, std::size_t count) {
        if (count > kSize - used) {
            Flush();
            if (count > kSize) return stream.write(text, count);
        }
        std::memcpy(units + used, text, count * sizeof(char16_t));
        used += count;
    }
    void Flush() {
        if (used != 0) stream.write(units, used);
        used = 0;
    }

private:
    static constexpr std::size_t kSize = 2048;

    COutStream& stream;
    std::size_t used = 0;
    char16_t units[kSize];
};

// The same two operations over a string, for JsonQuote.
struct CStringSink {
    std::u16string& out;
    void Put(char16_t unit) { out.push_back(unit); }
    void Put(const char16_t* text, std::size_t count) { out.append(text, count); }
};

template <class Sink>
void Quote(Sink& out, const char16_t* text, std::size_t length, bool exact) {
    out.Put(u'"');
    for (std::size_t at = 0;;) {
        // Runs of plain units go at once; the scan stops on each unit to
        // escape.
        const std::size_t plain = PlainPrefix(text + at, length - at);
        out.Put(text + at, plain);
        at += plain;
        if (at == length) break;
        const char16_t ch = text[at++];
        char16_t letter = 0;
        switch (ch) {
        case 8:
            letter = u'b';
            break;
        case 9:
            letter = u't';
            break;
        case 10:
            letter = u'n';
            break;
        case 12:
            letter = u'f';
            break;
        case 13:
            letter = u'r';
            break;
        case u'"':
        case u'\\':
            letter = ch;
            break;
        default:
            break;
        }
        if (letter != 0) {
            const char16_t escape[] = {u'\\', letter};
            out.Put(escape, 2);
        } else if (exact) {
            static const char16_t kHex[] = u"0123456789abcdef";
            const char16_t escape[] = {
                u'\\',        u'u', kHex[ch >> 12], kHex[(ch >> 8) & 15], kHex[(ch >> 4) & 15],
                kHex[ch & 15]};
            out.Put(escape, 6);
        } else {
            out.Put(u'\\'); // the lone backslash stays: see the header
        }
    }
    out.Put(u'"');
}

void Indent(CPrintBuffer& out, unsigned int level) {
    static const char16_t kTabs[] =
        u"\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t";
    constexpr unsigned int kTabCount = sizeof kTabs / sizeof kTabs[0] - 1;
    for (; level > kTabCount; level -= kTabCount) out.Put(kTabs, kTabCount);
    out.Put(kTabs, level);
}

void Head(CPrintBuffer& out, const std::u16string& key, unsigned int level, bool exact = false) {
    Indent(out, level);
    if (!key.empty()) {
        Quote(out, key.data(), key.size(), exact);
        out.Put(u" : ", 3);
    }
}

// "%.15g". Whole numbers below 10^15 print as their digits under that
// format, so they are written here without the formatter.
void PutNumber(CPrintBuffer& out, double value) {
    char16_t units[32];
    std::size_t count = 0;
    if (std::fabs(value) < 1e15 && value == std::trunc(value) &&
        !(value == 0 && std::signbit(value))) {
        auto whole = static_cast<unsigned long long>(std::fabs(value));
        char16_t* end = units + sizeof units / sizeof units[0];
        char16_t* at = end;
        do {
            *--at = static_cast<char16_t>(u'0' + whole % 10);
            whole /= 10;
        } while (whole != 0);
        if (value < 0) *--at = u'-';
        return out.Put(at, static_cast<std::size_t>(end - at));
    }
    char digits[32];
    const int n = std::snprintf(digits, sizeof digits, "%.15g", value);
    for (; count < static_cast<std::size_t>(n > 0 ? n : 0); ++count)
        units[count] = static_cast<unsigned char>(digits[count]);
    out.Put(units, count);
}

void PutScalar(CPrintBuffer& out, const CJsonNode& node, unsigned int level, bool exact = false) {
    Head(out, node.key, level, exact);
    switch (node.GetType()) {
    case CJsonNode::eNull:
        out.Put(u"null", 4);
        break;
    case CJsonNode::eTrue:
        out.Put(u"true", 4);
        break;
    case CJsonNode::eFalse:
        out.Put(u"false", 5);
        break;
    case CJsonNode::eString: {
        const auto& text = static_cast<const CJsonNodeString&>(node).value;
        Quote(out, text.data(), text.size(), exact);
        break;
    }
    case CJsonNode::eNumber:
        PutNumber(out, static_cast<const CJsonNodeNumber&>(node).value);
        break;
    default:
        break;
    }
}

} // namespace

void JsonQuote(std::u16string& out, const char16_t* text, std::size_t length, bool exact) {
    CStringSink sink{out};
    Quote(sink, text, length, exact);
}

void CJsonNode::WriteHead(COutStream& stream, unsigned int level) const {
    CPrintBuffer out(stream);
    Head(out, key, level);
    out.Flush();
}

void CJsonNodeNull::Write(COutStream& stream, unsigned int level) const {
    CPrintBuffer out(stream);
    PutScalar(out, *this, level);
    out.Flush();
}

void CJsonNodeTrue::Write(COutStream& stream, unsigned int level) const {
    CPrintBuffer out(stream);
    PutScalar(out, *this, level);
    out.Flush();
}

void CJsonNodeFalse::Write(COutStream& stream, unsigned int level) const {
    CPrintBuffer out(stream);
    PutScalar(out, *this, level);
    out.Flush();
}

void CJsonNodeString::Write(COutStream& stream, unsigned int level) const {
    CPrintBuffer out(stream);
    PutScalar(out, *this, level);
    out.Flush();
}

void CJsonNodeNumber::Write(COutStream& stream, unsigned int level) const {
    CPrintBuffer out(stream);
    PutScalar(out, *this, level);
    out.Flush();
}

CJsonNodeCompound::~CJsonNodeCompound() {
    // While the stack has room the children die with the vector, a compound
    // among them coming back here one level deeper: no list to build.
    if (children.empty() || tarvex::HasStackRoom()) return;
    // Deeper than that, children held only here are emptied before they
    // die, so each dies without descending.
    std::vector<std::shared_ptr<CJsonNode>> pending = std::move(children);
    while (!pending.empty()) {
        std::shared_ptr<CJsonNode> node = std::move(pending.back());
        pending.pop_back();
        if (node.use_count() == 1) {
            if (CJsonNodeCompound* compound = node->AsCompound()) {
                for (auto& child : compound->children) pending.push_back(std::move(child));
                compound->children.clear();
            }
        }
    }
}

void CJsonNodeCompound::Add(std::shared_ptr<CJsonNode> node) {
    if (node) children.push_back(std::move(node));
}

void CJsonNodeCompound::AddNumber(const char16_t* key, double value) {
    auto node = std::make_shared<CJsonNodeNumber>(value);
    if (key != nullptr) node->key = key;
    children.push_back(std::move(node));
}

void CJsonNodeCompound::AddString(const char16_t* key, const char16_t* value) {
    auto node = std::make_shared<CJsonNodeString>(value != nullptr ? value : u"");
    if (key != nullptr) node->key = key;
    children.push_back(std::move(node));
}

void CJsonNodeCompound::Write(COutStream& stream, unsigned int level) const {
    WriteTree(stream, level, false);
}

void CJsonNodeCompound::WriteExact(COutStream& stream, unsigned int level) const {
    WriteTree(stream, level, true);
}

void CJsonNodeCompound::WriteTree(COutStream& stream, unsigned int level, bool exact) const {
    struct Frame {
        const CJsonNodeCompound* node;
        std::size_t next;
        unsigned int level;
    };
    CPrintBuffer out(stream);
    std::vector<Frame> frames;
    Head(out, key, level, exact);
    const char16_t open[] = {OpenBracket(), u'\r', u'\n'};
    out.Put(open, 3);
    frames.push_back({this, 0, level});
    while (!frames.empty()) {
        Frame& frame = frames.back();
        const auto& items = frame.node->children;
        if (frame.next < items.size()) {
            if (frame.next > 0) out.Put(u",\r\n", 3);
            const CJsonNode& child = *items[frame.next++];
            unsigned int childLevel = frame.level + 1;
            // A compound of another kind (a caller's own subclass) prints
            // itself; the library's own are walked here.
            if (const CJsonNodeCompound* compound = const_cast<CJsonNode&>(child).AsCompound()) {
                Head(out, child.key, childLevel, exact);
                const char16_t childOpen[] = {compound->OpenBracket(), u'\r', u'\n'};
                out.Put(childOpen, 3);
                frames.push_back({compound, 0, childLevel});
            } else if (child.GetType() <= eNumber) {
                PutScalar(out, child, childLevel, exact);
            } else {
                out.Flush();
                child.Write(stream, childLevel);
            }
        } else {
            if (!items.empty()) out.Put(u"\r\n", 2);
            Indent(out, frame.level);
            out.Put(frame.node->CloseBracket());
            frames.pop_back();
        }
    }
    out.Flush();
}
