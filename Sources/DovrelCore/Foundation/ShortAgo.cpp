#include "Foundation/ShortAgo.h"

#include <algorithm>
#include <cmath>

namespace dovrel::PeopleView {
namespace {

constexpr double hour = 3600.0;
constexpr double day = 86400.0;
constexpr double week = 604800.0;
constexpr double fiveWeeks = 3024000.0;
constexpr double month = 2592000.0;

std::string whole(double value, const char* unit) {
    // Clamped so that an absurd age still prints a number.
    const double cut = std::trunc(std::min(value, 1e15));
    return std::to_string(static_cast<long long>(cut)) + unit + " ago";
}

} // namespace

std::string shortAgo(double secondsAgo) {
    if (!(secondsAgo >= hour)) {
        return "just now";
    }
    if (secondsAgo < day) {
        return whole(secondsAgo / hour, "h");
    }
    if (secondsAgo < week) {
        return whole(secondsAgo / day, "d");
    }
    if (secondsAgo < fiveWeeks) {
        return whole(secondsAgo / week, "w");
    }
    return whole(secondsAgo / month, "mo");
}

} // namespace dovrel::PeopleView
