#pragma once

// The coach's system prompts, rebuilt for every turn so that the newest memory and statistics are in them,
// and the visible transcript as the conversation for the model.

#include "Coach/Agent.h"
#include "Coach/CoachMemory.h"
#include "Foundation/Calendar.h"
#include "Measurement/PersonInsights.h"
#include "Measurement/WrappedStats.h"
#include "MessageSources/MessageRecords.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace dovrel::CoachPrompt {

// One message of the visible transcript.
struct Turn {
    enum class Role : std::uint8_t { user, coach };

    Role role = Role::user;
    std::string text;

    bool operator==(const Turn&) const = default;
};

// A person in the general prompt's list of top people.
struct TopPerson {
    std::string name;
    int count = 0; // messages together

    bool operator==(const TopPerson&) const = default;
};

// The prompt for the coach focused on one person: who they are, memory, measured stats, and the last
// `recentCount` messages of the thread with month-and-day dates in `calendar`, in the order of `locale`.
std::string personSystem(std::string_view name, const ContactThread& thread, const PersonInsights& insights,
                         int recentCount, std::span<const MemoryEntry> memory,
                         const std::optional<std::string>& insight, const Calendar& calendar,
                         bool includeTextTools, std::string_view locale);

// The prompt for the coach across the user's whole texting life: memory, overall stats and the first five of
// `topPeople`. No messages of any thread.
std::string generalSystem(const WrappedStats& stats, std::span<const TopPerson> topPeople,
                          std::span<const MemoryEntry> memory, const std::optional<std::string>& insight,
                          const Calendar& calendar, bool includeTextTools);

// Each turn as one text message: `user` as the user, `coach` as the assistant.
std::vector<Agent::ChatMessage> messages(std::span<const Turn> transcript);

// The rendered memory and today's insight, each followed by an empty line; nothing for what is empty.
void appendMemory(std::span<const MemoryEntry> memory, const std::optional<std::string>& insight,
                  const Calendar& calendar, std::vector<std::string>& lines);

} // namespace dovrel::CoachPrompt
