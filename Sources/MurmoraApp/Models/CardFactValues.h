#pragma once

#ifndef Q_MOC_RUN
#include "Output/ShareCardFacts.h"
#endif

#include <QObject>
#include <QString>
#include <QtQml/qqmlregistration.h>

namespace murmora {

// A figure on a duo card, with its caption.
class CardTileValue {
    Q_GADGET
    QML_VALUE_TYPE(cardTile)

    Q_PROPERTY(QString value MEMBER value CONSTANT)
    Q_PROPERTY(QString caption MEMBER caption CONSTANT)

public:
    CardTileValue() = default;
    explicit CardTileValue(const dovrel::ShareCardFacts::Tile& tile)
        : value(QString::fromStdString(tile.value))
        , caption(QString::fromStdString(tile.caption)) {}

    QString value;
    QString caption;
};

// Who holds a title in a group chat.
class SuperlativeValue {
    Q_GADGET
    QML_VALUE_TYPE(superlative)

    Q_PROPERTY(QString emoji MEMBER emoji CONSTANT)
    Q_PROPERTY(QString label MEMBER label CONSTANT)
    Q_PROPERTY(QString who MEMBER who CONSTANT)
    Q_PROPERTY(QString detail MEMBER detail CONSTANT)
    Q_PROPERTY(bool isMe MEMBER isMe CONSTANT)

public:
    SuperlativeValue() = default;
    explicit SuperlativeValue(const dovrel::ShareCardFacts::Superlative& superlative)
        : emoji(QString::fromStdString(superlative.emoji))
        , label(QString::fromStdString(superlative.label))
        , who(QString::fromStdString(superlative.who))
        , detail(QString::fromStdString(superlative.detail))
        , isMe(superlative.isMe) {}

    QString emoji;
    QString label;
    QString who;
    QString detail;
    bool isMe = false;
};

// A member of a group with their share of its messages, for the group card's bars.
class MemberShareValue {
    Q_GADGET
    QML_VALUE_TYPE(memberShare)

    Q_PROPERTY(QString name MEMBER name CONSTANT)
    Q_PROPERTY(double share MEMBER share CONSTANT)
    Q_PROPERTY(bool isMe MEMBER isMe CONSTANT)

public:
    QString name;
    double share = 0;
    bool isMe = false;
};

} // namespace murmora
