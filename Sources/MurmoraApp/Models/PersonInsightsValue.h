#pragma once

#ifndef Q_MOC_RUN
#include "Measurement/PersonInsights.h"
#endif

#include "Models/LaughterValue.h"

#include <QDateTime>
#include <QList>
#include <QObject>
#include <QString>
#include <QVariant>
#include <QtQml/qqmlregistration.h>

namespace murmora {

// One person's insights with the fields of their report alongside, as the person screen reads them.
// Optional ratios and rates are undefined when absent.
class PersonInsightsValue {
    Q_GADGET
    QML_VALUE_TYPE(personInsights)

    Q_PROPERTY(bool valid MEMBER valid CONSTANT)
    Q_PROPERTY(QString handleID MEMBER handleID CONSTANT)
    Q_PROPERTY(QString displayName MEMBER displayName CONSTANT)
    Q_PROPERTY(QVariant lengthVsBaseline MEMBER lengthVsBaseline CONSTANT)
    Q_PROPERTY(QVariant replyVsBaseline MEMBER replyVsBaseline CONSTANT)
    Q_PROPERTY(double balance MEMBER balance CONSTANT)
    Q_PROPERTY(int sentCount MEMBER sentCount CONSTANT)
    Q_PROPERTY(int receivedCount MEMBER receivedCount CONSTANT)
    Q_PROPERTY(int total READ total CONSTANT)
    Q_PROPERTY(QDateTime firstMessage MEMBER firstMessage CONSTANT)
    Q_PROPERTY(QDateTime lastMessage MEMBER lastMessage CONSTANT)
    Q_PROPERTY(QVariant myMedianReplySeconds MEMBER myMedianReplySeconds CONSTANT)
    Q_PROPERTY(QVariant theirMedianReplySeconds MEMBER theirMedianReplySeconds CONSTANT)
    Q_PROPERTY(QVariant myInitiationRate MEMBER myInitiationRate CONSTANT)
    Q_PROPERTY(QVariant myDoubleTextRate MEMBER myDoubleTextRate CONSTANT)
    Q_PROPERTY(QVariant myQuestionRate MEMBER myQuestionRate CONSTANT)
    Q_PROPERTY(QVariant myEmojiRate MEMBER myEmojiRate CONSTANT)
    Q_PROPERTY(QVariant myAverageLength MEMBER myAverageLength CONSTANT)
    Q_PROPERTY(QVariant myMedianLastTextMinuteOfDay MEMBER myMedianLastTextMinuteOfDay CONSTANT)
    Q_PROPERTY(murmora::LaughterValue myLaughter MEMBER myLaughter CONSTANT)
    Q_PROPERTY(QList<int> myHourlyHistogram MEMBER myHourlyHistogram CONSTANT)

public:
    PersonInsightsValue() = default;
    explicit PersonInsightsValue(const dovrel::PersonInsights& person);

    int total() const { return sentCount + receivedCount; }
    // The page's one-sentence headline with this name in it; empty when nothing stands out.
    Q_INVOKABLE QString headline(const QString& name) const;

    bool valid = false;
    QString handleID;
    QString displayName;
    QVariant lengthVsBaseline;
    QVariant replyVsBaseline;
    double balance = 0.5;
    int sentCount = 0;
    int receivedCount = 0;
    QDateTime firstMessage;
    QDateTime lastMessage;
    QVariant myMedianReplySeconds;
    QVariant theirMedianReplySeconds;
    QVariant myInitiationRate;
    QVariant myDoubleTextRate;
    QVariant myQuestionRate;
    QVariant myEmojiRate;
    QVariant myAverageLength;
    QVariant myMedianLastTextMinuteOfDay;
    LaughterValue myLaughter;
    QList<int> myHourlyHistogram;

private:
    // The headline needs the whole record; kept as it came.
    std::optional<dovrel::PersonInsights> record_;
};

} // namespace murmora
