#pragma once

#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace murmora::cli {

enum class Command { learn, tool, coach, screens, cards, mcp, help };

// One command line, checked: what runs is known to be well formed.
struct Invocation {
    Command command = Command::help;
    // `--help` (or `-h`) after a command: print that command's usage, run nothing.
    bool help = false;
    std::optional<int> days;
    std::optional<std::string> person;
    std::string toolName;         // never empty for `tool`
    std::string toolInput = "{}"; // a JSON object
    std::string text;             // the coach's message, trimmed, never empty for `coach`
    std::string outFolder;        // never empty for `screens` and `cards`
    double scale = 2;             // device pixels per point of the pictures
    int width = 1280;             // the window, in points
    int height = 820;
    bool dark = false; // dark appearance instead of light
};

// Misuse: what was wrong, and which command's usage to print after it (none: the whole usage).
struct UsageError {
    std::string message;
    std::optional<Command> command;
};

inline constexpr int fewestDays = 1;
inline constexpr int mostDays = 36500;

// The arguments after the program's name.
std::variant<Invocation, UsageError> parseArguments(const std::vector<std::string>& arguments);

// The usage of one command, or of all of them.
std::string usage(std::optional<Command> command = std::nullopt);

} // namespace murmora::cli
