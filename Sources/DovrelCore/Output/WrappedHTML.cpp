#include "Output/WrappedHTML.h"

#include "Foundation/TemporaryFolder.h"
#include "Foundation/UUID.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <optional>
#include <stdexcept>
#include <unicode/numberformatter.h>

namespace dovrel::WrappedHTML {

namespace {

// A whole number from a double the way a checked integer conversion does it: a value that has no
// integer (not finite, or out of range) is a programming error and stops the program.
long long checkedInteger(double value) {
    if (!std::isfinite(value) || value <= -9.2e18 || value >= 9.2e18) {
        std::abort();
    }
    return static_cast<long long>(value);
}

} // namespace

std::string clockTime(int minuteOfDay) {
    int hour = (minuteOfDay / 60) % 12;
    if (hour == 0) {
        hour = 12;
    }
    char text[32];
    std::snprintf(text, sizeof text, "%d:%02d %s", hour, minuteOfDay % 60, minuteOfDay < 720 ? "AM" : "PM");
    return text;
}

std::string thousands(std::int64_t n) {
    // A localized formatter is immutable and safe to use from several threads.
    static const std::optional<icu::number::LocalizedNumberFormatter> formatter =
        []() -> std::optional<icu::number::LocalizedNumberFormatter> {
        return icu::number::NumberFormatter::withLocale(icu::Locale("en_US"));
    }();
    if (formatter) {
        UErrorCode status = U_ZERO_ERROR;
        const icu::UnicodeString formatted = formatter->formatInt(n, status).toString(status);
        std::string text;
        formatted.toUTF8String(text);
        if (U_SUCCESS(status) && !text.empty()) {
            return text;
        }
    }
    return std::to_string(n);
}

std::string replySpeed(double seconds) {
    if (seconds < 90) {
        return std::to_string(checkedInteger(seconds)) + " seconds";
    }
    if (seconds < 5400) {
        // std::round takes halves away from zero.
        return std::to_string(checkedInteger(std::round(seconds / 60))) + " minutes";
    }
    char text[64];
    std::snprintf(text, sizeof text, "%.1f hours", seconds / 3600);
    return text;
}

std::string hourLabel(int hour) {
    int twelve = hour % 12;
    if (twelve == 0) {
        twelve = 12;
    }
    return std::to_string(twelve) + (hour < 12 ? "am" : "pm");
}

std::string replyLine(double seconds) {
    if (seconds < 60) {
        return "You don't leave people hanging.";
    }
    if (seconds < 300) {
        return "Quick thumbs. Reliable heart.";
    }
    if (seconds < 3600) {
        return "You get there. Eventually.";
    }
    return "A slow burn. They wait for you.";
}

std::string lengthLine(int chars) {
    if (chars < 20) {
        return "A person of few words.";
    }
    if (chars < 60) {
        return "Right-sized thoughts.";
    }
    return "You don't text. You correspond.";
}

std::string nightLine(int minuteOfDay) {
    // 23:00 to 03:59 wraps around midnight.
    if (minuteOfDay < 240 || minuteOfDay > 1379) {
        return "Night owl. Confirmed by the data.";
    }
    if (minuteOfDay < 1260) {
        return "You actually sleep. Impressive.";
    }
    return "Respectable bedtime. Mostly.";
}

std::string escape(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    for (const char c : text) {
        switch (c) {
        case '&':
            out += "&amp;";
            break;
        case '<':
            out += "&lt;";
            break;
        case '>':
            out += "&gt;";
            break;
        case '"':
            out += "&quot;";
            break;
        default:
            out += c;
        }
    }
    return out;
}

std::filesystem::path writeToTemporaryFolder(std::string_view html) {
    namespace fs = std::filesystem;
    const fs::path folder = temporaryFolder();
    const std::string uuid = makeUUID();
    const fs::path target = folder / ("murmora-wrapped-" + uuid + ".html");
    // Written beside the target under another name, then renamed over it, so no reader sees half a page.
    const fs::path staging = folder / (".murmora-wrapped-" + uuid + ".html.partial");
    try {
        {
            std::ofstream out(staging, std::ios::binary | std::ios::trunc);
            out.write(html.data(), static_cast<std::streamsize>(html.size()));
            out.flush();
            if (!out) {
                throw std::runtime_error("cannot write " + staging.string());
            }
        }
        fs::rename(staging, target);
    } catch (...) {
        std::error_code ignored;
        fs::remove(staging, ignored);
        throw;
    }
    return target;
}

} // namespace dovrel::WrappedHTML
