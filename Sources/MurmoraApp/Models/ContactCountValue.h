#pragma once

#ifndef Q_MOC_RUN
#include "Measurement/WrappedStats.h"
#include "Models/ValueConversions.h"
#endif

#include <QObject>
#include <QString>
#include <QtQml/qqmlregistration.h>

namespace murmora {

// A person and a count whose unit the field holding it tells (days of a streak, double texts).
class ContactCountValue {
    Q_GADGET
    QML_VALUE_TYPE(contactCount)

    Q_PROPERTY(QString handleID MEMBER handleID CONSTANT)
    Q_PROPERTY(QString displayName MEMBER displayName CONSTANT)
    Q_PROPERTY(int count MEMBER count CONSTANT)

public:
    ContactCountValue() = default;
    explicit ContactCountValue(const dovrel::WrappedStats::ContactCount& contact)
        : handleID(qml::text(contact.handleID))
        , displayName(qml::text(contact.displayName))
        , count(contact.count) {}

    QString handleID;
    QString displayName;
    int count = 0;
};

} // namespace murmora
