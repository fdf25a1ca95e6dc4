#include "Coach/CoachTools.h"
#include "DemoHomeGenerator.h"
#include "Measurement/MeasuredThread.h"
#include "MessageSources/ContactsDB.h"
#include "MessageSources/DatabaseCopier.h"
#include "MessageSources/MessageStore.h"
#include "TempDir.h"

#include <cstdlib>
#include <fstream>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <sstream>

using namespace dovrel;
using CoachTools::CorpusView;
using CoachTools::GroupStatus;
namespace fs = std::filesystem;

namespace {

const fs::path goldenFile = fs::path(__FILE__).parent_path() / "golden" / "coach-tools.txt";

template <typename T> std::shared_ptr<const T> shared(T value) {
    return std::make_shared<const T>(std::move(value));
}

// The demo home read and measured as a learn run does it, with its group chats loaded.
CorpusView demoView() {
    const TempDir home;
    demohome::DemoHomeOptions options;
    options.outDir = home.path();
    options.seed = 5;
    options.messages = 4000;
    options.nowUnixSeconds = 1'767'225'600; // 2026-01-01 00:00 UTC
    const demohome::DemoHomeResult written = demohome::generateDemoHome(options);

    const ReadingCopy copy = MessageStore::copyForReading(written.messagesDatabase);
    MessageStore store(copy.string());
    std::vector<ContactThread> threads = store.oneToOneThreads();
    std::vector<GroupThread> groups = store.groupThreads(25);
    std::vector<ContactCard> cards = ContactsDB(written.addressBook.string()).allCards();

    CorpusView view;
    view.calendar = Calendar("America/New_York");
    view.now = Date::fromUnix(static_cast<double>(*options.nowUnixSeconds));
    const DateInterval year{view.now - 365 * 86400.0, 365 * 86400.0};
    const std::vector<MeasuredThread> measured = measureThreads(threads, view.calendar, 2);
    WrappedStats stats = WrappedStats::compute(measured, year, view.calendar);
    std::vector<PersonInsights> people;
    for (const MeasuredThread& thread : measured) {
        if (auto person =
                PersonInsights::compute(thread, myAverageLength(measured), stats.myMedianReplySeconds)) {
            people.push_back(std::move(*person));
        }
    }
    PersonInsights::sortByMessages(people);
    std::map<std::string, std::string> names;
    std::unordered_map<std::string, ContactThread> byHandle;
    for (ContactThread& thread : threads) {
        for (const ContactCard& card : cards) {
            if (card.matchesHandle(thread.handleID)) {
                names.emplace(thread.handleID, card.fullName);
                break;
            }
        }
        byHandle.emplace(thread.handleID, std::move(thread));
    }
    view.people = shared(std::move(people));
    view.threads = shared(std::move(byHandle));
    view.names = shared(std::move(names));
    view.stats = shared(std::move(stats));
    view.groups = shared(std::move(groups));
    view.groupStatus = GroupStatus::loaded;
    return view;
}

CoachTools::Output run(const CorpusView& view, const std::string& tool, const nlohmann::json& input,
                       const std::optional<PersonInsights>& focused = std::nullopt) {
    return CoachTools::run(view, Agent::ToolUse{"t", tool, input.dump()}, focused);
}

RawMessage message(const Calendar& calendar, int year, int month, bool fromMe, std::string text) {
    return RawMessage{calendar.date(year, month, 10, 12), fromMe, std::move(text), true};
}

PersonInsights person(const std::string& handle, int messages) {
    PersonInsights out;
    out.handleID = handle;
    out.report.sentCount = messages;
    return out;
}

} // namespace

// Every tool once over the demo home, against a reviewed file: what the user's status line and the model's
// text say. MURMORA_UPDATE_GOLDEN=1 writes the file instead.
TEST(CoachToolsTest, EveryToolOverTheDemoHome) {
    const CorpusView view = demoView();
    ASSERT_GE(view.people->size(), 2u);
    ASSERT_FALSE(view.groups->empty());
    const std::string first = view.name(view.people->at(0).handleID, view.people->at(0).displayName);
    const std::string second = view.name(view.people->at(1).handleID, view.people->at(1).displayName);
    const std::string group = view.groupName(view.groups->front());
    using Json = nlohmann::json;
    const std::vector<std::pair<std::string, Json>> calls{
        {"search", {{"terms", "dinner|drinks| tonight "}, {"from", "me"}, {"limit", 5}}},
        {"search", {{"terms", "lol"}, {"group", group}, {"limit", 3}}},
        {"count", {{"terms", "love|miss"}, {"start", "2025-03-01"}, {"end", "2025-10-31"}}},
        {"sample", {{"person", first}, {"limit", 3}}},
        {"sample", {{"group", group}, {"limit", 3}}},
        {"timeline", {{"person", second}}},
        {"window", {{"person", first}, {"around", "2025-11-15"}, {"limit", 4}}},
        {"window", {{"group", group}, {"around", "2025-11-15"}, {"limit", 3}}},
        {"person_stats", {{"person", first}}},
        {"compare", {{"person", first}, {"person2", second}}},
        {"overview", Json::object()},
        {"unanswered", Json::object()},
        {"groups", Json::object()},
        {"group_stats", {{"group", group}}},
    };
    std::ostringstream actual;
    for (const auto& [tool, input] : calls) {
        const CoachTools::Output output = run(view, tool, input);
        actual << "## " << tool << " " << input.dump() << "\n"
               << output.status << "\n"
               << output.result << "\n\n";
    }

    if (const char* update = std::getenv("MURMORA_UPDATE_GOLDEN"); update && std::string(update) == "1") {
        std::ofstream(goldenFile, std::ios::binary) << actual.str();
        GTEST_SKIP() << "wrote " << goldenFile;
    }
    std::ifstream in(goldenFile, std::ios::binary);
    ASSERT_TRUE(in) << "no golden file at " << goldenFile << "; run with MURMORA_UPDATE_GOLDEN=1 to write it";
    const std::string expected((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    EXPECT_EQ(actual.str(), expected);
}

// Name resolution and the focus: a short name finds the person with the most messages among those whose
// names hold it; searches ignore the focus while one-person tools fall back to it.
TEST(CoachToolsTest, NamesResolveByMessagesAndTheFocusOnlyServesOnePersonTools) {
    const Calendar utc("UTC");
    CorpusView view;
    view.calendar = utc;
    view.now = utc.date(2026, 1, 1);
    view.people =
        shared(std::vector<PersonInsights>{person("+1", 300), person("+2", 200), person("+3", 100)});
    view.names = shared(std::map<std::string, std::string>{{"+1", "Joanna Reyes"}, {"+2", "Anna Bell"}});
    std::unordered_map<std::string, ContactThread> threads;
    threads["+1"] = {"+1", std::nullopt, {message(utc, 2025, 5, false, "dinner at 8?")}};
    threads["+2"] = {"+2", std::nullopt, {message(utc, 2025, 6, false, "Dinner was great")}};
    threads["+3"] = {"+3", std::nullopt, {message(utc, 2025, 7, true, "no match here")}};
    view.threads = shared(std::move(threads));

    EXPECT_EQ(view.findPerson("ANN")->handleID, "+1"); // "Joanna" has more messages than "Anna"
    EXPECT_EQ(view.findPerson("bell")->handleID, "+2");
    EXPECT_EQ(view.findPerson("+3")->handleID, "+3"); // no name: the handle itself
    EXPECT_EQ(view.findPerson("nobody"), nullptr);
    EXPECT_EQ(view.threadsFor("nobody").size(), 3u);

    const std::optional<PersonInsights> focus = view.people->at(1);
    EXPECT_EQ(run(view, "search", {{"terms", "dinner"}}, focus).status,
              "Searched your texts for \u201Cdinner\u201D \u2014 2 matches sent securely.");
    EXPECT_EQ(run(view, "person_stats", nlohmann::json::object(), focus).status,
              "Pulled your stats with Anna Bell.");
    EXPECT_EQ(run(view, "compare", {{"person2", "bell"}}, focus).result, "Couldn't find both of ? and bell.");
}

TEST(CoachToolsTest, TimelineShowsTheLastEighteenMonths) {
    const Calendar utc("UTC");
    CorpusView view;
    view.calendar = utc;
    PersonInsights sam = person("+1", 24);
    sam.displayName = "Sam";
    view.people = shared(std::vector<PersonInsights>{sam});
    std::vector<RawMessage> messages;
    for (int month = 0; month < 24; ++month) {
        messages.push_back(message(utc, 2024 + month / 12, month % 12 + 1, month % 2 == 0, "hi"));
    }
    view.threads = shared(std::unordered_map<std::string, ContactThread>{{"+1", {"+1", "Sam", messages}}});
    const CoachTools::Output output = run(view, "timeline", {{"person", "sam"}});
    std::vector<std::string> lines;
    std::istringstream in(output.result);
    for (std::string line; std::getline(in, line);) {
        lines.push_back(line);
    }
    ASSERT_EQ(lines.size(), 18u);
    EXPECT_EQ(lines.front().substr(0, 9), "2024-07: ");
    EXPECT_EQ(lines.back().substr(0, 9), "2025-12: ");
    ASSERT_TRUE(output.computedTrends);
    EXPECT_EQ(output.computedTrends->second.size(), 24u); // all months kept, only the text is cut
}

// Misses are answers: days that do not exist, years no calendar holds, group chats that could not be read.
TEST(CoachToolsTest, MissesAnswerTheModelInWords) {
    CorpusView view;
    view.people = shared(std::vector<PersonInsights>{person("+1", 1)});
    view.threads = shared(std::unordered_map<std::string, ContactThread>{
        {"+1", {"+1", "Sam", {RawMessage{Date{0}, true, "hi", true}}}}});
    const struct {
        std::string tool;
        nlohmann::json input;
        GroupStatus groups;
        std::string status;
        std::string result;
    } cases[] = {
        {"search",
         {{"terms", "hi"}, {"start", "2026-02-30"}},
         GroupStatus::loaded,
         "Tool skipped.",
         "Malformed tool input."},
        {"count",
         {{"terms", "hi"}, {"end", "2025-13-45"}},
         GroupStatus::loaded,
         "Tool skipped.",
         "Malformed tool input."},
        {"window",
         {{"person", "sam"}, {"around", "3000000-01-01"}},
         GroupStatus::loaded,
         "Opened a conversation window.",
         "Need \"around\" as YYYY-MM-DD."},
        {"search",
         {{"terms", "hi"}, {"limit", "5"}},
         GroupStatus::loaded,
         "Tool skipped.",
         "Malformed tool input."},
        {"nap", nlohmann::json::object(), GroupStatus::loaded, "Tool skipped.", "Unknown tool nap."},
        {"groups", nlohmann::json::object(), GroupStatus::loading, "Reading your group chats\u2026",
         "Group data is still loading \u2014 call this tool again."},
        {"groups", nlohmann::json::object(), GroupStatus::unavailable, "Pulled your group chats.",
         "No group chats with enough history."},
        {"group_stats",
         {{"group", "Roommates"}},
         GroupStatus::unavailable,
         "Looked up a group.",
         "No group found matching Roommates."},
        {"sample",
         {{"group", "Roommates"}},
         GroupStatus::loading,
         "Reading your group chats\u2026",
         "Group data is still loading \u2014 call this tool again."},
    };
    for (const auto& c : cases) {
        view.groupStatus = c.groups;
        const CoachTools::Output output = run(view, c.tool, c.input);
        EXPECT_EQ(output.status, c.status) << c.tool << " " << c.input.dump();
        EXPECT_EQ(output.result, c.result) << c.tool << " " << c.input.dump();
    }
    EXPECT_TRUE(CoachTools::readsGroups("groups", false));
    EXPECT_TRUE(CoachTools::readsGroups("search", true));
    EXPECT_FALSE(CoachTools::readsGroups("count", true)); // count has no group branch
    EXPECT_FALSE(CoachTools::readsGroups("nap", true));
}
