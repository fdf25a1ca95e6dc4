#include "Measurement/Topics.h"

#include "Foundation/Unicode.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <unicode/normalizer2.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>
#include <unordered_map>

namespace dovrel::Topics {
namespace {

constexpr std::size_t shortestWord = 4;

constexpr std::string_view stopwordList[] = {
    "that",   "this",  "with",  "have",     "just",    "what",   "your",   "about", "like",  "know",
    "yeah",   "okay",  "good",  "will",     "when",    "they",   "them",   "then",  "there", "here",
    "from",   "want",  "going", "gonna",    "dont",    "cant",   "youre",  "thats", "well",  "were",
    "been",   "being", "would", "could",    "should",  "really", "right",  "some",  "sure",  "haha",
    "hahaha", "time",  "today", "tomorrow", "tonight", "think",  "thanks", "thank", "still", "also",
    "much",   "need",  "make",  "come",     "over",    "down",   "back",   "wait",  "where", "actually",
};

// Letters, marks and numbers of every kind: what a word is made of.
bool isAlphanumeric(char32_t c) {
    return (U_GET_GC_MASK(static_cast<UChar32>(c)) & (U_GC_L_MASK | U_GC_M_MASK | U_GC_N_MASK)) != 0;
}

bool isASCII(std::string_view text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

// Canonically equal spellings ("é" as one code point or as "e" and a combining accent) are one word.
std::string normalized(std::string_view word) {
    if (isASCII(word)) {
        return std::string(word);
    }
    UErrorCode status = U_ZERO_ERROR;
    const icu::Normalizer2* nfc = icu::Normalizer2::getNFCInstance(status);
    const icu::StringPiece piece(word.data(), static_cast<int32_t>(word.size()));
    if (U_FAILURE(status) || (nfc->isNormalizedUTF8(piece, status) && U_SUCCESS(status))) {
        return std::string(word);
    }
    status = U_ZERO_ERROR;
    const icu::UnicodeString form = nfc->normalize(icu::UnicodeString::fromUTF8(piece), status);
    if (U_FAILURE(status)) {
        return std::string(word);
    }
    std::string out;
    form.toUTF8String(out);
    return out;
}

// A character is a number when its first code point has a numeric value: digits of any script, fractions,
// Roman numerals, also the Han numerals.
bool isNumber(std::string_view character) {
    std::size_t offset = 0;
    const char32_t first = unicode::decodeNext(character, offset);
    return u_getIntPropertyValue(static_cast<UChar32>(first), UCHAR_NUMERIC_TYPE) != U_NT_NONE;
}

bool allNumbers(std::string_view word) {
    if (isASCII(word)) {
        return std::all_of(word.begin(), word.end(), [](char c) { return c >= '0' && c <= '9'; });
    }
    bool numbers = true;
    unicode::forEachGrapheme(word,
                             [&](std::string_view character) { numbers = numbers && isNumber(character); });
    return numbers;
}

bool counts(const std::string& word) {
    return unicode::graphemeCount(word) >= shortestWord && !stopwords().contains(word) && !allNumbers(word);
}

} // namespace

const std::unordered_set<std::string_view>& stopwords() {
    static const std::unordered_set<std::string_view> set(std::begin(stopwordList), std::end(stopwordList));
    return set;
}

std::vector<WordCount> topWords(std::span<const std::string> myMessages, int limit) {
    if (limit <= 0) {
        return {};
    }
    std::unordered_map<std::string, int> counted;
    const auto add = [&](std::string_view piece) {
        if (piece.size() < shortestWord) {
            // Fewer than 4 bytes cannot make 4 characters.
            return;
        }
        std::string word = normalized(piece);
        if (counts(word)) {
            ++counted[std::move(word)];
        }
    };
    for (const std::string& message : myMessages) {
        const std::string lower = unicode::lowercased(message);
        const std::string_view text = lower;
        std::size_t start = 0;
        std::size_t offset = 0;
        while (offset < text.size()) {
            const std::size_t here = offset;
            const auto byte = static_cast<unsigned char>(text[offset]);
            bool inWord = false;
            if (byte < 0x80) {
                // The text is lower case already.
                inWord = (byte >= 'a' && byte <= 'z') || (byte >= '0' && byte <= '9');
                ++offset;
            } else {
                inWord = isAlphanumeric(unicode::decodeNext(text, offset));
            }
            if (!inWord) {
                add(text.substr(start, here - start));
                start = offset;
            }
        }
        add(text.substr(start));
    }

    std::vector<WordCount> words;
    words.reserve(counted.size());
    for (auto& [word, count] : counted) {
        words.push_back({word, count});
    }
    const auto byRank = [](const WordCount& a, const WordCount& b) {
        return a.count != b.count ? a.count > b.count : a.word < b.word;
    };
    const auto keep = std::min(words.size(), static_cast<std::size_t>(limit));
    std::partial_sort(words.begin(), words.begin() + static_cast<std::ptrdiff_t>(keep), words.end(), byRank);
    words.resize(keep);
    return words;
}

} // namespace dovrel::Topics
