#include "Persistence/Snapshot.h"

#include "Foundation/Json.h"

namespace dovrel {

void to_json(nlohmann::json& out, const Snapshot& snapshot) {
    out = nlohmann::json::object();
    out["savedAt"] = snapshot.savedAt;
    out["days"] = snapshot.days;
    out["stats"] = snapshot.stats;
    out["people"] = snapshot.people;
    out["names"] = snapshot.names;
}

void from_json(const nlohmann::json& in, Snapshot& snapshot) {
    json::expectObject(in, "snapshot");
    snapshot.savedAt = json::required<Date>(in, "savedAt");
    snapshot.days = json::required<int>(in, "days");
    snapshot.stats = json::required<WrappedStats>(in, "stats");
    snapshot.people = json::required<std::vector<PersonInsights>>(in, "people");
    snapshot.names = json::required<std::map<std::string, std::string>>(in, "names");
}

} // namespace dovrel
