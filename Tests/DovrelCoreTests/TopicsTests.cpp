#include "Measurement/Topics.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <random>
#include <string>
#include <vector>

using namespace dovrel;
using Topics::WordCount;

namespace {

using Texts = std::vector<std::string>;
using Counts = std::vector<WordCount>;

TEST(TopicsTest, WordsNeedFourCharactersAndSomethingOtherThanNumbers) {
    EXPECT_EQ(Topics::topWords(Texts{"2024 1234", "99999"}, 10), Counts{});
    EXPECT_EQ(Topics::topWords(Texts{"abc1"}, 10), (Counts{{"abc1", 1}}));
    // Numbers of other scripts and kinds are numbers too: Arabic-Indic digits, fractions, Han numerals.
    EXPECT_EQ(Topics::topWords(Texts{"١٢٣٤ ½½½½ 一二三四"}, 10), Counts{});
    // Three characters in five bytes ("été") are still too short; four in five bytes ("café") are enough.
    EXPECT_EQ(Topics::topWords(Texts{"été café"}, 10), (Counts{{"café", 1}}));
    EXPECT_EQ(Topics::topWords(Texts{"cat dog pig"}, 10), Counts{});
}

TEST(TopicsTest, StopWordsApplyAfterLowerCasing) {
    EXPECT_EQ(Topics::stopwords().size(), 60u);
    EXPECT_EQ(Topics::topWords(Texts{"tomorrow TOMORROW", "Actually REALLY Haha", "thats THAT'S"}, 10),
              Counts{});
    // An apostrophe splits a word: "youre" is a stop word, "you're" is two short pieces.
    EXPECT_EQ(Topics::topWords(Texts{"you're YOURE wasn't"}, 10), (Counts{{"wasn", 1}}));
}

TEST(TopicsTest, SplitsAtEveryCharacterThatIsNoLetterMarkOrDigit) {
    const Texts messages = {
        "pizza!!!pizza, pizza_night #pizza",
        "PIZZA🍕pizza",
        "Привет привет",
        "night\u00A0night",
    };
    EXPECT_EQ(Topics::topWords(messages, 10), (Counts{{"pizza", 6}, {"night", 3}, {"привет", 2}}));
}

TEST(TopicsTest, AccentedWordsCountInCharactersAndAsOneSpelling) {
    const std::string composed = "caf\u00E9";    // é as one code point
    const std::string decomposed = "cafe\u0301"; // e and a combining acute accent
    EXPECT_EQ(Topics::topWords(Texts{decomposed + " and " + decomposed}, 5), (Counts{{composed, 2}}));
    EXPECT_EQ(Topics::topWords(Texts{composed + " " + decomposed, "CAFÉ"}, 5), (Counts{{composed, 3}}));
}

TEST(TopicsTest, RanksByCountThenWordWhateverTheInputOrder) {
    Texts messages = {"zebra apple mango", "movie night", "movie movie", "pizza pizza pizza pizza", "night"};
    const Counts expected = {{"pizza", 4}, {"movie", 3}, {"night", 2},
                             {"apple", 1}, {"mango", 1}, {"zebra", 1}};
    std::mt19937 random(7);
    for (int round = 0; round < 20; ++round) {
        std::shuffle(messages.begin(), messages.end(), random);
        ASSERT_EQ(Topics::topWords(messages, 10), expected);
    }
    EXPECT_EQ(Topics::topWords(messages, 4), Counts(expected.begin(), expected.begin() + 4));
    EXPECT_EQ(Topics::topWords(messages, 0), Counts{});
    EXPECT_EQ(Topics::topWords(Texts{}, 8), Counts{});
}

} // namespace
