// moc of Qt 6.4 cannot parse the C++20 standard headers behind the core; the test class needs none of them.
#ifndef Q_MOC_RUN
#include "AI/AI.h"
#include "AI/AIError.h"
#include "AI/ClaudeCLI.h"
#include "AwaitFuture.h"
#include "Coach/ArchetypePrompt.h"
#include "CompareJson.h"
#include "LocalHttpServer.h"
#include "State/AppState.h"
#include "TestHome.h"

#include <nlohmann/json.hpp>
#endif

#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTcpServer>
#include <QTest>

using namespace murmora;
using Json = nlohmann::json;
using Response = LocalHttpServer::Response;

namespace {

// A fake `claude` that notes each call and its arguments in the home folder, then prints `answer` and ends
// with `status`.
QByteArray claudeScript(const QByteArray& answer, int status = 0, int sleepSeconds = 0) {
    QByteArray script = "#!/bin/sh\n"
                        "echo call >> \"$HOME/claude-calls\"\n"
                        "printf '%s' \"$#\" > \"$HOME/argc\"\n"
                        "printf '%s' \"$2\" > \"$HOME/arg2\"\n";
    if (sleepSeconds > 0) {
        script += "sleep " + QByteArray::number(sleepSeconds) + "\n";
    }
    script += "cat <<'ANSWER'\n" + answer + "\nANSWER\n";
    script += "exit " + QByteArray::number(status) + "\n";
    return script;
}

// What a call ended in, in words a table can compare: the text, or the kind of failure.
QString outcome(QFuture<QString> future) {
    try {
        return QStringLiteral("text: ") + await(std::move(future));
    } catch (const AIError& error) {
        switch (error.errorCase()) {
        case AIError::Case::dailyCap:
            return QStringLiteral("dailyCap");
        case AIError::Case::unreachable:
            return QStringLiteral("unreachable");
        case AIError::Case::relayFailed:
            return QStringLiteral("relayFailed %1: %2")
                .arg(error.status().value_or(0))
                .arg(QString::fromUtf8(error.what()));
        }
    } catch (const ClaudeCLI::CLIError& error) {
        return QStringLiteral("claude: ") + error.message();
    } catch (const nlohmann::json::exception&) {
        return QStringLiteral("decoding error");
    } catch (const std::exception& error) {
        return QStringLiteral("other: ") + QString::fromUtf8(error.what());
    }
    return {};
}

const QString hiccup = QStringLiteral("Murmora AI had a hiccup \u2014 try again in a minute.");

} // namespace

class AIProviderTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }

    void init() {
        home_ = std::make_unique<TestHome>();
        originalPath_ = qgetenv("PATH");
        qputenv("PATH", "/usr/bin:/bin");
        if (QFileInfo::exists(QStringLiteral("/usr/local/bin/claude")) ||
            QFileInfo::exists(QStringLiteral("/opt/homebrew/bin/claude"))) {
            QSKIP("a claude program is installed system-wide on this machine");
        }
        server_ = std::make_unique<LocalHttpServer>();
        useRelay(true);
    }

    void cleanup() {
        qunsetenv("MURMORA_RELAY_URL");
        qunsetenv("MURMORA_RELAY_SECRET");
        qputenv("PATH", originalPath_);
        server_.reset();
        home_.reset();
    }

    // Without a relay the program is the only provider, and so is its failure; the relay is never asked.
    void withoutRelayClaudeAnswers() {
        useRelay(false);
        QVERIFY(!AI::available());
        QCOMPARE(outcome(AI::run(QStringLiteral("hi"), 300)),
                 QStringLiteral("claude: The claude CLI isn't installed."));

        installClaude(claudeScript("from claude"));
        QVERIFY(AI::available());
        QCOMPARE(outcome(AI::run(QString(), 300)), QStringLiteral("text: from claude\n"));
        // An empty prompt is passed on as it is.
        QCOMPARE(TestHome::contents(home_->path() + "/argc"), QByteArray("2"));
        QCOMPARE(TestHome::contents(home_->path() + "/arg2"), QByteArray());
        QCOMPARE(server_->requestCount(), 0);

        installClaude(claudeScript("", 7));
        QCOMPARE(outcome(AI::run(QStringLiteral("hi"), 300)),
                 QStringLiteral("claude: claude exited with status 7."));

        useRelay(true);
        QFile::remove(home_->path() + "/.local/bin/claude");
        QVERIFY(AI::available());
    }

    // Each way the relay can answer, with and without the program there. One relay call and at most one
    // run of the program; the daily cap is final.
    void relayOutcomesWithAndWithoutClaude() {
        struct Case {
            const char* name;
            std::function<void()> arrange;
            QString withoutClaude;
            QString withClaude;
        };
        const QString claudeText = QStringLiteral("text: from claude\n");
        const QList<Case> cases{
            {"200", [this] { server_->setResponse("/v1/ai", Response::json(R"({"text":"from relay"})")); },
             QStringLiteral("text: from relay"), QStringLiteral("text: from relay")},
            {"429", [this] { server_->setResponse("/v1/ai", Response::json(R"({"error":"cap"})", 429)); },
             QStringLiteral("dailyCap"), QStringLiteral("dailyCap")},
            {"500", [this] { server_->setResponse("/v1/ai", Response::json(R"({"text":"ignored"})", 500)); },
             QStringLiteral("relayFailed 500: ") + hiccup, claudeText},
            {"401", [this] { server_->setResponse("/v1/ai", Response::text("bad secret", 401)); },
             QStringLiteral("relayFailed 401: ") + hiccup, claudeText},
            {"200 bad JSON", [this] { server_->setResponse("/v1/ai", Response::json("{\"text\": ")); },
             QStringLiteral("decoding error"), claudeText},
            {"no answer", [this] { server_->setResponse("/v1/ai", Response::hangingUp()); },
             QStringLiteral("unreachable"), claudeText},
            {"network down",
             [] {
                 qputenv("MURMORA_RELAY_URL",
                         QStringLiteral("http://127.0.0.1:%1").arg(closedPort()).toUtf8());
             },
             QStringLiteral("unreachable"), claudeText},
            {"address no URL", [] { qputenv("MURMORA_RELAY_URL", "https://exa mple.com"); },
             QStringLiteral("unreachable"), claudeText},
        };
        const QString program = home_->path() + "/.local/bin/claude";
        const QString calls = home_->path() + "/claude-calls";
        for (const Case& c : cases) {
            for (const bool claude : {false, true}) {
                useRelay(true);
                c.arrange();
                QFile::remove(calls);
                if (claude) {
                    installClaude(claudeScript("from claude"));
                } else {
                    QFile::remove(program);
                }
                const int before = server_->requestCount();
                const QString label =
                    QString::fromLatin1(c.name) + (claude ? " with claude" : " without claude");
                QCOMPARE(outcome(AI::run(QStringLiteral("Name me"), 300)),
                         claude ? c.withClaude : c.withoutClaude);
                // One call of ours. Qt's HTTP layer on its own sends again a request whose connection closed
                // before any answer, so a hang-up is seen more than once.
                if (QByteArrayView(c.name) != "no answer") {
                    QVERIFY2(server_->requestCount() - before <= 1, qPrintable(label));
                }
                const bool claudeAsked = QFileInfo::exists(calls);
                QVERIFY2(claudeAsked == (claude && c.withClaude == claudeText), qPrintable(label));
                if (claudeAsked) {
                    QCOMPARE(TestHome::contents(calls), QByteArray("call\n"));
                    QCOMPARE(TestHome::contents(home_->path() + "/arg2"), QByteArray("Name me"));
                }
            }
        }

        // When the program takes over and fails, its own failure is what the caller gets.
        useRelay(true);
        server_->setResponse("/v1/ai", Response::json("{}", 500));
        installClaude(claudeScript("", 3));
        QCOMPARE(outcome(AI::run(QStringLiteral("hi"), 300)),
                 QStringLiteral("claude: claude exited with status 3."));

        // An empty prompt reaches the relay unchanged too.
        server_->setResponse("/v1/ai", Response::json(R"({"text":""})"));
        QCOMPARE(outcome(AI::run(QString(), 300)), QStringLiteral("text: "));
        COMPARE_JSON(Json::parse(server_->requests().last().body.toStdString()),
                     (Json{{"prompt", ""}, {"max_tokens", 300}}));
    }

    // The streaming route has no fall-back of its own: a failure goes up even with the program there.
    void chatHasNoFallBack() {
        installClaude(claudeScript("from claude"));
        server_->setResponse("/v1/chat", Response::text("down", 500));
        try {
            await(AI::chatViaRelay("system", {dovrel::Agent::ChatMessage::user("hi")}, {}, 16000));
            QFAIL("the failure must reach the caller");
        } catch (const AIError& error) {
            QCOMPARE(error.errorCase(), AIError::Case::relayFailed);
            QCOMPARE(error.status(), std::optional<int>(500));
        }
        QVERIFY(!QFileInfo::exists(home_->path() + "/claude-calls"));
    }

    // After a run the user watched, a fitting answer becomes the archetype: kept on disk and on a new recap
    // page, while the run's page stays where it was.
    void sharpenedArchetypeIsKeptAndRendered() {
        useRelay(false);
        home_->generate();
        installClaude(claudeScript("**The Night Owl**\n\nYou come alive after dark. Your friends know it."));
        AppState state(nullptr, Store(dataFolder()));
        learn(state, false);
        const std::filesystem::path runPage = *state.wrappedURL();
        QVERIFY(state.archetype()->title != "The Night Owl");

        QTRY_VERIFY_WITH_TIMEOUT(state.archetype()->title == "The Night Owl", 20000);
        QCOMPARE(state.archetype()->body, std::string("You come alive after dark. Your friends know it."));
        QTRY_VERIFY_WITH_TIMEOUT(state.wrappedURL() != runPage, 5000);
        QCOMPARE(TestHome::contents(home_->path() + "/arg2"),
                 QByteArray::fromStdString(dovrel::ArchetypePrompt::build(*state.stats())));
        QCOMPARE(TestHome::contents(home_->path() + "/claude-calls"), QByteArray("call\n"));

        const QFileInfo page(QString::fromStdString(state.wrappedURL()->string()));
        QCOMPARE(page.absolutePath(), QDir(home_->path() + "/tmp").absolutePath());
        QVERIFY(QRegularExpression(
                    QStringLiteral("^murmora-wrapped-[0-9A-F]{8}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{4}-"
                                   "[0-9A-F]{12}\\.html$"))
                    .match(page.fileName())
                    .hasMatch());
        QVERIFY(TestHome::contents(page.filePath()).contains("The Night Owl"));
        QVERIFY(!TestHome::contents(QString::fromStdString(runPage.string())).contains("The Night Owl"));

        const Json artifacts =
            Json::parse(TestHome::contents(dataFolder() + "/artifacts.json").toStdString());
        COMPARE_JSON(artifacts.at("archetypeTitle"), Json("The Night Owl"));
        COMPARE_JSON(artifacts.at("archetypeBody"), Json("You come alive after dark. Your friends know it."));
        QCOMPARE(state.property("archetype").value<murmora::ArchetypeValue>().title,
                 QStringLiteral("The Night Owl"));
    }

    // Titles of 1 to 60 user-perceived characters are taken; an empty one, one of 61 and a failing program
    // leave the local archetype, its page and the files as they were.
    void unfitAnswersLeaveTheLocalArchetype() {
        useRelay(false);
        home_->generate();
        AppState state(nullptr, Store(dataFolder()));
        const QString family = QStringLiteral("\U0001F468\u200D\U0001F469\u200D\U0001F467"); // one character
        const QByteArray sixtyOne =
            (QString(family).repeated(30) + QString(QLatin1Char('x')).repeated(31)).toUtf8();

        learn(state, false); // no program yet: nothing is asked
        const dovrel::Archetype local = *state.archetype();

        for (const QByteArray& script :
             {claudeScript("**" + sixtyOne + "**\n\nToo long."), claudeScript("**  **\n\nNo title."),
              claudeScript("The Night Owl\n\nYou...", 1)}) {
            installClaude(script);
            QFile::remove(home_->path() + "/claude-calls");
            QSignalSpy pages(&state, &AppState::wrappedURLChanged);
            learn(state, false);
            const std::filesystem::path page = *state.wrappedURL();
            QTRY_VERIFY_WITH_TIMEOUT(QFileInfo::exists(home_->path() + "/claude-calls"), 20000);
            QTest::qWait(400);
            QCOMPARE(*state.archetype(), local);
            QCOMPARE(*state.wrappedURL(), page);
            QCOMPARE(pages.count(), 1); // the run's own page only
            QVERIFY(!QFileInfo::exists(dataFolder() + "/artifacts.json"));
        }

        const QByteArray sixty =
            (QString(family).repeated(30) + QString(QLatin1Char('x')).repeated(30)).toUtf8();
        installClaude(claudeScript("# " + sixty + "\n\nJust right."));
        learn(state, false);
        QTRY_COMPARE_WITH_TIMEOUT(state.archetype()->title, sixty.toStdString(), 20000);
        QCOMPARE(state.archetype()->body, std::string("Just right."));
    }

    // Quiet runs never ask a model; an answer that comes after the state is gone is dropped.
    void silentRunsNeverAskAndLateAnswersAreDropped() {
        useRelay(false);
        home_->generate();
        installClaude(claudeScript("The Night Owl\n\nYou...", 0, 1));
        const QString calls = home_->path() + "/claude-calls";
        {
            AppState state(nullptr, Store(dataFolder()));
            learn(state, true);
            QTest::qWait(500);
            QVERIFY(!QFileInfo::exists(calls));
            QVERIFY(state.archetype()->title != "The Night Owl");

            learn(state, false);
            QTRY_VERIFY_WITH_TIMEOUT(QFileInfo::exists(calls), 20000);
        }
        const qsizetype pagesBefore =
            QDir(home_->path() + "/tmp").entryList({"murmora-wrapped-*.html"}).size();
        QTest::qWait(1800); // the program answers meanwhile
        QCOMPARE(QDir(home_->path() + "/tmp").entryList({"murmora-wrapped-*.html"}).size(), pagesBefore);
        QVERIFY(!QFileInfo::exists(dataFolder() + "/artifacts.json"));
    }

    // Through the relay, sharpening asks for 300 tokens with the statistics prompt.
    void sharpeningThroughTheRelay() {
        home_->generate();
        server_->setResponse("/v1/ai",
                             Response::json(R"({"text":"The Group Chat Ghost\n\nYou lurk, then strike."})"));
        AppState state(nullptr, Store(dataFolder()));
        learn(state, false);
        QTRY_VERIFY_WITH_TIMEOUT(state.archetype()->title == "The Group Chat Ghost", 20000);
        QCOMPARE(server_->requestCount(), 1);
        COMPARE_JSON(Json::parse(server_->requests().first().body.toStdString()),
                     (Json{{"prompt", dovrel::ArchetypePrompt::build(*state.stats())}, {"max_tokens", 300}}));
    }

private:
    void useRelay(bool on) {
        qputenv("MURMORA_RELAY_URL", on ? server_->origin().toUtf8() : QByteArray());
        qputenv("MURMORA_RELAY_SECRET", "test-secret");
    }

    void installClaude(const QByteArray& script) {
        const QString path = home_->path() + "/.local/bin/claude";
        QVERIFY(QDir().mkpath(QFileInfo(path).path()));
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        file.write(script);
        file.close();
        QVERIFY(QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
    }

    QString dataFolder() const { return home_->path() + "/appdata"; }

    void learn(AppState& state, bool silent) {
        state.setEnvironment(home_->environment());
        state.setRevealPause(std::chrono::milliseconds(0));
        QSignalSpy finished(&state, &AppState::runFinished);
        state.learn(365, silent);
        QVERIFY(finished.wait(60000));
        QVERIFY(finished.first().first().toBool());
    }

    std::unique_ptr<TestHome> home_;
    std::unique_ptr<LocalHttpServer> server_;
    QByteArray originalPath_;
};

QTEST_MAIN(AIProviderTest)
#include "AIProviderTest.moc"
