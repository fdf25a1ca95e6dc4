#include "MessageSources/SQLiteDB.h"

#include <memory>
#include <sqlite3.h>

namespace dovrel {
namespace {

std::string errorText(sqlite3* db) {
    const char* message = sqlite3_errmsg(db);
    return message != nullptr ? message : "unknown";
}

struct StatementDeleter {
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};
using Statement = std::unique_ptr<sqlite3_stmt, StatementDeleter>;

} // namespace

SQLiteDB::SQLiteDB(const std::string& path, bool readOnly) {
    // A connection is never shared between threads, so it needs no mutex of its own: that saves a lock and
    // an unlock on every call, some ten per row read.
    const int flags = (readOnly ? SQLITE_OPEN_READONLY : (SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE)) |
                      SQLITE_OPEN_NOMUTEX;
    sqlite3* db = nullptr;
    const int result = sqlite3_open_v2(path.c_str(), &db, flags, nullptr);
    if (result != SQLITE_OK) {
        if (db == nullptr) {
            throw SQLiteError(SQLiteError::Case::openFailed, "unknown");
        }
        std::string message = errorText(db);
        sqlite3_close(db);
        throw SQLiteError(SQLiteError::Case::openFailed, std::move(message));
    }
    handle_ = db;
}

SQLiteDB::~SQLiteDB() {
    if (handle_ != nullptr) {
        sqlite3_close(handle_);
    }
}

SQLiteDB::SQLiteDB(SQLiteDB&& other) noexcept
    : handle_(other.handle_) {
    other.handle_ = nullptr;
}

SQLiteDB& SQLiteDB::operator=(SQLiteDB&& other) noexcept {
    if (this != &other) {
        if (handle_ != nullptr) {
            sqlite3_close(handle_);
        }
        handle_ = other.handle_;
        other.handle_ = nullptr;
    }
    return *this;
}

void SQLiteDB::forEachRowInPlace(const std::string& sql,
                                 const std::function<void(const SQLRowView&)>& visit) {
    sqlite3_stmt* raw = nullptr;
    if (sqlite3_prepare_v2(handle_, sql.c_str(), -1, &raw, nullptr) != SQLITE_OK) {
        sqlite3_finalize(raw);
        throw SQLiteError(SQLiteError::Case::prepareFailed, errorText(handle_));
    }
    const Statement statement(raw);
    if (!statement) {
        // Only blanks or a comment: a statement with no rows.
        return;
    }

    const int columnCount = sqlite3_column_count(raw);
    auto names = std::make_shared<std::vector<std::string>>();
    names->reserve(static_cast<std::size_t>(columnCount));
    for (int i = 0; i < columnCount; ++i) {
        const char* name = sqlite3_column_name(raw, i);
        names->emplace_back(name != nullptr ? name : "");
    }
    SQLRowView row(raw, std::move(names));

    for (;;) {
        const int step = sqlite3_step(raw);
        if (step == SQLITE_DONE) {
            return;
        }
        if (step != SQLITE_ROW) {
            throw SQLiteError(SQLiteError::Case::stepFailed, errorText(handle_));
        }
        row.load();
        visit(row);
    }
}

void SQLiteDB::forEachRow(const std::string& sql, const std::function<void(SQLRow&)>& visit) {
    forEachRowInPlace(sql, [&visit](const SQLRowView& view) {
        std::vector<SQLRow::SQLValue> cells;
        cells.reserve(view.columnCount());
        for (std::size_t i = 0; i < view.columnCount(); ++i) {
            cells.push_back(view.value(static_cast<std::ptrdiff_t>(i)));
        }
        SQLRow row(view.columns_, std::move(cells));
        visit(row);
    });
}

std::vector<SQLRow> SQLiteDB::query(const std::string& sql) {
    std::vector<SQLRow> rows;
    forEachRow(sql, [&rows](SQLRow& row) { rows.push_back(std::move(row)); });
    return rows;
}

void SQLiteDB::execute(const std::string& sql) {
    char* message = nullptr;
    if (sqlite3_exec(handle_, sql.c_str(), nullptr, nullptr, &message) != SQLITE_OK) {
        std::string text = message != nullptr ? message : "unknown";
        sqlite3_free(message);
        throw SQLiteError(SQLiteError::Case::stepFailed, std::move(text));
    }
}

} // namespace dovrel
