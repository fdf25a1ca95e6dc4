#include "Foundation/UUID.h"

#include <array>
#include <cstdint>
#include <random>

namespace dovrel {

std::string makeUUID() {
    thread_local std::mt19937_64 engine{std::random_device{}()};
    std::array<std::uint8_t, 16> bytes{};
    for (std::size_t i = 0; i < bytes.size(); i += 8) {
        std::uint64_t word = engine();
        for (std::size_t j = 0; j < 8; ++j) {
            bytes[i + j] = static_cast<std::uint8_t>(word >> (8 * j));
        }
    }
    bytes[6] = static_cast<std::uint8_t>((bytes[6] & 0x0F) | 0x40); // version 4
    bytes[8] = static_cast<std::uint8_t>((bytes[8] & 0x3F) | 0x80); // RFC 4122 variant

    static constexpr char hex[] = "0123456789ABCDEF";
    std::string text;
    text.reserve(36);
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        if (i == 4 || i == 6 || i == 8 || i == 10) {
            text.push_back('-');
        }
        text.push_back(hex[bytes[i] >> 4]);
        text.push_back(hex[bytes[i] & 0x0F]);
    }
    return text;
}

std::optional<std::string> canonicalUUID(std::string_view text) {
    if (text.size() != 36) {
        return std::nullopt;
    }
    std::string out(text);
    for (std::size_t i = 0; i < out.size(); ++i) {
        const char c = out[i];
        if (i == 8 || i == 13 || i == 18 || i == 23) {
            if (c != '-') {
                return std::nullopt;
            }
        } else if (c >= 'a' && c <= 'f') {
            out[i] = static_cast<char>(c - 'a' + 'A');
        } else if (!((c >= '0' && c <= '9') || (c >= 'A' && c <= 'F'))) {
            return std::nullopt;
        }
    }
    return out;
}

} // namespace dovrel
