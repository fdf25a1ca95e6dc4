#pragma once

// The coach's corpus tools served over the Model Context Protocol: JSON-RPC 2.0, one message a line. This is
// the protocol alone, fed lines and answering lines; reading standard input, running the tools and writing
// standard output belong to the caller.

#include "Coach/Agent.h"

#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace dovrel::Mcp {

// A line longer than this is refused unread; the stream goes on after its end.
inline constexpr std::size_t maxLineBytes = 1024 * 1024;

// The protocol versions this server speaks, newest first. A client asking for another gets the newest.
inline constexpr std::string_view protocolVersions[] = {"2025-06-18", "2025-03-26", "2024-11-05"};

// JSON-RPC error codes.
inline constexpr int parseError = -32700;
inline constexpr int invalidRequest = -32600;
inline constexpr int methodNotFound = -32601;
inline constexpr int invalidParams = -32602;

// Splits a byte stream into lines ("\n", with an optional "\r" before it). A line over the cap is dropped as
// it streams in, so it never takes more memory than the cap, and is handed on as oversized and empty.
class LineSplitter {
public:
    struct Line {
        std::string text;
        bool oversized = false;
    };

    explicit LineSplitter(std::size_t cap = maxLineBytes)
        : cap_(cap) {}

    void feed(std::string_view bytes, const std::function<void(Line)>& each);
    // At the end of the stream: the last line, when it had no line break.
    std::optional<Line> finish();

private:
    Line take();

    std::size_t cap_;
    std::string pending_;
    bool oversized_ = false;
};

// What one tool call gave: the line the user sees and the text the model reads. `failed` marks a call the
// tool could not run, answered to the client as a tool error rather than a result.
struct ToolAnswer {
    std::string status;
    std::string result;
    bool failed = false;
};

class Server {
public:
    // Receives one reply line, without its line break. May be called on any thread that finishes a tool.
    using Reply = std::function<void(const std::string& line)>;
    // Runs one call and calls `done` exactly once, at once or later, on any thread.
    using ToolRunner = std::function<void(const Agent::ToolUse& use, std::function<void(ToolAnswer)> done)>;

    Server(std::string version, ToolRunner runner);

    // Handles one line: no reply for a notification or a blank line, one for anything else. A tool call's
    // reply comes when its runner is done; the rest before this returns.
    void receive(std::string_view line, const Reply& reply);
    // A line that was over the cap.
    void receiveOversized(const Reply& reply) const;

private:
    struct Tool;

    std::string version_;
    ToolRunner runner_;
    std::shared_ptr<const std::vector<Tool>> tools_;
    // Ids of calls the client gave up on, whose answers are dropped; shared with calls still running.
    struct Cancelled {
        std::mutex mutex;
        std::set<std::string> ids;
    };
    std::shared_ptr<Cancelled> cancelled_ = std::make_shared<Cancelled>();
};

} // namespace dovrel::Mcp
