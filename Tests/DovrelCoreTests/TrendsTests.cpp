#include "Foundation/Json.h"
#include "Measurement/Trends.h"
#include "MeasurementSupport.h"

#include <cmath>
#include <gtest/gtest.h>
#include <limits>

using namespace dovrel;
using namespace measurementtest;

namespace {

const Calendar newYork("America/New_York");

// Scores a text that is a decimal number as that number, anything else as nothing, and keeps every text it
// was asked about.
struct RecordingScorer {
    std::vector<std::string> scored;

    Sentiment::Scorer scorer() {
        return [this](std::string_view text) -> std::optional<double> {
            scored.emplace_back(text);
            const std::string copy(text);
            char* end = nullptr;
            const double value = std::strtod(copy.c_str(), &end);
            if (copy.empty() || end != copy.c_str() + copy.size()) {
                return std::nullopt;
            }
            return value;
        };
    }
};

// `count` messages in one month of New York time, ten minutes apart from noon on the 1st, texts "m0", "m1"...
std::vector<RawMessage> month(int year, int monthNumber, int count, bool fromMe = false) {
    std::vector<RawMessage> messages;
    const Date start = newYork.date(year, monthNumber, 1, 12);
    for (int i = 0; i < count; ++i) {
        messages.push_back({start + 600.0 * i, fromMe, "m" + std::to_string(i), true});
    }
    return messages;
}

} // namespace

TEST(TrendsTest, NoMessagesNoPoints) {
    RecordingScorer recorder;
    EXPECT_TRUE(Trends::monthly({}, newYork).empty());
    EXPECT_TRUE(Trends::monthly({}, newYork, recorder.scorer()).empty());
    EXPECT_TRUE(recorder.scored.empty());
}

TEST(TrendsTest, MonthsAreTakenInTheCalendarsZone) {
    const std::vector<RawMessage> messages = {theirs(newYork.date(2024, 1, 31, 23, 59), "0.5"),
                                              mine(newYork.date(2024, 2, 1, 0, 1), "-0.5")};
    const auto points = Trends::monthly(messages, newYork, RecordingScorer().scorer());
    ASSERT_EQ(points.size(), 2u);
    EXPECT_EQ(points[0], (Trends::MonthPoint{newYork.date(2024, 1, 1), 1, 0.0, 0.5}));
    EXPECT_EQ(points[1], (Trends::MonthPoint{newYork.date(2024, 2, 1), 1, 1.0, -0.5}));

    // Both are in February in UTC.
    const Calendar utc("UTC");
    const auto inUTC = Trends::monthly(messages, utc, RecordingScorer().scorer());
    ASSERT_EQ(inUTC.size(), 1u);
    EXPECT_EQ(inUTC[0], (Trends::MonthPoint{utc.date(2024, 2, 1), 2, 0.5, 0.0}));
}

TEST(TrendsTest, UnsortedMessagesGiveSortedMonthsAndKeepTheirOrderWithinAMonth) {
    // March, January and February interleaved; January is sampled in the order given.
    std::vector<RawMessage> messages;
    const auto january = month(2023, 1, 60, false);
    const auto february = month(2023, 2, 4, true);
    const auto march = month(2023, 3, 3, false);
    for (int i = 59; i >= 0; --i) {
        messages.push_back(january[static_cast<std::size_t>(i)]);
        if (i < 4) {
            messages.push_back(february[static_cast<std::size_t>(i)]);
        }
        if (i < 3) {
            messages.insert(messages.begin(), march[static_cast<std::size_t>(i)]);
        }
    }
    messages[1].isFromMe = true;
    RecordingScorer recorder;
    const auto points = Trends::monthly(messages, newYork, recorder.scorer());
    ASSERT_EQ(points.size(), 3u);
    EXPECT_EQ(points[0].month, newYork.date(2023, 1, 1));
    EXPECT_EQ(points[0].count, 60);
    EXPECT_DOUBLE_EQ(points[0].myShare, 0.0);
    EXPECT_EQ(points[1].month, newYork.date(2023, 2, 1));
    EXPECT_EQ(points[1].count, 4);
    EXPECT_DOUBLE_EQ(points[1].myShare, 1.0);
    EXPECT_EQ(points[2].month, newYork.date(2023, 3, 1));
    EXPECT_DOUBLE_EQ(points[2].myShare, 1.0 / 3.0);
    // January's 60 texts in the given order (m59 first) are sampled every second one.
    ASSERT_GE(recorder.scored.size(), 30u);
    std::vector<std::string> januarySample(recorder.scored.begin(), recorder.scored.begin() + 30);
    std::vector<std::string> expected;
    for (int i = 59; i >= 0; i -= 2) {
        expected.push_back("m" + std::to_string(i));
    }
    EXPECT_EQ(januarySample, expected);
}

// A month of up to 59 messages is scored whole; from 60 on, every n-th text with n the count divided by 30
// and rounded down.
TEST(TrendsTest, WarmthSamplesBoundTheScoredTexts) {
    const std::vector<std::pair<int, std::size_t>> sizes = {{1, 1},   {59, 59},  {60, 30},  {89, 45},
                                                            {90, 30}, {100, 34}, {1000, 31}};
    std::vector<RawMessage> all;
    std::size_t bound = 0;
    int monthNumber = 1;
    for (const auto& [count, sampled] : sizes) {
        RecordingScorer recorder;
        const auto messages = month(2022, monthNumber, count);
        const auto points = Trends::monthly(messages, newYork, recorder.scorer());
        ASSERT_EQ(points.size(), 1u);
        EXPECT_EQ(points[0].count, count);
        EXPECT_EQ(recorder.scored.size(), sampled) << count << " messages";
        all.insert(all.end(), messages.begin(), messages.end());
        bound += sampled;
        ++monthNumber;
    }
    RecordingScorer recorder;
    EXPECT_EQ(Trends::monthly(all, newYork, recorder.scorer()).size(), sizes.size());
    EXPECT_EQ(recorder.scored.size(), bound);

    // 100 messages: positions 0, 3, ..., 99.
    RecordingScorer hundred;
    (void)Trends::monthly(month(2022, 1, 100), newYork, hundred.scorer());
    EXPECT_EQ(hundred.scored.front(), "m0");
    EXPECT_EQ(hundred.scored[1], "m3");
    EXPECT_EQ(hundred.scored.back(), "m99");
}

TEST(TrendsTest, BlankMonthHasNoWarmthButItsCount) {
    // Through the real sentiment score: blanks have none.
    const std::vector<RawMessage> messages = {theirs(newYork.date(2024, 3, 2), " "),
                                              mine(newYork.date(2024, 3, 3), "\n\n"),
                                              theirs(newYork.date(2024, 3, 4), "\t \r\n")};
    const auto points = Trends::monthly(messages, newYork);
    ASSERT_EQ(points.size(), 1u);
    EXPECT_EQ(points[0].count, 3);
    EXPECT_DOUBLE_EQ(points[0].myShare, 1.0 / 3.0);
    EXPECT_FALSE(points[0].warmth.has_value());
}

TEST(TrendsTest, MessagesWithoutAMonthAreLeftOut) {
    std::vector<RawMessage> messages = month(2024, 6, 3);
    messages.insert(messages.begin() + 1, theirs(std::numeric_limits<double>::quiet_NaN()));
    messages.push_back(theirs(std::numeric_limits<double>::infinity()));
    const auto points = Trends::monthly(messages, newYork, RecordingScorer().scorer());
    ASSERT_EQ(points.size(), 1u);
    EXPECT_EQ(points[0].count, 3);
}

// Months are placed without asking the calendar for every message; the result must be what asking would
// give, in zones whose clocks change at midnight (into a new month or out of one), skip a day, or move by
// half an hour, to the second around month starts.
TEST(TrendsTest, MonthsAgreeWithTheCalendarAcrossOffsetChanges) {
    for (const char* zone :
         {"America/Havana", "America/Santiago", "America/Asuncion", "Asia/Beirut", "America/Sao_Paulo",
          "Australia/Lord_Howe", "Pacific/Apia", "America/New_York"}) {
        const Calendar calendar(zone);
        std::vector<RawMessage> messages;
        for (int year = 2010; year <= 2024; ++year) {
            for (int monthNumber = 1; monthNumber <= 12; ++monthNumber) {
                const Date start = calendar.date(year, monthNumber, 1);
                for (double offset = -30 * 3600.0; offset <= 30 * 3600.0; offset += 1201.5) {
                    messages.push_back(theirs(start + offset));
                }
                for (const double edge : {-1.0, -0.001, 0.0, 0.001, 1.0}) {
                    messages.push_back(theirs(start + edge));
                }
            }
        }
        std::sort(messages.begin(), messages.end(),
                  [](const RawMessage& a, const RawMessage& b) { return a.date < b.date; });
        std::vector<std::pair<Date, int>> expected;
        for (const RawMessage& message : messages) {
            const Date start = calendar.startOfMonth(message.date);
            if (expected.empty() || expected.back().first != start) {
                expected.push_back({start, 0});
            }
            ++expected.back().second;
        }
        std::vector<std::pair<Date, int>> grouped;
        for (const Trends::MonthGroup& group : Trends::groupByMonth(messages, calendar)) {
            grouped.push_back({group.month, group.count});
        }
        EXPECT_EQ(grouped, expected) << zone;
    }
}

TEST(TrendsTest, MonthPointsRoundTripThroughJsonWithoutAbsentWarmth) {
    const Trends::MonthPoint warm{newYork.date(2024, 2, 1), 12, 0.25, -0.125};
    const Trends::MonthPoint blank{newYork.date(2024, 3, 1), 3, 1.0, std::nullopt};
    const json::Json encoded = std::vector{warm, blank};
    EXPECT_EQ(encoded[0]["month"], newYork.date(2024, 2, 1).seconds);
    EXPECT_EQ(encoded[0]["warmth"], -0.125);
    EXPECT_FALSE(encoded[1].contains("warmth"));
    std::vector<Trends::MonthPoint> decoded;
    json::read(json::Json::parse(encoded.dump()), decoded);
    EXPECT_EQ(decoded, (std::vector{warm, blank}));
    EXPECT_EQ(warm.id(), warm.month);
    EXPECT_THROW(json::Json({{"month", 0.0}, {"count", 1.5}, {"myShare", 0.0}}).get<Trends::MonthPoint>(),
                 json::DecodeError);
}
