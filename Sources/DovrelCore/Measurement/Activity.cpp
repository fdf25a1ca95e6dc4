#include "Measurement/Activity.h"

#include "Measurement/Metrics.h"

#include <cmath>

namespace dovrel::Activity {

void Tally::add(Date date, const LocalTime& local) {
    ++histogram_[static_cast<std::size_t>(local.hour())];
    // Keyed by the day's start; the latest date decides, whatever the order of the input.
    if (current_ == nullptr || currentDay_ != local.dayStart.seconds) {
        const auto [entry, inserted] =
            lastByDay_.try_emplace(local.dayStart.seconds, Last{date, local.minuteOfDay});
        current_ = &entry->second;
        currentDay_ = local.dayStart.seconds;
        if (inserted) {
            return;
        }
    }
    if (date > current_->date) {
        *current_ = Last{date, local.minuteOfDay};
    }
}

std::optional<int> Tally::medianLastTextMinuteOfDay() const {
    std::vector<double> minutes;
    minutes.reserve(lastByDay_.size());
    for (const auto& [day, last] : lastByDay_) {
        minutes.push_back(last.minuteOfDay);
    }
    const std::optional<double> middle = Metrics::median(std::move(minutes));
    if (!middle) {
        return std::nullopt;
    }
    return static_cast<int>(std::round(*middle));
}

std::vector<int> hourlyHistogram(std::span<const RawMessage> myMessages, const Calendar& calendar) {
    Tally tally;
    LocalClock clock(calendar);
    for (const RawMessage& message : myMessages) {
        tally.add(message.date, clock.at(message.date));
    }
    return tally.hourlyHistogram();
}

std::optional<int> medianLastTextMinuteOfDay(std::span<const RawMessage> myMessages,
                                             const Calendar& calendar) {
    Tally tally;
    LocalClock clock(calendar);
    for (const RawMessage& message : myMessages) {
        tally.add(message.date, clock.at(message.date));
    }
    return tally.medianLastTextMinuteOfDay();
}

} // namespace dovrel::Activity
