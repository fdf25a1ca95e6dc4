#pragma once

#include <QStringList>
#include <iosfwd>

namespace murmora {

// The headless entry: runs one command on the same AppState as the window and returns the exit code.
// Needs a QCoreApplication (or QGuiApplication) to exist.
int runCommandLine(const QStringList& arguments, std::ostream& out, std::ostream& err);

// The program: makes the application object the command needs (a graphical one, offscreen, for `screens`)
// and runs the command.
int runCommandLineApplication(int argc, char* argv[]);

} // namespace murmora
