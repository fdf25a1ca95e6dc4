#ifndef Q_MOC_RUN
#include "AI/ClaudeCLI.h"

#include "TestHome.h"
#endif

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QTest>
#include <QTimer>
#include <optional>

using namespace murmora;

namespace {

// The script every fake `claude` runs: it keeps what it was given in files of the home folder, so the test
// can compare them byte for byte, and answers with one line.
const QByteArray recordingScript = "#!/bin/sh\n"
                                   "printf '%s' \"$#\" > \"$HOME/argc\"\n"
                                   "printf '%s' \"$1\" > \"$HOME/arg1\"\n"
                                   "printf '%s' \"$2\" > \"$HOME/arg2\"\n"
                                   "printf 'hello from claude\\n'\n";

// Waits for a run to end and hands back its text or rethrows its failure.
QString awaitRun(QFuture<QString> future, int timeoutMs = 60000) {
    if (!QTest::qWaitFor([&future] { return future.isFinished(); }, timeoutMs)) {
        throw std::runtime_error("the run did not end");
    }
    return future.result();
}

} // namespace

class ClaudeCLITest : public QObject {
    Q_OBJECT

private slots:
    void init() {
        home_ = std::make_unique<TestHome>();
        originalPath_ = qgetenv("PATH");
    }

    void cleanup() {
        qputenv("PATH", originalPath_);
        home_.reset();
    }

    void candidatesAreTriedInOrderAndMustBeExecutable() {
        const QString first = home_->path() + "/a/claude";
        const QString second = home_->path() + "/b/claude";
        const ClaudeCLI::Locator locator({first, second});
        QCOMPARE(locator.locate(), std::nullopt);
        QVERIFY(!ClaudeCLI::Provider(locator).detect());

        // A file that is not executable, and a folder, are both passed over for a later candidate.
        write(first, recordingScript, false);
        write(second, recordingScript, true);
        QCOMPARE(locator.locate(), std::optional<QString>(second));
        QFile::remove(first);
        QVERIFY(QDir().mkpath(first));
        QCOMPARE(locator.locate(), std::optional<QString>(second));

        // Once the first one is a runnable file, it wins.
        QVERIFY(QDir(first).removeRecursively());
        write(first, recordingScript, true);
        QCOMPARE(locator.locate(), std::optional<QString>(first));
        QCOMPARE(awaitRun(ClaudeCLI::Provider(locator).run(QStringLiteral("hi"), 0)),
                 QStringLiteral("hello from claude\n"));
    }

    // Without paths of its own the locator tries the usual places, then the search path; the environment
    // can replace both.
    void defaultPlacesThenTheSearchPath() {
        qunsetenv("MURMORA_CLAUDE_PATHS");
        const QStringList candidates = ClaudeCLI::Locator().candidates();
        QCOMPARE(candidates,
                 (QStringList{home_->path() + "/.local/bin/claude", "/usr/local/bin/claude",
                              "/opt/homebrew/bin/claude", home_->path() + "/.claude/local/claude"}));
        const QString folder = home_->path() + "/elsewhere/bin";
        write(folder + "/claude", recordingScript, true);
        qputenv("PATH", (folder + ":/usr/bin:/bin").toUtf8());
        // A program the machine has in one of the usual places comes first.
        std::optional<QString> expected = folder + "/claude";
        for (const QString& candidate : candidates) {
            if (QFileInfo(candidate).isExecutable() && QFileInfo(candidate).isFile()) {
                expected = candidate;
                break;
            }
        }
        QCOMPARE(ClaudeCLI::Locator().locate(), expected);

        qputenv("MURMORA_CLAUDE_PATHS", (home_->path() + "/none:" + home_->path() + "/neither").toUtf8());
        QCOMPARE(ClaudeCLI::Locator().candidates(),
                 (QStringList{home_->path() + "/none", home_->path() + "/neither"}));
        QCOMPARE(ClaudeCLI::Locator().locate(), std::nullopt);
        try {
            awaitRun(ClaudeCLI::Provider().run(QStringLiteral("hi"), 0));
            QFAIL("a run without any claude must fail");
        } catch (const ClaudeCLI::CLIError& error) {
            QCOMPARE(error.errorCase(), ClaudeCLI::CLIError::Case::notInstalled);
            QCOMPARE(error.message(), QStringLiteral("The claude CLI isn't installed."));
        }
    }

    // A program that runs past its limit, or whose call is cancelled, is killed; the limit fails the call.
    void hungProgramIsStopped() {
        write(program(), "#!/bin/sh\nexec sleep 30\n", true);
        QElapsedTimer clock;
        clock.start();
        try {
            awaitRun(ClaudeCLI::Provider(ClaudeCLI::Locator({program()}), std::chrono::milliseconds(300))
                         .run(QStringLiteral("hi"), 0));
            QFAIL("a hung program must fail at its limit");
        } catch (const ClaudeCLI::CLIError& error) {
            QCOMPARE(error.errorCase(), ClaudeCLI::CLIError::Case::timedOut);
            QCOMPARE(error.message(), QStringLiteral("claude took too long to answer and was stopped."));
        }
        QVERIFY2(clock.elapsed() < 5000, qPrintable(QString::number(clock.elapsed())));

        QFuture<QString> run = provider().run(QStringLiteral("hi"), 0);
        QTest::qWait(200);
        clock.restart();
        run.cancel();
        QVERIFY(QTest::qWaitFor([&run] { return run.isFinished(); }, 5000));
        QVERIFY(clock.elapsed() < 5000);
    }

    // The prompt passes through no shell: quotes, newlines, dollars and globs arrive as they were, and so
    // does a prompt of 120 KB. One too long for the system's argument list fails to launch.
    void promptArrivesUnchanged() {
        write(program(), recordingScript, true);
        const QString tricky = QStringLiteral("Say \"hi\" to 'Ann' \\ $HOME `id` *\nsecond line\n\n\ttabbed "
                                              "\u00e9t\u00e9 \U0001F602 ; rm -rf / &");
        QCOMPARE(awaitRun(provider().run(tricky, 0)), QStringLiteral("hello from claude\n"));
        QCOMPARE(TestHome::contents(home_->path() + "/argc"), QByteArray("2"));
        QCOMPARE(TestHome::contents(home_->path() + "/arg1"), QByteArray("-p"));
        QCOMPARE(TestHome::contents(home_->path() + "/arg2"), tricky.toUtf8());

        QString longPrompt;
        for (int i = 0; longPrompt.size() < 120'000; ++i) {
            longPrompt += QStringLiteral("line %1 of a long \"prompt\"\n").arg(i);
        }
        awaitRun(provider().run(longPrompt, 0));
        QCOMPARE(TestHome::contents(home_->path() + "/arg2"), longPrompt.toUtf8());

        const QString tooLong(4 * 1024 * 1024, QLatin1Char('x'));
        QVERIFY_THROWS_EXCEPTION(ClaudeCLI::LaunchError, awaitRun(provider().run(tooLong, 0)));
    }

    void exitStatusesBecomeFailures() {
        struct Case {
            QByteArray script;
            int status;
        };
        for (const Case& c : {Case{"#!/bin/sh\necho partial\nexit 1\n", 1},
                              Case{"#!/bin/sh\necho 'not signed in' >&2\nexit 42\n", 42},
                              Case{"#!/bin/sh\nkill -9 $$\n", 9}}) {
            write(program(), c.script, true);
            try {
                awaitRun(provider().run(QStringLiteral("hi"), 0));
                QFAIL(qPrintable("no failure for status " + QString::number(c.status)));
            } catch (const ClaudeCLI::CLIError& error) {
                QCOMPARE(error.errorCase(), ClaudeCLI::CLIError::Case::failed);
                QCOMPARE(error.status(), std::optional<int>(c.status));
                QCOMPARE(error.message(), QStringLiteral("claude exited with status %1.").arg(c.status));
                QCOMPARE(QString::fromUtf8(error.what()), error.message());
            }
        }
    }

    // Many megabytes on standard output, with chatter on standard error first, come back whole; output that
    // is not UTF-8 gives an empty text. Meanwhile the calling thread keeps running its events.
    void outputIsReadWholeWithoutBlockingTheCaller() {
        write(program(),
              "#!/bin/sh\n"
              "i=0\n"
              "while [ $i -lt 2000 ]; do echo \"progress line $i of the tool's own chatter\" >&2; "
              "i=$((i+1)); done\n"
              "sleep 0.3\n"
              "head -c 6000000 /dev/zero | tr '\\0' 'a'\n"
              "printf 'end\\n'\n",
              true);
        QFuture<QString> future = provider().run(QStringLiteral("hi"), 0);
        QVERIFY(!future.isFinished());
        int ticks = 0;
        QTimer ticker;
        connect(&ticker, &QTimer::timeout, this, [&ticks] { ++ticks; });
        ticker.start(20);
        const QString output = awaitRun(future);
        QCOMPARE(output.size(), 6'000'004);
        QVERIFY(output.endsWith(QStringLiteral("aaaend\n")));
        QVERIFY2(ticks >= 5, qPrintable(QString::number(ticks)));

        write(program(), "#!/bin/sh\nprintf 'ok \\377\\376 bytes'\n", true);
        QCOMPARE(awaitRun(provider().run(QStringLiteral("hi"), 0)), QString());
    }

private:
    QString program() const { return home_->path() + "/.local/bin/claude"; }
    // Finds the program only where the test puts it.
    ClaudeCLI::Provider provider() const { return ClaudeCLI::Provider(ClaudeCLI::Locator({program()})); }

    static void write(const QString& path, const QByteArray& contents, bool executable) {
        QVERIFY(QDir().mkpath(QFileInfo(path).path()));
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        QCOMPARE(file.write(contents), contents.size());
        file.close();
        QFile::Permissions permissions =
            QFile::ReadOwner | QFile::WriteOwner | QFile::ReadUser | QFile::WriteUser;
        if (executable) {
            permissions |= QFile::ExeOwner | QFile::ExeUser;
        }
        QVERIFY(QFile::setPermissions(path, permissions));
    }

    std::unique_ptr<TestHome> home_;
    QByteArray originalPath_;
};

QTEST_GUILESS_MAIN(ClaudeCLITest)
#include "ClaudeCLITest.moc"
