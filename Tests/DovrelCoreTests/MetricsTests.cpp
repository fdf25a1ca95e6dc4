#include "Measurement/Metrics.h"
#include "MeasurementSupport.h"

#include <gtest/gtest.h>

using namespace dovrel;
using namespace measurementtest;

TEST(MetricsTest, MedianOfNoneOneOddAndEvenCounts) {
    EXPECT_FALSE(Metrics::median({}).has_value());
    EXPECT_EQ(Metrics::median({5.0}), 5.0);
    EXPECT_EQ(Metrics::median({1.0, 2.0}), 1.5);
    EXPECT_EQ(Metrics::median({3.0, 1.0, 2.0}), 2.0);
    // Unsorted even count: the two middle values of the sorted list, not of the input.
    EXPECT_EQ(Metrics::median({9.0, 1.0, 4.0, 2.0}), 3.0);
    EXPECT_EQ(Metrics::median({2.0, 7.0, 2.0, 1.0}), 2.0);
}

TEST(MetricsTest, SessionsSplitOnlyAfterAStrictlyLongerSilenceFromEitherSide) {
    const std::vector<RawMessage> messages = {theirs(0), mine(14400.0), theirs(28800.0), mine(43200.001),
                                              mine(43300.0)};
    const auto cut = Metrics::sessions(messages, 14400.0);
    ASSERT_EQ(cut.size(), 2u);
    EXPECT_EQ(cut[0].size(), 3u);
    EXPECT_EQ(cut[1].size(), 2u);
    EXPECT_TRUE(Metrics::sessions({}, 14400.0).empty());

    const Metrics::SessionCount counted = Metrics::countSessions(messages, 14400.0);
    EXPECT_EQ(counted.sessions, 2);
    EXPECT_EQ(counted.openedByMe, 1);
    EXPECT_EQ(Metrics::myInitiationRate(messages), 0.5);
}

TEST(MetricsTest, OneSidedThreads) {
    const std::vector<RawMessage> onlyTheirs = {theirs(0)};
    EXPECT_EQ(Metrics::myInitiationRate(onlyTheirs), 0.0);
    EXPECT_TRUE(Metrics::replyGaps(onlyTheirs, true).empty());
    EXPECT_TRUE(Metrics::replyGaps(onlyTheirs, false).empty());
    EXPECT_FALSE(Metrics::myDoubleTextRate(onlyTheirs).has_value());
    EXPECT_FALSE(Metrics::myInitiationRate({}).has_value());

    const std::vector<RawMessage> onlyMine = {mine(0), mine(10), mine(20000)};
    EXPECT_EQ(Metrics::myInitiationRate(onlyMine), 1.0);
    EXPECT_FALSE(Metrics::medianReplySeconds(onlyMine, true).has_value());
    EXPECT_EQ(Metrics::myDoubleTextRate(onlyMine), 0.0); // 10 s and 19990 s both fall outside the window
}

TEST(MetricsTest, ReplyGapsAreTakenAtTheChangeOfSideUpToADay) {
    // A burst of theirs answered once: measured from the last message of the burst.
    const std::vector<RawMessage> messages = {
        theirs(0),        theirs(100), theirs(200), mine(260), // my reply: 60
        theirs(260),                                           // theirs, same instant: 0
        mine(86660.0),                                         // exactly a day: kept
        theirs(173060.5),                                      // 86400.5: dropped
        mine(173000.0),                                        // out of order: -60.5 kept
    };
    EXPECT_EQ(Metrics::replyGaps(messages, true), (std::vector<double>{60.0, 86400.0, -60.5}));
    EXPECT_EQ(Metrics::replyGaps(messages, false), (std::vector<double>{0.0}));
    EXPECT_EQ(Metrics::medianReplySeconds(messages, true), 60.0);
}

TEST(MetricsTest, DoubleTextWindowIsOpenBelowAndClosedAbove) {
    EXPECT_EQ(Metrics::myDoubleTextCount(std::vector{mine(0), mine(600.0)}), 0);
    EXPECT_EQ(Metrics::myDoubleTextCount(std::vector{mine(0), mine(600.5)}), 1);
    EXPECT_EQ(Metrics::myDoubleTextCount(std::vector{mine(0), mine(14400.0)}), 1);
    EXPECT_EQ(Metrics::myDoubleTextCount(std::vector{mine(0), mine(14400.5)}), 0);
    // A reply in between breaks the pair; a run counts once per adjacent pair in the window.
    EXPECT_EQ(Metrics::myDoubleTextCount(std::vector{mine(0), theirs(300), mine(1000)}), 0);
    const std::vector<RawMessage> run = {mine(0), mine(1000), mine(2000), mine(2100), theirs(2200)};
    EXPECT_EQ(Metrics::myDoubleTextCount(run), 2);
    EXPECT_EQ(Metrics::myDoubleTextRate(run), 0.5);
}
