#pragma once

#include <QString>
#include <iosfwd>

namespace murmora {

class AppState;

// Draws every share card the data of `state` gives into PNG files in `outFolder` at their exact pixel sizes:
// each of the seven templates in both formats and each one-figure card the slides build, at scale 3, and the
// duo cards of the top five people and a card for each group chat, at scale 2. Writes
// cards.json beside them (file, kind, person, size) and prints each file's path. Needs a QGuiApplication.
// Returns the exit code.
int renderCardGallery(AppState& state, const QString& outFolder, std::ostream& out, std::ostream& err);

} // namespace murmora
