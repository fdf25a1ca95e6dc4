#include "AI/AI.h"

#include "AI/AIError.h"
#include "AI/ClaudeCLI.h"
#include "AI/RelayConfig.h"

#include <QCoreApplication>
#include <QFutureWatcher>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QPromise>
#include <QThread>
#include <exception>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>

namespace murmora::AI {
namespace {

using Json = nlohmann::json;
using dovrel::Agent::Block;

constexpr int oneShotTimeoutMs = 180'000;
constexpr int chatTimeoutMs = 240'000;

template <typename T> void fail(QPromise<T>& promise, std::exception_ptr error) {
    promise.setException(std::move(error));
    promise.finish();
}

// One manager per request, gone with it. On the application's thread it also belongs to the application, so
// a request still running when the program ends is torn down with it.
QNetworkAccessManager* newManager() {
    QCoreApplication* app = QCoreApplication::instance();
    return new QNetworkAccessManager(app && app->thread() == QThread::currentThread() ? app : nullptr);
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

// One call of the relay's one-shot route.
QFuture<QString> relay(const QString& prompt, int maxTokens) {
    auto promise = std::make_shared<QPromise<QString>>();
    QFuture<QString> future = promise->future();
    promise->start();
    try {
        const QUrl url = RelayConfig::endpoint(QStringLiteral("/v1/ai"));
        if (!url.isValid()) {
            throw AIError::unreachable();
        }
        const std::string body = Json{{"prompt", prompt.toStdString()}, {"max_tokens", maxTokens}}.dump();
        QNetworkAccessManager* manager = newManager();
        QNetworkReply* reply = post(*manager, url, QByteArray::fromStdString(body), oneShotTimeoutMs);
        QObject::connect(reply, &QNetworkReply::finished, manager, [promise, manager, reply] {
            try {
                promise->addResult(oneShotAnswer(*reply));
                promise->finish();
            } catch (...) {
                fail(*promise, std::current_exception());
            }
            manager->deleteLater();
        });
    } catch (...) {
        fail(*promise, std::current_exception());
    }
    return future;
}

// A streaming chat call in flight. Touched only on the thread that started it.
struct ChatCall {
    QPromise<std::vector<Block>> promise;
    std::optional<dovrel::Agent::SSECollector> collector;
    bool settled = false; // the promise has its outcome; nothing more is read or reported
};

} // namespace

bool available() {
    return RelayConfig::isConfigured() || ClaudeCLI::detect().has_value();
}

QFuture<QString> run(const QString& prompt, int maxTokens) {
    if (!RelayConfig::isConfigured()) {
        return ClaudeCLI::run(prompt);
    }
    auto promise = std::make_shared<QPromise<QString>>();
    QFuture<QString> future = promise->future();
    promise->start();
    relay(prompt, maxTokens).then(QtFuture::Launch::Sync, [promise, prompt](QFuture<QString> answer) {
        std::exception_ptr relayError;
        try {
            promise->addResult(answer.result());
            promise->finish();
            return;
        } catch (const AIError& error) {
            if (error.errorCase() == AIError::Case::dailyCap) {
                // A used-up day is final: the local program is not asked either.
                fail(*promise, std::current_exception());
                return;
            }
            relayError = std::current_exception();
        } catch (...) {
            relayError = std::current_exception();
        }
        // The program's own search decides whether it is there; when it is not, the relay's failure is the
        // one to report.
        ClaudeCLI::run(prompt).then(QtFuture::Launch::Sync, [promise, relayError](QFuture<QString> local) {
            try {
                promise->addResult(local.result());
                promise->finish();
            } catch (const ClaudeCLI::CLIError& error) {
                fail(*promise, error.errorCase() == ClaudeCLI::CLIError::Case::notInstalled
                                   ? relayError
                                   : std::current_exception());
            } catch (...) {
                fail(*promise, std::current_exception());
            }
        });
    });
    return future;
}

QFuture<std::vector<Block>> chatViaRelay(const std::string& system,
                                         const std::vector<dovrel::Agent::ChatMessage>& messages,
                                         const std::vector<dovrel::Agent::ToolDef>& tools, int maxTokens,
                                         DeltaHandler onDelta) {
    auto call = std::make_shared<ChatCall>();
    QFuture<std::vector<Block>> future = call->promise.future();
    call->promise.start();

    QByteArray body;
    const QUrl url = RelayConfig::endpoint(QStringLiteral("/v1/chat"));
    try {
        if (!url.isValid()) {
            throw AIError::unreachable();
        }
        body =
            QByteArray::fromStdString(dovrel::Agent::requestBody(system, messages, tools, maxTokens).dump());
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

    QNetworkAccessManager* manager = newManager();
    QNetworkReply* reply = post(*manager, url, body, chatTimeoutMs);

    const auto settleWith = [call, reply](std::exception_ptr error) {
        if (call->settled) {
            return;
        }
        call->settled = true;
        fail(call->promise, std::move(error));
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
            settleWith(std::make_exception_ptr(*failure));
            return false;
        }
        return true;
    };

    QObject::connect(reply, &QNetworkReply::metaDataChanged, manager, [statusAccepted] { statusAccepted(); });

    QObject::connect(reply, &QNetworkReply::readyRead, manager, [call, reply, statusAccepted, settleWith] {
        if (!statusAccepted()) {
            return;
        }
        const QByteArray chunk = reply->readAll();
        try {
            call->collector->feed(
                std::string_view(chunk.constData(), static_cast<std::size_t>(chunk.size())));
        } catch (...) {
            settleWith(std::current_exception());
        }
    });

    QObject::connect(reply, &QNetworkReply::finished, manager, [call, manager, reply] {
        manager->deleteLater();
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
            // The stream broke off, or went quiet past the time limit: the blocks so far are no answer.
            if (reply->error() != QNetworkReply::NoError) {
                throw AIError::unreachable();
            }
            const QByteArray rest = reply->readAll();
            call->collector->feed(std::string_view(rest.constData(), static_cast<std::size_t>(rest.size())));
            call->promise.addResult(call->collector->finish());
            call->promise.finish();
        } catch (...) {
            fail(call->promise, std::current_exception());
        }
    });

    // The coach's stop button cancels the future; that aborts the request, whose end then settles the call.
    auto* watcher = new QFutureWatcher<std::vector<Block>>(manager);
    QObject::connect(watcher, &QFutureWatcherBase::canceled, manager, [call, reply] {
        if (!call->settled) {
            reply->abort();
        }
    });
    watcher->setFuture(future);
    return future;
}

} // namespace murmora::AI
