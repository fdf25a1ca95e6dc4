#include "MessageSources/GroupRecords.h"

#include <algorithm>

namespace dovrel {
namespace {

constexpr std::size_t namesShown = 3;

// The first word of a name: "Ana María López" gives "Ana". A name that is nothing but blanks has no word.
std::string_view firstWord(std::string_view name) {
    const std::size_t start = name.find_first_not_of(' ');
    if (start == std::string_view::npos) {
        return {};
    }
    const std::size_t end = name.find(' ', start);
    return name.substr(start, end == std::string_view::npos ? std::string_view::npos : end - start);
}

} // namespace

std::string GroupThread::fallbackName(const std::function<std::string(const std::string&)>& resolve) const {
    std::string title;
    const std::size_t shown = std::min(participants.size(), namesShown);
    for (std::size_t i = 0; i < shown; ++i) {
        const std::string resolved = resolve(participants[i]);
        std::string_view word = firstWord(resolved);
        // A blank name would leave a gap in the list; the handle at least tells who it is.
        if (word.empty()) {
            word = participants[i];
        }
        if (i > 0) {
            title += ", ";
        }
        title += word;
    }
    if (participants.size() > shown) {
        title += " & " + std::to_string(participants.size() - shown) + " more";
    }
    return title;
}

} // namespace dovrel
