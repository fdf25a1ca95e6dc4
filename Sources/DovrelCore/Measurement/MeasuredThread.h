#pragma once

#include "Foundation/Calendar.h"
#include "Foundation/DateInterval.h"
#include "Measurement/LocalTime.h"
#include "Measurement/TextStyle.h"
#include "MessageSources/MessageRecords.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace dovrel {

// One thread with the per-message work that the recap statistics, the contact report and the baselines all
// need, done once: the local time of every message, and the text features of the user's messages.
//
// Refers to its thread, which must outlive it.
struct MeasuredThread {
    const ContactThread* thread = nullptr;
    // Only the messages in this interval were measured; none means all of them.
    std::optional<DateInterval> scope;
    // One entry per message of the thread, aligned with `thread->messages`. Entries of messages outside
    // `scope` are left empty, and so are the text features of the other person's messages.
    std::vector<LocalTime> times;
    std::vector<TextStyle::Features> texts;
    // The emoji characters of the user's messages: message i has those from emojiStart[i] to emojiStart[i +
    // 1].
    std::vector<std::string> emojis;
    std::vector<std::uint32_t> emojiStart;

    std::span<const std::string> emojisOf(std::size_t message) const {
        return std::span(emojis).subspan(emojiStart[message], emojiStart[message + 1] - emojiStart[message]);
    }
    bool measured(std::size_t message) const {
        return !scope || scope->contains(thread->messages[message].date);
    }
};

MeasuredThread measure(const ContactThread& thread, const Calendar& calendar,
                       std::optional<DateInterval> scope = std::nullopt);

// Every thread, in order. With more than one worker, the threads are shared out among that many threads of
// execution, each with its own copy of the calendar.
std::vector<MeasuredThread> measureThreads(std::span<const ContactThread> threads, const Calendar& calendar,
                                           unsigned workers = 1);

// The user's average length over the texts of all their messages in all threads, pooled into one list: the
// baseline a person's average is compared with.
std::optional<double> myAverageLength(std::span<const MeasuredThread> threads);

} // namespace dovrel
