// What the state computes only when something asks: group chats and their statistics, proactive insights,
// trends per person, and whether an AI provider is there.
#include "AI/AI.h"
#include "MessageSources/DatabaseCopier.h"
#include "MessageSources/MessageStore.h"
#include "State/AppState.h"

#include <QFile>
#include <QPointer>
#include <exception>
#include <set>
#include <unordered_map>

namespace murmora {
namespace {

// Runs `step` on the GUI thread if the state still exists by then.
template <typename Step> void postTo(const QPointer<AppState>& self, Step step) {
    QMetaObject::invokeMethod(
        self.data(),
        [self, step = std::move(step)]() mutable {
            if (self) {
                step(*self);
            }
        },
        Qt::QueuedConnection);
}

} // namespace

bool AppState::aiAvailable() {
    if (!aiAvailable_) {
        aiAvailable_ = AI::available();
    }
    return *aiAvailable_;
}

const dovrel::GroupStats& AppState::stats(const dovrel::GroupThread& group) {
    if (const auto found = groupStatsCache_.find(group.guid); found != groupStatsCache_.end()) {
        return found->second;
    }
    dovrel::GroupStats computed;
    try {
        computed = dovrel::GroupStats::compute(group, environment_().calendar);
    } catch (const std::exception&) {
        // Only a damaged database has dates the calendar cannot place; such a group shows no statistics.
    }
    return groupStatsCache_.emplace(group.guid, std::move(computed)).first->second;
}

std::string AppState::groupName(const dovrel::GroupThread& group) const {
    if (group.name) {
        return *group.name;
    }
    return group.fallbackName([this](const std::string& handle) { return name(handle); });
}

void AppState::storeTrends(const std::string& handle, std::vector<dovrel::Trends::MonthPoint> points) {
    if (trendsCache_.try_emplace(handle, std::move(points)).second) {
        emit trendsCacheChanged();
    }
}

void AppState::clearTrends() {
    if (!trendsCache_.empty()) {
        trendsCache_.clear();
        emit trendsCacheChanged();
    }
}

void AppState::setProactive(std::vector<dovrel::Proactive::Insight> insights) {
    if (proactive_ != insights) {
        proactive_ = std::move(insights);
        insightsModel_->setInsights(proactive_);
        peopleModel_->setInsights(proactive_);
        emit proactiveChanged();
    }
}

void AppState::setGroupsLoading(bool loading) {
    if (groupsLoading_ != loading) {
        groupsLoading_ = loading;
        emit groupsLoadingChanged();
    }
}

void AppState::loadGroups() {
    if (groupsLoaded_ || groupsLoading_) {
        return;
    }
    const Generator::Environment environment = environment_();
    const std::filesystem::path database = Generator::messagesDatabasePath(environment.home);
    QFile probe(QString::fromStdString(database.string()));
    if (!probe.open(QIODevice::ReadOnly)) {
        return;
    }
    probe.close();
    setGroupsLoading(true);

    const QPointer<AppState> self(this);
    userInitiated_.start([self, environment, database] {
        try {
            const std::filesystem::path copy = dovrel::DatabaseCopier::copyForReading(database);
            dovrel::MessageStore store(copy.string());
            std::vector<dovrel::GroupThread> groups = store.groupThreads(25);
            std::set<std::string> members;
            for (const dovrel::GroupThread& group : groups) {
                members.insert(group.participants.begin(), group.participants.end());
            }
            std::map<std::string, std::string> names = Generator::resolveNames(
                std::vector<std::string>(members.begin(), members.end()), environment.home);
            postTo(self, [groups = std::move(groups), names = std::move(names)](AppState& state) mutable {
                state.groups_ = std::move(groups);
                bool namesGrew = false;
                for (auto& [handle, name] : names) {
                    namesGrew = state.names_.try_emplace(handle, std::move(name)).second || namesGrew;
                }
                state.groupsLoaded_ = true;
                state.groupsModel_->setGroups(
                    state.groups_, [&state](const std::string& handle) { return state.name(handle); });
                emit state.groupsChanged();
                if (namesGrew) {
                    state.peopleModel_->setNames(state.names_);
                    emit state.namesChanged();
                }
                state.setGroupsLoading(false);
            });
        } catch (const std::exception&) {
            postTo(self, [](AppState& state) { state.setGroupsLoading(false); });
        }
    });
}

void AppState::refreshProactive() {
    if (threadsByHandle_.empty()) {
        return;
    }
    std::vector<dovrel::ContactThread> threads;
    threads.reserve(threadsByHandle_.size());
    std::unordered_map<std::string, std::string> displayNames;
    for (const auto& [handle, thread] : threadsByHandle_) {
        threads.push_back(thread);
        if (thread.displayName) {
            displayNames.emplace(handle, *thread.displayName);
        }
    }
    std::vector<std::string> topHandles;
    topHandles.reserve(people_.size());
    for (const dovrel::PersonInsights& person : people_) {
        topHandles.push_back(person.handleID);
    }
    const Generator::Environment environment = environment_();
    const dovrel::Date now = environment.now.value_or(dovrel::Date::now());

    if (++proactiveRuns_ == 1) {
        emit proactiveLoadingChanged();
    }
    const QPointer<AppState> self(this);
    utility_.start([self, threads = std::move(threads), topHandles = std::move(topHandles), names = names_,
                    displayNames = std::move(displayNames), calendar = environment.calendar, now] {
        const dovrel::Proactive::NameResolver resolve = [&](const std::string& handle) {
            if (const auto found = names.find(handle); found != names.end()) {
                return found->second;
            }
            if (const auto found = displayNames.find(handle); found != displayNames.end()) {
                return found->second;
            }
            return handle;
        };
        std::vector<dovrel::Proactive::Insight> insights =
            dovrel::Proactive::detect(threads, topHandles, resolve, calendar, now);
        postTo(self, [insights = std::move(insights)](AppState& state) mutable {
            state.setProactive(std::move(insights));
            if (--state.proactiveRuns_ == 0) {
                emit state.proactiveLoadingChanged();
            }
        });
    });
}

void AppState::loadTrends(const QString& qmlHandle) {
    const std::string handle = qmlHandle.toStdString();
    const auto thread = threadsByHandle_.find(handle);
    if (trendsCache_.contains(handle) || thread == threadsByHandle_.end()) {
        return;
    }
    const QPointer<AppState> self(this);
    userInitiated_.start(
        [self, handle, messages = thread->second.messages, calendar = environment_().calendar] {
            std::vector<dovrel::Trends::MonthPoint> points = dovrel::Trends::monthly(messages, calendar);
            postTo(self, [handle, points = std::move(points)](AppState& state) mutable {
                state.storeTrends(handle, std::move(points));
            });
        });
}

} // namespace murmora
