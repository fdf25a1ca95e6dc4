#pragma once

#include "Foundation/Calendar.h"
#include "Foundation/Date.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// The number, time and text formatters every surface shares: the recap page, the cards, the screens, the
// prompts and the coach's tools. A count, a clock time or a reply speed reads the same everywhere.
//
// None of them fails: a value with no printable form (NaN, infinite, out of range) gives `dash`.
namespace dovrel::Format {

// What a value with no printable form shows: an en dash.
inline constexpr std::string_view dash = "\u2013";

// The value cut towards zero; absent when it has no 64-bit integer (NaN, infinite, out of range).
std::optional<std::int64_t> truncated(double value);
// The value cut towards zero in plain decimal, as every number in prompts and tool results.
std::string whole(double value);
// A fraction as a whole percentage, cut towards zero: 0.759 gives "75". No "%" sign.
std::string percent(double fraction);

// The integer with en_US grouping: 12345 gives "12,345".
std::string thousands(std::int64_t n);
// "42 seconds" (truncated) below 90 s, "12 minutes" (rounded, halves away from zero) below 5400 s, else
// "1.5 hours". Always plural: 1 gives "1 seconds".
std::string replySpeed(double seconds);
// "h:mm AM" on a 12-hour clock, 12 in place of 0: 45 gives "12:45 AM", 780 gives "1:00 PM". Minutes
// outside 0...1439 give a dash.
std::string clockTime(int minuteOfDay);
// "12am", "3pm": lower case, no blank. Hours outside 0...23 give a dash.
std::string hourLabel(int hour);
// A comparison to a personal baseline: "12% faster than your usual", "about your usual your usual",
// "2.5× slower than your usual", "30% slower than your usual".
std::string ratioChip(double ratio, std::string_view fasterWord, std::string_view slowerWord,
                      std::string_view unit);
// "waiting 47h" below two days, else "waiting 2d", each cut towards zero.
std::string waitingLabel(double hours);
// The age of something in the few characters a list row has: "just now", "{n}h ago", "{n}d ago",
// "{n}w ago" (below five weeks), "{n}mo ago" (months of 30 days). A negative age is "just now".
std::string shortAgo(double secondsAgo);

// The text on one line, every line break a blank, cut to its first `characters` user-perceived characters.
std::string oneLine(std::string_view text, std::size_t characters);
// The parts with `separator` between them.
std::string joined(const std::vector<std::string>& parts, std::string_view separator);

// A month and day ("Mar 5" in en_US, "5. März" in de_DE) and an abbreviated month and year ("Mar 2021"), in
// the order and words of `locale`.
std::string monthDay(Date date, const Calendar& calendar, std::string_view locale);
std::string monthYear(Date date, const Calendar& calendar, std::string_view locale);
// The full month and year ("March 2024").
std::string wideMonthYear(Date date, const Calendar& calendar, std::string_view locale);
// The heading of a day in a conversation: abbreviated weekday, month, day and year ("Tue, Mar 5, 2024").
std::string dayHeading(Date date, const Calendar& calendar, std::string_view locale);

} // namespace dovrel::Format
