#include "Controllers/DeepDiveController.h"

#include "Coach/DeepDivePrompt.h"
#include "State/CoachStore.h"

#include <QCoreApplication>
#include <QThreadPool>
#include <algorithm>

namespace murmora {

DeepDiveController::DeepDiveController(QObject* parent)
    : QObject(parent) {}

DeepDiveController::~DeepDiveController() {
    call_.cancel();
}

void DeepDiveController::setState(AppState* state) {
    if (state_ == state) {
        return;
    }
    if (state_) {
        disconnect(state_, nullptr, this, nullptr);
    }
    state_ = state;
    if (state != nullptr) {
        connect(state->coachStore(), &CoachStore::deepDivesChanged, this, &DeepDiveController::resultChanged);
        connect(state, &AppState::threadsChanged, this, &DeepDiveController::resultChanged);
    }
    emit stateChanged();
    emit resultChanged();
}

void DeepDiveController::setHandle(const QString& handle) {
    if (handle_ != handle) {
        handle_ = handle;
        emit handleChanged();
        emit resultChanged();
    }
}

std::optional<dovrel::StoredDive> DeepDiveController::storedDive() const {
    const AppState* state = state_.data();
    if (state == nullptr) {
        return std::nullopt;
    }
    const auto& dives = state->coachStore()->deepDives();
    const auto found = dives.find(handle_.toStdString());
    return found == dives.end() ? std::nullopt : std::optional(found->second);
}

void DeepDiveController::storeDive(dovrel::StoredDive dive) {
    if (AppState* state = state_.data()) {
        state->coachStore()->setDeepDive(handle_.toStdString(), std::move(dive));
        state->coachStore()->saveArtifacts();
    }
}

QString DeepDiveController::resultText() const {
    const std::optional<dovrel::StoredDive> dive = storedDive();
    return dive ? QString::fromStdString(dive->text) : QString();
}

QString DeepDiveController::staleness() const {
    const std::optional<dovrel::StoredDive> dive = storedDive();
    const AppState* state = state_.data();
    if (!dive || state == nullptr) {
        return {};
    }
    std::vector<dovrel::Date> dates;
    if (const auto thread = state->threadsByHandle().find(handle_.toStdString());
        thread != state->threadsByHandle().end()) {
        dates.reserve(thread->second.messages.size());
        for (const dovrel::RawMessage& message : thread->second.messages) {
            dates.push_back(message.date);
        }
    }
    const std::optional<std::string> note =
        dovrel::staleDiveNote(*dive, dates, state->environment().calendar);
    return note ? QString::fromStdString(*note) : QString();
}

void DeepDiveController::run() {
    AppState* state = state_.data();
    if (state == nullptr || running_) {
        return;
    }
    const std::string handle = handle_.toStdString();
    const auto person =
        std::find_if(state->people().begin(), state->people().end(),
                     [&](const dovrel::PersonInsights& each) { return each.handleID == handle; });
    const auto thread = state->threadsByHandle().find(handle);
    if (person == state->people().end() || thread == state->threadsByHandle().end()) {
        return;
    }
    setRunning(true);
    setErrorText({});
    setCapHit(false);

    // The prompt reads only the latest messages; the worker gets a copy of those, not the whole thread.
    const std::vector<dovrel::RawMessage>& messages = thread->second.messages;
    const auto from = messages.size() > recentCount ? messages.end() - recentCount : messages.begin();
    dovrel::ContactThread recent{thread->second.handleID, thread->second.displayName, {from, messages.end()}};
    const dovrel::Date threadLastDate =
        messages.empty() ? state->environment().now.value_or(dovrel::Date::now()) : messages.back().date;
    const std::string name = state->name(handle, person->displayName);

    const QPointer<DeepDiveController> self(this);
    QThreadPool::globalInstance()->start(
        [self, name, recent = std::move(recent), insights = *person, threadLastDate] {
            const std::string prompt = dovrel::DeepDivePrompt::build(name, recent, insights, recentCount);
            QMetaObject::invokeMethod(
                QCoreApplication::instance(),
                [self, prompt, threadLastDate] {
                    AppState* current = self ? self->state_.data() : nullptr;
                    if (current == nullptr) {
                        return;
                    }
                    self->call_ = current->aiProvider()->run(QString::fromStdString(prompt), maxTokens);
                    self->call_.then(QtFuture::Launch::Sync, [self, threadLastDate](QFuture<QString> call) {
                        std::optional<QString> answer;
                        std::exception_ptr error;
                        try {
                            answer = call.result();
                        } catch (...) {
                            error = std::current_exception();
                        }
                        QMetaObject::invokeMethod(
                            QCoreApplication::instance(),
                            [self, answer, error, threadLastDate] {
                                if (self) {
                                    self->finish(answer, error, threadLastDate);
                                }
                            },
                            Qt::QueuedConnection);
                    });
                },
                Qt::QueuedConnection);
        });
}

void DeepDiveController::finish(std::optional<QString> answer, std::exception_ptr error,
                                dovrel::Date threadLastDate) {
    const AppState* state = state_.data();
    if (answer && state != nullptr) {
        storeDive(
            {answer->toStdString(), state->environment().now.value_or(dovrel::Date::now()), threadLastDate});
    } else if (error && isDailyCap(error)) {
        setCapHit(true);
    } else if (error) {
        setErrorText(QString::fromStdString(failureText(error)));
    }
    setRunning(false);
}

void DeepDiveController::setRunning(bool running) {
    if (running_ != running) {
        running_ = running;
        emit runningChanged();
    }
}

void DeepDiveController::setErrorText(const QString& text) {
    if (errorText_ != text) {
        errorText_ = text;
        emit errorTextChanged();
    }
}

void DeepDiveController::setCapHit(bool capHit) {
    if (capHit_ != capHit) {
        capHit_ = capHit;
        emit capHitChanged();
    }
}

} // namespace murmora
