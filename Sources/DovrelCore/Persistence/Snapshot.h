#pragma once

#include "Foundation/Date.h"
#include "Measurement/PersonInsights.h"
#include "Measurement/WrappedStats.h"

#include <map>
#include <string>
#include <vector>

namespace dovrel {

// What makes the next start instant: the last run's statistics, people and names. Threads are never stored.
struct Snapshot {
    Date savedAt;
    int days = 0;
    WrappedStats stats;
    std::vector<PersonInsights> people;
    std::map<std::string, std::string> names; // handle to name

    bool operator==(const Snapshot&) const = default;
};

void to_json(nlohmann::json& out, const Snapshot& snapshot);
// Throws json::DecodeError when any part is missing or of the wrong type.
void from_json(const nlohmann::json& in, Snapshot& snapshot);

} // namespace dovrel
