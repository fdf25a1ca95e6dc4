// moc of Qt 6.4 cannot parse the C++20 standard headers behind the core; the test class needs none of them.
#ifndef Q_MOC_RUN
#include "AI/AIProvider.h"

#include "AI/AIError.h"
#include "AI/ClaudeCLI.h"
#include "AI/RelayProvider.h"
#include "AwaitFuture.h"
#include "Coach/ArchetypePrompt.h"
#include "CompareJson.h"
#include "LocalHttpServer.h"
#include "ScriptedProvider.h"
#include "State/AppState.h"
#include "TestHome.h"

#include <nlohmann/json.hpp>
#endif

#include <QDir>
#include <QFileInfo>
#include <QNetworkAccessManager>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTest>

using namespace murmora;
using dovrel::Agent::Block;
using Json = nlohmann::json;
using Response = LocalHttpServer::Response;

namespace {

// A fake `claude` that notes each call and its last argument in the home folder, then prints `answer` and
// ends with `status`.
QByteArray claudeScript(const QByteArray& answer, int status = 0) {
    return "#!/bin/sh\n"
           "echo call >> \"$HOME/claude-calls\"\n"
           "printf '%s' \"$2\" > \"$HOME/arg2\"\n"
           "cat <<'ANSWER'\n" +
           answer + "\nANSWER\nexit " + QByteArray::number(status) + "\n";
}

// What a call ended in, in words a table can compare: the text, or the kind of failure.
template <typename T> QString outcome(QFuture<T> future) {
    try {
        if constexpr (std::is_same_v<T, QString>) {
            return QStringLiteral("text: ") + await(std::move(future));
        } else {
            const std::vector<Block> blocks = await(std::move(future));
            const Block::Text* text = blocks.size() == 1 ? blocks.front().asText() : nullptr;
            return QStringLiteral("text: ") +
                   (text ? QString::fromStdString(text->text) : QStringLiteral("?"));
        }
    } catch (const AIError& error) {
        if (error.errorCase() == AIError::Case::relayFailed) {
            return QStringLiteral("relayFailed %1: %2").arg(error.status().value_or(0)).arg(error.message());
        }
        return error.errorCase() == AIError::Case::dailyCap ? QStringLiteral("dailyCap")
                                                            : QStringLiteral("unreachable");
    } catch (const ClaudeCLI::CLIError& error) {
        return QStringLiteral("claude: ") + error.message();
    } catch (const nlohmann::json::exception&) {
        return QStringLiteral("decoding error");
    } catch (const std::exception& error) {
        return QStringLiteral("other: ") + QString::fromUtf8(error.what());
    }
}

const QString hiccup = QStringLiteral("Murmora AI had a hiccup \u2014 try again in a minute.");

} // namespace

class AIProviderTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }

    void init() {
        home_ = std::make_unique<TestHome>();
        server_ = std::make_unique<LocalHttpServer>();
        useRelay(true);
    }

    void cleanup() {
        qunsetenv("MURMORA_RELAY_URL");
        qunsetenv("MURMORA_RELAY_SECRET");
        server_.reset();
        home_.reset();
    }

    // Without a relay the program is the only provider, and so is its failure; the relay is never asked.
    void withoutRelayClaudeAnswers() {
        useRelay(false);
        QVERIFY(!provider_.detect());
        QCOMPARE(outcome(provider_.run(QStringLiteral("hi"), 300)),
                 QStringLiteral("claude: The claude CLI isn't installed."));

        installClaude(claudeScript("from claude"));
        QVERIFY(provider_.detect());
        QCOMPARE(outcome(provider_.run(QString(), 300)), QStringLiteral("text: from claude\n"));
        QCOMPARE(TestHome::contents(home_->path() + "/arg2"), QByteArray()); // an empty prompt, as it was
        QCOMPARE(outcome(provider_.chat({"system", {}, {}, 16000, 0}, {})),
                 QStringLiteral("text: from claude"));
        QCOMPARE(server_->requestCount(), 0);

        installClaude(claudeScript("", 7));
        QCOMPARE(outcome(provider_.run(QStringLiteral("hi"), 300)),
                 QStringLiteral("claude: claude exited with status 7."));

        useRelay(true);
        QFile::remove(home_->path() + "/.local/bin/claude");
        QVERIFY(provider_.detect());
    }

    // Each way the relay can answer, with and without the program there, on both routes. One relay call
    // and at most one run of the program; the daily cap is final.
    void relayOutcomesWithAndWithoutClaude() {
        struct Case {
            const char* name;
            Response answer;
            QString withoutClaude;
            bool claudeTakesOver;
        };
        const QList<Case> cases{
            {"429", Response::json(R"({"error":"cap"})", 429), QStringLiteral("dailyCap"), false},
            {"500", Response::json(R"({"text":"ignored"})", 500),
             QStringLiteral("relayFailed 500: ") + hiccup, true},
            {"401", Response::text("bad secret", 401), QStringLiteral("relayFailed 401: ") + hiccup, true},
            {"no answer", Response::hangingUp(), QStringLiteral("unreachable"), true},
        };
        const QString calls = home_->path() + "/claude-calls";
        for (const Case& c : cases) {
            for (const bool streaming : {false, true}) {
                for (const bool claude : {false, true}) {
                    server_->setResponse(streaming ? "/v1/chat" : "/v1/ai", c.answer);
                    QFile::remove(calls);
                    if (claude) {
                        installClaude(claudeScript("from claude"));
                    } else {
                        QFile::remove(home_->path() + "/.local/bin/claude");
                    }
                    const QString label = QStringLiteral("%1 %2 %3")
                                              .arg(c.name, streaming ? "chat" : "one-shot",
                                                   claude ? "with claude" : "without claude");
                    const QString got = streaming ? outcome(provider_.chat({"system", {}, {}, 16000, 0}, {}))
                                                  : outcome(provider_.run(QStringLiteral("Name me"), 300));
                    const bool takesOver = claude && c.claudeTakesOver;
                    const QString claudeText = streaming ? QStringLiteral("text: from claude")
                                                         : QStringLiteral("text: from claude\n");
                    QVERIFY2(got == (takesOver ? claudeText : c.withoutClaude),
                             qPrintable(label + ": " + got));
                    QVERIFY2(QFileInfo::exists(calls) == takesOver, qPrintable(label));
                }
            }
        }

        // Answers of the relay itself; and when the program takes over and fails, its own failure counts.
        server_->setResponse("/v1/ai", Response::json(R"({"text":"from relay"})"));
        QCOMPARE(outcome(provider_.run(QStringLiteral("hi"), 300)), QStringLiteral("text: from relay"));
        server_->setResponse("/v1/ai", Response::json("{\"text\": "));
        QCOMPARE(outcome(provider_.run(QStringLiteral("hi"), 300)), QStringLiteral("text: from claude\n"));
        installClaude(claudeScript("", 3));
        QCOMPARE(outcome(provider_.run(QStringLiteral("hi"), 300)),
                 QStringLiteral("claude: claude exited with status 3."));
        QFile::remove(home_->path() + "/.local/bin/claude");
        QCOMPARE(outcome(provider_.run(QStringLiteral("hi"), 300)), QStringLiteral("decoding error"));
    }

    // Whether AI is there is found off the GUI thread when the state starts, and told when it is known.
    void availabilityIsDetectedOnceAtStart() {
        useRelay(false);
        {
            AppState state(nullptr, Store(dataFolder()));
            QVERIFY(!state.aiAvailable());
            QTRY_VERIFY(state.aiDetected());
            QVERIFY(!state.aiAvailable());
        }
        installClaude(claudeScript("hi"));
        AppState state(nullptr, Store(dataFolder()));
        QSignalSpy changed(&state, &AppState::aiAvailableChanged);
        QTRY_VERIFY(state.aiAvailable());
        QCOMPARE(changed.count(), 1);

        auto scripted = std::make_shared<ScriptedProvider>();
        scripted->available = false;
        state.setAIProvider(scripted);
        QVERIFY(!state.aiAvailable());
        QTRY_VERIFY(state.aiDetected());
        QVERIFY(!state.aiAvailable());
        QCOMPARE(changed.count(), 2);
    }

    // After a run the user watched, a fitting answer becomes the archetype: kept on disk and on a new recap
    // page, while the run's page stays where it was. Quiet runs never ask.
    void sharpenedArchetypeIsKeptAndRendered() {
        home_->generate();
        AppState state(nullptr, Store(dataFolder()));
        auto scripted = std::make_shared<ScriptedProvider>();
        state.setAIProvider(scripted);
        learn(state, true);
        QTest::qWait(100);
        QVERIFY(scripted->calls.isEmpty());

        scripted->answer(
            QStringLiteral("**The Night Owl**\n\nYou come alive after dark. Your friends know it."));
        learn(state, false);
        const std::filesystem::path runPage = *state.wrappedURL();
        QTRY_VERIFY(state.archetype()->title == "The Night Owl");
        QCOMPARE(state.archetype()->body, std::string("You come alive after dark. Your friends know it."));
        QCOMPARE(scripted->calls.size(), 1);
        QCOMPARE(scripted->calls[0].prompt,
                 QString::fromStdString(dovrel::ArchetypePrompt::build(*state.stats())));
        QCOMPARE(scripted->calls[0].maxTokens, 300);

        const QFileInfo page(QString::fromStdString(state.wrappedURL()->string()));
        QVERIFY(page.filePath() != QString::fromStdString(runPage.string()));
        QCOMPARE(page.absolutePath(), QDir(home_->path() + "/tmp").absolutePath());
        QVERIFY(QRegularExpression(
                    QStringLiteral("^murmora-wrapped-[0-9A-F]{8}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{4}-"
                                   "[0-9A-F]{12}\\.html$"))
                    .match(page.fileName())
                    .hasMatch());
        QVERIFY(TestHome::contents(page.filePath()).contains("The Night Owl"));
        QVERIFY(!TestHome::contents(QString::fromStdString(runPage.string())).contains("The Night Owl"));
        // Saves are written on a worker; the file follows shortly.
        QTRY_VERIFY(QFileInfo::exists(dataFolder() + "/artifacts.json"));
        const Json artifacts =
            Json::parse(TestHome::contents(dataFolder() + "/artifacts.json").toStdString());
        COMPARE_JSON(artifacts.at("archetypeTitle"), Json("The Night Owl"));
        QCOMPARE(state.property("archetype").value<murmora::ArchetypeValue>().title,
                 QStringLiteral("The Night Owl"));
    }

    // Titles of 1 to 60 user-perceived characters are taken; an empty one, one of 61 and a failed call
    // leave the local archetype, its page and the files as they were. An answer for a state that is gone is
    // dropped.
    void unfitAnswersLeaveTheLocalArchetype() {
        home_->generate();
        auto scripted = std::make_shared<ScriptedProvider>();
        const QString family = QStringLiteral("\U0001F468\u200D\U0001F469\u200D\U0001F467"); // one character
        const QString sixty = family.repeated(30) + QString(30, QLatin1Char('x'));
        {
            AppState state(nullptr, Store(dataFolder()));
            scripted->available = false;
            state.setAIProvider(scripted);
            learn(state, false);
            const dovrel::Archetype local = *state.archetype();
            QTest::qWait(100);
            QVERIFY(scripted->calls.isEmpty()); // no model, no question

            scripted->available = true;
            state.setAIProvider(scripted);
            for (int i = 0; i < 3; ++i) {
                QSignalSpy pages(&state, &AppState::wrappedURLChanged);
                learn(state, false);
                const std::filesystem::path page = *state.wrappedURL();
                switch (i) {
                case 0:
                    scripted->answer("**" + sixty + "x**\n\nToo long.");
                    break;
                case 1:
                    scripted->answer(QStringLiteral("**  **\n\nNo title."));
                    break;
                default:
                    scripted->failRun(ClaudeCLI::CLIError::failed(1));
                }
                QTRY_VERIFY(!state.sharpeningArchetype());
                QCOMPARE(*state.archetype(), local);
                QCOMPARE(*state.wrappedURL(), page);
                QCOMPARE(pages.count(), 1); // the run's own page only
                QVERIFY(!QFileInfo::exists(dataFolder() + "/artifacts.json"));
            }
            scripted->answer("# " + sixty + "\n\nJust right.");
            learn(state, false);
            QTRY_COMPARE(state.archetype()->title, sixty.toStdString());

            learn(state, false); // its answer comes after the state is gone
        }
        const qsizetype pagesBefore =
            QDir(home_->path() + "/tmp").entryList({"murmora-wrapped-*.html"}).size();
        scripted->answer(QStringLiteral("The Late Owl\n\nToo late."));
        QTest::qWait(200);
        QCOMPARE(QDir(home_->path() + "/tmp").entryList({"murmora-wrapped-*.html"}).size(), pagesBefore);
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
    QNetworkAccessManager network_;
    // The application's rule over the real relay and a real program, looked for only in the test's home.
    FallbackProvider provider_{std::make_shared<RelayProvider>(&network_),
                               std::make_shared<ClaudeCLI::Provider>()};
};

QTEST_MAIN(AIProviderTest)
#include "AIProviderTest.moc"
