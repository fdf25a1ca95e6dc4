#pragma once

#ifndef Q_MOC_RUN
#include "Measurement/WrappedStats.h"
#include "Models/ValueConversions.h"
#endif

#include <QObject>
#include <QString>
#include <QtQml/qqmlregistration.h>

namespace murmora {

// One of the people the user texted most in the period.
class TopContactValue {
    Q_GADGET
    QML_VALUE_TYPE(topContact)

    Q_PROPERTY(QString handleID MEMBER handleID CONSTANT)
    Q_PROPERTY(QString displayName MEMBER displayName CONSTANT)
    Q_PROPERTY(int count MEMBER count CONSTANT)
    Q_PROPERTY(int sent MEMBER sent CONSTANT)
    Q_PROPERTY(int received MEMBER received CONSTANT)

public:
    TopContactValue() = default;
    explicit TopContactValue(const dovrel::WrappedStats::TopContact& contact)
        : handleID(qml::text(contact.handleID))
        , displayName(qml::text(contact.displayName))
        , count(contact.count)
        , sent(contact.sent)
        , received(contact.received) {}

    QString handleID;
    QString displayName;
    int count = 0;
    int sent = 0;
    int received = 0;
};

} // namespace murmora
