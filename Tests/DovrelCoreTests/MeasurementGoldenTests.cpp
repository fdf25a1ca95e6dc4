#include "DemoHomeGenerator.h"
#include "Measurement/LocalArchetype.h"
#include "Measurement/PersonInsights.h"
#include "Measurement/WrappedStats.h"
#include "MessageSources/DatabaseCopier.h"
#include "MessageSources/MessageStore.h"
#include "TempDir.h"

#include <cstdlib>
#include <fstream>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <sstream>

using namespace dovrel;
namespace fs = std::filesystem;

namespace {

const fs::path goldenFile = fs::path(MURMORA_TEST_SOURCE_DIR) / "golden" / "demo-home-measurement.json";

std::vector<std::string> lines(const std::string& text) {
    std::vector<std::string> out;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) {
        out.push_back(line);
    }
    return out;
}

// One hunk from the first to the last differing line, with a little context, marked like a unified diff.
std::string difference(const std::string& expected, const std::string& actual) {
    const std::vector<std::string> want = lines(expected);
    const std::vector<std::string> got = lines(actual);
    std::size_t head = 0;
    while (head < want.size() && head < got.size() && want[head] == got[head]) {
        ++head;
    }
    std::size_t tail = 0;
    while (tail < want.size() - head && tail < got.size() - head &&
           want[want.size() - 1 - tail] == got[got.size() - 1 - tail]) {
        ++tail;
    }
    constexpr std::size_t context = 3;
    constexpr std::size_t most = 40;
    std::ostringstream out;
    out << "@@ -" << head + 1 << "," << want.size() - head - tail << " +" << head + 1 << ","
        << got.size() - head - tail << " @@\n";
    for (std::size_t i = head >= context ? head - context : 0; i < head; ++i) {
        out << "  " << want[i] << "\n";
    }
    for (std::size_t i = head; i < want.size() - tail && i < head + most; ++i) {
        out << "- " << want[i] << "\n";
    }
    for (std::size_t i = head; i < got.size() - tail && i < head + most; ++i) {
        out << "+ " << got[i] << "\n";
    }
    for (std::size_t i = want.size() - tail; i < want.size() && i < want.size() - tail + context; ++i) {
        out << "  " << want[i] << "\n";
    }
    return out.str();
}

} // namespace

// The whole measurement of the demo home, as the learning pipeline runs it (statistics over the last 365
// days, the length baseline over all history, one record per person, most messages first), against a
// reviewed file. MURMORA_UPDATE_GOLDEN=1 writes the file instead.
TEST(MeasurementGoldenTest, DemoHome) {
    const TempDir home;
    demohome::DemoHomeOptions options;
    options.outDir = home.path();
    options.seed = 42;
    options.nowUnixSeconds = 1'767'225'600; // 2026-01-01 00:00 UTC
    demohome::generateDemoHome(options);

    const ReadingCopy copy = MessageStore::copyForReading(demohome::messagesDatabasePath(home.path()));
    MessageStore store(copy.string());
    const std::vector<ContactThread> threads = store.oneToOneThreads();
    // The reader walks messages in date order; a plan that sorts them costs a spill to disk on a long
    // history.
    for (const SQLRow& step : store.db().query("EXPLAIN QUERY PLAN " + MessageStore::oneToOneStatement())) {
        EXPECT_EQ(step.string("detail").value_or("").find("TEMP B-TREE"), std::string::npos)
            << *step.string("detail");
    }
    ASSERT_FALSE(threads.empty());

    const Calendar calendar("America/New_York");
    const Date now = Date::fromUnix(static_cast<double>(*options.nowUnixSeconds));
    const DateInterval period{now - 365 * 86400.0, 365 * 86400.0};

    const std::vector<MeasuredThread> measured = measureThreads(threads, calendar, 2);
    const WrappedStats stats = WrappedStats::compute(measured, period, calendar);
    const std::optional<double> baseline = myAverageLength(measured);
    std::vector<PersonInsights> people;
    for (const MeasuredThread& thread : measured) {
        if (auto person = PersonInsights::compute(thread, baseline, stats.myMedianReplySeconds)) {
            people.push_back(std::move(*person));
        }
    }
    PersonInsights::sortByMessages(people);

    // The shared work must not change a number: the plain entry points agree on real data.
    EXPECT_EQ(WrappedStats::compute(threads, period, calendar), stats);
    for (std::size_t i = 0; i < threads.size(); ++i) {
        const auto alone =
            PersonInsights::compute(threads[i], baseline, stats.myMedianReplySeconds, calendar);
        const auto it = std::find_if(people.begin(), people.end(), [&](const PersonInsights& p) {
            return p.handleID == threads[i].handleID;
        });
        EXPECT_EQ(alone.has_value(), it != people.end());
        if (alone && it != people.end()) {
            EXPECT_EQ(*alone, *it);
        }
    }

    nlohmann::json document;
    document["stats"] = stats;
    document["people"] = people;
    // Derived text, for the reviewer's eye: what the screens and the recap would say.
    const Archetype archetype = LocalArchetype::name(stats);
    document["archetype"] = {{"title", archetype.title}, {"body", archetype.body}};
    nlohmann::json headlines = nlohmann::json::object();
    for (const PersonInsights& person : people) {
        if (auto line = person.headline(person.displayName.value_or(person.handleID))) {
            headlines[person.handleID] = *line;
        }
    }
    document["headlines"] = headlines;
    const std::string actual = document.dump(2) + "\n";

    if (const char* update = std::getenv("MURMORA_UPDATE_GOLDEN"); update && std::string(update) == "1") {
        fs::create_directories(goldenFile.parent_path());
        std::ofstream(goldenFile, std::ios::binary) << actual;
        GTEST_SKIP() << "wrote " << goldenFile;
    }
    std::ifstream in(goldenFile, std::ios::binary);
    ASSERT_TRUE(in) << "no golden file at " << goldenFile << "; run with MURMORA_UPDATE_GOLDEN=1 to write it";
    const std::string expected((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    if (expected != actual) {
        const fs::path written = fs::current_path() / "demo-home-measurement.actual.json";
        std::ofstream(written, std::ios::binary) << actual;
        ADD_FAILURE() << difference(expected, actual) << "actual output written to " << written;
    }
}
