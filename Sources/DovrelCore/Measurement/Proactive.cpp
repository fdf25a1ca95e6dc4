#include "Measurement/Proactive.h"

#include "Measurement/PriorityInbox.h"
#include "Measurement/Trends.h"

#include <algorithm>
#include <cmath>
#include <unordered_map>
#include <unordered_set>

namespace dovrel::Proactive {
namespace {

// Waiting this long makes a reply overdue.
constexpr double overdueHours = 20.0;
// The priority candidates the waiting rule looks at.
constexpr int waitingCandidates = 5;
// A month cooler than the three before it by more than this is a dip.
constexpr double warmthDrop = 0.15;
constexpr std::size_t monthsCompared = 3;
constexpr int minimumLastMonthCount = 10;
constexpr int minimumEarlierWarmths = 2;
// Neglect: this many messages from the user, this much silence since, and a usual gap below a week.
constexpr std::size_t minimumMessagesFromMe = 20;
constexpr double minimumSilenceDays = 21.0;
constexpr double usualGapLimitDays = 7.0;

long long whole(double value) {
    if (!std::isfinite(value)) {
        return 0;
    }
    constexpr double limit = 9.0e18;
    return static_cast<long long>(std::trunc(std::clamp(value, -limit, limit)));
}

class Lookup {
public:
    Lookup(std::span<const ContactThread* const> threads, const NameResolver& resolveName)
        : resolveName_(resolveName) {
        byHandle_.reserve(threads.size());
        for (const ContactThread* thread : threads) {
            byHandle_.try_emplace(thread->handleID, thread);
        }
    }

    const ContactThread* thread(const std::string& handle) const {
        const auto found = byHandle_.find(handle);
        return found == byHandle_.end() ? nullptr : found->second;
    }

    std::string name(const std::string& handle) const { return resolveName_ ? resolveName_(handle) : handle; }

private:
    std::unordered_map<std::string_view, const ContactThread*> byHandle_;
    const NameResolver& resolveName_;
};

std::span<const std::string> firstOf(std::span<const std::string> handles, std::size_t count) {
    return handles.first(std::min(handles.size(), count));
}

std::optional<Insight> waiting(std::span<const ContactThread* const> threads,
                               std::span<const std::string> topHandles, const Lookup& lookup, Date now) {
    const auto top = firstOf(topHandles, waitingPeople);
    const std::unordered_set<std::string_view> close(top.begin(), top.end());
    for (const PriorityInbox::Item& item : PriorityInbox::candidates(threads, now, waitingCandidates)) {
        if (close.contains(item.handleID) && item.waitingHours >= overdueHours) {
            const std::string name = lookup.name(item.handleID);
            return Insight{Insight::Kind::waiting, item.handleID,
                           name + " has been waiting " + age(item.waitingHours) + " on a reply.",
                           "Help me reply to " + name};
        }
    }
    return std::nullopt;
}

// Only the last four months with messages matter, so months are grouped first and warmth is scored only
// for those, and only as far as the rule needs.
bool cooled(const ContactThread& thread, const Calendar& calendar, const Sentiment::Scorer& scorer) {
    const std::vector<Trends::MonthGroup> months = Trends::groupByMonth(thread.messages, calendar);
    if (months.size() < monthsCompared + 1) {
        return false;
    }
    const Trends::MonthGroup& last = months.back();
    if (last.count < minimumLastMonthCount) {
        return false;
    }
    const std::optional<double> lastWarmth = Trends::warmth(last, scorer);
    if (!lastWarmth) {
        return false;
    }
    double sum = 0.0;
    int scored = 0;
    for (std::size_t i = months.size() - 1 - monthsCompared; i + 1 < months.size(); ++i) {
        if (const std::optional<double> earlier = Trends::warmth(months[i], scorer)) {
            sum += *earlier;
            ++scored;
        }
    }
    return scored >= minimumEarlierWarmths && *lastWarmth < sum / scored - warmthDrop;
}

std::optional<Insight> warmthDip(std::span<const std::string> topHandles, const Lookup& lookup,
                                 const Calendar& calendar, const Sentiment::Scorer& scorer) {
    for (const std::string& handle : firstOf(topHandles, warmthDipPeople)) {
        const ContactThread* thread = lookup.thread(handle);
        if (thread && cooled(*thread, calendar, scorer)) {
            const std::string name = lookup.name(handle);
            return Insight{Insight::Kind::warmthDip, handle,
                           "Things with " + name + " read cooler lately than they used to.",
                           "What changed with " + name + "?"};
        }
    }
    return std::nullopt;
}

// Days of silence since the user's last message, when the user used to write at least weekly.
std::optional<double> neglectedDays(const ContactThread& thread, Date now) {
    std::vector<Date> sent;
    for (const RawMessage& message : thread.messages) {
        if (message.isFromMe) {
            sent.push_back(message.date);
        }
    }
    if (sent.size() < minimumMessagesFromMe) {
        return std::nullopt;
    }
    const double days = (now - sent.back()) / 86400.0;
    if (!(days >= minimumSilenceDays)) {
        return std::nullopt;
    }
    std::vector<double> gaps;
    gaps.reserve(sent.size() - 1);
    for (std::size_t i = 0; i + 1 < sent.size(); ++i) {
        gaps.push_back((sent[i + 1] - sent[i]) / 86400.0);
    }
    // The upper middle on an even count, not the mean of the two middle values.
    const auto usual = gaps.begin() + static_cast<std::ptrdiff_t>(gaps.size() / 2);
    std::nth_element(gaps.begin(), usual, gaps.end());
    if (!(*usual < usualGapLimitDays)) {
        return std::nullopt;
    }
    return days;
}

std::optional<Insight> neglected(std::span<const std::string> topHandles, const Lookup& lookup, Date now) {
    for (const std::string& handle : firstOf(topHandles, neglectedPeople)) {
        if (PriorityInbox::isLikelySpamHandle(handle)) {
            continue;
        }
        const ContactThread* thread = lookup.thread(handle);
        if (!thread) {
            continue;
        }
        if (const std::optional<double> days = neglectedDays(*thread, now)) {
            const std::string name = lookup.name(handle);
            return Insight{Insight::Kind::neglected, handle,
                           "You used to text " + name + " all the time — it's been " +
                               std::to_string(whole(*days / 7.0)) + " weeks.",
                           "What should I say to " + name + " after this long?"};
        }
    }
    return std::nullopt;
}

const Sentiment::Scorer& serviceScorer() {
    static const Sentiment::Scorer scorer = [](std::string_view text) { return Sentiment::score(text); };
    return scorer;
}

} // namespace

std::string_view Insight::rawValue(Kind kind) {
    switch (kind) {
    case Kind::waiting:
        return "waiting";
    case Kind::warmthDip:
        return "warmthDip";
    case Kind::neglected:
        return "neglected";
    }
    return "waiting";
}

std::optional<Insight::Kind> Insight::kindNamed(std::string_view raw) {
    for (const Kind kind : {Kind::waiting, Kind::warmthDip, Kind::neglected}) {
        if (raw == rawValue(kind)) {
            return kind;
        }
    }
    return std::nullopt;
}

std::vector<Insight> detect(std::span<const ContactThread> threads, std::span<const std::string> topHandles,
                            const NameResolver& resolveName, const Calendar& calendar, Date now) {
    return detect(threads, topHandles, resolveName, calendar, now, serviceScorer());
}

std::vector<Insight> detect(std::span<const ContactThread> threads, std::span<const std::string> topHandles,
                            const NameResolver& resolveName, const Calendar& calendar, Date now,
                            const Sentiment::Scorer& scorer) {
    std::vector<const ContactThread*> references;
    references.reserve(threads.size());
    for (const ContactThread& thread : threads) {
        references.push_back(&thread);
    }
    return detect(references, topHandles, resolveName, calendar, now, scorer);
}
std::vector<Insight> detect(std::span<const ContactThread* const> threads,
                            std::span<const std::string> topHandles, const NameResolver& resolveName,
                            const Calendar& calendar, Date now) {
    return detect(threads, topHandles, resolveName, calendar, now, serviceScorer());
}
std::vector<Insight> detect(std::span<const ContactThread* const> threads,
                            std::span<const std::string> topHandles, const NameResolver& resolveName,
                            const Calendar& calendar, Date now, const Sentiment::Scorer& scorer) {
    std::vector<Insight> insights;
    if (threads.empty() || topHandles.empty()) {
        return insights;
    }
    const Lookup lookup(threads, resolveName);
    if (auto insight = waiting(threads, topHandles, lookup, now)) {
        insights.push_back(std::move(*insight));
    }
    if (auto insight = warmthDip(topHandles, lookup, calendar, scorer)) {
        insights.push_back(std::move(*insight));
    }
    if (auto insight = neglected(topHandles, lookup, now)) {
        insights.push_back(std::move(*insight));
    }
    return insights;
}

std::string age(double hours) {
    if (hours < 48.0) {
        return std::to_string(whole(hours)) + " hours";
    }
    const long long days = whole(hours / 24.0);
    return days == 1 ? "a day" : std::to_string(days) + " days";
}

} // namespace dovrel::Proactive
