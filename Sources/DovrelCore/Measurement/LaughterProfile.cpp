#include "Measurement/LaughterProfile.h"

#include "Foundation/Json.h"

namespace dovrel {

void to_json(nlohmann::json& out, const LaughterProfile& profile) {
    out = nlohmann::json{{"hahaCount", profile.hahaCount},
                         {"capsHahaCount", profile.capsHahaCount},
                         {"lolCount", profile.lolCount},
                         {"laughEmojiCount", profile.laughEmojiCount}};
}

void from_json(const nlohmann::json& in, LaughterProfile& profile) {
    json::expectObject(in, "a laughter profile");
    profile.hahaCount = json::required<int>(in, "hahaCount");
    profile.capsHahaCount = json::required<int>(in, "capsHahaCount");
    profile.lolCount = json::required<int>(in, "lolCount");
    profile.laughEmojiCount = json::required<int>(in, "laughEmojiCount");
}

} // namespace dovrel
