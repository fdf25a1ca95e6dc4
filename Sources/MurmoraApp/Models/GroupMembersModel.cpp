#include "Models/GroupMembersModel.h"

#include "Models/ValueConversions.h"

namespace murmora {
namespace {

bool isMe(const dovrel::GroupStats::Member& member) {
    return member.key == dovrel::GroupThread::meKey;
}

} // namespace

GroupMembersModel::GroupMembersModel(QObject* parent)
    : QAbstractListModel(parent) {}

void GroupMembersModel::setMembers(std::vector<dovrel::GroupStats::Member> members,
                                   const NameResolver& resolve) {
    beginResetModel();
    members_ = std::move(members);
    names_.clear();
    names_.reserve(members_.size());
    for (const dovrel::GroupStats::Member& member : members_) {
        names_.push_back(isMe(member) ? QStringLiteral("You") : qml::text(resolve(member.key)));
    }
    endResetModel();
}

int GroupMembersModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(members_.size());
}

QVariant GroupMembersModel::data(const QModelIndex& index, int role) const {
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid)) {
        return {};
    }
    const std::size_t row = static_cast<std::size_t>(index.row());
    const dovrel::GroupStats::Member& member = members_[row];
    switch (role) {
    case KeyRole:
        return qml::text(member.key);
    case Qt::DisplayRole:
    case NameRole:
        return names_[row];
    case IsMeRole:
        return isMe(member);
    case CountRole:
        return member.count;
    case ShareRole:
        return member.share;
    case LaughsRole:
        return member.laughs;
    case LaughRateRole:
        return member.laughRate;
    case InitiationsRole:
        return member.initiations;
    default:
        return {};
    }
}

QHash<int, QByteArray> GroupMembersModel::roleNames() const {
    return {{KeyRole, "key"},
            {NameRole, "name"},
            {IsMeRole, "isMe"},
            {CountRole, "count"},
            {ShareRole, "share"},
            {LaughsRole, "laughs"},
            {LaughRateRole, "laughRate"},
            {InitiationsRole, "initiations"}};
}

} // namespace murmora
