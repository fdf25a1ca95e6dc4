#include "Coach/CorpusTools.h"

#include "Foundation/Unicode.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstring>
#include <exception>
#include <limits>
#include <map>
#include <numeric>
#include <unicode/uchar.h>

namespace dovrel::CorpusTools {
namespace {

enum class Side { me, them, both };

Side side(std::string_view from) {
    if (from == "me") {
        return Side::me;
    }
    if (from == "them") {
        return Side::them;
    }
    return Side::both;
}

bool passes(const RawMessage& message, Side side) {
    return side == Side::both || message.isFromMe == (side == Side::me);
}

// A message found, before it is copied out: only the ones that survive the cut become hits.
struct Found {
    Date date;
    std::size_t order; // position in the walk, which breaks ties between equal dates
    const ContactThread* thread;
    const RawMessage* message;
};

// The first `limit` of `found` by date, newest first, equal dates in walk order, as hits.
std::vector<Hit> newestFirst(std::vector<Found>& found, std::size_t limit) {
    const auto newer = [](const Found& a, const Found& b) {
        return a.date > b.date || (a.date == b.date && a.order < b.order);
    };
    if (found.size() > limit) {
        std::partial_sort(found.begin(), found.begin() + static_cast<std::ptrdiff_t>(limit), found.end(),
                          newer);
        found.resize(limit);
    } else {
        std::sort(found.begin(), found.end(), newer);
    }
    std::vector<Hit> hits;
    hits.reserve(found.size());
    for (const Found& f : found) {
        hits.push_back(Hit{f.date, f.thread->handleID, f.message->isFromMe, f.message->text});
    }
    return hits;
}

// A decimal integer with an optional "+", as a whole piece.
std::optional<std::int64_t> integer(std::string_view piece) {
    if (!piece.empty() && piece.front() == '+') {
        piece.remove_prefix(1);
    }
    if (piece.empty() ||
        !std::all_of(piece.begin(), piece.end(), [](char c) { return c >= '0' && c <= '9'; })) {
        return std::nullopt;
    }
    std::int64_t value = 0;
    const auto [end, error] = std::from_chars(piece.data(), piece.data() + piece.size(), value);
    if (error != std::errc() || end != piece.data() + piece.size()) {
        return std::nullopt;
    }
    return value;
}

// The month key of dates, from the calendar's year and month. Messages come in date order within a thread,
// so the span of the last month asked is kept and most dates never reach the calendar. The span stops a day
// short of the next month, which keeps it inside the month whatever the clock does around midnight.
class MonthKeys {
public:
    explicit MonthKeys(const Calendar& calendar)
        : calendar_(calendar) {}

    Date key(Date date) {
        if (valid_ && date >= key_ && date < until_) {
            return key_;
        }
        const int year = calendar_.year(date);
        const int month = calendar_.month(date);
        key_ = calendar_.date(year, month, 1);
        until_ = calendar_.date(year, month + 1, 1) - 86400.0;
        valid_ = true;
        return key_;
    }

private:
    const Calendar& calendar_;
    bool valid_ = false;
    Date key_;
    Date until_;
};

constexpr std::uint64_t highBits = 0x8080808080808080ULL;

// Lower-cases the capitals of eight ASCII bytes at once: a byte gets 0x20 added exactly when it lies in
// 'A'...'Z', found by two additions that carry into the byte's high bit (no byte carries into the next).
std::uint64_t lowerASCII(std::uint64_t word) {
    constexpr std::uint64_t ones = 0x0101010101010101ULL;
    const std::uint64_t atLeastA = word + ones * (0x80 - 'A');
    const std::uint64_t aboveZ = word + ones * (0x80 - 'Z' - 1);
    return word | (((atLeastA ^ aboveZ) & highBits) >> 2);
}

} // namespace

std::vector<std::string> needles(std::span<const std::string> terms) {
    std::vector<std::string> out;
    for (const std::string& term : terms) {
        const std::string lowered = unicode::lowercased(term);
        const std::string_view needle = unicode::trimming(lowered, unicode::isBlank);
        if (!needle.empty()) {
            out.emplace_back(needle);
        }
    }
    return out;
}

namespace {

// The decimal integers between "-", other pieces dropped; absent unless exactly three remain.
std::optional<std::array<std::int64_t, 3>> dayParts(const std::optional<std::string>& text) {
    if (!text) {
        return std::nullopt;
    }
    std::vector<std::int64_t> parts;
    std::string_view rest = *text;
    while (!rest.empty()) {
        const std::size_t dash = rest.find('-');
        if (const std::optional<std::int64_t> value = integer(rest.substr(0, dash))) {
            parts.push_back(*value);
        }
        rest = dash == std::string_view::npos ? std::string_view() : rest.substr(dash + 1);
    }
    if (parts.size() != 3) {
        return std::nullopt;
    }
    return std::array<std::int64_t, 3>{parts[0], parts[1], parts[2]};
}

} // namespace

std::optional<Date> parseDay(const std::optional<std::string>& text, const Calendar& calendar) {
    const std::optional<std::array<std::int64_t, 3>> parts = dayParts(text);
    if (!parts) {
        return std::nullopt;
    }
    const auto [year, month, day] = *parts;
    if (year < firstYear || year > lastYear || month < 1 || month > 12 || day < 1 || day > 31) {
        return std::nullopt;
    }
    try {
        const Date date =
            calendar.date(static_cast<int>(year), static_cast<int>(month), static_cast<int>(day));
        // A day past the month's end would roll over into the next month.
        if (calendar.month(date) != month || calendar.day(date) != day) {
            return std::nullopt;
        }
        return date;
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

bool isMalformedDay(const std::optional<std::string>& text, const Calendar& calendar) {
    return dayParts(text).has_value() && !parseDay(text, calendar).has_value();
}

Matcher::Matcher(std::span<const std::string> terms)
    : needles_(needles(terms)) {}

bool Matcher::matches(std::string_view text) {
    if (needles_.empty() || text.empty()) {
        return false;
    }
    // Lower-casing changes only ASCII capitals and the code points that have a lower-case form; the one rule
    // that looks at neighbours (the final sigma) is about such a code point too. So a text whose other
    // characters have no lower-case form (emoji, small accented letters) is lowered here, eight ASCII bytes
    // at a time where it can, and only the rest goes to ICU. Ill-formed UTF-8 goes there as well, to be
    // repaired the same way the needles were.
    lowered_.resize(text.size());
    char* out = lowered_.data();
    for (std::size_t i = 0; i < text.size();) {
        if (i + 8 <= text.size()) {
            std::uint64_t word = 0;
            std::memcpy(&word, text.data() + i, 8);
            if ((word & highBits) == 0) {
                word = lowerASCII(word);
                std::memcpy(out + i, &word, 8);
                i += 8;
                continue;
            }
        }
        const char c = text[i];
        if (static_cast<unsigned char>(c) < 0x80) {
            out[i] = (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
            ++i;
            continue;
        }
        std::size_t next = i;
        const char32_t codePoint = unicode::decodeNext(text, next);
        if (codePoint == 0xFFFD ||
            u_hasBinaryProperty(static_cast<UChar32>(codePoint), UCHAR_CHANGES_WHEN_LOWERCASED)) {
            lowered_ = unicode::lowercased(text);
            break;
        }
        std::copy(text.data() + i, text.data() + next, out + i);
        i = next;
    }
    const std::string_view haystack = lowered_;
    return std::any_of(needles_.begin(), needles_.end(), [haystack](const std::string& needle) {
        return haystack.find(needle) != std::string_view::npos;
    });
}

std::vector<Hit> search(Threads threads, std::span<const std::string> terms, std::string_view from,
                        std::int64_t limit, std::optional<Date> start, std::optional<Date> end) {
    Matcher matcher(terms);
    if (!matcher.hasNeedles() || limit <= 0) {
        return {};
    }
    const Side wanted = side(from);
    std::vector<Found> found;
    for (const ContactThread* thread : threads) {
        for (const RawMessage& message : thread->messages) {
            if (passes(message, wanted) && withinDays(message.date, start, end) &&
                matcher.matches(message.text)) {
                found.push_back(Found{message.date, found.size(), thread, &message});
            }
        }
    }
    return newestFirst(found, static_cast<std::size_t>(limit));
}

std::vector<MonthCount> countByMonth(Threads threads, std::span<const std::string> terms,
                                     std::string_view from, const Calendar& calendar,
                                     std::optional<Date> start, std::optional<Date> end) {
    Matcher matcher(terms);
    if (!matcher.hasNeedles()) {
        return {};
    }
    const Side wanted = side(from);
    MonthKeys months(calendar);
    std::map<Date, int> counts;
    for (const ContactThread* thread : threads) {
        for (const RawMessage& message : thread->messages) {
            if (passes(message, wanted) && withinDays(message.date, start, end) &&
                std::isfinite(message.date.seconds) && matcher.matches(message.text)) {
                ++counts[months.key(message.date)];
            }
        }
    }
    std::vector<MonthCount> out;
    out.reserve(counts.size());
    for (const auto& [month, count] : counts) {
        out.push_back(MonthCount{month, count});
    }
    return out;
}

std::vector<Hit> sample(Threads threads, std::string_view from, std::int64_t limit) {
    if (limit <= 0) {
        return {};
    }
    const Side wanted = side(from);
    std::vector<Found> found;
    for (const ContactThread* thread : threads) {
        for (const RawMessage& message : thread->messages) {
            if (passes(message, wanted)) {
                found.push_back(Found{message.date, found.size(), thread, &message});
            }
        }
    }
    return newestFirst(found, static_cast<std::size_t>(limit));
}

std::vector<std::size_t> nearestIndices(std::span<const Date> dates, Date around, std::int64_t limit) {
    if (limit <= 0 || dates.empty()) {
        return {};
    }
    std::vector<std::size_t> order(dates.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    const auto nearer = [&](std::size_t a, std::size_t b) {
        const double da = std::abs(dates[a] - around);
        const double db = std::abs(dates[b] - around);
        return da < db || (da == db && a < b);
    };
    const std::size_t kept = std::min(order.size(), static_cast<std::size_t>(limit));
    std::partial_sort(order.begin(), order.begin() + static_cast<std::ptrdiff_t>(kept), order.end(), nearer);
    order.resize(kept);
    std::sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) {
        return dates[a] < dates[b] || (dates[a] == dates[b] && a < b);
    });
    return order;
}

std::vector<Hit> window(const ContactThread& thread, Date around, std::int64_t limit) {
    std::vector<Date> dates;
    dates.reserve(thread.messages.size());
    for (const RawMessage& message : thread.messages) {
        dates.push_back(message.date);
    }
    std::vector<Hit> hits;
    for (const std::size_t i : nearestIndices(dates, around, limit)) {
        const RawMessage& message = thread.messages[i];
        hits.push_back(Hit{message.date, thread.handleID, message.isFromMe, message.text});
    }
    return hits;
}

std::vector<const ContactThread*> references(std::span<const ContactThread> threads) {
    std::vector<const ContactThread*> out;
    out.reserve(threads.size());
    for (const ContactThread& thread : threads) {
        out.push_back(&thread);
    }
    return out;
}

} // namespace dovrel::CorpusTools
