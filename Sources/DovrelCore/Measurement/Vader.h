#pragma once

#include <string_view>

// VADER, the rule-based sentiment model of Hutto and Gilbert (2014), over the lexicon of the npm package
// vader-sentiment 1.1.3. Where that package's JavaScript and the paper part ways, the JavaScript is followed,
// so that the scores equal the package's own `polarity_scores(text).compound`.
namespace dovrel::Vader {

// The sentiment of `text` from -1.0 to 1.0, rounded to four decimals; 0.0 when no word of it is in the
// lexicon. Safe to call from any thread; the lexicon is read once, on first use.
double compound(std::string_view text);

// The lexicon file as shipped by the package: one entry a line, the token, a tab, the mean rating, then the
// columns that the model does not read. When a token appears twice, the later line counts.
std::string_view lexiconText();

} // namespace dovrel::Vader
