// moc of Qt 6.4 cannot parse the C++20 standard headers behind the core; the test class needs none of them.
#ifndef Q_MOC_RUN
#include "State/Store.h"
#endif

#include <QDir>
#include <QFile>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

using murmora::Store;

class StoreTest : public QObject {
    Q_OBJECT

private slots:
    void init() {
        home_ = std::make_unique<QTemporaryDir>();
        QVERIFY(home_->isValid());
        qputenv("HOME", home_->path().toUtf8());
        qunsetenv("XDG_DATA_HOME");
    }

    void defaultFolderIsMurmoraInTheUsersDataFolder() {
        QCOMPARE(Store::defaultFolder(), home_->path() + QStringLiteral("/.local/share/Murmora"));
    }

    void savesAreReadBackAndReplaceTheWholeFile() {
        const Store store;
        QCOMPARE(store.readArtifacts().has_value(), false);

        dovrel::Artifacts artifacts;
        artifacts.archetypeTitle = "The Planner";
        artifacts.transcripts[""] = {dovrel::CoachMessage::make(dovrel::CoachMessage::Role::user, "hello")};
        store.save(artifacts);
        QCOMPARE(store.readArtifacts(), std::optional(artifacts));

        artifacts.transcripts.clear();
        store.save(artifacts);
        QCOMPARE(store.readArtifacts()->transcripts.size(), std::size_t{0});
        // Only the file itself is left behind: the temporary file of the atomic write is gone.
        QCOMPARE(QDir(store.folder()).entryList(QDir::Files), QStringList{QStringLiteral("artifacts.json")});

        dovrel::Snapshot snapshot;
        snapshot.days = 365;
        snapshot.names["a@b.c"] = "Bea";
        store.save(snapshot);
        QCOMPARE(store.readSnapshot(), std::optional(snapshot));
    }

    void damagedFilesCountAsNoFile() {
        const Store store;
        QDir().mkpath(store.folder());
        for (const QByteArray& bytes :
             {QByteArray("{\"deepDives\": {}"), QByteArray("[]"), QByteArray("\xff\xfe"),
              QByteArray("{\"deepDives\":{},\"transcripts\":{}}")}) {
            QFile file(store.folder() + QStringLiteral("/artifacts.json"));
            QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
            file.write(bytes);
            file.close();
            QVERIFY2(!store.readArtifacts().has_value(), bytes.constData());
        }
    }

    void failedSavesAreSilentAndKeepTheOldFile() {
        const Store store;
        dovrel::Artifacts good;
        good.archetypeTitle = "Kept";
        store.save(good);

        dovrel::Artifacts bad;
        bad.archetypeTitle = std::string("\xff\xfe not UTF-8"); // cannot be encoded
        store.save(bad);
        QCOMPARE(store.readArtifacts(), std::optional(good));

        // A folder that cannot be made: the save does nothing and does not throw.
        QFile blocker(home_->path() + QStringLiteral("/blocked"));
        QVERIFY(blocker.open(QIODevice::WriteOnly));
        blocker.close();
        const Store blocked(home_->path() + QStringLiteral("/blocked/Murmora"));
        blocked.save(good);
        QCOMPARE(blocked.readArtifacts().has_value(), false);
    }

private:
    std::unique_ptr<QTemporaryDir> home_;
};

QTEST_GUILESS_MAIN(StoreTest)
#include "StoreTest.moc"
