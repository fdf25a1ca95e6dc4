#include "Coach/CoachPrompt.h"

#include "Coach/AgentTools.h"
#include "Format/Format.h"

#include <algorithm>
#include <cmath>

namespace dovrel::CoachPrompt {
namespace {

constexpr std::string_view opening =
    "You are Murmora, my personal messaging coach — perceptive, warm, direct, never sycophantic. Ground "
    "everything in my actual messages and stats; quote short fragments as evidence. Match your depth to my "
    "ask: a quick question gets a few tight sentences; when I ask for analysis or a deep dive, gather more "
    "evidence and take the space it deserves. Plain text, no headings.\n\nUse your tools freely to gather "
    "evidence before answering; count and cite what you find rather than guessing.\n\nWhenever you propose "
    "a message I could actually send, put each option on its own in a fenced code block tagged reply, "
    "exactly like:\n```reply\nthe message text\n```\nI can send those with one click. Never put anything "
    "but the sendable text inside.";

constexpr std::size_t topPeopleShown = 5;

using Format::percent;
using Format::whole;

std::string joinedLines(const std::vector<std::string>& lines) {
    std::string out;
    for (std::size_t i = 0; i < lines.size(); ++i) {
        if (i > 0) {
            out += '\n';
        }
        out += lines[i];
    }
    return out;
}

void appendTextTools(bool includeTextTools, std::vector<std::string>& lines) {
    if (includeTextTools) {
        lines.emplace_back(AgentTools::instructions());
        lines.emplace_back();
    }
}

} // namespace

void appendMemory(std::span<const MemoryEntry> memory, const std::optional<std::string>& insight,
                  const Calendar& calendar, std::vector<std::string>& lines) {
    std::string rendered = CoachMemory::render(memory, calendar);
    if (!rendered.empty()) {
        lines.emplace_back("Memory from our earlier coaching sessions:");
        lines.push_back(std::move(rendered));
        lines.emplace_back();
    }
    if (insight && !insight->empty()) {
        lines.push_back("Something you noticed on your own today (bring it up naturally if relevant): " +
                        *insight);
        lines.emplace_back();
    }
}

std::string personSystem(std::string_view name, const ContactThread& thread, const PersonInsights& insights,
                         int recentCount, std::span<const MemoryEntry> memory,
                         const std::optional<std::string>& insight, const Calendar& calendar,
                         bool includeTextTools, std::string_view locale) {
    const std::string who(name);
    const ContactReport& report = insights.report;
    std::vector<std::string> lines{
        std::string(opening),
        "",
        "We are working on my texting relationship with " + who + ".",
        "If this is the first exchange of a session, open with a one-line read of how " + who +
            " and I interact before answering.",
        "",
    };
    appendTextTools(includeTextTools, lines);
    appendMemory(memory, insight, calendar, lines);
    lines.emplace_back("Measured stats:");
    lines.push_back("- " + std::to_string(static_cast<long long>(report.sentCount) + report.receivedCount) +
                    " messages together");
    if (report.myMedianReplySeconds) {
        lines.push_back("- my median reply: " + whole(*report.myMedianReplySeconds) + "s");
    }
    if (report.theirMedianReplySeconds) {
        lines.push_back("- their median reply: " + whole(*report.theirMedianReplySeconds) + "s");
    }
    if (report.myInitiationRate) {
        lines.push_back("- I start " + percent(*report.myInitiationRate) + "% of conversations");
    }
    if (report.myDoubleTextRate) {
        lines.push_back("- my double-text rate: " + percent(*report.myDoubleTextRate) + "%");
    }
    lines.push_back("- balance: " + percent(insights.balance) + "% of messages are mine");
    lines.emplace_back();
    lines.emplace_back("Our recent messages (oldest first):");
    const std::size_t shown =
        std::min(thread.messages.size(), static_cast<std::size_t>(std::max(recentCount, 0)));
    for (auto message = thread.messages.end() - static_cast<std::ptrdiff_t>(shown);
         message != thread.messages.end(); ++message) {
        lines.push_back("[" + Format::monthDay(message->date, calendar, locale) + " · " +
                        (message->isFromMe ? std::string("me") : who) + "] " + message->text);
    }
    return joinedLines(lines);
}

std::string generalSystem(const WrappedStats& stats, std::span<const TopPerson> topPeople,
                          std::span<const MemoryEntry> memory, const std::optional<std::string>& insight,
                          const Calendar& calendar, bool includeTextTools) {
    std::vector<std::string> lines{
        std::string(opening),
        "",
        "No single conversation is loaded; you're working across my whole texting life. Use the tools to "
        "gather evidence from my full corpus for questions about my patterns (who initiates plans, how I ask "
        "people out, who I neglect). If a question is really about one person, suggest selecting them from "
        "the picker for deeper work.",
        "",
    };
    appendTextTools(includeTextTools, lines);
    appendMemory(memory, insight, calendar, lines);
    lines.push_back("My overall stats (last year): " + std::to_string(stats.totalMessages) + " messages, " +
                    std::to_string(stats.peopleCount) + " people");
    if (stats.myMedianReplySeconds) {
        lines.push_back("- median reply: " + whole(*stats.myMedianReplySeconds) + "s");
    }
    if (stats.myInitiationRate) {
        lines.push_back("- I start " + percent(*stats.myInitiationRate) + "% of conversations");
    }
    if (stats.myMedianLength) {
        lines.push_back("- median message: " + std::to_string(*stats.myMedianLength) + " chars");
    }
    std::string top = "- top people: ";
    const std::size_t shown = std::min(topPeople.size(), topPeopleShown);
    for (std::size_t i = 0; i < shown; ++i) {
        if (i > 0) {
            top += ", ";
        }
        top += topPeople[i].name + " (" + std::to_string(topPeople[i].count) + ")";
    }
    lines.push_back(std::move(top));
    return joinedLines(lines);
}

std::vector<Agent::ChatMessage> messages(std::span<const Turn> transcript) {
    std::vector<Agent::ChatMessage> out;
    out.reserve(transcript.size());
    for (const Turn& turn : transcript) {
        out.push_back(turn.role == Turn::Role::user ? Agent::ChatMessage::user(turn.text)
                                                    : Agent::ChatMessage::assistant(turn.text));
    }
    return out;
}

} // namespace dovrel::CoachPrompt
