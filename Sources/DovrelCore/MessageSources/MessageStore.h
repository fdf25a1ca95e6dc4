#pragma once

#include "MessageSources/GroupRecords.h"
#include "MessageSources/MessageRecords.h"
#include "MessageSources/SQLiteDB.h"

#include <cstddef>
#include <string>
#include <vector>

namespace dovrel {

// What one read saw, for progress lines and the command line. Dropped rows are rows the statement returned
// that make no message (no handle, no integer date, no text).
struct ReadCounts {
    std::size_t rows = 0;
    std::size_t dropped = 0;
};

// The reader of the Messages database. Always made on a copy (DatabaseCopier), never on the live file.
class MessageStore {
public:
    // Gives the copy's planner the sizes of its tables, then opens it read-only. Throws SQLiteError.
    explicit MessageStore(const std::string& dbPath);

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
    SQLiteDB db_;
};

} // namespace dovrel
