#include "Measurement/Metrics.h"

#include <algorithm>

namespace dovrel::Metrics {
namespace {

// The gap is measured from the previous message of either side; exactly `gap` still continues.
bool opensSession(const RawMessage* previous, const RawMessage& message, double gap) {
    return previous == nullptr || message.date - previous->date > gap;
}

} // namespace

std::optional<double> median(std::vector<double> values) {
    if (values.empty()) {
        return std::nullopt;
    }
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    if (values.size() % 2 == 1) {
        return *middle;
    }
    const double below = *std::max_element(values.begin(), middle);
    return (below + *middle) * 0.5;
}

std::vector<std::vector<RawMessage>> sessions(std::span<const RawMessage> messages, double gap) {
    std::vector<std::vector<RawMessage>> result;
    const RawMessage* last = nullptr;
    for (const RawMessage& message : messages) {
        if (opensSession(last, message, gap)) {
            result.emplace_back();
        }
        result.back().push_back(message);
        last = &message;
    }
    return result;
}

SessionCount countSessions(std::span<const RawMessage> messages, double gap) {
    SessionCount count;
    const RawMessage* last = nullptr;
    for (const RawMessage& message : messages) {
        if (opensSession(last, message, gap)) {
            ++count.sessions;
            count.openedByMe += message.isFromMe ? 1 : 0;
        }
        last = &message;
    }
    return count;
}

std::optional<double> myInitiationRate(std::span<const RawMessage> messages) {
    const SessionCount count = countSessions(messages, conversationGap);
    if (count.sessions == 0) {
        return std::nullopt;
    }
    return static_cast<double>(count.openedByMe) / static_cast<double>(count.sessions);
}

void appendReplyGaps(std::span<const RawMessage> messages, bool from, std::vector<double>& gaps) {
    for (std::size_t i = 1; i < messages.size(); ++i) {
        const RawMessage& a = messages[i - 1];
        const RawMessage& b = messages[i];
        if (a.isFromMe == b.isFromMe || b.isFromMe != from) {
            continue;
        }
        // No lower bound: an out-of-order pair keeps its negative gap.
        const double gap = b.date - a.date;
        if (gap <= longestReply) {
            gaps.push_back(gap);
        }
    }
}

std::vector<double> replyGaps(std::span<const RawMessage> messages, bool from) {
    std::vector<double> gaps;
    appendReplyGaps(messages, from, gaps);
    return gaps;
}

std::optional<double> medianReplySeconds(std::span<const RawMessage> messages, bool from) {
    return median(replyGaps(messages, from));
}

int myDoubleTextCount(std::span<const RawMessage> messages) {
    int count = 0;
    for (std::size_t i = 1; i < messages.size(); ++i) {
        const RawMessage& a = messages[i - 1];
        const RawMessage& b = messages[i];
        if (!a.isFromMe || !b.isFromMe) {
            continue;
        }
        const double gap = b.date - a.date;
        if (gap > doubleTextMinimum && gap <= doubleTextMaximum) {
            ++count;
        }
    }
    return count;
}

std::optional<double> myDoubleTextRate(std::span<const RawMessage> messages) {
    const auto sent =
        std::count_if(messages.begin(), messages.end(), [](const RawMessage& m) { return m.isFromMe; });
    if (sent == 0) {
        return std::nullopt;
    }
    return static_cast<double>(myDoubleTextCount(messages)) / static_cast<double>(sent);
}

} // namespace dovrel::Metrics
