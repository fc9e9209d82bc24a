// Arbitrary bytes through the database layer's readers that need no server:
// the browse answers of a driver, GUID text, narrow text, and the converters
// over a buffer of any C type. Nothing may crash or read out of bounds; a
// refused conversion is a CODBCException.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

#include "tarvex/database/odbcconverter.h"
#include "tarvex/database/odbcexception.h"
#include "tarvex/database/odbcsession.h"
#include "tarvex/platform/codepage.h"

namespace {

const short kCTypes[] = {-11, -8, 1, -7, -6, 4, 5, 6, 8, 11, -25, -5, -2, 99};

void Convert(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return;
    const short cType = kCTypes[data[0] % (sizeof kCTypes / sizeof kCTypes[0])];
    const auto status = static_cast<ODBCStatus>(std::int32_t(data[0] >> 4) - 1);
    // A buffer as large as any fixed-size value, ending in a terminator.
    alignas(8) unsigned char buffer[66] = {};
    std::memcpy(buffer, data + 1, std::min<std::size_t>(size - 1, 64));
    try {
        CODBCDataConverter::ToString(cType, status, buffer, std::int64_t(size % 38) - 5);
    } catch (const CODBCException&) {
    }
    try {
        CODBCDataConverter::ToVariant(cType, status, buffer);
    } catch (const CODBCException&) {
    }
    try {
        CODBCDataConverter::ToInt32(cType, status, buffer);
        CODBCDataConverter::ToDouble(cType, status, buffer);
    } catch (const CODBCException&) {
    }
    try {
        _GUID guid;
        CODBCDataConverter::ToUID(guid, cType, status, buffer);
    } catch (const CODBCException&) {
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    const CString text = tarvex::FromUtf8(bytes);
    CSortedIndirectArray<CString> out;
    CODBCSession::ParseDatabasesList(out, text);
    CODBCSession::ExtractServerList(out, text);
    CODBCSession::GetServerInstancesFromConnectionString(out, text);

    const std::string narrow(bytes); // terminated, as the driver's buffers are
    _GUID guid;
    CODBCDataConverter::CharToGUID(narrow.c_str(), guid);
    CODBCDataConverter::StringFromANSI(narrow.c_str(), 1251, int(size));
    Convert(data, size);
    return 0;
}
