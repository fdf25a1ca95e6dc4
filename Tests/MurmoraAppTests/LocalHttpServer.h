#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QList>
#include <QPair>
#include <QString>
#include <QThread>
#include <QUrl>
#include <memory>

struct LocalHttpServerState;

// A real HTTP/1.1 server on 127.0.0.1 and an ephemeral port, for tests of code that talks HTTP. It runs on a
// thread of its own, so it answers even while the test's thread blocks. It records every request in full
// and answers each with a canned response: per path, optionally queued one-shot responses first, else a
// fallback (404 unless set). Responses can wait before answering, stream their body in delayed chunks
// (server-sent events), break the connection in the middle of the body, or hang up without answering.
// Connections are kept alive, so one connection can carry several requests. Request bodies are read by their
// Content-Length, however many pieces they arrive in.
class LocalHttpServer {
public:
    using Headers = QList<QPair<QByteArray, QByteArray>>;

    struct Request {
        QByteArray method;
        QByteArray target; // as sent, with the query
        QByteArray path;   // the target without its query
        QByteArray version;
        Headers headers; // in the order sent, names as sent
        QByteArray body;
        int connection = 0; // numbers the TCP connections from 1, in the order accepted

        // The first header of that name, compared without case; empty when absent.
        QByteArray header(QByteArrayView name) const;
        bool hasHeader(QByteArrayView name) const;
        // The body as a JSON object; empty when it is none.
        QJsonObject json() const;
    };

    struct Chunk {
        QByteArray data;
        int delayMs = 0; // before this chunk is sent
    };

    struct Response {
        int status = 200;
        Headers headers;
        QByteArray body;
        // When not empty, the body goes out in these pieces with chunked transfer encoding, and `body` is
        // not used.
        QList<Chunk> chunks;
        int delayMs = 0;          // before the status line is sent
        bool dropMidBody = false; // close the connection before the body is complete
        bool hangUp = false;      // close the connection at once, with no answer at all

        Response& withHeader(const QByteArray& name, const QByteArray& value);

        static Response json(const QByteArray& body, int status = 200);
        static Response text(const QByteArray& body, int status = 200);
        // A text/event-stream whose pieces follow each other `delayMs` apart.
        static Response events(const QList<QByteArray>& pieces, int delayMs = 0);
        static Response hangingUp();
    };

    // Starts listening. Throws std::runtime_error when no port can be had.
    LocalHttpServer();
    ~LocalHttpServer();
    LocalHttpServer(const LocalHttpServer&) = delete;
    LocalHttpServer& operator=(const LocalHttpServer&) = delete;

    quint16 port() const { return port_; }
    // "http://127.0.0.1:{port}"
    QString origin() const;
    QUrl url(const QString& path) const;

    // The standing answer for a path (without query), for every request that has no queued answer.
    void setResponse(const QByteArray& path, Response response);
    // An answer for the next request to that path only; several queue up in order.
    void enqueue(const QByteArray& path, Response response);
    // The answer for paths that have none.
    void setFallback(Response response);

    QList<Request> requests() const;
    int requestCount() const;
    // Waits, running the calling thread's events, until at least `count` requests have arrived.
    bool waitForRequests(int count, int timeoutMs = 5000) const;
    // How many connections have been accepted so far.
    int connectionCount() const;

private:
    std::shared_ptr<LocalHttpServerState> state_;
    QThread thread_;
    QObject* worker_ = nullptr;
    quint16 port_ = 0;
};
