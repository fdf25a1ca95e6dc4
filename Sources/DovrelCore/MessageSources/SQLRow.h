#pragma once

#include "Foundation/Bytes.h"

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

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

} // namespace dovrel
