// The ODBC timestamp record, as the database layer and the date helpers
// exchange it. Same layout as the ODBC headers' TIMESTAMP_STRUCT.
#pragma once

#include <cstdint>

struct tagTIMESTAMP_STRUCT {
    std::int16_t year;
    std::uint16_t month;
    std::uint16_t day;
    std::uint16_t hour;
    std::uint16_t minute;
    std::uint16_t second;
    std::uint32_t fraction; // billionths of a second
};
using TIMESTAMP_STRUCT = tagTIMESTAMP_STRUCT;
