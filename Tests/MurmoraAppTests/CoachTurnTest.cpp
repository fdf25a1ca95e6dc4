// Whole coach turns over a demo home, against a real relay on 127.0.0.1 and real `claude` programs.
// moc of Qt 6.4 cannot parse the C++20 standard headers behind the core; the test class needs none of them.
#ifndef Q_MOC_RUN
#include "AI/AIError.h"
#include "Coach/AgentTools.h"
#include "Coach/CoachEngine.h"
#include "CompareJson.h"
#include "LocalHttpServer.h"
#include "RelayEvents.h"
#include "ScriptedClaude.h"
#include "State/AppState.h"
#include "State/Store.h"
#include "TestHome.h"

#include <nlohmann/json.hpp>
#endif

#include <QDir>
#include <QFileInfo>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTest>

using namespace murmora;
using namespace relayevents;
using dovrel::CoachMessage;
using dovrel::Agent::Block;
using dovrel::Agent::ChatMessage;
using dovrel::Agent::ToolUse;
using Json = nlohmann::json;
using Response = LocalHttpServer::Response;

namespace {

const QByteArray memoryOps = R"({"ops":[{"op":"add","kind":"goal","text":"Reply to Sam within a day"}]})";

// A relay answer with an optional text block, then tool calls, ending in "tool_use".
Response toolRound(const QByteArray& text, const QList<QList<QByteArray>>& uses, int delayMs = 0) {
    QList<QByteArray> chunks{messageStart};
    int index = 0;
    if (!text.isEmpty()) {
        chunks.append(blockStart(index, R"({"type":"text","text":""})") + textDelta(index, text) +
                      blockStop(index));
        ++index;
    }
    QByteArray calls;
    for (const QList<QByteArray>& use : uses) {
        calls += toolUse(index++, use.at(0), use.at(1), use.at(2));
    }
    chunks.append(calls + messageDelta("tool_use") + messageStop);
    return Response::events(chunks, delayMs);
}

Json body(const LocalHttpServer::Request& request) {
    return Json::parse(request.body.toStdString());
}

int countTo(const LocalHttpServer& server, const QByteArray& path);

QList<LocalHttpServer::Request> requestsTo(const LocalHttpServer& server, const QByteArray& path) {
    QList<LocalHttpServer::Request> found;
    for (const LocalHttpServer::Request& request : server.requests()) {
        if (request.path == path) {
            found.append(request);
        }
    }
    return found;
}

int countTo(const LocalHttpServer& server, const QByteArray& path) {
    return static_cast<int>(requestsTo(server, path).size());
}

CoachMessage message(CoachMessage::Role role, const std::string& text, dovrel::Date date) {
    return CoachMessage::make(role, text, date);
}

qsizetype occurrences(const QString& text, const QString& part) {
    return text.count(part);
}

} // namespace

class CoachTurnTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() {
        QStandardPaths::setTestModeEnabled(true);
        home_ = std::make_unique<TestHome>();
        home_->generate(5, 2500);
        originalPath_ = qgetenv("PATH");
        qputenv("PATH", "/usr/bin:/bin");
        if (QFileInfo::exists(QStringLiteral("/usr/local/bin/claude")) ||
            QFileInfo::exists(QStringLiteral("/opt/homebrew/bin/claude"))) {
            QSKIP("a claude program is installed system-wide on this machine");
        }
        state_ = std::make_unique<AppState>(nullptr);
        state_->setEnvironment(home_->environment());
        state_->setRevealPause(std::chrono::milliseconds(0));
        QSignalSpy finished(state_.get(), &AppState::runFinished);
        state_->learn(365, true);
        QVERIFY(finished.wait(60000));
        QVERIFY(finished.first().first().toBool());
        QVERIFY(!state_->people().empty());
        // The insights come a moment after the run, and go into every system prompt.
        QTRY_VERIFY_WITH_TIMEOUT(!state_->insights()->proactive().empty(), 10000);
    }

    void cleanupTestCase() {
        state_.reset();
        qputenv("PATH", originalPath_);
    }

    void init() {
        server_ = std::make_unique<LocalHttpServer>();
        server_->setResponse("/v1/ai", Response::json(Json{{"text", R"({"ops":[]})"}}.dump().c_str()));
        useRelay(true);
        QDir(home_->path() + "/claude").removeRecursively();
        QFile::remove(claudePath());
        for (const auto& [key, messages] : state_->coachStore()->coachTranscripts()) {
            state_->coachStore()->setTranscript(key, {});
        }
        for (const auto& [key, entries] : state_->coachStore()->coachMemory()) {
            state_->coachStore()->setMemory(key, {});
        }
        engine_ = std::make_unique<CoachEngine>();
        engine_->setState(state_.get());
    }

    void cleanup() {
        engine_.reset();
        server_.reset();
        qunsetenv("MURMORA_RELAY_URL");
        qunsetenv("MURMORA_RELAY_SECRET");
    }

    // A round that streams a preamble and calls two tools, then a round that answers. The preamble shows
    // while it streams and is never stored; both tools run, and their results go back in one user message
    // after the assistant's blocks, unchanged. The first exchange of a session updates the memory.
    void relayTurnWithTwoToolsInOneRound() {
        const QByteArray search = R"({"terms":"dinner|drinks","limit":5})";
        const QByteArray count = R"({"terms":"haha"})";
        server_->enqueue("/v1/chat",
                         toolRound("Let me look through your texts first.",
                                   {{"toolu_1", "search", search}, {"toolu_2", "count", count}}, 150));
        server_->enqueue("/v1/chat", textStream({"You text ", "about dinner ", "a lot."}, 50));
        server_->setResponse("/v1/ai",
                             Response::json(Json{{"text", memoryOps.toStdString()}}.dump().c_str()));

        QStringList shown;
        connect(engine_.get(), &CoachEngine::streamTextChanged, this,
                [&] { shown.append(QString::fromStdString(engine_->streamText())); });
        QSignalSpy ran(engine_.get(), &CoachEngine::toolRan);
        const std::string system = *engine_->buildSystem(std::nullopt); // before the memory changes
        engine_->send("What do I talk about?", std::nullopt);
        QVERIFY(engine_->thinking());
        waitForTurn();

        QVERIFY(!engine_->errorText());
        QVERIFY(!engine_->toolStatus());
        QCOMPARE(engine_->streamText(), std::string());
        const QString preamble = QStringLiteral("Let me look through your texts first.");
        QVERIFY2(
            std::any_of(shown.begin(), shown.end(),
                        [&](const QString& text) { return !text.isEmpty() && preamble.startsWith(text); }),
            qPrintable(shown.join(QStringLiteral(" | "))));

        const CoachEngine::ToolOutput searched =
            engine_->execute(ToolUse{"x", "search", search.toStdString()}, {});
        const CoachEngine::ToolOutput counted =
            engine_->execute(ToolUse{"y", "count", count.toStdString()}, {});
        QCOMPARE(ran.count(), qsizetype{2});
        const std::vector<CoachMessage>& stored = state_->coachStore()->coachTranscripts().at("");
        QCOMPARE(stored.size(), std::size_t{2});
        QCOMPARE(stored[0].text, std::string("What do I talk about?"));
        QCOMPARE(stored[1].role, CoachMessage::Role::coach);
        QCOMPARE(stored[1].text, std::string("You text about dinner a lot."));
        QCOMPARE(stored[1].sources, std::optional(std::vector<std::string>{searched.status, counted.status}));

        const QList<LocalHttpServer::Request> chats = requestsTo(*server_, "/v1/chat");
        QCOMPARE(chats.size(), 2);
        const Json first = body(chats[0]);
        QCOMPARE(first.at("system").at(0).at("text").get<std::string>(), system);
        QCOMPARE(first.at("max_tokens").get<int>(), 16000);
        QCOMPARE(first.at("tools").size(), std::size_t{11});
        const std::vector<ChatMessage> asked{ChatMessage::user("What do I talk about?")};
        COMPARE_JSON(first.at("messages"), dovrel::Agent::encode(asked));
        const std::vector<ChatMessage> roundTwo{
            asked[0],
            {ChatMessage::Role::assistant,
             {Block::text("Let me look through your texts first."),
              Block::toolUse(ToolUse{"toolu_1", "search", search.toStdString()}),
              Block::toolUse(ToolUse{"toolu_2", "count", count.toStdString()})}},
            {ChatMessage::Role::user,
             {Block::toolResult("toolu_1", searched.result), Block::toolResult("toolu_2", counted.result)}}};
        COMPARE_JSON(body(chats[1]).at("messages"), dovrel::Agent::encode(roundTwo));

        // The memory update asked the relay with this exchange, and its operation is stored.
        const QList<LocalHttpServer::Request> asks = requestsTo(*server_, "/v1/ai");
        QCOMPARE(asks.size(), 1);
        const std::string prompt = body(asks[0]).at("prompt");
        QVERIFY(prompt.find("[Me] What do I talk about?\n[Coach] You text about dinner a lot.") !=
                std::string::npos);
        QCOMPARE(body(asks[0]).at("max_tokens").get<int>(), 300);
        const std::vector<dovrel::MemoryEntry>& memory = state_->coachStore()->coachMemory().at("");
        QCOMPARE(memory.size(), std::size_t{1});
        QCOMPARE(memory[0].text, std::string("Reply to Sam within a day"));

        // What the next start of the app reads back.
        const std::optional<dovrel::Artifacts> saved = Store().readArtifacts();
        QVERIFY(saved && saved->memory);
        QCOMPARE(saved->transcripts.at(""), stored);
        QCOMPARE(saved->memory->at(""), memory);
    }

    // A model that only ever calls tools gets eight calls; the last round's calls are never run and the
    // answer is the mark for nothing said.
    void roundSevenEndsTheTurn() {
        server_->setResponse("/v1/chat", toolRound({}, {{"toolu_n", "overview", "{}"}}));
        engine_->send("Tell me everything", std::nullopt);
        waitForTurn();
        QCOMPARE(countTo(*server_, "/v1/chat"), 8);
        const CoachMessage& answer = state_->coachStore()->coachTranscripts().at("").back();
        QCOMPARE(answer.text, std::string("\u2026"));
        QVERIFY(answer.sources);
        QCOMPARE(answer.sources->size(), std::size_t{7});
    }

    // Without a relay the program answers: a fenced tool block is a call with id "cli-{round}", its result
    // goes back in the next flat prompt, and the tool instructions are in each prompt once.
    void claudeTurnWithAFencedToolCall() {
        useRelay(false);
        installClaude();
        writeClaude("turn-1.reply", "Checking.\n```tool\n{\"tool\":\"count\",\"terms\":\"haha\"}\n```\n");
        writeClaude("turn-2.reply", "  You laugh in most of your chats.  \n");
        writeClaude("memory.reply", memoryOps);

        engine_->send("Do I laugh a lot?", std::nullopt);
        waitForTurn();
        QVERIFY2(!engine_->errorText(), engine_->errorText().value_or("").c_str());
        const CoachEngine::ToolOutput counted =
            engine_->execute(ToolUse{"cli-0", "count", R"({"terms":"haha"})"}, {});
        const CoachMessage& answer = state_->coachStore()->coachTranscripts().at("").back();
        QCOMPARE(answer.text, std::string("You laugh in most of your chats."));
        QCOMPARE(answer.sources, std::optional(std::vector<std::string>{counted.status}));

        const QString first = readClaude("turn-1.prompt");
        const QString second = readClaude("turn-2.prompt");
        const QString instructionsTail = QStringLiteral("Use tools freely (several rounds is fine)");
        QCOMPARE(occurrences(first, instructionsTail), qsizetype{1});
        QCOMPARE(occurrences(second, instructionsTail), qsizetype{1});
        QVERIFY(first.contains(QStringLiteral("[Me] Do I laugh a lot?")));
        QVERIFY(second.contains(QString::fromStdString(counted.result)));
        QVERIFY(!QFileInfo::exists(home_->path() + "/claude/turn-3.prompt"));
        QCOMPARE(server_->requestCount(), 0);

        QTRY_COMPARE_WITH_TIMEOUT(state_->coachStore()->coachMemory().count(""), std::size_t{1}, 10000);
        QVERIFY(readClaude("memory-1.prompt")
                    .contains(QStringLiteral("[Coach] You laugh in most of your chats.")));
    }

    // Relay failures: any but the daily cap hands the turn to the program (with the tool instructions added
    // to a system prompt that lacked them); the cap is final; without a program the failure is shown.
    void relayFailuresAndTheFallBack() {
        installClaude();
        writeClaude("turn.reply", "From the program.");
        server_->setResponse("/v1/chat", Response::json(R"({"error":"boom"})", 500));
        engine_->send("First", std::nullopt);
        waitForTurn();
        QCOMPARE(state_->coachStore()->coachTranscripts().at("").back().text, std::string("From the program."));
        QCOMPARE(occurrences(readClaude("turn-1.prompt"),
                             QStringLiteral("Use tools freely (several rounds is fine)")),
                 qsizetype{1});

        server_->setResponse("/v1/chat", Response::json(R"({"error":"cap"})", 429));
        engine_->send("Second", std::nullopt);
        waitForTurn();
        QVERIFY(engine_->capHit());
        QVERIFY(!engine_->errorText());
        QCOMPARE(readClaude("turn.count").trimmed(), QStringLiteral("1"));
        QCOMPARE(state_->coachStore()->coachTranscripts().at("").back().text, std::string("Second"));

        QFile::remove(claudePath());
        server_->setResponse("/v1/chat", Response::json(R"({"error":"boom"})", 500));
        engine_->send("Third", std::nullopt);
        QVERIFY(!engine_->capHit()); // each turn starts clean
        waitForTurn();
        QCOMPARE(engine_->errorText(),
                 std::optional(AIError::message(AIError::Case::relayFailed).toStdString()));

        server_->setResponse(
            "/v1/chat",
            Response::events(
                {messageStart,
                 sse("error",
                     R"({"type":"error","error":{"type":"overloaded_error","message":"Overloaded"}})")}));
        engine_->send("Fourth", std::nullopt);
        waitForTurn();
        QCOMPARE(engine_->errorText(), std::optional(std::string("Overloaded")));
        // Failed turns store no answer; the user's messages stay.
        const std::vector<CoachMessage>& stored = state_->coachStore()->coachTranscripts().at("");
        QCOMPARE(stored.back().text, std::string("Fourth"));
        QCOMPARE(stored.size(), std::size_t{5});
    }

    // stop() while a tool runs: the running tool finishes, the next call is aborted, nothing is stored, and
    // a late piece of text is dropped. A send during a turn is ignored.
    void stopDuringAToolRound() {
        server_->enqueue("/v1/chat", toolRound({}, {{"toolu_1", "overview", "{}"}}));
        Response slow = textStream({"never ", "shown"}, 800);
        server_->enqueue("/v1/chat", slow);
        connect(engine_.get(), &CoachEngine::toolRan, this,
                [this] { engine_->send("ignored", std::nullopt); });
        engine_->send("Go", std::nullopt);
        QTRY_COMPARE_WITH_TIMEOUT(countTo(*server_, "/v1/chat"), 2, 10000);
        engine_->stop();
        QVERIFY(!engine_->thinking());
        QVERIFY(!engine_->toolStatus());
        QTest::qWait(2500);
        QCOMPARE(engine_->streamText(), std::string());
        const std::vector<CoachMessage>& stored = state_->coachStore()->coachTranscripts().at("");
        QCOMPARE(stored.size(), std::size_t{1});
        QCOMPARE(stored[0].text, std::string("Go"));
        QCOMPARE(countTo(*server_, "/v1/ai"), 0);
    }

    // stop() from inside a tool round: the tool that runs finishes, the round's other call and the next
    // model call never happen, and the turn leaves nothing behind.
    void stopInsideAToolRound() {
        server_->setResponse("/v1/chat",
                             toolRound({}, {{"toolu_1", "overview", "{}"}, {"toolu_2", "overview", "{}"}}));
        QSignalSpy ran(engine_.get(), &CoachEngine::toolRan);
        connect(engine_.get(), &CoachEngine::toolRan, this, [this] { engine_->stop(); });
        engine_->send("Go", std::nullopt);
        QTRY_COMPARE_WITH_TIMEOUT(ran.count(), qsizetype{1}, 10000);
        QTest::qWait(500);
        QCOMPARE(ran.count(), qsizetype{1});
        QVERIFY(!engine_->thinking());
        QVERIFY(!engine_->toolStatus());
        QCOMPARE(countTo(*server_, "/v1/chat"), 1);
        QCOMPARE(state_->coachStore()->coachTranscripts().at("").size(), std::size_t{1});
    }

    // A failed turn stores no answer, but its message counts: the memory update follows the user's
    // messages, not the answers.
    void failedTurnStillCountsForMemory() {
        server_->enqueue("/v1/chat", Response::json(R"({"error":"boom"})", 500));
        server_->setResponse("/v1/chat", textStream({"ok"}, 0));
        engine_->send("One", std::nullopt);
        waitForTurn();
        QVERIFY(engine_->errorText());
        engine_->send("Two", std::nullopt);
        waitForTurn();
        QVERIFY(!engine_->errorText());
        QCOMPARE(countTo(*server_, "/v1/ai"), 0);
        engine_->send("Three", std::nullopt);
        waitForTurn();
        engine_->send("Four", std::nullopt);
        waitForTurn();
        QCOMPARE(countTo(*server_, "/v1/ai"), 1);
    }

    // A person chat: the note opens an empty transcript and never reaches the model; only the last 16 turns
    // do. The memory update runs after the 1st, 4th, 7th… user message.
    void personChatHistoryNoteAndMemoryCadence() {
        const dovrel::PersonInsights person = state_->people().front();
        const dovrel::Date now = *home_->environment()().now;
        server_->setResponse("/v1/chat", textStream({"ok"}, 0));

        engine_->send("Hi", person);
        waitForTurn();
        std::vector<CoachMessage> stored = state_->coachStore()->coachTranscripts().at(person.handleID);
        QCOMPARE(stored.size(), std::size_t{3});
        QCOMPARE(stored[0].role, CoachMessage::Role::note);
        QCOMPARE(stored[0].text, "Reading your last 100 messages with " +
                                     state_->name(person.handleID, person.displayName) +
                                     " \u2014 sent securely to Claude, never stored.");
        QCOMPARE(body(requestsTo(*server_, "/v1/chat").back()).at("messages").size(), std::size_t{1});
        QCOMPARE(countTo(*server_, "/v1/ai"), 1); // after the 1st

        for (const int expectedAsks : {1, 1, 2}) { // after the 2nd, the 3rd, the 4th
            engine_->send("Again", person);
            waitForTurn();
            QCOMPARE(countTo(*server_, "/v1/ai"), expectedAsks);
        }
        stored = state_->coachStore()->coachTranscripts().at(person.handleID);
        QCOMPARE(stored.size(), std::size_t{9});
        QCOMPARE(
            std::count_if(stored.begin(), stored.end(),
                          [](const CoachMessage& each) { return each.role == CoachMessage::Role::note; }),
            std::ptrdiff_t{1});

        // Twenty turns, a note among them: the model gets the last sixteen, the new message last.
        std::vector<CoachMessage> history{message(CoachMessage::Role::note, "a note", now)};
        for (int i = 0; i < 20; ++i) {
            history.push_back(message(i % 2 == 0 ? CoachMessage::Role::user : CoachMessage::Role::coach,
                                      "turn " + std::to_string(i), now));
        }
        state_->coachStore()->setTranscript(person.handleID, history);
        engine_->send("latest", person);
        waitForTurn();
        const Json sent = body(requestsTo(*server_, "/v1/chat").back()).at("messages");
        QCOMPARE(sent.size(), std::size_t{16});
        QCOMPARE(sent.front().at("content").at(0).at("text").get<std::string>(), std::string("turn 5"));
        QCOMPARE(sent.back().at("content").at(0).at("text").get<std::string>(), std::string("latest"));
        QVERIFY(sent.dump().find("a note") == std::string::npos);
    }

    // Six hours of silence close a session: four turns or more are summarized into a session note first.
    // The new-chat action summarizes from two turns. Nothing is closed while a turn runs.
    void sessionsCloseAfterSixHours() {
        const dovrel::PersonInsights person = state_->people().front();
        const dovrel::Date now = *home_->environment()().now;
        const auto turns = [&](int count, double age) {
            std::vector<CoachMessage> messages;
            for (int i = 0; i < count; ++i) {
                messages.push_back(message(i % 2 == 0 ? CoachMessage::Role::user : CoachMessage::Role::coach,
                                           "old " + std::to_string(i), now - age));
            }
            return messages;
        };
        server_->setResponse("/v1/ai", Response::json(R"({"text":"  Worked on replying faster to Sam.  "})"));
        server_->setResponse("/v1/chat", textStream({"fresh"}, 0));

        state_->coachStore()->setTranscript(person.handleID, turns(4, 21601));
        engine_->send("New day", person);
        waitForTurn();
        const std::vector<CoachMessage>& stored = state_->coachStore()->coachTranscripts().at(person.handleID);
        QCOMPARE(stored.size(), std::size_t{3}); // the note, the message, the answer
        QCOMPARE(stored[0].role, CoachMessage::Role::note);
        const QList<LocalHttpServer::Request> asks = requestsTo(*server_, "/v1/ai");
        QVERIFY(asks.size() >= 1);
        const std::string summaryPrompt = body(asks[0]).at("prompt");
        QVERIFY(summaryPrompt.rfind("Summarize this coaching session", 0) == 0);
        QVERIFY(summaryPrompt.find("[Me] old 0\n[Coach] old 1\n[Me] old 2\n[Coach] old 3") !=
                std::string::npos);
        QCOMPARE(body(asks[0]).at("max_tokens").get<int>(), 100);
        const std::vector<dovrel::MemoryEntry>& memory = state_->coachStore()->coachMemory().at(person.handleID);
        QVERIFY(std::any_of(memory.begin(), memory.end(), [](const dovrel::MemoryEntry& entry) {
            return entry.kind == dovrel::MemoryEntry::Kind::session &&
                   entry.text == "Worked on replying faster to Sam.";
        }));

        // Exactly six hours is not stale; three stale turns are cleared without a summary.
        const int asked = server_->requestCount();
        state_->coachStore()->setTranscript(person.handleID, turns(3, 21600));
        engine_->archiveIfStale(person.handleID);
        QCOMPARE(state_->coachStore()->coachTranscripts().at(person.handleID).size(), std::size_t{3});
        state_->coachStore()->setTranscript(person.handleID, turns(3, 21601));
        engine_->archiveIfStale(person.handleID);
        QVERIFY(state_->coachStore()->coachTranscripts().at(person.handleID).empty());
        QCOMPARE(server_->requestCount(), asked);

        // While a turn runs nothing is closed.
        state_->coachStore()->setTranscript("", turns(4, 90000));
        server_->setResponse("/v1/chat", textStream({"slow"}, 600));
        engine_->send("hello", std::nullopt); // closes the stale general chat first
        state_->coachStore()->setTranscript("", turns(4, 90000));
        engine_->archiveIfStale(std::string());
        QCOMPARE(state_->coachStore()->coachTranscripts().at("").size(), std::size_t{4});
        engine_->stop();

        QTRY_COMPARE_WITH_TIMEOUT(engine_->backgroundWork(), 0, 5000);
        const int before = countTo(*server_, "/v1/ai");
        state_->coachStore()->setTranscript("", turns(1, 0));
        engine_->startFreshSession(std::string());
        QVERIFY(state_->coachStore()->coachTranscripts().at("").empty());
        QCOMPARE(countTo(*server_, "/v1/ai"), before);
        state_->coachStore()->setTranscript("", turns(2, 0));
        engine_->startFreshSession(std::string());
        QTRY_COMPARE_WITH_TIMEOUT(countTo(*server_, "/v1/ai"), before + 1, 5000);
        QTRY_COMPARE_WITH_TIMEOUT(engine_->backgroundWork(), 0, 5000);
    }

    // A rewrite replaces every occurrence of the draft in its message and nothing else; a second one while
    // the first runs is ignored; a reply too long, or a message gone, changes nothing.
    void tweakRewritesTheDraftInPlace() {
        dovrel::PersonInsights person = state_->people().front();
        person.report.myAverageLength = 42.9;
        person.report.myEmojiRate = 0.257;
        const dovrel::Date now = *home_->environment()().now;
        const CoachMessage answer =
            CoachMessage::make(CoachMessage::Role::coach, "Try: \"running late\" or just \"running late\".",
                               now, std::vector<std::string>{"Searched"});
        state_->coachStore()->setTranscript(person.handleID, {answer});
        Response slow = Response::json(R"({"text":"  omw, 10 min!  "})");
        slow.delayMs = 400;
        server_->enqueue("/v1/ai", slow);

        engine_->tweak("running late", "warmer", answer.id, person.handleID, person);
        QCOMPARE(engine_->tweakingDraft(), std::optional(std::string("running late")));
        engine_->tweak("something else", "shorter", answer.id, person.handleID, person);
        QTRY_VERIFY_WITH_TIMEOUT(!engine_->tweakingDraft(), 5000);
        QCOMPARE(countTo(*server_, "/v1/ai"), 1);

        const std::string prompt = body(requestsTo(*server_, "/v1/ai")[0]).at("prompt");
        QCOMPARE(prompt,
                 std::string("Rewrite this text message to be warmer, while still sounding like me \u2014 "
                             "casual texting voice, no sign-offs. For calibration: my average message is 42 "
                             "characters, 25% of my messages use emoji.\nReply with ONLY the rewritten "
                             "message, nothing else.\n\nrunning late"));
        QCOMPARE(body(requestsTo(*server_, "/v1/ai")[0]).at("max_tokens").get<int>(), 200);

        const CoachMessage& rewritten = state_->coachStore()->coachTranscripts().at(person.handleID).front();
        QCOMPARE(rewritten.text, std::string("Try: \"omw, 10 min!\" or just \"omw, 10 min!\"."));
        QCOMPARE(rewritten.id, answer.id);
        QCOMPARE(rewritten.date, answer.date);
        QCOMPARE(rewritten.sources, answer.sources);

        server_->setResponse("/v1/ai", Response::json(Json{{"text", std::string(1000, 'x')}}.dump().c_str()));
        engine_->tweak("omw", "shorter", answer.id, person.handleID, std::nullopt);
        QTRY_VERIFY_WITH_TIMEOUT(!engine_->tweakingDraft(), 5000);
        QCOMPARE(state_->coachStore()->coachTranscripts().at(person.handleID).front(), rewritten);
        server_->setResponse("/v1/ai", Response::json(R"({"text":"x"})"));
        engine_->tweak("omw", "shorter", "NO-SUCH-ID", person.handleID, std::nullopt);
        QTRY_VERIFY_WITH_TIMEOUT(!engine_->tweakingDraft(), 5000);
        QCOMPARE(state_->coachStore()->coachTranscripts().at(person.handleID).front(), rewritten);
        // 999 characters are still a text message; without a person there is no calibration.
        server_->setResponse("/v1/ai", Response::json(Json{{"text", std::string(999, 'y')}}.dump().c_str()));
        engine_->tweak("omw", "shorter", answer.id, person.handleID, std::nullopt);
        QTRY_VERIFY_WITH_TIMEOUT(!engine_->tweakingDraft(), 5000);
        QCOMPARE(state_->coachStore()->coachTranscripts().at(person.handleID).front().text,
                 "Try: \"" + std::string(999, 'y') + ", 10 min!\" or just \"" + std::string(999, 'y') +
                     ", 10 min!\".");
        QVERIFY(
            body(requestsTo(*server_, "/v1/ai").back()).at("prompt").get<std::string>().find("calibration") ==
            std::string::npos);
    }

    // The answer arrives in bursts and is shown in small steady steps: an eighth of what waits, at least
    // one character, about every 33 ms.
    void streamIsPacedOut() {
        const QByteArray burst(400, 'a');
        // The calls come 1.5 s after the text, which is shown meanwhile.
        server_->enqueue("/v1/chat", toolRound(burst, {{"toolu_1", "overview", "{}"}}, 1500));
        server_->enqueue("/v1/chat", textStream({"done"}, 0));
        QList<int> lengths;
        connect(engine_.get(), &CoachEngine::streamTextChanged, this,
                [&] { lengths.append(static_cast<int>(engine_->streamText().size())); });
        engine_->send("Pace", std::nullopt);
        waitForTurn();
        // 400 characters drain in steps of 50, 43, 38, …: the first step is an eighth of the burst.
        QVERIFY(lengths.size() >= 2);
        QCOMPARE(lengths.first(), 50);
        QCOMPARE(lengths.at(1), 50 + 43);
    }

private:
    QString claudePath() const { return scriptedclaude::programPath(home_->path()); }
    void installClaude() { QVERIFY(scriptedclaude::install(home_->path())); }
    void writeClaude(const QString& name, const QByteArray& contents) {
        QVERIFY(scriptedclaude::write(home_->path(), name, contents));
    }
    QString readClaude(const QString& name) const { return scriptedclaude::read(home_->path(), name); }

    void useRelay(bool on) {
        qputenv("MURMORA_RELAY_URL", on ? server_->origin().toUtf8() : QByteArray());
        qputenv("MURMORA_RELAY_SECRET", "test-secret");
    }

    void waitForTurn() {
        QTRY_VERIFY_WITH_TIMEOUT(!engine_->thinking(), 20000);
        QTRY_COMPARE_WITH_TIMEOUT(engine_->backgroundWork(), 0, 20000);
    }

    std::unique_ptr<TestHome> home_;
    QByteArray originalPath_;
    std::unique_ptr<AppState> state_;
    std::unique_ptr<LocalHttpServer> server_;
    std::unique_ptr<CoachEngine> engine_;
};

QTEST_MAIN(CoachTurnTest)
#include "CoachTurnTest.moc"
