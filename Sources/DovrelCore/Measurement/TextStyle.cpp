#include "Measurement/TextStyle.h"

#include "Foundation/Json.h"
#include "Foundation/Unicode.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <unicode/locid.h>
#include <unicode/normalizer2.h>
#include <unicode/regex.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>

namespace dovrel::TextStyle {
namespace {

std::optional<double> rate(std::int64_t count, int messages) {
    if (messages == 0) {
        return std::nullopt;
    }
    return static_cast<double>(count) / static_cast<double>(messages);
}

std::unique_ptr<const icu::RegexPattern> compile(std::u16string_view pattern) {
    UErrorCode status = U_ZERO_ERROR;
    UParseError parseError;
    std::unique_ptr<const icu::RegexPattern> compiled(
        icu::RegexPattern::compile(icu::UnicodeString(pattern.data(), static_cast<int32_t>(pattern.size())),
                                   UREGEX_CASE_INSENSITIVE, parseError, status));
    if (U_FAILURE(status) || !compiled) {
        std::fprintf(stderr, "laugh pattern does not compile: %s\n", u_errorName(status));
        std::abort();
    }
    return compiled;
}

// Compiled once for the process; RegexPattern is safe to share once built.
const icu::RegexPattern& compiledHaha() {
    static const std::unique_ptr<const icu::RegexPattern> pattern = compile(hahaPattern);
    return *pattern;
}

const icu::RegexPattern& compiledLol() {
    static const std::unique_ptr<const icu::RegexPattern> pattern = compile(lolPattern);
    return *pattern;
}

// A matcher holds its input and position, so each thread gets its own pair, and the UTF-16 copy of the text
// they both read.
struct Matchers {
    icu::UnicodeString text;
    std::unique_ptr<icu::RegexMatcher> haha;
    std::unique_ptr<icu::RegexMatcher> lol;

    Matchers() {
        UErrorCode status = U_ZERO_ERROR;
        haha.reset(compiledHaha().matcher(status));
        lol.reset(compiledLol().matcher(status));
        if (U_FAILURE(status)) {
            std::fprintf(stderr, "cannot make a laugh matcher: %s\n", u_errorName(status));
            std::abort();
        }
    }
};

Matchers& matchers() {
    thread_local Matchers instance;
    return instance;
}

// Case-insensitive, the letters of the patterns match only their two ASCII cases here: the one-character
// foldings into them ([Hh], [Aa], [Ll], [Oo]) are those, and a character whose folding expands (U+1E96 to
// "h\u0331", U+FB02 to "fl") cannot be matched whole by these patterns. So a text can only match if its bytes
// hold the letters in the order the pattern needs them: "h", one or more "a", "h", "a" for haha, and "l", one
// or more "o", "l" for lol. Texts without that shape skip the UTF-16 copy and the regex engine.
char lowerASCII(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

// `first`, a run of one or more `middle`, `first` again, then `last` (if given).
bool hasShape(std::string_view text, char first, char middle, char last) {
    const std::size_t n = text.size();
    for (std::size_t i = 0; i < n; ++i) {
        if (lowerASCII(text[i]) != first) {
            continue;
        }
        std::size_t k = i + 1;
        while (k < n && lowerASCII(text[k]) == middle) {
            ++k;
        }
        if (k > i + 1 && k < n && lowerASCII(text[k]) == first &&
            (last == '\0' || (k + 1 < n && lowerASCII(text[k + 1]) == last))) {
            return true;
        }
    }
    return false;
}

bool isLaughEmoji(std::string_view text) {
    return text.find("\xF0\x9F\x98\x82") != std::string_view::npos || // U+1F602
           text.find("\xF0\x9F\xA4\xA3") != std::string_view::npos;   // U+1F923
}

// Emoji keys are compared as NFC strings, so canonically equal spellings count as one character. The key is
// always well-formed UTF-8 (ill-formed bytes become U+FFFD): it ends up in JSON.
std::string normalized(std::string_view cluster) {
    UErrorCode status = U_ZERO_ERROR;
    const icu::Normalizer2* nfc = icu::Normalizer2::getNFCInstance(status);
    const icu::StringPiece piece(cluster.data(), static_cast<int32_t>(cluster.size()));
    if (U_FAILURE(status)) {
        return unicode::repairUTF8(
            std::span(reinterpret_cast<const std::uint8_t*>(cluster.data()), cluster.size()));
    }
    if (unicode::isValidUTF8(cluster) && nfc->isNormalizedUTF8(piece, status) && U_SUCCESS(status)) {
        return std::string(cluster);
    }
    status = U_ZERO_ERROR;
    const icu::UnicodeString form = nfc->normalize(icu::UnicodeString::fromUTF8(piece), status);
    std::string out;
    (U_SUCCESS(status) ? form : icu::UnicodeString::fromUTF8(piece)).toUTF8String(out);
    return out;
}

bool holdsEmoji(std::string_view cluster) {
    // U+238C is E2 8E 8C in UTF-8: a cluster of lower lead bytes only cannot pass the emoji test.
    std::size_t offset = 0;
    while (offset < cluster.size()) {
        if (static_cast<unsigned char>(cluster[offset]) < 0xE2) {
            ++offset;
            continue;
        }
        if (unicode::isEmoji(unicode::decodeNext(cluster, offset))) {
            return true;
        }
    }
    return false;
}

// When every code point of a text has the grapheme break property Other or Control (no CR, no combining,
// joining or spacing marks, no Hangul jamo or syllables, no regional indicators), no rule of UAX #29 joins
// two of them, so each is a character of its own and the break iterator can be spared. That covers most texts
// that are not ASCII: accented letters as typed, typographic quotes, a lone emoji. Returns false, with
// nothing appended, for any other text (including ill-formed UTF-8, which the break iterator reads its own
// way).
bool simpleLength(std::string_view text, int& length, std::vector<std::string>* emojis) {
    const std::size_t emojisBefore = emojis ? emojis->size() : 0;
    const auto giveUp = [&] {
        if (emojis) {
            emojis->resize(emojisBefore);
        }
        return false;
    };
    int count = 0;
    std::size_t offset = 0;
    while (offset < text.size()) {
        const auto byte = static_cast<unsigned char>(text[offset]);
        if (byte < 0x80) {
            if (byte == '\r') {
                return giveUp();
            }
            ++offset;
            ++count;
            continue;
        }
        const std::size_t begin = offset;
        const char32_t codePoint = unicode::decodeNext(text, offset);
        const auto kind =
            u_getIntPropertyValue(static_cast<UChar32>(codePoint), UCHAR_GRAPHEME_CLUSTER_BREAK);
        if (codePoint == 0xFFFD || (kind != U_GCB_OTHER && kind != U_GCB_CONTROL)) {
            return giveUp();
        }
        ++count;
        if (emojis && unicode::isEmoji(codePoint)) {
            emojis->push_back(normalized(text.substr(begin, offset - begin)));
        }
    }
    length = count;
    return true;
}

} // namespace

void to_json(nlohmann::json& out, const EmojiCount& entry) {
    out = nlohmann::json{{"emoji", entry.emoji}, {"count", entry.count}};
}

void from_json(const nlohmann::json& in, EmojiCount& entry) {
    json::expectObject(in, "an emoji count");
    entry.emoji = json::required<std::string>(in, "emoji");
    entry.count = json::required<int>(in, "count");
}

bool asksQuestion(std::string_view text) {
    return text.find('?') != std::string_view::npos;
}

Laughs laughs(std::string_view text) {
    Laughs result;
    result.laughEmoji = isLaughEmoji(text);
    const bool maybeHaha = hasShape(text, 'h', 'a', 'a');
    const bool maybeLol = hasShape(text, 'l', 'o', '\0');
    if (!maybeHaha && !maybeLol) {
        return result;
    }
    Matchers& m = matchers();
    m.text = icu::UnicodeString::fromUTF8(icu::StringPiece(text.data(), static_cast<int32_t>(text.size())));
    if (maybeHaha) {
        UErrorCode status = U_ZERO_ERROR;
        m.haha->reset(m.text);
        if (m.haha->find(status) && U_SUCCESS(status)) {
            const icu::UnicodeString match = m.haha->group(status);
            if (U_SUCCESS(status)) {
                icu::UnicodeString upper = match;
                upper.toUpper(icu::Locale::getRoot());
                result.haha = match == upper ? Haha::caps : Haha::plain;
            }
        }
    }
    if (maybeLol) {
        UErrorCode status = U_ZERO_ERROR;
        m.lol->reset(m.text);
        result.lol = m.lol->find(status) && U_SUCCESS(status);
    }
    return result;
}

int graphemeLength(std::string_view text, std::vector<std::string>* emojis) {
    int length = 0;
    if (simpleLength(text, length, emojis)) {
        return length;
    }
    if (emojis == nullptr) {
        return static_cast<int>(unicode::graphemeCount(text));
    }
    unicode::forEachGrapheme(text, [&](std::string_view cluster) {
        ++length;
        if (holdsEmoji(cluster)) {
            emojis->push_back(normalized(cluster));
        }
    });
    return length;
}

Features features(std::string_view text, std::vector<std::string>& emojis) {
    Features result;
    const std::size_t emojisBefore = emojis.size();
    result.length = graphemeLength(text, &emojis);
    result.hasEmoji = emojis.size() > emojisBefore;
    result.asksQuestion = asksQuestion(text);
    result.laughs = laughs(text);
    return result;
}

void addLaughs(LaughterProfile& profile, const Laughs& laughs) {
    if (laughs.haha == Haha::caps) {
        ++profile.capsHahaCount;
    } else if (laughs.haha == Haha::plain) {
        ++profile.hahaCount;
    }
    profile.lolCount += laughs.lol ? 1 : 0;
    profile.laughEmojiCount += laughs.laughEmoji ? 1 : 0;
}

void Tally::add(const Features& features) {
    ++messages;
    questions += features.asksQuestion ? 1 : 0;
    withEmoji += features.hasEmoji ? 1 : 0;
    totalLength += features.length;
    addLaughs(laughter, features.laughs);
}

std::optional<double> Tally::questionRate() const {
    return rate(questions, messages);
}
std::optional<double> Tally::emojiRate() const {
    return rate(withEmoji, messages);
}
std::optional<double> Tally::averageLength() const {
    return rate(totalLength, messages);
}

std::vector<EmojiCount> EmojiTally::top(int limit) const {
    std::vector<EmojiCount> entries;
    entries.reserve(counts_.size());
    for (const auto& [emoji, count] : counts_) {
        entries.push_back({emoji, count});
    }
    // UTF-8 byte order is code-point order.
    std::sort(entries.begin(), entries.end(), [](const EmojiCount& a, const EmojiCount& b) {
        return a.count != b.count ? a.count > b.count : a.emoji < b.emoji;
    });
    entries.resize(std::min(entries.size(), static_cast<std::size_t>(std::max(limit, 0))));
    return entries;
}

std::optional<double> questionRate(std::span<const std::string> myMessages) {
    const auto questions = std::count_if(myMessages.begin(), myMessages.end(),
                                         [](const std::string& text) { return asksQuestion(text); });
    return rate(questions, static_cast<int>(myMessages.size()));
}

std::optional<double> emojiRate(std::span<const std::string> myMessages) {
    const auto withEmoji = std::count_if(myMessages.begin(), myMessages.end(), [](const std::string& text) {
        return unicode::containsEmoji(text);
    });
    return rate(withEmoji, static_cast<int>(myMessages.size()));
}

std::optional<double> averageLength(std::span<const std::string> myMessages) {
    std::int64_t total = 0;
    for (const std::string& text : myMessages) {
        total += graphemeLength(text);
    }
    return rate(total, static_cast<int>(myMessages.size()));
}

LaughterProfile laughterProfile(std::span<const std::string> myMessages) {
    LaughterProfile profile;
    for (const std::string& text : myMessages) {
        addLaughs(profile, laughs(text));
    }
    return profile;
}

std::vector<EmojiCount> topEmojis(std::span<const std::string> myMessages, int limit) {
    EmojiTally tally;
    std::vector<std::string> emojis;
    for (const std::string& text : myMessages) {
        emojis.clear();
        graphemeLength(text, &emojis);
        for (const std::string& emoji : emojis) {
            tally.add(emoji);
        }
    }
    return tally.top(limit);
}

} // namespace dovrel::TextStyle
