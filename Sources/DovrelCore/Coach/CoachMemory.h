#pragma once

// What the coach remembers across sessions, per coach key. A model proposes changes as a short list of
// operations that refer to entries by their number in a listing, so it never sees an id; plain code applies
// them and keeps the list small enough to go into every prompt.

#include "Foundation/Calendar.h"
#include "Foundation/Date.h"

#include <cstddef>
#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace dovrel {

struct MemoryEntry {
    enum class Kind : std::uint8_t {
        fact,       // durable relationship or person fact
        goal,       // what the user wants to change
        commitment, // a specific action the user said they would take
        session,    // a one-sentence note of a finished session
    };

    std::string id; // upper-case UUID
    Kind kind = Kind::fact;
    std::string text;
    Date date;
    bool done = false; // a goal or commitment is finished

    bool operator==(const MemoryEntry&) const = default;

    // "fact", "goal", "commitment", "session".
    static std::string_view rawValue(Kind kind);
    static std::optional<Kind> kindNamed(std::string_view raw);
};

// All five keys are written, and all five are required when reading; an unknown kind or an id that is no
// UUID throws json::DecodeError. A lower-case id is read as its upper-case form.
void to_json(nlohmann::json& out, const MemoryEntry& entry);
void from_json(const nlohmann::json& in, MemoryEntry& entry);

namespace CoachMemory {

// One operation proposed by the model: "add" with kind and text, "resolve" or "remove" with ref, the
// 1-based number of an entry in the listing the model was shown.
struct Op {
    std::string op;
    std::optional<std::string> kind;
    std::optional<std::string> text;
    std::optional<std::int64_t> ref;

    bool operator==(const Op&) const = default;
};

struct OpsEnvelope {
    std::vector<Op> ops;
};

// Strict: `op` must be a string, `kind` and `text` strings when present, `ref` an integer when present.
void from_json(const nlohmann::json& in, Op& op);
void from_json(const nlohmann::json& in, OpsEnvelope& envelope);

inline constexpr std::size_t maxSessions = 8;
inline constexpr std::size_t maxEntries = 40;
inline constexpr std::size_t maxMigratedLines = 10;

// "1. [goal] [open] text" lines, or "(none yet)".
std::string numbered(std::span<const MemoryEntry> entries);

// The prompt asking the model for memory operations after an exchange.
std::string extractionPrompt(std::span<const MemoryEntry> entries, std::string_view recentTurns);

// The operations of a model's reply: the text from its first "{" to its last "}" decoded as an
// OpsEnvelope. Anything that does not decode, even one bad operation, gives no operations.
std::vector<Op> parseOps(std::string_view reply);

// Applies `ops` in order. Refs always point into `to` as given, also after adds and removals. The result is
// `trimmed`.
std::vector<MemoryEntry> apply(std::span<const Op> ops, std::span<const MemoryEntry> to, Date now);

// At most `maxSessions` session notes (the oldest go) and `maxEntries` entries in all: done entries go
// first, then facts, then the oldest. Order is kept.
std::vector<MemoryEntry> trimmed(std::vector<MemoryEntry> entries);

// The memory section of the system prompt; empty when nothing would be shown.
std::string render(std::span<const MemoryEntry> entries, const Calendar& calendar);

// The prompt for a one-sentence note of a finished session.
std::string sessionSummaryPrompt(std::string_view turns);

// Turns an old free-text note (one item per line, maybe bulleted) into at most `maxMigratedLines` facts.
std::vector<MemoryEntry> migrate(std::string_view blob, Date now);

} // namespace CoachMemory
} // namespace dovrel
