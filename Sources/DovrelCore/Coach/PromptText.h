#pragma once

#include "Format/Format.h"

#include <string>
#include <vector>

// What every prompt builder writes the same way: numbers cut towards zero, lines joined by line breaks.
namespace dovrel::PromptText {

using Format::whole;

inline std::string joined(const std::vector<std::string>& lines) {
    return Format::joined(lines, "\n");
}

} // namespace dovrel::PromptText
