#include "tarvex/forms/formconfig.h"

#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <string>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include "tarvex/core/exceptions.h"
#include "tarvex/core/paths.h"
#include "tarvex/forms/formpaths_internal.h"
#include "tarvex/formula/elementcompiler.h"
#include "tarvex/formula/elementvariables.h"
#include "tarvex/platform/codepage.h"
#include "tarvex/streams/base64.h"
#include "tarvex/streams/xml/xmloutstream.h"

namespace {

// Pictures use the standard alphabet both ways.
constexpr char16_t kAlphabet[] = u"+/=";
constexpr int64_t kArrayCapacity = 10;

const CConfigXMLSchema& Schema() {
    static const CConfigXMLSchema schema;
    return schema;
}

// An image file name that stays inside the folder it is joined to.
bool IsPlainFileName(const CString& name) {
    return !name.IsEmpty() && name.FindOneOf(u"/\\") < 0 && name.Compare(u".") != 0 &&
           name.Compare(u"..") != 0;
}

// Reads the rest of the current object, dropping whatever it holds.
int SkipToObjectEnd(CXMLSchemaInStream& stream) {
    CString name;
    CString value;
    CXMLAttrs attrs;
    int depth = 1;
    while (depth > 0) {
        int id = 0;
        switch (stream.Read(name, value, id, attrs)) {
        case CXMLSchemaInStream::eResultObject:
            ++depth;
            break;
        case CXMLSchemaInStream::eResultEnd:
            --depth;
            break;
        case CXMLSchemaInStream::eResultValue:
            break;
        default:
            return 0;
        }
    }
    return 1;
}

void PutInt16(unsigned char* at, std::int32_t value) {
    const auto v = static_cast<std::uint16_t>(value);
    at[0] = static_cast<unsigned char>(v & 0xFF);
    at[1] = static_cast<unsigned char>(v >> 8);
}

} // namespace

CConfigXMLSchema::CConfigXMLSchema() {
    static const tagXMLTypedef table[] = {
        {u"Images", 0},      {u"Image", 1},        {u"Parameters", 0},  {u"Parameter", 1},
        {u"XMLTemplate", 0}, {u"Parameters", 2},   {u"Images", 2},      {u"Form", 0},
        {u"Window", 1},      {u"HTMLTemplate", 1}, {u"XMLTemplate", 2},
    };
    InitSchema(table, int(std::size(table)));
}

// ------------------------------------------------------ template parameters --

const CString& CFormConfigData::CXMLTemplateParameter::GetKeyName() {
    UpdateFullName();
    return keyName;
}

CString CFormConfigData::CXMLTemplateParameter::GetFullName() const {
    if (paramPath.IsEmpty()) return paramName;
    CString full;
    full.Format(u"%s.[%s]", paramPath.GetString(), paramName.GetString());
    return full;
}

void CFormConfigData::CXMLTemplateParameter::UpdateFullName() {
    if (!keyName.IsEmpty()) return;
    if (paramPath.IsEmpty() || !GetKeyNameByFullName(GetFullName(), keyName)) keyName = paramName;
}

bool CFormConfigData::CXMLTemplateParameter::GetKeyNameByFullName(const char16_t* fullName,
                                                                  CString& key) {
    try {
        qrksFunctionCompiler compiler;
        qrksVariablesContainer variables;
        std::unique_ptr<CFunction> function(compiler.Function(fullName, &variables));
        // A structural reference compiles to one variable named by its query.
        if (!function || !function->IsSingleVar() || variables.GetVarsCount() != 1) return false;
        CString name = variables.GetVarNameOriginal(0);
        if (name.IsEmpty() || name[0] != u'@') return false;
        key = name;
        return true;
    } catch (...) {
        return false;
    }
}

void CFormConfigData::CXMLTemplateParameter::SetFullName(const char16_t* text) {
    const CString full(text);
    CString key;
    if (GetKeyNameByFullName(full, key)) {
        // A query names "<path>.[<name>]"; what does not split so is a name.
        int open = -1;
        for (int i = full.GetLength() - 2; i > 0 && open < 0; --i)
            if (full[i] == u'.' && full[i + 1] == u'[') open = i;
        if (open > 0 && full[full.GetLength() - 1] == u']') {
            paramPath = full.Left(open);
            paramName = full.Mid(open + 2, full.GetLength() - open - 3);
            paramName.Trim();
        } else {
            paramPath.Empty();
            paramName = full;
        }
    } else {
        paramName = full;
    }
    keyName.Empty();
}

// ------------------------------------------------------------ form config --

CFormConfigData::CFormConfigData()
    : images(kArrayCapacity, 10, true, -8), parameters(kArrayCapacity, 10, true, -8) {}

CFormConfigData::CFormConfigData(const CFormConfigData& other) : CFormConfigData() {
    CopyFrom(other);
}

CFormConfigData& CFormConfigData::operator=(const CFormConfigData& other) {
    if (this != &other) CopyFrom(other);
    return *this;
}

CFormConfigData::CFormConfigData(CFormConfigData&& other) noexcept : CFormConfigData() {
    *this = std::move(other);
}

CFormConfigData& CFormConfigData::operator=(CFormConfigData&& other) noexcept {
    if (this == &other) return *this;
    images = std::move(other.images);
    parameters = std::move(other.parameters);
    SetDBPropertiesFrom(other);
    visibleTreeView = other.visibleTreeView;
    visibleImageView = other.visibleImageView;
    oldFormName = std::move(other.oldFormName);
    folder = std::move(other.folder);
    return *this;
}

void CFormConfigData::CopyFrom(const CFormConfigData& other) {
    images.Clear();
    parameters.Clear();
    for (int64_t i = 0; i < other.images.GetLength(); ++i)
        images.Add(new CXMLTemplateImage(*other.images[i]));
    for (int64_t i = 0; i < other.parameters.GetLength(); ++i)
        parameters.Add(new CXMLTemplateParameter(*other.parameters[i]));
    SetDBPropertiesFrom(other);
    visibleTreeView = other.visibleTreeView;
    visibleImageView = other.visibleImageView;
    oldFormName = other.oldFormName;
    folder = other.folder;
}

void CFormConfigData::SetDBPropertiesFrom(const CFormConfigData& other) {
    configType = other.configType;
    templateName = other.templateName;
    icon = other.icon;
    caption = other.caption;
    x = other.x;
    y = other.y;
    width = other.width;
    height = other.height;
    position = other.position;
    scrollbars = other.scrollbars;
    resizeable = other.resizeable;
    showIcon = other.showIcon;
    minimizeBox = other.minimizeBox;
    maximizeBox = other.maximizeBox;
    autoUpdateControls = other.autoUpdateControls;
    captionSource = other.captionSource;
}

// ------------------------------------------------------------------ load --

int CFormConfigData::Load(const char16_t* path) {
    images.Clear();
    images.SetPhisicalLength(kArrayCapacity);
    parameters.Clear();
    parameters.SetPhisicalLength(kArrayCapacity);

    CXMLSchemaInStream stream(Schema());
    CXMLAttrs attrs;
    if (!stream.Open(path, attrs)) return 0;
    // A file that does not say is an HTML form.
    int type = eHTMLTemplate;
    attrs.GetAttr(u"configType", type);
    configType = static_cast<EConfigType>(type);
    if (!LoadFromXMLStream(stream)) return 0;

    const CString file(path);
    const int separator = FormFiles::LastSeparator(file);
    if (separator >= 0) {
        const CString directory = file.Left(separator);
        if (templateName.FindOneOf(u"\\/") < 0)
            templateName = FormFiles::Join(directory, templateName);
        folder = directory.Mid(FormFiles::LastSeparator(directory) + 1);
    }
    return 1;
}

int CFormConfigData::OnXMLTag(CXMLSchemaInStream& stream, int id, const char16_t*,
                              const char16_t* value, CXMLAttrs& attrs) {
    switch (id) {
    case CConfigXMLSchema::eWindow:
        attrs.GetAttr(u"oldFormName", oldFormName);
        attrs.GetAttr(u"caption", caption);
        attrs.GetAttr(u"captionSource", captionSource);
        attrs.GetAttr(u"x", x);
        attrs.GetAttr(u"y", y);
        attrs.GetAttr(u"width", width);
        attrs.GetAttr(u"height", height);
        attrs.GetAttr(u"position", position);
        attrs.GetAttr(u"scrollbars", scrollbars);
        attrs.GetAttr(u"resizeable", resizeable);
        attrs.GetAttr(u"showIcon", showIcon);
        attrs.GetAttr(u"minimizeBox", minimizeBox);
        attrs.GetAttr(u"maximizeBox", maximizeBox);
        attrs.GetAttr(u"icon", icon);
        return 1;
    case CConfigXMLSchema::eHTMLTemplate:
        templateName = value;
        attrs.GetAttr(u"autoUpdateControls", autoUpdateControls);
        return 1;
    case CConfigXMLSchema::eXMLTemplate:
        templateName = value;
        attrs.GetAttr(u"visibleTreeView", visibleTreeView);
        attrs.GetAttr(u"visibleImageView", visibleImageView);
        // An empty <XMLTemplate/> holds nothing to read.
        if (stream.GetTagStatus() == CXMLInStream::eReadEmpty) return 1;
        return ReadXMLTemplate(stream);
    default:
        return 1;
    }
}

int CFormConfigData::ReadXMLTemplate(CXMLSchemaInStream& stream) {
    CString name;
    CString value;
    CXMLAttrs attrs;
    int id = 0;
    // Parameters come first and images second; a later Parameters is
    // dropped with the rest.
    auto result = stream.Read(name, value, id, attrs);
    if (result == CXMLSchemaInStream::eResultEnd) return 1;
    if (id == CConfigXMLSchema::eParameters && (result == CXMLSchemaInStream::eResultObject ||
                                                result == CXMLSchemaInStream::eResultValue)) {
        if (result == CXMLSchemaInStream::eResultObject && !LoadArray(stream, OnLoadParameters))
            return 0;
        result = stream.Read(name, value, id, attrs);
        if (result == CXMLSchemaInStream::eResultEnd) return 1;
    }
    if (id == CConfigXMLSchema::eImages && (result == CXMLSchemaInStream::eResultObject ||
                                            result == CXMLSchemaInStream::eResultValue)) {
        if (result == CXMLSchemaInStream::eResultObject && !LoadArray(stream, OnLoadImages))
            return 0;
        result = stream.Read(name, value, id, attrs);
        if (result == CXMLSchemaInStream::eResultEnd) return 1;
    }
    switch (result) {
    case CXMLSchemaInStream::eResultObject:
        if (!SkipToObjectEnd(stream)) return 0;
        return SkipToObjectEnd(stream);
    case CXMLSchemaInStream::eResultValue:
        return SkipToObjectEnd(stream);
    default:
        return 0;
    }
}

int CFormConfigData::OnLoadParameters(void* context, CXMLSchemaInStream&, int, const char16_t*,
                                      const char16_t*, CXMLAttrs& attrs) {
    auto* self = static_cast<CFormConfigData*>(context);
    auto* parameter = new CXMLTemplateParameter;
    parameter->visibleRule = u"1";
    CString text;
    if (attrs.GetAttr(u"name", text)) parameter->SetParamName(text);
    if (attrs.GetAttr(u"path", text)) parameter->SetParamPath(text);
    attrs.GetAttr(u"comment", parameter->comment);
    attrs.GetAttr(u"value_comment", parameter->valueComment);
    attrs.GetAttr(u"category", parameter->category);
    attrs.GetAttr(u"readonly", parameter->readOnly);
    attrs.GetAttr(u"valid_rule", parameter->validRule);
    attrs.GetAttr(u"visible_rule", parameter->visibleRule);
    attrs.GetAttr(u"image", parameter->image);
    self->parameters.Add(parameter);
    return 1;
}

int CFormConfigData::OnLoadImages(void* context, CXMLSchemaInStream&, int, const char16_t*,
                                  const char16_t* value, CXMLAttrs& attrs) {
    auto* self = static_cast<CFormConfigData*>(context);
    auto* image = new CXMLTemplateImage;
    attrs.GetAttr(u"src", image->sourceFileName);
    attrs.GetAttr(u"name", image->name);
    attrs.GetAttr(u"show_rule", image->showRule);
    attrs.GetAttr(u"align", image->align);
    attrs.GetAttr(u"autosize", image->autosize);
    image->data = value;
    self->images.Add(image);
    return 1;
}

// ------------------------------------------------------------------ save --

int CFormConfigData::Save(const char16_t* path, bool embed) {
    const CString file(path);
    if (!embed) {
        const int separator = FormFiles::LastSeparator(file);
        if (separator > 0) CreatePath(file.Left(separator));
    }
    try {
        CXMLOutStream stream;
        if (!stream.Create(path)) return 0;
        CXMLAttrs attrs;
        attrs.AddAttr(u"configType", int(configType));
        stream.BeginTable(u"Form", &attrs);
        WriteWindow(stream);
        if (configType == eHTMLTemplate) {
            CXMLAttrs html;
            html.AddAttr(u"autoUpdateControls", autoUpdateControls);
            stream.WriteParameter(u"HTMLTemplate", templateName, 0, &html);
        } else if (configType == eXMLTemplate) {
            WriteXMLTemplate(stream, embed);
        }
        return stream.Close();
    } catch (...) {
        return 0;
    }
}

void CFormConfigData::WriteWindow(CXMLOutStream& stream) const {
    CXMLAttrs attrs;
    attrs.AddAttr(u"oldFormName", oldFormName.GetString());
    attrs.AddAttr(u"caption", caption.GetString());
    attrs.AddAttr(u"captionSource", int(captionSource));
    attrs.AddAttr(u"x", int(x));
    attrs.AddAttr(u"y", int(y));
    attrs.AddAttr(u"width", int(width));
    attrs.AddAttr(u"height", int(height));
    attrs.AddAttr(u"position", int(position));
    attrs.AddAttr(u"scrollbars", scrollbars);
    attrs.AddAttr(u"resizeable", resizeable);
    attrs.AddAttr(u"showIcon", showIcon);
    attrs.AddAttr(u"minimizeBox", minimizeBox);
    attrs.AddAttr(u"maximizeBox", maximizeBox);
    attrs.AddAttr(u"icon", icon.GetString());
    stream.EmptyItem(u"Window", &attrs);
}

void CFormConfigData::WriteXMLTemplate(CXMLOutStream& stream, bool embed) const {
    CXMLAttrs attrs;
    attrs.AddAttr(u"visibleTreeView", visibleTreeView);
    attrs.AddAttr(u"visibleImageView", visibleImageView);
    stream.BeginTable(u"XMLTemplate", &attrs);

    stream.BeginTable(u"Parameters");
    for (int64_t i = 0; i < parameters.GetLength(); ++i) {
        const CXMLTemplateParameter& p = *parameters[i];
        CXMLAttrs item;
        item.AddAttr(u"name", p.GetParamName().GetString());
        item.AddAttr(u"path", p.GetParamPath().GetString());
        item.AddAttr(u"comment", p.comment.GetString());
        item.AddAttr(u"value_comment", p.valueComment.GetString());
        item.AddAttr(u"category", p.category.GetString());
        item.AddAttr(u"readonly", p.readOnly);
        item.AddAttr(u"valid_rule", p.validRule.GetString());
        item.AddAttr(u"visible_rule", p.visibleRule.GetString());
        item.AddAttr(u"image", p.image.GetString());
        stream.EmptyItem(u"Parameter", &item);
    }
    stream.EndTable();

    stream.BeginTable(u"Images");
    for (int64_t i = 0; i < images.GetLength(); ++i) {
        const CXMLTemplateImage& image = *images[i];
        if (embed && image.data.IsEmpty()) continue;
        CXMLAttrs item;
        item.AddAttr(u"src", image.sourceFileName.GetString());
        item.AddAttr(u"name", image.name.GetString());
        item.AddAttr(u"show_rule", image.showRule.GetString());
        item.AddAttr(u"align", image.align.GetString());
        item.AddAttr(u"autosize", int(image.autosize));
        if (embed)
            stream.WriteParameter(u"Image", image.data, 0, &item);
        else
            stream.EmptyItem(u"Image", &item);
    }
    stream.EndTable();
    stream.EndTable();
}

// ---------------------------------------------------------------- images --

void CFormConfigData::EncodeJpegs(const char16_t* directory) {
    CString data(u"empty");
    std::string bytes;
    for (int64_t i = 0; i < images.GetLength(); ++i) {
        CXMLTemplateImage& image = *images[i];
        if (IsPlainFileName(image.sourceFileName)) {
            const CString path = FormFiles::Join(CString(directory), image.sourceFileName);
            if (CheckFileExists(path)) {
                if (!FormFiles::ReadAll(path, bytes)) throw CKVSysException(path, KV_CODE_POS());
                CBase64::Encode(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(),
                                data, kAlphabet);
            }
        }
        image.data = data;
    }
}

void CFormConfigData::ExtractJpegs(const char16_t* directory) {
    bool anyData = false;
    for (int64_t i = 0; i < images.GetLength() && !anyData; ++i)
        anyData = !images[i]->data.IsEmpty();
    if (!anyData) return;
    DeleteJpegs(directory);
    std::vector<unsigned char> buffer;
    for (int64_t i = 0; i < images.GetLength(); ++i) {
        const CXMLTemplateImage& image = *images[i];
        if (!IsPlainFileName(image.sourceFileName)) continue;
        const auto n = static_cast<std::uint64_t>(image.data.GetLength());
        std::uint64_t room = n + n / 3 + (n % 3 != 0 ? 1 : 0);
        room = (room + 3) / 4 * 4;
        const std::uint64_t needed = CBase64::GetDataLength(n);
        buffer.resize(static_cast<size_t>((room > needed ? room : needed) + 1));
        const std::uint64_t size = CBase64::Decode(image.data, n, buffer.data(), kAlphabet);
        FormFiles::WriteAll(FormFiles::Join(CString(directory), image.sourceFileName),
                            buffer.data(), size);
    }
}

void CFormConfigData::DeleteJpegs(const char16_t* directory) {
    const std::string narrow = tarvex::ToUtf8(CString(directory).View());
    DIR* dir = ::opendir(narrow.c_str());
    if (dir == nullptr) return;
    while (const dirent* entry = ::readdir(dir)) {
        const size_t length = std::strlen(entry->d_name);
        if (length < 4 || ::strcasecmp(entry->d_name + length - 4, ".jpg") != 0) continue;
        struct stat info {};
        if (::fstatat(::dirfd(dir), entry->d_name, &info, AT_SYMLINK_NOFOLLOW) != 0) continue;
        if (S_ISDIR(info.st_mode)) continue;
        ::unlinkat(::dirfd(dir), entry->d_name, 0);
    }
    ::closedir(dir);
}

// ----------------------------------------------------------------- misc --

int64_t CFormConfigData::GetParamIdByName(const char16_t* keyName) {
    const CString key(keyName);
    for (int64_t i = 0; i < parameters.GetLength(); ++i)
        if (parameters[i]->GetKeyName().Compare(key) == 0) return i;
    return -1;
}

CFormConfigData::EConfigType CFormConfigData::GetConfigType(const char16_t* templateName) {
    const CString name(templateName);
    const int dot = name.ReverseFind(u'.');
    if (dot < 0) return eXMLTemplate;
    return name.Mid(dot + 1).Left(3).CompareNoCase(u"htm") == 0 ? eHTMLTemplate : eXMLTemplate;
}

std::uint32_t CFormConfigData::GetTemplateStyle(std::uint32_t style, bool keepStyle) const {
    if (keepStyle) return style;
    if (resizeable) style |= 0x40000;
    if (position == 1) style |= 0x800;
    if (position == 2) style |= 0x1000;
    if (!showIcon) style |= 0x80;
    if (minimizeBox) style |= 0x20000;
    if (maximizeBox) style |= 0x10000;
    return style;
}

void CFormConfigData::InitTemplate(unsigned char* block, std::uint32_t style,
                                   bool keepStyle) const {
    std::memset(block, 0, 26);
    const std::uint32_t value = GetTemplateStyle(style, keepStyle);
    for (int i = 0; i < 4; ++i) block[i] = static_cast<unsigned char>(value >> (8 * i));
    PutInt16(block + 10, x);
    PutInt16(block + 12, y);
    PutInt16(block + 14, width);
    PutInt16(block + 16, height);
}

void* CFormConfigData::CreateTemplate(std::uint32_t style, bool keepStyle) const {
    auto* block = static_cast<unsigned char*>(std::calloc(26, 1));
    if (block == nullptr) return nullptr;
    InitTemplate(block, style, keepStyle);
    return block;
}
