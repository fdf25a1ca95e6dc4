// moc of Qt 6.4 cannot parse the C++20 standard headers behind the core; the test class needs none of them.
#ifndef Q_MOC_RUN
#include "Cli/CommandLine.h"

#include "AI/AIError.h"
#include "CliProcess.h"
#include "LocalHttpServer.h"
#include "MessageSources/DatabaseCopier.h"
#include "MessageSources/MessageStore.h"
#include "MessageSources/SQLiteDB.h"
#include "RelayEvents.h"
#include "ScriptedClaude.h"
#include "State/Store.h"
#include "TestHome.h"

#include <fstream>
#include <nlohmann/json.hpp>
#endif

#include <QDateTime>
#include <QTest>
#include <algorithm>
#include <sstream>
#include <sys/stat.h>
#include <tuple>

using Json = nlohmann::json;
using Response = LocalHttpServer::Response;

namespace {

const QByteArray memoryOps = R"({"ops":[{"op":"add","kind":"fact","text":"Laughs with everyone"}]})";

// In the test's own process, for the learn runs.
int run(const QStringList& arguments, std::string& out, std::string& err) {
    std::ostringstream outStream;
    std::ostringstream errStream;
    const int code =
        murmora::runCommandLine(QStringList{QStringLiteral("murmora-cli")} + arguments, outStream, errStream);
    out = outStream.str();
    err = errStream.str();
    return code;
}

CliRun cli(const QStringList& arguments) {
    return CliRun::of(QStringLiteral(MURMORA_CLI), arguments);
}

int daysToReach(std::int64_t unix) {
    return static_cast<int>((dovrel::Date::now().unixTime() - static_cast<double>(unix)) / 86400) + 365;
}

} // namespace

// `murmora-cli` as a user runs it: learn runs in the test's process, the tools and the coach through the real
// binary on a demo home whose year ends today, answered by a `claude` program in the home or by a local
// relay.
class CommandLineTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() {
        home_ = std::make_unique<TestHome>();
        qputenv("TZ", "UTC");
        demohome::DemoHomeOptions options;
        options.outDir = home_->home();
        options.seed = 11;
        options.messages = 4000;
        options.nowUnixSeconds = QDateTime::currentSecsSinceEpoch() / 86400 * 86400;
        options.force = true;
        summary_ = Json::parse(std::ifstream(demohome::generateDemoHome(options).summary));
    }

    void init() {
        home_->use();
        qunsetenv("MURMORA_RELAY_URL");
        qunsetenv("MURMORA_RELAY_SECRET");
        QDir(home_->path() + "/claude").removeRecursively();
        QFile::remove(scriptedclaude::programPath(home_->path()));
    }

    // Each line as it happens, then the recap; the same files as the window saves, the artifacts untouched.
    void learnPrintsLinesAndTheRecapAndKeepsStoredArtifacts() {
        const TestHome home;
        home.generate();
        const int days = daysToReach(TestHome::nowUnix);
        const murmora::Store store;
        dovrel::Artifacts artifacts;
        artifacts.archetypeTitle = "Stored Title";
        artifacts.archetypeBody = "Stored body";
        artifacts.deepDives["+15551230002"] = dovrel::StoredDive{"dive", dovrel::Date{0}, dovrel::Date{0}};
        artifacts.transcripts["+15551230002"] = {
            dovrel::CoachMessage::make(dovrel::CoachMessage::Role::coach, "hello", dovrel::Date{1})};
        artifacts.memory = std::map<std::string, std::vector<dovrel::MemoryEntry>>{};
        store.save(artifacts);

        for (int pass = 0; pass < 2; ++pass) {
            std::string out;
            std::string err;
            QCOMPARE(
                run({QStringLiteral("learn"), QStringLiteral("--days"), QString::number(days)}, out, err), 0);
            QVERIFY2(err.empty(), err.c_str());
            QVERIFY2(out.rfind("Reading your messages\u2026\nCopying your Messages database\u2026\n"
                               "Reading your conversations\u2026\nLearning how you write\u2026\n"
                               "Matching names from Contacts\u2026\n",
                               0) == 0,
                     out.c_str());
            const std::size_t at = out.find("Profile ready.\nRecap: /");
            QVERIFY(at != std::string::npos);
            const std::string recap = out.substr(at + 22, out.size() - at - 23);
            QVERIFY2(std::filesystem::exists(recap) && recap.find("murmora-wrapped-") != std::string::npos,
                     recap.c_str());
            const std::optional<dovrel::Snapshot> snapshot = store.readSnapshot();
            QVERIFY(snapshot.has_value());
            QCOMPARE(snapshot->days, days);
            QVERIFY(snapshot->stats.totalMessages > 0);
            QCOMPARE(store.readArtifacts(), std::optional(artifacts));
        }
        QCOMPARE(store.folder(), home.path() + QStringLiteral("/.local/share/Murmora"));
    }

    // Damaged or odd surroundings: each ends with the exit code the README promises and a reason a person
    // can read, and no copy of the database stays in the temporary folder.
    void damagedHomesSayWhatWentWrong() {
        const std::vector<std::tuple<std::string, int, std::vector<std::string>>> cases{
            {"no database", 2, {"Library/Messages/chat.db", "missing"}},
            {"empty file", 2, {"holds no tables at all", "prepareFailed(\"no such table: chat\")"}},
            {"not a database", 2, {"damaged, or not a database", "file is not a database"}},
            {"a pipe", 2, {"not a regular file"}},
            {"a pipe as the log", 2, {"chat.db-wal: it is not a regular file"}},
            {"an older layout",
             2,
             {"no column \u201cis_read\u201d in its table \u201cmessage\u201d", "prepareFailed"}},
            {"out-of-range cells", 0, {}},
            {"no messages in the period", 1, {"No messages found in the last 1 days."}},
            {"an empty TMPDIR", 0, {}},
            {"a home that is not UTF-8", 0, {}},
        };
        for (const auto& [name, expected, said] : cases) {
            const TestHome home;
            const int days = prepare(name, home);
            std::string out;
            std::string err;
            const int code =
                run({QStringLiteral("learn"), QStringLiteral("--days"), QString::number(days)}, out, err);
            QVERIFY2(code == expected, (name + ": exit " + std::to_string(code) + ", " + err).c_str());
            for (const std::string& words : said) {
                QVERIFY2(err.find(words) != std::string::npos, (name + ": " + err).c_str());
            }
            QVERIFY2(expected != 0 || out.find("Recap: /") != std::string::npos, name.c_str());
            const QStringList left =
                QDir(home.path() + "/tmp").entryList({QStringLiteral("murmora-*")}, QDir::Dirs);
            QVERIFY2(left.isEmpty(), qPrintable(left.join(QLatin1Char(' '))));
            std::error_code ignored; // QTemporaryDir cannot remove a name that is not UTF-8
            std::filesystem::remove_all(home.home(), ignored);
        }
    }

    // The coach first, so that its run is the first in this home and one the user watches. The program
    // answers after one fenced tool call; the status line goes to standard error as the tool
    // runs, the answer to standard output, and the memory update is stored before the command ends.
    void coachAnswersThroughTheClaudeProgram() {
        QVERIFY(scriptedclaude::install(home_->path()));
        QVERIFY(scriptedclaude::write(home_->path(), "turn-1.reply",
                                      "```tool\n{\"tool\":\"count\",\"terms\":\"haha\"}\n```"));
        QVERIFY(
            scriptedclaude::write(home_->path(), "turn-2.reply", "You laugh a lot, mostly with friends."));
        QVERIFY(scriptedclaude::write(home_->path(), "memory.reply", memoryOps));
        QVERIFY(scriptedclaude::write(home_->path(), "archetype.reply", "The Giggler\nLaughs first."));
        const QString status =
            cli({QStringLiteral("tool"), QStringLiteral("count"), QStringLiteral("{\"terms\":\"haha\"}")})
                .out.section(QLatin1Char('\n'), 0, 0);

        const CliRun run = cli({QStringLiteral("coach"), QStringLiteral("Do I laugh a lot?")});
        QVERIFY2(run.code == 0, qPrintable(run.err));
        QCOMPARE(run.out, QStringLiteral("You laugh a lot, mostly with friends.\n"));
        QCOMPARE(run.err, status + QLatin1Char('\n'));
        QVERIFY(scriptedclaude::read(home_->path(), "turn-2.prompt")
                    .contains(QStringLiteral("[Me] Do I laugh a lot?")));

        const Json artifacts = storedArtifacts();
        const Json& transcript = artifacts.at("transcripts").at("");
        QCOMPARE(transcript.size(), std::size_t{2});
        QCOMPARE(transcript.at(1).at("text").get<std::string>(),
                 std::string("You laugh a lot, mostly with friends."));
        QCOMPARE(transcript.at(1).at("sources").at(0).get<std::string>(), status.toStdString());
        QCOMPARE(artifacts.at("memory").at("").at(0).at("text").get<std::string>(),
                 std::string("Laughs with everyone"));
        // The first run was one the user watched: the program named the archetype before the command ended.
        QCOMPARE(artifacts.at("archetypeTitle").get<std::string>(), std::string("The Giggler"));
    }

    // A relay given by the environment answers a person chat; the daily cap exits with 3, a failure with 1.
    void coachAnswersThroughTheRelay() {
        LocalHttpServer server;
        qputenv("MURMORA_RELAY_URL", server.origin().toUtf8());
        qputenv("MURMORA_RELAY_SECRET", "test-secret");
        server.setResponse("/v1/chat", relayevents::textStream({"Text them ", "first."}, 20));
        server.setResponse("/v1/ai", Response::json(Json{{"text", memoryOps.toStdString()}}.dump().c_str()));

        // The busiest person, as the overview lists first.
        const QString overview = cli({QStringLiteral("tool"), QStringLiteral("overview")}).out;
        const qsizetype top = overview.indexOf(QStringLiteral("top people: "));
        QVERIFY(top >= 0);
        const QString person = overview.mid(top + 12).section(QStringLiteral(" ("), 0, 0);
        const CliRun run =
            cli({QStringLiteral("coach"), QStringLiteral("--person"), person.section(QLatin1Char(' '), 0, 0),
                 QStringLiteral("Should"), QStringLiteral("I"), QStringLiteral("text?")});
        QVERIFY2(run.code == 0 && run.err.isEmpty(), qPrintable(run.err));
        QCOMPARE(run.out, QStringLiteral("Text them first.\n"));
        const QList<LocalHttpServer::Request> requests = server.requests();
        const auto chat =
            std::find_if(requests.begin(), requests.end(),
                         [](const LocalHttpServer::Request& request) { return request.path == "/v1/chat"; });
        QVERIFY(chat != requests.end());
        const Json body = Json::parse(chat->body.toStdString());
        QCOMPARE(body.at("messages").back().at("content").at(0).at("text").get<std::string>(),
                 std::string("Should I text?"));
        QVERIFY(body.at("system").at(0).at("text").get<std::string>().find(person.toStdString()) !=
                std::string::npos);

        server.setResponse("/v1/chat", Response::json(R"({"error":"cap"})", 429));
        const CliRun capped = cli({QStringLiteral("coach"), QStringLiteral("Again")});
        QCOMPARE(capped.code, 3);
        QVERIFY(capped.out.isEmpty());
        QCOMPARE(capped.err, murmora::AIError::message(murmora::AIError::Case::dailyCap) + QLatin1Char('\n'));
        // A new process went on with the general chat the program answered before.
        const Json again = Json::parse(server.requests().last().body.toStdString()).at("messages");
        QCOMPARE(again.size(), std::size_t{3});
        QCOMPARE(again.at(0).at("content").at(0).at("text").get<std::string>(),
                 std::string("Do I laugh a lot?"));
        QCOMPARE(again.at(1).at("content").at(0).at("text").get<std::string>(),
                 std::string("You laugh a lot, mostly with friends."));

        server.setResponse("/v1/chat", Response::json(R"({"error":"boom"})", 500));
        const CliRun failed = cli({QStringLiteral("coach"), QStringLiteral("Again")});
        QCOMPARE(failed.code, 1);
        QCOMPARE(failed.err,
                 murmora::AIError::message(murmora::AIError::Case::relayFailed) + QLatin1Char('\n'));
    }

    // Wrong use exits 64 and asking for help 0, before anything is read or sent; an unknown person is 1.
    void misuse() {
        struct Case {
            QStringList arguments;
            int code;
            QString said = {}; // in the output when it succeeds, else in the errors
        };
        const QList<Case> cases{
            {{"learn", "--days", "zero"}, 64},
            {{"learn", "--days"}, 64},
            {{"frobnicate"}, 64},
            {{}, 64},
            {{"help"}, 0, "learn [--days N]"},
            {{"learn", "--help"}, 0, "usage: murmora-cli learn [--days N]"},
            {{"tool", "search", "{bad"}, 64, "not valid JSON"},
            {{"tool", "search", "[1]"}, 64},
            {{"tool"}, 64},
            {{"tool", "search", "{}", "extra"}, 64},
            {{"tool", "overview", "--person"}, 64},
            {{"tool", "", "{}"}, 64},
            {{"tool", "search", "--help"}, 0, "usage: murmora-cli tool NAME"},
            {{"tool", "overview", "--person", "Zzyzx"}, 1, "Zzyzx"},
            {{"coach"}, 64},
            {{"coach", "  "}, 64},
            {{"coach", "hi", "--person"}, 64},
            {{"coach", "--person", "Nobody Atall", "hi"}, 1, "Nobody Atall"},
            {{"coach", "--help"}, 0, "usage: murmora-cli coach"},
        };
        for (const Case& c : cases) {
            const CliRun got = cli(c.arguments);
            const QString what = c.arguments.join(QLatin1Char(' ')) + ": " + got.err;
            QVERIFY2(got.code == c.code, qPrintable(what));
            QVERIFY2((c.code == 0 ? got.out : got.err).contains(c.said), qPrintable(what));
            QVERIFY2(c.code == 0 || got.out.isEmpty(), qPrintable(what));
        }
        QVERIFY(storedArtifacts().dump().find("--help") == std::string::npos);

        const TestHome empty;
        const CliRun missing = cli({QStringLiteral("tool"), QStringLiteral("overview")});
        QCOMPARE(missing.code, 2);
        QVERIFY(missing.err.contains(QStringLiteral("Library/Messages/chat.db")));
    }

    // One tool call per run: the status line, then the result. The group tools wait for the group chats
    // instead of answering that they are still loading; every copy a run made goes when its read ends.
    void toolsPrintStatusThenResult() {
        long long dinners = 0;
        {
            const dovrel::ReadingCopy copy =
                dovrel::MessageStore::copyForReading(home_->databasePath().toStdString());
            for (const dovrel::ContactThread& thread :
                 dovrel::MessageStore(copy.string()).oneToOneThreads()) {
                for (const dovrel::RawMessage& message : thread.messages) {
                    dinners +=
                        QString::fromStdString(message.text).toLower().contains(QStringLiteral("dinner")) ? 1
                                                                                                          : 0;
                }
            }
        }
        QVERIFY(dinners > 0);
        const CliRun count =
            cli({QStringLiteral("tool"), QStringLiteral("count"), QStringLiteral("{\"terms\":\"Dinner\"}")});
        QVERIFY2(count.code == 0 && count.err.isEmpty(), qPrintable(count.err));
        QCOMPARE(count.out.section(QLatin1Char('\n'), 0, 1),
                 QStringLiteral("Counted matches for \u201CDinner\u201D \u2014 %1 total.\ntotal: %1")
                     .arg(dinners));

        const CliRun search = cli({QStringLiteral("tool"), QStringLiteral("search"),
                                   QStringLiteral("{\"terms\":\"dinner\",\"limit\":5}")});
        QCOMPARE(search.code, 0);
        const long long shown = std::min(dinners, 5LL);
        const QStringList lines = search.out.trimmed().split(QLatin1Char('\n'));
        QCOMPARE(lines[0],
                 QStringLiteral("Searched your texts for \u201Cdinner\u201D \u2014 %1 matches sent securely.")
                     .arg(shown));
        QCOMPARE(lines.size(), shown + 1);
        for (qsizetype i = 1; i < lines.size(); ++i) {
            QVERIFY2(lines[i].toLower().contains(QStringLiteral("dinner")), qPrintable(lines[i]));
        }

        const CliRun stats = cli({QStringLiteral("tool"), QStringLiteral("person_stats"),
                                  QStringLiteral("--person"), QStringLiteral("a")});
        QVERIFY2(stats.code == 0 && stats.out.startsWith(QStringLiteral("Pulled your stats with ")),
                 qPrintable(stats.out));
        QCOMPARE(cli({QStringLiteral("tool"), QStringLiteral("frobnicate")}).out,
                 QStringLiteral("Tool skipped.\nUnknown tool frobnicate.\n"));

        const Json* chosen = nullptr;
        for (const Json& group : summary_.at("groups")) {
            if (group.contains("name") && group.at("messages").get<int>() >= 25 &&
                group.at("participants").size() >= 2 &&
                (chosen == nullptr || group.at("messages").get<int>() > chosen->at("messages").get<int>())) {
                chosen = &group;
            }
        }
        QVERIFY(chosen != nullptr);
        const QString name = QString::fromStdString(chosen->at("name").get<std::string>());
        const CliRun story = cli({QStringLiteral("tool"), QStringLiteral("group_stats"),
                                  QString::fromStdString(Json{{"group", name.toStdString()}}.dump())});
        QCOMPARE(story.code, 0);
        QCOMPARE(story.out.section(QLatin1Char('\n'), 0, 1),
                 QStringLiteral("Pulled the story of %1.\n%1: %2 people, %3 messages")
                     .arg(name)
                     .arg(chosen->at("participants").size() + 1)
                     .arg(chosen->at("messages").get<int>()));
        const CliRun groups = cli({QStringLiteral("tool"), QStringLiteral("groups")});
        QVERIFY(groups.out.startsWith(QStringLiteral("Pulled your group chats.\n")));
        QVERIFY(groups.out.contains(name + QStringLiteral(" \u2014 ")));
        QCOMPARE(QDir(home_->path() + "/tmp").entryList({QStringLiteral("murmora-*")}, QDir::Dirs),
                 QStringList());
    }

    // A profile learned over a long history is read back over its own period, and a run that fails says why.
    void toolsReadOverTheLearnedPeriod() {
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
    // Makes the home of one case of damagedHomesSayWhatWentWrong; returns the days to learn over.
    static int prepare(const std::string& name, const TestHome& home) {
        const QByteArray database = home.databasePath().toUtf8();
        QDir().mkpath(home.path() + "/Library/Messages");
        if (name == "empty file") {
            QFile(home.databasePath()).open(QIODevice::WriteOnly);
        } else if (name == "a pipe") {
            ::mkfifo(database.constData(), 0600);
        } else if (name == "a home that is not UTF-8") {
            const QByteArray folder = home.path().toUtf8() + "/caf\xe9";
            demohome::DemoHomeOptions options;
            options.outDir = std::filesystem::path(folder.toStdString());
            options.messages = 1500;
            options.nowUnixSeconds = TestHome::nowUnix;
            demohome::generateDemoHome(options);
            qputenv("HOME", folder);
        } else if (name != "no database") {
            home.generate();
        }
        const auto open = [&database] { return dovrel::SQLiteDB(database.toStdString(), false); };
        if (name == "not a database") {
            home.damageDatabase();
        } else if (name == "a pipe as the log") {
            QFile::remove(home.databasePath() + "-wal");
            ::mkfifo(database + "-wal", 0600);
        } else if (name == "an older layout") {
            dovrel::SQLiteDB db = open();
            for (const dovrel::SQLRow& index :
                 db.query("SELECT name FROM sqlite_schema WHERE type = 'index' AND sql LIKE '%is_read%'")) {
                db.execute("DROP INDEX " + *index.string("name"));
            }
            db.execute("ALTER TABLE message DROP COLUMN is_read");
        } else if (name == "out-of-range cells") {
            open().execute(
                "UPDATE message SET date = 1e19 WHERE ROWID = 3; UPDATE message SET is_from_me = 1e300 "
                "WHERE ROWID = 4; UPDATE message SET is_read = 9e999 WHERE ROWID = 5;"
                "UPDATE message SET date = -9223372036854775808 WHERE ROWID = 6");
        } else if (name == "an empty TMPDIR") {
            qputenv("TMPDIR", "");
        }
        return name == "no messages in the period" ? 1 : daysToReach(TestHome::nowUnix);
    }

    Json storedArtifacts() const {
        const QByteArray text = TestHome::contents(home_->path() + "/.local/share/Murmora/artifacts.json");
        return Json::parse(text.toStdString(), nullptr, false);
    }

    std::unique_ptr<TestHome> home_;
    Json summary_;
};

QTEST_GUILESS_MAIN(CommandLineTest)
#include "CommandLineTest.moc"
