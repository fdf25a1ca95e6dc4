#pragma once

// moc of Qt 6.4 cannot parse the C++20 standard headers the core pulls in; it needs none of them.
#ifndef Q_MOC_RUN
#include "AI/AIProvider.h"
#include "AI/UpdateCheck.h"
#include "Persistence/Artifacts.h"
#include "State/Generator.h"
#include "State/Store.h"
#endif

#include "Models/ArchetypeValue.h"
#include "Models/PeopleModel.h"
#include "Models/ThreadModel.h"
#include "Models/UpdateInfoValue.h"
#include "Models/WrappedStatsValue.h"
#include "State/CoachStore.h"
#include "State/Insights.h"

#include <QObject>
#include <QString>
#include <QThreadPool>
#include <QUrl>
#include <QVariant>
#include <QtQml/qqmlregistration.h>
#include <chrono>
#include <exception>
#include <map>
#include <memory>
#include <optional>

class QQmlEngine;
class QJSEngine;
class QNetworkAccessManager;

// The engine's header includes this one; moc needs it for the `coach` property.
Q_MOC_INCLUDE("Coach/CoachEngine.h")

namespace murmora {

class CoachEngine;

// The one application state. Lives on the GUI thread; every screen reads it. Background runs copy what they
// need when they start and post their results back; they never touch these fields. The threads of the last
// run are shared with them read-only, never copied.
//
// It owns the parts the screens reach through it: the coach store (transcripts, memory, deep dives, saving),
// the insights computed on demand (groups, group statistics, proactive insights, trends) and the one coach
// engine of the application.
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
    // Transcripts, memory and deep dives, with their models.
    Q_PROPERTY(murmora::CoachStore* coachStore READ coachStore CONSTANT)
    // Groups, group statistics, proactive insights and trends, with their models.
    Q_PROPERTY(murmora::Insights* insights READ insights CONSTANT)
    Q_PROPERTY(murmora::CoachEngine* coach READ coach CONSTANT)
    // Whether a model can be asked: found once, off the GUI thread, when the state starts (and again when its
    // provider is replaced). False until the search ends.
    Q_PROPERTY(bool aiAvailable READ aiAvailable NOTIFY aiAvailableChanged)

public:
    using ThreadsByHandle = std::unordered_map<std::string, dovrel::ContactThread>;

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
    int threadCount() const { return static_cast<int>(corpus_->size()); }
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
    const ThreadsByHandle& threadsByHandle() const { return *corpus_; }
    // The same threads, for work that outlives this call on another thread.
    std::shared_ptr<const ThreadsByHandle> corpus() const { return corpus_; }
    const dovrel::ReadCounts& readCounts() const { return readCounts_; }
    const std::optional<UpdateCheck::Info>& update() const { return update_; }
    // A model is naming the archetype after a run the user watched; `archetype` may change when this ends.
    bool sharpeningArchetype() const { return sharpenings_ > 0; }
    bool aiAvailable() const { return aiAvailable_.value_or(false); }
    // The search for a provider has ended; `aiAvailable` holds its answer.
    bool aiDetected() const { return aiAvailable_.has_value(); }
    // Calls `then` on the GUI thread with `aiAvailable` once the search has ended: at once when it has.
    void whenAIDetected(std::function<void(bool available)> then);
    // Where every model call of the application goes. The state makes the real one (the relay, else the
    // `claude` program); tests put their own in, which starts the search again.
    const std::shared_ptr<AIProvider>& aiProvider() const { return aiProvider_; }
    void setAIProvider(std::shared_ptr<AIProvider> provider);
    // The application's one network manager, for the relay and the update check.
    QNetworkAccessManager* network();

    CoachStore* coachStore() const { return coachStore_; }
    Insights* insights() const { return insights_; }
    CoachEngine* coach() const { return coach_; }

    // names[handle], else the fallback, else the handle.
    std::string name(const std::string& handle,
                     const std::optional<std::string>& fallback = std::nullopt) const;
    Q_INVOKABLE QString name(const QString& handle, const QVariant& fallback = {}) const;

    // What stands out about a person in one sentence, or empty when nothing does.
    Q_INVOKABLE QString headline(const QString& handle, const QString& name) const;
    Q_INVOKABLE void checkAccess();
    // Whether the Messages database opens for reading now; the onboarding screen polls it.
    Q_INVOKABLE bool databaseReadable() const;
    Q_INVOKABLE void learn(int days, bool silent);
    Q_INVOKABLE void saveArtifacts() { coachStore_->saveArtifacts(); }
    Q_INVOKABLE void finishWalkthrough();
    // Asks the version file whether a newer build exists and keeps the answer in `update`. Only the first
    // call asks; the root screen makes it at launch.
    Q_INVOKABLE void checkForUpdates();

    // Kept in step with people, names, thread ends and proactive insights.
    PeopleModel* peopleModel() const { return peopleModel_; }
    // The messages of a handle's thread, a page at a time, read where the corpus holds them; empty for a
    // handle without a thread. The caller owns it.
    Q_INVOKABLE murmora::ThreadModel* threadModel(const QString& handle);

    // How long each reveal stays on the learning screen; the command line sets it to zero.
    void setRevealPause(std::chrono::milliseconds pause) { revealPause_ = pause; }
    // The days the run that `checkAccess` starts reads: 365, unless the command line reads the stored
    // profile's own period.
    void setLaunchRunDays(int days) { launchRunDays_ = days; }
    // Why the last failed run failed, quiet or not; null before any failure.
    std::exception_ptr lastRunFailure() const { return lastRunFailure_; }
    // The surroundings of the next runs (tests fix the clock and the zone).
    void setEnvironment(std::function<Generator::Environment()> environment) {
        environment_ = std::move(environment);
    }
    // The surroundings as they are now: home folder, calendar, and the clock when it is fixed.
    Generator::Environment environment() const { return environment_(); }

    void setArchetype(std::optional<dovrel::Archetype> archetype);

    // Shows a phase without running anything, for pictures of every screen (`murmora-cli screens`): the
    // failure text of `failed`, the line of `learning`, and whether the walkthrough shows over `ready`.
    void preview(Phase phase, const QString& text = {}, bool walkthrough = false);

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
    void updateChanged();
    void sharpeningArchetypeChanged();
    void aiAvailableChanged();
    // A progress line or reveal as it is shown (also on runs that print instead of showing).
    void factShown(const QString& fact);
    // Every run ends with this, silent or not, succeeded or not.
    void runFinished(bool succeeded);

private:
    friend class Insights;

    void restore();
    void setPhase(Phase phase, const QString& failureText = {});
    void setLearningFact(const QString& fact);
    void setShowWalkthrough(bool show);
    void apply(Generator::Result result, int days, bool silent);
    void setUpdate(std::optional<UpdateCheck::Info> update);
    // Names found for group members join `names`; a name already there is kept.
    void mergeNames(std::map<std::string, std::string> found);
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
    std::shared_ptr<const ThreadsByHandle> corpus_ = std::make_shared<const ThreadsByHandle>();
    dovrel::ReadCounts readCounts_;
    int messageCount_ = 0;
    std::optional<UpdateCheck::Info> update_;
    bool updateCheckStarted_ = false;
    int sharpenings_ = 0;
    std::optional<bool> aiAvailable_;
    std::shared_ptr<AIProvider> aiProvider_;
    int aiSearch_ = 0; // numbers the searches for a provider; only the latest one's answer counts
    std::vector<std::function<void(bool)>> aiWaiting_;
    QNetworkAccessManager* network_ = nullptr;
    std::chrono::milliseconds revealPause_{1100};
    int launchRunDays_ = 365;
    std::exception_ptr lastRunFailure_;
    std::function<Generator::Environment()> environment_ = &Generator::Environment::current;
    PeopleModel* peopleModel_;
    QThreadPool userInitiated_;
    QThreadPool utility_;
    // Children of this object, made in the constructor and gone with it.
    CoachStore* coachStore_ = nullptr;
    Insights* insights_ = nullptr;
    CoachEngine* coach_ = nullptr;
};

} // namespace murmora
