#pragma once

#include <QSortFilterProxyModel>
#include <QtQml/qqmlregistration.h>
#include <memory>

namespace murmora {

// The people screen's list: a search over names and handles that ignores case and accents in the user's
// locale, and the three orders of the sort menu. Its source is a PeopleModel.
class PeopleFilterModel : public QSortFilterProxyModel {
    Q_OBJECT
    QML_ELEMENT

    Q_PROPERTY(QString query READ query WRITE setQuery NOTIFY queryChanged)
    Q_PROPERTY(SortMode sortMode READ sortMode WRITE setSortMode NOTIFY sortModeChanged)

public:
    enum class SortMode { Volume, Recent, Attention };
    Q_ENUM(SortMode)

    explicit PeopleFilterModel(QObject* parent = nullptr);
    ~PeopleFilterModel() override;

    QString query() const { return query_; }
    void setQuery(const QString& query);
    SortMode sortMode() const { return sortMode_; }
    void setSortMode(SortMode mode);

signals:
    void queryChanged();
    void sortModeChanged();

protected:
    bool filterAcceptsRow(int sourceRow, const QModelIndex& sourceParent) const override;
    bool lessThan(const QModelIndex& left, const QModelIndex& right) const override;

private:
    class Matcher;

    QString query_;
    SortMode sortMode_ = SortMode::Volume;
    std::unique_ptr<Matcher> matcher_;
};

} // namespace murmora
