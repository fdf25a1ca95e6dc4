#pragma once

#include "Foundation/Calendar.h"
#include "Foundation/Date.h"

namespace dovrel {

// Where a date falls in a calendar: the start of its day and its minute of that day (0...1439).
struct LocalTime {
    Date dayStart;
    int minuteOfDay = 0;

    int hour() const { return minuteOfDay / 60; }

    bool operator==(const LocalTime&) const = default;
};

// Tells LocalTimes in one calendar, giving what Calendar::startOfDay and Calendar::minuteOfDay give. It
// remembers the last day it saw: within a day of exactly 24 hours the minute is plain arithmetic, so a run of
// messages on one day costs the calendar nothing. Days that change their offset ask the calendar every time.
//
// Holds a reference to the calendar; like the calendar, one clock serves one thread.
class LocalClock {
public:
    explicit LocalClock(const Calendar& calendar)
        : calendar_(calendar) {}

    LocalTime at(Date date);

    const Calendar& calendar() const { return calendar_; }

private:
    const Calendar& calendar_;
    bool known_ = false;
    bool uniform_ = false;
    Date dayStart_;
    // The calendar's instants in its own unit (milliseconds since 1970), so that the arithmetic here rounds
    // exactly as the calendar does.
    double dayStartMillis_ = 0.0;
    double nextDayMillis_ = 0.0;
};

} // namespace dovrel
