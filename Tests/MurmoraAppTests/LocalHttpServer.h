#pragma once

#include <QByteArray>
#include <QList>
#include <QPair>
#include <QString>
#include <QThread>
#include <memory>

struct LocalHttpServerState;

// A real HTTP/1.1 server on 127.0.0.1 and an ephemeral port, on a thread of its own so that it answers while
// the test's thread blocks. It records every request and answers each with the response queued for its path,
// else the one set for it, else 404. A response can wait, stream its body in delayed chunks, break off in the
// middle of the body, or hang up without answering. Connections are kept alive.
class LocalHttpServer {
public:
    struct Request {
        QByteArray method;
        QByteArray target; // as sent, with the query
        QByteArray path;   // without the query
        QList<QPair<QByteArray, QByteArray>> headers;
        QByteArray body;

        // The first header of that name, compared without case; empty when absent.
        QByteArray header(QByteArrayView name) const;
    };

    struct Chunk {
        QByteArray data;
        int delayMs = 0; // before this chunk is sent
    };

    struct Response {
        int status = 200;
        QByteArray contentType = "text/plain; charset=utf-8";
        QByteArray body;
        QList<Chunk> chunks;      // when not empty, sent with chunked encoding instead of `body`
        int delayMs = 0;          // before the status line
        bool dropMidBody = false; // close the connection before the body is complete
        bool hangUp = false;      // close the connection at once, with no answer at all

        static Response json(const QByteArray& body, int status = 200);
        static Response text(const QByteArray& body, int status = 200);
        // A text/event-stream whose pieces follow each other `delayMs` apart.
        static Response events(const QList<QByteArray>& pieces, int delayMs = 0);
        static Response hangingUp();
    };

    LocalHttpServer(); // throws std::runtime_error when no port can be had
    ~LocalHttpServer();
    LocalHttpServer(const LocalHttpServer&) = delete;
    LocalHttpServer& operator=(const LocalHttpServer&) = delete;

    quint16 port() const { return port_; }
    QString origin() const; // "http://127.0.0.1:{port}"

    void setResponse(const QByteArray& path, Response response);
    // For the next request to that path only; several queue up in order.
    void enqueue(const QByteArray& path, Response response);

    QList<Request> requests() const;
    int requestCount() const;
    // Runs the calling thread's events until at least `count` requests have arrived.
    bool waitForRequests(int count, int timeoutMs = 5000) const;

private:
    void stop();

    std::shared_ptr<LocalHttpServerState> state_;
    QThread thread_;
    QObject* listener_ = nullptr;
    quint16 port_ = 0;
};
