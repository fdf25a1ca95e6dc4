#include "Format/Format.h"

#include "Foundation/Unicode.h"

#include <cmath>
#include <cstdio>
#include <map>
#include <mutex>
#include <unicode/dtptngen.h>
#include <unicode/numberformatter.h>

namespace dovrel::Format {
namespace {

// 2^63: the first double above every int64.
constexpr double int64Limit = 9'223'372'036'854'775'808.0;

std::string printed(const char* format, double value) {
    char text[64];
    const int length = std::snprintf(text, sizeof text, format, value);
    if (length < 0 || static_cast<std::size_t>(length) >= sizeof text) {
        return std::string(dash);
    }
    return text;
}

bool isLineBreak(std::string_view grapheme) {
    return grapheme == "\n" || grapheme == "\r" || grapheme == "\r\n" || grapheme == "\v" ||
           grapheme == "\f" || grapheme == "\u0085" || grapheme == "\u2028" || grapheme == "\u2029";
}

// The locale's pattern for a skeleton; building a generator is slow, so each pair is asked once.
std::string patternFor(std::string_view skeleton, std::string_view locale) {
    static std::mutex mutex;
    static std::map<std::pair<std::string, std::string>, std::string> patterns;
    const std::pair<std::string, std::string> key{std::string(skeleton), std::string(locale)};
    const std::lock_guard lock(mutex);
    if (const auto found = patterns.find(key); found != patterns.end()) {
        return found->second;
    }
    std::string pattern;
    UErrorCode status = U_ZERO_ERROR;
    const std::unique_ptr<icu::DateTimePatternGenerator> generator(
        icu::DateTimePatternGenerator::createInstance(icu::Locale(key.second.c_str()), status));
    if (U_SUCCESS(status) && generator) {
        const icu::UnicodeString best =
            generator->getBestPattern(icu::UnicodeString::fromUTF8(key.first), status);
        if (U_SUCCESS(status)) {
            best.toUTF8String(pattern);
        }
    }
    if (pattern.empty()) {
        pattern = key.first == "MMMd" ? "MMM d" : "MMM y";
    }
    return patterns.emplace(key, pattern).first->second;
}

} // namespace

std::optional<std::int64_t> truncated(double value) {
    const double cut = std::trunc(value);
    if (!(cut >= -int64Limit && cut < int64Limit)) {
        return std::nullopt; // NaN fails both tests
    }
    return static_cast<std::int64_t>(cut);
}

std::string whole(double value) {
    const std::optional<std::int64_t> cut = truncated(value);
    return cut ? std::to_string(*cut) : std::string(dash);
}

std::string percent(double fraction) {
    return whole(fraction * 100.0);
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
    if (std::isnan(seconds)) {
        return std::string(dash);
    }
    if (seconds < 90) {
        return whole(seconds) + " seconds";
    }
    if (seconds < 5400) {
        return whole(std::round(seconds / 60)) + " minutes"; // std::round takes halves away from zero
    }
    return printed("%.1f hours", seconds / 3600);
}

std::string clockTime(int minuteOfDay) {
    if (minuteOfDay < 0 || minuteOfDay >= 1440) {
        return std::string(dash);
    }
    const int hour = (minuteOfDay / 60) % 12;
    char text[32];
    std::snprintf(text, sizeof text, "%d:%02d %s", hour == 0 ? 12 : hour, minuteOfDay % 60,
                  minuteOfDay < 720 ? "AM" : "PM");
    return text;
}

std::string hourLabel(int hour) {
    if (hour < 0 || hour >= 24) {
        return std::string(dash);
    }
    const int twelve = hour % 12;
    return std::to_string(twelve == 0 ? 12 : twelve) + (hour < 12 ? "am" : "pm");
}

std::string ratioChip(double ratio, std::string_view fasterWord, std::string_view slowerWord,
                      std::string_view unit) {
    if (!std::isfinite(ratio)) {
        return std::string(dash);
    }
    const std::string tail = std::string(unit);
    if (ratio < 0.95) {
        return whole((1 - ratio) * 100) + "% " + std::string(fasterWord) + " " + tail;
    }
    if (ratio <= 1.05) {
        return "about your usual " + tail;
    }
    if (ratio >= 2) {
        return printed("%.1f", ratio) + "\u00D7 " + std::string(slowerWord) + " " + tail;
    }
    return whole((ratio - 1) * 100) + "% " + std::string(slowerWord) + " " + tail;
}

std::string waitingLabel(double hours) {
    if (std::isnan(hours)) {
        return std::string(dash);
    }
    return hours < 48 ? "waiting " + whole(hours) + "h" : "waiting " + whole(hours / 24) + "d";
}

std::string shortAgo(double secondsAgo) {
    constexpr double hour = 3600.0;
    constexpr double day = 86400.0;
    constexpr double week = 604800.0;
    constexpr double fiveWeeks = 3024000.0;
    constexpr double month = 2592000.0;
    if (std::isnan(secondsAgo)) {
        return std::string(dash);
    }
    if (secondsAgo < hour) {
        return "just now";
    }
    if (secondsAgo < day) {
        return whole(secondsAgo / hour) + "h ago";
    }
    if (secondsAgo < week) {
        return whole(secondsAgo / day) + "d ago";
    }
    if (secondsAgo < fiveWeeks) {
        return whole(secondsAgo / week) + "w ago";
    }
    return whole(secondsAgo / month) + "mo ago";
}

std::string oneLine(std::string_view text, std::size_t characters) {
    std::string line;
    line.reserve(std::min(text.size(), characters * 4));
    std::size_t kept = 0;
    unicode::forEachGrapheme(text, [&](std::string_view grapheme) {
        if (kept == characters) {
            return;
        }
        ++kept;
        if (isLineBreak(grapheme)) {
            line += ' ';
        } else {
            line += grapheme;
        }
    });
    return line;
}

std::string joined(const std::vector<std::string>& parts, std::string_view separator) {
    std::string out;
    for (std::size_t i = 0; i < parts.size(); ++i) {
        if (i > 0) {
            out += separator;
        }
        out += parts[i];
    }
    return out;
}

std::string monthDay(Date date, const Calendar& calendar, std::string_view locale) {
    return calendar.format(date, patternFor("MMMd", locale), locale);
}

std::string monthYear(Date date, const Calendar& calendar, std::string_view locale) {
    return calendar.format(date, patternFor("yMMM", locale), locale);
}

std::string wideMonthYear(Date date, const Calendar& calendar, std::string_view locale) {
    return calendar.format(date, patternFor("yMMMM", locale), locale);
}

std::string dayHeading(Date date, const Calendar& calendar, std::string_view locale) {
    return calendar.format(date, patternFor("yMMMEd", locale), locale);
}

} // namespace dovrel::Format
