// moc of Qt 6.4 cannot parse the C++20 standard headers behind the core; the test class needs none of them.
#ifndef Q_MOC_RUN
#include "Coach/CoachEngine.h"
#include "State/AppState.h"
#include "TestHome.h"

#include <algorithm>
#include <fstream>
#include <nlohmann/json.hpp>
#endif

#include <QRegularExpression>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTest>

using murmora::AppState;
using murmora::Insights;
using Status = murmora::Insights::GroupStatus;

class OnDemandStateTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }
    void init() { home_ = std::make_unique<TestHome>(); }

    // One load at a time, never repeated; names of members are merged without overwriting, and a later learn
    // run puts back the names of one-to-one people only. Statistics come from the cache the load filled.
    // Without access nothing starts; a failed read is finished (the coach's tools answer as for no groups),
    // goes to the log, and a later call tries again.
    void groupsLoadOnceAndMergeNames() {
        AppState state(nullptr);
        Insights& insights = *state.insights();
        state.setEnvironment(home_->environment());
        insights.loadGroups();
        QCOMPARE(insights.groupStatus(), Status::NotLoaded);

        const demohome::DemoHomeResult written = home_->generate(5, 4000);
        const nlohmann::json summary = nlohmann::json::parse(std::ifstream(written.summary));
        std::size_t expectedGroups = 0;
        for (const nlohmann::json& group : summary.at("groups")) {
            expectedGroups += group.at("messages").get<int>() >= 25 && group.at("participants").size() >= 2;
        }
        QVERIFY(expectedGroups > 0);
        learn(state);
        const std::map<std::string, std::string> oneToOneNames = state.names();
        home_->damageDatabase();
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("^Could not read the group chats: .+"));
        QSignalSpy status(&insights, &Insights::groupStatusChanged);
        insights.loadGroups();
        QVERIFY(status.wait(30000));
        QCOMPARE(insights.groupStatus(), Status::Failed);
        std::string answer;
        state.coach()->runTool({"t", "groups", "{}"}, std::nullopt,
                               [&](murmora::CoachEngine::ToolOutput output) { answer = output.result; });
        QTRY_VERIFY(!answer.empty());
        QCOMPARE(answer, std::string("No group chats with enough history."));
        QCOMPARE(insights.groupStatus(), Status::Failed); // the coach does not start it over and over

        home_->generate(5, 4000);
        status.clear();
        insights.loadGroups();
        QCOMPARE(insights.groupStatus(), Status::Loading);
        insights.loadGroups(); // ignored while the first load runs
        QVERIFY(status.wait(30000));
        QCOMPARE(insights.groupStatus(), Status::Loaded);
        QCOMPARE(insights.groups().size(), expectedGroups);
        QVERIFY(std::includes(state.names().begin(), state.names().end(), oneToOneNames.begin(),
                              oneToOneNames.end()));
        QVERIFY(state.names().size() > oneToOneNames.size());
        insights.loadGroups();
        QTest::qWait(50);
        QCOMPARE(status.count(), 2);

        const dovrel::GroupThread& group = insights.groups().front();
        const dovrel::GroupStats* cached = insights.stats(group);
        QVERIFY(cached != nullptr);
        QCOMPARE(*cached, dovrel::GroupStats::compute(group, dovrel::Calendar("UTC")));
        const QString guid = QString::fromStdString(group.guid);
        QCOMPARE(insights.groupStats(guid).total, cached->total);
        QCOMPARE(std::unique_ptr<murmora::GroupMembersModel>(insights.groupMembers(guid))->rowCount(),
                 static_cast<int>(cached->members.size()));
        QCOMPARE(insights.groupsModel()->index(0).data(murmora::GroupsModel::TitleRole).toString(),
                 QString::fromStdString(insights.groupName(group)));
        // A group the load did not bring is computed off the GUI thread, then found.
        dovrel::GroupThread other = insights.groups().back();
        other.guid = "elsewhere";
        QSignalSpy ready(&insights, &Insights::groupStatsReady);
        QCOMPARE(insights.stats(other), nullptr);
        QVERIFY(ready.wait(30000));
        QCOMPARE(ready.first().first().toString(), QStringLiteral("elsewhere"));
        QCOMPARE(*insights.stats(other), dovrel::GroupStats::compute(other, dovrel::Calendar("UTC")));

        learn(state, true);
        QCOMPARE(state.names(), oneToOneNames);
        QCOMPARE(insights.groups().size(), expectedGroups);
        QCOMPARE(insights.stats(insights.groups().front()), cached);
    }

    // Proactive insights follow the threads of each run; trends are filled on demand, never replaced, and
    // emptied by a finished run.
    void proactiveAndTrendsFollowRuns() {
        home_->generate(5, 4000);
        AppState state(nullptr);
        Insights& insights = *state.insights();
        state.setEnvironment(home_->environment());
        insights.refreshProactive(); // no threads yet
        QCOMPARE(insights.proactiveLoading(), false);

        learn(state);
        std::vector<const dovrel::ContactThread*> threads;
        std::vector<std::string> top;
        for (const dovrel::PersonInsights& person : state.people()) {
            top.push_back(person.handleID);
            threads.push_back(&state.threadsByHandle().at(person.handleID));
        }
        const auto resolve = [&state](const std::string& handle) {
            return state.name(handle, state.threadsByHandle().at(handle).displayName);
        };
        const std::vector<dovrel::Proactive::Insight> expected = dovrel::Proactive::detect(
            threads, top, resolve, dovrel::Calendar("UTC"), dovrel::Date::fromUnix(TestHome::nowUnix));
        QVERIFY(!expected.empty());
        QTRY_VERIFY_WITH_TIMEOUT(!insights.proactiveLoading(), 30000);
        QVERIFY(insights.proactive() == expected);
        QCOMPARE(insights.proactiveModel()->rowCount(), static_cast<int>(expected.size()));

        const std::string handle = state.people().front().handleID;
        QSignalSpy trendsChanged(&insights, &Insights::trendsChanged);
        insights.loadTrends(QString::fromStdString(handle));
        QVERIFY(trendsChanged.wait(30000));
        const std::vector<dovrel::Trends::MonthPoint> points =
            dovrel::Trends::monthly(state.threadsByHandle().at(handle).messages, dovrel::Calendar("UTC"));
        QVERIFY(!points.empty());
        QCOMPARE(insights.trendsCache().at(handle), points);
        insights.storeTrends(handle, {});
        QCOMPARE(insights.trendsCache().at(handle), points);
        insights.loadTrends(QStringLiteral("+10000000000")); // no thread: nothing to compute
        QTest::qWait(50);
        QCOMPARE(insights.trendsCache().size(), std::size_t{1});

        learn(state, true);
        QVERIFY(insights.trendsCache().empty());
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
