#include "Coach/ArchetypePrompt.h"
#include "Coach/CoachPacket.h"
#include "Coach/DeepDivePrompt.h"
#include "Measurement/ReportBuilder.h"

#include <cmath>
#include <gtest/gtest.h>
#include <sstream>
#include <string>
#include <vector>

using namespace dovrel;

namespace {

// `count` messages a few minutes apart, alternating, the user first; texts "m0", "m1", ...
ContactThread threadOf(int count) {
    ContactThread thread{"+15550001111", "Sam Rivera", {}};
    for (int i = 0; i < count; ++i) {
        thread.messages.push_back(
            RawMessage{Date{700'000'000.0 + i * 437.0}, i % 2 == 0, "m" + std::to_string(i), true});
    }
    return thread;
}

std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::string line;
    std::istringstream in(text);
    while (std::getline(in, line)) {
        lines.push_back(line);
    }
    if (!text.empty() && text.back() == '\n') {
        lines.emplace_back();
    }
    return lines;
}

std::string cut(double value) {
    return std::to_string(static_cast<long long>(std::trunc(value)));
}

const std::string deepDiveOpening =
    "You are a perceptive, emotionally intelligent relationship observer. Read my texting history with Sam "
    "and "
    "give me an honest, warm, specific read. Ground every observation in what's actually in the messages — "
    "quote short fragments as evidence. Never invent events.";
const std::string deepDiveSections =
    "Write these sections, each 2-4 sentences, using these exact headings:\n## The dynamic\n## How conflict "
    "looks\n## The trajectory\n## Unresolved\n## One suggestion\nPlain markdown, no preamble.";

} // namespace

TEST(DeepDivePromptTest, StatsAreCutToWholeNumbersAndOnlyTheLastMessagesGo) {
    PersonInsights insights;
    insights.report.myMedianReplySeconds = 59.99;
    insights.report.theirMedianReplySeconds = 3600.5;
    insights.report.myInitiationRate = 0.6789;
    insights.balance = 0.999;
    insights.lengthVsBaseline = 1.96;
    ContactThread thread = threadOf(5);
    thread.messages[4].text = "see you at 8?\nor 9";

    EXPECT_EQ(DeepDivePrompt::build("Sam", thread, insights, 3),
              deepDiveOpening +
                  "\n\nMeasured stats for context:\n"
                  "- my median reply: 59s\n"
                  "- their median reply: 3600s\n"
                  "- I start 67% of conversations\n"
                  "- balance: 99% of messages are mine\n"
                  "- my messages here run 2.0× my usual length\n"
                  "\n"
                  "Recent messages (oldest first):\n"
                  "[me] m2\n"
                  "[Sam] m3\n"
                  "[me] see you at 8?\nor 9\n"
                  "\n" +
                  deepDiveSections);
}

TEST(DeepDivePromptTest, AbsentStatsAreLeftOutAndAShortThreadGoesWhole) {
    PersonInsights insights;
    insights.balance = 0.4;
    insights.lengthVsBaseline = 0.25;
    EXPECT_EQ(DeepDivePrompt::build("Sam", threadOf(2), insights, 200),
              deepDiveOpening +
                  "\n\nMeasured stats for context:\n"
                  "- balance: 40% of messages are mine\n"
                  "- my messages here run 0.2× my usual length\n"
                  "\n"
                  "Recent messages (oldest first):\n"
                  "[me] m0\n"
                  "[Sam] m1\n"
                  "\n" +
                  deepDiveSections);

    insights.lengthVsBaseline.reset();
    const std::string none = DeepDivePrompt::build("Sam", threadOf(3), insights, 0);
    EXPECT_NE(none.find("are mine\n\nRecent messages (oldest first):\n\nWrite these"), std::string::npos);
    EXPECT_EQ(none.find("×"), std::string::npos);
    EXPECT_EQ(DeepDivePrompt::build("Sam", threadOf(3), insights, -5), none);
}

TEST(ArchetypePromptTest, EveryPresentStatGetsItsLine) {
    WrappedStats stats;
    stats.totalMessages = 12345;
    stats.peopleCount = 87;
    stats.sentCount = 6000;
    stats.receivedCount = 6345;
    stats.myMedianReplySeconds = 95.9;
    stats.myInitiationRate = 0.29; // 28.999… once multiplied: cut, not rounded
    stats.myMedianLength = 31;
    stats.myQuestionRate = 0.123;
    stats.myEmojiRate = 0.5;
    stats.laughter = LaughterProfile{3, 0, 12, 1};
    stats.medianLastTextMinute = 1385;
    stats.peakHour = 21;
    stats.doubleTextChampion = WrappedStats::ContactCount{"+1555", "Sam", 57};
    stats.longestStreak = WrappedStats::ContactCount{"+1666", "Alex", 41};

    EXPECT_EQ(
        ArchetypePrompt::build(stats),
        "Based only on these texting statistics, name my texter archetype — a punchy, specific, slightly "
        "funny 2-4 word title (like a personality type reveal). First line: the archetype name only. Then "
        "a blank line, then 2-3 sentences describing me in second person, warm but honest. Plain text only "
        "— no markdown.\n"
        "\n"
        "My year in texts:\n"
        "- 12345 messages with 87 people (6000 sent, 6345 received)\n"
        "- median reply time: 95 seconds\n"
        "- I start 28% of conversations\n"
        "- median message length: 31 characters\n"
        "- 12% of my messages ask a question\n"
        "- 50% of my messages use emoji\n"
        "- how I laugh: haha ×3, HAHA ×0, lol ×12, 😂 ×1\n"
        "- my last text of the day is around 23:05\n"
        "- I text most in the 21:00 hour\n"
        "- I double-texted my top victim 57 times\n"
        "- longest daily texting streak with one person: 41 days");
}

TEST(ArchetypePromptTest, ZerosAndAbsencesLeaveOnlyTheCounts) {
    WrappedStats stats;
    const std::vector<std::string> lines = linesOf(ArchetypePrompt::build(stats));
    ASSERT_EQ(lines.size(), 4U);
    EXPECT_EQ(lines[1], "");
    EXPECT_EQ(lines[2], "My year in texts:");
    EXPECT_EQ(lines[3], "- 0 messages with 0 people (0 sent, 0 received)");

    // Zero rates are data, not absence; an early last text keeps its leading hour digit unpadded.
    stats.myInitiationRate = 0.0;
    stats.medianLastTextMinute = 65;
    stats.peakHour = 0;
    stats.laughter.laughEmojiCount = 1;
    const std::string text = ArchetypePrompt::build(stats);
    EXPECT_NE(text.find("\n- I start 0% of conversations\n"), std::string::npos);
    EXPECT_NE(text.find("\n- how I laugh: haha ×0, HAHA ×0, lol ×0, 😂 ×1\n"), std::string::npos);
    EXPECT_NE(text.find("\n- my last text of the day is around 1:05\n"), std::string::npos);
    EXPECT_TRUE(text.ends_with("\n- I text most in the 0:00 hour"));
}

TEST(ArchetypePromptTest, ParseCleansTheTitleAndKeepsTheBody) {
    EXPECT_EQ(ArchetypePrompt::parse("\n\n# **The Midnight Philosopher**\n\nYou text late. You mean it.\n\n"),
              (Archetype{"The Midnight Philosopher", "You text late. You mean it."}));
    EXPECT_EQ(ArchetypePrompt::parse("\t\"The Lol Machine\"  \r\n\r\nBody line one.\r\nBody line two.  "),
              (Archetype{"The Lol Machine", "Body line one.\r\nBody line two."}));
    EXPECT_EQ(ArchetypePrompt::parse("__The Ghost__"), (Archetype{"The Ghost", ""}));
    EXPECT_EQ(ArchetypePrompt::parse("  ## The Ghost ##  \n"), (Archetype{"The Ghost", ""}));
    // Marks inside the title stay; only the ends are cleaned.
    EXPECT_EQ(ArchetypePrompt::parse("**Rapid-Fire *Lol* Machine**\nBody"),
              (Archetype{"Rapid-Fire *Lol* Machine", "Body"}));
    EXPECT_EQ(ArchetypePrompt::parse(""), (Archetype{"", ""}));
    EXPECT_EQ(ArchetypePrompt::parse("***\nOnly body"), (Archetype{"", "Only body"}));
}

TEST(CoachPacketTest, ShortThreadHasNoMeasuredBlockButKeepsItsSpacing) {
    const Calendar calendar("UTC");
    EXPECT_EQ(
        CoachPacket::build("What do I say?", "Sam", threadOf(3), 2, calendar, std::nullopt, "playful"),
        "You are a thoughtful, emotionally intelligent texting coach.\n"
        "\n"
        "My question: What do I say?\n"
        "I want the replies to feel playful, while still sounding like me.\n"
        "\n"
        "Our most recent messages (oldest first):\n"
        "[Sam] m1\n"
        "[me] m2\n"
        "\n"
        "Task: Suggest 2-3 reply options that sound like ME (match my length, tone, laugh style and emoji "
        "habits from the stats above). For each option add a one-line note on the read of the situation. If "
        "the last message doesn't need a reply, say so honestly.");

    const std::vector<std::string> lines =
        linesOf(CoachPacket::build("Q", "Sam", threadOf(3), 10, calendar, "They cancelled.", std::nullopt));
    ASSERT_GE(lines.size(), 9U);
    EXPECT_EQ(lines[3], "Situation: They cancelled.");
    EXPECT_EQ(lines[4], "");
    EXPECT_EQ(lines[5], "Our most recent messages (oldest first):");
    EXPECT_EQ(lines[6], "[me] m0");
    EXPECT_EQ(lines[8], "[me] m2");
}

TEST(CoachPacketTest, LongThreadAddsItsMeasuredHabitsCutToWholeNumbers) {
    const Calendar calendar("America/New_York");
    ContactThread thread = threadOf(24);
    thread.messages[0].text = "hahaha 😂";
    thread.messages[2].text = "lol ok?";
    const std::optional<ContactReport> report = ReportBuilder::contactReport(thread, calendar);
    ASSERT_TRUE(report.has_value());
    ASSERT_TRUE(report->myMedianReplySeconds && report->theirMedianReplySeconds && report->myAverageLength &&
                report->myEmojiRate);

    const std::vector<std::string> lines =
        linesOf(CoachPacket::build("Q", "Sam", thread, 2, calendar, std::nullopt, std::nullopt));
    std::vector<std::string> expected = {
        "You are a thoughtful, emotionally intelligent texting coach.",
        "",
        "My question: Q",
        "",
        "My texting relationship with Sam, measured from history:",
        "- my median reply time: " + cut(*report->myMedianReplySeconds) + "s",
        "- their median reply time: " + cut(*report->theirMedianReplySeconds) + "s",
    };
    if (report->myInitiationRate) {
        expected.push_back("- I start " + cut(*report->myInitiationRate * 100) + "% of our conversations");
    }
    expected.push_back("- my average message length: " + cut(*report->myAverageLength) + " characters");
    expected.push_back("- " + cut(*report->myEmojiRate * 100) + "% of my messages use emoji");
    const LaughterProfile& laughs = report->myLaughter;
    ASSERT_GE(laughs.total(), 1);
    expected.push_back("- my laugh style: haha ×" + std::to_string(laughs.hahaCount) + ", HAHA ×" +
                       std::to_string(laughs.capsHahaCount) + ", lol ×" + std::to_string(laughs.lolCount) +
                       ", 😂 ×" + std::to_string(laughs.laughEmojiCount));
    expected.insert(expected.end(),
                    {"", "Our most recent messages (oldest first):", "[me] m22", "[Sam] m23", ""});
    ASSERT_EQ(lines.size(), expected.size() + 1);
    for (std::size_t i = 0; i < expected.size(); ++i) {
        EXPECT_EQ(lines[i], expected[i]) << "line " << i;
    }
    EXPECT_TRUE(lines.back().starts_with("Task: "));

    // A thread whose user never laughs has no laugh line.
    const std::string plain =
        CoachPacket::build("Q", "Sam", threadOf(24), 0, calendar, std::nullopt, std::nullopt);
    EXPECT_EQ(plain.find("- my laugh style"), std::string::npos);
    EXPECT_NE(plain.find("measured from history:"), std::string::npos);
}
