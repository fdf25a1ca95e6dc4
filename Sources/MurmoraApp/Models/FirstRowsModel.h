#pragma once

#include <QSortFilterProxyModel>
#include <QtQml/qqmlregistration.h>

namespace murmora {

// The first `limit` rows of another model, in its order: the person picker's first twelve of a filtered,
// sorted list.
class FirstRowsModel : public QSortFilterProxyModel {
    Q_OBJECT
    QML_ELEMENT

    Q_PROPERTY(int limit READ limit WRITE setLimit NOTIFY limitChanged)

public:
    explicit FirstRowsModel(QObject* parent = nullptr);

    int limit() const { return limit_; }
    void setLimit(int limit);
    void setSourceModel(QAbstractItemModel* source) override;

signals:
    void limitChanged();

protected:
    bool filterAcceptsRow(int sourceRow, const QModelIndex& sourceParent) const override;

private:
    int limit_ = 12;
};

} // namespace murmora
