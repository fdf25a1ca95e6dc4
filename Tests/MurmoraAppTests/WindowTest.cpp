// moc of Qt 6.4 cannot parse the C++20 standard headers behind the core; the test class needs none of them.
#ifndef Q_MOC_RUN
#include "AI/UpdateCheck.h"
#include "LocalHttpServer.h"
#include "Platform/Desktop.h"
#include "State/AppState.h"
#include "TestHome.h"
#include "Window/Appearance.h"
#endif

#include "Models/FirstRowsModel.h"
#include "Models/WrappedStatsValue.h"

#include <QQmlApplicationEngine>
#include <QQmlComponent>
#include <QQuickItem>
#include <QQuickWindow>
#include <QStandardPaths>
#include <QStringListModel>
#include <QTest>

using murmora::AppState;
using Phase = murmora::AppState::Phase;

// The window's frame through the objects QML names: which screen each phase shows, the sidebar's foot, the
// onboarding poll, a refresh, and the shared pieces' rules.
class WindowTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }

    void init() {
        home_ = std::make_unique<TestHome>();
        state_ = std::make_unique<AppState>(nullptr);
        state_->setEnvironment(home_->environment());
        state_->setRevealPause(std::chrono::milliseconds(0));
        engine_ = std::make_unique<QQmlApplicationEngine>();
        murmora::addModuleImports(*engine_);
        engine_->setInitialProperties({{QStringLiteral("startsItself"), false}});
        engine_->load(QUrl(QStringLiteral("qrc:/Murmora/qml/Main.qml")));
        QCOMPARE(engine_->rootObjects().size(), 1);
        window_ = qobject_cast<QQuickWindow*>(engine_->rootObjects().first());
        QVERIFY(window_ != nullptr);
    }

    void cleanup() {
        engine_.reset();
        state_.reset();
        home_.reset();
    }

    void eachPhaseHasItsScreen_data() {
        QTest::addColumn<Phase>("phase");
        QTest::addColumn<bool>("walkthrough");
        QTest::addColumn<QString>("screen");
        QTest::newRow("checking") << Phase::CheckingAccess << false << "checkingAccessView";
        QTest::newRow("needs access") << Phase::NeedsAccess << false << "onboardingView";
        QTest::newRow("learning") << Phase::Learning << false << "learningView";
        QTest::newRow("failed") << Phase::Failed << false << "failedView";
        QTest::newRow("ready") << Phase::Ready << false << "mainView";
        QTest::newRow("walkthrough") << Phase::Ready << true << "walkthroughView";
    }
    void eachPhaseHasItsScreen() {
        QFETCH(Phase, phase);
        QFETCH(bool, walkthrough);
        QFETCH(QString, screen);
        state_->preview(phase, QStringLiteral("why"), walkthrough);
        QTRY_VERIFY(item(screen) != nullptr);
        const QStringList screens = {"checkingAccessView", "onboardingView", "learningView",
                                     "failedView",         "mainView",       "walkthroughView"};
        for (const QString& other : screens) {
            QTRY_COMPARE(item(other) != nullptr, other == screen);
        }
        // The walkthrough stands alone: no sidebar beside it.
        QTRY_COMPARE(item(QStringLiteral("sidebarTabs")) != nullptr, screen == QStringLiteral("mainView"));
        if (phase == Phase::Failed) {
            QCOMPARE(item(QStringLiteral("failureMessage"))->property("text").toString(),
                     QStringLiteral("why"));
        }
    }

    // The poll lives with the onboarding screen: gone when it goes, a new one when it comes back, and it
    // moves on by itself once the database opens.
    void onboardingPollsWhileShown() {
        state_->preview(Phase::NeedsAccess);
        QTRY_VERIFY(window_->findChild<QObject*>(QStringLiteral("accessPoll")) != nullptr);
        QPointer<QObject> first = window_->findChild<QObject*>(QStringLiteral("accessPoll"));
        QVERIFY(first->property("running").toBool());
        QCOMPARE(first->property("interval").toInt(), 1500);

        state_->preview(Phase::Learning, QStringLiteral("…"));
        QTRY_VERIFY(first.isNull());
        QCOMPARE(window_->findChild<QObject*>(QStringLiteral("accessPoll")), nullptr);

        state_->preview(Phase::NeedsAccess);
        QTRY_VERIFY(window_->findChild<QObject*>(QStringLiteral("accessPoll")) != nullptr);
        QVERIFY(window_->findChild<QObject*>(QStringLiteral("accessPoll"))->property("running").toBool());

        home_->generate();
        QTRY_COMPARE_WITH_TIMEOUT(state_->phase(), Phase::Ready, 30000);
    }

    // "Refresh" shows the learning screen, then the tab the user was on.
    void refreshLearnsAgainAndKeepsTheTab() {
        home_->generate();
        state_->checkAccess();
        QTRY_COMPARE_WITH_TIMEOUT(state_->phase(), Phase::Ready, 30000);
        QVERIFY(state_->showWalkthrough());
        QTRY_VERIFY(item(QStringLiteral("walkthroughView")) != nullptr);
        QMetaObject::invokeMethod(item(QStringLiteral("meetYourCoach")), "clicked");
        QCOMPARE(state_->tab(), AppState::Tab::Coach);
        QTRY_VERIFY(item(QStringLiteral("coachTab")) != nullptr);
        state_->setTab(AppState::Tab::Groups);
        QTRY_VERIFY(item(QStringLiteral("groupsTab")) != nullptr);
        QVERIFY(!item(QStringLiteral("updateButton"))->isVisible());

        bool sawLearning = false;
        connect(state_.get(), &AppState::phaseChanged, this,
                [&] { sawLearning = sawLearning || state_->phase() == Phase::Learning; });
        QMetaObject::invokeMethod(item(QStringLiteral("refreshButton")), "clicked");
        QTRY_COMPARE_WITH_TIMEOUT(state_->phase(), Phase::Ready, 30000);
        QVERIFY(sawLearning);
        QCOMPARE(state_->tab(), AppState::Tab::Groups);
        QTRY_VERIFY(item(QStringLiteral("groupsTab")) != nullptr);
    }

    void updateButtonOnlyWithAnUpdate() {
        LocalHttpServer server;
        qputenv("MURMORA_VERSION_HOST", server.origin().toUtf8());
        server.setResponse(murmora::UpdateCheck::versionFileURL().path().toUtf8(),
                           LocalHttpServer::Response::json(
                               "{\"version\": \"999.0\", \"url\": \"https://murmora.example/download\"}"));
        state_->preview(Phase::Ready);
        QTRY_VERIFY(item(QStringLiteral("updateButton")) != nullptr);
        QVERIFY(!item(QStringLiteral("updateButton"))->isVisible());
        state_->checkForUpdates();
        QTRY_VERIFY(item(QStringLiteral("updateButton"))->isVisible());
        qunsetenv("MURMORA_VERSION_HOST");

        QList<QUrl> opened;
        murmora::Desktop::setUrlOpener([&opened](const QUrl& url) {
            opened.append(url);
            return true;
        });
        QMetaObject::invokeMethod(item(QStringLiteral("updateButton")), "clicked");
        QCOMPARE(opened, QList<QUrl>{QUrl(QStringLiteral("https://murmora.example/download"))});

        // A link that does not parse is not opened.
        murmora::Desktop desktop;
        for (const char* link :
             {"", "not a link", "https://exa mple.com/%zz", "/relative/path", "https://"}) {
            QVERIFY2(!desktop.openUrl(QString::fromUtf8(link)), link);
        }
        QCOMPARE(opened.size(), 1);
        murmora::Desktop::setUrlOpener({});
    }

    // The shared pieces' rules: a histogram of zeros, a balance of nothing, an empty monogram, the consent
    // sheet that sends nothing when cancelled.
    void sharedPieces() {
        auto* histogram = make(QStringLiteral("HourHistogram { width: 300; counts: [0, 0, 0, 0, 0, 0] }"));
        const QList<QQuickItem*> bars = itemsNamed(histogram, QStringLiteral("hourBar"));
        QCOMPARE(bars.size(), 6);
        for (QQuickItem* bar : bars) {
            QCOMPARE(bar->height(), 2.0);
        }
        auto* balance = make(QStringLiteral("BalanceBar { width: 300; mine: 0 }"));
        QCOMPARE(itemsNamed(balance, QStringLiteral("balanceMine")).first()->width(), 4.0);
        auto* monogram = make(QStringLiteral("Monogram { text: \"  \" }"));
        QCOMPARE(itemsNamed(monogram, QStringLiteral("monogramLetter")).first()->property("text").toString(),
                 QStringLiteral("#"));

        QObject* sheet = make(QStringLiteral("ConsentSheet { property int sent: 0; onAccepted: sent += 1 }"));
        sheet->setParent(window_);
        sheet->setProperty("parent", QVariant::fromValue(window_->contentItem()));
        QMetaObject::invokeMethod(sheet, "open");
        QTRY_VERIFY(sheet->property("opened").toBool());
        QMetaObject::invokeMethod(findIn(sheet, QStringLiteral("consentCancel")), "clicked");
        QTRY_VERIFY(!sheet->property("visible").toBool());
        QCOMPARE(sheet->property("sent").toInt(), 0);
        QMetaObject::invokeMethod(sheet, "open");
        QTRY_VERIFY(sheet->property("opened").toBool());
        QMetaObject::invokeMethod(findIn(sheet, QStringLiteral("consentContinue")), "clicked");
        QCOMPARE(sheet->property("visible").toBool(), false);
        QCOMPARE(sheet->property("sent").toInt(), 1);
    }

    // The picker shows the first twelve, and the first twelve follow the order underneath.
    void firstTwelve() {
        QStringList names;
        for (int i = 0; i < 13; ++i) {
            names.append(QStringLiteral("Person %1").arg(i));
        }
        QStringListModel people(names);
        murmora::FirstRowsModel first;
        first.setSourceModel(&people);
        QCOMPARE(first.rowCount(), 12);
        people.insertRows(0, 1);
        people.setData(people.index(0), QStringLiteral("Newest"));
        QCOMPARE(first.rowCount(), 12);
        QCOMPARE(first.index(0, 0).data().toString(), QStringLiteral("Newest"));
        QCOMPARE(first.index(11, 0).data().toString(), QStringLiteral("Person 10"));
    }

    // The tiles of the profile: each only with its figure; the signature laugh is the first of the most used.
    void writingDNA() {
        dovrel::WrappedStats stats;
        stats.myMedianReplySeconds = 200;
        const auto labels = [this](const dovrel::WrappedStats& value) {
            QQmlComponent component(engine_.get());
            component.setData(
                "import QtQuick\nimport Murmora\nQtObject { property var stats; "
                "readonly property var tiles: dna.tiles(stats); property WritingDNA dna: WritingDNA {} }",
                QUrl());
            std::unique_ptr<QObject> object(component.createWithInitialProperties(
                {{QStringLiteral("stats"), QVariant::fromValue(murmora::WrappedStatsValue(value))}}));
            QStringList found;
            for (const QVariant& tile : object->property("tiles").toList()) {
                found.append(tile.toMap().value(QStringLiteral("label")).toString() + "=" +
                             tile.toMap().value(QStringLiteral("value")).toString());
            }
            return found;
        };
        QCOMPARE(labels(stats), QStringList{"Reply speed=3 minutes"});
        stats.laughter.lolCount = 4;
        stats.laughter.capsHahaCount = 4;
        QCOMPARE(labels(stats), (QStringList{"Reply speed=3 minutes", "Signature laugh=HAHAHA"}));
    }

    // A row of the people list opens that person's page; "All people" goes back to the list.
    void peopleRowOpensThePerson() {
        home_->generate();
        state_->checkAccess();
        QTRY_COMPARE_WITH_TIMEOUT(state_->phase(), Phase::Ready, 30000);
        state_->finishWalkthrough();
        state_->setTab(AppState::Tab::People);
        QTRY_VERIFY(item(QStringLiteral("peopleList")) != nullptr);
        QQuickItem* list = item(QStringLiteral("peopleList"));
        QTRY_VERIFY(list->property("count").toInt() > 0);
        QQuickItem* first = nullptr;
        QTRY_VERIFY((first = itemsNamed(list, QStringLiteral("personSubtitle")).value(0)) != nullptr);
        while (first != nullptr && !first->inherits("QQuickItemDelegate")) {
            first = first->parentItem();
        }
        QVERIFY(first != nullptr);
        QMetaObject::invokeMethod(first, "clicked");
        QTRY_VERIFY(item(QStringLiteral("personDetailView")) != nullptr);
        QMetaObject::invokeMethod(item(QStringLiteral("backToPeople")), "clicked");
        QTRY_VERIFY(item(QStringLiteral("peopleList")) != nullptr);
    }

    // A tapped month opens the coach on the person with the question about that month.
    void tappedMonthAsksTheCoach() {
        auto* trends = make(QStringLiteral("TrendsSection { handle: \"+15550001\" }"));
        trends->setProperty(
            "months",
            QVariantList{QVariantMap{{"month", QDateTime(QDate(2025, 3, 14), QTime(12, 0))}, {"count", 40}}});
        QMetaObject::invokeMethod(trends, "askCoach", Q_ARG(QVariant, 0));
        QCOMPARE(state_->coachSelection(), std::optional<std::string>("+15550001"));
        QCOMPARE(state_->coachAsk(),
                 std::optional<std::string>(
                     "What changed between us around March 2025? Look at what we actually said."));
        QCOMPARE(state_->tab(), AppState::Tab::Coach);
    }

    // A dive's answer splits at "## " headings; text before the first is the overview, text without any is
    // one.
    void deepDiveSections() {
        const auto titles = [this](const char* markdown) {
            auto* result =
                make(QStringLiteral("DeepDiveResult { markdown: \"%1\" }").arg(QString::fromUtf8(markdown)));
            QStringList found;
            for (QQuickItem* title : itemsNamed(result, QStringLiteral("diveSectionTitle"))) {
                found.append(title->property("text").toString());
            }
            return found;
        };
        QCOMPARE(titles("Just prose."), QStringList{"Overview"});
        QCOMPARE(titles("Intro\\n## Conflict \\nbody\\n## Where it's going\\nmore"),
                 (QStringList{"Overview", "Conflict", "Where it's going"}));
    }

private:
    QQuickItem* item(const QString& name) const { return window_->findChild<QQuickItem*>(name); }

    static QObject* findIn(QObject* root, const QString& name) {
        if (auto* popup = root->property("contentItem").value<QQuickItem*>()) {
            return popup->findChild<QObject*>(name);
        }
        return root->findChild<QObject*>(name);
    }

    // Delegates of a repeater are children of its item, not of any QObject.
    static QList<QQuickItem*> itemsNamed(QObject* root, const QString& name) {
        QList<QQuickItem*> found;
        QList<QQuickItem*> pending = {qobject_cast<QQuickItem*>(root)};
        while (!pending.isEmpty()) {
            QQuickItem* next = pending.takeFirst();
            if (next->objectName() == name) {
                found.append(next);
            }
            pending.append(next->childItems());
        }
        return found;
    }

    QObject* make(const QString& body) {
        QQmlComponent component(engine_.get());
        component.setData(("import QtQuick\nimport Murmora\n" + body).toUtf8(), QUrl());
        QObject* object = component.create();
        if (object == nullptr) {
            qWarning() << component.errors();
            return nullptr;
        }
        object->setParent(window_);
        if (auto* shown = qobject_cast<QQuickItem*>(object)) {
            shown->setParentItem(window_->contentItem());
        }
        QTest::qWait(50);
        return object;
    }

    std::unique_ptr<TestHome> home_;
    std::unique_ptr<AppState> state_;
    std::unique_ptr<QQmlApplicationEngine> engine_;
    QQuickWindow* window_ = nullptr;
};

QTEST_MAIN(WindowTest)
#include "WindowTest.moc"
