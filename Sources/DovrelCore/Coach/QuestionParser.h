#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace dovrel::QuestionParser {

// The contact a question is about, from the words behind "reply to", "text", "message" and the like, up to
// the first word that cannot belong to a name ("tonight", "about", ...). Absent when there is none.
std::optional<std::string> contactName(std::string_view question);

} // namespace dovrel::QuestionParser
