#pragma once

#include "Foundation/Calendar.h"
#include "Measurement/LocalTime.h"
#include "MessageSources/MessageRecords.h"

#include <optional>
#include <span>
#include <unordered_map>
#include <vector>

namespace dovrel::Activity {

// The functions take the user's own messages; they do not check `isFromMe`.

// Messages per local hour of the day; index 0 is midnight to 00:59.
std::vector<int> hourlyHistogram(std::span<const RawMessage> myMessages, const Calendar& calendar);

// The median over days of the minute of the day's last message (hour × 60 + minute), rounded half away
// from zero. A day runs from midnight to midnight, so 00:30 ends the new day, not the one before.
std::optional<int> medianLastTextMinuteOfDay(std::span<const RawMessage> myMessages,
                                             const Calendar& calendar);

// Both measures, fed one message at a time with its local time already told.
class Tally {
public:
    Tally()
        : histogram_(24, 0) {}
    // It points into itself.
    Tally(const Tally&) = delete;
    Tally& operator=(const Tally&) = delete;

    void add(Date date, const LocalTime& local);

    const std::vector<int>& hourlyHistogram() const { return histogram_; }
    std::optional<int> medianLastTextMinuteOfDay() const;

private:
    struct Last {
        Date date;
        int minuteOfDay = 0;
    };
    std::vector<int> histogram_;
    std::unordered_map<double, Last> lastByDay_;
    // The entry of the day last added to: messages come mostly in date order, so most need no lookup.
    Last* current_ = nullptr;
    double currentDay_ = 0.0;
};

} // namespace dovrel::Activity
