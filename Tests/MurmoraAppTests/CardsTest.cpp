// moc of Qt 6.4 cannot parse the C++20 standard headers behind the core; the test class needs none of them.
#ifndef Q_MOC_RUN
#include "State/AppState.h"
#include "TestHome.h"
#include "Window/Appearance.h"
#include "Window/CardRenderer.h"
#endif

#include "Models/GroupStatsValue.h"
#include "Models/WrappedStatsValue.h"
#include "Platform/ShareCompose.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickWindow>
#include <QStandardPaths>
#include <QTest>

using dovrel::WrappedStats;

namespace {

WrappedStats statsWith(int contacts) {
    WrappedStats stats;
    stats.totalMessages = 1234;
    stats.peopleCount = 9;
    for (int i = 0; i < contacts; ++i) {
        stats.topContacts.push_back(
            {"+1555000000" + std::to_string(i), "Person " + std::to_string(i), 100 - i, 50, 50});
    }
    return stats;
}

} // namespace

// The share cards' rules, read from the laid-out item tree.
class CardsTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() {
        QStandardPaths::setTestModeEnabled(true);
        home_ = std::make_unique<TestHome>();
        state_ = std::make_unique<murmora::AppState>(nullptr);
        murmora::addModuleImports(engine_);
        window_.resize(540, 960);
        window_.show();
    }

    void longArchetypeShrinksThenCuts() {
        auto* card = canvas("Archetype", statsWith(1), "The Steady Presence");
        QVERIFY(!named(card, "archetypeTitle").first()->property("truncated").toBool());
        card = canvas("Archetype", statsWith(1), QString(60, QLatin1Char('W')));
        QVERIFY(named(card, "archetypeTitle").first()->property("truncated").toBool());
    }

    void laughAudit() {
        WrappedStats stats = statsWith(1);
        auto* card = canvas("Laugh audit", stats);
        QCOMPARE(named(card, "laughRow").size(), 0);
        QCOMPARE(named(card, "whatsYours").size(), 1);

        stats.laughter.hahaCount = 1000;
        stats.laughter.lolCount = 1;
        card = canvas("Laugh audit", stats);
        const QList<QQuickItem*> bars = named(card, "laughBar");
        QCOMPARE(bars.size(), 2);
        QVERIFY(bars[0]->width() > 200);
        QCOMPARE(bars[1]->width(), 10.0);
    }

    void rankRowsAndRules() {
        auto* card = canvas("Top five", statsWith(3));
        QCOMPARE(named(card, "rankRow").size(), 3);
        QCOMPARE(visible(named(card, "rankRule")), 2);
        card = canvas("Summary", statsWith(1));
        QCOMPARE(named(card, "rankRow").size(), 1);
        QCOMPARE(visible(named(card, "rankRule")), 0);
        // No reply, last-text or initiation figure: no tiles, and the rest stays.
        QCOMPARE(named(card, "summaryTile").size(), 0);
        WrappedStats stats = statsWith(1);
        stats.myInitiationRate = 0.427;
        card = canvas("Summary", stats);
        QCOMPARE(named(card, "summaryTile").size(), 1);

        QQmlComponent monogram(&engine_);
        monogram.setData("import Murmora\nCardMonogram { text: \"  \" }", QUrl());
        std::unique_ptr<QObject> blank(monogram.create());
        QCOMPARE(
            named(qobject_cast<QQuickItem*>(blank.get()), "cardMonogramLetter").first()->property("text"),
            QVariant(QStringLiteral("#")));
    }

    // Each format at scale 3 has the pixel size a phone expects.
    void renderedSizes() {
        murmora::CardRenderer renderer(engine_);
        const QVariantMap stats{
            {QStringLiteral("stats"), QVariant::fromValue(murmora::WrappedStatsValue(statsWith(2)))}};
        QVariantMap post = stats;
        post.insert(QStringLiteral("format"), QStringLiteral("Post"));
        QCOMPARE(renderer.render(QStringLiteral("CardCanvas {}"), post, 3).size(), QSize(1620, 2025));
        QVariantMap story = stats;
        story.insert(QStringLiteral("format"), QStringLiteral("Story"));
        QCOMPARE(renderer.render(QStringLiteral("CardCanvas {}"), story, 3).size(), QSize(1620, 2880));
        QCOMPARE(renderer.render(QStringLiteral("StatShareCard { value: \"12\" }"), {}, 2).size(),
                 QSize(1080, 1350));
        QVERIFY(renderer.render(QStringLiteral("NoSuchCard {}"), {}, 3).isNull());
    }

    // Two tiles share one row; a lone tile keeps half of it.
    void duoTileRows() {
        auto* two =
            make("DuoCardCanvas { tiles: [{value: \"1\", caption: \"a\"}, {value: \"2\", caption: \"b\"}] }");
        const QList<QQuickItem*> tiles = named(two, "duoTile");
        QCOMPARE(tiles.size(), 2);
        QCOMPARE(tiles[0]->y(), tiles[1]->y());
        auto* one = make("DuoCardCanvas { tiles: [{value: \"1\", caption: \"a\"}] }");
        QCOMPARE(named(one, "duoTile").first()->width(), tiles[0]->width());
    }

    void groupCardShowsFiveBars() {
        dovrel::GroupStats stats;
        for (int i = 0; i < 8; ++i) {
            stats.members.push_back(
                {i == 6 ? std::string(dovrel::GroupThread::meKey) : "m" + std::to_string(i), 10, 0.1, 0, 0,
                 0});
        }
        QQmlComponent component(&engine_);
        component.setData("import Murmora\nGroupCardCanvas { name: \"Eight\" }", QUrl());
        std::unique_ptr<QObject> card(component.createWithInitialProperties(
            {{QStringLiteral("stats"), QVariant::fromValue(murmora::GroupStatsValue(
                                           stats, [](const std::string& key) { return key; }))}}));
        QCOMPARE(named(qobject_cast<QQuickItem*>(card.get()), "memberBar").size(), 5);
    }

    // Without a compose service the card goes to the clipboard as a picture, with no text and no recipient.
    void clipboardFallBack() {
        QGuiApplication::clipboard()->clear();
        QQmlComponent component(&engine_);
        component.setData(
            "import QtQuick\nimport Murmora\nQtObject { property int outcome: ShareCompose.sendCard("
            "\"StatShareCard {}\", {value: \"7\"}, [\"+15550001111\"], true) }",
            QUrl());
        std::unique_ptr<QObject> send(component.create());
        QVERIFY(send != nullptr);
        QCOMPARE(send->property("outcome").toInt(), static_cast<int>(murmora::ShareCompose::Outcome::Copied));
        QCOMPARE(QGuiApplication::clipboard()->image().size(), QSize(1080, 1350));
        QVERIFY(QGuiApplication::clipboard()->text().isEmpty());
    }

    void flashLastsTwoSecondsFromTheLatest() {
        auto* note = make("FlashNote {}");
        QMetaObject::invokeMethod(note, "flash", Q_ARG(QVariant, QStringLiteral("first")));
        QTest::qWait(1500);
        QMetaObject::invokeMethod(note, "flash", Q_ARG(QVariant, QStringLiteral("second")));
        QTest::qWait(1000);
        QCOMPARE(note->property("text").toString(), QStringLiteral("second"));
        QTRY_COMPARE_WITH_TIMEOUT(note->property("text").toString(), QString(), 1500);
    }

private:
    QQuickItem* make(const char* source) {
        QQmlComponent component(&engine_);
        component.setData(QByteArray("import Murmora\n") + source, QUrl());
        auto* item = qobject_cast<QQuickItem*>(component.create());
        if (item == nullptr) {
            qWarning() << component.errors();
            return nullptr;
        }
        item->setParent(&window_);
        item->setParentItem(window_.contentItem());
        QTest::qWait(30);
        return item;
    }

    QQuickItem* canvas(const char* template_, const WrappedStats& stats, const QString& title = {}) {
        QQmlComponent component(&engine_);
        component.setData("import Murmora\nCardCanvas {}", QUrl());
        auto* card = qobject_cast<QQuickItem*>(component.createWithInitialProperties(
            {{QStringLiteral("template"), QString::fromUtf8(template_)},
             {QStringLiteral("stats"), QVariant::fromValue(murmora::WrappedStatsValue(stats))},
             {QStringLiteral("archetypeTitle"), title}}));
        if (card == nullptr) {
            qWarning() << component.errors();
            return nullptr;
        }
        card->setParent(&window_);
        card->setParentItem(window_.contentItem());
        QTest::qWait(30);
        return card;
    }

    static QList<QQuickItem*> named(QQuickItem* root, const char* name) {
        QList<QQuickItem*> found;
        QList<QQuickItem*> pending{root};
        while (!pending.isEmpty()) {
            QQuickItem* next = pending.takeFirst();
            if (next->objectName() == QLatin1String(name)) {
                found.append(next);
            }
            pending.append(next->childItems());
        }
        return found;
    }

    static int visible(const QList<QQuickItem*>& items) {
        return static_cast<int>(
            std::count_if(items.begin(), items.end(), [](QQuickItem* item) { return item->isVisible(); }));
    }

    std::unique_ptr<TestHome> home_;
    std::unique_ptr<murmora::AppState> state_;
    QQmlEngine engine_;
    QQuickWindow window_;
};

QTEST_MAIN(CardsTest)
#include "CardsTest.moc"
