// moc of Qt 6.4 cannot parse the C++20 standard headers behind the core; the test class needs none of them.
#ifndef Q_MOC_RUN
#include "Cli/CommandLine.h"

#include "State/Store.h"
#include "TestHome.h"
#endif

#include <QTest>
#include <sstream>

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

    void exitCodesTellNoAccessFailureAndMisuse() {
        std::string out;
        std::string err;
        QCOMPARE(run({QStringLiteral("learn")}, out, err), 2);
        QVERIFY(err.find("Library/Messages/chat.db") != std::string::npos);

        home_->generate();
        QCOMPARE(run({QStringLiteral("learn"), QStringLiteral("--days"), QStringLiteral("1")}, out, err), 1);
        QCOMPARE(err, std::string("Error Domain=murmora Code=1 \"No messages found in the last 1 days.\"\n"));

        home_->damageDatabase();
        QCOMPARE(run({QStringLiteral("learn")}, out, err), 1);
        QCOMPARE(err, std::string("prepareFailed(\"file is not a database\")\n"));

        QCOMPARE(run({QStringLiteral("learn"), QStringLiteral("--days"), QStringLiteral("zero")}, out, err),
                 64);
        QCOMPARE(run({QStringLiteral("learn"), QStringLiteral("--days")}, out, err), 64);
        QCOMPARE(run({QStringLiteral("frobnicate")}, out, err), 64);
        QCOMPARE(run({}, out, err), 64);
        QCOMPARE(run({QStringLiteral("help")}, out, err), 0);
        QVERIFY(out.find("learn [--days N]") != std::string::npos);
    }

private:
    std::unique_ptr<TestHome> home_;
};

QTEST_GUILESS_MAIN(CommandLineTest)
#include "CommandLineTest.moc"
