#include "Measurement/Activity.h"
#include "Measurement/LocalTime.h"
#include "MeasurementSupport.h"

#include <gtest/gtest.h>

using namespace dovrel;
using namespace measurementtest;

namespace {
const Calendar newYork("America/New_York");
const Calendar tokyo("Asia/Tokyo");
} // namespace

TEST(ActivityTest, NothingSentGivesZerosAndNoLastText) {
    EXPECT_EQ(Activity::hourlyHistogram({}, newYork), std::vector<int>(24, 0));
    EXPECT_FALSE(Activity::medianLastTextMinuteOfDay({}, newYork).has_value());
}

TEST(ActivityTest, HoursAndLastTextsAreToldInTheCalendarsZone) {
    const std::vector<RawMessage> late = {mine(newYork.date(2024, 7, 1, 23, 59))};
    std::vector<int> expected(24, 0);
    expected[23] = 1;
    EXPECT_EQ(Activity::hourlyHistogram(late, newYork), expected);
    EXPECT_EQ(Activity::medianLastTextMinuteOfDay(late, newYork), 1439);
    // The same instant is 12:59 the next day in Tokyo.
    expected[23] = 0;
    expected[12] = 1;
    EXPECT_EQ(Activity::hourlyHistogram(late, tokyo), expected);
    EXPECT_EQ(Activity::medianLastTextMinuteOfDay(late, tokyo), 779);
}

TEST(ActivityTest, MedianOfLastTextsRoundsHalfAwayFromZero) {
    const std::vector<RawMessage> hourApart = {mine(newYork.date(2024, 7, 1, 22, 0)),
                                               mine(newYork.date(2024, 7, 2, 23, 0))};
    EXPECT_EQ(Activity::medianLastTextMinuteOfDay(hourApart, newYork), 1350);
    const std::vector<RawMessage> minuteApart = {mine(newYork.date(2024, 7, 1, 22, 0)),
                                                 mine(newYork.date(2024, 7, 2, 22, 1))};
    EXPECT_EQ(Activity::medianLastTextMinuteOfDay(minuteApart, newYork), 1321);
}

TEST(ActivityTest, EachDayKeepsItsLatestMessageWhateverTheOrder) {
    // Later one listed first.
    const std::vector<RawMessage> reversed = {mine(newYork.date(2024, 7, 1, 21, 0)),
                                              mine(newYork.date(2024, 7, 1, 9, 0))};
    EXPECT_EQ(Activity::medianLastTextMinuteOfDay(reversed, newYork), 1260);
    // 00:30 after 23:50 ends a new day: last texts 1430 and 30.
    const std::vector<RawMessage> pastMidnight = {mine(newYork.date(2024, 7, 1, 23, 50)),
                                                  mine(newYork.date(2024, 7, 2, 0, 30))};
    EXPECT_EQ(Activity::medianLastTextMinuteOfDay(pastMidnight, newYork), 730);
    // When New York falls back, 01:10 EST comes after 01:30 EDT: the later instant counts, not the larger
    // minute.
    const Date utc0530 = Calendar("UTC").date(2024, 11, 3, 5, 30);
    const Date utc0610 = Calendar("UTC").date(2024, 11, 3, 6, 10);
    EXPECT_EQ(Activity::medianLastTextMinuteOfDay(std::vector{mine(utc0530), mine(utc0610)}, newYork), 70);
}

// The clock's shortcut must give exactly what the calendar gives, on ordinary days and on days that change
// their offset (an hour, half an hour, at 02:00 or at midnight, forward or back), to the millisecond around
// the edges.
TEST(LocalClockTest, AgreesWithTheCalendarAcrossOffsetChanges) {
    const Calendar utc("UTC");
    struct Case {
        const char* zone;
        Date from;
    };
    const std::vector<Case> cases = {
        {"America/New_York", utc.date(2024, 3, 9)},
        {"America/New_York", utc.date(2024, 11, 2)},
        {"Australia/Lord_Howe", utc.date(2024, 4, 5)},
        {"America/Santiago", utc.date(2024, 9, 6)},
        {"Asia/Kolkata", utc.date(2024, 1, 1)},
        {"UTC", utc.date(2024, 2, 28)},
        // Clocks go back at 01:00 to midnight, so midnight happens twice.
        {"America/Havana", utc.date(2020, 10, 31)},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.zone);
        const Calendar calendar(c.zone);
        LocalClock clock(calendar);
        for (double offset = 0; offset < 3 * 86400.0; offset += 419.0) {
            for (const double nudge : {0.0, -0.0004, 0.25}) {
                const Date date = c.from + offset + nudge;
                const LocalTime local = clock.at(date);
                ASSERT_EQ(local.dayStart, calendar.startOfDay(date)) << offset;
                ASSERT_EQ(local.minuteOfDay, calendar.minuteOfDay(date)) << offset;
            }
        }
        // Exactly at midnight and a hair before it.
        for (int day = 0; day < 3; ++day) {
            const Date midnight = calendar.startOfDay(calendar.addingDays(c.from + 43200.0, day));
            for (const Date date : {midnight, midnight - 0.001, midnight + 0.001}) {
                const LocalTime local = clock.at(date);
                ASSERT_EQ(local.dayStart, calendar.startOfDay(date));
                ASSERT_EQ(local.minuteOfDay, calendar.minuteOfDay(date));
            }
        }
    }
}
