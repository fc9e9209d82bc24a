// CODBCDataConverter: a fetched buffer, by its C type and status, as a
// number, text, GUID or variant.
#pragma once

#include <cstdint>

#include "tarvex/database/odbcbinding.h"
#include "tarvex/platform/cstring.h"
#include "tarvex/platform/guid.h"
#include "tarvex/platform/olevariant.h"
#include "tarvex/platform/unknown.h"

class CODBCDataConverter {
public:
    // A NULL status gives the null value of the result type; a status other
    // than a value or NULL is "Invalid Column Status"; a C type the result
    // cannot come from is "Invalid Data Conversion".
    static std::int32_t ToInt32(short cType, ODBCStatus status, const void* buffer);
    static double ToDouble(short cType, ODBCStatus status, const void* buffer);
    // `length` counts characters for wide text (bytes for narrow): above 0
    // that many, 0 none, below 0 up to the terminator. The caller keeps it
    // within the buffer, as the command does with the driver's length.
    static CString ToString(short cType, ODBCStatus status, const void* buffer,
                            std::int64_t length = -1);
    // False, with a zero GUID, for NULL.
    static bool ToUID(_GUID& guid, short cType, ODBCStatus status, const void* buffer);
    static COleVariant ToVariant(short cType, ODBCStatus status, const void* buffer);

    // Narrow text of the code page; `length` below 0 up to the terminator.
    static CString StringFromANSI(const char* text, unsigned int codePage, int length);
    // Parses "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}" (braces optional).
    static bool CharToGUID(const char* text, _GUID& guid);
    // Reads UTF-16 text from an object offering ISequentialStream.
    static void ReadString(IUnknown** unknown, CString& out);
};
