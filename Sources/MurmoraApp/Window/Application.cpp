#include "Window/Application.h"

#include "MessageSources/DatabaseCopier.h"
#include "State/AppState.h"
#include "Window/Appearance.h"

#include <QGuiApplication>
#include <QIcon>
#include <QQmlApplicationEngine>
#include <QQuickItem>
#include <QQuickWindow>
#include <QTimer>
#include <cstdio>

namespace murmora {
namespace {

constexpr int selfTestSeconds = 300;

void fail(const QString& reason) {
    std::fprintf(stderr, "self-test: %s\n", qPrintable(reason));
    QCoreApplication::exit(1);
}

// Watches the state until the window shows the main screen on learned data.
void watchSelfTest(AppState& state, QQmlApplicationEngine& engine) {
    const auto check = [&state, &engine] {
        switch (state.phase()) {
        case AppState::Phase::NeedsAccess:
            fail(QStringLiteral("cannot read the Messages database in $HOME/Library/Messages"));
            return;
        case AppState::Phase::Failed:
            fail(QStringLiteral("learning failed: ") + state.failureText());
            return;
        case AppState::Phase::Ready:
            break;
        default:
            return;
        }
        if (state.threadCount() == 0) {
            return; // the quiet run after a restored profile brings the threads
        }
        auto* window = engine.rootObjects().isEmpty()
                           ? nullptr
                           : qobject_cast<QQuickWindow*>(engine.rootObjects().first());
        auto* screen = window ? window->findChild<QQuickItem*>(state.showWalkthrough()
                                                                   ? QStringLiteral("walkthroughView")
                                                                   : QStringLiteral("mainView"))
                              : nullptr;
        if (screen == nullptr || !screen->isVisible()) {
            return;
        }
        std::printf("self-test: the window shows %d people and %d messages\n", state.threadCount(),
                    state.messageCount());
        QCoreApplication::exit(0);
    };
    auto* poll = new QTimer(&state);
    QObject::connect(poll, &QTimer::timeout, &state, check);
    poll->start(100);
    QTimer::singleShot(selfTestSeconds * 1000, &state, [] {
        fail(QStringLiteral("the window was not ready within %1 s").arg(selfTestSeconds));
    });
}

} // namespace

int runApplication(int argc, char* argv[]) {
    prepareStyle();
    QGuiApplication app(argc, argv);
    QGuiApplication::setApplicationName(QStringLiteral("Murmora"));
    QGuiApplication::setOrganizationName(QStringLiteral("Murmora"));
    QGuiApplication::setWindowIcon(QIcon(QStringLiteral(":/Murmora/symbols/murmora.svg")));
    applyAppearance(app, Appearance::system);
    const bool selfTest = QCoreApplication::arguments().contains(QStringLiteral("--self-test"));
    // Copies left behind by a process that ended before it could remove them.
    dovrel::DatabaseCopier::removeStaleCopies();

    AppState state(nullptr);
    QQmlApplicationEngine engine;
    addModuleImports(engine);
    QObject::connect(
        &engine, &QQmlApplicationEngine::objectCreationFailed, &app, [] { QCoreApplication::exit(1); },
        Qt::QueuedConnection);
    engine.load(QUrl(QStringLiteral("qrc:/Murmora/qml/Main.qml")));
    if (selfTest) {
        if (engine.rootObjects().isEmpty()) {
            std::fprintf(stderr, "self-test: the window did not load\n");
            return 1;
        }
        watchSelfTest(state, engine);
    }
    return QGuiApplication::exec();
}

} // namespace murmora
