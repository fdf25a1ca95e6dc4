#pragma once

#include <QFuture>
#include <QHostAddress>
#include <QTcpServer>
#include <QTest>
#include <stdexcept>

// Waits for a call, running the test thread's events, and gives its value or rethrows its failure.
template <typename T> T await(QFuture<T> future, int timeoutMs = 30000) {
    if (!QTest::qWaitFor([&future] { return future.isFinished(); }, timeoutMs)) {
        throw std::runtime_error("the call did not end");
    }
    return future.result();
}

// A port on 127.0.0.1 on which nothing listens.
inline quint16 closedPort() {
    QTcpServer probe;
    if (!probe.listen(QHostAddress::LocalHost, 0)) {
        return 1;
    }
    const quint16 port = probe.serverPort();
    probe.close();
    return port;
}
