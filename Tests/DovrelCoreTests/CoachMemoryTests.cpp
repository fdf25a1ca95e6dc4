#include "Coach/CoachMemory.h"
#include "Foundation/Calendar.h"
#include "Foundation/Json.h"
#include "Foundation/UUID.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <regex>
#include <set>

using namespace dovrel;
using Json = nlohmann::json;
using Kind = MemoryEntry::Kind;
using Op = CoachMemory::Op;

namespace {

MemoryEntry entry(Kind kind, std::string text, bool done = false, Date date = Date{0.0}) {
    return MemoryEntry{makeUUID(), kind, std::move(text), date, done};
}

Op add(std::string kind, std::string text) {
    return Op{"add", std::move(kind), std::move(text), std::nullopt};
}

Op withRef(std::string op, std::int64_t ref) {
    return Op{std::move(op), std::nullopt, std::nullopt, ref};
}

std::vector<std::string> texts(const std::vector<MemoryEntry>& entries) {
    std::vector<std::string> out;
    for (const MemoryEntry& e : entries) {
        out.push_back(e.text);
    }
    return out;
}

bool isUpperUUID(const std::string& id) {
    static const std::regex form("[0-9A-F]{8}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{12}");
    return std::regex_match(id, form);
}

// `count` entries of one kind, texts "{prefix}{i}".
std::vector<MemoryEntry> many(Kind kind, int count, const std::string& prefix) {
    std::vector<MemoryEntry> out;
    for (int i = 0; i < count; ++i) {
        out.push_back(entry(kind, prefix + std::to_string(i)));
    }
    return out;
}

std::vector<MemoryEntry> joined(std::initializer_list<std::vector<MemoryEntry>> parts) {
    std::vector<MemoryEntry> out;
    for (const auto& part : parts) {
        out.insert(out.end(), part.begin(), part.end());
    }
    return out;
}

} // namespace

TEST(CoachMemoryTest, ParseOpsReadsFromTheFirstOpenToTheLastCloseBrace) {
    const auto ops = CoachMemory::parseOps(
        "Sure! ```json\n{\"ops\":[{\"op\":\"add\",\"kind\":\"fact\",\"text\":\"Has a dog "
        "{Rex}\",\"why\":[1]},"
        "{\"op\":\"resolve\",\"ref\":3.0,\"kind\":null},{\"op\":\"remove\",\"ref\":5000000000}]}\n``` Done.");
    const std::vector<Op> expected = {add("fact", "Has a dog {Rex}"), withRef("resolve", 3),
                                      withRef("remove", 5'000'000'000)};
    EXPECT_EQ(ops, expected);
    EXPECT_TRUE(CoachMemory::parseOps("{\"ops\":[]}").empty());
}

TEST(CoachMemoryTest, ParseOpsGivesNothingForAnyMalformedReply) {
    const std::string deep =
        "{\"ops\":[],\"x\":" + std::string(100'000, '[') + std::string(100'000, ']') + "}";
    // Among them: a stray brace behind the object (the last brace ends it), one bad operation among good.
    const std::vector<std::string> replies = {
        "",
        "nothing to add",
        R"({"ops":[)",
        "} and then {",
        R"({"ops":[]} and a stray })",
        R"({"ops":[{"op":"add","kind":"fact","text":"ok"},{"op":1}]})",
        R"({"ops":[{"kind":"fact","text":"no op"}]})",
        R"({"ops":[{"op":"remove","ref":"3"}]})",
        R"({"ops":[{"op":"remove","ref":2.5}]})",
        R"({"ops":[{"op":"remove","ref":true}]})",
        R"({"ops":[{"op":"remove","ref":1e30}]})",
        R"({"ops":[{"op":"remove","ref":9223372036854775808.0}]})", // 2^63, just past every int64
        R"({"ops":[{"op":"remove","ref":18446744073709551615}]})",
        R"({"ops":[{"op":"add","kind":"fact","text":5}]})",
        R"({"ops":["add"]})",
        R"({"ops":{}})",
        R"({"Ops":[]})",
        "{\"ops\":[{\"op\":\"add\",\"kind\":\"fact\",\"text\":\"\xff\"}]}",
        deep};
    for (const std::string& reply : replies) {
        EXPECT_TRUE(CoachMemory::parseOps(reply).empty()) << reply.substr(0, 80);
    }
}

TEST(CoachMemoryTest, AddTrimsTheTextAndTakesOnlyTheThreeModelKinds) {
    const std::vector<MemoryEntry> given = {entry(Kind::goal, "Reply faster")};
    const Date now{725'000'000.5};
    const auto result = CoachMemory::apply(
        std::vector<Op>{add("fact", " \n\tLikes hiking\u00A0\u2028"), add("session", "A session note"),
                        add("Fact", "Capitalised kind"), add("habit", "Unknown kind"), add("goal", " \n "),
                        Op{"add", std::nullopt, "No kind", std::nullopt},
                        Op{"add", "fact", std::nullopt, std::nullopt}, add("commitment", "Text Maya back")},
        given, now);
    ASSERT_EQ(texts(result), (std::vector<std::string>{"Reply faster", "Likes hiking", "Text Maya back"}));
    EXPECT_EQ(result[0], given[0]);
    EXPECT_EQ(result[1].kind, Kind::fact);
    EXPECT_EQ(result[2].kind, Kind::commitment);
    for (const MemoryEntry* added : {&result[1], &result[2]}) {
        EXPECT_TRUE(isUpperUUID(added->id)) << added->id;
        EXPECT_EQ(added->date, now);
        EXPECT_FALSE(added->done);
    }
    EXPECT_NE(result[1].id, result[2].id);
}

TEST(CoachMemoryTest, AddSkipsTextAlreadyInTheWorkingListButNotOneDifferingInCase) {
    const std::vector<MemoryEntry> given = {entry(Kind::goal, "Maya is my sister"),
                                            entry(Kind::fact, "Old job")};
    const auto result = CoachMemory::apply(
        std::vector<Op>{
            add("fact", "Maya is my sister"),     // same text under another kind
            add("fact", "maya is my sister"),     // differs in case
            add("fact", "New habit"),             // twice in one reply
            add("goal", "  New habit "),          //
            withRef("remove", 2),                 // still in the working list until the end
            add("fact", "Old job"),               //
            add("fact", "Caf\u00E9 on Fridays"),  // precomposed...
            add("fact", "Cafe\u0301 on Fridays"), // ...and decomposed are one text
        },
        given, Date{1.0});
    EXPECT_EQ(texts(result), (std::vector<std::string>{"Maya is my sister", "maya is my sister", "New habit",
                                                       "Caf\u00E9 on Fridays"}));
}

TEST(CoachMemoryTest, RefsCountInTheListAsGivenWhateverHappensBefore) {
    const std::vector<MemoryEntry> given = {entry(Kind::fact, "A"), entry(Kind::goal, "B"),
                                            entry(Kind::commitment, "C"), entry(Kind::goal, "D")};
    const auto result = CoachMemory::apply(
        std::vector<Op>{
            add("fact", "E"),
            withRef("remove", 2),
            withRef("resolve", 3), // still C after B's removal
            withRef("resolve", 5), // E is number 5 of the working list, not of the given one
            withRef("resolve", 4),
            withRef("remove", 4),  // resolved and removed: removed
            withRef("resolve", 1), // a fact can be marked done
            withRef("remove", 0),
            withRef("remove", -1),
            withRef("remove", 9'999'999'999),
            Op{"remove", std::nullopt, std::nullopt, std::nullopt},
            withRef("delete", 1),
            withRef("REMOVE", 1),
        },
        given, Date{1.0});
    ASSERT_EQ(texts(result), (std::vector<std::string>{"A", "C", "E"}));
    EXPECT_TRUE(result[0].done);
    EXPECT_TRUE(result[1].done);
    EXPECT_FALSE(result[2].done);
    EXPECT_EQ(result[1].id, given[2].id);
}

TEST(CoachMemoryTest, ApplyingNothingLeavesTheListButStillCapsIt) {
    const std::vector<MemoryEntry> small = {entry(Kind::fact, "A"), entry(Kind::goal, "B", true)};
    EXPECT_EQ(CoachMemory::apply(CoachMemory::parseOps("I can't do that."), small, Date{5.0}), small);

    // Nine session notes, however they got there: the oldest goes.
    const auto sessions = many(Kind::session, 9, "s");
    const auto result = CoachMemory::apply({}, sessions, Date{5.0});
    EXPECT_EQ(result, std::vector<MemoryEntry>(sessions.begin() + 1, sessions.end()));
}

TEST(CoachMemoryTest, TrimmedDropsDoneThenFactsThenTheOldest) {
    struct Case {
        const char* name;
        std::vector<MemoryEntry> entries;
        std::vector<std::string> gone;
    };
    auto doneInMiddle = joined({many(Kind::fact, 20, "f"),
                                many(Kind::goal, 10, "g"),
                                {entry(Kind::commitment, "done", true)},
                                many(Kind::goal, 10, "h")});
    auto factsLate = joined({many(Kind::goal, 30, "g"), many(Kind::fact, 11, "f")});
    auto noFacts =
        joined({many(Kind::goal, 20, "g"), many(Kind::commitment, 15, "c"), many(Kind::session, 6, "s")});
    auto cascade = joined({many(Kind::goal, 33, "g"),
                           many(Kind::fact, 3, "f"),
                           many(Kind::commitment, 8, "c"),
                           {entry(Kind::session, "done note", true), entry(Kind::goal, "done goal", true)}});
    auto bothCaps = joined({many(Kind::goal, 40, "g"), many(Kind::session, 12, "s")});
    const std::vector<Case> cases = {
        {"a done entry before any fact", doneInMiddle, {"done"}},
        {"the first fact, not the first entry", factsLate, {"f0"}},
        {"the first entry when nothing is done and there is no fact", noFacts, {"g0"}},
        {"done entries, then facts, then the oldest",
         cascade,
         {"done note", "done goal", "f0", "f1", "f2", "g0"}},
        {"old sessions first, then the rest",
         bothCaps,
         {"s0", "s1", "s2", "s3", "g0", "g1", "g2", "g3", "g4", "g5", "g6", "g7"}},
    };
    for (const Case& c : cases) {
        std::vector<std::string> expected;
        for (const MemoryEntry& e : c.entries) {
            if (std::find(c.gone.begin(), c.gone.end(), e.text) == c.gone.end()) {
                expected.push_back(e.text);
            }
        }
        EXPECT_EQ(texts(CoachMemory::trimmed(c.entries)), expected) << c.name;
    }
    const auto atCap = joined({many(Kind::fact, 32, "f"), many(Kind::session, 8, "s")});
    EXPECT_EQ(CoachMemory::trimmed(atCap), atCap);
}

TEST(CoachMemoryTest, RenderShowsOpenItemsByKindWithDatesInTheCalendarsZone) {
    const Calendar utc("UTC");
    const Calendar losAngeles("America/Los_Angeles");
    const Date march5 = utc.date(2024, 3, 5, 3); // still March 4 in Los Angeles
    const Date dec25 = utc.date(2023, 12, 25, 18);

    EXPECT_EQ(CoachMemory::render({}, losAngeles), "");
    const std::vector<MemoryEntry> onlyDone = {entry(Kind::goal, "g", true),
                                               entry(Kind::commitment, "c", true)};
    EXPECT_EQ(CoachMemory::render(onlyDone, losAngeles), "");

    std::vector<MemoryEntry> entries = {
        entry(Kind::session, "First session.", false, dec25),
        entry(Kind::commitment, "Call Maya", false, march5),
        entry(Kind::goal, "Stop double-texting", true, march5),
        entry(Kind::fact, "Maya is my sister", false, dec25),
        entry(Kind::goal, "Reply faster", false, dec25),
        entry(Kind::commitment, "Done thing", true, march5),
        entry(Kind::fact, "Left the band", true, march5),
    };
    EXPECT_EQ(CoachMemory::render(entries, losAngeles), "Things I've learned:\n"
                                                        "- (Dec 25) Maya is my sister\n"
                                                        "- (Mar 4) Left the band\n"
                                                        "My goals:\n"
                                                        "- (Dec 25) Reply faster\n"
                                                        "Commitments I made (check in on these):\n"
                                                        "- (Mar 4) Call Maya\n"
                                                        "Past sessions:\n"
                                                        "- (Dec 25) First session.");

    // A person's list after the general one may hold more than eight notes; the last eight are shown.
    const auto sessions = many(Kind::session, 10, "note ");
    std::string expected = "Past sessions:";
    for (int i = 2; i < 10; ++i) {
        expected += "\n- (Jan 1) note " + std::to_string(i);
    }
    EXPECT_EQ(CoachMemory::render(sessions, utc), expected);
}

TEST(CoachMemoryTest, MigrateMakesFactsOfTheFirstTenNonEmptyLines) {
    const Date now{700'000'000.0};
    const auto entries =
        CoachMemory::migrate("• Likes jazz\r\n\r\n- Works nights  \n\t-- moved to Lyon --\u2028"
                             " \u00A0•  \n\u00A0Has two cats\rx\u2029y",
                             now);
    EXPECT_EQ(texts(entries), (std::vector<std::string>{"Likes jazz", "Works nights", "moved to Lyon",
                                                        "Has two cats", "x", "y"}));
    std::set<std::string> ids;
    for (const MemoryEntry& e : entries) {
        EXPECT_EQ(e.kind, Kind::fact);
        EXPECT_EQ(e.date, now);
        EXPECT_FALSE(e.done);
        EXPECT_TRUE(isUpperUUID(e.id));
        ids.insert(e.id);
    }
    EXPECT_EQ(ids.size(), entries.size());

    std::string twelve;
    for (int i = 1; i <= 12; ++i) {
        twelve += "- item " + std::to_string(i) + "\n\n";
    }
    const auto capped = CoachMemory::migrate(twelve, now);
    ASSERT_EQ(capped.size(), 10U);
    EXPECT_EQ(capped.back().text, "item 10");

    EXPECT_TRUE(CoachMemory::migrate("", now).empty());
    EXPECT_TRUE(CoachMemory::migrate(" \n\t- •\n\r\n", now).empty());
}

TEST(CoachMemoryTest, EntryJsonHasFiveRequiredKeys) {
    const MemoryEntry original{"0A1B2C3D-4E5F-4A6B-8C7D-8E9FA0B1C2D3", Kind::commitment, "Call Maya",
                               Date{725'000'000.5}, true};
    const Json encoded = original;
    EXPECT_EQ(encoded, Json::parse(R"({"id":"0A1B2C3D-4E5F-4A6B-8C7D-8E9FA0B1C2D3","kind":"commitment",
                                       "text":"Call Maya","date":725000000.5,"done":true})"));
    EXPECT_EQ(encoded.get<MemoryEntry>(), original);

    // A list, as stored under a coach key, reads back whole; a date of 0 is 2001-01-01.
    Json list = Json::array({encoded, encoded});
    list[1]["kind"] = "session";
    list[1]["date"] = 0;
    list[1]["id"] = "0a1b2c3d-4e5f-4a6b-8c7d-8e9fa0b1c2d3"; // read in its upper-case form
    std::vector<MemoryEntry> decoded;
    json::read(list, decoded);
    ASSERT_EQ(decoded.size(), 2U);
    EXPECT_EQ(decoded[1].kind, Kind::session);
    EXPECT_EQ(decoded[1].date, Date{0.0});
    EXPECT_EQ(decoded[1].id, original.id);

    const std::vector<std::pair<const char*, Json>> damaged = {{"id", nullptr},
                                                               {"kind", nullptr},
                                                               {"text", nullptr},
                                                               {"date", nullptr},
                                                               {"done", nullptr},
                                                               {"id", "not-a-uuid"},
                                                               {"id", "0A1B2C3D-4E5F-4A6B-8C7D-8E9FA0B1C2DZ"},
                                                               {"kind", "Fact"},
                                                               {"kind", "note"},
                                                               {"done", 1},
                                                               {"date", "2024-03-05"},
                                                               {"text", Json::array()}};
    for (const auto& [key, value] : damaged) {
        Json broken = encoded;
        if (value.is_null()) {
            broken.erase(key);
        } else {
            broken[key] = value;
        }
        MemoryEntry out;
        EXPECT_THROW(from_json(broken, out), json::DecodeError) << key << " = " << value.dump();
    }
}
