// Times one whole learn run on a home folder, stage by stage as its progress lines mark them, next to the
// floor: the sqlite3 tool running the one-to-one statement over a fresh copy with its output thrown away.
// The run measures a full year ending at the home's own "now" (summary.json), so every message counts.
// A second pass times name matching and the recap page apart, since the run reports them as one stage.
//
// With --repeat N the run and the floor each go N times and the fastest of each is shown.
//
//   learn-bench HOME [--repeat N]
#include "MessageSources/DatabaseCopier.h"
#include "MessageSources/MessageStore.h"
#include "Output/WrappedHTML.h"
#include "State/Generator.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <sys/resource.h>
#include <system_error>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

double secondsBetween(Clock::time_point start, Clock::time_point end) {
    return std::chrono::duration<double>(end - start).count();
}

double secondsSince(Clock::time_point start) {
    return secondsBetween(start, Clock::now());
}

double cpuSeconds(const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

// User plus system time of the whole process so far, all its threads together.
double cpuNow() {
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    return cpuSeconds(usage.ru_utime) + cpuSeconds(usage.ru_stime);
}

struct Mark {
    std::string line;
    Clock::time_point at;
    double cpu = 0.0;
};

// The run copies the database into the temporary folder and writes its page there, and leaves both. Pointing
// the temporary folder at a private one lets the bench remove them, even after a failure.
class ScratchFolder {
public:
    ScratchFolder() {
        std::string pattern = (std::filesystem::temp_directory_path() / "learn-bench-XXXXXX").string();
        if (::mkdtemp(pattern.data()) == nullptr) {
            throw std::runtime_error("cannot make a scratch folder in the temporary folder");
        }
        path_ = pattern;
        ::setenv("TMPDIR", path_.c_str(), 1);
    }
    ~ScratchFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    // Removes what the runs left. A copy left behind would still be on its way to the disk while the next
    // run writes its own, which a single run on a user's machine never meets.
    void empty() const {
        std::error_code ignored;
        for (const std::filesystem::directory_entry& entry :
             std::filesystem::directory_iterator(path_, ignored)) {
            std::filesystem::remove_all(entry.path(), ignored);
        }
    }
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

private:
    std::filesystem::path path_;
};

struct Times {
    double total = 0.0;
    double copy = 0.0;
    double read = 0.0;
    double measure = 0.0; // statistics and people
    double finish = 0.0;  // names, page, reveals
    double user = 0.0;
    double system = 0.0;
    // The same stages in CPU time, which other work on a busy machine disturbs far less than the wall clock.
    double copyCPU = 0.0;
    double readCPU = 0.0;
    double measureCPU = 0.0;
    double finishCPU = 0.0;
};

void printStage(const char* name, double seconds, double messages, double cpu) {
    std::printf("  %-20s %8.3f s  %12.0f msgs/s   cpu %7.3f s\n", name, seconds, messages / seconds, cpu);
}

void printStage(const char* name, double seconds, double messages) {
    std::printf("  %-20s %8.3f s  %12.0f msgs/s\n", name, seconds, messages / seconds);
}

} // namespace

int main(int argc, char* argv[]) {
    if (argc != 2 && !(argc == 4 && std::string(argv[2]) == "--repeat")) {
        std::cerr << "usage: learn-bench HOME [--repeat N]\n";
        return 64;
    }
    const std::filesystem::path home = argv[1];
    const int repeat = argc == 4 ? std::max(1, std::atoi(argv[3])) : 1;

    try {
        const nlohmann::json summary = nlohmann::json::parse(std::ifstream(home / "summary.json"));
        const auto messageRows = summary.at("messageRows").get<std::int64_t>();
        const double messages = static_cast<double>(messageRows);

        ScratchFolder scratch;

        murmora::Generator::Environment environment = murmora::Generator::Environment::current();
        environment.home = home;
        environment.now = dovrel::Date{summary.at("now").get<double>()};

        std::vector<Mark> marks;
        const murmora::Generator::Progress progress = [&marks](const std::string& line) {
            marks.push_back({line, Clock::now(), cpuNow()});
        };

        Times best;
        best.total = 1e300;
        double leastCPU = 1e300;
        double peakMiB = 0.0;
        std::size_t people = 0;
        std::size_t named = 0;
        dovrel::ReadCounts counts;
        double namesSeconds = 0.0;
        double renderSeconds = 0.0;
        double writeSeconds = 0.0;
        std::size_t pageBytes = 0;
        for (int i = 0; i < repeat; ++i) {
            marks.clear();
            rusage before{};
            ::getrusage(RUSAGE_SELF, &before);
            const auto start = Clock::now();
            const murmora::Generator::Result result = murmora::Generator::run(365, progress, environment);
            const auto end = Clock::now();
            rusage after{};
            ::getrusage(RUSAGE_SELF, &after);
            // A later run can land on a heap the earlier ones left larger, so only the first one's peak is
            // that of a run in a fresh process.
            if (i == 0) {
                peakMiB = static_cast<double>(after.ru_maxrss) / 1024.0; // ru_maxrss is in KiB
            }

            if (marks.size() != 4) {
                std::cerr << "expected 4 progress lines, got " << marks.size() << "\n";
                return 1;
            }
            const Times times{secondsBetween(start, end),
                              secondsBetween(marks[0].at, marks[1].at),
                              secondsBetween(marks[1].at, marks[2].at),
                              secondsBetween(marks[2].at, marks[3].at),
                              secondsBetween(marks[3].at, end),
                              cpuSeconds(after.ru_utime) - cpuSeconds(before.ru_utime),
                              cpuSeconds(after.ru_stime) - cpuSeconds(before.ru_stime),
                              marks[1].cpu - marks[0].cpu,
                              marks[2].cpu - marks[1].cpu,
                              marks[3].cpu - marks[2].cpu,
                              cpuSeconds(after.ru_utime) + cpuSeconds(after.ru_stime) - marks[3].cpu};
            if (times.total < best.total) {
                best = times;
            }
            leastCPU = std::min(leastCPU, times.user + times.system);
            people = result.people.size();
            named = result.names.size();
            counts = result.readCounts;

            if (i + 1 < repeat) {
                scratch.empty();
                continue;
            }
            // The last stage again in parts, on the run's own results.
            std::vector<std::string> handles;
            handles.reserve(result.people.size());
            for (const dovrel::PersonInsights& person : result.people) {
                handles.push_back(person.handleID);
            }
            auto partStart = Clock::now();
            const std::map<std::string, std::string> names = murmora::Generator::resolveNames(handles, home);
            namesSeconds = secondsSince(partStart);
            partStart = Clock::now();
            const std::string page =
                dovrel::WrappedHTML::render(result.stats, names, result.archetype, environment.calendar);
            renderSeconds = secondsSince(partStart);
            pageBytes = page.size();
            partStart = Clock::now();
            dovrel::WrappedHTML::writeToTemporaryFolder(page);
            writeSeconds = secondsSince(partStart);
        }

        scratch.empty();
        const dovrel::ReadingCopy floorCopy =
            dovrel::MessageStore::copyForReading(murmora::Generator::messagesDatabasePath(home));
        const std::filesystem::path statement = floorCopy.folder() / "statement.sql";
        std::ofstream(statement) << dovrel::MessageStore::oneToOneStatement() << ";\n";
        const std::string command =
            "sqlite3 '" + floorCopy.string() + "' < '" + statement.string() + "' > /dev/null";
        double floor = 1e300;
        for (int i = 0; i < repeat; ++i) {
            const auto start = Clock::now();
            if (std::system(command.c_str()) != 0) {
                std::cerr << "the sqlite3 tool failed; is it installed?\n";
                return 1;
            }
            floor = std::min(floor, secondsSince(start));
        }

        std::printf("learn run on %lld messages (%zu rows read, %zu dropped; %zu people, %zu names)\n",
                    static_cast<long long>(messageRows), counts.rows, counts.dropped, people, named);
        printStage("copy", best.copy, messages, best.copyCPU);
        printStage("read", best.read, messages, best.readCPU);
        printStage("statistics+people", best.measure, messages, best.measureCPU);
        printStage("names+page", best.finish, messages, best.finishCPU);
        std::printf("    %-18s %8.4f s  (second pass)\n", "names", namesSeconds);
        std::printf("    %-18s %8.4f s  (second pass, %zu bytes)\n", "page render", renderSeconds, pageBytes);
        std::printf("    %-18s %8.4f s  (second pass)\n", "page write", writeSeconds);
        printStage("sqlite3 floor", floor, messages);
        std::printf("  cpu: user %.3f s, system %.3f s in the run; least user+system of all runs %.3f s\n",
                    best.user, best.system, leastCPU);
        std::printf("learn %lld msgs: %.3f s (%.0f msgs/s), floor %.3f s, ratio %.2f, peak %.0f MiB\n",
                    static_cast<long long>(messageRows), best.total, messages / best.total, floor,
                    best.total / floor, peakMiB);
    } catch (const std::exception& error) {
        std::cerr << error.what() << "\n";
        return 1;
    }
    return 0;
}
