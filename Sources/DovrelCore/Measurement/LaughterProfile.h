#pragma once

#include <nlohmann/json_fwd.hpp>

namespace dovrel {

// How many of the user's messages laugh, and how. Each counter counts messages, not laughs.
struct LaughterProfile {
    int hahaCount = 0;       // first haha match not all upper case
    int capsHahaCount = 0;   // first haha match all upper case
    int lolCount = 0;        // a lol match anywhere
    int laughEmojiCount = 0; // 😂 or 🤣 anywhere

    int total() const { return hahaCount + capsHahaCount + lolCount + laughEmojiCount; }

    bool operator==(const LaughterProfile&) const = default;
};

void to_json(nlohmann::json& out, const LaughterProfile& profile);
void from_json(const nlohmann::json& in, LaughterProfile& profile);

} // namespace dovrel
