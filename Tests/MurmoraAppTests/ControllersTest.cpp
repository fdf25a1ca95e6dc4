// The screens' controllers over a learned demo home, answered by a scripted model.
// moc of Qt 6.4 cannot parse the C++20 standard headers behind the core; the test class needs none of them.
#ifndef Q_MOC_RUN
#include "AI/AIError.h"
#include "Coach/DeepDivePrompt.h"
#include "Controllers/DeepDiveController.h"
#include "Controllers/PersonTrendsController.h"
#include "Controllers/PriorityController.h"
#include "Foundation/Unicode.h"
#include "Measurement/Topics.h"
#include "ScriptedProvider.h"
#include "State/AppState.h"
#include "TestHome.h"

#include <nlohmann/json.hpp>
#endif

#include <QSignalSpy>
#include <QStandardPaths>
#include <QTest>

using namespace murmora;
using dovrel::PriorityInbox::Item;

class ControllersTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() {
        QStandardPaths::setTestModeEnabled(true);
        home_ = std::make_unique<TestHome>();
        home_->generate(5, 2500);
        state_ = std::make_unique<AppState>(nullptr, Store(home_->path() + "/appdata"));
        state_->setEnvironment(home_->environment());
        QSignalSpy finished(state_.get(), &AppState::runFinished);
        state_->learn(365, true);
        QVERIFY(finished.wait(60000));
        QVERIFY(finished.first().first().toBool());
    }

    void init() {
        ai_ = std::make_shared<ScriptedProvider>();
        state_->setAIProvider(ai_);
    }

    // The local candidates show at once, best first; one model call with the selection prompt picks among
    // them by the numbered lines of its reply, in the reply's order, each with its reason.
    void prioritySelection() {
        std::vector<dovrel::ContactThread> threads;
        for (const auto& [handle, thread] : state_->threadsByHandle()) {
            threads.push_back(thread);
        }
        const std::vector<Item> expected =
            dovrel::PriorityInbox::candidates(threads, *home_->environment()().now, 15);
        QVERIFY2(expected.size() >= 3, "the demo home has people waiting");

        PriorityController priority;
        priority.setState(state_.get());
        priority.compute();
        const std::vector<Item>& found = priority.candidates();
        QCOMPARE(found.size(), expected.size());
        for (std::size_t i = 0; i < found.size(); ++i) {
            QCOMPARE(found[i].score, expected[i].score);
        }
        PriorityModel* rows = priority.items();
        QCOMPARE(rows->rowCount(), std::min(5, static_cast<int>(found.size())));
        QCOMPARE(rows->index(0).data(PriorityModel::HandleRole).toString(),
                 QString::fromStdString(found[0].handleID));
        QVERIFY(!rows->index(0).data(PriorityModel::ReasonRole).isValid());
        for (int row = 0; row < rows->rowCount(); ++row) {
            const std::string& text = found[static_cast<std::size_t>(row)].lastMessage.text;
            const QString shown = rows->index(row).data(PriorityModel::LastMessageRole).toString();
            QVERIFY(QString::fromStdString(text).startsWith(shown));
            QCOMPARE(shown == QString::fromStdString(text), dovrel::unicode::graphemeCount(text) <= 60);
        }

        QTRY_COMPARE(ai_->calls.size(), 1);
        QVERIFY(priority.selecting());
        QCOMPARE(ai_->calls[0].prompt,
                 QString::fromStdString(dovrel::PriorityInbox::selectPrompt(found, state_->names(), 5)));
        QCOMPARE(ai_->calls[0].maxTokens, 300);
        ai_->answer(QStringLiteral("Sure!\n2. sounds urgent\n2. again\n99. nothing\n 1.  old friend \n"));
        QTRY_VERIFY(!priority.selecting());
        QVERIFY(priority.picked());
        QCOMPARE(rows->rowCount(), 2);
        QCOMPARE(rows->index(0).data(PriorityModel::HandleRole).toString(),
                 QString::fromStdString(found[1].handleID));
        QCOMPARE(rows->index(0).data(PriorityModel::ReasonRole).toString(), QStringLiteral("sounds urgent"));
        QCOMPARE(rows->index(1).data(PriorityModel::ReasonRole).toString(), QStringLiteral("old friend"));
        QCOMPARE(rows->index(1).data(PriorityModel::NameRole).toString(),
                 QString::fromStdString(state_->name(found[0].handleID, found[0].displayName)));
        priority.select();
        priority.compute();
        QCOMPARE(ai_->calls.size(), 1); // picked once per screen

        // A reply with no usable line, a failed call and no model at all leave the local list.
        for (int round = 0; round < 3; ++round) {
            if (round == 2) {
                ai_->available = false;
                state_->setAIProvider(ai_);
            }
            PriorityController local;
            local.setState(state_.get());
            local.compute();
            if (round == 0) {
                ai_->answer(QStringLiteral("1) hello\nnothing here"));
            } else if (round == 1) {
                ai_->failRun(AIError::unreachable());
            }
            QTRY_VERIFY(!local.selecting());
            QVERIFY(!local.picked());
            QCOMPARE(local.failed(), round == 1);
            QCOMPARE(local.items()->rowCount(), std::min(5, static_cast<int>(found.size())));
        }
        QCOMPARE(ai_->calls.size(), 3);
    }

    // A dive sends the person's last 200 messages and keeps the answer with the artifacts; the daily cap and
    // other failures are told apart and leave the stored dive alone.
    void deepDive() {
        const dovrel::PersonInsights person = state_->people().front();
        const dovrel::ContactThread& thread = state_->threadsByHandle().at(person.handleID);
        DeepDiveController dive;
        dive.setState(state_.get());
        dive.setHandle(QStringLiteral("nobody@example.com"));
        dive.run();
        QVERIFY(!dive.running());

        dive.setHandle(QString::fromStdString(person.handleID));
        QVERIFY(!dive.hasResult());
        dive.run();
        QVERIFY(dive.running());
        QTRY_COMPARE(ai_->calls.size(), 1);
        QCOMPARE(ai_->calls[0].prompt,
                 QString::fromStdString(dovrel::DeepDivePrompt::build(
                     state_->name(person.handleID, person.displayName), thread, person, 200)));
        QCOMPARE(ai_->calls[0].maxTokens, 4096);
        ai_->answer(QStringLiteral("## The dynamic\nWarm and quick."));
        QTRY_VERIFY(!dive.running());
        QVERIFY(dive.hasResult());
        QCOMPARE(dive.resultText(), QStringLiteral("## The dynamic\nWarm and quick."));
        QCOMPARE(dive.staleness(), QString());
        const dovrel::StoredDive& stored = state_->coachStore()->deepDives().at(person.handleID);
        QCOMPARE(stored.generatedAt, *home_->environment()().now);
        QCOMPARE(stored.threadLastDate, thread.messages.back().date);
        // Saves are written on a worker; the file follows shortly.
        const auto savedDive = [&] {
            const auto saved = Store(home_->path() + "/appdata").readArtifacts();
            return saved && saved->deepDives.contains(person.handleID) &&
                   saved->deepDives.at(person.handleID) == stored;
        };
        QTRY_VERIFY(savedDive());

        ai_->failRun(AIError::dailyCap());
        dive.run();
        QTRY_VERIFY(!dive.running());
        QVERIFY(dive.capHit());
        QCOMPARE(dive.errorText(), QString());
        ai_->failRun(AIError::relayFailed(500));
        dive.run();
        QTRY_VERIFY(!dive.running());
        QVERIFY(!dive.capHit());
        QCOMPARE(dive.errorText(), AIError::message(AIError::Case::relayFailed));
        QCOMPARE(dive.resultText(), QStringLiteral("## The dynamic\nWarm and quick."));
    }

    // The months go into the state's cache once, the words are the user's own; a person without a thread
    // has neither.
    void trendsAndTopics() {
        const dovrel::PersonInsights person = state_->people().front();
        const dovrel::ContactThread& thread = state_->threadsByHandle().at(person.handleID);
        PersonTrendsController trends;
        trends.setState(state_.get());
        trends.setHandle(QString::fromStdString(person.handleID));
        QCOMPARE(trends.points()->rowCount(), 0);
        trends.load();
        QVERIFY(trends.loading());
        QTRY_VERIFY(!trends.loading());

        const auto expectedPoints = dovrel::Trends::monthly(thread.messages, home_->environment()().calendar);
        QCOMPARE(state_->insights()->trendsCache().at(person.handleID), expectedPoints);
        QCOMPARE(trends.points()->rowCount(), static_cast<int>(expectedPoints.size()));
        std::vector<std::string> mine;
        for (const dovrel::RawMessage& message : thread.messages) {
            if (message.isFromMe) {
                mine.push_back(message.text);
            }
        }
        QStringList words;
        for (const auto& word : dovrel::Topics::topWords(mine, 8)) {
            words.append(QString::fromStdString(word.word));
        }
        QCOMPARE(trends.topics(), words);

        // Another screen on the same person finds the months already there.
        PersonTrendsController again;
        again.setState(state_.get());
        again.setHandle(QString::fromStdString(person.handleID));
        QCOMPARE(again.points()->rowCount(), static_cast<int>(expectedPoints.size()));

        again.setHandle(QStringLiteral("nobody@example.com"));
        again.load();
        QVERIFY(!again.loading());
        QCOMPARE(again.points()->rowCount(), 0);
        QVERIFY(again.topics().isEmpty());
    }

private:
    std::unique_ptr<TestHome> home_;
    std::unique_ptr<AppState> state_;
    std::shared_ptr<ScriptedProvider> ai_;
};

QTEST_MAIN(ControllersTest)
#include "ControllersTest.moc"
