#include "Coach/QuestionParser.h"
#include "Coach/ReplyBlocks.h"

#include <gtest/gtest.h>

using namespace dovrel;
using ReplyBlocks::Segment;

TEST(ReplyBlocksTest, SplitsProseAndSendableMessages) {
    EXPECT_TRUE(ReplyBlocks::parse("").empty());
    EXPECT_TRUE(ReplyBlocks::parse(" \n\t").empty());
    EXPECT_EQ(ReplyBlocks::parse("  just advice \n"), std::vector{Segment::prose("just advice")});
    EXPECT_EQ(ReplyBlocks::parse("```reply\nhey, free tonight?\n```"),
              std::vector{Segment::reply("hey, free tonight?")});

    // Two blocks with only a blank line between them: no prose segment in the middle.
    EXPECT_EQ(
        ReplyBlocks::parse("Try one of these:\n```reply\nfirst\n```\n\n```reply\nsecond\n```\nGood luck."),
        (std::vector{Segment::prose("Try one of these:"), Segment::reply("first"), Segment::reply("second"),
                     Segment::prose("Good luck.")}));

    // The opener ends with its word, so text on the same line is body; an empty block vanishes.
    EXPECT_EQ(ReplyBlocks::parse("```reply same line```\n```reply\n  \n```"),
              std::vector{Segment::reply("same line")});

    // Other tags stay prose, but any three backticks close a reply block.
    EXPECT_EQ(ReplyBlocks::parse("```swift\nlet x = 1\n```\n```reply\nok ```python"),
              (std::vector{Segment::prose("```swift\nlet x = 1\n```"), Segment::reply("ok"),
                           Segment::prose("python")}));

    // Case matters for the tag.
    EXPECT_EQ(ReplyBlocks::parse("```Reply\nhi\n```"), std::vector{Segment::prose("```Reply\nhi\n```")});
}

TEST(ReplyBlocksTest, UnclosedBlockBecomesProseWithoutItsOpener) {
    EXPECT_EQ(ReplyBlocks::parse("Here:\n```reply\nsee you at 8"),
              (std::vector{Segment::prose("Here:"), Segment::prose("see you at 8")}));
}

TEST(QuestionParserTest, FindsTheNameBehindTheTrigger) {
    EXPECT_EQ(QuestionParser::contactName("what should I reply to Sam tonight"), "Sam");
    EXPECT_EQ(QuestionParser::contactName("How do I respond to Mary Ann about the trip?"), "Mary Ann");
    EXPECT_EQ(QuestionParser::contactName("what do I say to him"), "him"); // only the stop list limits it
    EXPECT_EQ(QuestionParser::contactName("help me write to Jo?"), "Jo");
    EXPECT_EQ(QuestionParser::contactName("REPLY TO «Lena», please"), "Lena");
    EXPECT_EQ(QuestionParser::contactName("should I text  Ana   Lúcia now"), "Ana Lúcia");
}

TEST(QuestionParserTest, AbsentWithoutANameOrTrigger) {
    EXPECT_EQ(QuestionParser::contactName("reply to tonight"), std::nullopt);
    EXPECT_EQ(QuestionParser::contactName("how am I doing?"), std::nullopt);
    EXPECT_EQ(QuestionParser::contactName("reply to ... Sam"), std::nullopt); // an empty word ends the walk
    EXPECT_EQ(QuestionParser::contactName(""), std::nullopt);
}

TEST(QuestionParserTest, EarliestTriggerWinsAndTheMatchMustReachTheEnd) {
    // "text" stands before "reply to", so everything behind "text" is the candidate.
    EXPECT_EQ(QuestionParser::contactName("got a text from Kim, so reply to Lee"),
              "from Kim so reply to Lee");
    // The dot does not cross a line break: the match must lie on the last line.
    EXPECT_EQ(QuestionParser::contactName("reply to Sam\nthanks"), std::nullopt);
    EXPECT_EQ(QuestionParser::contactName("context here\nwhat do I text Priya"), "Priya");
}
