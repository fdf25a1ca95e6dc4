#include "MessageSources/TypedStream.h"

#include "Foundation/Unicode.h"

#include <string_view>

namespace dovrel::TypedStream {

std::optional<std::string> extractText(std::span<const std::uint8_t> from) {
    constexpr std::string_view marker = "NSString";
    constexpr std::size_t skipped = 5;
    constexpr std::uint8_t longLength = 0x81;

    const std::string_view bytes(reinterpret_cast<const char*>(from.data()), from.size());
    const std::size_t found = bytes.find(marker);
    if (found == std::string_view::npos) {
        return std::nullopt;
    }
    const std::size_t count = from.size();
    const std::size_t p = found + marker.size() + skipped;
    if (p >= count) {
        return std::nullopt;
    }

    std::size_t length = 0;
    std::size_t start = 0;
    if (from[p] == longLength) {
        if (p + 2 >= count) {
            return std::nullopt;
        }
        length = static_cast<std::size_t>(from[p + 1]) | (static_cast<std::size_t>(from[p + 2]) << 8);
        start = p + 3;
    } else {
        length = from[p];
        start = p + 1;
    }
    if (length == 0 || start + length > count) {
        return std::nullopt;
    }

    const std::span<const std::uint8_t> text = from.subspan(start, length);
    if (!unicode::isValidUTF8(text)) {
        return std::nullopt;
    }
    return std::string(reinterpret_cast<const char*>(text.data()), text.size());
}

} // namespace dovrel::TypedStream
