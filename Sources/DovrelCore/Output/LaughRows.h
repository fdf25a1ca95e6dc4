#pragma once

#include "Measurement/LaughterProfile.h"

#include <string>
#include <vector>

namespace dovrel {

// One way of laughing in the laugh audit of the recap page and the share card.
struct LaughRow {
    std::string label;
    int count = 0;
    // Truncated share of all laughs, and of the most used laugh (whose bar is full).
    int percentOfAll = 0;
    int percentOfTop = 0;
};

// "haha", "HAHAHA", "lol" and the crying-laughing emoji with their counts, those used at least once, most
// used first; ties keep that order.
std::vector<LaughRow> laughRows(const LaughterProfile& laughter);

} // namespace dovrel
