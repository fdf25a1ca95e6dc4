#include "Models/TranscriptModel.h"

#include "Models/ValueConversions.h"

#include <algorithm>

namespace murmora {

TranscriptModel::TranscriptModel(QObject* parent)
    : QAbstractListModel(parent) {}

void TranscriptModel::setMessages(std::vector<dovrel::CoachMessage> messages) {
    const bool extends = messages.size() >= messages_.size() &&
                         std::equal(messages_.begin(), messages_.end(), messages.begin());
    if (!extends) {
        beginResetModel();
        messages_ = std::move(messages);
        endResetModel();
        return;
    }
    if (messages.size() == messages_.size()) {
        return;
    }
    beginInsertRows({}, static_cast<int>(messages_.size()), static_cast<int>(messages.size()) - 1);
    messages_ = std::move(messages);
    endInsertRows();
}

void TranscriptModel::append(dovrel::CoachMessage message) {
    const int row = static_cast<int>(messages_.size());
    beginInsertRows({}, row, row);
    messages_.push_back(std::move(message));
    endInsertRows();
}

int TranscriptModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(messages_.size());
}

QVariant TranscriptModel::data(const QModelIndex& index, int role) const {
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid)) {
        return {};
    }
    const dovrel::CoachMessage& message = messages_[static_cast<std::size_t>(index.row())];
    switch (role) {
    case MessageIDRole:
        return qml::text(message.id);
    case RoleNameRole:
        return qml::text(dovrel::CoachMessage::roleName(message.role));
    case Qt::DisplayRole:
    case TextRole:
        return qml::text(message.text);
    case DateRole:
        return qml::optional(message.date);
    case SourcesRole:
        return qml::texts(message.sources.value_or(std::vector<std::string>{}));
    default:
        return {};
    }
}

QHash<int, QByteArray> TranscriptModel::roleNames() const {
    return {{MessageIDRole, "messageID"},
            {RoleNameRole, "role"},
            {TextRole, "text"},
            {DateRole, "date"},
            {SourcesRole, "sources"}};
}

} // namespace murmora
