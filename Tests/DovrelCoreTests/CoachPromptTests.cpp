#include "Coach/AgentTools.h"
#include "Coach/CoachPrompt.h"
#include "Foundation/UUID.h"
#include "MeasurementSupport.h"

#include <gtest/gtest.h>

using namespace dovrel;
using measurementtest::mine;
using measurementtest::theirs;
using measurementtest::thread;

namespace {

const std::string opening =
    "You are Murmora, my personal messaging coach — perceptive, warm, direct, never sycophantic. Ground "
    "everything in my actual messages and stats; quote short fragments as evidence. Match your depth to my "
    "ask: a quick question gets a few tight sentences; when I ask for analysis or a deep dive, gather more "
    "evidence and take the space it deserves. Plain text, no headings.\n"
    "\n"
    "Use your tools freely to gather evidence before answering; count and cite what you find rather than "
    "guessing.\n"
    "\n"
    "Whenever you propose a message I could actually send, put each option on its own in a fenced code block "
    "tagged reply, exactly like:\n"
    "```reply\n"
    "the message text\n"
    "```\n"
    "I can send those with one click. Never put anything but the sendable text inside.";

PersonInsights ana() {
    PersonInsights insights;
    insights.handleID = "+15550000001";
    insights.report.sentCount = 8;
    insights.report.receivedCount = 4;
    insights.report.myMedianReplySeconds = 90.9;
    insights.report.myInitiationRate = 0.5;
    insights.report.myDoubleTextRate = 0.129;
    insights.balance = 0.6667;
    return insights;
}

ContactThread anaThread(const Calendar& newYork) {
    return thread("+15550000001",
                  {
                      mine(newYork.date(2024, 2, 20, 9, 0), "first"),
                      theirs(Date::fromUnix(1'709'262'000), "line one\nline two"), // 03:00 UTC
                      mine(newYork.date(2024, 3, 1, 10, 0), "ok"),
                  });
}

MemoryEntry entry(MemoryEntry::Kind kind, std::string text, bool done = false) {
    return MemoryEntry{makeUUID(), kind, std::move(text), Date{0}, done};
}

} // namespace

TEST(CoachPromptTest, PersonPromptHasEveryLineInOrder) {
    const Calendar newYork("America/New_York");
    const std::string prompt = CoachPrompt::personSystem("Ana", anaThread(newYork), ana(), 2, {},
                                                         std::nullopt, newYork, false, "en_US");
    EXPECT_EQ(prompt, opening +
                          "\n"
                          "\n"
                          "We are working on my texting relationship with Ana.\n"
                          "If this is the first exchange of a session, open with a one-line read of how Ana "
                          "and I interact before answering.\n"
                          "\n"
                          "Measured stats:\n"
                          "- 12 messages together\n"
                          "- my median reply: 90s\n"
                          "- I start 50% of conversations\n"
                          "- my double-text rate: 12%\n"
                          "- balance: 66% of messages are mine\n"
                          "\n"
                          "Our recent messages (oldest first):\n"
                          "[Feb 29 · Ana] line one\n"
                          "line two\n"
                          "[Mar 1 · me] ok");

    // A thread shorter than the count is listed whole; dates follow the locale, in its order.
    const std::string all = CoachPrompt::personSystem("Ana", anaThread(newYork), ana(), 100, {}, std::nullopt,
                                                      newYork, false, "de_DE");
    EXPECT_NE(
        all.find("Our recent messages (oldest first):\n[20. Feb. · me] first\n[29. Feb. · Ana] line one"),
        std::string::npos)
        << all;
}

TEST(CoachPromptTest, ToolsMemoryAndInsightComeBetweenTheIntroAndTheStats) {
    const Calendar utc("UTC");
    const std::vector<MemoryEntry> memory = {entry(MemoryEntry::Kind::fact, "Ana is my sister"),
                                             entry(MemoryEntry::Kind::goal, "Reply faster")};
    const std::string prompt = CoachPrompt::personSystem("Ana", anaThread(utc), ana(), 100, memory,
                                                         "Ana has waited 3 days", utc, true, "en_US");
    const std::string expected = "interact before answering.\n\n" + std::string(AgentTools::instructions()) +
                                 "\n\nMemory from our earlier coaching sessions:\n" +
                                 CoachMemory::render(memory, utc) +
                                 "\n\nSomething you noticed on your own today (bring it up naturally if "
                                 "relevant): Ana has waited 3 days\n\nMeasured stats:\n";
    EXPECT_NE(prompt.find(expected), std::string::npos) << prompt;
    // The engine looks for the fenced block's opener to know the protocol is already there.
    EXPECT_NE(prompt.find("```tool"), std::string::npos);

    // Memory that renders to nothing adds nothing; an empty insight adds nothing either.
    const std::vector<MemoryEntry> done = {entry(MemoryEntry::Kind::goal, "Reply faster", true)};
    const std::string onlyInsight =
        CoachPrompt::personSystem("Ana", anaThread(utc), ana(), 100, done, "Hi", utc, false, "en_US");
    EXPECT_NE(onlyInsight.find("before answering.\n\nSomething you noticed on your own today (bring it up "
                               "naturally if relevant): Hi\n\nMeasured stats:"),
              std::string::npos);
    const std::string nothing =
        CoachPrompt::personSystem("Ana", anaThread(utc), ana(), 100, done, "", utc, false, "en_US");
    EXPECT_NE(nothing.find("before answering.\n\nMeasured stats:"), std::string::npos);
    EXPECT_EQ(nothing.find("```tool"), std::string::npos);

    // Only the message count and the balance are always there.
    PersonInsights bare = ana();
    bare.report = ContactReport{};
    const std::string plain =
        CoachPrompt::personSystem("Ana", anaThread(utc), bare, 0, {}, std::nullopt, utc, false, "en_US");
    EXPECT_TRUE(
        plain.ends_with("Measured stats:\n- 0 messages together\n- balance: 66% of messages are mine\n\n"
                        "Our recent messages (oldest first):"))
        << plain;
}

TEST(CoachPromptTest, GeneralPromptListsOverallStatsAndFiveTopPeople) {
    const Calendar utc("UTC");
    WrappedStats stats;
    stats.totalMessages = 5321;
    stats.peopleCount = 48;
    stats.myMedianReplySeconds = 300.99;
    stats.myMedianLength = 27;
    const std::vector<CoachPrompt::TopPerson> top = {{"Ana", 900}, {"Ben", 800}, {"Cy", 700},
                                                     {"Di", 600},  {"Ed", 500},  {"Flo", 400}};
    const std::vector<MemoryEntry> memory = {entry(MemoryEntry::Kind::commitment, "Call Dad")};
    EXPECT_EQ(
        CoachPrompt::generalSystem(stats, top, memory, "Ben has gone quiet", utc, false),
        opening +
            "\n\nNo single conversation is loaded; you're working across my whole texting life. Use "
            "the tools to gather evidence from my full corpus for questions about my patterns (who "
            "initiates plans, how I ask people out, who I neglect). If a question is really about "
            "one person, suggest selecting them from the picker for deeper work.\n\n"
            "Memory from our earlier coaching sessions:\n" +
            CoachMemory::render(memory, utc) +
            "\n\nSomething you noticed on your own today (bring it up naturally if relevant): Ben has gone "
            "quiet\n\n"
            "My overall stats (last year): 5321 messages, 48 people\n"
            "- median reply: 300s\n"
            "- median message: 27 chars\n"
            "- top people: Ana (900), Ben (800), Cy (700), Di (600), Ed (500)");

    stats.myInitiationRate = 0.999;
    const std::string bare = CoachPrompt::generalSystem(stats, {}, {}, std::nullopt, utc, true);
    EXPECT_TRUE(
        bare.ends_with("deeper work.\n\n" + std::string(AgentTools::instructions()) +
                       "\n\nMy overall stats (last year): 5321 messages, 48 people\n- median reply: 300s\n"
                       "- I start 99% of conversations\n- median message: 27 chars\n- top people: "))
        << bare;
    EXPECT_EQ(bare.find("\n\n\n"), std::string::npos);
}

TEST(CoachPromptTest, TranscriptTurnsBecomeTextMessages) {
    const std::vector<CoachPrompt::Turn> transcript = {{CoachPrompt::Turn::Role::user, "hi"},
                                                       {CoachPrompt::Turn::Role::coach, "hello"},
                                                       {CoachPrompt::Turn::Role::user, "how am I doing?"}};
    EXPECT_EQ(CoachPrompt::messages(transcript),
              (std::vector<Agent::ChatMessage>{Agent::ChatMessage::user("hi"),
                                               Agent::ChatMessage::assistant("hello"),
                                               Agent::ChatMessage::user("how am I doing?")}));
    EXPECT_TRUE(CoachPrompt::messages({}).empty());
}
