#include "tarvex/streams/xml/xmloutstream.h"

#include "tarvex/core/exceptions.h"

void CXMLOutStreamBase::OLEDateTimeToStr(const COleDateTime& value, CString& text) {
    text.Empty();
    SYSTEMTIME time;
    if (!value.GetAsSystemTime(time)) return;
    text.Format(u"%4d-%02d-%02dT%02d:%02d:%02d", int(time.wYear), int(time.wMonth), int(time.wDay),
                int(time.wHour), int(time.wMinute), int(time.wSecond));
}

CXMLOutStream::~CXMLOutStream() {
    try {
        Close();
    } catch (...) {
        // A destructor cannot report; Close is where errors surface.
    }
}

void CXMLOutStream::WriteDeclaration() {
    stream->writeMarkup("<?xml version=\"1.0\" ?>", 22);
}

CCharStream* CXMLOutStream::Create(COutStream::EStreamEncoding encoding) {
    if (created) return nullptr;
    CCharStream* memory = nullptr;
    try {
        memory = new CCharStream(true, 1024, 8192);
        memory->setEncoding(encoding);
        stream = memory;
        WriteDeclaration();
    } catch (int) {
        delete memory;
        stream = nullptr;
        return nullptr;
    }
    created = 1;
    ownsStream = 0;
    return memory;
}

int CXMLOutStream::Create(const char16_t* path) {
    if (created) return 0;
    try {
        stream = new CFileOutStream(path, COutStream::eEncodingUTF8);
        WriteDeclaration();
    } catch (const CKVException&) {
        delete stream;
        stream = nullptr;
        return 0;
    }
    created = 1;
    ownsStream = 1;
    return 1;
}

void CXMLOutStream::Write(const char16_t* text, bool cvtQuota) {
    bool previous = stream->isConvertingQuotas();
    stream->setCvtQuota(cvtQuota);
    stream->write(text);
    stream->setCvtQuota(previous);
}

void CXMLOutStream::WriteAttrs(CXMLAttrs* attrs) {
    if (attrs == nullptr) return;
    for (std::int64_t i = 0, n = attrs->GetCount(); i < n; ++i) {
        const CXMLAttr* attr = attrs->GetAttr(i);
        stream->writeMarkup(" ", 1);
        Write(attr->GetName(), false);
        stream->writeMarkup("=\"", 2);
        Write(attr->GetValue(), true);
        stream->writeMarkup("\"", 1);
    }
}

void CXMLOutStream::OpenTag(const char16_t* name, CXMLAttrs* attrs) {
    stream->tagOpenStart();
    stream->write(name);
    WriteAttrs(attrs);
    stream->tagEnd();
}

int CXMLOutStream::WriteParameter(const char16_t* name, const char16_t* value, int skipEmpty,
                                  CXMLAttrs* attrs) {
    if (stream == nullptr) return 1;
    bool empty = value == nullptr || *value == 0;
    if (empty && skipEmpty != 0) return 1;
    OpenTag(name, attrs);
    if (!empty) stream->write(value);
    stream->tagCloseStart();
    stream->write(name);
    stream->tagEnd();
    return 1;
}

int CXMLOutStream::WriteParameter(const char16_t* name, double value, CXMLAttrs* attrs) {
    CString text;
    text.Format(u"%g", value);
    return WriteParameter(name, text.GetString(), 1, attrs);
}

int CXMLOutStream::WriteParameter(const char16_t* name, std::int32_t value, CXMLAttrs* attrs) {
    CString text;
    text.Format(u"%d", value);
    return WriteParameter(name, text.GetString(), 1, attrs);
}

int CXMLOutStream::WriteDateParameter(const char16_t* name, const COleDateTime& value,
                                      int skipEmpty, CXMLAttrs* attrs) {
    if (skipEmpty != 0) {
        SYSTEMTIME time;
        if (!value.GetAsSystemTime(time) || time.wYear < 1900) return 1;
    }
    CString text;
    OLEDateTimeToStr(value, text);
    return WriteParameter(name, text.GetString(), skipEmpty, attrs);
}

int CXMLOutStream::WriteCDATAParameter(const char16_t* name, const char16_t* value, int length,
                                       int skipEmpty) {
    if (stream == nullptr) return 1;
    bool empty = value == nullptr || length == 0 || (length < 0 && *value == 0);
    if (empty && skipEmpty != 0) return 1;
    OpenTag(name, nullptr);
    stream->writeMarkup("<![CDATA[", 9);
    if (!empty) stream->writeCData(value, length);
    stream->writeMarkup("]]>", 3);
    stream->tagCloseStart();
    stream->write(name);
    stream->tagEnd();
    return 1;
}

int CXMLOutStream::WriteCDATAbase64Parameter(const char16_t* name, const void* data,
                                             std::uint64_t size, int skipEmpty) {
    if (stream == nullptr) return 1;
    if (size == 0 && skipEmpty != 0) return 1;
    OpenTag(name, nullptr);
    stream->writeMarkup("<![CDATA[", 9);
    stream->writeCDataBase64(data, size);
    stream->writeMarkup("]]>", 3);
    stream->tagCloseStart();
    stream->write(name);
    stream->tagEnd();
    return 1;
}

int CXMLOutStream::BeginTable(const char16_t* name, CXMLAttrs* attrs) {
    if (stream == nullptr) return 1;
    tableNames.Push(CString(name));
    OpenTag(name, attrs);
    return 1;
}

int CXMLOutStream::EndTable() {
    if (stream == nullptr) return 1;
    stream->tagCloseStart();
    if (!tableNames.IsEmpty()) {
        CString name = tableNames.Pop();
        stream->write(name.GetString());
    }
    stream->tagEnd();
    return 1;
}

int CXMLOutStream::EmptyItem(const char16_t* name, CXMLAttrs* attrs) {
    if (stream == nullptr) return 1;
    stream->tagOpenStart();
    stream->write(name);
    WriteAttrs(attrs);
    stream->writeMarkup(" />", 3);
    return 1;
}

int CXMLOutStream::Close() {
    if (created) {
        while (!tableNames.IsEmpty()) EndTable();
        created = 0;
    }
    COutStream* closing = stream;
    stream = nullptr;
    tableNames.Clear();
    if (ownsStream && closing != nullptr) {
        // Closing a file is where a write error surfaces: the stream is
        // deleted whatever happens.
        try {
            closing->Close();
        } catch (...) {
            delete closing;
            throw;
        }
        delete closing;
    }
    return 1;
}
