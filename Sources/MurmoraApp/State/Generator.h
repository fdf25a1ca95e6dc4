#pragma once

#include "Foundation/Calendar.h"
#include "Measurement/LocalArchetype.h"
#include "Measurement/PersonInsights.h"
#include "Measurement/WrappedStats.h"
#include "MessageSources/MessageRecords.h"
#include "MessageSources/MessageStore.h"

#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <unordered_map>
#include <vector>

namespace murmora {

// An error of the program's own, printed like the platform prints a domain error:
// Error Domain=murmora Code=1 "No messages found in the last 365 days."
class DomainError : public std::runtime_error {
public:
    DomainError(std::string domain, int code, std::string description);

    const std::string& domain() const { return domain_; }
    int code() const { return code_; }
    const std::string& description() const { return description_; }

private:
    std::string domain_;
    int code_;
    std::string description_;
};

// One learn run, on the background task that calls it. Holds no state.
namespace Generator {

struct Result {
    dovrel::WrappedStats stats;
    std::vector<dovrel::PersonInsights> people; // most messages first
    std::map<std::string, std::string> names;   // handle to name, for the handles of `people`
    dovrel::Archetype archetype;                // the local one
    std::filesystem::path wrappedURL;           // the recap page this run wrote
    std::vector<std::string> reveals;           // lines for the learning screen, in order
    std::unordered_map<std::string, dovrel::ContactThread> threadsByHandle;
    dovrel::ReadCounts readCounts;
};

// What a run reads from its surroundings, copied into the task when it starts.
struct Environment {
    std::filesystem::path home;
    dovrel::Calendar calendar;
    std::optional<dovrel::Date> now; // the current time when absent

    // $HOME as the bytes the environment holds (a path need not be UTF-8), the system's zone, the clock.
    static Environment current();
};

using Progress = std::function<void(const std::string&)>;

// The Messages database of a home folder: always "<home>/Library/Messages/chat.db".
std::filesystem::path messagesDatabasePath(const std::filesystem::path& home);

enum class DatabaseAccess { readable, missing, notAFile, unreadable };

// Whether the file opens for reading: the only test of the permission to read it. Its type is tested
// first, so a pipe or device under the database's name is refused rather than waited on.
DatabaseAccess databaseAccess(const std::filesystem::path& database);

// Copies and reads the database, measures the last `days` × 86400 seconds, resolves names, writes the recap
// page. Throws std::filesystem::filesystem_error, dovrel::SQLiteError, or DomainError (code 1) when the
// period holds no message.
Result run(int days, const Progress& progress, const Environment& environment);

// Handle to the first matching card's name, from a copy of the largest address book under `home`. Never
// fails: without an address book, or on any error reading it, there are no names.
std::map<std::string, std::string> resolveNames(const std::vector<std::string>& handles,
                                                const std::filesystem::path& home);

// Two to five lines: the count line, the top person, the reply speed, the signature laugh, "Profile ready.".
std::vector<std::string> reveals(const dovrel::WrappedStats& stats,
                                 const std::map<std::string, std::string>& names);

} // namespace Generator
} // namespace murmora
