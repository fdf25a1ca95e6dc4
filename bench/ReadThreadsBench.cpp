// Times the one-to-one reader on a home folder's Messages database, next to the floor: the sqlite3 tool
// running the same statement over the same copy with its output thrown away.
//
//   read-threads-bench HOME [--repeat N]
#include "MessageSources/DatabaseCopier.h"
#include "MessageSources/MessageStore.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>

namespace {

using Clock = std::chrono::steady_clock;

double secondsSince(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

} // namespace

int main(int argc, char* argv[]) {
    if (argc < 2) {
        std::cerr << "usage: read-threads-bench HOME [--repeat N]\n";
        return 64;
    }
    const std::filesystem::path home = argv[1];
    int repeat = 3;
    if (argc >= 4 && std::string(argv[2]) == "--repeat") {
        repeat = std::max(1, std::atoi(argv[3]));
    }

    try {
        auto start = Clock::now();
        const std::filesystem::path copy =
            dovrel::DatabaseCopier::copyForReading(home / "Library" / "Messages" / "chat.db");
        const double copySeconds = secondsSince(start);

        double best = 1e300;
        dovrel::ReadCounts counts;
        std::size_t threadCount = 0;
        for (int i = 0; i < repeat; ++i) {
            start = Clock::now();
            dovrel::MessageStore store(copy.string());
            const auto threads = store.oneToOneThreads(&counts);
            best = std::min(best, secondsSince(start));
            threadCount = threads.size();
        }

        const std::filesystem::path statement = copy.parent_path() / "statement.sql";
        std::ofstream(statement) << dovrel::MessageStore::oneToOneStatement() << ";\n";
        const std::string command =
            "sqlite3 '" + copy.string() + "' < '" + statement.string() + "' > /dev/null";
        double floor = 1e300;
        for (int i = 0; i < repeat; ++i) {
            start = Clock::now();
            if (std::system(command.c_str()) != 0) {
                std::cerr << "the sqlite3 tool failed; is it installed?\n";
                return 1;
            }
            floor = std::min(floor, secondsSince(start));
        }

        const double rows = static_cast<double>(counts.rows);
        std::printf("copy:             %.3f s\n", copySeconds);
        std::printf("oneToOneThreads:  %.3f s  %zu rows (%zu dropped), %zu threads, %.0f rows/s\n", best,
                    counts.rows, counts.dropped, threadCount, rows / best);
        std::printf("sqlite3 tool:     %.3f s  %.0f rows/s\n", floor, rows / floor);
        std::printf("reader / floor:   %.2f\n", best / floor);
        std::filesystem::remove_all(copy.parent_path());
    } catch (const std::exception& error) {
        std::cerr << error.what() << "\n";
        return 1;
    }
    return 0;
}
