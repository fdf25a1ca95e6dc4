#pragma once

#include <cstdint>

namespace demohome {

// Messages stores dates relative to 2001-01-01 00:00:00 UTC.
inline constexpr std::int64_t kAppleEpochUnixSeconds = 978307200;
inline constexpr std::int64_t kNanosPerSecond = 1'000'000'000;
inline constexpr std::int64_t kSecondsPerDay = 86'400;

constexpr std::int64_t unixSecondsToAppleNanos(std::int64_t unixSeconds) {
    return (unixSeconds - kAppleEpochUnixSeconds) * kNanosPerSecond;
}

// Days since 1970-01-01 of a proleptic Gregorian date, and back.
std::int64_t daysFromCivil(int year, int month, int day);
void civilFromDays(std::int64_t days, int& year, int& month, int& day);

// America/New_York under the US rules in force since 2007 (DST from the second Sunday of March
// to the first Sunday of November, switching at 02:00 local time).
std::int64_t newYorkUtcOffsetSeconds(std::int64_t unixSeconds);
// Local wall-clock time (seconds since 1970-01-01 00:00 local) to a UNIX time. Times skipped by the
// spring change resolve to the hour after.
std::int64_t newYorkLocalToUnix(std::int64_t localSeconds);

// Start of the current UTC day.
std::int64_t todayMidnightUtc();

} // namespace demohome
