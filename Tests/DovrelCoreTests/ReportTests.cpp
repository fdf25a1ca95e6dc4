#include "Measurement/PersonInsights.h"
#include "Measurement/ReportBuilder.h"
#include "MeasurementSupport.h"

#include <gtest/gtest.h>

using namespace dovrel;
using namespace measurementtest;

namespace {
const Calendar newYork("America/New_York");
} // namespace

TEST(ContactReportTest, NeedsTenMessagesFromEitherSide) {
    EXPECT_FALSE(ReportBuilder::contactReport(thread("a", chatter(9)), newYork).has_value());
    EXPECT_TRUE(ReportBuilder::contactReport(thread("a", chatter(10)), newYork).has_value());
    EXPECT_FALSE(PersonInsights::compute(thread("a", chatter(9)), 10.0, 10.0, newYork).has_value());
}

TEST(ContactReportTest, OnlyTheirMessagesLeaveEveryRateOfMineAbsent) {
    std::vector<RawMessage> messages;
    for (int i = 0; i < 10; ++i) {
        messages.push_back(theirs(i * 20000.0, "haha?"));
    }
    const auto report = ReportBuilder::contactReport(thread("+15550001", messages, "Ana"), newYork);
    ASSERT_TRUE(report);
    EXPECT_EQ(report->displayName, "Ana");
    EXPECT_EQ(report->sentCount, 0);
    EXPECT_EQ(report->receivedCount, 10);
    EXPECT_EQ(report->myInitiationRate, 0.0);
    EXPECT_FALSE(report->myDoubleTextRate || report->myQuestionRate || report->myEmojiRate ||
                 report->myAverageLength || report->myMedianReplySeconds || report->theirMedianReplySeconds ||
                 report->myMedianLastTextMinuteOfDay);
    EXPECT_EQ(report->myHourlyHistogram, std::vector<int>(24, 0));
    EXPECT_EQ(report->myLaughter, LaughterProfile{});

    for (RawMessage& message : messages) {
        message.isFromMe = true;
    }
    const auto onlyMine = ReportBuilder::contactReport(thread("+15550001", messages), newYork);
    ASSERT_TRUE(onlyMine);
    EXPECT_EQ(onlyMine->receivedCount, 0);
    EXPECT_FALSE(onlyMine->myMedianReplySeconds || onlyMine->theirMedianReplySeconds);
    EXPECT_EQ(onlyMine->myLaughter.hahaCount, 10);
}

TEST(ContactReportTest, MeasuresTheWholeThreadInTheCalendarsZone) {
    const Date day = newYork.date(2024, 3, 9, 22, 0);
    // Out of order on purpose: first and last are by position.
    std::vector<RawMessage> messages = {
        theirs(day + 600, "hey"),
        mine(day + 660, "haha what? 😂"),
        theirs(day + 720),
        mine(day + 780, "lol"),
        theirs(day + 7200),
        mine(day + 7500, "ok"),
        mine(day + 9000, "you there?"),
        theirs(day + 9100),
        mine(day + 9130, "hi"),
        mine(day, "early"),
    };
    const auto report = ReportBuilder::contactReport(thread("x", messages), newYork);
    ASSERT_TRUE(report);
    EXPECT_EQ(report->sentCount, 6);
    EXPECT_EQ(report->firstMessage, day + 600);
    EXPECT_EQ(report->lastMessage, day);
    EXPECT_EQ(report->myMedianReplySeconds, 60.0);     // 60, 60, 300, 30
    EXPECT_EQ(report->theirMedianReplySeconds, 100.0); // 60, 6420, 100
    EXPECT_EQ(report->myDoubleTextRate, 1.0 / 6.0);    // 7500 -> 9000
    EXPECT_EQ(report->myQuestionRate, 2.0 / 6.0);
    EXPECT_EQ(report->myEmojiRate, 1.0 / 6.0);
    EXPECT_EQ(report->myLaughter, (LaughterProfile{1, 0, 1, 1}));
    // 22:00, 22:11 and 22:13 on the 9th; 00:05, 00:30 and 00:32 on the 10th.
    std::vector<int> hours(24, 0);
    hours[22] = 3;
    hours[0] = 3;
    EXPECT_EQ(report->myHourlyHistogram, hours);
    EXPECT_EQ(report->myMedianLastTextMinuteOfDay, 683); // 22:13 and 00:32: (1333 + 32) / 2 = 682.5
}

TEST(OverallReportTest, CountsEveryThreadButKeepsTheFirstQualifyingInOrder) {
    const Date now{750'000'000.0};
    const OverallReport none = ReportBuilder::overallReport({}, 10, newYork, now);
    EXPECT_EQ(none.generatedAt, now);
    EXPECT_EQ(none.totalMessages, 0);
    EXPECT_EQ(none.contactCount, 0);
    EXPECT_TRUE(none.contacts.empty());

    const std::vector<ContactThread> threads = {thread("short", chatter(5)), thread("mid", chatter(20)),
                                                thread("big", chatter(100))};
    const OverallReport all = ReportBuilder::overallReport(threads, 10, newYork, now);
    EXPECT_EQ(all.totalMessages, 125);
    EXPECT_EQ(all.contactCount, 2);
    const OverallReport first = ReportBuilder::overallReport(threads, 1, newYork, now);
    EXPECT_EQ(first.totalMessages, 125);
    ASSERT_EQ(first.contactCount, 1);
    EXPECT_EQ(first.contacts[0].handleID, "mid");
}

TEST(PersonInsightsTest, RatiosNeedAPositiveBaselineAndBalanceIsMyShare) {
    std::vector<RawMessage> messages = chatter(12);
    messages.push_back(mine(1000.0, "abcdef"));
    messages.push_back(mine(1030.0, "abcdef"));
    const ContactThread person = thread("p", messages);
    // My texts: six of 2 characters and two of 6, average 3; every reply of mine takes 60 s.
    const auto insights = PersonInsights::compute(person, 2.0, 120.0, newYork);
    ASSERT_TRUE(insights);
    EXPECT_EQ(insights->id(), "p");
    EXPECT_EQ(insights->lengthVsBaseline, 1.5);
    EXPECT_EQ(insights->replyVsBaseline, 0.5);
    EXPECT_EQ(insights->balance, 8.0 / 14.0);
    const auto noBaselines = PersonInsights::compute(person, 0.0, std::nullopt, newYork);
    ASSERT_TRUE(noBaselines);
    EXPECT_FALSE(noBaselines->lengthVsBaseline || noBaselines->replyVsBaseline);
}

TEST(PersonInsightsTest, SortByMessagesIsStable) {
    std::vector<PersonInsights> people(3);
    people[0].handleID = "a";
    people[0].report.sentCount = 5;
    people[1].handleID = "b";
    people[1].report.receivedCount = 9;
    people[2].handleID = "c";
    people[2].report.sentCount = 2;
    people[2].report.receivedCount = 3;
    PersonInsights::sortByMessages(people);
    EXPECT_EQ(people[0].handleID, "b");
    EXPECT_EQ(people[1].handleID, "a");
    EXPECT_EQ(people[2].handleID, "c");
}

namespace {

// A person with nothing remarkable, to change one measure at a time.
PersonInsights neutral() {
    PersonInsights person;
    person.handleID = "h";
    person.replyVsBaseline = 1.0;
    person.report.myInitiationRate = 0.5;
    person.balance = 0.5;
    person.lengthVsBaseline = 1.0;
    person.report.myDoubleTextRate = 0.0;
    return person;
}

std::optional<std::string> headlineWith(void (*change)(PersonInsights&), std::string_view name = "Sam") {
    PersonInsights person = neutral();
    change(person);
    return person.headline(name);
}

} // namespace

TEST(PersonInsightsTest, HeadlineEachClauseAtItsInclusiveThreshold) {
    EXPECT_FALSE(neutral().headline("Sam").has_value());
    EXPECT_FALSE(PersonInsights{}.headline("Sam").has_value()); // absent ratios, balance 0.5

    EXPECT_EQ(headlineWith([](PersonInsights& p) { p.replyVsBaseline = 0.55; }),
              "You reply 2× faster to Sam than to most people.");
    EXPECT_FALSE(headlineWith([](PersonInsights& p) { p.replyVsBaseline = 0.56; }));
    EXPECT_EQ(headlineWith([](PersonInsights& p) { p.replyVsBaseline = 1.8; }),
              "You take 2× longer than usual to reply to Sam.");
    EXPECT_FALSE(headlineWith([](PersonInsights& p) { p.replyVsBaseline = 1.79; }));

    EXPECT_EQ(headlineWith([](PersonInsights& p) { p.report.myInitiationRate = 0.65; }),
              "You start 65% of your conversations.");
    EXPECT_FALSE(headlineWith([](PersonInsights& p) { p.report.myInitiationRate = 0.64; }));
    EXPECT_EQ(headlineWith([](PersonInsights& p) { p.report.myInitiationRate = 0.35; }),
              "Sam starts most of your conversations.");
    EXPECT_FALSE(headlineWith([](PersonInsights& p) { p.report.myInitiationRate = 0.36; }));

    EXPECT_EQ(headlineWith([](PersonInsights& p) { p.balance = 0.62; }), "You send 62% of the messages.");
    EXPECT_FALSE(headlineWith([](PersonInsights& p) { p.balance = 0.61; }));
    EXPECT_EQ(headlineWith([](PersonInsights& p) { p.balance = 0.38; }), "Sam sends most of the messages.");
    EXPECT_FALSE(headlineWith([](PersonInsights& p) { p.balance = 0.39; }));

    EXPECT_EQ(headlineWith([](PersonInsights& p) { p.lengthVsBaseline = 1.6; }),
              "Your messages to them run 60% longer than your usual.");
    EXPECT_FALSE(headlineWith([](PersonInsights& p) { p.lengthVsBaseline = 1.59; }));
    EXPECT_EQ(headlineWith([](PersonInsights& p) { p.lengthVsBaseline = 0.6; }),
              "Your messages to them run far shorter than your usual.");
    EXPECT_FALSE(headlineWith([](PersonInsights& p) { p.lengthVsBaseline = 0.61; }));

    EXPECT_EQ(headlineWith([](PersonInsights& p) { p.report.myDoubleTextRate = 0.15; }),
              "You double-text 15% of the time.");
    EXPECT_FALSE(headlineWith([](PersonInsights& p) { p.report.myDoubleTextRate = 0.149; }));
}

TEST(PersonInsightsTest, HeadlineNumbersRoundMultipliersAndCutPercentages) {
    EXPECT_EQ(headlineWith([](PersonInsights& p) { p.replyVsBaseline = 0.5; }),
              "You reply 2× faster to Sam than to most people.");
    EXPECT_EQ(headlineWith([](PersonInsights& p) { p.replyVsBaseline = 0.4; }), // 2.5, away from zero
              "You reply 3× faster to Sam than to most people.");
    EXPECT_EQ(headlineWith([](PersonInsights& p) { p.replyVsBaseline = 2.4; }),
              "You take 2× longer than usual to reply to Sam.");
    EXPECT_EQ(headlineWith([](PersonInsights& p) { p.balance = 0.6789; }), "You send 67% of the messages.");
    EXPECT_EQ(headlineWith([](PersonInsights& p) { p.lengthVsBaseline = 2.349; }),
              "Your messages to them run 134% longer than your usual.");
    // Replies out of order can make a negative median; the multiplier still never reads below 2.
    EXPECT_EQ(headlineWith([](PersonInsights& p) { p.replyVsBaseline = -0.5; }),
              "You reply 2× faster to Sam than to most people.");
    // A zero median reply has no multiplier to print, so it says nothing rather than "inf×".
    EXPECT_FALSE(headlineWith([](PersonInsights& p) { p.replyVsBaseline = 0.0; }));
}

TEST(PersonInsightsTest, HeadlineKeepsTheTwoMostSalientClauses) {
    // l = 0.5 has salience 2.0, ahead of b = 0.7 at 1.4, whatever the table order.
    EXPECT_EQ(headlineWith([](PersonInsights& p) {
                  p.balance = 0.7;
                  p.lengthVsBaseline = 0.5;
              }),
              "Your messages to them run far shorter than your usual — and you send 70% of the messages.");
    // Three candidates: i = 0.3 (1.4), d = 0.3 (1.9), r = 0.25 (4.0); i drops out.
    EXPECT_EQ(headlineWith([](PersonInsights& p) {
                  p.report.myInitiationRate = 0.3;
                  p.report.myDoubleTextRate = 0.3;
                  p.replyVsBaseline = 0.25;
              }),
              "You reply 4× faster to Sam than to most people — and you double-text 30% of the time.");
    // Equal saliences (1.5 each) keep the table order; a name in lower case gets its capital.
    EXPECT_EQ(headlineWith(
                  [](PersonInsights& p) {
                      p.balance = 0.25;
                      p.report.myInitiationRate = 0.25;
                  },
                  "élodie"),
              "Élodie starts most of your conversations — and élodie sends most of the messages.");
}
