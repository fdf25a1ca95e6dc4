#include "State/AppState.h"

#include "Coach/CoachEngine.h"

#include <QFile>
#include <QPointer>
#include <QQmlEngine>
#include <QSettings>
#include <QThread>
#include <exception>
#include <utility>

namespace murmora {
namespace {

AppState* theInstance = nullptr;

const QString walkthroughKey = QStringLiteral("hasSeenWalkthrough");

std::optional<std::string> optionalText(const QVariant& value) {
    if (value.isNull() || !value.isValid()) {
        return std::nullopt;
    }
    return value.toString().toStdString();
}

} // namespace

AppState::AppState(QObject* parent)
    : AppState(parent, Store()) {}

AppState::AppState(QObject* parent, Store store)
    : QObject(parent)
    , store_(std::move(store))
    , learningFact_(QStringLiteral("Reading your messages\u2026"))
    , peopleModel_(new PeopleModel(this)) {
    Q_ASSERT(theInstance == nullptr);
    theInstance = this;
    utility_.setThreadPriority(QThread::LowPriority);
    setAIProvider(makeDefaultProvider(network()));
    restore();
    insights_ = new Insights(*this, userInitiated_, utility_);
    connect(insights_, &Insights::proactiveChanged, this,
            [this] { peopleModel_->setInsights(insights_->proactive()); });
    coach_ = new CoachEngine(this);
    coach_->setState(this);
}

AppState::~AppState() {
    delete coach_; // a turn in flight ends with it
    userInitiated_.waitForDone();
    utility_.waitForDone();
    delete coachStore_; // writes the last coach state, which holds the archetype of this object
    theInstance = nullptr;
}

AppState* AppState::instance() {
    return theInstance;
}

AppState* AppState::create(QQmlEngine* qmlEngine, QJSEngine* jsEngine) {
    Q_UNUSED(qmlEngine);
    Q_UNUSED(jsEngine);
    Q_ASSERT(theInstance != nullptr);
    QQmlEngine::setObjectOwnership(theInstance, QQmlEngine::CppOwnership);
    return theInstance;
}

void AppState::restore() {
    bool damaged = false;
    const std::optional<dovrel::Artifacts> artifacts = store_.readArtifacts(&damaged);
    if (artifacts && artifacts->archetypeTitle) {
        archetype_ = dovrel::Archetype{*artifacts->archetypeTitle, artifacts->archetypeBody.value_or("")};
    }
    coachStore_ = new CoachStore(
        store_, artifacts, damaged, [this] { return archetype_; }, this);
    if (std::optional<dovrel::Snapshot> snapshot = store_.readSnapshot()) {
        stats_ = std::move(snapshot->stats);
        people_ = std::move(snapshot->people);
        names_ = std::move(snapshot->names);
        peopleModel_->setPeople(people_, names_);
    }
}

void AppState::setPhase(Phase phase, const QString& failureText) {
    if (phase_ == phase && failureText_ == failureText) {
        return;
    }
    phase_ = phase;
    failureText_ = failureText;
    emit phaseChanged();
}

void AppState::setTab(Tab tab) {
    if (tab_ != tab) {
        tab_ = tab;
        emit tabChanged();
    }
}

void AppState::setLearningFact(const QString& fact) {
    if (learningFact_ != fact) {
        learningFact_ = fact;
        emit learningFactChanged();
    }
    emit factShown(fact);
}

void AppState::setShowWalkthrough(bool show) {
    if (showWalkthrough_ != show) {
        showWalkthrough_ = show;
        emit showWalkthroughChanged();
    }
}

void AppState::setCoachSelection(std::optional<std::string> handle) {
    if (coachSelection_ != handle) {
        coachSelection_ = std::move(handle);
        emit coachSelectionChanged();
    }
}

void AppState::setCoachAsk(std::optional<std::string> question) {
    if (coachAsk_ != question) {
        coachAsk_ = std::move(question);
        emit coachAskChanged();
    }
}

std::string AppState::name(const std::string& handle, const std::optional<std::string>& fallback) const {
    if (const auto found = names_.find(handle); found != names_.end()) {
        return found->second;
    }
    return fallback.value_or(handle);
}

QString AppState::name(const QString& handle, const QVariant& fallback) const {
    return QString::fromStdString(name(handle.toStdString(), optionalText(fallback)));
}

bool AppState::databaseReadable() const {
    return Generator::databaseAccess(Generator::messagesDatabasePath(environment_().home)) ==
           Generator::DatabaseAccess::readable;
}

void AppState::preview(Phase phase, const QString& text, bool walkthrough) {
    if (showWalkthrough_ != walkthrough) {
        showWalkthrough_ = walkthrough;
        emit showWalkthroughChanged();
    }
    if (phase == Phase::Learning) {
        setLearningFact(text);
    }
    setPhase(phase, phase == Phase::Failed ? text : QString());
}

void AppState::checkAccess() {
    // Opening the file is the only test of the permission to read it.
    if (!databaseReadable()) {
        setPhase(Phase::NeedsAccess);
        return;
    }
    if (!stats_) {
        learn(launchRunDays_, false);
        return;
    }
    // Stored data shows at once; threads are never stored, so a quiet run brings them after each launch.
    setPhase(Phase::Ready);
    if (corpus_->empty()) {
        learn(launchRunDays_, true);
    }
}

void AppState::learn(int days, bool silent) {
    if (!silent) {
        setPhase(Phase::Learning);
        setLearningFact(QStringLiteral("Reading your messages\u2026"));
    }
    const Generator::Environment environment = environment_();
    const std::chrono::milliseconds pause = revealPause_;
    QPointer<AppState> self(this);
    QThreadPool& pool = silent ? utility_ : userInitiated_;

    pool.start([self, environment, days, silent, pause] {
        auto post = [self](auto step) {
            QMetaObject::invokeMethod(
                self.data(),
                [self, step = std::move(step)]() mutable {
                    if (self) {
                        step(*self);
                    }
                },
                Qt::QueuedConnection);
        };
        const Generator::Progress progress = [&post, silent](const std::string& line) {
            if (!silent) {
                post([text = QString::fromStdString(line)](AppState& state) { state.setLearningFact(text); });
            }
        };

        auto result = std::make_shared<Generator::Result>();
        try {
            *result = Generator::run(days, progress, environment);
        } catch (const std::exception& error) {
            post([text = QString::fromUtf8(error.what()), silent,
                  failure = std::current_exception()](AppState& state) {
                state.lastRunFailure_ = failure;
                // A quiet run's failure changes nothing: the user goes on with what is there.
                if (!silent) {
                    state.setPhase(Phase::Failed, text);
                }
                emit state.runFinished(false);
            });
            return;
        }

        if (!silent) {
            for (const std::string& reveal : result->reveals) {
                post([text = QString::fromStdString(reveal)](AppState& state) {
                    state.setLearningFact(text);
                });
                if (pause.count() > 0) {
                    QThread::msleep(static_cast<unsigned long>(pause.count()));
                }
            }
        }
        post([result, days, silent](AppState& state) {
            state.apply(std::move(*result), days, silent);
            emit state.runFinished(true);
        });
    });
}

void AppState::apply(Generator::Result result, int days, bool silent) {
    stats_ = std::move(result.stats);
    people_ = std::move(result.people);
    names_ = std::move(result.names);
    wrappedURL_ = std::move(result.wrappedURL);
    std::shared_ptr<const ThreadsByHandle> earlier =
        std::exchange(corpus_, std::make_shared<const ThreadsByHandle>(std::move(result.threadsByHandle)));
    // Freed on a worker: at a million messages that takes longer than a frame.
    utility_.start([earlier = std::move(earlier)]() mutable { earlier.reset(); });
    readCounts_ = result.readCounts;
    messageCount_ = 0;
    for (const auto& [handle, thread] : *corpus_) {
        messageCount_ += static_cast<int>(thread.messages.size());
    }
    emit statsChanged();
    emit peopleChanged();
    emit namesChanged();
    emit wrappedURLChanged();
    emit threadsChanged();
    peopleModel_->setPeople(people_, names_);
    peopleModel_->setThreadEnds(threadEnds());
    insights_->clearTrends();
    insights_->refreshProactive();

    // A stored or sharpened archetype stays, even though this run's page shows the local one.
    if (!archetype_) {
        setArchetype(std::move(result.archetype));
    }
    if (!silent && !QSettings().value(walkthroughKey, false).toBool()) {
        setShowWalkthrough(true);
    }
    setPhase(Phase::Ready);
    store_.save(dovrel::Snapshot{dovrel::Date::now(), days, *stats_, people_, names_});
    if (!silent) {
        sharpenArchetype();
    }
}

void AppState::finishWalkthrough() {
    QSettings().setValue(walkthroughKey, true);
    setShowWalkthrough(false);
    setTab(Tab::Coach);
}

void AppState::checkForUpdates() {
    if (updateCheckStarted_) {
        return;
    }
    updateCheckStarted_ = true;
    // The check belongs to this state: when the state goes first, the answer is dropped with it.
    UpdateCheck::check(*network(), this,
                       [this](std::optional<UpdateCheck::Info> info) { setUpdate(std::move(info)); });
}

void AppState::setUpdate(std::optional<UpdateCheck::Info> update) {
    if (update_ != update) {
        update_ = std::move(update);
        emit updateChanged();
    }
}

void AppState::mergeNames(std::map<std::string, std::string> found) {
    bool grew = false;
    for (auto& [handle, name] : found) {
        grew = names_.try_emplace(handle, std::move(name)).second || grew;
    }
    if (grew) {
        peopleModel_->setNames(names_);
        emit namesChanged();
    }
}

void AppState::setArchetype(std::optional<dovrel::Archetype> archetype) {
    if (archetype_ != archetype) {
        archetype_ = std::move(archetype);
        emit archetypeChanged();
    }
}

QVariant AppState::qmlCoachSelection() const {
    return coachSelection_ ? QVariant(QString::fromStdString(*coachSelection_)) : QVariant();
}
void AppState::setQmlCoachSelection(const QVariant& value) {
    setCoachSelection(optionalText(value));
}
QVariant AppState::qmlCoachAsk() const {
    return coachAsk_ ? QVariant(QString::fromStdString(*coachAsk_)) : QVariant();
}
void AppState::setQmlCoachAsk(const QVariant& value) {
    setCoachAsk(optionalText(value));
}
} // namespace murmora
