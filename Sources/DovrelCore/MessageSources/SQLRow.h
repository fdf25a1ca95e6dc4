#pragma once

#include "Foundation/Bytes.h"

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

struct sqlite3_stmt;

namespace dovrel {

// One row of a query result. It reads as a map from column name to value; the rows of one result share
// their list of column names. When two columns have one name, the later one is the one that counts.
class SQLRow {
public:
    // The cases in their fixed order: int, text, blob, null.
    using SQLValue = std::variant<std::int64_t, std::string, Bytes, std::monostate>;
    using Columns = std::shared_ptr<const std::vector<std::string>>;

    SQLRow() = default;
    SQLRow(Columns columns, std::vector<SQLValue> cells);

    // The value of a column, or null when there is no such column.
    const SQLValue* value(std::string_view column) const;
    // The row as a map (duplicate names resolved to the later column).
    std::map<std::string, SQLValue> values() const;

    // The value when the column exists and holds exactly that case; no conversion between cases.
    std::optional<std::int64_t> int64(std::string_view column) const;
    std::optional<std::string> string(std::string_view column) const;
    std::optional<Bytes> blob(std::string_view column) const;

    // Borrowing forms of the two accessors above, for readers that walk millions of rows.
    const std::string* stringRef(std::string_view column) const;
    const Bytes* blobRef(std::string_view column) const;

    // Moves a text value out of the row (the row is left with an empty text there).
    std::optional<std::string> takeString(std::string_view column);

    std::size_t columnCount() const { return cells_.size(); }

private:
    std::ptrdiff_t indexOf(std::string_view column) const;

    Columns columns_;
    std::vector<SQLValue> cells_;
};

// The row a running statement stands on, read in place: a cell is decoded only when it is asked for, and
// text and blobs are lent out of SQLite's own buffers. The rules are those of SQLRow: the same four cases, a
// REAL read as an integer cut towards zero, invalid UTF-8 replaced. A REAL with no 64-bit integer form (a
// damaged cell) is `unusable`: it reads as no integer at all, and only the reader that asks for it decides
// what that means for the row. Look column indexes up once per statement; an index of -1 (an absent column)
// reads as null.
//
// Only valid inside the visit that hands it out, and so is everything it lends.
class SQLRowView {
public:
    // The cases in SQLRow::SQLValue's order.
    enum class Case : std::uint8_t { int64, text, blob, null };

    std::size_t columnCount() const { return cases_.size(); }
    // The index of a column, or -1. When two columns have one name, the later one counts.
    std::ptrdiff_t columnIndex(std::string_view column) const;

    Case type(std::ptrdiff_t column) const { return inRange(column) ? cases_[index(column)] : Case::null; }
    std::optional<std::int64_t> int64(std::ptrdiff_t column) const;
    bool unusable(std::ptrdiff_t column) const;
    // The row's place in the result, from 1; for messages that name a row.
    std::uint64_t rowNumber() const { return row_; }
    std::optional<std::string_view> text(std::ptrdiff_t column) const;
    std::optional<std::span<const std::uint8_t>> blob(std::ptrdiff_t column) const;
    // An owned copy of the cell. Throws SQLiteError (stepFailed), naming the column and the row, for an
    // unusable cell: a copy of the whole row has no rule for it.
    SQLRow::SQLValue value(std::ptrdiff_t column) const;

private:
    friend class SQLiteDB;
    SQLRowView(sqlite3_stmt* statement, SQLRow::Columns columns);
    // Reads the cases of the row the statement now stands on; converts nothing yet.
    void load();

    bool inRange(std::ptrdiff_t column) const {
        return column >= 0 && static_cast<std::size_t>(column) < cases_.size();
    }
    static std::size_t index(std::ptrdiff_t column) { return static_cast<std::size_t>(column); }

    sqlite3_stmt* statement_;
    SQLRow::Columns columns_;
    std::vector<Case> cases_;
    std::vector<bool> real_;
    // Text that needed repair, kept per column for the row it was made for.
    std::uint64_t row_ = 0;
    mutable std::vector<std::string> repaired_;
    mutable std::vector<std::uint64_t> repairedRow_;
};

} // namespace dovrel
