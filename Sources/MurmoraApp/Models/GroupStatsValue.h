#pragma once

#ifndef Q_MOC_RUN
#include "Measurement/GroupStats.h"
#endif

#include <QList>
#include <QObject>
#include <QString>
#include <QVariant>
#include <QVariantList>
#include <QtQml/qqmlregistration.h>
#include <functional>
#include <string>

namespace murmora {

// One group chat's statistics and the user's role in it; the members are a GroupMembersModel. `myRank` and
// `lastMessage` are undefined when absent; `valid` is false for a group that is not loaded.
class GroupStatsValue {
    Q_GADGET
    QML_VALUE_TYPE(groupStats)

    Q_PROPERTY(bool valid MEMBER valid CONSTANT)
    Q_PROPERTY(int total MEMBER total CONSTANT)
    Q_PROPERTY(int memberCount MEMBER memberCount CONSTANT)
    Q_PROPERTY(QVariant myRank MEMBER myRank CONSTANT)
    // "comedian", "engine", "instigator", "lurker" or "regular".
    Q_PROPERTY(QString role MEMBER role CONSTANT)
    // "The Comedian" and so on.
    Q_PROPERTY(QString roleTitle MEMBER roleTitle CONSTANT)
    Q_PROPERTY(QString roleLine MEMBER roleLine CONSTANT)
    Q_PROPERTY(QList<int> hourly MEMBER hourly CONSTANT)
    Q_PROPERTY(QVariant lastMessage MEMBER lastMessage CONSTANT)
    // SuperlativeValue: who talks the most, gets the laughs, revives the chat.
    Q_PROPERTY(QVariantList superlatives MEMBER superlatives CONSTANT)
    // MemberShareValue of every member, most messages first.
    Q_PROPERTY(QVariantList members MEMBER members CONSTANT)

public:
    // A member's name: "You" for the user, else what `resolve` gives for the handle.
    using NameResolver = std::function<std::string(const std::string& handle)>;

    GroupStatsValue() = default;
    GroupStatsValue(const dovrel::GroupStats& stats, const NameResolver& resolve);

    bool valid = false;
    int total = 0;
    int memberCount = 0;
    QVariant myRank;
    QString role;
    QString roleTitle;
    QString roleLine;
    QList<int> hourly;
    QVariant lastMessage;
    QVariantList superlatives;
    QVariantList members;
};

} // namespace murmora
