// moc of Qt 6.4 cannot parse the C++20 standard headers behind the core; the test class needs none of them.
#ifndef Q_MOC_RUN
#include "State/AppState.h"

#include "TestHome.h"

#include <nlohmann/json.hpp>
#endif

#include <QSettings>
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

    void startsCheckingAccessWithNothingToShow() {
        AppState state(nullptr);
        QCOMPARE(state.phase(), Phase::CheckingAccess);
        QCOMPARE(state.tab(), AppState::Tab::Coach);
        QCOMPARE(state.learningFact(), QStringLiteral("Reading your messages\u2026"));
        QVERIFY(!state.stats().has_value());
        QVERIFY(!state.showWalkthrough());
        QCOMPARE(state.name(std::string("+1555"), std::string("Fallback")), std::string("Fallback"));
        QCOMPARE(state.name(std::string("+1555")), std::string("+1555"));
        QCOMPARE(state.name(QStringLiteral("+1555"), QStringLiteral("Q")), QStringLiteral("Q"));
    }

    // needsAccess -> (poll) learning -> ready, with every line shown in order and the result applied.
    void firstRunGoesFromNeedsAccessToReady() {
        AppState state(nullptr);
        state.setEnvironment(home_->environment());
        state.setRevealPause(std::chrono::milliseconds(0));
        QSignalSpy finished(&state, &AppState::runFinished);
        state.checkAccess();
        QCOMPARE(state.phase(), Phase::NeedsAccess);
        QTest::qWait(50);
        QCOMPARE(finished.count(), 0);

        home_->generate();
        QStringList shown;
        connect(&state, &AppState::factShown, this, [&shown](const QString& fact) { shown << fact; });
        state.checkAccess();
        QCOMPARE(state.phase(), Phase::Learning);
        QStringList order;
        for (auto [signal, label] : std::initializer_list<std::pair<void (AppState::*)(), const char*>>{
                 {&AppState::statsChanged, "stats"},
                 {&AppState::namesChanged, "names"},
                 {&AppState::threadsChanged, "threads"},
                 {&AppState::archetypeChanged, "archetype"},
                 {&AppState::showWalkthroughChanged, "walkthrough"},
                 {&AppState::phaseChanged, "phase"}}) {
            connect(&state, signal, this, [&order, label] { order << QString::fromLatin1(label); });
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
        QCOMPARE(order, (QStringList{QStringLiteral("stats"), QStringLiteral("names"),
                                     QStringLiteral("threads"), QStringLiteral("archetype"),
                                     QStringLiteral("walkthrough"), QStringLiteral("phase")}));

        QVERIFY(state.stats()->totalMessages > 0);
        QVERIFY(!state.people().empty());
        QVERIFY(!state.names().empty()); // the demo address book names most people
        QVERIFY(state.threadCount() >= static_cast<int>(state.people().size()));
        QVERIFY(std::filesystem::exists(*state.wrappedURL()));
        QVERIFY(state.archetype().has_value());
        QVERIFY(state.showWalkthrough());
        const std::optional<dovrel::Snapshot> saved = murmora::Store().readSnapshot();
        QVERIFY(saved.has_value());
        QCOMPARE(saved->days, 365);
        QCOMPARE(saved->stats, *state.stats());
        QCOMPARE(saved->names, state.names());

        state.finishWalkthrough();
        QVERIFY(!state.showWalkthrough());
        QVERIFY(QSettings().value(QStringLiteral("hasSeenWalkthrough")).toBool());
        state.learn(365, false); // refresh: ready -> learning -> ready, no walkthrough any more
        QCOMPARE(state.phase(), Phase::Learning);
        QVERIFY(finished.wait(30000));
        QCOMPARE(state.phase(), Phase::Ready);
        QVERIFY(!state.showWalkthrough());
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

        home_->damageDatabase();
        state.setEnvironment(home_->environment());
        state.checkAccess(); // the retry button
        QCOMPARE(state.phase(), Phase::Learning);
        QVERIFY(finished.wait(30000));
        QCOMPARE(state.phase(), Phase::Failed);
        QCOMPARE(state.failureText(), QStringLiteral("prepareFailed(\"file is not a database\")"));
    }

    // With a snapshot the first screen is ready at once and a quiet run brings the threads; without
    // permission the old data is not shown.
    void storedSnapshotShowsAtOnceAndQuietRunBringsThreads() {
        home_->generate();
        learnOnceLeavingASnapshot();

        AppState state(nullptr);
        state.setEnvironment(home_->environment());
        QVERIFY(state.stats().has_value()); // restored at construction
        QVERIFY(!state.people().empty());
        QSignalSpy finished(&state, &AppState::runFinished);
        QSignalSpy facts(&state, &AppState::factShown);
        state.checkAccess();
        QCOMPARE(state.phase(), Phase::Ready);
        QCOMPARE(state.threadCount(), 0);
        QVERIFY(finished.wait(30000));
        QCOMPARE(state.phase(), Phase::Ready);
        QVERIFY(state.threadCount() > 0);
        QCOMPARE(facts.count(), 0); // a quiet run shows nothing
        QVERIFY(!state.showWalkthrough());
        state.checkAccess(); // threads are there: nothing more starts
        QVERIFY(!finished.wait(300));

        QFile::remove(home_->databasePath());
        state.checkAccess();
        QCOMPARE(state.phase(), Phase::NeedsAccess);
    }

    void quietRunThatFailsChangesNothing() {
        home_->generate();
        learnOnceLeavingASnapshot();
        home_->damageDatabase();
        AppState state(nullptr);
        state.setEnvironment(home_->environment());
        const dovrel::WrappedStats stored = *state.stats();
        QSignalSpy finished(&state, &AppState::runFinished);
        QSignalSpy phases(&state, &AppState::phaseChanged);
        state.checkAccess();
        QVERIFY(finished.wait(30000));
        QCOMPARE(finished.first().first().toBool(), false);
        QCOMPARE(state.phase(), Phase::Ready);
        QCOMPARE(phases.count(), 1); // only checkingAccess -> ready
        QCOMPARE(state.threadCount(), 0);
        QCOMPARE(*state.stats(), stored);
    }

    // A refresh while a quiet run is going starts a second run; both apply, and the state ends consistent.
    void overlappingRunsBothApply() {
        home_->generate();
        AppState state(nullptr);
        state.setEnvironment(home_->environment());
        state.setRevealPause(std::chrono::milliseconds(0));
        QSignalSpy finished(&state, &AppState::runFinished);
        state.learn(365, true);
        state.learn(365, false);
        QTRY_COMPARE_WITH_TIMEOUT(finished.count(), 2, 60000);
        QCOMPARE(finished.at(0).first().toBool(), true);
        QCOMPARE(finished.at(1).first().toBool(), true);
        QCOMPARE(state.phase(), Phase::Ready);
        QCOMPARE(murmora::Store().readSnapshot()->stats, *state.stats());
    }

    void restoreMigratesNotesAndKeepsAStoredArchetypeThroughARun() {
        home_->generate();
        const murmora::Store store;
        dovrel::Artifacts artifacts;
        artifacts.archetypeTitle = "The Sharpened One";
        artifacts.deepDives["+15551230002"] = dovrel::StoredDive{"deep", dovrel::Date{1}, dovrel::Date{2}};
        artifacts.transcripts[""] = {dovrel::CoachMessage::make(dovrel::CoachMessage::Role::user, "hi")};
        artifacts.memory = std::map<std::string, std::vector<dovrel::MemoryEntry>>{
            {"+15551230002",
             {dovrel::MemoryEntry{"A0000000-0000-4000-8000-000000000000", dovrel::MemoryEntry::Kind::fact,
                                  "kept", dovrel::Date{3}, false}}}};
        store.save(artifacts);
        // Old notes: one for a key that already has entries (they win), one to migrate.
        QFile file(store.folder() + QStringLiteral("/artifacts.json"));
        QVERIFY(file.open(QIODevice::ReadOnly));
        nlohmann::json raw = nlohmann::json::parse(file.readAll().toStdString());
        file.close();
        raw["memoryNotes"] = {{"+15551230002", "old note"}, {"", "- likes tea\n- runs on Sundays"}};
        QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        file.write(QByteArray::fromStdString(raw.dump()));
        file.close();

        AppState state(nullptr);
        state.setEnvironment(home_->environment());
        state.setRevealPause(std::chrono::milliseconds(0));
        QCOMPARE(state.archetype()->title, std::string("The Sharpened One"));
        QCOMPARE(state.archetype()->body, std::string()); // a title with no body gives an empty body
        QCOMPARE(state.coachMemory().at("+15551230002").size(), std::size_t{1});
        QCOMPARE(state.coachMemory().at("+15551230002").front().text, std::string("kept"));
        QCOMPARE(state.coachMemory().at("").size(), std::size_t{2});
        QCOMPARE(state.coachMemory().at("").front().text, std::string("likes tea"));

        QSignalSpy finished(&state, &AppState::runFinished);
        state.checkAccess();
        QVERIFY(finished.wait(30000));
        QCOMPARE(state.archetype()->title, std::string("The Sharpened One"));
        QCOMPARE(state.deepDives().size(), std::size_t{1});
        QCOMPARE(state.coachTranscripts().at("").size(), std::size_t{1});

        state.saveArtifacts();
        const std::optional<dovrel::Artifacts> written = store.readArtifacts();
        QVERIFY(written.has_value());
        QVERIFY(written->memoryNotes.empty()); // the notes are gone once written back
        QCOMPARE(written->memory->at("").size(), std::size_t{2});
    }

    void undecodableOrPartialFilesCountAsNoFiles() {
        const murmora::Store store;
        QDir().mkpath(store.folder());
        auto write = [&store](const char* name, const QByteArray& bytes) {
            QFile file(store.folder() + QLatin1Char('/') + QLatin1String(name));
            QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
            file.write(bytes);
        };
        write("snapshot.json", R"({"savedAt":0,"days":365,"people":[],"names":{}})"); // no stats
        write("artifacts.json",
              R"({"archetypeBody":"body only","deepDives":{},"transcripts":{},"memoryNotes":{}})");
        {
            AppState state(nullptr);
            QVERIFY(!state.stats().has_value());
            QVERIFY(!state.archetype().has_value()); // a body with no title is ignored
        }
        write(
            "artifacts.json",
            R"({"archetypeTitle":"T","deepDives":{},"transcripts":{"":[{"id":"X","text":"no role"}]},"memoryNotes":{}})");
        write("snapshot.json", "{\"savedAt\":");
        AppState state(nullptr);
        QVERIFY(!state.archetype().has_value());
        QVERIFY(state.coachTranscripts().empty());
        QVERIFY(!state.stats().has_value());
    }

    void readingNeverWritesTheSourceFiles() {
        home_->generate();
        const QStringList files{home_->databasePath(), home_->databasePath() + QStringLiteral("-wal"),
                                home_->databasePath() + QStringLiteral("-shm")};
        QList<QByteArray> before;
        for (const QString& file : files) {
            before << TestHome::contents(file);
            QVERIFY(!before.last().isEmpty());
        }
        AppState state(nullptr);
        state.setEnvironment(home_->environment());
        state.setRevealPause(std::chrono::milliseconds(0));
        QSignalSpy finished(&state, &AppState::runFinished);
        state.checkAccess();
        QVERIFY(finished.wait(30000));
        QCOMPARE(state.phase(), Phase::Ready);
        for (qsizetype i = 0; i < files.size(); ++i) {
            QVERIFY2(TestHome::contents(files.at(i)) == before.at(i), qPrintable(files.at(i)));
        }
    }

private:
    // A first launch that learns and saves its snapshot, then quits.
    void learnOnceLeavingASnapshot() {
        AppState first(nullptr);
        first.setEnvironment(home_->environment());
        first.setRevealPause(std::chrono::milliseconds(0));
        QSignalSpy finished(&first, &AppState::runFinished);
        first.checkAccess();
        QVERIFY(finished.wait(30000));
        QVERIFY(murmora::Store().readSnapshot().has_value());
    }

    std::unique_ptr<TestHome> home_;
};

QTEST_GUILESS_MAIN(AppStateTest)
#include "AppStateTest.moc"
