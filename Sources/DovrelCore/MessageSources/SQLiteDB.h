#pragma once

#include "MessageSources/SQLRow.h"
#include "MessageSources/SQLiteError.h"

#include <functional>
#include <string>
#include <vector>

struct sqlite3;

namespace dovrel {

// One open SQLite connection, closed when the object goes. Not shared between threads: each task opens its
// own. There are no bound parameters; callers put the few integers they need into the statement's text.
class SQLiteDB {
public:
    // Opens read-only, or read-write with create. Throws SQLiteError::openFailed.
    SQLiteDB(const std::string& path, bool readOnly);
    ~SQLiteDB();
    SQLiteDB(const SQLiteDB&) = delete;
    SQLiteDB& operator=(const SQLiteDB&) = delete;
    SQLiteDB(SQLiteDB&& other) noexcept;
    SQLiteDB& operator=(SQLiteDB&& other) noexcept;

    // All rows, in the order SQLite delivers them. Throws prepareFailed or stepFailed.
    std::vector<SQLRow> query(const std::string& sql);

    // The same rows handed one at a time to `visit`, which may move values out of the row. Nothing is kept,
    // so a reader can build its records in one pass without holding the whole result. When stepping fails,
    // the rows already visited stay visited; the error goes up.
    void forEachRow(const std::string& sql, const std::function<void(SQLRow&)>& visit);

    // The same rows read in place: `visit` sees each row through a view and copies only what it keeps, with
    // no SQLRow built. For readers of millions of rows.
    void forEachRowInPlace(const std::string& sql, const std::function<void(const SQLRowView&)>& visit);

    // Runs statements with no result. Throws stepFailed.
    void execute(const std::string& sql);

    sqlite3* handle() const { return handle_; }

private:
    sqlite3* handle_ = nullptr;
};

} // namespace dovrel
