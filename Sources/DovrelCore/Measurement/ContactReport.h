#pragma once

#include "Foundation/Date.h"
#include "Measurement/LaughterProfile.h"

#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <vector>

namespace dovrel {

// The measured record of one relationship, over every message loaded for that person.
struct ContactReport {
    std::string handleID;
    std::optional<std::string> displayName;
    int sentCount = 0;
    int receivedCount = 0;
    Date firstMessage;
    Date lastMessage;
    std::optional<double> myMedianReplySeconds;
    std::optional<double> theirMedianReplySeconds;
    std::optional<double> myInitiationRate;
    std::optional<double> myDoubleTextRate;
    std::optional<double> myQuestionRate;
    std::optional<double> myEmojiRate;
    std::optional<double> myAverageLength;
    LaughterProfile myLaughter;
    std::vector<int> myHourlyHistogram;
    std::optional<int> myMedianLastTextMinuteOfDay;

    bool operator==(const ContactReport&) const = default;
};

void to_json(nlohmann::json& out, const ContactReport& report);
void from_json(const nlohmann::json& in, ContactReport& report);

// The reports of many threads under one timestamp.
struct OverallReport {
    Date generatedAt;
    int totalMessages = 0;
    int contactCount = 0;
    std::vector<ContactReport> contacts;

    bool operator==(const OverallReport&) const = default;
};

void to_json(nlohmann::json& out, const OverallReport& report);
void from_json(const nlohmann::json& in, OverallReport& report);

} // namespace dovrel
