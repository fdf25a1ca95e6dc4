#pragma once

#include "Foundation/Date.h"

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace dovrel {

// One message of a group chat.
struct GroupMessage {
    Date date;
    std::optional<std::string> senderHandle; // absent: the user sent it
    std::string text;                        // never empty

    bool operator==(const GroupMessage&) const = default;
};

// One group chat with its members, its messages (oldest first) and the laugh reactions its members drew.
struct GroupThread {
    // The key that stands for the user wherever members are keyed by handle.
    static constexpr std::string_view meKey = "me";

    std::string guid; // the chat's guid, or "chat-{rowid}" when the database has none
    std::optional<std::string> name;
    std::vector<std::string> participants; // handles, no duplicates, in the order the database lists them
    std::vector<GroupMessage> messages;
    // Per author of a laughed-at message (a handle, or `meKey`), the laughs others gave them.
    std::map<std::string, int> laughReactions;

    const std::string& id() const { return guid; }

    // A title for a group without a name: the first names of the first three participants, then
    // " & {n} more" for the rest. `resolve` turns a handle into a display name.
    std::string fallbackName(const std::function<std::string(const std::string&)>& resolve) const;

    bool operator==(const GroupThread&) const = default;

    // The coach's reading of one group (defined in Coach/GroupSearch.cpp).
    //
    // Messages whose lower-cased text holds any of `terms` (lower-cased and trimmed of blanks; blank terms
    // are dropped), within the days `start`...`end` + 86,400 s, newest first. The walk goes back from the
    // newest message and stops once `limit` are collected; the limit is tested after each match, so a limit
    // of 0 still returns the newest match. A negative limit returns nothing.
    std::vector<GroupMessage> search(std::span<const std::string> terms, std::optional<Date> start,
                                     std::optional<Date> end, std::int64_t limit) const;
    // The `limit` messages nearest to `around` (ties keep their stored order), oldest first.
    std::vector<GroupMessage> window(Date around, std::int64_t limit) const;
    // The last `limit` messages, oldest first.
    std::vector<GroupMessage> recent(std::int64_t limit) const;
};

} // namespace dovrel
