#pragma once

#include <span>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

// The words the user uses most with someone, by plain counting.
namespace dovrel::Topics {

struct WordCount {
    // Lower case, in NFC.
    std::string word;
    int count = 0;

    bool operator==(const WordCount&) const = default;
};

// Common words never counted: 60 of them, all lower case.
const std::unordered_set<std::string_view>& stopwords();

// The `limit` most frequent words of the texts, most first, equal counts in ascending code-point order. A
// word is a run of letters, marks and digits, lower-cased; it counts when it has at least 4 user-perceived
// characters, is no stop word and is not all numbers.
std::vector<WordCount> topWords(std::span<const std::string> myMessages, int limit);

} // namespace dovrel::Topics
