#include "Coach/CoachPacket.h"

#include "Coach/PromptText.h"
#include "Measurement/ReportBuilder.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <vector>

namespace dovrel::CoachPacket {
namespace {

using PromptText::joined;
using PromptText::whole;

} // namespace

std::string build(std::string_view question, std::string_view contactName, const ContactThread& thread,
                  int recentCount, const Calendar& calendar, const std::optional<std::string>& situation,
                  const std::optional<std::string>& tone) {
    std::vector<std::string> lines;
    lines.emplace_back("You are a thoughtful, emotionally intelligent texting coach.");
    lines.emplace_back();
    lines.push_back("My question: " + std::string(question));
    if (situation) {
        lines.push_back("Situation: " + *situation);
    }
    if (tone) {
        lines.push_back("I want the replies to feel " + *tone + ", while still sounding like me.");
    }
    lines.emplace_back();

    if (const std::optional<ContactReport> report = ReportBuilder::contactReport(thread, calendar)) {
        lines.push_back("My texting relationship with " + std::string(contactName) +
                        ", measured from history:");
        if (report->myMedianReplySeconds) {
            lines.push_back("- my median reply time: " + whole(*report->myMedianReplySeconds) + "s");
        }
        if (report->theirMedianReplySeconds) {
            lines.push_back("- their median reply time: " + whole(*report->theirMedianReplySeconds) + "s");
        }
        if (report->myInitiationRate) {
            lines.push_back("- I start " + whole(*report->myInitiationRate * 100.0) +
                            "% of our conversations");
        }
        if (report->myAverageLength) {
            lines.push_back("- my average message length: " + whole(*report->myAverageLength) +
                            " characters");
        }
        if (report->myEmojiRate) {
            lines.push_back("- " + whole(*report->myEmojiRate * 100.0) + "% of my messages use emoji");
        }
        const LaughterProfile& laughter = report->myLaughter;
        if (laughter.total() >= 1) {
            lines.push_back("- my laugh style: haha ×" + std::to_string(laughter.hahaCount) + ", HAHA ×" +
                            std::to_string(laughter.capsHahaCount) + ", lol ×" +
                            std::to_string(laughter.lolCount) + ", 😂 ×" +
                            std::to_string(laughter.laughEmojiCount));
        }
        lines.emplace_back();
    }

    lines.emplace_back("Our most recent messages (oldest first):");
    const std::size_t count =
        std::min(static_cast<std::size_t>(std::max(recentCount, 0)), thread.messages.size());
    for (auto message = thread.messages.end() - static_cast<std::ptrdiff_t>(count);
         message != thread.messages.end(); ++message) {
        lines.push_back("[" + (message->isFromMe ? std::string("me") : std::string(contactName)) + "] " +
                        message->text);
    }
    lines.emplace_back();
    lines.emplace_back("Task: Suggest 2-3 reply options that sound like ME (match my length, tone, laugh "
                       "style and emoji habits "
                       "from the stats above). For each option add a one-line note on the read of the "
                       "situation. If the last "
                       "message doesn't need a reply, say so honestly.");
    return joined(lines);
}

} // namespace dovrel::CoachPacket
