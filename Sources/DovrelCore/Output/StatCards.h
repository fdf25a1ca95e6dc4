#pragma once

#include "Measurement/PersonInsights.h"
#include "Measurement/WrappedStats.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace dovrel::StatCards {

// One figure made into a share card.
struct StatCard {
    std::string caption;
    std::string value;
    std::string line;
    std::optional<std::string> extra;
};

// A figure about one person worth sending to them.
struct Spotlight {
    std::string handleID;
    std::string value;
    std::string line;
    StatCard card;
};

// The name to show for a handle: names first, then the fallback, then the handle.
using NameOf =
    std::function<std::string(const std::string& handle, const std::optional<std::string>& fallback)>;

// The year in one figure: the messages, with how many people.
StatCard opening(const WrappedStats& stats);
// How the user texts: reply speed, then who starts and how long.
StatCard style(const WrappedStats& stats);
// At most three: the double-text champion, the longest streak, and the fastest of the 20 busiest people to
// answer (with at least 100 messages, under two minutes).
std::vector<Spotlight> spotlights(const WrappedStats& stats, const std::vector<PersonInsights>& people,
                                  const NameOf& name);

} // namespace dovrel::StatCards
