// moc of Qt 6.4 cannot parse the C++20 standard headers behind the core; the test class needs none of them.
#ifndef Q_MOC_RUN
#include "State/AppState.h"

#include "Coach/CoachEngine.h"
#include "TestHome.h"

#include <nlohmann/json.hpp>
#endif

#include <QElapsedTimer>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTest>

using murmora::AppState;
using Phase = murmora::AppState::Phase;

class AppStateTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }

    void init() { home_ = std::make_unique<TestHome>(); }

    // needsAccess -> (poll) learning -> ready, with every line shown in order, the result applied, and the
    // source files untouched; then a refresh overlapped by a quiet run.
    void firstRunGoesFromNeedsAccessToReady() {
        AppState state(nullptr); // with the reveal pause it ships with
        state.setEnvironment(home_->environment());
        QSignalSpy finished(&state, &AppState::runFinished);
        state.checkAccess();
        QCOMPARE(state.phase(), Phase::NeedsAccess);

        home_->generate();
        const QList<QByteArray> sources = sourceFiles();
        QStringList shown;
        connect(&state, &AppState::factShown, this, [&shown](const QString& fact) { shown << fact; });
        state.checkAccess();
        QCOMPARE(state.phase(), Phase::Learning);
        QString order;
        for (auto [signal, label] : std::initializer_list<std::pair<void (AppState::*)(), char>>{
                 {&AppState::statsChanged, 's'},
                 {&AppState::namesChanged, 'n'},
                 {&AppState::threadsChanged, 't'},
                 {&AppState::archetypeChanged, 'a'},
                 {&AppState::showWalkthroughChanged, 'w'},
                 {&AppState::phaseChanged, 'p'}}) {
            connect(&state, signal, this, [&order, label] { order += QLatin1Char(label); });
        }
        QVERIFY(finished.wait(30000));
        QCOMPARE(finished.first().first().toBool(), true);
        QCOMPARE(state.phase(), Phase::Ready);

        QCOMPARE(shown.mid(0, 5), (QStringList{QStringLiteral("Reading your messages\u2026"),
                                               QStringLiteral("Copying your Messages database\u2026"),
                                               QStringLiteral("Reading your conversations\u2026"),
                                               QStringLiteral("Learning how you write\u2026"),
                                               QStringLiteral("Matching names from Contacts\u2026")}));
        QVERIFY(shown.at(5).endsWith(QStringLiteral(" people. Learning your style\u2026")));
        QCOMPARE(shown.last(), QStringLiteral("Profile ready."));
        // The result lands in its documented order, ending in ready; the snapshot follows.
        QCOMPARE(order, QStringLiteral("sntawp"));
        QVERIFY(state.threadCount() >= static_cast<int>(state.people().size()) && state.threadCount() > 0);
        QVERIFY(std::filesystem::exists(*state.wrappedURL()));
        QVERIFY(state.archetype().has_value() && state.showWalkthrough());
        const std::optional<dovrel::Snapshot> saved = murmora::Store().readSnapshot();
        QCOMPARE(sourceFiles(), sources);
        QCOMPARE(saved->days, 365);
        QCOMPARE(saved->stats, *state.stats());
        QCOMPARE(saved->names, state.names());

        state.finishWalkthrough();
        QVERIFY(!state.showWalkthrough());

        // A refresh, with each reveal shown 1.1 s, the last one too; a quiet run started after it ends first,
        // and the refresh, ending last, decides what the state holds and what the snapshot says.
        QElapsedTimer clock;
        clock.start();
        QList<qint64> revealedAt;
        connect(&state, &AppState::factShown, this, [&](const QString& fact) {
            if (!revealedAt.isEmpty() || fact.contains(QStringLiteral(" people. Learning your style"))) {
                revealedAt << clock.elapsed();
            }
        });
        finished.clear();
        state.learn(365, false);
        QCOMPARE(state.phase(), Phase::Learning);
        state.learn(30, true);
        QVERIFY(finished.wait(30000));
        const int lastMonth = state.stats()->totalMessages;
        QVERIFY(finished.wait(30000));
        revealedAt << clock.elapsed();
        QVERIFY(state.stats()->totalMessages > lastMonth);
        QCOMPARE(murmora::Store().readSnapshot()->days, 365);
        QVERIFY(state.phase() == Phase::Ready && !state.showWalkthrough());
        QVERIFY(revealedAt.size() >= 4);
        for (qsizetype i = 1; i < revealedAt.size(); ++i) {
            QVERIFY2(revealedAt[i] - revealedAt[i - 1] >= 1050, qPrintable(QString::number(i)));
        }
    }

    void failedRunShowsTheErrorAndRetryLearnsAgain() {
        home_->generate();
        AppState state(nullptr);
        state.setEnvironment(home_->environment(3 * 365)); // nothing in the last 365 days
        state.setRevealPause(std::chrono::milliseconds(0));
        QSignalSpy finished(&state, &AppState::runFinished);
        state.checkAccess();
        QVERIFY(finished.wait(30000));
        QCOMPARE(state.phase(), Phase::Failed);
        QCOMPARE(state.failureText(),
                 QStringLiteral("Error Domain=murmora Code=1 \"No messages found in the last 365 days.\""));
        QVERIFY(!murmora::Store().readSnapshot().has_value());

        state.checkAccess(); // the retry button
        QCOMPARE(state.phase(), Phase::Learning);
    }

    // With a snapshot the first screen is ready at once and a quiet run brings the threads; one that fails
    // changes nothing and the next check tries again; without permission the old data is not shown.
    void storedSnapshotShowsAtOnceAndQuietRunBringsThreads() {
        home_->generate();
        {
            AppState first(nullptr); // a first launch that learns and saves its snapshot, then quits
            first.setEnvironment(home_->environment());
            first.setRevealPause(std::chrono::milliseconds(0));
            first.checkAccess();
            QVERIFY(QSignalSpy(&first, &AppState::runFinished).wait(30000));
        }
        home_->damageDatabase();

        AppState state(nullptr);
        state.setEnvironment(home_->environment());
        const dovrel::WrappedStats stored = *state.stats(); // restored at construction
        QSignalSpy finished(&state, &AppState::runFinished);
        QSignalSpy phases(&state, &AppState::phaseChanged);
        QSignalSpy facts(&state, &AppState::factShown);
        state.checkAccess();
        QCOMPARE(state.phase(), Phase::Ready);
        QVERIFY(finished.wait(30000));
        QCOMPARE(finished.takeFirst().first().toBool(), false);
        QCOMPARE(state.phase(), Phase::Ready);
        QCOMPARE(state.threadCount(), 0);
        QCOMPARE(*state.stats(), stored);

        home_->generate();
        state.checkAccess();
        QVERIFY(finished.wait(30000));
        QCOMPARE(finished.takeFirst().first().toBool(), true);
        QVERIFY(state.threadCount() > 0);
        QCOMPARE(phases.count(), 1); // only checkingAccess -> ready
        QCOMPARE(facts.count(), 0);  // a quiet run shows nothing
        QVERIFY(!state.showWalkthrough());
        state.checkAccess(); // threads are there: nothing more starts
        QVERIFY(!finished.wait(300));

        QFile::remove(home_->databasePath());
        state.checkAccess();
        QCOMPARE(state.phase(), Phase::NeedsAccess);
    }

    // Coach data and an archetype come back from disk, old notes migrate, and a run keeps them. The coach
    // engine is the state's own.
    void restoreMigratesNotesAndKeepsAStoredArchetypeThroughARun() {
        home_->generate();
        const murmora::Store store;
        dovrel::Artifacts artifacts;
        artifacts.archetypeTitle = "The Sharpened One";
        artifacts.deepDives["+15551230002"] = dovrel::StoredDive{"deep", dovrel::Date{1}, dovrel::Date{2}};
        artifacts.transcripts[""] = {dovrel::CoachMessage::make(dovrel::CoachMessage::Role::user, "hi")};
        artifacts.memory = murmora::CoachStore::Memory{
            {"+15551230002",
             {dovrel::MemoryEntry{"A0000000-0000-4000-8000-000000000000", dovrel::MemoryEntry::Kind::fact,
                                  "kept", dovrel::Date{3}, false}}}};
        nlohmann::json raw = artifacts;
        // Old notes: one for a key that already has entries (they win), one to migrate.
        raw["memoryNotes"] = {{"+15551230002", "old note"}, {"", "- likes tea\n- runs on Sundays"}};
        writeArtifacts(QByteArray::fromStdString(raw.dump()));

        AppState state(nullptr);
        state.setEnvironment(home_->environment());
        state.setRevealPause(std::chrono::milliseconds(0));
        QCOMPARE(state.property("coach").value<QObject*>(), state.coach());
        QCOMPARE(state.coach()->state(), &state);
        const murmora::CoachStore& coach = *state.coachStore();
        QCOMPARE(state.archetype(),
                 std::optional(dovrel::Archetype{"The Sharpened One", ""})); // no body: an empty one
        QCOMPARE(coach.memory("+15551230002"), artifacts.memory->at("+15551230002"));
        QCOMPARE(coach.memory("").size(), std::size_t{2});
        QCOMPARE(coach.memory("").front().text, std::string("likes tea"));

        QSignalSpy finished(&state, &AppState::runFinished);
        state.checkAccess();
        QVERIFY(finished.wait(30000));
        QCOMPARE(state.archetype()->title, std::string("The Sharpened One"));
        QCOMPARE(coach.deepDives(), artifacts.deepDives);
        QCOMPARE(coach.transcript(""), artifacts.transcripts.at(""));

        state.saveArtifacts();
        state.coachStore()->flush();
        const std::optional<dovrel::Artifacts> written = store.readArtifacts();
        QVERIFY(written->memoryNotes.empty()); // the notes are gone once written back
        QCOMPARE(written->memory, std::optional(coach.coachMemory()));
        QCOMPARE(written->archetypeTitle, artifacts.archetypeTitle);
    }

    // Files that do not decode count as no files; a damaged coach file is kept beside the first save.
    void undecodableFilesCountAsNoFilesAndAreKept() {
        const murmora::Store store;
        writeArtifacts(R"({"archetypeBody":"body only","deepDives":{},"transcripts":{},"memoryNotes":{}})");
        QVERIFY(!AppState(nullptr).archetype().has_value()); // a body with no title is ignored
        const QByteArray damaged =
            R"({"archetypeTitle":"T","deepDives":{},"transcripts":{"":[{"id":"X","text":"no role"}]},"memoryNotes":{}})";
        writeArtifacts(damaged);
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("kept it as .*artifacts\\.damaged-.*\\.json"));
        {
            AppState state(nullptr);
            QVERIFY(!state.archetype().has_value());
            QVERIFY(state.coachStore()->coachTranscripts().empty());
            state.saveArtifacts();
        }
        const QStringList kept = QDir(store.folder()).entryList({QStringLiteral("artifacts.damaged-*.json")});
        QCOMPARE(kept.size(), 1);
        QCOMPARE(TestHome::contents(store.folder() + QLatin1Char('/') + kept.first()), damaged);
        QVERIFY(store.readArtifacts().has_value());
    }

private:
    QList<QByteArray> sourceFiles() const {
        QList<QByteArray> contents;
        for (const QString& suffix : {QString(), QStringLiteral("-wal"), QStringLiteral("-shm")}) {
            contents << TestHome::contents(home_->databasePath() + suffix);
        }
        return contents;
    }

    static void writeArtifacts(const QByteArray& bytes) {
        const murmora::Store store;
        QDir().mkpath(store.folder());
        QFile file(store.folder() + QStringLiteral("/artifacts.json"));
        QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        file.write(bytes);
    }

    std::unique_ptr<TestHome> home_;
};

QTEST_GUILESS_MAIN(AppStateTest)
#include "AppStateTest.moc"
