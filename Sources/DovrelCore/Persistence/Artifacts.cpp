#include "Persistence/Artifacts.h"

#include "Format/Format.h"
#include "Foundation/Json.h"
#include "Foundation/UUID.h"

namespace dovrel {

CoachMessage CoachMessage::make(Role role, std::string text, std::optional<Date> date,
                                std::optional<std::vector<std::string>> sources) {
    return CoachMessage{makeUUID(), role, std::move(text), date, std::move(sources)};
}

std::string_view CoachMessage::roleName(Role role) {
    switch (role) {
    case Role::user:
        return "user";
    case Role::coach:
        return "coach";
    case Role::note:
        return "note";
    }
    return "user";
}

void to_json(nlohmann::json& out, const StoredDive& dive) {
    out = nlohmann::json::object();
    out["text"] = dive.text;
    out["generatedAt"] = dive.generatedAt;
    out["threadLastDate"] = dive.threadLastDate;
}

void from_json(const nlohmann::json& in, StoredDive& dive) {
    json::expectObject(in, "deep dive");
    dive.text = json::required<std::string>(in, "text");
    dive.generatedAt = json::required<Date>(in, "generatedAt");
    dive.threadLastDate = json::required<Date>(in, "threadLastDate");
}

void to_json(nlohmann::json& out, const CoachMessage& message) {
    out = nlohmann::json::object();
    out["id"] = message.id;
    out["role"] = CoachMessage::roleName(message.role);
    out["text"] = message.text;
    json::writeOptional(out, "date", message.date);
    json::writeOptional(out, "sources", message.sources);
}

void from_json(const nlohmann::json& in, CoachMessage& message) {
    json::expectObject(in, "coach message");
    const std::optional<std::string> id = canonicalUUID(json::required<std::string>(in, "id"));
    if (!id) {
        throw json::DecodeError("id: expected a UUID");
    }
    message.id = *id;
    const std::string role = json::required<std::string>(in, "role");
    if (role == "user") {
        message.role = CoachMessage::Role::user;
    } else if (role == "coach") {
        message.role = CoachMessage::Role::coach;
    } else if (role == "note") {
        message.role = CoachMessage::Role::note;
    } else {
        throw json::DecodeError("role: unknown value \"" + role + "\"");
    }
    message.text = json::required<std::string>(in, "text");
    message.date = json::optional<Date>(in, "date");
    message.sources = json::optional<std::vector<std::string>>(in, "sources");
}

void to_json(nlohmann::json& out, const Artifacts& artifacts) {
    out = nlohmann::json::object();
    json::writeOptional(out, "archetypeTitle", artifacts.archetypeTitle);
    json::writeOptional(out, "archetypeBody", artifacts.archetypeBody);
    out["deepDives"] = artifacts.deepDives;
    out["transcripts"] = artifacts.transcripts;
    out["memoryNotes"] = nlohmann::json::object(); // migrated at start; never written back
    json::writeOptional(out, "memory", artifacts.memory);
}

void from_json(const nlohmann::json& in, Artifacts& artifacts) {
    json::expectObject(in, "artifacts");
    artifacts.archetypeTitle = json::optional<std::string>(in, "archetypeTitle");
    artifacts.archetypeBody = json::optional<std::string>(in, "archetypeBody");
    artifacts.deepDives = json::required<std::map<std::string, StoredDive>>(in, "deepDives");
    artifacts.transcripts =
        json::required<std::map<std::string, std::vector<CoachMessage>>>(in, "transcripts");
    artifacts.memoryNotes = json::required<std::map<std::string, std::string>>(in, "memoryNotes");
    artifacts.memory = json::optional<std::map<std::string, std::vector<MemoryEntry>>>(in, "memory");
}

std::optional<std::string> staleDiveNote(const StoredDive& dive, std::span<const Date> threadDates,
                                         const Calendar& calendar, std::string_view locale) {
    std::size_t newer = 0;
    for (const Date date : threadDates) {
        if (date > dive.threadLastDate) {
            ++newer;
        }
    }
    if (newer == 0) {
        return std::nullopt;
    }
    return "From " + Format::monthDay(dive.generatedAt, calendar, locale) + " \u2014 " +
           std::to_string(newer) + " new message" + (newer == 1 ? "" : "s") + " since.";
}

} // namespace dovrel
