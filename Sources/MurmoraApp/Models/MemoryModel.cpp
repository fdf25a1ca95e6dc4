#include "Models/MemoryModel.h"

#include "Models/ValueConversions.h"

namespace murmora {

MemoryModel::MemoryModel(QObject* parent)
    : QAbstractListModel(parent) {}

void MemoryModel::setEntries(std::vector<dovrel::MemoryEntry> entries) {
    if (entries == entries_) {
        return;
    }
    // A memory update adds, resolves and removes at once and trims by its own rules; the list is at most
    // forty entries, so it is simply shown again.
    beginResetModel();
    entries_ = std::move(entries);
    endResetModel();
}

int MemoryModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(entries_.size());
}

QVariant MemoryModel::data(const QModelIndex& index, int role) const {
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid)) {
        return {};
    }
    const dovrel::MemoryEntry& entry = entries_[static_cast<std::size_t>(index.row())];
    switch (role) {
    case EntryIDRole:
        return qml::text(entry.id);
    case KindRole:
        return qml::text(dovrel::MemoryEntry::rawValue(entry.kind));
    case Qt::DisplayRole:
    case TextRole:
        return qml::text(entry.text);
    case DateRole:
        return qml::date(entry.date);
    case DoneRole:
        return entry.done;
    default:
        return {};
    }
}

QHash<int, QByteArray> MemoryModel::roleNames() const {
    return {{EntryIDRole, "entryID"},
            {KindRole, "kind"},
            {TextRole, "text"},
            {DateRole, "date"},
            {DoneRole, "done"}};
}

} // namespace murmora
