#include "Measurement/ReportBuilder.h"
#include "Measurement/WrappedStats.h"
#include "MeasurementSupport.h"

#include <gtest/gtest.h>

using namespace dovrel;
using namespace measurementtest;

namespace {

const Calendar newYork("America/New_York");
const Calendar utc("UTC");

// A year of 2024 in New York.
const DateInterval year{newYork.date(2024, 1, 1), 366 * 86400.0 - 3600.0};

Date ny(int month, int day, int hour = 12, int minute = 0) {
    return newYork.date(2024, month, day, hour, minute);
}

} // namespace

TEST(WrappedStatsTest, NoMessagesInThePeriodGiveZerosAndAbsences) {
    const std::vector<ContactThread> outside = {
        thread("a", {mine(year.start - 1.0), theirs(year.end() + 1.0)})};
    for (const auto& threads : {std::vector<ContactThread>{}, outside}) {
        const WrappedStats stats = WrappedStats::compute(threads, year, newYork);
        EXPECT_EQ(stats.interval, year);
        EXPECT_EQ(stats.peopleCount, 0);
        EXPECT_EQ(stats.totalMessages + stats.sentCount + stats.receivedCount, 0);
        EXPECT_TRUE(stats.topContacts.empty());
        EXPECT_FALSE(stats.busiestDay || stats.longestStreak || stats.doubleTextChampion ||
                     stats.myMedianReplySeconds || stats.myInitiationRate || stats.medianLastTextMinute ||
                     stats.myMedianLength || stats.myQuestionRate || stats.myEmojiRate || stats.peakHour);
        EXPECT_EQ(stats.myHourlyHistogram, std::vector<int>(24, 0));
        EXPECT_EQ(stats.myTopEmojis, std::vector<TextStyle::EmojiCount>{});
        EXPECT_EQ(stats.laughter, LaughterProfile{});
    }
}

TEST(WrappedStatsTest, BothEndsOfThePeriodCountAndTopContactsKeepFiveByCount) {
    std::vector<ContactThread> threads = {thread(
        "edges", {theirs(year.start - 0.5), mine(year.start), theirs(year.end()), mine(year.end() + 0.5)})};
    for (int i = 0; i < 5; ++i) {
        threads.push_back(thread("p" + std::to_string(i), chatter(i == 3 ? 4 : 2, ny(5, 1).seconds)));
    }
    const WrappedStats stats = WrappedStats::compute(threads, year, newYork);
    EXPECT_EQ(stats.peopleCount, 6);
    EXPECT_EQ(stats.totalMessages, 2 + 4 * 2 + 4);
    EXPECT_EQ(stats.sentCount, 1 + 4 + 2);
    EXPECT_EQ(stats.receivedCount, stats.totalMessages - stats.sentCount);
    ASSERT_EQ(stats.topContacts.size(), 5u);
    // p3 leads; equal counts keep thread order, so p4 falls off the end.
    const std::vector<std::string> order = {"p3", "edges", "p0", "p1", "p2"};
    for (std::size_t i = 0; i < order.size(); ++i) {
        EXPECT_EQ(stats.topContacts[i].handleID, order[i]);
    }
    EXPECT_EQ(stats.topContacts[1].sent, 1);
    EXPECT_EQ(stats.topContacts[1].received, 1);
}

TEST(WrappedStatsTest, BusiestDayIsTheEarlierOnATieAndDaysFollowTheZone) {
    // 23:30 in New York on Jan 1 is already Jan 2 in UTC.
    const std::vector<ContactThread> threads = {
        thread("a",
               {theirs(ny(1, 1, 9)), mine(ny(1, 1, 23, 30)), theirs(ny(12, 31, 8)), mine(ny(12, 31, 9))}),
    };
    const WrappedStats inNewYork = WrappedStats::compute(threads, year, newYork);
    ASSERT_TRUE(inNewYork.busiestDay);
    EXPECT_EQ(inNewYork.busiestDay->date, ny(1, 1, 0));
    EXPECT_EQ(inNewYork.busiestDay->count, 2);
    const WrappedStats inUTC = WrappedStats::compute(threads, year, utc);
    ASSERT_TRUE(inUTC.busiestDay);
    EXPECT_EQ(inUTC.busiestDay->date, utc.date(2024, 12, 31));
    EXPECT_EQ(inUTC.busiestDay->count, 2);
}

TEST(WrappedStatsTest, LongestStreakCountsCalendarDaysOfEitherSide) {
    const auto onDays = [](std::string handle, std::vector<int> days, int month = 5) {
        std::vector<RawMessage> messages;
        for (std::size_t i = 0; i < days.size(); ++i) {
            // Alternate sides: a day with only their message continues the streak.
            messages.push_back(i % 2 == 0 ? mine(ny(month, days[i], 20)) : theirs(ny(month, days[i], 8)));
        }
        return thread(std::move(handle), messages, "Name " + handle);
    };
    // Single days everywhere: no streak.
    EXPECT_FALSE(
        WrappedStats::compute(std::vector{onDays("a", {1}), onDays("b", {9})}, year, newYork).longestStreak);

    const WrappedStats stats =
        WrappedStats::compute(std::vector{onDays("short", {1, 2}), onDays("gappy", {1, 2, 3, 5, 6}),
                                          onDays("tie", {10, 11, 12, 12}), onDays("dst", {9, 10, 11}, 3)},
                              year, newYork);
    ASSERT_TRUE(stats.longestStreak);
    EXPECT_EQ(stats.longestStreak->handleID, "gappy"); // 3, and the tie with later threads stays with it
    EXPECT_EQ(stats.longestStreak->displayName, "Name gappy");
    EXPECT_EQ(stats.longestStreak->count, 3);

    // Across the 23-hour day of March 10 the days still follow each other.
    const WrappedStats spring =
        WrappedStats::compute(std::vector{onDays("dst", {9, 10, 11, 12}, 3)}, year, newYork);
    ASSERT_TRUE(spring.longestStreak);
    EXPECT_EQ(spring.longestStreak->count, 4);
}

TEST(WrappedStatsTest, DoubleTextChampionNeedsAtLeastOneAndTheEarlierWinsTies) {
    const Date t = ny(6, 1, 10);
    const auto doubles = [&](std::string handle, int count) {
        std::vector<RawMessage> messages = {theirs(t)};
        for (int i = 0; i <= count; ++i) {
            messages.push_back(mine(t + 1000.0 * (i + 1)));
        }
        return thread(std::move(handle), messages);
    };
    EXPECT_FALSE(WrappedStats::compute(std::vector{doubles("none", 0)}, year, newYork).doubleTextChampion);
    const WrappedStats stats = WrappedStats::compute(
        std::vector{doubles("one", 1), doubles("two", 2), doubles("also two", 2)}, year, newYork);
    ASSERT_TRUE(stats.doubleTextChampion);
    EXPECT_EQ(stats.doubleTextChampion->handleID, "two");
    EXPECT_EQ(stats.doubleTextChampion->count, 2);
}

TEST(WrappedStatsTest, NarrowingDropsMessagesOutsideEvenInsideAnUnsortedThread) {
    // The middle message lies before the period; once it is dropped my two messages are neighbours, 1000 s
    // apart, and make a double text. Had it stayed, the pair would be broken.
    const Date t = ny(6, 1, 10);
    const std::vector<ContactThread> threads = {
        thread("a", {theirs(t - 60), mine(t), theirs(year.start - 5000.0), mine(t + 1000.0)})};
    const WrappedStats stats = WrappedStats::compute(threads, year, newYork);
    EXPECT_EQ(stats.totalMessages, 3);
    ASSERT_TRUE(stats.doubleTextChampion);
    EXPECT_EQ(stats.doubleTextChampion->count, 1);
    EXPECT_EQ(stats.myMedianReplySeconds, 60.0);
}

TEST(WrappedStatsTest, PooledMeasuresWeighHeavyThreadsMore) {
    const Date t = ny(7, 1, 9);
    const std::vector<ContactThread> threads = {
        thread("heavy",
               {theirs(t), mine(t + 10), theirs(t + 20), mine(t + 30), theirs(t + 40), mine(t + 50)}),
        thread("light", {theirs(t + 86400.0 * 2), mine(t + 86400.0 * 2 + 1000)}),
        // Opened by me, after more than four hours of silence in this thread only.
        thread("opener", {mine(t), theirs(t + 30), mine(t + 20000), theirs(t + 20060)}),
    };
    const WrappedStats stats = WrappedStats::compute(threads, year, newYork);
    // 10, 10, 10, 1000, 19970: the median of all replies, not of the per-thread medians (10, 1000, 19970).
    EXPECT_EQ(stats.myMedianReplySeconds, 10.0);
    EXPECT_EQ(stats.myInitiationRate, 2.0 / 4.0); // sessions: heavy, light, opener x2 (both mine)
}

TEST(WrappedStatsTest, MyStyleAndHoursComeFromMyMessagesInThePeriod) {
    const std::vector<ContactThread> threads = {
        thread("a", {mine(ny(3, 1, 9), "a"), mine(ny(3, 1, 21), "abc?"), theirs(ny(3, 1, 22), "haha 😂?"),
                     mine(ny(3, 2, 9), "haha 😂😂"), mine(ny(3, 2, 21), "LOL")}),
    };
    const WrappedStats stats = WrappedStats::compute(threads, year, newYork);
    EXPECT_EQ(stats.peakHour, 9); // 9 and 21 tie
    EXPECT_EQ(stats.myHourlyHistogram[9], 2);
    EXPECT_EQ(stats.myHourlyHistogram[21], 2);
    EXPECT_EQ(stats.medianLastTextMinute, 1260);
    EXPECT_EQ(stats.laughter, (LaughterProfile{1, 0, 1, 1}));
    EXPECT_EQ(stats.myMedianLength, 4); // lengths 1, 4, 7, 3: 3.5 rounds away from zero
    EXPECT_EQ(stats.myQuestionRate, 0.25);
    EXPECT_EQ(stats.myEmojiRate, 0.25);
    EXPECT_EQ(stats.myTopEmojis, (std::vector<TextStyle::EmojiCount>{{"😂", 2}}));
}

TEST(WrappedStatsTest, OnlyReceivedMessages) {
    const std::vector<ContactThread> threads = {thread("a", {theirs(ny(4, 1, 9)), theirs(ny(4, 1, 21))})};
    const WrappedStats stats = WrappedStats::compute(threads, year, newYork);
    EXPECT_EQ(stats.totalMessages, 2);
    EXPECT_EQ(stats.myInitiationRate, 0.0);
    EXPECT_FALSE(stats.peakHour || stats.myMedianLength || stats.myQuestionRate || stats.myEmojiRate ||
                 stats.medianLastTextMinute || stats.doubleTextChampion || stats.myMedianReplySeconds);
    EXPECT_EQ(stats.laughter, LaughterProfile{});
}

// The pipeline measures every thread once and shares the work; it must come to the same records as the
// functions that take plain threads.
TEST(WrappedStatsTest, SharedMeasuresGiveTheSameRecords) {
    std::vector<ContactThread> threads;
    for (int p = 0; p < 4; ++p) {
        std::vector<RawMessage> messages;
        for (int i = 0; i < 40 + p * 7; ++i) {
            const Date date = ny(1, 1) + (i * 37'000.0 + p * 3'000.0) - 20 * 86400.0; // some before the year
            const char* texts[] = {"haha", "ok 👍🏽?", "LOL", "e\u0301 fine", "HAHA 😂", "what"};
            messages.push_back({date, (i * 7 + p) % 3 != 0, texts[(i + p) % 6], true});
        }
        threads.push_back(thread("p" + std::to_string(p), messages));
    }
    const std::vector<MeasuredThread> measured = measureThreads(threads, newYork, 2);
    EXPECT_EQ(WrappedStats::compute(measured, year, newYork), WrappedStats::compute(threads, year, newYork));
    for (std::size_t i = 0; i < threads.size(); ++i) {
        EXPECT_EQ(ReportBuilder::contactReport(measured[i]),
                  ReportBuilder::contactReport(threads[i], newYork));
    }
    std::vector<std::string> allMine;
    for (const ContactThread& t : threads) {
        for (const RawMessage& m : t.messages) {
            if (m.isFromMe) {
                allMine.push_back(m.text);
            }
        }
    }
    EXPECT_EQ(myAverageLength(measured), TextStyle::averageLength(allMine));
    // A measure made for another period is refused rather than silently misread.
    const MeasuredThread scoped = measure(threads[0], newYork, DateInterval{year.start, 86400.0});
    EXPECT_THROW(WrappedStats::compute(std::span(&scoped, 1), year, newYork), std::invalid_argument);
    EXPECT_THROW(ReportBuilder::contactReport(scoped), std::invalid_argument);
}

TEST(WrappedStatsTest, TopEmojisKeepTheTenMostUsed) {
    // Twelve emojis, the first used twelve times, the last once.
    std::vector<RawMessage> messages;
    std::vector<TextStyle::EmojiCount> expected;
    for (int i = 0; i < 12; ++i) {
        const std::string emoji = "\xF0\x9F\x98" + std::string(1, static_cast<char>(0x80 + i));
        for (int n = 0; n < 12 - i; ++n) {
            messages.push_back(
                mine(ny(5, 1).seconds + 60.0 * static_cast<double>(messages.size()), "ok " + emoji));
        }
        if (i < 10) {
            expected.push_back({emoji, 12 - i});
        }
    }
    const std::vector<ContactThread> threads = {thread("a", messages)};
    EXPECT_EQ(WrappedStats::compute(threads, year, newYork).myTopEmojis, expected);
}
