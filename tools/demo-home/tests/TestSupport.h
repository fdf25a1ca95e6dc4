#pragma once

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <sqlite3.h>
#include <stdexcept>
#include <string>
#include <string_view>
#include <unistd.h>
#include <vector>

namespace demohome::testing {

// A fresh folder under the system temp directory, removed with everything in it.
class TempDir {
public:
    TempDir() {
        static std::atomic<int> counter{0};
        path_ = std::filesystem::temp_directory_path() /
                ("demo-home-test-" + std::to_string(::getpid()) + "-" + std::to_string(counter++));
        std::filesystem::remove_all(path_);
        std::filesystem::create_directories(path_);
    }
    ~TempDir() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    [[nodiscard]] const std::filesystem::path& path() const { return path_; }

private:
    std::filesystem::path path_;
};

// A small read-only view of a database through the plain C API, so that the tests do not read
// through the code they test.
class Db {
public:
    explicit Db(const std::filesystem::path& path, bool readOnly = true) {
        const int flags = readOnly ? SQLITE_OPEN_READONLY : SQLITE_OPEN_READWRITE;
        if (sqlite3_open_v2(path.string().c_str(), &db_, flags, nullptr) != SQLITE_OK) {
            const std::string message = sqlite3_errmsg(db_);
            sqlite3_close(db_);
            throw std::runtime_error("open " + path.string() + ": " + message);
        }
    }
    ~Db() { sqlite3_close(db_); }
    Db(const Db&) = delete;
    Db& operator=(const Db&) = delete;

    class Rows {
    public:
        Rows(sqlite3* db, std::string_view sql) {
            if (sqlite3_prepare_v2(db, sql.data(), static_cast<int>(sql.size()), &stmt_, nullptr) !=
                SQLITE_OK) {
                throw std::runtime_error(std::string("prepare: ") + sqlite3_errmsg(db) + " in " +
                                         std::string(sql));
            }
        }
        ~Rows() { sqlite3_finalize(stmt_); }
        Rows(const Rows&) = delete;
        Rows& operator=(const Rows&) = delete;

        Rows& bind(int index, std::int64_t value) {
            sqlite3_bind_int64(stmt_, index, value);
            return *this;
        }
        Rows& bind(int index, const std::string& value) {
            sqlite3_bind_text(stmt_, index, value.c_str(), static_cast<int>(value.size()), SQLITE_TRANSIENT);
            return *this;
        }
        bool next() {
            const int rc = sqlite3_step(stmt_);
            if (rc != SQLITE_ROW && rc != SQLITE_DONE) {
                throw std::runtime_error(std::string("step: ") + sqlite3_errmsg(sqlite3_db_handle(stmt_)));
            }
            return rc == SQLITE_ROW;
        }
        [[nodiscard]] int columns() const { return sqlite3_column_count(stmt_); }
        [[nodiscard]] int type(int c) const { return sqlite3_column_type(stmt_, c); }
        [[nodiscard]] std::int64_t integer(int c) const { return sqlite3_column_int64(stmt_, c); }
        [[nodiscard]] double real(int c) const { return sqlite3_column_double(stmt_, c); }
        [[nodiscard]] std::string text(int c) const {
            const auto* p = sqlite3_column_text(stmt_, c);
            return p == nullptr ? std::string()
                                : std::string(reinterpret_cast<const char*>(p),
                                              static_cast<std::size_t>(sqlite3_column_bytes(stmt_, c)));
        }
        [[nodiscard]] std::optional<std::string> optionalText(int c) const {
            if (type(c) == SQLITE_NULL) {
                return std::nullopt;
            }
            return text(c);
        }
        [[nodiscard]] std::optional<std::vector<std::uint8_t>> blob(int c) const {
            if (type(c) == SQLITE_NULL) {
                return std::nullopt;
            }
            const auto* p = static_cast<const std::uint8_t*>(sqlite3_column_blob(stmt_, c));
            const auto n = static_cast<std::size_t>(sqlite3_column_bytes(stmt_, c));
            return p == nullptr ? std::vector<std::uint8_t>() : std::vector<std::uint8_t>(p, p + n);
        }

    private:
        sqlite3_stmt* stmt_ = nullptr;
    };

    Rows query(std::string_view sql) const { return Rows(db_, sql); }

    std::int64_t scalar(std::string_view sql) const {
        Rows rows(db_, sql);
        if (!rows.next()) {
            throw std::runtime_error("no row for " + std::string(sql));
        }
        return rows.integer(0);
    }

    // Every table's rows in a stable order, with values tagged by type, for comparing content.
    std::string dump() const {
        std::vector<std::string> tables;
        {
            Rows rows(db_, "SELECT name FROM sqlite_master WHERE type = 'table' ORDER BY name");
            while (rows.next()) {
                tables.push_back(rows.text(0));
            }
        }
        std::string out;
        for (const std::string& table : tables) {
            out += "## " + table + "\n";
            Rows rows(db_, "SELECT * FROM \"" + table + "\" ORDER BY rowid");
            while (rows.next()) {
                for (int c = 0; c < rows.columns(); ++c) {
                    switch (rows.type(c)) {
                    case SQLITE_NULL:
                        out += "N";
                        break;
                    case SQLITE_INTEGER:
                        out += "I" + std::to_string(rows.integer(c));
                        break;
                    case SQLITE_FLOAT:
                        out += "F" + std::to_string(rows.real(c));
                        break;
                    case SQLITE_TEXT:
                        out += "T" + rows.text(c);
                        break;
                    default: {
                        const auto bytes = rows.blob(c).value_or(std::vector<std::uint8_t>());
                        out += "B" + std::string(bytes.begin(), bytes.end());
                    }
                    }
                    out += '\x1f';
                }
                out += '\n';
            }
        }
        return out;
    }

private:
    sqlite3* db_ = nullptr;
};

// Reads the text out of an attributedBody typedstream the way a reader does: find the NSString
// class, then the '+' type marker, then a length (one byte, or 0x81 and two bytes little endian)
// and that many bytes of UTF-8.
inline std::optional<std::string> decodeAttributedBody(const std::vector<std::uint8_t>& blob) {
    static const std::string kClass = "NSString";
    const std::string bytes(blob.begin(), blob.end());
    const std::size_t at = bytes.find(kClass);
    if (at == std::string::npos) {
        return std::nullopt;
    }
    std::size_t p = bytes.find('\x2b', at + kClass.size());
    if (p == std::string::npos || p + 1 >= bytes.size()) {
        return std::nullopt;
    }
    ++p;
    std::size_t length = blob[p++];
    if (length == 0x81) {
        if (p + 2 > blob.size()) {
            return std::nullopt;
        }
        length = static_cast<std::size_t>(blob[p]) | (static_cast<std::size_t>(blob[p + 1]) << 8);
        p += 2;
    } else if (length > 0x7F) {
        return std::nullopt;
    }
    if (p + length > blob.size()) {
        return std::nullopt;
    }
    return bytes.substr(p, length);
}

// Seconds since 2001 of a stored message date: nanoseconds on recent rows, seconds on old ones.
inline double dateSeconds(std::int64_t date) {
    if (date > 100'000'000'000LL) {
        return static_cast<double>(date / 1'000'000'000) + static_cast<double>(date % 1'000'000'000) / 1e9;
    }
    return static_cast<double>(date);
}

} // namespace demohome::testing
