// Arbitrary bytes as a command line: NUL bytes separate the arguments. Parsing must end in an invocation or
// a usage error, never a crash, and what it lets through must be safe to run: a tool call has a name and a
// JSON object as its input, a coach message is trimmed and not empty, days are in range, and asking for
// help runs nothing. Every usage error prints a usage text.
#include "Cli/Arguments.h"
#include "Foundation/Json.h"

#include <cstdlib>
#include <string>
#include <variant>
#include <vector>

namespace {

void require(bool condition) {
    if (!condition) {
        std::abort();
    }
}

bool isBlank(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::vector<std::string> arguments(1);
    for (std::size_t i = 0; i < size; ++i) {
        if (data[i] == 0) {
            arguments.emplace_back();
        } else {
            arguments.back().push_back(static_cast<char>(data[i]));
        }
    }
    if (size == 0) {
        arguments.clear();
    }

    using namespace murmora::cli;
    const std::variant<Invocation, UsageError> parsed = parseArguments(arguments);
    if (const auto* error = std::get_if<UsageError>(&parsed)) {
        require(!error->message.empty());
        require(usage(error->command).starts_with("usage: murmora-cli "));
        return 0;
    }
    const Invocation& invocation = std::get<Invocation>(parsed);
    require(!arguments.empty());
    if (invocation.days) {
        require(*invocation.days >= fewestDays && *invocation.days <= mostDays);
    }
    if (invocation.help || invocation.command == Command::help) {
        return 0;
    }
    switch (invocation.command) {
    case Command::tool: {
        require(!invocation.toolName.empty());
        const std::optional<dovrel::json::Json> input = dovrel::json::parseBounded(invocation.toolInput);
        require(input.has_value() && input->is_object());
        break;
    }
    case Command::coach:
        require(!invocation.text.empty() && !isBlank(invocation.text.front()) &&
                !isBlank(invocation.text.back()));
        break;
    case Command::screens:
    case Command::cards:
        require(!invocation.outFolder.empty());
        require(invocation.scale >= 0.5 && invocation.scale <= 4);
        break;
    case Command::learn:
    case Command::mcp:
    case Command::help:
        break;
    }
    return 0;
}
