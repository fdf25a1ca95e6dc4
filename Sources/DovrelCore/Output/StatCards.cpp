#include "Output/StatCards.h"

#include "Format/Format.h"

namespace dovrel::StatCards {
namespace {

constexpr std::size_t fastestCandidates = 20;
constexpr int fewestMessagesForFastest = 100;
constexpr double fastestBelowSeconds = 120;

} // namespace

StatCard opening(const WrappedStats& stats) {
    return {"My year in texts", Format::thousands(stats.totalMessages),
            "messages, with " + std::to_string(stats.peopleCount) + " people",
            "All read locally. None of it left my Mac."};
}

StatCard style(const WrappedStats& stats) {
    std::vector<std::string> parts;
    if (stats.myInitiationRate) {
        parts.push_back("I start " +
                        std::to_string(Format::truncated(*stats.myInitiationRate * 100).value_or(0)) +
                        "% of conversations");
    }
    if (stats.myMedianLength) {
        parts.push_back("median " + std::to_string(*stats.myMedianLength) + " characters");
    }
    return {"How I text", stats.myMedianReplySeconds ? Format::replySpeed(*stats.myMedianReplySeconds) : "",
            "median reply time",
            parts.empty() ? std::nullopt : std::optional(Format::joined(parts, " \u00B7 "))};
}

std::vector<Spotlight> spotlights(const WrappedStats& stats, const std::vector<PersonInsights>& people,
                                  const NameOf& name) {
    std::vector<Spotlight> found;
    if (const auto& champion = stats.doubleTextChampion) {
        const std::string who = name(champion->handleID, champion->displayName);
        found.push_back({champion->handleID,
                         Format::thousands(champion->count) + "\u00D7",
                         "you double-texted " + who + ". They know you're keen.",
                         {"The double-text award", Format::thousands(champion->count) + "\u00D7",
                          "I double-texted " + who + ". They know I'm keen.", std::nullopt}});
    }
    if (const auto& streak = stats.longestStreak) {
        const std::string line =
            "straight, texting " + name(streak->handleID, streak->displayName) + ". Duolingo could never.";
        const std::string value = std::to_string(streak->count) + " days";
        found.push_back({streak->handleID, value, line, {"Longest daily streak", value, line, std::nullopt}});
    }
    const PersonInsights* fastest = nullptr;
    for (std::size_t i = 0; i < people.size() && i < fastestCandidates; ++i) {
        const ContactReport& report = people[i].report;
        if (report.sentCount + report.receivedCount < fewestMessagesForFastest ||
            !report.theirMedianReplySeconds) {
            continue;
        }
        if (fastest == nullptr ||
            *report.theirMedianReplySeconds < *fastest->report.theirMedianReplySeconds) {
            fastest = &people[i];
        }
    }
    if (fastest != nullptr && *fastest->report.theirMedianReplySeconds < fastestBelowSeconds) {
        const std::string who = name(fastest->handleID, fastest->displayName);
        const std::string value = Format::replySpeed(*fastest->report.theirMedianReplySeconds);
        found.push_back(
            {fastest->handleID,
             value,
             "is all it takes " + who + " to answer you.",
             {"Fastest to reply", value, "is all it takes " + who + " to answer me.", std::nullopt}});
    }
    if (found.size() > 3) {
        found.resize(3);
    }
    return found;
}

} // namespace dovrel::StatCards
