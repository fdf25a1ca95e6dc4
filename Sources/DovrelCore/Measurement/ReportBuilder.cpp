#include "Measurement/ReportBuilder.h"

#include "Measurement/Activity.h"
#include "Measurement/Metrics.h"

#include <stdexcept>

namespace dovrel::ReportBuilder {

std::optional<ContactReport> contactReport(const ContactThread& thread, const Calendar& calendar) {
    if (thread.messages.size() < static_cast<std::size_t>(minimumMessages)) {
        return std::nullopt;
    }
    return contactReport(measure(thread, calendar));
}

std::optional<ContactReport> contactReport(const MeasuredThread& measured) {
    if (measured.scope) {
        throw std::invalid_argument("a contact report needs the whole thread measured");
    }
    const ContactThread& thread = *measured.thread;
    const std::vector<RawMessage>& messages = thread.messages;
    if (messages.size() < static_cast<std::size_t>(minimumMessages)) {
        return std::nullopt;
    }

    TextStyle::Tally style;
    Activity::Tally activity;
    for (std::size_t i = 0; i < messages.size(); ++i) {
        if (messages[i].isFromMe) {
            style.add(measured.texts[i]);
            activity.add(messages[i].date, measured.times[i]);
        }
    }

    ContactReport report;
    report.handleID = thread.handleID;
    report.displayName = thread.displayName;
    report.sentCount = style.messages;
    report.receivedCount = static_cast<int>(messages.size()) - style.messages;
    report.firstMessage = messages.front().date;
    report.lastMessage = messages.back().date;
    report.myMedianReplySeconds = Metrics::medianReplySeconds(messages, true);
    report.theirMedianReplySeconds = Metrics::medianReplySeconds(messages, false);
    report.myInitiationRate = Metrics::myInitiationRate(messages);
    report.myDoubleTextRate = Metrics::myDoubleTextRate(messages);
    report.myQuestionRate = style.questionRate();
    report.myEmojiRate = style.emojiRate();
    report.myAverageLength = style.averageLength();
    report.myLaughter = style.laughter;
    report.myHourlyHistogram = activity.hourlyHistogram();
    report.myMedianLastTextMinuteOfDay = activity.medianLastTextMinuteOfDay();
    return report;
}

OverallReport overallReport(std::span<const ContactThread> threads, int top, const Calendar& calendar,
                            Date now) {
    OverallReport overall;
    overall.generatedAt = now;
    for (const ContactThread& thread : threads) {
        overall.totalMessages += static_cast<int>(thread.messages.size());
        if (static_cast<int>(overall.contacts.size()) >= top) {
            continue;
        }
        if (std::optional<ContactReport> report = contactReport(thread, calendar)) {
            overall.contacts.push_back(std::move(*report));
        }
    }
    overall.contactCount = static_cast<int>(overall.contacts.size());
    return overall;
}

} // namespace dovrel::ReportBuilder
