#include "tarvex/platform/vartime.h"

#include <cmath>
#include <ctime>

namespace {

// Day numbers of the valid span relative to day 0 (30.12.1899).
constexpr std::int64_t kFirstDay = -657434; // 1 January 100
constexpr std::int64_t kLastDay = 2958465;  // 31 December 9999
constexpr double kSecondsPerDay = 86400.0;

// Days since 1 January 1970 of a proleptic Gregorian date, and back; the
// usual era-based algorithm, exact for every year.
constexpr std::int64_t DaysFromCivil(std::int64_t y, int m, int d) noexcept {
    y -= m <= 2;
    const std::int64_t era = (y >= 0 ? y : y - 399) / 400;
    const std::int64_t yoe = y - era * 400;
    const std::int64_t doy = (153 * (m > 2 ? m - 3 : m + 9) + 2) / 5 + d - 1;
    const std::int64_t doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
    return era * 146097 + doe - 719468;
}

void CivilFromDays(std::int64_t z, int& year, int& month, int& day) noexcept {
    z += 719468;
    const std::int64_t era = (z >= 0 ? z : z - 146096) / 146097;
    const std::int64_t doe = z - era * 146097;
    const std::int64_t yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
    const std::int64_t doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
    const std::int64_t mp = (5 * doy + 2) / 153;
    day = int(doy - (153 * mp + 2) / 5 + 1);
    month = int(mp < 10 ? mp + 3 : mp - 9);
    year = int(yoe + era * 400 + (month <= 2));
}

constexpr std::int64_t kEpochDays = DaysFromCivil(1899, 12, 30);

bool IsLeap(int year) noexcept {
    return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
}

int DaysInMonth(int year, int month) noexcept {
    static constexpr int kDays[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    return month == 2 && IsLeap(year) ? 29 : kDays[month - 1];
}

void FromTm(const std::tm& tm, long nanoseconds, SYSTEMTIME* time) noexcept {
    time->wYear = WORD(tm.tm_year + 1900);
    time->wMonth = WORD(tm.tm_mon + 1);
    time->wDayOfWeek = WORD(tm.tm_wday);
    time->wDay = WORD(tm.tm_mday);
    time->wHour = WORD(tm.tm_hour);
    time->wMinute = WORD(tm.tm_min);
    time->wSecond = WORD(tm.tm_sec > 59 ? 59 : tm.tm_sec); // a leap second
    time->wMilliseconds = WORD(nanoseconds / 1000000);
}

void Now(SYSTEMTIME* time, bool local) noexcept {
    if (time == nullptr) return;
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    std::tm tm{};
    if (local)
        localtime_r(&now.tv_sec, &tm);
    else
        gmtime_r(&now.tv_sec, &tm);
    FromTm(tm, now.tv_nsec, time);
}

} // namespace

namespace tarvex {

bool MakeVariantDate(int year, int month, int day, int hour, int minute, double second,
                     double& date) noexcept {
    if (year < 100 || year > 9999 || month < 1 || month > 12 || day < 1 ||
        day > DaysInMonth(year, month) || hour < 0 || hour > 23 || minute < 0 || minute > 59 ||
        !(second >= 0.0 && second < 60.0))
        return false;
    const double dayNumber = double(DaysFromCivil(year, month, day) - kEpochDays);
    const double fraction = ((hour * 60 + minute) * 60 + second) / kSecondsPerDay;
    date = dayNumber >= 0 ? dayNumber + fraction : dayNumber - fraction;
    return true;
}

} // namespace tarvex

INT SystemTimeToVariantTime(const SYSTEMTIME* time, double* date) noexcept {
    if (time == nullptr || date == nullptr) return FALSE;
    return tarvex::MakeVariantDate(time->wYear, time->wMonth, time->wDay, time->wHour,
                                   time->wMinute, time->wSecond, *date)
               ? TRUE
               : FALSE;
}

INT VariantTimeToSystemTime(double date, SYSTEMTIME* time) noexcept {
    if (time == nullptr || !(date > double(kFirstDay - 1) && date < double(kLastDay + 1)))
        return FALSE;
    std::int64_t day = std::int64_t(std::trunc(date));
    std::int64_t seconds = std::llround(std::fabs(date - double(day)) * kSecondsPerDay);
    if (seconds >= 86400) {
        // Rounded up to the next midnight, which is later in time whatever the sign.
        ++day;
        seconds -= 86400;
    }
    if (day < kFirstDay || day > kLastDay) return FALSE;
    int year, month, dayOfMonth;
    CivilFromDays(day + kEpochDays, year, month, dayOfMonth);
    time->wYear = WORD(year);
    time->wMonth = WORD(month);
    time->wDay = WORD(dayOfMonth);
    time->wDayOfWeek = WORD(((day + 6) % 7 + 7) % 7); // day 0 was a Saturday
    time->wHour = WORD(seconds / 3600);
    time->wMinute = WORD(seconds / 60 % 60);
    time->wSecond = WORD(seconds % 60);
    time->wMilliseconds = 0;
    return TRUE;
}

void GetLocalTime(SYSTEMTIME* time) noexcept {
    Now(time, true);
}

void GetSystemTime(SYSTEMTIME* time) noexcept {
    Now(time, false);
}
