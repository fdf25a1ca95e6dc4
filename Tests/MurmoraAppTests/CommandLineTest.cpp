#include "Cli/CommandLine.h"

#include "MessagesDatabase.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>
#include <sstream>

class CommandLineTest : public QObject {
    Q_OBJECT

private slots:
    void init() {
        home_ = std::make_unique<QTemporaryDir>();
        QVERIFY(home_->isValid());
        qputenv("HOME", home_->path().toUtf8());
    }

    void readPrintsProgressAndWhatWasFound() {
        QDir().mkpath(home_->path() + QStringLiteral("/Library/Messages"));
        {
            demohome::MessagesDatabase db(
                (home_->path() + QStringLiteral("/Library/Messages/chat.db")).toStdString());
            const std::int64_t handle = db.addHandle("+15550003333");
            const std::int64_t chat = db.addChat("iMessage;-;+15550003333", demohome::kChatStyleOneToOne,
                                                 std::string("Cam"), "+15550003333");
            db.joinChatHandle(chat, handle);
            for (int i = 0; i < 4; ++i) {
                demohome::MessageRow row;
                row.guid = "G" + std::to_string(i);
                if (i != 3) {
                    row.text = "hi " + std::to_string(i); // the last row has no text at all
                }
                row.handleId = handle;
                row.date = 700'000'000'000'000'000 + i;
                db.joinChatMessage(chat, db.addMessage(row), row.date);
            }
        }
        std::ostringstream out;
        std::ostringstream err;
        QCOMPARE(murmora::runCommandLine({QStringLiteral("murmora-cli"), QStringLiteral("read")}, out, err),
                 0);
        const std::string text = out.str();
        QVERIFY2(text.find("Copying your Messages database\u2026\n") != std::string::npos, text.c_str());
        QVERIFY(text.find("People: 1\nMessages: 3\nRows dropped: 1 of 4\n") != std::string::npos);
        QVERIFY(text.find("  +15550003333 (Cam): 3\n") != std::string::npos);
        QVERIFY(err.str().empty());
    }

    void exitCodesTellNoAccessFailureAndMisuse() {
        std::ostringstream out;
        std::ostringstream err;
        QCOMPARE(murmora::runCommandLine({QStringLiteral("murmora-cli"), QStringLiteral("read")}, out, err),
                 2);
        QVERIFY(err.str().find("Library/Messages/chat.db") != std::string::npos);

        QDir().mkpath(home_->path() + QStringLiteral("/Library/Messages"));
        QFile file(home_->path() + QStringLiteral("/Library/Messages/chat.db"));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(QByteArray(4096, '\0') + "not sqlite");
        file.close();
        err.str("");
        QCOMPARE(murmora::runCommandLine({QStringLiteral("murmora-cli"), QStringLiteral("read")}, out, err),
                 1);
        QVERIFY2(err.str().find("Failed(\"") != std::string::npos, err.str().c_str());

        QCOMPARE(
            murmora::runCommandLine({QStringLiteral("murmora-cli"), QStringLiteral("frobnicate")}, out, err),
            64);
        QCOMPARE(murmora::runCommandLine({QStringLiteral("murmora-cli")}, out, err), 64);
    }

private:
    std::unique_ptr<QTemporaryDir> home_;
};

QTEST_GUILESS_MAIN(CommandLineTest)
#include "CommandLineTest.moc"
