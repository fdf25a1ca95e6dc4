#include "LocalHttpServer.h"

#include <QHostAddress>
#include <QMutex>
#include <QMutexLocker>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTest>
#include <QTimer>
#include <deque>
#include <map>
#include <stdexcept>

using Request = LocalHttpServer::Request;
using Response = LocalHttpServer::Response;

struct LocalHttpServerState {
    mutable QMutex mutex;
    std::map<QByteArray, Response> standing;
    std::map<QByteArray, std::deque<Response>> queued;
    QList<Request> requests;

    Response answer(const Request& request) {
        QMutexLocker lock(&mutex);
        requests.append(request);
        if (auto queue = queued.find(request.path); queue != queued.end() && !queue->second.empty()) {
            Response response = queue->second.front();
            queue->second.pop_front();
            return response;
        }
        const auto found = standing.find(request.path);
        return found != standing.end() ? found->second : Response::text("not found\n", 404);
    }
};

namespace {

// One accepted connection: reads requests one after another and answers each in turn.
class Connection : public QObject {
public:
    Connection(QTcpSocket* socket, std::shared_ptr<LocalHttpServerState> state, QObject* parent)
        : QObject(parent)
        , socket_(socket)
        , state_(std::move(state)) {
        socket_->setParent(this);
        connect(socket_, &QTcpSocket::readyRead, this, [this] {
            buffer_ += socket_->readAll();
            serve();
        });
        connect(socket_, &QTcpSocket::disconnected, this, &QObject::deleteLater);
    }

private:
    void serve() {
        while (!busy_) {
            const qsizetype headEnd = buffer_.indexOf("\r\n\r\n");
            if (headEnd < 0) {
                return;
            }
            Request request;
            const QList<QByteArray> lines = buffer_.left(headEnd).split('\n');
            const QList<QByteArray> requestLine = lines.value(0).trimmed().split(' ');
            if (requestLine.size() != 3) {
                socket_->disconnectFromHost();
                return;
            }
            request.method = requestLine[0];
            request.target = requestLine[1];
            const qsizetype query = request.target.indexOf('?');
            request.path = query < 0 ? request.target : request.target.left(query);
            for (qsizetype i = 1; i < lines.size(); ++i) {
                const qsizetype colon = lines[i].indexOf(':');
                if (colon > 0) {
                    request.headers.append(
                        {lines[i].left(colon).trimmed(), lines[i].mid(colon + 1).trimmed()});
                }
            }
            const qsizetype length = request.header("Content-Length").toLongLong();
            if (buffer_.size() < headEnd + 4 + length) {
                return; // the rest of the body is still on its way
            }
            request.body = buffer_.mid(headEnd + 4, length);
            buffer_.remove(0, headEnd + 4 + length);
            busy_ = true;
            const Response response = state_->answer(request);
            QTimer::singleShot(response.delayMs, this, [this, response] { respond(response); });
        }
    }

    void respond(const Response& response) {
        if (response.hangUp) {
            socket_->disconnectFromHost();
            return;
        }
        const bool streamed = !response.chunks.isEmpty();
        socket_->write("HTTP/1.1 " + QByteArray::number(response.status) + " Status\r\nContent-Type: " +
                       (streamed ? "text/event-stream" : response.contentType) + "\r\n" +
                       (streamed ? QByteArray("Transfer-Encoding: chunked")
                                 : "Content-Length: " + QByteArray::number(response.body.size())) +
                       "\r\n\r\n");
        if (!streamed) {
            socket_->write(response.dropMidBody ? response.body.left(response.body.size() / 2)
                                                : response.body);
            finish(response);
            return;
        }
        sendChunk(response, 0);
    }

    void sendChunk(const Response& response, qsizetype index) {
        if (index == response.chunks.size()) {
            socket_->write("0\r\n\r\n");
            finish(response);
            return;
        }
        QTimer::singleShot(response.chunks[index].delayMs, this, [this, response, index] {
            const QByteArray& data = response.chunks[index].data;
            if (!data.isEmpty()) { // an empty chunk would end the body early
                socket_->write(QByteArray::number(data.size(), 16) + "\r\n" + data + "\r\n");
                socket_->flush();
            }
            if (response.dropMidBody && index + 1 == response.chunks.size()) {
                socket_->disconnectFromHost();
                return;
            }
            sendChunk(response, index + 1);
        });
    }

    void finish(const Response& response) {
        socket_->flush();
        if (response.dropMidBody) {
            socket_->disconnectFromHost();
            return;
        }
        busy_ = false;
        QTimer::singleShot(0, this, [this] { serve(); }); // a pipelined request may already wait
    }

    QTcpSocket* socket_;
    std::shared_ptr<LocalHttpServerState> state_;
    QByteArray buffer_;
    bool busy_ = false;
};

} // namespace

QByteArray Request::header(QByteArrayView name) const {
    for (const auto& [key, value] : headers) {
        if (key.compare(name, Qt::CaseInsensitive) == 0) {
            return value;
        }
    }
    return {};
}

Response Response::json(const QByteArray& body, int status) {
    Response response = text(body, status);
    response.contentType = "application/json";
    return response;
}

Response Response::text(const QByteArray& body, int status) {
    Response response;
    response.status = status;
    response.body = body;
    return response;
}

Response Response::events(const QList<QByteArray>& pieces, int delayMs) {
    Response response;
    for (const QByteArray& piece : pieces) {
        response.chunks.append({piece, delayMs});
    }
    return response;
}

Response Response::hangingUp() {
    Response response;
    response.hangUp = true;
    return response;
}

LocalHttpServer::LocalHttpServer()
    : state_(std::make_shared<LocalHttpServerState>()) {
    thread_.start();
    listener_ = new QObject;
    listener_->moveToThread(&thread_);
    QMetaObject::invokeMethod(
        listener_,
        [this] {
            auto* server = new QTcpServer(listener_);
            if (!server->listen(QHostAddress::LocalHost, 0)) {
                return;
            }
            port_ = server->serverPort();
            QObject::connect(server, &QTcpServer::newConnection, listener_, [this, server] {
                while (QTcpSocket* socket = server->nextPendingConnection()) {
                    new Connection(socket, state_, listener_);
                }
            });
        },
        Qt::BlockingQueuedConnection);
    if (port_ == 0) {
        stop();
        throw std::runtime_error("LocalHttpServer: cannot listen on 127.0.0.1");
    }
}

LocalHttpServer::~LocalHttpServer() {
    stop();
}

void LocalHttpServer::stop() {
    // The listener takes the server and its connections with it, on its own thread.
    QMetaObject::invokeMethod(
        listener_, [this] { delete listener_; }, Qt::BlockingQueuedConnection);
    thread_.quit();
    thread_.wait();
}

QString LocalHttpServer::origin() const {
    return QStringLiteral("http://127.0.0.1:%1").arg(port_);
}

void LocalHttpServer::setResponse(const QByteArray& path, Response response) {
    QMutexLocker lock(&state_->mutex);
    state_->standing.insert_or_assign(path, std::move(response));
}

void LocalHttpServer::enqueue(const QByteArray& path, Response response) {
    QMutexLocker lock(&state_->mutex);
    state_->queued[path].push_back(std::move(response));
}

QList<Request> LocalHttpServer::requests() const {
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
