#include "Coach/ArchetypePrompt.h"

#include "Coach/PromptText.h"
#include "Foundation/Unicode.h"

#include <cmath>
#include <cstdio>
#include <unicode/uchar.h>
#include <vector>

namespace dovrel::ArchetypePrompt {
namespace {

using PromptText::joined;
using PromptText::whole;

bool isLineBreak(char32_t c) {
    return (c >= 0x0A && c <= 0x0D) || c == 0x85 || c == 0x2028 || c == 0x2029;
}

// What a model dresses a title in: markdown emphasis and heading marks, quotes, and the blanks between them.
bool isTitleDressing(char32_t c) {
    return c == '*' || c == '_' || c == '#' || c == '"' || c == ' ';
}

constexpr std::string_view instruction =
    "Based only on these texting statistics, name my texter archetype — a punchy, specific, slightly funny "
    "2-4 "
    "word title (like a personality type reveal). First line: the archetype name only. Then a blank line, "
    "then "
    "2-3 sentences describing me in second person, warm but honest. Plain text only — no markdown.";

} // namespace

std::string build(const WrappedStats& stats) {
    std::vector<std::string> lines;
    lines.emplace_back(instruction);
    lines.emplace_back();
    lines.emplace_back("My year in texts:");
    lines.push_back("- " + std::to_string(stats.totalMessages) + " messages with " +
                    std::to_string(stats.peopleCount) + " people (" + std::to_string(stats.sentCount) +
                    " sent, " + std::to_string(stats.receivedCount) + " received)");
    if (stats.myMedianReplySeconds) {
        lines.push_back("- median reply time: " + whole(*stats.myMedianReplySeconds) + " seconds");
    }
    if (stats.myInitiationRate) {
        lines.push_back("- I start " + whole(*stats.myInitiationRate * 100.0) + "% of conversations");
    }
    if (stats.myMedianLength) {
        lines.push_back("- median message length: " + std::to_string(*stats.myMedianLength) + " characters");
    }
    if (stats.myQuestionRate) {
        lines.push_back("- " + whole(*stats.myQuestionRate * 100.0) + "% of my messages ask a question");
    }
    if (stats.myEmojiRate) {
        lines.push_back("- " + whole(*stats.myEmojiRate * 100.0) + "% of my messages use emoji");
    }
    const LaughterProfile& laughter = stats.laughter;
    // Summed wide: counters read from a stored file can be anything an int holds.
    if (static_cast<long long>(laughter.hahaCount) + laughter.capsHahaCount + laughter.lolCount +
            laughter.laughEmojiCount >=
        1) {
        lines.push_back("- how I laugh: haha ×" + std::to_string(laughter.hahaCount) + ", HAHA ×" +
                        std::to_string(laughter.capsHahaCount) + ", lol ×" +
                        std::to_string(laughter.lolCount) + ", 😂 ×" +
                        std::to_string(laughter.laughEmojiCount));
    }
    if (stats.medianLastTextMinute) {
        char clock[32];
        std::snprintf(clock, sizeof clock, "%d:%02d", *stats.medianLastTextMinute / 60,
                      *stats.medianLastTextMinute % 60);
        lines.push_back("- my last text of the day is around " + std::string(clock));
    }
    if (stats.peakHour) {
        lines.push_back("- I text most in the " + std::to_string(*stats.peakHour) + ":00 hour");
    }
    if (stats.doubleTextChampion) {
        lines.push_back("- I double-texted my top victim " + std::to_string(stats.doubleTextChampion->count) +
                        " times");
    }
    if (stats.longestStreak) {
        lines.push_back("- longest daily texting streak with one person: " +
                        std::to_string(stats.longestStreak->count) + " days");
    }
    return joined(lines);
}

Archetype parse(std::string_view response) {
    const std::string_view reply = unicode::trimming(response, unicode::isWhiteSpaceOrLineBreak);
    std::size_t offset = 0;
    while (offset < reply.size()) {
        const std::size_t start = offset;
        if (isLineBreak(unicode::decodeNext(reply, offset))) {
            const std::string_view first = unicode::trimming(
                unicode::trimming(reply.substr(0, start), unicode::isBlank), isTitleDressing);
            const std::string_view rest =
                unicode::trimming(reply.substr(offset), unicode::isWhiteSpaceOrLineBreak);
            return Archetype{std::string(first), std::string(rest)};
        }
    }
    return Archetype{std::string(unicode::trimming(reply, isTitleDressing)), std::string()};
}

} // namespace dovrel::ArchetypePrompt
