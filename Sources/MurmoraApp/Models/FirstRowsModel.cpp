#include "Models/FirstRowsModel.h"

namespace murmora {

FirstRowsModel::FirstRowsModel(QObject* parent)
    : QSortFilterProxyModel(parent) {}

void FirstRowsModel::setLimit(int limit) {
    if (limit_ == limit) {
        return;
    }
    limit_ = limit;
    invalidateFilter();
    emit limitChanged();
}

void FirstRowsModel::setSourceModel(QAbstractItemModel* source) {
    if (sourceModel() != nullptr) {
        disconnect(sourceModel(), nullptr, this, nullptr);
    }
    QSortFilterProxyModel::setSourceModel(source);
    if (source == nullptr) {
        return;
    }
    // Which rows are first depends on where every other row is: a move or an insertion above the cut
    // changes it, and the base class filters only the rows that arrive.
    const auto refilter = [this] { invalidateFilter(); };
    connect(source, &QAbstractItemModel::rowsInserted, this, refilter);
    connect(source, &QAbstractItemModel::rowsRemoved, this, refilter);
    connect(source, &QAbstractItemModel::rowsMoved, this, refilter);
    connect(source, &QAbstractItemModel::layoutChanged, this, refilter);
    connect(source, &QAbstractItemModel::modelReset, this, refilter);
}

bool FirstRowsModel::filterAcceptsRow(int sourceRow, const QModelIndex&) const {
    return sourceRow < limit_;
}

} // namespace murmora
