#pragma once

#include "Foundation/Calendar.h"
#include "Foundation/Date.h"
#include "Measurement/Sentiment.h"
#include "MessageSources/MessageRecords.h"

#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <span>
#include <string>
#include <vector>

// A thread month by month: how much was said, who carried it, and how warm it was.
namespace dovrel::Trends {

// Texts sampled per month for its warmth: a month of up to 59 messages is scored whole, from 60 on every
// second message or fewer.
inline constexpr int warmthSampleLimit = 30;

struct MonthPoint {
    // The first instant of the month in the calendar used.
    Date month;
    // Messages of the month, both sides.
    int count = 0;
    // The user's share of `count`.
    double myShare = 0.0;
    // Mean sentiment of a sample of the month's texts, both sides.
    std::optional<double> warmth;

    Date id() const { return month; }

    bool operator==(const MonthPoint&) const = default;
};

// The warmth key is left out when the warmth is absent.
void to_json(nlohmann::json& out, const MonthPoint& point);
void from_json(const nlohmann::json& in, MonthPoint& point);

// The messages of one month, in their given order. Refers to the texts of the messages it was made from,
// which must outlive it.
struct MonthGroup {
    Date month;
    int count = 0;
    int fromMe = 0;
    std::vector<const std::string*> texts;
};

// Groups messages by their month in `calendar`, oldest month first, keeping the messages' order within each
// month. A message whose date has no month (not a finite number, or out of the calendar's range) is left
// out.
std::vector<MonthGroup> groupByMonth(std::span<const RawMessage> messages, const Calendar& calendar);

// Mean score of an even spread of the month's texts (`warmthSampleLimit`), absent when none scores.
std::optional<double> warmth(const MonthGroup& group, const Sentiment::Scorer& scorer);

// The point of one month, its warmth scored by `scorer`.
MonthPoint point(const MonthGroup& group, const Sentiment::Scorer& scorer);

// One point per month that has messages, oldest first.
std::vector<MonthPoint> monthly(std::span<const RawMessage> messages, const Calendar& calendar);
// The same with another scorer, so callers can count or fix the scores.
std::vector<MonthPoint> monthly(std::span<const RawMessage> messages, const Calendar& calendar,
                                const Sentiment::Scorer& scorer);

} // namespace dovrel::Trends
