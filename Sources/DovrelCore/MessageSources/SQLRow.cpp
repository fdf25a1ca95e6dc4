#include "MessageSources/SQLRow.h"

namespace dovrel {

SQLRow::SQLRow(Columns columns, std::vector<SQLValue> cells)
    : columns_(std::move(columns))
    , cells_(std::move(cells)) {}

std::ptrdiff_t SQLRow::indexOf(std::string_view column) const {
    if (!columns_) {
        return -1;
    }
    // Searching from the back makes the later of two equal names win, as with map insertion.
    const std::vector<std::string>& names = *columns_;
    for (std::size_t i = names.size(); i-- > 0;) {
        if (names[i] == column) {
            return static_cast<std::ptrdiff_t>(i);
        }
    }
    return -1;
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

} // namespace dovrel
