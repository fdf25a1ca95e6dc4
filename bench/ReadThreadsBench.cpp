// Times the one-to-one reader on a home folder's Messages database, next to the floor: the sqlite3 tool
// running the same statement over the same copy with its output thrown away. It also prints a digest of
// everything read, so that two builds of the reader can be shown to read the same threads.
//
//   read-threads-bench HOME [--repeat N]
#include "MessageSources/DatabaseCopier.h"
#include "MessageSources/MessageStore.h"

#include <algorithm>
#include <bit>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>
#include <string_view>
#include <sys/resource.h>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

double secondsSince(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

// User plus system time of this process (or of its finished children), which the other work on a busy
// machine disturbs far less than the wall clock.
double cpuSeconds(int who) {
    rusage usage{};
    ::getrusage(who, &usage);
    const auto seconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
    };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

// FNV-1a over every field of every thread, in order.
class Digest {
public:
    void add(std::string_view bytes) {
        add(bytes.size());
        for (const char c : bytes) {
            value_ = (value_ ^ static_cast<std::uint8_t>(c)) * 0x100000001b3ULL;
        }
    }
    void add(std::uint64_t number) {
        for (int i = 0; i < 8; ++i) {
            value_ = (value_ ^ ((number >> (8 * i)) & 0xFF)) * 0x100000001b3ULL;
        }
    }
    std::uint64_t value() const { return value_; }

private:
    std::uint64_t value_ = 0xcbf29ce484222325ULL;
};

std::uint64_t digestOf(const std::vector<dovrel::ContactThread>& threads) {
    Digest digest;
    for (const dovrel::ContactThread& thread : threads) {
        digest.add(thread.handleID);
        digest.add(thread.displayName ? 1 : 0);
        digest.add(thread.displayName.value_or(""));
        digest.add(thread.messages.size());
        for (const dovrel::RawMessage& message : thread.messages) {
            digest.add(std::bit_cast<std::uint64_t>(message.date.seconds));
            digest.add((message.isFromMe ? 1 : 0) | (message.isRead ? 2 : 0));
            digest.add(message.text);
        }
    }
    return digest.value();
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
        const dovrel::ReadingCopy copy =
            dovrel::MessageStore::copyForReading(home / "Library" / "Messages" / "chat.db");
        const double copySeconds = secondsSince(start);

        double best = 1e300;
        double bestCPU = 1e300;
        dovrel::ReadCounts counts;
        std::size_t threadCount = 0;
        std::uint64_t digest = 0;
        for (int i = 0; i < repeat; ++i) {
            start = Clock::now();
            const double cpuStart = cpuSeconds(RUSAGE_SELF);
            dovrel::MessageStore store(copy.string());
            const auto threads = store.oneToOneThreads(&counts);
            best = std::min(best, secondsSince(start));
            bestCPU = std::min(bestCPU, cpuSeconds(RUSAGE_SELF) - cpuStart);
            threadCount = threads.size();
            digest = digestOf(threads);
        }

        const std::filesystem::path statement = copy.folder() / "statement.sql";
        std::ofstream(statement) << dovrel::MessageStore::oneToOneStatement() << ";\n";
        const std::string command =
            "sqlite3 '" + copy.string() + "' < '" + statement.string() + "' > /dev/null";
        double floor = 1e300;
        double floorCPU = 1e300;
        for (int i = 0; i < repeat; ++i) {
            start = Clock::now();
            const double cpuStart = cpuSeconds(RUSAGE_CHILDREN);
            if (std::system(command.c_str()) != 0) {
                std::cerr << "the sqlite3 tool failed; is it installed?\n";
                return 1;
            }
            floor = std::min(floor, secondsSince(start));
            floorCPU = std::min(floorCPU, cpuSeconds(RUSAGE_CHILDREN) - cpuStart);
        }

        const double rows = static_cast<double>(counts.rows);
        std::printf("copy:             %.3f s\n", copySeconds);
        std::printf(
            "oneToOneThreads:  %.3f s  %zu rows (%zu dropped), %zu threads, %.0f rows/s, cpu %.3f s\n", best,
            counts.rows, counts.dropped, threadCount, rows / best, bestCPU);
        std::printf("sqlite3 tool:     %.3f s  %.0f rows/s, cpu %.3f s\n", floor, rows / floor, floorCPU);
        std::printf("reader / floor:   %.2f\n", best / floor);
        std::printf("digest:           %016llx\n", static_cast<unsigned long long>(digest));
    } catch (const std::exception& error) {
        std::cerr << error.what() << "\n";
        return 1;
    }
    return 0;
}
