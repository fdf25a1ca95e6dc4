#pragma once

// The coach's wire layer: a conversation as the content blocks of the relay's chat route, the relay's event
// stream read back into blocks, and the same conversation folded into one prompt for a provider without
// native tools. Nothing here holds state between calls or touches the network.

#include <cstdint>
#include <functional>
#include <map>
#include <nlohmann/json_fwd.hpp>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace dovrel::Agent {

// One tool as offered to the model.
struct ToolDef {
    std::string name;
    std::string description;
    std::string inputSchemaJSON; // a JSON Schema object, as JSON text

    bool operator==(const ToolDef&) const = default;
};

// One tool call by the model.
struct ToolUse {
    std::string id; // answered by the result's `tool_use_id`
    std::string name;
    std::string inputJSON; // "{}" at least once the call is finished

    bool operator==(const ToolUse&) const = default;
};

// One content block. The alternatives of `value` are in the order of `Kind`.
struct Block {
    enum class Kind : std::uint8_t { text, toolUse, toolResult, thinking, redactedThinking };

    struct Text {
        std::string text;
        bool operator==(const Text&) const = default;
    };
    struct ToolResult {
        std::string id; // the `ToolUse` it answers
        std::string content;
        bool operator==(const ToolResult&) const = default;
    };
    // The model's reasoning: opaque, never shown, sent back exactly as it came.
    struct Thinking {
        std::string text;
        std::string signature;
        bool operator==(const Thinking&) const = default;
    };
    struct RedactedThinking {
        std::string data;
        bool operator==(const RedactedThinking&) const = default;
    };

    std::variant<Text, ToolUse, ToolResult, Thinking, RedactedThinking> value;

    static Block text(std::string text) { return Block{Text{std::move(text)}}; }
    static Block toolUse(ToolUse use) { return Block{std::move(use)}; }
    static Block toolResult(std::string id, std::string content) {
        return Block{ToolResult{std::move(id), std::move(content)}};
    }
    static Block thinking(std::string text, std::string signature) {
        return Block{Thinking{std::move(text), std::move(signature)}};
    }
    static Block redactedThinking(std::string data) { return Block{RedactedThinking{std::move(data)}}; }

    Kind kind() const { return static_cast<Kind>(value.index()); }
    // The payload when the block is of that kind, else null.
    const Text* asText() const { return std::get_if<Text>(&value); }
    const ToolUse* asToolUse() const { return std::get_if<ToolUse>(&value); }
    const ToolResult* asToolResult() const { return std::get_if<ToolResult>(&value); }
    const Thinking* asThinking() const { return std::get_if<Thinking>(&value); }
    const RedactedThinking* asRedactedThinking() const { return std::get_if<RedactedThinking>(&value); }

    bool operator==(const Block&) const = default;
};

struct ChatMessage {
    enum class Role : std::uint8_t { user, assistant };

    Role role = Role::user;
    std::vector<Block> content;

    // A message of that role holding one text block.
    static ChatMessage user(std::string text) {
        return ChatMessage{Role::user, {Block::text(std::move(text))}};
    }
    static ChatMessage assistant(std::string text) {
        return ChatMessage{Role::assistant, {Block::text(std::move(text))}};
    }

    // "user", "assistant".
    static std::string_view rawValue(Role role);

    bool operator==(const ChatMessage&) const = default;
};

// The relay reported a failure inside its event stream. `what()` is the relay's message as it stands, which
// is what the user is shown.
class StreamError : public std::runtime_error {
public:
    // An `error` event is the only way a stream fails here; the transport's failures belong to the caller.
    enum class Case : std::uint8_t { errorEvent };

    explicit StreamError(std::string message)
        : std::runtime_error(message)
        , message_(std::move(message)) {}

    Case errorCase() const { return Case::errorEvent; }
    const std::string& message() const { return message_; }

private:
    std::string message_;
};

// The `messages` field of a chat request: one object per message with `role` and `content`.
nlohmann::json encode(std::span<const ChatMessage> messages);
// The `tools` field: `name`, `description` and `input_schema` (the schema text parsed; an empty object when
// it is no JSON object).
nlohmann::json encode(std::span<const ToolDef> tools);
// One block in the wire form. A tool call's `inputJSON` that is no JSON object goes out as an empty object.
nlohmann::json encode(const Block& block);

// The whole body of a streaming chat request: the system prompt marked for caching, the encoded messages and
// tools, the token limit, adaptive thinking, and `stream` on. It names no model: the relay picks it.
nlohmann::json requestBody(std::string_view system, std::span<const ChatMessage> messages,
                           std::span<const ToolDef> tools, int maxTokens);

// Blocks back from their wire form. Elements that are no block this program writes (tool results included)
// are dropped; the rest are kept in order. Anything but an array gives no blocks.
std::vector<Block> decodeContent(const nlohmann::json& content);

// Called with each piece of visible text as it streams, on the thread that feeds the collector.
using DeltaHandler = std::function<void(std::string_view piece)>;

// Reads the relay's server-sent event stream into content blocks as it arrives.
//
// Feed it either whole lines (`feedLine`) or the raw body in chunks cut anywhere (`feed`), then call
// `finish` once the body has ended. Only "data: " lines are read; malformed or unknown events are skipped.
// An `error` event throws StreamError from the feed that carried it and drops what was gathered. The
// collector is spent then: later feeds are ignored and `finish` throws the same error again.
class SSECollector {
public:
    explicit SSECollector(DeltaHandler onDelta = {});

    // Bytes of the body in arrival order. Lines end at "\n", "\r\n" or a lone "\r", also across chunks; an
    // unfinished line waits for the next chunk or for `finish`.
    void feed(std::string_view chunk);
    // One whole line; a trailing line ending ("\n", "\r\n") is ignored.
    void feedLine(std::string_view line);
    // Ends the stream: reads a last unterminated line, then returns the blocks in order of first arrival.
    // Any further feed is ignored and a second call returns no blocks.
    std::vector<Block> finish();

private:
    // One block being assembled. A thinking block keeps its thinking in `text`.
    struct Partial {
        std::string type;
        std::string id;
        std::string name;
        std::string text;
        std::string inputJSON;
        std::string signature;
        std::string data;
    };

    void line(std::string_view line);
    void event(const nlohmann::json& payload);

    DeltaHandler onDelta_;
    std::map<std::int64_t, Partial> partials_;
    std::vector<std::int64_t> order_;
    std::string pending_;  // an unfinished line of `feed`
    bool afterCR_ = false; // the last chunk ended in "\r": a "\n" opening the next one ends nothing
    bool atStart_ = true;  // nothing fed yet: a byte-order mark may come first
    bool finished_ = false;
    std::string error_; // the message of the error event that spent the collector
    bool failed_ = false;
};

// The convenience form over a stream already read whole, one line per element.
std::vector<Block> collectSSE(std::span<const std::string> lines, const DeltaHandler& onDelta = {});

// The conversation as one prompt for a provider without native tools: the system text, then each block as
// "[{label}] {text}", tool calls and results in words, thinking left out, then the closing instruction.
std::string flatten(std::string_view system, std::span<const ChatMessage> messages,
                    std::string_view userLabel, std::string_view assistantLabel);

// A flat provider's whole reply as one block: a tool call with id "cli-{round}" when it holds a well-formed
// fenced tool block, else the reply as text, trimmed.
std::vector<Block> parseFlatResponse(std::string_view text, int round);

} // namespace dovrel::Agent
