// Reading XML against a grammar written as a static table of tag names.
//
// A table row is a type (0), a value member (1) or an object member (2) of
// the type defined last above it; members are numbered from 1 in row order
// and the last type row is the document's root. CXMLSchemaInStream walks a
// document with the pull parser, drops every tag the grammar does not name
// with all it holds, hands values to the caller by member id and keeps a
// stack of the object types it is inside.
#pragma once
#include <cstdint>
#include <string_view>

#include "tarvex/core/indirectarray.h"
#include "tarvex/core/object.h"
#include "tarvex/core/stacktemplate.h"
#include "tarvex/core/stringmap.h"
#include "tarvex/platform/cstring.h"
#include "tarvex/platform/variant.h"
#include "tarvex/streams/xml/xmlinstream.h"

class CXMLSchemaType;

class CXMLSchemaMember : public CTarvexObject {
public:
    enum EMemberType : std::int32_t { eMemberValue = 1, eMemberObject = 2 };

    CXMLSchemaMember(const CString& name, std::int32_t id, EMemberType type,
                     CXMLSchemaType* memberType)
        : name(name), id(id), type(type), memberType(memberType) {}

    const CString& GetName() const { return name; }
    std::int32_t GetId() const { return id; }
    EMemberType GetType() const { return type; }
    CXMLSchemaType* GetMemberType() const { return memberType; }

private:
    CString name;
    std::int32_t id;
    EMemberType type;
    CXMLSchemaType* memberType; // not owned; null for a value member
};

class CXMLSchemaType : public CTarvexObject {
public:
    explicit CXMLSchemaType(const CString& name) : map(23), members(23, 23, true, -8), name(name) {}

    // Takes ownership. A second member of a name replaces the first in
    // lookups.
    void AddMember(CXMLSchemaMember* member);
    CXMLSchemaMember* FindMember(std::u16string_view name) const;
    // 0 when the name is unknown.
    std::int32_t GetMemberId(std::u16string_view name) const;
    const CString& GetName() const { return name; }

private:
    TStringHashMap<CXMLSchemaMember*> map;
    CIndirectArray<CXMLSchemaMember> members;
    CString name;
};

class CXMLSchema : public CTarvexObject {
public:
    struct tagXMLTypedef {
        char16_t name[64]; // zero-terminated
        std::int32_t type; // 0 type, 1 value member, 2 object member
    };
    static_assert(sizeof(tagXMLTypedef) == 132, "grammar rows are 132 bytes with no gap");

    CXMLSchema() : map(64), types(64, 128, true, -8) {}
    CXMLSchema(const tagXMLTypedef* table, int count) : CXMLSchema() { InitSchema(table, count); }

    CXMLSchemaType* FindType(std::u16string_view name) const;
    // Takes ownership.
    CXMLSchemaType* AddMember(CXMLSchemaType* type);
    // The type, or null and nothing changes.
    CXMLSchemaType* SetRootType(const char16_t* name);
    CXMLSchemaType* GetRootType() const { return rootType; }

protected:
    void InitSchema(const tagXMLTypedef* table, int count);

private:
    CXMLSchemaType* rootType = nullptr;
    TStringHashMap<CXMLSchemaType*> map;
    CIndirectArray<CXMLSchemaType> types;
};

class CXMLSchemaInStream;

// Answers 0 to stop the reading.
using XMLReadCallback = int (*)(void* context, CXMLSchemaInStream& stream, int id,
                                const char16_t* name, const char16_t* value, CXMLAttrs& attrs);

class CXMLSchemaInStream : public CTarvexObject {
public:
    enum EReadResult : std::int32_t {
        eResultError = 0,  // malformed, or a closing tag that does not fit
        eResultValue = 1,  // a value member was read
        eResultObject = 2, // an object member was entered
        eResultEnd = 3,    // the current object ended
    };

    // The schema must outlive the stream.
    explicit CXMLSchemaInStream(const CXMLSchema& schema);
    CXMLSchemaInStream(const CXMLSchemaInStream&) = delete;
    CXMLSchemaInStream& operator=(const CXMLSchemaInStream&) = delete;
    ~CXMLSchemaInStream() override;

    // Each answers 1 or 0. The root tag must be the root type's name; the
    // file and memory forms accept it as an empty tag too, the text forms
    // only as an open one.
    int Open(const char16_t* path, CXMLAttrs& attrs);
    int Open(const void* data, int length, CXMLAttrs& attrs);
    int OpenXML(const char16_t* text, int length, CXMLAttrs& attrs);
    int OpenXML(const char16_t* text, int length);
    int OpenXML(const char* text, int length);
    // A BSTR holds text or a path; an interface pointer would be a DOM,
    // which answers 0 for now; any other type makes no inner stream.
    int Open(tagVARIANT& source, CXMLAttrs* attrs);
    void Close();
    CString GetURL() const { return stream != nullptr ? stream->GetURL() : CString(); }

    EReadResult Read(CString& name, CString& value, int& id, CXMLAttrs& attrs);
    // Enters the object member `tagName`; anything else is eResultError (an
    // open tag of another name is skipped first).
    EReadResult ReadObject(const char16_t* tagName, CXMLAttrs& attrs);
    // Reads to the end of the current object, handing every item to the
    // callback. 1 at the end, 0 on an error or when the callback stops.
    int ReadXML(XMLReadCallback callback, void* context);

    CXMLInStream::eReadStatus GetTagStatus() const { return status; }
    bool IsEof() const { return currentType == nullptr; }
    CXMLSchemaType* GetCurrentType() const { return currentType; }

private:
    int OpenRoot(CXMLInStream* inner, int opened, CXMLAttrs& attrs, bool emptyRootAllowed);

    const CXMLSchema& schema;
    CXMLSchemaType* currentType;
    TStackTemplate<CXMLSchemaType*> stack;
    CXMLInStream* stream = nullptr;
    CXMLInStream::eReadStatus status = CXMLInStream::eReadError;
    CString scratchName;
    CString scratchValue;
};

class CXMLStreamableObject : public CTarvexObject {
public:
    ~CXMLStreamableObject() override = default;
    // Answers 0 to stop the reading.
    virtual int OnXMLTag(CXMLSchemaInStream& stream, int id, const char16_t* name,
                         const char16_t* value, CXMLAttrs& attrs) = 0;
    // stream.ReadXML(callback, this).
    virtual int LoadArray(CXMLSchemaInStream& stream, XMLReadCallback callback);

    // stream.ReadXML with OnXMLTag of this object.
    int LoadFromXMLStream(CXMLSchemaInStream& stream);

private:
    static int CallOnXMLTag(void* context, CXMLSchemaInStream& stream, int id, const char16_t* name,
                            const char16_t* value, CXMLAttrs& attrs);
};
