#include "Foundation/Json.h"
#include "Persistence/Artifacts.h"
#include "Persistence/Snapshot.h"

#include <gtest/gtest.h>

using namespace dovrel;
using Json = nlohmann::json;

namespace {

Artifacts sampleArtifacts() {
    Artifacts artifacts;
    artifacts.archetypeTitle = "The Night Owl";
    artifacts.archetypeBody = "You text after midnight.";
    artifacts.deepDives["+15550001"] = StoredDive{"A long report", Date{0}, Date{700'000'000.25}};
    artifacts.transcripts[""] = {CoachMessage::make(CoachMessage::Role::user, "hi", Date{5}),
                                 CoachMessage::make(CoachMessage::Role::coach, "hello", std::nullopt,
                                                    std::vector<std::string>{"Searched your messages"})};
    artifacts.transcripts["+15550001"] = {CoachMessage::make(CoachMessage::Role::note, "Session archived")};
    return artifacts;
}

} // namespace

TEST(PersistenceTest, ArtifactsRoundTripAndLeaveAbsentKeysOut) {
    const Artifacts artifacts = sampleArtifacts();
    const Json encoded = artifacts;
    EXPECT_EQ(encoded.at("memoryNotes"), Json::object());
    EXPECT_FALSE(encoded.contains("memory"));
    const Json& general = encoded.at("transcripts").at("");
    EXPECT_FALSE(general.at(0).contains("sources"));
    EXPECT_FALSE(general.at(1).contains("date"));
    EXPECT_EQ(general.at(1).at("role"), "coach");
    // Dates are seconds since 2001: 0 stays 0, never a Unix time.
    EXPECT_EQ(encoded.at("deepDives").at("+15550001").at("generatedAt"), 0.0);

    Artifacts decoded;
    from_json(Json::parse(encoded.dump()), decoded);
    EXPECT_EQ(decoded, artifacts);

    Artifacts noTitle = artifacts;
    noTitle.archetypeTitle.reset();
    EXPECT_FALSE(Json(noTitle).contains("archetypeTitle"));
}

TEST(PersistenceTest, AnyBadPartRejectsTheWholeArtifactsFile) {
    const Json good = sampleArtifacts();
    auto rejectsDecode = [](const Json& document) {
        Artifacts decoded;
        EXPECT_THROW(from_json(document, decoded), dovrel::json::DecodeError) << document.dump();
    };

    Json withoutNotes = good;
    withoutNotes.erase("memoryNotes");
    rejectsDecode(withoutNotes);

    Json withoutRole = good;
    withoutRole["transcripts"][""][1].erase("role");
    rejectsDecode(withoutRole);

    Json badRole = good;
    badRole["transcripts"][""][0]["role"] = "assistant";
    rejectsDecode(badRole);

    Json textAsNumber = good;
    textAsNumber["deepDives"]["+15550001"]["text"] = 7;
    rejectsDecode(textAsNumber);

    Json idNoUUID = good;
    idNoUUID["transcripts"][""][0]["id"] = "message-1";
    rejectsDecode(idNoUUID);

    rejectsDecode(Json::array());

    // A message id written in lower case is read in the upper-case form new ids take.
    Json lowerID = good;
    lowerID["transcripts"][""][0]["id"] = "1b4e28ba-2fa1-41d2-883f-0016d3cca427";
    Artifacts read;
    from_json(lowerID, read);
    EXPECT_EQ(read.transcripts.at("").at(0).id, "1B4E28BA-2FA1-41D2-883F-0016D3CCA427");

    // Files written before memory existed still load, with their old notes for migration.
    Json old = good;
    old["memoryNotes"] = {{"+15550001", "likes hiking"}};
    Artifacts decoded;
    from_json(old, decoded);
    EXPECT_EQ(decoded.memoryNotes.at("+15550001"), "likes hiking");
    EXPECT_FALSE(decoded.memory.has_value());
    EXPECT_EQ(Json(decoded).at("memoryNotes"), Json::object()); // never written back
}

TEST(PersistenceTest, SnapshotRoundTripsWithStatsAndPeople) {
    Snapshot snapshot;
    snapshot.savedAt = Date{789'000'000.5};
    snapshot.days = 365;
    snapshot.stats.interval = DateInterval{Date{757'382'400}, 31'536'000};
    snapshot.stats.totalMessages = 12;
    snapshot.stats.myMedianReplySeconds = 42.5;
    snapshot.stats.myTopEmojis = std::vector<TextStyle::EmojiCount>{};
    snapshot.names["+15550001"] = "Ana Diaz";
    const Json encoded = snapshot;
    EXPECT_FALSE(encoded.at("stats").contains("myInitiationRate"));
    Snapshot decoded;
    from_json(Json::parse(encoded.dump()), decoded);
    EXPECT_EQ(decoded, snapshot);

    Json missingNames = encoded;
    missingNames.erase("names");
    EXPECT_THROW(from_json(missingNames, decoded), dovrel::json::DecodeError);
}

TEST(PersistenceTest, StaleDiveNoteCountsOnlyNewerMessages) {
    const Calendar ny("America/New_York");
    const StoredDive dive{"report", ny.date(2025, 3, 5, 10), Date{1000}};
    const std::vector<Date> none{Date{10}, Date{1000}};
    EXPECT_EQ(staleDiveNote(dive, none, ny), std::nullopt);
    const std::vector<Date> one{Date{10}, Date{1000}, Date{1000.5}};
    EXPECT_EQ(staleDiveNote(dive, one, ny), "From Mar 5 \u2014 1 new message since.");
    const std::vector<Date> three{Date{1001}, Date{1002}, Date{1003}};
    EXPECT_EQ(staleDiveNote(dive, three, ny), "From Mar 5 \u2014 3 new messages since.");
}
