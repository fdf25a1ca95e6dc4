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

bool systemCandidateExists() {
    return QFileInfo::exists(QStringLiteral("/usr/local/bin/claude")) ||
           QFileInfo::exists(QStringLiteral("/opt/homebrew/bin/claude"));
}

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
        // A search path of system tools only, none named claude.
        qputenv("PATH", "/usr/bin:/bin");
        if (systemCandidateExists()) {
            QSKIP("a claude program is installed system-wide on this machine");
        }
    }

    void cleanup() {
        qputenv("PATH", originalPath_);
        home_.reset();
    }

    void candidatesAreTriedInOrderAndMustBeExecutable() {
        const QStringList candidates = ClaudeCLI::candidatePaths();
        QCOMPARE(candidates,
                 (QStringList{home_->path() + "/.local/bin/claude", "/usr/local/bin/claude",
                              "/opt/homebrew/bin/claude", home_->path() + "/.claude/local/claude"}));
        QCOMPARE(ClaudeCLI::detect(), std::nullopt);

        // A file that is not executable, and a folder, are both passed over for the last candidate.
        const QString first = home_->path() + "/.local/bin/claude";
        const QString last = home_->path() + "/.claude/local/claude";
        write(first, recordingScript, false);
        write(last, recordingScript, true);
        QCOMPARE(ClaudeCLI::detect(), std::optional<QString>(last));
        QFile::remove(first);
        QVERIFY(QDir().mkpath(first));
        QCOMPARE(ClaudeCLI::detect(), std::optional<QString>(last));

        // Once the first one is a runnable file, it wins.
        QVERIFY(QDir(first).removeRecursively());
        write(first, recordingScript, true);
        QCOMPARE(ClaudeCLI::detect(), std::optional<QString>(first));
        QCOMPARE(awaitRun(ClaudeCLI::run(QStringLiteral("hi"))), QStringLiteral("hello from claude\n"));
    }

    void foundOnTheSearchPathWhenNoCandidateExists() {
        const QString folder = home_->path() + "/elsewhere/bin";
        write(folder + "/claude", recordingScript, true);
        QCOMPARE(ClaudeCLI::detect(), std::nullopt);
        try {
            awaitRun(ClaudeCLI::run(QStringLiteral("hi")));
            QFAIL("a run without any claude must fail");
        } catch (const ClaudeCLI::CLIError& error) {
            QCOMPARE(error.errorCase(), ClaudeCLI::CLIError::Case::notInstalled);
            QCOMPARE(error.message(), QStringLiteral("The claude CLI isn't installed."));
        }

        qputenv("PATH", (folder + ":/usr/bin:/bin").toUtf8());
        QCOMPARE(ClaudeCLI::detect(), std::optional<QString>(folder + "/claude"));
        QCOMPARE(awaitRun(ClaudeCLI::run(QStringLiteral("hi"))), QStringLiteral("hello from claude\n"));
        QCOMPARE(TestHome::contents(home_->path() + "/arg2"), QByteArray("hi"));
    }

    // The prompt passes through no shell: quotes, newlines, dollars and globs arrive as they were, and so
    // does a prompt of 120 KB. One too long for the system's argument list fails to launch.
    void promptArrivesUnchanged() {
        write(home_->path() + "/.local/bin/claude", recordingScript, true);
        const QString tricky = QStringLiteral("Say \"hi\" to 'Ann' \\ $HOME `id` *\nsecond line\n\n\ttabbed "
                                              "\u00e9t\u00e9 \U0001F602 ; rm -rf / &");
        QCOMPARE(awaitRun(ClaudeCLI::run(tricky)), QStringLiteral("hello from claude\n"));
        QCOMPARE(TestHome::contents(home_->path() + "/argc"), QByteArray("2"));
        QCOMPARE(TestHome::contents(home_->path() + "/arg1"), QByteArray("-p"));
        QCOMPARE(TestHome::contents(home_->path() + "/arg2"), tricky.toUtf8());

        QString longPrompt;
        for (int i = 0; longPrompt.size() < 120'000; ++i) {
            longPrompt += QStringLiteral("line %1 of a long \"prompt\"\n").arg(i);
        }
        awaitRun(ClaudeCLI::run(longPrompt));
        QCOMPARE(TestHome::contents(home_->path() + "/arg2"), longPrompt.toUtf8());

        const QString tooLong(4 * 1024 * 1024, QLatin1Char('x'));
        QVERIFY_THROWS_EXCEPTION(ClaudeCLI::LaunchError, awaitRun(ClaudeCLI::run(tooLong)));
    }

    void exitStatusesBecomeFailures() {
        const QString program = home_->path() + "/.local/bin/claude";
        struct Case {
            QByteArray script;
            int status;
        };
        for (const Case& c : {Case{"#!/bin/sh\necho partial\nexit 1\n", 1},
                              Case{"#!/bin/sh\necho 'not signed in' >&2\nexit 42\n", 42},
                              Case{"#!/bin/sh\nkill -9 $$\n", 9}}) {
            write(program, c.script, true);
            try {
                awaitRun(ClaudeCLI::run(QStringLiteral("hi")));
                QFAIL(qPrintable("no failure for status " + QString::number(c.status)));
            } catch (const ClaudeCLI::CLIError& error) {
                QCOMPARE(error.errorCase(), ClaudeCLI::CLIError::Case::failed);
                QCOMPARE(error.status(), std::optional<int>(c.status));
                QCOMPARE(error.message(), QStringLiteral("claude exited with status %1.").arg(c.status));
                QCOMPARE(QString::fromUtf8(error.what()), error.message());
            }
        }
        QCOMPARE(ClaudeCLI::CLIError::failed(1).message(), QStringLiteral("claude exited with status 1."));
        QCOMPARE(ClaudeCLI::CLIError::failed(-3).message(), QStringLiteral("claude exited with status -3."));
    }

    // Many megabytes on standard output, with chatter on standard error first, come back whole; output that
    // is not UTF-8 gives an empty text. Meanwhile the calling thread keeps running its events.
    void outputIsReadWholeWithoutBlockingTheCaller() {
        const QString program = home_->path() + "/.local/bin/claude";
        write(program,
              "#!/bin/sh\n"
              "i=0\n"
              "while [ $i -lt 2000 ]; do echo \"progress line $i of the tool's own chatter\" >&2; "
              "i=$((i+1)); done\n"
              "sleep 0.3\n"
              "head -c 6000000 /dev/zero | tr '\\0' 'a'\n"
              "printf 'end\\n'\n",
              true);
        QFuture<QString> future = ClaudeCLI::run(QStringLiteral("hi"));
        QVERIFY(!future.isFinished());
        int ticks = 0;
        QTimer ticker;
        connect(&ticker, &QTimer::timeout, this, [&ticks] { ++ticks; });
        ticker.start(20);
        const QString output = awaitRun(future);
        QCOMPARE(output.size(), 6'000'004);
        QVERIFY(output.endsWith(QStringLiteral("aaaend\n")));
        QVERIFY2(ticks >= 5, qPrintable(QString::number(ticks)));

        write(program, "#!/bin/sh\nprintf 'ok \\377\\376 bytes'\n", true);
        QCOMPARE(awaitRun(ClaudeCLI::run(QStringLiteral("hi"))), QString());
    }

private:
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
