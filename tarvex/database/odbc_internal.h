// The ODBC API as the database layer's sources see it. Private: only .cpp
// files of this layer include it, so hosts need no ODBC headers.
//
// unixODBC's headers bring their own stand-ins for the Windows types (WCHAR
// as unsigned short, BOOL as a macro, ULONG as a 64-bit long, its own
// timestamp record). Ours come first and theirs are switched off, so that
// SQLWCHAR *is* char16_t and the timestamp record is the library's: wide
// text and timestamps pass to the driver manager without a cast.
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "tarvex/platform/timestamp.h"
#include "tarvex/platform/types.h"

#ifdef SQL_WCHART_CONVERT
#error "SQL_WCHART_CONVERT makes SQLWCHAR a 4-byte wchar_t; the library's text is UTF-16"
#endif

#define ALREADY_HAVE_WINDOWS_TYPE 1
#define FAR
#define CALLBACK
#define SQL_API

// What unixODBC would have declared without ALREADY_HAVE_WINDOWS_TYPE, less
// what types.h already has (WCHAR, LPWSTR, LPCWSTR, WORD, DWORD, BYTE, UINT,
// USHORT, BOOL).
using HWND = void*;
using HINSTANCE = void*;
using CHAR = char;
using LPSTR = char*;
using LPCSTR = const char*;
using LPDWORD = DWORD*;
using UCHAR = unsigned char;
using SCHAR = signed char;
using SQLSCHAR = SCHAR;
using SDWORD = int;
using UDWORD = unsigned int;
using SWORD = short;
using UWORD = unsigned short;
using SLONG = long;
using SSHORT = short;
using SDOUBLE = double;
using LDOUBLE = double;
using SFLOAT = float;
using PTR = void*;
using RETCODE = short;
using SQLHWND = void*;

// The date records: ours for the timestamp, the two smaller ones here.
#define __SQLDATE
struct tagDATE_STRUCT {
    std::int16_t year;
    std::uint16_t month;
    std::uint16_t day;
};
using DATE_STRUCT = tagDATE_STRUCT;
using SQL_DATE_STRUCT = DATE_STRUCT;
struct tagTIME_STRUCT {
    std::uint16_t hour;
    std::uint16_t minute;
    std::uint16_t second;
};
using TIME_STRUCT = tagTIME_STRUCT;
using SQL_TIME_STRUCT = TIME_STRUCT;
using SQL_TIMESTAMP_STRUCT = TIMESTAMP_STRUCT;

#include <sql.h>
#include <sqlext.h>
#include <sqlucode.h>

static_assert(std::is_same_v<SQLWCHAR, char16_t>, "SQLWCHAR must be the library's char16_t");
static_assert(sizeof(SQLLEN) == 8 && sizeof(SQLULEN) == 8, "64-bit lengths expected");
static_assert(sizeof(SQLSMALLINT) == 2 && sizeof(SQLUSMALLINT) == 2 && sizeof(SQLUINTEGER) == 4);
static_assert(sizeof(TIMESTAMP_STRUCT) == 16 && offsetof(TIMESTAMP_STRUCT, second) == 10 &&
                  offsetof(TIMESTAMP_STRUCT, fraction) == 12,
              "the timestamp record must keep the ODBC layout");

// Microsoft's SQL Server driver attributes: browsing and the dead-link probe.
constexpr SQLINTEGER SQL_COPT_SS_BROWSE_CONNECT = 1241;
constexpr SQLINTEGER SQL_COPT_SS_BROWSE_SERVER = 1242;
constexpr SQLINTEGER SQL_COPT_SS_CONNECTION_DEAD = 1244;
constexpr SQLINTEGER SQL_COPT_SS_BROWSE_CACHE_DATA = 1245;

// The library's signed 64-bit C type (SQL_C_SBIGINT) by its value, for tables.
constexpr SQLSMALLINT kSqlCSBigInt = SQL_C_SBIGINT;
static_assert(kSqlCSBigInt == -25);

inline bool SqlSucceeded(SQLRETURN rc) noexcept {
    return rc == SQL_SUCCESS || rc == SQL_SUCCESS_WITH_INFO;
}
