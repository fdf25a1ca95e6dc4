// moc of Qt 6.4 cannot parse the C++20 standard headers behind the core; the test class needs none of them.
#ifndef Q_MOC_RUN
#include "Models/PeopleFilterModel.h"
#include "State/AppState.h"
#include "TestHome.h"
#endif

#include <QQmlComponent>
#include <QQmlEngine>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTest>

using murmora::AppState;
using murmora::PeopleFilterModel;
using murmora::PeopleModel;

class ModelsTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }
    void init() { home_ = std::make_unique<TestHome>(); }

    // A learned demo home reaches the people model and a thread, and QML binds to a value type's property, a
    // nested record of it and a model's roles, and follows a change of the value.
    void learnedCorpusReachesModelsAndQml() {
        home_->generate();
        AppState state(nullptr);
        state.setEnvironment(home_->environment());
        state.setRevealPause(std::chrono::milliseconds(0));
        QSignalSpy finished(&state, &AppState::runFinished);
        state.learn(365, true);
        QVERIFY(finished.wait(60000));
        QVERIFY(finished.first().first().toBool());

        const PeopleModel& people = *state.peopleModel();
        QCOMPARE(people.rowCount(), static_cast<int>(state.people().size()));
        QVERIFY(people.rowCount() > 5);
        for (int row = 0; row < people.rowCount(); ++row) {
            const dovrel::PersonInsights& person = state.people()[static_cast<std::size_t>(row)];
            const QModelIndex at = people.index(row);
            QCOMPARE(at.data(PeopleModel::HandleIDRole).toString().toStdString(), person.handleID);
            QCOMPARE(at.data(PeopleModel::NameRole).toString().toStdString(), state.name(person.handleID));
            QCOMPARE(at.data(PeopleModel::TotalRole).toInt(),
                     person.report.sentCount + person.report.receivedCount);
            const dovrel::RawMessage& last = state.threadsByHandle().at(person.handleID).messages.back();
            QCOMPARE(at.data(PeopleModel::LastDateRole).toDateTime().toSecsSinceEpoch(),
                     static_cast<qint64>(last.date.seconds + dovrel::Date::unixOffset));
            QCOMPARE(at.data(PeopleModel::LastFromMeRole).toBool(), last.isFromMe);
        }

        const std::string top = state.people().front().handleID;
        std::unique_ptr<murmora::ThreadModel> thread(state.threadModel(QString::fromStdString(top)));
        const std::vector<dovrel::RawMessage>& messages = state.threadsByHandle().at(top).messages;
        QCOMPARE(thread->totalCount(), static_cast<int>(messages.size()));
        QCOMPARE(thread->index(0).data(murmora::ThreadModel::TextRole).toString().toStdString(),
                 messages.back().text);
        std::unique_ptr<murmora::ThreadModel> none(state.threadModel(QStringLiteral("no-such-handle")));
        QCOMPARE(none->rowCount(), 0);

        QQmlEngine engine;
        QQmlComponent component(&engine);
        component.setData(R"(
            import QtQuick
            import Murmora
            Item {
                property string title: AppState.archetype.title
                property int total: AppState.stats.totalMessages
                property string topHandle: AppState.stats.topContacts[0].handleID
                Repeater {
                    id: rows
                    model: AppState.people
                    Item { required property string handleID; required property int total }
                }
                property string firstHandle: rows.count > 0 ? rows.itemAt(0).handleID : ""
                property int firstTotal: rows.count > 0 ? rows.itemAt(0).total : -1
            })",
                          QUrl());
        std::unique_ptr<QObject> root(component.create());
        QVERIFY2(root, qPrintable(component.errorString()));
        QCOMPARE(root->property("title").toString().toStdString(), state.archetype()->title);
        QCOMPARE(root->property("total").toInt(), state.stats()->totalMessages);
        QCOMPARE(root->property("topHandle").toString().toStdString(),
                 state.stats()->topContacts.front().handleID);
        QCOMPARE(root->property("firstHandle").toString().toStdString(), top);
        QCOMPARE(root->property("firstTotal").toInt(), people.index(0).data(PeopleModel::TotalRole).toInt());
        state.setArchetype(dovrel::Archetype{"The Night Owl", "You come alive after dark."});
        QCOMPARE(root->property("title").toString(), QStringLiteral("The Night Owl"));
    }

    // Search ignores case and accents and matches handles; the three orders, and a re-sort when the insights
    // that the attention order follows arrive after the list.
    void peopleSearchAndSorts() {
        // In volume order: Ann, José, Zoë, an unnamed number.
        const std::vector<std::pair<std::string, double>> handles = {
            {"+442071234567", 400}, {"+14155550100", 100}, {"zoe@example.com", 300}, {"+15550001", 200}};
        std::vector<dovrel::PersonInsights> people;
        for (const auto& [handle, lastMessage] : handles) {
            dovrel::PersonInsights person;
            person.handleID = handle;
            person.report.lastMessage = dovrel::Date{lastMessage};
            people.push_back(person);
        }
        PeopleModel source;
        source.setPeople(people, {{"+442071234567", "Ann Lee"},
                                  {"+14155550100", "José Álvarez"},
                                  {"zoe@example.com", "Zoë Brandt"}});
        // Loaded threads override the report's date: José texted last of all.
        source.setThreadEnds({{"+14155550100", {dovrel::Date{900}, true}}});
        PeopleFilterModel proxy;
        proxy.setSourceModel(&source);
        const auto shown = [&proxy] {
            QStringList out;
            for (int row = 0; row < proxy.rowCount(); ++row) {
                out.append(proxy.index(row, 0).data(PeopleModel::NameRole).toString());
            }
            return out;
        };

        const std::vector<std::pair<QString, QStringList>> searches = {
            {"", {"Ann Lee", "José Álvarez", "Zoë Brandt", "+15550001"}},
            {"jose", {"José Álvarez"}},
            {"ÁLVAREZ", {"José Álvarez"}},
            {"ZOE", {"Zoë Brandt"}},
            {"example.COM", {"Zoë Brandt"}},
            {"+1415", {"José Álvarez"}},
            {"+1", {"José Álvarez", "+15550001"}},
            {"lee", {"Ann Lee"}},
            {"xyz", {}},
        };
        for (const auto& [query, expected] : searches) {
            proxy.setQuery(query);
            QCOMPARE(shown(), expected);
        }
        proxy.setQuery({});

        proxy.setSortMode(PeopleFilterModel::SortMode::Recent);
        QCOMPARE(shown(), QStringList({"José Álvarez", "Ann Lee", "Zoë Brandt", "+15550001"}));
        proxy.setSortMode(PeopleFilterModel::SortMode::Attention);
        QCOMPARE(shown(), QStringList({"José Álvarez", "Ann Lee", "Zoë Brandt", "+15550001"}));
        dovrel::Proactive::Insight waiting{dovrel::Proactive::Insight::Kind::waiting, "+15550001", "", ""};
        dovrel::Proactive::Insight neglected{dovrel::Proactive::Insight::Kind::neglected, "zoe@example.com",
                                             "", ""};
        source.setInsights({waiting, neglected});
        QCOMPARE(shown(), QStringList({"+15550001", "Zoë Brandt", "José Álvarez", "Ann Lee"}));
        QCOMPARE(proxy.index(1, 0).data(PeopleModel::InsightKindRole).toString(),
                 QStringLiteral("neglected"));
        proxy.setSortMode(PeopleFilterModel::SortMode::Volume);
        QCOMPARE(shown(), QStringList({"Ann Lee", "José Álvarez", "Zoë Brandt", "+15550001"}));
    }

    // A long thread shows one page, newest first, and grows by pages at its end; a day separator stands
    // before the first message of each calendar day.
    void threadFetchesPagesFromNewest() {
        const dovrel::Calendar utc("UTC");
        const dovrel::Date day = utc.date(2025, 6, 1);
        auto messages = std::make_shared<std::vector<dovrel::RawMessage>>();
        for (int i = 0; i < 50'000; ++i) {
            messages->push_back({day - (50'000 - i) * 60.0, i % 2 == 0, "m" + std::to_string(i), true});
        }
        // The last three: late on one day, then just after midnight.
        messages->push_back({day - 60.0, true, "late", true});
        messages->push_back({day + 60.0, false, "after midnight", true});
        messages->push_back({day + 120.0, true, "newest", true});

        murmora::ThreadModel thread;
        thread.setMessages(messages, utc);
        QCOMPARE(thread.totalCount(), 50'003);
        QCOMPARE(thread.rowCount(), murmora::ThreadModel::pageSize);
        const auto text = [&thread](int row) {
            return thread.index(row).data(murmora::ThreadModel::TextRole);
        };
        const auto startsDay = [&thread](int row) {
            return thread.index(row).data(murmora::ThreadModel::StartsDayRole).toBool();
        };
        QCOMPARE(text(0).toString(), QStringLiteral("newest"));
        QCOMPARE(text(2).toString(), QStringLiteral("late"));
        QVERIFY(!startsDay(0));
        QVERIFY(startsDay(1));
        QVERIFY(!startsDay(2));

        QSignalSpy inserted(&thread, &QAbstractItemModel::rowsInserted);
        QVERIFY(thread.canFetchMore({}));
        thread.fetchMore({});
        QCOMPARE(thread.rowCount(), 2 * murmora::ThreadModel::pageSize);
        QCOMPARE(inserted.count(), 1);
        QCOMPARE(inserted.first().at(1).toInt(), murmora::ThreadModel::pageSize);
        while (thread.canFetchMore({})) {
            thread.fetchMore({});
        }
        QCOMPARE(thread.rowCount(), 50'003);
        QCOMPARE(text(50'002).toString(), QStringLiteral("m0"));
        QVERIFY(startsDay(50'002));
    }

    // A new coach message is one inserted row; a transcript started afresh resets. Memory follows its key.
    void transcriptAppendsAndMemoryFollows() {
        murmora::CoachStore store(murmora::Store(), std::nullopt, false, {}, nullptr);
        const auto first = dovrel::CoachMessage::make(dovrel::CoachMessage::Role::user, "hi");
        store.setTranscript("", {first});
        murmora::TranscriptModel* transcript = store.transcriptModel({});
        QCOMPARE(transcript, store.transcriptModel({}));
        QCOMPARE(transcript->rowCount(), 1);

        QSignalSpy inserted(transcript, &QAbstractItemModel::rowsInserted);
        QSignalSpy reset(transcript, &QAbstractItemModel::modelReset);
        const auto reply = dovrel::CoachMessage::make(dovrel::CoachMessage::Role::coach, "hello",
                                                      dovrel::Date{5}, std::vector<std::string>{"Searched"});
        store.append("", reply);
        store.setTranscript("+1555", {reply}); // another key leaves this model alone
        QCOMPARE(inserted.count(), 1);
        QCOMPARE(inserted.first().at(1).toInt(), 1);
        QCOMPARE(reset.count(), 0);
        const QModelIndex row = transcript->index(1);
        QCOMPARE(row.data(murmora::TranscriptModel::RoleNameRole).toString(), QStringLiteral("coach"));
        QCOMPARE(row.data(murmora::TranscriptModel::SourcesRole).toStringList(), QStringList{"Searched"});
        QVERIFY(!transcript->index(0).data(murmora::TranscriptModel::DateRole).isValid());

        store.setTranscript("", {});
        QCOMPARE(reset.count(), 1);
        QCOMPARE(transcript->rowCount(), 0);

        murmora::MemoryModel* memory = store.memoryModel(QStringLiteral("+1555"));
        QCOMPARE(memory->rowCount(), 0);
        store.setMemory("+1555",
                        dovrel::CoachMemory::migrate("- likes hiking\n- moved to Lisbon", dovrel::Date{}));
        QCOMPARE(memory->rowCount(), 2);
        QCOMPARE(memory->index(1).data(murmora::MemoryModel::TextRole).toString(),
                 QStringLiteral("moved to Lisbon"));
        QCOMPARE(memory->index(1).data(murmora::MemoryModel::KindRole).toString(), QStringLiteral("fact"));
    }

private:
    std::unique_ptr<TestHome> home_;
};

QTEST_MAIN(ModelsTest)
#include "ModelsTest.moc"
