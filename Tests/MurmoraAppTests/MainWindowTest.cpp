#include "MessagesDatabase.h"
#include "State/AppState.h"

#include <QDir>
#include <QQmlApplicationEngine>
#include <QQuickItem>
#include <QQuickWindow>
#include <QTemporaryDir>
#include <QTest>

using murmora::AppState;

// The window comes up, checks access by itself, and shows each phase; a screenshot of each phase is left in
// the build folder for review.
class MainWindowTest : public QObject {
    Q_OBJECT

private slots:
    void init() {
        home_ = std::make_unique<QTemporaryDir>();
        QVERIFY(home_->isValid());
        qputenv("HOME", home_->path().toUtf8());
    }

    void showsNeedsAccessThenReady() {
        AppState state(nullptr);
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

        QDir().mkpath(home_->path() + QStringLiteral("/Library/Messages"));
        {
            demohome::MessagesDatabase db(
                (home_->path() + QStringLiteral("/Library/Messages/chat.db")).toStdString());
            const std::int64_t handle = db.addHandle("+15550002222");
            const std::int64_t chat = db.addChat("iMessage;-;+15550002222", demohome::kChatStyleOneToOne,
                                                 std::nullopt, "+15550002222");
            db.joinChatHandle(chat, handle);
            demohome::MessageRow row;
            row.guid = "ONE";
            row.text = "hello";
            row.handleId = handle;
            row.date = 700'000'000'000'000'000;
            db.joinChatMessage(chat, db.addMessage(row), row.date);
        }
        state.checkAccess();
        QTRY_COMPARE_WITH_TIMEOUT(state.phase(), AppState::Phase::Ready, 10000);
        QCOMPARE(title->property("text").toString(), QStringLiteral("Ready"));
        QCOMPARE(detail->property("text").toString(), QStringLiteral("1 people \u00b7 1 messages"));
        save(window, QStringLiteral("ready"));
    }

private:
    static void save(QQuickWindow* window, const QString& name) {
        const QImage image = window->grabWindow();
        QVERIFY(!image.isNull());
        image.save(QStringLiteral(MURMORA_SCREENSHOT_DIR "/window-%1.png").arg(name));
    }

    std::unique_ptr<QTemporaryDir> home_;
};

QTEST_MAIN(MainWindowTest)
#include "MainWindowTest.moc"
