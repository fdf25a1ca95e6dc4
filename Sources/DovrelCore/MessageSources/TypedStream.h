#pragma once

#include "Foundation/Bytes.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace dovrel::TypedStream {

// The text of an `attributedBody` blob (an attributed string in the typed stream archive format), or nothing.
// It does not parse the archive: it finds the first "NSString", steps over the five type and class bytes
// behind it, reads a length (one byte, or 0x81 and two bytes little-endian) and that many bytes of UTF-8.
std::optional<std::string> extractText(std::span<const std::uint8_t> from);

} // namespace dovrel::TypedStream
