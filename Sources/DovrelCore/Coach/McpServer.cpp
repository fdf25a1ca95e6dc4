#include "Coach/McpServer.h"

#include "Coach/AgentTools.h"
#include "Foundation/Json.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>
#include <utility>

namespace dovrel::Mcp {
namespace {

// Ordered, so that a schema goes out with its keys in the catalogue's order.
using Ordered = nlohmann::ordered_json;

constexpr int internalError = -32603;
// Cancellations of ids that never ran are kept until the id is used; a client cannot make this grow forever.
constexpr std::size_t maxCancelled = 4096;

struct TooDeep {};

std::optional<Ordered> parsed(std::string_view text) {
    try {
        return Ordered::parse(text.begin(), text.end(), [](int depth, Ordered::parse_event_t, Ordered&) {
            if (depth > json::maxNesting) {
                throw TooDeep();
            }
            return true;
        });
    } catch (...) {
        return std::nullopt;
    }
}

// One line of JSON. Text from the message database need not be valid UTF-8; what is not goes out replaced.
std::string dumped(const Ordered& value) {
    return value.dump(-1, ' ', false, Ordered::error_handler_t::replace);
}

std::string errorLine(const Ordered& id, int code, const std::string& message) {
    return dumped(
        Ordered{{"jsonrpc", "2.0"}, {"id", id}, {"error", Ordered{{"code", code}, {"message", message}}}});
}

std::string resultLine(const Ordered& id, Ordered result) {
    return dumped(Ordered{{"jsonrpc", "2.0"}, {"id", id}, {"result", std::move(result)}});
}

bool isBlank(std::string_view line) {
    return line.find_first_not_of(" \t\r\n") == std::string_view::npos;
}

// A whole number that fits in 64 bits, written as 40 or as 40.0, as the tools' own decoder takes it.
bool isInteger(const Ordered& value) {
    if (value.is_number_unsigned()) {
        return value.get<std::uint64_t>() <=
               static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
    }
    if (value.is_number_integer()) {
        return true;
    }
    if (value.is_number_float()) {
        const double number = value.get<double>();
        constexpr double limit = 9'223'372'036'854'775'808.0; // 2^63
        return std::isfinite(number) && std::trunc(number) == number && number >= -limit && number < limit;
    }
    return false;
}

std::string negotiatedVersion(const std::string& asked) {
    for (const std::string_view version : protocolVersions) {
        if (asked == version) {
            return asked;
        }
    }
    return std::string(protocolVersions[0]);
}

} // namespace

// One tool of the catalogue, with what its schema asks of the arguments.
struct Server::Tool {
    std::string name;
    std::string description;
    Ordered schema;
    std::vector<std::pair<std::string, std::string>> types; // property, JSON Schema type
    std::vector<std::string> required;

    // What is wrong with the arguments, if anything. A null counts as absent, as the tools read it.
    std::optional<std::string> problem(const Ordered& arguments) const {
        for (const auto& [key, type] : types) {
            const auto found = arguments.find(key);
            if (found == arguments.end() || found->is_null()) {
                continue;
            }
            if (type == "string" && !found->is_string()) {
                return "\"" + key + "\" must be a string";
            }
            if (type == "integer" && !isInteger(*found)) {
                return "\"" + key + "\" must be an integer";
            }
        }
        for (const std::string& key : required) {
            const auto found = arguments.find(key);
            if (found == arguments.end() || found->is_null()) {
                return "\"" + key + "\" is required";
            }
        }
        return std::nullopt;
    }
};

void LineSplitter::feed(std::string_view bytes, const std::function<void(Line)>& each) {
    while (!bytes.empty()) {
        const std::size_t end = bytes.find('\n');
        const std::string_view piece = bytes.substr(0, end);
        if (!oversized_) {
            if (pending_.size() + piece.size() > cap_) {
                oversized_ = true;
                std::string().swap(pending_);
            } else {
                pending_.append(piece);
            }
        }
        if (end == std::string_view::npos) {
            return;
        }
        bytes.remove_prefix(end + 1);
        each(take());
    }
}

std::optional<LineSplitter::Line> LineSplitter::finish() {
    if (pending_.empty() && !oversized_) {
        return std::nullopt;
    }
    return take();
}

LineSplitter::Line LineSplitter::take() {
    Line line;
    line.oversized = oversized_;
    if (!oversized_) {
        if (pending_.ends_with('\r')) {
            pending_.pop_back();
        }
        line.text = std::move(pending_);
    }
    pending_.clear();
    oversized_ = false;
    return line;
}

Server::Server(std::string version, ToolRunner runner)
    : version_(std::move(version))
    , runner_(std::move(runner)) {
    auto tools = std::make_shared<std::vector<Tool>>();
    for (const Agent::ToolDef& def : AgentTools::defs()) {
        Tool tool{def.name, def.description, Ordered::parse(def.inputSchemaJSON), {}, {}};
        for (const auto& [key, property] : tool.schema.at("properties").items()) {
            tool.types.emplace_back(key, property.value("type", ""));
        }
        for (const Ordered& key : tool.schema.value("required", Ordered::array())) {
            tool.required.push_back(key.get<std::string>());
        }
        tools->push_back(std::move(tool));
    }
    tools_ = std::move(tools);
}

void Server::receiveOversized(const Reply& reply) const {
    reply(errorLine(nullptr, invalidRequest,
                    "Message too large: a line may hold at most " + std::to_string(maxLineBytes) + " bytes"));
}

void Server::receive(std::string_view line, const Reply& reply) {
    if (isBlank(line)) {
        return;
    }
    const std::optional<Ordered> message = parsed(line);
    if (!message) {
        reply(errorLine(nullptr, parseError, "Parse error: the line is not JSON"));
        return;
    }
    if (!message->is_object()) {
        reply(errorLine(nullptr, invalidRequest,
                        message->is_array()
                            ? "Invalid request: batches are not supported, send one message a line"
                            : "Invalid request: expected a JSON-RPC object"));
        return;
    }
    const auto idField = message->find("id");
    const bool hasId = idField != message->end();
    const bool idValid = hasId && (idField->is_string() || idField->is_number_integer());
    const Ordered id = idValid ? *idField : Ordered(nullptr);
    const auto fail = [&](int code, const std::string& text) { reply(errorLine(id, code, text)); };

    if (message->value("jsonrpc", Ordered()) != "2.0") {
        fail(invalidRequest, "Invalid request: \"jsonrpc\" must be \"2.0\"");
        return;
    }
    if (hasId && !idValid) {
        fail(invalidRequest, "Invalid request: \"id\" must be a string or an integer");
        return;
    }
    const auto methodField = message->find("method");
    if (methodField == message->end()) {
        if (hasId && (message->contains("result") || message->contains("error"))) {
            return; // a response; this server sends no requests, so there is nothing to match it with
        }
        fail(invalidRequest, "Invalid request: \"method\" is missing");
        return;
    }
    if (!methodField->is_string()) {
        fail(invalidRequest, "Invalid request: \"method\" must be a string");
        return;
    }
    const std::string method = methodField->get<std::string>();
    Ordered params = message->value("params", Ordered());
    if (!params.is_null() && !params.is_object() && !params.is_array()) {
        fail(invalidRequest, "Invalid request: \"params\" must be an object");
        return;
    }

    if (!hasId) {
        if (method == "notifications/cancelled" && params.is_object()) {
            const auto request = params.find("requestId");
            if (request != params.end()) {
                const std::lock_guard lock(cancelled_->mutex);
                if (cancelled_->ids.size() < maxCancelled) {
                    cancelled_->ids.insert(dumped(*request));
                }
            }
        }
        return; // notifications are never answered, known or not
    }
    if (params.is_array()) {
        fail(invalidParams, "Invalid params: expected an object");
        return;
    }
    if (params.is_null()) {
        params = Ordered::object();
    }

    try {
        if (method == "initialize") {
            const auto asked = params.find("protocolVersion");
            if (asked == params.end() || !asked->is_string()) {
                fail(invalidParams, "Invalid params: \"protocolVersion\" must be a string");
                return;
            }
            reply(
                resultLine(id, Ordered{{"protocolVersion", negotiatedVersion(asked->get<std::string>())},
                                       {"capabilities", Ordered{{"tools", Ordered{{"listChanged", false}}}}},
                                       {"serverInfo", Ordered{{"name", "murmora"}, {"version", version_}}}}));
        } else if (method == "ping") {
            reply(resultLine(id, Ordered::object()));
        } else if (method == "tools/list") {
            Ordered list = Ordered::array();
            for (const Tool& tool : *tools_) {
                list.push_back(Ordered{
                    {"name", tool.name}, {"description", tool.description}, {"inputSchema", tool.schema}});
            }
            reply(resultLine(id, Ordered{{"tools", std::move(list)}}));
        } else if (method == "tools/call") {
            const auto name = params.find("name");
            if (name == params.end() || !name->is_string()) {
                fail(invalidParams, "Invalid params: \"name\" must be the name of a tool");
                return;
            }
            const auto tool = std::find_if(tools_->begin(), tools_->end(),
                                           [&](const Tool& each) { return each.name == *name; });
            if (tool == tools_->end()) {
                fail(invalidParams, "Unknown tool: " + name->get<std::string>());
                return;
            }
            const Ordered arguments = params.value("arguments", Ordered());
            if (!arguments.is_null() && !arguments.is_object()) {
                fail(invalidParams, "Invalid params: \"arguments\" must be an object");
                return;
            }
            const Ordered input = arguments.is_null() ? Ordered::object() : arguments;
            if (const std::optional<std::string> problem = tool->problem(input)) {
                fail(invalidParams, "Invalid arguments for tool " + tool->name + ": " + *problem);
                return;
            }
            const std::string key = dumped(id);
            {
                // A cancellation that came before this call (an id used again) is not for it.
                const std::lock_guard lock(cancelled_->mutex);
                cancelled_->ids.erase(key);
            }
            runner_(Agent::ToolUse{"mcp-" + key, tool->name, dumped(input)}, [reply, id, key,
                                                                              cancelled = cancelled_](
                                                                                 ToolAnswer answer) {
                {
                    const std::lock_guard lock(cancelled->mutex);
                    if (cancelled->ids.erase(key) > 0) {
                        return;
                    }
                }
                Ordered content = Ordered::array();
                content.push_back(
                    Ordered{{"type", "text"},
                            {"text", std::move(answer.result)},
                            {"annotations", Ordered{{"audience", Ordered::array({"assistant"})}}}});
                content.push_back(Ordered{{"type", "text"},
                                          {"text", std::move(answer.status)},
                                          {"annotations", Ordered{{"audience", Ordered::array({"user"})}}}});
                reply(resultLine(id, Ordered{{"content", std::move(content)}, {"isError", answer.failed}}));
            });
        } else {
            fail(methodNotFound, "Method not found: " + method);
        }
    } catch (const std::exception& error) {
        fail(internalError, std::string("Internal error: ") + error.what());
    }
}

} // namespace dovrel::Mcp
