// Times the coach's corpus search over every one-to-one thread of a home folder, as the `search` and `count`
// tools run it on the main thread: a few realistic term sets, each the best and the mean of --repeat calls,
// with the number of matches so runs can be compared. The floor is a plain substring scan of the raw texts
// for the same terms, without lower-casing.
//
//   coach-search-bench HOME [--repeat N]
#include "Coach/CorpusTools.h"
#include "MessageSources/DatabaseCopier.h"
#include "MessageSources/MessageStore.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <string>
#include <vector>

namespace {

using namespace dovrel;
using Clock = std::chrono::steady_clock;

double millisecondsSince(Clock::time_point start) {
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

struct Timing {
    double best = 1e300;
    double total = 0.0;
};

template <typename Call> Timing timed(int repeat, Call&& call) {
    Timing timing;
    for (int r = 0; r < repeat; ++r) {
        const auto start = Clock::now();
        call();
        const double ms = millisecondsSince(start);
        timing.best = std::min(timing.best, ms);
        timing.total += ms;
    }
    return timing;
}

} // namespace

int main(int argc, char* argv[]) {
    if (argc < 2) {
        std::cerr << "usage: coach-search-bench HOME [--repeat N]\n";
        return 64;
    }
    const std::filesystem::path home = argv[1];
    int repeat = 10;
    if (argc >= 4 && std::string(argv[2]) == "--repeat") {
        repeat = std::max(1, std::atoi(argv[3]));
    }

    try {
        const ReadingCopy copy = MessageStore::copyForReading(home / "Library" / "Messages" / "chat.db");
        const std::vector<ContactThread> threads = MessageStore(copy.string()).oneToOneThreads();
        const std::vector<const ContactThread*> all = CorpusTools::references(threads);
        std::size_t messages = 0;
        for (const ContactThread& thread : threads) {
            messages += thread.messages.size();
        }
        std::printf("%zu messages in %zu threads, %d calls each\n", messages, threads.size(), repeat);

        const Calendar calendar("America/New_York");
        const std::vector<std::vector<std::string>> termSets = {{"dinner"}, {"love", "miss"}, {"haha"}};
        for (const std::vector<std::string>& terms : termSets) {
            std::string label;
            for (const std::string& term : terms) {
                label += (label.empty() ? "" : "|") + term;
            }
            std::size_t hits = 0;
            const Timing search = timed(repeat, [&] {
                hits = CorpusTools::search(all, terms, "any", 40, std::nullopt, std::nullopt).size();
            });
            std::size_t total = 0;
            std::size_t months = 0;
            const Timing count = timed(repeat, [&] {
                const auto counts =
                    CorpusTools::countByMonth(all, terms, "any", calendar, std::nullopt, std::nullopt);
                months = counts.size();
                total = 0;
                for (const CorpusTools::MonthCount& month : counts) {
                    total += static_cast<std::size_t>(month.count);
                }
            });
            // The floor: the same terms looked for in every raw text, with nothing lower-cased or kept.
            std::size_t raw = 0;
            const Timing floor = timed(repeat, [&] {
                raw = 0;
                for (const ContactThread& thread : threads) {
                    for (const RawMessage& message : thread.messages) {
                        const std::string_view text = message.text;
                        const bool found =
                            std::any_of(terms.begin(), terms.end(), [text](const std::string& term) {
                                return text.find(term) != std::string_view::npos;
                            });
                        raw += found ? 1 : 0;
                    }
                }
            });
            std::printf("search \"%s\": %.1f ms best, %.1f ms mean (%zu hits kept); floor %.1f ms (%zu raw "
                        "matches)\n",
                        label.c_str(), search.best, search.total / repeat, hits, floor.best, raw);
            std::printf("count  \"%s\": %.1f ms best, %.1f ms mean (%zu matches in %zu months)\n",
                        label.c_str(), count.best, count.total / repeat, total, months);
        }
    } catch (const std::exception& error) {
        std::cerr << "coach-search-bench: " << error.what() << "\n";
        return 1;
    }
    return 0;
}
