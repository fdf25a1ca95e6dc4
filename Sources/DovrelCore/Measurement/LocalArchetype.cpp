#include "Measurement/LocalArchetype.h"

#include "Format/Format.h"
#include "Output/WrappedHTML.h"

#include <cmath>

namespace dovrel::LocalArchetype {
namespace {

using Format::percent;
using Format::whole;

constexpr double fastReply = 90.0;

} // namespace

Archetype name(const WrappedStats& stats) {
    const LaughterProfile& laughs = stats.laughter;
    const int total = laughs.total();
    const bool lolLed = total >= 1 && laughs.lolCount >= laughs.hahaCount &&
                        laughs.lolCount >= laughs.capsHahaCount && laughs.lolCount >= laughs.laughEmojiCount;
    const bool emojiLed = total >= 1 && laughs.laughEmojiCount > laughs.hahaCount &&
                          laughs.laughEmojiCount > laughs.capsHahaCount &&
                          laughs.laughEmojiCount > laughs.lolCount;

    if (stats.myMedianReplySeconds && *stats.myMedianReplySeconds < fastReply) {
        const std::string s = whole(*stats.myMedianReplySeconds);
        if (lolLed) {
            return {"The Rapid-Fire Lol Machine",
                    "A " + s +
                        "-second median reply and a strictly lowercase laugh. You run conversations like a "
                        "ping-pong rally and everyone knows it."};
        }
        return {"The Instant Replier", "Your median reply time is " + s +
                                           " seconds. Nobody has ever wondered where they stand with you."};
    }
    if (const auto minute = stats.medianLastTextMinute; minute && (*minute < 240 || *minute >= 1380)) {
        return {"The 2AM Correspondent", "Your typical last text lands at " +
                                             WrappedHTML::clockTime(*minute) +
                                             ". The group chat sleeps; you do not."};
    }
    if (stats.myInitiationRate && *stats.myInitiationRate >= 0.6) {
        return {"The Conversation Starter", "You open " + percent(*stats.myInitiationRate) +
                                                "% of your conversations. Half your friendships would go "
                                                "quiet without you — and you know it."};
    }
    if (stats.doubleTextChampion && stats.doubleTextChampion->count >= 50) {
        return {"The Double-Text Devotee",
                std::to_string(stats.doubleTextChampion->count) +
                    " double-texts this year. You follow up because you care, and honestly it's working."};
    }
    if (stats.myQuestionRate && *stats.myQuestionRate >= 0.35) {
        return {"The Interviewer", percent(*stats.myQuestionRate) +
                                       "% of your texts ask a question. People leave conversations with you "
                                       "feeling fascinating. That's a skill."};
    }
    if (stats.myMedianLength && *stats.myMedianLength >= 60) {
        return {"The Essayist", "Your median text runs " + std::to_string(*stats.myMedianLength) +
                                    " characters. You don't send messages; you publish them."};
    }
    if (emojiLed) {
        return {"The Emoji Laugher", "😂 is your laugh of record, " + std::to_string(laughs.laughEmojiCount) +
                                         " times over. Words are for content; the joy goes in pictograms."};
    }
    return {"The Steady Presence",
            WrappedHTML::thousands(stats.totalMessages) + " messages with " +
                std::to_string(stats.peopleCount) +
                " people, no drama in the data. You're the reliable one, and the numbers agree."};
}

} // namespace dovrel::LocalArchetype
