#include "State/AppState.h"

#include "MessagesDatabase.h"

#include <QDir>
#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using murmora::AppState;

namespace {

// Writes Library/Messages/chat.db under `home` with one person and `count` messages.
void writeMessages(const QString& home, int count) {
    QDir().mkpath(home + QStringLiteral("/Library/Messages"));
    demohome::MessagesDatabase db((home + QStringLiteral("/Library/Messages/chat.db")).toStdString());
    const std::int64_t handle = db.addHandle("+15550001111");
    const std::int64_t chat =
        db.addChat("iMessage;-;+15550001111", demohome::kChatStyleOneToOne, std::nullopt, "+15550001111");
    db.joinChatHandle(chat, handle);
    for (int i = 0; i < count; ++i) {
        demohome::MessageRow row;
        row.guid = "G" + std::to_string(i);
        row.text = "message " + std::to_string(i);
        row.handleId = handle;
        row.date = (700'000'000 + i * 60) * std::int64_t{1'000'000'000};
        row.isFromMe = i % 2 == 0;
        db.joinChatMessage(chat, db.addMessage(row), row.date);
    }
}

} // namespace

class AppStateTest : public QObject {
    Q_OBJECT

private slots:
    void init() {
        home_ = std::make_unique<QTemporaryDir>();
        QVERIFY(home_->isValid());
        qputenv("HOME", home_->path().toUtf8());
    }

    void startsCheckingAccessWithTheFirstLine() {
        AppState state(nullptr);
        QCOMPARE(state.phase(), AppState::Phase::CheckingAccess);
        QCOMPARE(state.learningFact(), QStringLiteral("Reading your messages\u2026"));
        QCOMPARE(state.threadCount(), 0);
    }

    void missingDatabaseNeedsAccessAndThePollLearnsOnceItAppears() {
        AppState state(nullptr);
        QSignalSpy finished(&state, &AppState::runFinished);
        state.checkAccess();
        QCOMPARE(state.phase(), AppState::Phase::NeedsAccess);
        QTest::qWait(50);
        QCOMPARE(finished.count(), 0); // no run was started

        writeMessages(home_->path(), 12);
        state.checkAccess();
        QCOMPARE(state.phase(), AppState::Phase::Learning);
        QVERIFY(finished.wait(10000));
        QCOMPARE(state.phase(), AppState::Phase::Ready);
        QCOMPARE(state.threadCount(), 1);
        QCOMPARE(state.messageCount(), 12);
    }

    void progressLinesReachTheScreenInOrder() {
        writeMessages(home_->path(), 3);
        AppState state(nullptr);
        QStringList shown;
        connect(&state, &AppState::factShown, this, [&shown](const QString& fact) { shown << fact; });
        QSignalSpy finished(&state, &AppState::runFinished);
        state.checkAccess();
        QVERIFY(finished.wait(10000));
        QCOMPARE(shown, (QStringList{QStringLiteral("Reading your messages\u2026"),
                                     QStringLiteral("Copying your Messages database\u2026"),
                                     QStringLiteral("Reading your conversations\u2026")}));
    }

    void damagedDatabaseFailsWithTheErrorsPrintableForm() {
        QDir().mkpath(home_->path() + QStringLiteral("/Library/Messages"));
        QFile file(home_->path() + QStringLiteral("/Library/Messages/chat.db"));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(QByteArray(8192, 'x'));
        file.close();

        AppState state(nullptr);
        QSignalSpy finished(&state, &AppState::runFinished);
        state.checkAccess();
        QVERIFY(finished.wait(10000));
        QCOMPARE(state.phase(), AppState::Phase::Failed);
        QCOMPARE(state.failureText(), QStringLiteral("prepareFailed(\"file is not a database\")"));

        // A silent run that fails changes nothing the user sees.
        QSignalSpy phaseChanges(&state, &AppState::phaseChanged);
        state.learn(365, true);
        QTest::qWait(300);
        QCOMPARE(phaseChanges.count(), 0);
        QCOMPARE(state.phase(), AppState::Phase::Failed);
    }

    void silentRunMovesToReadyWithoutLearningScreen() {
        writeMessages(home_->path(), 5);
        AppState state(nullptr);
        QSignalSpy facts(&state, &AppState::factShown);
        QSignalSpy finished(&state, &AppState::runFinished);
        state.learn(365, true);
        QCOMPARE(state.phase(), AppState::Phase::CheckingAccess);
        QVERIFY(finished.wait(10000));
        QCOMPARE(state.phase(), AppState::Phase::Ready);
        QCOMPARE(facts.count(), 0);
        QCOMPARE(state.messageCount(), 5);
    }

private:
    std::unique_ptr<QTemporaryDir> home_;
};

QTEST_GUILESS_MAIN(AppStateTest)
#include "AppStateTest.moc"
