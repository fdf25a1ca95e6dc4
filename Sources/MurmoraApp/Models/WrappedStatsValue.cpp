#include "Models/WrappedStatsValue.h"

#include "Models/ContactCountValue.h"
#include "Models/DayCountValue.h"
#include "Models/EmojiCountValue.h"
#include "Models/TopContactValue.h"
#include "Models/ValueConversions.h"

namespace murmora {
namespace {

template <typename Value, typename Record> QVariant optionalRecord(const std::optional<Record>& record) {
    return record ? QVariant::fromValue(Value(*record)) : QVariant();
}

} // namespace

WrappedStatsValue::WrappedStatsValue(const std::optional<dovrel::WrappedStats>& stats) {
    if (!stats) {
        return;
    }
    valid = true;
    intervalStart = qml::date(stats->interval.start);
    intervalDuration = stats->interval.duration;
    peopleCount = stats->peopleCount;
    totalMessages = stats->totalMessages;
    sentCount = stats->sentCount;
    receivedCount = stats->receivedCount;
    for (const dovrel::WrappedStats::TopContact& contact : stats->topContacts) {
        topContacts.append(QVariant::fromValue(TopContactValue(contact)));
    }
    busiestDay = optionalRecord<DayCountValue>(stats->busiestDay);
    longestStreak = optionalRecord<ContactCountValue>(stats->longestStreak);
    doubleTextChampion = optionalRecord<ContactCountValue>(stats->doubleTextChampion);
    myMedianReplySeconds = qml::optional(stats->myMedianReplySeconds);
    myInitiationRate = qml::optional(stats->myInitiationRate);
    medianLastTextMinute = qml::optional(stats->medianLastTextMinute);
    laughter = LaughterValue(stats->laughter);
    myMedianLength = qml::optional(stats->myMedianLength);
    myQuestionRate = qml::optional(stats->myQuestionRate);
    myEmojiRate = qml::optional(stats->myEmojiRate);
    peakHour = qml::optional(stats->peakHour);
    myHourlyHistogram = qml::ints(stats->myHourlyHistogram);
    for (const dovrel::TextStyle::EmojiCount& entry :
         stats->myTopEmojis.value_or(std::vector<dovrel::TextStyle::EmojiCount>{})) {
        myTopEmojis.append(QVariant::fromValue(EmojiCountValue(entry)));
    }
}

} // namespace murmora
