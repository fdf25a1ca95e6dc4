#pragma once

#include "Foundation/Date.h"

namespace dovrel {

// A closed span of time: from `start`, `duration` seconds long. Both ends belong to it.
struct DateInterval {
    Date start;
    double duration = 0.0;

    constexpr Date end() const { return start + duration; }
    constexpr bool contains(Date date) const { return start <= date && date <= end(); }

    constexpr bool operator==(const DateInterval&) const = default;
};

} // namespace dovrel
