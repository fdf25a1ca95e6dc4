#include "MessageSources/DatabaseCopier.h"
#include "State/AppState.h"

#include <QGuiApplication>
#include <QQmlApplicationEngine>

int main(int argc, char* argv[]) {
    QGuiApplication app(argc, argv);
    QGuiApplication::setApplicationName(QStringLiteral("Murmora"));
    QGuiApplication::setOrganizationName(QStringLiteral("Murmora"));
    // Copies left behind by a process that ended before it could remove them.
    dovrel::DatabaseCopier::removeStaleCopies();

    murmora::AppState state(nullptr);
    QQmlApplicationEngine engine;
    QObject::connect(
        &engine, &QQmlApplicationEngine::objectCreationFailed, &app, [] { QCoreApplication::exit(1); },
        Qt::QueuedConnection);
    engine.load(QUrl(QStringLiteral("qrc:/Murmora/qml/Main.qml")));
    return QGuiApplication::exec();
}
