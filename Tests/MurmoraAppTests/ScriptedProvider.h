#pragma once

// A model for tests of the code that asks one: answers and failures queued by the test are handed out in
// order, one-shot calls and coach rounds each from their own queue, always a moment later on the event loop
// as a real provider would. A call with nothing queued waits until the test queues its outcome, so a test
// can look at what happens while a call runs. Every call is kept for inspection.
//
// moc of Qt 6.4 cannot parse the C++20 headers behind it: include this inside `#ifndef Q_MOC_RUN`.

#include "AI/AIProvider.h"

#include <QCoreApplication>
#include <QList>
#include <QPromise>
#include <deque>
#include <memory>

class ScriptedProvider : public murmora::AIProvider {
public:
    struct Call {
        QString prompt;                          // a one-shot call's prompt
        int maxTokens = 0;                       // both kinds
        std::optional<murmora::ChatRound> round; // a coach round
    };

    bool available = true;
    QList<Call> calls;

    void answer(const QString& text) { queue(runs_, {text, {}, {}, nullptr}); }
    // A coach round's blocks, with the text pieces streamed ahead of them.
    void answer(std::vector<dovrel::Agent::Block> blocks, QStringList pieces = {}) {
        queue(chats_, {{}, std::move(blocks), std::move(pieces), nullptr});
    }
    template <typename Error> void failRun(Error error) {
        queue(runs_, {{}, {}, {}, std::make_exception_ptr(error)});
    }
    template <typename Error> void failChat(Error error) {
        queue(chats_, {{}, {}, {}, std::make_exception_ptr(error)});
    }
    // Calls waiting for an outcome.
    std::size_t waiting() const { return runs_.waiting.size() + chats_.waiting.size(); }

    bool detect() override { return available; }

    QFuture<QString> run(const QString& prompt, int maxTokens) override {
        calls.append({prompt, maxTokens, std::nullopt});
        return wait<QString>(runs_, {});
    }

    QFuture<std::vector<dovrel::Agent::Block>> chat(const murmora::ChatRound& round,
                                                    murmora::DeltaHandler onDelta) override {
        calls.append({{}, round.maxTokens, round});
        return wait<std::vector<dovrel::Agent::Block>>(chats_, std::move(onDelta));
    }

private:
    struct Outcome {
        QString text;
        std::vector<dovrel::Agent::Block> blocks;
        QStringList pieces;
        std::exception_ptr error;
    };
    using Waiting = std::function<void(const Outcome&)>;
    struct Queue {
        std::deque<Outcome> outcomes;
        std::deque<Waiting> waiting;
    };

    template <typename T> QFuture<T> wait(Queue& queue, murmora::DeltaHandler onDelta) {
        auto promise = std::make_shared<QPromise<T>>();
        promise->start();
        queue.waiting.push_back([promise, onDelta](const Outcome& outcome) {
            if (onDelta) {
                for (const QString& piece : outcome.pieces) {
                    onDelta(piece);
                }
            }
            if (outcome.error) {
                promise->setException(outcome.error);
            } else if constexpr (std::is_same_v<T, QString>) {
                promise->addResult(outcome.text);
            } else {
                promise->addResult(outcome.blocks);
            }
            promise->finish();
        });
        serve(queue);
        return promise->future();
    }

    void queue(Queue& queue, Outcome outcome) {
        queue.outcomes.push_back(std::move(outcome));
        serve(queue);
    }

    static void serve(Queue& queue) {
        while (!queue.outcomes.empty() && !queue.waiting.empty()) {
            QMetaObject::invokeMethod(
                QCoreApplication::instance(),
                [deliver = std::move(queue.waiting.front()), outcome = std::move(queue.outcomes.front())] {
                    deliver(outcome);
                },
                Qt::QueuedConnection);
            queue.outcomes.pop_front();
            queue.waiting.pop_front();
        }
    }

    Queue runs_;
    Queue chats_;
};
