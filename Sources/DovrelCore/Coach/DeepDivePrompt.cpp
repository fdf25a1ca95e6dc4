#include "Coach/DeepDivePrompt.h"

#include "Coach/PromptText.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <vector>

namespace dovrel::DeepDivePrompt {
namespace {

using PromptText::joined;
using PromptText::whole;

std::string oneDecimal(double value) {
    char buffer[512];
    std::snprintf(buffer, sizeof buffer, "%.1f", value);
    return buffer;
}

constexpr std::string_view sections =
    "Write these sections, each 2-4 sentences, using these exact headings:\n## The dynamic\n## How conflict "
    "looks\n## The trajectory\n## Unresolved\n## One suggestion\nPlain markdown, no preamble.";

} // namespace

std::string build(std::string_view name, const ContactThread& thread, const PersonInsights& insights,
                  int recentCount) {
    const ContactReport& report = insights.report;
    std::vector<std::string> lines;
    const auto line = [&](std::string text) { lines.push_back(std::move(text)); };

    line(
        "You are a perceptive, emotionally intelligent relationship observer. Read my texting history with " +
        std::string(name) +
        " and give me an honest, warm, specific read. Ground every observation in what's actually in the "
        "messages — quote short fragments as evidence. Never invent events.");
    line("");
    line("Measured stats for context:");
    if (report.myMedianReplySeconds) {
        line("- my median reply: " + whole(*report.myMedianReplySeconds) + "s");
    }
    if (report.theirMedianReplySeconds) {
        line("- their median reply: " + whole(*report.theirMedianReplySeconds) + "s");
    }
    if (report.myInitiationRate) {
        line("- I start " + whole(*report.myInitiationRate * 100.0) + "% of conversations");
    }
    line("- balance: " + whole(insights.balance * 100.0) + "% of messages are mine");
    if (insights.lengthVsBaseline) {
        line("- my messages here run " + oneDecimal(*insights.lengthVsBaseline) + "× my usual length");
    }
    line("");
    line("Recent messages (oldest first):");
    const std::size_t count =
        std::min(static_cast<std::size_t>(std::max(recentCount, 0)), thread.messages.size());
    for (auto message = thread.messages.end() - static_cast<std::ptrdiff_t>(count);
         message != thread.messages.end(); ++message) {
        line("[" + (message->isFromMe ? std::string("me") : std::string(name)) + "] " + message->text);
    }
    line("");
    line(std::string(sections));
    return joined(lines);
}

} // namespace dovrel::DeepDivePrompt
