#pragma once

#include "Measurement/LocalArchetype.h"
#include "Measurement/WrappedStats.h"

#include <string>
#include <string_view>

namespace dovrel::ArchetypePrompt {

// The prompt asking a model to name the user's texter archetype from the year's statistics alone. Lines
// for absent values are left out.
std::string build(const WrappedStats& stats);

// The model's reply as a title (its first line, without markdown marks or quotes) and a body (the rest).
// A reply of one line has an empty body.
Archetype parse(std::string_view response);

} // namespace dovrel::ArchetypePrompt
