#pragma once

#include "Random.h"

#include <cstdint>
#include <string>

namespace demohome {

// A random (version 4) UUID in the uppercase form Apple uses in guids and unique ids.
struct Uuid {
    std::uint64_t high = 0;
    std::uint64_t low = 0;

    static Uuid random(Random& random) {
        Uuid id{random.next(), random.next()};
        id.high = (id.high & ~0xF000ULL) | 0x4000ULL;
        id.low = (id.low & ~(0xC0ULL << 56)) | (0x80ULL << 56);
        return id;
    }

    [[nodiscard]] std::string toString() const {
        static constexpr char kHex[] = "0123456789ABCDEF";
        std::string out(36, '-');
        std::size_t pos = 0;
        auto put = [&](std::uint64_t word, int nibbles) {
            for (int shift = (nibbles - 1) * 4; shift >= 0; shift -= 4) {
                if (pos == 8 || pos == 13 || pos == 18 || pos == 23) {
                    ++pos;
                }
                out[pos++] = kHex[(word >> shift) & 0xF];
            }
        };
        put(high, 16);
        put(low, 16);
        return out;
    }

    friend bool operator==(const Uuid&, const Uuid&) = default;
};

} // namespace demohome
