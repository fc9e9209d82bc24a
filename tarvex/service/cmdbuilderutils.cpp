#include "tarvex/service/cmdbuilderutils.h"

#include <memory>

#include <rapidjson/document.h>

#include "tarvex/platform/codepage.h"
#include "tarvex/service/commandtemplate.h"
#include "tarvex/service/elementwire_internal.h"
#include "tarvex/service/servicewire_internal.h"

using namespace tarvex::service;

namespace {

// Integers in a template are the 32-bit kind; a negative one is kept as the
// same bits widened to 64.
std::uint64_t Widened(const rapidjson::Value& value) {
    return static_cast<std::uint64_t>(static_cast<std::int64_t>(value.GetInt()));
}

CBuildCommandTemplate* TemplateOf(const rapidjson::Document& document) {
    if (!document.IsObject()) return nullptr;
    auto hash = document.FindMember("cmdHash");
    auto arguments = document.FindMember("arguments");
    if (hash == document.MemberEnd() || arguments == document.MemberEnd() || !hash->value.IsInt() ||
        !arguments->value.IsObject())
        return nullptr;
    auto parts = arguments->value.FindMember("parts");
    if (parts == arguments->value.MemberEnd() || !parts->value.IsArray() || parts->value.Empty())
        return nullptr;

    auto result = std::make_unique<CBuildCommandTemplate>(Widened(hash->value));
    for (const rapidjson::Value& part : parts->value.GetArray())
        if (part.IsInt())
            result->m_arrArgumentParts.Add(new CBuildCommandTemplate::CArgumentPart(Widened(part)));

    auto files = document.FindMember("files");
    if (files == document.MemberEnd() || !files->value.IsArray()) return result.release();
    for (const rapidjson::Value& entry : files->value.GetArray()) {
        if (!entry.IsObject()) continue;
        auto fileHash = entry.FindMember("hash");
        auto fileParts = entry.FindMember("parts");
        if (fileHash == entry.MemberEnd() || fileParts == entry.MemberEnd() ||
            !fileHash->value.IsInt() || !fileParts->value.IsArray())
            continue;
        auto file =
            std::make_unique<CBuildCommandTemplate::CFileTemplate>(Widened(fileHash->value));
        for (const rapidjson::Value& part : fileParts->value.GetArray())
            if (part.IsInt())
                file->m_arrParts.Add(
                    new CBuildCommandTemplate::CFileTemplate::CFilePart(Widened(part)));
        result->m_arrFileTemplates.Add(file.get());
        file.release();
    }
    return result.release();
}

std::u16string Wide(const CString& text) {
    return std::u16string(text.GetString(), static_cast<std::size_t>(text.GetLength()));
}

} // namespace

CBuildCommandTemplate* CCmdBuilderUtils::BuildCommandTemplate(const unsigned char* data,
                                                              std::size_t size) {
    if (!data) return nullptr;
    rapidjson::Document document;
    if (!ParseObject(data, size, document)) return nullptr;
    return TemplateOf(document);
}

CBuildCommandTemplate* CCmdBuilderUtils::BuildCommandTemplate(const std::string& text) {
    rapidjson::Document document;
    document.Parse<rapidjson::kParseIterativeFlag>(text.c_str());
    if (document.HasParseError()) return nullptr;
    return TemplateOf(document);
}

std::u16string CCmdBuilderUtils::CElementToJsonString(const CElement& element) {
    std::string text;
    if (!AppendElementJson(element, CP_ACP, text)) return {};
    return Wide(tarvex::DecodeCodePage(CP_ACP, text));
}

std::string CCmdBuilderUtils::CElementToJsonStringUtf8(const CElement& element) {
    std::string text;
    if (!AppendElementJson(element, CP_UTF8, text)) return {};
    return text;
}

std::u16string CCmdBuilderUtils::StringToWstring(const std::string& text) {
    return Wide(tarvex::DecodeCodePage(CP_ACP, text));
}

std::string CCmdBuilderUtils::WstringToString(const std::u16string& text) {
    return tarvex::EncodeCodePage(CP_ACP, text);
}

std::u16string CCmdBuilderUtils::Utf8StringToWstring(const std::string& text) {
    return Wide(tarvex::FromUtf8(text));
}

std::string CCmdBuilderUtils::WstringToStringUtf8(const std::u16string& text) {
    return tarvex::ToUtf8(text);
}
