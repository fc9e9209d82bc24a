// COleDateTime: an Automation date with a validity status, as far as the
// library's writers need it.
#pragma once
#include "tarvex/platform/variant.h"
#include "tarvex/platform/vartime.h"

class COleDateTime {
public:
    enum DateTimeStatus { error = -1, valid = 0, invalid = 1, null = 2 };

    COleDateTime() = default;
    COleDateTime(DATE date) : m_dt(date) {}
    COleDateTime(int year, int month, int day, int hour, int minute, int second) {
        SetDateTime(year, month, day, hour, minute, second);
    }

    int SetDateTime(int year, int month, int day, int hour, int minute, int second) {
        bool ok = tarvex::MakeVariantDate(year, month, day, hour, minute, second, m_dt);
        m_status = ok ? valid : invalid;
        return ok ? 0 : 1;
    }
    DateTimeStatus GetStatus() const { return m_status; }
    void SetStatus(DateTimeStatus status) { m_status = status; }
    // False when the date is not valid or has no calendar form.
    bool GetAsSystemTime(SYSTEMTIME& time) const {
        return m_status == valid && VariantTimeToSystemTime(m_dt, &time) != 0;
    }
    operator DATE() const { return m_dt; }

    DATE m_dt = 0;
    DateTimeStatus m_status = valid;
};
