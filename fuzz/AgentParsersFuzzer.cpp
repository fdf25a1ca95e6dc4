// Arbitrary bytes as the relay's event stream and as a flat provider's reply.
//
// The stream is read twice: line by line, and as raw chunks cut at places chosen by the input. Both must give
// the same blocks, or both the same StreamError (the only exception a stream may raise); every finished tool
// call has arguments, and the blocks go back out as JSON that serializes. As a reply, a fenced tool call is
// found by rawCallBody exactly when parseCall finds one, its trimmed body decodes through the native path to
// the same call, and parseFlatResponse gives one block.
#include "Coach/Agent.h"
#include "Coach/AgentTools.h"

#include <cstdlib>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace dovrel;

struct Outcome {
    std::vector<Agent::Block> blocks;
    std::vector<std::string> deltas;
    std::optional<std::string> error;

    bool operator==(const Outcome&) const = default;
};

// The input's lines, cut at "\n", "\r\n" or a lone "\r"; the last one may have no ending.
std::vector<std::string_view> linesOf(std::string_view text) {
    std::vector<std::string_view> lines;
    std::size_t start = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\n' || text[i] == '\r') {
            lines.push_back(text.substr(start, i - start));
            if (text[i] == '\r' && i + 1 < text.size() && text[i + 1] == '\n') {
                ++i;
            }
            start = i + 1;
        }
    }
    if (start < text.size()) {
        lines.push_back(text.substr(start));
    }
    return lines;
}

Outcome byLines(std::string_view text) {
    Outcome out;
    Agent::SSECollector collector([&](std::string_view piece) { out.deltas.emplace_back(piece); });
    try {
        for (const std::string_view line : linesOf(text)) {
            collector.feedLine(line);
        }
        out.blocks = collector.finish();
    } catch (const Agent::StreamError& error) {
        out.error = error.message();
    }
    return out;
}

Outcome byChunks(std::string_view text, std::uint8_t seed) {
    Outcome out;
    Agent::SSECollector collector([&](std::string_view piece) { out.deltas.emplace_back(piece); });
    try {
        std::size_t offset = 0;
        std::size_t step = 1 + seed % 13;
        while (offset < text.size()) {
            collector.feed(text.substr(offset, step));
            offset += step;
            step = 1 + (step * 7 + seed) % 29;
        }
        out.blocks = collector.finish();
    } catch (const Agent::StreamError& error) {
        out.error = error.message();
    }
    return out;
}

void checkStream(std::string_view text, std::uint8_t seed) {
    const Outcome lines = byLines(text);
    const Outcome chunks = byChunks(text, seed);
    if (!(lines == chunks)) {
        std::abort();
    }
    std::vector<Agent::ChatMessage> messages = {{Agent::ChatMessage::Role::assistant, lines.blocks}};
    for (const Agent::Block& block : lines.blocks) {
        if (const auto* use = block.asToolUse(); use && use->inputJSON.empty()) {
            std::abort();
        }
    }
    // Every text in the blocks came out of parsed JSON, so the request body must serialize.
    (void)Agent::encode(messages).dump();
    (void)Agent::flatten("system", messages, "Me", "Coach");
}

bool isTrimmed(std::string_view text) {
    const auto space = [](char c) { return c == ' ' || c == '\n' || c == '\r' || c == '\t'; };
    return !text.empty() && !space(text.front()) && !space(text.back());
}

void checkReply(std::string_view text) {
    const std::optional<std::string> body = AgentTools::rawCallBody(text);
    const std::optional<AgentTools::Call> call = AgentTools::parseCall(text);
    if (body.has_value() != call.has_value()) {
        std::abort();
    }
    if (call) {
        if (!isTrimmed(*body) || AgentTools::call({"cli-0", call->tool, *body}) != call) {
            std::abort();
        }
    }
    const std::vector<Agent::Block> blocks = Agent::parseFlatResponse(text, 4);
    if (blocks.size() != 1) {
        std::abort();
    }
    const auto* use = blocks.front().asToolUse();
    if (call.has_value() != (use != nullptr)) {
        std::abort();
    }
    if (use && (use->id != "cli-4" || use->name != call->tool || use->inputJSON != *body)) {
        std::abort();
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    checkStream(text, size > 0 ? data[0] : 0);
    checkReply(text);
    return 0;
}
