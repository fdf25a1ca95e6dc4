#include "Measurement/Proactive.h"
#include "MeasurementSupport.h"

#include <gtest/gtest.h>
#include <map>

using namespace dovrel;
using namespace measurementtest;
using Kind = Proactive::Insight::Kind;

namespace {

const Calendar newYork("America/New_York");
const Date now = newYork.date(2024, 6, 15, 12);

// A text that is a decimal number scores as that number; any other text has no score.
std::optional<double> numberScore(std::string_view text) {
    const std::string copy(text);
    char* end = nullptr;
    const double value = std::strtod(copy.c_str(), &end);
    if (copy.empty() || end != copy.c_str() + copy.size()) {
        return std::nullopt;
    }
    return value;
}

std::string nameOf(const std::string& handle) {
    static const std::map<std::string, std::string> names = {{"+15550000001", "Ann"}, {"+15550000002", "Bo"}};
    const auto found = names.find(handle);
    return found == names.end() ? handle : found->second;
}

std::vector<Proactive::Insight> detect(const std::vector<ContactThread>& threads,
                                       const std::vector<std::string>& topHandles) {
    return Proactive::detect(threads, topHandles, nameOf, newYork, now, numberScore);
}

std::string handle(int number) {
    return "+1555" + std::to_string(10000000 + number).substr(1);
}

// `fromMe` of the user's messages a day apart, then the other person's message `hoursAgo` before now, and
// `extra` more of theirs before the user's to make the thread bigger.
ContactThread waitingThread(const std::string& handleID, double hoursAgo, int fromMe = 3, int extra = 0) {
    std::vector<RawMessage> messages;
    const Date last = now - hoursAgo * 3600.0;
    for (int i = extra; i >= 1; --i) {
        messages.push_back(theirs(last - 86400.0 * (fromMe + 1) - 60.0 * i));
    }
    for (int i = fromMe; i >= 1; --i) {
        messages.push_back(mine(last - 86400.0 * i));
    }
    messages.push_back(theirs(last, "are you coming?"));
    return thread(handleID, std::move(messages));
}

// One month after another from January 2023, each with `count` messages of one text, every fifth the
// user's (too few for the neglect rule).
ContactThread monthsThread(const std::string& handleID,
                           const std::vector<std::pair<int, std::string>>& months) {
    std::vector<RawMessage> messages;
    int monthNumber = 1;
    for (const auto& [count, text] : months) {
        for (int i = 0; i < count; ++i) {
            messages.push_back(
                {newYork.date(2023, monthNumber, 1 + i % 28, 12, i / 28), i % 5 == 0, text, true});
        }
        ++monthNumber;
    }
    return thread(handleID, std::move(messages));
}

// `count` of the user's messages `gapDays` apart, the last `silentDays` before now, each answering a message
// of the other person's a minute before.
ContactThread sentThread(const std::string& handleID, int count, double gapDays, double silentDays) {
    std::vector<RawMessage> messages;
    const Date last = now - silentDays * 86400.0;
    for (int i = count - 1; i >= 0; --i) {
        const Date sent = last - gapDays * 86400.0 * i;
        messages.push_back(theirs(sent - 60.0));
        messages.push_back(mine(sent));
    }
    return thread(handleID, std::move(messages));
}

// As `sentThread`, with the gaps given one by one.
ContactThread sentWithGaps(const std::string& handleID, const std::vector<double>& gapDays,
                           double silentDays) {
    Date sent = now - silentDays * 86400.0;
    std::vector<RawMessage> messages = {mine(sent)};
    for (auto gap = gapDays.rbegin(); gap != gapDays.rend(); ++gap) {
        sent = sent - *gap * 86400.0;
        messages.insert(messages.begin(), mine(sent));
    }
    return thread(handleID, std::move(messages));
}

} // namespace

TEST(ProactiveTest, NothingWithoutThreadsOrPeople) {
    const std::vector<ContactThread> threads = {waitingThread(handle(1), 30.0),
                                                sentThread(handle(2), 30, 1.0, 30.0)};
    EXPECT_TRUE(detect({}, {handle(1), handle(2)}).empty());
    EXPECT_TRUE(detect(threads, {}).empty());
    EXPECT_EQ(detect(threads, {handle(1), handle(2)}).size(), 2u);
}

TEST(ProactiveTest, AgeReadsHoursThenWholeDays) {
    EXPECT_EQ(Proactive::age(20.0), "20 hours");
    EXPECT_EQ(Proactive::age(47.9), "47 hours");
    EXPECT_EQ(Proactive::age(48.0), "2 days");
    EXPECT_EQ(Proactive::age(71.9), "2 days");
    EXPECT_EQ(Proactive::age(72.0), "3 days");
    EXPECT_EQ(Proactive::age(719.99), "29 days");
}

TEST(ProactiveTest, WaitingStartsAtTwentyHours) {
    EXPECT_TRUE(detect({waitingThread(handle(1), 19.9)}, {handle(1)}).empty());
    EXPECT_EQ(detect({waitingThread(handle(1), 20.0)}, {handle(1)}),
              (std::vector<Proactive::Insight>{{Kind::waiting, handle(1),
                                                "Ann has been waiting 20 hours on a reply.",
                                                "Help me reply to Ann"}}));
    EXPECT_EQ(detect({waitingThread(handle(3), 50.0)}, {handle(3)}).at(0).text,
              "+15550000003 has been waiting 2 days on a reply.");
}

TEST(ProactiveTest, WaitingLooksOnlyAtTheFirstFifteenPeople) {
    // The best candidate belongs to the 16th person; the 15th waits too, with a lower score.
    std::vector<std::string> top;
    for (int i = 10; i < 24; ++i) {
        top.push_back(handle(i));
    }
    top.push_back(handle(2));
    top.push_back(handle(1));
    const std::vector<ContactThread> threads = {waitingThread(handle(1), 30.0, 3, 100),
                                                waitingThread(handle(2), 40.0)};
    const auto insights = detect(threads, top);
    ASSERT_EQ(insights.size(), 1u);
    EXPECT_EQ(insights[0].handleID, handle(2));

    top[14] = handle(30);
    EXPECT_TRUE(detect(threads, top).empty());
}

TEST(ProactiveTest, WaitingLooksOnlyAtTheBestFiveCandidates) {
    // Five fresher, bigger threads outrank the one overdue reply, so it is never looked at.
    std::vector<ContactThread> threads;
    std::vector<std::string> top;
    for (int i = 10; i < 15; ++i) {
        threads.push_back(waitingThread(handle(i), 10.0, 3, 50));
        top.push_back(handle(i));
    }
    threads.push_back(waitingThread(handle(1), 30.0));
    top.push_back(handle(1));
    EXPECT_TRUE(detect(threads, top).empty());

    threads.erase(threads.begin());
    const auto insights = detect(threads, top);
    ASSERT_EQ(insights.size(), 1u);
    EXPECT_EQ(insights[0].handleID, handle(1));
}

TEST(ProactiveTest, WarmthDipComparesTheLastMonthWithTheThreeBefore) {
    const auto dip = [](const std::string& last) {
        // The oldest month is not one of the three before the last, and would cancel the dip if it were.
        return detect(
            {monthsThread(handle(2), {{10, "-1.0"}, {10, "0.5"}, {10, "0.5"}, {10, "none"}, {10, last}})},
            {handle(2)});
    };
    EXPECT_EQ(dip("0.3"),
              (std::vector<Proactive::Insight>{{Kind::warmthDip, handle(2),
                                                "Things with Bo read cooler lately than they used to.",
                                                "What changed with Bo?"}}));
    EXPECT_TRUE(dip("0.4").empty());
    EXPECT_TRUE(dip("none").empty());
}

TEST(ProactiveTest, WarmthDipNeedsFourMonthsABusyLastMonthAndTwoEarlierWarmths) {
    EXPECT_TRUE(
        detect({monthsThread(handle(1), {{10, "0.9"}, {10, "0.9"}, {10, "-0.9"}})}, {handle(1)}).empty());
    EXPECT_TRUE(
        detect({monthsThread(handle(1), {{10, "0.9"}, {10, "0.9"}, {10, "0.9"}, {9, "-0.9"}})}, {handle(1)})
            .empty());
    EXPECT_EQ(
        detect({monthsThread(handle(1), {{10, "0.9"}, {10, "0.9"}, {10, "0.9"}, {10, "-0.9"}})}, {handle(1)})
            .size(),
        1u);
    EXPECT_TRUE(
        detect({monthsThread(handle(1), {{10, "0.9"}, {10, "x"}, {10, "x"}, {10, "-0.9"}})}, {handle(1)})
            .empty());
    // Months without messages have no point: these four are spread over a year.
    ContactThread spread = monthsThread(handle(1), {{10, "0.9"}, {10, "0.9"}, {10, "0.9"}, {10, "-0.9"}});
    for (RawMessage& message : spread.messages) {
        message.date = newYork.addingMonths(message.date, 3 * (newYork.month(message.date) - 1));
    }
    EXPECT_EQ(detect({spread}, {handle(1)}).size(), 1u);
}

TEST(ProactiveTest, WarmthDipStopsAtTheFirstOfEightPeople) {
    const std::vector<std::pair<int, std::string>> cooled = {
        {10, "0.9"}, {10, "0.9"}, {10, "0.9"}, {10, "0.0"}};
    std::vector<ContactThread> threads;
    std::vector<std::string> top;
    // The first has no thread and the next six never cooled.
    top.push_back(handle(30));
    for (int i = 10; i < 16; ++i) {
        threads.push_back(monthsThread(handle(i), {{10, "0.5"}, {10, "0.5"}, {10, "0.5"}, {10, "0.5"}}));
        top.push_back(handle(i));
    }
    threads.push_back(monthsThread(handle(1), cooled));
    threads.push_back(monthsThread(handle(2), cooled));
    top.push_back(handle(1));
    top.push_back(handle(2));
    auto insights = detect(threads, top);
    ASSERT_EQ(insights.size(), 1u);
    EXPECT_EQ(insights[0].handleID, handle(1));

    top.insert(top.begin() + 1, handle(31));
    EXPECT_TRUE(detect(threads, top).empty());
}

TEST(ProactiveTest, WarmthDipWithTheRealSentimentScore) {
    const std::string warm = "I love you so much, this was a wonderful, amazing day!";
    const std::string cold = "This is terrible and I hate it, worst day ever.";
    ASSERT_GT(Sentiment::score(warm).value_or(0.0), 0.5);
    ASSERT_LT(Sentiment::score(cold).value_or(0.0), -0.5);
    const std::vector<ContactThread> threads = {
        monthsThread(handle(1), {{12, warm}, {12, warm}, {12, warm}, {12, warm}}),
        monthsThread(handle(2), {{12, warm}, {12, warm}, {12, warm}, {12, cold}}),
    };
    const std::vector<std::string> top = {handle(1), handle(2)};
    const auto insights = Proactive::detect(threads, top, nameOf, newYork, now);
    ASSERT_EQ(insights.size(), 1u);
    EXPECT_EQ(insights[0].kind, Kind::warmthDip);
    EXPECT_EQ(insights[0].handleID, handle(2));
}

TEST(ProactiveTest, NeglectedCountsOnlyTheUsersOwnMessages) {
    EXPECT_TRUE(detect({sentThread(handle(1), 19, 1.0, 30.0)}, {handle(1)}).empty());
    EXPECT_EQ(detect({sentThread(handle(1), 20, 1.0, 30.0)}, {handle(1)}),
              (std::vector<Proactive::Insight>{{Kind::neglected, handle(1),
                                                "You used to text Ann all the time — it's been 4 weeks.",
                                                "What should I say to Ann after this long?"}}));
    // Many replies from the other side do not make up for the user's own.
    ContactThread chatty = sentThread(handle(1), 19, 1.0, 30.0);
    for (int i = 0; i < 50; ++i) {
        chatty.messages.insert(chatty.messages.begin(), theirs(now - 90 * 86400.0 + i * 3600.0));
    }
    EXPECT_TRUE(detect({chatty}, {handle(1)}).empty());
}

TEST(ProactiveTest, NeglectedSilenceAndUsualGapBounds) {
    const auto weeks = [](double silentDays, double gapDays) -> std::optional<std::string> {
        const auto insights = detect({sentThread(handle(1), 20, gapDays, silentDays)}, {handle(1)});
        if (insights.empty()) {
            return std::nullopt;
        }
        return insights[0].text;
    };
    EXPECT_EQ(weeks(21.0, 1.0), "You used to text Ann all the time — it's been 3 weeks.");
    EXPECT_EQ(weeks(27.9, 1.0), "You used to text Ann all the time — it's been 3 weeks.");
    EXPECT_EQ(weeks(28.0, 1.0), "You used to text Ann all the time — it's been 4 weeks.");
    EXPECT_EQ(weeks(20.99, 1.0), std::nullopt);
    EXPECT_EQ(weeks(21.0, 7.0), std::nullopt);
    EXPECT_NE(weeks(21.0, 6.99), std::nullopt);

    // Twenty gaps: the usual one is the upper of the two middle values (7 days), not their mean (4 days).
    std::vector<double> gaps(10, 1.0);
    gaps.insert(gaps.end(), 10, 7.0);
    EXPECT_TRUE(detect({sentWithGaps(handle(1), gaps, 30.0)}, {handle(1)}).empty());
    gaps[10] = 1.0;
    EXPECT_EQ(detect({sentWithGaps(handle(1), gaps, 30.0)}, {handle(1)}).size(), 1u);
}

TEST(ProactiveTest, NeglectedPassesOverSpamAndLooksAtTenPeople) {
    std::vector<ContactThread> threads = {sentThread("55555", 40, 1.0, 30.0),
                                          sentThread(handle(1), 40, 1.0, 30.0)};
    std::vector<std::string> top = {"55555"};
    for (int i = 10; i < 18; ++i) {
        threads.push_back(sentThread(handle(i), 40, 1.0, 3.0));
        top.push_back(handle(i));
    }
    top.push_back(handle(1));
    const auto insights = detect(threads, top);
    ASSERT_EQ(insights.size(), 1u);
    EXPECT_EQ(insights[0].handleID, handle(1));

    top.insert(top.begin(), handle(40));
    EXPECT_TRUE(detect(threads, top).empty());
}

TEST(ProactiveTest, OnePersonCanBeWaitingAndNeglectedAndRulesKeepTheirOrder) {
    // Ann's thread: the user wrote daily until 25 days ago; Ann wrote yesterday.
    ContactThread ann = sentWithGaps(handle(1), std::vector<double>(19, 1.0), 25.0);
    ann.messages.push_back(theirs(now - 24 * 3600.0, "miss you"));
    const ContactThread bo = monthsThread(handle(2), {{10, "0.9"}, {10, "0.9"}, {10, "0.9"}, {10, "-0.9"}});
    const auto insights = detect({bo, ann}, {handle(1), handle(2)});
    ASSERT_EQ(insights.size(), 3u);
    EXPECT_EQ(insights[0].kind, Kind::waiting);
    EXPECT_EQ(insights[0].handleID, handle(1));
    EXPECT_EQ(insights[0].text, "Ann has been waiting 24 hours on a reply.");
    EXPECT_EQ(insights[1].kind, Kind::warmthDip);
    EXPECT_EQ(insights[1].handleID, handle(2));
    EXPECT_EQ(insights[2].kind, Kind::neglected);
    EXPECT_EQ(insights[2].handleID, handle(1));
    EXPECT_EQ(insights[2].text, "You used to text Ann all the time — it's been 3 weeks.");
}

TEST(ProactiveTest, KindsHaveTheirTextValues) {
    EXPECT_EQ(Proactive::Insight::rawValue(Kind::warmthDip), "warmthDip");
    EXPECT_EQ(Proactive::Insight::kindNamed("neglected"), Kind::neglected);
    EXPECT_EQ(Proactive::Insight::kindNamed("WarmthDip"), std::nullopt);
}
