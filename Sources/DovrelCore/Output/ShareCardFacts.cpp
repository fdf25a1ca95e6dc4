#include "Output/ShareCardFacts.h"

#include "Format/Format.h"

#include <algorithm>
#include <cmath>

namespace dovrel::ShareCardFacts {
namespace {

std::string percent(double rate) {
    return std::to_string(Format::truncated(rate * 100).value_or(0)) + "%";
}

template <typename Better> const GroupStats::Member* best(const GroupStats& stats, Better better) {
    const GroupStats::Member* found = nullptr;
    for (const GroupStats::Member& member : stats.members) {
        if (better(member, found)) {
            found = &member;
        }
    }
    return found;
}

} // namespace

std::vector<Tile> duoTiles(const ContactReport& report, std::string_view name, int doubleTexts) {
    std::vector<Tile> tiles;
    if (report.myMedianReplySeconds) {
        tiles.push_back({Format::replySpeed(*report.myMedianReplySeconds), "I reply in"});
    }
    if (report.theirMedianReplySeconds) {
        tiles.push_back(
            {Format::replySpeed(*report.theirMedianReplySeconds), std::string(name) + " replies in"});
    }
    if (report.myInitiationRate) {
        tiles.push_back({percent(*report.myInitiationRate), "of conversations, I start"});
    }
    if (doubleTexts >= 1) {
        tiles.push_back({std::to_string(doubleTexts) + "\u00D7", "I double-texted. Sorry."});
    }
    if (const int laughs = report.myLaughter.total(); laughs >= 1) {
        tiles.push_back({Format::thousands(laughs), "laughs on record"});
    }
    if (tiles.size() > duoTileLimit) {
        tiles.resize(duoTileLimit);
    }
    return tiles;
}

const GroupStats::Member* topTalker(const GroupStats& stats) {
    return best(stats, [](const GroupStats::Member& member, const GroupStats::Member* found) {
        return member.count > 0 && (found == nullptr || member.share > found->share);
    });
}

const GroupStats::Member* topLaughGetter(const GroupStats& stats) {
    return best(stats, [](const GroupStats::Member& member, const GroupStats::Member* found) {
        return member.laughRate > 0 && (found == nullptr || member.laughRate > found->laughRate);
    });
}

const GroupStats::Member* topInitiator(const GroupStats& stats) {
    return best(stats, [](const GroupStats::Member& member, const GroupStats::Member* found) {
        return member.initiations >= 1 && (found == nullptr || member.initiations > found->initiations);
    });
}

int messagesPerLaugh(double laughRate) {
    return std::max(1, static_cast<int>(std::lround(100.0 / laughRate)));
}

std::vector<Superlative> superlatives(const GroupStats& stats,
                                      const std::function<std::string(const std::string& key)>& memberName) {
    std::vector<Superlative> rows;
    if (const GroupStats::Member* member = topTalker(stats)) {
        rows.push_back({"\U0001F451", "Talks the most", memberName(member->key),
                        std::to_string(Format::truncated(member->share * 100).value_or(0)) + "% of messages",
                        member->isMe()});
    }
    if (const GroupStats::Member* member = topLaughGetter(stats)) {
        rows.push_back({"\U0001F602", "Gets the laughs", memberName(member->key),
                        "one every " + std::to_string(messagesPerLaugh(member->laughRate)) + " msgs",
                        member->isMe()});
    }
    if (const GroupStats::Member* member = topInitiator(stats)) {
        rows.push_back({"\U0001F525", "Revives the chat", memberName(member->key),
                        std::to_string(member->initiations) + " restarts", member->isMe()});
    }
    return rows;
}

} // namespace dovrel::ShareCardFacts
