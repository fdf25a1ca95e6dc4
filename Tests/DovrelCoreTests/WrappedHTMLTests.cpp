#include "Output/WrappedHTML.h"
#include "TempDir.h"

#include <cstdlib>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <limits>
#include <sstream>

using namespace dovrel;
namespace fs = std::filesystem;

namespace {

const fs::path goldenFile = fs::path(__FILE__).parent_path() / "golden" / "wrapped-page.html";

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

TEST(WrappedHTMLPageTest, WithNothingButTotalsTheDocumentIsHeadCoverAndEnd) {
    const std::string html = page(empty());
    const std::string cover = "<section class=\"slide cover\">\n"
                              "  <p class=\"eyebrow\">Dec 31, 2024 \u2014 Dec 31, 2025</p>\n"
                              "  <h1 class=\"mega\">12,345</h1>\n"
                              "  <p class=\"big-sub\">texts. One thumb. No regrets.</p>\n"
                              "  <p class=\"hint\">scroll \u2193</p>\n"
                              "</section>";
    EXPECT_EQ(body(html), cover + "\n</body></html>");

    // The head, checked where a slip would go unseen: its first lines, the non-ASCII bytes of the comment
    // and the footer, its last line, and its length.
    const std::string head = html.substr(0, html.size() - body(html).size());
    EXPECT_EQ(head.rfind("<!DOCTYPE html>\n<html lang=\"en\"><head>\n<meta charset=\"utf-8\">\n"
                         "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
                         "<title>murmora</title>\n<style>\n",
                         0),
              0u);
    EXPECT_NE(head.find("\n   accent, chip fills, no borders. Fixed light \xE2\x80\x94 this page is a\n"),
              std::string::npos);
    EXPECT_NE(head.find("\n  content: \"iMessage Wrapped \xC2\xB7 by Murmora\"; position: absolute;\n"),
              std::string::npos);
    EXPECT_NE(head.find("\n@media (prefers-reduced-motion: reduce) { * { animation: none !important; } }\n"
                        "</style></head><body>\n"),
              std::string::npos);
    EXPECT_EQ(occurrences(head, "\n"), 114u);
    EXPECT_EQ(head.size(), 5271u);
    EXPECT_EQ(head.find("<section"), std::string::npos);
}

TEST(WrappedHTMLPageTest, DatesFollowTheCalendarsZone) {
    WrappedStats stats = empty();
    // 2025-03-09 07:30 UTC: the evening of March 8 in Los Angeles, the afternoon of March 9 in Tokyo.
    stats.busiestDay = WrappedStats::DayCount{Date::fromUnix(1'741'505'400), 1'234};
    const Archetype archetype{"T", "B"};

    const std::string west = page(stats, noNames, archetype, Calendar("America/Los_Angeles"));
    EXPECT_NE(west.find("<p class=\"eyebrow\">Dec 31, 2024 \u2014 Dec 31, 2025</p>"), std::string::npos);
    EXPECT_NE(west.find("<p class=\"card-foot\">murmora \u00B7 Dec 31, 2024 \u2014 Dec 31, 2025</p>"),
              std::string::npos);
    EXPECT_NE(west.find("<section class=\"slide\">\n"
                        "  <p class=\"eyebrow\">the day your phone didn't sleep</p>\n"
                        "  <h1 class=\"mega small-mega\">March 8</h1>\n"
                        "  <p class=\"big-sub\"><b>1,234 messages</b> in 24 hours.\n"
                        "  What even happened?</p>\n"
                        "</section>"),
              std::string::npos);

    const std::string east = page(stats, noNames, archetype, Calendar("Asia/Tokyo"));
    EXPECT_EQ(occurrences(east, "Jan 1, 2025 \u2014 Jan 1, 2026"), 2u);
    EXPECT_NE(east.find("<h1 class=\"mega small-mega\">March 9</h1>"), std::string::npos);
}

TEST(WrappedHTMLPageTest, TopContactsResolveAndEscapeNamesAndOnlyTheFirstRowIsMarked) {
    WrappedStats stats = empty();
    stats.peopleCount = 1'204;
    stats.topContacts = {{"+15550001", "Address Book Name", 4'321, 2'000, 2'321},
                         {"+15550002", "Tom's \"T\"", 12, 6, 6},
                         {"a@b.example", std::nullopt, 3, 1, 2}};
    const std::map<std::string, std::string> names{{"+15550001", "A&B <x>"}};
    const std::string html = page(stats, names);

    EXPECT_NE(html.find("<section class=\"slide\">\n"
                        "  <p class=\"eyebrow\">you texted <b>1,204 people</b></p>\n"
                        "  <h2>but these five<br>lived in your phone</h2>\n"
                        "  <ul class=\"bubbles\"><li class=\"bubble-row first\">\n"
                        "  <span class=\"rank\">1</span>\n"
                        "  <span class=\"bubble\">A&amp;B &lt;x&gt;</span>\n"
                        "  <span class=\"count\">4,321</span>\n"
                        "</li>\n"
                        "<li class=\"bubble-row\">\n"
                        "  <span class=\"rank\">2</span>\n"
                        "  <span class=\"bubble\">Tom's &quot;T&quot;</span>\n"
                        "  <span class=\"count\">12</span>\n"
                        "</li>\n"
                        "<li class=\"bubble-row\">\n"
                        "  <span class=\"rank\">3</span>\n"
                        "  <span class=\"bubble\">a@b.example</span>\n"
                        "  <span class=\"count\">3</span>\n"
                        "</li></ul>\n"
                        "</section>"),
              std::string::npos);
    EXPECT_EQ(html.find("Address Book Name"), std::string::npos);
    EXPECT_EQ(occurrences(html, " first\""), 1u);
}

TEST(WrappedHTMLPageTest, ReplySlideTruncatesTheInitiationShareAndKeepsItsLineWhenAbsent) {
    WrappedStats stats = empty();
    stats.myMedianReplySeconds = 150;
    stats.myInitiationRate = 0.29; // 0.29 * 100 is 28.999…
    EXPECT_NE(page(stats).find("<section class=\"slide\">\n"
                               "  <p class=\"eyebrow\">median reply time</p>\n"
                               "  <h1 class=\"mega small-mega accent\">3 minutes</h1>\n"
                               "  <p class=\"big-sub\">Quick thumbs. Reliable heart.</p>\n"
                               "  <p class=\"secondary\">And you start <b>28%</b> of the conversations.</p>\n"
                               "</section>"),
              std::string::npos);

    stats.myInitiationRate.reset();
    stats.myMedianReplySeconds = 12;
    EXPECT_NE(page(stats).find("  <h1 class=\"mega small-mega accent\">12 seconds</h1>\n"
                               "  <p class=\"big-sub\">You don't leave people hanging.</p>\n"
                               "  \n"
                               "</section>"),
              std::string::npos);
}

TEST(WrappedHTMLPageTest, HistogramScalesToItsTallestHourWithStubsAndAPeakLabel) {
    WrappedStats stats = empty();
    stats.medianLastTextMinute = 1410;
    stats.myHourlyHistogram = {0, 1'234, 3, 2'468};
    stats.peakHour = 3;
    const std::string html = page(stats);
    EXPECT_NE(html.find("<section class=\"slide\">\n"
                        "  <p class=\"eyebrow\">your last text of the day, typically</p>\n"
                        "  <h1 class=\"mega accent\">11:30 PM</h1>\n"
                        "  <p class=\"big-sub\">Night owl. Confirmed by the data.</p>\n"
                        "  <div class=\"histogram\" role=\"img\" aria-label=\"texts sent by hour of day\">"
                        "<div class=\"bar\" style=\"height:2%\" title=\"12am: 0 texts\"></div>"
                        "<div class=\"bar\" style=\"height:50%\" title=\"1am: 1234 texts\"></div>"
                        "<div class=\"bar\" style=\"height:2%\" title=\"2am: 3 texts\"></div>"
                        "<div class=\"bar peak\" style=\"height:100%\" title=\"3am: 2468 texts\">"
                        "<span class=\"bar-label\">3am</span></div></div>\n"
                        "  <p class=\"secondary chart-caption\">every text you sent, by hour</p>\n"
                        "</section>"),
              std::string::npos);

    // Percentages are cut, not rounded: 2/3 of the tallest is 66%.
    stats.myHourlyHistogram = {2, 3};
    stats.peakHour.reset();
    EXPECT_NE(
        page(stats).find("<div class=\"bar\" style=\"height:66%\" title=\"12am: 2 texts\"></div>"
                         "<div class=\"bar\" style=\"height:100%\" title=\"1am: 3 texts\"></div></div>"),
        std::string::npos);
}

TEST(WrappedHTMLPageTest, HistogramOfZerosIsAllStubsAndNeedsTheLastTextMinute) {
    WrappedStats stats = empty();
    stats.medianLastTextMinute = 600;
    stats.peakHour = 13;
    const std::string html = page(stats);
    EXPECT_EQ(occurrences(html, "<div class=\"bar"), 24u);
    EXPECT_EQ(occurrences(html, "style=\"height:2%\""), 24u);
    EXPECT_NE(html.find("<div class=\"bar peak\" style=\"height:2%\" title=\"1pm: 0 texts\">"
                        "<span class=\"bar-label\">1pm</span></div>"),
              std::string::npos);
    EXPECT_EQ(occurrences(html, "bar-label\">"), 1u);

    stats.myHourlyHistogram.clear();
    EXPECT_NE(page(stats).find("aria-label=\"texts sent by hour of day\"></div>\n"), std::string::npos);

    stats.medianLastTextMinute.reset();
    stats.myHourlyHistogram = std::vector<int>(24, 7);
    EXPECT_EQ(page(stats), page(empty()));
}

TEST(WrappedHTMLPageTest, LaughRowsSortByCountKeepTiesInOrderAndDropZeros) {
    WrappedStats stats = empty();
    stats.laughter = {3, 3, 0, 1};
    EXPECT_NE(page(stats).find("<section class=\"slide\">\n"
                               "  <p class=\"eyebrow\">official laugh audit</p>\n"
                               "  <h2>this is how<br>you laugh</h2>\n"
                               "  <ul class=\"laughs\">"
                               "<li><span class=\"laugh-label\">haha</span>\n"
                               "<span class=\"laugh-bar\"><span style=\"width:100%\"></span></span>\n"
                               "<span class=\"laugh-pct\">42%</span></li>\n"
                               "<li><span class=\"laugh-label\">HAHAHA</span>\n"
                               "<span class=\"laugh-bar\"><span style=\"width:100%\"></span></span>\n"
                               "<span class=\"laugh-pct\">42%</span></li>\n"
                               "<li><span class=\"laugh-label\">\xF0\x9F\x98\x82</span>\n"
                               "<span class=\"laugh-bar\"><span style=\"width:33%\"></span></span>\n"
                               "<span class=\"laugh-pct\">14%</span></li></ul>\n"
                               "</section>"),
              std::string::npos);
    EXPECT_EQ(page(stats).find(">lol<"), std::string::npos);

    stats.laughter = {1, 0, 5, 5};
    const std::string html = page(stats);
    const std::size_t lol = html.find(">lol<");
    const std::size_t emoji = html.find(">\xF0\x9F\x98\x82<");
    const std::size_t haha = html.find(">haha<");
    ASSERT_NE(haha, std::string::npos);
    EXPECT_LT(lol, emoji);
    EXPECT_LT(emoji, haha);
    EXPECT_EQ(html.find(">HAHAHA<"), std::string::npos);

    stats.laughter = {0, 0, 0, 0};
    EXPECT_EQ(page(stats), page(empty()));
    stats.laughter = {0, 0, 0, 1};
    EXPECT_NE(
        page(stats).find("width:100%\"></span></span>\n<span class=\"laugh-pct\">100%</span></li></ul>"),
        std::string::npos);
}

TEST(WrappedHTMLPageTest, ClingyCornerShowsWhicheverFactsExistDoubleTextFirst) {
    const std::map<std::string, std::string> names{{"+1", "Sam <3"}};
    const std::string doubleText = "<div class=\"fact\"><span class=\"fact-n\">1,002\u00D7</span>\n"
                                   "<span class=\"fact-t\">double-texted <b>Sam &lt;3</b>.\n"
                                   "They know you're keen.</span></div>";
    const std::string streak = "<div class=\"fact\"><span class=\"fact-n\">41 days</span>\n"
                               "<span class=\"fact-t\">straight talking to <b>R&amp;D</b>.\n"
                               "A streak Duolingo would envy.</span></div>";
    const std::string opening = "<section class=\"slide\">\n"
                                "  <p class=\"eyebrow\">the clingy corner</p>\n"
                                "  <h2>no judgment.<br>some judgment.</h2>\n  ";

    WrappedStats stats = empty();
    stats.doubleTextChampion = WrappedStats::ContactCount{"+1", "Ignored", 1'002};
    stats.longestStreak = WrappedStats::ContactCount{"+2", "R&D", 41};
    EXPECT_NE(page(stats, names).find(opening + doubleText + "\n" + streak + "\n</section>"),
              std::string::npos);

    WrappedStats onlyStreak = stats;
    onlyStreak.doubleTextChampion.reset();
    EXPECT_NE(page(onlyStreak, names).find(opening + streak + "\n</section>"), std::string::npos);

    WrappedStats onlyDouble = stats;
    onlyDouble.longestStreak.reset();
    EXPECT_NE(page(onlyDouble, names).find(opening + doubleText + "\n</section>"), std::string::npos);

    onlyDouble.doubleTextChampion.reset();
    EXPECT_EQ(page(onlyDouble, names), page(empty()));
}

TEST(WrappedHTMLPageTest, MedianTextDetailHoldsOnlyThePresentRates) {
    WrappedStats stats = empty();
    stats.myMedianLength = 20;
    const std::string opening = "<section class=\"slide\">\n"
                                "  <p class=\"eyebrow\">your median text is</p>\n"
                                "  <h1 class=\"mega accent\">20 chars</h1>\n"
                                "  <p class=\"big-sub\">Right-sized thoughts.</p>\n  ";
    EXPECT_NE(page(stats).find(opening + "\n</section>"), std::string::npos);

    stats.myQuestionRate = 0.0;
    EXPECT_NE(page(stats).find(opening + "<p class=\"secondary\"><b>0%</b> of your texts ask a question</p>\n"
                                         "</section>"),
              std::string::npos);

    stats.myEmojiRate = 0.999;
    EXPECT_NE(page(stats).find(opening + "<p class=\"secondary\"><b>0%</b> of your texts ask a question"
                                         " \u00B7 <b>99%</b> carry an emoji</p>\n</section>"),
              std::string::npos);

    stats.myQuestionRate.reset();
    EXPECT_NE(page(stats).find(opening + "<p class=\"secondary\"><b>99%</b> carry an emoji</p>\n</section>"),
              std::string::npos);
}

TEST(WrappedHTMLPageTest, ArchetypeCardEscapesItsTextAndIsLastWhenPresent) {
    WrappedStats stats = empty();
    stats.myMedianLength = 80;
    const Archetype archetype{"The <Essayist>", "You write \"letters\" & mean it. Don't stop."};
    const std::string html = page(stats, noNames, archetype);
    const std::string card =
        "<section class=\"slide\" id=\"archetype\">\n"
        "  <div class=\"card\">\n"
        "    <p class=\"eyebrow\">your texter archetype</p>\n"
        "    <h1 class=\"arch-title\">The &lt;Essayist&gt;</h1>\n"
        "    <p class=\"arch-body\">You write &quot;letters&quot; &amp; mean it. Don't "
        "stop.</p>\n"
        "    <p class=\"card-foot\">murmora \u00B7 Dec 31, 2024 \u2014 Dec 31, 2025</p>\n"
        "  </div>\n"
        "</section>";
    EXPECT_TRUE(html.ends_with("</section>\n" + card + "\n</body></html>"));
    EXPECT_EQ(page(stats).find("id=\"archetype\""), std::string::npos);
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
    const std::string expected = readFile(goldenFile);
    if (html != expected) {
        std::istringstream want(expected);
        std::istringstream got(html);
        std::string wantLine;
        std::string gotLine;
        for (int line = 1;; ++line) {
            const bool moreWanted = static_cast<bool>(std::getline(want, wantLine));
            const bool moreGot = static_cast<bool>(std::getline(got, gotLine));
            if (!moreWanted && !moreGot) {
                ADD_FAILURE() << "the page differs from " << goldenFile << " only in its final line feed";
                break;
            }
            if (moreWanted != moreGot || wantLine != gotLine) {
                ADD_FAILURE() << "the page differs from " << goldenFile << " first at line " << line
                              << "\n  expected: " << (moreWanted ? wantLine : "<end of file>")
                              << "\n  actual:   " << (moreGot ? gotLine : "<end of page>");
                break;
            }
        }
    }
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
