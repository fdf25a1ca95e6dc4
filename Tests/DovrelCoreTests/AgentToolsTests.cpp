#include "Coach/AgentTools.h"

#include <gtest/gtest.h>
#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <vector>

using namespace dovrel;
using AgentTools::Call;
using Json = nlohmann::json;

namespace {

std::set<std::string> keysOf(const Json& object) {
    std::set<std::string> keys;
    for (const auto& [key, value] : object.items()) {
        keys.insert(key);
    }
    return keys;
}

Call named(std::string tool) {
    Call call;
    call.tool = std::move(tool);
    return call;
}

std::optional<Call> fenced(const std::string& body) {
    return AgentTools::parseCall("```tool\n" + body + "\n```");
}

} // namespace

TEST(AgentToolsDefsTest, ElevenToolsWithSchemasThatAreValidJSON) {
    struct Expected {
        std::set<std::string> properties;
        std::vector<std::string> required;
    };
    const std::vector<std::pair<std::string, Expected>> expected = {
        {"search", {{"terms", "person", "group", "from", "start", "end", "limit"}, {"terms"}}},
        {"count", {{"terms", "person", "from", "start", "end"}, {"terms"}}},
        {"sample", {{"person", "group", "from", "limit"}, {}}},
        {"timeline", {{"person"}, {"person"}}},
        {"window", {{"person", "group", "around", "limit"}, {"around"}}},
        {"person_stats", {{"person"}, {"person"}}},
        {"compare", {{"person", "person2"}, {"person", "person2"}}},
        {"overview", {{}, {}}},
        {"unanswered", {{}, {}}},
        {"groups", {{}, {}}},
        {"group_stats", {{"group"}, {"group"}}},
    };
    const std::vector<Agent::ToolDef>& defs = AgentTools::defs();
    ASSERT_EQ(defs.size(), expected.size());
    for (std::size_t i = 0; i < defs.size(); ++i) {
        SCOPED_TRACE(defs[i].name);
        EXPECT_EQ(defs[i].name, expected[i].first);
        EXPECT_FALSE(defs[i].description.empty());
        // Joined fragments add no spaces of their own.
        EXPECT_EQ(defs[i].inputSchemaJSON.find("} "), std::string::npos);
        Json schema;
        ASSERT_NO_THROW(schema = Json::parse(defs[i].inputSchemaJSON));
        ASSERT_TRUE(schema.is_object());
        EXPECT_EQ(keysOf(schema), (std::set<std::string>{"type", "properties", "required"}));
        EXPECT_EQ(schema["type"], "object");
        EXPECT_EQ(keysOf(schema["properties"]), expected[i].second.properties);
        EXPECT_EQ(schema["required"].get<std::vector<std::string>>(), expected[i].second.required);
        for (const auto& [key, property] : schema["properties"].items()) {
            EXPECT_EQ(property["type"], key == "limit" ? "integer" : "string") << key;
            EXPECT_TRUE(property["description"].is_string()) << key;
        }
        // What goes to the relay is the schema itself, not an empty fall-back.
        const std::vector<Agent::ToolDef> one = {defs[i]};
        EXPECT_EQ(Agent::encode(one)[0]["input_schema"], schema);
    }
    EXPECT_EQ(&AgentTools::defs(), &defs);

    const Json search = Json::parse(defs[0].inputSchemaJSON);
    EXPECT_EQ(search["properties"]["from"]["enum"], Json::parse(R"(["me","them","any"])"));
    EXPECT_EQ(search["properties"]["terms"]["description"], "|-separated search terms");
}

TEST(AgentToolsDefsTest, InstructionsTeachACallThatParses) {
    const std::string_view text = AgentTools::instructions();
    const std::optional<Call> example = AgentTools::parseCall(text);
    ASSERT_TRUE(example.has_value());
    Call expected;
    expected.tool = "search";
    expected.terms = "dinner|drinks|plans";
    expected.from = "me";
    expected.limit = 40;
    EXPECT_EQ(*example, expected);
    EXPECT_EQ(AgentTools::rawCallBody(text),
              R"({"tool":"search","terms":"dinner|drinks|plans","from":"me","person":null,"limit":40})");
    for (const Agent::ToolDef& def : AgentTools::defs()) {
        EXPECT_NE(text.find("- \"" + def.name + "\": "), std::string_view::npos) << def.name;
    }
    EXPECT_TRUE(text.starts_with("TOOLS — "));
    EXPECT_EQ(text.find("\n\n"), std::string_view::npos);
}

TEST(AgentToolsParseTest, OnlyTheFirstWellFormedFencedBlockIsACall) {
    const std::string reply =
        "Let me check.\n\n```tool\n {\"tool\":\"count\",\"terms\":\"sorry|my bad\",\"from\":\"me\"}"
        " \n```\n\nand then:\n```tool\n{\"tool\":\"overview\"}\n```";
    const std::optional<Call> first = AgentTools::parseCall(reply);
    ASSERT_TRUE(first.has_value());
    EXPECT_EQ(first->tool, "count");
    EXPECT_EQ(first->terms, "sorry|my bad");
    EXPECT_EQ(first->from, "me");
    EXPECT_EQ(AgentTools::rawCallBody(reply), R"({"tool":"count","terms":"sorry|my bad","from":"me"})");

    // A first block that fails to decode is no call, even with a good one behind it.
    EXPECT_FALSE(AgentTools::parseCall("```tool\n{\"tool\":}\n```\n```tool\n{\"tool\":\"overview\"}\n```"));
    // Without a closing fence there is no call.
    EXPECT_FALSE(AgentTools::parseCall("```tool\n{\"tool\":\"overview\"}"));
    EXPECT_FALSE(AgentTools::rawCallBody("```tool\n{\"tool\":\"overview\"}\n``"));
    // The opener is case-sensitive, and a plain json fence is no call.
    EXPECT_FALSE(AgentTools::parseCall("```TOOL\n{\"tool\":\"overview\"}\n```"));
    EXPECT_FALSE(AgentTools::parseCall("```json\n{\"tool\":\"overview\"}\n```"));
    EXPECT_FALSE(AgentTools::parseCall("no fences at all"));
    EXPECT_FALSE(AgentTools::parseCall(""));
    // The block may sit on one line, with CRLF line endings or no line breaks at all.
    EXPECT_EQ(AgentTools::parseCall("x ```tool{\"tool\":\"groups\"}``` y")->tool, "groups");
    EXPECT_EQ(AgentTools::rawCallBody("```tool\r\n{\"tool\":\"groups\"}\r\n```\r\n"), R"({"tool":"groups"})");
}

TEST(AgentToolsParseTest, DecodingIsStrictAboutTypesButNotAboutUnknownKeysOrNulls) {
    const std::optional<Call> full = fenced(R"({"tool":"search","terms":"a|b","person":"Sam","person2":"Alex",
        "group":"Book club","from":"them","start":"2024-01-01","end":"2024-02-01","around":"2024-01-15",
        "limit":25,"mood":"curious","nested":{"x":[1,2]}})");
    ASSERT_TRUE(full.has_value());
    EXPECT_EQ(*full, (Call{"search", "a|b", "Sam", "Alex", "Book club", "them", "2024-01-01", "2024-02-01",
                           "2024-01-15", 25}));

    const std::optional<Call> nulls =
        fenced(R"({"tool":"sample","person":null,"group":null,"from":null,"limit":null})");
    ASSERT_TRUE(nulls.has_value());
    EXPECT_EQ(*nulls, named("sample"));

    EXPECT_EQ(fenced(R"({"tool":"search","limit":40.0})")->limit, 40);
    EXPECT_EQ(fenced(R"({"tool":"search","limit":-3})")->limit, -3);

    for (const std::string bad : {
             R"({"tool":"search","limit":"40"})",
             R"({"tool":"search","limit":40.5})",
             R"({"tool":"search","limit":true})",
             R"({"tool":"search","limit":1e300})",
             R"({"tool":"search","limit":18446744073709551615})",
             R"({"tool":"search","person":7})",
             R"({"tool":"search","terms":["a","b"]})",
             R"({"tool":"search","from":false})",
             R"({"tool":42})",
             R"({"tool":null})",
             R"({"terms":"a"})",
             R"(["tool","search"])",
             R"("search")",
             R"({"tool":"search"} trailing)",
             R"({'tool':'search'})",
             "",
         }) {
        SCOPED_TRACE(bad);
        EXPECT_FALSE(fenced(bad).has_value());
        EXPECT_FALSE(AgentTools::rawCallBody("```tool\n" + bad + "\n```").has_value());
    }
}

TEST(AgentToolsParseTest, NativeCallsTakeTheirNameFromTheBlock) {
    const std::optional<Call> overwritten =
        AgentTools::call({"toolu_1", "person_stats", R"({"tool":"search","person":"Sam"})"});
    ASSERT_TRUE(overwritten.has_value());
    Call expected = named("person_stats");
    expected.person = "Sam";
    EXPECT_EQ(*overwritten, expected);
    EXPECT_EQ(AgentTools::call({"toolu_2", "overview", "{}"}), named("overview"));
    EXPECT_EQ(AgentTools::call({"toolu_2", "overview", R"({"tool":5})"}), named("overview"));

    EXPECT_FALSE(AgentTools::call({"t", "overview", ""}));
    EXPECT_FALSE(AgentTools::call({"t", "overview", "[]"}));
    EXPECT_FALSE(AgentTools::call({"t", "overview", "null"}));
    EXPECT_FALSE(AgentTools::call({"t", "search", R"({"terms":"a",)"}));
    EXPECT_FALSE(AgentTools::call({"t", "search", R"({"limit":"ten"})"}));

    // A flat reply's call goes through the same function via its raw body.
    const std::string reply =
        "```tool\n{\"tool\":\"window\",\"around\":\"2024-03-01\",\"group\":\"Fam\"}\n```";
    const std::optional<std::string> body = AgentTools::rawCallBody(reply);
    ASSERT_TRUE(body.has_value());
    EXPECT_EQ(AgentTools::call({"cli-0", "window", *body}), AgentTools::parseCall(reply));
}
