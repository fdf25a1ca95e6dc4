#include "Measurement/PersonInsights.h"

#include "Format/Format.h"
#include "Foundation/Json.h"
#include "Foundation/Unicode.h"
#include "Measurement/ReportBuilder.h"

#include <algorithm>
#include <cmath>
#include <unicode/locid.h>
#include <unicode/unistr.h>

namespace dovrel {
namespace {

std::optional<double> ratio(std::optional<double> value, std::optional<double> baseline) {
    if (!value || !baseline || !(*baseline > 0.0)) {
        return std::nullopt;
    }
    return *value / *baseline;
}

using Format::percent;

// A multiplier rounded half away from zero, never below 2. Absent when it has no whole-number form.
std::optional<std::string> times(double multiplier) {
    if (!std::isfinite(multiplier) || std::fabs(multiplier) > 1e15) {
        return std::nullopt;
    }
    return std::to_string(std::max(std::llround(multiplier), 2LL));
}

struct Clause {
    std::string text;
    double salience = 0.0;
};

std::vector<Clause> candidates(const PersonInsights& person, std::string_view name) {
    const std::string who(name);
    std::vector<Clause> clauses;
    if (const auto r = person.replyVsBaseline) {
        if (*r <= 0.55) {
            // A zero median reply has no finite multiplier, and makes no clause.
            if (const auto n = times(1.0 / *r)) {
                clauses.push_back(
                    {"you reply " + *n + "× faster to " + who + " than to most people", 1.0 / *r});
            }
        } else if (*r >= 1.8) {
            if (const auto n = times(*r)) {
                clauses.push_back({"you take " + *n + "× longer than usual to reply to " + who, *r});
            }
        }
    }
    if (const auto i = person.report.myInitiationRate) {
        if (*i >= 0.65) {
            clauses.push_back({"you start " + percent(*i) + "% of your conversations", (*i - 0.5) * 2 + 1});
        } else if (*i <= 0.35) {
            clauses.push_back({who + " starts most of your conversations", (0.5 - *i) * 2 + 1});
        }
    }
    const double b = person.balance;
    if (b >= 0.62) {
        clauses.push_back({"you send " + percent(b) + "% of the messages", (b - 0.5) * 2 + 1});
    } else if (b <= 0.38) {
        clauses.push_back({who + " sends most of the messages", (0.5 - b) * 2 + 1});
    }
    if (const auto l = person.lengthVsBaseline) {
        if (*l >= 1.6) {
            clauses.push_back(
                {"your messages to them run " + percent(*l - 1) + "% longer than your usual", *l});
        } else if (*l <= 0.6) {
            clauses.push_back({"your messages to them run far shorter than your usual", 1.0 / *l});
        }
    }
    if (const auto d = person.report.myDoubleTextRate) {
        if (*d >= 0.15) {
            clauses.push_back({"you double-text " + percent(*d) + "% of the time", *d * 3 + 1});
        }
    }
    return clauses;
}

// The first user-perceived character in upper case (full mapping, so "ß" becomes "SS"), the rest unchanged.
std::string capitalized(const std::string& text) {
    std::size_t firstLength = 0;
    unicode::forEachGrapheme(text, [&](std::string_view cluster) {
        if (firstLength == 0) {
            firstLength = cluster.size();
        }
    });
    icu::UnicodeString first =
        icu::UnicodeString::fromUTF8(icu::StringPiece(text.data(), static_cast<int32_t>(firstLength)));
    first.toUpper(icu::Locale::getRoot());
    std::string out;
    first.toUTF8String(out);
    return out + text.substr(firstLength);
}

} // namespace

std::optional<std::string> PersonInsights::headline(std::string_view name) const {
    std::vector<Clause> clauses = candidates(*this, name);
    if (clauses.empty()) {
        return std::nullopt;
    }
    std::stable_sort(clauses.begin(), clauses.end(),
                     [](const Clause& a, const Clause& b) { return a.salience > b.salience; });
    std::string sentence = capitalized(clauses[0].text);
    if (clauses.size() > 1) {
        sentence += " — and " + clauses[1].text;
    }
    return sentence + ".";
}

std::optional<PersonInsights> PersonInsights::compute(const ContactThread& thread,
                                                      std::optional<double> baselineAvgLength,
                                                      std::optional<double> baselineReplySeconds,
                                                      const Calendar& calendar) {
    if (thread.messages.size() < static_cast<std::size_t>(ReportBuilder::minimumMessages)) {
        return std::nullopt;
    }
    return compute(measure(thread, calendar), baselineAvgLength, baselineReplySeconds);
}

std::optional<PersonInsights> PersonInsights::compute(const MeasuredThread& thread,
                                                      std::optional<double> baselineAvgLength,
                                                      std::optional<double> baselineReplySeconds) {
    std::optional<ContactReport> report = ReportBuilder::contactReport(thread);
    if (!report) {
        return std::nullopt;
    }
    PersonInsights insights;
    insights.handleID = thread.thread->handleID;
    insights.displayName = thread.thread->displayName;
    insights.lengthVsBaseline = ratio(report->myAverageLength, baselineAvgLength);
    insights.replyVsBaseline = ratio(report->myMedianReplySeconds, baselineReplySeconds);
    const int total = report->sentCount + report->receivedCount;
    insights.balance = total < 1 ? 0.5 : static_cast<double>(report->sentCount) / static_cast<double>(total);
    insights.report = std::move(*report);
    return insights;
}

void PersonInsights::sortByMessages(std::vector<PersonInsights>& people) {
    std::stable_sort(people.begin(), people.end(), [](const PersonInsights& a, const PersonInsights& b) {
        return a.report.sentCount + a.report.receivedCount > b.report.sentCount + b.report.receivedCount;
    });
}

void to_json(nlohmann::json& out, const PersonInsights& insights) {
    out = nlohmann::json::object();
    out["handleID"] = insights.handleID;
    json::writeOptional(out, "displayName", insights.displayName);
    out["report"] = insights.report;
    json::writeOptional(out, "lengthVsBaseline", insights.lengthVsBaseline);
    json::writeOptional(out, "replyVsBaseline", insights.replyVsBaseline);
    out["balance"] = insights.balance;
}

void from_json(const nlohmann::json& in, PersonInsights& insights) {
    json::expectObject(in, "person insights");
    insights.handleID = json::required<std::string>(in, "handleID");
    insights.displayName = json::optional<std::string>(in, "displayName");
    insights.report = json::required<ContactReport>(in, "report");
    insights.lengthVsBaseline = json::optional<double>(in, "lengthVsBaseline");
    insights.replyVsBaseline = json::optional<double>(in, "replyVsBaseline");
    insights.balance = json::required<double>(in, "balance");
}

} // namespace dovrel
