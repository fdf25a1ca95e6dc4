#pragma once

// moc of Qt 6.4 cannot parse the C++20 standard headers the core pulls in; it needs none of them.
#ifndef Q_MOC_RUN
#include "Measurement/GroupStats.h"
#include "Measurement/Proactive.h"
#include "Measurement/Trends.h"
#include "MessageSources/GroupRecords.h"
#endif

#include "Models/GroupMembersModel.h"
#include "Models/GroupStatsValue.h"
#include "Models/GroupsModel.h"
#include "Models/InsightsModel.h"

#include <QObject>
#include <QString>
#include <QVariantList>
#include <QtQml/qqmlregistration.h>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

class QThreadPool;

namespace murmora {

class AppState;

// What the state computes only when something asks: the group chats and their statistics, the proactive
// insights and the monthly trends per person. Owned by the application state, on the GUI thread; every
// computation runs on a worker over data shared read-only, and posts its result back.
class Insights : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The application state owns the insights.")

    Q_PROPERTY(GroupStatus groupStatus READ groupStatus NOTIFY groupStatusChanged)
    Q_PROPERTY(bool groupsLoading READ groupsLoading NOTIFY groupStatusChanged)
    Q_PROPERTY(bool proactiveLoading READ proactiveLoading NOTIFY proactiveLoadingChanged)
    // The group chats as loaded; their messages stay in C++.
    Q_PROPERTY(murmora::GroupsModel* groups READ groupsModel CONSTANT)
    Q_PROPERTY(murmora::InsightsModel* proactive READ proactiveModel CONSTANT)

public:
    // Where the group chats are. A failed load is finished like a loaded one; the next loadGroups() retries.
    // After asking for a load, only Loading is worth waiting for: NotLoaded then means it could not start.
    enum class GroupStatus { NotLoaded, Loading, Loaded, Failed };
    Q_ENUM(GroupStatus)

    using Groups = std::vector<dovrel::GroupThread>;

    Insights(AppState& state, QThreadPool& userInitiated, QThreadPool& utility);

    const Groups& groups() const { return *groups_; }
    // The same groups, for work that outlives this call on another thread.
    std::shared_ptr<const Groups> sharedGroups() const { return groups_; }
    GroupStatus groupStatus() const { return groupStatus_; }
    bool groupsLoading() const { return groupStatus_ == GroupStatus::Loading; }
    bool groupsLoaded() const { return groupsLoaded_; }
    // The statistics of a group from the cache, which a group load fills for all its groups. A miss returns
    // null, computes them on a worker and then emits groupStatsReady.
    const dovrel::GroupStats* stats(const dovrel::GroupThread& group);
    // The group's own name, else the first names of its first members.
    std::string groupName(const dovrel::GroupThread& group) const;

    const std::vector<dovrel::Proactive::Insight>& proactive() const { return proactive_; }
    // Insights are being computed; `proactive` changes, or not, when this turns false.
    bool proactiveLoading() const { return proactiveRuns_ > 0; }

    const std::map<std::string, std::vector<dovrel::Trends::MonthPoint>>& trendsCache() const {
        return trendsCache_;
    }
    // Stores the points of a handle unless it has some already; a present entry is never replaced.
    void storeTrends(const std::string& handle, std::vector<dovrel::Trends::MonthPoint> points);

    // Reads the group chats once, in the background; later calls do nothing while one runs or after one
    // succeeded. Without read access to the database nothing starts.
    Q_INVOKABLE void loadGroups();
    // Recomputes the proactive insights in the background from the threads of the last run.
    Q_INVOKABLE void refreshProactive();
    // Computes the month points of a handle in the background when they are missing and its thread is there.
    Q_INVOKABLE void loadTrends(const QString& handle);

    // A finished learn run: the trends of the old threads go.
    void clearTrends();

    // What QML reads, kept in step with the fields above.
    GroupsModel* groupsModel() const { return groupsModel_; }
    InsightsModel* proactiveModel() const { return proactiveModel_; }
    // The statistics of the group with this guid; invalid for an unknown guid and until groupStatsReady.
    Q_INVOKABLE murmora::GroupStatsValue groupStats(const QString& guid);
    // The members of a group as its statistics rank them, none until groupStats is valid; the caller owns it.
    Q_INVOKABLE murmora::GroupMembersModel* groupMembers(const QString& guid);
    // The month points of a handle (MonthPointValue), empty until loadTrends has stored them.
    Q_INVOKABLE QVariantList trends(const QString& handle) const;

signals:
    void groupsChanged();
    void groupStatusChanged();
    void groupStatsReady(const QString& guid);
    void proactiveChanged();
    void proactiveLoadingChanged();
    // The points of `handle` arrived; an empty handle: all of them went, after a learn run.
    void trendsChanged(const QString& handle);

private:
    void setGroupStatus(GroupStatus status);
    void groupsRead(std::shared_ptr<const Groups> groups, std::map<std::string, dovrel::GroupStats> stats,
                    std::map<std::string, std::string> names);

    AppState& state_;
    QThreadPool& userInitiated_;
    QThreadPool& utility_;
    std::shared_ptr<const Groups> groups_ = std::make_shared<const Groups>();
    GroupStatus groupStatus_ = GroupStatus::NotLoaded;
    bool groupsLoaded_ = false;
    std::map<std::string, dovrel::GroupStats> groupStatsCache_;
    std::set<std::string> statsComputing_; // guids whose statistics a worker is computing
    std::vector<dovrel::Proactive::Insight> proactive_;
    int proactiveRuns_ = 0;
    std::map<std::string, std::vector<dovrel::Trends::MonthPoint>> trendsCache_;
    GroupsModel* groupsModel_;
    InsightsModel* proactiveModel_;
};

} // namespace murmora
