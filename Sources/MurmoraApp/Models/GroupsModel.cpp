#include "Models/GroupsModel.h"

#include "Models/ValueConversions.h"

namespace murmora {

GroupsModel::GroupsModel(QObject* parent)
    : QAbstractListModel(parent) {}

void GroupsModel::setGroups(const std::vector<dovrel::GroupThread>& groups, const NameResolver& resolve) {
    beginResetModel();
    rows_.clear();
    rows_.reserve(groups.size());
    for (const dovrel::GroupThread& group : groups) {
        rows_.push_back(Row{
            qml::text(group.guid),
            qml::text(group.name),
            qml::text(group.name ? *group.name : group.fallbackName(resolve)),
            qml::texts(group.participants),
            static_cast<int>(group.messages.size()),
            group.messages.empty() ? QVariant() : QVariant(qml::date(group.messages.back().date)),
        });
    }
    endResetModel();
}

int GroupsModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(rows_.size());
}

QVariant GroupsModel::data(const QModelIndex& index, int role) const {
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid)) {
        return {};
    }
    const Row& row = rows_[static_cast<std::size_t>(index.row())];
    switch (role) {
    case GuidRole:
        return row.guid;
    case GroupNameRole:
        return row.name;
    case Qt::DisplayRole:
    case TitleRole:
        return row.title;
    case ParticipantsRole:
        return row.participants;
    case MessageCountRole:
        return row.messageCount;
    case LastMessageRole:
        return row.lastMessage;
    default:
        return {};
    }
}

QHash<int, QByteArray> GroupsModel::roleNames() const {
    return {{GuidRole, "guid"},
            {GroupNameRole, "groupName"},
            {TitleRole, "title"},
            {ParticipantsRole, "participants"},
            {MessageCountRole, "messageCount"},
            {LastMessageRole, "lastMessage"}};
}

} // namespace murmora
