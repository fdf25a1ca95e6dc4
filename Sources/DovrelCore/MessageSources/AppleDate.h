#pragma once

#include "Foundation/Date.h"

#include <cstdint>

namespace dovrel::AppleDate {

// 2001-01-01 00:00:00 UTC.
inline constexpr Date epoch{0.0};

// The `date` column of the Messages database holds seconds since `epoch` in old rows and nanoseconds in new
// ones. Below ten billion it is seconds (that many seconds lie beyond the year 2317, while as nanoseconds it
// is ten seconds after the epoch); zero and negative values count as seconds.
constexpr Date date(std::int64_t fromRaw) {
    if (fromRaw < 10'000'000'000) {
        return epoch + static_cast<double>(fromRaw);
    }
    return epoch + static_cast<double>(fromRaw) / 1e9;
}

} // namespace dovrel::AppleDate
