#include "MessageSources/SQLRow.h"

#include "Foundation/Unicode.h"
#include "MessageSources/SQLiteError.h"

#include <cmath>
#include <sqlite3.h>

namespace dovrel {
namespace {

// Searching from the back makes the later of two equal names win, as with map insertion.
std::ptrdiff_t lastIndexOf(const SQLRow::Columns& columns, std::string_view column) {
    if (!columns) {
        return -1;
    }
    const std::vector<std::string>& names = *columns;
    for (std::size_t i = names.size(); i-- > 0;) {
        if (names[i] == column) {
            return static_cast<std::ptrdiff_t>(i);
        }
    }
    return -1;
}

// The schemas read here keep no fractions in the columns asked for, so a REAL is read as an integer, cut
// towards zero. A value with no integer form only comes from a damaged or hostile file: nothing, never a
// reason to end the process.
std::optional<std::int64_t> truncatedInteger(double value) {
    constexpr double limit = 9223372036854775808.0; // 2^63
    if (!std::isfinite(value) || value >= limit || value < -limit) {
        return std::nullopt;
    }
    return static_cast<std::int64_t>(std::trunc(value));
}

} // namespace

SQLRow::SQLRow(Columns columns, std::vector<SQLValue> cells)
    : columns_(std::move(columns))
    , cells_(std::move(cells)) {}

std::ptrdiff_t SQLRow::indexOf(std::string_view column) const {
    return lastIndexOf(columns_, column);
}

const SQLRow::SQLValue* SQLRow::value(std::string_view column) const {
    const std::ptrdiff_t index = indexOf(column);
    if (index < 0 || static_cast<std::size_t>(index) >= cells_.size()) {
        return nullptr;
    }
    return &cells_[static_cast<std::size_t>(index)];
}

std::map<std::string, SQLRow::SQLValue> SQLRow::values() const {
    std::map<std::string, SQLValue> map;
    if (!columns_) {
        return map;
    }
    for (std::size_t i = 0; i < cells_.size() && i < columns_->size(); ++i) {
        map.insert_or_assign((*columns_)[i], cells_[i]);
    }
    return map;
}

std::optional<std::int64_t> SQLRow::int64(std::string_view column) const {
    const SQLValue* cell = value(column);
    if (cell == nullptr) {
        return std::nullopt;
    }
    if (const auto* number = std::get_if<std::int64_t>(cell)) {
        return *number;
    }
    return std::nullopt;
}

std::optional<std::string> SQLRow::string(std::string_view column) const {
    if (const std::string* text = stringRef(column)) {
        return *text;
    }
    return std::nullopt;
}

std::optional<Bytes> SQLRow::blob(std::string_view column) const {
    if (const Bytes* bytes = blobRef(column)) {
        return *bytes;
    }
    return std::nullopt;
}

const std::string* SQLRow::stringRef(std::string_view column) const {
    const SQLValue* cell = value(column);
    return cell == nullptr ? nullptr : std::get_if<std::string>(cell);
}

const Bytes* SQLRow::blobRef(std::string_view column) const {
    const SQLValue* cell = value(column);
    return cell == nullptr ? nullptr : std::get_if<Bytes>(cell);
}

std::optional<std::string> SQLRow::takeString(std::string_view column) {
    const std::ptrdiff_t index = indexOf(column);
    if (index < 0 || static_cast<std::size_t>(index) >= cells_.size()) {
        return std::nullopt;
    }
    if (auto* text = std::get_if<std::string>(&cells_[static_cast<std::size_t>(index)])) {
        return std::move(*text);
    }
    return std::nullopt;
}

SQLRowView::SQLRowView(sqlite3_stmt* statement, SQLRow::Columns columns)
    : statement_(statement)
    , columns_(std::move(columns)) {
    const std::size_t count = columns_ ? columns_->size() : 0;
    cases_.resize(count, Case::null);
    real_.resize(count, false);
    repaired_.resize(count);
    repairedRow_.resize(count, 0);
}

std::ptrdiff_t SQLRowView::columnIndex(std::string_view column) const {
    return lastIndexOf(columns_, column);
}

void SQLRowView::load() {
    ++row_;
    for (std::size_t i = 0; i < cases_.size(); ++i) {
        const int column = static_cast<int>(i);
        const int type = sqlite3_column_type(statement_, column);
        real_[i] = type == SQLITE_FLOAT;
        switch (type) {
        case SQLITE_INTEGER:
            cases_[i] = Case::int64;
            break;
        case SQLITE_FLOAT:
            cases_[i] = Case::int64;
            break;
        case SQLITE_TEXT:
            cases_[i] = Case::text;
            break;
        case SQLITE_BLOB:
            cases_[i] = Case::blob;
            break;
        default:
            cases_[i] = Case::null;
        }
    }
}

std::optional<std::int64_t> SQLRowView::int64(std::ptrdiff_t column) const {
    if (type(column) != Case::int64) {
        return std::nullopt;
    }
    if (real_[index(column)]) {
        return truncatedInteger(sqlite3_column_double(statement_, static_cast<int>(column)));
    }
    return std::int64_t{sqlite3_column_int64(statement_, static_cast<int>(column))};
}

std::optional<std::string_view> SQLRowView::text(std::ptrdiff_t column) const {
    if (type(column) != Case::text) {
        return std::nullopt;
    }
    const int at = static_cast<int>(column);
    const auto* bytes = sqlite3_column_text(statement_, at);
    const auto size = static_cast<std::size_t>(sqlite3_column_bytes(statement_, at));
    if (bytes == nullptr) {
        return std::string_view();
    }
    const std::span<const std::uint8_t> span(bytes, size);
    if (unicode::isValidUTF8(span)) {
        return std::string_view(reinterpret_cast<const char*>(bytes), size);
    }
    std::string& repaired = repaired_[index(column)];
    if (repairedRow_[index(column)] != row_) {
        repaired = unicode::repairUTF8(span);
        repairedRow_[index(column)] = row_;
    }
    return std::string_view(repaired);
}

std::optional<std::span<const std::uint8_t>> SQLRowView::blob(std::ptrdiff_t column) const {
    if (type(column) != Case::blob) {
        return std::nullopt;
    }
    const int at = static_cast<int>(column);
    const auto* data = static_cast<const std::uint8_t*>(sqlite3_column_blob(statement_, at));
    const auto size = static_cast<std::size_t>(sqlite3_column_bytes(statement_, at));
    if (data == nullptr || size == 0) {
        return std::span<const std::uint8_t>();
    }
    return std::span<const std::uint8_t>(data, size);
}

bool SQLRowView::unusable(std::ptrdiff_t column) const {
    return type(column) == Case::int64 && real_[index(column)] && !int64(column);
}

SQLRow::SQLValue SQLRowView::value(std::ptrdiff_t column) const {
    switch (type(column)) {
    case Case::int64:
        if (const std::optional<std::int64_t> number = int64(column)) {
            return *number;
        }
        throw SQLiteError(SQLiteError::Case::stepFailed, "REAL value with no 64-bit integer form in column " +
                                                             (*columns_)[index(column)] + " of row " +
                                                             std::to_string(row_));
    case Case::text:
        return std::string(*text(column));
    case Case::blob: {
        const std::span<const std::uint8_t> bytes = *blob(column);
        return Bytes(bytes.begin(), bytes.end());
    }
    case Case::null:
        break;
    }
    return std::monostate{};
}

} // namespace dovrel
