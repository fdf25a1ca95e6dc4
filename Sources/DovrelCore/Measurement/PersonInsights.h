#pragma once

#include "Foundation/Calendar.h"
#include "Measurement/ContactReport.h"
#include "Measurement/MeasuredThread.h"
#include "MessageSources/MessageRecords.h"

#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace dovrel {

// One person's report beside the user's own normal behaviour.
struct PersonInsights {
    std::string handleID;
    std::optional<std::string> displayName;
    ContactReport report;
    // The user's average length to this person over their overall average.
    std::optional<double> lengthVsBaseline;
    // The user's median reply time to this person over their overall median; below 1 is faster than usual.
    std::optional<double> replyVsBaseline;
    // The user's share of the thread's messages.
    double balance = 0.5;

    const std::string& id() const { return handleID; }

    // A sentence of at most two clauses about what stands out, or absent when nothing does.
    std::optional<std::string> headline(std::string_view name) const;

    // Absent for a thread too short to report on. A baseline that is absent or not above 0 leaves its ratio
    // absent.
    static std::optional<PersonInsights> compute(const ContactThread& thread,
                                                 std::optional<double> baselineAvgLength,
                                                 std::optional<double> baselineReplySeconds,
                                                 const Calendar& calendar);
    static std::optional<PersonInsights> compute(const MeasuredThread& thread,
                                                 std::optional<double> baselineAvgLength,
                                                 std::optional<double> baselineReplySeconds);

    // Most messages first (sent plus received); equal totals keep their order.
    static void sortByMessages(std::vector<PersonInsights>& people);

    bool operator==(const PersonInsights&) const = default;
};

void to_json(nlohmann::json& out, const PersonInsights& insights);
void from_json(const nlohmann::json& in, PersonInsights& insights);

} // namespace dovrel
