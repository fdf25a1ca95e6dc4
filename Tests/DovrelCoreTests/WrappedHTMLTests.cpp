#include "Output/WrappedHTML.h"
#include "TempDir.h"

#include <cstdlib>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <iterator>
#include <limits>
#include <sstream>

using namespace dovrel;
namespace fs = std::filesystem;

namespace {

const fs::path goldenFile = fs::path(MURMORA_TEST_SOURCE_DIR) / "golden" / "wrapped-page.html";

const std::map<std::string, std::string> noNames;

// 2025-01-01 05:00 UTC: still New Year's Eve on the US west coast, already the afternoon of Jan 1 in Tokyo.
constexpr Date yearStart = Date::fromUnix(1'735'707'600);
constexpr DateInterval year{yearStart, 365.0 * 86'400 - 1};

WrappedStats empty() {
    WrappedStats stats;
    stats.interval = year;
    stats.totalMessages = 12'345;
    return stats;
}

std::string page(const WrappedStats& stats, const std::map<std::string, std::string>& names = noNames,
                 const std::optional<Archetype>& archetype = std::nullopt,
                 const Calendar& calendar = Calendar("America/Los_Angeles")) {
    return WrappedHTML::render(stats, names, archetype, calendar);
}

std::size_t occurrences(const std::string& text, std::string_view part) {
    std::size_t count = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + part.size())) {
        ++count;
    }
    return count;
}

// The page from the first section on, without the head.
std::string body(const std::string& html) {
    const std::string_view marker = "</style></head><body>\n";
    return html.substr(html.find(marker) + marker.size());
}

std::string readFile(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream out;
    out << in.rdbuf();
    return out.str();
}

} // namespace

TEST(WrappedHTMLFormatTest, VerdictLinesSwitchAtTheirBoundaries) {
    EXPECT_EQ(WrappedHTML::replyLine(59.9), "You don't leave people hanging.");
    EXPECT_EQ(WrappedHTML::replyLine(60), "Quick thumbs. Reliable heart.");
    EXPECT_EQ(WrappedHTML::replyLine(299.9), "Quick thumbs. Reliable heart.");
    EXPECT_EQ(WrappedHTML::replyLine(300), "You get there. Eventually.");
    EXPECT_EQ(WrappedHTML::replyLine(3599.9), "You get there. Eventually.");
    EXPECT_EQ(WrappedHTML::replyLine(3600), "A slow burn. They wait for you.");

    EXPECT_EQ(WrappedHTML::lengthLine(0), "A person of few words.");
    EXPECT_EQ(WrappedHTML::lengthLine(19), "A person of few words.");
    EXPECT_EQ(WrappedHTML::lengthLine(20), "Right-sized thoughts.");
    EXPECT_EQ(WrappedHTML::lengthLine(59), "Right-sized thoughts.");
    EXPECT_EQ(WrappedHTML::lengthLine(60), "You don't text. You correspond.");

    const std::string owl = "Night owl. Confirmed by the data.";
    const std::string sleeper = "You actually sleep. Impressive.";
    const std::string bedtime = "Respectable bedtime. Mostly.";
    EXPECT_EQ(WrappedHTML::nightLine(0), owl);
    EXPECT_EQ(WrappedHTML::nightLine(239), owl);
    EXPECT_EQ(WrappedHTML::nightLine(240), sleeper);
    EXPECT_EQ(WrappedHTML::nightLine(1259), sleeper);
    EXPECT_EQ(WrappedHTML::nightLine(1260), bedtime);
    EXPECT_EQ(WrappedHTML::nightLine(1379), bedtime);
    EXPECT_EQ(WrappedHTML::nightLine(1380), owl);
    EXPECT_EQ(WrappedHTML::nightLine(1439), owl);
}

TEST(WrappedHTMLFormatTest, EscapeReplacesAmpersandFirstAndLeavesTheApostrophe) {
    EXPECT_EQ(WrappedHTML::escape("A&B <x> \"q\" Tom's"), "A&amp;B &lt;x&gt; &quot;q&quot; Tom's");
    // An entity already in the data is data: its ampersand is escaped once, and only once.
    EXPECT_EQ(WrappedHTML::escape("&lt;"), "&amp;lt;");
    EXPECT_EQ(WrappedHTML::escape("caf\u00E9 \U0001F602"), "caf\u00E9 \U0001F602");
}

// Each case sets a few numbers and lists text the page must hold, in this order, and text it must not.
TEST(WrappedHTMLPageTest, SectionsShowWhatTheirNumbersCallFor) {
    using Setup = std::function<void(WrappedStats&)>;
    struct Case {
        const char* name;
        Setup setup;
        std::vector<std::string> inOrder;
        std::vector<std::string> absent = {};
        int sections = 2;
        const char* zone = "America/Los_Angeles";
    };
    const auto busiest = [](WrappedStats& s) {
        // 2025-03-09 07:30 UTC: the evening of March 8 in Los Angeles, the afternoon of March 9 in Tokyo.
        s.busiestDay = WrappedStats::DayCount{Date::fromUnix(1'741'505'400), 1'234};
    };
    const auto laughs = [](LaughterProfile counts) { return [=](WrappedStats& s) { s.laughter = counts; }; };
    const auto clingy = [](bool doubleText, bool streak) {
        return [=](WrappedStats& s) {
            if (doubleText) {
                s.doubleTextChampion = WrappedStats::ContactCount{"+1", "Ignored", 1'002};
            }
            if (streak) {
                s.longestStreak = WrappedStats::ContactCount{"+2", "R&D", 41};
            }
        };
    };
    const auto medianText = [](std::optional<double> questions, std::optional<double> emoji) {
        return [=](WrappedStats& s) {
            s.myMedianLength = 20;
            s.myQuestionRate = questions;
            s.myEmojiRate = emoji;
        };
    };
    const std::vector<Case> cases = {
        {"totals only",
         [](WrappedStats&) {},
         {"</style></head><body>\n<section class=\"slide cover\">", "Dec 31, 2024 \u2014 Dec 31, 2025",
          "<h1 class=\"mega\">12,345</h1>", "</section>\n</body></html>"},
         {},
         1},
        {"busiest day in the west",
         busiest,
         {"Dec 31, 2024 \u2014 Dec 31, 2025", ">March 8</h1>", "<b>1,234 messages</b>"}},
        {"busiest day in the east",
         busiest,
         {"Jan 1, 2025 \u2014 Jan 1, 2026", ">March 9</h1>"},
         {},
         2,
         "Asia/Tokyo"},
        {"top contacts",
         [](WrappedStats& s) {
             s.peopleCount = 1'204;
             s.topContacts = {{"+15550001", "Address Book Name", 4'321, 2'000, 2'321},
                              {"+15550002", "Tom's \"T\"", 12, 6, 6},
                              {"a@b.example", std::nullopt, 3, 1, 2}};
         },
         {"<b>1,204 people</b>", "<li class=\"bubble-row first\">", ">A&amp;B &lt;x&gt;<", ">4,321<",
          "<li class=\"bubble-row\">\n  <span class=\"rank\">2", ">Tom's &quot;T&quot;<",
          "<li class=\"bubble-row\">\n  <span class=\"rank\">3", ">a@b.example<"},
         {"Address Book Name"}},
        {"reply time and initiation cut, not rounded",
         [](WrappedStats& s) {
             s.myMedianReplySeconds = 150;
             s.myInitiationRate = 0.29; // 0.29 * 100 is 28.999…
         },
         {">3 minutes<", "Quick thumbs. Reliable heart.", "<b>28%</b> of the conversations"}},
        {"reply time alone",
         [](WrappedStats& s) { s.myMedianReplySeconds = 12; },
         {">12 seconds<"},
         {"conversations"}},
        {"histogram scaled to its tallest hour",
         [](WrappedStats& s) {
             s.medianLastTextMinute = 1410;
             s.myHourlyHistogram = {0, 1'234, 3, 2'468};
             s.peakHour = 3;
         },
         {">11:30 PM<", "Night owl.", "height:2%\" title=\"12am: 0 texts\"",
          "height:50%\" title=\"1am: 1234 texts\"",
          "<div class=\"bar peak\" style=\"height:100%\" title=\"3am: 2468 texts\"><span "
          "class=\"bar-label\">3am<"}},
        {"histogram heights cut",
         [](WrappedStats& s) {
             s.medianLastTextMinute = 1410;
             s.myHourlyHistogram = {2, 3};
         },
         {"height:66%\" title=\"12am", "height:100%\" title=\"1am"},
         {"bar-label"}},
        {"histogram of zeros",
         [](WrappedStats& s) {
             s.medianLastTextMinute = 600;
             s.peakHour = 13;
         },
         {"<div class=\"bar peak\" style=\"height:2%\" title=\"1pm: 0 texts\">"}},
        {"no last text, no histogram",
         [](WrappedStats& s) { s.myHourlyHistogram = std::vector<int>(24, 7); },
         {},
         {"histogram"},
         1},
        {"laughs with ties keep their order and drop zeros",
         laughs({3, 3, 0, 1}),
         {">haha<", "width:100%", ">42%<", ">HAHAHA<", "width:100%", ">42%<", ">\xF0\x9F\x98\x82<",
          "width:33%", ">14%<"},
         {">lol<"}},
        {"laughs by count", laughs({1, 0, 5, 5}), {">lol<", ">\xF0\x9F\x98\x82<", ">haha<"}, {">HAHAHA<"}},
        {"one laugh", laughs({0, 0, 0, 1}), {"width:100%", ">100%<"}},
        {"no laughs", laughs({0, 0, 0, 0}), {}, {"laugh"}, 1},
        {"double text then streak",
         clingy(true, true),
         {"the clingy corner", ">1,002\u00D7<", "<b>Sam &lt;3</b>", ">41 days<", "<b>R&amp;D</b>"},
         {"Ignored"}},
        {"streak alone", clingy(false, true), {"the clingy corner", ">41 days<"}, {"double-texted"}},
        {"double text alone", clingy(true, false), {"the clingy corner", ">1,002\u00D7<"}, {"streak"}},
        {"median text alone",
         medianText(std::nullopt, std::nullopt),
         {">20 chars<", "Right-sized thoughts.</p>\n  \n</section>"}},
        {"zero questions are shown",
         medianText(0.0, std::nullopt),
         {"<b>0%</b> of your texts ask a question</p>"}},
        {"questions and emoji",
         medianText(0.0, 0.999),
         {"<b>0%</b> of your texts ask a question \u00B7 <b>99%</b> carry an emoji</p>"}},
        {"emoji alone",
         medianText(std::nullopt, 0.999),
         {"<p class=\"secondary\"><b>99%</b> carry an emoji</p>"}},
    };
    const std::map<std::string, std::string> names{{"+15550001", "A&B <x>"}, {"+1", "Sam <3"}};
    for (const Case& c : cases) {
        WrappedStats stats = empty();
        c.setup(stats);
        const std::string html = page(stats, names, std::nullopt, Calendar(c.zone));
        std::size_t at = 0;
        for (const std::string& part : c.inOrder) {
            at = html.find(part, at);
            ASSERT_NE(at, std::string::npos) << c.name << ": no " << part << " where expected in\n"
                                             << body(html);
        }
        for (const std::string& part : c.absent) {
            EXPECT_EQ(body(html).find(part), std::string::npos) << c.name << ": " << part;
        }
        EXPECT_EQ(occurrences(html, "<section"), std::size_t(c.sections)) << c.name;
    }

    // The archetype card is last, escaped, and missing without an archetype.
    const Archetype archetype{"The <Essayist>", "You write \"letters\" & mean it. Don't stop."};
    EXPECT_TRUE(
        page(empty(), noNames, archetype)
            .ends_with(
                "</section>\n<section class=\"slide\" id=\"archetype\">\n  <div class=\"card\">\n"
                "    <p class=\"eyebrow\">your texter archetype</p>\n"
                "    <h1 class=\"arch-title\">The &lt;Essayist&gt;</h1>\n"
                "    <p class=\"arch-body\">You write &quot;letters&quot; &amp; mean it. Don't stop.</p>\n"
                "    <p class=\"card-foot\">murmora \u00B7 Dec 31, 2024 \u2014 Dec 31, 2025</p>\n"
                "  </div>\n</section>\n</body></html>"));
}

TEST(WrappedHTMLPageTest, NonFiniteRateShowsADash) {
    WrappedStats stats = empty();
    stats.myMedianReplySeconds = 30;
    stats.myInitiationRate = std::numeric_limits<double>::quiet_NaN();
    EXPECT_NE(page(stats).find("<b>\u2013%</b>"), std::string::npos);
}

// The whole page for a full year, against a reviewed file. MURMORA_UPDATE_GOLDEN=1 writes the file instead.
TEST(WrappedHTMLGoldenTest, FullYear) {
    WrappedStats stats;
    const Calendar calendar("America/New_York");
    stats.interval =
        DateInterval{calendar.date(2025, 1, 1), calendar.date(2026, 1, 1) - calendar.date(2025, 1, 1) - 1};
    stats.peopleCount = 87;
    stats.totalMessages = 48'213;
    stats.topContacts = {{"+15551230001", "Maya Chen", 9'412, 4'600, 4'812},
                         {"+15551230002", std::nullopt, 6'020, 3'000, 3'020},
                         {"jordan@example.com", "Jordan", 3'377, 1'500, 1'877},
                         {"+15551230004", "Priya & \"Sam\"", 2'104, 1'000, 1'104},
                         {"+15551230005", std::nullopt, 998, 500, 498}};
    stats.busiestDay = WrappedStats::DayCount{calendar.date(2025, 7, 4), 1'287};
    stats.longestStreak = WrappedStats::ContactCount{"+15551230001", "Maya Chen", 64};
    stats.doubleTextChampion = WrappedStats::ContactCount{"+15551230002", std::nullopt, 212};
    stats.myMedianReplySeconds = 263;
    stats.myInitiationRate = 0.574;
    stats.medianLastTextMinute = 1395;
    stats.laughter = {412, 57, 233, 318};
    stats.myMedianLength = 34;
    stats.myQuestionRate = 0.187;
    stats.myEmojiRate = 0.231;
    stats.peakHour = 21;
    stats.myHourlyHistogram = {140, 61,  22,  8,   3,   2,   9,   88,  301, 412, 455, 498,
                               530, 480, 470, 502, 560, 610, 720, 801, 903, 977, 812, 420};
    const std::map<std::string, std::string> names{{"+15551230002", "Dad"}};
    const Archetype archetype{
        "The Night Owl Diplomat",
        "You answer in minutes, laugh in lowercase and keep the last word for after 11."};
    const std::string html = WrappedHTML::render(stats, names, archetype, calendar);

    if (const char* update = std::getenv("MURMORA_UPDATE_GOLDEN"); update && std::string(update) == "1") {
        std::ofstream(goldenFile, std::ios::binary) << html;
        GTEST_SKIP() << "wrote " << goldenFile;
    }
    ASSERT_TRUE(fs::exists(goldenFile)) << "missing " << goldenFile << "; run with MURMORA_UPDATE_GOLDEN=1";
    // A multi-line mismatch prints as a diff.
    EXPECT_EQ(html, readFile(goldenFile)) << "the page differs from " << goldenFile;
}

TEST(WrappedHTMLFileTest, EachWriteMakesANewFileInTheTemporaryFolder) {
    const TempDir folder;
    const char* previous = std::getenv("TMPDIR");
    const std::string saved = previous ? previous : "";
    setenv("TMPDIR", folder.path().c_str(), 1);

    const std::string html = "<p>caf\u00E9 \U0001F602</p>";
    const fs::path first = WrappedHTML::writeToTemporaryFolder(html);
    const fs::path second = WrappedHTML::writeToTemporaryFolder(html);

    if (previous) {
        setenv("TMPDIR", saved.c_str(), 1);
    } else {
        unsetenv("TMPDIR");
    }

    EXPECT_EQ(first.parent_path(), folder.path());
    EXPECT_NE(first, second);
    for (const fs::path& path : {first, second}) {
        const std::string name = path.filename().string();
        ASSERT_EQ(name.size(), std::string("murmora-wrapped-").size() + 36 + std::string(".html").size())
            << name;
        EXPECT_TRUE(name.starts_with("murmora-wrapped-")) << name;
        EXPECT_TRUE(name.ends_with(".html")) << name;
        const std::string uuid = name.substr(16, 36);
        EXPECT_EQ(uuid.find_first_not_of("0123456789ABCDEF-"), std::string::npos) << uuid;
        EXPECT_EQ(readFile(path), html);
    }
    // Only the two pages: nothing left over from writing them.
    EXPECT_EQ(std::distance(fs::directory_iterator(folder.path()), fs::directory_iterator()), 2);
}
