#pragma once

// moc of Qt 6.4 cannot parse the C++20 standard headers the core pulls in; it needs none of them.
#ifndef Q_MOC_RUN
#include "AI/AIProvider.h"
#include "Coach/Agent.h"
#include "Coach/CoachTools.h"
#include "Measurement/PersonInsights.h"
#include "Measurement/Trends.h"
#include "MessageSources/GroupRecords.h"
#endif

#include "State/AppState.h"

#include <QObject>
#include <QPointer>
#include <QString>
#include <QTimer>
#include <QVariant>
#include <QtQml/qqmlregistration.h>
#include <cstdint>
#include <exception>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace murmora {

// Drives the coach's conversation over the application state. Lives on the GUI thread; the application state
// owns the one the screens read, so a turn outlives the screen that started it.
//
// A turn asks the model (the relay, else the `claude` program), runs the tools it calls, and repeats until it
// answers, at most eight calls in all. Only text messages reach the stored transcript: tool calls, their
// results and the model's thinking live in the turn alone. Tool calls run one after another on a worker
// thread over a read-only view of the state, and the turn goes on when each result is back; a tool never
// fails: each problem is a result text for the model.
//
// All work is posted back to the GUI thread and holds the engine weakly: an engine destroyed mid-turn ends it
// without a trace.
class CoachEngine : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The application has one coach engine: AppState.coach.")

    // Attached by the screen whenever it appears; the engine never owns it.
    Q_PROPERTY(murmora::AppState* state READ state WRITE setState NOTIFY stateChanged)
    // A turn is running; also the guard against a second one.
    Q_PROPERTY(bool thinking READ thinking NOTIFY thinkingChanged)
    // The answer as shown while it streams.
    Q_PROPERTY(QString streamText READ qmlStreamText NOTIFY streamTextChanged)
    // The status line of the tool that ran last; empty, and `hasToolStatus` false, when none.
    Q_PROPERTY(QString toolStatus READ qmlToolStatus NOTIFY toolStatusChanged)
    Q_PROPERTY(bool hasToolStatus READ hasToolStatus NOTIFY toolStatusChanged)
    // The last turn's failure in words; empty, and `hasErrorText` false, when none.
    Q_PROPERTY(QString errorText READ qmlErrorText NOTIFY errorTextChanged)
    Q_PROPERTY(bool hasErrorText READ hasErrorText NOTIFY errorTextChanged)
    // The relay reported its daily cap.
    Q_PROPERTY(bool capHit READ capHit NOTIFY capHitChanged)
    // The draft being rewritten; empty, and `isTweaking` false, when none. Also the guard against a second
    // rewrite.
    Q_PROPERTY(QString tweakingDraft READ qmlTweakingDraft NOTIFY tweakingDraftChanged)
    Q_PROPERTY(bool isTweaking READ isTweaking NOTIFY tweakingDraftChanged)
    // Memory updates, session notes and rewrites still waiting for their model. Nothing waits on them but a
    // command-line run, which must not end before they are stored.
    Q_PROPERTY(int backgroundWork READ backgroundWork NOTIFY backgroundWorkChanged)

public:
    // What one tool call gives: a line the user sees, and the text only the model sees.
    struct ToolOutput {
        std::string status;
        std::string result;

        bool operator==(const ToolOutput&) const = default;
    };

    // Each turn sends at most this many of the latest messages.
    static constexpr std::size_t historyTurns = 16;
    // Rounds 0 to 7: the last call's tool calls are never run.
    static constexpr int lastRound = 7;
    // A transcript whose last message is older than this is closed at the next look.
    static constexpr double staleSeconds = 21600;

    explicit CoachEngine(QObject* parent = nullptr);
    ~CoachEngine() override;

    AppState* state() const { return state_.data(); }
    void setState(AppState* state);

    // Where the model calls go: the one set here, else the state's.
    void setProvider(std::shared_ptr<AIProvider> provider) { provider_ = std::move(provider); }
    std::shared_ptr<AIProvider> provider() const;

    bool thinking() const { return thinking_; }
    const std::string& streamText() const { return streamText_; }
    const std::optional<std::string>& toolStatus() const { return toolStatus_; }
    const std::optional<std::string>& errorText() const { return errorText_; }
    bool capHit() const { return capHit_; }
    const std::optional<std::string>& tweakingDraft() const { return tweakingDraft_; }
    int backgroundWork() const { return backgroundWork_; }

    // Stores the user's message and starts a turn; the screen has trimmed the text. In a chat focused on
    // `person` the key is their handle, else "". Does nothing without a state or while a turn runs.
    void send(const std::string& text, const std::optional<dovrel::PersonInsights>& person);
    // Cancels the running turn. The user's message stays; no answer is stored.
    Q_INVOKABLE void stop();
    // Closes the transcript of `key` when its last message is more than six hours old; a long one is
    // summarized into memory first.
    void archiveIfStale(const std::string& key);
    // The new-chat action: stops a turn, summarizes what is worth it, and empties the transcript.
    void startFreshSession(const std::string& key);
    // Rewrites `draft` inside the stored coach message `messageID` in the tone `style` describes.
    void tweak(const std::string& draft, const std::string& style, const std::string& messageID,
               const std::string& key, const std::optional<dovrel::PersonInsights>& person);

    // The same for the screen, which names a person by handle ("" for none).
    Q_INVOKABLE void send(const QString& text, const QString& handle);
    Q_INVOKABLE void archiveIfStale(const QString& key) { archiveIfStale(key.toStdString()); }
    Q_INVOKABLE void startFreshSession(const QString& key) { startFreshSession(key.toStdString()); }
    Q_INVOKABLE void tweak(const QString& draft, const QString& style, const QString& messageID,
                           const QString& key, const QString& handle);

    // Runs one tool call of the model as a turn runs it: over a view of the state, on a worker thread. `done`
    // gets the output on the GUI thread, unless the engine is gone by then. `person` is the chat's focus.
    void runTool(const dovrel::Agent::ToolUse& use, const std::optional<dovrel::PersonInsights>& person,
                 std::function<void(ToolOutput)> done);
    // What the tools read, as the state holds it now; the person picker's search runs over it too.
    dovrel::CoachTools::CorpusView corpusView();

signals:
    void stateChanged();
    void thinkingChanged();
    void streamTextChanged();
    void toolStatusChanged();
    void errorTextChanged();
    void capHitChanged();
    void tweakingDraftChanged();
    void backgroundWorkChanged();
    // A tool of the running turn has run, with the line the user sees for it.
    void toolRan(const QString& status);

private:
    struct Turn;
    struct ToolRound;
    // What a provider call gave: the blocks, or the failure.
    struct Reply {
        std::vector<dovrel::Agent::Block> blocks;
        std::exception_ptr error;
    };

    void append(dovrel::CoachMessage message, const std::string& key);
    void runTurn(const std::string& key, const std::optional<dovrel::PersonInsights>& person);
    void turnBody(const std::shared_ptr<Turn>& turn);
    void callProvider(const std::shared_ptr<Turn>& turn);
    void providerAnswered(const std::shared_ptr<Turn>& turn, Reply reply);
    void continueTurn(const std::shared_ptr<Turn>& turn, std::vector<dovrel::Agent::Block> blocks);
    void runRoundTools(const std::shared_ptr<Turn>& turn, const std::shared_ptr<ToolRound>& round);
    void failTurn(std::exception_ptr error);
    bool isCurrent(const std::shared_ptr<Turn>& turn) const;
    // Ends the turn when the state it began over is gone or replaced.
    bool stateLost(const std::shared_ptr<Turn>& turn);
    void storeRewrite(const std::string& draft, const std::string& reply, const std::string& messageID,
                      const std::string& key);
    // The engine's own text of a piece the model streamed, paced out to `streamText`.
    void enqueueDelta(const std::string& piece);
    void drainStep();
    void flushStream(bool discard);
    void updateMemory(const std::string& key);
    void summarizeIntoMemory(const std::vector<dovrel::CoachMessage>& turns, const std::string& key);
    void beginBackgroundWork();
    void endBackgroundWork();
    dovrel::Date currentDate() const;
    std::vector<dovrel::CoachMessage> transcript(const std::string& key) const;
    std::vector<dovrel::MemoryEntry> memory(const std::string& key) const;
    std::optional<dovrel::PersonInsights> personWithHandle(const QString& handle) const;

    // Setters of the observable fields; each notifies only on a change.
    void setThinking(bool thinking) { assign(thinking_, thinking, &CoachEngine::thinkingChanged); }
    void setStreamText(std::string text) {
        assign(streamText_, std::move(text), &CoachEngine::streamTextChanged);
    }
    void setToolStatus(std::optional<std::string> status) {
        assign(toolStatus_, std::move(status), &CoachEngine::toolStatusChanged);
    }
    void setErrorText(std::optional<std::string> text) {
        assign(errorText_, std::move(text), &CoachEngine::errorTextChanged);
    }
    void setCapHit(bool capHit) { assign(capHit_, capHit, &CoachEngine::capHitChanged); }
    void setTweakingDraft(std::optional<std::string> draft) {
        assign(tweakingDraft_, std::move(draft), &CoachEngine::tweakingDraftChanged);
    }
    template <typename T> void assign(T& field, T value, void (CoachEngine::*changed)()) {
        if (field != value) {
            field = std::move(value);
            emit(this->*changed)();
        }
    }

    static QString qmlText(const std::optional<std::string>& text) {
        return text ? QString::fromStdString(*text) : QString();
    }
    QString qmlStreamText() const { return QString::fromStdString(streamText_); }
    QString qmlToolStatus() const { return qmlText(toolStatus_); }
    bool hasToolStatus() const { return toolStatus_.has_value(); }
    QString qmlErrorText() const { return qmlText(errorText_); }
    bool hasErrorText() const { return errorText_.has_value(); }
    QString qmlTweakingDraft() const { return qmlText(tweakingDraft_); }
    bool isTweaking() const { return tweakingDraft_.has_value(); }

    // The system prompt of a turn, built from scratch from the state: the person prompt when `person` has a
    // thread, else the general prompt. Absent when the state is gone, or there are no statistics yet for the
    // general prompt.
    std::optional<std::string> buildSystem(const std::optional<dovrel::PersonInsights>& person) const;
    // Where the group chats are for a call that reads them; the first such call starts their load.
    dovrel::CoachTools::GroupStatus groupStatus(bool needed);
    // Drops the view's copies of what the state changed.
    void forgetView();

    QPointer<AppState> state_;
    std::shared_ptr<AIProvider> provider_;
    bool thinking_ = false;
    std::string streamText_;
    std::optional<std::string> toolStatus_;
    std::optional<std::string> errorText_;
    bool capHit_ = false;
    std::optional<std::string> tweakingDraft_;
    int backgroundWork_ = 0;

    // The parts of the tools' view, copied from the state when first needed and kept until it changes.
    dovrel::CoachTools::CorpusView view_;
    bool viewCurrent_ = false;
    int viewGeneration_ = 0;
    std::map<std::string, dovrel::GroupStats> groupStats_; // by guid, computed by the tools
    bool groupLoadAsked_ = false; // this engine started a group load; when it ends empty, it stays so

    std::shared_ptr<Turn> turn_; // the running turn
    std::string pendingStream_;  // streamed text not shown yet
    QTimer drainTimer_;          // paces `pendingStream_` out; active while the drain runs
    bool draining_ = false;
    bool drainWaited_ = false; // the drain found nothing and waits once before it ends
};

} // namespace murmora
