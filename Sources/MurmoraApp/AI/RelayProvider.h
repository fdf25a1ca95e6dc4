#pragma once

#include "AI/AIProvider.h"

#include <QPointer>
#include <cstddef>

class QNetworkAccessManager;

namespace murmora {

// The product's relay: one-shot prompts on /v1/ai, the coach's streamed rounds on /v1/chat. Requests go
// through the application's one network manager and report on its thread, which must be the thread that
// makes the calls.
//
// Failures: AIError (dailyCap on 429, relayFailed on any other status than 200, unreachable when there is no
// HTTP answer), RelayStreamError (a 200 whose stream broke off, timed out or grew past the limits below),
// dovrel::Agent::StreamError (an error event in the stream), and nlohmann::json::exception (a one-shot answer
// that does not decode). There is no fall-back here.
class RelayProvider : public AIProvider {
public:
    // An unfinished line of the stream, and a whole one-shot answer, are kept up to this size.
    static constexpr std::size_t maxLineBytes = 4 * 1024 * 1024;
    static constexpr std::size_t maxAnswerBytes = 4 * 1024 * 1024;

    explicit RelayProvider(QNetworkAccessManager* network);

    // True when the build has a relay address and secret.
    bool detect() override;
    QFuture<QString> run(const QString& prompt, int maxTokens) override;
    // Cancelling the future aborts the request at once; `onDelta` is not called again.
    QFuture<std::vector<dovrel::Agent::Block>> chat(const ChatRound& round, DeltaHandler onDelta) override;

private:
    QPointer<QNetworkAccessManager> network_;
};

} // namespace murmora
