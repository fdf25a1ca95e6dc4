#pragma once

#include "MessageSources/DatabaseCopier.h"
#include "MessageSources/GroupRecords.h"
#include "MessageSources/MessageRecords.h"
#include "MessageSources/SQLiteDB.h"

#include <cstddef>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace dovrel {

// What one read saw, for progress lines and the command line. Dropped rows are rows the statement returned
// that make no message (no handle, no integer date, no text).
struct ReadCounts {
    std::size_t rows = 0;
    std::size_t dropped = 0;
};

// The reader of the Messages database. Always made on a copy, never on the live file, and it never writes to
// the file it is given. A statement that meets a layout without a table or column it reads throws
// MissingSchemaError, naming it.
class MessageStore {
public:
    // Opens read-only. Throws SQLiteError.
    explicit MessageStore(const std::string& dbPath);

    // A private copy of the live database (DatabaseCopier), with the sizes of its tables told to the copy's
    // query planner, which makes reading it fast. Throws what the copy throws.
    static ReadingCopy copyForReading(const std::filesystem::path& database);

    // Every one-to-one thread, most messages first; all chats that share a handle merge into one thread.
    // Throws SQLiteError. Rows that make no message are dropped without a word (counted in `counts`).
    std::vector<ContactThread> oneToOneThreads(ReadCounts* counts = nullptr);

    // Every group chat with at least `minMessages` kept messages and at least two members, most messages
    // first, with the laugh reactions each author drew from others. Throws SQLiteError.
    std::vector<GroupThread> groupThreads(int minMessages);

    SQLiteDB& db() { return db_; }

    // The statement `oneToOneThreads` runs, word for word.
    static const std::string& oneToOneStatement();

private:
    void read(const std::string& sql, const std::function<void(const SQLRowView&)>& visit, bool groups);

    SQLiteDB db_;
};

} // namespace dovrel
