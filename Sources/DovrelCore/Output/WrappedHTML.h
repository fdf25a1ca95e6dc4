#pragma once

#include "Foundation/Calendar.h"
#include "Measurement/LocalArchetype.h"
#include "Measurement/WrappedStats.h"

#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <string_view>

// The recap page and the number and time formatters every surface uses, so that a count, a clock time
// or a reply speed reads the same on the page, the cards and the screens.
namespace dovrel::WrappedHTML {

// "h:mm AM" on a 12-hour clock, 12 in place of 0: 45 gives "12:45 AM", 780 gives "1:00 PM".
std::string clockTime(int minuteOfDay);

// The integer with en_US grouping: 12345 gives "12,345".
std::string thousands(std::int64_t n);

// "42 seconds" (truncated) below 90 s, "12 minutes" (rounded) below 5400 s, else "1.5 hours".
// Always plural: 1 gives "1 seconds".
std::string replySpeed(double seconds);

// "12am", "3pm": lower case, no blank.
std::string hourLabel(int hour);

// The verdicts on a median reply time, a median text length and a median last-text minute of the day.
std::string replyLine(double seconds);
std::string lengthLine(int chars);
std::string nightLine(int minuteOfDay);

// Replaces &, <, > and the double quote by their entities. The single quote is left alone.
std::string escape(std::string_view text);

// The whole recap page, a self-contained HTML document. `names` maps a handle to the name to show for it;
// `calendar` gives the time zone of the dates on the page. Never fails.
std::string render(const WrappedStats& stats, const std::map<std::string, std::string>& names,
                   const std::optional<Archetype>& archetype, const Calendar& calendar);

// Writes `html` as UTF-8, atomically, to a new file "murmora-wrapped-{UUID}.html" in the temporary folder,
// and returns its path. Earlier files are left in place. Throws std::filesystem::filesystem_error or
// std::runtime_error when the file cannot be written.
std::filesystem::path writeToTemporaryFolder(std::string_view html);

} // namespace dovrel::WrappedHTML
