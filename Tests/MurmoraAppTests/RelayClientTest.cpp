// moc of Qt 6.4 cannot parse the C++20 standard headers behind the core; the test class needs none of them.
#ifndef Q_MOC_RUN
#include "AI/AIError.h"
#include "AI/RelayConfig.h"
#include "AI/RelayProvider.h"
#include "AwaitFuture.h"
#include "CompareJson.h"
#include "LocalHttpServer.h"
#include "RelayEvents.h"
#include "TestHome.h"

#include <nlohmann/json.hpp>
#endif

#include <QElapsedTimer>
#include <QNetworkAccessManager>
#include <QTcpServer>
#include <QTest>
#include <functional>

using namespace murmora;
using dovrel::Agent::Block;
using dovrel::Agent::ChatMessage;
using dovrel::Agent::ToolDef;
using dovrel::Agent::ToolUse;
using Json = nlohmann::json;
using Response = LocalHttpServer::Response;
using namespace relayevents;

namespace {

template <typename T> bool waitFor(const QFuture<T>& future, int timeoutMs) {
    return QTest::qWaitFor([&future] { return future.isFinished(); }, timeoutMs);
}

// The AIError a call fails with; nothing when it ends otherwise.
template <typename T> std::optional<AIError> aiFailure(QFuture<T> future) {
    try {
        await(std::move(future));
    } catch (const AIError& error) {
        return error;
    } catch (const std::exception& error) {
        qWarning("other failure: %s", error.what());
    }
    return std::nullopt;
}

} // namespace

class RelayClientTest : public QObject {
    Q_OBJECT

private slots:
    void init() {
        home_ = std::make_unique<TestHome>();
        server_ = std::make_unique<LocalHttpServer>();
        qputenv("MURMORA_RELAY_URL", server_->origin().toUtf8());
        qputenv("MURMORA_RELAY_SECRET", secret);
    }

    void cleanup() {
        qunsetenv("MURMORA_RELAY_URL");
        qunsetenv("MURMORA_RELAY_SECRET");
        server_.reset();
        home_.reset();
    }

    // Both routes POST JSON with the secret and one identity; the chat body is the six keys of the request
    // with the conversation, thinking and tool calls in their wire form.
    void requestsCarryTheBodyAndHeaders();

    // A stream as the real API sends it: event lines, pings, thinking with its signature, redacted thinking,
    // a text block in many pieces, a tool call whose input comes in pieces, JSON padded with blanks, CRLF
    // line ends and a line cut across two network chunks. Text reaches the caller piece by piece while the
    // stream is still running.
    void realStreamIsCollectedAsItArrives();

    // An error event ends the call at once with the relay's words, whatever the stream would still send;
    // what was shown before it stays shown, and nothing comes after it.
    void errorEventFailsTheStream();

    // 429 is the daily cap, every other status a hiccup with its number, on both routes. The body of such an
    // answer is never read: not even an error event in it counts, and a slow one is not waited for.
    void statusesOtherThan200();

    // A 200 whose body is no answer: the one-shot route raises the decoding error as it is; the stream
    // skips lines that are no events and ends with no blocks.
    void undecodableAnswers();

    // No HTTP answer, nothing listening, an address that is no URL: all unreachable, as is a one-shot body
    // broken off. A stream that breaks after its 200 fails with the stream's own error.
    void transportFailures();

    // A stream line that never ends and a one-shot answer past the size limit fail the call instead of
    // growing without bound.
    void oversizedAnswersFail();

    // Cancelling the future stops the request mid-stream, or before any answer: the future ends at once,
    // cancelled and without a failure, and no piece is delivered after it.
    void cancellingStopsTheStream();

private:
    static constexpr char secret[] = "test-secret";

    QFuture<std::vector<Block>> chat(DeltaHandler onDelta = {}) {
        return relay_.chat({"You are my texting coach.", {ChatMessage::user("How do I text?")}, {}, 16000, 0},
                           std::move(onDelta));
    }
    QFuture<QString> ask(const QString& prompt) { return relay_.run(prompt, 300); }

    std::unique_ptr<TestHome> home_;
    std::unique_ptr<LocalHttpServer> server_;
    QNetworkAccessManager network_;
    RelayProvider relay_{&network_};
};

// The bodies stay out of moc's sight: it cannot read the raw string literals in them.
#ifndef Q_MOC_RUN

void RelayClientTest::requestsCarryTheBodyAndHeaders() {
    server_->setResponse("/v1/ai", Response::json(R"({"text": "You are The Night Owl."})"));
    server_->setResponse("/v1/chat", textStream({"Hi"}, 0));

    const std::vector<ChatMessage> messages{
        ChatMessage::user("Who do I text most?"),
        ChatMessage{ChatMessage::Role::assistant,
                    {Block::thinking("Look it up.", "sig-1"), Block::redactedThinking("opaque=="),
                     Block::text("Let me check."),
                     Block::toolUse(ToolUse{"toolu_7", "top_people", R"({"limit": 3})"})}},
        ChatMessage{ChatMessage::Role::user, {Block::toolResult("toolu_7", "Ann: 412 messages")}},
    };
    const ToolDef tool{"top_people", "Who I text most",
                       R"({"type":"object","properties":{"limit":{"type":"integer"}}})"};
    const std::vector<ToolDef> tools{tool};
    const std::string system = "You are my texting coach.\nBe \"direct\" \u2014 always.";

    QCOMPARE(await(ask(QStringLiteral("Name my archetype \u2014 \"please\""))),
             QStringLiteral("You are The Night Owl."));
    QCOMPARE(await(relay_.chat({system, messages, tools, 16000, 0}, {})),
             std::vector<Block>{Block::text("Hi")});

    const QList<LocalHttpServer::Request> requests = server_->requests();
    QCOMPARE(requests.size(), 2);
    const QByteArray device = RelayConfig::deviceID().toUtf8();
    QVERIFY(!device.isEmpty());
    for (const LocalHttpServer::Request& request : requests) {
        QCOMPARE(request.method, QByteArray("POST"));
        QCOMPARE(request.header("Content-Type"), QByteArray("application/json"));
        QCOMPARE(request.header("x-murmora-app"), secret);
        QCOMPARE(request.header("x-murmora-device"), device);
    }

    QCOMPARE(requests[0].path, QByteArray("/v1/ai"));
    COMPARE_JSON(Json::parse(requests[0].body.toStdString()),
                 (Json{{"prompt", "Name my archetype \u2014 \"please\""}, {"max_tokens", 300}}));

    QCOMPARE(requests[1].path, QByteArray("/v1/chat"));
    // The body is the core's encoding of the round, given the round's own values.
    COMPARE_JSON(Json::parse(requests[1].body.toStdString()),
                 dovrel::Agent::requestBody(system, messages, tools, 16000));
}

void RelayClientTest::realStreamIsCollectedAsItArrives() {
    const QByteArray paddedDelta = "event: content_block_delta\r\ndata: { \"type\": \"content_block_delta\", "
                                   "\"index\": 0, \"delta\": { \"type\": \"text_delta\", \"text\": \"most "
                                   "at \" } }\r\n\r\n";
    // Cut in two inside the emoji's bytes.
    const QByteArray split = textDelta(0, "night \xe2\x80\x94 \xf0\x9f\x98\x82 ");
    const qsizetype cut = split.indexOf("\x9f\x98");

    // The blocks themselves are parsed by the core; here what the network does to them: pieces arriving
    // over time, a line cut across two chunks, CRLF line ends, pings between the events.
    QList<LocalHttpServer::Chunk> chunks{
        {messageStart, 0},
        {ping, 0},
        {blockStart(0, R"({"type":"text","text":""})"), 0},
        {textDelta(0, "You text "), 150},
        {paddedDelta, 150},
        {split.left(cut), 150},
        {split.mid(cut), 150},
        {ping + textDelta(0, "all day."), 150},
        {blockStop(0), 0},
        {blockStart(1, R"({"type":"tool_use","id":"toolu_01","name":"search_messages","input":{}})"), 0},
        {sse("content_block_delta",
             R"({"type":"content_block_delta","index":1,"delta":{"type":"input_json_delta","partial_json":"{\"query\": \"din"}})"),
         50},
        {sse("content_block_delta",
             R"({"type":"content_block_delta","index":1,"delta":{"type":"input_json_delta","partial_json":"ner\"}"}})"),
         50},
        {blockStop(1) + messageDelta("tool_use"), 0},
        {messageStop, 100},
    };
    Response response = Response::events({});
    response.chunks = chunks;
    server_->setResponse("/v1/chat", response);

    QStringList pieces;
    QList<qint64> arrivals;
    QElapsedTimer clock;
    clock.start();
    QFuture<std::vector<Block>> future = chat([&](const QString& piece) {
        pieces.append(piece);
        arrivals.append(clock.elapsed());
    });
    const std::vector<Block> blocks = await(future);
    const qint64 finishedAt = clock.elapsed();

    QCOMPARE(pieces,
             (QStringList{"You text ", "most at ", QStringLiteral("night \u2014 \U0001F602 "), "all day."}));
    // Streamed, not buffered: the first piece came long before the end of the body.
    QVERIFY2(finishedAt - arrivals.first() >= 500,
             qPrintable(
                 QStringLiteral("first piece at %1 ms, end at %2 ms").arg(arrivals.first()).arg(finishedAt)));
    const std::vector<Block> expected{
        Block::text("You text most at night \u2014 \U0001F602 all day."),
        Block::toolUse(ToolUse{"toolu_01", "search_messages", R"({"query": "dinner"})"}),
    };
    QCOMPARE(blocks, expected);
}

void RelayClientTest::errorEventFailsTheStream() {
    Response response = textStream({"So far ", "so good"}, 50);
    response.chunks.insert(
        4, {sse("error",
                R"({ "type": "error", "error": { "type": "overloaded_error", "message": "Overloaded" } })"),
            50});
    response.chunks.insert(5, {textDelta(0, "never shown"), 3000});
    server_->setResponse("/v1/chat", response);

    QStringList pieces;
    QElapsedTimer clock;
    clock.start();
    QFuture<std::vector<Block>> future = chat([&](const QString& piece) { pieces.append(piece); });
    try {
        await(future);
        QFAIL("an error event must fail the call");
    } catch (const dovrel::Agent::StreamError& error) {
        QCOMPARE(QString::fromUtf8(error.what()), QStringLiteral("Overloaded"));
    }
    QVERIFY2(clock.elapsed() < 2000, qPrintable(QString::number(clock.elapsed())));
    QTest::qWait(200);
    QCOMPARE(pieces, (QStringList{"So far ", "so good"}));
}

void RelayClientTest::statusesOtherThan200() {
    for (const int status : {401, 429, 500, 503, 404}) {
        Response answer = Response::events(
            {sse("error", R"({"type":"error","error":{"message":"from the body"}})"), "data: more\n\n"},
            1500);
        answer.status = status;
        server_->setResponse("/v1/chat", answer);
        server_->setResponse("/v1/ai", Response::json(R"({"text": "an answer in the wrong place"})", status));

        for (const bool streaming : {true, false}) {
            QElapsedTimer clock;
            clock.start();
            const std::optional<AIError> failure =
                streaming ? aiFailure(chat()) : aiFailure(ask(QStringLiteral("hi")));
            const QString what =
                QStringLiteral("status %1, %2").arg(status).arg(streaming ? "chat" : "one-shot");
            QVERIFY2(failure.has_value(), qPrintable(what));
            if (status == 429) {
                QCOMPARE(failure->errorCase(), AIError::Case::dailyCap);
                QCOMPARE(failure->message(),
                         QStringLiteral("You've hit today's free-tier limit \u2014 it resets tomorrow."));
            } else {
                QCOMPARE(failure->errorCase(), AIError::Case::relayFailed);
                QCOMPARE(failure->status(), std::optional<int>(status));
                QCOMPARE(QString::fromUtf8(failure->what()),
                         QStringLiteral("Murmora AI had a hiccup \u2014 try again in a minute."));
            }
            // Qt's HTTP layer itself reads a 401 to its end, looking for an authentication challenge.
            if (streaming && status != 401) {
                QVERIFY2(clock.elapsed() < 1200,
                         qPrintable(what + " took " + QString::number(clock.elapsed())));
            }
        }
    }
}

void RelayClientTest::undecodableAnswers() {
    for (const QByteArray& body : {QByteArray("<html>Bad gateway</html>"), QByteArray(R"({"txt": "hi"})"),
                                   QByteArray(R"({"text": 5})"), QByteArray(R"(["text"])"), QByteArray()}) {
        server_->setResponse("/v1/ai", Response::json(body));
        QVERIFY_THROWS_EXCEPTION(nlohmann::json::exception, await(ask(QStringLiteral("hi"))));
    }
    server_->setResponse("/v1/ai", Response::json(R"({"text": "fine", "model": "x"})"));
    QCOMPARE(await(ask(QStringLiteral("hi"))), QStringLiteral("fine"));

    server_->setResponse("/v1/chat", Response::text("<html>Bad gateway</html>\ndata: {oops\ndata:[DONE]\n"));
    QVERIFY(await(chat()).empty());
}

void RelayClientTest::transportFailures() {
    const auto expectUnreachable = [this](const QString& what, bool streaming) {
        const std::optional<AIError> failure = streaming ? aiFailure(chat()) : aiFailure(ask("hi"));
        QVERIFY2(failure && failure->errorCase() == AIError::Case::unreachable, qPrintable(what));
        QCOMPARE(failure->message(),
                 QStringLiteral("Couldn't reach Murmora AI \u2014 check your connection and try again."));
    };

    server_->setResponse("/v1/chat", Response::hangingUp());
    server_->setResponse("/v1/ai", Response::hangingUp());
    expectUnreachable(QStringLiteral("hang-up (chat)"), true);
    expectUnreachable(QStringLiteral("hang-up (one-shot)"), false);

    Response brokenStream = textStream({"Half ", "a reply"}, 30);
    brokenStream.dropMidBody = true;
    brokenStream.chunks.removeLast(); // the stream never ends properly
    server_->setResponse("/v1/chat", brokenStream);
    try {
        await(chat());
        QFAIL("a broken stream must fail");
    } catch (const RelayStreamError& error) {
        QCOMPARE(error.errorCase(), RelayStreamError::Case::connectionLost);
        QCOMPARE(error.message(), QStringLiteral("The network connection was lost."));
    }
    Response brokenAnswer = Response::json(R"({"text": "a complete answer that is cut off"})");
    brokenAnswer.dropMidBody = true;
    server_->setResponse("/v1/ai", brokenAnswer);
    expectUnreachable(QStringLiteral("dropped connection (one-shot)"), false);

    const QStringList addresses{QStringLiteral("http://127.0.0.1:%1").arg(closedPort()),
                                "https://exa mple.com", "relay.example.com", "ftp://relay.example.com"};
    for (const QString& address : addresses) {
        qputenv("MURMORA_RELAY_URL", address.toUtf8());
        expectUnreachable(address + " (chat)", true);
        expectUnreachable(address + " (one-shot)", false);
    }
}

void RelayClientTest::oversizedAnswersFail() {
    const QByteArray megabyte(1024 * 1024, 'x');
    QList<QByteArray> endless{messageStart, "data: "};
    for (int i = 0; i < 5; ++i) {
        endless.append(megabyte);
    }
    endless.append("\n\n");
    server_->setResponse("/v1/chat", Response::events(endless, 20));
    server_->setResponse("/v1/ai", Response::json("{\"text\": \"" + megabyte.repeated(5) + "\"}"));
    QVERIFY_THROWS_EXCEPTION(RelayStreamError, await(chat()));
    QVERIFY_THROWS_EXCEPTION(RelayStreamError, await(ask("hi")));

    // Just under the limit is still an answer, and so is a stream line of exactly the limit after another.
    server_->setResponse("/v1/ai", Response::json("{\"text\": \"" + megabyte.repeated(3) + "\"}"));
    QCOMPARE(await(ask("hi")).size(), 3 * 1024 * 1024);
    const QByteArray longest =
        "data: " + QByteArray(static_cast<qsizetype>(RelayProvider::maxLineBytes) - 6, 'x');
    server_->setResponse("/v1/chat", Response::events({messageStart, longest + "\n\n", messageStop}));
    QVERIFY(await(chat()).empty());
}

void RelayClientTest::cancellingStopsTheStream() {
    QList<QByteArray> many;
    for (int i = 0; i < 12; ++i) {
        many.append("piece " + QByteArray::number(i) + " ");
    }
    server_->setResponse("/v1/chat", textStream(many, 200));

    QStringList pieces;
    QFuture<std::vector<Block>> future = chat([&](const QString& piece) { pieces.append(piece); });
    QVERIFY(QTest::qWaitFor([&] { return !pieces.isEmpty(); }, 5000));
    future.cancel();
    QElapsedTimer clock;
    clock.start();
    QVERIFY(waitFor(future, 1000));
    QVERIFY(clock.elapsed() < 1000);
    const qsizetype shown = pieces.size();
    QVERIFY(shown < many.size());
    QTest::qWait(700);
    QCOMPARE(pieces.size(), shown);
    QVERIFY(future.isCanceled());
    QCOMPARE(future.resultCount(), 0);
    bool failedOrContinued = false;
    future.then([&](const std::vector<Block>&) { failedOrContinued = true; }).onFailed([&] {
        failedOrContinued = true;
    });
    QTest::qWait(50);
    QVERIFY(!failedOrContinued);

    Response slow = textStream({"late"}, 0);
    slow.delayMs = 3000;
    server_->setResponse("/v1/chat", slow);
    QFuture<std::vector<Block>> early = chat([&](const QString& piece) { pieces.append(piece); });
    QVERIFY(server_->waitForRequests(2));
    early.cancel();
    QVERIFY(waitFor(early, 1000));
    QVERIFY(early.isCanceled());
    QTest::qWait(200);
    QCOMPARE(pieces.size(), shown);

    // The relay is still usable afterwards.
    server_->setResponse("/v1/chat", textStream({"again"}, 0));
    QCOMPARE(await(chat()), std::vector<Block>{Block::text("again")});
}

#endif

QTEST_GUILESS_MAIN(RelayClientTest)
#include "RelayClientTest.moc"
