#pragma once

#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

// What every prompt builder writes the same way: numbers cut towards zero, lines joined by line breaks.
namespace dovrel::PromptText {

// A number cut towards zero, in plain decimal.
inline std::string whole(double value) {
    const double cut = std::trunc(value);
    if (cut > -9.2e18 && cut < 9.2e18) {
        return std::to_string(static_cast<long long>(cut));
    }
    char buffer[512];
    std::snprintf(buffer, sizeof buffer, "%.0f", cut);
    return buffer;
}

inline std::string joined(const std::vector<std::string>& lines) {
    std::string out;
    for (std::size_t i = 0; i < lines.size(); ++i) {
        if (i > 0) {
            out += '\n';
        }
        out += lines[i];
    }
    return out;
}

} // namespace dovrel::PromptText
