// Arbitrary bytes as a chat.db: reading must end in threads or an SQLiteError, never a crash. Seeded with a
// real small Messages database, so most inputs are damaged databases rather than noise.
#include "Measurement/GroupStats.h"
#include "MessageSources/MessageStore.h"

#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <unistd.h>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const std::string path = "/tmp/murmora-fuzz-" + std::to_string(getpid()) + ".db";
    std::FILE* file = std::fopen(path.c_str(), "wb");
    if (file == nullptr) {
        return 0;
    }
    std::fwrite(data, 1, size, file);
    std::fclose(file);
    std::remove((path + "-wal").c_str());
    std::remove((path + "-shm").c_str());

    try {
        dovrel::MessageStore store(path);
        dovrel::ReadCounts counts;
        const auto threads = store.oneToOneThreads(&counts);
        std::size_t kept = 0;
        for (const auto& thread : threads) {
            for (const auto& message : thread.messages) {
                if (message.text.empty()) {
                    std::abort();
                }
            }
            kept += thread.messages.size();
        }
        if (kept + counts.dropped != counts.rows) {
            std::abort();
        }
        // Group chats: same rows, their own statement, and the statistics the groups screen computes.
        static const dovrel::Calendar utc("UTC");
        for (const auto& group : store.groupThreads(0)) {
            if (group.participants.size() < 2) {
                std::abort();
            }
            for (const auto& message : group.messages) {
                if (message.text.empty()) {
                    std::abort();
                }
            }
            dovrel::GroupStats stats;
            try {
                stats = dovrel::GroupStats::compute(group, utc);
            } catch (const std::runtime_error&) {
                continue; // a date far outside what the calendar can place (raw seconds near the int64
                          // limits)
            }
            int counted = 0;
            for (const auto& member : stats.members) {
                counted += member.count;
            }
            int hours = 0;
            for (int n : stats.hourly) {
                hours += n;
            }
            if (counted != stats.total || hours != stats.total ||
                stats.total != static_cast<int>(group.messages.size())) {
                std::abort();
            }
        }
        // Other statements over the same damaged file go through the generic row reader.
        store.db().query("SELECT * FROM handle");
        store.db().query("SELECT * FROM chat");
    } catch (const dovrel::SQLiteError&) {
    }
    return 0;
}
