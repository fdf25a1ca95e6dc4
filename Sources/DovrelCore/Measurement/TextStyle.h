#pragma once

#include "Measurement/LaughterProfile.h"

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace dovrel::TextStyle {

// One emoji (a whole user-perceived character, modifiers included) and how often it was sent.
struct EmojiCount {
    std::string emoji;
    int count = 0;

    bool operator==(const EmojiCount&) const = default;
};

void to_json(nlohmann::json& out, const EmojiCount& entry);
void from_json(const nlohmann::json& in, EmojiCount& entry);

// The laugh patterns (ICU syntax, case-insensitive).
inline constexpr std::u16string_view hahaPattern = u"\\b(a*ha){2,}h?\\b";
inline constexpr std::u16string_view lolPattern = u"\\blo+l\\b";

// All of these take the texts of the user's own messages. The rates are absent for an empty list.
std::optional<double> questionRate(std::span<const std::string> myMessages);
std::optional<double> emojiRate(std::span<const std::string> myMessages);
std::optional<double> averageLength(std::span<const std::string> myMessages);
LaughterProfile laughterProfile(std::span<const std::string> myMessages);
// Most frequent first; equal counts in code-point order of the (NFC) characters.
std::vector<EmojiCount> topEmojis(std::span<const std::string> myMessages, int limit);

// ---- One text at a time. The functions above, and the measures that share their work, are built on these.

// Contains the ASCII "?".
bool asksQuestion(std::string_view text);

enum class Haha : std::uint8_t { none, plain, caps };

// What one text adds to a LaughterProfile. The regular-expression work of this module.
struct Laughs {
    Haha haha = Haha::none; // from the first haha match only
    bool lol = false;
    bool laughEmoji = false;
};
Laughs laughs(std::string_view text);

// The length in user-perceived characters, in one walk that also appends every character holding an emoji
// (in NFC) to `emojis`, when given. The grapheme work of this module.
int graphemeLength(std::string_view text, std::vector<std::string>* emojis = nullptr);

// Everything the measures read from one text, found once.
struct Features {
    int length = 0;
    bool asksQuestion = false;
    bool hasEmoji = false;
    Laughs laughs;
};
// Appends the text's emoji characters to `emojis`.
Features features(std::string_view text, std::vector<std::string>& emojis);

// Sums over texts' features, from which the rates and the profile are read.
struct Tally {
    int messages = 0;
    int questions = 0;
    int withEmoji = 0;
    std::int64_t totalLength = 0;
    LaughterProfile laughter;

    void add(const Features& features);
    std::optional<double> questionRate() const;
    std::optional<double> emojiRate() const;
    std::optional<double> averageLength() const;
};

void addLaughs(LaughterProfile& profile, const Laughs& laughs);

// Counts per emoji character.
class EmojiTally {
public:
    void add(const std::string& emoji) { ++counts_[emoji]; }
    std::vector<EmojiCount> top(int limit) const;

private:
    std::unordered_map<std::string, int> counts_;
};

} // namespace dovrel::TextStyle
