#include "DemoHomeGenerator.h"

#include <charconv>
#include <cstdint>
#include <exception>
#include <iostream>
#include <optional>
#include <string>
#include <string_view>

namespace {

constexpr int kUsageError = 2;
constexpr int kRefused = 2;
constexpr int kFailed = 1;

void printUsage(std::ostream& out) {
    out << "usage: demo-home --out DIR [--seed N] [--messages N] [--now UNIX_SECONDS] [--force]\n"
           "  --out DIR         folder to write Library/... and summary.json into\n"
           "  --seed N          seed of the generated content (default 1)\n"
           "  --messages N      rows in the message table, roughly (default 30000)\n"
           "  --now SECONDS     end of the fourteen months, as a UNIX time (default today 00:00 UTC)\n"
           "  --force           replace the generated files if DIR already has a chat.db\n";
}

template <typename T> std::optional<T> parseNumber(std::string_view text) {
    T value{};
    const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (ec != std::errc() || end != text.data() + text.size()) {
        return std::nullopt;
    }
    return value;
}

struct UsageError {
    std::string message;
};

} // namespace

int main(int argc, char** argv) {
    demohome::DemoHomeOptions options;
    try {
        for (int i = 1; i < argc; ++i) {
            const std::string_view arg = argv[i];
            auto value = [&]() -> std::string_view {
                if (i + 1 >= argc) {
                    throw UsageError{std::string(arg) + " needs a value"};
                }
                return argv[++i];
            };
            if (arg == "--out") {
                options.outDir = std::string(value());
            } else if (arg == "--seed") {
                const auto text = value();
                const auto seed = parseNumber<std::uint64_t>(text);
                if (!seed) {
                    throw UsageError{"--seed must be a non-negative integer, not \"" + std::string(text) +
                                     "\""};
                }
                options.seed = *seed;
            } else if (arg == "--messages") {
                const auto text = value();
                const auto count = parseNumber<std::int64_t>(text);
                if (!count) {
                    throw UsageError{"--messages must be an integer, not \"" + std::string(text) + "\""};
                }
                options.messages = *count;
            } else if (arg == "--now") {
                const auto text = value();
                const auto now = parseNumber<std::int64_t>(text);
                if (!now) {
                    throw UsageError{"--now must be a UNIX time in seconds, not \"" + std::string(text) +
                                     "\""};
                }
                options.nowUnixSeconds = *now;
            } else if (arg == "--force") {
                options.force = true;
            } else if (arg == "--help" || arg == "-h") {
                printUsage(std::cout);
                return 0;
            } else {
                throw UsageError{"unknown argument \"" + std::string(arg) + "\""};
            }
        }
        if (options.outDir.empty()) {
            throw UsageError{"--out is required"};
        }
    } catch (const UsageError& error) {
        std::cerr << "demo-home: " << error.message << "\n";
        printUsage(std::cerr);
        return kUsageError;
    }

    try {
        const demohome::DemoHomeResult result = demohome::generateDemoHome(options);
        std::cout << "demo-home: wrote " << result.messageRows << " messages to " << options.outDir.string()
                  << " (" << result.rowsInWal << " of them still in chat.db-wal)\n";
        return 0;
    } catch (const demohome::DemoHomeExistsError& error) {
        std::cerr << "demo-home: " << error.what() << "\n";
        return kRefused;
    } catch (const std::invalid_argument& error) {
        std::cerr << "demo-home: " << error.what() << "\n";
        return kUsageError;
    } catch (const std::exception& error) {
        std::cerr << "demo-home: error: " << error.what() << "\n";
        return kFailed;
    }
}
