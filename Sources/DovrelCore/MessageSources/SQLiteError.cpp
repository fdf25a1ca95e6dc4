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
