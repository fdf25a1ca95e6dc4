#include "MessageSources/SQLiteError.h"

namespace dovrel {
namespace {

std::string printable(SQLiteError::Case errorCase, const std::string& message) {
    std::string text(SQLiteError::caseName(errorCase));
    text += "(\"";
    text += message;
    text += "\")";
    return text;
}

} // namespace

SQLiteError::SQLiteError(Case errorCase, std::string message)
    : std::runtime_error(printable(errorCase, message))
    , case_(errorCase)
    , message_(std::move(message)) {}

MissingSchemaError::MissingSchemaError(const SQLiteError& failure, std::string table, std::string column)
    : SQLiteError(failure.errorCase(), failure.message())
    , table_(std::move(table))
    , column_(std::move(column)) {}

std::string MissingSchemaError::explanation() const {
    if (holdsNoTables()) {
        return "The file holds no tables at all: it is empty or not a Messages database.";
    }
    const std::string what =
        column_.empty() ? "no table \u201c" + table_ + "\u201d"
                        : "no column \u201c" + column_ + "\u201d in its table \u201c" + table_ + "\u201d";
    return "The Messages database has " + what +
           ", which is needed to read it. It may come from an older or newer version of macOS or iOS.";
}

std::string_view SQLiteError::caseName(Case errorCase) {
    switch (errorCase) {
    case Case::openFailed:
        return "openFailed";
    case Case::prepareFailed:
        return "prepareFailed";
    case Case::stepFailed:
        return "stepFailed";
    }
    return "unknown";
}

} // namespace dovrel
