#include "Coach/QuestionParser.h"

#include "Foundation/Unicode.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <memory>
#include <unicode/regex.h>
#include <unicode/uchar.h>

namespace dovrel::QuestionParser {
namespace {

constexpr std::array<std::string_view, 15> stopWords = {"now",    "today", "tonight",   "tomorrow", "back",
                                                        "please", "about", "regarding", "that",     "this",
                                                        "after",  "since", "when",      "asap",     "rn"};

bool isPunctuation(char32_t codePoint) {
    return u_ispunct(static_cast<UChar32>(codePoint)) != 0;
}

// The text behind the first trigger, to the end of the question; absent when no trigger matches.
std::optional<std::string> candidate(std::string_view question) {
    static const std::unique_ptr<const icu::RegexPattern> pattern = [] {
        UErrorCode status = U_ZERO_ERROR;
        UParseError parseError;
        std::unique_ptr<icu::RegexPattern> compiled(icu::RegexPattern::compile(
            icu::UnicodeString::fromUTF8(R"((?:reply to|respond to|say to|write to|message|text)\s+(.+)$)"),
            UREGEX_CASE_INSENSITIVE, parseError, status));
        return U_SUCCESS(status) ? std::move(compiled) : nullptr;
    }();
    if (pattern == nullptr || question.size() > static_cast<std::size_t>(INT32_MAX)) {
        return std::nullopt;
    }
    const icu::UnicodeString text = icu::UnicodeString::fromUTF8(
        icu::StringPiece(question.data(), static_cast<int32_t>(question.size())));
    UErrorCode status = U_ZERO_ERROR;
    const std::unique_ptr<icu::RegexMatcher> matcher(pattern->matcher(text, status));
    if (U_FAILURE(status) || !matcher->find(status) || U_FAILURE(status)) {
        return std::nullopt;
    }
    const icu::UnicodeString group = matcher->group(1, status);
    if (U_FAILURE(status)) {
        return std::nullopt;
    }
    std::string out;
    group.toUTF8String(out);
    return out;
}

} // namespace

std::optional<std::string> contactName(std::string_view question) {
    const std::optional<std::string> behindTrigger = candidate(question);
    if (!behindTrigger) {
        return std::nullopt;
    }
    std::string name;
    std::string_view rest = *behindTrigger;
    while (!rest.empty()) {
        std::size_t offset = 0;
        std::size_t wordStart = 0;
        bool inWord = false;
        std::size_t wordEnd = rest.size();
        while (offset < rest.size()) {
            const std::size_t start = offset;
            const bool blank = unicode::isBlank(unicode::decodeNext(rest, offset));
            if (!inWord && !blank) {
                inWord = true;
                wordStart = start;
            } else if (inWord && blank) {
                wordEnd = start;
                break;
            }
        }
        if (!inWord) {
            break;
        }
        const std::string_view word =
            unicode::trimming(rest.substr(wordStart, wordEnd - wordStart), isPunctuation);
        rest = wordEnd < rest.size() ? rest.substr(wordEnd) : std::string_view();
        if (word.empty()) {
            break;
        }
        const std::string lower = unicode::lowercased(word);
        if (std::find(stopWords.begin(), stopWords.end(), lower) != stopWords.end()) {
            break;
        }
        if (!name.empty()) {
            name += ' ';
        }
        name += word;
    }
    if (name.empty()) {
        return std::nullopt;
    }
    return name;
}

} // namespace dovrel::QuestionParser
