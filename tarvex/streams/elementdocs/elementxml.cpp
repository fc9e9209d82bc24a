#include "tarvex/streams/elementdocs/elementxml.h"

#include <climits>
#include <cstdint>
#include <iterator>
#include <memory>
#include <string_view>

#include "tarvex/core/stackroom.h"
#include "tarvex/platform/variant.h"
#include "tarvex/platform/wide.h"
#include "tarvex/streams/charstream.h"

namespace {

const CXMLSchema::tagXMLTypedef kElementGrammar[] = {
    {u"Parameters", 0}, {u"Parameter", 1}, {u"Tags", 0},       {u"Tag", 1},      {u"Elements", 0},
    {u"Element", 2},    {u"Element", 0},   {u"Parameters", 2}, {u"Elements", 2}, {u"Tags", 2},
};

// Attribute names shared by every tag written: the writer's attribute sets
// then hold references to these buffers instead of copies.
const CString& AttrName() {
    static const CString text(u"name");
    return text;
}
const CString& AttrValue() {
    static const CString text(u"value");
    return text;
}
const CString& AttrCaption() {
    static const CString text(u"caption");
    return text;
}
const CString& AttrComment() {
    static const CString text(u"comment");
    return text;
}

// Keeps the interning table from growing without bound on documents whose
// parameter names never repeat.
constexpr size_t kMaxInternedNames = 1 << 16;

bool IsTagName(const CString& name) {
    if (name.GetLength() != 3) return false;
    const char16_t* text = name.GetString();
    return (text[0] | 0x20) == u't' && (text[1] | 0x20) == u'a' && (text[2] | 0x20) == u'g';
}

// The text up to its first NUL. Names reach every caller as C strings, so a
// name holding "&#x0;" must sort, compare and write as what comes before it.
CString AsCString(const CString& text) {
    const char16_t* units = text.GetString();
    const auto length = std::char_traits<char16_t>::length(units);
    return length == static_cast<size_t>(text.GetLength()) ? text : CString(units);
}

// "%d" of `value` in `digits`, as the integer AddAttr writes it.
std::u16string_view Decimal(int value, char16_t (&digits)[16]) {
    std::uint32_t magnitude =
        value < 0 ? 0u - static_cast<std::uint32_t>(value) : static_cast<std::uint32_t>(value);
    int at = 16;
    do {
        digits[--at] = static_cast<char16_t>(u'0' + magnitude % 10);
        magnitude /= 10;
    } while (magnitude != 0);
    if (value < 0) digits[--at] = u'-';
    return std::u16string_view(digits + at, static_cast<std::size_t>(16 - at));
}

char16_t* HeapCopy(const CString& text) {
    const int length = text.GetLength();
    char16_t* copy = new char16_t[length + 1];
    std::char_traits<char16_t>::copy(copy, text.GetString(), length);
    copy[length] = 0;
    return copy;
}

} // namespace

CCElementXMLSchema::CCElementXMLSchema() {
    InitSchema(kElementGrammar, static_cast<int>(std::size(kElementGrammar)));
}

// --- Writing.

CElementXMLOutStream::CElementXMLOutStream(CXMLOutStream& stream) : stream(stream) {}

bool CElementXMLOutStream::Write(const CElement& element) {
    if (!tarvex::HasStackRoom()) {
        tooDeep = true;
        return false;
    }
    // The view forms write into the set's own buffers: no string is made
    // per element.
    const char16_t* name = element.GetName();
    char16_t digits[16];
    elementAttrs.AddAttr(std::u16string_view(u"name"),
                         name != nullptr ? std::u16string_view(name) : std::u16string_view());
    elementAttrs.AddAttr(std::u16string_view(u"id"),
                         Decimal(static_cast<int>(element.GetId()), digits));
    elementAttrs.AddAttr(std::u16string_view(u"uid"),
                         Decimal(static_cast<int>(element.GetModelUID()), digits));
    if (!stream.BeginTable(u"Element", &elementAttrs)) return false;
    if (!WriteParameters(element)) return false;
    WriteTags(element);
    WriteChildren(element);
    // The groups' answers are not looked at, but a subtree cut short for
    // lack of stack must not pass for a whole document.
    return stream.EndTable() != 0 && !tooDeep;
}

bool CElementXMLOutStream::WriteParameters(const CParamsOwner& owner) {
    const CParamsOwner::ParamArray& params = owner.GetParams();
    const int64_t count = params.GetLength();
    if (count == 0) return true;
    if (!stream.BeginTable(u"Parameters")) return false;
    for (int64_t i = 0; i < count; ++i) {
        const CParam* param = params[i];
        parameterAttrs.AddAttr(AttrName(), param->getName());
        parameterAttrs.AddAttr(AttrValue(), param->getstrValue());
        parameterAttrs.AddAttr(AttrCaption(), param->getComment());
        parameterAttrs.AddAttr(AttrComment(), param->getValueComment());
        if (!stream.EmptyItem(u"Parameter", &parameterAttrs)) return false;
    }
    return stream.EndTable() != 0;
}

bool CElementXMLOutStream::WriteTags(const CElement& element) {
    const int32_t count = element.GetTagsCount();
    if (count == 0) return true;
    if (!stream.BeginTable(u"Tags")) return false;
    const int32_t* tags = element.GetTags();
    for (int32_t i = 0; i < count; ++i) {
        char16_t digits[16];
        tagAttrs.AddAttr(std::u16string_view(u"value"), Decimal(static_cast<int>(tags[i]), digits));
        if (!stream.EmptyItem(u"Tag", &tagAttrs)) return false;
    }
    return stream.EndTable() != 0;
}

bool CElementXMLOutStream::WriteChildren(const CElement& element) {
    const int64_t count = element.GetChildCount();
    if (count == 0) return true;
    if (!stream.BeginTable(u"Elements")) return false;
    for (int64_t i = 0; i < count; ++i)
        if (!Write(*element.GetChild(i))) return false;
    return stream.EndTable() != 0;
}

// --- Reading.

CElementXMLInStream::CElementXMLInStream(CXMLSchemaInStream* stream) : stream(stream) {}

CElementXMLInStream::~CElementXMLInStream() = default;

void CElementXMLInStream::SetSchema(int element, int elements, int parameters, int parameter,
                                    int tags) {
    elementId = element;
    elementsId = elements;
    parametersId = parameters;
    parameterId = parameter;
    tagsId = tags;
}

CXMLSchemaInStream::EReadResult CElementXMLInStream::Next(int& id, CXMLAttrs& attrs) {
    id = 0;
    return stream->Read(scratchName, scratchValue, id, attrs);
}

bool CElementXMLInStream::SkipObject() {
    if (stream->GetTagStatus() == CXMLInStream::eReadEmpty) return true;
    CXMLAttrs attrs;
    int depth = 1;
    while (depth > 0) {
        int id;
        switch (Next(id, attrs)) {
        case CXMLSchemaInStream::eResultError:
            return false;
        case CXMLSchemaInStream::eResultEnd:
            --depth;
            break;
        case CXMLSchemaInStream::eResultObject:
            if (stream->GetTagStatus() != CXMLInStream::eReadEmpty) ++depth;
            break;
        default:
            break;
        }
    }
    return true;
}

bool CElementXMLInStream::Read(CElement& element, bool readEnd) {
    if (stream == nullptr) return false;
    CXMLAttrs& attrs = itemAttrs;
    int id;
    const auto result = Next(id, attrs);
    if (result == CXMLSchemaInStream::eResultError || result == CXMLSchemaInStream::eResultEnd ||
        id != elementId)
        return false;
    return ReadElement(element, attrs, readEnd);
}

void CElementXMLInStream::SetElementAttributes(CElement& element, CXMLAttrs& attrs) {
    CleanElement(element);
    const CXMLAttr* name = attrs.GetAttr(u"name");
    int id = 0;
    int uid = -1;
    attrs.GetAttr(u"id", id);
    attrs.GetAttr(u"uid", uid);
    SetElementProperties(element, name != nullptr ? HeapCopy(name->GetValue()) : nullptr, id, uid);
}

bool CElementXMLInStream::ReadElement(CElement& element, CXMLAttrs& attrs, bool readEnd) {
    if (stream == nullptr) return false;
    SetElementAttributes(element, attrs);
    auto result = CXMLSchemaInStream::eResultObject;
    if (stream->GetTagStatus() != CXMLInStream::eReadEmpty) {
        while (!stream->IsEof()) {
            int id;
            result = Next(id, attrs);
            if (result == CXMLSchemaInStream::eResultError ||
                result == CXMLSchemaInStream::eResultEnd)
                break;
            if (result != CXMLSchemaInStream::eResultObject) continue;
            bool ok;
            if (id == parametersId)
                ok = ReadParameters(element);
            else if (id == elementsId)
                ok = ReadChildElements(element);
            else if (id == tagsId)
                ok = ReadTags(element);
            else
                ok = SkipObject();
            if (!ok) return false;
        }
    }
    if (readEnd) {
        int id;
        result = Next(id, attrs);
    }
    return result != CXMLSchemaInStream::eResultError;
}

CParam* CElementXMLInStream::CreateParameter(CXMLAttrs& attrs) {
    const CXMLAttr* name = attrs.GetAttr(u"name");
    if (name == nullptr) return nullptr;
    const CString text = AsCString(name->GetValue());
    if (text.IsEmpty()) return nullptr;
    auto* param = new CParam;
    auto found = names.find(text.View());
    if (found != names.end()) {
        param->m_strName = found->second.name;
        param->m_strUpperName = found->second.upper;
    } else {
        param->m_strName = text;
        if (names.size() < kMaxInternedNames) {
            CInternedName entry{param->m_strName, param->UpperName()};
            const std::u16string_view key = entry.name.View();
            names.emplace(key, std::move(entry));
        }
    }
    if (const CXMLAttr* value = attrs.GetAttr(u"value")) param->m_strValue = value->GetValue();
    if (const CXMLAttr* caption = attrs.GetAttr(u"caption"))
        param->m_strComment = caption->GetValue();
    if (const CXMLAttr* comment = attrs.GetAttr(u"comment"))
        param->m_strValueComment = comment->GetValue();
    return param;
}

bool CElementXMLInStream::ReadParameters(CParamsOwner& owner) {
    if (stream->GetTagStatus() == CXMLInStream::eReadEmpty) return true;
    CXMLAttrs& attrs = itemAttrs;
    while (!stream->IsEof()) {
        int id;
        const auto result = Next(id, attrs);
        if (result == CXMLSchemaInStream::eResultError) return false;
        if (result == CXMLSchemaInStream::eResultEnd) break;
        if (result == CXMLSchemaInStream::eResultObject) {
            if (!SkipObject()) return false;
            continue;
        }
        if (id != parameterId) continue;
        if (CParam* param = CreateParameter(attrs)) AddNewParameter(owner, param);
    }
    return true;
}

bool CElementXMLInStream::ReadTags(CElement& element) {
    if (stream->GetTagStatus() == CXMLInStream::eReadEmpty) return true;
    CXMLAttrs& attrs = itemAttrs;
    CElementTagsArray tags;
    while (!stream->IsEof()) {
        int id;
        const auto result = Next(id, attrs);
        if (result == CXMLSchemaInStream::eResultError) return false;
        if (result == CXMLSchemaInStream::eResultEnd) break;
        if (result == CXMLSchemaInStream::eResultObject) {
            if (!SkipObject()) return false;
            continue;
        }
        // The upper-case comparison is kept on purpose; the grammar alone
        // decides that only "Tag" gets here.
        if (!IsTagName(scratchName)) continue;
        if (const CXMLAttr* value = attrs.GetAttr(u"value")) tags.Add(_wtoi(value->GetValue()));
    }
    SetElementTagsVector(element, tags);
    return true;
}

bool CElementXMLInStream::ReadChildElement(CElement& parent) {
    auto* child = new CElement();
    // Attached before it is read, so that setting its root costs nothing and
    // its grandchildren find the right root at once.
    AttachChild(parent, child);
    if (Read(*child, false)) return true;
    parent.DeleteChild(child);
    return false;
}

bool CElementXMLInStream::ReadChildElements(CElement& parent) {
    if (stream->GetTagStatus() == CXMLInStream::eReadEmpty) return true;
    for (;;) {
        if (!tarvex::HasStackRoom()) tooDeep = true;
        // Too deep ends the whole read at once: the levels above must not
        // take the rest of the document for their own.
        if (tooDeep) return false;
        if (!ReadChildElement(parent)) return !tooDeep;
    }
}

// --- CElement entry points.

bool CElement::ReadFromFile(const char16_t* path) {
    CCElementXMLSchema schema;
    CXMLSchemaInStream stream(schema);
    CXMLAttrs attrs;
    if (!stream.Open(path, attrs)) return false;
    CElementXMLInStream reader(&stream);
    return reader.ReadElement(*this, attrs, false);
}

bool CElement::ReadFromXML(const CString& text) {
    if (text.GetLength() < 10) return false;
    CCElementXMLSchema schema;
    CXMLSchemaInStream stream(schema);
    CXMLAttrs attrs;
    if (!stream.OpenXML(text.GetString(), text.GetLength(), attrs)) return false;
    CElementXMLInStream reader(&stream);
    return reader.ReadElement(*this, attrs, false);
}

bool CElement::ReadFromSource(tagVARIANT source) {
    CCElementXMLSchema schema;
    CXMLSchemaInStream stream(schema);
    CXMLAttrs attrs;
    if (!stream.Open(source, &attrs)) return false;
    CElementXMLInStream reader(&stream);
    return reader.ReadElement(*this, attrs, false);
}

bool CElement::ReadFromStream(CXMLSchemaInStream& stream, CXMLAttrs& attrs) {
    CElementXMLInStream reader(&stream);
    return reader.ReadElement(*this, attrs, false);
}

bool CElement::WriteToXML(CString& text) const {
    std::unique_ptr<CCharStream> memory;
    CXMLOutStream out;
    try {
        memory.reset(out.Create(COutStream::eEncodingUnicode));
        if (memory == nullptr) return false;
        CElementXMLOutStream writer(out);
        const bool written = writer.Write(*this);
        out.Close();
        if (!written) return false;
    } catch (int) {
        // A memory stream that cannot grow.
        return false;
    }
    const uint64_t length = memory->GetPos();
    if (length > static_cast<uint64_t>(INT32_MAX)) return false;
    text = CString(static_cast<const char16_t*>(memory->GetBuffer()), static_cast<int>(length));
    return true;
}

bool CElement::WriteToFile(const char16_t* path) const {
    CXMLOutStream out;
    if (!out.Create(path)) return false;
    auto* file = static_cast<CFileOutStream*>(out.GetOutputStream());
    bool written;
    try {
        CElementXMLOutStream writer(out);
        written = writer.Write(*this);
    } catch (...) {
        // A write error (a full disk) or a buffer that cannot grow.
        written = false;
    }
    if (!written) {
        // The old document stays where it is.
        file->Abandon();
        try {
            out.Close();
        } catch (...) {
        }
        return false;
    }
    try {
        out.Close();
    } catch (...) {
        return false;
    }
    return true;
}
