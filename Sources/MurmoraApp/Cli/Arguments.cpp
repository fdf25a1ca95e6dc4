#include "Cli/Arguments.h"

#include "Foundation/Json.h"
#include "Foundation/Unicode.h"

#include <charconv>

namespace murmora::cli {
namespace {

const char* const learnUsage =
    "  learn [--days N]   learn from the Messages database of $HOME (default 365 days),\n"
    "                     save the profile and write the recap page\n";
const char* const toolUsage =
    "  tool NAME [INPUT-JSON] [--person NAME] [--days N]\n"
    "                     run one of the coach's tools (search, count, sample, timeline,\n"
    "                     window, person_stats, compare, overview, unanswered, groups,\n"
    "                     group_stats) with its JSON input, in a chat focused on the person\n"
    "                     --person names; print the status line, then the result. The\n"
    "                     messages are read over the saved profile's days, or N days\n";
const char* const coachUsage =
    "  coach [--person NAME] [--days N] [--] TEXT\n"
    "                     ask the coach, in the chat with the person --person names or the\n"
    "                     general one; tool status lines go to standard error, the answer\n"
    "                     to standard output (exit 3 when the relay's daily cap is used up).\n"
    "                     Put -- before a message that begins with a dash\n";
const char* const mcpUsage =
    "  mcp [--days N]     serve the coach's tools, read only, to a Model Context Protocol\n"
    "                     client over standard input and output, until the input ends\n";

const char* const screensUsage =
    "  screens --out DIR [--scale S] [--size WxH] [--dark]\n"
    "                     draw every screen and state of the window for the data of $HOME\n"
    "                     into PNG files in DIR (offscreen; default scale 2, size 1280x820)\n";

const char* const cardsUsage =
    "  cards --out DIR    draw every share card for the data of $HOME into PNG files in DIR at\n"
    "                     their pixel sizes, with cards.json listing them (offscreen)\n";

const char* nameOf(Command command) {
    switch (command) {
    case Command::learn:
        return "learn";
    case Command::tool:
        return "tool";
    case Command::coach:
        return "coach";
    case Command::screens:
        return "screens";
    case Command::cards:
        return "cards";
    case Command::mcp:
        return "mcp";
    case Command::help:
        break;
    }
    return "help";
}

bool isHelp(const std::string& argument) {
    return argument == "--help" || argument == "-h";
}

UsageError misuse(Command command, const std::string& what) {
    return UsageError{std::string(nameOf(command)) + ": " + what, command};
}

std::optional<int> wholeNumber(const std::string& text) {
    int value = 0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    if (text.empty() || error != std::errc() || stop != end) {
        return std::nullopt;
    }
    return value;
}

std::optional<int> wholeDays(const std::string& text) {
    int days = 0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, days);
    if (error != std::errc() || stop != end || days < fewestDays || days > mostDays) {
        return std::nullopt;
    }
    return days;
}

// Reads the options every command shares; returns true when `arguments[i]` was one (moving `i` past a value).
std::optional<UsageError> sharedOption(const std::vector<std::string>& arguments, std::size_t& i,
                                       Invocation& invocation, bool& taken) {
    const std::string& argument = arguments[i];
    taken = true;
    if (isHelp(argument)) {
        invocation.help = true;
    } else if (argument == "--days") {
        const std::optional<int> days = i + 1 < arguments.size() ? wholeDays(arguments[i + 1]) : std::nullopt;
        if (!days) {
            return misuse(invocation.command, "expected --days N with N a whole number from " +
                                                  std::to_string(fewestDays) + " to " +
                                                  std::to_string(mostDays));
        }
        invocation.days = days;
        ++i;
    } else if (argument == "--person" && invocation.command != Command::learn &&
               invocation.command != Command::mcp) {
        if (i + 1 == arguments.size() || arguments[i + 1].empty()) {
            return misuse(invocation.command, "expected a name after --person");
        }
        invocation.person = arguments[++i];
    } else {
        taken = false;
    }
    return std::nullopt;
}

std::optional<UsageError> screensOption(const std::vector<std::string>& arguments, std::size_t& i,
                                        Invocation& invocation) {
    const std::string& argument = arguments[i];
    const bool hasValue = i + 1 < arguments.size();
    if (isHelp(argument)) {
        invocation.help = true;
    } else if (argument == "--dark" && invocation.command == Command::screens) {
        invocation.dark = true;
    } else if (argument == "--out" && hasValue && !arguments[i + 1].empty()) {
        invocation.outFolder = arguments[++i];
    } else if (argument == "--scale" && hasValue && invocation.command == Command::screens) {
        const std::string& text = arguments[++i];
        double scale = 0;
        const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), scale);
        if (error != std::errc() || stop != text.data() + text.size() || !(scale >= 0.5 && scale <= 4)) {
            return misuse(Command::screens, "expected --scale S with S from 0.5 to 4");
        }
        invocation.scale = scale;
    } else if (argument == "--size" && hasValue && invocation.command == Command::screens) {
        const std::string& text = arguments[++i];
        const std::size_t x = text.find('x');
        const std::optional<int> width =
            x == std::string::npos ? std::nullopt : wholeNumber(text.substr(0, x));
        const std::optional<int> height =
            x == std::string::npos ? std::nullopt : wholeNumber(text.substr(x + 1));
        if (!width || !height || *width < 400 || *height < 300 || *width > 4000 || *height > 4000) {
            return misuse(Command::screens,
                          "expected --size WxH, such as 1280x820 (from 400x300 to 4000x4000)");
        }
        invocation.width = *width;
        invocation.height = *height;
    } else {
        return misuse(invocation.command, "unexpected argument " + argument);
    }
    return std::nullopt;
}

} // namespace

std::variant<Invocation, UsageError> parseArguments(const std::vector<std::string>& arguments) {
    if (arguments.empty()) {
        return UsageError{"missing command", std::nullopt};
    }
    Invocation invocation;
    const std::string& command = arguments.front();
    if (command == "learn") {
        invocation.command = Command::learn;
    } else if (command == "tool") {
        invocation.command = Command::tool;
    } else if (command == "coach") {
        invocation.command = Command::coach;
    } else if (command == "screens") {
        invocation.command = Command::screens;
    } else if (command == "cards") {
        invocation.command = Command::cards;
    } else if (command == "mcp") {
        invocation.command = Command::mcp;
    } else if (command == "help" || isHelp(command)) {
        invocation.help = true;
        return invocation;
    } else {
        return UsageError{"unknown command: " + command, std::nullopt};
    }

    std::vector<std::string> words;
    bool optionsEnded = false;
    for (std::size_t i = 1; i < arguments.size(); ++i) {
        const std::string& argument = arguments[i];
        if (!optionsEnded && invocation.command == Command::coach && argument == "--") {
            optionsEnded = true;
            continue;
        }
        if (invocation.command == Command::screens || invocation.command == Command::cards) {
            if (auto error = screensOption(arguments, i, invocation)) {
                return *error;
            }
            continue;
        }
        if (!optionsEnded) {
            bool taken = false;
            if (auto error = sharedOption(arguments, i, invocation, taken)) {
                return *error;
            }
            if (taken) {
                continue;
            }
            if (argument.starts_with("--")) {
                return misuse(invocation.command, "unknown option " + argument);
            }
        }
        words.push_back(argument);
    }
    if (invocation.help) {
        return invocation;
    }

    switch (invocation.command) {
    case Command::learn:
    case Command::mcp:
        if (!words.empty()) {
            return misuse(invocation.command, "unexpected argument " + words.front());
        }
        break;
    case Command::tool: {
        if (words.empty() || words.front().empty()) {
            return misuse(Command::tool, "expected the name of a tool");
        }
        if (words.size() > 2) {
            return misuse(Command::tool, "unexpected argument " + words[2]);
        }
        invocation.toolName = words.front();
        if (words.size() == 2) {
            invocation.toolInput = words[1];
        }
        const std::optional<dovrel::json::Json> input = dovrel::json::parseBounded(invocation.toolInput);
        if (!input) {
            return UsageError{"tool: INPUT-JSON is not valid JSON", Command::tool};
        }
        if (!input->is_object()) {
            return UsageError{"tool: INPUT-JSON must be a JSON object, such as '{\"terms\":\"dinner\"}'",
                              Command::tool};
        }
        break;
    }
    case Command::coach: {
        std::string joined;
        for (const std::string& word : words) {
            joined += joined.empty() ? word : " " + word;
        }
        invocation.text = std::string(dovrel::unicode::trimmed(joined));
        if (invocation.text.empty()) {
            return misuse(Command::coach, "expected a message");
        }
        break;
    }
    case Command::screens:
    case Command::cards:
        if (invocation.outFolder.empty()) {
            return misuse(invocation.command, "expected --out DIR");
        }
        break;
    case Command::help:
        break;
    }
    return invocation;
}

std::string usage(std::optional<Command> command) {
    if (command == Command::learn) {
        return std::string("usage: murmora-cli ") + (learnUsage + 2);
    }
    if (command == Command::tool) {
        return std::string("usage: murmora-cli ") + (toolUsage + 2);
    }
    if (command == Command::coach) {
        return std::string("usage: murmora-cli ") + (coachUsage + 2);
    }
    if (command == Command::screens) {
        return std::string("usage: murmora-cli ") + (screensUsage + 2);
    }
    if (command == Command::cards) {
        return std::string("usage: murmora-cli ") + (cardsUsage + 2);
    }
    if (command == Command::mcp) {
        return std::string("usage: murmora-cli ") + (mcpUsage + 2);
    }
    return std::string("usage: murmora-cli <command>\n\ncommands:\n") + learnUsage + toolUsage + coachUsage +
           mcpUsage + screensUsage + cardsUsage + "  help               print this text\n";
}

} // namespace murmora::cli
