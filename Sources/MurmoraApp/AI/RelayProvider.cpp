#include "AI/RelayProvider.h"

#include "AI/AIError.h"
#include "AI/RelayConfig.h"

#include <QFutureWatcher>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QPromise>
#include <exception>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>

namespace murmora {
namespace {

using Json = nlohmann::json;
using dovrel::Agent::Block;

constexpr int oneShotTimeoutMs = 180'000;
constexpr int chatTimeoutMs = 240'000;

template <typename T> void fail(QPromise<T>& promise, std::exception_ptr error) {
    promise.setException(std::move(error));
    promise.finish();
}

// A POST to the relay with the application's secret and this installation's identity.
QNetworkReply* post(QNetworkAccessManager& manager, const QUrl& url, const QByteArray& body, int timeoutMs) {
    QNetworkRequest request(url);
    request.setTransferTimeout(timeoutMs);
    request.setHeader(QNetworkRequest::ContentTypeHeader, QByteArrayLiteral("application/json"));
    request.setRawHeader("x-murmora-app", RelayConfig::appSecret().toUtf8());
    request.setRawHeader("x-murmora-device", RelayConfig::deviceID().toUtf8());
    return manager.post(request, body);
}

// The failure an answer stands for, or nothing for a 200. No HTTP answer at all counts as unreachable.
std::optional<AIError> statusFailure(const QNetworkReply& reply) {
    const QVariant status = reply.attribute(QNetworkRequest::HttpStatusCodeAttribute);
    if (!status.isValid()) {
        return AIError::unreachable();
    }
    const int code = status.toInt();
    if (code == 429) {
        return AIError::dailyCap();
    }
    if (code != 200) {
        return AIError::relayFailed(code);
    }
    return std::nullopt;
}

// The outcome of a finished one-shot call. Only the status is looked at when it is not 200.
QString oneShotAnswer(QNetworkReply& reply) {
    if (std::optional<AIError> failure = statusFailure(reply)) {
        throw *failure;
    }
    // A 200 whose body broke off, or timed out, is as good as no answer.
    if (reply.error() != QNetworkReply::NoError) {
        throw AIError::unreachable();
    }
    const QByteArray body = reply.readAll();
    const Json answer = Json::parse(body.begin(), body.end());
    return QString::fromStdString(answer.at("text").get<std::string>());
}

// The length of the line still open after `chunk`, given `pending` before it; a line that grows beyond the
// limit throws. Lines end at "\n" or "\r".
std::size_t pendingAfter(std::size_t pending, const QByteArray& chunk) {
    for (const char byte : chunk) {
        if (byte == '\n' || byte == '\r') {
            pending = 0;
        } else if (++pending > RelayProvider::maxLineBytes) {
            throw RelayStreamError(RelayStreamError::Case::tooLarge);
        }
    }
    return pending;
}

// What a 200 that ended in a transport error stands for.
RelayStreamError brokenStream(const QNetworkReply& reply) {
    return RelayStreamError(reply.error() == QNetworkReply::OperationCanceledError ||
                                    reply.error() == QNetworkReply::TimeoutError
                                ? RelayStreamError::Case::timedOut
                                : RelayStreamError::Case::connectionLost);
}

// A streaming chat call in flight. Touched only on the network manager's thread.
struct ChatCall {
    QPromise<std::vector<Block>> promise;
    std::optional<dovrel::Agent::SSECollector> collector;
    std::size_t pendingLine = 0; // bytes of the line not ended yet
    bool settled = false;        // the promise has its outcome; nothing more is read or reported
};

// Hands bytes of the body to the collector. A relay that never ends a line would otherwise grow the
// collector's buffer without bound.
void feed(ChatCall& call, const QByteArray& chunk) {
    call.pendingLine = pendingAfter(call.pendingLine, chunk);
    call.collector->feed(std::string_view(chunk.constData(), static_cast<std::size_t>(chunk.size())));
}

} // namespace

RelayProvider::RelayProvider(QNetworkAccessManager* network)
    : network_(network) {}

bool RelayProvider::detect() {
    return RelayConfig::isConfigured();
}

QFuture<QString> RelayProvider::run(const QString& prompt, int maxTokens) {
    auto promise = std::make_shared<QPromise<QString>>();
    QFuture<QString> future = promise->future();
    promise->start();
    try {
        const QUrl url = RelayConfig::endpoint(QStringLiteral("/v1/ai"));
        if (!url.isValid() || network_.isNull()) {
            throw AIError::unreachable();
        }
        const std::string body = Json{{"prompt", prompt.toStdString()}, {"max_tokens", maxTokens}}.dump();
        QNetworkReply* reply = post(*network_, url, QByteArray::fromStdString(body), oneShotTimeoutMs);
        auto settled = std::make_shared<bool>(false);
        // An answer bigger than any real one is not kept: the call fails as soon as it shows.
        QObject::connect(reply, &QNetworkReply::readyRead, reply, [promise, reply, settled] {
            if (!*settled && static_cast<std::size_t>(reply->bytesAvailable()) > maxAnswerBytes) {
                *settled = true;
                fail(*promise, std::make_exception_ptr(RelayStreamError(RelayStreamError::Case::tooLarge)));
                QMetaObject::invokeMethod(reply, &QNetworkReply::abort, Qt::QueuedConnection);
            }
        });
        QObject::connect(reply, &QNetworkReply::finished, reply, [promise, reply, settled] {
            reply->deleteLater();
            if (*settled) {
                return;
            }
            try {
                // The whole body may arrive at once, after the last look of the check above.
                if (static_cast<std::size_t>(reply->bytesAvailable()) > maxAnswerBytes) {
                    throw RelayStreamError(RelayStreamError::Case::tooLarge);
                }
                promise->addResult(oneShotAnswer(*reply));
                promise->finish();
            } catch (...) {
                fail(*promise, std::current_exception());
            }
        });
    } catch (...) {
        fail(*promise, std::current_exception());
    }
    return future;
}

QFuture<std::vector<Block>> RelayProvider::chat(const ChatRound& round, DeltaHandler onDelta) {
    auto call = std::make_shared<ChatCall>();
    QFuture<std::vector<Block>> future = call->promise.future();
    call->promise.start();

    QByteArray body;
    const QUrl url = RelayConfig::endpoint(QStringLiteral("/v1/chat"));
    try {
        if (!url.isValid() || network_.isNull()) {
            throw AIError::unreachable();
        }
        body = QByteArray::fromStdString(
            dovrel::Agent::requestBody(round.system, round.messages, round.tools, round.maxTokens).dump());
    } catch (...) {
        fail(call->promise, std::current_exception());
        return future;
    }

    // The collector lives inside the call, so the raw pointer outlives every use of it. A piece that comes
    // after a stop is not passed on, even when it arrived in the same read.
    ChatCall* const raw = call.get();
    call->collector.emplace([raw, onDelta = std::move(onDelta)](std::string_view piece) {
        if (onDelta && !raw->promise.isCanceled()) {
            onDelta(QString::fromUtf8(piece.data(), static_cast<qsizetype>(piece.size())));
        }
    });

    QNetworkReply* reply = post(*network_, url, body, chatTimeoutMs);

    const auto settleWith = [call, reply](std::exception_ptr error, bool stopReading) {
        if (call->settled) {
            return;
        }
        call->settled = true;
        fail(call->promise, std::move(error));
        if (!stopReading) {
            return;
        }
        // Not from inside the reply's own signal: Qt may still be reporting on it. By then the reply may have
        // finished by itself, or failed (an error status), and aborting it then makes Qt complain on standard
        // error.
        QMetaObject::invokeMethod(
            reply,
            [reply] {
                if (reply->isRunning() && reply->error() == QNetworkReply::NoError) {
                    reply->abort();
                }
            },
            Qt::QueuedConnection);
    };

    // A status other than 200 ends the call as soon as the headers are in; its body is never read.
    const auto statusAccepted = [call, reply, settleWith] {
        if (call->settled) {
            return false;
        }
        if (!reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).isValid()) {
            return true; // no headers yet
        }
        if (std::optional<AIError> failure = statusFailure(*reply)) {
            // Qt fails such a reply itself when it ends; aborting it as well makes Qt report the error twice.
            settleWith(std::make_exception_ptr(*failure), false);
            return false;
        }
        return true;
    };

    QObject::connect(reply, &QNetworkReply::metaDataChanged, reply, [statusAccepted] { statusAccepted(); });

    QObject::connect(reply, &QNetworkReply::readyRead, reply, [call, reply, statusAccepted, settleWith] {
        if (!statusAccepted()) {
            return;
        }
        try {
            feed(*call, reply->readAll());
        } catch (...) {
            settleWith(std::current_exception(), true);
        }
    });

    QObject::connect(reply, &QNetworkReply::finished, reply, [call, reply] {
        reply->deleteLater();
        if (call->settled) {
            return;
        }
        call->settled = true;
        if (call->promise.isCanceled()) {
            call->promise.finish();
            return;
        }
        try {
            if (std::optional<AIError> failure = statusFailure(*reply)) {
                throw *failure;
            }
            // The stream broke off after its 200, or went quiet past the time limit: the blocks so far are no
            // answer, and the transport's own failure is the one to tell.
            if (reply->error() != QNetworkReply::NoError) {
                throw brokenStream(*reply);
            }
            feed(*call, reply->readAll());
            call->promise.addResult(call->collector->finish());
            call->promise.finish();
        } catch (...) {
            fail(call->promise, std::current_exception());
        }
    });

    // The coach's stop button cancels the future; that aborts the request, whose end then settles the call.
    auto* watcher = new QFutureWatcher<std::vector<Block>>(reply);
    QObject::connect(watcher, &QFutureWatcherBase::canceled, reply, [call, reply] {
        if (!call->settled) {
            reply->abort();
        }
    });
    watcher->setFuture(future);
    return future;
}

} // namespace murmora
