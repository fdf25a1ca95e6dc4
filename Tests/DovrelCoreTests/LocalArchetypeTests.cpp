#include "Measurement/LocalArchetype.h"
#include "Output/WrappedHTML.h"

#include <gtest/gtest.h>

using namespace dovrel;

namespace {

WrappedStats with(void (*change)(WrappedStats&)) {
    WrappedStats stats;
    change(stats);
    return stats;
}

std::string titleFor(void (*change)(WrappedStats&)) {
    return LocalArchetype::name(with(change)).title;
}

} // namespace

TEST(WrappedFormatTest, ClockTimeAndThousands) {
    EXPECT_EQ(WrappedHTML::clockTime(0), "12:00 AM");
    EXPECT_EQ(WrappedHTML::clockTime(45), "12:45 AM");
    EXPECT_EQ(WrappedHTML::clockTime(75), "1:15 AM");
    EXPECT_EQ(WrappedHTML::clockTime(719), "11:59 AM");
    EXPECT_EQ(WrappedHTML::clockTime(720), "12:00 PM");
    EXPECT_EQ(WrappedHTML::clockTime(780), "1:00 PM");
    EXPECT_EQ(WrappedHTML::clockTime(1410), "11:30 PM");
    EXPECT_EQ(WrappedHTML::thousands(0), "0");
    EXPECT_EQ(WrappedHTML::thousands(999), "999");
    EXPECT_EQ(WrappedHTML::thousands(1000), "1,000");
    EXPECT_EQ(WrappedHTML::thousands(12345), "12,345");
    EXPECT_EQ(WrappedHTML::thousands(1234567), "1,234,567");
    EXPECT_EQ(WrappedHTML::thousands(-1234), "-1,234");
}

TEST(LocalArchetypeTest, FastRepliesWithALolLedLaughAndWithout) {
    const Archetype rapid = LocalArchetype::name(with([](WrappedStats& s) {
        s.myMedianReplySeconds = 30.0;
        s.laughter = {5, 0, 5, 0}; // lols tie hahas: still lol-led
    }));
    EXPECT_EQ(rapid.title, "The Rapid-Fire Lol Machine");
    EXPECT_EQ(rapid.body,
              "A 30-second median reply and a strictly lowercase laugh. You run conversations like a "
              "ping-pong rally and everyone knows it.");
    // No laughs at all is not lol-led.
    const Archetype instant =
        LocalArchetype::name(with([](WrappedStats& s) { s.myMedianReplySeconds = 89.9; }));
    EXPECT_EQ(instant.title, "The Instant Replier");
    EXPECT_EQ(instant.body,
              "Your median reply time is 89 seconds. Nobody has ever wondered where they stand with you.");
    EXPECT_EQ(titleFor([](WrappedStats& s) {
                  s.myMedianReplySeconds = 90.0;
                  s.laughter = {0, 0, 5, 0};
              }),
              "The Steady Presence");
}

TEST(LocalArchetypeTest, NightRuleCoversElevenPMToFourAM) {
    const Archetype late = LocalArchetype::name(with([](WrappedStats& s) { s.medianLastTextMinute = 1380; }));
    EXPECT_EQ(late.title, "The 2AM Correspondent");
    EXPECT_EQ(late.body, "Your typical last text lands at 11:00 PM. The group chat sleeps; you do not.");
    EXPECT_EQ(LocalArchetype::name(with([](WrappedStats& s) { s.medianLastTextMinute = 239; })).body,
              "Your typical last text lands at 3:59 AM. The group chat sleeps; you do not.");
    EXPECT_EQ(titleFor([](WrappedStats& s) { s.medianLastTextMinute = 240; }), "The Steady Presence");
    EXPECT_EQ(titleFor([](WrappedStats& s) { s.medianLastTextMinute = 1379; }), "The Steady Presence");
}

TEST(LocalArchetypeTest, StarterDevoteeInterviewerEssayistInOrder) {
    const Archetype starter = LocalArchetype::name(with([](WrappedStats& s) {
        s.myInitiationRate = 0.6789;
        s.doubleTextChampion = WrappedStats::ContactCount{"x", std::nullopt, 80};
    }));
    EXPECT_EQ(starter.title, "The Conversation Starter");
    EXPECT_EQ(starter.body,
              "You open 67% of your conversations. Half your friendships would go quiet without you "
              "— and you know it.");
    EXPECT_EQ(titleFor([](WrappedStats& s) { s.myInitiationRate = 0.59; }), "The Steady Presence");

    EXPECT_EQ(titleFor([](WrappedStats& s) {
                  s.doubleTextChampion = WrappedStats::ContactCount{"x", {}, 49};
              }),
              "The Steady Presence");
    const Archetype devotee = LocalArchetype::name(with([](WrappedStats& s) {
        s.doubleTextChampion = WrappedStats::ContactCount{"x", std::nullopt, 50};
        s.myQuestionRate = 0.9;
    }));
    EXPECT_EQ(devotee.title, "The Double-Text Devotee");
    EXPECT_EQ(devotee.body,
              "50 double-texts this year. You follow up because you care, and honestly it's working.");

    const Archetype interviewer = LocalArchetype::name(with([](WrappedStats& s) {
        s.myQuestionRate = 0.35;
        s.myMedianLength = 100;
    }));
    EXPECT_EQ(interviewer.title, "The Interviewer");
    EXPECT_EQ(interviewer.body,
              "35% of your texts ask a question. People leave conversations with you feeling "
              "fascinating. That's a skill.");
    EXPECT_EQ(titleFor([](WrappedStats& s) { s.myQuestionRate = 0.349; }), "The Steady Presence");

    const Archetype essayist = LocalArchetype::name(with([](WrappedStats& s) { s.myMedianLength = 60; }));
    EXPECT_EQ(essayist.title, "The Essayist");
    EXPECT_EQ(essayist.body,
              "Your median text runs 60 characters. You don't send messages; you publish them.");
    EXPECT_EQ(titleFor([](WrappedStats& s) { s.myMedianLength = 59; }), "The Steady Presence");
}

TEST(LocalArchetypeTest, EmojiLaughterAndTheSteadyFallback) {
    const Archetype emoji = LocalArchetype::name(with([](WrappedStats& s) { s.laughter = {4, 4, 4, 5}; }));
    EXPECT_EQ(emoji.title, "The Emoji Laugher");
    EXPECT_EQ(emoji.body, "😂 is your laugh of record, 5 times over. Words are for content; the joy goes in "
                          "pictograms.");
    EXPECT_EQ(titleFor([](WrappedStats& s) { s.laughter = {0, 0, 5, 5}; }), "The Steady Presence");

    const Archetype zero = LocalArchetype::name(WrappedStats{});
    EXPECT_EQ(zero.title, "The Steady Presence");
    EXPECT_EQ(
        zero.body,
        "0 messages with 0 people, no drama in the data. You're the reliable one, and the numbers agree.");
    const Archetype busy = LocalArchetype::name(with([](WrappedStats& s) {
        s.totalMessages = 12345;
        s.peopleCount = 1234;
    }));
    EXPECT_EQ(
        busy.body,
        "12,345 messages with 1234 people, no drama in the data. You're the reliable one, and the numbers "
        "agree.");
}
