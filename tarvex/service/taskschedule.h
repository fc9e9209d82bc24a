// The records of the service's schedules: the settings of one scheduled task
// and an entry of a schedule group. The texts are the service's and pass
// through the client unparsed.
#pragma once

#include <cstdint>

#include "tarvex/core/object.h"
#include "tarvex/platform/cstring.h"

// Each field travels as the schedule parameter named beside it; the period
// and the count as decimal text.
class CScheduleData : public CTarvexObject {
public:
    CScheduleData() = default;
    CScheduleData(CScheduleData&&) noexcept = default;
    CScheduleData& operator=(CScheduleData&&) noexcept = default;
    ~CScheduleData() override = default;

    CString m_strInfo;           // COMMAND_SCHEDULE_INFO
    std::int32_t m_nPeriod = 60; // COMMAND_SCHEDULE_PERIOD
    std::int32_t m_nCount = -1;  // COMMAND_SCHEDULE_COUNT
    CString m_strStartDate;      // COMMAND_SCHEDULE_START_DATE
    CString m_strStartTime;      // COMMAND_SCHEDULE_START_TIME
    CString m_strFinishDate;     // COMMAND_SCHEDULE_FINISH_DATE
    CString m_strFinishTime;     // COMMAND_SCHEDULE_FINISH_TIME
    CString m_strGroupHash;      // COMMAND_SCHEDULE_GROUP_HASH
};

// A task of a schedule group: its name and its hash as signed decimal text.
class CTaskScheduleInfo : public CTarvexObject {
public:
    CTaskScheduleInfo(const char16_t* name, const char16_t* hash)
        : m_strName(name), m_strHash(hash) {}
    CTaskScheduleInfo(CTaskScheduleInfo&&) noexcept = default;
    CTaskScheduleInfo& operator=(CTaskScheduleInfo&&) noexcept = default;
    ~CTaskScheduleInfo() override = default;

    CString m_strName;
    CString m_strHash;
};
