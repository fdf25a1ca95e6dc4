#include "AI/AIProvider.h"

#include "AI/AIError.h"
#include "AI/ClaudeCLI.h"
#include "AI/RelayConfig.h"
#include "AI/RelayProvider.h"

#include <QCoreApplication>
#include <QFutureWatcher>
#include <QPromise>
#include <atomic>
#include <exception>
#include <nlohmann/json.hpp>

namespace murmora {
namespace {

bool isNotInstalled(const std::exception_ptr& error) {
    try {
        std::rethrow_exception(error);
    } catch (const ClaudeCLI::CLIError& failure) {
        return failure.errorCase() == ClaudeCLI::CLIError::Case::notInstalled;
    } catch (...) {
        return false;
    }
}

// Two calls of which the second only runs when the first fails otherwise than by the daily cap; when the
// second finds no program, the first one's failure is told.
template <typename T> struct Chain {
    QPromise<T> promise;
    std::exception_ptr firstError;
    // The outcome is given once: a stop on the GUI thread and a call ending elsewhere may meet.
    std::atomic<bool> settled = false;

    bool claim() { return !settled.exchange(true); }
    void fail(std::exception_ptr error) {
        if (claim()) {
            promise.setException(std::move(error));
            promise.finish();
        }
    }
};

// Hands the outcome of `call` to the chain: true when the chain is done with it, false with the failure in
// `error` when the call failed.
template <typename T> bool settle(Chain<T>& chain, QFuture<T>& call, std::exception_ptr& error) {
    if (chain.promise.isCanceled()) {
        if (chain.claim()) {
            chain.promise.finish();
        }
        return true;
    }
    try {
        T result = call.result();
        if (chain.claim()) {
            chain.promise.addResult(std::move(result));
            chain.promise.finish();
        }
        return true;
    } catch (...) {
        error = std::current_exception();
        return false;
    }
}

template <typename T>
QFuture<T> withFallback(std::function<QFuture<T>()> first, std::function<QFuture<T>()> second) {
    auto chain = std::make_shared<Chain<T>>();
    chain->promise.start();
    QFuture<T> future = chain->promise.future();
    QObject* const gui = QCoreApplication::instance();
    // The call running now, for a stop to cancel. Only the watcher below owns it; the calls' continuations
    // see it weakly, so no call keeps itself alive. Touched on the GUI thread only.
    auto running = std::make_shared<QFuture<T>>();

    const auto fail = [chain](std::exception_ptr error) { chain->fail(std::move(error)); };
    const auto startSecond = [chain, second, fail, weak = std::weak_ptr<QFuture<T>>(running)] {
        if (chain->promise.isCanceled()) {
            if (chain->claim()) {
                chain->promise.finish();
            }
            return;
        }
        QFuture<T> call = second();
        if (const std::shared_ptr<QFuture<T>> current = weak.lock()) {
            *current = call;
        }
        call.then(QtFuture::Launch::Sync, [chain, fail](QFuture<T> done) {
            std::exception_ptr error;
            if (!settle(*chain, done, error)) {
                fail(isNotInstalled(error) ? chain->firstError : error);
            }
        });
    };

    *running = first();
    running->then(QtFuture::Launch::Sync, [chain, gui, startSecond, fail](QFuture<T> call) {
        std::exception_ptr error;
        if (settle(*chain, call, error)) {
            return;
        }
        if (isDailyCap(error)) {
            fail(error); // a used-up day is final: the local program is not asked either
            return;
        }
        chain->firstError = error;
        QMetaObject::invokeMethod(gui, startSecond, Qt::QueuedConnection);
    });

    // A stop cancels the outer future, and with it the call running then. A cancelled call reports nothing
    // more, so the chain ends here. (A failure reports itself as cancelled too; by then the chain is
    // settled.)
    auto* watcher = new QFutureWatcher<T>;
    QObject::connect(watcher, &QFutureWatcherBase::canceled, watcher, [chain, running] {
        if (chain->claim()) {
            running->cancel();
            chain->promise.finish();
        }
    });
    QObject::connect(watcher, &QFutureWatcherBase::finished, watcher, &QObject::deleteLater);
    watcher->setFuture(future);
    return future;
}

} // namespace

std::string failureText(const std::exception_ptr& error) {
    try {
        std::rethrow_exception(error);
    } catch (const AIError& failure) {
        return failure.message().toStdString();
    } catch (const ClaudeCLI::CLIError& failure) {
        return failure.message().toStdString();
    } catch (const dovrel::Agent::StreamError& failure) {
        return failure.message();
    } catch (const nlohmann::json::exception&) {
        return "The data couldn\u2019t be read because it isn\u2019t in the correct format.";
    } catch (const std::exception& failure) {
        return failure.what();
    } catch (...) {
        return "Something went wrong.";
    }
}

bool isDailyCap(const std::exception_ptr& error) {
    try {
        std::rethrow_exception(error);
    } catch (const AIError& failure) {
        return failure.errorCase() == AIError::Case::dailyCap;
    } catch (...) {
        return false;
    }
}

FallbackProvider::FallbackProvider(std::shared_ptr<AIProvider> relay, std::shared_ptr<AIProvider> local)
    : relay_(std::move(relay))
    , local_(std::move(local)) {}

bool FallbackProvider::detect() {
    return relay_->detect() || local_->detect();
}

QFuture<QString> FallbackProvider::run(const QString& prompt, int maxTokens) {
    if (!RelayConfig::isConfigured()) {
        return local_->run(prompt, maxTokens);
    }
    return withFallback<QString>(
        [relay = relay_, prompt, maxTokens] { return relay->run(prompt, maxTokens); },
        [local = local_, prompt, maxTokens] { return local->run(prompt, maxTokens); });
}

QFuture<std::vector<dovrel::Agent::Block>> FallbackProvider::chat(const ChatRound& round,
                                                                  DeltaHandler onDelta) {
    if (!RelayConfig::isConfigured()) {
        return local_->chat(round, std::move(onDelta));
    }
    using Blocks = std::vector<dovrel::Agent::Block>;
    return withFallback<Blocks>([relay = relay_, round, onDelta] { return relay->chat(round, onDelta); },
                                [local = local_, round, onDelta] { return local->chat(round, onDelta); });
}

std::shared_ptr<AIProvider> makeDefaultProvider(QNetworkAccessManager* network) {
    return std::make_shared<FallbackProvider>(std::make_shared<RelayProvider>(network),
                                              std::make_shared<ClaudeCLI::Provider>());
}

} // namespace murmora
