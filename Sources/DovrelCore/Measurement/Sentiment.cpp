#include "Measurement/Sentiment.h"

#include "Foundation/Unicode.h"
#include "Measurement/Vader.h"

#include <algorithm>
#include <cstddef>
#include <unicode/uchar.h>

namespace dovrel::Sentiment {
namespace {

bool isLineBreak(char32_t c) {
    return (c >= 0x0A && c <= 0x0D) || c == 0x85 || c == 0x2028 || c == 0x2029;
}

bool isWhiteSpace(char32_t c) {
    return u_hasBinaryProperty(static_cast<UChar32>(c), UCHAR_WHITE_SPACE) != 0;
}

// The text up to its first line break, or nothing when that holds only white space.
std::string_view firstParagraph(std::string_view text) {
    bool blank = true;
    std::size_t offset = 0;
    while (offset < text.size()) {
        const std::size_t start = offset;
        const char32_t c = unicode::decodeNext(text, offset);
        if (isLineBreak(c)) {
            return blank ? std::string_view() : text.substr(0, start);
        }
        blank = blank && isWhiteSpace(c);
    }
    return blank ? std::string_view() : text;
}

} // namespace

std::optional<double> score(std::string_view text) {
    // A text that opens with a blank line has an empty first paragraph: like a blank text, it gives no score
    // rather than a neutral one, so it does not pull an average towards zero.
    const std::string_view paragraph = firstParagraph(text);
    if (paragraph.empty()) {
        return std::nullopt;
    }
    return Vader::compound(paragraph);
}

std::optional<double> average(const std::vector<std::string>& texts, int sampleLimit) {
    return average(texts, sampleLimit, [](std::string_view text) { return score(text); });
}

std::optional<double> average(const std::vector<std::string>& texts, int sampleLimit, const Scorer& scorer) {
    if (texts.empty()) {
        return std::nullopt;
    }
    // An even spread over the whole list; rounding the step down can take a few more than `sampleLimit`.
    const std::size_t step =
        std::max<std::size_t>(texts.size() / static_cast<std::size_t>(std::max(sampleLimit, 1)), 1);
    double sum = 0.0;
    int scored = 0;
    for (std::size_t i = 0; i < texts.size(); i += step) {
        if (const std::optional<double> value = scorer(texts[i])) {
            sum += *value;
            ++scored;
        }
    }
    if (scored == 0) {
        return std::nullopt;
    }
    return sum / static_cast<double>(scored);
}

} // namespace dovrel::Sentiment
