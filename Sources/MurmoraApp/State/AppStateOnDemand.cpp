// What the state computes only when something asks: group chats and their statistics, proactive insights,
// trends per person, and whether an AI provider is there.
#include "MessageSources/MessageStore.h"
#include "Platform/PostTo.h"
#include "State/AppState.h"
#include "State/Insights.h"

#include <QPointer>
#include <QThreadPool>
#include <QtGlobal>
#include <exception>
#include <set>
#include <unordered_map>

namespace murmora {
namespace {

struct GroupRead {
    std::vector<dovrel::GroupThread> groups;
    std::map<std::string, std::string> names;
};

// The group chats and the names of their members, from a copy of the database.
GroupRead readGroups(const Generator::Environment& environment, const std::filesystem::path& database) {
    std::vector<dovrel::GroupThread> groups;
    {
        // The private copy is gone as soon as the groups are read.
        const dovrel::ReadingCopy copy = dovrel::MessageStore::copyForReading(database);
        groups = dovrel::MessageStore(copy.string()).groupThreads(25);
    }
    std::set<std::string> members;
    for (const dovrel::GroupThread& group : groups) {
        members.insert(group.participants.begin(), group.participants.end());
    }
    std::map<std::string, std::string> names =
        Generator::resolveNames(std::vector<std::string>(members.begin(), members.end()), environment.home);
    return {std::move(groups), std::move(names)};
}

dovrel::GroupStats computeStats(const dovrel::GroupThread& group, const dovrel::Calendar& calendar) {
    try {
        return dovrel::GroupStats::compute(group, calendar);
    } catch (const std::exception&) {
        // Only a damaged database has dates the calendar cannot place; such a group shows no statistics.
        return {};
    }
}

} // namespace

Insights::Insights(AppState& state, QThreadPool& userInitiated, QThreadPool& utility)
    : QObject(&state)
    , state_(state)
    , userInitiated_(userInitiated)
    , utility_(utility)
    , groupsModel_(new GroupsModel(this))
    , proactiveModel_(new InsightsModel(this)) {}

void Insights::setGroupStatus(GroupStatus status) {
    if (groupStatus_ != status) {
        groupStatus_ = status;
        emit groupStatusChanged();
    }
}

void Insights::loadGroups() {
    if (groupsLoaded_ || groupStatus_ == GroupStatus::Loading) {
        return;
    }
    const Generator::Environment environment = state_.environment();
    const std::filesystem::path database = Generator::messagesDatabasePath(environment.home);
    if (Generator::databaseAccess(database) != Generator::DatabaseAccess::readable) {
        return;
    }
    setGroupStatus(GroupStatus::Loading);

    const QPointer<Insights> self(this);
    userInitiated_.start([self, environment, database] {
        try {
            GroupRead read = readGroups(environment, database);
            // Every group's statistics are made here, so that the screens and the coach find them cached.
            std::map<std::string, dovrel::GroupStats> stats;
            for (const dovrel::GroupThread& group : read.groups) {
                stats.emplace(group.guid, computeStats(group, environment.calendar));
            }
            postTo(self,
                   [groups = std::make_shared<const Groups>(std::move(read.groups)), stats = std::move(stats),
                    names = std::move(read.names)](Insights& insights) mutable {
                       insights.groupsRead(std::move(groups), std::move(stats), std::move(names));
                   });
        } catch (const std::exception& error) {
            postTo(self, [reason = QString::fromUtf8(error.what())](Insights& insights) {
                qWarning().noquote() << "Could not read the group chats:" << reason;
                insights.setGroupStatus(GroupStatus::Failed);
            });
        }
    });
}

void Insights::groupsRead(std::shared_ptr<const Groups> groups,
                          std::map<std::string, dovrel::GroupStats> stats,
                          std::map<std::string, std::string> names) {
    groups_ = std::move(groups);
    // Statistics once computed are kept for the life of the process.
    groupStatsCache_.merge(stats);
    state_.mergeNames(std::move(names));
    groupsLoaded_ = true;
    groupsModel_->setGroups(*groups_, [this](const std::string& handle) { return state_.name(handle); });
    emit groupsChanged();
    setGroupStatus(GroupStatus::Loaded);
}

const dovrel::GroupStats* Insights::stats(const dovrel::GroupThread& group) {
    if (const auto found = groupStatsCache_.find(group.guid); found != groupStatsCache_.end()) {
        return &found->second;
    }
    if (!statsComputing_.insert(group.guid).second) {
        return nullptr;
    }
    // The worker reads a loaded group where it is; only a group from elsewhere is copied.
    std::shared_ptr<const dovrel::GroupThread> shared;
    for (const dovrel::GroupThread& each : *groups_) {
        if (each.guid == group.guid) {
            shared = std::shared_ptr<const dovrel::GroupThread>(groups_, &each);
        }
    }
    if (!shared) {
        shared = std::make_shared<const dovrel::GroupThread>(group);
    }
    const QPointer<Insights> self(this);
    userInitiated_.start([self, group = std::move(shared), calendar = state_.environment().calendar] {
        postTo(self,
               [guid = group->guid, stats = computeStats(*group, calendar)](Insights& insights) mutable {
                   insights.statsComputing_.erase(guid);
                   insights.groupStatsCache_.try_emplace(guid, std::move(stats));
                   emit insights.groupStatsReady(QString::fromStdString(guid));
               });
    });
    return nullptr;
}

std::string Insights::groupName(const dovrel::GroupThread& group) const {
    if (group.name) {
        return *group.name;
    }
    return group.fallbackName([this](const std::string& handle) { return state_.name(handle); });
}

void Insights::storeTrends(const std::string& handle, std::vector<dovrel::Trends::MonthPoint> points) {
    if (trendsCache_.try_emplace(handle, std::move(points)).second) {
        emit trendsChanged(QString::fromStdString(handle));
    }
}

void Insights::clearTrends() {
    if (!trendsCache_.empty()) {
        trendsCache_.clear();
        emit trendsChanged({});
    }
}

void Insights::refreshProactive() {
    std::shared_ptr<const AppState::ThreadsByHandle> corpus = state_.corpus();
    if (corpus->empty()) {
        return;
    }
    std::vector<std::string> topHandles;
    topHandles.reserve(state_.people().size());
    for (const dovrel::PersonInsights& person : state_.people()) {
        topHandles.push_back(person.handleID);
    }
    const Generator::Environment environment = state_.environment();
    const dovrel::Date now = environment.now.value_or(dovrel::Date::now());

    if (++proactiveRuns_ == 1) {
        emit proactiveLoadingChanged();
    }
    const QPointer<Insights> self(this);
    utility_.start([self, corpus = std::move(corpus), topHandles = std::move(topHandles),
                    names = state_.names(), calendar = environment.calendar, now] {
        std::vector<const dovrel::ContactThread*> threads;
        threads.reserve(corpus->size());
        for (const auto& [handle, thread] : *corpus) {
            threads.push_back(&thread);
        }
        const dovrel::Proactive::NameResolver resolve = [&](const std::string& handle) {
            if (const auto found = names.find(handle); found != names.end()) {
                return found->second;
            }
            if (const auto found = corpus->find(handle);
                found != corpus->end() && found->second.displayName) {
                return *found->second.displayName;
            }
            return handle;
        };
        std::vector<dovrel::Proactive::Insight> insights =
            dovrel::Proactive::detect(threads, topHandles, resolve, calendar, now);
        postTo(self, [insights = std::move(insights)](Insights& state) mutable {
            if (state.proactive_ != insights) {
                state.proactive_ = std::move(insights);
                state.proactiveModel_->setInsights(state.proactive_);
                emit state.proactiveChanged();
            }
            if (--state.proactiveRuns_ == 0) {
                emit state.proactiveLoadingChanged();
            }
        });
    });
}

void Insights::loadTrends(const QString& qmlHandle) {
    const std::string handle = qmlHandle.toStdString();
    std::shared_ptr<const AppState::ThreadsByHandle> corpus = state_.corpus();
    if (trendsCache_.contains(handle) || !corpus->contains(handle)) {
        return;
    }
    const QPointer<Insights> self(this);
    userInitiated_.start(
        [self, handle, corpus = std::move(corpus), calendar = state_.environment().calendar] {
            std::vector<dovrel::Trends::MonthPoint> points =
                dovrel::Trends::monthly(corpus->at(handle).messages, calendar);
            postTo(self, [handle, points = std::move(points)](Insights& insights) mutable {
                insights.storeTrends(handle, std::move(points));
            });
        });
}

} // namespace murmora
