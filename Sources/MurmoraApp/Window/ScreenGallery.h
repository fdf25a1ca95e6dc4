#pragma once

#include <QSize>
#include <QString>
#include <iosfwd>

namespace murmora {

class AppState;

struct ScreenGalleryOptions {
    QString outFolder;
    QSize windowSize{1280, 820};
};

// Draws every screen and state the window can show, for the data `state` holds (the threads read), into
// PNG files in the out folder, one per screen, and prints each file's path. The same QML and the same state
// as the window: each phase and tab is shown by the state's own preview, and the pieces shown inside a screen
// (the thread pane, the person picker, the consent sheet, the notes, the share sections) in a window of their
// own. Needs a QGuiApplication; the caller chooses the platform, scale and palette. Returns the exit code.
int renderScreenGallery(AppState& state, const ScreenGalleryOptions& options, std::ostream& out,
                        std::ostream& err);

} // namespace murmora
