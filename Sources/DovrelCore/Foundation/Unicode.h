#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace dovrel::unicode {

// Number of user-perceived characters (extended grapheme clusters). Uses one break iterator per thread.
std::size_t graphemeCount(std::string_view text);

// Calls `visit` with each extended grapheme cluster of `text`, in order.
void forEachGrapheme(std::string_view text, const std::function<void(std::string_view)>& visit);

// Full Unicode lower-casing, locale-independent ("ẞ" becomes "ß", "İ" becomes "i̇").
std::string lowercased(std::string_view text);

// A code point counts as an emoji when it has the Unicode Emoji property and lies above U+238C, which leaves
// out digits, '#', '*' and old text symbols such as © and the arrows.
bool isEmoji(char32_t codePoint);
// True when any code point of `text` passes `isEmoji`.
bool containsEmoji(std::string_view text);

// Strict UTF-8 check: no overlong forms, no surrogates, nothing above U+10FFFF.
bool isValidUTF8(std::span<const std::uint8_t> bytes);
inline bool isValidUTF8(std::string_view text) {
    return isValidUTF8(std::span(reinterpret_cast<const std::uint8_t*>(text.data()), text.size()));
}

// The bytes as UTF-8 text with every ill-formed sequence replaced by U+FFFD.
std::string repairUTF8(std::span<const std::uint8_t> bytes);

// White space in the Unicode sense, line breaks included.
bool isWhiteSpaceOrLineBreak(char32_t codePoint);
// Space separators and the tab: white space that does not break a line.
bool isBlank(char32_t codePoint);
// `text` without the code points that `strip` accepts at either end.
std::string_view trimming(std::string_view text, bool (*strip)(char32_t));
// `text` without white space and line breaks at either end.
inline std::string_view trimmed(std::string_view text) {
    return trimming(text, isWhiteSpaceOrLineBreak);
}

// Decodes the code point starting at `offset`, advancing it. Ill-formed input yields U+FFFD and advances
// past the longest ill-formed prefix. `offset` must be below `text.size()`.
char32_t decodeNext(std::string_view text, std::size_t& offset);

} // namespace dovrel::unicode
