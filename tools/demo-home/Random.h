#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <utility>
#include <vector>

namespace demohome {

namespace portable {

inline constexpr double kLn2 = 0.6931471805599453094;

// ln and exp from +, -, *, / and exact scaling only. Platform libm results may differ in the last
// bit, and one bit is enough to move a generated timestamp by a nanosecond; these give the same
// result wherever IEEE doubles are used without contraction (the library builds with
// -ffp-contract=off for that reason).
inline double log(double x) {
    int exponent = 0;
    double m = std::frexp(x, &exponent);
    if (m < 0.70710678118654752) {
        m *= 2.0;
        --exponent;
    }
    const double s = (m - 1.0) / (m + 1.0); // |s| < 0.172
    const double s2 = s * s;
    double term = s;
    double sum = 0.0;
    for (int k = 1; k < 26; k += 2) {
        sum += term / k;
        term *= s2;
    }
    return 2.0 * sum + exponent * kLn2;
}

inline double exp(double x) {
    const double k = std::floor(x / kLn2 + 0.5);
    const double r = x - k * kLn2; // |r| <= ln2 / 2, give or take rounding
    double term = 1.0;
    double sum = 1.0;
    for (int n = 1; n < 20; ++n) {
        term *= r / n;
        sum += term;
    }
    return std::ldexp(sum, static_cast<int>(k));
}

} // namespace portable

// xoshiro256** seeded through splitmix64. The standard library's distributions are avoided on
// purpose: their output is implementation-defined, and the generated home folder has to be the
// same for a given seed wherever it is built.
class Random {
public:
    explicit Random(std::uint64_t seed) {
        std::uint64_t x = seed;
        for (auto& word : state_) {
            word = splitmix64(x);
        }
    }

    // An independent generator for a sub-stream, so that adding draws to one part of the
    // generation does not shift every later part.
    [[nodiscard]] Random fork(std::uint64_t stream) const {
        std::uint64_t x = state_[0] ^ (stream * 0xD1B54A32D192ED03ULL);
        return Random(splitmix64(x) ^ state_[3]);
    }

    std::uint64_t next() {
        const std::uint64_t result = rotl(state_[1] * 5, 7) * 9;
        const std::uint64_t t = state_[1] << 17;
        state_[2] ^= state_[0];
        state_[3] ^= state_[1];
        state_[1] ^= state_[2];
        state_[0] ^= state_[3];
        state_[2] ^= t;
        state_[3] = rotl(state_[3], 45);
        return result;
    }

    // Uniform in [0, 1).
    double uniform() { return static_cast<double>(next() >> 11) * 0x1.0p-53; }

    double uniform(double lo, double hi) { return lo + (hi - lo) * uniform(); }

    // Uniform in [0, n), without modulo bias.
    std::uint64_t below(std::uint64_t n) {
        if (n == 0) {
            throw std::invalid_argument("Random::below(0)");
        }
        const std::uint64_t limit = (0 - n) % n; // 2^64 mod n
        for (;;) {
            const std::uint64_t r = next();
            if (r >= limit) {
                return r % n;
            }
        }
    }

    std::size_t index(std::size_t size) { return static_cast<std::size_t>(below(size)); }

    // Uniform in [lo, hi], both inclusive.
    std::int64_t between(std::int64_t lo, std::int64_t hi) {
        if (hi < lo) {
            throw std::invalid_argument("Random::between with hi < lo");
        }
        const auto span = static_cast<std::uint64_t>(hi - lo) + 1;
        return span == 0 ? static_cast<std::int64_t>(next()) : lo + static_cast<std::int64_t>(below(span));
    }

    int betweenInt(int lo, int hi) { return static_cast<int>(between(lo, hi)); }

    bool chance(double p) { return uniform() < p; }

    // Standard normal by Marsaglia's polar method; the second value is thrown away to keep the
    // stream simple.
    double normal() {
        for (;;) {
            const double u = 2.0 * uniform() - 1.0;
            const double v = 2.0 * uniform() - 1.0;
            const double s = u * u + v * v;
            if (s > 0.0 && s < 1.0) {
                return u * std::sqrt(-2.0 * portable::log(s) / s);
            }
        }
    }

    double normal(double mean, double sd) { return mean + sd * normal(); }

    double exponential(double mean) { return -mean * portable::log(1.0 - uniform()); }

    // Log-normal given its median and the standard deviation of the underlying normal.
    double logNormal(double median, double sigma) { return median * portable::exp(sigma * normal()); }

    template <typename T> const T& choice(const std::vector<T>& items) {
        return items.at(index(items.size()));
    }

    template <typename T, std::size_t N> const T& choice(const T (&items)[N]) { return items[index(N)]; }

    // Index drawn with probability proportional to weights[i]; weights must not all be zero.
    std::size_t weighted(const std::vector<double>& weights) {
        double total = 0.0;
        for (double w : weights) {
            total += w;
        }
        if (!(total > 0.0)) {
            throw std::invalid_argument("Random::weighted needs a positive weight");
        }
        double r = uniform() * total;
        for (std::size_t i = 0; i < weights.size(); ++i) {
            if (r < weights[i]) {
                return i;
            }
            r -= weights[i];
        }
        for (std::size_t i = weights.size(); i-- > 0;) {
            if (weights[i] > 0.0) {
                return i;
            }
        }
        return 0;
    }

    template <typename T> void shuffle(std::vector<T>& items) {
        for (std::size_t i = items.size(); i > 1; --i) {
            const std::size_t j = index(i);
            std::swap(items[i - 1], items[j]);
        }
    }

private:
    static std::uint64_t rotl(std::uint64_t x, int k) { return (x << k) | (x >> (64 - k)); }

    static std::uint64_t splitmix64(std::uint64_t& x) {
        std::uint64_t z = (x += 0x9E3779B97F4A7C15ULL);
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ULL;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBULL;
        return z ^ (z >> 31);
    }

    std::uint64_t state_[4]{};
};

} // namespace demohome
