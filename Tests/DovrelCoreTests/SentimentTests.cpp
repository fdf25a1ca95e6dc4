#include "Measurement/Sentiment.h"
#include "Measurement/Vader.h"

#include <cstdio>
#include <filesystem>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <optional>
#include <sstream>
#include <string>
#include <sys/wait.h>
#include <vector>

using namespace dovrel;

namespace {

namespace fs = std::filesystem;

const fs::path dataDir = fs::path(__FILE__).parent_path() / "vader";

std::string shellQuoted(const std::string& text) {
    std::string out = "'";
    for (const char c : text) {
        out += c == '\'' ? std::string("'\\''") : std::string(1, c);
    }
    return out + "'";
}

struct CommandResult {
    std::string output;
    int exitCode = -1;
};

CommandResult runCommand(const std::string& command) {
    CommandResult run;
    FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) {
        return run;
    }
    char buffer[65536];
    std::size_t read = 0;
    while ((read = std::fread(buffer, 1, sizeof buffer, pipe)) > 0) {
        run.output.append(buffer, read);
    }
    const int status = pclose(pipe);
    run.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return run;
}

TEST(VaderTest, AgreesWithTheReferenceImplementationOnTheCorpus) {
    const std::string node = MURMORA_NODE_EXECUTABLE;
    ASSERT_FALSE(node.empty())
        << "Node.js was not found when the build was configured. The sentiment tests run "
           "the reference VADER implementation with it: run scripts/setup, then configure "
           "again.";
    const std::string package = MURMORA_VADER_PACKAGE_DIR;
    const CommandResult run =
        runCommand(shellQuoted(node) + " " + shellQuoted((dataDir / "reference.js").string()) + " " +
                   shellQuoted(package) + " " + shellQuoted((dataDir / "corpus.txt").string()));
    ASSERT_EQ(run.exitCode, 0) << "the reference implementation did not run: " << run.output;

    const nlohmann::json scored = nlohmann::json::parse(run.output);
    ASSERT_GE(scored.size(), 500u);
    int mismatches = 0;
    int nonZero = 0;
    for (const auto& entry : scored) {
        const auto text = entry.at(0).get<std::string>();
        const double expected = entry.at(1).get<double>();
        const double actual = Vader::compound(text);
        nonZero += expected != 0.0 ? 1 : 0;
        // Both sides are rounded to four decimals, so agreement to four places is equality.
        if (std::abs(actual - expected) > 0.00005) {
            ++mismatches;
            ADD_FAILURE() << "\"" << text << "\": reference " << expected << ", ours " << actual;
        }
    }
    EXPECT_EQ(mismatches, 0) << "of " << scored.size() << " texts";
    // The reference ran the model, and did not just print zeros.
    EXPECT_GT(nonZero, static_cast<int>(scored.size()) / 2);
}

TEST(SentimentTest, BlankTextsHaveNoScore) {
    for (const std::string_view text : {"", " ", "   ", "\t", "\n", " \n\t\r\n ", "\xC2\xA0", "\xE2\x80\xA9",
                                        "\xE3\x80\x80 \xE2\x80\xA8"}) {
        EXPECT_EQ(Sentiment::score(text), std::nullopt) << '"' << text << '"';
    }
    // A text of words the model does not know scores 0, which is a score.
    EXPECT_EQ(Sentiment::score("the table"), 0.0);
}

TEST(SentimentTest, OnlyTheFirstParagraphIsScored) {
    const double love = Vader::compound("I love you");
    ASSERT_GT(love, 0.5);
    for (const std::string_view breakSequence :
         {"\n", "\r", "\r\n", "\xC2\x85", "\xE2\x80\xA8", "\xE2\x80\xA9"}) {
        const std::string text = "I love you" + std::string(breakSequence) + "I hate you so much!!!";
        EXPECT_EQ(Sentiment::score(text), love)
            << "break " << testing::PrintToString(std::string(breakSequence));
    }
    // The exclamation marks of later paragraphs do not add emphasis either.
    EXPECT_EQ(Sentiment::score("good\n!!!!"), Vader::compound("good"));
    EXPECT_LT(Vader::compound("good"), Vader::compound("good !!!!"));
    // White space around the words of the first paragraph is no break.
    EXPECT_EQ(Sentiment::score("  I love you\t "), love);
    // A text that opens with a line break has an empty first paragraph.
    EXPECT_EQ(Sentiment::score("\nI love you"), std::nullopt);
    EXPECT_EQ(Sentiment::score("  \r\nI love you"), std::nullopt);
}

// A scorer that records which texts were sampled. The texts are their own positions.
struct CountingScorer {
    std::vector<int> positions;
    std::optional<double> value = 0.5;

    Sentiment::Scorer scorer() {
        return [this](std::string_view text) {
            positions.push_back(std::stoi(std::string(text)));
            return value;
        };
    }
};

std::vector<std::string> numbered(int count) {
    std::vector<std::string> texts;
    for (int i = 0; i < count; ++i) {
        texts.push_back(std::to_string(i));
    }
    return texts;
}

TEST(SentimentTest, AverageSamplesAnEvenSpread) {
    {
        CountingScorer counting;
        EXPECT_EQ(Sentiment::average(numbered(3), 30, counting.scorer()), 0.5);
        EXPECT_EQ(counting.positions, (std::vector<int>{0, 1, 2}));
    }
    {
        CountingScorer counting;
        EXPECT_EQ(Sentiment::average(numbered(100), 30, counting.scorer()), 0.5);
        std::vector<int> expected;
        for (int i = 0; i < 100; i += 3) {
            expected.push_back(i);
        }
        ASSERT_EQ(expected.size(), 34u);
        EXPECT_EQ(counting.positions, expected);
    }
    {
        // The step rounds down: 10 texts at a limit of 4 take every second one, 5 in all.
        CountingScorer counting;
        Sentiment::average(numbered(10), 4, counting.scorer());
        EXPECT_EQ(counting.positions, (std::vector<int>{0, 2, 4, 6, 8}));
    }
    for (const int limit : {0, -5, 1}) {
        CountingScorer counting;
        Sentiment::average(numbered(7), limit, counting.scorer());
        EXPECT_EQ(counting.positions, (std::vector<int>{0})) << "limit " << limit;
    }
    {
        CountingScorer counting;
        EXPECT_EQ(Sentiment::average({}, 30, counting.scorer()), std::nullopt);
        EXPECT_TRUE(counting.positions.empty());
    }
}

TEST(SentimentTest, AverageIsTheMeanOfTheScoresThereAre) {
    const std::vector<std::string> texts = {"0.9", "", "-0.3", "x", "0.0"};
    const Sentiment::Scorer parse = [](std::string_view text) -> std::optional<double> {
        if (text.empty() || text == "x") {
            return std::nullopt;
        }
        return std::stod(std::string(text));
    };
    EXPECT_DOUBLE_EQ(*Sentiment::average(texts, 30, parse), 0.2);

    // No score at all is absent, not 0.
    CountingScorer none;
    none.value = std::nullopt;
    EXPECT_EQ(Sentiment::average(numbered(40), 30, none.scorer()), std::nullopt);
    EXPECT_EQ(none.positions.size(), 40u);
    EXPECT_EQ(Sentiment::average({"", "  ", "\n\n"}, 30), std::nullopt);

    // The default scorer is `score`: blanks drop out, the rest are averaged.
    const std::vector<std::string> messages = {"I love you", " ", "I hate you", "\nhello"};
    EXPECT_DOUBLE_EQ(*Sentiment::average(messages, 30),
                     (*Sentiment::score("I love you") + *Sentiment::score("I hate you")) / 2);
}

} // namespace
