#include "LocalHttpServer.h"

#include <QHostAddress>
#include <QJsonDocument>
#include <QMutex>
#include <QMutexLocker>
#include <QPointer>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTest>
#include <QTimer>
#include <map>
#include <stdexcept>
#include <vector>

struct LocalHttpServerState {
    using Response = LocalHttpServer::Response;

    mutable QMutex mutex;
    std::map<QByteArray, Response> standing;
    std::map<QByteArray, std::vector<Response>> queued;
    Response fallback = Response::text("not found\n", 404);
    QList<LocalHttpServer::Request> requests;
    int connections = 0;

    // Records the request and picks its answer.
    Response answer(const LocalHttpServer::Request& request) {
        QMutexLocker lock(&mutex);
        requests.append(request);
        if (auto queue = queued.find(request.path); queue != queued.end() && !queue->second.empty()) {
            Response response = queue->second.front();
            queue->second.erase(queue->second.begin());
            return response;
        }
        if (auto found = standing.find(request.path); found != standing.end()) {
            return found->second;
        }
        return fallback;
    }
};

namespace {

using Request = LocalHttpServer::Request;
using Response = LocalHttpServer::Response;

QByteArray reasonPhrase(int status) {
    switch (status) {
    case 200:
        return "OK";
    case 201:
        return "Created";
    case 204:
        return "No Content";
    case 400:
        return "Bad Request";
    case 401:
        return "Unauthorized";
    case 403:
        return "Forbidden";
    case 404:
        return "Not Found";
    case 429:
        return "Too Many Requests";
    case 500:
        return "Internal Server Error";
    case 502:
        return "Bad Gateway";
    case 503:
        return "Service Unavailable";
    default:
        return "Status";
    }
}

bool hasHeader(const LocalHttpServer::Headers& headers, QByteArrayView name) {
    for (const auto& [key, value] : headers) {
        if (key.compare(name, Qt::CaseInsensitive) == 0) {
            return true;
        }
    }
    return false;
}

// One accepted TCP connection: reads requests one after another and answers each in turn.
class Connection : public QObject {
public:
    Connection(QTcpSocket* socket, int number, std::shared_ptr<LocalHttpServerState> state, QObject* parent)
        : QObject(parent)
        , socket_(socket)
        , number_(number)
        , state_(std::move(state)) {
        socket_->setParent(this);
        connect(socket_, &QTcpSocket::readyRead, this, [this] {
            buffer_ += socket_->readAll();
            serve();
        });
        connect(socket_, &QTcpSocket::disconnected, this, &QObject::deleteLater);
    }

private:
    // Parses as many complete requests as the buffer holds, answering them one at a time.
    void serve() {
        while (!busy_) {
            const qsizetype headEnd = buffer_.indexOf("\r\n\r\n");
            if (headEnd < 0) {
                return;
            }
            Request request;
            request.connection = number_;
            const QList<QByteArray> lines = buffer_.left(headEnd).split('\n');
            const QList<QByteArray> requestLine = lines.value(0).trimmed().split(' ');
            if (requestLine.size() != 3) {
                fail();
                return;
            }
            request.method = requestLine[0];
            request.target = requestLine[1];
            request.version = requestLine[2];
            request.path = request.target.left(request.target.indexOf('?'));
            if (request.path.isEmpty()) {
                request.path = request.target;
            }
            for (qsizetype i = 1; i < lines.size(); ++i) {
                const QByteArray line = lines[i].trimmed();
                const qsizetype colon = line.indexOf(':');
                if (colon > 0) {
                    request.headers.append(
                        qMakePair(line.left(colon).trimmed(), line.mid(colon + 1).trimmed()));
                }
            }

            const qsizetype bodyStart = headEnd + 4;
            qsizetype consumed = bodyStart;
            if (request.hasHeader("Content-Length")) {
                bool ok = false;
                const qsizetype length = request.header("Content-Length").toLongLong(&ok);
                if (!ok || length < 0) {
                    fail();
                    return;
                }
                if (buffer_.size() < bodyStart + length) {
                    return; // the rest of the body is still on its way
                }
                request.body = buffer_.mid(bodyStart, length);
                consumed = bodyStart + length;
            }
            buffer_.remove(0, consumed);
            busy_ = true;
            const Response response = state_->answer(request);
            if (response.delayMs > 0) {
                QTimer::singleShot(response.delayMs, this, [this, response] { respond(response); });
            } else {
                respond(response);
            }
        }
    }

    void fail() {
        socket_->write("HTTP/1.1 400 Bad Request\r\nContent-Length: 0\r\nConnection: close\r\n\r\n");
        socket_->disconnectFromHost();
    }

    void respond(const Response& response) {
        if (response.hangUp) {
            socket_->disconnectFromHost();
            return;
        }
        const bool streamed = !response.chunks.isEmpty();
        QByteArray head =
            "HTTP/1.1 " + QByteArray::number(response.status) + ' ' + reasonPhrase(response.status) + "\r\n";
        for (const auto& [name, value] : response.headers) {
            head += name + ": " + value + "\r\n";
        }
        if (streamed && !hasHeader(response.headers, "Transfer-Encoding")) {
            head += "Transfer-Encoding: chunked\r\n";
        } else if (!streamed && !hasHeader(response.headers, "Content-Length")) {
            head += "Content-Length: " + QByteArray::number(response.body.size()) + "\r\n";
        }
        head += "\r\n";
        socket_->write(head);

        const bool closeAfter = [&] {
            for (const auto& [name, value] : response.headers) {
                if (name.compare("Connection", Qt::CaseInsensitive) == 0 &&
                    value.compare("close", Qt::CaseInsensitive) == 0) {
                    return true;
                }
            }
            return false;
        }();

        if (!streamed) {
            if (response.dropMidBody) {
                socket_->write(response.body.left(response.body.size() / 2));
                socket_->disconnectFromHost();
                return;
            }
            socket_->write(response.body);
            finish(closeAfter);
            return;
        }
        sendChunk(response, 0, closeAfter);
    }

    void sendChunk(const Response& response, qsizetype index, bool closeAfter) {
        if (index == response.chunks.size()) {
            if (response.dropMidBody) {
                socket_->disconnectFromHost();
                return;
            }
            socket_->write("0\r\n\r\n");
            finish(closeAfter);
            return;
        }
        const Chunk& chunk = response.chunks[index];
        auto send = [this, response, index, closeAfter] {
            const QByteArray& data = response.chunks[index].data;
            // An empty chunk would end the body early.
            if (!data.isEmpty()) {
                socket_->write(QByteArray::number(data.size(), 16) + "\r\n" + data + "\r\n");
                socket_->flush();
            }
            sendChunk(response, index + 1, closeAfter);
        };
        if (chunk.delayMs > 0) {
            QTimer::singleShot(chunk.delayMs, this, send);
        } else {
            send();
        }
    }

    using Chunk = LocalHttpServer::Chunk;

    void finish(bool closeAfter) {
        socket_->flush();
        if (closeAfter) {
            socket_->disconnectFromHost();
            return;
        }
        busy_ = false;
        // A pipelined request may already wait in the buffer.
        QTimer::singleShot(0, this, [this] { serve(); });
    }

    QTcpSocket* socket_;
    int number_;
    std::shared_ptr<LocalHttpServerState> state_;
    QByteArray buffer_;
    bool busy_ = false;
};

// Lives on the server's thread and owns the listening socket and every connection.
class Listener : public QObject {
public:
    explicit Listener(std::shared_ptr<LocalHttpServerState> state)
        : state_(std::move(state)) {}

    quint16 listen() {
        server_ = new QTcpServer(this);
        if (!server_->listen(QHostAddress::LocalHost, 0)) {
            return 0;
        }
        connect(server_, &QTcpServer::newConnection, this, [this] {
            while (QTcpSocket* socket = server_->nextPendingConnection()) {
                int number = 0;
                {
                    QMutexLocker lock(&state_->mutex);
                    number = ++state_->connections;
                }
                new Connection(socket, number, state_, this);
            }
        });
        return server_->serverPort();
    }

private:
    std::shared_ptr<LocalHttpServerState> state_;
    QTcpServer* server_ = nullptr;
};

} // namespace

QByteArray LocalHttpServer::Request::header(QByteArrayView name) const {
    for (const auto& [key, value] : headers) {
        if (key.compare(name, Qt::CaseInsensitive) == 0) {
            return value;
        }
    }
    return {};
}

bool LocalHttpServer::Request::hasHeader(QByteArrayView name) const {
    return ::hasHeader(headers, name);
}

QJsonObject LocalHttpServer::Request::json() const {
    return QJsonDocument::fromJson(body).object();
}

LocalHttpServer::Response& LocalHttpServer::Response::withHeader(const QByteArray& name,
                                                                 const QByteArray& value) {
    headers.append(qMakePair(name, value));
    return *this;
}

LocalHttpServer::Response LocalHttpServer::Response::json(const QByteArray& body, int status) {
    Response response;
    response.status = status;
    response.body = body;
    response.withHeader("Content-Type", "application/json");
    return response;
}

LocalHttpServer::Response LocalHttpServer::Response::text(const QByteArray& body, int status) {
    Response response;
    response.status = status;
    response.body = body;
    response.withHeader("Content-Type", "text/plain; charset=utf-8");
    return response;
}

LocalHttpServer::Response LocalHttpServer::Response::events(const QList<QByteArray>& pieces, int delayMs) {
    Response response;
    response.withHeader("Content-Type", "text/event-stream");
    response.withHeader("Cache-Control", "no-cache");
    for (const QByteArray& piece : pieces) {
        response.chunks.append({piece, delayMs});
    }
    return response;
}

LocalHttpServer::Response LocalHttpServer::Response::hangingUp() {
    Response response;
    response.hangUp = true;
    return response;
}

LocalHttpServer::LocalHttpServer()
    : state_(std::make_shared<LocalHttpServerState>()) {
    thread_.setObjectName(QStringLiteral("LocalHttpServer"));
    thread_.start();
    auto* listener = new Listener(state_);
    listener->moveToThread(&thread_);
    worker_ = listener;
    QMetaObject::invokeMethod(
        listener, [this, listener] { port_ = listener->listen(); }, Qt::BlockingQueuedConnection);
    if (port_ == 0) {
        QMetaObject::invokeMethod(
            listener, [listener] { delete listener; }, Qt::BlockingQueuedConnection);
        thread_.quit();
        thread_.wait();
        throw std::runtime_error("LocalHttpServer: cannot listen on 127.0.0.1");
    }
}

LocalHttpServer::~LocalHttpServer() {
    // The listener takes its connections with it, on its own thread.
    QObject* listener = worker_;
    QMetaObject::invokeMethod(
        listener, [listener] { delete listener; }, Qt::BlockingQueuedConnection);
    thread_.quit();
    thread_.wait();
}

QString LocalHttpServer::origin() const {
    return QStringLiteral("http://127.0.0.1:%1").arg(port_);
}

QUrl LocalHttpServer::url(const QString& path) const {
    return QUrl(origin() + path);
}

void LocalHttpServer::setResponse(const QByteArray& path, Response response) {
    QMutexLocker lock(&state_->mutex);
    state_->standing.insert_or_assign(path, std::move(response));
}

void LocalHttpServer::enqueue(const QByteArray& path, Response response) {
    QMutexLocker lock(&state_->mutex);
    state_->queued[path].push_back(std::move(response));
}

void LocalHttpServer::setFallback(Response response) {
    QMutexLocker lock(&state_->mutex);
    state_->fallback = std::move(response);
}

QList<LocalHttpServer::Request> LocalHttpServer::requests() const {
    QMutexLocker lock(&state_->mutex);
    return state_->requests;
}

int LocalHttpServer::requestCount() const {
    QMutexLocker lock(&state_->mutex);
    return static_cast<int>(state_->requests.size());
}

bool LocalHttpServer::waitForRequests(int count, int timeoutMs) const {
    return QTest::qWaitFor([this, count] { return requestCount() >= count; }, timeoutMs);
}

int LocalHttpServer::connectionCount() const {
    QMutexLocker lock(&state_->mutex);
    return state_->connections;
}
