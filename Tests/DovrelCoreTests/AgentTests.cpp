#include "Coach/Agent.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

using namespace dovrel;
using namespace dovrel::Agent;
using Json = nlohmann::json;

namespace {

// A realistic stream as the relay sends it: event lines, blank separators, pings, thinking with its
// signature, text in pieces, two tool calls (one with arguments in pieces, one with none), a redacted
// thinking block, the closing events, and a trailing "[DONE]".
const std::vector<std::string> fullStream = {
    "event: message_start",
    R"(data: {"type":"message_start","message":{"id":"msg_1","role":"assistant","content":[]}})",
    "",
    "event: ping",
    R"(data: {"type": "ping"})",
    "",
    "event: content_block_start",
    R"(data: {"type":"content_block_start","index":0,"content_block":{"type":"thinking","thinking":""}})",
    "",
    R"(data: {"type":"content_block_delta","index":0,"delta":{"type":"thinking_delta","thinking":"They asked about "}})",
    R"(data: {"type":"content_block_delta","index":0,"delta":{"type":"thinking_delta","thinking":"Sam."}})",
    R"(data: {"type":"content_block_delta","index":0,"delta":{"type":"signature_delta","signature":"EqQB"}})",
    R"(data: {"type":"content_block_delta","index":0,"delta":{"type":"signature_delta","signature":"xyz="}})",
    R"(data: {"type":"content_block_stop","index":0})",
    R"(data: {"type":"content_block_start","index":1,"content_block":{"type":"text","text":""}})",
    R"(data: {"type":"content_block_delta","index":1,"delta":{"type":"text_delta","text":"Let me "}})",
    R"(data: {"type":"content_block_delta","index":1,"delta":{"type":"text_delta","text":"check — "}})",
    R"(data: {"type":"content_block_delta","index":1,"delta":{"type":"text_delta","text":"one sec."}})",
    R"(data: {"type":"content_block_stop","index":1})",
    "event: ping",
    R"(data: {"type":"ping"})",
    R"(data: {"type":"content_block_start","index":2,"content_block":{"type":"tool_use","id":"toolu_1","name":"search","input":{}}})",
    R"(data: {"type":"content_block_delta","index":2,"delta":{"type":"input_json_delta","partial_json":""}})",
    R"(data: {"type":"content_block_delta","index":2,"delta":{"type":"input_json_delta","partial_json":"{\"terms\": \"din"}})",
    R"(data: {"type":"content_block_delta","index":2,"delta":{"type":"input_json_delta","partial_json":"ner|drinks\", \"limit\""}})",
    R"(data: {"type":"content_block_delta","index":2,"delta":{"type":"input_json_delta","partial_json":": 20}"}})",
    R"(data: {"type":"content_block_stop","index":2})",
    R"(data: {"type":"content_block_start","index":3,"content_block":{"type":"tool_use","id":"toolu_2","name":"overview","input":{}}})",
    R"(data: {"type":"content_block_stop","index":3})",
    R"(data: {"type":"content_block_start","index":4,"content_block":{"type":"redacted_thinking","data":"RED4CTED"}})",
    R"(data: {"type":"content_block_stop","index":4})",
    R"(data: {"type":"message_delta","delta":{"stop_reason":"tool_use"},"usage":{"output_tokens":80}})",
    R"(data: {"type":"message_stop"})",
    "data: [DONE]",
};

const std::vector<Block> fullStreamBlocks = {
    Block::thinking("They asked about Sam.", "EqQBxyz="),
    Block::text("Let me check — one sec."),
    Block::toolUse({"toolu_1", "search", R"({"terms": "dinner|drinks", "limit": 20})"}),
    Block::toolUse({"toolu_2", "overview", "{}"}),
    Block::redactedThinking("RED4CTED"),
};

const std::vector<std::string> fullStreamDeltas = {"Let me ", "check — ", "one sec."};

std::string joinedLines(const std::vector<std::string>& lines, std::string_view ending) {
    std::string out;
    for (const std::string& line : lines) {
        out += line;
        out += ending;
    }
    return out;
}

struct Collected {
    std::vector<Block> blocks;
    std::vector<std::string> deltas;
};

Collected collectChunks(const std::string& body, std::size_t chunkSize) {
    Collected out;
    SSECollector collector([&](std::string_view piece) { out.deltas.emplace_back(piece); });
    for (std::size_t i = 0; i < body.size(); i += chunkSize) {
        collector.feed(std::string_view(body).substr(i, chunkSize));
    }
    out.blocks = collector.finish();
    return out;
}

std::vector<Block> collectLines(const std::vector<std::string>& lines,
                                std::vector<std::string>* deltas = nullptr) {
    return collectSSE(lines, [&](std::string_view piece) {
        if (deltas) {
            deltas->emplace_back(piece);
        }
    });
}

} // namespace

TEST(AgentEncodeTest, MessagesCarryEveryBlockInItsWireShape) {
    const std::vector<ChatMessage> messages = {
        ChatMessage::user("How are things with Sam?"),
        ChatMessage{ChatMessage::Role::assistant,
                    {Block::thinking("Look at the timeline.", "sig=="), Block::text("Checking."),
                     Block::toolUse({"toolu_9", "timeline", R"({"person":"Sam"})"}),
                     Block::redactedThinking("opaque")}},
        ChatMessage{ChatMessage::Role::user, {Block::toolResult("toolu_9", "2024-01: 40 messages")}},
        ChatMessage::assistant("Warmer than last year."),
    };
    const Json expected = Json::parse(R"([
      {"role":"user","content":[{"type":"text","text":"How are things with Sam?"}]},
      {"role":"assistant","content":[
        {"type":"thinking","thinking":"Look at the timeline.","signature":"sig=="},
        {"type":"text","text":"Checking."},
        {"type":"tool_use","id":"toolu_9","name":"timeline","input":{"person":"Sam"}},
        {"type":"redacted_thinking","data":"opaque"}]},
      {"role":"user","content":[{"type":"tool_result","tool_use_id":"toolu_9","content":"2024-01: 40 messages"}]},
      {"role":"assistant","content":[{"type":"text","text":"Warmer than last year."}]}
    ])");
    EXPECT_EQ(encode(messages), expected);
    EXPECT_EQ(encode(std::vector<ChatMessage>{}), Json::array());
    const std::vector<ChatMessage> noBlocks = {ChatMessage{ChatMessage::Role::user, {}}};
    EXPECT_EQ(encode(noBlocks), Json::parse(R"([{"role":"user","content":[]}])"));
}

TEST(AgentEncodeTest, ArgumentsAndSchemasThatAreNoObjectGoOutAsEmptyObjects) {
    for (const std::string bad : {"", "{\"a\":", "[1,2]", "\"text\"", "42", "null", "not json"}) {
        SCOPED_TRACE(bad);
        EXPECT_EQ(encode(Block::toolUse({"id", "search", bad}))["input"], Json::object());
        const std::vector<ToolDef> tools = {{"t", "d", bad}};
        EXPECT_EQ(encode(tools)[0]["input_schema"], Json::object());
    }
    const std::vector<ToolDef> tools = {
        {"overview", "Stats.", R"({"type":"object","properties":{},"required":[]})"},
    };
    EXPECT_EQ(encode(tools), Json::parse(R"([{"name":"overview","description":"Stats.",
        "input_schema":{"type":"object","properties":{},"required":[]}}])"));
}

TEST(AgentEncodeTest, RequestBodyHasExactlyTheSixKeys) {
    const std::vector<ChatMessage> messages = {ChatMessage::user("hi")};
    const std::vector<ToolDef> tools = {{"overview", "Stats.", "{}"}};
    const Json body = requestBody("You are my coach.", messages, tools, 16000);
    EXPECT_EQ(body, Json::parse(R"({
      "system":[{"type":"text","text":"You are my coach.","cache_control":{"type":"ephemeral"}}],
      "messages":[{"role":"user","content":[{"type":"text","text":"hi"}]}],
      "tools":[{"name":"overview","description":"Stats.","input_schema":{}}],
      "max_tokens":16000,
      "thinking":{"type":"adaptive"},
      "stream":true
    })"));
    EXPECT_FALSE(body.contains("model"));
    EXPECT_TRUE(body["max_tokens"].is_number_integer());
}

TEST(AgentDecodeTest, ReadsBackWhatEncodeWritesAndDropsWhatDoesNotQualify) {
    const std::vector<Block> blocks = {
        Block::text("hello"),
        Block::toolUse({"toolu_1", "search", R"({"limit":5,"terms":"x"})"}),
        Block::thinking("hmm", "sig"),
        Block::redactedThinking("zzz"),
    };
    Json wire = Json::array();
    for (const Block& block : blocks) {
        wire.push_back(encode(block));
    }
    EXPECT_EQ(decodeContent(wire), blocks);

    const Json mixed = Json::parse(R"([
      {"type":"tool_result","tool_use_id":"a","content":"x"},
      {"type":"text"},
      {"type":"text","text":7},
      {"text":"no type"},
      {"type":"image","source":{}},
      "not an object",
      {"type":"tool_use","id":"a"},
      {"type":"tool_use","id":"b","name":"overview"},
      {"type":"thinking","signature":"s"},
      {"type":"thinking","thinking":"t","signature":3},
      {"type":"redacted_thinking"},
      {"type":"text","text":"kept"}
    ])");
    EXPECT_EQ(decodeContent(mixed), (std::vector<Block>{Block::toolUse({"b", "overview", "{}"}),
                                                        Block::thinking("t", ""), Block::text("kept")}));
    EXPECT_TRUE(decodeContent(Json::object()).empty());
    EXPECT_TRUE(decodeContent(Json("text")).empty());
}

TEST(AgentSSETest, RealisticStreamGivesBlocksInArrivalOrderAndOnlyVisibleTextAsDeltas) {
    std::vector<std::string> deltas;
    EXPECT_EQ(collectLines(fullStream, &deltas), fullStreamBlocks);
    EXPECT_EQ(deltas, fullStreamDeltas);
}

TEST(AgentSSETest, BytesCutAnywhereAndEveryLineEndingGiveTheSameResult) {
    for (const std::string_view ending : {"\n", "\r\n", "\r"}) {
        const std::string body = joinedLines(fullStream, ending);
        for (const std::size_t chunk :
             {std::size_t{1}, std::size_t{2}, std::size_t{3}, std::size_t{7}, std::size_t{64}, body.size()}) {
            SCOPED_TRACE(::testing::Message() << "ending size " << ending.size() << ", chunk " << chunk);
            const Collected got = collectChunks(body, chunk);
            EXPECT_EQ(got.blocks, fullStreamBlocks);
            EXPECT_EQ(got.deltas, fullStreamDeltas);
        }
    }

    // The last line needs no line ending, and a "\r\n" split across chunks is one line break, not two.
    std::vector<Block> blocks;
    {
        SSECollector collector;
        collector.feed(
            "\xEF\xBB\xBF"
            R"(data: {"type":"content_block_start","index":0,"content_block":{"type":"text","text":"a"}})"
            "\r");
        collector.feed("");
        collector.feed("\n");
        collector.feed(
            R"(data: {"type":"content_block_delta","index":0,"delta":{"type":"text_delta","text":"é"}})");
        blocks = collector.finish();
    }
    EXPECT_EQ(blocks, std::vector<Block>{Block::text("aé")});

    // A multi-byte character split between chunks arrives whole.
    const std::string line =
        R"(data: {"type":"content_block_delta","index":0,"delta":{"type":"text_delta","text":"😂"}})";
    std::vector<std::string> deltas;
    SSECollector split([&](std::string_view piece) { deltas.emplace_back(piece); });
    split.feedLine(
        R"(data: {"type":"content_block_start","index":0,"content_block":{"type":"text","text":""}})");
    const std::size_t middle = line.find("😂") + 2;
    split.feed(line.substr(0, middle));
    split.feed(line.substr(middle) + "\n");
    EXPECT_EQ(split.finish(), std::vector<Block>{Block::text("😂")});
    EXPECT_EQ(deltas, std::vector<std::string>{"😂"});
}

TEST(AgentSSETest, FeedLineAcceptsLinesWithTheirEndings) {
    SSECollector collector;
    collector.feedLine("event: content_block_start\r\n");
    collector.feedLine(
        R"(data: {"type":"content_block_start","index":0,"content_block":{"type":"text","text":""}})"
        "\r\n");
    collector.feedLine(
        R"(data: {"type":"content_block_delta","index":0,"delta":{"type":"text_delta","text":"ok"}})"
        "\n");
    EXPECT_EQ(collector.finish(), std::vector<Block>{Block::text("ok")});
}

TEST(AgentSSETest, PaddedAndMalformedLinesAreReadOrSkippedAsTheyShouldBe) {
    const std::vector<std::string> lines = {
        // padded JSON and a payload with a second blank are read
        R"(data: {  "type" : "content_block_start" , "index" : 0 , "content_block" : { "type" : "text" , "text" : "" }  }  )",
        R"(data:  { "type":"content_block_delta","index":0,"delta":{"type":"text_delta","text":"A"} })",
        // no blank after the colon: not a data line
        R"(data:{"type":"content_block_delta","index":0,"delta":{"type":"text_delta","text":"X"}})",
        R"(DATA: {"type":"content_block_delta","index":0,"delta":{"type":"text_delta","text":"X"}})",
        R"( data: {"type":"content_block_delta","index":0,"delta":{"type":"text_delta","text":"X"}})",
        "data: ",
        "data: {}",
        "data: []",
        "data: \"text\"",
        "data: {\"type\":",
        R"(data: {"type":7})",
        R"(data: {"index":0})",
        // wrong shapes for the fields that are needed
        R"(data: {"type":"content_block_delta","index":"0","delta":{"type":"text_delta","text":"X"}})",
        R"(data: {"type":"content_block_delta","index":0.5,"delta":{"type":"text_delta","text":"X"}})",
        R"(data: {"type":"content_block_delta","index":0,"delta":"text_delta"})",
        R"(data: {"type":"content_block_delta","index":0,"delta":{"type":"text_delta","text":5}})",
        R"(data: {"type":"content_block_delta","index":0,"delta":{"text":"X"}})",
        R"(data: {"type":"content_block_delta","index":0,"delta":{"type":"citations_delta","text":"X"}})",
        R"(data: {"type":"content_block_delta","index":9,"delta":{"type":"text_delta","text":"X"}})",
        R"(data: {"type":"content_block_start","index":"1","content_block":{"type":"text","text":"X"}})",
        R"(data: {"type":"content_block_start","index":1,"content_block":"text"})",
        R"(data: {"type":"content_block_start","index":1,"content_block":{"text":"X"}})",
        R"(data: {"type":"something_new","index":0,"delta":{"type":"text_delta","text":"X"}})",
        ": a comment",
        "id: 7",
        "retry: 100",
        R"(data: {"type":"content_block_delta","index":0,"delta":{"type":"text_delta","text":"B"}})",
    };
    std::vector<std::string> deltas;
    EXPECT_EQ(collectLines(lines, &deltas), std::vector<Block>{Block::text("AB")});
    EXPECT_EQ(deltas, (std::vector<std::string>{"A", "B"}));
}

TEST(AgentSSETest, PartialsFollowTheirStartEvents) {
    std::vector<std::string> deltas;
    const std::vector<Block> blocks = collectLines(
        {
            // arrival order wins over index order
            R"(data: {"type":"content_block_start","index":5,"content_block":{"type":"text","text":"first "}})",
            R"(data: {"type":"content_block_start","index":2,"content_block":{"type":"thinking"}})",
            // a text delta on a thinking block is kept as thinking and not shown
            R"(data: {"type":"content_block_delta","index":2,"delta":{"type":"text_delta","text":"hidden"}})",
            R"(data: {"type":"content_block_delta","index":5,"delta":{"type":"text_delta","text":"shown"}})",
            // an unknown block is collected and then dropped
            R"(data: {"type":"content_block_start","index":3,"content_block":{"type":"server_tool_use","id":"s"}})",
            R"(data: {"type":"content_block_delta","index":3,"delta":{"type":"input_json_delta","partial_json":"{}"}})",
            // a tool call's `input` in its start event is not its arguments
            R"(data: {"type":"content_block_start","index":4,"content_block":{"type":"tool_use","id":"t","name":"groups","input":{"x":1}}})",
        },
        &deltas);
    EXPECT_EQ(blocks, (std::vector<Block>{Block::text("first shown"), Block::thinking("hidden", ""),
                                          Block::toolUse({"t", "groups", "{}"})}));
    // The text that came with the start event is not a delta.
    EXPECT_EQ(deltas, std::vector<std::string>{"shown"});

    // A second start for the same index replaces the partial, which then comes out once per start.
    EXPECT_EQ(
        collectLines({
            R"(data: {"type":"content_block_start","index":0,"content_block":{"type":"text","text":"old"}})",
            R"(data: {"type":"content_block_start","index":0,"content_block":{"type":"text","text":"new"}})",
        }),
        (std::vector<Block>{Block::text("new"), Block::text("new")}));

    EXPECT_TRUE(collectLines({"data: [DONE]"}).empty());
    EXPECT_TRUE(collectLines({}).empty());
    // "[DONE]" does not end the stream: only the end of the lines does.
    EXPECT_EQ(
        collectLines(
            {"data: [DONE]",
             R"(data: {"type":"content_block_start","index":0,"content_block":{"type":"text","text":"late"}})"}),
        std::vector<Block>{Block::text("late")});
}

TEST(AgentSSETest, StreamWithoutClosingEventsStillGivesWhatArrived) {
    std::vector<std::string> cut(fullStream.begin(), fullStream.begin() + 25);
    const std::vector<Block> blocks = collectLines(cut);
    ASSERT_EQ(blocks.size(), 3U);
    EXPECT_EQ(blocks[2], Block::toolUse({"toolu_1", "search", R"({"terms": "dinner|drinks", "limit")"}));
}

TEST(AgentSSETest, ErrorEventThrowsTheRelaysMessageAndSpendsTheCollector) {
    std::vector<std::string> deltas;
    SSECollector collector([&](std::string_view piece) { deltas.emplace_back(piece); });
    for (std::size_t i = 0; i < 17; ++i) {
        collector.feedLine(fullStream[i]);
    }
    EXPECT_EQ(deltas, (std::vector<std::string>{"Let me ", "check — "}));
    try {
        collector.feed("event: error\ndata: {\"type\":\"error\",\"error\":{\"type\":\"overloaded_error\","
                       "\"message\":\"Overloaded\"}}\ndata: {\"type\":\"message_stop\"}\n");
        FAIL() << "no StreamError";
    } catch (const StreamError& error) {
        EXPECT_STREQ(error.what(), "Overloaded");
        EXPECT_EQ(error.message(), "Overloaded");
        EXPECT_EQ(error.errorCase(), StreamError::Case::errorEvent);
    }
    collector.feedLine(fullStream[17]);
    EXPECT_EQ(deltas.size(), 2U);
    EXPECT_THROW(collector.finish(), StreamError);

    for (const std::string payload :
         {R"({"type":"error"})", R"({"type":"error","error":"boom"})",
          R"({"type":"error","error":{"message":42}})", R"({"type":"error","error":{"type":"api_error"}})"}) {
        SCOPED_TRACE(payload);
        try {
            collectLines({"data: " + payload});
            FAIL() << "no StreamError";
        } catch (const StreamError& error) {
            EXPECT_EQ(error.message(), "stream error");
        }
    }

    // An error in a last line without its line ending surfaces from finish.
    SSECollector tail;
    tail.feed(R"(data: {"type":"error","error":{"message":"Relay closed"}})");
    EXPECT_THROW(
        {
            try {
                tail.finish();
            } catch (const StreamError& error) {
                EXPECT_EQ(error.message(), "Relay closed");
                throw;
            }
        },
        StreamError);
}

TEST(AgentFlattenTest, FoldsTheConversationIntoOnePrompt) {
    const std::vector<ChatMessage> messages = {
        ChatMessage::user("Is Sam drifting?"),
        ChatMessage{ChatMessage::Role::assistant,
                    {Block::thinking("hidden", "sig"), Block::text("Let me look."),
                     Block::toolUse({"cli-0", "timeline", R"({"tool":"timeline","person":"Sam"})"}),
                     Block::redactedThinking("x")}},
        ChatMessage{ChatMessage::Role::user, {Block::toolResult("cli-0", "2024-01: 40\n2024-02: 12")}},
        ChatMessage{ChatMessage::Role::assistant, {}},
    };
    EXPECT_EQ(
        flatten("SYSTEM\nsecond line", messages, "Me", "Coach"),
        "SYSTEM\nsecond line\n"
        "\n"
        "Our conversation so far:\n"
        "[Me] Is Sam drifting?\n"
        "[Coach] Let me look.\n"
        "[You called a tool] timeline {\"tool\":\"timeline\",\"person\":\"Sam\"}\n"
        "[Tool result]\n"
        "2024-01: 40\n2024-02: 12\n"
        "\n"
        "Reply as the coach to my last message — or call a tool if you still need evidence. Plain text, no "
        "headings.");
    EXPECT_EQ(flatten("S", {}, "Me", "Coach"), "S\n\nOur conversation so far:\n\nReply as the coach to my "
                                               "last message — or call a tool if you still "
                                               "need evidence. Plain text, no headings.");
}

TEST(AgentFlattenTest, FlatRepliesBecomeAToolCallOrTrimmedText) {
    const std::string reply =
        "Sure, let me look.\n```tool\n  {\"tool\":\"count\",\"terms\":\"sorry\"}\n```\nthen more";
    EXPECT_EQ(parseFlatResponse(reply, 3),
              std::vector<Block>{Block::toolUse({"cli-3", "count", R"({"tool":"count","terms":"sorry"})"})});

    const std::string broken = "\n  Here: ```tool\n{\"tool\": }\n```  \n";
    EXPECT_EQ(parseFlatResponse(broken, 0),
              std::vector<Block>{Block::text("Here: ```tool\n{\"tool\": }\n```")});
    EXPECT_EQ(parseFlatResponse(" \t\u00A0Plain answer.\r\n\u2028", 1),
              std::vector<Block>{Block::text("Plain answer.")});
    EXPECT_EQ(parseFlatResponse("\n \n", 1), std::vector<Block>{Block::text("")});

    // Flattened again, the call reads as the model wrote it.
    const std::vector<Block> call = parseFlatResponse(reply, 3);
    EXPECT_EQ(
        flatten("S", std::vector<ChatMessage>{{ChatMessage::Role::assistant, call}}, "Me", "Coach"),
        "S\n\nOur conversation so far:\n[You called a tool] count "
        "{\"tool\":\"count\",\"terms\":\"sorry\"}\n\n"
        "Reply as the coach to my last message — or call a tool if you still need evidence. Plain text, no "
        "headings.");
}
