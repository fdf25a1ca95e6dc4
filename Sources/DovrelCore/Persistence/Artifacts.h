#pragma once

#include "Coach/CoachMemory.h"
#include "Foundation/Calendar.h"
#include "Foundation/Date.h"

#include <map>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace dovrel {

// One deep dive on a person, as the AI wrote it.
struct StoredDive {
    std::string text;
    Date generatedAt;
    // The date of the thread's last message when the dive was made, or the time it was made if the thread
    // had none. Newer messages than this make the dive stale.
    Date threadLastDate;

    bool operator==(const StoredDive&) const = default;
};

// One line of a coach transcript.
struct CoachMessage {
    enum class Role { user, coach, note };

    std::string id; // upper-case UUID
    Role role = Role::user;
    std::string text;
    std::optional<Date> date;
    std::optional<std::vector<std::string>> sources;

    // A new message with a fresh id.
    static CoachMessage make(Role role, std::string text, std::optional<Date> date = std::nullopt,
                             std::optional<std::vector<std::string>> sources = std::nullopt);

    static std::string_view roleName(Role role);

    bool operator==(const CoachMessage&) const = default;
};

// What cannot be recomputed from the messages: AI output, coach conversations and memory. The keys of
// `transcripts` and `memory` are handles, or the empty text for the general coach.
struct Artifacts {
    std::optional<std::string> archetypeTitle;
    std::optional<std::string> archetypeBody;
    std::map<std::string, StoredDive> deepDives;
    std::map<std::string, std::vector<CoachMessage>> transcripts;
    // The old free-text memory, read only to migrate it; always written empty.
    std::map<std::string, std::string> memoryNotes;
    std::optional<std::map<std::string, std::vector<MemoryEntry>>> memory;

    bool operator==(const Artifacts&) const = default;
};

void to_json(nlohmann::json& out, const StoredDive& dive);
void from_json(const nlohmann::json& in, StoredDive& dive);
void to_json(nlohmann::json& out, const CoachMessage& message);
// An unknown role makes the message, and with it the whole file, undecodable.
void from_json(const nlohmann::json& in, CoachMessage& message);
void to_json(nlohmann::json& out, const Artifacts& artifacts);
void from_json(const nlohmann::json& in, Artifacts& artifacts);

// "From {date} — {count} new message{s} since.", or nothing when no message of the thread is newer than the
// dive. `threadDates` are the dates of the person's messages; the date shows as "Mar 5" in `locale`.
std::optional<std::string> staleDiveNote(const StoredDive& dive, std::span<const Date> threadDates,
                                         const Calendar& calendar, std::string_view locale = "en_US");

} // namespace dovrel
