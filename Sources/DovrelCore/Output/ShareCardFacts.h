#pragma once

#include "Measurement/ContactReport.h"
#include "Measurement/GroupStats.h"

#include <functional>
#include <string>
#include <string_view>
#include <vector>

// The figures the person and group share cards show, in the order they show them.
namespace dovrel::ShareCardFacts {

struct Tile {
    std::string value;
    std::string caption;
};

// The duo card draws at most this many tiles.
inline constexpr std::size_t duoTileLimit = 4;

// The user and one person: reply speeds both ways, who starts, the user's double texts and the laughs, each
// only when its figure is there; at most four.
std::vector<Tile> duoTiles(const ContactReport& report, std::string_view name, int doubleTexts);

struct Superlative {
    std::string emoji;
    std::string label;
    std::string who;
    std::string detail;
    bool isMe = false;
};

// Who talks the most (the largest share), who gets the laughs (the highest laugh rate above 0) and who
// revives the chat (the most conversations opened, at least one); the first member in order wins a tie.
const GroupStats::Member* topTalker(const GroupStats& stats);
const GroupStats::Member* topLaughGetter(const GroupStats& stats);
const GroupStats::Member* topInitiator(const GroupStats& stats);

// The group card's rows for those three, each when its member is there.
std::vector<Superlative> superlatives(const GroupStats& stats,
                                      const std::function<std::string(const std::string& key)>& memberName);

// One laugh every this many messages: 100 / laughRate rounded, at least 1.
int messagesPerLaugh(double laughRate);

} // namespace dovrel::ShareCardFacts
