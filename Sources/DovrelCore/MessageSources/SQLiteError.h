#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

namespace dovrel {

// A failure of the SQLite wrapper. `what()` is the default printable form shown to the user:
// the case's name, then the text in parentheses and double quotes, e.g. openFailed("unable to open database
// file").
class SQLiteError : public std::runtime_error {
public:
    enum class Case { openFailed, prepareFailed, stepFailed };

    SQLiteError(Case errorCase, std::string message);

    Case errorCase() const { return case_; }
    const std::string& message() const { return message_; }

    static std::string_view caseName(Case errorCase);

private:
    Case case_;
    std::string message_;
};

// A database without a table or column a reader needs: an older or foreign layout, or a file that holds no
// tables at all. `what()` stays the failure's own form; `explanation()` says in plain words what is missing.
class MissingSchemaError : public SQLiteError {
public:
    // An empty `table` means the database holds no tables at all; an empty `column`, that the table is
    // missing.
    MissingSchemaError(const SQLiteError& failure, std::string table, std::string column);

    const std::string& table() const { return table_; }
    const std::string& column() const { return column_; }
    bool holdsNoTables() const { return table_.empty(); }
    std::string explanation() const;

private:
    std::string table_;
    std::string column_;
};

} // namespace dovrel
