#include "Sqlite.h"

#include <sqlite3.h>
#include <stdexcept>
#include <utility>

namespace demohome {
namespace {

[[noreturn]] void throwSqlite(sqlite3* db, std::string_view what) {
    std::string message(what);
    message += ": ";
    message += db != nullptr ? sqlite3_errmsg(db) : "out of memory";
    throw std::runtime_error(message);
}

} // namespace

SqliteConnection::SqliteConnection(const std::filesystem::path& path, Mode mode) {
    const int flags =
        mode == Mode::ReadOnly ? SQLITE_OPEN_READONLY : SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE;
    const int rc = sqlite3_open_v2(path.string().c_str(), &db_, flags | SQLITE_OPEN_NOMUTEX, nullptr);
    if (rc != SQLITE_OK) {
        std::string message = "cannot open " + path.string() + ": ";
        message += db_ != nullptr ? sqlite3_errmsg(db_) : sqlite3_errstr(rc);
        sqlite3_close(db_);
        db_ = nullptr;
        throw std::runtime_error(message);
    }
    sqlite3_extended_result_codes(db_, 1);
}

SqliteConnection::~SqliteConnection() {
    if (db_ != nullptr) {
        sqlite3_close_v2(db_);
    }
}

SqliteConnection::SqliteConnection(SqliteConnection&& other) noexcept
    : db_(std::exchange(other.db_, nullptr)) {}

SqliteConnection& SqliteConnection::operator=(SqliteConnection&& other) noexcept {
    if (this != &other) {
        if (db_ != nullptr) {
            sqlite3_close_v2(db_);
        }
        db_ = std::exchange(other.db_, nullptr);
    }
    return *this;
}

void SqliteConnection::exec(std::string_view sql) {
    char* error = nullptr;
    const std::string statement(sql);
    if (sqlite3_exec(db_, statement.c_str(), nullptr, nullptr, &error) != SQLITE_OK) {
        std::string message = "sqlite: ";
        message += error != nullptr ? error : sqlite3_errmsg(db_);
        sqlite3_free(error);
        throw std::runtime_error(message);
    }
}

std::int64_t SqliteConnection::lastInsertRowid() const {
    return sqlite3_last_insert_rowid(db_);
}

void SqliteConnection::close() {
    if (db_ == nullptr) {
        return;
    }
    if (sqlite3_close(db_) != SQLITE_OK) {
        throwSqlite(db_, "cannot close database");
    }
    db_ = nullptr;
}

SqliteStatement::SqliteStatement(const SqliteConnection& connection, std::string_view sql)
    : db_(connection.get()) {
    if (sqlite3_prepare_v3(db_, sql.data(), static_cast<int>(sql.size()), SQLITE_PREPARE_PERSISTENT, &stmt_,
                           nullptr) != SQLITE_OK) {
        throwSqlite(db_, "cannot prepare \"" + std::string(sql.substr(0, 60)) + "\"");
    }
}

SqliteStatement::~SqliteStatement() {
    sqlite3_finalize(stmt_);
}

SqliteStatement::SqliteStatement(SqliteStatement&& other) noexcept
    : db_(std::exchange(other.db_, nullptr))
    , stmt_(std::exchange(other.stmt_, nullptr)) {}

SqliteStatement& SqliteStatement::operator=(SqliteStatement&& other) noexcept {
    if (this != &other) {
        sqlite3_finalize(stmt_);
        db_ = std::exchange(other.db_, nullptr);
        stmt_ = std::exchange(other.stmt_, nullptr);
    }
    return *this;
}

void SqliteStatement::fail(std::string_view what) const {
    std::string context(what);
    if (const char* sql = sqlite3_sql(stmt_); sql != nullptr) {
        context += " (";
        context += std::string_view(sql).substr(0, 60);
        context += ")";
    }
    throwSqlite(db_, context);
}

void SqliteStatement::bindNull(int index) {
    if (sqlite3_bind_null(stmt_, index) != SQLITE_OK) {
        fail("bind");
    }
}

void SqliteStatement::bindInt(int index, std::int64_t value) {
    if (sqlite3_bind_int64(stmt_, index, value) != SQLITE_OK) {
        fail("bind");
    }
}

void SqliteStatement::bindDouble(int index, double value) {
    if (sqlite3_bind_double(stmt_, index, value) != SQLITE_OK) {
        fail("bind");
    }
}

void SqliteStatement::bindText(int index, std::string_view value) {
    // An empty view may carry a null data pointer, which sqlite would store as NULL, not ''.
    const char* data = value.data() != nullptr ? value.data() : "";
    if (sqlite3_bind_text64(stmt_, index, data, value.size(), SQLITE_TRANSIENT, SQLITE_UTF8) != SQLITE_OK) {
        fail("bind");
    }
}

void SqliteStatement::bindOptionalText(int index, const std::optional<std::string>& value) {
    if (value) {
        bindText(index, std::string_view(*value));
    } else {
        bindNull(index);
    }
}

void SqliteStatement::bindBlob(int index, std::span<const std::uint8_t> value) {
    static const std::uint8_t empty = 0;
    const void* data = value.empty() ? &empty : value.data();
    if (sqlite3_bind_blob64(stmt_, index, data, value.size(), SQLITE_TRANSIENT) != SQLITE_OK) {
        fail("bind");
    }
}

bool SqliteStatement::step() {
    const int rc = sqlite3_step(stmt_);
    if (rc == SQLITE_ROW) {
        return true;
    }
    if (rc == SQLITE_DONE) {
        return false;
    }
    fail("step");
}

void SqliteStatement::run() {
    const int rc = sqlite3_step(stmt_);
    if (rc != SQLITE_DONE && rc != SQLITE_ROW) {
        std::string message = std::string("sqlite: ") + sqlite3_errmsg(db_);
        if (const char* sql = sqlite3_sql(stmt_); sql != nullptr) {
            message += " (";
            message += std::string_view(sql).substr(0, 60);
            message += ")";
        }
        reset(); // leave the statement reusable after the caller handles the error
        throw std::runtime_error(message);
    }
    // Bindings stay; callers bind every parameter before each run.
    sqlite3_reset(stmt_);
}

void SqliteStatement::reset() {
    sqlite3_reset(stmt_);
    sqlite3_clear_bindings(stmt_);
}

std::int64_t SqliteStatement::columnInt(int column) const {
    return sqlite3_column_int64(stmt_, column);
}

std::string SqliteStatement::columnText(int column) const {
    const auto* text = sqlite3_column_text(stmt_, column);
    if (text == nullptr) {
        return {};
    }
    return {reinterpret_cast<const char*>(text),
            static_cast<std::size_t>(sqlite3_column_bytes(stmt_, column))};
}

} // namespace demohome
