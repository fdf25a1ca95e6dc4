#pragma once

#ifndef Q_MOC_RUN
#include "Models/ValueConversions.h"
#include "Persistence/Artifacts.h"
#endif

#include <QDateTime>
#include <QObject>
#include <QString>
#include <QtQml/qqmlregistration.h>

namespace murmora {

// One stored deep dive; `valid` is false for a person without one.
class StoredDiveValue {
    Q_GADGET
    QML_VALUE_TYPE(storedDive)

    Q_PROPERTY(bool valid MEMBER valid CONSTANT)
    Q_PROPERTY(QString text MEMBER text CONSTANT)
    Q_PROPERTY(QDateTime generatedAt MEMBER generatedAt CONSTANT)
    Q_PROPERTY(QDateTime threadLastDate MEMBER threadLastDate CONSTANT)

public:
    StoredDiveValue() = default;
    explicit StoredDiveValue(const dovrel::StoredDive& dive)
        : valid(true)
        , text(qml::text(dive.text))
        , generatedAt(qml::date(dive.generatedAt))
        , threadLastDate(qml::date(dive.threadLastDate)) {}

    bool valid = false;
    QString text;
    QDateTime generatedAt;
    QDateTime threadLastDate;
};

} // namespace murmora
