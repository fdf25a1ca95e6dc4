#include "Foundation/Calendar.h"

#include <stdexcept>
#include <unicode/gregocal.h>
#include <unicode/smpdtfmt.h>
#include <unicode/timezone.h>

namespace dovrel {
namespace {

constexpr double millisPerSecond = 1000.0;

UDate toUDate(Date date) {
    return date.unixTime() * millisPerSecond;
}
Date fromUDate(UDate millis) {
    return Date::fromUnix(millis / millisPerSecond);
}

std::unique_ptr<icu::Calendar> makeCalendar(const icu::TimeZone& zone) {
    UErrorCode status = U_ZERO_ERROR;
    auto calendar = std::make_unique<icu::GregorianCalendar>(zone, icu::Locale::getRoot(), status);
    if (U_FAILURE(status)) {
        throw std::runtime_error(std::string("cannot create a calendar: ") + u_errorName(status));
    }
    calendar->setLenient(true);
    return calendar;
}

std::string zoneIDOf(const icu::TimeZone& zone) {
    icu::UnicodeString id;
    zone.getID(id);
    std::string text;
    id.toUTF8String(text);
    return text;
}

int field(icu::Calendar& calendar, UCalendarDateFields which) {
    UErrorCode status = U_ZERO_ERROR;
    const int value = calendar.get(which, status);
    if (U_FAILURE(status)) {
        throw std::runtime_error(std::string("calendar field: ") + u_errorName(status));
    }
    return value;
}

Date currentTime(icu::Calendar& calendar) {
    UErrorCode status = U_ZERO_ERROR;
    const UDate millis = calendar.getTime(status);
    if (U_FAILURE(status)) {
        throw std::runtime_error(std::string("calendar time: ") + u_errorName(status));
    }
    return fromUDate(millis);
}

} // namespace

Calendar::Calendar(std::string_view timeZoneID)
    : zoneID_(timeZoneID) {
    std::unique_ptr<icu::TimeZone> zone(icu::TimeZone::createTimeZone(icu::UnicodeString::fromUTF8(
        icu::StringPiece(timeZoneID.data(), static_cast<int32_t>(timeZoneID.size())))));
    if (!zone || *zone == icu::TimeZone::getUnknown()) {
        throw std::invalid_argument("unknown time zone: " + std::string(timeZoneID));
    }
    calendar_ = makeCalendar(*zone);
}

Calendar Calendar::current() {
    std::unique_ptr<icu::TimeZone> zone(icu::TimeZone::detectHostTimeZone());
    if (!zone || *zone == icu::TimeZone::getUnknown()) {
        return Calendar("UTC");
    }
    return Calendar(zoneIDOf(*zone));
}

Calendar::Calendar(const Calendar& other)
    : zoneID_(other.zoneID_)
    , calendar_(other.calendar_->clone()) {}

Calendar& Calendar::operator=(const Calendar& other) {
    if (this != &other) {
        zoneID_ = other.zoneID_;
        calendar_.reset(other.calendar_->clone());
    }
    return *this;
}

Calendar::Calendar(Calendar&&) noexcept = default;
Calendar& Calendar::operator=(Calendar&&) noexcept = default;
Calendar::~Calendar() = default;

icu::Calendar& Calendar::at(Date date) const {
    UErrorCode status = U_ZERO_ERROR;
    calendar_->setTime(toUDate(date), status);
    if (U_FAILURE(status)) {
        throw std::runtime_error(std::string("calendar time: ") + u_errorName(status));
    }
    return *calendar_;
}

int Calendar::hour(Date date) const {
    return field(at(date), UCAL_HOUR_OF_DAY);
}
int Calendar::minute(Date date) const {
    return field(at(date), UCAL_MINUTE);
}

int Calendar::minuteOfDay(Date date) const {
    icu::Calendar& calendar = at(date);
    return field(calendar, UCAL_HOUR_OF_DAY) * 60 + field(calendar, UCAL_MINUTE);
}

int Calendar::weekday(Date date) const {
    return field(at(date), UCAL_DAY_OF_WEEK);
}
int Calendar::year(Date date) const {
    return field(at(date), UCAL_EXTENDED_YEAR);
}
int Calendar::month(Date date) const {
    return field(at(date), UCAL_MONTH) + 1;
}
int Calendar::day(Date date) const {
    return field(at(date), UCAL_DATE);
}

Date Calendar::startOfDay(Date date) const {
    icu::Calendar& calendar = at(date);
    const int y = field(calendar, UCAL_EXTENDED_YEAR);
    const int m = field(calendar, UCAL_MONTH) + 1;
    const int d = field(calendar, UCAL_DATE);
    return this->date(y, m, d);
}

Date Calendar::startOfMonth(Date date) const {
    icu::Calendar& calendar = at(date);
    const int y = field(calendar, UCAL_EXTENDED_YEAR);
    const int m = field(calendar, UCAL_MONTH) + 1;
    return this->date(y, m, 1);
}

int Calendar::daysBetween(Date from, Date to) const {
    icu::Calendar& calendar = at(from);
    UErrorCode status = U_ZERO_ERROR;
    const int days = calendar.fieldDifference(toUDate(to), UCAL_DATE, status);
    if (U_FAILURE(status)) {
        throw std::runtime_error(std::string("calendar difference: ") + u_errorName(status));
    }
    return days;
}

Date Calendar::date(int year, int month, int day, int hour, int minute, int second) const {
    icu::Calendar& calendar = *calendar_;
    calendar.clear();
    calendar.set(UCAL_EXTENDED_YEAR, year);
    calendar.set(UCAL_MONTH, month - 1);
    calendar.set(UCAL_DATE, day);
    calendar.set(UCAL_HOUR_OF_DAY, hour);
    calendar.set(UCAL_MINUTE, minute);
    calendar.set(UCAL_SECOND, second);
    return currentTime(calendar);
}

Date Calendar::addingDays(Date date, int days) const {
    icu::Calendar& calendar = at(date);
    UErrorCode status = U_ZERO_ERROR;
    calendar.add(UCAL_DATE, days, status);
    return currentTime(calendar);
}

Date Calendar::addingMonths(Date date, int months) const {
    icu::Calendar& calendar = at(date);
    UErrorCode status = U_ZERO_ERROR;
    calendar.add(UCAL_MONTH, months, status);
    return currentTime(calendar);
}

std::string Calendar::format(Date date, std::string_view pattern, std::string_view locale) const {
    UErrorCode status = U_ZERO_ERROR;
    const icu::Locale icuLocale(std::string(locale).c_str());
    icu::SimpleDateFormat formatter(
        icu::UnicodeString::fromUTF8(icu::StringPiece(pattern.data(), static_cast<int32_t>(pattern.size()))),
        icuLocale, status);
    if (U_FAILURE(status)) {
        throw std::invalid_argument("bad date pattern: " + std::string(pattern));
    }
    formatter.adoptCalendar(calendar_->clone());
    icu::UnicodeString out;
    formatter.format(toUDate(date), out);
    std::string text;
    out.toUTF8String(text);
    return text;
}

} // namespace dovrel
