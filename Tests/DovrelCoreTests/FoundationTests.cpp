#include "Foundation/Calendar.h"
#include "Foundation/UUID.h"
#include "Foundation/Unicode.h"

#include <gtest/gtest.h>
#include <regex>
#include <set>

using namespace dovrel;

namespace {
// 2024-03-10 is the day New York moves its clocks forward (02:00 EST -> 03:00 EDT).
Date utc(int y, int mo, int d, int h = 0, int mi = 0, int s = 0) {
    return Calendar("UTC").date(y, mo, d, h, mi, s);
}
} // namespace

TEST(CalendarTest, LocalFieldsFollowTheZoneAcrossDaylightSaving) {
    const Calendar ny("America/New_York");
    const Calendar tokyo("Asia/Tokyo");
    const Date beforeChange = utc(2024, 3, 10, 6, 30); // 01:30 EST
    const Date afterChange = utc(2024, 3, 10, 7, 30);  // 03:30 EDT
    EXPECT_EQ(ny.hour(beforeChange), 1);
    EXPECT_EQ(ny.hour(afterChange), 3);
    EXPECT_EQ(ny.minute(afterChange), 30);
    EXPECT_EQ(ny.minuteOfDay(afterChange), 3 * 60 + 30);
    EXPECT_EQ(tokyo.hour(beforeChange), 15);
    // Midnight of a 23-hour day is still 05:00 UTC (EST), and the next midnight is 04:00 UTC (EDT).
    EXPECT_EQ(ny.startOfDay(afterChange), utc(2024, 3, 10, 5));
    EXPECT_EQ(ny.startOfDay(utc(2024, 3, 11, 12)), utc(2024, 3, 11, 4));
    EXPECT_EQ(ny.startOfMonth(afterChange), utc(2024, 3, 1, 5));
    EXPECT_EQ(tokyo.startOfMonth(utc(2024, 2, 29, 16)), utc(2024, 2, 29, 15)); // already March 1 in Tokyo
}

TEST(CalendarTest, WholeDaysBetweenCountCalendarDaysNotMultiplesOf86400) {
    const Calendar ny("America/New_York");
    // Noon to noon across the short day is 23 hours but one whole day.
    EXPECT_EQ(ny.daysBetween(utc(2024, 3, 9, 17), utc(2024, 3, 10, 16)), 1);
    EXPECT_EQ(ny.daysBetween(utc(2024, 3, 9, 17), utc(2024, 3, 10, 15, 59)), 0);
    EXPECT_EQ(ny.daysBetween(utc(2024, 3, 10, 16), utc(2024, 3, 9, 17)), -1);
    EXPECT_EQ(Calendar("UTC").daysBetween(utc(2023, 1, 1), utc(2024, 1, 1)), 365);
}

TEST(CalendarTest, ComponentsRollOverAndFormatInALocale) {
    const Calendar utcCalendar("UTC");
    EXPECT_EQ(utcCalendar.date(2023, 13, 1), utc(2024, 1, 1));
    EXPECT_EQ(utcCalendar.date(2024, 3, 0), utc(2024, 2, 29));
    EXPECT_EQ(utcCalendar.date(2024, 1, 1, 25), utc(2024, 1, 2, 1));
    EXPECT_EQ(utcCalendar.format(utc(2024, 7, 4, 21, 5), "MMM d, yyyy h:mm a"), "Jul 4, 2024 9:05 PM");
    EXPECT_EQ(Calendar("America/New_York").format(utc(2024, 7, 4, 2), "EEEE MMMM d"), "Wednesday July 3");
    EXPECT_EQ(utcCalendar.weekday(utc(2024, 7, 4)), 5); // Thursday, with Sunday = 1
    EXPECT_THROW(Calendar("Mars/Olympus_Mons"), std::invalid_argument);
}

TEST(CalendarTest, CopiesAreIndependent) {
    const Calendar ny("America/New_York");
    Calendar copy = ny;
    copy = Calendar("Asia/Tokyo");
    EXPECT_EQ(ny.hour(utc(2024, 1, 1, 12)), 7);
    EXPECT_EQ(copy.hour(utc(2024, 1, 1, 12)), 21);
    EXPECT_EQ(copy.timeZoneID(), "Asia/Tokyo");
}

TEST(UnicodeTest, GraphemesAreUserPerceivedCharacters) {
    EXPECT_EQ(unicode::graphemeCount(""), 0u);
    EXPECT_EQ(unicode::graphemeCount("hello"), 5u);
    EXPECT_EQ(unicode::graphemeCount("a\r\nb"), 3u);
    EXPECT_EQ(unicode::graphemeCount("caf\u00e9"), 4u);
    EXPECT_EQ(unicode::graphemeCount("cafe\u0301"), 4u);                               // combining accent
    EXPECT_EQ(unicode::graphemeCount("\U0001F44D\U0001F3FD"), 1u);                     // thumbs up, skin tone
    EXPECT_EQ(unicode::graphemeCount("\U0001F1FA\U0001F1F8\U0001F1EB\U0001F1F7"), 2u); // two flags
    EXPECT_EQ(unicode::graphemeCount("\U0001F468\u200D\U0001F469\u200D\U0001F467"), 1u); // family ZWJ
    std::vector<std::string> pieces;
    unicode::forEachGrapheme("a\u2764\uFE0Fb", [&](std::string_view g) { pieces.emplace_back(g); });
    EXPECT_EQ(pieces, (std::vector<std::string>{"a", "\u2764\uFE0F", "b"}));
}

TEST(UnicodeTest, LowerCasingIsFullUnicode) {
    EXPECT_EQ(unicode::lowercased("HaHa LOL"), "haha lol");
    EXPECT_EQ(unicode::lowercased("\u00C9COLE \u0394"), "\u00E9cole \u03B4");
    EXPECT_EQ(unicode::lowercased("\u0130"), "i\u0307"); // dotted capital I becomes two code points
    EXPECT_EQ(unicode::lowercased("\U0001F602 OK"), "\U0001F602 ok");
}

TEST(UnicodeTest, EmojiTestLeavesOutOldTextSymbols) {
    EXPECT_TRUE(unicode::isEmoji(0x1F602));
    EXPECT_TRUE(unicode::isEmoji(0x2764));  // red heart
    EXPECT_FALSE(unicode::isEmoji(0x00A9)); // copyright: Emoji property, but below the bound
    EXPECT_FALSE(unicode::isEmoji(U'5'));
    EXPECT_FALSE(unicode::isEmoji(0x238C));
    EXPECT_FALSE(unicode::isEmoji(U'x'));
    EXPECT_TRUE(unicode::containsEmoji("love you \u2764\uFE0F"));
    EXPECT_FALSE(unicode::containsEmoji("5\uFE0F\u20E3 \u00A9 #1"));
}

TEST(UnicodeTest, Utf8ValidationAndRepair) {
    EXPECT_TRUE(unicode::isValidUTF8(std::string_view("plain \u00E9 \U0001F602")));
    EXPECT_FALSE(unicode::isValidUTF8(std::string_view("\xC0\xAF")));         // overlong '/'
    EXPECT_FALSE(unicode::isValidUTF8(std::string_view("\xED\xA0\x80")));     // surrogate
    EXPECT_FALSE(unicode::isValidUTF8(std::string_view("\xF4\x90\x80\x80"))); // above U+10FFFF
    EXPECT_FALSE(unicode::isValidUTF8(std::string_view("\xF0\x9F\x98")));     // cut short
    // The first and last code point of each length, and the overlong or out-of-range forms just beside them.
    for (const char* valid :
         {"\xC2\x80", "\xDF\xBF", "\xE0\xA0\x80", "\xEF\xBF\xBF", "\xF0\x90\x80\x80", "\xF4\x8F\xBF\xBF"}) {
        EXPECT_TRUE(unicode::isValidUTF8(std::string_view(valid))) << valid;
    }
    for (const char* invalid : {"\xC1\xBF", "\xE0\x9F\xBF", "\xF0\x8F\xBF\xBF", "\xF5\x80\x80\x80"}) {
        EXPECT_FALSE(unicode::isValidUTF8(std::string_view(invalid))) << invalid;
    }
    const std::string bad = "a\xF0\x9F\x98z\xFF";
    EXPECT_EQ(unicode::repairUTF8(std::span(reinterpret_cast<const std::uint8_t*>(bad.data()), bad.size())),
              "a\uFFFDz\uFFFD");
}

TEST(UUIDTest, FreshUpperCaseVersion4) {
    const std::regex form("^[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}$");
    std::set<std::string> seen;
    for (int i = 0; i < 100; ++i) {
        const std::string id = makeUUID();
        EXPECT_TRUE(std::regex_match(id, form)) << id;
        seen.insert(id);
    }
    EXPECT_EQ(seen.size(), 100u);
}
