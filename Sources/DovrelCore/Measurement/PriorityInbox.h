#pragma once

#include "Foundation/Date.h"
#include "MessageSources/MessageRecords.h"

#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

// Who is waiting on the user: one-to-one threads in which the other person spoke last, ranked by a plain
// formula, and the prompt and reply reading that let a model narrow them down to the ones worth answering.
namespace dovrel::PriorityInbox {

// Replies fresher than this need no reminder...
inline constexpr double minimumWaitingHours = 2.0;
// ...and older ones (30 days) are gone.
inline constexpr double maximumWaitingHours = 720.0;
// A thread counts once the user has sent this many messages in it.
inline constexpr int minimumMessagesFromMe = 3;
// Picks read from a model's reply.
inline constexpr int defaultPicks = 5;

struct Item {
    std::string handleID;
    std::optional<std::string> displayName;
    // The thread's last message, which is the other person's.
    RawMessage lastMessage;
    // Hours since `lastMessage`.
    double waitingHours = 0.0;
    // Unread messages after the user's last message.
    int unreadCount = 0;
    int totalMessages = 0;
    double score = 0.0;

    const std::string& id() const { return handleID; }

    bool operator==(const Item&) const = default;
};

// One item a model chose, with its reason to reply.
struct Pick {
    Item item;
    std::string reason;

    bool operator==(const Pick&) const = default;
};

// Short codes (a handle without "@" that holds fewer than 7 digits) and no-reply addresses.
bool isLikelySpamHandle(std::string_view handle);

// Threads whose last message is the other person's, from a handle that is no spam, in which the user has
// sent at least 3 messages, waiting between 2 and 720 hours inclusive at `now`. Best score first (equal
// scores keep the threads' order), at most `limit`.
std::vector<Item> candidates(std::span<const ContactThread> threads, Date now, int limit);
// The same over threads held elsewhere, e.g. a corpus shared with the caller.
std::vector<Item> candidates(std::span<const ContactThread* const> threads, Date now, int limit);

// The text asking a model to choose at most `pick` of `items` that deserve a reply. An item is named by
// `names`, else its display name, else its handle.
std::string selectPrompt(std::span<const Item> items, const std::map<std::string, std::string>& names,
                         int pick);

// Reads a reply to `selectPrompt`: lines "N. reason" with N counting `items` from 1. Lines that do not fit,
// numbers out of range and repeats of an item are skipped; reading stops after `maxPicks` picks. The picks
// keep the order of the reply.
std::vector<Pick> parseSelection(std::string_view reply, std::span<const Item> items,
                                 int maxPicks = defaultPicks);

} // namespace dovrel::PriorityInbox
