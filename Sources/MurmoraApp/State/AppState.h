#pragma once

// moc of Qt 6.4 cannot parse the C++20 standard headers the core pulls in; it needs none of them.
#ifndef Q_MOC_RUN
#include "State/Generator.h"
#endif

#include <QObject>
#include <QString>
#include <QThreadPool>
#include <QtQml/qqmlregistration.h>
#include <memory>

class QQmlEngine;
class QJSEngine;

namespace murmora {

// The one application state. Lives on the GUI thread; every screen reads it. Background runs copy what they
// need when they start and post their results back; they never touch these fields.
class AppState : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_SINGLETON

    Q_PROPERTY(Phase phase READ phase NOTIFY phaseChanged)
    Q_PROPERTY(QString failureText READ failureText NOTIFY phaseChanged)
    Q_PROPERTY(QString learningFact READ learningFact NOTIFY learningFactChanged)
    Q_PROPERTY(int threadCount READ threadCount NOTIFY threadsChanged)
    Q_PROPERTY(int messageCount READ messageCount NOTIFY threadsChanged)

public:
    enum class Phase { CheckingAccess, NeedsAccess, Learning, Ready, Failed };
    Q_ENUM(Phase)

    // No default argument on purpose: QML must reach the one instance through create(), and Qt 6.4 would
    // construct a second one itself if the type were default-constructible.
    explicit AppState(QObject* parent);
    ~AppState() override;

    // The QML engine asks for the singleton; it is the instance the shell made.
    static AppState* create(QQmlEngine* qmlEngine, QJSEngine* jsEngine);
    static AppState* instance();

    Phase phase() const { return phase_; }
    QString failureText() const { return failureText_; }
    QString learningFact() const { return learningFact_; }
    int threadCount() const { return static_cast<int>(threadsByHandle_.size()); }
    int messageCount() const { return messageCount_; }
    const std::unordered_map<std::string, dovrel::ContactThread>& threadsByHandle() const {
        return threadsByHandle_;
    }
    const dovrel::ReadCounts& readCounts() const { return readCounts_; }

    Q_INVOKABLE void checkAccess();
    Q_INVOKABLE void learn(int days, bool silent);

    // How long each reveal stays on the learning screen; the command line sets it to zero.
    void setRevealPause(std::chrono::milliseconds pause) { revealPause_ = pause; }

signals:
    void phaseChanged();
    void learningFactChanged();
    void threadsChanged();
    // A reveal or progress line, as it is shown (also on runs that print instead of showing).
    void factShown(const QString& fact);
    void runFinished(bool succeeded);

private:
    void setPhase(Phase phase, const QString& failureText = {});
    void setLearningFact(const QString& fact);
    void apply(Generator::Result result);

    Phase phase_ = Phase::CheckingAccess;
    QString failureText_;
    QString learningFact_;
    std::unordered_map<std::string, dovrel::ContactThread> threadsByHandle_;
    dovrel::ReadCounts readCounts_;
    int messageCount_ = 0;
    std::chrono::milliseconds revealPause_{1100};
    QThreadPool userInitiated_;
    QThreadPool utility_;
};

} // namespace murmora
