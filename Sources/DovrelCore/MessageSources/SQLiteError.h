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

} // namespace dovrel
