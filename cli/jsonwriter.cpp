#include "jsonwriter.h"

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "tarvex/tarvex.h"

namespace tarvex::cli {
namespace {

// Reaches the element writer's tree building, which it keeps protected.
class ElementJsonTree : public CElementJsonOutStream {
public:
    using CElementJsonOutStream::CElementJsonOutStream;
    bool Build(const CElement& element, const std::shared_ptr<CJsonNodeObject>& root) {
        return Write(element, root);
    }
};

void Quote(std::u16string& out, const std::u16string& text) {
    out.push_back(u'"');
    for (char16_t unit : text) {
        switch (unit) {
        case u'"':
            out.append(u"\\\"");
            continue;
        case u'\\':
            out.append(u"\\\\");
            continue;
        case 8:
            out.append(u"\\b");
            continue;
        case 9:
            out.append(u"\\t");
            continue;
        case 10:
            out.append(u"\\n");
            continue;
        case 12:
            out.append(u"\\f");
            continue;
        case 13:
            out.append(u"\\r");
            continue;
        default:
            break;
        }
        if ((unit & 0xFF) < 32) {
            char hex[8];
            std::snprintf(hex, sizeof hex, "\\u%04x", static_cast<unsigned>(unit));
            out.append(hex, hex + 6);
        } else {
            out.push_back(unit);
        }
    }
    out.push_back(u'"');
}

void Head(std::u16string& out, const CJsonNode& node, unsigned level) {
    out.append(level, u'\t');
    if (!node.key.empty()) {
        Quote(out, node.key);
        out.append(u" : ");
    }
}

void Scalar(std::u16string& out, const CJsonNode& node) {
    switch (node.GetType()) {
    case CJsonNode::eString:
        Quote(out, static_cast<const CJsonNodeString&>(node).value);
        break;
    case CJsonNode::eNumber: {
        char digits[64];
        int n = std::snprintf(digits, sizeof digits, "%.15g",
                              static_cast<const CJsonNodeNumber&>(node).value);
        out.append(digits, digits + (n > 0 ? n : 0));
        break;
    }
    case CJsonNode::eTrue:
        out.append(u"true");
        break;
    case CJsonNode::eFalse:
        out.append(u"false");
        break;
    default:
        out.append(u"null");
        break;
    }
}

// The library's layout: a tab per level, CR LF, `"key" : `; a loop, since
// documents nest deeper than a stack.
void Print(const CJsonNodeCompound& root, COutStream& stream) {
    struct Frame {
        const CJsonNodeCompound* node;
        size_t next;
    };
    auto bracket = [](const CJsonNode& node, bool open) {
        return node.GetType() == CJsonNode::eArray ? (open ? u'[' : u']') : (open ? u'{' : u'}');
    };
    std::u16string out;
    std::vector<Frame> frames{{&root, 0}};
    out.push_back(bracket(root, true));
    out.append(u"\r\n");
    while (!frames.empty()) {
        Frame& frame = frames.back();
        const unsigned level = static_cast<unsigned>(frames.size());
        if (frame.next < frame.node->children.size()) {
            if (frame.next > 0) out.append(u",\r\n");
            const CJsonNode& child = *frame.node->children[frame.next++];
            Head(out, child, level);
            if (const auto* compound = dynamic_cast<const CJsonNodeCompound*>(&child)) {
                out.push_back(bracket(child, true));
                out.append(u"\r\n");
                frames.push_back({compound, 0});
            } else {
                Scalar(out, child);
            }
        } else {
            out.append(u"\r\n");
            out.append(level - 1, u'\t');
            out.push_back(bracket(*frame.node, false));
            frames.pop_back();
        }
        if (out.size() > 32768) {
            stream.write(out.data(), out.size());
            out.clear();
        }
    }
    stream.write(out.data(), out.size());
}

} // namespace

bool WriteElementJson(const CElement& root, COutStream& stream) {
    auto tree = std::make_shared<CJsonNodeObject>();
    ElementJsonTree builder(stream);
    if (!builder.Build(root, tree)) return false;
    Print(*tree, stream);
    return true;
}

} // namespace tarvex::cli
