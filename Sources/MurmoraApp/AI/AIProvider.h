#pragma once

#include "Coach/Agent.h"

#include <QFuture>
#include <QString>
#include <exception>
#include <functional>
#include <memory>
#include <string>
#include <vector>

class QNetworkAccessManager;

namespace murmora {

// Called with each piece of visible text as a model streams it. It may be called on any thread; callers hop
// to their own.
using DeltaHandler = std::function<void(const QString& piece)>;

// One round of the coach's conversation as a provider receives it.
struct ChatRound {
    std::string system;
    std::vector<dovrel::Agent::ChatMessage> messages;
    std::vector<dovrel::Agent::ToolDef> tools;
    int maxTokens = 0;
    // The round of the turn, from 0; a provider without native tools numbers its calls' ids with it.
    int round = 0;
};

// Where text from a model comes from. Calls are made on the GUI thread; their futures may finish on any
// thread, and fail with the provider's own errors (AIError, ClaudeCLI::CLIError, ClaudeCLI::LaunchError,
// RelayStreamError, dovrel::Agent::StreamError, nlohmann::json::exception). Cancelling a future stops the
// work behind it where it can; it then holds neither a result nor a failure.
class AIProvider {
public:
    virtual ~AIProvider() = default;

    // Whether a call can be answered at all. May block (it may start a process): never call it on the GUI
    // thread.
    virtual bool detect() = 0;
    // One prompt, one answer, for all one-shot work.
    virtual QFuture<QString> run(const QString& prompt, int maxTokens) = 0;
    // One round of the coach: the model's content blocks in order of arrival. `onDelta` sees text as it
    // comes, before the future finishes.
    virtual QFuture<std::vector<dovrel::Agent::Block>> chat(const ChatRound& round, DeltaHandler onDelta) = 0;
};

// The relay when the build has one, and on any of its failures but the daily cap the `claude` program,
// whose failure to be found leaves the relay's failure standing. Without a relay, the program alone.
class FallbackProvider : public AIProvider {
public:
    FallbackProvider(std::shared_ptr<AIProvider> relay, std::shared_ptr<AIProvider> local);

    bool detect() override;
    QFuture<QString> run(const QString& prompt, int maxTokens) override;
    QFuture<std::vector<dovrel::Agent::Block>> chat(const ChatRound& round, DeltaHandler onDelta) override;

private:
    std::shared_ptr<AIProvider> relay_;
    std::shared_ptr<AIProvider> local_;
};

// What the user is told about a failed call: the error's own message.
std::string failureText(const std::exception_ptr& error);
// The relay said the day's free calls are used up; screens show their own note for it.
bool isDailyCap(const std::exception_ptr& error);

// The application's provider: the relay over `network` (which must outlive it), falling back to the `claude`
// program found in the usual places.
std::shared_ptr<AIProvider> makeDefaultProvider(QNetworkAccessManager* network);

} // namespace murmora
