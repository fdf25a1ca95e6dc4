#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace dovrel::Sentiment {

// A warmth score from -1.0 (negative) to 1.0 (positive) for one text, or nothing.
using Scorer = std::function<std::optional<double>(std::string_view)>;

// The score of the first paragraph of `text`; absent for a text of only blanks and line breaks.
std::optional<double> score(std::string_view text);

// Mean score of an even spread of about `sampleLimit` texts over the list; absent when none scores.
std::optional<double> average(const std::vector<std::string>& texts, int sampleLimit);
// The same with another scorer, so callers can count or fix the scores.
std::optional<double> average(const std::vector<std::string>& texts, int sampleLimit, const Scorer& scorer);

} // namespace dovrel::Sentiment
