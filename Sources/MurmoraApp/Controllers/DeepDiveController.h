#pragma once

// moc of Qt 6.4 cannot parse the C++20 standard headers the core pulls in; it needs none of them.
#ifndef Q_MOC_RUN
#include "Persistence/Artifacts.h"
#endif

#include "State/AppState.h"

#include <QFuture>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QtQml/qqmlregistration.h>
#include <optional>

namespace murmora {

// The deep dive of one person: an honest read of the relationship that a model writes from the last 200
// messages, kept with the state's artifacts. The screen asks the user's consent before it calls `run`.
class DeepDiveController : public QObject {
    Q_OBJECT
    QML_ELEMENT

    Q_PROPERTY(murmora::AppState* state READ state WRITE setState NOTIFY stateChanged)
    // The person's handle.
    Q_PROPERTY(QString handle READ handle WRITE setHandle NOTIFY handleChanged)
    Q_PROPERTY(bool running READ running NOTIFY runningChanged)
    // The last run's failure in words; empty when none.
    Q_PROPERTY(QString errorText READ errorText NOTIFY errorTextChanged)
    // The last run met the relay's daily cap.
    Q_PROPERTY(bool capHit READ capHit NOTIFY capHitChanged)
    // The stored dive of the person, and whether there is one.
    Q_PROPERTY(bool hasResult READ hasResult NOTIFY resultChanged)
    Q_PROPERTY(QString resultText READ resultText NOTIFY resultChanged)
    // "From {date} — {n} new messages since." when the thread grew after the dive; empty otherwise.
    Q_PROPERTY(QString staleness READ staleness NOTIFY resultChanged)

public:
    static constexpr int recentCount = 200;
    static constexpr int maxTokens = 4096;

    explicit DeepDiveController(QObject* parent = nullptr);
    ~DeepDiveController() override;

    AppState* state() const { return state_.data(); }
    void setState(AppState* state);
    QString handle() const { return handle_; }
    void setHandle(const QString& handle);
    bool running() const { return running_; }
    QString errorText() const { return errorText_; }
    bool capHit() const { return capHit_; }
    bool hasResult() const { return storedDive().has_value(); }
    QString resultText() const;
    QString staleness() const;

    // Sends the conversation to the model and keeps its answer. Does nothing while a run is on, or when the
    // person or their thread is not there.
    Q_INVOKABLE void run();

signals:
    void stateChanged();
    void handleChanged();
    void runningChanged();
    void errorTextChanged();
    void capHitChanged();
    void resultChanged();

private:
    // The one place that reads and writes the stored dives.
    std::optional<dovrel::StoredDive> storedDive() const;
    void storeDive(dovrel::StoredDive dive);

    void finish(std::optional<QString> answer, std::exception_ptr error, dovrel::Date threadLastDate);
    void setRunning(bool running);
    void setErrorText(const QString& text);
    void setCapHit(bool capHit);

    QPointer<AppState> state_;
    QString handle_;
    bool running_ = false;
    QString errorText_;
    bool capHit_ = false;
    QFuture<QString> call_;
};

} // namespace murmora
