#pragma once

// moc of Qt 6.4 cannot parse the C++20 standard headers the core pulls in; it needs none of them.
#ifndef Q_MOC_RUN
#include "Measurement/Trends.h"
#endif

#include "State/AppState.h"

#include <QAbstractListModel>
#include <QObject>
#include <QPointer>
#include <QStringList>
#include <QtQml/qqmlregistration.h>
#include <vector>

namespace murmora {

// A person's months, oldest first, as the charts read them.
class MonthPointModel : public QAbstractListModel {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The trends controller owns its points.")

public:
    enum Role {
        MonthRole = Qt::UserRole + 1, // the month's first instant, as a date
        CountRole,
        MyShareRole,
        WarmthRole, // undefined for a month without a warmth
    };

    using QAbstractListModel::QAbstractListModel;

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

    const std::vector<dovrel::Trends::MonthPoint>& points() const { return points_; }
    void reset(std::vector<dovrel::Trends::MonthPoint> points);

private:
    std::vector<dovrel::Trends::MonthPoint> points_;
};

// What the person screen shows of one person over time: the months (kept in the state's trends cache, so they
// are computed once per learn run) and the words the user writes to them most.
class PersonTrendsController : public QObject {
    Q_OBJECT
    QML_ELEMENT

    Q_PROPERTY(murmora::AppState* state READ state WRITE setState NOTIFY stateChanged)
    Q_PROPERTY(QString handle READ handle WRITE setHandle NOTIFY handleChanged)
    Q_PROPERTY(murmora::MonthPointModel* points READ points CONSTANT)
    // The user's eight most used words with this person, most first.
    Q_PROPERTY(QStringList topics READ topics NOTIFY topicsChanged)
    // The months or the words are being computed.
    Q_PROPERTY(bool loading READ loading NOTIFY loadingChanged)

public:
    static constexpr int topicCount = 8;

    explicit PersonTrendsController(QObject* parent = nullptr);

    AppState* state() const { return state_.data(); }
    void setState(AppState* state);
    QString handle() const { return handle_; }
    void setHandle(const QString& handle);
    MonthPointModel* points() { return &points_; }
    QStringList topics() const { return topics_; }
    bool loading() const { return loading_; }

    // Computes, on a worker, the months when the cache lacks them and the words; nothing without a thread.
    Q_INVOKABLE void load();

signals:
    void stateChanged();
    void handleChanged();
    void topicsChanged();
    void loadingChanged();

private:
    void showCached();
    void setLoading(bool loading);

    QPointer<AppState> state_;
    QString handle_;
    MonthPointModel points_;
    QStringList topics_;
    bool loading_ = false;
    int load_ = 0; // numbers the loads; only the latest one's words count
};

} // namespace murmora
