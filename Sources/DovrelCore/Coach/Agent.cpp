#include "Coach/Agent.h"

#include "Coach/AgentTools.h"
#include "Foundation/Json.h"
#include "Foundation/Unicode.h"

#include <exception>
#include <limits>
#include <nlohmann/json.hpp>
#include <optional>
#include <unicode/uchar.h>

namespace dovrel::Agent {
namespace {

using Json = nlohmann::json;

// `text` parsed as a JSON object; an empty object when it is anything else.
Json objectOrEmpty(std::string_view text) {
    std::optional<Json> value = json::parseBounded(text);
    if (value && value->is_object()) {
        return std::move(*value);
    }
    return Json::object();
}

const std::string* stringAt(const Json& object, const char* key) {
    const auto found = object.find(key);
    if (found == object.end() || !found->is_string()) {
        return nullptr;
    }
    return found->get_ptr<const std::string*>();
}

std::optional<std::int64_t> integerAt(const Json& object, const char* key) {
    const auto found = object.find(key);
    if (found == object.end()) {
        return std::nullopt;
    }
    if (found->is_number_unsigned()) {
        const auto value = found->get<std::uint64_t>();
        if (value > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())) {
            return std::nullopt;
        }
        return static_cast<std::int64_t>(value);
    }
    if (found->is_number_integer()) {
        return found->get<std::int64_t>();
    }
    return std::nullopt;
}

std::string textOr(const Json& object, const char* key) {
    const std::string* value = stringAt(object, key);
    return value ? *value : std::string();
}

constexpr std::string_view dataPrefix = "data: ";
constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";

} // namespace

std::string_view ChatMessage::rawValue(Role role) {
    return role == Role::assistant ? "assistant" : "user";
}

Json encode(std::span<const ChatMessage> messages) {
    Json out = Json::array();
    for (const ChatMessage& message : messages) {
        Json content = Json::array();
        for (const Block& block : message.content) {
            content.push_back(encode(block));
        }
        out.push_back(Json{{"role", ChatMessage::rawValue(message.role)}, {"content", std::move(content)}});
    }
    return out;
}

Json encode(std::span<const ToolDef> tools) {
    Json out = Json::array();
    for (const ToolDef& tool : tools) {
        out.push_back(Json{{"name", tool.name},
                           {"description", tool.description},
                           {"input_schema", objectOrEmpty(tool.inputSchemaJSON)}});
    }
    return out;
}

Json encode(const Block& block) {
    struct Encoder {
        Json operator()(const Block::Text& b) const { return Json{{"type", "text"}, {"text", b.text}}; }
        Json operator()(const ToolUse& b) const {
            return Json{
                {"type", "tool_use"}, {"id", b.id}, {"name", b.name}, {"input", objectOrEmpty(b.inputJSON)}};
        }
        Json operator()(const Block::ToolResult& b) const {
            return Json{{"type", "tool_result"}, {"tool_use_id", b.id}, {"content", b.content}};
        }
        Json operator()(const Block::Thinking& b) const {
            return Json{{"type", "thinking"}, {"thinking", b.text}, {"signature", b.signature}};
        }
        Json operator()(const Block::RedactedThinking& b) const {
            return Json{{"type", "redacted_thinking"}, {"data", b.data}};
        }
    };
    return std::visit(Encoder{}, block.value);
}

Json requestBody(std::string_view system, std::span<const ChatMessage> messages,
                 std::span<const ToolDef> tools, int maxTokens) {
    Json body = Json::object();
    body["system"] = Json::array(
        {Json{{"type", "text"}, {"text", system}, {"cache_control", Json{{"type", "ephemeral"}}}}});
    body["messages"] = encode(messages);
    body["tools"] = encode(tools);
    body["max_tokens"] = maxTokens;
    body["thinking"] = Json{{"type", "adaptive"}};
    body["stream"] = true;
    return body;
}

std::vector<Block> decodeContent(const Json& content) {
    std::vector<Block> blocks;
    if (!content.is_array()) {
        return blocks;
    }
    for (const Json& element : content) {
        if (!element.is_object()) {
            continue;
        }
        const std::string* type = stringAt(element, "type");
        if (!type) {
            continue;
        }
        if (*type == "text") {
            if (const std::string* text = stringAt(element, "text")) {
                blocks.push_back(Block::text(*text));
            }
        } else if (*type == "tool_use") {
            const std::string* id = stringAt(element, "id");
            const std::string* name = stringAt(element, "name");
            if (!id || !name) {
                continue;
            }
            std::string input = "{}";
            if (const auto found = element.find("input"); found != element.end()) {
                try {
                    input = found->dump();
                } catch (const Json::exception&) {
                    input = "{}";
                }
            }
            blocks.push_back(Block::toolUse(ToolUse{*id, *name, std::move(input)}));
        } else if (*type == "thinking") {
            if (const std::string* thinking = stringAt(element, "thinking")) {
                blocks.push_back(Block::thinking(*thinking, textOr(element, "signature")));
            }
        } else if (*type == "redacted_thinking") {
            if (const std::string* data = stringAt(element, "data")) {
                blocks.push_back(Block::redactedThinking(*data));
            }
        }
    }
    return blocks;
}

SSECollector::SSECollector(DeltaHandler onDelta)
    : onDelta_(std::move(onDelta)) {}

void SSECollector::feed(std::string_view chunk) {
    if (finished_ || failed_ || chunk.empty()) {
        return;
    }
    std::size_t start = 0;
    if (afterCR_ && chunk.front() == '\n') {
        start = 1; // the second half of a "\r\n" split between chunks
    }
    afterCR_ = false;
    for (std::size_t i = start; i < chunk.size(); ++i) {
        const char c = chunk[i];
        if (c != '\n' && c != '\r') {
            continue;
        }
        std::string_view text = chunk.substr(start, i - start);
        if (!pending_.empty()) {
            pending_.append(text);
            const std::string whole = std::move(pending_);
            pending_.clear();
            line(whole);
        } else {
            line(text);
        }
        if (c == '\r') {
            if (i + 1 < chunk.size()) {
                if (chunk[i + 1] == '\n') {
                    ++i;
                }
            } else {
                afterCR_ = true;
            }
        }
        start = i + 1;
    }
    pending_.append(chunk.substr(start));
}

void SSECollector::feedLine(std::string_view text) {
    if (finished_ || failed_) {
        return;
    }
    if (text.ends_with('\n')) {
        text.remove_suffix(1);
    }
    if (text.ends_with('\r')) {
        text.remove_suffix(1);
    }
    line(text);
}

std::vector<Block> SSECollector::finish() {
    if (failed_) {
        throw StreamError(error_);
    }
    if (finished_) {
        return {};
    }
    if (!pending_.empty()) {
        const std::string last = std::move(pending_);
        pending_.clear();
        line(last);
    }
    finished_ = true;

    std::vector<Block> blocks;
    blocks.reserve(order_.size());
    for (const std::int64_t index : order_) {
        const Partial& partial = partials_.at(index);
        if (partial.type == "text") {
            blocks.push_back(Block::text(partial.text));
        } else if (partial.type == "tool_use") {
            blocks.push_back(Block::toolUse(
                ToolUse{partial.id, partial.name, partial.inputJSON.empty() ? "{}" : partial.inputJSON}));
        } else if (partial.type == "thinking") {
            blocks.push_back(Block::thinking(partial.text, partial.signature));
        } else if (partial.type == "redacted_thinking") {
            blocks.push_back(Block::redactedThinking(partial.data));
        }
    }
    partials_.clear();
    order_.clear();
    return blocks;
}

void SSECollector::line(std::string_view text) {
    if (atStart_) {
        atStart_ = false;
        if (text.starts_with(byteOrderMark)) {
            text.remove_prefix(byteOrderMark.size());
        }
    }
    if (!text.starts_with(dataPrefix)) {
        return;
    }
    const std::string_view payload = text.substr(dataPrefix.size());
    if (payload == "[DONE]") {
        return;
    }
    const std::optional<Json> value = json::parseBounded(payload);
    if (!value || !value->is_object() || value->empty()) {
        return;
    }
    event(*value);
}

void SSECollector::event(const Json& payload) {
    const std::string* type = stringAt(payload, "type");
    if (!type) {
        return;
    }
    if (*type == "content_block_start") {
        const auto index = integerAt(payload, "index");
        const auto block = payload.find("content_block");
        if (!index || block == payload.end() || !block->is_object()) {
            return;
        }
        const std::string* blockType = stringAt(*block, "type");
        if (!blockType) {
            return;
        }
        Partial partial;
        partial.type = *blockType;
        partial.id = textOr(*block, "id");
        partial.name = textOr(*block, "name");
        partial.text = textOr(*block, *blockType == "thinking" ? "thinking" : "text");
        partial.signature = textOr(*block, "signature");
        partial.data = textOr(*block, "data");
        partials_.insert_or_assign(*index, std::move(partial));
        order_.push_back(*index);
    } else if (*type == "content_block_delta") {
        const auto index = integerAt(payload, "index");
        const auto delta = payload.find("delta");
        if (!index || delta == payload.end() || !delta->is_object()) {
            return;
        }
        const auto found = partials_.find(*index);
        const std::string* deltaType = stringAt(*delta, "type");
        if (found == partials_.end() || !deltaType) {
            return;
        }
        Partial& partial = found->second;
        if (*deltaType == "text_delta") {
            if (const std::string* piece = stringAt(*delta, "text")) {
                partial.text += *piece;
                if (partial.type == "text" && onDelta_) {
                    onDelta_(*piece);
                }
            }
        } else if (*deltaType == "input_json_delta") {
            if (const std::string* piece = stringAt(*delta, "partial_json")) {
                partial.inputJSON += *piece;
            }
        } else if (*deltaType == "thinking_delta") {
            if (const std::string* piece = stringAt(*delta, "thinking")) {
                partial.text += *piece;
            }
        } else if (*deltaType == "signature_delta") {
            if (const std::string* piece = stringAt(*delta, "signature")) {
                partial.signature += *piece;
            }
        }
    } else if (*type == "error") {
        std::string message = "stream error";
        if (const auto error = payload.find("error"); error != payload.end() && error->is_object()) {
            if (const std::string* text = stringAt(*error, "message")) {
                message = *text;
            }
        }
        failed_ = true;
        error_ = message;
        partials_.clear();
        order_.clear();
        pending_.clear();
        throw StreamError(std::move(message));
    }
}

std::vector<Block> collectSSE(std::span<const std::string> lines, const DeltaHandler& onDelta) {
    SSECollector collector(onDelta);
    for (const std::string& text : lines) {
        collector.feedLine(text);
    }
    return collector.finish();
}

std::string flatten(std::string_view system, std::span<const ChatMessage> messages,
                    std::string_view userLabel, std::string_view assistantLabel) {
    std::string out(system);
    out += "\n\nOur conversation so far:";
    for (const ChatMessage& message : messages) {
        const std::string_view label =
            message.role == ChatMessage::Role::assistant ? assistantLabel : userLabel;
        for (const Block& block : message.content) {
            if (const auto* text = block.asText()) {
                out += "\n[";
                out += label;
                out += "] ";
                out += text->text;
            } else if (const auto* use = block.asToolUse()) {
                out += "\n[You called a tool] ";
                out += use->name;
                out += ' ';
                out += use->inputJSON;
            } else if (const auto* result = block.asToolResult()) {
                out += "\n[Tool result]\n";
                out += result->content;
            }
        }
    }
    out +=
        "\n\nReply as the coach to my last message — or call a tool if you still need evidence. Plain text, "
        "no headings.";
    return out;
}

std::vector<Block> parseFlatResponse(std::string_view text, int round) {
    if (const auto call = AgentTools::parseCall(text)) {
        if (auto body = AgentTools::rawCallBody(text)) {
            return {Block::toolUse(ToolUse{"cli-" + std::to_string(round), call->tool, std::move(*body)})};
        }
    }
    return {Block::text(std::string(unicode::trimmed(text)))};
}

} // namespace dovrel::Agent
