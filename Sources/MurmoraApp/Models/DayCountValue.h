#pragma once

#ifndef Q_MOC_RUN
#include "Measurement/WrappedStats.h"
#include "Models/ValueConversions.h"
#endif

#include <QDateTime>
#include <QObject>
#include <QtQml/qqmlregistration.h>

namespace murmora {

// A day (its start) and the messages on it.
class DayCountValue {
    Q_GADGET
    QML_VALUE_TYPE(dayCount)

    Q_PROPERTY(QDateTime date MEMBER date CONSTANT)
    Q_PROPERTY(int count MEMBER count CONSTANT)

public:
    DayCountValue() = default;
    explicit DayCountValue(const dovrel::WrappedStats::DayCount& day)
        : date(qml::date(day.date))
        , count(day.count) {}

    QDateTime date;
    int count = 0;
};

} // namespace murmora
