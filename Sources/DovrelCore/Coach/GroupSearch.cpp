// The coach's reading of one group chat: the same search and window as over one-to-one threads, without a
// sender filter, and a search that stops as soon as it has enough.
#include "Coach/CorpusTools.h"
#include "MessageSources/GroupRecords.h"

#include <algorithm>

namespace dovrel {

std::vector<GroupMessage> GroupThread::search(std::span<const std::string> terms, std::optional<Date> start,
                                              std::optional<Date> end, std::int64_t limit) const {
    std::vector<GroupMessage> found;
    CorpusTools::Matcher matcher(terms);
    if (!matcher.hasNeedles() || limit < 0) {
        return found;
    }
    for (auto message = messages.rbegin(); message != messages.rend(); ++message) {
        if (!CorpusTools::withinDays(message->date, start, end) || !matcher.matches(message->text)) {
            continue;
        }
        found.push_back(*message);
        if (static_cast<std::int64_t>(found.size()) >= limit) {
            break;
        }
    }
    return found;
}

std::vector<GroupMessage> GroupThread::window(Date around, std::int64_t limit) const {
    std::vector<Date> dates;
    dates.reserve(messages.size());
    for (const GroupMessage& message : messages) {
        dates.push_back(message.date);
    }
    std::vector<GroupMessage> out;
    for (const std::size_t i : CorpusTools::nearestIndices(dates, around, limit)) {
        out.push_back(messages[i]);
    }
    return out;
}

std::vector<GroupMessage> GroupThread::recent(std::int64_t limit) const {
    if (limit <= 0) {
        return {};
    }
    const std::size_t kept = std::min(messages.size(), static_cast<std::size_t>(limit));
    return std::vector<GroupMessage>(messages.end() - static_cast<std::ptrdiff_t>(kept), messages.end());
}

} // namespace dovrel
