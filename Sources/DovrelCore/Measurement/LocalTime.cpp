#include "Measurement/LocalTime.h"

#include <cmath>

namespace dovrel {
namespace {

double millis(Date date) {
    return date.unixTime() * 1000.0;
}

constexpr double millisPerDay = 86'400'000.0;
constexpr double millisPerMinute = 60'000.0;

} // namespace

LocalTime LocalClock::at(Date date) {
    const double instant = millis(date);
    if (!known_ || !(instant >= dayStartMillis_ && instant < nextDayMillis_)) {
        dayStart_ = calendar_.startOfDay(date);
        dayStartMillis_ = millis(dayStart_);
        // Adding a day keeps the wall time, which is not midnight on a day whose midnight was skipped.
        nextDayMillis_ = millis(calendar_.startOfDay(calendar_.addingDays(dayStart_, 1)));
        uniform_ = nextDayMillis_ - dayStartMillis_ == millisPerDay;
        known_ = true;
        // A zone that skips its midnight starts the day later than the instant it was asked about.
        if (!(instant >= dayStartMillis_ && instant < nextDayMillis_)) {
            known_ = false;
            return {dayStart_, calendar_.minuteOfDay(date)};
        }
    }
    if (!uniform_) {
        // Where midnight comes twice, the calendar already counts the hour between the two midnights as the
        // next day, so neither the day nor the minute can be derived from the remembered day.
        return {calendar_.startOfDay(date), calendar_.minuteOfDay(date)};
    }
    const double elapsed = std::floor(instant - dayStartMillis_);
    return {dayStart_, static_cast<int>(elapsed / millisPerMinute)};
}

} // namespace dovrel
