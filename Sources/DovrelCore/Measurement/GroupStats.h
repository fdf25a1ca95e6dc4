#pragma once

#include "Foundation/Calendar.h"
#include "Foundation/Date.h"
#include "MessageSources/GroupRecords.h"

#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace dovrel {

// Who talks in a group chat, who draws the laughs, who restarts it after a silence, and what part the user
// plays in it.
struct GroupStats {
    struct Member {
        std::string key; // the sender's handle, or GroupThread::meKey for the user
        int count = 0;   // messages sent
        double share = 0.0;
        int laughs = 0;         // laugh reactions and laughing replies this member drew
        double laughRate = 0.0; // laughs per 100 of this member's messages
        int initiations = 0;    // conversations this member opened

        bool isMe() const { return key == GroupThread::meKey; }

        bool operator==(const Member&) const = default;
    };

    enum class Role { comedian, engine, instigator, lurker, regular };

    struct RoleVerdict {
        Role role = Role::lurker;
        std::string line;

        bool operator==(const RoleVerdict&) const = default;
    };

    // A silence this long ends a conversation in a group, shorter than in one-to-one threads on purpose:
    // groups move faster.
    static constexpr double sessionGap = 10800.0;
    // A laughing message credits the previous speaker only when it follows within this many seconds.
    static constexpr double laughReplyWindow = 600.0;

    int total = 0;
    std::vector<Member> members; // everyone who sent a message, most messages first
    std::optional<int> myRank;   // from 1; absent when the user sent nothing
    Role role = Role::lurker;
    std::string roleLine;
    std::vector<int> hourly = std::vector<int>(24, 0); // messages by local hour
    std::optional<Date> lastMessage;

    // Pure; hours are read in `calendar`. Members with equal counts keep the order in which they first spoke.
    static GroupStats compute(const GroupThread& group, const Calendar& calendar);

    // Plain substring search over the lower-cased text, so "lollipop" counts.
    static bool isLaugh(std::string_view text);

    // The user's role in `members` (sorted, most messages first) and the sentence that explains it.
    static RoleVerdict myRole(std::span<const Member> members);

    // "The Comedian", "The Engine", ...
    static std::string_view roleTitle(Role role);

    // The user's own member, if the user sent anything.
    const Member* me() const;

    bool operator==(const GroupStats&) const = default;
};

void to_json(nlohmann::json& out, const GroupStats::Member& member);
void to_json(nlohmann::json& out, const GroupStats& stats);

} // namespace dovrel
