// Whole coach turns over a demo home: the engine's logic with a scripted model, the two real routes against a
// relay on 127.0.0.1 and a real `claude` program.
// moc of Qt 6.4 cannot parse the C++20 standard headers behind the core; the test class needs none of them.
#ifndef Q_MOC_RUN
#include "AI/AIError.h"
#include "Coach/AgentTools.h"
#include "Coach/CoachEngine.h"
#include "LocalHttpServer.h"
#include "RelayEvents.h"
#include "ScriptedClaude.h"
#include "ScriptedProvider.h"
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

    void cleanupTestCase() { state_.reset(); }

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
    void turnWithTwoToolsInOneRound() {
        useScripted();
        const ToolUse search{"toolu_1", "search", R"({"terms":"dinner|drinks","limit":5})"};
        const ToolUse count{"toolu_2", "count", R"({"terms":"haha"})"};
        const std::vector<Block> roundOne{Block::text("Let me look."), Block::toolUse(search),
                                          Block::toolUse(count)};
        ai_->answer(roundOne, {"Let me look."});
        ai_->answer({Block::text("You text about dinner a lot.")});
        ai_->answer(QString::fromUtf8(memoryOps));

        QSignalSpy ran(engine_.get(), &CoachEngine::toolRan);
        engine_->send("What do I talk about?", std::nullopt);
        QVERIFY(engine_->thinking());
        waitForTurn();

        QVERIFY(!engine_->errorText());
        QVERIFY(!engine_->toolStatus());
        QCOMPARE(engine_->streamText(), std::string());
        const CoachEngine::ToolOutput searched = ranTool(search);
        const CoachEngine::ToolOutput counted = ranTool(count);
        QCOMPARE(ran.count(), qsizetype{2});
        const std::vector<CoachMessage>& stored = state_->coachStore()->coachTranscripts().at("");
        QCOMPARE(stored.size(), std::size_t{2});
        QCOMPARE(stored[1].role, CoachMessage::Role::coach);
        QCOMPARE(stored[1].text, std::string("You text about dinner a lot."));
        QCOMPARE(stored[1].sources, std::optional(std::vector<std::string>{searched.status, counted.status}));

        QCOMPARE(ai_->calls.size(), 3);
        const ChatRound& first = *ai_->calls[0].round;
        // The general prompt, from the state's statistics.
        const std::string overall =
            "My overall stats (last year): " + std::to_string(state_->stats()->totalMessages) +
            " messages, " + std::to_string(state_->stats()->peopleCount) + " people";
        QVERIFY2(first.system.find(overall) != std::string::npos, first.system.c_str());
        QCOMPARE(first.maxTokens, 16000);
        QCOMPARE(first.tools.size(), std::size_t{11});
        const std::vector<ChatMessage> asked{ChatMessage::user("What do I talk about?")};
        QCOMPARE(first.messages, asked);
        const std::vector<ChatMessage> roundTwo{
            asked[0],
            {ChatMessage::Role::assistant, roundOne},
            {ChatMessage::Role::user,
             {Block::toolResult("toolu_1", searched.result), Block::toolResult("toolu_2", counted.result)}}};
        QCOMPARE(ai_->calls[1].round->messages, roundTwo);
        QCOMPARE(ai_->calls[1].round->round, 1);

        // The memory update asked with this exchange, and its operation is stored and saved.
        QVERIFY(ai_->calls[2].prompt.contains(
            QStringLiteral("[Me] What do I talk about?\n[Coach] You text about dinner a lot.")));
        QCOMPARE(ai_->calls[2].maxTokens, 300);
        const std::vector<dovrel::MemoryEntry>& memory = state_->coachStore()->coachMemory().at("");
        QCOMPARE(memory.size(), std::size_t{1});
        QCOMPARE(memory[0].text, std::string("Reply to Sam within a day"));
        state_->coachStore()->flush();
        const std::optional<dovrel::Artifacts> saved = Store().readArtifacts();
        QVERIFY(saved && saved->memory);
        QCOMPARE(saved->transcripts.at(""), stored);
        QCOMPARE(saved->memory->at(""), memory);
    }

    // A model that only ever calls tools gets eight calls; the last round's calls are never run and the
    // answer is the mark for nothing said.
    void roundSevenEndsTheTurn() {
        useScripted();
        for (int i = 0; i < 8; ++i) {
            ai_->answer({Block::toolUse(ToolUse{"toolu_n", "overview", "{}"})});
        }
        ai_->answer(QStringLiteral("{\"ops\":[]}"));
        engine_->send("Tell me everything", std::nullopt);
        waitForTurn();
        QCOMPARE(ai_->calls.size(), 9); // and the memory update
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
        const CoachEngine::ToolOutput counted = ranTool(ToolUse{"cli-0", "count", R"({"terms":"haha"})"});
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

    // The daily cap is told by its flag, other failures by their text, an error event of the stream by the
    // relay's own words. A failed turn stores no answer, but its message stays and counts for the memory.
    void failedTurns() {
        useScripted();
        ai_->failChat(AIError::dailyCap());
        engine_->send("First", std::nullopt);
        waitForTurn();
        QVERIFY(engine_->capHit());
        QVERIFY(!engine_->errorText());

        ai_->failChat(AIError::relayFailed(500));
        engine_->send("Second", std::nullopt);
        QVERIFY(!engine_->capHit()); // each turn starts clean
        waitForTurn();
        QCOMPARE(engine_->errorText(),
                 std::optional(AIError::message(AIError::Case::relayFailed).toStdString()));

        ai_->failChat(dovrel::Agent::StreamError("Overloaded"));
        engine_->send("Third", std::nullopt);
        waitForTurn();
        QCOMPARE(engine_->errorText(), std::optional(std::string("Overloaded")));
        QCOMPARE(ai_->calls.size(), 3); // no memory update after the 2nd and 3rd message

        ai_->answer({Block::text("ok")});
        ai_->answer(QStringLiteral("{\"ops\":[]}"));
        engine_->send("Fourth", std::nullopt);
        waitForTurn();
        QVERIFY(!engine_->errorText());
        QCOMPARE(ai_->calls.size(), 5); // the 4th message updates it
        const std::vector<CoachMessage>& stored = state_->coachStore()->coachTranscripts().at("");
        QCOMPARE(stored.size(), std::size_t{5});
        QCOMPARE(stored[2].text, std::string("Third"));
    }

    // stop() while a call runs: nothing is stored and the late answer is dropped. stop() from inside a tool
    // round: the tool that runs finishes, the round's other call and the next model call never happen. A
    // send during a turn is ignored.
    void stopEndsTheTurn() {
        useScripted();
        ai_->answer({Block::toolUse(ToolUse{"toolu_1", "overview", "{}"})});
        connect(engine_.get(), &CoachEngine::toolRan, this,
                [this] { engine_->send("ignored", std::nullopt); });
        engine_->send("Go", std::nullopt);
        QTRY_COMPARE(ai_->calls.size(), 2);
        engine_->stop();
        QVERIFY(!engine_->thinking());
        QVERIFY(!engine_->toolStatus());
        ai_->answer({Block::text("never shown")}, {"never shown"});
        QTest::qWait(300);
        QCOMPARE(engine_->streamText(), std::string());
        QCOMPARE(state_->coachStore()->coachTranscripts().at("").size(), std::size_t{1});
        QCOMPARE(ai_->calls.size(), 2);
        disconnect(engine_.get(), nullptr, this, nullptr);

        state_->coachStore()->setTranscript("", {});
        ai_->answer({Block::toolUse(ToolUse{"toolu_1", "overview", "{}"}),
                     Block::toolUse(ToolUse{"toolu_2", "overview", "{}"})});
        QSignalSpy ran(engine_.get(), &CoachEngine::toolRan);
        connect(engine_.get(), &CoachEngine::toolRan, this, [this] { engine_->stop(); });
        engine_->send("Go", std::nullopt);
        QTRY_COMPARE(ran.count(), qsizetype{1});
        QTest::qWait(300);
        QCOMPARE(ran.count(), qsizetype{1});
        QVERIFY(!engine_->thinking());
        QCOMPARE(ai_->calls.size(), 3);
        QCOMPARE(state_->coachStore()->coachTranscripts().at("").size(), std::size_t{1});
    }

    // A person chat: the note opens an empty transcript and never reaches the model; only the last 16 turns
    // do. The memory update runs after the 1st, 4th, 7th… user message.
    void personChatHistoryNoteAndMemoryCadence() {
        useScripted();
        const dovrel::PersonInsights person = state_->people().front();
        const dovrel::Date now = *home_->environment()().now;
        const auto memoryUpdates = [this] {
            return std::count_if(ai_->calls.begin(), ai_->calls.end(),
                                 [](const ScriptedProvider::Call& call) { return !call.round; });
        };

        ai_->answer({Block::text("ok")});
        ai_->answer(QStringLiteral("{\"ops\":[]}"));
        engine_->send("Hi", person);
        waitForTurn();
        std::vector<CoachMessage> stored = state_->coachStore()->coachTranscripts().at(person.handleID);
        QCOMPARE(stored.size(), std::size_t{3});
        QCOMPARE(stored[0].role, CoachMessage::Role::note);
        QCOMPARE(stored[0].text, "Reading your last 100 messages with " +
                                     state_->name(person.handleID, person.displayName) +
                                     " \u2014 sent securely to Claude, never stored.");
        QCOMPARE(ai_->calls[0].round->messages.size(), std::size_t{1});
        QCOMPARE(memoryUpdates(), 1); // after the 1st

        for (const int expected : {1, 1, 2}) { // after the 2nd, the 3rd, the 4th
            ai_->answer({Block::text("ok")});
            if (expected == 2) {
                ai_->answer(QStringLiteral("{\"ops\":[]}"));
            }
            engine_->send("Again", person);
            waitForTurn();
            QCOMPARE(memoryUpdates(), expected);
        }
        QCOMPARE(state_->coachStore()->coachTranscripts().at(person.handleID).size(), std::size_t{9});

        // Twenty turns, a note among them: the model gets the last sixteen, the new message last.
        std::vector<CoachMessage> history{message(CoachMessage::Role::note, "a note", now)};
        for (int i = 0; i < 20; ++i) {
            history.push_back(message(i % 2 == 0 ? CoachMessage::Role::user : CoachMessage::Role::coach,
                                      "turn " + std::to_string(i), now));
        }
        state_->coachStore()->setTranscript(person.handleID, history);
        ai_->answer({Block::text("ok")});
        engine_->send("latest", person);
        waitForTurn();
        const std::vector<ChatMessage>& sent = ai_->calls.back().round->messages;
        QCOMPARE(sent.size(), std::size_t{16});
        QCOMPARE(sent.front(), ChatMessage::assistant("turn 5"));
        QCOMPARE(sent.back(), ChatMessage::user("latest"));
    }

    // Six hours of silence close a session: four turns or more are summarized into a session note first.
    // The new-chat action summarizes from two turns. Nothing is closed while a turn runs.
    void sessionsCloseAfterSixHours() {
        useScripted();
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
        ai_->answer(QStringLiteral("  Worked on replying faster to Sam.  "));
        ai_->answer({Block::text("fresh")});
        ai_->answer(QStringLiteral("{\"ops\":[]}"));

        state_->coachStore()->setTranscript(person.handleID, turns(4, 21601));
        engine_->send("New day", person);
        waitForTurn();
        QCOMPARE(state_->coachStore()->coachTranscripts().at(person.handleID).size(),
                 std::size_t{3}); // note, message, answer
        QVERIFY(ai_->calls[0].prompt.startsWith(QStringLiteral("Summarize this coaching session")));
        QVERIFY(ai_->calls[0].prompt.contains(
            QStringLiteral("[Me] old 0\n[Coach] old 1\n[Me] old 2\n[Coach] old 3")));
        QCOMPARE(ai_->calls[0].maxTokens, 100);
        const std::vector<dovrel::MemoryEntry>& memory =
            state_->coachStore()->coachMemory().at(person.handleID);
        QVERIFY(std::any_of(memory.begin(), memory.end(), [](const dovrel::MemoryEntry& entry) {
            return entry.kind == dovrel::MemoryEntry::Kind::session &&
                   entry.text == "Worked on replying faster to Sam.";
        }));

        // Exactly six hours is not stale; three stale turns are cleared without a summary.
        const qsizetype asked = ai_->calls.size();
        state_->coachStore()->setTranscript(person.handleID, turns(3, 21600));
        engine_->archiveIfStale(person.handleID);
        QCOMPARE(state_->coachStore()->coachTranscripts().at(person.handleID).size(), std::size_t{3});
        state_->coachStore()->setTranscript(person.handleID, turns(3, 21601));
        engine_->archiveIfStale(person.handleID);
        QVERIFY(state_->coachStore()->coachTranscripts().at(person.handleID).empty());
        QCOMPARE(ai_->calls.size(), asked);

        // While a turn runs nothing is closed.
        state_->coachStore()->setTranscript("", turns(2, 0));
        engine_->send("hello", std::nullopt);
        state_->coachStore()->setTranscript("", turns(4, 90000));
        engine_->archiveIfStale(std::string());
        QCOMPARE(state_->coachStore()->coachTranscripts().at("").size(), std::size_t{4});
        engine_->stop();

        // The new chat summarizes two turns, not one.
        state_->coachStore()->setTranscript("", turns(1, 0));
        engine_->startFreshSession(std::string());
        QVERIFY(state_->coachStore()->coachTranscripts().at("").empty());
        QCOMPARE(ai_->calls.size(), asked); // the stopped turn never got to ask
        // A summary of 300 characters or more is no note; one of 299 is.
        for (const int length : {300, 299}) {
            state_->coachStore()->setTranscript("", turns(2, 0));
            engine_->startFreshSession(std::string());
            ai_->answer(QString(length, QLatin1Char('n')));
            QTRY_COMPARE(engine_->backgroundWork(), 0);
        }
        QCOMPARE(ai_->calls.size(), asked + 2);
        const std::vector<dovrel::MemoryEntry>& general = state_->coachStore()->memory("");
        QCOMPARE(general.size(), std::size_t{1});
        QCOMPARE(general.front().text, std::string(299, 'n'));
    }

    // A rewrite replaces every occurrence of the draft in its message and nothing else; a second one while
    // the first runs is ignored; a reply too long, or a message gone, changes nothing.
    void tweakRewritesTheDraftInPlace() {
        useScripted();
        dovrel::PersonInsights person = state_->people().front();
        person.report.myAverageLength = 42.9;
        person.report.myEmojiRate = 0.257;
        const dovrel::Date now = *home_->environment()().now;
        const CoachMessage answer =
            CoachMessage::make(CoachMessage::Role::coach, "Try: \"running late\" or just \"running late\".",
                               now, std::vector<std::string>{"Searched"});
        state_->coachStore()->setTranscript(person.handleID, {answer});

        engine_->tweak("running late", "warmer", answer.id, person.handleID, person);
        QCOMPARE(engine_->tweakingDraft(), std::optional(std::string("running late")));
        engine_->tweak("something else", "shorter", answer.id, person.handleID, person);
        ai_->answer(QStringLiteral("  omw, 10 min!  "));
        QTRY_VERIFY(!engine_->tweakingDraft());
        QCOMPARE(ai_->calls.size(), 1);
        QCOMPARE(
            ai_->calls[0].prompt,
            QStringLiteral("Rewrite this text message to be warmer, while still sounding like me \u2014 "
                           "casual texting voice, no sign-offs. For calibration: my average message is 42 "
                           "characters, 25% of my messages use emoji.\nReply with ONLY the rewritten "
                           "message, nothing else.\n\nrunning late"));
        QCOMPARE(ai_->calls[0].maxTokens, 200);
        const CoachMessage& rewritten = state_->coachStore()->coachTranscripts().at(person.handleID).front();
        QCOMPARE(rewritten.text, std::string("Try: \"omw, 10 min!\" or just \"omw, 10 min!\"."));
        QCOMPARE(rewritten.id, answer.id);
        QCOMPARE(rewritten.date, answer.date);
        QCOMPARE(rewritten.sources, answer.sources);

        const auto tweak = [&](const QString& reply, const std::string& messageID) {
            engine_->tweak("omw", "shorter", messageID, person.handleID, std::nullopt);
            ai_->answer(reply);
            QTRY_VERIFY(!engine_->tweakingDraft());
        };
        tweak(QString(1000, QLatin1Char('x')), answer.id);
        QCOMPARE(state_->coachStore()->coachTranscripts().at(person.handleID).front(), rewritten);
        tweak(QStringLiteral("x"), "NO-SUCH-ID");
        QCOMPARE(state_->coachStore()->coachTranscripts().at(person.handleID).front(), rewritten);
        // 999 characters are still a text message; without a person there is no calibration.
        tweak(QString(999, QLatin1Char('y')), answer.id);
        QCOMPARE(state_->coachStore()->coachTranscripts().at(person.handleID).front().text,
                 "Try: \"" + std::string(999, 'y') + ", 10 min!\" or just \"" + std::string(999, 'y') +
                     ", 10 min!\".");
        QVERIFY(!ai_->calls.back().prompt.contains(QStringLiteral("calibration")));
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
    void useScripted() {
        ai_ = std::make_shared<ScriptedProvider>();
        engine_->setProvider(ai_);
    }

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

    // A tool call run as the turn runs it, for the status line the turn should have stored.
    CoachEngine::ToolOutput ranTool(const ToolUse& use) {
        std::optional<CoachEngine::ToolOutput> output;
        engine_->runTool(use, std::nullopt, [&](CoachEngine::ToolOutput ran) { output = std::move(ran); });
        if (!QTest::qWaitFor([&] { return output.has_value(); }, 20000)) {
            return {"(no output)", ""};
        }
        return *output;
    }

    void waitForTurn() {
        QTRY_VERIFY_WITH_TIMEOUT(!engine_->thinking(), 20000);
        QTRY_COMPARE_WITH_TIMEOUT(engine_->backgroundWork(), 0, 20000);
    }

    std::unique_ptr<TestHome> home_;
    std::unique_ptr<AppState> state_;
    std::unique_ptr<LocalHttpServer> server_;
    std::unique_ptr<CoachEngine> engine_;
    std::shared_ptr<ScriptedProvider> ai_;
};

QTEST_MAIN(CoachTurnTest)
#include "CoachTurnTest.moc"
