// The Automation date: a double counting days from 30 December 1899 in the
// proleptic Gregorian calendar, the fraction being the time of day.
//
// Before day 0 the encoding is OLE's: the integer part is the day and the
// fraction still counts forward from its midnight, so -1.25 is 29 December
// 1899 06:00 and -1.75 is 18:00 of the same day. Valid dates span the years
// 100 to 9999.
#pragma once

#include "tarvex/platform/types.h"

struct _SYSTEMTIME {
    WORD wYear;
    WORD wMonth;
    WORD wDayOfWeek; // 0 is Sunday
    WORD wDay;
    WORD wHour;
    WORD wMinute;
    WORD wSecond;
    WORD wMilliseconds;
};
using SYSTEMTIME = _SYSTEMTIME;
using LPSYSTEMTIME = SYSTEMTIME*;

// Non-zero on success. Every field must be in range (the day within its
// month); wDayOfWeek and, as in OLE, wMilliseconds are ignored.
INT SystemTimeToVariantTime(const SYSTEMTIME* time, double* date) noexcept;

// Non-zero on success. The time is rounded to the nearest second, so
// wMilliseconds is always 0; a date that rounds past the year 9999 fails.
INT VariantTimeToSystemTime(double date, SYSTEMTIME* time) noexcept;

// The present time: local, and UTC.
void GetLocalTime(SYSTEMTIME* time) noexcept;
void GetSystemTime(SYSTEMTIME* time) noexcept;

namespace tarvex {

// Builds a date from its fields with a fractional second; false when a field
// is out of range (seconds must be below 60).
bool MakeVariantDate(int year, int month, int day, int hour, int minute, double second,
                     double& date) noexcept;

} // namespace tarvex
