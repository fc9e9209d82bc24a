#include "tarvex/streams/json/jsonnode.h"

#include <cstdio>

#include "tarvex/platform/cstring.h"

namespace {

void Indent(std::u16string& out, unsigned int level) {
    out.append(level, u'\t');
}

void Head(std::u16string& out, const std::u16string& key, unsigned int level, bool exact = false) {
    Indent(out, level);
    if (!key.empty()) {
        JsonQuote(out, key.data(), key.size(), exact);
        out.append(u" : ");
    }
}

void Flush(COutStream& stream, std::u16string& out) {
    stream.write(out.data(), out.size());
    out.clear();
}

void AppendScalar(std::u16string& out, const CJsonNode& node, unsigned int level,
                  bool exact = false);

} // namespace

void JsonQuote(std::u16string& out, const char16_t* text, std::size_t length, bool exact) {
    out.push_back(u'"');
    std::size_t run = 0; // start of the plain units not yet copied
    for (std::size_t i = 0; i < length; ++i) {
        char16_t ch = text[i];
        if ((ch & 0xFF) >= 32 && ch != u'"' && ch != u'\\') continue;
        out.append(text + run, text + i);
        run = i + 1;
        if (exact && ch != 8 && ch != 9 && ch != 10 && ch != 12 && ch != 13 && ch != u'"' &&
            ch != u'\\') {
            static const char16_t kHex[] = u"0123456789abcdef";
            const char16_t escape[] = {
                u'\\',        u'u', kHex[ch >> 12], kHex[(ch >> 8) & 15], kHex[(ch >> 4) & 15],
                kHex[ch & 15]};
            out.append(escape, 6);
            continue;
        }
        out.push_back(u'\\');
        switch (ch) {
        case 8:
            out.push_back(u'b');
            break;
        case 9:
            out.push_back(u't');
            break;
        case 10:
            out.push_back(u'n');
            break;
        case 12:
            out.push_back(u'f');
            break;
        case 13:
            out.push_back(u'r');
            break;
        case u'"':
            out.push_back(u'"');
            break;
        case u'\\':
            out.push_back(u'\\');
            break;
        default:
            break; // the lone backslash stays: see the header
        }
    }
    out.append(text + run, text + length);
    out.push_back(u'"');
}

namespace {

void AppendScalar(std::u16string& out, const CJsonNode& node, unsigned int level, bool exact) {
    Head(out, node.key, level, exact);
    switch (node.GetType()) {
    case CJsonNode::eNull:
        out.append(u"null");
        break;
    case CJsonNode::eTrue:
        out.append(u"true");
        break;
    case CJsonNode::eFalse:
        out.append(u"false");
        break;
    case CJsonNode::eString: {
        const auto& text = static_cast<const CJsonNodeString&>(node).value;
        JsonQuote(out, text.data(), text.size(), exact);
        break;
    }
    case CJsonNode::eNumber: {
        char digits[64];
        int n = std::snprintf(digits, sizeof digits, "%.15g",
                              static_cast<const CJsonNodeNumber&>(node).value);
        out.append(digits, digits + (n > 0 ? n : 0));
        break;
    }
    default:
        break;
    }
}

} // namespace

void CJsonNode::WriteHead(COutStream& stream, unsigned int level) const {
    std::u16string out;
    Head(out, key, level);
    Flush(stream, out);
}

void CJsonNodeNull::Write(COutStream& stream, unsigned int level) const {
    std::u16string out;
    AppendScalar(out, *this, level);
    Flush(stream, out);
}

void CJsonNodeTrue::Write(COutStream& stream, unsigned int level) const {
    std::u16string out;
    AppendScalar(out, *this, level);
    Flush(stream, out);
}

void CJsonNodeFalse::Write(COutStream& stream, unsigned int level) const {
    std::u16string out;
    AppendScalar(out, *this, level);
    Flush(stream, out);
}

void CJsonNodeString::Write(COutStream& stream, unsigned int level) const {
    std::u16string out;
    AppendScalar(out, *this, level);
    Flush(stream, out);
}

void CJsonNodeNumber::Write(COutStream& stream, unsigned int level) const {
    std::u16string out;
    AppendScalar(out, *this, level);
    Flush(stream, out);
}

CJsonNodeCompound::~CJsonNodeCompound() {
    if (children.empty()) return;
    // Children held only here are emptied before they die, so each dies
    // without descending.
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
    std::u16string out;
    std::vector<Frame> frames;
    Head(out, key, level, exact);
    out.push_back(OpenBracket());
    out.append(u"\r\n");
    frames.push_back({this, 0, level});
    while (!frames.empty()) {
        Frame& frame = frames.back();
        const auto& items = frame.node->children;
        if (frame.next < items.size()) {
            if (frame.next > 0) out.append(u",\r\n");
            const CJsonNode& child = *items[frame.next++];
            unsigned int childLevel = frame.level + 1;
            // A compound of another kind (a caller's own subclass) prints
            // itself; the library's own are walked here.
            if (const CJsonNodeCompound* compound = const_cast<CJsonNode&>(child).AsCompound()) {
                Head(out, child.key, childLevel, exact);
                out.push_back(compound->OpenBracket());
                out.append(u"\r\n");
                frames.push_back({compound, 0, childLevel});
            } else if (child.GetType() <= eNumber) {
                AppendScalar(out, child, childLevel, exact);
            } else {
                Flush(stream, out);
                child.Write(stream, childLevel);
            }
        } else {
            if (!items.empty()) out.append(u"\r\n");
            Indent(out, frame.level);
            out.push_back(frame.node->CloseBracket());
            frames.pop_back();
        }
        if (out.size() >= 16384) Flush(stream, out);
    }
    Flush(stream, out);
}
