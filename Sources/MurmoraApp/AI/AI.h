#pragma once

#include "Coach/Agent.h"

#include <QFuture>
#include <QString>
#include <functional>
#include <string>
#include <vector>

// Where the program gets text from a model: the relay, or the `claude` program the user installed. One-shot
// prompts go through `run`, which picks the provider; the coach streams through `chatViaRelay`.
//
// Both calls are asynchronous and must be made on a thread with a running event loop (the GUI thread): the
// network reply lives on that thread and reports there. Failures arrive as exceptions in the future:
// AIError, ClaudeCLI::CLIError, ClaudeCLI::LaunchError, nlohmann::json::exception (an answer of the relay
// that does not decode) and dovrel::Agent::StreamError (an error event in the relay's stream). In Qt 6.4 a
// future that failed also reports isCanceled(); tell a user's stop apart by your own bookkeeping.
namespace murmora::AI {

// True when the relay is configured, or else when a `claude` program is found. Asks afresh at every call,
// and may block for as long as `which` runs.
bool available();

// One prompt, one answer. Without a relay the `claude` program answers (the token limit means nothing
// there). With one, the relay answers; when it fails for any reason but the daily cap and a `claude`
// program is there, the program answers instead and the relay's failure is forgotten. Nothing is retried.
QFuture<QString> run(const QString& prompt, int maxTokens);

// Called with each piece of visible text as the relay streams it, on the thread that called chatViaRelay.
using DeltaHandler = std::function<void(const QString& piece)>;

// One round of the coach through the relay's streaming route: the conversation, the tools the model may
// call, and the token limit. The future holds the model's content blocks in order of arrival; `onDelta`
// sees each text piece before the future finishes. Fails with AIError (dailyCap on 429, relayFailed on
// another status than 200, unreachable when the relay cannot be reached or the connection breaks off),
// Agent::StreamError, or the serialisation error of a body that cannot be written. There is no fall-back to
// `claude` here. Cancelling the future aborts the request at once; it then holds neither blocks nor an
// exception, and `onDelta` is not called again.
QFuture<std::vector<dovrel::Agent::Block>>
chatViaRelay(const std::string& system, const std::vector<dovrel::Agent::ChatMessage>& messages,
             const std::vector<dovrel::Agent::ToolDef>& tools, int maxTokens, DeltaHandler onDelta = {});

} // namespace murmora::AI
