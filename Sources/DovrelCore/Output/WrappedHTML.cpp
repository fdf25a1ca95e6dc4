#include "Output/WrappedHTML.h"

#include <cstdio>
#include <optional>
#include <unicode/numberformatter.h>

namespace dovrel::WrappedHTML {

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

} // namespace dovrel::WrappedHTML
