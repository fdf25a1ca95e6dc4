#include "DemoHomeGenerator.h"
#include "Measurement/GroupStats.h"
#include "MessageSources/DatabaseCopier.h"
#include "MessageSources/MessageStore.h"
#include "TempDir.h"

#include <cmath>
#include <fstream>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <set>

using namespace dovrel;
namespace fs = std::filesystem;
using nlohmann::json;

namespace {

using Counts = std::map<std::string, int>;

Counts countsAt(const json& group, const char* key) {
    return group.at(key).get<Counts>();
}

int countOf(const Counts& counts, const std::string& key) {
    const auto found = counts.find(key);
    return found == counts.end() ? 0 : found->second;
}

// The sentence for `role`, filled in from what the generator says the user wrote and drew.
std::string expectedRoleLine(GroupStats::Role role, const json& group) {
    const int total = group.at("messages").get<int>();
    const int mine = countOf(countsAt(group, "senders"), "me");
    const int laughs =
        countOf(countsAt(group, "laughReactions"), "me") + countOf(countsAt(group, "laughReplies"), "me");
    const double share = static_cast<double>(mine) / total;
    const std::string percent = std::to_string(static_cast<int>(share * 100.0));
    switch (role) {
    case GroupStats::Role::comedian: {
        const double rate = static_cast<double>(laughs) / mine * 100.0;
        const long every = std::max(1L, std::lround(100.0 / rate));
        return "You land a laugh every " + std::to_string(every) + " messages \u2014 best in the group.";
    }
    case GroupStats::Role::engine:
        return "You carry this chat \u2014 " + percent + "% of everything said here is you.";
    case GroupStats::Role::instigator:
        return "You bring this group back to life \u2014 you've restarted the conversation " +
               std::to_string(countOf(countsAt(group, "initiations"), "me")) + " times.";
    case GroupStats::Role::lurker:
        return "You read more than you write here \u2014 " + percent + "% of the messages are yours.";
    case GroupStats::Role::regular:
        break;
    }
    return "You hold a steady " + percent + "% of this chat \u2014 present, not dominating.";
}

} // namespace

// The generator writes group chats in which the user plays a different part in each, with laugh reactions and
// laughing replies, and records what it wrote. Reading them through a copy and measuring them must give back
// exactly that.
TEST(DemoHomeGroupsTest, ReaderAndStatisticsAgreeWithWhatTheGeneratorWrote) {
    for (const std::uint64_t seed : {5u, 8u}) {
        SCOPED_TRACE(seed);
        const TempDir home;
        demohome::DemoHomeOptions options;
        options.outDir = home.path();
        options.seed = seed;
        options.messages = 6000;
        options.nowUnixSeconds = 1'780'000'000;
        const demohome::DemoHomeResult written = demohome::generateDemoHome(options);
        const json summary = json::parse(std::ifstream(written.summary));

        const ReadingCopy copy = MessageStore::copyForReading(demohome::messagesDatabasePath(home.path()));
        const std::vector<GroupThread> groups = MessageStore(copy.string()).groupThreads(25);
        std::map<std::string, json> expected;
        for (const json& group : summary.at("groups")) {
            if (group.at("messages").get<int>() >= 25 && group.at("participants").size() >= 2) {
                expected.emplace(group.at("guid").get<std::string>(), group);
            }
        }
        ASSERT_EQ(groups.size(), expected.size());

        const Calendar calendar("America/New_York");
        std::set<std::string> roles;
        int laughReplies = 0;
        int laughReactions = 0;
        for (std::size_t g = 0; g < groups.size(); ++g) {
            const GroupThread& group = groups[g];
            SCOPED_TRACE(group.guid);
            ASSERT_TRUE(expected.contains(group.guid));
            const json& want = expected.at(group.guid);
            if (g > 0) {
                EXPECT_GE(groups[g - 1].messages.size(), group.messages.size());
            }
            EXPECT_EQ(group.name, want.contains("name") ? std::optional(want.at("name").get<std::string>())
                                                        : std::nullopt);
            EXPECT_EQ(group.participants, want.at("participants").get<std::vector<std::string>>());
            EXPECT_EQ(static_cast<int>(group.messages.size()), want.at("messages").get<int>());
            const Counts reactions = countsAt(want, "laughReactions");
            EXPECT_EQ(group.laughReactions, reactions);

            const GroupStats stats = GroupStats::compute(group, calendar);
            const Counts senders = countsAt(want, "senders");
            const Counts replies = countsAt(want, "laughReplies");
            const Counts initiations = countsAt(want, "initiations");
            EXPECT_EQ(stats.total, want.at("messages").get<int>());
            ASSERT_EQ(stats.members.size(), senders.size());
            for (std::size_t m = 0; m < stats.members.size(); ++m) {
                const GroupStats::Member& member = stats.members[m];
                SCOPED_TRACE(member.key);
                EXPECT_EQ(member.count, countOf(senders, member.key));
                EXPECT_EQ(member.laughs, countOf(reactions, member.key) + countOf(replies, member.key));
                EXPECT_EQ(member.initiations, countOf(initiations, member.key));
                if (m > 0) {
                    EXPECT_GE(stats.members[m - 1].count, member.count);
                }
                if (member.isMe()) {
                    EXPECT_EQ(stats.myRank, static_cast<int>(m) + 1);
                }
            }
            const std::string role(GroupStats::roleTitle(stats.role));
            EXPECT_EQ(role, want.at("myRole").get<std::string>());
            EXPECT_EQ(stats.roleLine, expectedRoleLine(stats.role, want));
            roles.insert(role);
            for (const auto& entry : replies) {
                laughReplies += entry.second;
            }
            for (const auto& entry : reactions) {
                laughReactions += entry.second;
            }
        }
        EXPECT_EQ(roles.size(), 5u); // every part, somewhere
        EXPECT_GT(laughReplies, 20);
        EXPECT_GT(laughReactions, 20);
    }
}
