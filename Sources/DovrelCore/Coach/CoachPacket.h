#pragma once

#include "Foundation/Calendar.h"
#include "MessageSources/MessageRecords.h"

#include <optional>
#include <string>
#include <string_view>

namespace dovrel::CoachPacket {

// The prompt asking for two or three replies in the user's own voice: the question, the situation and tone
// when given, the thread's measured habits when it is long enough to report on (hours told in `calendar`),
// and its last `recentCount` messages.
std::string build(std::string_view question, std::string_view contactName, const ContactThread& thread,
                  int recentCount, const Calendar& calendar, const std::optional<std::string>& situation,
                  const std::optional<std::string>& tone);

} // namespace dovrel::CoachPacket
