#include "MessageSources/SQLiteDB.h"

#include "Foundation/Unicode.h"

#include <cmath>
#include <memory>
#include <span>
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

// The schemas read here keep no fractions in the columns asked for, so a REAL is read as an integer, cut
// towards zero. A value with no integer form only comes from a damaged or hostile file: that is an error
// of the file, never a reason to end the process.
std::int64_t truncatedInteger(double value, sqlite3_stmt* statement, int column) {
    constexpr double limit = 9223372036854775808.0; // 2^63
    if (!std::isfinite(value) || value >= limit || value < -limit) {
        const char* name = sqlite3_column_name(statement, column);
        throw SQLiteError(SQLiteError::Case::stepFailed,
                          std::string("REAL value with no 64-bit integer form in column ") +
                              (name != nullptr ? name : "?"));
    }
    return static_cast<std::int64_t>(std::trunc(value));
}

SQLRow::SQLValue readCell(sqlite3_stmt* statement, int column) {
    switch (sqlite3_column_type(statement, column)) {
    case SQLITE_INTEGER:
        return std::int64_t{sqlite3_column_int64(statement, column)};
    case SQLITE_FLOAT:
        return truncatedInteger(sqlite3_column_double(statement, column), statement, column);
    case SQLITE_TEXT: {
        const auto* text = sqlite3_column_text(statement, column);
        const auto size = static_cast<std::size_t>(sqlite3_column_bytes(statement, column));
        if (text == nullptr) {
            return std::string();
        }
        const std::span<const std::uint8_t> bytes(text, size);
        if (unicode::isValidUTF8(bytes)) {
            return std::string(reinterpret_cast<const char*>(text), size);
        }
        return unicode::repairUTF8(bytes);
    }
    case SQLITE_BLOB: {
        const auto* data = static_cast<const std::uint8_t*>(sqlite3_column_blob(statement, column));
        const auto size = static_cast<std::size_t>(sqlite3_column_bytes(statement, column));
        if (data == nullptr || size == 0) {
            return Bytes();
        }
        return Bytes(data, data + size);
    }
    default:
        return std::monostate{};
    }
}

} // namespace

SQLiteDB::SQLiteDB(const std::string& path, bool readOnly) {
    const int flags = readOnly ? SQLITE_OPEN_READONLY : (SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
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

void SQLiteDB::forEachRow(const std::string& sql, const std::function<void(SQLRow&)>& visit) {
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
    const SQLRow::Columns columns = std::move(names);

    for (;;) {
        const int step = sqlite3_step(raw);
        if (step == SQLITE_DONE) {
            return;
        }
        if (step != SQLITE_ROW) {
            throw SQLiteError(SQLiteError::Case::stepFailed, errorText(handle_));
        }
        std::vector<SQLRow::SQLValue> cells;
        cells.reserve(static_cast<std::size_t>(columnCount));
        for (int i = 0; i < columnCount; ++i) {
            cells.push_back(readCell(raw, i));
        }
        SQLRow row(columns, std::move(cells));
        visit(row);
    }
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
