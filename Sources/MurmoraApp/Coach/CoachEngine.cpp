// The coach's turn: the provider calls and tool rounds, the paced stream, sessions, memory and rewrites.
#include "Coach/CoachEngine.h"

#include "AI/AI.h"
#include "AI/AIError.h"
#include "AI/ClaudeCLI.h"
#include "AI/RelayConfig.h"
#include "Coach/AgentTools.h"
#include "Coach/CoachMemory.h"
#include "Coach/CoachPrompt.h"
#include "Foundation/UUID.h"
#include "Foundation/Unicode.h"

#include <QCoreApplication>
#include <QFuture>
#include <algorithm>
#include <cmath>
#include <iterator>
#include <nlohmann/json.hpp>

namespace murmora {

using dovrel::CoachMessage;
using dovrel::Agent::Block;
using dovrel::Agent::ChatMessage;

struct CoachEngine::Turn {
    QPointer<AppState> state; // the state the turn began over
    std::string key;
    std::optional<dovrel::PersonInsights> person;
    std::string system;
    std::vector<ChatMessage> messages; // grows with each tool round, and dies with the turn
    int round = 0;
    std::vector<std::string> sources;
    bool cancelled = false;
    QFuture<std::vector<Block>> relayCall; // cancelled by stop() to abort the request
    std::exception_ptr relayError;         // shown when the program that stands in is not there either
};

namespace {

constexpr int relayMaxTokens = 16000;
constexpr int memoryMaxTokens = 300;
constexpr int summaryMaxTokens = 100;
constexpr int tweakMaxTokens = 200;
constexpr std::size_t recentTurnsForMemory = 6;
constexpr std::size_t turnsForSummary = 20;
constexpr std::size_t longestSummary = 300; // characters; a note this long is no note
constexpr std::size_t longestRewrite = 999;
constexpr std::size_t turnsToArchive = 4;
constexpr std::size_t turnsToSummarizeOnNewChat = 2;
constexpr int paceMs = 33;
constexpr int idleMs = 120;

const std::string userLabel = "Me";
const std::string coachLabel = "Coach";
const std::string emptyAnswer = "\u2026";

// What the user is told about a failed call.
std::string describe(const std::exception_ptr& error) {
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

bool isNotInstalled(const std::exception_ptr& error) {
    try {
        std::rethrow_exception(error);
    } catch (const ClaudeCLI::CLIError& failure) {
        return failure.errorCase() == ClaudeCLI::CLIError::Case::notInstalled;
    } catch (...) {
        return false;
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

// The outcome of a finished future: its one result, or its exception. Must not be asked of a future that was
// cancelled without a failure.
template <typename T> std::pair<T, std::exception_ptr> outcome(QFuture<T>& future) {
    try {
        return {future.result(), nullptr};
    } catch (...) {
        return {T{}, std::current_exception()};
    }
}

// Runs `step` on the GUI thread with the engine, unless the engine is gone by then. Futures finish on any
// thread, so their continuations never touch the engine themselves.
template <typename Step> void onEngine(QPointer<CoachEngine> engine, Step step) {
    QMetaObject::invokeMethod(
        QCoreApplication::instance(),
        [engine, step = std::move(step)]() mutable {
            if (engine) {
                step(*engine);
            }
        },
        Qt::QueuedConnection);
}

bool isNote(const CoachMessage& message) {
    return message.role == CoachMessage::Role::note;
}

std::vector<CoachMessage> withoutNotes(const std::vector<CoachMessage>& messages) {
    std::vector<CoachMessage> kept;
    std::copy_if(messages.begin(), messages.end(), std::back_inserter(kept),
                 [](const CoachMessage& message) { return !isNote(message); });
    return kept;
}

// The last `count` turns as "[Me] …" and "[Coach] …" lines.
std::string labelledLines(const std::vector<CoachMessage>& turns, std::size_t count) {
    std::string lines;
    const std::size_t first = turns.size() > count ? turns.size() - count : 0;
    for (std::size_t i = first; i < turns.size(); ++i) {
        if (!lines.empty()) {
            lines += '\n';
        }
        lines += turns[i].role == CoachMessage::Role::user ? "[Me] " : "[Coach] ";
        lines += turns[i].text;
    }
    return lines;
}

// The first `count` user-perceived characters of `text`, in bytes.
std::size_t prefixBytes(std::string_view text, std::size_t count) {
    std::size_t bytes = 0;
    std::size_t taken = 0;
    dovrel::unicode::forEachGrapheme(text, [&](std::string_view grapheme) {
        if (taken < count) {
            bytes += grapheme.size();
            ++taken;
        }
    });
    return bytes;
}

std::string replacingAll(std::string text, const std::string& from, const std::string& to) {
    std::size_t at = 0;
    while ((at = text.find(from, at)) != std::string::npos) {
        text.replace(at, from.size(), to);
        at += to.size();
    }
    return text;
}

std::string truncatedNumber(double value) {
    return std::to_string(static_cast<long long>(std::trunc(std::clamp(value, -1e15, 1e15))));
}

} // namespace

CoachEngine::CoachEngine(QObject* parent)
    : QObject(parent) {
    drainTimer_.setSingleShot(true);
    connect(&drainTimer_, &QTimer::timeout, this, &CoachEngine::drainStep);
}

CoachEngine::~CoachEngine() {
    if (turn_) {
        turn_->cancelled = true;
        turn_->relayCall.cancel();
    }
}

dovrel::Date CoachEngine::currentDate() const {
    const AppState* state = state_.data();
    return state != nullptr ? state->environment().now.value_or(dovrel::Date::now()) : dovrel::Date::now();
}

std::vector<CoachMessage> CoachEngine::transcript(const std::string& key) const {
    const AppState* state = state_.data();
    if (state == nullptr) {
        return {};
    }
    return state->coachStore()->transcript(key);
}

std::vector<dovrel::MemoryEntry> CoachEngine::memory(const std::string& key) const {
    const AppState* state = state_.data();
    if (state == nullptr) {
        return {};
    }
    return state->coachStore()->memory(key);
}

void CoachEngine::append(CoachMessage message, const std::string& key) {
    AppState* state = state_.data();
    if (state == nullptr) {
        return;
    }
    message.date = currentDate();
    state->coachStore()->append(key, std::move(message));
    state->saveArtifacts();
}

// ---- Sending and the turn ---------------------------------------------------------------------------------

void CoachEngine::send(const std::string& text, const std::optional<dovrel::PersonInsights>& person) {
    AppState* state = state_.data();
    if (state == nullptr || thinking_) {
        return;
    }
    const std::string key = person ? person->handleID : std::string();
    archiveIfStale(key);
    if (person && transcript(key).empty()) {
        append(CoachMessage::make(CoachMessage::Role::note,
                                  "Reading your last 100 messages with " +
                                      state->name(person->handleID, person->displayName) +
                                      " \u2014 sent securely to Claude, never stored."),
               key);
    }
    append(CoachMessage::make(CoachMessage::Role::user, text), key);
    runTurn(key, person);
}

void CoachEngine::send(const QString& text, const QString& handle) {
    send(text.toStdString(), personWithHandle(handle));
}

std::optional<dovrel::PersonInsights> CoachEngine::personWithHandle(const QString& handle) const {
    const AppState* state = state_.data();
    if (state == nullptr || handle.isEmpty()) {
        return std::nullopt;
    }
    const std::string wanted = handle.toStdString();
    for (const dovrel::PersonInsights& person : state->people()) {
        if (person.handleID == wanted) {
            return person;
        }
    }
    return std::nullopt;
}

void CoachEngine::runTurn(const std::string& key, const std::optional<dovrel::PersonInsights>& person) {
    setThinking(true);
    setErrorText(std::nullopt);
    setCapHit(false);
    setToolStatus(std::nullopt);
    setStreamText({});

    auto turn = std::make_shared<Turn>();
    turn->state = state_;
    turn->key = key;
    turn->person = person;
    turn_ = turn;
    QMetaObject::invokeMethod(
        this,
        [this, turn] {
            if (isCurrent(turn)) {
                turnBody(turn);
            }
        },
        Qt::QueuedConnection);
}

bool CoachEngine::isCurrent(const std::shared_ptr<Turn>& turn) const {
    return !turn->cancelled && turn_ == turn;
}

void CoachEngine::turnBody(const std::shared_ptr<Turn>& turn) {
    if (state_.isNull()) {
        return; // the screen is gone with its state; nothing is left to show
    }
    std::vector<CoachMessage> turns = withoutNotes(transcript(turn->key));
    if (turns.size() > historyTurns) {
        turns.erase(turns.begin(), turns.end() - static_cast<std::ptrdiff_t>(historyTurns));
    }
    std::vector<dovrel::CoachPrompt::Turn> history;
    history.reserve(turns.size());
    for (const CoachMessage& message : turns) {
        history.push_back({message.role == CoachMessage::Role::user ? dovrel::CoachPrompt::Turn::Role::user
                                                                    : dovrel::CoachPrompt::Turn::Role::coach,
                           message.text});
    }
    turn->messages = dovrel::CoachPrompt::messages(history);

    std::optional<std::string> system = buildSystem(turn->person);
    if (!system) {
        turn_.reset();
        setThinking(false);
        return;
    }
    turn->system = std::move(*system);
    callProvider(turn);
}

void CoachEngine::callProvider(const std::shared_ptr<Turn>& turn) {
    turn->relayError = nullptr;
    if (!RelayConfig::isConfigured()) {
        callClaude(turn);
        return;
    }
    const QPointer<CoachEngine> self(this);
    // Each piece takes its own step on the GUI thread, behind the pieces before it and ahead of the answer.
    AI::DeltaHandler onDelta = [self, turn](const QString& piece) {
        onEngine(self, [turn, text = piece.toStdString()](CoachEngine& engine) {
            if (engine.isCurrent(turn) && engine.thinking_) {
                engine.enqueueDelta(text);
            }
        });
    };
    turn->relayCall = AI::chatViaRelay(turn->system, turn->messages, dovrel::AgentTools::defs(),
                                       relayMaxTokens, std::move(onDelta));
    turn->relayCall.then(QtFuture::Launch::Sync, [self, turn](QFuture<std::vector<Block>> call) {
        if (turn->cancelled) {
            return;
        }
        auto [blocks, error] = outcome(call);
        onEngine(self, [turn, reply = Reply{std::move(blocks), error}](CoachEngine& engine) mutable {
            engine.relayAnswered(turn, std::move(reply));
        });
    });
}

bool CoachEngine::stateLost(const std::shared_ptr<Turn>& turn) {
    if (turn->state && turn->state == state_) {
        return false;
    }
    // The screen went with its state: nothing is left to show or store, and no more calls are made. A state
    // swapped for another one gets none of this turn's messages.
    turn_.reset();
    if (state_) {
        setThinking(false);
    }
    return true;
}

void CoachEngine::relayAnswered(const std::shared_ptr<Turn>& turn, Reply reply) {
    if (!isCurrent(turn) || stateLost(turn)) {
        return;
    }
    if (!reply.error) {
        continueTurn(turn, std::move(reply.blocks));
        return;
    }
    if (isDailyCap(reply.error)) {
        failTurn(reply.error); // a used-up day is final
        return;
    }
    // Any other failure is answered by the local program; when there is none, the relay's failure is shown.
    turn->relayError = reply.error;
    callClaude(turn);
}

void CoachEngine::callClaude(const std::shared_ptr<Turn>& turn) {
    std::string system = turn->system;
    if (system.find(dovrel::AgentTools::fenceOpener) == std::string::npos) {
        system += "\n\n";
        system += dovrel::AgentTools::instructions();
    }
    const std::string prompt = dovrel::Agent::flatten(system, turn->messages, userLabel, coachLabel);
    const QPointer<CoachEngine> self(this);
    ClaudeCLI::run(QString::fromStdString(prompt))
        .then(QtFuture::Launch::Sync, [self, turn](QFuture<QString> run) {
            auto [text, error] = outcome(run);
            Reply reply;
            reply.error = error;
            if (!error) {
                reply.blocks = dovrel::Agent::parseFlatResponse(text.toStdString(), turn->round);
            }
            onEngine(self, [turn, reply = std::move(reply)](CoachEngine& engine) mutable {
                engine.claudeAnswered(turn, std::move(reply));
            });
        });
}

void CoachEngine::claudeAnswered(const std::shared_ptr<Turn>& turn, Reply reply) {
    if (!isCurrent(turn) || stateLost(turn)) {
        return;
    }
    if (reply.error) {
        failTurn(turn->relayError && isNotInstalled(reply.error) ? turn->relayError : reply.error);
        return;
    }
    // The program does not stream: its whole text is paced out as if it had.
    if (!reply.blocks.empty()) {
        if (const Block::Text* text = reply.blocks.front().asText(); text != nullptr && thinking_) {
            enqueueDelta(text->text);
        }
    }
    continueTurn(turn, std::move(reply.blocks));
}

void CoachEngine::continueTurn(const std::shared_ptr<Turn>& turn, std::vector<Block> blocks) {
    std::vector<const dovrel::Agent::ToolUse*> uses;
    for (const Block& block : blocks) {
        if (const dovrel::Agent::ToolUse* use = block.asToolUse()) {
            uses.push_back(use);
        }
    }

    if (!uses.empty() && turn->round != lastRound) {
        std::vector<Block> results;
        for (const dovrel::Agent::ToolUse* use : uses) {
            ToolOutput output = execute(*use, turn->person);
            turn->sources.push_back(output.status);
            setToolStatus(output.status);
            emit toolRan(QString::fromStdString(output.status));
            results.push_back(Block::toolResult(use->id, std::move(output.result)));
            if (!isCurrent(turn)) {
                return; // stopped by someone who watched the tool run
            }
        }
        // The model's text ahead of its calls was a preamble; the answer comes after the results.
        flushStream(true);
        turn->messages.push_back(ChatMessage{ChatMessage::Role::assistant, std::move(blocks)});
        turn->messages.push_back(ChatMessage{ChatMessage::Role::user, std::move(results)});
        ++turn->round;
        callProvider(turn);
        return;
    }

    flushStream(true);
    std::string text;
    for (const Block& block : blocks) {
        if (const Block::Text* piece = block.asText()) {
            if (!text.empty()) {
                text += '\n';
            }
            text += piece->text;
        }
    }
    text = std::string(dovrel::unicode::trimmed(text));
    if (text.empty()) {
        text = emptyAnswer;
    }
    std::optional<std::vector<std::string>> sources;
    if (!turn->sources.empty()) {
        sources = std::move(turn->sources);
    }
    turn_.reset();
    append(CoachMessage::make(CoachMessage::Role::coach, std::move(text), std::nullopt, std::move(sources)),
           turn->key);
    setToolStatus(std::nullopt);
    setThinking(false);
    updateMemory(turn->key);
}

void CoachEngine::failTurn(std::exception_ptr error) {
    turn_.reset();
    if (isDailyCap(error)) {
        setCapHit(true);
    } else {
        setErrorText(describe(error));
    }
    flushStream(true);
    setToolStatus(std::nullopt);
    setThinking(false);
}

void CoachEngine::stop() {
    if (turn_) {
        turn_->cancelled = true;
        turn_->relayCall.cancel();
        turn_.reset();
    }
    drainTimer_.stop();
    draining_ = false;
    drainWaited_ = false;
    pendingStream_.clear();
    setThinking(false);
    setStreamText({});
    setToolStatus(std::nullopt);
}

// ---- The paced stream -------------------------------------------------------------------------------------

void CoachEngine::enqueueDelta(const std::string& piece) {
    pendingStream_ += piece;
    if (!draining_) {
        draining_ = true;
        drainWaited_ = false;
        drainTimer_.start(0);
    }
}

// One pass of the drain: an eighth of what waits (at least one character), then a pause; when nothing
// waits, one longer pause before it ends. A big backlog thus drains quickly and the tail slows down.
void CoachEngine::drainStep() {
    if (pendingStream_.empty()) {
        if (!drainWaited_) {
            drainWaited_ = true;
            drainTimer_.start(idleMs);
        } else {
            draining_ = false;
            drainWaited_ = false;
        }
        return;
    }
    drainWaited_ = false;
    const std::size_t waiting = dovrel::unicode::graphemeCount(pendingStream_);
    const std::size_t bytes = prefixBytes(pendingStream_, std::max<std::size_t>(1, waiting / 8));
    std::string taken = pendingStream_.substr(0, bytes);
    pendingStream_.erase(0, bytes);
    if (thinking_) {
        setStreamText(streamText_ + taken);
    }
    drainTimer_.start(paceMs);
}

void CoachEngine::flushStream(bool discard) {
    drainTimer_.stop();
    draining_ = false;
    drainWaited_ = false;
    if (discard) {
        pendingStream_.clear();
        setStreamText({});
        return;
    }
    if (thinking_) {
        setStreamText(streamText_ + pendingStream_);
    }
    pendingStream_.clear();
}

// ---- Sessions and memory ----------------------------------------------------------------------------------

void CoachEngine::beginBackgroundWork() {
    ++backgroundWork_;
    emit backgroundWorkChanged();
}

void CoachEngine::endBackgroundWork() {
    --backgroundWork_;
    emit backgroundWorkChanged();
}

void CoachEngine::archiveIfStale(const std::string& key) {
    AppState* state = state_.data();
    if (state == nullptr || thinking_) {
        return;
    }
    const std::vector<CoachMessage> messages = transcript(key);
    if (messages.empty()) {
        return;
    }
    const std::optional<dovrel::Date>& last = messages.back().date;
    if (last && currentDate() - *last <= staleSeconds) {
        return;
    }
    const std::vector<CoachMessage> turns = withoutNotes(messages);
    if (turns.size() >= turnsToArchive) {
        summarizeIntoMemory(turns, key);
    }
    state->coachStore()->setTranscript(key, {});
    state->saveArtifacts();
}

void CoachEngine::startFreshSession(const std::string& key) {
    AppState* state = state_.data();
    if (state == nullptr) {
        return;
    }
    stop();
    const std::vector<CoachMessage> turns = withoutNotes(transcript(key));
    if (turns.size() >= turnsToSummarizeOnNewChat) {
        summarizeIntoMemory(turns, key);
    }
    state->coachStore()->setTranscript(key, {});
    state->saveArtifacts();
}

void CoachEngine::summarizeIntoMemory(const std::vector<CoachMessage>& turns, const std::string& key) {
    const std::string prompt =
        dovrel::CoachMemory::sessionSummaryPrompt(labelledLines(turns, turnsForSummary));
    const QPointer<CoachEngine> self(this);
    beginBackgroundWork();
    AI::run(QString::fromStdString(prompt), summaryMaxTokens)
        .then(QtFuture::Launch::Sync, [self, key](QFuture<QString> run) {
            auto [reply, error] = outcome(run);
            onEngine(self, [key, reply, error](CoachEngine& engine) {
                engine.endBackgroundWork();
                AppState* state = engine.state_.data();
                if (error || state == nullptr) {
                    return;
                }
                const std::string note(dovrel::unicode::trimmed(reply.toStdString()));
                if (note.empty() || dovrel::unicode::graphemeCount(note) >= longestSummary) {
                    return;
                }
                std::vector<dovrel::MemoryEntry> entries = engine.memory(key);
                entries.push_back(dovrel::MemoryEntry{dovrel::makeUUID(), dovrel::MemoryEntry::Kind::session,
                                                      note, engine.currentDate(), false});
                state->coachStore()->setMemory(key, dovrel::CoachMemory::trimmed(std::move(entries)));
                state->saveArtifacts();
            });
        });
}

void CoachEngine::updateMemory(const std::string& key) {
    if (state_.isNull()) {
        return;
    }
    const std::vector<CoachMessage> messages = transcript(key);
    const auto userMessages =
        std::count_if(messages.begin(), messages.end(),
                      [](const CoachMessage& message) { return message.role == CoachMessage::Role::user; });
    // After the first exchange of a session, and every third one from there.
    if (userMessages % 3 != 1) {
        return;
    }
    const std::string prompt = dovrel::CoachMemory::extractionPrompt(
        memory(key), labelledLines(withoutNotes(messages), recentTurnsForMemory));
    const QPointer<CoachEngine> self(this);
    beginBackgroundWork();
    AI::run(QString::fromStdString(prompt), memoryMaxTokens)
        .then(QtFuture::Launch::Sync, [self, key](QFuture<QString> run) {
            auto [reply, error] = outcome(run);
            onEngine(self, [key, reply, error](CoachEngine& engine) {
                engine.endBackgroundWork();
                AppState* target = engine.state_.data();
                if (error || target == nullptr) {
                    return;
                }
                const std::vector<dovrel::CoachMemory::Op> ops =
                    dovrel::CoachMemory::parseOps(reply.toStdString());
                if (ops.empty()) {
                    return;
                }
                // Read again: a session note may have arrived while the model thought, and refs resolve
                // against the list as it is now.
                target->coachStore()->setMemory(
                    key, dovrel::CoachMemory::apply(ops, engine.memory(key), engine.currentDate()));
                target->saveArtifacts();
            });
        });
}

// ---- Rewriting a draft ------------------------------------------------------------------------------------

void CoachEngine::tweak(const std::string& draft, const std::string& style, const std::string& messageID,
                        const std::string& key, const std::optional<dovrel::PersonInsights>& person) {
    if (state_.isNull() || tweakingDraft_) {
        return;
    }
    setTweakingDraft(draft);

    std::vector<std::string> facts;
    if (person) {
        if (person->report.myAverageLength) {
            facts.push_back("my average message is " + truncatedNumber(*person->report.myAverageLength) +
                            " characters");
        }
        if (person->report.myEmojiRate) {
            facts.push_back(truncatedNumber(*person->report.myEmojiRate * 100.0) +
                            "% of my messages use emoji");
        }
    }
    std::string calibration;
    if (!facts.empty()) {
        calibration = "For calibration: " + facts.front();
        for (std::size_t i = 1; i < facts.size(); ++i) {
            calibration += ", " + facts[i];
        }
        calibration += ".";
    }
    const std::string prompt = "Rewrite this text message to be " + style +
                               ", while still sounding like me \u2014 casual texting voice, no sign-offs. " +
                               calibration + "\nReply with ONLY the rewritten message, nothing else.\n\n" +
                               draft;

    const QPointer<CoachEngine> self(this);
    beginBackgroundWork();
    AI::run(QString::fromStdString(prompt), tweakMaxTokens)
        .then(QtFuture::Launch::Sync, [self, draft, messageID, key](QFuture<QString> run) {
            auto [reply, error] = outcome(run);
            onEngine(self, [draft, messageID, key, reply, error](CoachEngine& engine) {
                engine.endBackgroundWork();
                if (!error) {
                    engine.storeRewrite(draft, reply.toStdString(), messageID, key);
                }
                engine.setTweakingDraft(std::nullopt);
            });
        });
}

void CoachEngine::storeRewrite(const std::string& draft, const std::string& reply,
                               const std::string& messageID, const std::string& key) {
    AppState* state = state_.data();
    const std::string rewrite(dovrel::unicode::trimmed(reply));
    if (state == nullptr || rewrite.empty() || dovrel::unicode::graphemeCount(rewrite) > longestRewrite) {
        return;
    }
    std::vector<CoachMessage> messages = transcript(key);
    const auto target = std::find_if(messages.begin(), messages.end(),
                                     [&](const CoachMessage& message) { return message.id == messageID; });
    if (target == messages.end() || draft.empty() || target->text.find(draft) == std::string::npos) {
        return;
    }
    target->text = replacingAll(std::move(target->text), draft, rewrite);
    state->coachStore()->setTranscript(key, std::move(messages));
    state->saveArtifacts();
}

void CoachEngine::tweak(const QString& draft, const QString& style, const QString& messageID,
                        const QString& key, const QString& handle) {
    tweak(draft.toStdString(), style.toStdString(), messageID.toStdString(), key.toStdString(),
          personWithHandle(handle));
}

} // namespace murmora
