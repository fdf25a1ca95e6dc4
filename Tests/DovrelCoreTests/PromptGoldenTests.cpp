#include "Coach/AgentTools.h"
#include "Coach/ArchetypePrompt.h"
#include "Coach/CoachMemory.h"
#include "Coach/CoachPacket.h"
#include "Coach/CoachPrompt.h"
#include "Coach/DeepDivePrompt.h"
#include "Foundation/UUID.h"
#include "MeasurementSupport.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sstream>

using namespace dovrel;
using measurementtest::mine;
using measurementtest::theirs;
namespace fs = std::filesystem;

namespace {

const fs::path goldenDir = fs::path(MURMORA_TEST_SOURCE_DIR) / "golden" / "prompts";

// `count` messages a few minutes apart, alternating, the user first; texts "m0", "m1", ...
ContactThread threadOf(int count) {
    ContactThread thread{"+15550001111", "Sam Rivera", {}};
    for (int i = 0; i < count; ++i) {
        thread.messages.push_back(
            RawMessage{Date{700'000'000.0 + i * 437.0}, i % 2 == 0, "m" + std::to_string(i), true});
    }
    return thread;
}

MemoryEntry entry(MemoryEntry::Kind kind, std::string text, bool done = false) {
    return MemoryEntry{makeUUID(), kind, std::move(text), Date{0}, done};
}

PersonInsights ana() {
    PersonInsights insights;
    insights.report.sentCount = 8;
    insights.report.receivedCount = 4;
    insights.report.myMedianReplySeconds = 90.9;
    insights.report.myInitiationRate = 0.5;
    insights.report.myDoubleTextRate = 0.129;
    insights.balance = 0.6667;
    return insights;
}

ContactThread anaThread(const Calendar& calendar) {
    return measurementtest::thread("+15550000001",
                                   {mine(calendar.date(2024, 2, 20, 9, 0), "first"),
                                    theirs(Date::fromUnix(1'709'262'000), "line one\nline two"),
                                    mine(calendar.date(2024, 3, 1, 10, 0), "ok")});
}

// The tools' own text is theirs to change; here it only has to sit in the right place.
std::string withoutToolText(std::string prompt) {
    const std::string_view tools = AgentTools::instructions();
    if (const std::size_t at = prompt.find(tools); at != std::string::npos) {
        prompt.replace(at, tools.size(), "<tool instructions>");
    }
    return prompt;
}

std::map<std::string, std::string> prompts() {
    std::map<std::string, std::string> out;
    PersonInsights cut;
    cut.report.myMedianReplySeconds = 59.99;
    cut.report.theirMedianReplySeconds = 3600.5;
    cut.report.myInitiationRate = 0.6789;
    cut.balance = 0.999;
    cut.lengthVsBaseline = 1.96;
    ContactThread five = threadOf(5);
    five.messages[4].text = "see you at 8?\nor 9";
    out["deep-dive-stats-cut-last-messages"] = DeepDivePrompt::build("Sam", five, cut, 3);
    PersonInsights few;
    few.balance = 0.4;
    few.lengthVsBaseline = 0.25;
    out["deep-dive-short-thread-whole"] = DeepDivePrompt::build("Sam", threadOf(2), few, 200);
    few.lengthVsBaseline.reset();
    out["deep-dive-no-messages"] = DeepDivePrompt::build("Sam", threadOf(3), few, 0);

    WrappedStats stats;
    out["archetype-empty"] = ArchetypePrompt::build(stats);
    stats.myInitiationRate = 0.0; // zero rates are data, not absence
    stats.medianLastTextMinute = 65;
    stats.peakHour = 0;
    stats.laughter.laughEmojiCount = 1;
    out["archetype-zeros"] = ArchetypePrompt::build(stats);
    stats.totalMessages = 12345;
    stats.peopleCount = 87;
    stats.sentCount = 6000;
    stats.receivedCount = 6345;
    stats.myMedianReplySeconds = 95.9;
    stats.myInitiationRate = 0.29; // 28.999… once multiplied
    stats.myMedianLength = 31;
    stats.myQuestionRate = 0.123;
    stats.myEmojiRate = 0.5;
    stats.laughter = LaughterProfile{3, 0, 12, 1};
    stats.medianLastTextMinute = 1385;
    stats.peakHour = 21;
    stats.doubleTextChampion = WrappedStats::ContactCount{"+1555", "Sam", 57};
    stats.longestStreak = WrappedStats::ContactCount{"+1666", "Alex", 41};
    out["archetype-every-stat"] = ArchetypePrompt::build(stats);

    const Calendar utc("UTC");
    const Calendar newYork("America/New_York");
    out["packet-short-with-tone"] =
        CoachPacket::build("What do I say?", "Sam", threadOf(3), 2, utc, std::nullopt, "playful");
    out["packet-situation"] =
        CoachPacket::build("Q", "Sam", threadOf(3), 10, utc, "They cancelled.", std::nullopt);
    ContactThread laughing = threadOf(24);
    laughing.messages[0].text = "hahaha 😂";
    laughing.messages[2].text = "lol ok?";
    out["packet-measured"] = CoachPacket::build("Q", "Sam", laughing, 2, newYork, std::nullopt, std::nullopt);
    out["packet-measured-no-laughs"] =
        CoachPacket::build("Q", "Sam", threadOf(24), 0, newYork, std::nullopt, std::nullopt);

    out["coach-person"] = CoachPrompt::personSystem("Ana", anaThread(newYork), ana(), 2, {}, std::nullopt,
                                                    newYork, false, "en_US");
    out["coach-person-german-months"] = CoachPrompt::personSystem("Ana", anaThread(newYork), ana(), 100, {},
                                                                  std::nullopt, newYork, false, "de_DE");
    const std::vector<MemoryEntry> memory = {entry(MemoryEntry::Kind::fact, "Ana is my sister"),
                                             entry(MemoryEntry::Kind::goal, "Reply faster")};
    out["coach-person-tools-memory-insight"] = withoutToolText(CoachPrompt::personSystem(
        "Ana", anaThread(utc), ana(), 100, memory, "Ana has waited 3 days", utc, true, "en_US"));
    const std::vector<MemoryEntry> done = {entry(MemoryEntry::Kind::goal, "Reply faster", true)};
    out["coach-person-only-insight"] =
        CoachPrompt::personSystem("Ana", anaThread(utc), ana(), 100, done, "Hi", utc, false, "en_US");
    out["coach-person-empty-insight"] =
        CoachPrompt::personSystem("Ana", anaThread(utc), ana(), 100, done, "", utc, false, "en_US");
    PersonInsights bare = ana();
    bare.report = ContactReport{};
    out["coach-person-bare"] =
        CoachPrompt::personSystem("Ana", anaThread(utc), bare, 0, {}, std::nullopt, utc, false, "en_US");

    WrappedStats overall;
    overall.totalMessages = 5321;
    overall.peopleCount = 48;
    overall.myMedianReplySeconds = 300.99;
    overall.myMedianLength = 27;
    const std::vector<CoachPrompt::TopPerson> top = {{"Ana", 900}, {"Ben", 800}, {"Cy", 700},
                                                     {"Di", 600},  {"Ed", 500},  {"Flo", 400}};
    const std::vector<MemoryEntry> commitment = {entry(MemoryEntry::Kind::commitment, "Call Dad")};
    out["coach-general"] =
        CoachPrompt::generalSystem(overall, top, commitment, "Ben has gone quiet", utc, false);
    overall.myInitiationRate = 0.999;
    out["coach-general-bare-with-tools"] =
        withoutToolText(CoachPrompt::generalSystem(overall, {}, {}, std::nullopt, utc, true));

    const std::vector<MemoryEntry> entries = {
        entry(MemoryEntry::Kind::fact, "Maya is my sister", true),
        entry(MemoryEntry::Kind::goal, "Reply faster"),
        entry(MemoryEntry::Kind::commitment, "Call Maya on Sunday", true),
        entry(MemoryEntry::Kind::session, "We talked about Maya.")};
    out["memory-extraction-empty"] = CoachMemory::extractionPrompt({}, "[Me] hi\n[Coach] hello");
    out["memory-extraction"] = CoachMemory::extractionPrompt(entries, "[Me] hi\n[Coach] hello");
    out["memory-session-summary"] = CoachMemory::sessionSummaryPrompt("[Me] a\n[Coach] b");
    return out;
}

} // namespace

// Every prompt against a reviewed text file of its own. MURMORA_UPDATE_GOLDEN=1 writes the files instead.
TEST(PromptGoldenTest, EachPromptMatchesItsFile) {
    const char* update = std::getenv("MURMORA_UPDATE_GOLDEN");
    for (const auto& [name, text] : prompts()) {
        const fs::path file = goldenDir / (name + ".txt");
        if (update && std::string(update) == "1") {
            fs::create_directories(goldenDir);
            std::ofstream(file, std::ios::binary) << text;
            continue;
        }
        std::ifstream in(file, std::ios::binary);
        ASSERT_TRUE(in) << "missing " << file << "; run with MURMORA_UPDATE_GOLDEN=1";
        std::ostringstream expected;
        expected << in.rdbuf();
        EXPECT_EQ(text, expected.str()) << "differs from " << file;
    }
    // A negative count is no count.
    EXPECT_EQ(DeepDivePrompt::build("Sam", threadOf(3), PersonInsights{}, -5),
              DeepDivePrompt::build("Sam", threadOf(3), PersonInsights{}, 0));
}

TEST(PromptGoldenTest, ArchetypeReplyCleansTheTitleAndKeepsTheBody) {
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

    const std::vector<CoachPrompt::Turn> transcript = {{CoachPrompt::Turn::Role::user, "hi"},
                                                       {CoachPrompt::Turn::Role::coach, "hello"}};
    EXPECT_EQ(CoachPrompt::messages(transcript),
              (std::vector<Agent::ChatMessage>{Agent::ChatMessage::user("hi"),
                                               Agent::ChatMessage::assistant("hello")}));
}
