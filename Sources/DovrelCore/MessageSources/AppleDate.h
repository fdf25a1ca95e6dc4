#pragma once

#include "Foundation/Date.h"

#include <cstdint>

namespace dovrel::AppleDate {

// 2001-01-01 00:00:00 UTC.
inline constexpr Date epoch{0.0};

// The `date` column of the Messages database holds seconds since `epoch` in old rows and nanoseconds in new
// ones. Below ten billion it is seconds (that many seconds lie beyond the year 2317, while as nanoseconds it
// is ten seconds after the epoch); zero and negative values count as seconds.
// The earliest raw value a message can carry: the Unix epoch of 1970, long before any message was sent. The
// largest raw values, read as nanoseconds, stay within the year 2317, so no upper bound is needed. An earlier
// value comes from a damaged cell, and the readers treat it as an unreadable date: counted, it would fall
// into a month millions of years away.
inline constexpr std::int64_t earliestRaw = -978'307'200;

constexpr bool isPlausible(std::int64_t raw) {
    return raw >= earliestRaw;
}

constexpr Date date(std::int64_t fromRaw) {
    if (fromRaw < 10'000'000'000) {
        return epoch + static_cast<double>(fromRaw);
    }
    return epoch + static_cast<double>(fromRaw) / 1e9;
}

} // namespace dovrel::AppleDate
