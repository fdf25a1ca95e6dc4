// moc of Qt 6.4 cannot parse the C++20 standard headers behind the core; the test class needs none of them.
#ifndef Q_MOC_RUN
#include "AI/AIError.h"
#include "CliProcess.h"
#include "LocalHttpServer.h"
#include "RelayEvents.h"
#include "ScriptedClaude.h"
#include "TestHome.h"

#include <nlohmann/json.hpp>
#endif

#include <QDateTime>
#include <QFileInfo>
#include <QProcess>
#include <QTest>

using Json = nlohmann::json;
using Response = LocalHttpServer::Response;

namespace {

const QByteArray memoryOps = R"({"ops":[{"op":"add","kind":"fact","text":"Laughs with everyone"}]})";

} // namespace

// `murmora-cli coach` as a user runs it: the real binary on a demo home, answered by a `claude` program in
// the home folder or by a relay on 127.0.0.1.
class CommandLineCoachTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() {
        home_ = std::make_unique<TestHome>();
        qputenv("TZ", "UTC");
        // The binary reads the real clock, so the demo year ends today.
        demohome::DemoHomeOptions options;
        options.outDir = home_->home();
        options.seed = 11;
        options.messages = 3000;
        options.nowUnixSeconds = QDateTime::currentSecsSinceEpoch() / 86400 * 86400;
        options.force = true;
        demohome::generateDemoHome(options);
    }

    void init() {
        qunsetenv("MURMORA_RELAY_URL");
        qunsetenv("MURMORA_RELAY_SECRET");
        QDir(home_->path() + "/claude").removeRecursively();
        QFile::remove(scriptedclaude::programPath(home_->path()));
    }

    // The program answers after one fenced tool call; the status line goes to standard error as the tool
    // runs, the answer to standard output, and the memory update is stored before the command ends.
    void answersThroughTheClaudeProgram() {
        QVERIFY(scriptedclaude::install(home_->path()));
        QVERIFY(scriptedclaude::write(home_->path(), "turn-1.reply",
                                      "```tool\n{\"tool\":\"count\",\"terms\":\"haha\"}\n```"));
        QVERIFY(
            scriptedclaude::write(home_->path(), "turn-2.reply", "You laugh a lot, mostly with friends."));
        QVERIFY(scriptedclaude::write(home_->path(), "memory.reply", memoryOps));
        QVERIFY(scriptedclaude::write(home_->path(), "archetype.reply", "The Giggler\nLaughs first."));

        const CliRun tool =
            cli({QStringLiteral("tool"), QStringLiteral("count"), QStringLiteral("{\"terms\":\"haha\"}")});
        QCOMPARE(tool.code, 0);
        const QString status = tool.out.section(QLatin1Char('\n'), 0, 0);

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
    void answersThroughTheRelay() {
        LocalHttpServer server;
        qputenv("MURMORA_RELAY_URL", server.origin().toUtf8());
        qputenv("MURMORA_RELAY_SECRET", "test-secret");
        server.setResponse("/v1/chat", relayevents::textStream({"Text them ", "first."}, 20));
        server.setResponse("/v1/ai", Response::json(Json{{"text", memoryOps.toStdString()}}.dump().c_str()));

        const QString person = busiestPerson();
        QVERIFY(!person.isEmpty());
        const CliRun run =
            cli({QStringLiteral("coach"), QStringLiteral("--person"), person.section(QLatin1Char(' '), 0, 0),
                 QStringLiteral("Should"), QStringLiteral("I"), QStringLiteral("text?")});
        QVERIFY2(run.code == 0, qPrintable(run.err));
        QCOMPARE(run.out, QStringLiteral("Text them first.\n"));
        QVERIFY(run.err.isEmpty());
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
        // A new process went on with the general chat the program answered before.
        const Json again = Json::parse(server.requests().last().body.toStdString()).at("messages");
        QCOMPARE(again.size(), std::size_t{3});
        QCOMPARE(again.at(0).at("content").at(0).at("text").get<std::string>(),
                 std::string("Do I laugh a lot?"));
        QCOMPARE(again.at(1).at("content").at(0).at("text").get<std::string>(),
                 std::string("You laugh a lot, mostly with friends."));
        QVERIFY(capped.out.isEmpty());
        QCOMPARE(capped.err, murmora::AIError::message(murmora::AIError::Case::dailyCap) + QLatin1Char('\n'));

        server.setResponse("/v1/chat", Response::json(R"({"error":"boom"})", 500));
        const CliRun failed = cli({QStringLiteral("coach"), QStringLiteral("Again")});
        QCOMPARE(failed.code, 1);
        QCOMPARE(failed.err,
                 murmora::AIError::message(murmora::AIError::Case::relayFailed) + QLatin1Char('\n'));
    }

    void misuse() {
        // Asking for help sends nothing to the model and stores nothing.
        const CliRun help = cli({QStringLiteral("coach"), QStringLiteral("--help")});
        QCOMPARE(help.code, 0);
        QVERIFY(help.out.startsWith(QStringLiteral("usage: murmora-cli coach")));
        QVERIFY(!QFile::exists(home_->path() + "/.local/share/Murmora/artifacts.json") ||
                storedArtifacts().dump().find("--help") == std::string::npos);
        QCOMPARE(cli({QStringLiteral("coach")}).code, 64);
        QCOMPARE(cli({QStringLiteral("coach"), QStringLiteral("  ")}).code, 64);
        QCOMPARE(cli({QStringLiteral("coach"), QStringLiteral("hi"), QStringLiteral("--person")}).code, 64);
        const CliRun nobody = cli({QStringLiteral("coach"), QStringLiteral("--person"),
                                   QStringLiteral("Nobody Atall"), QStringLiteral("hi")});
        QCOMPARE(nobody.code, 1);
        QVERIFY(nobody.err.contains(QStringLiteral("Nobody Atall")));
    }

private:
    static CliRun cli(const QStringList& arguments) {
        return CliRun::of(QStringLiteral(MURMORA_CLI), arguments);
    }

    // The name of the busiest person, as the overview tool lists it first.
    static QString busiestPerson() {
        const CliRun overview = cli({QStringLiteral("tool"), QStringLiteral("overview")});
        for (const QString& line : overview.out.split(QLatin1Char('\n'))) {
            if (line.startsWith(QStringLiteral("top people: "))) {
                return line.mid(12).section(QStringLiteral(" ("), 0, 0);
            }
        }
        return {};
    }

    Json storedArtifacts() const {
        const QByteArray text = TestHome::contents(home_->path() + "/.local/share/Murmora/artifacts.json");
        return Json::parse(text.toStdString(), nullptr, false);
    }

    std::unique_ptr<TestHome> home_;
};

QTEST_MAIN(CommandLineCoachTest)
#include "CommandLineCoachTest.moc"
