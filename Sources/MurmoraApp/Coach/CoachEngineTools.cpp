// The coach's side of its tools: the view of the state they read, running them off the GUI thread, and the
// gathering of the system prompt.
#include "AI/RelayConfig.h"
#include "Coach/CoachEngine.h"
#include "Coach/CoachPrompt.h"
#include "Format/Fmt.h"
#include "Platform/PostTo.h"
#include "State/Insights.h"

#include <QThreadPool>
#include <algorithm>

namespace murmora {
namespace {

using dovrel::CoachTools::GroupStatus;

constexpr std::size_t promptTopPeople = 5;
constexpr int recentMessages = 100;

} // namespace

void CoachEngine::setState(AppState* state) {
    if (state_ == state) {
        return;
    }
    if (state_) {
        disconnect(state_, nullptr, this, nullptr);
    }
    state_ = state;
    groupLoadAsked_ = false;
    groupStats_.clear();
    forgetView();
    if (state != nullptr) {
        for (const auto changed : {&AppState::threadsChanged, &AppState::peopleChanged,
                                   &AppState::namesChanged, &AppState::statsChanged}) {
            connect(state, changed, this, &CoachEngine::forgetView);
        }
        connect(state->insights(), &Insights::groupsChanged, this, [this] {
            groupStats_.clear();
            forgetView();
        });
    }
    emit stateChanged();
}

void CoachEngine::forgetView() {
    viewCurrent_ = false;
    ++viewGeneration_;
}

dovrel::CoachTools::CorpusView CoachEngine::corpusView() {
    const AppState* const state = state_.data();
    if (state == nullptr) {
        return {};
    }
    // Copied once per change of the state, so that a worker reads them while the state goes on.
    if (!viewCurrent_) {
        view_.people = std::make_shared<const std::vector<dovrel::PersonInsights>>(state->people());
        view_.threads = state->corpus();
        view_.names = std::make_shared<const std::map<std::string, std::string>>(state->names());
        view_.stats =
            state->stats() ? std::make_shared<const dovrel::WrappedStats>(*state->stats()) : nullptr;
        view_.groups = state->insights()->sharedGroups();
        viewCurrent_ = true;
    }
    dovrel::CoachTools::CorpusView view = view_;
    view.groupStats = std::make_shared<const std::map<std::string, dovrel::GroupStats>>(groupStats_);
    view.trends = std::make_shared<const std::map<std::string, std::vector<dovrel::Trends::MonthPoint>>>(
        state->insights()->trendsCache());
    const Generator::Environment environment = state->environment();
    view.calendar = environment.calendar;
    view.now = environment.now.value_or(dovrel::Date::now());
    view.locale = Fmt::userLocale();
    view.groupStatus = groupStatus(false);
    return view;
}

GroupStatus CoachEngine::groupStatus(bool needed) {
    AppState* const state = state_.data();
    if (state == nullptr) {
        return GroupStatus::unavailable;
    }
    Insights& insights = *state->insights();
    if (insights.groupsLoaded()) {
        return GroupStatus::loaded;
    }
    if (insights.groupsLoading()) {
        return GroupStatus::loading;
    }
    if (insights.groupStatus() == Insights::GroupStatus::Failed) {
        return GroupStatus::unavailable; // a finished load that found no groups; the groups screen retries
    }
    if (groupLoadAsked_) {
        return GroupStatus::unavailable; // the load this engine started has ended without groups
    }
    if (!needed) {
        return GroupStatus::loading;
    }
    groupLoadAsked_ = true;
    insights.loadGroups();
    return insights.groupsLoading() ? GroupStatus::loading : GroupStatus::unavailable;
}

void CoachEngine::runTool(const dovrel::Agent::ToolUse& use,
                          const std::optional<dovrel::PersonInsights>& person,
                          std::function<void(ToolOutput)> done) {
    const QPointer<CoachEngine> self(this);
    if (state_.isNull()) {
        postTo(self, [done](CoachEngine&) { done({"Tool skipped.", "App state unavailable."}); });
        return;
    }
    dovrel::CoachTools::CorpusView view = corpusView();
    if (const std::optional<dovrel::AgentTools::Call> call = dovrel::AgentTools::call(use)) {
        view.groupStatus = groupStatus(dovrel::CoachTools::readsGroups(call->tool, call->group.has_value()));
    }
    QThreadPool::globalInstance()->start([self, view, use, person, done, generation = viewGeneration_] {
        dovrel::CoachTools::Output output = dovrel::CoachTools::run(view, use, person);
        postTo(self, [output, done, generation](CoachEngine& engine) mutable {
            // What the tool computed is kept for the next call, unless the state changed under it.
            AppState* const state = engine.state_.data();
            if (state != nullptr && generation == engine.viewGeneration_) {
                if (output.computedTrends) {
                    state->insights()->storeTrends(output.computedTrends->first,
                                                   std::move(output.computedTrends->second));
                }
                engine.groupStats_.merge(output.computedGroupStats);
            }
            done({std::move(output.status), std::move(output.result)});
        });
    });
}

std::optional<std::string>
CoachEngine::buildSystem(const std::optional<dovrel::PersonInsights>& person) const {
    const AppState* const state = state_.data();
    if (state == nullptr) {
        return std::nullopt;
    }
    const bool includeTextTools = !RelayConfig::isConfigured();
    const dovrel::Calendar calendar = state->environment().calendar;

    if (person) {
        if (const auto thread = state->threadsByHandle().find(person->handleID);
            thread != state->threadsByHandle().end()) {
            // The user's whole-life facts come first, so they reach every person chat.
            std::vector<dovrel::MemoryEntry> remembered = memory("");
            const std::vector<dovrel::MemoryEntry> own = memory(person->handleID);
            remembered.insert(remembered.end(), own.begin(), own.end());
            std::optional<std::string> insight;
            for (const dovrel::Proactive::Insight& each : state->insights()->proactive()) {
                if (each.handleID == person->handleID) {
                    insight = each.text;
                    break;
                }
            }
            return dovrel::CoachPrompt::personSystem(state->name(person->handleID, person->displayName),
                                                     thread->second, *person, recentMessages, remembered,
                                                     insight, calendar, includeTextTools, Fmt::userLocale());
        }
    }

    if (!state->stats()) {
        return std::nullopt;
    }
    std::vector<dovrel::CoachPrompt::TopPerson> top;
    for (std::size_t i = 0; i < std::min(state->people().size(), promptTopPeople); ++i) {
        const dovrel::PersonInsights& each = state->people()[i];
        top.push_back({state->name(each.handleID, each.displayName),
                       each.report.sentCount + each.report.receivedCount});
    }
    std::optional<std::string> insight;
    if (!state->insights()->proactive().empty()) {
        insight = state->insights()->proactive().front().text;
    }
    return dovrel::CoachPrompt::generalSystem(*state->stats(), top, memory(""), insight, calendar,
                                              includeTextTools);
}

} // namespace murmora
