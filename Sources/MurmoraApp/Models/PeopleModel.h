#pragma once

#ifndef Q_MOC_RUN
#include "Measurement/PersonInsights.h"
#include "Measurement/Proactive.h"
#endif

#include <QAbstractListModel>
#include <QtQml/qqmlregistration.h>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace murmora {

// Everybody the user texts, most messages first, with the resolved name and what the people screen sorts on.
// The state hands it each part as it changes: the people and names of a run, the ends of the threads, the
// proactive insights. Names, thread ends and insights change rows in place; only new people reset it.
class PeopleModel : public QAbstractListModel {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The application state owns the people.")

public:
    enum Role {
        HandleIDRole = Qt::UserRole + 1,
        NameRole,
        TotalRole,
        // The date of the thread's last message, or the report's when the thread is not loaded.
        LastDateRole,
        HasThreadRole,
        // Who sent the thread's last message; undefined without a thread.
        LastFromMeRole,
        // Position of the person's first proactive insight, -1 without one.
        AttentionRole,
        // "waiting", "warmthDip", "neglected", or empty.
        InsightKindRole,
        PersonRole,
    };
    Q_ENUM(Role)

    // The last message of a loaded thread.
    struct ThreadEnd {
        dovrel::Date date;
        bool fromMe = false;
    };

    explicit PeopleModel(QObject* parent = nullptr);

    void setPeople(std::vector<dovrel::PersonInsights> people,
                   const std::map<std::string, std::string>& names);
    void setNames(const std::map<std::string, std::string>& names);
    void setThreadEnds(std::map<std::string, ThreadEnd> ends);
    void setInsights(const std::vector<dovrel::Proactive::Insight>& insights);

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

private:
    QString nameOf(const dovrel::PersonInsights& person) const;
    void changedAll(const QList<int>& roles);

    std::vector<dovrel::PersonInsights> people_;
    std::vector<QString> names_;
    std::map<std::string, std::string> nameMap_;
    std::map<std::string, ThreadEnd> ends_;
    std::map<std::string, std::pair<int, QString>> attention_;
};

} // namespace murmora
