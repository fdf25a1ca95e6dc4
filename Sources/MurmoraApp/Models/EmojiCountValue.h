#pragma once

#ifndef Q_MOC_RUN
#include "Measurement/TextStyle.h"
#include "Models/ValueConversions.h"
#endif

#include <QObject>
#include <QString>
#include <QtQml/qqmlregistration.h>

namespace murmora {

class EmojiCountValue {
    Q_GADGET
    QML_VALUE_TYPE(emojiCount)

    Q_PROPERTY(QString emoji MEMBER emoji CONSTANT)
    Q_PROPERTY(int count MEMBER count CONSTANT)

public:
    EmojiCountValue() = default;
    explicit EmojiCountValue(const dovrel::TextStyle::EmojiCount& entry)
        : emoji(qml::text(entry.emoji))
        , count(entry.count) {}

    QString emoji;
    int count = 0;
};

} // namespace murmora
