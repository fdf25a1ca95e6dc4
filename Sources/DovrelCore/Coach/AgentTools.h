#pragma once

// The coach's tools as the model sees them: the native definitions, the same tools in prose for a provider
// without native tools, the fenced block by which such a provider calls one, and the decoded call.

#include "Coach/Agent.h"

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace dovrel::AgentTools {

// One decoded tool call. The JSON keys are the field names.
struct Call {
    std::string tool;
    std::optional<std::string> terms;   // search terms joined by "|"
    std::optional<std::string> person;  // contact name
    std::optional<std::string> person2; // second contact name
    std::optional<std::string> group;   // group chat name, or a member's name
    std::optional<std::string> from;    // "me", "them" or "any"
    std::optional<std::string> start;   // YYYY-MM-DD, inclusive
    std::optional<std::string> end;     // YYYY-MM-DD, inclusive
    std::optional<std::string> around;  // YYYY-MM-DD, centre of a window
    std::optional<std::int64_t> limit;  // most results wanted

    bool operator==(const Call&) const = default;
};

// Strict: `tool` is required; every other key may be absent or null, and a key of the wrong JSON type throws
// json::DecodeError. Unknown keys are ignored.
void from_json(const nlohmann::json& in, Call& call);

// The eleven tools offered to the model, built once.
const std::vector<Agent::ToolDef>& defs();

// What opens a fenced tool block. A prompt that holds it already explains the convention.
inline constexpr std::string_view fenceOpener = "```tool";

// The tools in prose, with the fenced-block convention, for a prompt to a provider without native tools.
std::string_view instructions();

// The JSON text of the first fenced tool block of a reply, trimmed, when it decodes as a Call.
std::optional<std::string> rawCallBody(std::string_view text);

// The first fenced tool block of a reply, decoded.
std::optional<Call> parseCall(std::string_view text);

// A native tool call as a Call: its input with `tool` set to the call's name. Absent when the input is no
// JSON object or does not decode.
std::optional<Call> call(const Agent::ToolUse& use);

} // namespace dovrel::AgentTools
