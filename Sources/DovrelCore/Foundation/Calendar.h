#pragma once

#include "Foundation/Date.h"

#include <memory>
#include <string>
#include <string_view>
#include <unicode/uversion.h>

U_NAMESPACE_BEGIN
class Calendar;
U_NAMESPACE_END

namespace dovrel {

// The Gregorian calendar in one time zone. Answers the local hour, minute, start of day and month of a date,
// whole days between dates, and formats dates.
//
// A Calendar keeps a working ICU calendar inside, so one instance must not be used from two threads at once.
// Copies are independent: a background task takes its own copy.
class Calendar {
public:
    // Throws std::invalid_argument for a zone ICU does not know.
    explicit Calendar(std::string_view timeZoneID);
    // The system's current time zone (TZ, then /etc/localtime).
    static Calendar current();

    Calendar(const Calendar& other);
    Calendar& operator=(const Calendar& other);
    Calendar(Calendar&&) noexcept;
    Calendar& operator=(Calendar&&) noexcept;
    ~Calendar();

    const std::string& timeZoneID() const { return zoneID_; }

    int hour(Date date) const;
    int minute(Date date) const;
    // Minutes since local midnight, 0...1439.
    int minuteOfDay(Date date) const;
    // 1 = Sunday ... 7 = Saturday.
    int weekday(Date date) const;
    int year(Date date) const;
    // 1...12
    int month(Date date) const;
    int day(Date date) const;

    Date startOfDay(Date date) const;
    Date startOfMonth(Date date) const;
    // Whole calendar days from one date to another; negative when `to` is earlier. A day across a
    // daylight-saving change still counts as one day.
    int daysBetween(Date from, Date to) const;
    // The date of local components. Out-of-range components roll over (month 13 is January of the next year,
    // day 0 the last day of the previous month).
    Date date(int year, int month, int day, int hour = 0, int minute = 0, int second = 0) const;
    Date addingDays(Date date, int days) const;
    Date addingMonths(Date date, int months) const;

    // Formats with an ICU/Unicode date pattern ("MMM d, yyyy") in a locale ("en_US").
    std::string format(Date date, std::string_view pattern, std::string_view locale = "en_US") const;

private:
    icu::Calendar& at(Date date) const;

    std::string zoneID_;
    std::unique_ptr<icu::Calendar> calendar_;
};

} // namespace dovrel
