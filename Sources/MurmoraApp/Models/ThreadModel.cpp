#include "Models/ThreadModel.h"

#include "Models/ValueConversions.h"

#include <algorithm>

namespace murmora {

ThreadModel::ThreadModel(QObject* parent)
    : QAbstractListModel(parent) {}

void ThreadModel::setMessages(std::shared_ptr<const std::vector<dovrel::RawMessage>> messages,
                              dovrel::Calendar calendar) {
    beginResetModel();
    messages_ = std::move(messages);
    calendar_ = std::move(calendar);
    loaded_ = std::min(totalCount(), pageSize);
    endResetModel();
    emit totalCountChanged();
}

const dovrel::RawMessage& ThreadModel::messageAt(int row) const {
    return (*messages_)[static_cast<std::size_t>(totalCount() - 1 - row)];
}

int ThreadModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : loaded_;
}

QVariant ThreadModel::data(const QModelIndex& index, int role) const {
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid)) {
        return {};
    }
    const dovrel::RawMessage& message = messageAt(index.row());
    switch (role) {
    case Qt::DisplayRole:
    case TextRole:
        return qml::text(message.text);
    case DateRole:
        return qml::date(message.date);
    case IsFromMeRole:
        return message.isFromMe;
    case StartsDayRole: {
        // The next row is the message before this one, loaded or not.
        if (index.row() + 1 >= totalCount()) {
            return true;
        }
        const dovrel::RawMessage& previous = messageAt(index.row() + 1);
        return calendar_->startOfDay(previous.date) != calendar_->startOfDay(message.date);
    }
    default:
        return {};
    }
}

QHash<int, QByteArray> ThreadModel::roleNames() const {
    return {{TextRole, "text"}, {DateRole, "date"}, {IsFromMeRole, "isFromMe"}, {StartsDayRole, "startsDay"}};
}

bool ThreadModel::canFetchMore(const QModelIndex& parent) const {
    return !parent.isValid() && loaded_ < totalCount();
}

void ThreadModel::fetchMore(const QModelIndex& parent) {
    if (!canFetchMore(parent)) {
        return;
    }
    const int more = std::min(pageSize, totalCount() - loaded_);
    beginInsertRows({}, loaded_, loaded_ + more - 1);
    loaded_ += more;
    endInsertRows();
}

} // namespace murmora
