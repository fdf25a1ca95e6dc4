// moc of Qt 6.4 cannot parse the C++20 standard headers behind the core; the test class needs none of them.
#ifndef Q_MOC_RUN
#include "State/AppState.h"
#include "TestHome.h"

#include <fstream>
#include <nlohmann/json.hpp>
#endif

#include <QSignalSpy>
#include <QStandardPaths>
#include <QTest>

using murmora::AppState;

class OnDemandStateTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }
    void init() { home_ = std::make_unique<TestHome>(); }

    // One load at a time, never repeated; names of members are merged without overwriting, and a later learn
    // run puts back the names of one-to-one people only.
    void groupsLoadOnceAndMergeNames() {
        const demohome::DemoHomeResult written = home_->generate(5, 4000);
        const nlohmann::json summary = nlohmann::json::parse(std::ifstream(written.summary));
        std::size_t expectedGroups = 0;
        for (const nlohmann::json& group : summary.at("groups")) {
            if (group.at("messages").get<int>() >= 25 && group.at("participants").size() >= 2) {
                ++expectedGroups;
            }
        }
        QVERIFY(expectedGroups > 0);

        AppState state(nullptr);
        learn(state);
        const std::map<std::string, std::string> oneToOneNames = state.names();

        QSignalSpy loading(&state, &AppState::groupsLoadingChanged);
        QSignalSpy loaded(&state, &AppState::groupsChanged);
        state.loadGroups();
        QVERIFY(state.groupsLoading());
        state.loadGroups(); // ignored while the first load runs
        QVERIFY(loaded.wait(30000));
        QCOMPARE(loading.count(), 2);
        QVERIFY(!state.groupsLoading());
        QVERIFY(state.groupsLoaded());
        QCOMPARE(state.groups().size(), expectedGroups);
        for (std::size_t i = 1; i < state.groups().size(); ++i) {
            QVERIFY(state.groups()[i - 1].messages.size() >= state.groups()[i].messages.size());
        }
        for (const auto& [handle, name] : oneToOneNames) {
            QCOMPARE(state.names().at(handle), name);
        }
        QVERIFY(state.names().size() >= oneToOneNames.size());
        QCOMPARE(state.groupsModel()->rowCount(), static_cast<int>(expectedGroups));

        state.loadGroups();
        QTest::qWait(50);
        QCOMPARE(loading.count(), 2);

        // Statistics are computed once per group and kept, across learn runs too.
        const dovrel::GroupThread& group = state.groups().front();
        const dovrel::GroupStats* first = &state.stats(group);
        QCOMPARE(first->total, static_cast<int>(group.messages.size()));
        QCOMPARE(state.groupStats(QString::fromStdString(group.guid)).total, first->total);
        QVERIFY(!state.groupStats(QStringLiteral("no-such-guid")).valid);
        QCOMPARE(state.groupsModel()->index(0).data(murmora::GroupsModel::TitleRole).toString().toStdString(),
                 state.groupName(group));
        const std::unique_ptr<murmora::GroupMembersModel> members(
            state.groupMembers(QString::fromStdString(group.guid)));
        QCOMPARE(members->rowCount(), static_cast<int>(first->members.size()));

        learn(state, true);
        QCOMPARE(state.names(), oneToOneNames);
        QCOMPARE(state.groups().size(), expectedGroups);
        QCOMPARE(&state.stats(state.groups().front()), first);
    }

    void groupsNeedReadAccess() {
        AppState state(nullptr);
        state.setEnvironment(home_->environment());
        QSignalSpy loading(&state, &AppState::groupsLoadingChanged);
        state.loadGroups();
        QVERIFY(!state.groupsLoading());
        QTest::qWait(50);
        QCOMPARE(loading.count(), 0);
        QVERIFY(!state.groupsLoaded());
    }

    // Proactive insights follow the threads of each run; trends are filled on demand, never replaced, and
    // emptied by a finished run.
    void proactiveAndTrendsFollowRuns() {
        home_->generate(5, 4000);
        AppState state(nullptr);
        state.setEnvironment(home_->environment());
        QSignalSpy proactiveChanged(&state, &AppState::proactiveChanged);
        state.refreshProactive(); // no threads yet
        QTest::qWait(50);
        QCOMPARE(proactiveChanged.count(), 0);

        learn(state);
        std::vector<dovrel::ContactThread> threads;
        for (const auto& [handle, thread] : state.threadsByHandle()) {
            threads.push_back(thread);
        }
        std::vector<std::string> top;
        for (const dovrel::PersonInsights& person : state.people()) {
            top.push_back(person.handleID);
        }
        const auto resolve = [&state](const std::string& handle) {
            const auto thread = state.threadsByHandle().find(handle);
            return state.name(handle, thread == state.threadsByHandle().end() ? std::nullopt
                                                                              : thread->second.displayName);
        };
        const std::vector<dovrel::Proactive::Insight> expected = dovrel::Proactive::detect(
            threads, top, resolve, dovrel::Calendar("UTC"), dovrel::Date::fromUnix(TestHome::nowUnix));
        QVERIFY(!expected.empty());
        QTRY_VERIFY_WITH_TIMEOUT(state.proactive() == expected, 30000);
        QCOMPARE(state.insightsModel()->rowCount(), static_cast<int>(expected.size()));

        const std::string handle = state.people().front().handleID;
        QSignalSpy trendsChanged(&state, &AppState::trendsCacheChanged);
        state.loadTrends(QString::fromStdString(handle));
        QVERIFY(trendsChanged.wait(30000));
        const std::vector<dovrel::Trends::MonthPoint> points =
            dovrel::Trends::monthly(state.threadsByHandle().at(handle).messages, dovrel::Calendar("UTC"));
        QVERIFY(!points.empty());
        QCOMPARE(state.trendsCache().at(handle), points);
        state.storeTrends(handle, {});
        QCOMPARE(state.trendsCache().at(handle), points);
        state.loadTrends(QStringLiteral("+10000000000")); // no thread: nothing to compute
        QTest::qWait(50);
        QCOMPARE(state.trendsCache().size(), std::size_t{1});

        learn(state, true);
        QVERIFY(state.trendsCache().empty());
    }

private:
    void learn(AppState& state, bool silent = false) {
        state.setEnvironment(home_->environment());
        state.setRevealPause(std::chrono::milliseconds(0));
        QSignalSpy finished(&state, &AppState::runFinished);
        state.learn(365, silent);
        QVERIFY(finished.wait(60000));
        QVERIFY(finished.first().first().toBool());
    }

    std::unique_ptr<TestHome> home_;
};

QTEST_MAIN(OnDemandStateTest)
#include "OnDemandStateTest.moc"
