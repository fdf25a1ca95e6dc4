#include "State/AppState.h"

#include <QDir>
#include <QFile>
#include <QPointer>
#include <QQmlEngine>
#include <QThread>
#include <exception>

namespace murmora {
namespace {

AppState* theInstance = nullptr;

std::filesystem::path homeFolder() {
    return std::filesystem::path(QDir::homePath().toStdString());
}

} // namespace

AppState::AppState(QObject* parent)
    : QObject(parent)
    , learningFact_(QStringLiteral("Reading your messages\u2026")) {
    Q_ASSERT(theInstance == nullptr);
    theInstance = this;
    utility_.setThreadPriority(QThread::LowPriority);
    userInitiated_.setMaxThreadCount(2);
    utility_.setMaxThreadCount(2);
}

AppState::~AppState() {
    userInitiated_.waitForDone();
    utility_.waitForDone();
    theInstance = nullptr;
}

AppState* AppState::instance() {
    return theInstance;
}

AppState* AppState::create(QQmlEngine* qmlEngine, QJSEngine* jsEngine) {
    Q_UNUSED(jsEngine);
    Q_ASSERT(theInstance != nullptr);
    QQmlEngine::setObjectOwnership(theInstance, QQmlEngine::CppOwnership);
    Q_UNUSED(qmlEngine);
    return theInstance;
}

void AppState::setPhase(Phase phase, const QString& failureText) {
    if (phase_ == phase && failureText_ == failureText) {
        return;
    }
    phase_ = phase;
    failureText_ = failureText;
    emit phaseChanged();
}

void AppState::setLearningFact(const QString& fact) {
    if (learningFact_ != fact) {
        learningFact_ = fact;
        emit learningFactChanged();
    }
    emit factShown(fact);
}

void AppState::checkAccess() {
    // Opening the file is the only test of the permission to read it.
    QFile database(QString::fromStdString(Generator::messagesDatabasePath(homeFolder()).string()));
    if (!database.open(QIODevice::ReadOnly)) {
        setPhase(Phase::NeedsAccess);
        return;
    }
    database.close();
    learn(365, false);
}

void AppState::learn(int days, bool silent) {
    if (!silent) {
        setPhase(Phase::Learning);
        setLearningFact(QStringLiteral("Reading your messages\u2026"));
    }
    const std::filesystem::path home = homeFolder();
    const std::chrono::milliseconds pause = revealPause_;
    QPointer<AppState> self(this);
    QThreadPool& pool = silent ? utility_ : userInitiated_;

    pool.start([self, home, days, silent, pause] {
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
        Generator::Progress progress = [&post, silent](const std::string& line) {
            if (!silent) {
                post([text = QString::fromStdString(line)](AppState& state) { state.setLearningFact(text); });
            }
        };

        Generator::Result result;
        try {
            result = Generator::run(home, days, progress);
        } catch (const std::exception& error) {
            if (!silent) {
                post([text = QString::fromUtf8(error.what())](AppState& state) {
                    state.setPhase(Phase::Failed, text);
                    emit state.runFinished(false);
                });
            }
            return;
        }

        if (!silent) {
            for (const std::string& reveal : result.reveals) {
                post([text = QString::fromStdString(reveal)](AppState& state) {
                    state.setLearningFact(text);
                });
                if (pause.count() > 0) {
                    QThread::msleep(static_cast<unsigned long>(pause.count()));
                }
            }
        }
        post([result = std::make_shared<Generator::Result>(std::move(result))](AppState& state) {
            state.apply(std::move(*result));
            emit state.runFinished(true);
        });
    });
}

void AppState::apply(Generator::Result result) {
    threadsByHandle_ = std::move(result.threadsByHandle);
    readCounts_ = result.readCounts;
    messageCount_ = 0;
    for (const auto& [handle, thread] : threadsByHandle_) {
        messageCount_ += static_cast<int>(thread.messages.size());
    }
    emit threadsChanged();
    setPhase(Phase::Ready);
}

} // namespace murmora
