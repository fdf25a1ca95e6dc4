#include "Measurement/WrappedStats.h"

#include "Foundation/Json.h"
#include "Measurement/Activity.h"
#include "Measurement/Metrics.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <unordered_map>

namespace dovrel {
namespace {

// Two day starts further apart than this cannot be consecutive days in any zone, so the calendar need not be
// asked. (The largest offset changes on record, across the date line, are 24 hours.)
constexpr double surelyApart = 3 * 86400.0;

// Walks one thread's day starts (one per message in the period): adds each day's messages to `messagesByDay`
// and returns the longest run of consecutive calendar days, 1 for a single day.
int countDays(std::vector<double>& days, std::unordered_map<double, int>& messagesByDay,
              const Calendar& calendar) {
    if (!std::is_sorted(days.begin(), days.end())) {
        std::sort(days.begin(), days.end());
    }
    int best = 1;
    int run = 1;
    for (std::size_t i = 0; i < days.size();) {
        std::size_t next = i + 1;
        while (next < days.size() && days[next] == days[i]) {
            ++next;
        }
        messagesByDay[days[i]] += static_cast<int>(next - i);
        if (i > 0) {
            const double previous = days[i - 1];
            if (days[i] - previous <= surelyApart &&
                calendar.daysBetween(Date{previous}, Date{days[i]}) == 1) {
                ++run;
                best = std::max(best, run);
            } else {
                run = 1;
            }
        }
        i = next;
    }
    return best;
}

} // namespace

WrappedStats WrappedStats::compute(std::span<const ContactThread> threads, DateInterval interval,
                                   const Calendar& calendar) {
    std::vector<MeasuredThread> measured;
    measured.reserve(threads.size());
    for (const ContactThread& thread : threads) {
        measured.push_back(measure(thread, calendar, interval));
    }
    return compute(measured, interval, calendar);
}

WrappedStats WrappedStats::compute(std::span<const MeasuredThread> threads, DateInterval interval,
                                   const Calendar& calendar) {
    WrappedStats stats;
    stats.interval = interval;

    std::unordered_map<double, int> messagesByDay;
    std::vector<double> replyGaps;
    Metrics::SessionCount sessions;
    Activity::Tally activity;
    TextStyle::Tally style;
    TextStyle::EmojiTally emojis;
    std::vector<double> lengths;

    std::vector<std::size_t> inPeriod;
    std::vector<RawMessage> gathered;
    std::vector<double> days;
    int bestStreak = 0;
    int bestDoubleTexts = 0;

    for (const MeasuredThread& measured : threads) {
        if (measured.scope && *measured.scope != interval) {
            throw std::invalid_argument("a thread measured in another period");
        }
        const std::vector<RawMessage>& messages = measured.thread->messages;
        inPeriod.clear();
        for (std::size_t i = 0; i < messages.size(); ++i) {
            if (interval.contains(messages[i].date)) {
                inPeriod.push_back(i);
            }
        }
        if (inPeriod.empty()) {
            continue;
        }
        // The narrowed thread. In a thread in date order it is one stretch of the messages; otherwise the
        // messages are gathered (without their texts, which the metrics do not read).
        std::span<const RawMessage> narrowed;
        if (inPeriod.back() - inPeriod.front() + 1 == inPeriod.size()) {
            narrowed = std::span(messages).subspan(inPeriod.front(), inPeriod.size());
        } else {
            gathered.clear();
            for (const std::size_t i : inPeriod) {
                gathered.push_back({messages[i].date, messages[i].isFromMe, {}, messages[i].isRead});
            }
            narrowed = gathered;
        }

        ++stats.peopleCount;
        TopContact contact{measured.thread->handleID, measured.thread->displayName,
                           static_cast<int>(inPeriod.size()), 0, 0};
        days.clear();
        for (const std::size_t i : inPeriod) {
            const RawMessage& message = messages[i];
            const LocalTime& local = measured.times[i];
            days.push_back(local.dayStart.seconds);
            if (!message.isFromMe) {
                continue;
            }
            ++contact.sent;
            activity.add(message.date, local);
            style.add(measured.texts[i]);
            lengths.push_back(measured.texts[i].length);
            for (const std::string& emoji : measured.emojisOf(i)) {
                emojis.add(emoji);
            }
        }
        contact.received = contact.count - contact.sent;
        stats.totalMessages += contact.count;
        stats.sentCount += contact.sent;

        const int streak = countDays(days, messagesByDay, calendar);
        if (streak > bestStreak) {
            bestStreak = streak;
            stats.longestStreak = ContactCount{contact.handleID, contact.displayName, streak};
        }
        const int doubleTexts = Metrics::myDoubleTextCount(narrowed);
        if (doubleTexts > bestDoubleTexts) {
            bestDoubleTexts = doubleTexts;
            stats.doubleTextChampion = ContactCount{contact.handleID, contact.displayName, doubleTexts};
        }
        Metrics::appendReplyGaps(narrowed, true, replyGaps);
        const Metrics::SessionCount counted = Metrics::countSessions(narrowed, Metrics::conversationGap);
        sessions.sessions += counted.sessions;
        sessions.openedByMe += counted.openedByMe;

        stats.topContacts.push_back(std::move(contact));
    }

    stats.receivedCount = stats.totalMessages - stats.sentCount;
    std::stable_sort(stats.topContacts.begin(), stats.topContacts.end(),
                     [](const TopContact& a, const TopContact& b) { return a.count > b.count; });
    if (stats.topContacts.size() > topContactLimit) {
        stats.topContacts.resize(topContactLimit);
    }

    for (const auto& [day, count] : messagesByDay) {
        if (!stats.busiestDay || count > stats.busiestDay->count ||
            (count == stats.busiestDay->count && day < stats.busiestDay->date.seconds)) {
            stats.busiestDay = DayCount{Date{day}, count};
        }
    }
    // A streak needs two days in a row.
    if (stats.longestStreak && stats.longestStreak->count <= 1) {
        stats.longestStreak.reset();
    }

    stats.myMedianReplySeconds = Metrics::median(std::move(replyGaps));
    if (sessions.sessions > 0) {
        stats.myInitiationRate =
            static_cast<double>(sessions.openedByMe) / static_cast<double>(sessions.sessions);
    }

    stats.myHourlyHistogram = activity.hourlyHistogram();
    if (stats.sentCount > 0) {
        const auto peak = std::max_element(stats.myHourlyHistogram.begin(), stats.myHourlyHistogram.end());
        stats.peakHour = static_cast<int>(peak - stats.myHourlyHistogram.begin());
    }
    stats.medianLastTextMinute = activity.medianLastTextMinuteOfDay();
    stats.laughter = style.laughter;
    if (const auto middle = Metrics::median(std::move(lengths))) {
        stats.myMedianLength = static_cast<int>(std::round(*middle));
    }
    stats.myQuestionRate = style.questionRate();
    stats.myEmojiRate = style.emojiRate();
    stats.myTopEmojis = emojis.top(topEmojiLimit);
    return stats;
}

void to_json(nlohmann::json& out, const WrappedStats::TopContact& contact) {
    out = nlohmann::json::object();
    out["handleID"] = contact.handleID;
    json::writeOptional(out, "displayName", contact.displayName);
    out["count"] = contact.count;
    out["sent"] = contact.sent;
    out["received"] = contact.received;
}

void from_json(const nlohmann::json& in, WrappedStats::TopContact& contact) {
    json::expectObject(in, "a top contact");
    contact.handleID = json::required<std::string>(in, "handleID");
    contact.displayName = json::optional<std::string>(in, "displayName");
    contact.count = json::required<int>(in, "count");
    contact.sent = json::required<int>(in, "sent");
    contact.received = json::required<int>(in, "received");
}

void to_json(nlohmann::json& out, const WrappedStats::DayCount& day) {
    out = nlohmann::json::object();
    out["date"] = day.date;
    out["count"] = day.count;
}

void from_json(const nlohmann::json& in, WrappedStats::DayCount& day) {
    json::expectObject(in, "a day count");
    day.date = json::required<Date>(in, "date");
    day.count = json::required<int>(in, "count");
}

void to_json(nlohmann::json& out, const WrappedStats::ContactCount& contact) {
    out = nlohmann::json::object();
    out["handleID"] = contact.handleID;
    json::writeOptional(out, "displayName", contact.displayName);
    out["count"] = contact.count;
}

void from_json(const nlohmann::json& in, WrappedStats::ContactCount& contact) {
    json::expectObject(in, "a contact count");
    contact.handleID = json::required<std::string>(in, "handleID");
    contact.displayName = json::optional<std::string>(in, "displayName");
    contact.count = json::required<int>(in, "count");
}

void to_json(nlohmann::json& out, const WrappedStats& stats) {
    out = nlohmann::json::object();
    out["interval"] = stats.interval;
    out["peopleCount"] = stats.peopleCount;
    out["totalMessages"] = stats.totalMessages;
    out["sentCount"] = stats.sentCount;
    out["receivedCount"] = stats.receivedCount;
    out["topContacts"] = stats.topContacts;
    json::writeOptional(out, "busiestDay", stats.busiestDay);
    json::writeOptional(out, "longestStreak", stats.longestStreak);
    json::writeOptional(out, "doubleTextChampion", stats.doubleTextChampion);
    json::writeOptional(out, "myMedianReplySeconds", stats.myMedianReplySeconds);
    json::writeOptional(out, "myInitiationRate", stats.myInitiationRate);
    json::writeOptional(out, "medianLastTextMinute", stats.medianLastTextMinute);
    out["laughter"] = stats.laughter;
    json::writeOptional(out, "myMedianLength", stats.myMedianLength);
    json::writeOptional(out, "myQuestionRate", stats.myQuestionRate);
    json::writeOptional(out, "myEmojiRate", stats.myEmojiRate);
    json::writeOptional(out, "peakHour", stats.peakHour);
    out["myHourlyHistogram"] = stats.myHourlyHistogram;
    json::writeOptional(out, "myTopEmojis", stats.myTopEmojis);
}

void from_json(const nlohmann::json& in, WrappedStats& stats) {
    json::expectObject(in, "wrapped statistics");
    stats.interval = json::required<DateInterval>(in, "interval");
    stats.peopleCount = json::required<int>(in, "peopleCount");
    stats.totalMessages = json::required<int>(in, "totalMessages");
    stats.sentCount = json::required<int>(in, "sentCount");
    stats.receivedCount = json::required<int>(in, "receivedCount");
    stats.topContacts = json::required<std::vector<WrappedStats::TopContact>>(in, "topContacts");
    stats.busiestDay = json::optional<WrappedStats::DayCount>(in, "busiestDay");
    stats.longestStreak = json::optional<WrappedStats::ContactCount>(in, "longestStreak");
    stats.doubleTextChampion = json::optional<WrappedStats::ContactCount>(in, "doubleTextChampion");
    stats.myMedianReplySeconds = json::optional<double>(in, "myMedianReplySeconds");
    stats.myInitiationRate = json::optional<double>(in, "myInitiationRate");
    stats.medianLastTextMinute = json::optional<int>(in, "medianLastTextMinute");
    stats.laughter = json::required<LaughterProfile>(in, "laughter");
    stats.myMedianLength = json::optional<int>(in, "myMedianLength");
    stats.myQuestionRate = json::optional<double>(in, "myQuestionRate");
    stats.myEmojiRate = json::optional<double>(in, "myEmojiRate");
    stats.peakHour = json::optional<int>(in, "peakHour");
    stats.myHourlyHistogram = json::required<std::vector<int>>(in, "myHourlyHistogram");
    stats.myTopEmojis = json::optional<std::vector<TextStyle::EmojiCount>>(in, "myTopEmojis");
}

} // namespace dovrel
