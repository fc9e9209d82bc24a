#include "tarvex/database/odbcconverter.h"

#include <cstring>

#include "tarvex/database/odbc_internal.h"
#include "tarvex/database/odbcexception.h"
#include "tarvex/element/paramsowner.h"
#include "tarvex/platform/codepage.h"
#include "tarvex/platform/sequentialstream.h"
#include "tarvex/platform/wide.h"

namespace {

// True for a value, false for NULL; anything else throws.
bool HasValue(ODBCStatus status) {
    if (status == eOdbcStatusNull) return false;
    if (status != eOdbcStatusValue) throw CODBCException(u"Invalid Column Status");
    return true;
}

[[noreturn]] void ThrowConversion() {
    throw CODBCException(u"Invalid Data Conversion");
}

template <class T>
T Load(const void* buffer) {
    T value;
    std::memcpy(&value, buffer, sizeof value);
    return value;
}

CString WideText(const void* buffer, std::int64_t length) {
    const auto* text = static_cast<const char16_t*>(buffer);
    if (length == 0) return CString();
    if (length > 0) return CString(text, int(length));
    return CString(text);
}

CString TimestampText(const TIMESTAMP_STRUCT& t) {
    // The fraction counts billionths, but only its first three printed
    // digits are kept: 123456789 shows as 123, 50000000 as 500.
    CString fraction;
    fraction.Format(u"%03d", int(t.fraction));
    CString text;
    text.Format(u"%04d-%02d-%02d %02d:%02d:%02d.%s", int(t.year), int(t.month), int(t.day),
                int(t.hour), int(t.minute), int(t.second), fraction.Left(3));
    return text;
}

} // namespace

std::int32_t CODBCDataConverter::ToInt32(short cType, ODBCStatus status, const void* buffer) {
    if (!HasValue(status)) return 0;
    switch (cType) {
    case SQL_C_WCHAR:
        return _wtoi(static_cast<const char16_t*>(buffer));
    case SQL_C_BIT:
    case SQL_C_TINYINT:
        return Load<signed char>(buffer);
    case SQL_C_LONG:
        return Load<std::int32_t>(buffer);
    case SQL_C_SBIGINT:
    case SQL_BIGINT: {
        // A count beyond 32 bits must not come back as its low half.
        const auto value = Load<std::int64_t>(buffer);
        if (value < INT32_MIN || value > INT32_MAX) ThrowConversion();
        return std::int32_t(value);
    }
    default:
        ThrowConversion();
    }
}

double CODBCDataConverter::ToDouble(short cType, ODBCStatus status, const void* buffer) {
    if (!HasValue(status)) return 0.0;
    switch (cType) {
    case SQL_C_LONG:
        return Load<std::int32_t>(buffer);
    case SQL_C_DOUBLE:
        return Load<double>(buffer);
    default:
        ThrowConversion();
    }
}

CString CODBCDataConverter::ToString(short cType, ODBCStatus status, const void* buffer,
                                     std::int64_t length) {
    if (!HasValue(status)) return CString();
    CString text;
    switch (cType) {
    case SQL_C_GUID: {
        char16_t braced[39];
        CParamsOwner::FormatUID(Load<_GUID>(buffer), braced, 39);
        return CString(braced);
    }
    case SQL_C_WCHAR:
        return WideText(buffer, length);
    case SQL_C_CHAR:
        return StringFromANSI(static_cast<const char*>(buffer), 1251, int(length));
    case SQL_C_LONG:
        text.Format(u"%d", Load<std::int32_t>(buffer));
        return text;
    case SQL_C_SHORT:
        text.Format(u"%d", int(Load<std::int16_t>(buffer)));
        return text;
    case SQL_C_FLOAT:
        text.Format(u"%g", double(Load<float>(buffer)));
        return text;
    case SQL_C_DOUBLE:
        text.Format(u"%g", Load<double>(buffer));
        return text;
    case SQL_C_TIMESTAMP:
        return TimestampText(Load<TIMESTAMP_STRUCT>(buffer));
    case SQL_C_SBIGINT:
    case SQL_BIGINT:
        // The whole 64-bit value: a count read as text keeps every digit.
        text.Format(u"%lld", static_cast<long long>(Load<std::int64_t>(buffer)));
        return text;
    default:
        ThrowConversion();
    }
}

bool CODBCDataConverter::ToUID(_GUID& guid, short cType, ODBCStatus status, const void* buffer) {
    guid = _GUID{};
    if (!HasValue(status)) return false;
    switch (cType) {
    case SQL_C_GUID:
        guid = Load<_GUID>(buffer);
        return true;
    case SQL_C_WCHAR:
        if (FAILED(CLSIDFromString(static_cast<const char16_t*>(buffer), &guid))) {
            guid = _GUID{};
            ThrowConversion();
        }
        return true;
    case SQL_C_CHAR:
        if (!CharToGUID(static_cast<const char*>(buffer), guid)) ThrowConversion();
        return true;
    default:
        ThrowConversion();
    }
}

COleVariant CODBCDataConverter::ToVariant(short cType, ODBCStatus status, const void* buffer) {
    if (!HasValue(status)) return COleVariant();
    switch (cType) {
    case SQL_C_GUID:
    case SQL_C_WCHAR:
    case SQL_C_CHAR:
        return COleVariant(ToString(cType, status, buffer));
    case SQL_C_LONG:
        return COleVariant(LONG(Load<std::int32_t>(buffer)));
    case SQL_C_SHORT:
        return COleVariant(SHORT(Load<std::int16_t>(buffer)));
    case SQL_C_FLOAT:
        return COleVariant(Load<float>(buffer));
    case SQL_C_DOUBLE:
        return COleVariant(Load<double>(buffer));
    case SQL_C_SBIGINT:
    case SQL_BIGINT:
        return COleVariant(LONGLONG(Load<std::int64_t>(buffer)));
    default:
        ThrowConversion();
    }
}

CString CODBCDataConverter::StringFromANSI(const char* text, unsigned int codePage, int length) {
    if (text == nullptr || length == 0) return CString();
    const std::size_t bytes = length < 0 ? std::strlen(text) : std::size_t(length);
    return tarvex::DecodeCodePage(codePage, std::string_view(text, bytes));
}

bool CODBCDataConverter::CharToGUID(const char* text, _GUID& guid) {
    if (text == nullptr) return false;
    char16_t wide[40];
    int n = 0;
    for (; text[n] && n < 39; ++n) wide[n] = char16_t(static_cast<unsigned char>(text[n]));
    if (text[n] != 0) return false;
    wide[n] = 0;
    CString braced;
    if (n > 0 && wide[0] != u'{') braced += u'{';
    braced += wide;
    if (n > 0 && wide[0] != u'{') braced += u'}';
    return SUCCEEDED(CLSIDFromString(braced, &guid));
}

void CODBCDataConverter::ReadString(IUnknown** unknown, CString& out) {
    out.Empty();
    if (unknown == nullptr || *unknown == nullptr) return;
    CComPtr<ISequentialStream> stream;
    if (FAILED(
            (*unknown)->QueryInterface(IID_ISequentialStream, reinterpret_cast<void**>(&stream))))
        return;
    char16_t block[2048]; // 4096 bytes
    for (;;) {
        ULONG got = 0;
        const HRESULT hr = stream->Read(block, sizeof block, &got);
        out.Append(block, int(got / 2));
        if (FAILED(hr) || got < sizeof block) break;
    }
}
