#pragma once

#include <cstdint>
#include <string>

namespace dovrel::WrappedHTML {

// "h:mm AM" on a 12-hour clock, 12 in place of 0: 45 gives "12:45 AM", 780 gives "1:00 PM".
std::string clockTime(int minuteOfDay);

// The integer with en_US grouping: 12345 gives "12,345".
std::string thousands(std::int64_t n);

} // namespace dovrel::WrappedHTML
