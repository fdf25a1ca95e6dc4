// moc of Qt 6.4 cannot parse the C++20 standard headers behind the core; the test class needs none of them.
#ifndef Q_MOC_RUN
#include "State/Store.h"

#include "State/CoachStore.h"
#include "TestHome.h"
#endif

#include <QDate>
#include <QRegularExpression>
#include <QTest>

using dovrel::CoachMessage;
using murmora::CoachStore;
using murmora::Store;

class StoreTest : public QObject {
    Q_OBJECT

private slots:
    void init() { home_ = std::make_unique<TestHome>(); }

    void savesAreReadBackAndReplaceTheWholeFile() {
        QCOMPARE(Store::defaultFolder(), home_->path() + QStringLiteral("/.local/share/Murmora"));
        const Store store;
        dovrel::Artifacts artifacts;
        artifacts.archetypeTitle = "The Planner";
        artifacts.transcripts[""] = {CoachMessage::make(CoachMessage::Role::user, "hello")};
        store.save(artifacts);
        QCOMPARE(store.readArtifacts(), std::optional(artifacts));
        artifacts.transcripts.clear();
        store.save(artifacts);
        QCOMPARE(store.readArtifacts(), std::optional(artifacts));
        // Only the file itself is left behind: the temporary file of the atomic write is gone.
        QCOMPARE(QDir(store.folder()).entryList(QDir::Files), QStringList{QStringLiteral("artifacts.json")});

        dovrel::Snapshot snapshot;
        snapshot.days = 365;
        snapshot.names["a@b.c"] = "Bea";
        store.save(snapshot);
        QCOMPARE(store.readSnapshot(), std::optional(snapshot));

        dovrel::Artifacts bad;
        bad.archetypeTitle = std::string("\xff\xfe not UTF-8"); // cannot be encoded: silently not written
        store.save(bad);
        QCOMPARE(store.readArtifacts(), std::optional(artifacts));
    }

    void damagedFilesCountAsNoFileButAreToldFromMissingOnes() {
        const Store store;
        bool damaged = true;
        QVERIFY(!store.readArtifacts(&damaged).has_value() && !damaged);
        for (const QByteArray& bytes :
             {QByteArray("{\"deepDives\": {}"), QByteArray("[]"), QByteArray("\xff\xfe"),
              QByteArray("{\"deepDives\":{},\"transcripts\":{}}"), unknownMemoryKind()}) {
            write(bytes);
            damaged = false;
            QVERIFY2(!store.readArtifacts(&damaged).has_value() && damaged, bytes.constData());
        }
    }

    // A burst of saves costs one write in flight and one for the rest; the last state always lands, also when
    // the store goes while a write is in flight.
    void burstsOfSavesAreCoalesced() {
        auto coach = std::make_unique<CoachStore>(Store(), std::nullopt, false, nullptr, nullptr);
        for (int i = 0; i < 50; ++i) {
            coach->append("", CoachMessage::make(CoachMessage::Role::user, std::to_string(i)));
            coach->saveArtifacts();
        }
        QTRY_COMPARE(storedTranscript().size(), std::size_t{50});
        QTest::qWait(50);
        QCOMPARE(coach->writes(), 2);
        QCOMPARE(storedTranscript().back().text, std::string("49"));

        for (const char* text : {"last", "very last"}) {
            coach->append("", CoachMessage::make(CoachMessage::Role::coach, text));
            coach->saveArtifacts();
        }
        coach.reset();
        QCOMPARE(storedTranscript().back().text, std::string("very last"));
    }

    // A file this build cannot read is kept beside the new one at the first save, with one warning.
    void damagedFileIsKeptAsideAtTheFirstSave() {
        const Store store;
        write(unknownMemoryKind());
        bool damaged = false;
        const std::optional<dovrel::Artifacts> restored = store.readArtifacts(&damaged);
        const QString kept =
            store.folder() + "/artifacts.damaged-" + QDate::currentDate().toString(Qt::ISODate) + ".json";
        QFile::copy(store.folder() + "/artifacts.json", kept); // an earlier backup of the same day stays too
        QTest::ignoreMessage(QtWarningMsg,
                             QRegularExpression("kept it as .*/artifacts\\.damaged-[0-9-]+-2\\.json"));
        QTest::failOnWarning(QRegularExpression("kept it as"));
        {
            CoachStore coach(store, restored, damaged, nullptr, nullptr);
            coach.append("", CoachMessage::make(CoachMessage::Role::user, "new"));
            coach.saveArtifacts();
            coach.saveArtifacts();
            coach.flush();
            coach.saveArtifacts();
        }
        QCOMPARE(TestHome::contents(kept.chopped(5) + "-2.json"), unknownMemoryKind());
        QCOMPARE(TestHome::contents(kept), unknownMemoryKind());
        QCOMPARE(storedTranscript().front().text, std::string("new"));
    }

private:
    // What a newer build could write: a memory entry of a kind this one does not know.
    static QByteArray unknownMemoryKind() {
        return R"({"deepDives":{},"transcripts":{},"memoryNotes":{},"memory":{"":[{"id":"A0000000-0000-4000-8000-000000000000","kind":"wish","text":"t","date":0,"done":false}]}})";
    }

    static void write(const QByteArray& bytes) {
        QDir().mkpath(Store().folder());
        QFile file(Store().folder() + QStringLiteral("/artifacts.json"));
        QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        file.write(bytes);
    }

    static std::vector<CoachMessage> storedTranscript() {
        const std::optional<dovrel::Artifacts> artifacts = Store().readArtifacts();
        return artifacts && artifacts->transcripts.contains("") ? artifacts->transcripts.at("")
                                                                : std::vector<CoachMessage>{};
    }

    std::unique_ptr<TestHome> home_;
};

QTEST_GUILESS_MAIN(StoreTest)
#include "StoreTest.moc"
