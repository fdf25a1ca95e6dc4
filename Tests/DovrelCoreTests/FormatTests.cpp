#include "Format/Format.h"

#include <gtest/gtest.h>
#include <limits>
#include <string>

using namespace dovrel;

namespace {

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();
const std::string dash(Format::dash);

} // namespace

TEST(FormatTest, NumbersCutTowardsZeroAndShowADashWithoutAValue) {
    const struct {
        double value;
        std::string whole;
        std::string percent;
    } cases[] = {
        {0.999, "0", "99"},
        {-0.999, "0", "-99"},
        {0.5799999, "0", "57"},
        {12345.9, "12345", "1234590"},
        {nan, dash, dash},
        {infinity, dash, dash},
        {-infinity, dash, dash},
        {1e19, dash, dash},
        {-9.2e18, "-9200000000000000000", dash},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(Format::whole(c.value), c.whole) << c.value;
        EXPECT_EQ(Format::percent(c.value), c.percent) << c.value;
    }
    EXPECT_EQ(Format::thousands(12345), "12,345");
    EXPECT_EQ(Format::thousands(-1234567), "-1,234,567");
    EXPECT_EQ(Format::thousands(999), "999");
}

TEST(FormatTest, TimesSwitchUnitsAtTheirBoundaries) {
    const std::pair<double, std::string> speeds[] = {
        {0, "0 seconds"},   {1, "1 seconds"},     {89.9, "89 seconds"}, {90, "2 minutes"},
        {150, "3 minutes"}, {5399, "90 minutes"}, {5400, "1.5 hours"},  {3 * 86'400, "72.0 hours"},
        {nan, dash},        {1e300, dash},
    };
    for (const auto& [seconds, text] : speeds) {
        EXPECT_EQ(Format::replySpeed(seconds), text) << seconds;
    }
    const std::pair<int, std::string> clocks[] = {{0, "12:00 AM"},   {45, "12:45 AM"}, {75, "1:15 AM"},
                                                  {720, "12:00 PM"}, {780, "1:00 PM"}, {1439, "11:59 PM"},
                                                  {-1, dash},        {1440, dash}};
    for (const auto& [minute, text] : clocks) {
        EXPECT_EQ(Format::clockTime(minute), text) << minute;
    }
    const std::pair<int, std::string> hours[] = {{0, "12am"}, {11, "11am"}, {12, "12pm"},
                                                 {15, "3pm"}, {23, "11pm"}, {24, dash}};
    for (const auto& [hour, text] : hours) {
        EXPECT_EQ(Format::hourLabel(hour), text) << hour;
    }
    const std::pair<double, std::string> ages[] = {
        {-50, "just now"},    {3599.9, "just now"},   {3600, "1h ago"},   {86399, "23h ago"},
        {86400, "1d ago"},    {604799, "6d ago"},     {604800, "1w ago"}, {3023999, "4w ago"},
        {3024000, "1mo ago"}, {31536000, "12mo ago"}, {nan, dash},        {1e300, dash + "mo ago"},
    };
    for (const auto& [seconds, text] : ages) {
        EXPECT_EQ(Format::shortAgo(seconds), text) << seconds;
    }
    EXPECT_EQ(Format::waitingLabel(47.9), "waiting 47h");
    EXPECT_EQ(Format::waitingLabel(48), "waiting 2d");
    EXPECT_EQ(Format::waitingLabel(nan), dash);
}

TEST(FormatTest, RatioChipTiesGoToAboutYourUsual) {
    const auto chip = [](double ratio) {
        return Format::ratioChip(ratio, "faster than", "slower than", "your usual");
    };
    EXPECT_EQ(chip(0.949), "5% faster than your usual");
    EXPECT_EQ(chip(0.95), "about your usual your usual");
    EXPECT_EQ(chip(1.05), "about your usual your usual");
    EXPECT_EQ(chip(1.051), "5% slower than your usual");
    EXPECT_EQ(chip(2.0), "2.0\u00D7 slower than your usual");
    EXPECT_EQ(chip(nan), dash);
    EXPECT_EQ(chip(infinity), dash);
}

TEST(FormatTest, OneLineCountsUserPerceivedCharactersAndBreaksAsOne) {
    EXPECT_EQ(Format::oneLine("a\r\nb\nc\u2028d", 99), "a b c d");
    EXPECT_EQ(Format::oneLine("a\r\nbc", 3), "a b"); // CR LF is one character
    EXPECT_EQ(Format::oneLine("\U0001F468\u200D\U0001F469\u200D\U0001F467xyz", 2),
              "\U0001F468\u200D\U0001F469\u200D\U0001F467x");
    EXPECT_EQ(Format::oneLine("e\u0301te", 1), "e\u0301");
    EXPECT_EQ(Format::oneLine("short", 0), "");
}

TEST(FormatTest, MonthDatesFollowTheLocalesOrder) {
    const Calendar utc("UTC");
    const Date march5 = utc.date(2021, 3, 5);
    EXPECT_EQ(Format::monthDay(march5, utc, "en_US"), "Mar 5");
    EXPECT_EQ(Format::monthYear(march5, utc, "en_US"), "Mar 2021");
    EXPECT_EQ(Format::monthDay(march5, utc, "de_DE"), "5. M\u00E4rz");
    EXPECT_EQ(Format::monthDay(march5, utc, "en_GB"), "5 Mar");
    EXPECT_EQ(Format::monthDay(Calendar("Pacific/Kiritimati").date(2021, 3, 5),
                               Calendar("Pacific/Kiritimati"), "en_US"),
              "Mar 5");
}
