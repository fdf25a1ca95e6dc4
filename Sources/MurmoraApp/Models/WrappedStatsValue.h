#pragma once

#ifndef Q_MOC_RUN
#include "Measurement/WrappedStats.h"
#endif

#include "Models/LaughterValue.h"

#include <QDateTime>
#include <QList>
#include <QObject>
#include <QVariant>
#include <QVariantList>
#include <QtQml/qqmlregistration.h>
#include <optional>

namespace murmora {

// The year recap as the screens read it. `valid` is false while there is nothing learned. Optional numbers
// and records are undefined when absent; the lists hold TopContactValue and EmojiCountValue.
class WrappedStatsValue {
    Q_GADGET
    QML_VALUE_TYPE(wrappedStats)

    Q_PROPERTY(bool valid MEMBER valid CONSTANT)
    Q_PROPERTY(QDateTime intervalStart MEMBER intervalStart CONSTANT)
    Q_PROPERTY(double intervalDuration MEMBER intervalDuration CONSTANT)
    Q_PROPERTY(int peopleCount MEMBER peopleCount CONSTANT)
    Q_PROPERTY(int totalMessages MEMBER totalMessages CONSTANT)
    Q_PROPERTY(int sentCount MEMBER sentCount CONSTANT)
    Q_PROPERTY(int receivedCount MEMBER receivedCount CONSTANT)
    Q_PROPERTY(QVariantList topContacts MEMBER topContacts CONSTANT)
    Q_PROPERTY(QVariant busiestDay MEMBER busiestDay CONSTANT)
    Q_PROPERTY(QVariant longestStreak MEMBER longestStreak CONSTANT)
    Q_PROPERTY(QVariant doubleTextChampion MEMBER doubleTextChampion CONSTANT)
    Q_PROPERTY(QVariant myMedianReplySeconds MEMBER myMedianReplySeconds CONSTANT)
    Q_PROPERTY(QVariant myInitiationRate MEMBER myInitiationRate CONSTANT)
    Q_PROPERTY(QVariant medianLastTextMinute MEMBER medianLastTextMinute CONSTANT)
    Q_PROPERTY(murmora::LaughterValue laughter MEMBER laughter CONSTANT)
    Q_PROPERTY(QVariant myMedianLength MEMBER myMedianLength CONSTANT)
    Q_PROPERTY(QVariant myQuestionRate MEMBER myQuestionRate CONSTANT)
    Q_PROPERTY(QVariant myEmojiRate MEMBER myEmojiRate CONSTANT)
    Q_PROPERTY(QVariant peakHour MEMBER peakHour CONSTANT)
    Q_PROPERTY(QList<int> myHourlyHistogram MEMBER myHourlyHistogram CONSTANT)
    Q_PROPERTY(QVariantList myTopEmojis MEMBER myTopEmojis CONSTANT)

public:
    WrappedStatsValue() = default;
    explicit WrappedStatsValue(const std::optional<dovrel::WrappedStats>& stats);

    bool valid = false;
    QDateTime intervalStart;
    double intervalDuration = 0.0;
    int peopleCount = 0;
    int totalMessages = 0;
    int sentCount = 0;
    int receivedCount = 0;
    QVariantList topContacts;
    QVariant busiestDay;
    QVariant longestStreak;
    QVariant doubleTextChampion;
    QVariant myMedianReplySeconds;
    QVariant myInitiationRate;
    QVariant medianLastTextMinute;
    LaughterValue laughter;
    QVariant myMedianLength;
    QVariant myQuestionRate;
    QVariant myEmojiRate;
    QVariant peakHour;
    QList<int> myHourlyHistogram;
    QVariantList myTopEmojis;
};

} // namespace murmora
