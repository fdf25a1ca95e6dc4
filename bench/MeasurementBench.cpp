// Times what a learning run measures on a home folder's one-to-one threads: the recap statistics over the
// last 365 days and one PersonInsights per thread, first with the per-message work shared (as the pipeline
// does it), then through the plain entry points. A last pass times the regular-expression, grapheme and
// calendar work alone over the same messages, to give their share of the shared run.
//
//   measurement-bench HOME [--workers N] [--repeat N]
#include "Measurement/LocalTime.h"
#include "Measurement/PersonInsights.h"
#include "Measurement/WrappedStats.h"
#include "MessageSources/DatabaseCopier.h"
#include "MessageSources/MessageStore.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <string>

namespace {

using namespace dovrel;
using Clock = std::chrono::steady_clock;

double secondsSince(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

// Keeps results alive so the optimiser cannot drop the work.
volatile std::size_t sink = 0;

struct Run {
    double measuring = 0.0;
    double aggregating = 0.0;
    double total() const { return measuring + aggregating; }
};

Run sharedRun(const std::vector<ContactThread>& threads, DateInterval period, const Calendar& calendar,
              unsigned workers) {
    Run run;
    auto start = Clock::now();
    const std::vector<MeasuredThread> measured = measureThreads(threads, calendar, workers);
    run.measuring = secondsSince(start);
    start = Clock::now();
    const WrappedStats stats = WrappedStats::compute(measured, period, calendar);
    const std::optional<double> baseline = myAverageLength(measured);
    std::vector<PersonInsights> people;
    for (const MeasuredThread& thread : measured) {
        if (auto person = PersonInsights::compute(thread, baseline, stats.myMedianReplySeconds)) {
            people.push_back(std::move(*person));
        }
    }
    PersonInsights::sortByMessages(people);
    run.aggregating = secondsSince(start);
    sink = sink + people.size() + static_cast<std::size_t>(stats.totalMessages);
    return run;
}

double plainRun(const std::vector<ContactThread>& threads, DateInterval period, const Calendar& calendar) {
    const auto start = Clock::now();
    const WrappedStats stats = WrappedStats::compute(threads, period, calendar);
    std::vector<std::string> mine;
    for (const ContactThread& thread : threads) {
        for (const RawMessage& message : thread.messages) {
            if (message.isFromMe) {
                mine.push_back(message.text);
            }
        }
    }
    const std::optional<double> baseline = TextStyle::averageLength(mine);
    std::size_t people = 0;
    for (const ContactThread& thread : threads) {
        people += PersonInsights::compute(thread, baseline, stats.myMedianReplySeconds, calendar) ? 1u : 0u;
    }
    sink = sink + people;
    return secondsSince(start);
}

} // namespace

int main(int argc, char* argv[]) {
    if (argc < 2) {
        std::cerr << "usage: measurement-bench HOME [--workers N] [--repeat N]\n";
        return 64;
    }
    const std::filesystem::path home = argv[1];
    unsigned workers = 1;
    int repeat = 5;
    for (int i = 2; i + 1 < argc; i += 2) {
        const std::string option = argv[i];
        if (option == "--workers") {
            workers = static_cast<unsigned>(std::max(1, std::atoi(argv[i + 1])));
        } else if (option == "--repeat") {
            repeat = std::max(1, std::atoi(argv[i + 1]));
        }
    }

    try {
        const auto readStart = Clock::now();
        const ReadingCopy copy = MessageStore::copyForReading(home / "Library" / "Messages" / "chat.db");
        const std::vector<ContactThread> threads = MessageStore(copy.string()).oneToOneThreads();
        const double reading = secondsSince(readStart);

        std::size_t messages = 0;
        std::vector<const std::string*> mine;
        Date latest;
        for (const ContactThread& thread : threads) {
            messages += thread.messages.size();
            for (const RawMessage& message : thread.messages) {
                latest = std::max(latest, message.date);
                if (message.isFromMe) {
                    mine.push_back(&message.text);
                }
            }
        }
        const Calendar calendar("America/New_York");
        const DateInterval period{latest - 365 * 86400.0, 365 * 86400.0};
        const auto perSecond = [&](double seconds) { return static_cast<double>(messages) / seconds; };

        std::printf("%zu threads, %zu messages (%zu mine), read in %.2f s\n", threads.size(), messages,
                    mine.size(), reading);

        const auto bestOf = [&](auto&& pass) {
            double best = 1e300;
            for (int r = 0; r < repeat; ++r) {
                best = std::min(best, pass());
            }
            return best;
        };
        const auto bestShared = [&](unsigned count) {
            Run best{1e300, 0.0};
            for (int r = 0; r < repeat; ++r) {
                const Run run = sharedRun(threads, period, calendar, count);
                if (run.total() < best.total()) {
                    best = run;
                }
            }
            return best;
        };

        const Run shared = bestShared(1);
        std::printf(
            "shared work:          %.3f s  %8.0f msgs/s  (measuring %.3f s, statistics and people %.3f s)\n",
            shared.total(), perSecond(shared.total()), shared.measuring, shared.aggregating);
        if (workers > 1) {
            const Run parallel = bestShared(workers);
            std::printf("shared, %u workers:    %.3f s  %8.0f msgs/s\n", workers, parallel.total(),
                        perSecond(parallel.total()));
        }
        const double plain = bestOf([&] { return plainRun(threads, period, calendar); });
        std::printf("plain entry points:   %.3f s  %8.0f msgs/s\n", plain, perSecond(plain));

        // The same per-message work, one kind at a time. The shared run does each exactly once per message
        // (the texts: once per message of the user), so these are its shares.
        const double regex = bestOf([&] {
            const auto start = Clock::now();
            std::size_t laughing = 0;
            for (const std::string* text : mine) {
                const TextStyle::Laughs laughs = TextStyle::laughs(*text);
                laughing += laughs.haha != TextStyle::Haha::none || laughs.lol ? 1u : 0u;
            }
            sink = sink + laughing;
            return secondsSince(start);
        });
        const double graphemes = bestOf([&] {
            const auto start = Clock::now();
            std::size_t characters = 0;
            std::vector<std::string> emojis;
            for (const std::string* text : mine) {
                characters += static_cast<std::size_t>(TextStyle::graphemeLength(*text, &emojis));
            }
            sink = sink + characters + emojis.size();
            return secondsSince(start);
        });
        const double calendarWork = bestOf([&] {
            const auto start = Clock::now();
            std::size_t minutes = 0;
            for (const ContactThread& thread : threads) {
                LocalClock clock(calendar);
                for (const RawMessage& message : thread.messages) {
                    minutes += static_cast<std::size_t>(clock.at(message.date).minuteOfDay);
                }
            }
            sink = sink + minutes;
            return secondsSince(start);
        });
        const auto share = [&](double seconds) { return 100.0 * seconds / shared.total(); };
        std::printf("regex (laugh patterns): %.3f s  %4.1f%% of the shared run\n", regex, share(regex));
        std::printf("graphemes and emoji:    %.3f s  %4.1f%%\n", graphemes, share(graphemes));
        std::printf("calendar (local times): %.3f s  %4.1f%%\n", calendarWork, share(calendarWork));
    } catch (const std::exception& error) {
        std::cerr << "measurement-bench: " << error.what() << "\n";
        return 1;
    }
    return 0;
}
