#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace demohome {

// Longest text encodeAttributedBody accepts: lengths are written in at most two bytes.
inline constexpr std::size_t kMaxAttributedBodyTextBytes = 65535;

// The message body as Messages stores it in message.attributedBody: an NSAttributedString
// archived as a typedstream, with a single attribute run (message part 0) covering the text.
// Throws std::invalid_argument for text longer than kMaxAttributedBodyTextBytes.
std::vector<std::uint8_t> encodeAttributedBody(std::string_view utf8);

// The first keepBytes bytes of the encoding of utf8. Cut before the string content, this is a
// blob that looks like an attributed body but holds no readable text.
std::vector<std::uint8_t> truncatedAttributedBody(std::string_view utf8, std::size_t keepBytes);

// Offset of the first text byte inside encodeAttributedBody's output (for cutting blobs short).
std::size_t attributedBodyTextOffset(std::size_t textBytes);

} // namespace demohome
