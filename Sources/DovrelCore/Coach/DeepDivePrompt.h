#pragma once

#include "Measurement/PersonInsights.h"
#include "MessageSources/MessageRecords.h"

#include <string>
#include <string_view>

namespace dovrel::DeepDivePrompt {

// The prompt for an honest read of one relationship: the measured stats that are present, the last
// `recentCount` messages of the thread word for word, and the five section headings the answer must use.
// Messages carry no dates, so no calendar is needed.
std::string build(std::string_view name, const ContactThread& thread, const PersonInsights& insights,
                  int recentCount);

} // namespace dovrel::DeepDivePrompt
