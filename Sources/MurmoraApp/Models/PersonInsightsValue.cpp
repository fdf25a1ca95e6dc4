#include "Models/PersonInsightsValue.h"

#include "Models/ValueConversions.h"

namespace murmora {

PersonInsightsValue::PersonInsightsValue(const dovrel::PersonInsights& person)
    : valid(true)
    , handleID(qml::text(person.handleID))
    , displayName(qml::text(person.displayName))
    , lengthVsBaseline(qml::optional(person.lengthVsBaseline))
    , replyVsBaseline(qml::optional(person.replyVsBaseline))
    , balance(person.balance)
    , sentCount(person.report.sentCount)
    , receivedCount(person.report.receivedCount)
    , firstMessage(qml::date(person.report.firstMessage))
    , lastMessage(qml::date(person.report.lastMessage))
    , myMedianReplySeconds(qml::optional(person.report.myMedianReplySeconds))
    , theirMedianReplySeconds(qml::optional(person.report.theirMedianReplySeconds))
    , myInitiationRate(qml::optional(person.report.myInitiationRate))
    , myDoubleTextRate(qml::optional(person.report.myDoubleTextRate))
    , myQuestionRate(qml::optional(person.report.myQuestionRate))
    , myEmojiRate(qml::optional(person.report.myEmojiRate))
    , myAverageLength(qml::optional(person.report.myAverageLength))
    , myMedianLastTextMinuteOfDay(qml::optional(person.report.myMedianLastTextMinuteOfDay))
    , myLaughter(person.report.myLaughter)
    , myHourlyHistogram(qml::ints(person.report.myHourlyHistogram))
    , record_(person) {}

QString PersonInsightsValue::headline(const QString& name) const {
    if (!record_) {
        return {};
    }
    return qml::text(record_->headline(name.toStdString()));
}

} // namespace murmora
