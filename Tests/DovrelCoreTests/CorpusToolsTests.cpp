#include "Coach/CorpusTools.h"
#include "Foundation/Unicode.h"
#include "MeasurementSupport.h"
#include "MessageSources/GroupRecords.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <map>

using namespace dovrel;
using measurementtest::mine;
using measurementtest::theirs;
using measurementtest::thread;

namespace {

const std::string ana = "+15550000001";
const std::string ben = "+15550000002";

std::vector<std::string> texts(const std::vector<CorpusTools::Hit>& hits) {
    std::vector<std::string> out;
    for (const CorpusTools::Hit& hit : hits) {
        out.push_back(hit.text);
    }
    return out;
}

std::vector<std::string> texts(const std::vector<GroupMessage>& messages) {
    std::vector<std::string> out;
    for (const GroupMessage& message : messages) {
        out.push_back(message.text);
    }
    return out;
}

using Texts = std::vector<std::string>;

} // namespace

TEST(CorpusToolsTest, NeedlesLowerAndTrimBlanksOnly) {
    EXPECT_EQ(CorpusTools::needles(Texts{" Dinner\t", "", " \t ", "ÉCOLE", "dinner", "\nx\n"}),
              (Texts{"dinner", "école", "dinner", "\nx\n"}));
}

TEST(CorpusToolsTest, ParseDayNeedsExactlyThreeIntegers) {
    const Calendar newYork("America/New_York");
    EXPECT_EQ(CorpusTools::parseDay("2024-03-05", newYork), newYork.date(2024, 3, 5));
    EXPECT_EQ(CorpusTools::parseDay("2024-3-5", newYork), newYork.date(2024, 3, 5));
    // Empty pieces are skipped and so are pieces that are no integer.
    EXPECT_EQ(CorpusTools::parseDay("2024--03-05-", newYork), newYork.date(2024, 3, 5));
    EXPECT_EQ(CorpusTools::parseDay("2024-x-03-05", newYork), newYork.date(2024, 3, 5));
    // The calendar rolls over instead of refusing.
    // Days that do not exist, and years no calendar page holds, are no day rather than a rolled-over one.
    for (const char* malformed : {"2023-02-29", "2026-02-30", "2025-13-45", "2024-00-10", "3000000-01-01"}) {
        EXPECT_EQ(CorpusTools::parseDay(malformed, newYork), std::nullopt) << malformed;
        EXPECT_TRUE(CorpusTools::isMalformedDay(malformed, newYork)) << malformed;
    }
    EXPECT_EQ(CorpusTools::parseDay("2024-02-29", newYork), newYork.date(2024, 2, 29));
    EXPECT_FALSE(CorpusTools::isMalformedDay("2024-03-05T10:00", newYork));
    // A time behind the day spoils the last piece.
    EXPECT_EQ(CorpusTools::parseDay("2024-03-05T10:00", newYork), std::nullopt);
    EXPECT_EQ(CorpusTools::parseDay("2024-03-05 10", newYork), std::nullopt);
    EXPECT_EQ(CorpusTools::parseDay("2024-03", newYork), std::nullopt);
    EXPECT_EQ(CorpusTools::parseDay("2024-03-05-06", newYork), std::nullopt);
    EXPECT_EQ(CorpusTools::parseDay("yesterday", newYork), std::nullopt);
    EXPECT_EQ(CorpusTools::parseDay("", newYork), std::nullopt);
    EXPECT_EQ(CorpusTools::parseDay(std::nullopt, newYork), std::nullopt);
    EXPECT_EQ(CorpusTools::parseDay("99999999999-01-01", newYork), std::nullopt);
    // The start of the day in the calendar's zone, not in UTC.
    EXPECT_EQ(CorpusTools::parseDay("2024-03-05", newYork), Date::fromUnix(1'709'614'800));
}

TEST(CorpusToolsTest, SearchMatchesSubstringsOfLowerCasedText) {
    const std::vector<ContactThread> threads = {
        thread(ana, {theirs(100, "Want to HANG out?"), mine(200, "this will change"), mine(300, ""),
                     theirs(400, "Café later?"), mine(500, "nope")}),
    };
    EXPECT_EQ(texts(CorpusTools::search(threads, Texts{"hang"}, "any", 40, {}, {})),
              (Texts{"this will change", "Want to HANG out?"}));
    EXPECT_EQ(texts(CorpusTools::search(threads, Texts{"CAFÉ"}, "any", 40, {}, {})), (Texts{"Café later?"}));
    // No folding of accents: "cafe" is not "café".
    EXPECT_TRUE(CorpusTools::search(threads, Texts{"cafe"}, "any", 40, {}, {}).empty());
    // Blank terms are no needles and match nothing, not everything; an empty text never matches.
    EXPECT_TRUE(CorpusTools::search(threads, Texts{" ", "\t", ""}, "any", 40, {}, {}).empty());
    EXPECT_TRUE(CorpusTools::countByMonth(threads, Texts{" "}, "any", Calendar("UTC"), {}, {}).empty());

    const std::vector<CorpusTools::Hit> hits = CorpusTools::search(threads, Texts{"nope"}, "any", 40, {}, {});
    ASSERT_EQ(hits.size(), 1u);
    EXPECT_EQ(hits[0], (CorpusTools::Hit{Date{500}, ana, true, "nope"}));
}

// The matcher lowers ASCII eight bytes at a time and copies characters without a lower-case form; it must
// agree with full Unicode lower-casing of the whole text.
TEST(CorpusToolsTest, MatcherAgreesWithFullLowerCasing) {
    std::vector<std::string> textsToTry = {
        "Ünïcödé ÉCOLE",      "😀 HAHA lol 😀 HaHa", "ΣΑΣ ΟΔΟΣ",   "İstanbul", "straße STRASSE",
        "bad \xC3( UTF8 ABC", "\xFF\xFE",          "ﬀ LIGATURE", "",         "Z"};
    const std::string ascii = "ABCDEFGHIJKLMNOPQRSTUVWXYZ@[`{abcxyz0123456789 !~";
    for (std::size_t shift = 0; shift < 16; ++shift) {
        textsToTry.push_back(ascii.substr(shift) + ascii.substr(0, shift));
        textsToTry.push_back(std::string(shift, 'x') + "é" + ascii);
    }
    const Texts needlesToTry = {"a",     "z",   "@",    "[",        "`", "{",       "~",   "haha",
                                "école", "σας", "οδος", "i̇stanbul", "ß", "strasse", "abc", "\xEF\xBF\xBD",
                                "ünï",   "ﬀ",   "xyz0", "z@[`{a"};
    for (const std::string& needle : needlesToTry) {
        CorpusTools::Matcher matcher(Texts{needle});
        for (const std::string& text : textsToTry) {
            const bool expected = !text.empty() && unicode::lowercased(text).find(
                                                       unicode::lowercased(needle)) != std::string::npos;
            EXPECT_EQ(matcher.matches(text), expected) << "needle " << needle << " in " << text;
        }
    }
}

TEST(CorpusToolsTest, SearchFiltersSortsStablyAndCuts) {
    const std::vector<ContactThread> threads = {
        thread(ana, {theirs(100, "dinner a1"), mine(300, "dinner a2"), theirs(300, "dinner a3")}),
        thread(ben, {mine(300, "dinner b1"), theirs(200, "drinks b2"), mine(50, "dinner b3")}),
    };
    const Texts terms{"dinner", "drinks"};
    // Newest first; equal dates keep the order of threads, then of messages.
    EXPECT_EQ(texts(CorpusTools::search(threads, terms, "any", 40, {}, {})),
              (Texts{"dinner a2", "dinner a3", "dinner b1", "drinks b2", "dinner a1", "dinner b3"}));
    EXPECT_EQ(texts(CorpusTools::search(threads, terms, "me", 40, {}, {})),
              (Texts{"dinner a2", "dinner b1", "dinner b3"}));
    EXPECT_EQ(texts(CorpusTools::search(threads, terms, "them", 40, {}, {})),
              (Texts{"dinner a3", "drinks b2", "dinner a1"}));
    EXPECT_EQ(CorpusTools::search(threads, terms, "everyone", 40, {}, {}).size(), 6u);
    // The cut comes after the sort, and keeps the stable order at its edge.
    EXPECT_EQ(texts(CorpusTools::search(threads, terms, "any", 2, {}, {})),
              (Texts{"dinner a2", "dinner a3"}));
    EXPECT_EQ(texts(CorpusTools::search(threads, terms, "any", 3, {}, {})),
              (Texts{"dinner a2", "dinner a3", "dinner b1"}));
    EXPECT_TRUE(CorpusTools::search(threads, terms, "any", 0, {}, {}).empty());
    EXPECT_TRUE(CorpusTools::search(threads, terms, "any", -5, {}, {}).empty());
    // `start` keeps its own instant; `end` keeps 86,400 seconds after its own.
    EXPECT_EQ(texts(CorpusTools::search(threads, terms, "any", 40, Date{200}, Date{300 - 86400})),
              (Texts{"drinks b2"}));
    EXPECT_EQ(texts(CorpusTools::search(threads, terms, "any", 40, Date{200}, Date{300.5 - 86400})),
              (Texts{"dinner a2", "dinner a3", "dinner b1", "drinks b2"}));
}

TEST(CorpusToolsTest, EndCountsPlainSecondsOnClockChangeDays) {
    const Calendar newYork("America/New_York");
    // 2024-03-10 has 23 hours in New York, 2024-11-03 has 25.
    const Date springDay = *CorpusTools::parseDay("2024-03-10", newYork);
    const Date fallDay = *CorpusTools::parseDay("2024-11-03", newYork);
    const std::vector<ContactThread> threads = {
        thread(ana, {
                        theirs(newYork.date(2024, 3, 10, 23, 59), "x 1"),
                        theirs(newYork.date(2024, 3, 11, 0, 30), "x 2"),
                        theirs(newYork.date(2024, 3, 11, 1, 0), "x 3"),
                        theirs(newYork.date(2024, 11, 3, 22, 59), "x 4"),
                        theirs(newYork.date(2024, 11, 3, 23, 30), "x 5"),
                    })};
    // A day of 86,400 seconds from the start of the 10th reaches 01:00 on the 11th.
    EXPECT_EQ(texts(CorpusTools::search(threads, Texts{"x"}, "any", 40, springDay, springDay)),
              (Texts{"x 2", "x 1"}));
    // ...and ends at 23:00 on the 3rd of November, before its last hour.
    EXPECT_EQ(texts(CorpusTools::search(threads, Texts{"x"}, "any", 40, fallDay, fallDay)), (Texts{"x 4"}));
    const std::vector<CorpusTools::MonthCount> counts =
        CorpusTools::countByMonth(threads, Texts{"x"}, "any", newYork, springDay, springDay);
    EXPECT_EQ(counts, (std::vector<CorpusTools::MonthCount>{{newYork.date(2024, 3, 1), 2}}));
}

TEST(CorpusToolsTest, CountByMonthAgreesWithTheCalendarMessageByMessage) {
    // Paraguay moved its clocks from 00:00 to 01:00 on 2017-10-01, so that month has no midnight on its first
    // day; Cuba went back from 01:00 to 00:00 on 2015-11-01, so that day's first hour came twice; New York
    // changes at 02:00. Threads out of date order make the month of one message no guide to the next.
    struct Case {
        const char* zone;
        int year;
        int month; // the month whose start is odd
    };
    for (const Case& c : {Case{"America/Asuncion", 2017, 10}, Case{"America/Havana", 2015, 11},
                          Case{"America/New_York", 2024, 3}, Case{"UTC", 2024, 3}}) {
        const Calendar calendar(c.zone);
        const Date boundary = calendar.date(c.year, c.month, 1);
        std::vector<ContactThread> threads;
        for (int t = 0; t < 3; ++t) {
            std::vector<RawMessage> messages;
            const Date from = boundary - 3 * 86400.0 - t * 91 * 86400.0;
            for (int i = 0; i < 400; ++i) {
                const Date date = from + i * 1987.0 + t * 611.0;
                messages.push_back(i % 3 == 0 ? mine(date, "lol " + std::to_string(i)) : theirs(date, "LOL"));
            }
            for (double offset = -7200.0; offset <= 7200.0; offset += 900.0) {
                messages.push_back(theirs(boundary + offset, "lol around the start of the month"));
            }
            threads.push_back(thread("h" + std::to_string(t), std::move(messages)));
        }
        std::reverse(threads.begin(), threads.end());

        for (const char* from : {"any", "me"}) {
            std::map<Date, int> expected;
            for (const ContactThread& t : threads) {
                for (const RawMessage& m : t.messages) {
                    if (std::string(from) == "any" || m.isFromMe) {
                        ++expected[calendar.date(calendar.year(m.date), calendar.month(m.date), 1)];
                    }
                }
            }
            std::vector<CorpusTools::MonthCount> want;
            for (const auto& [month, count] : expected) {
                want.push_back({month, count});
            }
            EXPECT_EQ(CorpusTools::countByMonth(threads, Texts{"lol"}, from, calendar, {}, {}), want)
                << c.zone;
        }
    }
}

TEST(CorpusToolsTest, SampleTakesNewestFromOneSide) {
    const std::vector<ContactThread> threads = {
        thread(ana, {mine(10, "a"), theirs(20, "b"), mine(30, "")}),
        thread(ben, {mine(30, "c"), theirs(40, "d")}),
    };
    // An empty text is a message like any other here.
    EXPECT_EQ(texts(CorpusTools::sample(threads, "me", 2)), (Texts{"", "c"}));
    EXPECT_EQ(texts(CorpusTools::sample(threads, "them", 40)), (Texts{"d", "b"}));
    EXPECT_EQ(texts(CorpusTools::sample(threads, "any", 40)), (Texts{"d", "", "c", "b", "a"}));
    EXPECT_TRUE(CorpusTools::sample(threads, "me", 0).empty());
    EXPECT_EQ(CorpusTools::sample(threads, "me", 1).front(), (CorpusTools::Hit{Date{30}, ana, true, ""}));
}

TEST(CorpusToolsTest, WindowTakesTheNearestAndReturnsThemOldestFirst) {
    const ContactThread t = thread(ana, {mine(0, "a"), theirs(90, "b"), mine(100, "c"), theirs(110, "d"),
                                         mine(130, "e"), theirs(1000, "f")});
    EXPECT_EQ(texts(CorpusTools::window(t, Date{100}, 1)), (Texts{"c"}));
    // "b" and "d" are equally near; the earlier in the thread wins the last place.
    EXPECT_EQ(texts(CorpusTools::window(t, Date{100}, 2)), (Texts{"b", "c"}));
    EXPECT_EQ(texts(CorpusTools::window(t, Date{100}, 4)), (Texts{"b", "c", "d", "e"}));
    EXPECT_EQ(texts(CorpusTools::window(t, Date{5000}, 2)), (Texts{"e", "f"}));
    EXPECT_EQ(texts(CorpusTools::window(t, Date{100}, 60)), (Texts{"a", "b", "c", "d", "e", "f"}));
    EXPECT_TRUE(CorpusTools::window(t, Date{100}, 0).empty());
    const std::vector<CorpusTools::Hit> hits = CorpusTools::window(t, Date{0}, 1);
    EXPECT_EQ(hits, (std::vector<CorpusTools::Hit>{{Date{0}, ana, true, "a"}}));
}

TEST(CorpusToolsTest, GroupReadingStopsEarlyAndIgnoresTheSender) {
    const std::optional<std::string> me;
    GroupThread group{"g", "Pals", {ana, ben}, {}, {}};
    group.messages = {
        {Date{10}, ana, "Pizza tonight?"}, {Date{20}, me, "pizza again"}, {Date{30}, ben, "no"},
        {Date{40}, ana, "PIZZA!!"},        {Date{50}, me, "fine, pizza"},
    };
    EXPECT_EQ(texts(group.search(Texts{"pizza"}, {}, {}, 3)),
              (Texts{"fine, pizza", "PIZZA!!", "pizza again"}));
    // The limit is tested after a match is kept: 0 still gives the newest match, unlike the thread search.
    EXPECT_EQ(texts(group.search(Texts{"pizza"}, {}, {}, 0)), (Texts{"fine, pizza"}));
    EXPECT_TRUE(group.search(Texts{"pizza"}, {}, {}, -1).empty());
    EXPECT_TRUE(group.search(Texts{"  "}, {}, {}, 40).empty());
    EXPECT_EQ(texts(group.search(Texts{"pizza", "no"}, Date{15}, Date{41 - 86400}, 40)),
              (Texts{"PIZZA!!", "no", "pizza again"}));

    EXPECT_EQ(texts(group.window(Date{31}, 2)), (Texts{"no", "PIZZA!!"}));
    EXPECT_EQ(texts(group.window(Date{31}, 50)),
              (Texts{"Pizza tonight?", "pizza again", "no", "PIZZA!!", "fine, pizza"}));
    EXPECT_TRUE(group.window(Date{31}, 0).empty());
    EXPECT_EQ(texts(group.recent(2)), (Texts{"PIZZA!!", "fine, pizza"}));
    EXPECT_EQ(group.recent(99).size(), 5u);
    EXPECT_TRUE(group.recent(0).empty());
}
