// The thread's last error and the system text of an error code.
//
// The last error is errno. System texts come from strerror_r for errno
// values and from a table of the common COM status codes for HRESULTs.
#pragma once

#include <cstdarg>

#include "tarvex/platform/cstring.h"

DWORD GetLastError() noexcept;
void SetLastError(DWORD code) noexcept;

constexpr DWORD FORMAT_MESSAGE_IGNORE_INSERTS = 0x00000200;
constexpr DWORD FORMAT_MESSAGE_FROM_SYSTEM = 0x00001000;

// Writes the system text for `messageId` into `buffer` (at most `size`
// characters with the terminator) and returns its length, or 0 when the
// system has no text for the code. Only FORMAT_MESSAGE_FROM_SYSTEM is served.
DWORD FormatMessageW(DWORD flags, const void* source, DWORD messageId, DWORD languageId,
                     char16_t* buffer, DWORD size, va_list* arguments) noexcept;

namespace tarvex {

// The system text for `code`, or empty.
CString SystemMessage(DWORD code);

} // namespace tarvex
