#include "Measurement/Vader.h"

#include "Foundation/Unicode.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <iterator>
#include <optional>
#include <string>
#include <unicode/uchar.h>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

namespace dovrel::Vader {
namespace {

// The model's empirically derived constants.
constexpr double boosterIncrement = 0.293;
constexpr double boosterDecrement = -0.293;
constexpr double capsIncrement = 0.733;
constexpr double negationScalar = -0.74;
constexpr double exclamationIncrement = 0.292;
constexpr int mostExclamations = 4;
constexpr double questionIncrement = 0.18;
constexpr double manyQuestionsIncrement = 0.96;
constexpr double normalizationAlpha = 15.0;

// Degree adverbs that raise or lower the intensity of the sentiment word after them.
constexpr std::pair<std::string_view, double> boosterWords[] = {
    {"absolutely", boosterIncrement},   {"amazingly", boosterIncrement},
    {"awfully", boosterIncrement},      {"completely", boosterIncrement},
    {"considerably", boosterIncrement}, {"decidedly", boosterIncrement},
    {"deeply", boosterIncrement},       {"effing", boosterIncrement},
    {"enormously", boosterIncrement},   {"entirely", boosterIncrement},
    {"especially", boosterIncrement},   {"exceptionally", boosterIncrement},
    {"extremely", boosterIncrement},    {"fabulously", boosterIncrement},
    {"flipping", boosterIncrement},     {"flippin", boosterIncrement},
    {"fricking", boosterIncrement},     {"frickin", boosterIncrement},
    {"frigging", boosterIncrement},     {"friggin", boosterIncrement},
    {"fully", boosterIncrement},        {"fucking", boosterIncrement},
    {"greatly", boosterIncrement},      {"hella", boosterIncrement},
    {"highly", boosterIncrement},       {"hugely", boosterIncrement},
    {"incredibly", boosterIncrement},   {"intensely", boosterIncrement},
    {"majorly", boosterIncrement},      {"more", boosterIncrement},
    {"most", boosterIncrement},         {"particularly", boosterIncrement},
    {"purely", boosterIncrement},       {"quite", boosterIncrement},
    {"really", boosterIncrement},       {"remarkably", boosterIncrement},
    {"so", boosterIncrement},           {"substantially", boosterIncrement},
    {"thoroughly", boosterIncrement},   {"totally", boosterIncrement},
    {"tremendously", boosterIncrement}, {"uber", boosterIncrement},
    {"unbelievably", boosterIncrement}, {"unusually", boosterIncrement},
    {"utterly", boosterIncrement},      {"very", boosterIncrement},
    {"almost", boosterDecrement},       {"barely", boosterDecrement},
    {"hardly", boosterDecrement},       {"just enough", boosterDecrement},
    {"kind of", boosterDecrement},      {"kinda", boosterDecrement},
    {"kindof", boosterDecrement},       {"kind-of", boosterDecrement},
    {"less", boosterDecrement},         {"little", boosterDecrement},
    {"marginally", boosterDecrement},   {"occasionally", boosterDecrement},
    {"partly", boosterDecrement},       {"scarcely", boosterDecrement},
    {"slightly", boosterDecrement},     {"somewhat", boosterDecrement},
    {"sort of", boosterDecrement},      {"sorta", boosterDecrement},
    {"sortof", boosterDecrement},       {"sort-of", boosterDecrement},
};

constexpr std::string_view negationWords[] = {
    "aint",     "arent",    "cannot",    "cant",    "couldnt", "darent",   "didnt",   "doesnt", "ain't",
    "aren't",   "can't",    "couldn't",  "daren't", "didn't",  "doesn't",  "dont",    "hadnt",  "hasnt",
    "havent",   "isnt",     "mightnt",   "mustnt",  "neither", "don't",    "hadn't",  "hasn't", "haven't",
    "isn't",    "mightn't", "mustn't",   "neednt",  "needn't", "never",    "none",    "nope",   "nor",
    "not",      "nothing",  "nowhere",   "oughtnt", "shant",   "shouldnt", "uhuh",    "wasnt",  "werent",
    "oughtn't", "shan't",   "shouldn't", "uh-uh",   "wasn't",  "weren't",  "without", "wont",   "wouldnt",
    "won't",    "wouldn't", "rarely",    "seldom",  "despite",
};

// Phrases whose sentiment replaces that of the sentiment word inside them.
constexpr std::pair<std::string_view, double> idioms[] = {
    {"the shit", 3.0},        {"the bomb", 3.0},       {"bad ass", 1.5},        {"yeah right", -2.0},
    {"cut the mustard", 2.0}, {"kiss of death", -1.5}, {"hand to mouth", -2.0},
};

// Single punctuation marks, and runs of "!" and "?", that are cut off a word at either end.
constexpr std::string_view punctuationAffixes[] = {
    ".", "!", "?", ",", ";", ":", "-", "'", "\"", "!!", "!!!", "??", "???", "?!?", "!?!", "?!?!", "!?!?",
};

struct Model {
    std::unordered_map<std::string_view, double> lexicon;
    std::unordered_map<std::string_view, double> boosters;
    std::unordered_set<std::string_view> negations;
    // Boosters of two words, which only the idiom check sees.
    std::vector<std::string_view> phraseBoosters;
    bool leastHasValence = false;

    Model() {
        const std::string_view text = lexiconText();
        lexicon.reserve(8192);
        std::size_t lineStart = 0;
        while (lineStart < text.size()) {
            std::size_t lineEnd = text.find('\n', lineStart);
            if (lineEnd == std::string_view::npos) {
                lineEnd = text.size();
            }
            const std::string_view line = text.substr(lineStart, lineEnd - lineStart);
            lineStart = lineEnd + 1;
            const std::size_t tab = line.find('\t');
            if (tab == std::string_view::npos) {
                continue;
            }
            const std::string_view rest = line.substr(tab + 1);
            double mean = 0.0;
            const auto [end, error] = std::from_chars(rest.data(), rest.data() + rest.size(), mean);
            if (error != std::errc() || (end != rest.data() + rest.size() && *end != '\t')) {
                continue;
            }
            lexicon.insert_or_assign(line.substr(0, tab), mean);
        }

        boosters.insert(std::begin(boosterWords), std::end(boosterWords));
        for (const auto& [word, scalar] : boosters) {
            if (word.find(' ') != std::string_view::npos) {
                phraseBoosters.push_back(word);
            }
        }
        negations.insert(std::begin(negationWords), std::end(negationWords));
        leastHasValence = lexicon.contains("least");
    }
};

const Model& model() {
    static const Model instance;
    return instance;
}

// One word of the text as the model reads it: split at white space, stripped of a punctuation affix.
struct Token {
    std::string_view text;
    std::string lower;
    std::optional<double> valence;
    std::optional<double> booster;
    bool allCaps = false;
};

bool isASCIIPunctuation(char c) {
    return (c >= '!' && c <= '/') || (c >= ':' && c <= '@') || (c >= '[' && c <= '`') ||
           (c >= '{' && c <= '~');
}

// White space as JavaScript's \s has it: the space separators, the line terminators, tab, vertical tab, form
// feed and U+FEFF. Unlike the Unicode White_Space property, U+0085 is not in it.
bool isScriptSpace(char32_t c) {
    switch (c) {
    case 0x09:
    case 0x0A:
    case 0x0B:
    case 0x0C:
    case 0x0D:
    case 0x20:
    case 0x2028:
    case 0x2029:
    case 0xFEFF:
        return true;
    default:
        return c > 0x7F && u_charType(static_cast<UChar32>(c)) == U_SPACE_SEPARATOR;
    }
}

// More than one UTF-16 code unit: at least two code points, or one above U+FFFF. Words of one unit are
// dropped.
bool isLongerThanOneUnit(std::string_view word) {
    if (word.size() < 2) {
        return false;
    }
    std::size_t offset = 0;
    const char32_t first = unicode::decodeNext(word, offset);
    return offset < word.size() || first > 0xFFFF;
}

// Words keep their punctuation unless it is exactly one of `punctuationAffixes`, at one end only, around a
// word with no punctuation in it: "good!!" reads as "good", "good!!!!" and "(good)" stay as they are.
std::string_view withoutAffix(std::string_view token) {
    std::size_t lead = 0;
    while (lead < token.size() && isASCIIPunctuation(token[lead])) {
        ++lead;
    }
    if (lead == token.size()) {
        return token;
    }
    std::size_t trail = 0;
    while (isASCIIPunctuation(token[token.size() - 1 - trail])) {
        ++trail;
    }
    if ((lead == 0) == (trail == 0)) {
        return token;
    }
    const std::string_view affix = lead > 0 ? token.substr(0, lead) : token.substr(token.size() - trail);
    const std::string_view word = lead > 0 ? token.substr(lead) : token.substr(0, token.size() - trail);
    if (std::any_of(word.begin(), word.end(), isASCIIPunctuation) || !isLongerThanOneUnit(word) ||
        std::find(std::begin(punctuationAffixes), std::end(punctuationAffixes), affix) ==
            std::end(punctuationAffixes)) {
        return token;
    }
    return word;
}

// Upper case in the ASCII sense only: some letter A to Z and none from a to z.
bool isAllCaps(std::string_view word) {
    bool upper = false;
    for (const char c : word) {
        if (c >= 'a' && c <= 'z') {
            return false;
        }
        upper = upper || (c >= 'A' && c <= 'Z');
    }
    return upper;
}

template <typename Map> std::optional<double> lookUp(const Map& map, std::string_view key) {
    const auto found = map.find(key);
    return found == map.end() ? std::nullopt : std::optional<double>(found->second);
}

void addToken(std::vector<Token>& tokens, std::string_view piece, const Model& m) {
    if (!isLongerThanOneUnit(piece)) {
        return;
    }
    Token token;
    token.text = withoutAffix(piece);
    token.lower = unicode::lowercased(token.text);
    token.valence = lookUp(m.lexicon, token.lower);
    token.booster = lookUp(m.boosters, token.lower);
    token.allCaps = isAllCaps(token.text);
    tokens.push_back(std::move(token));
}

std::vector<Token> tokenize(std::string_view text, const Model& m) {
    std::vector<Token> tokens;
    std::size_t start = 0;
    std::size_t offset = 0;
    while (offset < text.size()) {
        const std::size_t here = offset;
        const auto byte = static_cast<unsigned char>(text[offset]);
        bool space = false;
        if (byte < 0x80) {
            space = byte == ' ' || (byte >= 0x09 && byte <= 0x0D);
            ++offset;
        } else {
            space = isScriptSpace(unicode::decodeNext(text, offset));
        }
        if (space) {
            addToken(tokens, text.substr(start, here - start), m);
            start = offset;
        }
    }
    addToken(tokens, text.substr(start), m);
    return tokens;
}

bool negates(std::string_view word, const Model& m) {
    return m.negations.contains(word) || word.find("n't") != std::string_view::npos;
}

bool isSoOrThis(std::string_view word) {
    return word == "so" || word == "this";
}

// Up to three words in a row, as the idiom check compares them.
struct Phrase {
    std::array<std::string_view, 3> words;
    std::size_t count = 0;
};

// Whether `key` is the phrase's words joined by single spaces.
bool spells(std::string_view key, const Phrase& phrase) {
    for (std::size_t k = 0; k < phrase.count; ++k) {
        if (k > 0) {
            if (key.empty() || key.front() != ' ') {
                return false;
            }
            key.remove_prefix(1);
        }
        if (!key.starts_with(phrase.words[k])) {
            return false;
        }
        key.remove_prefix(phrase.words[k].size());
    }
    return key.empty();
}

std::optional<double> idiom(const Phrase& phrase) {
    for (const auto& [key, valence] : idioms) {
        if (spells(key, phrase)) {
            return valence;
        }
    }
    return std::nullopt;
}

// Scaling by the word `distance + 1` places before the sentiment word: negation, or "never so"/"never this".
double negationCheck(const std::vector<Token>& tokens, std::size_t i, std::size_t distance, double valence,
                     const Model& m) {
    const auto word = [&](std::size_t back) { return tokens[i - back].text; };
    switch (distance) {
    case 0:
        if (negates(word(1), m)) {
            valence = valence * negationScalar;
        }
        break;
    case 1:
        if (word(2) == "never" && isSoOrThis(word(1))) {
            valence = valence * 1.5;
        } else if (negates(word(2), m)) {
            valence = valence * negationScalar;
        }
        break;
    default:
        if ((word(3) == "never" && isSoOrThis(word(2))) || isSoOrThis(word(1))) {
            valence = valence * 1.25;
        } else if (negates(word(3), m)) {
            valence = valence * negationScalar;
        }
        break;
    }
    return valence;
}

// Idioms around the sentiment word at `i` (at least 3), and two-word dampeners two and three places back.
double idiomCheck(const std::vector<Token>& tokens, std::size_t i, double valence, const Model& m) {
    const auto word = [&](std::size_t index) { return tokens[index].text; };
    const std::string_view zero = word(i);
    const std::string_view one = word(i - 1);
    const std::string_view two = word(i - 2);
    const std::string_view three = word(i - 3);
    const Phrase before[] = {
        {{one, zero, {}}, 2},   {{two, one, zero}, 3}, {{two, one, {}}, 2},
        {{three, two, one}, 3}, {{three, two, {}}, 2},
    };
    for (const Phrase& phrase : before) {
        if (const auto found = idiom(phrase)) {
            valence = *found;
            break;
        }
    }
    if (i + 1 < tokens.size()) {
        if (const auto found = idiom({{zero, word(i + 1), {}}, 2})) {
            valence = *found;
        }
    }
    if (i + 2 < tokens.size()) {
        if (const auto found = idiom({{zero, word(i + 1), word(i + 2)}, 3})) {
            valence = *found;
        }
    }
    const Phrase threeTwo{{three, two, {}}, 2};
    const Phrase twoOne{{two, one, {}}, 2};
    for (const std::string_view key : m.phraseBoosters) {
        if (spells(key, threeTwo) || spells(key, twoOne)) {
            valence = valence + boosterDecrement;
            break;
        }
    }
    return valence;
}

// What the booster `word` adds to a sentiment word of the given valence.
double boost(const Token& word, double valence, bool capsDifferential) {
    if (!word.booster) {
        return 0.0;
    }
    double scalar = *word.booster;
    if (valence < 0) {
        scalar = scalar * -1;
    }
    if (capsDifferential && word.allCaps) {
        scalar = valence > 0 ? scalar + capsIncrement : scalar - capsIncrement;
    }
    return scalar;
}

double leastCheck(const std::vector<Token>& tokens, std::size_t i, double valence, const Model& m) {
    if (i > 1 && tokens[i - 1].lower == "least" && !m.leastHasValence) {
        const std::string_view before = tokens[i - 2].lower;
        if (before != "at" && before != "very") {
            valence = valence * negationScalar;
        }
    } else if (i > 0 && tokens[i - 1].lower == "least" && !m.leastHasValence) {
        valence = valence * negationScalar;
    }
    return valence;
}

double sentimentAt(const std::vector<Token>& tokens, std::size_t i, bool capsDifferential, const Model& m) {
    const Token& token = tokens[i];
    if (!token.valence) {
        return 0.0;
    }
    double valence = *token.valence;
    if (token.allCaps && capsDifferential) {
        valence = valence > 0 ? valence + capsIncrement : valence - capsIncrement;
    }
    for (std::size_t distance = 0; distance < 3 && distance < i; ++distance) {
        const Token& before = tokens[i - distance - 1];
        if (before.valence) {
            continue;
        }
        double scalar = boost(before, valence, capsDifferential);
        // Boosters further away count less.
        if (distance == 1 && scalar != 0) {
            scalar = scalar * 0.95;
        } else if (distance == 2 && scalar != 0) {
            scalar = scalar * 0.9;
        }
        valence = valence + scalar;
        valence = negationCheck(tokens, i, distance, valence, m);
        if (distance == 2) {
            valence = idiomCheck(tokens, i, valence, m);
        }
    }
    return leastCheck(tokens, i, valence, m);
}

// Before the first "but" (or, without one, "BUT") sentiment halves; after it, it counts half again as much.
void butCheck(const std::vector<Token>& tokens, std::vector<double>& sentiments) {
    auto at = std::find_if(tokens.begin(), tokens.end(), [](const Token& t) { return t.text == "but"; });
    if (at == tokens.end()) {
        at = std::find_if(tokens.begin(), tokens.end(), [](const Token& t) { return t.text == "BUT"; });
    }
    if (at == tokens.end()) {
        return;
    }
    const auto but = static_cast<std::size_t>(at - tokens.begin());
    for (std::size_t k = 0; k < sentiments.size(); ++k) {
        if (k < but) {
            sentiments[k] = 0.5 * sentiments[k];
        } else if (k > but) {
            sentiments[k] = 1.5 * sentiments[k];
        }
    }
}

// Emphasis from "!" (up to four) and from two or more "?" anywhere in the text.
double punctuationEmphasis(std::string_view text) {
    const auto exclamations =
        std::min<std::ptrdiff_t>(std::count(text.begin(), text.end(), '!'), mostExclamations);
    const auto questions = std::count(text.begin(), text.end(), '?');
    double questionEmphasis = 0.0;
    if (questions > 1) {
        questionEmphasis =
            questions <= 3 ? static_cast<double>(questions) * questionIncrement : manyQuestionsIncrement;
    }
    return static_cast<double>(exclamations) * exclamationIncrement + questionEmphasis;
}

// Four decimals, halves away from zero, as Number.prototype.toFixed(4) rounds. Where long double has a 64-bit
// significand the product is exact, so a value just below a half never rounds up.
double roundedToFourPlaces(double value) {
    const long double scaled = static_cast<long double>(value) * 10000.0L;
    return static_cast<double>(std::round(scaled)) / 10000.0;
}

} // namespace

double compound(std::string_view text) {
    const Model& m = model();
    const std::vector<Token> tokens = tokenize(text, m);
    const auto caps = static_cast<std::size_t>(
        std::count_if(tokens.begin(), tokens.end(), [](const Token& t) { return t.allCaps; }));
    // Capitals emphasise only when some words, not all, are in capitals.
    const bool capsDifferential = caps > 0 && caps < tokens.size();

    std::vector<double> sentiments;
    sentiments.reserve(tokens.size());
    for (std::size_t i = 0; i < tokens.size(); ++i) {
        const Token& token = tokens[i];
        const bool kindOf = i + 1 < tokens.size() && token.lower == "kind" && tokens[i + 1].lower == "of";
        if (kindOf || token.booster) {
            sentiments.push_back(0.0);
            continue;
        }
        sentiments.push_back(sentimentAt(tokens, i, capsDifferential, m));
    }
    butCheck(tokens, sentiments);
    if (sentiments.empty()) {
        return 0.0;
    }

    double sum = 0.0;
    for (const double sentiment : sentiments) {
        sum += sentiment;
    }
    const double emphasis = punctuationEmphasis(text);
    if (sum > 0) {
        sum += emphasis;
    } else if (sum < 0) {
        sum -= emphasis;
    }
    const double normalized = std::clamp(sum / std::sqrt(sum * sum + normalizationAlpha), -1.0, 1.0);
    return roundedToFourPlaces(normalized);
}

} // namespace dovrel::Vader
