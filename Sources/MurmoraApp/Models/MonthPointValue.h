#pragma once

#ifndef Q_MOC_RUN
#include "Measurement/Trends.h"
#include "Models/ValueConversions.h"
#endif

#include <QDateTime>
#include <QObject>
#include <QVariant>
#include <QtQml/qqmlregistration.h>

namespace murmora {

// One month of a person's trend line; `warmth` is undefined for a month without enough text to score.
class MonthPointValue {
    Q_GADGET
    QML_VALUE_TYPE(monthPoint)

    Q_PROPERTY(QDateTime month MEMBER month CONSTANT)
    Q_PROPERTY(int count MEMBER count CONSTANT)
    Q_PROPERTY(double myShare MEMBER myShare CONSTANT)
    Q_PROPERTY(QVariant warmth MEMBER warmth CONSTANT)

public:
    MonthPointValue() = default;
    explicit MonthPointValue(const dovrel::Trends::MonthPoint& point)
        : month(qml::date(point.month))
        , count(point.count)
        , myShare(point.myShare)
        , warmth(qml::optional(point.warmth)) {}

    QDateTime month;
    int count = 0;
    double myShare = 0.0;
    QVariant warmth;
};

} // namespace murmora
