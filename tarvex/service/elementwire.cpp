#include "tarvex/service/elementwire_internal.h"

#include <climits>
#include <cstdint>
#include <string_view>
#include <vector>

#include <rapidjson/writer.h>

#include "tarvex/element/element.h"
#include "tarvex/platform/codepage.h"
#include "tarvex/platform/wide.h"
#include "tarvex/service/cmdbuilderutils.h"

namespace tarvex::service {

namespace {

// RapidJSON's output stream over the caller's string: the text is written
// once, where it ends up.
struct StringOutput {
    using Ch = char;
    std::string& text;
    void Put(char c) { text.push_back(c); }
    void Flush() {}
};

using JsonWriter = rapidjson::Writer<StringOutput>;

class ElementWriter {
public:
    ElementWriter(StringOutput& output, UINT codePage) : m_writer(output), m_codePage(codePage) {}

    bool Write(const CElement& root) {
        struct Frame {
            const CElement* element;
            int64_t next;
        };
        std::vector<Frame> stack;
        if (Open(root)) stack.push_back({&root, 0});
        while (!stack.empty()) {
            Frame& top = stack.back();
            if (top.next < top.element->GetChildCount()) {
                const CElement* child = top.element->GetChild(top.next++);
                if (!child) continue;
                if (static_cast<int>(stack.size()) >= CCmdBuilderUtils::kMaxElementDepth)
                    return false;
                if (Open(*child)) stack.push_back({child, 0});
            } else {
                m_writer.EndArray();
                m_writer.EndObject();
                stack.pop_back();
            }
        }
        return true;
    }

private:
    // Writes the element up to its open "Elements" array; true when that
    // array is open, otherwise the object is already closed.
    bool Open(const CElement& element) {
        m_writer.StartObject();
        m_writer.Key("id");
        m_writer.Int64(element.GetFullId());
        m_writer.Key("name");
        String(element.GetName());
        if (element.GetParamsCount() > 0) {
            m_writer.Key("Parameters");
            m_writer.StartArray();
            for (const CParam* param : element.GetParams()) {
                if (!param) continue;
                m_writer.StartObject();
                m_writer.Key("name");
                String(param->getName());
                m_writer.Key("value");
                String(param->getstrValue());
                m_writer.EndObject();
            }
            m_writer.EndArray();
        }
        if (element.GetChildCount() == 0) {
            m_writer.EndObject();
            return false;
        }
        m_writer.Key("Elements");
        m_writer.StartArray();
        return true;
    }

    void String(const char16_t* text) { String(text, text ? wcslen(text) : 0); }
    void String(const CString& text) {
        String(text.GetString(), static_cast<std::size_t>(text.GetLength()));
    }
    // Through one scratch buffer, which stops allocating once it has grown
    // to the longest text: a large tree has millions of names and values.
    void String(const char16_t* text, std::size_t length) {
        // A UTF-16 unit takes at most three bytes of UTF-8, and one of 1251.
        const std::size_t room = length * 3;
        if (length == 0) {
            m_scratch.clear();
        } else if (room > static_cast<std::size_t>(INT32_MAX)) {
            m_scratch = EncodeCodePage(m_codePage, std::u16string_view(text, length));
        } else {
            m_scratch.resize(room);
            const int written =
                WideCharToMultiByte(m_codePage, 0, text, static_cast<int>(length), m_scratch.data(),
                                    static_cast<int>(room), nullptr, nullptr);
            m_scratch.resize(static_cast<std::size_t>(written > 0 ? written : 0));
        }
        m_writer.String(m_scratch.data(), static_cast<rapidjson::SizeType>(m_scratch.size()));
    }

    JsonWriter m_writer;
    UINT m_codePage;
    std::string m_scratch;
};

bool IsIdAndName(const rapidjson::Value& value) {
    if (!value.IsObject()) return false;
    auto id = value.FindMember("id");
    auto name = value.FindMember("name");
    return id != value.MemberEnd() && name != value.MemberEnd() && id->value.IsInt64() &&
           name->value.IsString();
}

CString Text(const rapidjson::Value& value) {
    return FromUtf8(std::string_view(value.GetString(), value.GetStringLength()));
}

const rapidjson::Value* ArrayMember(const rapidjson::Value& object, const char* name) {
    auto member = object.FindMember(name);
    return member != object.MemberEnd() && member->value.IsArray() ? &member->value : nullptr;
}

// Levels of readable elements below and with `root`, counted no further than
// one past the limit.
int Depth(const rapidjson::Value& root) {
    struct Frame {
        const rapidjson::Value* children;
        rapidjson::SizeType next;
    };
    std::vector<Frame> stack;
    int deepest = 1;
    if (const rapidjson::Value* children =
            IsIdAndName(root) ? ArrayMember(root, "Elements") : nullptr)
        stack.push_back({children, 0});
    while (!stack.empty() && deepest <= CCmdBuilderUtils::kMaxElementDepth) {
        Frame& top = stack.back();
        if (top.next == top.children->Size()) {
            stack.pop_back();
            continue;
        }
        const rapidjson::Value& entry = (*top.children)[top.next++];
        const int level = static_cast<int>(stack.size()) + 1;
        if (level > deepest) deepest = level;
        if (!IsIdAndName(entry)) continue;
        if (const rapidjson::Value* children = ArrayMember(entry, "Elements"))
            stack.push_back({children, 0});
    }
    return deepest;
}

// The element's own part: id, name and parameters. The children are the
// caller's.
bool ReadOne(const rapidjson::Value& value, CElement& element) {
    if (!IsIdAndName(value)) return false;
    element.SetId(value["id"].GetInt64());
    element.SetName(Text(value["name"]));
    if (const rapidjson::Value* params = ArrayMember(value, "Parameters")) {
        for (const rapidjson::Value& entry : params->GetArray()) {
            if (!entry.IsObject()) continue;
            auto name = entry.FindMember("name");
            auto text = entry.FindMember("value");
            if (name == entry.MemberEnd() || text == entry.MemberEnd() || !name->value.IsString() ||
                !text->value.IsString())
                continue;
            element.SetParameter(Text(name->value), Text(text->value), nullptr, nullptr);
        }
    }
    return true;
}

} // namespace

bool AppendElementJson(const CElement& element, UINT codePage, std::string& out) {
    StringOutput output{out};
    ElementWriter writer(output, codePage);
    return writer.Write(element);
}

bool ReadElementJson(const rapidjson::Value& value, CElement& element) {
    if (!IsIdAndName(value) || Depth(value) > CCmdBuilderUtils::kMaxElementDepth) return false;
    struct Frame {
        const rapidjson::Value* children;
        rapidjson::SizeType next;
        CElement* element;
    };
    std::vector<Frame> stack;
    ReadOne(value, element);
    if (const rapidjson::Value* children = ArrayMember(value, "Elements"))
        stack.push_back({children, 0, &element});
    while (!stack.empty()) {
        Frame& top = stack.back();
        if (top.next == top.children->Size()) {
            stack.pop_back();
            continue;
        }
        const rapidjson::Value& entry = (*top.children)[top.next++];
        CElement* child = top.element->AddChild(u"");
        if (!ReadOne(entry, *child)) continue;
        if (const rapidjson::Value* children = ArrayMember(entry, "Elements"))
            stack.push_back({children, 0, child});
    }
    return true;
}

void AddChildCopy(CElement& parent, const CElement& source) {
    struct Frame {
        const CElement* source;
        CElement* copy;
    };
    std::vector<Frame> pending{{&source, &parent}};
    while (!pending.empty()) {
        const Frame frame = pending.back();
        pending.pop_back();
        CElement* copy = frame.copy->AddChild(frame.source->GetName());
        copy->SetModelUID(frame.source->GetModelUID());
        copy->SetTagsCount(frame.source->GetTagsCount());
        for (int32_t i = 0; i < frame.source->GetTagsCount(); ++i)
            copy->SetTag(i, frame.source->GetTag(i));
        copy->CopyParamsFrom(*frame.source);
        // Reversed onto the stack so that children are copied, and take their
        // ids, in their own order.
        for (int64_t i = frame.source->GetChildCount(); i-- > 0;)
            if (const CElement* child = frame.source->GetChild(i)) pending.push_back({child, copy});
    }
}

} // namespace tarvex::service
