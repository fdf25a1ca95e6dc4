#pragma once

// The search layer under the coach's tools: find, count, sample and window messages of one-to-one threads.
// Pure functions; there is no index, every call scans what it is given.

#include "Foundation/Calendar.h"
#include "Foundation/Date.h"
#include "MessageSources/MessageRecords.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace dovrel::CorpusTools {

// One message found.
struct Hit {
    Date date;
    std::string handleID; // the thread's handle
    bool isFromMe = false;
    std::string text; // unchanged

    bool operator==(const Hit&) const = default;
};

struct MonthCount {
    Date month; // the first instant of the month in the calendar used
    int count = 0;

    bool operator==(const MonthCount&) const = default;
};

// Threads are passed by reference so that a search over the application's map copies nothing.
using Threads = std::span<const ContactThread* const>;

// The terms lower-cased, then trimmed of blanks and tabs (not line breaks); empty ones dropped. Order and
// duplicates are kept.
std::vector<std::string> needles(std::span<const std::string> terms);

// The years a day may name: what a four-digit year can write and the calendar can hold.
inline constexpr std::int64_t firstYear = 1;
inline constexpr std::int64_t lastYear = 9999;

// "YYYY-MM-DD" as the start of that day in `calendar`. Pieces between "-" that are no decimal integer are
// dropped; exactly three must remain, and they must name a day that exists ("2026-02-30" does not) in a
// year from `firstYear` to `lastYear`.
std::optional<Date> parseDay(const std::optional<std::string>& text, const Calendar& calendar);
// Three integers that name no day: "2025-13-45", "2026-02-30", a year millions of years away. A text
// without three integers is no day at all rather than a malformed one.
bool isMalformedDay(const std::optional<std::string>& text, const Calendar& calendar);

// `from` is "me", "them", or anything else for both sides. `start` drops earlier messages; `end` drops
// messages at or after `end` + 86,400 seconds, plain seconds even on a day with a clock change.
//
// Messages whose lower-cased text holds any needle as a plain substring, newest first (equal dates keep
// the order of threads and messages), at most `limit`. No needles or a limit of 0 or less: none.
std::vector<Hit> search(Threads threads, std::span<const std::string> terms, std::string_view from,
                        std::int64_t limit, std::optional<Date> start, std::optional<Date> end);

// Matches per month of `calendar`, oldest month first.
std::vector<MonthCount> countByMonth(Threads threads, std::span<const std::string> terms,
                                     std::string_view from, const Calendar& calendar,
                                     std::optional<Date> start, std::optional<Date> end);

// The newest `limit` messages from the side `from` asks for, newest first.
std::vector<Hit> sample(Threads threads, std::string_view from, std::int64_t limit);

// The `limit` messages nearest to `around` (equal distances keep the thread's order), oldest first.
std::vector<Hit> window(const ContactThread& thread, Date around, std::int64_t limit);

// Tests a text for any of a set of needles, lower-casing it into a buffer that is reused from call to call.
// Shared by the searches of one-to-one threads and of groups.
class Matcher {
public:
    explicit Matcher(std::span<const std::string> terms);

    bool hasNeedles() const { return !needles_.empty(); }
    bool matches(std::string_view text);

private:
    std::vector<std::string> needles_;
    std::string lowered_;
};

// The date test of every search: not before `start`, and before `end` + 86,400 seconds.
inline bool withinDays(Date date, const std::optional<Date>& start, const std::optional<Date>& end) {
    return !(start && date < *start) && !(end && date >= *end + 86400.0);
}

// Positions of the `limit` dates nearest to `around` (equal distances keep their order), sorted by date with
// equal dates in their order. A limit of 0 or less gives none.
std::vector<std::size_t> nearestIndices(std::span<const Date> dates, Date around, std::int64_t limit);

// The same functions over threads held by value.
std::vector<const ContactThread*> references(std::span<const ContactThread> threads);

inline std::vector<Hit> search(std::span<const ContactThread> threads, std::span<const std::string> terms,
                               std::string_view from, std::int64_t limit, std::optional<Date> start,
                               std::optional<Date> end) {
    return search(references(threads), terms, from, limit, start, end);
}
inline std::vector<MonthCount> countByMonth(std::span<const ContactThread> threads,
                                            std::span<const std::string> terms, std::string_view from,
                                            const Calendar& calendar, std::optional<Date> start,
                                            std::optional<Date> end) {
    return countByMonth(references(threads), terms, from, calendar, start, end);
}
inline std::vector<Hit> sample(std::span<const ContactThread> threads, std::string_view from,
                               std::int64_t limit) {
    return sample(references(threads), from, limit);
}

} // namespace dovrel::CorpusTools
