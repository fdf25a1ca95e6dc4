#include "Coach/CoachTools.h"

#include "Coach/CorpusTools.h"
#include "Format/Format.h"
#include "Foundation/Unicode.h"
#include "Measurement/PriorityInbox.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <exception>
#include <functional>

namespace dovrel::CoachTools {
namespace {

using Format::joined;
using Format::percent;
using Format::whole;

constexpr std::int64_t defaultLimit = 40;
constexpr std::int64_t defaultWindowLimit = 30;
constexpr std::size_t hitCharacters = 140;
constexpr std::size_t waitingCharacters = 80;
constexpr std::size_t timelineMonths = 18;
constexpr std::size_t groupsListed = 10;
constexpr std::size_t membersListed = 10;
constexpr std::size_t pulseMonths = 6;
constexpr std::size_t topPeopleListed = 10;
constexpr int unansweredLimit = 8;

const std::string loadingStatus = "Reading your group chats\u2026";
const std::string loadingResult = "Group data is still loading \u2014 call this tool again.";

// One decoded call with what every handler reads, worked out once before the tool is picked.
struct Request {
    const CorpusView& view;
    const AgentTools::Call& call;
    // The named person, else the focused one: the tools that read one person fall back to the focus.
    std::optional<std::string> who;
    // Searches take the raw name, so a search in a focused chat that names nobody reads every thread.
    std::vector<const ContactThread*> threads;
    std::int64_t limit;
    std::optional<Date> start;
    std::optional<Date> end;
    std::vector<std::string> terms;
    std::string quotedTerms;
};

using Handler = std::function<Output(const Request&)>;

std::string asked(const std::optional<std::string>& name) {
    return name.value_or("?");
}

Output noOne(const std::string& status, const std::optional<std::string>& name) {
    return {status, "No one found named " + asked(name) + ".", {}, {}};
}

std::vector<std::string> splitTerms(const std::optional<std::string>& terms) {
    std::vector<std::string> out;
    if (!terms) {
        return out;
    }
    std::string_view rest = *terms;
    while (true) {
        const std::size_t bar = rest.find('|');
        out.emplace_back(unicode::trimming(rest.substr(0, bar), unicode::isBlank));
        if (bar == std::string_view::npos) {
            return out;
        }
        rest.remove_prefix(bar + 1);
    }
}

std::string firstWord(std::string_view name) {
    const std::size_t start = name.find_first_not_of(' ');
    if (start == std::string_view::npos) {
        return {};
    }
    return std::string(name.substr(start, name.find(' ', start) - start));
}

const ContactThread* threadOf(const CorpusView& view, const PersonInsights& person) {
    if (!view.threads) {
        return nullptr;
    }
    const auto found = view.threads->find(person.handleID);
    return found == view.threads->end() ? nullptr : &found->second;
}

std::string personName(const CorpusView& view, const PersonInsights& person) {
    return view.name(person.handleID, person.displayName);
}

// A group is readable once loaded; anything else answers as groupMiss does.
const GroupThread* readableGroup(const CorpusView& view, const std::optional<std::string>& name) {
    return view.groupStatus == GroupStatus::loaded ? view.findGroup(name) : nullptr;
}

Output groupMiss(const CorpusView& view, const std::optional<std::string>& name) {
    if (view.groupStatus == GroupStatus::loading) {
        return {loadingStatus, loadingResult, {}, {}};
    }
    return {"Looked up a group.", "No group found matching " + asked(name) + ".", {}, {}};
}

std::string formatHits(const CorpusView& view, const std::vector<CorpusTools::Hit>& hits,
                       const std::string& empty) {
    if (hits.empty()) {
        return empty;
    }
    std::vector<std::string> lines;
    lines.reserve(hits.size());
    for (const CorpusTools::Hit& hit : hits) {
        lines.push_back(view.calendar.format(hit.date, "yyyy-MM-dd", view.locale) + " \u00B7 " +
                        (hit.isFromMe ? std::string("me") : view.name(hit.handleID)) + ": " +
                        Format::oneLine(hit.text, hitCharacters));
    }
    return joined(lines, "\n");
}

std::string formatGroup(const CorpusView& view, const std::vector<GroupMessage>& messages,
                        const std::string& empty) {
    if (messages.empty()) {
        return empty;
    }
    std::vector<std::string> lines;
    lines.reserve(messages.size());
    for (const GroupMessage& message : messages) {
        std::string who = "me";
        if (message.senderHandle) {
            who = firstWord(view.name(*message.senderHandle));
            if (who.empty()) {
                who = *message.senderHandle;
            }
        }
        lines.push_back(view.calendar.format(message.date, "yyyy-MM-dd", view.locale) + " \u00B7 " + who +
                        ": " + Format::oneLine(message.text, hitCharacters));
    }
    return joined(lines, "\n");
}

std::string statsLines(const PersonInsights& insights) {
    const ContactReport& report = insights.report;
    std::vector<std::string> lines{
        std::to_string(static_cast<long long>(report.sentCount) + report.receivedCount) +
        " messages together"};
    if (report.myMedianReplySeconds) {
        lines.push_back("my median reply: " + whole(*report.myMedianReplySeconds) + "s");
    }
    if (report.theirMedianReplySeconds) {
        lines.push_back("their median reply: " + whole(*report.theirMedianReplySeconds) + "s");
    }
    if (report.myInitiationRate) {
        lines.push_back("I start " + percent(*report.myInitiationRate) + "% of conversations");
    }
    if (report.myDoubleTextRate) {
        lines.push_back("my double-text rate: " + percent(*report.myDoubleTextRate) + "%");
    }
    lines.push_back("balance: " + percent(insights.balance) + "% of messages are mine");
    return joined(lines, "\n");
}

// The statistics of a group: kept ones from the view, else computed and handed back for keeping.
const GroupStats& groupStats(const CorpusView& view, const GroupThread& group, Output& output) {
    if (view.groupStats) {
        if (const auto kept = view.groupStats->find(group.guid); kept != view.groupStats->end()) {
            return kept->second;
        }
    }
    if (const auto computed = output.computedGroupStats.find(group.guid);
        computed != output.computedGroupStats.end()) {
        return computed->second;
    }
    GroupStats stats;
    try {
        stats = GroupStats::compute(group, view.calendar);
    } catch (const std::exception&) {
        // Only a damaged database has dates the calendar cannot place; such a group shows no statistics.
    }
    return output.computedGroupStats.emplace(group.guid, std::move(stats)).first->second;
}

std::string groupStatsLines(const CorpusView& view, const GroupThread& group, Output& output) {
    const GroupStats& stats = groupStats(view, group, output);
    std::vector<std::string> lines{view.groupName(group) + ": " +
                                   std::to_string(group.participants.size() + 1) + " people, " +
                                   std::to_string(stats.total) + " messages"};
    if (stats.lastMessage) {
        lines.push_back("last active " + Format::shortAgo(view.now - *stats.lastMessage));
    }
    lines.push_back("my role: " + std::string(GroupStats::roleTitle(stats.role)) + " \u2014 " +
                    stats.roleLine);
    lines.emplace_back("members (share of messages, laughs earned, conversations started):");
    for (std::size_t i = 0; i < std::min(stats.members.size(), membersListed); ++i) {
        const GroupStats::Member& member = stats.members[i];
        lines.push_back("- " + (member.isMe() ? std::string("me") : view.name(member.key)) + ": " +
                        percent(member.share) + "%, " + std::to_string(member.laughs) + " laughs, " +
                        std::to_string(member.initiations) + " starts");
    }
    // Only the counts per month are shown, so the months are grouped without scoring their warmth.
    std::vector<RawMessage> messages;
    messages.reserve(group.messages.size());
    for (const GroupMessage& message : group.messages) {
        messages.push_back({message.date, !message.senderHandle.has_value(), message.text, true});
    }
    const std::vector<Trends::MonthGroup> months = Trends::groupByMonth(messages, view.calendar);
    if (!months.empty()) {
        std::vector<std::string> pulse;
        for (std::size_t i = months.size() > pulseMonths ? months.size() - pulseMonths : 0; i < months.size();
             ++i) {
            pulse.push_back(view.calendar.format(months[i].month, "yyyy-MM", view.locale) + ": " +
                            std::to_string(months[i].count));
        }
        lines.push_back("messages per month: " + joined(pulse, ", "));
    }
    return joined(lines, "\n");
}

Output search(const Request& r) {
    if (r.call.group) {
        const GroupThread* group = readableGroup(r.view, r.call.group);
        if (group == nullptr) {
            return groupMiss(r.view, r.call.group);
        }
        const std::vector<GroupMessage> messages = group->search(r.terms, r.start, r.end, r.limit);
        return {"Searched " + r.view.groupName(*group) + " for " + r.quotedTerms + " \u2014 " +
                    std::to_string(messages.size()) + " matches sent securely.",
                formatGroup(r.view, messages, "No matches."),
                {},
                {}};
    }
    const std::vector<CorpusTools::Hit> hits =
        CorpusTools::search(r.threads, r.terms, r.call.from.value_or("any"), r.limit, r.start, r.end);
    return {"Searched your texts for " + r.quotedTerms + " \u2014 " + std::to_string(hits.size()) +
                " matches sent securely.",
            formatHits(r.view, hits, "No matches."),
            {},
            {}};
}

Output count(const Request& r) {
    const std::vector<CorpusTools::MonthCount> months = CorpusTools::countByMonth(
        r.threads, r.terms, r.call.from.value_or("any"), r.view.calendar, r.start, r.end);
    long long total = 0;
    std::vector<std::string> lines{""};
    for (const CorpusTools::MonthCount& month : months) {
        total += month.count;
        lines.push_back(r.view.calendar.format(month.month, "yyyy-MM", r.view.locale) + ": " +
                        std::to_string(month.count));
    }
    lines.front() = "total: " + std::to_string(total);
    return {"Counted matches for " + r.quotedTerms + " \u2014 " + std::to_string(total) + " total.",
            months.empty() ? "No matches." : joined(lines, "\n"),
            {},
            {}};
}

Output sample(const Request& r) {
    if (r.call.group) {
        const GroupThread* group = readableGroup(r.view, r.call.group);
        if (group == nullptr) {
            return groupMiss(r.view, r.call.group);
        }
        const std::vector<GroupMessage> messages = group->recent(r.limit);
        return {"Read the last " + std::to_string(messages.size()) + " messages in " +
                    r.view.groupName(*group) + " \u2014 sent securely.",
                formatGroup(r.view, messages, "No messages."),
                {},
                {}};
    }
    const std::vector<CorpusTools::Hit> hits =
        CorpusTools::sample(r.threads, r.call.from.value_or("me"), r.limit);
    return {"Pulled " + std::to_string(hits.size()) + " recent messages as style examples.",
            formatHits(r.view, hits, "No messages."),
            {},
            {}};
}

Output timeline(const Request& r) {
    const PersonInsights* person = r.view.findPerson(r.who);
    const ContactThread* thread = person == nullptr ? nullptr : threadOf(r.view, *person);
    if (thread == nullptr) {
        return noOne("Looked up a timeline.", r.who);
    }
    Output output;
    const std::vector<Trends::MonthPoint>* kept = nullptr;
    if (r.view.trends) {
        if (const auto found = r.view.trends->find(person->handleID); found != r.view.trends->end()) {
            kept = &found->second;
        }
    }
    if (kept == nullptr) {
        output.computedTrends.emplace(person->handleID, Trends::monthly(thread->messages, r.view.calendar));
    }
    const std::vector<Trends::MonthPoint>& points = kept != nullptr ? *kept : output.computedTrends->second;
    std::vector<std::string> lines;
    for (std::size_t i = points.size() > timelineMonths ? points.size() - timelineMonths : 0;
         i < points.size(); ++i) {
        const Trends::MonthPoint& point = points[i];
        std::string warmth(Format::dash);
        if (point.warmth && std::isfinite(*point.warmth)) {
            char buffer[32];
            std::snprintf(buffer, sizeof buffer, "%+.2f", *point.warmth);
            warmth = buffer;
        }
        lines.push_back(r.view.calendar.format(point.month, "yyyy-MM", r.view.locale) + ": " +
                        std::to_string(point.count) + " msgs, " + percent(point.myShare) + "% mine, warmth " +
                        warmth);
    }
    output.status = "Pulled your month-by-month history with " + personName(r.view, *person) + ".";
    output.result = lines.empty() ? "Not enough history." : joined(lines, "\n");
    return output;
}

Output window(const Request& r) {
    const std::optional<Date> around = CorpusTools::parseDay(r.call.around, r.view.calendar);
    if (!around) {
        return {"Opened a conversation window.", "Need \"around\" as YYYY-MM-DD.", {}, {}};
    }
    const std::int64_t limit = r.call.limit ? std::min(*r.call.limit, maxLimit) : defaultWindowLimit;
    if (r.call.group) {
        const GroupThread* group = readableGroup(r.view, r.call.group);
        if (group == nullptr) {
            return groupMiss(r.view, r.call.group);
        }
        return {"Read " + r.view.groupName(*group) + " around " + *r.call.around + " \u2014 sent securely.",
                formatGroup(r.view, group->window(*around, limit), "Nothing near that date."),
                {},
                {}};
    }
    const PersonInsights* person = r.view.findPerson(r.who);
    const ContactThread* thread = person == nullptr ? nullptr : threadOf(r.view, *person);
    if (thread == nullptr) {
        return noOne("Opened a conversation window.", r.who);
    }
    return {"Read your conversation with " + personName(r.view, *person) + " around " + *r.call.around +
                " \u2014 sent securely.",
            formatHits(r.view, CorpusTools::window(*thread, *around, limit), "Nothing near that date."),
            {},
            {}};
}

Output personStats(const Request& r) {
    const PersonInsights* person = r.view.findPerson(r.who);
    if (person == nullptr) {
        return noOne("Looked up a person.", r.who);
    }
    return {"Pulled your stats with " + personName(r.view, *person) + ".", statsLines(*person), {}, {}};
}

Output compare(const Request& r) {
    const PersonInsights* first = r.view.findPerson(r.call.person);
    const PersonInsights* second = r.view.findPerson(r.call.person2);
    if (first == nullptr || second == nullptr) {
        return {"Compared two people.",
                "Couldn't find both of " + asked(r.call.person) + " and " + asked(r.call.person2) + ".",
                {},
                {}};
    }
    const std::string firstName = personName(r.view, *first);
    const std::string secondName = personName(r.view, *second);
    return {"Compared " + firstName + " and " + secondName + ".",
            firstName + ":\n" + statsLines(*first) + "\n\n" + secondName + ":\n" + statsLines(*second),
            {},
            {}};
}

Output overview(const Request& r) {
    if (!r.view.stats) {
        return {"Pulled your overall stats.", "No stats yet.", {}, {}};
    }
    const WrappedStats& stats = *r.view.stats;
    std::vector<std::string> lines{std::to_string(stats.totalMessages) + " messages, " +
                                   std::to_string(stats.peopleCount) + " people (last year)"};
    if (stats.myMedianReplySeconds) {
        lines.push_back("median reply: " + whole(*stats.myMedianReplySeconds) + "s");
    }
    if (stats.myInitiationRate) {
        lines.push_back("I start " + percent(*stats.myInitiationRate) + "% of conversations");
    }
    std::vector<std::string> top;
    if (r.view.people) {
        for (std::size_t i = 0; i < std::min(r.view.people->size(), topPeopleListed); ++i) {
            const PersonInsights& person = (*r.view.people)[i];
            top.push_back(personName(r.view, person) + " (" +
                          std::to_string(static_cast<long long>(person.report.sentCount) +
                                         person.report.receivedCount) +
                          ")");
        }
    }
    lines.push_back("top people: " + joined(top, ", "));
    return {"Pulled your overall stats.", joined(lines, "\n"), {}, {}};
}

Output unanswered(const Request& r) {
    // Only threads that can qualify are copied for the ranking: the other person spoke last, within the
    // waiting range. The rest would be dropped by it anyway.
    std::vector<ContactThread> waiting;
    if (r.view.threads) {
        for (const auto& [handle, thread] : *r.view.threads) {
            if (thread.messages.empty() || thread.messages.back().isFromMe) {
                continue;
            }
            const double hours = (r.view.now - thread.messages.back().date) / 3600.0;
            if (hours >= PriorityInbox::minimumWaitingHours && hours <= PriorityInbox::maximumWaitingHours) {
                waiting.push_back(thread);
            }
        }
    }
    std::vector<PriorityInbox::Item> items = PriorityInbox::candidates(waiting, r.view.now, unansweredLimit);
    std::erase_if(items, [](const PriorityInbox::Item& item) {
        return PriorityInbox::isLikelySpamHandle(item.handleID);
    });
    std::vector<std::string> lines;
    for (const PriorityInbox::Item& item : items) {
        lines.push_back(r.view.name(item.handleID, item.displayName) + " \u2014 waiting " +
                        whole(item.waitingHours) + "h, last: \"" +
                        Format::oneLine(item.lastMessage.text, waitingCharacters) + "\"");
    }
    return {"Checked who's waiting on you.",
            lines.empty() ? "No one's waiting on a reply." : joined(lines, "\n"),
            {},
            {}};
}

Output groups(const Request& r) {
    if (r.view.groupStatus == GroupStatus::loading) {
        return {loadingStatus, loadingResult, {}, {}};
    }
    const std::size_t count = r.view.groups ? r.view.groups->size() : 0;
    if (r.view.groupStatus == GroupStatus::unavailable || count == 0) {
        return {"Pulled your group chats.", "No group chats with enough history.", {}, {}};
    }
    Output output;
    std::vector<std::string> lines;
    for (std::size_t i = 0; i < std::min(count, groupsListed); ++i) {
        const GroupThread& group = (*r.view.groups)[i];
        std::vector<std::string> parts{r.view.groupName(group) + " \u2014 " +
                                           std::to_string(group.participants.size() + 1) + " people",
                                       std::to_string(group.messages.size()) + " msgs"};
        if (!group.messages.empty()) {
            parts.push_back("last active " + Format::shortAgo(r.view.now - group.messages.back().date));
        }
        if (const GroupStats::Member* me = groupStats(r.view, group, output).me()) {
            parts.push_back("my share " + percent(me->share) + "%");
        }
        lines.push_back(joined(parts, ", "));
    }
    output.status = "Pulled your group chats.";
    output.result = joined(lines, "\n");
    return output;
}

Output groupStatsTool(const Request& r) {
    const GroupThread* group = readableGroup(r.view, r.call.group);
    if (group == nullptr) {
        return groupMiss(r.view, r.call.group);
    }
    Output output;
    output.result = groupStatsLines(r.view, *group, output);
    output.status = "Pulled the story of " + r.view.groupName(*group) + ".";
    return output;
}

// Which calls of a tool read the group chats.
enum class Groups { never, withGroupField, always };

struct Tool {
    std::string_view name;
    Handler handler;
    Groups groups;
};

const std::vector<Tool>& registry() {
    static const std::vector<Tool> tools{
        {"search", search, Groups::withGroupField},
        {"count", count, Groups::never},
        {"sample", sample, Groups::withGroupField},
        {"timeline", timeline, Groups::never},
        {"window", window, Groups::withGroupField},
        {"person_stats", personStats, Groups::never},
        {"compare", compare, Groups::never},
        {"overview", overview, Groups::never},
        {"unanswered", unanswered, Groups::never},
        {"groups", groups, Groups::always},
        {"group_stats", groupStatsTool, Groups::always},
    };
    return tools;
}

const Tool* find(std::string_view name) {
    for (const Tool& tool : registry()) {
        if (tool.name == name) {
            return &tool;
        }
    }
    return nullptr;
}

} // namespace

std::string CorpusView::name(const std::string& handle, const std::optional<std::string>& fallback) const {
    if (names) {
        if (const auto found = names->find(handle); found != names->end() && !found->second.empty()) {
            return found->second;
        }
    }
    return fallback && !fallback->empty() ? *fallback : handle;
}

std::string CorpusView::groupName(const GroupThread& group) const {
    if (group.name) {
        return *group.name;
    }
    return group.fallbackName([this](const std::string& handle) { return name(handle); });
}

const PersonInsights* CorpusView::findPerson(const std::optional<std::string>& wanted) const {
    if (!people || !wanted || wanted->empty()) {
        return nullptr;
    }
    const std::string lowered = unicode::lowercased(*wanted);
    for (const PersonInsights& person : *people) {
        if (unicode::lowercased(name(person.handleID, person.displayName)).find(lowered) !=
            std::string::npos) {
            return &person;
        }
    }
    return nullptr;
}

const GroupThread* CorpusView::findGroup(const std::optional<std::string>& wanted) const {
    if (!groups || !wanted || wanted->empty()) {
        return nullptr;
    }
    const std::string lowered = unicode::lowercased(*wanted);
    for (const GroupThread& group : *groups) {
        if (unicode::lowercased(groupName(group)).find(lowered) != std::string::npos) {
            return &group;
        }
    }
    for (const GroupThread& group : *groups) {
        for (const std::string& handle : group.participants) {
            if (unicode::lowercased(name(handle)).find(lowered) != std::string::npos) {
                return &group;
            }
        }
    }
    return nullptr;
}

std::vector<const ContactThread*> CorpusView::threadsFor(const std::optional<std::string>& wanted) const {
    if (!threads) {
        return {};
    }
    if (const PersonInsights* person = findPerson(wanted)) {
        if (const auto thread = threads->find(person->handleID); thread != threads->end()) {
            return {&thread->second};
        }
    }
    std::vector<const ContactThread*> all;
    all.reserve(threads->size());
    for (const auto& [handle, thread] : *threads) {
        all.push_back(&thread);
    }
    return all;
}

std::vector<std::string_view> names() {
    std::vector<std::string_view> out;
    for (const Tool& tool : registry()) {
        out.push_back(tool.name);
    }
    return out;
}

bool readsGroups(std::string_view tool, bool hasGroupField) {
    const Tool* found = find(tool);
    return found != nullptr &&
           (found->groups == Groups::always || (found->groups == Groups::withGroupField && hasGroupField));
}

Output run(const CorpusView& view, const Agent::ToolUse& use, const std::optional<PersonInsights>& focused) {
    const std::optional<AgentTools::Call> decoded = AgentTools::call(use);
    if (!decoded) {
        return {std::string(skippedStatus), "Malformed tool input.", {}, {}};
    }
    const AgentTools::Call& call = *decoded;
    // A day that does not exist is a mistake of the model's, not a filter to drop without a word.
    if (CorpusTools::isMalformedDay(call.start, view.calendar) ||
        CorpusTools::isMalformedDay(call.end, view.calendar)) {
        return {std::string(skippedStatus), "Malformed tool input.", {}, {}};
    }
    const Tool* tool = find(call.tool);
    if (tool == nullptr) {
        return {std::string(skippedStatus), "Unknown tool " + call.tool + ".", {}, {}};
    }
    std::optional<std::string> who = call.person;
    if (!who && focused) {
        who = view.name(focused->handleID, focused->displayName);
    }
    const Request request{view,
                          call,
                          std::move(who),
                          view.threadsFor(call.person),
                          call.limit ? std::min(*call.limit, maxLimit) : defaultLimit,
                          CorpusTools::parseDay(call.start, view.calendar),
                          CorpusTools::parseDay(call.end, view.calendar),
                          splitTerms(call.terms),
                          "\u201C" + call.terms.value_or("") + "\u201D"};
    return tool->handler(request);
}

} // namespace dovrel::CoachTools
