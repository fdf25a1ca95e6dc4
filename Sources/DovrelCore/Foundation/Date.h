#pragma once

#include <compare>

namespace dovrel {

// A point in time: seconds since 2001-01-01 00:00:00 UTC. This is also the JSON form of dates.
struct Date {
    double seconds = 0.0;

    // Seconds between the Unix epoch (1970) and 2001-01-01.
    static constexpr double unixOffset = 978'307'200.0;

    static constexpr Date fromUnix(double unixSeconds) { return Date{unixSeconds - unixOffset}; }
    static Date now();

    constexpr double unixTime() const { return seconds + unixOffset; }

    constexpr Date operator+(double delta) const { return Date{seconds + delta}; }
    constexpr Date operator-(double delta) const { return Date{seconds - delta}; }
    constexpr double operator-(Date other) const { return seconds - other.seconds; }

    constexpr auto operator<=>(const Date&) const = default;
};

} // namespace dovrel
