#include "Format/Format.h"
#include "Output/LaughRows.h"
#include "Output/WrappedHTML.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <string_view>
#include <vector>

namespace dovrel::WrappedHTML {

namespace {

// Everything before the first section. The stylesheet is the whole look of the page: no script, no
// images, nothing fetched.
constexpr std::string_view headLiteral = R"html(<!DOCTYPE html>
<html lang="en"><head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1">
<title>murmora</title>
<style>
/* The app's card language (CardStyle): white surface, SF Pro, one
   accent, chip fills, no borders. Fixed light — this page is a
   screenshot-able share artifact. */
:root {
  --surface: #FFFFFF; --ink: #1B1D22; --secondary: #6F7580;
  --accent: #0A84FF; --chip: #F1F2F4;
}
* { margin: 0; box-sizing: border-box; }
html { scroll-snap-type: y mandatory; }
body {
  background: var(--surface); color: var(--ink);
  font-family: -apple-system, BlinkMacSystemFont, "SF Pro Text", "Helvetica Neue", sans-serif;
  overflow-x: hidden; -webkit-font-smoothing: antialiased;
}
.slide {
  min-height: 100vh; scroll-snap-align: start;
  display: flex; flex-direction: column; justify-content: center;
  padding: 8vh min(8vw, 64px); position: relative; max-width: 720px; margin: 0 auto;
}
.slide::before {
  content: "iMessage Wrapped · by Murmora"; position: absolute;
  bottom: 3vh; left: 0; right: 0;
  text-align: center; color: var(--secondary); opacity: .7;
  font-size: 12px; line-height: 1;
}
.eyebrow {
  font-size: 14px; color: var(--secondary);
  margin-bottom: 2.5vh; animation: rise .55s ease-out both;
}
.eyebrow b { color: var(--ink); font-weight: 600; }
.mega {
  font-weight: 700;
  font-size: clamp(56px, 12vw, 120px); line-height: 1;
  letter-spacing: -.015em; font-variant-numeric: tabular-nums;
  animation: rise .55s .1s ease-out both;
}
.small-mega { font-size: clamp(44px, 9vw, 92px); }
.accent { color: var(--accent); }
h2 {
  font-weight: 700;
  font-size: clamp(34px, 6vw, 56px); line-height: 1.05;
  letter-spacing: -.015em;
  margin-bottom: 4vh; animation: rise .55s .1s ease-out both;
}
.big-sub { font-size: clamp(17px, 2.4vw, 22px); color: var(--ink);
  margin-top: 2vh; max-width: 32ch; animation: rise .55s .2s ease-out both; }
.big-sub b, .fact-t b { font-weight: 600; }
.secondary { color: var(--secondary); margin-top: 1.5vh; font-size: 15px;
  animation: rise .55s .28s ease-out both; }
.secondary b { color: var(--ink); font-weight: 600; }
.hint { position: absolute; bottom: 8vh; color: var(--secondary);
  font-size: 13px; animation: pulse 2s ease infinite; }
.bubbles { list-style: none; background: var(--chip); border-radius: 16px;
  overflow: hidden; animation: rise .55s .15s ease-out both; }
.bubble-row { display: flex; align-items: center; gap: 14px;
  padding: 13px 16px; }
.bubble-row + .bubble-row { border-top: 1px solid rgba(27, 29, 34, 0.06); }
.rank { font-size: 14px; font-weight: 600; color: var(--secondary);
  width: 1.5ch; font-variant-numeric: tabular-nums; }
.bubble { font-size: clamp(17px, 2.2vw, 20px); font-weight: 500; }
.first .bubble { font-weight: 700; color: var(--accent); }
.count { margin-left: auto; font-size: 15px; font-weight: 500;
  color: var(--secondary); font-variant-numeric: tabular-nums; }
.histogram { display: flex; align-items: flex-end; gap: 3px;
  height: 18vh; margin-top: 5vh; animation: rise .55s .25s ease-out both; }
.bar { flex: 1; background: rgba(10, 132, 255, 0.3); border-radius: 3px 3px 0 0;
  min-height: 3px; position: relative; transition: filter .15s; }
.bar:hover { filter: brightness(1.15); }
.bar.peak { background: var(--accent); }
.bar-label { position: absolute; top: -22px; left: 50%; transform: translateX(-50%);
  font-size: 11px; font-weight: 600; color: var(--accent); white-space: nowrap;
  font-variant-numeric: tabular-nums; }
.chart-caption { font-size: 13px; }
.laughs { list-style: none; display: flex; flex-direction: column; gap: 18px;
  animation: rise .55s .2s ease-out both; }
.laughs li { display: grid; grid-template-columns: 6.5ch 1fr 4ch;
  align-items: center; gap: 16px; }
.laugh-label { font-size: clamp(17px, 2.4vw, 22px); font-weight: 600; }
.laugh-bar { height: 12px; }
.laugh-bar span { display: block; height: 100%;
  background: rgba(10, 132, 255, 0.3); border-radius: 5px; }
.laughs li:first-child .laugh-bar span { background: var(--accent); }
.laugh-pct { font-size: 15px; font-weight: 600; color: var(--secondary);
  text-align: right; font-variant-numeric: tabular-nums; }
.fact { display: flex; flex-direction: column; gap: .5vh; margin-top: 4vh;
  animation: rise .55s .2s ease-out both; }
.fact-n {
  font-weight: 700; color: var(--ink);
  font-size: clamp(36px, 6vw, 64px); line-height: 1.05;
  letter-spacing: -.015em; font-variant-numeric: tabular-nums;
}
.fact-t { font-size: clamp(16px, 2.2vw, 20px); max-width: 36ch; color: var(--ink); }
.card {
  background: var(--chip); border-radius: 24px;
  padding: 6vh min(6vw, 44px); animation: rise .6s ease-out both;
}
.arch-title {
  font-weight: 700; color: var(--ink);
  font-size: clamp(36px, 6.5vw, 68px); line-height: 1.05;
  letter-spacing: -.015em; margin: 1.5vh 0 2.5vh;
}
.arch-body { font-size: clamp(16px, 2.2vw, 20px); line-height: 1.5;
  max-width: 44ch; color: var(--ink); }
.card-foot { margin-top: 5vh; color: var(--secondary); font-size: 12px; }
@keyframes rise { from { opacity: 0; transform: translateY(14px); } to { opacity: 1; } }
@keyframes pulse { 0%,100% { opacity: .45 } 50% { opacity: 1 } }
@media (prefers-reduced-motion: reduce) { * { animation: none !important; } }
</style></head><body>
)html";

// A share of a count as a whole percentage, cut towards zero; 0 when there is nothing to share.
int percentOf(int part, int whole) {
    const double share = static_cast<double>(part) / static_cast<double>(whole);
    return static_cast<int>(Format::truncated(share * 100).value_or(0));
}

template <typename Contact>
std::string resolvedName(const Contact& contact, const std::map<std::string, std::string>& names) {
    if (const auto found = names.find(contact.handleID); found != names.end()) {
        return found->second;
    }
    return contact.displayName.value_or(contact.handleID);
}

std::string joined(const std::vector<std::string>& parts, std::string_view separator) {
    std::string out;
    for (std::size_t i = 0; i < parts.size(); ++i) {
        if (i > 0) {
            out += separator;
        }
        out += parts[i];
    }
    return out;
}

std::string cover(const WrappedStats& stats, const std::string& dateRange) {
    return "<section class=\"slide cover\">\n  <p class=\"eyebrow\">" + escape(dateRange) +
           "</p>\n  <h1 class=\"mega\">" + thousands(stats.totalMessages) +
           "</h1>\n  <p class=\"big-sub\">texts. One thumb. No regrets.</p>\n  <p class=\"hint\">scroll "
           "\u2193</p>\n</section>";
}

std::string topFive(const WrappedStats& stats, const std::map<std::string, std::string>& names) {
    std::vector<std::string> rows;
    for (std::size_t i = 0; i < stats.topContacts.size(); ++i) {
        const WrappedStats::TopContact& contact = stats.topContacts[i];
        rows.push_back("<li class=\"bubble-row" + std::string(i == 0 ? " first" : "") +
                       "\">\n  <span class=\"rank\">" + std::to_string(i + 1) +
                       "</span>\n  <span class=\"bubble\">" + escape(resolvedName(contact, names)) +
                       "</span>\n  <span class=\"count\">" + thousands(contact.count) + "</span>\n</li>");
    }
    return "<section class=\"slide\">\n  <p class=\"eyebrow\">you texted <b>" + thousands(stats.peopleCount) +
           " people</b></p>\n  <h2>but these five<br>lived in your phone</h2>\n  <ul class=\"bubbles\">" +
           joined(rows, "\n") + "</ul>\n</section>";
}

std::string busiestDay(const WrappedStats::DayCount& day, const Calendar& calendar) {
    return "<section class=\"slide\">\n  <p class=\"eyebrow\">the day your phone didn't sleep</p>\n  <h1 "
           "class=\"mega small-mega\">" +
           escape(calendar.format(day.date, "MMMM d", "en_US")) + "</h1>\n  <p class=\"big-sub\"><b>" +
           thousands(day.count) + " messages</b> in 24 hours.\n  What even happened?</p>\n</section>";
}

std::string replyTime(double seconds, std::optional<double> initiationRate) {
    std::string initiation;
    if (initiationRate) {
        initiation = "<p class=\"secondary\">And you start <b>" + Format::percent(*initiationRate) +
                     "%</b> of the conversations.</p>";
    }
    return "<section class=\"slide\">\n  <p class=\"eyebrow\">median reply time</p>\n  <h1 class=\"mega "
           "small-mega accent\">" +
           escape(replySpeed(seconds)) + "</h1>\n  <p class=\"big-sub\">" + escape(replyLine(seconds)) +
           "</p>\n  " + initiation + "\n</section>";
}

std::string histogramBars(const std::vector<int>& histogram, std::optional<int> peakHour) {
    int maxCount = 1;
    for (const int count : histogram) {
        maxCount = std::max(maxCount, count);
    }
    std::string bars;
    for (std::size_t index = 0; index < histogram.size(); ++index) {
        const int hour = static_cast<int>(index);
        const int count = histogram[index];
        const int height = std::max(percentOf(count, maxCount), 2);
        const bool peak = peakHour == hour;
        bars += "<div class=\"bar" + std::string(peak ? " peak" : "") +
                "\" style=\"height:" + std::to_string(height) + "%\" title=\"" + hourLabel(hour) + ": " +
                std::to_string(count) + " texts\">";
        if (peak) {
            bars += "<span class=\"bar-label\">" + hourLabel(hour) + "</span>";
        }
        bars += "</div>";
    }
    return bars;
}

std::string lastText(int minuteOfDay, const WrappedStats& stats) {
    return "<section class=\"slide\">\n  <p class=\"eyebrow\">your last text of the day, typically</p>\n  "
           "<h1 "
           "class=\"mega accent\">" +
           clockTime(minuteOfDay) + "</h1>\n  <p class=\"big-sub\">" + escape(nightLine(minuteOfDay)) +
           "</p>\n  <div class=\"histogram\" role=\"img\" aria-label=\"texts sent by hour of day\">" +
           histogramBars(stats.myHourlyHistogram, stats.peakHour) +
           "</div>\n  <p class=\"secondary chart-caption\">every text you sent, by hour</p>\n</section>";
}

std::string laughAudit(const LaughterProfile& laughter) {
    std::vector<std::string> rows;
    for (const LaughRow& laugh : laughRows(laughter)) {
        rows.push_back("<li><span class=\"laugh-label\">" + escape(laugh.label) +
                       "</span>\n<span class=\"laugh-bar\"><span style=\"width:" +
                       std::to_string(laugh.percentOfTop) + "%\"></span></span>\n<span class=\"laugh-pct\">" +
                       std::to_string(laugh.percentOfAll) + "%</span></li>");
    }
    return "<section class=\"slide\">\n  <p class=\"eyebrow\">official laugh audit</p>\n  <h2>this is "
           "how<br>you "
           "laugh</h2>\n  <ul class=\"laughs\">" +
           joined(rows, "\n") + "</ul>\n</section>";
}

std::string clingyCorner(const WrappedStats& stats, const std::map<std::string, std::string>& names) {
    std::vector<std::string> facts;
    if (const auto& champion = stats.doubleTextChampion) {
        facts.push_back("<div class=\"fact\"><span class=\"fact-n\">" + thousands(champion->count) +
                        "\u00D7</span>\n<span class=\"fact-t\">double-texted <b>" +
                        escape(resolvedName(*champion, names)) +
                        "</b>.\nThey know you're keen.</span></div>");
    }
    if (const auto& streak = stats.longestStreak) {
        facts.push_back("<div class=\"fact\"><span class=\"fact-n\">" + thousands(streak->count) +
                        " days</span>\n<span class=\"fact-t\">straight talking to <b>" +
                        escape(resolvedName(*streak, names)) +
                        "</b>.\nA streak Duolingo would envy.</span></div>");
    }
    return "<section class=\"slide\">\n  <p class=\"eyebrow\">the clingy corner</p>\n  <h2>no "
           "judgment.<br>some "
           "judgment.</h2>\n  " +
           joined(facts, "\n") + "\n</section>";
}

std::string medianText(int length, const WrappedStats& stats) {
    std::vector<std::string> parts;
    if (stats.myQuestionRate) {
        parts.push_back("<b>" + Format::percent(*stats.myQuestionRate) +
                        "%</b> of your texts ask a question");
    }
    if (stats.myEmojiRate) {
        parts.push_back("<b>" + Format::percent(*stats.myEmojiRate) + "%</b> carry an emoji");
    }
    const std::string detail =
        parts.empty() ? std::string() : "<p class=\"secondary\">" + joined(parts, " \u00B7 ") + "</p>";
    return "<section class=\"slide\">\n  <p class=\"eyebrow\">your median text is</p>\n  <h1 class=\"mega "
           "accent\">" +
           std::to_string(length) + " chars</h1>\n  <p class=\"big-sub\">" + escape(lengthLine(length)) +
           "</p>\n  " + detail + "\n</section>";
}

std::string archetypeCard(const Archetype& archetype, const std::string& dateRange) {
    return "<section class=\"slide\" id=\"archetype\">\n  <div class=\"card\">\n    <p "
           "class=\"eyebrow\">your "
           "texter archetype</p>\n    <h1 class=\"arch-title\">" +
           escape(archetype.title) + "</h1>\n    <p class=\"arch-body\">" + escape(archetype.body) +
           "</p>\n    <p class=\"card-foot\">murmora \u00B7 " + escape(dateRange) +
           "</p>\n  </div>\n</section>";
}

} // namespace

std::string render(const WrappedStats& stats, const std::map<std::string, std::string>& names,
                   const std::optional<Archetype>& archetype, const Calendar& calendar) {
    const std::string dateRange = calendar.format(stats.interval.start, "MMM d, yyyy", "en_US") + " \u2014 " +
                                  calendar.format(stats.interval.end(), "MMM d, yyyy", "en_US");

    std::vector<std::string> sections;
    sections.push_back(cover(stats, dateRange));
    if (!stats.topContacts.empty()) {
        sections.push_back(topFive(stats, names));
    }
    if (stats.busiestDay) {
        sections.push_back(busiestDay(*stats.busiestDay, calendar));
    }
    if (stats.myMedianReplySeconds) {
        sections.push_back(replyTime(*stats.myMedianReplySeconds, stats.myInitiationRate));
    }
    if (stats.medianLastTextMinute) {
        sections.push_back(lastText(*stats.medianLastTextMinute, stats));
    }
    if (stats.laughter.total() >= 1) {
        sections.push_back(laughAudit(stats.laughter));
    }
    if (stats.doubleTextChampion || stats.longestStreak) {
        sections.push_back(clingyCorner(stats, names));
    }
    if (stats.myMedianLength) {
        sections.push_back(medianText(*stats.myMedianLength, stats));
    }
    if (archetype) {
        sections.push_back(archetypeCard(*archetype, dateRange));
    }
    return std::string(headLiteral) + joined(sections, "\n") + "\n</body></html>";
}

} // namespace dovrel::WrappedHTML
