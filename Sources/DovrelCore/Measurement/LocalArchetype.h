#pragma once

#include "Measurement/WrappedStats.h"

#include <string>

namespace dovrel {

// The user's texter archetype: a title and a short body.
struct Archetype {
    std::string title;
    std::string body;

    bool operator==(const Archetype&) const = default;
};

namespace LocalArchetype {

// The archetype read from the statistics alone, by the first rule that fits. Always gives one.
Archetype name(const WrappedStats& stats);

} // namespace LocalArchetype
} // namespace dovrel
