#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <string_view>

struct sqlite3;
struct sqlite3_stmt;

namespace demohome {

// Thin RAII wrappers over the sqlite3 C API. Every failure throws std::runtime_error carrying
// sqlite's own message.
class SqliteConnection {
public:
    enum class Mode { ReadWriteCreate, ReadOnly };

    explicit SqliteConnection(const std::filesystem::path& path, Mode mode = Mode::ReadWriteCreate);
    ~SqliteConnection();
    SqliteConnection(SqliteConnection&& other) noexcept;
    SqliteConnection& operator=(SqliteConnection&& other) noexcept;
    SqliteConnection(const SqliteConnection&) = delete;
    SqliteConnection& operator=(const SqliteConnection&) = delete;

    void exec(std::string_view sql);
    [[nodiscard]] std::int64_t lastInsertRowid() const;
    [[nodiscard]] sqlite3* get() const { return db_; }
    [[nodiscard]] bool isOpen() const { return db_ != nullptr; }
    // Closes now (statements must already be finalised) and reports a failure, which the
    // destructor cannot.
    void close();

private:
    sqlite3* db_ = nullptr;
};

class SqliteStatement {
public:
    SqliteStatement(const SqliteConnection& connection, std::string_view sql);
    ~SqliteStatement();
    SqliteStatement(SqliteStatement&& other) noexcept;
    SqliteStatement& operator=(SqliteStatement&& other) noexcept;
    SqliteStatement(const SqliteStatement&) = delete;
    SqliteStatement& operator=(const SqliteStatement&) = delete;

    // Parameters are 1-based, as in sqlite3_bind_*.
    void bindNull(int index);
    void bindInt(int index, std::int64_t value);
    void bindDouble(int index, double value);
    void bindText(int index, std::string_view value);
    void bindOptionalText(int index, const std::optional<std::string>& value); // NULL for nullopt
    void bindBlob(int index, std::span<const std::uint8_t> value);

    // True while a row is available; false once done.
    bool step();
    // Runs a statement that returns no rows, then resets it for reuse.
    void run();
    void reset();

    [[nodiscard]] std::int64_t columnInt(int column) const;
    [[nodiscard]] std::string columnText(int column) const;

private:
    [[noreturn]] void fail(std::string_view what) const;

    sqlite3* db_ = nullptr;
    sqlite3_stmt* stmt_ = nullptr;
};

} // namespace demohome
