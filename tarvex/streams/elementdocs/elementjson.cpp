#include "tarvex/streams/elementdocs/elementjson.h"

#include <cmath>
#include <cstdint>
#include <string_view>

#include "tarvex/core/stackroom.h"

namespace {

// Truncation toward zero held to the 32-bit range; NaN is 0. A plain cast
// of an out-of-range double is undefined.
int ToInt32(double value) {
    if (std::isnan(value)) return 0;
    if (value >= 2147483647.0) return INT32_MAX;
    if (value <= -2147483648.0) return INT32_MIN;
    return static_cast<int>(value);
}

// The first item of the object under `key`, or null.
CJsonNode* FindKey(const CJsonNodeCompound& object, std::u16string_view key) {
    for (const auto& child : object.children)
        if (child->key == key) return child.get();
    return nullptr;
}

CString ParamText(const CJsonNode* node) {
    if (node == nullptr) return CString();
    if (node->GetType() == CJsonNode::eString) {
        const std::u16string& text = static_cast<const CJsonNodeString*>(node)->value;
        return CString(text.c_str(), static_cast<int>(text.size()));
    }
    if (node->GetType() == CJsonNode::eNumber) {
        CString text;
        text.Format(u"%.15g", static_cast<const CJsonNodeNumber*>(node)->value);
        return text;
    }
    return CString();
}

char16_t* HeapCopy(const std::u16string& text) {
    char16_t* copy = new char16_t[text.size() + 1];
    std::char_traits<char16_t>::copy(copy, text.data(), text.size());
    copy[text.size()] = 0;
    return copy;
}

} // namespace

// --- Writing.

CElementJsonOutStream::CElementJsonOutStream(COutStream& stream) : stream(stream) {}

bool CElementJsonOutStream::Write(const CElement& element) {
    auto root = std::make_shared<CJsonNodeObject>();
    if (!Write(element, root)) return false;
    root->Write(stream, 0);
    return true;
}

bool CElementJsonOutStream::Write(const CElement& element, std::shared_ptr<CJsonNode> node) {
    if (!tarvex::HasStackRoom()) return false;
    auto& object = static_cast<CJsonNodeObject&>(*node);
    object.AddString(u"name", element.GetName());
    object.AddNumber(u"id", element.GetId());
    object.AddNumber(u"uid", element.GetModelUID());
    WriteParameters(element, object);
    WriteTags(element, object);
    return WriteChildren(element, object);
}

bool CElementJsonOutStream::WriteParameters(const CParamsOwner& owner, CJsonNodeObject& node) {
    const CParamsOwner::ParamArray& params = owner.GetParams();
    if (params.GetLength() == 0) return true;
    auto array = std::make_shared<CJsonNodeArray>();
    array->key = u"Parameters";
    array->children.reserve(static_cast<size_t>(params.GetLength()));
    for (int64_t i = 0, n = params.GetLength(); i < n; ++i) {
        const CParam* param = params[i];
        auto item = std::make_shared<CJsonNodeObject>();
        item->AddString(u"name", param->getName());
        item->AddString(u"value", param->getstrValue());
        item->AddString(u"caption", param->getComment());
        item->AddString(u"comment", param->getValueComment());
        array->children.push_back(std::move(item));
    }
    node.Add(std::move(array));
    return true;
}

bool CElementJsonOutStream::WriteTags(const CElement& element, CJsonNodeObject& node) {
    const int32_t count = element.GetTagsCount();
    if (count == 0) return true;
    auto array = std::make_shared<CJsonNodeArray>();
    array->key = u"Tags";
    array->children.reserve(static_cast<size_t>(count));
    for (int32_t i = 0; i < count; ++i)
        array->children.push_back(std::make_shared<CJsonNodeNumber>(element.GetTags()[i]));
    node.Add(std::move(array));
    return true;
}

bool CElementJsonOutStream::WriteChildren(const CElement& element, CJsonNodeObject& node) {
    const int64_t count = element.GetChildCount();
    if (count == 0) return true;
    auto array = std::make_shared<CJsonNodeArray>();
    array->key = u"Elements";
    array->children.reserve(static_cast<size_t>(count));
    // Added before it is filled, so a failure deep down still leaves one
    // tree that frees itself without recursion.
    node.Add(array);
    for (int64_t i = 0; i < count; ++i) {
        auto child = std::make_shared<CJsonNodeObject>();
        array->children.push_back(child);
        if (!Write(*element.GetChild(i), child)) return false;
    }
    return true;
}

// --- Reading.

CElementJsonInStream::CElementJsonInStream(CJsonInStream& stream) : stream(stream) {}

bool CElementJsonInStream::Read(CElement& element) {
    std::shared_ptr<CJsonNode> root = stream.ParseNext();
    if (root == nullptr) return false;
    return Read(element, std::move(root));
}

bool CElementJsonInStream::Read(CElement& element, std::shared_ptr<CJsonNode> node) {
    if (!tarvex::HasStackRoom()) return false;
    if (node == nullptr || node->GetType() != CJsonNode::eObject) return false;
    const auto& object = static_cast<const CJsonNodeObject&>(*node);
    const CJsonNode* name = FindKey(object, u"name");
    const CJsonNode* id = FindKey(object, u"id");
    const CJsonNode* uid = FindKey(object, u"uid");
    CleanElement(element);
    SetElementProperties(element,
                         name != nullptr && name->GetType() == CJsonNode::eString
                             ? HeapCopy(static_cast<const CJsonNodeString*>(name)->value)
                             : nullptr,
                         id != nullptr && id->GetType() == CJsonNode::eNumber
                             ? ToInt32(static_cast<const CJsonNodeNumber*>(id)->value)
                             : 0,
                         uid != nullptr && uid->GetType() == CJsonNode::eNumber
                             ? ToInt32(static_cast<const CJsonNodeNumber*>(uid)->value)
                             : 0);
    if (CJsonNode* params = FindKey(object, u"Parameters")) {
        if (params->GetType() != CJsonNode::eArray) return false;
        if (!ReadParameters(element, static_cast<CJsonNodeArray&>(*params))) return false;
    }
    if (CJsonNode* tags = FindKey(object, u"Tags")) {
        if (tags->GetType() != CJsonNode::eArray) return false;
        if (!ReadTags(element, static_cast<CJsonNodeArray&>(*tags))) return false;
    }
    if (CJsonNode* children = FindKey(object, u"Elements")) {
        if (children->GetType() != CJsonNode::eArray) return false;
        if (!ReadChildren(element, static_cast<CJsonNodeArray&>(*children))) return false;
    }
    return true;
}

bool CElementJsonInStream::ReadParameters(CParamsOwner& owner, CJsonNodeArray& array) {
    for (const auto& item : array.children) {
        if (item->GetType() != CJsonNode::eObject) return false;
        const auto& object = static_cast<const CJsonNodeObject&>(*item);
        // Up to a NUL: names reach every caller as C strings.
        CString name(ParamText(FindKey(object, u"name")).GetString());
        if (name.IsEmpty()) continue;
        auto* param = new CParam;
        param->m_strName = std::move(name);
        param->m_strValue = ParamText(FindKey(object, u"value"));
        param->m_strComment = ParamText(FindKey(object, u"caption"));
        param->m_strValueComment = ParamText(FindKey(object, u"comment"));
        AddNewParameter(owner, param);
    }
    return true;
}

bool CElementJsonInStream::ReadTags(CElement& element, CJsonNodeArray& array) {
    CElementTagsArray tags;
    for (const auto& item : array.children) {
        if (item->GetType() != CJsonNode::eNumber) return false;
        tags.Add(ToInt32(static_cast<const CJsonNodeNumber&>(*item).value));
    }
    SetElementTagsVector(element, tags);
    return true;
}

bool CElementJsonInStream::ReadChildren(CElement& element, CJsonNodeArray& array) {
    for (const auto& item : array.children) {
        auto* child = new CElement();
        AttachChild(element, child);
        if (!Read(*child, item)) {
            element.DeleteChild(child);
            return false;
        }
    }
    return true;
}
