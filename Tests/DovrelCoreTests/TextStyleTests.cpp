#include "Foundation/Unicode.h"
#include "Measurement/TextStyle.h"

#include <gtest/gtest.h>
#include <memory>
#include <random>
#include <thread>
#include <unicode/normalizer2.h>
#include <unicode/regex.h>

using namespace dovrel;
using TextStyle::EmojiCount;
using TextStyle::Haha;

namespace {

using Texts = std::vector<std::string>;

LaughterProfile profile(int haha, int caps, int lol, int emoji) {
    return {haha, caps, lol, emoji};
}

// The laugh rules applied with nothing skipped: every text goes through both patterns.
TextStyle::Laughs referenceLaughs(const std::string& text) {
    const auto compile = [](std::u16string_view source) {
        UErrorCode status = U_ZERO_ERROR;
        UParseError error;
        return std::unique_ptr<icu::RegexPattern>(
            icu::RegexPattern::compile(icu::UnicodeString(source.data(), static_cast<int32_t>(source.size())),
                                       UREGEX_CASE_INSENSITIVE, error, status));
    };
    static const auto hahaPattern = compile(TextStyle::hahaPattern);
    static const auto lolPattern = compile(TextStyle::lolPattern);
    UErrorCode status = U_ZERO_ERROR;
    const auto input = icu::UnicodeString::fromUTF8(text);
    const std::unique_ptr<icu::RegexMatcher> haha(hahaPattern->matcher(input, status));
    const std::unique_ptr<icu::RegexMatcher> lol(lolPattern->matcher(input, status));
    TextStyle::Laughs laughs;
    if (haha->find(status)) {
        const icu::UnicodeString match = haha->group(status);
        icu::UnicodeString upper = match;
        upper.toUpper();
        laughs.haha = match == upper ? Haha::caps : Haha::plain;
    }
    laughs.lol = lol->find(status);
    laughs.laughEmoji = text.find("😂") != std::string::npos || text.find("🤣") != std::string::npos;
    EXPECT_TRUE(U_SUCCESS(status));
    return laughs;
}

const Texts laughCorpus = {
    "HA",
    "HAHA",
    "HaHa",
    "hahaha!!!",
    "HAHA ok haha",
    "ha",
    "aha",
    "ahaha",
    "hahah",
    "lol",
    "LOL",
    "loool",
    "lolol",
    "lollipop",
    "😂😂😂",
    "haha lol 😂",
    "🤣",
    "café lol",
    "naïve HAHAHA",
    "ẖaha",
    "\xEF\xAC\x82ol lo",
    "lo\xEF\xAC\x82",
    "Hähä",
    "ha ha",
    "shaha",
    "haha,lol",
    "LoL😂",
    "",
    "okay",
    "what's up?",
    "haaha",
    "HAAAHA",
    "hahaH",
    "ahahah!",
    "hah",
    "h-aha",
    "lo-ol",
    "l0l",
    "LOOOL",
    "lool.",
    "hahahaha lolll",
    "xhaha haha",
};

} // namespace

TEST(TextStyleTest, RatesOfNoTextsAreAbsentAndOfAnEmptyTextZero) {
    EXPECT_FALSE(TextStyle::questionRate({}).has_value());
    EXPECT_FALSE(TextStyle::emojiRate({}).has_value());
    EXPECT_FALSE(TextStyle::averageLength({}).has_value());
    const Texts empty = {""};
    EXPECT_EQ(TextStyle::questionRate(empty), 0.0);
    EXPECT_EQ(TextStyle::emojiRate(empty), 0.0);
    EXPECT_EQ(TextStyle::averageLength(empty), 0.0);
    EXPECT_EQ(LaughterProfile{}.total(), 0);
}

TEST(TextStyleTest, QuestionsCountOncePerTextAndOnlyTheAsciiMark) {
    EXPECT_EQ(TextStyle::questionRate(Texts{"what?", "what??", "no", "¿qué？"}), 0.5);
}

TEST(TextStyleTest, EmojiTestLeavesOutTextSymbolsAndKeycaps) {
    EXPECT_EQ(TextStyle::emojiRate(Texts{"love \u2764\uFE0F"}), 1.0);
    EXPECT_EQ(TextStyle::emojiRate(Texts{"\u00A9 2024", "5", "5\uFE0F\u20E3", "#\uFE0F\u20E3", "\u2194"}),
              0.0);
    EXPECT_EQ(TextStyle::emojiRate(Texts{"ok 👍🏽", "no", "🇫🇷", "plain"}), 0.5);
}

TEST(TextStyleTest, LengthIsInUserPerceivedCharacters) {
    // 👍🏽, e + combining acute, a flag, CR LF: one character each.
    EXPECT_EQ(TextStyle::averageLength(Texts{"👍🏽", "e\u0301", "🇫🇷", "\r\n", "abcd"}), 8.0 / 5.0);
    std::vector<std::string> emojis;
    EXPECT_EQ(TextStyle::graphemeLength("hi 👨‍👩‍👧 \u2764\uFE0F 5\uFE0F\u20E3", &emojis), 8);
    EXPECT_EQ(emojis, (std::vector<std::string>{"👨‍👩‍👧", "\u2764\uFE0F"}));
}

// `graphemeLength` spares the break iterator for texts whose code points each stand alone; lengths and emoji
// must come out exactly as the break iterator gives them, for every mix of scripts, marks and joiners.
TEST(TextStyleTest, LengthsAndEmojiMatchTheBreakIterator) {
    const std::vector<std::string> pieces = {
        "a",      " ",      "\r",         "\n",     "\r\n",   "é",      "e\u0301",    "’",          "\u00A9",
        "😂",      "👍",      "\U0001F3FD", "\u200D", "\uFE0F", "\u2764", "\U0001F1EB", "\U0001F1F7", "한",
        "\u1100", "\u1161", "\u11A8",     "क",      "\u094D", "ष",      "\u0E2A",     "\u0E33",     "\u0600",
        "\u200B", "\u0085", "5",          "\u20E3", "\xC3",   "\xFF",   "\xE2\x82",   "\U0001F468",
    };
    UErrorCode status = U_ZERO_ERROR;
    const icu::Normalizer2* nfc = icu::Normalizer2::getNFCInstance(status);
    std::mt19937 random(20241103);
    for (int i = 0; i < 6000; ++i) {
        std::string text;
        const auto count = std::uniform_int_distribution<int>(0, 7)(random);
        for (int k = 0; k < count; ++k) {
            text += pieces[std::uniform_int_distribution<std::size_t>(0, pieces.size() - 1)(random)];
        }
        SCOPED_TRACE(::testing::PrintToString(text));
        int clusters = 0;
        std::vector<std::string> expected;
        unicode::forEachGrapheme(text, [&](std::string_view cluster) {
            ++clusters;
            if (unicode::containsEmoji(cluster)) {
                std::string form;
                nfc->normalize(icu::UnicodeString::fromUTF8(cluster), status).toUTF8String(form);
                expected.push_back(form);
            }
        });
        std::vector<std::string> emojis;
        ASSERT_EQ(TextStyle::graphemeLength(text, &emojis), clusters);
        ASSERT_EQ(TextStyle::graphemeLength(text), static_cast<int>(unicode::graphemeCount(text)));
        ASSERT_EQ(emojis, expected);
    }
    EXPECT_TRUE(U_SUCCESS(status));
}

TEST(TextStyleTest, LaughterCountsLaughingMessagesByTheFirstHahaMatch) {
    EXPECT_EQ(TextStyle::laughterProfile(Texts{"HA", "ha", "aha", "lolol", "lollipop", "shaha"}),
              profile(0, 0, 0, 0));
    EXPECT_EQ(TextStyle::laughterProfile(Texts{"HAHA", "HAHA ok haha", "naïve HAHAHA"}), profile(0, 3, 0, 0));
    EXPECT_EQ(TextStyle::laughterProfile(Texts{"HaHa", "hahaha!!!", "ahaha", "hahah", "haha ok HAHA"}),
              profile(5, 0, 0, 0));
    EXPECT_EQ(TextStyle::laughterProfile(Texts{"lol", "LOL", "loool", "café lol"}), profile(0, 0, 4, 0));
    // Three laugh emoji in one text are one laughing message; one text can feed three counters.
    EXPECT_EQ(TextStyle::laughterProfile(Texts{"😂😂😂", "🤣 and 😂"}), profile(0, 0, 0, 2));
    const LaughterProfile all = TextStyle::laughterProfile(Texts{"haha lol 😂"});
    EXPECT_EQ(all, profile(1, 0, 1, 1));
    EXPECT_EQ(all.total(), 3);
}

// `laughs` skips the regex engine for texts that cannot match; it must never skip one that would.
TEST(TextStyleTest, LaughsSkipNothingThePatternsWouldFind) {
    Texts texts = laughCorpus;
    // Random texts of pieces of the patterns in both cases, word breaks, and characters whose case folding
    // holds their letters (U+1E96, U+1E9A, U+FB02, U+FB04, the Kelvin sign) or that sit between them.
    const std::vector<std::string> pieces = {
        "ha", "HA", "hA", "a", "h",      "A",      "H",      "lo",     "LO",     "oL", "l", "o",     "L",
        "O",  " ",  "!",  "s", "\u1E96", "\u1E9A", "\uFB02", "\uFB04", "\u212A", "é",  "😂", "\u0301"};
    std::mt19937 random(20240310);
    for (int i = 0; i < 8000; ++i) {
        std::string text;
        const auto length = std::uniform_int_distribution<int>(1, 6)(random);
        for (int k = 0; k < length; ++k) {
            text += pieces[std::uniform_int_distribution<std::size_t>(0, pieces.size() - 1)(random)];
        }
        texts.push_back(text);
    }
    int hahas = 0;
    int lols = 0;
    for (const std::string& text : texts) {
        SCOPED_TRACE(text);
        const TextStyle::Laughs expected = referenceLaughs(text);
        const TextStyle::Laughs actual = TextStyle::laughs(text);
        ASSERT_EQ(actual.haha, expected.haha);
        ASSERT_EQ(actual.lol, expected.lol);
        ASSERT_EQ(actual.laughEmoji, expected.laughEmoji);
        hahas += expected.haha != Haha::none ? 1 : 0;
        lols += expected.lol ? 1 : 0;
    }
    // The sample must hold matches, or it proves nothing.
    EXPECT_GT(hahas, 25);
    EXPECT_GT(lols, 25);
}

TEST(TextStyleTest, LaughMatchingIsSafeFromSeveralThreads) {
    Texts texts;
    for (int i = 0; i < 200; ++i) {
        texts.insert(texts.end(), laughCorpus.begin(), laughCorpus.end());
    }
    const LaughterProfile expected = TextStyle::laughterProfile(texts);
    std::vector<LaughterProfile> results(4);
    std::vector<std::thread> workers;
    for (std::size_t w = 0; w < results.size(); ++w) {
        workers.emplace_back([&, w] { results[w] = TextStyle::laughterProfile(texts); });
    }
    for (std::thread& worker : workers) {
        worker.join();
    }
    for (const LaughterProfile& result : results) {
        EXPECT_EQ(result, expected);
    }
}

TEST(TextStyleTest, TopEmojisCountEveryCharacterAndBreakTiesByCodePoint) {
    const Texts texts = {"😂😂😂", "👍", "👍🏽 👍🏽", "🇫🇷", "😀 \u2764\uFE0F", "nothing", "\u00A9"};
    const std::vector<EmojiCount> top = TextStyle::topEmojis(texts, 10);
    const std::vector<EmojiCount> expected = {
        {"😂", 3}, {"👍🏽", 2}, {"\u2764\uFE0F", 1}, {"🇫🇷", 1}, {"👍", 1}, {"😀", 1},
    };
    EXPECT_EQ(top, expected);
    EXPECT_EQ(TextStyle::topEmojis(texts, 2),
              std::vector<EmojiCount>(expected.begin(), expected.begin() + 2));
    EXPECT_TRUE(TextStyle::topEmojis(Texts{"no emoji here"}, 10).empty());
    // Canonically equal spellings (combining marks in another order) are one character.
    const std::vector<EmojiCount> merged = TextStyle::topEmojis(Texts{"😀\u0323\u0301", "😀\u0301\u0323"}, 10);
    ASSERT_EQ(merged.size(), 1u);
    EXPECT_EQ(merged[0].count, 2);
}

TEST(TextStyleTest, FeaturesAgreeWithTheFunctionsOverTexts) {
    Texts texts = laughCorpus;
    texts.insert(texts.end(),
                 {"👍🏽 👍🏽?", "e\u0301", "\u2764\uFE0F", "5\uFE0F\u20E3", "hi\r\nthere"});
    TextStyle::Tally tally;
    TextStyle::EmojiTally emojiTally;
    for (const std::string& text : texts) {
        std::vector<std::string> emojis;
        tally.add(TextStyle::features(text, emojis));
        for (const std::string& emoji : emojis) {
            emojiTally.add(emoji);
        }
    }
    EXPECT_EQ(tally.questionRate(), TextStyle::questionRate(texts));
    EXPECT_EQ(tally.emojiRate(), TextStyle::emojiRate(texts));
    EXPECT_EQ(tally.averageLength(), TextStyle::averageLength(texts));
    EXPECT_EQ(tally.laughter, TextStyle::laughterProfile(texts));
    EXPECT_EQ(emojiTally.top(10), TextStyle::topEmojis(texts, 10));
}
