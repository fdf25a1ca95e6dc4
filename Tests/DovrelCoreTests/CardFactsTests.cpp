#include "Output/ShareCardFacts.h"
#include "Output/StatCards.h"

#include <gtest/gtest.h>

using namespace dovrel;

namespace {

PersonInsights person(const std::string& handle, int messages, std::optional<double> theirReply) {
    PersonInsights p;
    p.handleID = handle;
    p.report.sentCount = messages / 2;
    p.report.receivedCount = messages - messages / 2;
    p.report.theirMedianReplySeconds = theirReply;
    return p;
}

std::string nameOf(const std::string& handle, const std::optional<std::string>& fallback) {
    return fallback.value_or(handle);
}

} // namespace

TEST(StatCards, FastestNeedsAHundredMessagesAndUnderTwoMinutes) {
    const WrappedStats stats;
    const auto spotlights = [&](std::vector<PersonInsights> people) {
        return StatCards::spotlights(stats, people, nameOf);
    };
    EXPECT_TRUE(spotlights({person("a", 500, 120)}).empty());
    EXPECT_TRUE(spotlights({person("a", 99, 5)}).empty());
    const auto found = spotlights({person("a", 500, 130), person("b", 100, 119.9), person("c", 99, 1)});
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0].handleID, "b");
    EXPECT_EQ(found[0].card.line, "is all it takes b to answer me.");
    // Only the twenty busiest are candidates.
    std::vector<PersonInsights> people(20, person("busy", 500, 600));
    people.push_back(person("late", 500, 1));
    EXPECT_TRUE(spotlights(people).empty());
}

TEST(StatCards, AtMostThreeInOrder) {
    WrappedStats stats;
    stats.doubleTextChampion = WrappedStats::ContactCount{"d", "Dee", 1200};
    stats.longestStreak = WrappedStats::ContactCount{"s", std::nullopt, 14};
    const auto found = StatCards::spotlights(stats, {person("f", 300, 30)}, nameOf);
    ASSERT_EQ(found.size(), 3u);
    EXPECT_EQ(found[0].value, "1,200\u00D7");
    EXPECT_EQ(found[0].card.line, "I double-texted Dee. They know I'm keen.");
    EXPECT_EQ(found[1].line, "straight, texting s. Duolingo could never.");
    EXPECT_EQ(found[2].handleID, "f");
}

TEST(StatCards, StyleExtraOnlyWithItsParts) {
    WrappedStats stats;
    EXPECT_EQ(StatCards::style(stats).extra, std::nullopt);
    EXPECT_EQ(StatCards::style(stats).value, "");
    stats.myInitiationRate = 0.429;
    stats.myMedianLength = 31;
    EXPECT_EQ(StatCards::style(stats).extra, "I start 42% of conversations \u00B7 median 31 characters");
}

TEST(ShareCardFacts, DuoTilesKeepTheFirstFour) {
    ContactReport report;
    const auto captions = [&](int doubleTexts) {
        std::vector<std::string> found;
        for (const auto& tile : ShareCardFacts::duoTiles(report, "Sam", doubleTexts)) {
            found.push_back(tile.caption);
        }
        return found;
    };
    report.myLaughter.lolCount = 2;
    report.theirMedianReplySeconds = 60;
    EXPECT_EQ(captions(0), (std::vector<std::string>{"Sam replies in", "laughs on record"}));
    report.myMedianReplySeconds = 30;
    report.myInitiationRate = 0.5;
    EXPECT_EQ(captions(3),
              (std::vector<std::string>{"I reply in", "Sam replies in", "of conversations, I start",
                                        "I double-texted. Sorry."}));
    EXPECT_EQ(ShareCardFacts::duoTiles(report, "Sam", 3)[3].value, "3\u00D7");
}

TEST(ShareCardFacts, Superlatives) {
    GroupStats stats;
    stats.members = {{"a", 60, 0.6, 0, 0.0, 2}, {std::string(GroupThread::meKey), 40, 0.4, 0, 0.0, 5}};
    const auto name = [](const std::string& key) {
        return key == GroupThread::meKey ? std::string("You") : key;
    };
    auto rows = ShareCardFacts::superlatives(stats, name);
    ASSERT_EQ(rows.size(), 2u); // nobody laughs
    EXPECT_EQ(rows[0].detail, "60% of messages");
    EXPECT_EQ(rows[1].who, "You");
    EXPECT_TRUE(rows[1].isMe);
    stats.members[0].laughRate = 150;
    rows = ShareCardFacts::superlatives(stats, name);
    ASSERT_EQ(rows.size(), 3u);
    EXPECT_EQ(rows[1].detail, "one every 1 msgs");
    EXPECT_EQ(ShareCardFacts::messagesPerLaugh(40), 3);
}
