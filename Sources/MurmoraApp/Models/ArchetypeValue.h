#pragma once

#ifndef Q_MOC_RUN
#include "Measurement/LocalArchetype.h"
#endif

#include <QObject>
#include <QString>
#include <QtQml/qqmlregistration.h>
#include <optional>

namespace murmora {

// The user's texter archetype; `valid` is false while there is none.
class ArchetypeValue {
    Q_GADGET
    QML_VALUE_TYPE(archetype)

    Q_PROPERTY(bool valid MEMBER valid CONSTANT)
    Q_PROPERTY(QString title MEMBER title CONSTANT)
    Q_PROPERTY(QString body MEMBER body CONSTANT)

public:
    ArchetypeValue() = default;
    explicit ArchetypeValue(const std::optional<dovrel::Archetype>& archetype)
        : valid(archetype.has_value())
        , title(archetype ? QString::fromStdString(archetype->title) : QString())
        , body(archetype ? QString::fromStdString(archetype->body) : QString()) {}

    bool valid = false;
    QString title;
    QString body;
};

} // namespace murmora
