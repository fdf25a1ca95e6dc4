#include "Calendar.h"

#include <ctime>

namespace demohome {
namespace {

std::int64_t floorDiv(std::int64_t a, std::int64_t b) {
    std::int64_t q = a / b;
    if ((a % b != 0) && ((a < 0) != (b < 0))) {
        --q;
    }
    return q;
}

// 0 = Sunday. 1970-01-01 was a Thursday.
int weekday(std::int64_t days) {
    return static_cast<int>(((days + 4) % 7 + 7) % 7);
}

std::int64_t nthSunday(int year, int month, int n) {
    const std::int64_t first = daysFromCivil(year, month, 1);
    const std::int64_t firstSunday = first + (7 - weekday(first)) % 7;
    return firstSunday + 7 * (n - 1);
}

bool isNewYorkDaylightTime(std::int64_t unixSeconds) {
    int year = 0;
    int month = 0;
    int day = 0;
    civilFromDays(floorDiv(unixSeconds - 5 * 3600, kSecondsPerDay), year, month, day);
    const std::int64_t start = nthSunday(year, 3, 2) * kSecondsPerDay + 7 * 3600; // 02:00 EST
    const std::int64_t end = nthSunday(year, 11, 1) * kSecondsPerDay + 6 * 3600;  // 02:00 EDT
    return unixSeconds >= start && unixSeconds < end;
}

} // namespace

std::int64_t daysFromCivil(int year, int month, int day) {
    const std::int64_t y = static_cast<std::int64_t>(year) - (month <= 2 ? 1 : 0);
    const std::int64_t era = floorDiv(y, 400);
    const std::int64_t yoe = y - era * 400;
    const std::int64_t mp = (month + 9) % 12;
    const std::int64_t doy = (153 * mp + 2) / 5 + day - 1;
    const std::int64_t doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
    return era * 146097 + doe - 719468;
}

void civilFromDays(std::int64_t days, int& year, int& month, int& day) {
    const std::int64_t z = days + 719468;
    const std::int64_t era = floorDiv(z, 146097);
    const std::int64_t doe = z - era * 146097;
    const std::int64_t yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
    const std::int64_t doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
    const std::int64_t mp = (5 * doy + 2) / 153;
    day = static_cast<int>(doy - (153 * mp + 2) / 5 + 1);
    month = static_cast<int>(mp < 10 ? mp + 3 : mp - 9);
    year = static_cast<int>(yoe + era * 400 + (month <= 2 ? 1 : 0));
}

std::int64_t newYorkUtcOffsetSeconds(std::int64_t unixSeconds) {
    return isNewYorkDaylightTime(unixSeconds) ? -4 * 3600 : -5 * 3600;
}

std::int64_t newYorkLocalToUnix(std::int64_t localSeconds) {
    const std::int64_t asDaylight = localSeconds + 4 * 3600;
    if (isNewYorkDaylightTime(asDaylight)) {
        return asDaylight;
    }
    return localSeconds + 5 * 3600;
}

std::int64_t todayMidnightUtc() {
    const auto now = static_cast<std::int64_t>(std::time(nullptr));
    return floorDiv(now, kSecondsPerDay) * kSecondsPerDay;
}

} // namespace demohome
