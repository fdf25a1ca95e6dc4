#include "Coach/AgentTools.h"

#include "Foundation/Json.h"
#include "Foundation/Unicode.h"

#include <cmath>
#include <exception>
#include <limits>
#include <nlohmann/json.hpp>
#include <unicode/uchar.h>

namespace dovrel::AgentTools {
namespace {

using Json = nlohmann::json;

// Schema fragments. The schemas are these joined with nothing added, so each tool's text is exactly what the
// model has always been shown.
constexpr std::string_view T =
    R"J({"type":"object","properties":{"terms":{"type":"string","description":"|-separated search terms"},)J";
constexpr std::string_view O = R"J({"type":"object","properties":{)J";
constexpr std::string_view P =
    R"J("person":{"type":"string","description":"Contact first name; restricts to that one thread"})J";
constexpr std::string_view G =
    R"J("group":{"type":"string","description":"Group chat name (or a member's name for unnamed groups); reads that group instead of 1:1 threads"})J";
constexpr std::string_view F =
    R"J("from":{"type":"string","enum":["me","them","any"],"description":"Whose messages"})J";
constexpr std::string_view D =
    R"J("start":{"type":"string","description":"YYYY-MM-DD, inclusive"},"end":{"type":"string","description":"YYYY-MM-DD, inclusive"})J";
constexpr std::string_view L = R"J("limit":{"type":"integer","description":"Max results, up to 60"})J";
constexpr std::string_view A =
    R"J(,"around":{"type":"string","description":"YYYY-MM-DD center of the window"},)J";
constexpr std::string_view R2 =
    R"J(,"person2":{"type":"string","description":"Second contact first name"}},"required":["person","person2"]})J";
constexpr std::string_view E = R"J({"type":"object","properties":{},"required":[]})J";
constexpr std::string_view GS =
    R"J({"type":"object","properties":{"group":{"type":"string","description":"Group name (or member names for unnamed groups)"}},"required":["group"]})J";

std::string joined(std::initializer_list<std::string_view> parts) {
    std::string out;
    for (const std::string_view part : parts) {
        out += part;
    }
    return out;
}

std::vector<Agent::ToolDef> makeDefs() {
    return {
        {"search",
         "Find messages containing any of the |-separated terms. Cast a wide net: include synonyms and "
         "casual "
         "phrasings (e.g. dinner|drinks|grab food|hang). Optionally restrict by person, sender, date range — "
         "or "
         "set group to search inside a group chat.",
         joined({T, P, ",", G, ",", F, ",", D, ",", L, R"J(},"required":["terms"]})J"})},
        {"count",
         "Count messages matching |-separated terms, grouped by month. Use for how-often questions instead "
         "of "
         "eyeballing search results.",
         joined({T, P, ",", F, ",", D, R"J(},"required":["terms"]})J"})},
        {"sample",
         "Recent messages verbatim, as style/voice examples — or, with group set, how a group chat actually "
         "reads right now.",
         joined({O, P, ",", G, ",", F, ",", L, R"J(},"required":[]})J"})},
        {"timeline",
         "Month-by-month trajectory with one person: message volume, share of messages that are mine, and "
         "warmth (sentiment −1…1). The best first move for how-are-things-trending questions.",
         joined({O, P, R"J(},"required":["person"]})J"})},
        {"window",
         "Read the conversation around a specific date — what was actually said. Works on a person's thread "
         "or, with group set, a group chat. Use after timeline, search, or group_stats points somewhere "
         "interesting.",
         joined({O, P, ",", G, A, L, R"J(},"required":["around"]})J"})},
        {"person_stats",
         "Relationship stats with one person: volume, reply times, initiation, double-texting, balance.",
         joined({O, P, R"J(},"required":["person"]})J"})},
        {"compare", "Two people's relationship stats side by side.", joined({O, P, R2})},
        {"overview", "My overall texting stats and top people.", std::string(E)},
        {"unanswered", "Real people whose last message I haven't replied to yet, most deserving first.",
         std::string(E)},
        {"groups", "My group chats: size, volume, how alive each is, and my share of the talking.",
         std::string(E)},
        {"group_stats",
         "One group chat in depth: who talks, who gets the laughs, who revives it, my role, and the monthly "
         "pulse. Pair with search/sample/window (group field) to read what was actually said.",
         std::string(GS)},
    };
}

constexpr std::string_view instructionText =
    "TOOLS — you can query my full local message corpus before answering. To call a tool, reply with ONLY a "
    "fenced block, nothing else:\n"
    "```tool\n"
    R"J({"tool":"search","terms":"dinner|drinks|plans","from":"me","person":null,"limit":40})J"
    "\n"
    "```\n"
    "Tools available:\n"
    R"J(- "search": messages containing any |-separated term. Optional "person" or "group", "from" ("me"/"them"/"any"), "start"/"end" (YYYY-MM-DD), "limit".)J"
    "\n"
    R"J(- "count": matches per month for |-separated terms — use for how-often questions. Same optional person/from/start/end fields.)J"
    "\n"
    R"J(- "sample": recent messages as raw style examples. person or group, from, limit.)J"
    "\n"
    R"J(- "timeline": month-by-month volume, balance, and warmth with one "person".)J"
    "\n"
    R"J(- "window": the conversation around a date ("around": YYYY-MM-DD), for a "person" or a "group".)J"
    "\n"
    R"J(- "person_stats": relationship stats; requires "person".)J"
    "\n"
    R"J(- "compare": stats for "person" vs "person2" side by side.)J"
    "\n"
    R"J(- "overview": my overall stats and top people.)J"
    "\n"
    R"J(- "unanswered": people waiting on a reply from me.)J"
    "\n"
    R"J(- "groups": my group chats and how alive each one is.)J"
    "\n"
    R"J(- "group_stats": one group in depth (talkers, laughs, my role); requires "group".)J"
    "\n"
    "Use tools freely (several rounds is fine), then answer. Count and cite what you found — evidence over "
    "guessing. Quote at most short fragments back to me.";

constexpr std::string_view fence = "```";

std::optional<Call> decoded(const Json& value) {
    try {
        Call out;
        from_json(value, out);
        return out;
    } catch (const json::DecodeError&) {
        return std::nullopt;
    }
}

// The trimmed body of the first fenced tool block with the call it decodes to.
std::optional<std::pair<std::string_view, Call>> firstCall(std::string_view text) {
    const std::size_t open = text.find(fenceOpener);
    if (open == std::string_view::npos) {
        return std::nullopt;
    }
    const std::string_view rest = text.substr(open + fenceOpener.size());
    const std::size_t close = rest.find(fence);
    if (close == std::string_view::npos) {
        return std::nullopt;
    }
    const std::string_view body = unicode::trimmed(rest.substr(0, close));
    const std::optional<Json> value = json::parseBounded(body);
    if (!value) {
        return std::nullopt;
    }
    std::optional<Call> result = decoded(*value);
    if (!result) {
        return std::nullopt;
    }
    return std::pair{body, std::move(*result)};
}

} // namespace

void from_json(const Json& in, Call& call) {
    json::expectObject(in, "a tool call");
    call.tool = json::required<std::string>(in, "tool");
    call.terms = json::optional<std::string>(in, "terms");
    call.person = json::optional<std::string>(in, "person");
    call.person2 = json::optional<std::string>(in, "person2");
    call.group = json::optional<std::string>(in, "group");
    call.from = json::optional<std::string>(in, "from");
    call.start = json::optional<std::string>(in, "start");
    call.end = json::optional<std::string>(in, "end");
    call.around = json::optional<std::string>(in, "around");
    call.limit = json::optionalInteger(in, "limit");
}

const std::vector<Agent::ToolDef>& defs() {
    static const std::vector<Agent::ToolDef> all = makeDefs();
    return all;
}

std::string_view instructions() {
    return instructionText;
}

std::optional<std::string> rawCallBody(std::string_view text) {
    if (auto found = firstCall(text)) {
        return std::string(found->first);
    }
    return std::nullopt;
}

std::optional<Call> parseCall(std::string_view text) {
    if (auto found = firstCall(text)) {
        return std::move(found->second);
    }
    return std::nullopt;
}

std::optional<Call> call(const Agent::ToolUse& use) {
    std::optional<Json> input = json::parseBounded(use.inputJSON);
    if (!input || !input->is_object()) {
        return std::nullopt;
    }
    (*input)["tool"] = use.name;
    return decoded(*input);
}

} // namespace dovrel::AgentTools
