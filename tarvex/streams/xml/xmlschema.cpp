#include "tarvex/streams/xml/xmlschema.h"

#include "tarvex/core/stackroom.h"

// ------------------------------------------------------------------ types --

void CXMLSchemaType::AddMember(CXMLSchemaMember* member) {
    members.Add(member);
    map.SetAt(member->GetName(), member);
}

CXMLSchemaMember* CXMLSchemaType::FindMember(std::u16string_view name) const {
    CXMLSchemaMember* member = nullptr;
    map.Lookup(name, member);
    return member;
}

std::int32_t CXMLSchemaType::GetMemberId(std::u16string_view name) const {
    const CXMLSchemaMember* member = FindMember(name);
    return member != nullptr ? member->GetId() : 0;
}

CXMLSchemaType* CXMLSchema::FindType(std::u16string_view name) const {
    CXMLSchemaType* type = nullptr;
    map.Lookup(name, type);
    return type;
}

CXMLSchemaType* CXMLSchema::AddMember(CXMLSchemaType* type) {
    types.Add(type);
    map.SetAt(type->GetName(), type);
    return type;
}

CXMLSchemaType* CXMLSchema::SetRootType(const char16_t* name) {
    CXMLSchemaType* type = name != nullptr ? FindType(name) : nullptr;
    if (type != nullptr) rootType = type;
    return type;
}

void CXMLSchema::InitSchema(const tagXMLTypedef* table, int count) {
    std::int32_t id = 0;
    for (int row = 0; row < count; ++row) {
        // The name is read within its 64 units even if a table forgot the
        // terminator.
        const char16_t* text = table[row].name;
        std::size_t size = 0;
        while (size < 64 && text[size] != 0) ++size;
        std::u16string_view name(text, size);
        switch (table[row].type) {
        case 0: {
            CXMLSchemaType* type = FindType(name);
            if (type == nullptr) type = AddMember(new CXMLSchemaType(CString(name)));
            rootType = type;
            id = 1;
            break;
        }
        case 1:
            if (rootType != nullptr)
                rootType->AddMember(new CXMLSchemaMember(CString(name), id++,
                                                         CXMLSchemaMember::eMemberValue, nullptr));
            break;
        case 2: {
            if (rootType == nullptr) break;
            CXMLSchemaType* type = FindType(name);
            if (type == nullptr) type = AddMember(new CXMLSchemaType(CString(name)));
            rootType->AddMember(
                new CXMLSchemaMember(CString(name), id++, CXMLSchemaMember::eMemberObject, type));
            break;
        }
        default:
            break;
        }
    }
}

// ------------------------------------------------------------ the reader --

CXMLSchemaInStream::CXMLSchemaInStream(const CXMLSchema& schema)
    : schema(schema), currentType(schema.GetRootType()) {}

CXMLSchemaInStream::~CXMLSchemaInStream() {
    Close();
}

void CXMLSchemaInStream::Close() {
    if (stream != nullptr) {
        stream->Close();
        delete stream;
        stream = nullptr;
    }
    currentType = schema.GetRootType();
    stack.Clear();
    status = CXMLInStream::eReadError;
}

int CXMLSchemaInStream::OpenRoot(CXMLInStream* inner, int opened, CXMLAttrs& attrs,
                                 bool emptyRootAllowed) {
    stream = inner;
    if (opened && currentType != nullptr) {
        status = stream->ReadTag(scratchName, attrs);
        bool statusFits = status == CXMLInStream::eReadOpen ||
                          (emptyRootAllowed && status == CXMLInStream::eReadEmpty);
        if (statusFits && scratchName == currentType->GetName()) return 1;
    }
    Close();
    return 0;
}

int CXMLSchemaInStream::Open(const char16_t* path, CXMLAttrs& attrs) {
    Close();
    auto* inner = new CXMLFileInStream;
    return OpenRoot(inner, inner->Open(path), attrs, true);
}

int CXMLSchemaInStream::Open(const void* data, int length, CXMLAttrs& attrs) {
    Close();
    auto* inner = new CXMLFileInStream;
    return OpenRoot(inner, inner->Open(data, length), attrs, true);
}

int CXMLSchemaInStream::OpenXML(const char16_t* text, int length, CXMLAttrs& attrs) {
    Close();
    auto* inner = new CXMLFileInStream;
    return OpenRoot(inner, inner->OpenXML(text, length), attrs, false);
}

int CXMLSchemaInStream::OpenXML(const char16_t* text, int length) {
    CXMLAttrs attrs;
    return OpenXML(text, length, attrs);
}

int CXMLSchemaInStream::OpenXML(const char* text, int length) {
    Close();
    CXMLAttrs attrs;
    auto* inner = new CXMLFileInStream;
    return OpenRoot(inner, inner->OpenXML(text, length), attrs, false);
}

int CXMLSchemaInStream::Open(tagVARIANT& source, CXMLAttrs* attrs) {
    Close();
    CXMLAttrs temporary;
    CXMLAttrs& target = attrs != nullptr ? *attrs : temporary;
    CXMLInStream* inner = nullptr;
    if (source.vt == VT_BSTR)
        inner = new CXMLFileInStream;
    else if (source.vt == VT_DISPATCH || source.vt == VT_UNKNOWN)
        inner = new CXMLDOMInStream;
    else
        return 0;
    return OpenRoot(inner, inner->OpenXML(source), target, false);
}

CXMLSchemaInStream::EReadResult CXMLSchemaInStream::Read(CString& name, CString& value, int& id,
                                                         CXMLAttrs& attrs) {
    value.Empty();
    if (stream == nullptr) return eResultError;
    for (;;) {
        if (currentType == nullptr) return eResultError;
        status = stream->ReadTag(name, attrs);
        if (status == CXMLInStream::eReadClose) {
            if (name != currentType->GetName()) return eResultError;
            currentType = stack.IsEmpty() ? nullptr : stack.Pop();
            return eResultEnd;
        }
        if (status != CXMLInStream::eReadOpen && status != CXMLInStream::eReadEmpty)
            return eResultError;
        const CXMLSchemaMember* member = currentType->FindMember(name.View());
        if (member == nullptr) {
            // Not in the grammar: dropped with all it holds.
            if (status == CXMLInStream::eReadOpen && stream->Skip(name) != CXMLInStream::eReadClose)
                return eResultError;
            continue;
        }
        id = member->GetId();
        switch (member->GetType()) {
        case CXMLSchemaMember::eMemberValue:
            if (status == CXMLInStream::eReadEmpty) return eResultValue;
            return stream->ReadParameter(value, name) == CXMLInStream::eReadError ? eResultError
                                                                                  : eResultValue;
        case CXMLSchemaMember::eMemberObject:
            // An empty object looks like an empty value; the stack stays.
            if (status == CXMLInStream::eReadEmpty) return eResultValue;
            stack.Push(currentType);
            currentType = member->GetMemberType();
            return eResultObject;
        default:
            return eResultError;
        }
    }
}

CXMLSchemaInStream::EReadResult CXMLSchemaInStream::ReadObject(const char16_t* tagName,
                                                               CXMLAttrs& attrs) {
    if (stream == nullptr || currentType == nullptr || tagName == nullptr) return eResultError;
    status = stream->ReadTag(scratchName, attrs);
    if (status != CXMLInStream::eReadOpen) return eResultError;
    if (scratchName.Compare(tagName) == 0) {
        const CXMLSchemaMember* member = currentType->FindMember(scratchName.View());
        if (member != nullptr && member->GetType() == CXMLSchemaMember::eMemberObject) {
            stack.Push(currentType);
            currentType = member->GetMemberType();
            return eResultObject;
        }
    }
    stream->Skip(scratchName);
    return eResultError;
}

int CXMLSchemaInStream::ReadXML(XMLReadCallback callback, void* context) {
    if (status == CXMLInStream::eReadEmpty) return 1;
    // Callbacks call back in here for nested objects: a hostile nesting
    // ends in an error, not on the end of the stack.
    if (!tarvex::HasStackRoom()) return 0;
    CString name;
    CString value;
    CXMLAttrs attrs;
    for (;;) {
        int id = 0;
        EReadResult result = Read(name, value, id, attrs);
        if (result == eResultError) return 0;
        if (result == eResultEnd || currentType == nullptr) return 1;
        if (callback != nullptr && callback(context, *this, id, name, value, attrs) == 0) return 0;
    }
}

// ----------------------------------------------------- streamable objects --

int CXMLStreamableObject::CallOnXMLTag(void* context, CXMLSchemaInStream& stream, int id,
                                       const char16_t* name, const char16_t* value,
                                       CXMLAttrs& attrs) {
    return static_cast<CXMLStreamableObject*>(context)->OnXMLTag(stream, id, name, value, attrs);
}

int CXMLStreamableObject::LoadArray(CXMLSchemaInStream& stream, XMLReadCallback callback) {
    return stream.ReadXML(callback, this);
}

int CXMLStreamableObject::LoadFromXMLStream(CXMLSchemaInStream& stream) {
    return stream.ReadXML(CallOnXMLTag, this);
}
