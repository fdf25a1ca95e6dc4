#include "Measurement/GroupStats.h"

#include "Foundation/Json.h"
#include "Foundation/Unicode.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <map>

namespace dovrel {
namespace {

constexpr std::array<std::string_view, 9> laughNeedles = {
    "haha", "lmao", "lol", "\U0001F602", "\U0001F923", "\U0001F480", "dying", "im crying", "i'm crying",
};

std::string_view keyOf(const GroupMessage& message) {
    return message.senderHandle ? std::string_view(*message.senderHandle) : GroupThread::meKey;
}

// The user's share as a whole percentage, cut towards zero.
std::string percent(double share) {
    return std::to_string(static_cast<int>(share * 100.0));
}

} // namespace

bool GroupStats::isLaugh(std::string_view text) {
    const std::string lower = unicode::lowercased(text);
    return std::any_of(laughNeedles.begin(), laughNeedles.end(),
                       [&](std::string_view needle) { return lower.find(needle) != std::string::npos; });
}

GroupStats GroupStats::compute(const GroupThread& group, const Calendar& calendar) {
    GroupStats stats;

    struct Tally {
        std::string key;
        int count = 0;
        int initiations = 0;
    };
    std::vector<Tally> tallies; // in the order members first spoke
    std::map<std::string, std::size_t, std::less<>> tallyByKey;
    // Tapback laughs and laughing replies add up in one counter.
    std::map<std::string, int, std::less<>> laughs(group.laughReactions.begin(), group.laughReactions.end());

    const GroupMessage* previous = nullptr;
    for (const GroupMessage& message : group.messages) {
        const std::string_view key = keyOf(message);
        auto found = tallyByKey.find(key);
        if (found == tallyByKey.end()) {
            found = tallyByKey.emplace(std::string(key), tallies.size()).first;
            tallies.push_back(Tally{std::string(key), 0, 0});
        }
        Tally& tally = tallies[found->second];
        ++tally.count;
        ++stats.hourly[static_cast<std::size_t>(calendar.hour(message.date))];

        if (previous == nullptr) {
            ++tally.initiations;
        } else {
            const double gap = message.date - previous->date;
            if (gap > sessionGap) {
                ++tally.initiations;
            } else if (gap < laughReplyWindow && message.senderHandle != previous->senderHandle &&
                       isLaugh(message.text)) {
                const std::string_view credited = keyOf(*previous);
                auto entry = laughs.find(credited);
                if (entry == laughs.end()) {
                    entry = laughs.emplace(std::string(credited), 0).first;
                }
                ++entry->second;
            }
        }
        previous = &message;
    }

    stats.total = static_cast<int>(group.messages.size());
    stats.members.reserve(tallies.size());
    for (Tally& tally : tallies) {
        Member member;
        member.count = tally.count;
        member.share = stats.total >= 1 ? static_cast<double>(tally.count) / stats.total : 0.0;
        const auto laughed = laughs.find(tally.key);
        member.laughs = laughed == laughs.end() ? 0 : laughed->second;
        member.laughRate = static_cast<double>(member.laughs) / tally.count * 100.0;
        member.initiations = tally.initiations;
        member.key = std::move(tally.key);
        stats.members.push_back(std::move(member));
    }
    std::stable_sort(stats.members.begin(), stats.members.end(),
                     [](const Member& a, const Member& b) { return a.count > b.count; });

    const auto me = std::find_if(stats.members.begin(), stats.members.end(),
                                 [](const Member& member) { return member.isMe(); });
    if (me != stats.members.end()) {
        stats.myRank = static_cast<int>(me - stats.members.begin()) + 1;
    }
    RoleVerdict verdict = myRole(stats.members);
    stats.role = verdict.role;
    stats.roleLine = std::move(verdict.line);
    if (!group.messages.empty()) {
        stats.lastMessage = group.messages.back().date;
    }
    return stats;
}

GroupStats::RoleVerdict GroupStats::myRole(std::span<const Member> members) {
    const auto me = std::find_if(members.begin(), members.end(), [](const Member& m) { return m.isMe(); });
    if (me == members.end() || members.size() < 2) {
        return {Role::lurker, "You haven't said a word here."};
    }

    const double fairShare = 1.0 / static_cast<double>(members.size());
    double laughRateSum = 0.0;
    double topLaughRate = 0.0;
    int topInitiations = 0;
    bool first = true;
    for (const Member& other : members) {
        if (other.isMe()) {
            continue;
        }
        laughRateSum += other.laughRate;
        topLaughRate = first ? other.laughRate : std::max(topLaughRate, other.laughRate);
        topInitiations = first ? other.initiations : std::max(topInitiations, other.initiations);
        first = false;
    }
    const double averageLaughRate = laughRateSum / static_cast<double>(members.size() - 1);

    if (me->count >= 15 && me->laughs >= 3 && me->laughRate >= topLaughRate &&
        me->laughRate > averageLaughRate * 1.5) {
        const long every = std::max(1L, std::lround(100.0 / me->laughRate));
        return {Role::comedian,
                "You land a laugh every " + std::to_string(every) + " messages \u2014 best in the group."};
    }
    if (me->share >= members.front().share && me->share > fairShare * 1.3) {
        return {Role::engine,
                "You carry this chat \u2014 " + percent(me->share) + "% of everything said here is you."};
    }
    if (me->initiations >= 5 && me->initiations > topInitiations) {
        return {Role::instigator,
                "You bring this group back to life \u2014 you've restarted the conversation " +
                    std::to_string(me->initiations) + " times."};
    }
    if (me->share < fairShare * 0.5) {
        return {Role::lurker, "You read more than you write here \u2014 " + percent(me->share) +
                                  "% of the messages are yours."};
    }
    return {Role::regular,
            "You hold a steady " + percent(me->share) + "% of this chat \u2014 present, not dominating."};
}

std::string_view GroupStats::roleTitle(Role role) {
    switch (role) {
    case Role::comedian:
        return "The Comedian";
    case Role::engine:
        return "The Engine";
    case Role::instigator:
        return "The Instigator";
    case Role::lurker:
        return "The Lurker";
    case Role::regular:
        return "The Regular";
    }
    return "The Regular";
}

const GroupStats::Member* GroupStats::me() const {
    const auto found = std::find_if(members.begin(), members.end(), [](const Member& m) { return m.isMe(); });
    return found == members.end() ? nullptr : &*found;
}

void to_json(nlohmann::json& out, const GroupStats::Member& member) {
    out = nlohmann::json::object();
    out["key"] = member.key;
    out["count"] = member.count;
    out["share"] = member.share;
    out["laughs"] = member.laughs;
    out["laughRate"] = member.laughRate;
    out["initiations"] = member.initiations;
}

void to_json(nlohmann::json& out, const GroupStats& stats) {
    out = nlohmann::json::object();
    out["total"] = stats.total;
    out["members"] = stats.members;
    json::writeOptional(out, "myRank", stats.myRank);
    out["role"] = GroupStats::roleTitle(stats.role);
    out["roleLine"] = stats.roleLine;
    out["hourly"] = stats.hourly;
    json::writeOptional(out, "lastMessage", stats.lastMessage);
}

} // namespace dovrel
