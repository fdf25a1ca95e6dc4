#include "LocalHttpServer.h"

#include <QElapsedTimer>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QSignalSpy>
#include <QTcpSocket>
#include <QTest>

using Response = LocalHttpServer::Response;

// The server stands in for the relay and the update host in other tests; these check that it sees and
// answers what a real client sends.
class LocalHttpServerTest : public QObject {
    Q_OBJECT

private slots:
    // A body that arrives in several pieces is put back together by its Content-Length, and a second
    // request on the same connection (already in the buffer) gets its own answer.
    void requestsArriveWholeFromPieces() {
        LocalHttpServer server;
        server.setResponse("/v1/ai", Response::json("{\"text\":\"hi\"}"));
        QTcpSocket socket;
        socket.connectToHost(QHostAddress::LocalHost, server.port());
        QVERIFY(socket.waitForConnected(5000));

        const QByteArray body = "{\"prompt\":\"a \\\"quoted\\\" prompt\",\"max_tokens\":100}";
        socket.write("POST /v1/ai?trace=1 HTTP/1.1\r\nHost: 127.0.0.1\r\nx-murmora-app: s3cret\r\n"
                     "Content-Type: application/json\r\nContent-Length: " +
                     QByteArray::number(body.size()) + "\r\n\r\n" + body.left(10));
        socket.flush();
        QTest::qWait(100);
        socket.write(body.mid(10, 15));
        socket.flush();
        QTest::qWait(100);
        QCOMPARE(server.requestCount(), 0);
        socket.write(body.mid(25) + "GET /missing HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n");
        socket.flush();

        QVERIFY(server.waitForRequests(2));
        const QList<LocalHttpServer::Request> requests = server.requests();
        QCOMPARE(requests[0].method, QByteArray("POST"));
        QCOMPARE(requests[0].target, QByteArray("/v1/ai?trace=1"));
        QCOMPARE(requests[0].path, QByteArray("/v1/ai"));
        QCOMPARE(requests[0].header("X-Murmora-App"), QByteArray("s3cret"));
        QCOMPARE(requests[0].body, body);
        QCOMPARE(requests[0].json().value("max_tokens").toInt(), 100);
        QCOMPARE(requests[1].method, QByteArray("GET"));
        QVERIFY(requests[1].body.isEmpty());
        QCOMPARE(requests[1].connection, requests[0].connection);

        QByteArray answers;
        QVERIFY(QTest::qWaitFor(
            [&] {
                answers += socket.readAll();
                return answers.contains("not found\n");
            },
            5000));
        QVERIFY(answers.startsWith("HTTP/1.1 200 OK\r\n"));
        QVERIFY(answers.contains("Content-Length: 13\r\n\r\n{\"text\":\"hi\"}HTTP/1.1 404 Not Found\r\n"));
    }

    // Queued answers come first, in order, then the standing one; other paths get the fallback. A real
    // client reuses its connection for all of them.
    void answersPerPath() {
        LocalHttpServer server;
        server.enqueue("/v1/ai", Response::json("{\"error\":\"boom\"}", 500));
        server.enqueue("/v1/ai", Response::json("{\"text\":\"second\"}"));
        server.setResponse("/v1/ai", Response::json("{}", 429).withHeader("Retry-After", "3600"));
        server.setFallback(Response::text("teapot", 418));

        QNetworkAccessManager manager;
        auto post = [&](const QString& path) {
            QNetworkRequest request(server.url(path));
            request.setHeader(QNetworkRequest::ContentTypeHeader, "application/json");
            request.setRawHeader("x-murmora-device", "DEVICE-1");
            QNetworkReply* reply = manager.post(request, QByteArray("{\"prompt\":\"p\"}"));
            QSignalSpy finished(reply, &QNetworkReply::finished);
            [&] { QVERIFY(finished.wait(5000)); }();
            reply->deleteLater();
            return std::make_pair(reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt(),
                                  reply->readAll());
        };
        QCOMPARE(post("/v1/ai"), std::make_pair(500, QByteArray("{\"error\":\"boom\"}")));
        QCOMPARE(post("/v1/ai"), std::make_pair(200, QByteArray("{\"text\":\"second\"}")));
        QCOMPARE(post("/v1/ai"), std::make_pair(429, QByteArray("{}")));
        QCOMPARE(post("/v1/ai"), std::make_pair(429, QByteArray("{}")));
        QCOMPARE(post("/elsewhere"), std::make_pair(418, QByteArray("teapot")));

        const QList<LocalHttpServer::Request> requests = server.requests();
        QCOMPARE(requests.size(), 5);
        for (const LocalHttpServer::Request& request : requests) {
            QCOMPARE(request.header("x-murmora-device"), QByteArray("DEVICE-1"));
            QCOMPARE(request.body, QByteArray("{\"prompt\":\"p\"}"));
        }
        QCOMPARE(server.connectionCount(), 1);
    }

    // Event-stream pieces reach the client one by one, as they are sent, not all at the end.
    void streamsPiecesOverTime() {
        LocalHttpServer server;
        const QList<QByteArray> pieces{"data: {\"n\":1}\n\n", "data: {\"n\":2}\n\n", "data: [DONE]\n\n"};
        server.setResponse("/v1/chat", Response::events(pieces, 150));

        QNetworkAccessManager manager;
        QNetworkRequest request(server.url("/v1/chat"));
        request.setHeader(QNetworkRequest::ContentTypeHeader, "application/json");
        QNetworkReply* reply = manager.post(request, QByteArray("{}"));
        QElapsedTimer clock;
        clock.start();
        QList<qint64> arrivals;
        QByteArray received;
        connect(reply, &QNetworkReply::readyRead, this, [&] {
            received += reply->readAll();
            arrivals.append(clock.elapsed());
        });
        QSignalSpy finished(reply, &QNetworkReply::finished);
        QVERIFY(finished.wait(5000));
        received += reply->readAll();
        QCOMPARE(reply->error(), QNetworkReply::NoError);
        QCOMPARE(reply->header(QNetworkRequest::ContentTypeHeader).toString(),
                 QStringLiteral("text/event-stream"));
        QCOMPARE(received, pieces.join());
        QVERIFY(arrivals.size() >= 3);
        QVERIFY2(arrivals.last() - arrivals.first() >= 250,
                 qPrintable(QString::number(arrivals.last() - arrivals.first())));
        delete reply;
    }

    // A body broken off, and a connection closed without an answer, are failures for the client.
    void breaksConnections() {
        LocalHttpServer server;
        Response cut = Response::json(QByteArray(4000, 'x'));
        cut.dropMidBody = true;
        server.setResponse("/cut", cut);
        Response cutStream = Response::events({"data: 1\n\n", "data: 2\n\n"}, 20);
        cutStream.dropMidBody = true;
        server.setResponse("/cut-stream", cutStream);
        server.setResponse("/hang-up", Response::hangingUp());

        QNetworkAccessManager manager;
        for (const char* path : {"/cut", "/cut-stream", "/hang-up"}) {
            QNetworkReply* reply = manager.get(QNetworkRequest(server.url(QString::fromLatin1(path))));
            QSignalSpy finished(reply, &QNetworkReply::finished);
            QVERIFY(finished.wait(5000));
            QVERIFY2(reply->error() != QNetworkReply::NoError, path);
            delete reply;
        }
    }
};

QTEST_GUILESS_MAIN(LocalHttpServerTest)
#include "LocalHttpServerTest.moc"
