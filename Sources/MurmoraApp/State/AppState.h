#pragma once

// moc of Qt 6.4 cannot parse the C++20 standard headers the core pulls in; it needs none of them.
#ifndef Q_MOC_RUN
#include "AI/UpdateCheck.h"
#include "Coach/CoachMemory.h"
#include "Measurement/GroupStats.h"
#include "Measurement/Proactive.h"
#include "Measurement/Trends.h"
#include "MessageSources/GroupRecords.h"
#include "Persistence/Artifacts.h"
#include "State/Generator.h"
#include "State/Store.h"
#endif

#include "Models/ArchetypeValue.h"
#include "Models/GroupMembersModel.h"
#include "Models/GroupStatsValue.h"
#include "Models/GroupsModel.h"
#include "Models/InsightsModel.h"
#include "Models/MemoryModel.h"
#include "Models/PeopleModel.h"
#include "Models/StoredDiveValue.h"
#include "Models/ThreadModel.h"
#include "Models/TranscriptModel.h"
#include "Models/UpdateInfoValue.h"
#include "Models/WrappedStatsValue.h"

#include <QObject>
#include <QString>
#include <QThreadPool>
#include <QUrl>
#include <QVariant>
#include <QtQml/qqmlregistration.h>
#include <chrono>
#include <map>
#include <optional>

class QQmlEngine;
class QJSEngine;

namespace murmora {

// The one application state. Lives on the GUI thread; every screen reads it. Background runs copy what they
// need when they start and post their results back; they never touch these fields.
//
// QML reads list models and value types made from the typed fields; C++ reads the fields themselves.
class AppState : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON

    Q_PROPERTY(Phase phase READ phase NOTIFY phaseChanged)
    Q_PROPERTY(QString failureText READ failureText NOTIFY phaseChanged)
    Q_PROPERTY(Tab tab READ tab WRITE setTab NOTIFY tabChanged)
    Q_PROPERTY(QString learningFact READ learningFact NOTIFY learningFactChanged)
    Q_PROPERTY(int threadCount READ threadCount NOTIFY threadsChanged)
    Q_PROPERTY(int messageCount READ messageCount NOTIFY threadsChanged)
    Q_PROPERTY(QVariant coachSelection READ qmlCoachSelection WRITE setQmlCoachSelection NOTIFY
                   coachSelectionChanged)
    Q_PROPERTY(QVariant coachAsk READ qmlCoachAsk WRITE setQmlCoachAsk NOTIFY coachAskChanged)
    Q_PROPERTY(bool showWalkthrough READ showWalkthrough NOTIFY showWalkthroughChanged)
    // Invalid until something is learned.
    Q_PROPERTY(murmora::WrappedStatsValue stats READ qmlStats NOTIFY statsChanged)
    // Everybody, most messages first. The people screen reads it through a PeopleFilterModel.
    Q_PROPERTY(murmora::PeopleModel* people READ peopleModel CONSTANT)
    Q_PROPERTY(murmora::ArchetypeValue archetype READ qmlArchetype NOTIFY archetypeChanged)
    Q_PROPERTY(QUrl wrappedURL READ qmlWrappedURL NOTIFY wrappedURLChanged)
    // A newer build to offer; invalid until the update check finds one.
    Q_PROPERTY(murmora::UpdateInfoValue update READ qmlUpdate NOTIFY updateChanged)
    Q_PROPERTY(murmora::InsightsModel* proactive READ insightsModel CONSTANT)
    // The group chats; their messages stay in C++.
    Q_PROPERTY(murmora::GroupsModel* groups READ groupsModel CONSTANT)
    Q_PROPERTY(bool groupsLoading READ groupsLoading NOTIFY groupsLoadingChanged)
    // Asked once, at the first read, and kept for the life of the process.
    Q_PROPERTY(bool aiAvailable READ aiAvailable CONSTANT)

public:
    enum class Phase { CheckingAccess, NeedsAccess, Learning, Ready, Failed };
    Q_ENUM(Phase)
    // The order of the sidebar.
    enum class Tab { Coach, Profile, People, Groups, Wrapped };
    Q_ENUM(Tab)

    // No default argument on purpose: QML must reach the one instance through create(), and Qt 6.4 would
    // construct a second one itself if the type were default-constructible. Restores the stored files.
    explicit AppState(QObject* parent);
    // The same with another data folder (tests).
    AppState(QObject* parent, Store store);
    ~AppState() override;

    // The QML engine asks for the singleton; it is the instance the shell made.
    static AppState* create(QQmlEngine* qmlEngine, QJSEngine* jsEngine);
    static AppState* instance();

    Phase phase() const { return phase_; }
    QString failureText() const { return failureText_; }
    Tab tab() const { return tab_; }
    void setTab(Tab tab);
    QString learningFact() const { return learningFact_; }
    int threadCount() const { return static_cast<int>(threadsByHandle_.size()); }
    int messageCount() const { return messageCount_; }
    bool showWalkthrough() const { return showWalkthrough_; }

    const std::optional<std::string>& coachSelection() const { return coachSelection_; }
    void setCoachSelection(std::optional<std::string> handle);
    const std::optional<std::string>& coachAsk() const { return coachAsk_; }
    void setCoachAsk(std::optional<std::string> question);
    const std::optional<dovrel::WrappedStats>& stats() const { return stats_; }
    const std::vector<dovrel::PersonInsights>& people() const { return people_; }
    const std::map<std::string, std::string>& names() const { return names_; }
    const std::optional<dovrel::Archetype>& archetype() const { return archetype_; }
    const std::optional<std::filesystem::path>& wrappedURL() const { return wrappedURL_; }
    const std::map<std::string, dovrel::StoredDive>& deepDives() const { return deepDives_; }
    const std::map<std::string, std::vector<dovrel::CoachMessage>>& coachTranscripts() const {
        return coachTranscripts_;
    }
    const std::map<std::string, std::vector<dovrel::MemoryEntry>>& coachMemory() const {
        return coachMemory_;
    }
    const std::unordered_map<std::string, dovrel::ContactThread>& threadsByHandle() const {
        return threadsByHandle_;
    }
    const dovrel::ReadCounts& readCounts() const { return readCounts_; }
    const std::optional<UpdateCheck::Info>& update() const { return update_; }
    const std::map<std::string, std::vector<dovrel::Trends::MonthPoint>>& trendsCache() const {
        return trendsCache_;
    }
    const std::vector<dovrel::Proactive::Insight>& proactive() const { return proactive_; }
    // Insights are being computed; `proactive` changes, or not, when this turns false.
    bool proactiveLoading() const { return proactiveRuns_ > 0; }
    // A model is naming the archetype after a run the user watched; `archetype` may change when this ends.
    bool sharpeningArchetype() const { return sharpenings_ > 0; }
    const std::vector<dovrel::GroupThread>& groups() const { return groups_; }
    bool groupsLoading() const { return groupsLoading_; }
    bool groupsLoaded() const { return groupsLoaded_; }
    bool aiAvailable();

    // Statistics of one group, computed at the first ask and kept for the life of the process.
    const dovrel::GroupStats& stats(const dovrel::GroupThread& group);
    // The group's own name, else the first names of its first members.
    std::string groupName(const dovrel::GroupThread& group) const;
    // Stores the points of a handle unless it has some already; a present entry is never replaced.
    void storeTrends(const std::string& handle, std::vector<dovrel::Trends::MonthPoint> points);

    // names[handle], else the fallback, else the handle.
    std::string name(const std::string& handle,
                     const std::optional<std::string>& fallback = std::nullopt) const;
    Q_INVOKABLE QString name(const QString& handle, const QVariant& fallback = {}) const;

    Q_INVOKABLE void checkAccess();
    Q_INVOKABLE void learn(int days, bool silent);
    Q_INVOKABLE void saveArtifacts();
    Q_INVOKABLE void finishWalkthrough();
    // Asks the version file whether a newer build exists and keeps the answer in `update`. Only the first
    // call asks; the root screen makes it at launch.
    Q_INVOKABLE void checkForUpdates();
    // Reads the group chats once, in the background; later calls do nothing. A failed read may be retried.
    Q_INVOKABLE void loadGroups();
    // Recomputes the proactive insights in the background from the threads of the last run.
    Q_INVOKABLE void refreshProactive();
    // Computes the month points of a handle in the background when they are missing and its thread is there.
    Q_INVOKABLE void loadTrends(const QString& handle);

    // What QML reads, kept in step with the fields at each change. The models of a key or handle are made at
    // the first ask; transcripts and memories are kept (one per key), threads and members are the caller's.
    PeopleModel* peopleModel() const { return peopleModel_; }
    InsightsModel* insightsModel() const { return insightsModel_; }
    GroupsModel* groupsModel() const { return groupsModel_; }
    Q_INVOKABLE murmora::TranscriptModel* transcriptModel(const QString& key);
    Q_INVOKABLE murmora::MemoryModel* memoryModel(const QString& key);
    // The messages of a handle's thread, a page at a time; empty for a handle without a thread.
    Q_INVOKABLE murmora::ThreadModel* threadModel(const QString& handle);
    // The stored deep dive of a handle; invalid when there is none.
    Q_INVOKABLE murmora::StoredDiveValue deepDive(const QString& handle) const;
    // The month points of a handle (MonthPointValue), empty until loadTrends has stored them.
    Q_INVOKABLE QVariantList trends(const QString& handle) const;
    // The statistics of the group with this guid; invalid for an unknown guid.
    Q_INVOKABLE murmora::GroupStatsValue groupStats(const QString& guid);
    Q_INVOKABLE murmora::GroupMembersModel* groupMembers(const QString& guid);

    // How long each reveal stays on the learning screen; the command line sets it to zero.
    void setRevealPause(std::chrono::milliseconds pause) { revealPause_ = pause; }
    // The surroundings of the next runs (tests fix the clock and the zone).
    void setEnvironment(std::function<Generator::Environment()> environment) {
        environment_ = std::move(environment);
    }
    // The surroundings as they are now: home folder, calendar, and the clock when it is fixed.
    Generator::Environment environment() const { return environment_(); }

    // For the coach and the screens that edit what is persisted.
    void setDeepDive(const std::string& handle, dovrel::StoredDive dive);
    void setTranscript(const std::string& key, std::vector<dovrel::CoachMessage> messages);
    void setMemory(const std::string& key, std::vector<dovrel::MemoryEntry> entries);
    void setArchetype(std::optional<dovrel::Archetype> archetype);

signals:
    void phaseChanged();
    void tabChanged();
    void learningFactChanged();
    void threadsChanged();
    void coachSelectionChanged();
    void coachAskChanged();
    void showWalkthroughChanged();
    void statsChanged();
    void peopleChanged();
    void namesChanged();
    void archetypeChanged();
    void wrappedURLChanged();
    void deepDivesChanged();
    void coachTranscriptsChanged();
    void coachMemoryChanged();
    void updateChanged();
    void trendsCacheChanged();
    void proactiveChanged();
    void proactiveLoadingChanged();
    void sharpeningArchetypeChanged();
    void groupsChanged();
    void groupsLoadingChanged();
    // A progress line or reveal as it is shown (also on runs that print instead of showing).
    void factShown(const QString& fact);
    // Every run ends with this, silent or not, succeeded or not.
    void runFinished(bool succeeded);

private:
    void restore();
    void setPhase(Phase phase, const QString& failureText = {});
    void setLearningFact(const QString& fact);
    void setShowWalkthrough(bool show);
    void apply(Generator::Result result, int days, bool silent);
    void setUpdate(std::optional<UpdateCheck::Info> update);
    void setProactive(std::vector<dovrel::Proactive::Insight> insights);
    void setGroupsLoading(bool loading);
    void clearTrends();
    // Asks a model for a sharper archetype than the local one after a run the user watched; on an answer
    // that fits, keeps it and renders the recap page again. Every failure is silent.
    void sharpenArchetype();
    // Takes a model's archetype: saved, and the recap page written again with it. Nothing for none.
    void applySharpened(std::optional<dovrel::Archetype> sharpened);

    QVariant qmlCoachSelection() const;
    void setQmlCoachSelection(const QVariant& value);
    QVariant qmlCoachAsk() const;
    void setQmlCoachAsk(const QVariant& value);
    WrappedStatsValue qmlStats() const;
    ArchetypeValue qmlArchetype() const;
    QUrl qmlWrappedURL() const;
    UpdateInfoValue qmlUpdate() const;
    // The last message of every loaded thread, for the people list's dates and subtitles.
    std::map<std::string, PeopleModel::ThreadEnd> threadEnds() const;

    Store store_;
    Phase phase_ = Phase::CheckingAccess;
    QString failureText_;
    Tab tab_ = Tab::Coach;
    QString learningFact_;
    std::optional<std::string> coachSelection_;
    std::optional<std::string> coachAsk_;
    bool showWalkthrough_ = false;
    std::optional<dovrel::WrappedStats> stats_;
    std::vector<dovrel::PersonInsights> people_;
    std::map<std::string, std::string> names_;
    std::optional<dovrel::Archetype> archetype_;
    std::optional<std::filesystem::path> wrappedURL_;
    std::map<std::string, dovrel::StoredDive> deepDives_;
    std::map<std::string, std::vector<dovrel::CoachMessage>> coachTranscripts_;
    std::map<std::string, std::vector<dovrel::MemoryEntry>> coachMemory_;
    std::unordered_map<std::string, dovrel::ContactThread> threadsByHandle_;
    dovrel::ReadCounts readCounts_;
    int messageCount_ = 0;
    std::optional<UpdateCheck::Info> update_;
    bool updateCheckStarted_ = false;
    std::map<std::string, std::vector<dovrel::Trends::MonthPoint>> trendsCache_;
    std::vector<dovrel::Proactive::Insight> proactive_;
    int proactiveRuns_ = 0;
    int sharpenings_ = 0;
    std::vector<dovrel::GroupThread> groups_;
    bool groupsLoading_ = false;
    bool groupsLoaded_ = false;
    std::map<std::string, dovrel::GroupStats> groupStatsCache_;
    std::optional<bool> aiAvailable_;
    std::chrono::milliseconds revealPause_{1100};
    std::function<Generator::Environment()> environment_ = &Generator::Environment::current;
    PeopleModel* peopleModel_;
    InsightsModel* insightsModel_;
    GroupsModel* groupsModel_;
    std::map<std::string, TranscriptModel*> transcriptModels_;
    std::map<std::string, MemoryModel*> memoryModels_;
    QThreadPool userInitiated_;
    QThreadPool utility_;
};

} // namespace murmora
