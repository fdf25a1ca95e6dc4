// Times the on-demand insights on a home folder's one-to-one threads: the monthly trends of the busiest
// person (most messages), the month grouping alone for the same thread, and the proactive insights over the
// whole home, with the people ordered by message count as the application orders them. Each is the best of
// --repeat runs; the texts given to the sentiment model are counted on the last run.
//
//   insights-bench HOME [--repeat N]
#include "Measurement/Proactive.h"
#include "Measurement/Trends.h"
#include "MessageSources/DatabaseCopier.h"
#include "MessageSources/MessageStore.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <nlohmann/json.hpp>
#include <string>
#include <unordered_map>

namespace {

using namespace dovrel;
using Clock = std::chrono::steady_clock;

double millisecondsSince(Clock::time_point start) {
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

volatile std::size_t sink = 0;

} // namespace

int main(int argc, char* argv[]) {
    if (argc < 2) {
        std::cerr << "usage: insights-bench HOME [--repeat N]\n";
        return 64;
    }
    const std::filesystem::path home = argv[1];
    int repeat = 3;
    if (argc >= 4 && std::string(argv[2]) == "--repeat") {
        repeat = std::max(1, std::atoi(argv[3]));
    }

    try {
        const nlohmann::json summary = nlohmann::json::parse(std::ifstream(home / "summary.json"));
        const Date now{summary.at("now").get<double>()};

        const ReadingCopy copy = MessageStore::copyForReading(home / "Library" / "Messages" / "chat.db");
        const std::vector<ContactThread> threads = MessageStore(copy.string()).oneToOneThreads();
        if (threads.empty()) {
            std::cerr << "insights-bench: no one-to-one threads\n";
            return 1;
        }

        std::vector<const ContactThread*> byCount;
        for (const ContactThread& thread : threads) {
            byCount.push_back(&thread);
        }
        std::stable_sort(byCount.begin(), byCount.end(), [](const ContactThread* a, const ContactThread* b) {
            return a->messages.size() > b->messages.size();
        });
        std::vector<std::string> topHandles;
        std::unordered_map<std::string, std::string> names;
        for (const ContactThread* thread : byCount) {
            topHandles.push_back(thread->handleID);
            names.emplace(thread->handleID, thread->displayName.value_or(thread->handleID));
        }
        const Proactive::NameResolver resolveName = [&](const std::string& handle) {
            const auto found = names.find(handle);
            return found == names.end() ? handle : found->second;
        };

        const Calendar calendar("America/New_York");
        std::size_t scored = 0;
        const Sentiment::Scorer counting = [&](std::string_view text) {
            ++scored;
            return Sentiment::score(text);
        };
        const auto bestOf = [&](auto&& pass) {
            double best = 1e300;
            for (int r = 0; r < repeat; ++r) {
                scored = 0;
                const auto start = Clock::now();
                pass();
                best = std::min(best, millisecondsSince(start));
            }
            return best;
        };

        const ContactThread& busiest = *byCount.front();
        std::size_t months = 0;
        const double trends = bestOf([&] {
            const auto points = Trends::monthly(busiest.messages, calendar, counting);
            months = points.size();
        });
        const std::size_t trendsScored = scored;
        const double grouping =
            bestOf([&] { sink = sink + Trends::groupByMonth(busiest.messages, calendar).size(); });

        std::vector<Proactive::Insight> insights;
        const double proactive = bestOf(
            [&] { insights = Proactive::detect(threads, topHandles, resolveName, calendar, now, counting); });
        const std::size_t proactiveScored = scored;

        std::printf(
            "trends busiest (%zu msgs, %zu months): %.2f ms, %zu texts scored (grouping alone %.2f ms)\n",
            busiest.messages.size(), months, trends, trendsScored, grouping);
        std::printf("proactive (%zu threads): %.2f ms, %zu texts scored\n", threads.size(), proactive,
                    proactiveScored);
        for (const Proactive::Insight& insight : insights) {
            std::printf("  %s: %s\n", std::string(Proactive::Insight::rawValue(insight.kind)).c_str(),
                        insight.text.c_str());
        }
    } catch (const std::exception& error) {
        std::cerr << "insights-bench: " << error.what() << "\n";
        return 1;
    }
    return 0;
}
