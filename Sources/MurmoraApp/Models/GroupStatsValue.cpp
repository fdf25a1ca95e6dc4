#include "Models/GroupStatsValue.h"

#include "Models/CardFactValues.h"
#include "Models/ValueConversions.h"

namespace murmora {
namespace {

QString roleName(dovrel::GroupStats::Role role) {
    switch (role) {
    case dovrel::GroupStats::Role::comedian:
        return QStringLiteral("comedian");
    case dovrel::GroupStats::Role::engine:
        return QStringLiteral("engine");
    case dovrel::GroupStats::Role::instigator:
        return QStringLiteral("instigator");
    case dovrel::GroupStats::Role::lurker:
        return QStringLiteral("lurker");
    case dovrel::GroupStats::Role::regular:
        return QStringLiteral("regular");
    }
    return {};
}

} // namespace

GroupStatsValue::GroupStatsValue(const dovrel::GroupStats& stats, const NameResolver& resolve)
    : valid(true)
    , total(stats.total)
    , memberCount(static_cast<int>(stats.members.size()))
    , myRank(qml::optional(stats.myRank))
    , role(roleName(stats.role))
    , roleTitle(qml::text(dovrel::GroupStats::roleTitle(stats.role)))
    , roleLine(qml::text(stats.roleLine))
    , hourly(qml::ints(stats.hourly))
    , lastMessage(qml::optional(stats.lastMessage)) {
    const auto memberName = [&resolve](const std::string& key) {
        return key == dovrel::GroupThread::meKey ? std::string("You") : resolve(key);
    };
    for (const dovrel::ShareCardFacts::Superlative& superlative :
         dovrel::ShareCardFacts::superlatives(stats, memberName)) {
        superlatives.append(QVariant::fromValue(SuperlativeValue(superlative)));
    }
    for (const dovrel::GroupStats::Member& member : stats.members) {
        members.append(QVariant::fromValue(
            MemberShareValue{qml::text(memberName(member.key)), member.share, member.isMe()}));
    }
}

} // namespace murmora
