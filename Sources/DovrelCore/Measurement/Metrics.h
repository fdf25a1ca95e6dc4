#pragma once

#include "MessageSources/MessageRecords.h"

#include <optional>
#include <span>
#include <vector>

namespace dovrel::Metrics {

// Silence that ends a conversation.
inline constexpr double conversationGap = 14400.0;
// Longest gap that still counts as a reply.
inline constexpr double longestReply = 86400.0;
// A double text comes after more than this much silence...
inline constexpr double doubleTextMinimum = 600.0;
// ...and at most this much.
inline constexpr double doubleTextMaximum = 14400.0;

// The functions read the messages in the order given (a thread is oldest first) and never sort them; only
// `date` and `isFromMe` are looked at.

// Middle value, or the mean of the two middle values of an even count. Absent for no values.
std::optional<double> median(std::vector<double> values);

// Cuts the messages into conversations: a new one starts after a silence strictly longer than `gap`.
std::vector<std::vector<RawMessage>> sessions(std::span<const RawMessage> messages, double gap);

struct SessionCount {
    int sessions = 0;
    int openedByMe = 0;
};
// How many conversations `sessions` would cut, and how many of them the user opened.
SessionCount countSessions(std::span<const RawMessage> messages, double gap);

// Share of the conversations (cut at `conversationGap`) that the user opened.
std::optional<double> myInitiationRate(std::span<const RawMessage> messages);

// Reply times at each change of side: `from` true gives the user's replies, false the other person's.
// Silences longer than `longestReply` are dropped.
std::vector<double> replyGaps(std::span<const RawMessage> messages, bool from);
// Appends to `gaps` instead of returning a new list.
void appendReplyGaps(std::span<const RawMessage> messages, bool from, std::vector<double>& gaps);

std::optional<double> medianReplySeconds(std::span<const RawMessage> messages, bool from);

// Second messages of the user into silence: adjacent pairs of the user's messages more than
// `doubleTextMinimum` and at most `doubleTextMaximum` apart.
int myDoubleTextCount(std::span<const RawMessage> messages);

// `myDoubleTextCount` per message sent; absent when the user sent nothing.
std::optional<double> myDoubleTextRate(std::span<const RawMessage> messages);

} // namespace dovrel::Metrics
