// moc of Qt 6.4 cannot parse the C++20 standard headers behind the core; the test class needs none of them.
#ifndef Q_MOC_RUN
#include "Cli/CommandLine.h"

#include "MessageSources/SQLiteDB.h"
#include "State/Store.h"
#include "TestHome.h"
#endif

#include <QTest>
#include <sstream>
#include <sys/stat.h>
#include <tuple>

namespace {

int run(const QStringList& arguments, std::string& out, std::string& err) {
    std::ostringstream outStream;
    std::ostringstream errStream;
    const int code =
        murmora::runCommandLine(QStringList{QStringLiteral("murmora-cli")} + arguments, outStream, errStream);
    out = outStream.str();
    err = errStream.str();
    return code;
}

} // namespace

// The command line learns as the window does, prints each line as it happens, and saves the same files.
class CommandLineTest : public QObject {
    Q_OBJECT

private slots:
    void init() {
        home_ = std::make_unique<TestHome>();
        qputenv("TZ", "UTC");
    }

    void learnPrintsLinesAndTheRecapAndKeepsStoredArtifacts() {
        // The demo home ends at a fixed date; learn over enough days to reach it from today.
        home_->generate();
        const int days = static_cast<int>((dovrel::Date::now().unixTime() - TestHome::nowUnix) / 86400) + 365;
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
            QVERIFY(out.find("Profile ready.\nRecap: /") != std::string::npos);
            const std::string recap =
                out.substr(out.find("Recap: ") + 7, out.size() - out.find("Recap: ") - 8);
            QVERIFY2(std::filesystem::exists(recap), recap.c_str());
            QVERIFY(recap.find("murmora-wrapped-") != std::string::npos);

            const std::optional<dovrel::Snapshot> snapshot = store.readSnapshot();
            QVERIFY(snapshot.has_value());
            QCOMPARE(snapshot->days, days);
            QVERIFY(snapshot->stats.totalMessages > 0);
            QCOMPARE(store.readArtifacts(), std::optional(artifacts)); // a run never touches the artifacts
        }
        QCOMPARE(store.folder(), home_->path() + QStringLiteral("/.local/share/Murmora"));
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
            home_ = std::make_unique<TestHome>();
            const int days = prepare(name, *home_);
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
                QDir(home_->path() + "/tmp").entryList({QStringLiteral("murmora-*")}, QDir::Dirs);
            QVERIFY2(left.isEmpty(), qPrintable(left.join(QLatin1Char(' '))));
            std::error_code ignored; // QTemporaryDir cannot remove a name that is not UTF-8
            std::filesystem::remove_all(home_->home(), ignored);
        }
    }

    void misuse() {
        std::string out;
        std::string err;
        QCOMPARE(run({QStringLiteral("learn"), QStringLiteral("--days"), QStringLiteral("zero")}, out, err),
                 64);
        QCOMPARE(run({QStringLiteral("learn"), QStringLiteral("--days")}, out, err), 64);
        QCOMPARE(run({QStringLiteral("frobnicate")}, out, err), 64);
        QCOMPARE(run({}, out, err), 64);
        QCOMPARE(run({QStringLiteral("help")}, out, err), 0);
        QVERIFY(out.find("learn [--days N]") != std::string::npos);
        QCOMPARE(run({QStringLiteral("learn"), QStringLiteral("--help")}, out, err), 0);
        QVERIFY(out.rfind("usage: murmora-cli learn [--days N]", 0) == 0);
    }

private:
    // Makes the home of one case of damagedHomesSayWhatWentWrong; returns the days to learn over.
    static int prepare(const std::string& name, const TestHome& home) {
        const int days = static_cast<int>((dovrel::Date::now().unixTime() - TestHome::nowUnix) / 86400) + 365;
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
        return name == "no messages in the period" ? 1 : days;
    }

    std::unique_ptr<TestHome> home_;
};

QTEST_GUILESS_MAIN(CommandLineTest)
#include "CommandLineTest.moc"
