#pragma once

#include "Foundation/Calendar.h"
#include "Foundation/DateInterval.h"
#include "Measurement/LaughterProfile.h"
#include "Measurement/MeasuredThread.h"
#include "Measurement/TextStyle.h"
#include "MessageSources/MessageRecords.h"

#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace dovrel {

// The recap of a period as numbers. Everything in it counts only the messages inside `interval`.
struct WrappedStats {
    struct TopContact {
        std::string handleID;
        std::optional<std::string> displayName;
        int count = 0; // messages in the period
        int sent = 0;
        int received = 0;

        bool operator==(const TopContact&) const = default;
    };

    struct DayCount {
        Date date; // the start of the day
        int count = 0;

        bool operator==(const DayCount&) const = default;
    };

    struct ContactCount {
        std::string handleID;
        std::optional<std::string> displayName;
        int count = 0;

        bool operator==(const ContactCount&) const = default;
    };

    DateInterval interval;
    int peopleCount = 0;
    int totalMessages = 0;
    int sentCount = 0;
    int receivedCount = 0;
    std::vector<TopContact> topContacts; // at most 5
    std::optional<DayCount> busiestDay;
    std::optional<ContactCount> longestStreak;      // count in days, at least 2
    std::optional<ContactCount> doubleTextChampion; // count in double texts, at least 1
    std::optional<double> myMedianReplySeconds;
    std::optional<double> myInitiationRate;
    std::optional<int> medianLastTextMinute;
    LaughterProfile laughter;
    std::optional<int> myMedianLength;
    std::optional<double> myQuestionRate;
    std::optional<double> myEmojiRate;
    std::optional<int> peakHour;
    std::vector<int> myHourlyHistogram = std::vector<int>(24, 0);
    // Always present in a fresh record (possibly empty); a stored one may lack it.
    std::optional<std::vector<TextStyle::EmojiCount>> myTopEmojis;

    static constexpr std::size_t topContactLimit = 5;
    static constexpr int topEmojiLimit = 10;

    // Never fails: no data gives zeros and absences. The order of `threads` decides ties.
    static WrappedStats compute(std::span<const ContactThread> threads, DateInterval interval,
                                const Calendar& calendar);
    // The same over threads measured beforehand (in `interval` or as a whole), in the same calendar.
    static WrappedStats compute(std::span<const MeasuredThread> threads, DateInterval interval,
                                const Calendar& calendar);

    bool operator==(const WrappedStats&) const = default;
};

void to_json(nlohmann::json& out, const WrappedStats::TopContact& contact);
void from_json(const nlohmann::json& in, WrappedStats::TopContact& contact);
void to_json(nlohmann::json& out, const WrappedStats::DayCount& day);
void from_json(const nlohmann::json& in, WrappedStats::DayCount& day);
void to_json(nlohmann::json& out, const WrappedStats::ContactCount& contact);
void from_json(const nlohmann::json& in, WrappedStats::ContactCount& contact);
void to_json(nlohmann::json& out, const WrappedStats& stats);
void from_json(const nlohmann::json& in, WrappedStats& stats);

} // namespace dovrel
