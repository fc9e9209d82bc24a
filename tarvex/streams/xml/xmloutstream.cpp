#include "tarvex/streams/xml/xmloutstream.h"

#include <cstdlib>
#include <cstring>
#include <string>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "tarvex/core/exceptions.h"
#include "tarvex/streams/textencode_internal.h"

namespace {

// A text up to its first NUL, as the text writers take it. A CString knows
// its length, so only a NUL inside it is looked for, eight units at a time.
std::size_t TextLength(const CString& text) {
    const char16_t* chars = text.GetString();
    const std::size_t length = static_cast<std::size_t>(text.GetLength());
    std::size_t i = 0;
#if defined(__SSE2__)
    const __m128i zero = _mm_setzero_si128();
    for (; i + 8 <= length; i += 8) {
        const __m128i units = _mm_loadu_si128(reinterpret_cast<const __m128i*>(chars + i));
        if (const int mask = _mm_movemask_epi8(_mm_cmpeq_epi16(units, zero)); mask != 0)
            return i + static_cast<std::size_t>(__builtin_ctz(mask)) / 2;
    }
#endif
    for (; i < length; ++i) {
        if (chars[i] == 0) return i;
    }
    return length;
}

} // namespace

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
    CCharStream* charStream = nullptr;
    try {
        charStream = new CCharStream(true, 1024, 8192);
        charStream->setEncoding(encoding);
        stream = charStream;
        WriteDeclaration();
    } catch (int) {
        delete charStream;
        stream = nullptr;
        return nullptr;
    }
    memory = charStream;
    created = 1;
    ownsStream = 0;
    return charStream;
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

// --- Tag assembly.

CXMLOutStream::CTagBytes::~CTagBytes() {
    if (own != ownInline) std::free(own);
}

void CXMLOutStream::CTagBytes::Start(CCharStream* memory) {
    size = 0;
    const std::uint64_t free = memory != nullptr ? memory->FreeBytes() : 0;
    if (free != 0) {
        inPlace = memory;
        data = memory->End();
        capacity = static_cast<std::size_t>(free);
    } else {
        inPlace = nullptr;
        data = own;
        capacity = ownCapacity;
    }
}

char* CXMLOutStream::CTagBytes::Grow(std::size_t n) {
    // `size` may exceed the own storage while the bytes are in place.
    const std::size_t needed = size + n;
    if (needed > ownCapacity) {
        const std::size_t grown = ownCapacity * 2 >= needed ? ownCapacity * 2 : needed;
        char* fresh =
            static_cast<char*>(own == ownInline ? std::malloc(grown) : std::realloc(own, grown));
        if (fresh == nullptr) {
            // As the memory streams do; the stream must stay terminated.
            if (inPlace != nullptr) inPlace->Terminate();
            inPlace = nullptr;
            data = own;
            capacity = ownCapacity;
            size = 0;
            throw -1;
        }
        if (own == ownInline && inPlace == nullptr) std::memcpy(fresh, own, size);
        own = fresh;
        ownCapacity = grown;
    }
    if (inPlace != nullptr) {
        // The stream's free room ran short: what is written moves here, and
        // the text it was written past is ended again.
        std::memcpy(own, data, size);
        inPlace->Terminate();
        inPlace = nullptr;
    }
    data = own;
    capacity = ownCapacity;
    return data + size;
}

void CXMLOutStream::CTagBytes::Send(COutStream* out) {
    if (inPlace != nullptr) {
        inPlace->Advance(size);
    } else {
        for (std::size_t at = 0; at < size; at += 1u << 30) {
            const std::size_t take = size - at < (1u << 30) ? size - at : (1u << 30);
            out->writeBytes(data + at, static_cast<unsigned int>(take));
        }
    }
    // Whatever a failed write left, the next item starts afresh.
    inPlace = nullptr;
    data = own;
    capacity = ownCapacity;
    size = 0;
}

void CXMLOutStream::CTableNames::Push(const char16_t* name) {
    const std::size_t length = name != nullptr ? std::char_traits<char16_t>::length(name) : 0;
    const std::size_t needed = used + length + kLengthUnits;
    if (needed > capacity) {
        std::size_t grown = capacity * 2 > needed ? capacity * 2 : needed;
        void* fresh = units == unitsInline ? std::malloc(grown * sizeof(char16_t))
                                           : std::realloc(units, grown * sizeof(char16_t));
        if (fresh == nullptr) throw -1;
        if (units == unitsInline) std::memcpy(fresh, units, used * sizeof(char16_t));
        units = static_cast<char16_t*>(fresh);
        capacity = grown;
    }
    if (length != 0) std::memcpy(units + used, name, length * sizeof(char16_t));
    used += length;
    for (std::size_t k = 0; k < kLengthUnits; ++k)
        units[used++] = static_cast<char16_t>(static_cast<std::uint64_t>(length) >> (16 * k));
}

std::u16string_view CXMLOutStream::CTableNames::Top() const {
    std::uint64_t length = 0;
    for (std::size_t k = 0; k < kLengthUnits; ++k)
        length |= static_cast<std::uint64_t>(units[used - kLengthUnits + k]) << (16 * k);
    return {units + used - kLengthUnits - length, static_cast<std::size_t>(length)};
}

CXMLOutStream::CTableNames::~CTableNames() {
    if (units != unitsInline) std::free(units);
}

void CXMLOutStream::PutMarkup(const char* ascii, unsigned int length) {
    switch (stream->getEncoing()) {
    case COutStream::eEncodingAnsi:
    case COutStream::eEncodingUTF8: {
        char* out = pending.Room(length);
        for (unsigned int i = 0; i < length; ++i) out[i] = ascii[i]; // a few bytes: no call
        pending.size += length;
        break;
    }
    case COutStream::eEncodingUnicode: {
        char* out = pending.Room(length * 2u);
        for (unsigned int i = 0; i < length; ++i) {
            out[2 * i] = ascii[i];
            out[2 * i + 1] = 0;
        }
        pending.size += length * 2u;
        break;
    }
    default:
        break;
    }
}

void CXMLOutStream::PutText(const char16_t* text, bool quotes) {
    if (text != nullptr)
        PutText(text, std::char_traits<char16_t>::length(text), stream->xmlSymbols, quotes);
}

void CXMLOutStream::PutText(const char16_t* text, std::size_t count, bool escape, bool quotes) {
    // Long texts go straight to the stream rather than through a copy here.
    if (count > kLongText) {
        Send();
        const bool previous = stream->cvtQuota;
        stream->cvtQuota = quotes;
        stream->writeText(text, count, escape);
        stream->cvtQuota = previous;
        return;
    }
    if (stream->getEncoing() == COutStream::eEncodingUTF8) {
        char* out = pending.Room(tarvex::textencode::Utf8Room(count));
        pending.size += tarvex::textencode::EncodeUtf8(out, text, count, escape, quotes, false);
    } else {
        char* out = pending.Room(count * COutStream::kMaxCharBytes);
        pending.size += stream->encode(out, text, count, escape, quotes);
    }
}

void CXMLOutStream::PutAttrs(CXMLAttrs* attrs) {
    if (attrs == nullptr) return;
    const COutStream::EStreamEncoding encoding = stream->getEncoing();
    const bool known = encoding == COutStream::eEncodingAnsi ||
                       encoding == COutStream::eEncodingUnicode ||
                       encoding == COutStream::eEncodingUTF8;
    for (std::int64_t i = 0, n = attrs->GetCount(); i < n; ++i) {
        const CXMLAttr* attr = attrs->GetAttr(i);
        const char16_t* name = attr->GetName();
        const char16_t* value = attr->GetValue();
        // Texts are taken up to their first NUL, as the text writers take
        // them; the encoder stops there by itself.
        std::size_t nameLength = static_cast<std::size_t>(attr->GetName().GetLength());
        std::size_t valueLength = static_cast<std::size_t>(attr->GetValue().GetLength());
        if (!known || nameLength > kLongText || valueLength > kLongText) {
            nameLength = TextLength(attr->GetName());
            valueLength = TextLength(attr->GetValue());
            PutMarkup(" ", 1);
            PutText(name, nameLength, stream->xmlSymbols, false);
            PutMarkup("=\"", 2);
            PutText(value, valueLength, stream->xmlSymbols, true);
            PutMarkup("\"", 1);
            continue;
        }
        // The whole attribute in one piece of room.
        if (encoding == COutStream::eEncodingUTF8) {
            char* out = pending.Room(tarvex::textencode::Utf8Room(nameLength) +
                                     tarvex::textencode::Utf8Room(valueLength) + 4);
            pending.size += tarvex::textencode::EncodeUtf8Attribute(
                out, name, nameLength, value, valueLength, stream->xmlSymbols);
        } else {
            char* out = pending.Room((nameLength + valueLength) * COutStream::kMaxCharBytes + 12);
            pending.size += stream->encodeAttribute(out, name, nameLength, value, valueLength);
        }
    }
}

void CXMLOutStream::PutTag(CMarkup start, const char16_t* name, std::size_t nameLength,
                           CXMLAttrs* attrs, CMarkup end) {
    if (stream->getEncoing() == COutStream::eEncodingUTF8 && nameLength <= kLongText) {
        // The whole tag in one piece of room, when no text in it is long
        // and the worst case of all of it is not far beyond a real tag.
        std::size_t room = start.length + tarvex::textencode::Utf8Room(nameLength) + end.length;
        bool fits = true;
        for (std::int64_t i = 0, n = attrs != nullptr ? attrs->GetCount() : 0; i < n && fits; ++i) {
            const CXMLAttr* attr = attrs->GetAttr(i);
            const auto nameUnits = static_cast<std::size_t>(attr->GetName().GetLength());
            const auto valueUnits = static_cast<std::size_t>(attr->GetValue().GetLength());
            room += tarvex::textencode::Utf8Room(nameUnits) +
                    tarvex::textencode::Utf8Room(valueUnits) + 4;
            fits = nameUnits <= kLongText && valueUnits <= kLongText && room <= kLongTag;
        }
        if (fits) {
            const bool escape = stream->xmlSymbols;
            char* const out = pending.Room(room);
            char* p = out;
            for (unsigned int k = 0; k < start.length; ++k)
                *p++ = start.text[k]; // a few bytes: no call
            p += tarvex::textencode::EncodeUtf8(p, name, nameLength, escape, stream->cvtQuota,
                                                false);
            for (std::int64_t i = 0, n = attrs != nullptr ? attrs->GetCount() : 0; i < n; ++i) {
                const CXMLAttr* attr = attrs->GetAttr(i);
                const CString& attrName = attr->GetName();
                const CString& attrValue = attr->GetValue();
                p += tarvex::textencode::EncodeUtf8Attribute(
                    p, attrName, static_cast<std::size_t>(attrName.GetLength()), attrValue,
                    static_cast<std::size_t>(attrValue.GetLength()), escape);
            }
            for (unsigned int k = 0; k < end.length; ++k) *p++ = end.text[k];
            pending.size += static_cast<std::size_t>(p - out);
            return;
        }
    }
    PutMarkup(start.text, start.length);
    PutText(name, nameLength, stream->xmlSymbols, stream->cvtQuota);
    PutAttrs(attrs);
    PutMarkup(end.text, end.length);
}

void CXMLOutStream::PutOpenTag(const char16_t* name, CXMLAttrs* attrs) {
    PutTag(CMarkup("<"), name, name != nullptr ? std::char_traits<char16_t>::length(name) : 0,
           attrs, CMarkup(">"));
}

void CXMLOutStream::PutCloseTag(const char16_t* name) {
    PutTag(CMarkup("</"), name, name != nullptr ? std::char_traits<char16_t>::length(name) : 0,
           nullptr, CMarkup(">"));
}

// --- Writing.

void CXMLOutStream::Write(const char16_t* text, bool cvtQuota) {
    bool previous = stream->isConvertingQuotas();
    stream->setCvtQuota(cvtQuota);
    stream->write(text);
    stream->setCvtQuota(previous);
}

void CXMLOutStream::WriteAttrs(CXMLAttrs* attrs) {
    StartItem();
    PutAttrs(attrs);
    Send();
}

int CXMLOutStream::WriteParameter(const char16_t* name, const char16_t* value, int skipEmpty,
                                  CXMLAttrs* attrs) {
    if (stream == nullptr) return 1;
    bool empty = value == nullptr || *value == 0;
    if (empty && skipEmpty != 0) return 1;
    StartItem();
    PutOpenTag(name, attrs);
    if (!empty) PutText(value, stream->cvtQuota);
    PutCloseTag(name);
    Send();
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
    StartItem();
    PutOpenTag(name, nullptr);
    PutMarkup("<![CDATA[", 9);
    if (!empty) {
        const std::size_t count = length < 0 ? std::char_traits<char16_t>::length(value)
                                             : static_cast<std::size_t>(length);
        PutText(value, count, false, false);
    }
    PutMarkup("]]>", 3);
    PutCloseTag(name);
    Send();
    return 1;
}

int CXMLOutStream::WriteCDATAbase64Parameter(const char16_t* name, const void* data,
                                             std::uint64_t size, int skipEmpty) {
    if (stream == nullptr) return 1;
    if (size == 0 && skipEmpty != 0) return 1;
    StartItem();
    PutOpenTag(name, nullptr);
    PutMarkup("<![CDATA[", 9);
    Send();
    stream->writeCDataBase64(data, size);
    PutMarkup("]]>", 3);
    PutCloseTag(name);
    Send();
    return 1;
}

int CXMLOutStream::BeginTable(const char16_t* name, CXMLAttrs* attrs) {
    if (stream == nullptr) return 1;
    tableNames.Push(name);
    StartItem();
    PutOpenTag(name, attrs);
    Send();
    return 1;
}

int CXMLOutStream::EndTable() {
    if (stream == nullptr) return 1;
    StartItem();
    if (!tableNames.IsEmpty()) {
        const std::u16string_view name = tableNames.Top();
        PutTag(CMarkup("</"), name.data(), name.size(), nullptr, CMarkup(">"));
        tableNames.Pop();
    } else {
        PutCloseTag(u"");
    }
    Send();
    return 1;
}

int CXMLOutStream::EmptyItem(const char16_t* name, CXMLAttrs* attrs) {
    if (stream == nullptr) return 1;
    StartItem();
    PutTag(CMarkup("<"), name, name != nullptr ? std::char_traits<char16_t>::length(name) : 0,
           attrs, CMarkup(" />"));
    Send();
    return 1;
}

int CXMLOutStream::Close() {
    if (created) {
        while (!tableNames.IsEmpty()) EndTable();
        created = 0;
    }
    COutStream* closing = stream;
    stream = nullptr;
    memory = nullptr;
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
