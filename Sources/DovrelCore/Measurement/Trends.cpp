#include "Measurement/Trends.h"

#include "Foundation/Json.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <stdexcept>
#include <unordered_map>

namespace dovrel::Trends {
namespace {

// Places dates in months without asking the calendar for the whole month of each one. The month last asked
// about is remembered, and a date up to a day before the next month's start as the calendar gives it is
// placed by comparison alone. Later dates are checked against the month's number: where clocks go back an
// hour at midnight into a new month, the calendar gives the later of the two midnights as its start, and
// the hour before it already belongs to the new month.
class MonthFinder {
public:
    explicit MonthFinder(const Calendar& calendar)
        : calendar_(calendar) {}

    // The start of the month of `date`; throws std::runtime_error when the calendar cannot place it.
    Date monthOf(Date date) {
        if (known_ && date >= month_ && date < next_ &&
            (date < trustedUntil_ || calendar_.month(date) == monthNumber_)) {
            return month_;
        }
        monthNumber_ = calendar_.month(date);
        month_ = calendar_.startOfMonth(date);
        next_ = calendar_.addingMonths(month_, 1);
        trustedUntil_ = next_ - 86400.0;
        known_ = true;
        return month_;
    }

private:
    const Calendar& calendar_;
    bool known_ = false;
    int monthNumber_ = 0;
    Date month_;
    Date next_;
    Date trustedUntil_;
};

const Sentiment::Scorer& serviceScorer() {
    static const Sentiment::Scorer scorer = [](std::string_view text) { return Sentiment::score(text); };
    return scorer;
}

} // namespace

std::vector<MonthGroup> groupByMonth(std::span<const RawMessage> messages, const Calendar& calendar) {
    std::vector<MonthGroup> groups;
    std::unordered_map<double, std::size_t> groupOfMonth;
    MonthFinder finder(calendar);
    std::size_t current = 0;
    Date currentMonth{std::numeric_limits<double>::quiet_NaN()};
    for (const RawMessage& message : messages) {
        if (!std::isfinite(message.date.seconds)) {
            continue;
        }
        Date month;
        try {
            month = finder.monthOf(message.date);
        } catch (const std::runtime_error&) {
            continue;
        }
        if (month != currentMonth) {
            const auto [found, added] = groupOfMonth.try_emplace(month.seconds, groups.size());
            if (added) {
                groups.push_back({month, 0, 0, {}});
            }
            current = found->second;
            currentMonth = month;
        }
        MonthGroup& group = groups[current];
        ++group.count;
        group.fromMe += message.isFromMe ? 1 : 0;
        group.texts.push_back(&message.text);
    }
    std::sort(groups.begin(), groups.end(),
              [](const MonthGroup& a, const MonthGroup& b) { return a.month < b.month; });
    return groups;
}

std::optional<double> warmth(const MonthGroup& group, const Sentiment::Scorer& scorer) {
    // The same even spread Sentiment::average takes, drawn here so that only the sampled texts are copied;
    // the sample is then averaged whole.
    const std::size_t count = group.texts.size();
    const std::size_t step = std::max<std::size_t>(count / static_cast<std::size_t>(warmthSampleLimit), 1);
    std::vector<std::string> sample;
    sample.reserve(count / step + 1);
    for (std::size_t i = 0; i < count; i += step) {
        sample.push_back(*group.texts[i]);
    }
    return Sentiment::average(sample, static_cast<int>(sample.size()), scorer);
}

MonthPoint point(const MonthGroup& group, const Sentiment::Scorer& scorer) {
    const double share = group.count > 0 ? static_cast<double>(group.fromMe) / group.count : 0.0;
    return {group.month, group.count, share, warmth(group, scorer)};
}

std::vector<MonthPoint> monthly(std::span<const RawMessage> messages, const Calendar& calendar) {
    return monthly(messages, calendar, serviceScorer());
}

std::vector<MonthPoint> monthly(std::span<const RawMessage> messages, const Calendar& calendar,
                                const Sentiment::Scorer& scorer) {
    std::vector<MonthPoint> points;
    for (const MonthGroup& group : groupByMonth(messages, calendar)) {
        points.push_back(point(group, scorer));
    }
    return points;
}

void to_json(nlohmann::json& out, const MonthPoint& point) {
    out = nlohmann::json::object();
    out["month"] = point.month;
    out["count"] = point.count;
    out["myShare"] = point.myShare;
    json::writeOptional(out, "warmth", point.warmth);
}

void from_json(const nlohmann::json& in, MonthPoint& point) {
    json::expectObject(in, "a month point");
    point.month = json::required<Date>(in, "month");
    point.count = json::required<int>(in, "count");
    point.myShare = json::required<double>(in, "myShare");
    point.warmth = json::optional<double>(in, "warmth");
}

} // namespace dovrel::Trends
