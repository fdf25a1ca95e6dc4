#include "Measurement/GroupStats.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

using namespace dovrel;

namespace {

constexpr double midnight = 699'926'400.0; // 2023-03-08 00:00 UTC
const std::string ana = "+15550000001";
const std::string ben = "+15550000002";
const std::optional<std::string> me;

using Role = GroupStats::Role;
using Verdict = GroupStats::RoleVerdict;

GroupStats::Member member(const std::string& key, int count, int total, int laughs = 0, int initiations = 0) {
    return {key, count, static_cast<double>(count) / total, laughs, laughs * 100.0 / count, initiations};
}

const std::string meKey(GroupThread::meKey);

} // namespace

TEST(GroupStatsTest, NoMessagesAndNobodyElse) {
    const Calendar utc("UTC");
    const GroupStats empty =
        GroupStats::compute(GroupThread{"g", std::nullopt, {ana, ben}, {}, {{ana, 3}}}, utc);
    EXPECT_EQ(empty.total, 0);
    EXPECT_TRUE(empty.members.empty()); // laughs alone make no member
    EXPECT_EQ(empty.myRank, std::nullopt);
    EXPECT_EQ(empty.role, Role::lurker);
    EXPECT_EQ(empty.roleLine, "You haven't said a word here.");
    EXPECT_EQ(empty.hourly, std::vector<int>(24, 0));
    EXPECT_EQ(empty.lastMessage, std::nullopt);
    const nlohmann::json json = empty;
    EXPECT_FALSE(json.contains("myRank"));
    EXPECT_FALSE(json.contains("lastMessage"));
    EXPECT_EQ(json.at("role"), "The Lurker");

    // Talking alone is still no role: there is nobody to compare with.
    GroupThread alone{"g", std::nullopt, {ana, ben}, {}, {}};
    for (int i = 0; i < 30; ++i) {
        alone.messages.push_back({Date{midnight + 60.0 * i}, me, "anyone?"});
    }
    const GroupStats lone = GroupStats::compute(alone, utc);
    ASSERT_EQ(lone.members.size(), 1u);
    EXPECT_EQ(lone.myRank, 1);
    EXPECT_EQ(lone.members[0].share, 1.0);
    EXPECT_EQ(lone.members[0].initiations, 1);
    EXPECT_EQ((Verdict{lone.role, lone.roleLine}), (Verdict{Role::lurker, "You haven't said a word here."}));
}

TEST(GroupStatsTest, GapsDecideInitiationsAndWhoALaughCredits) {
    const Calendar utc("UTC");
    const double start = midnight + 9 * 3600.0;
    GroupThread group{"g", "Pals", {ana, ben}, {}, {{ana, 2}, {"cat@example.com", 1}, {meKey, 1}}};
    auto say = [&](double date, const std::optional<std::string>& from, std::string text) {
        group.messages.push_back({Date{date}, from, std::move(text)});
    };
    say(start, ana, "hello all");             // first message: an initiation
    say(start + 599.0, ben, "lol");           // within 10 minutes of Ana: credits her
    say(start + 1199.0, me, "haha same");     // 600 s after Ben: credits nobody
    say(start + 11'999.0, ana, "\U0001F602"); // exactly three hours: neither a restart nor a credit
    say(start + 22'799.5, ben, "LMAO");       // just over three hours: a restart, never a credit
    say(start + 22'859.5, ben, "i'm crying"); // at himself
    say(start + 22'889.5, me, "dying");       // credits Ben
    say(start + 22'919.5, me, "lollipop");    // at myself
    say(start + 22'949.5, ana, "Im Crying");  // credits me
    say(start + 62'949.5, ana, "morning");    // next day, 02:29
    const GroupStats stats = GroupStats::compute(group, utc);

    EXPECT_EQ(stats.total, 10);
    ASSERT_EQ(stats.members.size(), 3u); // cat drew a laugh but said nothing
    const std::vector<GroupStats::Member> expected{
        {ana, 4, 0.4, 3, 75.0, 2},              // a reply and two reactions
        {ben, 3, 0.3, 1, 1.0 / 3 * 100.0, 1},   // ties keep the order of first words
        {meKey, 3, 0.3, 2, 2.0 / 3 * 100.0, 0}, // a reply and a reaction
    };
    EXPECT_EQ(stats.members, expected);
    EXPECT_EQ(stats.myRank, 3);
    EXPECT_EQ(stats.role, Role::regular);
    EXPECT_EQ(stats.roleLine, "You hold a steady 30% of this chat \u2014 present, not dominating.");
    std::vector<int> hourly(24, 0);
    hourly[9] = 3;
    hourly[12] = 1;
    hourly[15] = 5;
    hourly[2] = 1;
    EXPECT_EQ(stats.hourly, hourly);
    EXPECT_EQ(stats.lastMessage, Date{start + 62'949.5});
    EXPECT_EQ(*stats.me(), expected[2]);

    // The hours follow the calendar's zone.
    const GroupStats newYork = GroupStats::compute(group, Calendar("America/New_York"));
    EXPECT_EQ(newYork.hourly[4], 3);
    EXPECT_EQ(newYork.hourly[21], 1);

    const nlohmann::json json = stats;
    EXPECT_EQ(json.at("myRank"), 3);
    EXPECT_EQ(json.at("role"), "The Regular");
    EXPECT_EQ(json.at("members").at(0).at("key"), ana);
    EXPECT_EQ(json.at("members").at(0).at("laughRate"), 75.0);
    EXPECT_EQ(json.at("members").at(2).at("initiations"), 0);
    EXPECT_EQ(json.at("lastMessage"), start + 62'949.5);
}

TEST(GroupStatsTest, LaughWordsAreFoundAnywhereInAnyCase) {
    for (const char* text :
         {"haha", "HAHAHA", "ahahah", "LMAO", "lol", "lollipop", "\U0001F602", "\U0001F923",
          "that killed me \U0001F480", "I'm DYING", "im crying", "I'm crying rn"}) {
        EXPECT_TRUE(GroupStats::isLaugh(text)) << text;
    }
    for (const char* text : {"", "ha ha", "crying", "I\u2019m crying", "\U0001F62D", "l o l", "hah"}) {
        EXPECT_FALSE(GroupStats::isLaugh(text)) << text;
    }
}

TEST(GroupStatsTest, RolesTakeTheFirstRuleThatHolds) {
    struct Case {
        const char* what;
        std::vector<GroupStats::Member> members; // most messages first
        Verdict verdict;
    };
    const std::string cat = "cat@example.com";
    const std::vector<Case> cases{
        {"comedian",
         {member(ana, 40, 90, 4), member(ben, 30, 90, 3), member(meKey, 20, 90, 8)},
         {Role::comedian, "You land a laugh every 3 messages \u2014 best in the group."}},
        {"comedian tied for the top laugh rate",
         {member(ana, 40, 70, 16), member(meKey, 20, 70, 8), member(ben, 10, 70, 0)},
         {Role::comedian, "You land a laugh every 3 messages \u2014 best in the group."}},
        {"a laugh rate of 300 still reads every 1",
         {member(meKey, 15, 30, 45), member(ana, 15, 30, 0)},
         {Role::comedian, "You land a laugh every 1 messages \u2014 best in the group."}},
        {"14 messages are too few to be the comedian",
         {member(ana, 30, 70), member(ben, 26, 70), member(meKey, 14, 70, 14)},
         {Role::regular, "You hold a steady 20% of this chat \u2014 present, not dominating."}},
        {"two laughs are too few",
         {member(meKey, 40, 50, 2), member(ana, 10, 50, 0)},
         {Role::engine, "You carry this chat \u2014 80% of everything said here is you."}},
        {"a laugh rate of exactly 1.5 times the others' average is not enough",
         {member(ana, 40, 90, 8), member(ben, 30, 90, 6), member(meKey, 20, 90, 6)},
         {Role::regular, "You hold a steady 22% of this chat \u2014 present, not dominating."}},
        {"engine of two",
         {member(meKey, 14, 20), member(ana, 6, 20)},
         {Role::engine, "You carry this chat \u2014 70% of everything said here is you."}},
        {"65% of two is no engine",
         {member(meKey, 13, 20), member(ana, 7, 20)},
         {Role::regular, "You hold a steady 65% of this chat \u2014 present, not dominating."}},
        {"engine tied for the top share",
         {member(ana, 45, 100), member(meKey, 45, 100), member(ben, 10, 100)},
         {Role::engine, "You carry this chat \u2014 45% of everything said here is you."}},
        {"no engine below the top share",
         {member(ana, 50, 100), member(meKey, 40, 100), member(ben, 10, 100)},
         {Role::regular, "You hold a steady 40% of this chat \u2014 present, not dominating."}},
        {"instigator",
         {member(ana, 30, 80, 0, 4), member(meKey, 25, 80, 0, 5), member(ben, 25, 80, 0, 1)},
         {Role::instigator,
          "You bring this group back to life \u2014 you've restarted the conversation 5 times."}},
        {"no instigator when tied for the most restarts",
         {member(ana, 30, 80, 0, 5), member(meKey, 25, 80, 0, 5), member(ben, 25, 80, 0, 1)},
         {Role::regular, "You hold a steady 31% of this chat \u2014 present, not dominating."}},
        {"no instigator below five restarts",
         {member(ana, 30, 80, 0, 0), member(meKey, 25, 80, 0, 4), member(ben, 25, 80, 0, 0)},
         {Role::regular, "You hold a steady 31% of this chat \u2014 present, not dominating."}},
        {"lurker",
         {member(ana, 40, 100), member(ben, 30, 100), member(cat, 18, 100), member(meKey, 12, 100)},
         {Role::lurker, "You read more than you write here \u2014 12% of the messages are yours."}},
        {"exactly half the fair share is no lurker",
         {member(ana, 80, 200), member(ben, 60, 200), member(cat, 35, 200), member(meKey, 25, 200)},
         {Role::regular, "You hold a steady 12% of this chat \u2014 present, not dominating."}},
        {"the user silent",
         {member(ana, 5, 8), member(ben, 3, 8)},
         {Role::lurker, "You haven't said a word here."}},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(GroupStats::myRole(c.members), c.verdict) << c.what;
    }
    EXPECT_EQ(GroupStats::roleTitle(Role::comedian), "The Comedian");
    EXPECT_EQ(GroupStats::roleTitle(Role::engine), "The Engine");
    EXPECT_EQ(GroupStats::roleTitle(Role::instigator), "The Instigator");
}

TEST(GroupStatsTest, FallbackNameShowsThreeFirstNames) {
    const std::map<std::string, std::string> names{
        {"+1", "Ana Lopez"}, {"+2", "Ben"}, {"+3", "  Cat  Power"}, {"+4", "Dee Dee Ramone"}, {"+5", "Eve"}};
    const auto resolve = [&](const std::string& handle) {
        const auto found = names.find(handle);
        return found == names.end() ? handle : found->second;
    };
    GroupThread group;
    group.participants = {"+1", "+2", "+3", "+4", "+5"};
    EXPECT_EQ(group.fallbackName(resolve), "Ana, Ben, Cat & 2 more");
    group.participants = {"+4", "+5", "+1"};
    EXPECT_EQ(group.fallbackName(resolve), "Dee, Eve, Ana");
    group.participants = {"+5", "+1", "+2", "+3"};
    EXPECT_EQ(group.fallbackName(resolve), "Eve, Ana, Ben & 1 more");
    group.participants = {"+9", "+2"};
    EXPECT_EQ(group.fallbackName(resolve), "+9, Ben");
    EXPECT_EQ(group.fallbackName([](const std::string&) { return std::string("   "); }), "+9, +2");
    group.participants.clear();
    EXPECT_EQ(group.fallbackName(resolve), "");
}
