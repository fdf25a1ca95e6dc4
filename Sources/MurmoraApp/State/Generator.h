#pragma once

#include "MessageSources/MessageRecords.h"
#include "MessageSources/MessageStore.h"

#include <filesystem>
#include <functional>
#include <string>
#include <unordered_map>
#include <vector>

namespace murmora {

// One learn run, on the background task that calls it. Holds no state.
namespace Generator {

struct Result {
    // Every thread of the run, keyed by handle.
    std::unordered_map<std::string, dovrel::ContactThread> threadsByHandle;
    // Lines for the learning screen, in order.
    std::vector<std::string> reveals;
    // What the reader saw: rows, dropped rows.
    dovrel::ReadCounts readCounts;
};

using Progress = std::function<void(const std::string&)>;

// The Messages database of a home folder: always "<home>/Library/Messages/chat.db".
std::filesystem::path messagesDatabasePath(const std::filesystem::path& home);

// Copies the database, reads every one-to-one thread. Throws std::filesystem::filesystem_error or
// dovrel::SQLiteError.
Result run(const std::filesystem::path& home, int days, const Progress& progress);

} // namespace Generator
} // namespace murmora
