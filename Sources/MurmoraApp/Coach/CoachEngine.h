#pragma once

// moc of Qt 6.4 cannot parse the C++20 standard headers the core pulls in; it needs none of them.
#ifndef Q_MOC_RUN
#include "Coach/Agent.h"
#include "Coach/CorpusTools.h"
#include "Measurement/PersonInsights.h"
#include "Measurement/Trends.h"
#include "MessageSources/GroupRecords.h"
#endif

#include "State/AppState.h"

#include <QObject>
#include <QPointer>
#include <QString>
#include <QVariant>
#include <QtQml/qqmlregistration.h>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace murmora {

// Drives the coach's conversation over the application state. Lives on the GUI thread; the coach screen
// holds one and reads its fields.
//
// The tool dispatch and the gathering of the system prompt are here; every tool call runs synchronously over
// `AppState` and never fails: each problem is a result text for the model.
class CoachEngine : public QObject {
    Q_OBJECT
    QML_ELEMENT

    // Attached by the screen whenever it appears; the engine never owns it.
    Q_PROPERTY(murmora::AppState* state READ state WRITE setState NOTIFY stateChanged)
    // A turn is running; also the guard against a second one.
    Q_PROPERTY(bool thinking READ thinking NOTIFY thinkingChanged)
    // The answer as shown while it streams.
    Q_PROPERTY(QString streamText READ qmlStreamText NOTIFY streamTextChanged)
    // The status line of the tool that ran last; null when none.
    Q_PROPERTY(QVariant toolStatus READ qmlToolStatus NOTIFY toolStatusChanged)
    // The last turn's failure in words; null when none.
    Q_PROPERTY(QVariant errorText READ qmlErrorText NOTIFY errorTextChanged)
    // The relay reported its daily cap.
    Q_PROPERTY(bool capHit READ capHit NOTIFY capHitChanged)
    // The draft being rewritten; null when none. Also the guard against a second rewrite.
    Q_PROPERTY(QVariant tweakingDraft READ qmlTweakingDraft NOTIFY tweakingDraftChanged)

public:
    // What one tool call gives: a line the user sees, and the text only the model sees.
    struct ToolOutput {
        std::string status;
        std::string result;

        bool operator==(const ToolOutput&) const = default;
    };

    // Tool results cut their limit to this many items.
    static constexpr std::int64_t maxLimit = 60;

    explicit CoachEngine(QObject* parent = nullptr)
        : QObject(parent) {}

    AppState* state() const { return state_.data(); }
    void setState(AppState* state) {
        if (state_ != state) {
            state_ = state;
            emit stateChanged();
        }
    }

    bool thinking() const { return thinking_; }
    const std::string& streamText() const { return streamText_; }
    const std::optional<std::string>& toolStatus() const { return toolStatus_; }
    const std::optional<std::string>& errorText() const { return errorText_; }
    bool capHit() const { return capHit_; }
    const std::optional<std::string>& tweakingDraft() const { return tweakingDraft_; }

    // Runs one tool call of the model. `person` is the person the chat is focused on, if any.
    ToolOutput execute(const dovrel::Agent::ToolUse& use,
                       const std::optional<dovrel::PersonInsights>& person);

    // The system prompt of a turn, built from scratch from the state: the person prompt when `person` has a
    // thread, else the general prompt. Absent when the state is gone, or there are no statistics yet for the
    // general prompt.
    std::optional<std::string> buildSystem(const std::optional<dovrel::PersonInsights>& person) const;

    // The threads a search runs over: the one of the person `name` finds, else all of them.
    std::vector<const dovrel::ContactThread*> threadsFor(const std::optional<std::string>& name) const;
    // The first person, most messages first, whose name holds `name` ignoring case. The pointer is into the
    // state and stays valid until the state's people change.
    const dovrel::PersonInsights* findPerson(const std::optional<std::string>& name) const;
    // The first group whose title holds `name` ignoring case, else the first with such a member. Into the
    // state, like findPerson.
    const dovrel::GroupThread* findGroup(const std::optional<std::string>& name) const;

signals:
    void stateChanged();
    void thinkingChanged();
    void streamTextChanged();
    void toolStatusChanged();
    void errorTextChanged();
    void capHitChanged();
    void tweakingDraftChanged();

private:
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

    static QVariant qmlText(const std::optional<std::string>& text) {
        return text ? QVariant(QString::fromStdString(*text)) : QVariant();
    }
    QString qmlStreamText() const { return QString::fromStdString(streamText_); }
    QVariant qmlToolStatus() const { return qmlText(toolStatus_); }
    QVariant qmlErrorText() const { return qmlText(errorText_); }
    QVariant qmlTweakingDraft() const { return qmlText(tweakingDraft_); }

    // Whether group chats are there; the first ask starts their load.
    bool groupsReady() const;
    ToolOutput groupMiss(const std::optional<std::string>& name) const;
    std::string groupName(const dovrel::GroupThread& group) const;
    std::string format(const std::vector<dovrel::CorpusTools::Hit>& hits, const std::string& empty) const;
    std::string formatGroup(const std::vector<dovrel::GroupMessage>& messages,
                            const std::string& empty) const;
    std::string statsLines(const dovrel::PersonInsights& insights) const;
    std::string overviewLines() const;
    std::string groupStatsLines(const dovrel::GroupThread& group) const;
    std::vector<dovrel::Trends::MonthPoint> trendPoints(const std::string& handle,
                                                        const dovrel::ContactThread& thread,
                                                        const dovrel::Calendar& calendar) const;

    QPointer<AppState> state_;
    bool thinking_ = false;
    std::string streamText_;
    std::optional<std::string> toolStatus_;
    std::optional<std::string> errorText_;
    bool capHit_ = false;
    std::optional<std::string> tweakingDraft_;
};

} // namespace murmora
