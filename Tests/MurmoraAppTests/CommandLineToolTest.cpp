// moc of Qt 6.4 cannot parse the C++20 standard headers behind the core; the test class needs none of them.
#ifndef Q_MOC_RUN
#include "CliProcess.h"
#include "MessageSources/DatabaseCopier.h"
#include "MessageSources/MessageStore.h"
#include "TestHome.h"

#include <fstream>
#include <nlohmann/json.hpp>
#endif

#include <QDateTime>
#include <QDir>
#include <QProcess>
#include <QTest>

// `murmora-cli tool` as a user runs it: the real binary on a demo home, one tool call per run.
class CommandLineToolTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() {
        home_ = std::make_unique<TestHome>();
        qputenv("TZ", "UTC");
        qunsetenv("MURMORA_RELAY_URL");
        qunsetenv("MURMORA_RELAY_SECRET");
        // The binary reads the real clock, so the demo year ends today.
        demohome::DemoHomeOptions options;
        options.outDir = home_->home();
        options.seed = 11;
        options.messages = 4000;
        options.nowUnixSeconds = QDateTime::currentSecsSinceEpoch() / 86400 * 86400;
        options.force = true;
        summary_ = nlohmann::json::parse(std::ifstream(demohome::generateDemoHome(options).summary));
    }

    void searchAndCountPrintStatusThenResult() {
        const dovrel::ReadingCopy copy =
            dovrel::MessageStore::copyForReading(home_->databasePath().toStdString());
        long long dinners = 0;
        for (const dovrel::ContactThread& thread : dovrel::MessageStore(copy.string()).oneToOneThreads()) {
            for (const dovrel::RawMessage& message : thread.messages) {
                dinners +=
                    QString::fromStdString(message.text).toLower().contains(QStringLiteral("dinner")) ? 1 : 0;
            }
        }
        QVERIFY(dinners > 0);

        const CliRun count =
            cli({QStringLiteral("tool"), QStringLiteral("count"), QStringLiteral("{\"terms\":\"Dinner\"}")});
        QCOMPARE(count.code, 0);
        QVERIFY2(count.err.isEmpty(), qPrintable(count.err));
        const QStringList countLines = count.out.split(QLatin1Char('\n'));
        QCOMPARE(countLines[0],
                 QStringLiteral("Counted matches for \u201CDinner\u201D \u2014 %1 total.").arg(dinners));
        QCOMPARE(countLines[1], QStringLiteral("total: %1").arg(dinners));

        const CliRun search = cli({QStringLiteral("tool"), QStringLiteral("search"),
                                   QStringLiteral("{\"terms\":\"dinner\",\"limit\":5}")});
        QCOMPARE(search.code, 0);
        const long long shown = std::min(dinners, 5LL);
        const QStringList searchLines = search.out.trimmed().split(QLatin1Char('\n'));
        QCOMPARE(searchLines[0],
                 QStringLiteral("Searched your texts for \u201Cdinner\u201D \u2014 %1 matches sent securely.")
                     .arg(shown));
        QCOMPARE(searchLines.size(), shown + 1);
        for (qsizetype i = 1; i < searchLines.size(); ++i) {
            QVERIFY2(searchLines[i].toLower().contains(QStringLiteral("dinner")), qPrintable(searchLines[i]));
        }

        // A focused person; an unknown tool is still an answer.
        const CliRun stats = cli({QStringLiteral("tool"), QStringLiteral("person_stats"),
                                  QStringLiteral("--person"), QStringLiteral("a")});
        QCOMPARE(stats.code, 0);
        QVERIFY2(stats.out.startsWith(QStringLiteral("Pulled your stats with ")), qPrintable(stats.out));
        const CliRun unknown = cli({QStringLiteral("tool"), QStringLiteral("frobnicate")});
        QCOMPARE(unknown.code, 0);
        QCOMPARE(unknown.out, QStringLiteral("Tool skipped.\nUnknown tool frobnicate.\n"));
    }

    // The group tools wait for the group chats instead of answering that they are still loading.
    void groupStatsAfterTheGroupLoad() {
        const nlohmann::json* chosen = nullptr;
        for (const nlohmann::json& group : summary_.at("groups")) {
            if (group.contains("name") && group.at("messages").get<int>() >= 25 &&
                group.at("participants").size() >= 2 &&
                (chosen == nullptr || group.at("messages").get<int>() > chosen->at("messages").get<int>())) {
                chosen = &group;
            }
        }
        QVERIFY(chosen != nullptr);
        const QString name = QString::fromStdString(chosen->at("name").get<std::string>());
        const CliRun story =
            cli({QStringLiteral("tool"), QStringLiteral("group_stats"),
                 QString::fromStdString(nlohmann::json{{"group", name.toStdString()}}.dump())});
        QCOMPARE(story.code, 0);
        const QStringList lines = story.out.split(QLatin1Char('\n'));
        QCOMPARE(lines[0], QStringLiteral("Pulled the story of %1.").arg(name));
        QCOMPARE(lines[1], QStringLiteral("%1: %2 people, %3 messages")
                               .arg(name)
                               .arg(chosen->at("participants").size() + 1)
                               .arg(chosen->at("messages").get<int>()));

        const CliRun groups = cli({QStringLiteral("tool"), QStringLiteral("groups")});
        QCOMPARE(groups.code, 0);
        QVERIFY2(groups.out.startsWith(QStringLiteral("Pulled your group chats.\n")), qPrintable(groups.out));
        QVERIFY(groups.out.contains(name + QStringLiteral(" \u2014 ")));
        // Every copy a run made (messages, address book, group load) went when its read ended.
        QCOMPARE(QDir(home_->path() + "/tmp").entryList({QStringLiteral("murmora-*")}, QDir::Dirs),
                 QStringList());
    }

    void misuseAndMissingAccess() {
        CliRun run = cli({QStringLiteral("tool"), QStringLiteral("search"), QStringLiteral("{bad")});
        QCOMPARE(run.code, 64);
        QVERIFY2(run.err.contains(QStringLiteral("not valid JSON")), qPrintable(run.err));
        QVERIFY(run.out.isEmpty());
        QCOMPARE(cli({QStringLiteral("tool"), QStringLiteral("search"), QStringLiteral("[1]")}).code, 64);
        QCOMPARE(cli({QStringLiteral("tool")}).code, 64);
        QCOMPARE(cli({QStringLiteral("tool"), QStringLiteral("search"), QStringLiteral("{}"),
                      QStringLiteral("extra")})
                     .code,
                 64);
        QCOMPARE(cli({QStringLiteral("tool"), QStringLiteral("overview"), QStringLiteral("--person")}).code,
                 64);
        QCOMPARE(cli({QStringLiteral("tool"), QString(), QStringLiteral("{}")}).code, 64);
        run = cli({QStringLiteral("tool"), QStringLiteral("search"), QStringLiteral("--help")});
        QCOMPARE(run.code, 0);
        QVERIFY(run.out.startsWith(QStringLiteral("usage: murmora-cli tool NAME")));

        run = cli({QStringLiteral("tool"), QStringLiteral("overview"), QStringLiteral("--person"),
                   QStringLiteral("Zzyzx")});
        QCOMPARE(run.code, 1);
        QVERIFY(run.err.contains(QStringLiteral("Zzyzx")));

        const TestHome empty;
        run = cli({QStringLiteral("tool"), QStringLiteral("overview")});
        QCOMPARE(run.code, 2);
        QVERIFY(run.err.contains(QStringLiteral("Library/Messages/chat.db")));
    }

    // A profile learned over a long history is read back over its own period, and a run that fails says why.
    void readsOverTheLearnedPeriod() {
        const TestHome old;
        demohome::DemoHomeOptions options;
        options.outDir = old.home();
        options.messages = 1500;
        options.nowUnixSeconds = QDateTime::currentSecsSinceEpoch() - 3 * 365 * 86400;
        demohome::generateDemoHome(options);
        QCOMPARE(cli({QStringLiteral("learn"), QStringLiteral("--days"), QStringLiteral("2000")}).code, 0);
        const CliRun overview = cli({QStringLiteral("tool"), QStringLiteral("overview")});
        QVERIFY2(overview.code == 0 && overview.out.contains(QStringLiteral("top people: ")),
                 qPrintable(overview.err));
        const CliRun recent = cli({QStringLiteral("tool"), QStringLiteral("overview"),
                                   QStringLiteral("--days"), QStringLiteral("30")});
        QCOMPARE(recent.code, 1);
        QCOMPARE(recent.err, QStringLiteral("No messages found in the last 30 days.\n"));
    }

private:
    static CliRun cli(const QStringList& arguments) {
        return CliRun::of(QStringLiteral(MURMORA_CLI), arguments);
    }

    std::unique_ptr<TestHome> home_;
    nlohmann::json summary_;
};

QTEST_GUILESS_MAIN(CommandLineToolTest)
#include "CommandLineToolTest.moc"
