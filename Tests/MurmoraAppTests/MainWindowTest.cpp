// moc of Qt 6.4 cannot parse the C++20 standard headers behind the core; the test class needs none of them.
#ifndef Q_MOC_RUN
#include "State/AppState.h"
#include "TestHome.h"
#endif

#include <QDir>
#include <QQmlApplicationEngine>
#include <QQuickItem>
#include <QQuickWindow>
#include <QStandardPaths>
#include <QTest>

using murmora::AppState;

// The window comes up, checks access by itself, and shows each phase; a screenshot of each phase is left in
// the build folder for review.
class MainWindowTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }
    void init() { home_ = std::make_unique<TestHome>(); }

    void showsNeedsAccessThenReady() {
        AppState state(nullptr);
        state.setEnvironment(home_->environment());
        state.setRevealPause(std::chrono::milliseconds(0));
        QQmlApplicationEngine engine;
        engine.load(QUrl(QStringLiteral("qrc:/Murmora/qml/Main.qml")));
        QCOMPARE(engine.rootObjects().size(), 1);
        auto* window = qobject_cast<QQuickWindow*>(engine.rootObjects().first());
        QVERIFY(window != nullptr);
        QVERIFY(QTest::qWaitForWindowExposed(window));

        auto* title = window->findChild<QQuickItem*>(QStringLiteral("phaseTitle"));
        auto* detail = window->findChild<QQuickItem*>(QStringLiteral("phaseDetail"));
        QVERIFY(title != nullptr && detail != nullptr);
        QTRY_COMPARE(state.phase(), AppState::Phase::NeedsAccess);
        QCOMPARE(title->property("text").toString(), QStringLiteral("Murmora needs to read your Messages"));
        save(window, QStringLiteral("needs-access"));

        home_->generate();
        state.checkAccess();
        QTRY_COMPARE_WITH_TIMEOUT(state.phase(), AppState::Phase::Ready, 30000);
        QCOMPARE(title->property("text").toString(), QStringLiteral("Ready"));
        QCOMPARE(detail->property("text").toString(), QStringLiteral("%1 people \u00b7 %2 messages")
                                                          .arg(state.threadCount())
                                                          .arg(state.messageCount()));
        save(window, QStringLiteral("ready"));
    }

private:
    static void save(QQuickWindow* window, const QString& name) {
        const QImage image = window->grabWindow();
        QVERIFY(!image.isNull());
        image.save(QStringLiteral(MURMORA_SCREENSHOT_DIR "/window-%1.png").arg(name));
    }

    std::unique_ptr<TestHome> home_;
};

QTEST_MAIN(MainWindowTest)
#include "MainWindowTest.moc"
