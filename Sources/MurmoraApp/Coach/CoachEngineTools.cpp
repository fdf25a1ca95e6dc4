// The coach's tools over the application state, name resolution, and the gathering of the system prompt.
#include "AI/RelayConfig.h"
#include "Coach/AgentTools.h"
#include "Coach/CoachEngine.h"
#include "Coach/CoachPrompt.h"
#include "Foundation/ShortAgo.h"
#include "Foundation/Unicode.h"
#include "Measurement/GroupStats.h"
#include "Measurement/PriorityInbox.h"

#include <QLocale>
#include <algorithm>
#include <cmath>
#include <cstdio>

namespace murmora {
namespace {

using dovrel::Date;
using dovrel::CorpusTools::Hit;
using Output = CoachEngine::ToolOutput;

constexpr std::int64_t defaultLimit = 40;
constexpr std::int64_t defaultWindowLimit = 30;
constexpr std::size_t hitCharacters = 140;
constexpr std::size_t waitingCharacters = 80;
constexpr std::size_t timelineMonths = 18;
constexpr std::size_t groupsListed = 10;
constexpr std::size_t membersListed = 10;
constexpr std::size_t pulseMonths = 6;
constexpr std::size_t topPeopleListed = 10;
constexpr std::size_t promptTopPeople = 5;
constexpr int recentMessages = 100;
constexpr int unansweredLimit = 8;

const std::string loadingStatus = "Reading your group chats\u2026";
const std::string loadingResult = "Group data is still loading \u2014 call this tool again.";

// Every number the model sees is cut towards zero.
std::string whole(double value) {
    return std::to_string(static_cast<long long>(std::trunc(std::clamp(value, -1e15, 1e15))));
}

std::string percent(double rate) {
    return whole(rate * 100.0);
}

std::string joined(const std::vector<std::string>& parts, std::string_view separator) {
    std::string out;
    for (std::size_t i = 0; i < parts.size(); ++i) {
        if (i > 0) {
            out += separator;
        }
        out += parts[i];
    }
    return out;
}

// The user's locale in ICU's form; a process without one ("C") reads as American English.
std::string userLocale() {
    const QString name = QLocale::system().name();
    if (name.isEmpty() || name == QLatin1String("C") || name == QLatin1String("POSIX")) {
        return "en_US";
    }
    return name.toStdString();
}

// The text on one line, cut to `characters` user-perceived characters.
std::string oneLine(std::string_view text, std::size_t characters) {
    std::string flat;
    flat.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (c == '\r' && i + 1 < text.size() && text[i + 1] == '\n') {
            flat += ' ';
            ++i;
        } else if (c == '\n' || c == '\r' || c == '\v' || c == '\f') {
            flat += ' ';
        } else if (text.compare(i, 2, "\xC2\x85") == 0) { // NEXT LINE
            flat += ' ';
            ++i;
        } else if (text.compare(i, 3, "\xE2\x80\xA8") == 0 || text.compare(i, 3, "\xE2\x80\xA9") == 0) {
            flat += ' '; // LINE and PARAGRAPH SEPARATOR
            i += 2;
        } else {
            flat += c;
        }
    }
    if (flat.size() <= characters) {
        return flat; // never more characters than bytes
    }
    std::size_t count = 0;
    std::size_t end = 0;
    dovrel::unicode::forEachGrapheme(flat, [&](std::string_view cluster) {
        if (count < characters) {
            ++count;
            end = static_cast<std::size_t>(cluster.data() - flat.data()) + cluster.size();
        }
    });
    flat.resize(end);
    return flat;
}

std::string firstWord(std::string_view name) {
    const std::size_t start = name.find_first_not_of(' ');
    if (start == std::string_view::npos) {
        return {};
    }
    return std::string(name.substr(start, name.find(' ', start) - start));
}

// The terms of a call: split on "|", each trimmed of blanks and tabs.
std::vector<std::string> splitTerms(const std::optional<std::string>& terms) {
    std::vector<std::string> out;
    if (!terms) {
        return out;
    }
    std::string_view rest = *terms;
    while (true) {
        const std::size_t bar = rest.find('|');
        out.emplace_back(dovrel::unicode::trimming(rest.substr(0, bar), dovrel::unicode::isBlank));
        if (bar == std::string_view::npos) {
            return out;
        }
        rest.remove_prefix(bar + 1);
    }
}

std::string asked(const std::optional<std::string>& name) {
    return name.value_or("?");
}

Output noOne(const std::string& status, const std::optional<std::string>& name) {
    return {status, "No one found named " + asked(name) + "."};
}

Date now(const Generator::Environment& environment) {
    return environment.now.value_or(Date::now());
}

} // namespace

CoachEngine::ToolOutput CoachEngine::execute(const dovrel::Agent::ToolUse& use,
                                             const std::optional<dovrel::PersonInsights>& person) {
    AppState* const state = state_.data();
    if (state == nullptr) {
        return {"Tool skipped.", "App state unavailable."};
    }
    const std::optional<dovrel::AgentTools::Call> decoded = dovrel::AgentTools::call(use);
    if (!decoded) {
        return {"Tool skipped.", "Malformed tool input."};
    }
    const dovrel::AgentTools::Call& call = *decoded;

    const Generator::Environment environment = state->environment();
    const dovrel::Calendar& calendar = environment.calendar;
    // Tools that read one person fall back to the focused one; searches do not (see threadsFor).
    std::optional<std::string> who = call.person;
    if (!who && person) {
        who = state->name(person->handleID, person->displayName);
    }
    const std::vector<const dovrel::ContactThread*> threads = threadsFor(call.person);
    const std::int64_t limit = call.limit ? std::min(*call.limit, maxLimit) : defaultLimit;
    const std::optional<Date> start = dovrel::CorpusTools::parseDay(call.start, calendar);
    const std::optional<Date> end = dovrel::CorpusTools::parseDay(call.end, calendar);
    const std::vector<std::string> terms = splitTerms(call.terms);
    const std::string quotedTerms = "\u201C" + call.terms.value_or("") + "\u201D";
    const std::string& tool = call.tool;

    // The group a group branch reads, or null when it must answer with groupMiss.
    const auto group = [&]() -> const dovrel::GroupThread* {
        return groupsReady() ? findGroup(call.group) : nullptr;
    };
    // The focused or named person and their thread.
    const auto personThread =
        [&]() -> std::pair<const dovrel::PersonInsights*, const dovrel::ContactThread*> {
        const dovrel::PersonInsights* found = findPerson(who);
        if (found == nullptr) {
            return {nullptr, nullptr};
        }
        const auto thread = state->threadsByHandle().find(found->handleID);
        return {found, thread == state->threadsByHandle().end() ? nullptr : &thread->second};
    };

    if (tool == "search") {
        if (call.group) {
            const dovrel::GroupThread* found = group();
            if (found == nullptr) {
                return groupMiss(call.group);
            }
            const std::vector<dovrel::GroupMessage> messages = found->search(terms, start, end, limit);
            return {"Searched " + groupName(*found) + " for " + quotedTerms + " \u2014 " +
                        std::to_string(messages.size()) + " matches sent securely.",
                    formatGroup(messages, "No matches.")};
        }
        const std::vector<Hit> hits =
            dovrel::CorpusTools::search(threads, terms, call.from.value_or("any"), limit, start, end);
        return {"Searched your texts for " + quotedTerms + " \u2014 " + std::to_string(hits.size()) +
                    " matches sent securely.",
                format(hits, "No matches.")};
    }

    if (tool == "count") {
        const std::vector<dovrel::CorpusTools::MonthCount> months = dovrel::CorpusTools::countByMonth(
            threads, terms, call.from.value_or("any"), calendar, start, end);
        long long total = 0;
        std::vector<std::string> lines{""};
        for (const dovrel::CorpusTools::MonthCount& month : months) {
            total += month.count;
            lines.push_back(calendar.format(month.month, "yyyy-MM", userLocale()) + ": " +
                            std::to_string(month.count));
        }
        lines.front() = "total: " + std::to_string(total);
        return {"Counted matches for " + quotedTerms + " \u2014 " + std::to_string(total) + " total.",
                months.empty() ? "No matches." : joined(lines, "\n")};
    }

    if (tool == "sample") {
        if (call.group) {
            const dovrel::GroupThread* found = group();
            if (found == nullptr) {
                return groupMiss(call.group);
            }
            const std::vector<dovrel::GroupMessage> messages = found->recent(limit);
            return {"Read the last " + std::to_string(messages.size()) + " messages in " + groupName(*found) +
                        " \u2014 sent securely.",
                    formatGroup(messages, "No messages.")};
        }
        const std::vector<Hit> hits = dovrel::CorpusTools::sample(threads, call.from.value_or("me"), limit);
        return {"Pulled " + std::to_string(hits.size()) + " recent messages as style examples.",
                format(hits, "No messages.")};
    }

    if (tool == "timeline") {
        const auto [found, thread] = personThread();
        if (thread == nullptr) {
            return noOne("Looked up a timeline.", who);
        }
        const std::vector<dovrel::Trends::MonthPoint> points =
            trendPoints(found->handleID, *thread, calendar);
        const std::string locale = userLocale();
        std::vector<std::string> lines;
        const std::size_t first = points.size() > timelineMonths ? points.size() - timelineMonths : 0;
        for (std::size_t i = first; i < points.size(); ++i) {
            const dovrel::Trends::MonthPoint& point = points[i];
            std::string warmth = "\u2013";
            if (point.warmth) {
                char buffer[32];
                std::snprintf(buffer, sizeof buffer, "%+.2f", *point.warmth);
                warmth = buffer;
            }
            lines.push_back(calendar.format(point.month, "yyyy-MM", locale) + ": " +
                            std::to_string(point.count) + " msgs, " + percent(point.myShare) +
                            "% mine, warmth " + warmth);
        }
        return {"Pulled your month-by-month history with " +
                    state->name(found->handleID, found->displayName) + ".",
                lines.empty() ? "Not enough history." : joined(lines, "\n")};
    }

    if (tool == "window") {
        const std::optional<Date> around = dovrel::CorpusTools::parseDay(call.around, calendar);
        if (!around) {
            return {"Opened a conversation window.", "Need \"around\" as YYYY-MM-DD."};
        }
        const std::int64_t windowLimit = call.limit ? std::min(*call.limit, maxLimit) : defaultWindowLimit;
        if (call.group) {
            const dovrel::GroupThread* found = group();
            if (found == nullptr) {
                return groupMiss(call.group);
            }
            return {"Read " + groupName(*found) + " around " + *call.around + " \u2014 sent securely.",
                    formatGroup(found->window(*around, windowLimit), "Nothing near that date.")};
        }
        const auto [found, thread] = personThread();
        if (thread == nullptr) {
            return noOne("Opened a conversation window.", who);
        }
        return {
            "Read your conversation with " + state->name(found->handleID, found->displayName) + " around " +
                *call.around + " \u2014 sent securely.",
            format(dovrel::CorpusTools::window(*thread, *around, windowLimit), "Nothing near that date.")};
    }

    if (tool == "person_stats") {
        const dovrel::PersonInsights* found = findPerson(who);
        if (found == nullptr) {
            return noOne("Looked up a person.", who);
        }
        return {"Pulled your stats with " + state->name(found->handleID, found->displayName) + ".",
                statsLines(*found)};
    }

    if (tool == "compare") {
        const dovrel::PersonInsights* first = findPerson(call.person);
        const dovrel::PersonInsights* second = findPerson(call.person2);
        if (first == nullptr || second == nullptr) {
            return {"Compared two people.",
                    "Couldn't find both of " + asked(call.person) + " and " + asked(call.person2) + "."};
        }
        const std::string firstName = state->name(first->handleID, first->displayName);
        const std::string secondName = state->name(second->handleID, second->displayName);
        return {"Compared " + firstName + " and " + secondName + ".",
                firstName + ":\n" + statsLines(*first) + "\n\n" + secondName + ":\n" + statsLines(*second)};
    }

    if (tool == "overview") {
        return {"Pulled your overall stats.", overviewLines()};
    }

    if (tool == "unanswered") {
        const Date at = now(environment);
        // Only threads that can qualify are copied for the ranking: the other person spoke last, within the
        // waiting range. The rest would be dropped by it anyway.
        std::vector<dovrel::ContactThread> waiting;
        for (const auto& [handle, thread] : state->threadsByHandle()) {
            if (thread.messages.empty() || thread.messages.back().isFromMe) {
                continue;
            }
            const double hours = (at - thread.messages.back().date) / 3600.0;
            if (hours >= dovrel::PriorityInbox::minimumWaitingHours &&
                hours <= dovrel::PriorityInbox::maximumWaitingHours) {
                waiting.push_back(thread);
            }
        }
        std::vector<dovrel::PriorityInbox::Item> items =
            dovrel::PriorityInbox::candidates(waiting, at, unansweredLimit);
        std::erase_if(items, [](const dovrel::PriorityInbox::Item& item) {
            return dovrel::PriorityInbox::isLikelySpamHandle(item.handleID);
        });
        std::vector<std::string> lines;
        for (const dovrel::PriorityInbox::Item& item : items) {
            lines.push_back(state->name(item.handleID, item.displayName) + " \u2014 waiting " +
                            whole(item.waitingHours) + "h, last: \"" +
                            oneLine(item.lastMessage.text, waitingCharacters) + "\"");
        }
        return {"Checked who's waiting on you.",
                lines.empty() ? "No one's waiting on a reply." : joined(lines, "\n")};
    }

    if (tool == "groups") {
        if (!groupsReady()) {
            // A finished load that found no group with enough messages has nothing more to wait for.
            if (state->insights()->groupStatus() != Insights::GroupStatus::Loading) {
                return {"Pulled your group chats.", "No group chats with enough history."};
            }
            return {loadingStatus, loadingResult};
        }
        const Date at = now(environment);
        std::vector<std::string> lines;
        const std::size_t shown = std::min(state->insights()->groups().size(), groupsListed);
        for (std::size_t i = 0; i < shown; ++i) {
            const dovrel::GroupThread& each = state->insights()->groups()[i];
            std::vector<std::string> parts{groupName(each) + " \u2014 " +
                                               std::to_string(each.participants.size() + 1) + " people",
                                           std::to_string(each.messages.size()) + " msgs"};
            if (!each.messages.empty()) {
                parts.push_back("last active " +
                                dovrel::PeopleView::shortAgo(at - each.messages.back().date));
            }
            const dovrel::GroupStats stats = groupStats(each);
            if (const dovrel::GroupStats::Member* me = stats.me()) {
                parts.push_back("my share " + percent(me->share) + "%");
            }
            lines.push_back(joined(parts, ", "));
        }
        return {"Pulled your group chats.", joined(lines, "\n")};
    }

    if (tool == "group_stats") {
        const dovrel::GroupThread* found = group();
        if (found == nullptr) {
            return groupMiss(call.group);
        }
        return {"Pulled the story of " + groupName(*found) + ".", groupStatsLines(*found)};
    }

    return {"Tool skipped.", "Unknown tool " + tool + "."};
}

std::optional<std::string>
CoachEngine::buildSystem(const std::optional<dovrel::PersonInsights>& person) const {
    const AppState* const state = state_.data();
    if (state == nullptr) {
        return std::nullopt;
    }
    const bool includeTextTools = !RelayConfig::isConfigured();
    const dovrel::Calendar calendar = state->environment().calendar;

    if (person) {
        if (const auto thread = state->threadsByHandle().find(person->handleID);
            thread != state->threadsByHandle().end()) {
            // The user's whole-life facts come first, so they reach every person chat.
            std::vector<dovrel::MemoryEntry> remembered = memory("");
            const std::vector<dovrel::MemoryEntry> own = memory(person->handleID);
            remembered.insert(remembered.end(), own.begin(), own.end());
            std::optional<std::string> insight;
            for (const dovrel::Proactive::Insight& each : state->insights()->proactive()) {
                if (each.handleID == person->handleID) {
                    insight = each.text;
                    break;
                }
            }
            return dovrel::CoachPrompt::personSystem(state->name(person->handleID, person->displayName),
                                                     thread->second, *person, recentMessages, remembered,
                                                     insight, calendar, includeTextTools, userLocale());
        }
    }

    if (!state->stats()) {
        return std::nullopt;
    }
    std::vector<dovrel::CoachPrompt::TopPerson> top;
    for (std::size_t i = 0; i < std::min(state->people().size(), promptTopPeople); ++i) {
        const dovrel::PersonInsights& each = state->people()[i];
        top.push_back({state->name(each.handleID, each.displayName),
                       each.report.sentCount + each.report.receivedCount});
    }
    std::optional<std::string> insight;
    if (!state->insights()->proactive().empty()) {
        insight = state->insights()->proactive().front().text;
    }
    return dovrel::CoachPrompt::generalSystem(*state->stats(), top, memory(""), insight, calendar,
                                              includeTextTools);
}

std::vector<const dovrel::ContactThread*>
CoachEngine::threadsFor(const std::optional<std::string>& name) const {
    const AppState* const state = state_.data();
    if (state == nullptr) {
        return {};
    }
    if (const dovrel::PersonInsights* found = findPerson(name)) {
        if (const auto thread = state->threadsByHandle().find(found->handleID);
            thread != state->threadsByHandle().end()) {
            return {&thread->second};
        }
    }
    // A name that matches nobody widens the search to everyone rather than failing it.
    std::vector<const dovrel::ContactThread*> all;
    all.reserve(state->threadsByHandle().size());
    for (const auto& [handle, thread] : state->threadsByHandle()) {
        all.push_back(&thread);
    }
    return all;
}

const dovrel::PersonInsights* CoachEngine::findPerson(const std::optional<std::string>& name) const {
    const AppState* const state = state_.data();
    if (state == nullptr || !name || name->empty()) {
        return nullptr;
    }
    const std::string wanted = dovrel::unicode::lowercased(*name);
    for (const dovrel::PersonInsights& person : state->people()) {
        if (dovrel::unicode::lowercased(state->name(person.handleID, person.displayName)).find(wanted) !=
            std::string::npos) {
            return &person;
        }
    }
    return nullptr;
}

const dovrel::GroupThread* CoachEngine::findGroup(const std::optional<std::string>& name) const {
    const AppState* const state = state_.data();
    if (state == nullptr || !name || name->empty()) {
        return nullptr;
    }
    const std::string wanted = dovrel::unicode::lowercased(*name);
    for (const dovrel::GroupThread& group : state->insights()->groups()) {
        if (dovrel::unicode::lowercased(groupName(group)).find(wanted) != std::string::npos) {
            return &group;
        }
    }
    for (const dovrel::GroupThread& group : state->insights()->groups()) {
        for (const std::string& handle : group.participants) {
            if (dovrel::unicode::lowercased(state->name(handle)).find(wanted) != std::string::npos) {
                return &group;
            }
        }
    }
    return nullptr;
}

bool CoachEngine::groupsReady() const {
    AppState* const state = state_.data();
    if (state == nullptr) {
        return false;
    }
    // Only the first wish starts a load: after a failed one the tools answer as for no groups, so the model is
    // not sent round again; the groups screen may try again.
    if (state->insights()->groupStatus() == Insights::GroupStatus::NotLoaded) {
        state->insights()->loadGroups();
    }
    return !state->insights()->groups().empty();
}

CoachEngine::ToolOutput CoachEngine::groupMiss(const std::optional<std::string>& name) const {
    const AppState* const state = state_.data();
    // A load that ended, failed or not, is nothing to wait for; nor is one that could not start.
    if (state != nullptr && state->insights()->groupStatus() != Insights::GroupStatus::Loading) {
        return {"Looked up a group.", "No group found matching " + asked(name) + "."};
    }
    return {loadingStatus, loadingResult};
}

std::string CoachEngine::groupName(const dovrel::GroupThread& group) const {
    if (const AppState* const state = state_.data()) {
        return state->insights()->groupName(group);
    }
    return group.name.value_or("group");
}

std::string CoachEngine::format(const std::vector<Hit>& hits, const std::string& empty) const {
    const AppState* const state = state_.data();
    if (hits.empty() || state == nullptr) {
        return empty;
    }
    const dovrel::Calendar calendar = state->environment().calendar;
    const std::string locale = userLocale();
    std::vector<std::string> lines;
    lines.reserve(hits.size());
    for (const Hit& hit : hits) {
        lines.push_back(calendar.format(hit.date, "yyyy-MM-dd", locale) + " \u00B7 " +
                        (hit.isFromMe ? std::string("me") : state->name(hit.handleID)) + ": " +
                        oneLine(hit.text, hitCharacters));
    }
    return joined(lines, "\n");
}

std::string CoachEngine::formatGroup(const std::vector<dovrel::GroupMessage>& messages,
                                     const std::string& empty) const {
    const AppState* const state = state_.data();
    if (messages.empty() || state == nullptr) {
        return empty;
    }
    const dovrel::Calendar calendar = state->environment().calendar;
    const std::string locale = userLocale();
    std::vector<std::string> lines;
    lines.reserve(messages.size());
    for (const dovrel::GroupMessage& message : messages) {
        std::string who = "me";
        if (message.senderHandle) {
            who = firstWord(state->name(*message.senderHandle));
            if (who.empty()) {
                who = *message.senderHandle;
            }
        }
        lines.push_back(calendar.format(message.date, "yyyy-MM-dd", locale) + " \u00B7 " + who + ": " +
                        oneLine(message.text, hitCharacters));
    }
    return joined(lines, "\n");
}

std::string CoachEngine::statsLines(const dovrel::PersonInsights& insights) const {
    const dovrel::ContactReport& report = insights.report;
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

std::string CoachEngine::overviewLines() const {
    const AppState* const state = state_.data();
    if (state == nullptr || !state->stats()) {
        return "No stats yet.";
    }
    const dovrel::WrappedStats& stats = *state->stats();
    std::vector<std::string> lines{std::to_string(stats.totalMessages) + " messages, " +
                                   std::to_string(stats.peopleCount) + " people (last year)"};
    if (stats.myMedianReplySeconds) {
        lines.push_back("median reply: " + whole(*stats.myMedianReplySeconds) + "s");
    }
    if (stats.myInitiationRate) {
        lines.push_back("I start " + percent(*stats.myInitiationRate) + "% of conversations");
    }
    std::vector<std::string> top;
    for (std::size_t i = 0; i < std::min(state->people().size(), topPeopleListed); ++i) {
        const dovrel::PersonInsights& person = state->people()[i];
        top.push_back(
            state->name(person.handleID, person.displayName) + " (" +
            std::to_string(static_cast<long long>(person.report.sentCount) + person.report.receivedCount) +
            ")");
    }
    lines.push_back("top people: " + joined(top, ", "));
    return joined(lines, "\n");
}

std::string CoachEngine::groupStatsLines(const dovrel::GroupThread& group) const {
    AppState* const state = state_.data();
    if (state == nullptr) {
        return "No stats.";
    }
    const Generator::Environment environment = state->environment();
    const dovrel::GroupStats stats = groupStats(group);
    std::vector<std::string> lines{groupName(group) + ": " + std::to_string(group.participants.size() + 1) +
                                   " people, " + std::to_string(stats.total) + " messages"};
    if (stats.lastMessage) {
        lines.push_back("last active " + dovrel::PeopleView::shortAgo(now(environment) - *stats.lastMessage));
    }
    lines.push_back("my role: " + std::string(dovrel::GroupStats::roleTitle(stats.role)) + " \u2014 " +
                    stats.roleLine);
    lines.emplace_back("members (share of messages, laughs earned, conversations started):");
    for (std::size_t i = 0; i < std::min(stats.members.size(), membersListed); ++i) {
        const dovrel::GroupStats::Member& member = stats.members[i];
        lines.push_back("- " + (member.isMe() ? std::string("me") : state->name(member.key)) + ": " +
                        percent(member.share) + "%, " + std::to_string(member.laughs) + " laughs, " +
                        std::to_string(member.initiations) + " starts");
    }
    // Only the counts per month are shown, so the months are grouped without scoring their warmth.
    std::vector<dovrel::RawMessage> messages;
    messages.reserve(group.messages.size());
    for (const dovrel::GroupMessage& message : group.messages) {
        messages.push_back({message.date, !message.senderHandle.has_value(), message.text, true});
    }
    const std::vector<dovrel::Trends::MonthGroup> months =
        dovrel::Trends::groupByMonth(messages, environment.calendar);
    if (!months.empty()) {
        const std::string locale = userLocale();
        std::vector<std::string> pulse;
        for (std::size_t i = months.size() > pulseMonths ? months.size() - pulseMonths : 0; i < months.size();
             ++i) {
            pulse.push_back(environment.calendar.format(months[i].month, "yyyy-MM", locale) + ": " +
                            std::to_string(months[i].count));
        }
        lines.push_back("messages per month: " + joined(pulse, ", "));
    }
    return joined(lines, "\n");
}

std::vector<dovrel::Trends::MonthPoint> CoachEngine::trendPoints(const std::string& handle,
                                                                 const dovrel::ContactThread& thread,
                                                                 const dovrel::Calendar& calendar) const {
    AppState* const state = state_.data();
    if (state == nullptr) {
        return {};
    }
    const auto& cache = state->insights()->trendsCache();
    if (const auto cached = cache.find(handle); cached != cache.end()) {
        return cached->second;
    }
    std::vector<dovrel::Trends::MonthPoint> points = dovrel::Trends::monthly(thread.messages, calendar);
    state->insights()->storeTrends(handle, points);
    return points;
}

dovrel::GroupStats CoachEngine::groupStats(const dovrel::GroupThread& group) const {
    AppState* const state = state_.data();
    if (state == nullptr) {
        return {};
    }
    if (const dovrel::GroupStats* cached = state->insights()->stats(group)) {
        return *cached;
    }
    // A group load computes every group's statistics; only a group from elsewhere gets here.
    try {
        return dovrel::GroupStats::compute(group, state->environment().calendar);
    } catch (const std::exception&) {
        return {};
    }
}

} // namespace murmora
